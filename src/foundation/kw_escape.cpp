#include <algorithm>
#include <cstdio>

#include "foundation/kw.h"

namespace ovn {

namespace {
// Parses all of `digits` in `base` (8 or 16); false when empty or any digit is foreign.
bool parse_all(const std::string& digits, int base, int& value) {
  if (digits.empty()) return false;
  value = 0;
  for (char ch : digits) {
    int d;
    if (ch >= '0' && ch <= '9')
      d = ch - '0';
    else if (ch >= 'a' && ch <= 'f')
      d = ch - 'a' + 10;
    else if (ch >= 'A' && ch <= 'F')
      d = ch - 'A' + 10;
    else
      return false;
    if (d >= base) return false;
    value = value * base + d;
  }
  return true;
}
}  // namespace

std::string kw_unescape(const std::string& text) {
  std::string out;
  const size_t n = text.size();
  size_t i = 0;
  while (i < n) {
    char ch = text[i];
    if (ch != '\\' || i + 1 >= n) {
      out += ch;
      ++i;
      continue;
    }
    size_t c = i + 1;  // the character behind the backslash
    int value = 0;
    switch (text[c]) {
      case 'n':
        out += '\r';
        i = c + 1;
        continue;
      case 'r':
        out += '\n';
        i = c + 1;
        continue;
      case 't':
        out += '\t';
        i = c + 1;
        continue;
      case 'x':
        if (parse_all(text.substr(c + 1, 2), 16, value)) {
          out += static_cast<char>(value);
          i = c + 1 + std::min<size_t>(2, n - c - 1);
        } else {
          out += "\\x";
          i = c + 1;
        }
        continue;
      default:
        break;
    }
    if (parse_all(text.substr(c, 3), 8, value) && value < 256) {
      out += static_cast<char>(value);
      i = c + 4;  // skips one character behind the three digits, as the program always has
      continue;
    }
    switch (text[c]) {
      case '0':
        out += '\0';
        break;
      case 'f':
        out += '\f';
        break;
      case 'b':
        out += '\b';
        break;
      case '\\':
        out += '\\';
        break;
      case 'v':
        out += '\v';
        break;
      default:
        out += '\\';
        out += text[c];
        break;
    }
    i = c + 1;
  }
  return out;
}

std::string kw_escape(const std::string& text, bool keep_lines) {
  std::string out;
  for (char ch : text) {
    unsigned char u = static_cast<unsigned char>(ch);
    switch (ch) {
      case '\r':
        out += keep_lines ? "\r" : "\\n";
        break;
      case '\n':
        out += keep_lines ? "\n" : "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      case '\0':
        out += "\\0";
        break;
      case '\f':
        out += "\\f";
        break;
      case '\b':
        out += "\\b";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\v':
        out += "\\v";
        break;
      default:
        if (u >= ' ' && u <= '~') {
          out += ch;
        } else {
          char buf[8];
          std::snprintf(buf, sizeof buf, "\\x%X", u);
          out += buf;
        }
    }
  }
  return out;
}

}  // namespace ovn
