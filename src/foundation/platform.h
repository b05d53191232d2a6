#pragma once
// The seams through which the core reaches the outside world: time, the event pump,
// the settings store, the log sink, and the end of the process.
//
// Production code (main) installs the real implementations once at start-up; every test
// installs fakes (a virtual clock, a memory store, a memory log, a catchable exit).
// Nothing here is thread-safe: the program has one thread. Installed objects are not
// owned; the installer keeps them alive for as long as they are installed.

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace ovn {

// ---- Clock -----------------------------------------------------------------------------

// A millisecond clock and the way to wait on it.
class Clock {
 public:
  virtual ~Clock() = default;
  // Milliseconds since an arbitrary origin; monotonic, never wraps.
  virtual double now_ms() = 0;
  // Blocks for `ms` milliseconds (nothing happens for ms <= 0). Does not pump events.
  virtual void sleep(double ms) = 0;
  // The local wall time as milliseconds since 1970-01-01 00:00:00 (local, not UTC).
  virtual double wall_ms() = 0;
};

// The machine's steady clock; sleep really sleeps.
class SystemClock final : public Clock {
 public:
  double now_ms() override;
  void sleep(double ms) override;
  double wall_ms() override;
};

// A clock for tests: sleeping advances time at once, so a three-attempt time-out path runs
// in microseconds and always the same way. Observers run after every advance (a simulated
// instrument uses that to move its signals on). Its wall time starts at
// 2026-11-23 10:00:00.000 and moves with it.
class VirtualClock final : public Clock {
 public:
  static constexpr double kWallStart = 1795428000000.0;  // 2026-11-23 10:00:00
  explicit VirtualClock(double start_ms = 1000.0) : start_(start_ms), now_(start_ms) {}
  double now_ms() override { return now_; }
  void sleep(double ms) override { advance(ms); }
  double wall_ms() override { return kWallStart + (now_ - start_); }
  void advance(double ms);
  // Adds an observer called with the new time after each advance; returns its id.
  int on_advance(std::function<void(double)> observer);
  void remove_observer(int id);

 private:
  double start_;
  double now_;
  int next_id_ = 1;
  std::map<int, std::function<void(double)>> observers_;
};

// Installs the clock the core uses; nullptr restores the system clock.
void set_clock(Clock* clock);
Clock& clock();

// Installs the event pump: runs pending user-interface events once. Empty = nothing to pump.
void set_event_pump(std::function<void()> pump);
void pump_events();

// The one blocking wait of the program. Every wait for the instrument or for time comes
// here: it blocks until an event arrives (a user-interface event, a timer, input on the
// serial port, a wake-up from a signal handler) or the clock reaches `deadline_ms`,
// handles what arrived, and returns. It may return before the deadline, after any event:
// callers re-check what they wait for and the time. It never spins.
//
// Installed by the program (the Qt event loop, which also watches the serial port and the
// wake-up descriptor). With none installed it sleeps on the installed clock up to the
// deadline, which under a virtual clock moves time there at once. Tests install their own
// to make events happen at chosen moments. May re-enter: handlers run inside it.
using EventWait = std::function<void(double deadline_ms)>;
void set_event_wait(EventWait wait);
void wait_events_until(double deadline_ms);

// A descriptor that becomes readable when wake_event_wait is called, so that the event
// wait returns: the installed wait watches it. wake_event_wait may be called from a
// signal handler. drain_event_wake empties it again. -1 when the system gave none.
int event_wake_fd();
void wake_event_wait();
void drain_event_wake();

// Milliseconds since an arbitrary origin, monotonic, never wrapping.
double now_ms();
// Lets pending events run once, then waits `ms` if it is above 0, handling the events that
// arrive meanwhile (the event wait, until the time is up).
void yield_ms(double ms);
// With slices <= 1 a plain sleep without pumping; otherwise waits in slices of
// ms / slices (integer division, at least 10 ms), pumping events before each slice.
void sleep_ms(int ms, int slices);

// ---- Settings store --------------------------------------------------------------------

// Per-user settings addressed by application, section and key. Values are strings.
class SettingsStore {
 public:
  virtual ~SettingsStore() = default;
  // The stored value, or nothing when the key is absent. A stored empty string is a value.
  virtual std::optional<std::string> get(const std::string& app, const std::string& section,
                                         const std::string& key) = 0;
  virtual void put(const std::string& app, const std::string& section, const std::string& key,
                   const std::string& value) = 0;
  virtual void remove_key(const std::string& app, const std::string& section,
                          const std::string& key) = 0;
  virtual void remove_section(const std::string& app, const std::string& section) = 0;
};

// A store held in memory: the tests' store, and the fallback before anything is installed.
class MemorySettingsStore final : public SettingsStore {
 public:
  std::optional<std::string> get(const std::string& app, const std::string& section,
                                 const std::string& key) override;
  void put(const std::string& app, const std::string& section, const std::string& key,
           const std::string& value) override;
  void remove_key(const std::string& app, const std::string& section,
                  const std::string& key) override;
  void remove_section(const std::string& app, const std::string& section) override;

  using Key = std::tuple<std::string, std::string, std::string>;
  const std::map<Key, std::string>& all() const { return values_; }

 private:
  std::map<Key, std::string> values_;
};

// Installs the settings store; nullptr restores a private memory store.
void set_settings_store(SettingsStore* store);
SettingsStore& settings_store();

// ---- Log sink --------------------------------------------------------------------------

// Where finished debug log lines go. A line carries no line end.
class LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void write_line(const std::string& line) = 0;
};

class MemoryLogSink final : public LogSink {
 public:
  void write_line(const std::string& line) override { lines.push_back(line); }
  std::vector<std::string> lines;
};

// Appends each line to a file, opening and closing it per line so that nothing is lost
// when the process ends abruptly. When the file passes `max_bytes` it is renamed to
// "<path>.1" (replacing an older one) and a new file begins.
class FileLogSink final : public LogSink {
 public:
  explicit FileLogSink(std::string path, long max_bytes = 4L * 1024 * 1024);
  void write_line(const std::string& line) override;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  long max_bytes_;
};

// Installs the log sink; nullptr means lines are dropped.
void set_log_sink(LogSink* sink);
LogSink* log_sink();

// ---- End of the process ----------------------------------------------------------------

// Ends the process at once, with nothing saved (the operator's Abort, a programmer's
// error). The installed handler must not return; production calls std::_Exit, tests
// throw an exception of their own so the event can be checked.
using ExitHandler = std::function<void(int code)>;
void set_exit_handler(ExitHandler handler);
// The installed handler (empty when none), so a caller can chain to it for a while.
ExitHandler exit_handler();
[[noreturn]] void process_exit(int code);

// A programmer's error that the program cannot go on from: the text is shown to the
// operator (through the installed reporter: a message box in the program, stderr
// otherwise), then the process ends with code 1.
using FatalReporter = std::function<void(const std::string& text)>;
void set_fatal_reporter(FatalReporter reporter);
[[noreturn]] void fatal_error(const std::string& text);

// ---- Command line ----------------------------------------------------------------------

// The whole command line as one text, arguments joined by blanks. Switches such as
// "-nologo" are found by a plain text search anywhere in it.
void set_command_line(const std::string& text);
const std::string& command_line();
bool command_line_has(const std::string& word);

}  // namespace ovn
