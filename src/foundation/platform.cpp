#include "foundation/platform.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <thread>

namespace ovn {

// ---- Clock -----------------------------------------------------------------------------

double SystemClock::now_ms() {
  using namespace std::chrono;
  return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}

void SystemClock::sleep(double ms) {
  if (ms > 0) std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(ms));
}

double SystemClock::wall_ms() {
  using namespace std::chrono;
  auto now = system_clock::now();
  std::time_t t = system_clock::to_time_t(now);
  std::tm local{};
  localtime_r(&t, &local);
  double ms = double(duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000);
  return double(timegm(&local)) * 1000.0 + ms;
}

void VirtualClock::advance(double ms) {
  if (ms <= 0) return;
  now_ += ms;
  // Observers may add or remove observers; walk a copy of the ids.
  std::vector<int> ids;
  for (auto& [id, fn] : observers_) ids.push_back(id);
  for (int id : ids) {
    auto it = observers_.find(id);
    if (it != observers_.end()) it->second(now_);
  }
}

int VirtualClock::on_advance(std::function<void(double)> observer) {
  observers_[next_id_] = std::move(observer);
  return next_id_++;
}

void VirtualClock::remove_observer(int id) {
  observers_.erase(id);
}

namespace {
struct PlatformState {
  SystemClock system_clock;
  Clock* clock = nullptr;
  std::function<void()> pump;
  EventWait wait;
  MemorySettingsStore fallback_store;
  SettingsStore* store = nullptr;
  LogSink* log = nullptr;
  ExitHandler exit_handler;
  FatalReporter fatal_reporter;
  std::string command_line;
};

PlatformState& state() {
  static PlatformState s;
  return s;
}
}  // namespace

void set_clock(Clock* c) {
  state().clock = c;
}

Clock& clock() {
  auto& s = state();
  return s.clock ? *s.clock : s.system_clock;
}

void set_event_pump(std::function<void()> pump) {
  state().pump = std::move(pump);
}

void pump_events() {
  if (state().pump) state().pump();
}

double now_ms() {
  return clock().now_ms();
}

void set_event_wait(EventWait wait) {
  state().wait = std::move(wait);
}

void wait_events_until(double deadline_ms) {
  auto& s = state();
  if (s.wait) {
    s.wait(deadline_ms);
    return;
  }
  double ms = deadline_ms - clock().now_ms();
  if (ms > 0) clock().sleep(ms);
}

namespace {
// Made at the first use, before any signal handler can need it, and kept for the process.
int lf_wake_fd() {
  static const int fd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  return fd;
}
}  // namespace

int event_wake_fd() {
  return lf_wake_fd();
}

void wake_event_wait() {
  // Only async-signal-safe calls here; errno is the interrupted code's.
  int saved = errno;
  uint64_t one = 1;
  if (lf_wake_fd() >= 0) (void)!::write(lf_wake_fd(), &one, sizeof one);
  errno = saved;
}

void drain_event_wake() {
  uint64_t count = 0;
  if (lf_wake_fd() >= 0) (void)!::read(lf_wake_fd(), &count, sizeof count);
}

void yield_ms(double ms) {
  pump_events();
  if (ms <= 0) return;
  double deadline = now_ms() + ms;
  while (now_ms() < deadline) wait_events_until(deadline);
}

void sleep_ms(int ms, int slices) {
  if (slices <= 1) {
    clock().sleep(ms);
    return;
  }
  int slice = ms / slices;
  if (slice < 10) slice = 10;
  int count = (ms + slice - 1) / slice;
  for (int i = 0; i < count; ++i) yield_ms(slice);
}

// ---- Settings store --------------------------------------------------------------------

std::optional<std::string> MemorySettingsStore::get(const std::string& app,
                                                    const std::string& section,
                                                    const std::string& key) {
  auto it = values_.find({app, section, key});
  if (it == values_.end()) return std::nullopt;
  return it->second;
}

void MemorySettingsStore::put(const std::string& app, const std::string& section,
                              const std::string& key, const std::string& value) {
  values_[{app, section, key}] = value;
}

void MemorySettingsStore::remove_key(const std::string& app, const std::string& section,
                                     const std::string& key) {
  values_.erase({app, section, key});
}

void MemorySettingsStore::remove_section(const std::string& app, const std::string& section) {
  for (auto it = values_.begin(); it != values_.end();) {
    if (std::get<0>(it->first) == app && std::get<1>(it->first) == section)
      it = values_.erase(it);
    else
      ++it;
  }
}

void set_settings_store(SettingsStore* store) {
  state().store = store;
}

SettingsStore& settings_store() {
  auto& s = state();
  return s.store ? *s.store : s.fallback_store;
}

// ---- Log sink --------------------------------------------------------------------------

FileLogSink::FileLogSink(std::string path, long max_bytes)
    : path_(std::move(path)), max_bytes_(max_bytes) {}

void FileLogSink::write_line(const std::string& line) {
  std::error_code ec;
  auto size = std::filesystem::file_size(path_, ec);
  if (!ec && static_cast<long>(size) > max_bytes_) std::filesystem::rename(path_, path_ + ".1", ec);
  std::ofstream out(path_, std::ios::app | std::ios::binary);
  if (out) out << line << '\n';
}

void set_log_sink(LogSink* sink) {
  state().log = sink;
}
LogSink* log_sink() {
  return state().log;
}

// ---- End of the process ----------------------------------------------------------------

void set_exit_handler(ExitHandler handler) {
  state().exit_handler = std::move(handler);
}

ExitHandler exit_handler() {
  return state().exit_handler;
}

void process_exit(int code) {
  if (state().exit_handler) state().exit_handler(code);
  std::fflush(nullptr);
  std::_Exit(code);
}

void set_fatal_reporter(FatalReporter reporter) {
  state().fatal_reporter = std::move(reporter);
}

void fatal_error(const std::string& text) {
  if (state().fatal_reporter)
    state().fatal_reporter(text);
  else
    std::fprintf(stderr, "%s\n", text.c_str());
  process_exit(1);
}

// ---- Command line ----------------------------------------------------------------------

void set_command_line(const std::string& text) {
  state().command_line = text;
}
const std::string& command_line() {
  return state().command_line;
}
bool command_line_has(const std::string& word) {
  return state().command_line.find(word) != std::string::npos;
}

}  // namespace ovn
