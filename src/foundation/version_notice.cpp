#include "foundation/version_notice.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <vector>

#include "build_info.h"
#include "foundation/debug_log.h"
#include "foundation/kw.h"
#include "foundation/platform.h"
#include "foundation/settings.h"

namespace ovn {

namespace {
constexpr const char* kNewerVersionKey = "Newer-Version-Directory";
constexpr const char* kSiteDefault = "";  // a site sets its release folders in the store

// The first file named "version*" in `dir`, by name order; nothing when there is none or
// the folder cannot be read.
std::optional<std::string> version_file(const std::string& dir) {
  std::error_code ec;
  std::vector<std::string> names;
  for (std::filesystem::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
    std::string name = it->path().filename().string();
    if (name.rfind("version", 0) == 0 && it->is_regular_file(ec)) names.push_back(name);
  }
  if (ec || names.empty()) return std::nullopt;
  return *std::min_element(names.begin(), names.end());
}

std::string notice_for(const std::string& program_name, const std::string& dir,
                       const std::string& file) {
  int major = build::version_major, minor = build::version_minor;
  debug_log("\\version* ... Found " + file + " vs Current version " + std::to_string(major) + "." +
            std::to_string(minor));
  std::vector<std::string> parts = kw_split(file.substr(7), ".");
  int16_t found_major = 0, found_minor = 0;
  int stop = 0;
  if (parts.size() != 2 || !kw_is_i16_text(parts[0], found_major, stop) ||
      !kw_is_i16_text(parts[1], found_minor, stop))
    return "Unable to parse " + file;
  if (found_major == major && found_minor == minor) return "";
  return "This version of " + program_name + "\r\n    " + kw_version_text() +
         "\r\nis not the same as version\r\n    " + std::to_string(found_major) + "." +
         std::to_string(found_minor) + ".0\r\nwhich is in the directory\r\n    " + dir +
         "\r\nContinue Anyway?";
}
}  // namespace

std::string kw_version_text() {
  return build::version;
}

std::string kw_version_notice(const std::string& program_name) {
  const char* skip = std::getenv("OVN_NO_NEW_VERSION_CHECK");
  if (command_line_has("-nonewversioncheck") || (skip && *skip)) return "";
  std::string candidates =
      kw_setting_seed(kSharedApp, kDirectoriesSection, kNewerVersionKey, kSiteDefault);
  for (std::string candidate : kw_split(candidates, "?")) {
    std::replace(candidate.begin(), candidate.end(), '\\', '/');
    if (candidate.empty()) continue;
    if (candidate.back() == '/') candidate.pop_back();
    std::string dir = candidate + "/" + program_name;
    if (dir.find("ovn-software") != std::string::npos) dir += "/latest";
    auto file = version_file(dir);
    if (!file) continue;
    std::string text = notice_for(program_name, dir, *file);
    kw_setting_put(kSharedApp, kDirectoriesSection, kNewerVersionKey, candidate);
    return text;
  }
  return "";
}

}  // namespace ovn
