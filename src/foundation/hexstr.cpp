#include "foundation/hexstr.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string_view>
#include <system_error>

#include "foundation/platform.h"

namespace ovn {

namespace {

const char* const kCrLf = "\r\n";
const char kDigits[] = "0123456789ABCDEF";

// The piece of `text` of `n` characters from 1-based `position`; short or empty past the end.
std::string mid(const std::string& text, int position, int n) {
  if (position < 1 || n <= 0 || position > static_cast<int>(text.size())) return "";
  return text.substr(position - 1, n);
}

int hex_digit(char ch) {
  if (ch >= '0' && ch <= '9') return ch - '0';
  if (ch >= 'A' && ch <= 'F') return ch - 'A' + 10;
  if (ch >= 'a' && ch <= 'f') return ch - 'a' + 10;
  return -1;
}

// Parses well-formed hex into `value` and reports its width in significant digits.
bool parse_hex(const std::string& text, uint64_t& value, int& significant) {
  if (!is_hex(text)) return false;
  value = 0;
  significant = 0;
  for (char ch : text) {
    if (significant > 0 || ch != '0') ++significant;
    if (significant > 8) return true;  // wider than any result: the caller's overflow
    value = value * 16 + static_cast<uint64_t>(hex_digit(ch));
  }
  return true;
}

[[noreturn]] void overflow(const std::string& what, const std::string& text) {
  fatal_error("Overflow: " + what + "(\"" + text + "\")");
}

// The hex parsers by result width; each has its own failure text.
enum class HexWidth { s32, u32, s16, u8 };

[[noreturn]] void bad_hex(HexWidth width, const std::string& text) {
  switch (width) {
    case HexWidth::s32: {
      const int n = static_cast<int>(text.size());
      fatal_error("Bad 32-bit Hex Number:\"" + text + "\"" + kCrLf +
                  "(Length=" + std::to_string(n) + ":" + text_to_hex(text, n, " ") + ")" + kCrLf);
    }
    case HexWidth::u32:
      fatal_error("Bad Unsigned 32-bit Hex Number:\"" + text + "\"");
    case HexWidth::s16:
      fatal_error("Bad 16-bit Integer Hex Number:\"" + text + "\"");
    case HexWidth::u8:
      break;
  }
  fatal_error("Bad 8-bit Integer Hex Number:\"" + text + "\"");
}

// Parses hex into the width's range; a full 32- or 16-bit value wraps to negative.
int64_t parse_hex_as(const std::string& text, HexWidth width) {
  uint64_t value;
  int significant;
  if (!parse_hex(text, value, significant)) bad_hex(width, text);
  const int digits = width == HexWidth::s16 ? 4 : width == HexWidth::u8 ? 2 : 8;
  if (significant > digits) overflow("hex", text);
  const uint64_t top = uint64_t{1} << (4 * digits - 1);
  if (width == HexWidth::u8 || value < top) return static_cast<int64_t>(value);
  return static_cast<int64_t>(value) - static_cast<int64_t>(2 * top);
}

// Lays out the shortest scientific form "d.ddde+XX" in plain decimal where that reads well.
std::string layout(const char* begin, const char* end) {
  std::string_view sci(begin, static_cast<size_t>(end - begin));
  std::string sign;
  if (!sci.empty() && sci.front() == '-') {
    sign = "-";
    sci.remove_prefix(1);
  }
  const size_t e_at = sci.find('e');
  if (e_at == std::string_view::npos) return std::string(begin, end);  // "inf", "nan"
  int exponent = 0;
  std::from_chars(sci.data() + e_at + 1 + (sci[e_at + 1] == '+' ? 1 : 0), sci.data() + sci.size(),
                  exponent);
  if (exponent < -5 || exponent >= 15) return std::string(begin, end);
  std::string digits;
  for (char ch : sci.substr(0, e_at))
    if (ch != '.') digits += ch;
  std::string out;
  if (exponent < 0) {
    out = "0." + std::string(static_cast<size_t>(-exponent - 1), '0') + digits;
  } else {
    const size_t whole = static_cast<size_t>(exponent) + 1;
    if (digits.size() < whole) digits.append(whole - digits.size(), '0');
    out = digits.substr(0, whole);
    if (digits.size() > whole) out += "." + digits.substr(whole);
  }
  return sign + out;
}

template <typename T>
std::string shortest_text(T value) {
  if (value == 0) return "0";  // also a negative zero
  char buffer[64];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific);
  return layout(buffer, result.ptr);
}

std::string trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// Reads a number from a value text as a T, the locale-free way; a "+" sign is allowed.
template <typename T>
bool read_as(const std::string& text, T& value) {
  std::string t = trimmed(text);
  if (!t.empty() && t[0] == '+') {
    t.erase(0, 1);
    if (!t.empty() && t[0] == '-') return false;
  }
  auto result = std::from_chars(t.data(), t.data() + t.size(), value);
  return result.ec == std::errc() && result.ptr == t.data() + t.size() && std::isfinite(value);
}

[[noreturn]] void not_a_number(const std::string& text) {
  fatal_error("Type mismatch: \"" + text + "\" is no number");
}

// The value text as a single, exactly as the shortest text of that single reads back.
// Values beyond the single range stay doubles: single_to_hex decides what they become.
double read_single(const std::string& text) {
  float single;
  if (read_as(text, single)) return single;
  double wide;
  if (!read_as(text, wide)) not_a_number(text);
  return wide;
}

// The value text as an integer of `bits` bits, rounded half to even.
int32_t read_integer(const std::string& text, int bits) {
  double value;
  if (!read_as(text, value)) not_a_number(text);
  const double rounded = std::nearbyint(value);
  const double limit = std::ldexp(1.0, bits - 1);
  if (!(rounded >= -limit && rounded < limit)) overflow("integer", text);
  return static_cast<int32_t>(rounded);
}

std::string text_of(const HexValue& value) {
  if (const auto* i = std::get_if<int32_t>(&value)) return std::to_string(*i);
  if (const auto* d = std::get_if<double>(&value)) return double_text(*d);
  return std::get<std::string>(value);
}

}  // namespace

