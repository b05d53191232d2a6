#include "foundation/files.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <system_error>
#include <vector>

#include <unistd.h>

#include "foundation/kw.h"
#include "foundation/operator.h"
#include "foundation/platform.h"

namespace ovn {

namespace {
struct FilesState {
  std::map<int, std::FILE*> open;
  std::string program_dir;  // set by tests; empty = where the program really is
};
FilesState& st() {
  static FilesState s;
  return s;
}

// The mode's word in messages and its fopen flags, by FileMode.
struct ModeInfo {
  const char* name;
  const char* flags;
};
constexpr ModeInfo kModes[] = {{"Input", "rb"}, {"Output", "wb"}, {"Append", "ab"}};
const ModeInfo& mode_info(FileMode mode) {
  return kModes[static_cast<int>(mode)];
}

std::string error_line(int err) {
  return "Error " + std::to_string(err) + ":" + std::strerror(err);
}

// Asks Yes/No about a failed file operation; No ends the process.
void ask_or_exit(const std::string& text, const std::string& title) {
  if (msg_box(text, MsgButtons::YesNo, title) != MsgAnswer::Yes) process_exit(1);
}

std::string cut_trailing_separator(std::string path) {
  if (!path.empty() && (path.back() == '/' || path.back() == '\\')) path.pop_back();
  return path;
}

std::string env(const char* name) {
  const char* v = std::getenv(name);
  return v ? v : "";
}

// XDG_DOCUMENTS_DIR as the desktop sets it: the environment first, then the line
// XDG_DOCUMENTS_DIR="$HOME/..." of user-dirs.dirs.
std::string xdg_documents_dir() {
  std::string dir = env("XDG_DOCUMENTS_DIR");
  if (dir.empty()) {
    std::string config = env("XDG_CONFIG_HOME");
    if (config.empty() && !env("HOME").empty()) config = env("HOME") + "/.config";
    std::ifstream in(config + "/user-dirs.dirs");
    const std::string tag = "XDG_DOCUMENTS_DIR=";
    for (std::string line; std::getline(in, line);) {
      if (line.rfind(tag, 0) != 0) continue;
      dir = line.substr(tag.size());
      if (dir.size() >= 2 && dir.front() == '"' && dir.back() == '"')
        dir = dir.substr(1, dir.size() - 2);
    }
    if (dir.rfind("$HOME", 0) == 0) dir = env("HOME") + dir.substr(5);
  }
  if (dir.empty() && !env("HOME").empty()) dir = env("HOME") + "/Documents";
  return dir;
}
}  // namespace

void kw_file_open(int file_number, const std::string& name, FileMode mode) {
  std::string path = name;
  if (path.size() >= 2 && path.front() == '"' && path.back() == '"')
    path = path.substr(1, path.size() - 2);
  kw_file_close(file_number);
  for (;;) {
    errno = 0;
    std::FILE* f = nullptr;
    if (file_number >= 1 && file_number <= kMaxFileNumber)
      f = std::fopen(path.c_str(), mode_info(mode).flags);
    else
      errno = EBADF;
    if (f) {
      st().open[file_number] = f;
      return;
    }
    ask_or_exit(error_line(errno) + "\r\nUnable to open file \"" + path + "\"\r\n   for " +
                    mode_info(mode).name + "\r\nFile Number:" + std::to_string(file_number) +
                    "\r\n\r\nRetry opening?",
                "Open File");
  }
}

bool kw_file_print(int file_number, const std::string& text) {
  auto it = st().open.find(file_number);
  errno = EBADF;
  if (it != st().open.end()) {
    errno = 0;
    std::FILE* f = it->second;
    std::string line = text + "\r\n";
    if (std::fwrite(line.data(), 1, line.size(), f) == line.size() && std::fflush(f) == 0)
      return true;
    if (errno == 0) errno = EIO;
    std::clearerr(f);
  }
  ask_or_exit(
      error_line(errno) + "\r\nUnable to print to file number " + std::to_string(file_number),
      "Print to File");
  return false;
}

bool kw_file_line_input(int file_number, std::string& line) {
  line.clear();
  auto it = st().open.find(file_number);
  if (it == st().open.end()) return false;
  int c;
  bool any = false;
  while ((c = std::fgetc(it->second)) != EOF) {
    any = true;
    if (c == '\n') break;
    line += static_cast<char>(c);
  }
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return any;
}

void kw_file_close(int file_number) {
  auto it = st().open.find(file_number);
  if (it == st().open.end()) return;
  std::fclose(it->second);
  st().open.erase(it);
}

void kw_file_close_all() {
  for (auto& [number, f] : st().open) std::fclose(f);
  st().open.clear();
}

int kw_free_file() {
  for (int n = 1; n <= kMaxFileNumber; ++n)
    if (!st().open.count(n)) return n;
  return 0;
}

bool kw_file_replace(const std::string& path, const std::string& text) {
  const std::string temp = path + ".saving";
  std::FILE* file = std::fopen(temp.c_str(), "wb");
  if (!file) return false;
  bool ok = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  ok = std::fflush(file) == 0 && ok;
  ok = fsync(fileno(file)) == 0 && ok;
  ok = std::fclose(file) == 0 && ok;
  if (!ok || std::rename(temp.c_str(), path.c_str()) != 0) {
    std::remove(temp.c_str());
    return false;
  }
  return true;
}

bool kw_dir_writable(const std::string& path) {
  if (path.empty()) return false;
  std::string probe = cut_trailing_separator(path) + "/,,,.tmp";
  std::FILE* f = std::fopen(probe.c_str(), "wb");
  if (!f) return false;
  bool ok = std::fputs("1", f) >= 0;
  ok = std::fclose(f) == 0 && ok;
  return std::remove(probe.c_str()) == 0 && ok;
}

std::string kw_documents_dir() {
  // OVN_DATA_DIR keeps a demo's or a test's files in a folder of their own.
  std::vector<std::string> candidates = {env("OVN_DATA_DIR"), xdg_documents_dir(), env("HOME"),
                                         env("TMPDIR"),       env("TMP"),          env("TEMP"),
                                         env("TEMPDIR")};
  for (const auto& dir : candidates) {
    std::string d = cut_trailing_separator(dir);
    if (kw_dir_writable(d)) return d;
  }
  return kw_program_dir();
}

std::string kw_program_dir() {
  if (!st().program_dir.empty()) return st().program_dir;
  std::error_code ec;
  auto exe = std::filesystem::read_symlink("/proc/self/exe", ec);
  if (ec) return ".";
  return cut_trailing_separator(exe.parent_path().string());
}

void kw_set_program_dir(const std::string& dir) {
  st().program_dir = cut_trailing_separator(dir);
}

bool kw_log_line(const std::string& file, const std::string& text) {
  DateTime now = kw_now();
  std::string record = text.find_first_of("\r\n") != std::string::npos
                           ? "#********* " + kw_timestamp(now, "T") + "\r\n" + text
                           : kw_timestamp(now, " ") + " " + text;
  record += "\r\n";
  std::FILE* f = std::fopen(file.c_str(), "ab");
  bool ok = f && std::fwrite(record.data(), 1, record.size(), f) == record.size();
  if (f) ok = std::fclose(f) == 0 && ok;
  if (!ok) msg_box("Error logging data to " + file + "\r\n", MsgButtons::Ok, "?");
  return ok;
}

}  // namespace ovn
