#pragma once
// What the serial adapter needs of the operating system beyond QSerialPort (Linux).

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
// The stable links under /dev/serial/by-id and the device each points to.
std::vector<std::pair<std::string, std::string>> serial_stable_links();

}  // namespace ovn::qt
