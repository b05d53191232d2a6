#include "sim_port.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <thread>

#include "foundation/platform.h"

namespace ovn {

SimPort::SimPort(SimInstrument& instrument, SimTime mode) : sim_(instrument), mode_(mode) {}

std::string SimPort::device_name() const {
  return "sim:" + sim_family_name(sim_.config.family);
}

double SimPort::now() const {
  if (mode_ == SimTime::Virtual) return clock().now_ms();
  using namespace std::chrono;
  return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}

void SimPort::sleep_until(double ms) {
  double wait = ms - now();
  if (wait <= 0) return;
  if (mode_ == SimTime::Virtual)
    clock().sleep(wait);
  else
    std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(wait));
}

void SimPort::set_settings(const std::string& settings) {
  long baud = 0;
  auto r = std::from_chars(settings.data(), settings.data() + settings.size(), baud);
  if (r.ec != std::errc() || baud <= 0 || baud >= 200000) return;
  settings_ = settings;
  baud_ = baud;
}

bool SimPort::open(std::string& error) {
  if (unplugged_) {
    error = "The device is not connected";
    return false;
  }
  open_ = true;
  rx_free_ms_ = tx_free_ms_ = now();
  return true;
}

void SimPort::close() {
  open_ = false;
  pending_.clear();
  partial_.clear();
}

void SimPort::unplug() {
  close();
  unplugged_ = true;
}

bool SimPort::get_state_baud(long& baud, int& os_error) {
  if (!open_) {
    os_error = EBADF;
    return false;
  }
  baud = baud_;
  return true;
}

bool SimPort::set_state_baud(long baud, int& os_error) {
  if (!open_ || baud <= 0) {
    os_error = open_ ? EINVAL : EBADF;
    return false;
  }
  baud_ = baud;
  return true;
}

std::string SimPort::input() {
  std::string out;
  if (!open_) return out;
  double t = now();
  while (!pending_.empty() && pending_.front().ready_ms <= t) {
    out += pending_.front().bytes;
    pending_.pop_front();
  }
  if (out.empty() && mode_ == SimTime::Virtual) clock().sleep(poll_cost_ms_);
  return out;
}

bool SimPort::wait_input_until(double deadline_ms) {
  double t = now();
  bool coming = open_ && !pending_.empty();
  if (coming && pending_.front().ready_ms <= t) return true;
  if (deadline_ms <= t) return false;
  // The program's event wait, up to the reply's arrival at the latest; in virtual time the
  // clock moves there at once unless an event comes first.
  double until = coming ? std::min(deadline_ms, pending_.front().ready_ms) : deadline_ms;
  if (mode_ == SimTime::Virtual)
    wait_events_until(until);
  else
    wait_events_until(clock().now_ms() + (until - t));
  return open_ && !pending_.empty() && pending_.front().ready_ms <= now();
}

void SimPort::output(const std::string& text) {
  if (!open_ || text.empty()) return;
  double t = now();
  transcript_.push_back({t, '>', text});
  // The request occupies the line byte by byte; the instrument acts on each LF.
  double at = std::max(t, rx_free_ms_);
  for (char c : text) {
    at += byte_ms();
    if (c == '\n') {
      handle_line(partial_, at);
      partial_.clear();
    } else {
      partial_ += c;
    }
  }
  rx_free_ms_ = at;
}

long SimPort::instrument_baud() const {
  long b = sim_family_baud(sim_.config.family);
  return b > 0 ? b : sim_.config.baud;
}

void SimPort::handle_line(const std::string& line, double done_ms) {
  if (baud_ != instrument_baud()) return;  // the instrument hears only noise
  std::string message = line;
  bool addressed = sim_family_has_address(sim_.config.family) && sim_.config.addressing;
  std::optional<std::string> reply;
  if (addressed && !message.empty()) message.erase(0, 1);
  if (bang_.count(message) != 0 &&
      (!addressed || line[0] == sim_.config.address || line[0] == '*')) {
    reply = "!";
  } else {
    reply = sim_request(sim_, line, done_ms);
  }
  if (!reply) return;
  if (drop_ > 0) {
    --drop_;
    return;
  }
  std::string bytes = *reply + sim_.config.line_end;
  if (cut_ >= 0) {
    bytes.resize(std::min<size_t>(bytes.size(), static_cast<size_t>(cut_)));
    cut_ = -1;
  }
  double start = done_ms + turnaround_ms_;
  if (late_count_ > 0) {
    start += late_ms_;
    --late_count_;
  }
  start = std::max(start, tx_free_ms_);
  if (!garbage_.empty()) {
    bytes = garbage_ + bytes;
    garbage_.clear();
  }
  double ready = start + byte_ms() * static_cast<double>(bytes.size());
  tx_free_ms_ = ready;
  // An instrument that ends with CR LF is seen by the reader as two arrivals.
  if (bytes.size() >= 2 && bytes.compare(bytes.size() - 2, 2, "\r\n") == 0) {
    deliver(ready - byte_ms(), bytes.substr(0, bytes.size() - 1));
    deliver(ready, "\n");
  } else {
    deliver(ready, bytes);
  }
}

void SimPort::deliver(double ready_ms, const std::string& bytes) {
  auto at = std::upper_bound(pending_.begin(), pending_.end(), ready_ms,
                             [](double t, const Chunk& c) { return t < c.ready_ms; });
  pending_.insert(at, Chunk{ready_ms, bytes});
  transcript_.push_back({ready_ms, '<', bytes});
}

void SimPort::stray_bytes(const std::string& bytes) {
  if (open_) deliver(now(), bytes);
}

std::vector<std::string> SimPort::requests() const {
  bool addressed = sim_family_has_address(sim_.config.family) && sim_.config.addressing;
  std::vector<std::string> out;
  for (const auto& e : transcript_) {
    if (e.direction != '>') continue;
    size_t start = 0;
    for (size_t lf = e.text.find('\n'); lf != std::string::npos; lf = e.text.find('\n', start)) {
      std::string line = e.text.substr(start, lf - start);
      if (addressed && !line.empty()) line.erase(0, 1);
      out.push_back(line);
      start = lf + 1;
    }
  }
  return out;
}

}  // namespace ovn
