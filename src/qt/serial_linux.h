#pragma once
// What the serial adapter needs of the operating system beyond QSerialPort (Linux).

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ovn::qt {

// Asks the driver to hand over each byte at once (ASYNC_LOW_LATENCY). Devices without the
// request (a pseudo-terminal) are left as they are.
void serial_set_low_latency(int fd);
// The USB adapter's latency timer in ms (its sysfs "latency_timer"), or -1 when it has none.
int serial_latency_timer_ms(const std::string& device);
// True when the descriptor has input waiting, or has hung up (the read then reports it).
bool serial_fd_readable(int fd);
// Writes all of `data` to the (non-blocking) descriptor at once, waiting for room in the
// driver's buffer when it is full (a second at most). 0, or the error that stopped it.
int serial_write_all(int fd, const char* data, size_t size);
// The stable links under /dev/serial/by-id and the device each points to.
std::vector<std::pair<std::string, std::string>> serial_stable_links();

// The lock file QSerialPort keeps for `device` in `dir`: "/dev/ttyUSB0" gives
// "<dir>/LCK..ttyUSB0", "/dev/pts/3" "<dir>/LCK..pts_3".
std::string serial_lock_path(const std::string& dir, const std::string& device);

// Who holds the lock of a device: the process number and program written in the lock file,
// and whether that process still runs.
struct SerialLock {
  long pid = 0;
  std::string program;
  bool alive = false;
};
// The folders QSerialPort keeps its locks in, in the order it tries them.
const std::vector<std::string>& serial_lock_dirs();
// The lock of `device` in the first of `dirs` that has one, if any.
std::optional<SerialLock> serial_lock_of(const std::string& device,
                                         const std::vector<std::string>& dirs = serial_lock_dirs());

}  // namespace ovn::qt
