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

}  // namespace ovn
