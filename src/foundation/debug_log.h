#pragma once
// The program's debug log. Each line starts with the seconds since the previous line
// ("000.000 "); the first line of a run is preceded by a line with the date and
// "*****Debug  init". Lines go to the installed log sink (platform.h).

#include <string>

namespace ovn {

// Logs `text`. With `continued` set the line is kept open: the next call's text is
// appended to it without a new time stamp, and the line is written when a call without
// `continued` ends it.
void debug_log(const std::string& text, bool continued = false);

// Forgets the run: the next line is again preceded by the init line (tests use this).
void debug_log_reset();

// The trace line builder: a time stamp (kw_stamp_base64 of the wall time, a blank), the
// seconds since the previous line as "000.000 ", and the text. The first call of a run
// puts "*****Debug  init" and CR LF in front. After a call with `continued` set the next
// text continues that line: it comes back alone, without a stamp, and the time of the
// previous line stays. The line is written nowhere; the caller decides where it goes.
std::string kw_trace(const std::string& text, bool continued = false);
void kw_trace_reset();

// The stamp shared by the debug log and the trace: the seconds since the previous line
// of a run, as "000.000 " (three decimals, at least three digits in front).
inline constexpr const char* kLogInitText = "*****Debug  init";
struct LineTimer {
  bool started = false;  // a line has been stamped in this run
  double last_ms = 0;
};
// The field for a line starting now; moves the timer on. The first line of a run gets 0.
std::string log_seconds_field(LineTimer& timer, double now);

}  // namespace ovn
