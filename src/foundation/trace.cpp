#include "foundation/debug_log.h"
#include "foundation/kw.h"
#include "foundation/platform.h"

namespace ovn {

namespace {
struct TraceState {
  LineTimer timer;
  bool continued = false;  // the previous call left its line open
};
TraceState& st() {
  static TraceState s;
  return s;
}
}  // namespace

std::string kw_trace(const std::string& text, bool continued) {
  auto& s = st();
  std::string line;
  if (!s.continued) {
    if (!s.timer.started) line = std::string(kLogInitText) + "\r\n";
    line += kw_stamp_base64(kw_now()) + " " + log_seconds_field(s.timer, now_ms());
  }
  s.continued = continued;
  return line + text;
}

void kw_trace_reset() {
  st() = TraceState{};
}

}  // namespace ovn
