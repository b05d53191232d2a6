#include "qt/serial_linux.h"

#include <linux/serial.h>
#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include <filesystem>
#include <fstream>

namespace ovn::qt {

void serial_set_low_latency(int fd) {
  serial_struct info{};
  if (ioctl(fd, TIOCGSERIAL, &info) != 0) return;  // ENOTTY on a pseudo-terminal
  info.flags |= ASYNC_LOW_LATENCY;
  (void)ioctl(fd, TIOCSSERIAL, &info);
}

int serial_latency_timer_ms(const std::string& device) {
  std::error_code ec;
  auto real = std::filesystem::canonical(device, ec);
  if (ec) return -1;
  std::string name = real.filename().string();
  for (const std::string& path : {"/sys/bus/usb-serial/devices/" + name + "/latency_timer",
                                  "/sys/class/tty/" + name + "/device/latency_timer"}) {
    std::ifstream in(path);
    int ms = -1;
    if (in >> ms) return ms;
  }
  return -1;
}

bool serial_fd_readable(int fd) {
  pollfd p{fd, POLLIN, 0};
  return poll(&p, 1, 0) > 0 && (p.revents & (POLLIN | POLLHUP | POLLERR)) != 0;
}

int serial_write_all(int fd, const char* data, size_t size) {
  size_t done = 0;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
  while (done < size) {
    ssize_t n = ::write(fd, data + done, size - done);
    if (n > 0) {
      done += static_cast<size_t>(n);
    } else if (n < 0 && errno == EINTR) {
      continue;
    } else if (n < 0 && errno == EAGAIN) {
      // The driver's buffer is full: wait for room, a second at most in all.
      const auto left =
          std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      pollfd p{fd, POLLOUT, 0};
      if (left.count() <= 0 || ::poll(&p, 1, static_cast<int>(left.count())) <= 0) return EAGAIN;
    } else {
      return n < 0 ? errno : EIO;
    }
  }
  return 0;
}

std::vector<std::pair<std::string, std::string>> serial_stable_links() {
  std::vector<std::pair<std::string, std::string>> links;
  std::error_code ec;
  for (auto& entry : std::filesystem::directory_iterator("/dev/serial/by-id", ec)) {
    auto target = std::filesystem::canonical(entry.path(), ec);
    if (!ec) links.emplace_back(entry.path().string(), target.string());
  }
  return links;
}

const std::vector<std::string>& serial_lock_dirs() {
  static const std::vector<std::string> dirs = {
      "/var/lock", "/etc/locks", "/var/spool/locks",  "/var/spool/uucp",
      "/tmp",      "/var/tmp",   "/var/lock/lockdev", "/run/lock"};
  return dirs;
}

std::string serial_lock_path(const std::string& dir, const std::string& device) {
  std::string name = device.rfind("/dev/", 0) == 0 ? device.substr(5) : device;
  for (char& c : name)
    if (c == '/') c = '_';
  return dir + "/LCK.." + name;
}

std::optional<SerialLock> serial_lock_of(const std::string& device,
                                         const std::vector<std::string>& dirs) {
  for (const std::string& dir : dirs) {
    std::ifstream in(serial_lock_path(dir, device));
    if (!in) continue;
    SerialLock lock;
    // The lock file holds the owner's process number, then its program and host, a line each.
    if (!(in >> lock.pid) || lock.pid <= 0) return std::nullopt;
    in >> std::ws;
    std::getline(in, lock.program);
    lock.alive = kill(static_cast<pid_t>(lock.pid), 0) == 0 || errno == EPERM;
    return lock;
  }
  return std::nullopt;
}

}  // namespace ovn::qt