std::string single_text(double value) {
  const float single = static_cast<float>(value);
  if (std::isfinite(single) && static_cast<double>(single) == value) return shortest_text(single);
  return double_text(value);
}

std::string double_text(double value) {
  return shortest_text(value);
}

bool hexstr_next_item(const std::string& format, int bit_mask, int expected_mask, int& position,
                      char& designator, int& repeat) {
  if (--repeat > 0) return true;
  repeat = 0;
  const int length = static_cast<int>(format.size());
  do {
    if (++position > length) return false;
    designator = format[position - 1];
  } while (designator == ' ');
  while (++position <= length) {
    const char ch = format[position - 1];
    if (ch < '0' || ch > '9') {
      --position;
      break;
    }
    repeat = repeat * 10 + (ch - '0');
    // The count is a 16-bit number.
    if (repeat > std::numeric_limits<int16_t>::max()) overflow("format count", format);
  }
  std::string error;
  const std::string_view letter(&designator, 1);
  if (repeat == 0) {
    if (std::string_view("aBhS").find(designator) != std::string_view::npos)
      error = "Need number: format \"" + std::string(letter) + "\"!";
    else
      repeat = 1;
  }
  if (std::string_view("fhlsbaxS-").find(designator) == std::string_view::npos) {
    if (designator != 'B') error = "Unknown format designator:" + std::string(letter);
  } else if (bit_mask >= 0 && bit_mask != expected_mask) {
    error = "Bad Bit Mask";
  }
  if (!error.empty()) {
    fatal_error(error + kCrLf + "FORMAT=" + format + kCrLf +
                "frmt_pos=" + std::to_string(position) + kCrLf + "fmt_ch=" + std::string(letter) +
                kCrLf + "bit_mask=" + std::to_string(bit_mask) + kCrLf +
                "repeat_count=" + std::to_string(repeat));
  }
  return true;
}

int16_t hexstr_decode(const std::string& format, const std::string& hex_run,
                      std::vector<std::string>& values) {
  int run_position = 1;
  int bit_mask = 1;
  int current_byte = 0;
  int16_t count = 0;
  int last_piece_length = 0;
  int position = 0, repeat = 0;
  char designator = '\0';
  while (hexstr_next_item(format, bit_mask, 1, position, designator, repeat)) {
    int consumed = 0;
    bool store = true;
    std::string value;
    // Takes the next piece of the run for the non-B items.
    auto take = [&](int n) {
      std::string piece = mid(hex_run, run_position, n);
      last_piece_length = static_cast<int>(piece.size());
      return piece;
    };
    switch (designator) {
      case 'f':
        value = single_text(hex_to_single(take(8)));
        break;
      case 'l':
        value = std::to_string(hex_to_s32(take(8)));
        break;
      case 's':
        value = std::to_string(hex_to_s16(take(4)));
        break;
      case 'b':
        value = std::to_string(hex_to_s16(take(2)));
        break;
      case 'h':
        value = std::to_string(hex_to_s32(take(repeat)));
        repeat = 1;
        break;
      case 'a':
        value = hex_to_text(take(2 * repeat), false);
        repeat = 1;
        break;
      case 'S':
        value = take(repeat);
        repeat = 1;
        break;
      case 'B': {
        uint32_t accumulator = 0;
        for (int i = 0; i < repeat; ++i) {
          bit_mask >>= 1;
          if (bit_mask == 0) {
            current_byte = hex_to_u8(mid(hex_run, run_position + consumed, 2));
            bit_mask = 128;
            consumed += 2;
          }
          accumulator = (accumulator << 1) | ((current_byte & bit_mask) ? 1u : 0u);
        }
        value = std::to_string(accumulator);
        repeat = 1;
        break;
      }
      default:  // 'x' and '-'
        consumed = 2;
        store = false;
        break;
    }
    if (store) {
      if (count >= static_cast<int>(values.size())) {
        fatal_error("hexstr_decode: the value list holds " + std::to_string(values.size()) +
                    " entries, too few for format \"" + format + "\"");
      }
      values[static_cast<size_t>(count++)] = value;
    }
    // A B field that opened no byte advances by the last piece taken: keep B fields first.
    if (consumed == 0) consumed = last_piece_length;
    run_position += consumed;
  }
  return count;
}

