#include "foundation/debug_log.h"

#include <charconv>
#include <cmath>
#include <ctime>

#include "foundation/platform.h"

namespace ovn {

namespace {
struct DebugLogState {
  LineTimer timer;
  std::string pending;  // an open line, when the previous call was continued
  bool open = false;
};
DebugLogState& st() {
  static DebugLogState s;
  return s;
}

std::string date_line(double wall_ms) {
  std::time_t t = static_cast<std::time_t>(std::floor(wall_ms / 1000.0));
  std::tm tm{};
  gmtime_r(&t, &tm);  // wall_ms is already local time
  char buf[40];
  std::strftime(buf, sizeof buf, "%Y-%m-%d %H:%M:%S", &tm);
  return std::string(buf) + " " + kLogInitText;
}
}  // namespace

std::string log_seconds_field(LineTimer& timer, double now) {
  double seconds = timer.started ? (now - timer.last_ms) / 1000.0 : 0.0;
  timer.started = true;
  timer.last_ms = now;
  char buf[32];
  auto r = std::to_chars(buf, buf + sizeof buf, seconds < 0 ? 0.0 : seconds,
                         std::chars_format::fixed, 3);
  std::string s(buf, r.ptr);
  if (s.find('.') < 3) s = std::string(3 - s.find('.'), '0') + s;
  return s + " ";
}

void debug_log(const std::string& text, bool continued) {
  auto& s = st();
  LogSink* sink = log_sink();
  if (!s.open) {
    if (!s.timer.started && sink) sink->write_line(date_line(clock().wall_ms()));
    s.pending = log_seconds_field(s.timer, now_ms());
  }
  s.pending += text;
  s.open = continued;
  if (!continued) {
    if (sink) sink->write_line(s.pending);
    s.pending.clear();
  }
}

void debug_log_reset() {
  st() = DebugLogState{};
}

}  // namespace ovn
