#pragma once
// The program's text and number toolbox. Strings are single-byte (Latin-1, as on the
// wire); positions handed in and out are 1-based, as the operator-facing texts count.

#include <string>

namespace ovn {

// Expands backslash escapes. Note the program's own convention: "\n" gives CR and "\r"
// gives LF; an octal escape swallows the character behind its three digits.
std::string kw_unescape(const std::string& text);
// The mirror of kw_unescape: CR is written "\n", LF "\r" (both kept raw with keep_lines).
std::string kw_escape(const std::string& text, bool keep_lines);

}  // namespace ovn
