#include "qt/serial_linux.h"

#include <linux/serial.h>
#include <poll.h>
#include <sys/ioctl.h>

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

std::vector<std::pair<std::string, std::string>> serial_stable_links() {
  std::vector<std::pair<std::string, std::string>> links;
  std::error_code ec;
  for (auto& entry : std::filesystem::directory_iterator("/dev/serial/by-id", ec)) {
    auto target = std::filesystem::canonical(entry.path(), ec);
    if (!ec) links.emplace_back(entry.path().string(), target.string());
  }
  return links;
}

}  // namespace ovn::qt
