#include "link/port_map.h"

#include <algorithm>

#include "foundation/operator.h"
#include "foundation/platform.h"
#include "foundation/settings.h"

namespace ovn {

namespace {
const char* const kSection = "Ports";
std::string key_of(int n) {
  return "COM" + std::to_string(n);
}
}  // namespace

std::vector<std::string> port_map_order(std::vector<std::pair<std::string, std::string>> links,
                                        std::vector<std::string> system_ports) {
  std::sort(links.begin(), links.end());
  std::sort(system_ports.begin(), system_ports.end());
  std::vector<std::string> order;
  for (auto& [link, target] : links) order.push_back(link);
  for (auto& device : system_ports) {
    bool linked =
        std::any_of(links.begin(), links.end(), [&](const auto& l) { return l.second == device; });
    if (!linked) order.push_back(device);
  }
  return order;
}

std::string port_map_device(int n, const std::vector<std::string>& enumerated) {
  std::string stored = kw_setting_get(kSharedApp, kSection, key_of(n), "");
  // A NUL or another control character cannot be in a device's path: such an entry was
  // damaged, and is named and passed over rather than handed to the system.
  const bool damaged = std::any_of(stored.begin(), stored.end(),
                                   [](char c) { return static_cast<unsigned char>(c) < 0x20; });
  if (damaged) {
    msg_box("The entry " + key_of(n) + " of [" + kSection + "] in " + kSharedApp +
                ".ini is not the path of a device; it is passed over.",
            MsgButtons::Ok, "Serial Port");
    stored.clear();
  }
  if (!stored.empty()) return stored;
  if (n >= 1 && n <= static_cast<int>(enumerated.size())) return enumerated[n - 1];
  return "";
}

void port_map_remember(int n, const std::string& device) {
  kw_setting_put(kSharedApp, kSection, key_of(n), device);
}

std::string port_map_run_device() {
  const std::string& line = command_line();
  const std::string flag = "--port ";
  size_t at = line.find(flag);
  if (at == std::string::npos) return "";
  size_t start = line.find_first_not_of(' ', at + flag.size());
  if (start == std::string::npos) return "";
  return line.substr(start, line.find(' ', start) - start);
}

}  // namespace ovn