std::string hexstr_encode(const std::string& format, const std::vector<std::string>& values) {
  std::string out;
  std::string piece;
  int bit_mask = 128;
  int accumulator = 0;
  int index = 0;
  int position = 0, repeat = 0;
  char designator = '\0';
  auto value = [&]() -> const std::string& {
    if (index < 0 || index >= static_cast<int>(values.size())) {
      fatal_error("hexstr_encode: format \"" + format + "\" needs more than " +
                  std::to_string(values.size()) + " values");
    }
    return values[static_cast<size_t>(index)];
  };
  while (hexstr_next_item(format, bit_mask, 128, position, designator, repeat)) {
    switch (designator) {
      case 'f':
        piece = single_to_hex(read_single(value()));
        break;
      case 'l':
        piece = hex_of(read_integer(value(), 32), 8);
        break;
      case 's':
        piece = hex_of(read_integer(value(), 16), 4);
        break;
      case 'b':
        piece = hex_of(read_integer(value(), 16), 2);
        break;
      case 'a':
        piece = text_to_hex(value(), repeat, "");
        repeat = 1;
        break;
      case 'S':
        piece = value().substr(0, static_cast<size_t>(repeat));
        repeat = 1;
        break;
      case 'h':
        repeat = 1;  // the previous piece goes out again
        break;
      case '-':
        piece.clear();
        --index;
        break;
      case 'x':
        piece = "00";
        --index;
        break;
      default: {  // 'B'
        piece.clear();
        const uint32_t bits = static_cast<uint32_t>(read_integer(value(), 32));
        for (int i = repeat - 1; i >= 0; --i) {
          if (i < 32 && (bits >> i) & 1u) accumulator |= bit_mask;
          bit_mask >>= 1;
          if (bit_mask == 0) {
            out += hex_of(accumulator, 2);
            bit_mask = 128;
            accumulator = 0;
          }
        }
        repeat = 1;
        break;
      }
    }
    out += piece;
    ++index;
  }
  return out;
}

std::string hexstr_encode_var(const std::string& format, const std::vector<HexValue>& values) {
  constexpr size_t kSlots = 51;
  std::vector<std::string> texts(kSlots);
  size_t index = 0;
  int position = 0, repeat = 0;
  char designator = '\0';
  while (hexstr_next_item(format, -1, 128, position, designator, repeat)) {
    if (index >= kSlots) {
      fatal_error("hexstr_encode_var: format \"" + format + "\" takes more than 51 values");
    }
    if (index >= values.size()) {
      fatal_error("hexstr_encode_var: format \"" + format + "\" needs more than " +
                  std::to_string(values.size()) + " values");
    }
    texts[index] = text_of(values[index]);
    ++index;
    if (designator == 'a' || designator == 'B' || designator == 'S') repeat = 1;
  }
  return hexstr_encode(format, texts);
}

int32_t hex_to_s32(const std::string& text) {
  return static_cast<int32_t>(parse_hex_as(text, HexWidth::s32));
}

double hex_to_u32_as_double(const std::string& text) {
  const double value = static_cast<double>(parse_hex_as(text, HexWidth::u32));
  return value < 0 ? value + 4294967296.0 : value;
}

int16_t hex_to_s16(const std::string& text) {
  return static_cast<int16_t>(parse_hex_as(text, HexWidth::s16));
}

uint8_t hex_to_u8(const std::string& text) {
  return static_cast<uint8_t>(parse_hex_as(text, HexWidth::u8));
}

