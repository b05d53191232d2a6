#pragma once
// Scratch folders, file texts and environment variables for tests that touch the file
// system.

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "foundation/kw.h"

namespace ovn::test {

// The lines of a text, each without the `end` that closes it (the last may lack one).
inline std::vector<std::string> lines_of(const std::string& text, const std::string& end = "\r\n") {
  std::vector<std::string> out = kw_split(text, end);
  if (!out.empty() && out.back().empty()) out.pop_back();
  return out;
}

// A fresh, empty folder under the system's temporary folder, removed with everything in it
// when the object goes.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  // path() + "/" + relative
  std::string operator/(const std::string& relative) const { return path_ + "/" + relative; }
  // Writes `content` (bytes as given) to path() + "/" + relative, creating folders on the way;
  // returns the full path.
  std::string write(const std::string& relative, const std::string& content) const;
  // The bytes of a file, or nothing when it cannot be read.
  static std::optional<std::string> read(const std::string& path);

 private:
  std::string path_;
};

// Sets (or with nothing, unsets) environment variables for the life of the object, and
// puts the old values back afterwards. The time zone follows TZ at once.
class EnvGuard {
 public:
  EnvGuard() = default;
  ~EnvGuard();
  EnvGuard(const EnvGuard&) = delete;
  EnvGuard& operator=(const EnvGuard&) = delete;
  void set(const std::string& name, const std::optional<std::string>& value);

 private:
  std::map<std::string, std::optional<std::string>> saved_;
};

}  // namespace ovn::test
