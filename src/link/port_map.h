#pragma once
// Which device a port number names. The program speaks of ports by number ("COM3"); on
// this system a number stands for a device path, kept in the setting "COM<n>" of section
// "Ports", application "OVN-Shared", so an operator can see and change it. A number
// without a setting takes the n-th device of the enumeration, stable names first, so that
// an adapter unplugged and plugged in again keeps its number.

#include <string>
#include <utility>
#include <vector>

namespace ovn {

// The enumeration order: every stable link (link path, device it points to) sorted by link
// path, then the system's ports, sorted, that no link points to.
std::vector<std::string> port_map_order(std::vector<std::pair<std::string, std::string>> links,
                                        std::vector<std::string> system_ports);

// The device of port `n` (1 upward): the stored setting, else entry n of `enumerated`,
// else "" (no such port).
std::string port_map_device(int n, const std::vector<std::string>& enumerated);

// Stores the device of port `n`, so that the number keeps naming it.
void port_map_remember(int n, const std::string& device);

// The device given on the command line for this run ("--port PATH"), or "".
std::string port_map_run_device();

}  // namespace ovn
