#pragma once
// The message console (Misc > "Send Message...", F7): a technician speaks to the
// instrument in its own language, one line at a time. A line holds one or more messages
// separated by "|"; a message may carry numbers packed as hex:
//   hi(<value>)  a 16-bit integer, 4 digits      hl(<value>)  a 32-bit integer, 8 digits
//   hf(<value>)  an IEEE single, 8 digits
// and a message carrying one of these has its reply decoded the same way, shown as
// " (== <value>)" after it. Each message's result line reads
//   "<as typed>" -> "<as sent>" LEN=<reply length>SENT"<as sent>"   GOT"<reply>"
// and goes to the log as well. "IDx" answered "OK" moves the program's ID to x.

#include <string>

namespace ovn {

// One message with its hex forms replaced, left to right: "CE1Ahf(2.5)" gives
// "CE1A40200000". A form without ")" takes the rest of the message as its value; a value
// that is not a number is 0. False, with `error` in the operator's words, when a value
// does not fit its form (the message is then not sent).
bool rs232_f7_expand(const std::string& message, std::string& sent, std::string& error);

// Sends every message of `line` in turn and returns the result lines, each ending CR LF.
std::string rs232_f7_line(const std::string& line);

// The console: the "Send Message" dialog again and again, with the last line kept in its
// field and its results below, until Exit or an empty line.
void rs232_f7();

}  // namespace ovn
