#include "support/temp_dir.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>

namespace ovn::test {

TempDir::TempDir() {
  static std::atomic<int> serial{0};
  auto dir = std::filesystem::temp_directory_path() /
             ("ovn-test-" + std::to_string(::getpid()) + "-" + std::to_string(++serial));
  std::filesystem::remove_all(dir);
  std::filesystem::create_directories(dir);
  path_ = dir.string();
}

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::remove_all(path_, ec);
}

std::string TempDir::write(const std::string& relative, const std::string& content) const {
  std::filesystem::path p = std::filesystem::path(path_) / relative;
  std::filesystem::create_directories(p.parent_path());
  std::ofstream(p, std::ios::binary) << content;
  return p.string();
}

std::optional<std::string> TempDir::read(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream all;
  all << in.rdbuf();
  return all.str();
}

EnvGuard::~EnvGuard() {
  for (auto& [name, value] : saved_) {
    if (value)
      ::setenv(name.c_str(), value->c_str(), 1);
    else
      ::unsetenv(name.c_str());
  }
  ::tzset();
}

void EnvGuard::set(const std::string& name, const std::optional<std::string>& value) {
  if (!saved_.count(name)) {
    const char* old = std::getenv(name.c_str());
    saved_[name] = old ? std::optional<std::string>(old) : std::nullopt;
  }
  if (value)
    ::setenv(name.c_str(), value->c_str(), 1);
  else
    ::unsetenv(name.c_str());
  ::tzset();  // a change of TZ takes effect at once
}

}  // namespace ovn::test
