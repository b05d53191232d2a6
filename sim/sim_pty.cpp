#include "sim_pty.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sched.h>
#include <sys/prctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

namespace ovn {

namespace {

double steady_ms() {
  using namespace std::chrono;
  return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}

void sleep_until_ms(double t) {
  double wait = t - steady_ms();
  if (wait > 0) std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(wait));
}

bool write_all(int fd, const char* data, size_t n) {
  while (n > 0) {
    ssize_t w = ::write(fd, data, n);
    if (w < 0) {
      if (errno == EINTR) continue;
      if (errno == EAGAIN) {
        pollfd p{fd, POLLOUT, 0};
        ::poll(&p, 1, 50);
        continue;
      }
      return false;
    }
    data += w;
    n -= static_cast<size_t>(w);
  }
  return true;
}

long terminal_baud(int fd) {
  termios t{};
  if (tcgetattr(fd, &t) != 0) return -1;
  switch (cfgetospeed(&t)) {
    case B1200:
      return 1200;
    case B2400:
      return 2400;
    case B4800:
      return 4800;
    case B9600:
      return 9600;
    case B19200:
      return 19200;
    case B38400:
      return 38400;
    case B57600:
      return 57600;
    case B115200:
      return 115200;
    case B230400:
      return 230400;
    case B460800:
      return 460800;
    case B921600:
      return 921600;
    default:
      return 0;
  }
}

// False when the client's line rate is not the one the instrument listens at.
bool rate_matches(const SimInstrument& sim, int speed_fd) {
  if (speed_fd < 0) return true;
  long want = sim_family_baud(sim.config.family);
  if (want == 0) want = sim.config.baud;
  return terminal_baud(speed_fd) == want;
}

}  // namespace