double hex_to_single(const std::string& text) {
  if (text == "00000000") return 0.0;
  if (text.size() < 8) bad_hex(HexWidth::s32, text);
  const uint32_t bits = static_cast<uint32_t>(hex_to_s32(text.substr(0, 8)));
  const double sign = (bits & 0x80000000u) ? -1.0 : 1.0;
  const int field = static_cast<int>((bits >> 23) & 0xFF);
  const uint32_t fraction = bits & 0x7FFFFF;
  if (field < 1) return sign * std::ldexp(static_cast<double>(fraction), -149);
  return sign * std::ldexp(static_cast<double>(fraction + 0x800000u), field - 150);
}

double hex_to_double(const std::string& text) {
  if (text == "0000000000000000") return 0.0;
  if (text.size() < 16) bad_hex(HexWidth::s32, text);
  const double sign = hex_digit(text[0]) >= 8 ? -1.0 : 1.0;
  const int exponent = (hex_to_s32(text.substr(0, 3)) & 0x7FF) - 1023;
  const double high = (hex_to_s32(text.substr(1, 7)) & 0x1FFFFF) + 0x200000;
  const double low = hex_to_u32_as_double(text.substr(text.size() - 8));
  return sign * (high / std::ldexp(1.0, 21) + low / std::ldexp(1.0, 53)) *
         std::ldexp(1.0, exponent);
}

std::string single_to_hex(double value) {
  if (value == 0) return "00000000";
  if (!std::isfinite(value)) overflow("single_to_hex", double_text(value));
  const bool negative = value < 0;
  const double x = std::fabs(value);
  const int e = static_cast<int>(std::floor(std::log(x) / std::log(2.0)));
  // An e one too small (log rounding at a power of two) gives m = 2^24, which carries
  // into the exponent field by the addition below.
  double pattern;
  if (e > -127)
    pattern = std::ldexp(e + 127.0, 23) + (std::nearbyint(std::ldexp(x, 23 - e)) - 8388608.0);
  else
    pattern = std::nearbyint(std::ldexp(x, 149));
  if (pattern > 2147483647.0) overflow("single_to_hex", double_text(value));
  std::string out = hex_of(static_cast<int32_t>(pattern), 8);
  if (negative) out[0] = kDigits[hex_digit(out[0]) + 8];
  return out;
}

std::string hex_of(int32_t value, int width) {
  if (width <= 0) return "";
  uint32_t bits = static_cast<uint32_t>(value);
  std::string digits;
  do {
    digits.insert(digits.begin(), kDigits[bits & 0xF]);
    bits >>= 4;
  } while (bits != 0);
  const size_t w = static_cast<size_t>(width);
  if (digits.size() > w) return digits.substr(digits.size() - w);
  return std::string(w - digits.size(), '0') + digits;
}

std::string hex_to_text(const std::string& hex, bool keep_going) {
  std::string out;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) {
    const int code = hex_to_u8(hex.substr(i, 2));
    if (code >= 32 && code <= 126) {
      out += static_cast<char>(code);
    } else if (keep_going) {
      out += '?';
    } else {
      break;
    }
  }
  return out;
}

std::string text_to_hex(const std::string& text, int n, const std::string& separator) {
  std::string out;
  for (int i = 0; i < n; ++i) {
    const int code = i < static_cast<int>(text.size()) ? static_cast<unsigned char>(text[i]) : 0;
    out += separator;
    out += kDigits[code >> 4];
    out += kDigits[code & 0xF];
  }
  return out;
}

std::string hex_swap16(const std::string& text) {
  std::string out;
  for (size_t i = 0; i + 4 <= text.size(); i += 4) out += text.substr(i + 2, 2) + text.substr(i, 2);
  return out;
}

std::string hex_swap32(const std::string& text) {
  std::string out;
  for (size_t i = 0; i + 8 <= text.size(); i += 8)
    for (size_t pair = 4; pair-- > 0;) out += text.substr(i + 2 * pair, 2);
  return out;
}

std::string bits_to_text(int32_t value, int n) {
  const uint32_t bits = static_cast<uint32_t>(value);
  std::string out;
  for (int i = 0; i < n; ++i) out += (i < 32 && (bits >> i) & 1u) ? '1' : '0';
  return out;
}

bool is_hex(const std::string& text) {
  if (text.empty()) return false;
  for (char ch : text)
    if (hex_digit(ch) < 0) return false;
  return true;
}

bool hex_fits(const std::string& text, int digits) {
  uint64_t value;
  int significant;
  return parse_hex(text, value, significant) && significant <= digits;
}

}  // namespace ovn