std::string sim_transcript_line(double ms, char direction, const std::string& bytes) {
  char head[48];
  std::snprintf(head, sizeof head, "%.3f %c ", ms, direction);
  std::string out = head;
  for (unsigned char c : bytes) {
    if (c == '\r')
      out += "\\r";
    else if (c == '\n')
      out += "\\n";
    else if (c == '\\')
      out += "\\\\";
    else if (c < 32 || c == 127) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02X", c);
      out += hex;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

namespace {

// The typical time a byte written on `from` takes to become readable on `to`: the median
// of a few tries, each waited for without sleeping, so the scheduler's wake-up is not
// counted. 0 when a byte got lost.
double typical_delivery_ms(int from, int to) {
  std::vector<double> took;
  for (int i = 0; i < 31; ++i) {
    char c = 'x';
    double t0 = steady_ms();
    if (::write(from, &c, 1) != 1) return 0;
    pollfd p{to, POLLIN, 0};
    while (::poll(&p, 1, 0) == 0) {
      if (steady_ms() - t0 > 100) return 0;
    }
    took.push_back(steady_ms() - t0);
    if (::read(to, &c, 1) != 1) return 0;
  }
  std::nth_element(took.begin(), took.begin() + 15, took.end());
  return took[15];
}

}  // namespace

bool sim_pty_open(SimPty& pty, std::string& error) {
  termios raw{};
  cfmakeraw(&raw);
  cfsetispeed(&raw, B115200);
  cfsetospeed(&raw, B115200);
  char name[256] = {0};
  if (openpty(&pty.master, &pty.slave, name, &raw, nullptr) != 0) {
    error = std::string("openpty: ") + std::strerror(errno);
    return false;
  }
  pty.path = name;
  pty.delivery_ms = std::min(typical_delivery_ms(pty.slave, pty.master),
                             typical_delivery_ms(pty.master, pty.slave));
  return true;
}

void sim_pty_close(SimPty& pty) {
  if (pty.master >= 0) ::close(pty.master);
  if (pty.slave >= 0) ::close(pty.slave);
  pty = SimPty{};
}

std::string sim_output_status(SimInstrument& sim, double now_ms) {
  unsigned long bits = 0;
  for (int i = 0; i < 8; ++i)
    if (sim_line_output(sim, i, now_ms)) bits |= 1UL << i;
  char text[96];
  std::snprintf(text, sizeof text, "ovn-sim: outputs G=%.4f A=%.4f B=%.4f lines=%02lX",
                sim_analog_volts(sim, 0, now_ms), sim_analog_volts(sim, 1, now_ms),
                sim_analog_volts(sim, 2, now_ms), bits);
  return text;
}

long sim_serve(int master_fd, SimInstrument& sim, const SimServeOptions& options,
               const std::atomic<bool>& stop) {
  const double byte_ms = options.baud > 0 ? 10000.0 / static_cast<double>(options.baud) : 0;
  const double t0 = steady_ms();
  // Wake-ups within microseconds, not the default 50: the paced line depends on them.
  prctl(PR_SET_TIMERSLACK, 1UL, 0, 0, 0);
  FILE* transcript =
      options.transcript_path.empty() ? nullptr : std::fopen(options.transcript_path.c_str(), "a");
  auto record = [&](double at, char direction, const std::string& bytes) {
    if (!transcript) return;
    std::fprintf(transcript, "%s\n", sim_transcript_line(at - t0, direction, bytes).c_str());
    std::fflush(transcript);
  };
  long answered = 0;
  long heard = 0;
  bool unplugged = false;
  std::string partial;
  double rx_free = 0;  // when the line towards the instrument is free again
  char buf[4096];
  double listen_until = 0;  // until then the next byte is waited for without sleeping
  while (!stop.load() && !unplugged) {
    if (options.status_request != nullptr && options.status_request->exchange(false))
      std::fprintf(stderr, "%s\n", sim_output_status(sim, steady_ms() - t0).c_str());
    pollfd p{master_fd, POLLIN, 0};
    bool listening = steady_ms() < listen_until;
    if (listening) sched_yield();  // a busy machine gets the processor back at once
    int ready = ::poll(&p, 1, listening ? 0 : 50);
    if (ready <= 0) continue;  // time-out or a signal: look at `stop` again
    ssize_t n = ::read(master_fd, buf, sizeof buf);
    if (n <= 0) {
      // No client has the terminal open (EIO): wait for one instead of spinning.
      if (n < 0 && errno != EINTR && errno != EAGAIN && errno != EIO) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      continue;
    }
    double now = steady_ms();
    double at = std::max(now - options.delivery_ms, rx_free);
    for (ssize_t i = 0; i < n; ++i) {
      at += byte_ms;
      if (buf[i] != '\n') {
        partial += buf[i];
        continue;
      }
      record(now, '>', partial + "\n");
      ++heard;
      bool faulty = sim_fault_hits(options, heard);
      if (faulty && options.fault == SimFault::Unplug) {
        unplugged = true;
        break;
      }
      if (faulty && options.fault == SimFault::Silent) {
        partial.clear();
        continue;
      }
      // The instrument acts when the request's last byte has arrived, at `at`.
      std::optional<std::string> reply;
      if (rate_matches(sim, options.speed_fd)) reply = sim_request(sim, partial, at - t0);
      partial.clear();
      if (!reply) continue;
      ++answered;
      if (faulty) *reply = "#" + (reply->empty() ? std::string() : reply->substr(1));
      std::string bytes = *reply + sim.config.line_end;
      double start = at + options.turnaround_ms;
      // Bytes leave in small groups, each when the line would have carried it. The sleeps
      // wake within microseconds (the timer slack above), which is all a paced line needs.
      const size_t group = 16;
      for (size_t sent = 0; sent < bytes.size(); sent += group) {
        size_t k = std::min(group, bytes.size() - sent);
        sleep_until_ms(start + byte_ms * static_cast<double>(sent + k) - options.delivery_ms);
        if (!write_all(master_fd, bytes.data() + sent, k)) break;
      }
      at = start + byte_ms * static_cast<double>(bytes.size());
      record(steady_ms(), '<', bytes);
    }
    rx_free = at;
    listen_until = steady_ms() + options.listen_ms;
  }
  if (transcript) std::fclose(transcript);
  return answered;
}

bool sim_parse_fault(const std::string& text, SimServeOptions& options) {
  static const std::pair<const char*, SimFault> kKinds[] = {
      {"silent", SimFault::Silent}, {"garble", SimFault::Garble}, {"unplug", SimFault::Unplug}};
  std::string kind = text.substr(0, text.find(':'));
  SimServeOptions o = options;
  o.fault = SimFault::None;
  for (const auto& [name, fault] : kKinds)
    if (kind == name) o.fault = fault;
  if (o.fault == SimFault::None) return false;
  long numbers[3] = {0, 0, 0};
  size_t at = kind.size();
  for (long& n : numbers) {
    if (at >= text.size()) break;
    const char* first = text.data() + at + 1;
    const char* last = text.data() + text.size();
    auto [p, ec] = std::from_chars(first, last, n);
    if (ec != std::errc() || n < 0 || (p != last && *p != ':')) return false;
    at = static_cast<size_t>(p - text.data());
  }
  if (at < text.size()) return false;
  o.fault_after = numbers[0];
  o.fault_count = numbers[1];
  o.fault_every = numbers[2];
  if (o.fault_every != 0 && o.fault_every <= o.fault_count) return false;
  options = o;
  return true;
}

bool sim_fault_hits(const SimServeOptions& options, long heard) {
  if (options.fault == SimFault::None || heard <= options.fault_after) return false;
  if (options.fault_count == 0) return true;
  long into = heard - options.fault_after - 1;  // from 0 at the episode's first request
  if (options.fault_every > 0) into %= options.fault_every;
  return into < options.fault_count;
}

}  // namespace ovn
