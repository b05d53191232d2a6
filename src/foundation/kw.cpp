// Splitting, searching, base conversion, parsing, dates and small arithmetic.
#include "foundation/kw.h"

#include <algorithm>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <locale>

#include "foundation/platform.h"

namespace ovn {

namespace {

const std::string kDigits64 = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_@";

int size_of(const std::string& s) {
  return static_cast<int>(s.size());
}

// Stores fields into the caller's array: unused entries are emptied.
int store_fields(std::vector<std::string>&& found, std::vector<std::string>& fields) {
  for (size_t i = 0; i < fields.size(); ++i) fields[i] = i < found.size() ? found[i] : "";
  return static_cast<int>(found.size());
}

}  // namespace

// ---- Splitting and searching -----------------------------------------------------------

std::vector<std::string> kw_split(const std::string& text, const std::string& separator) {
  std::vector<std::string> fields(text.size() + 1);
  fields.resize(kw_split(text, separator, fields));
  return fields;
}

int kw_split(const std::string& text, const std::string& separator,
             std::vector<std::string>& fields) {
  const size_t limit = fields.size();
  std::vector<std::string> found;
  if (limit == 0) return store_fields({}, fields);
  size_t pos = 0;
  while (found.size() + 1 < limit) {
    size_t at = separator.empty() ? (pos + 1 < text.size() ? pos + 1 : std::string::npos)
                                  : text.find(separator, pos);
    if (at == std::string::npos) break;
    found.push_back(text.substr(pos, at - pos));
    pos = at + separator.size();
  }
  found.push_back(text.substr(pos));
  return store_fields(std::move(found), fields);
}

int kw_split_merge(const std::string& text, const std::string& separator,
                   std::vector<std::string>& fields, int max_fields) {
  if (separator.empty()) return kw_split(text, separator, fields);
  const size_t sep = separator.size();
  auto skip_run = [&](size_t pos) {
    while (text.compare(pos, sep, separator) == 0) pos += sep;
    return pos;
  };
  std::vector<std::string> found;
  size_t pos = skip_run(0);
  while (pos < text.size()) {
    if (found.size() == fields.size()) {
      store_fields(std::move(found), fields);
      return -1;
    }
    size_t at = text.find(separator, pos);
    if (max_fields >= 1 && static_cast<int>(found.size()) + 1 == max_fields)
      at = std::string::npos;  // the last allowed field takes the rest
    found.push_back(text.substr(pos, at == std::string::npos ? at : at - pos));
    pos = at == std::string::npos ? text.size() : skip_run(at);
  }
  return store_fields(std::move(found), fields);
}

int kw_split_by_list(const std::string& text, const std::string& separator_list,
                     std::vector<std::string>& fields) {
  std::vector<std::string> separators;
  if (!separator_list.empty())
    separators = kw_split(separator_list.substr(1), separator_list.substr(0, 1));
  std::vector<std::string> found;
  size_t pos = 0;
  for (const std::string& sep : separators) {
    if (found.size() + 1 >= fields.size() || sep.empty()) break;
    size_t at = text.find(sep, pos);
    if (at == std::string::npos) break;
    found.push_back(text.substr(pos, at - pos));
    pos = at + sep.size();
  }
  if (!fields.empty()) found.push_back(text.substr(std::min(pos, text.size())));
  return store_fields(std::move(found), fields);
}

std::string kw_repeat(const std::string& text, int count) {
  std::string out;
  for (int i = 0; i < count; ++i) out += text;
  return out;
}

int kw_instr_nth(const std::string& haystack, const std::string& needle, int start, int n) {
  if (start < 1) start = 1;
  int last = start - 1;
  int found = 0;
  for (size_t pos = start - 1; !needle.empty() && pos < haystack.size(); ++pos) {
    pos = haystack.find(needle, pos);
    if (pos == std::string::npos) break;
    last = static_cast<int>(pos) + 1;
    if (n >= 1 && ++found == n) return last;
  }
  return n >= 1 ? 0 : last;
}

int kw_instr_after(const std::string& haystack, const std::string& needle, int start, int n) {
  int at = kw_instr_nth(haystack, needle, start, n);
  return at < 1 ? at : at + size_of(needle);
}

std::string kw_insert(const std::string& text, int position, const std::string& insertion) {
  size_t at = static_cast<size_t>(std::clamp(position - 1, 0, size_of(text)));
  return text.substr(0, at) + insertion + text.substr(at);
}

std::string kw_replace(const std::string& text, const std::string& old_text,
                       const std::string& new_text) {
  if (old_text.empty()) return text;
  std::string out;
  size_t pos = 0;
  for (size_t at; (at = text.find(old_text, pos)) != std::string::npos;) {
    out.append(text, pos, at - pos).append(new_text);
    pos = at + old_text.size();
  }
  return out.append(text, pos);
}

std::string kw_translate(const std::string& text, const std::string& from, const std::string& to,
                         bool squeeze) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    size_t p = from.find(text[i]);
    if (p == std::string::npos) {
      out += text[i];
      continue;
    }
    if (p < to.size()) out += to[p];
    while (squeeze && i + 1 < text.size() && text[i + 1] == text[i]) ++i;
  }
  return out;
}

std::string kw_list_find(const std::string& needle, const std::string& separator,
                         const std::string& list) {
  if (separator.empty()) {
    for (size_t pos = 0; !needle.empty() && pos < list.size(); pos += needle.size())
      if (list.compare(pos, needle.size(), needle) == 0) return needle;
    return "";
  }
  for (const std::string& item : kw_split(list, separator))
    if (item == needle) return item;
  return "";
}

bool kw_list_has(const std::string& needle, const std::string& list, const std::string& separator) {
  return !kw_list_find(needle, separator, list).empty();
}

std::string kw_list_prefix(const std::string& text, const std::string& separator,
                           const std::string& list, int& length) {
  for (const std::string& item : kw_split(list, separator)) {
    if (text.compare(0, item.size(), item) == 0) {
      length = size_of(item);
      return item;
    }
  }
  length = -1;
  return "";
}

// ---- Base conversion and character tests -----------------------------------------------

bool kw_parse_base(std::string& text, int base, int64_t& value) {
  value = 0;
  if (base < 37)
    for (char& ch : text)
      if (ch >= 'A' && ch <= 'Z') ch = static_cast<char>(ch - 'A' + 'a');
  if (text.empty() || base < 2 || base > 64) return false;
  uint64_t v = 0;  // unsigned so that an over-long text wraps instead of misbehaving
  for (char ch : text) {
    size_t d = kDigits64.find(ch);
    if (d == std::string::npos || static_cast<int>(d) >= base) return false;
    v = v * static_cast<uint64_t>(base) + d;
  }
  value = static_cast<int64_t>(v);
  return true;
}

std::string kw_format_base(int64_t& value, int base) {
  if (base < 2 || base > 64) fatal_error("kw_format_base: base " + std::to_string(base));
  const bool negative = value < 0;
  uint64_t v = negative ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
  value = 0;
  std::string digits;
  do {
    digits.insert(0, 1, kDigits64[v % static_cast<uint64_t>(base)]);
    v /= static_cast<uint64_t>(base);
  } while (v != 0);
  return negative ? "-" + digits : digits;
}

bool kw_is_letters(const std::string& text) {
  if (text.empty()) return false;
  for (char ch : text)
    if (!((ch >= 'A' && ch <= 'Z') || (ch >= 'a' && ch <= 'z'))) return false;
  return true;
}

std::string kw_letter_of(int n) {
  return std::string(1, static_cast<char>('A' + n));
}

int kw_letter_index(const std::string& letter) {
  return letter.empty() ? -1 : static_cast<unsigned char>(letter[0]) - 'A';
}

std::string kw_letter52(int n) {
  if (n >= 0 && n < 26) return kw_letter_of(n);
  if (n >= 26 && n < 52) return std::string(1, static_cast<char>('a' + n - 26));
  return "*";
}

std::string kw_hex8(int32_t value) {
  static const char kHex[] = "0123456789ABCDEF";
  uint32_t v = static_cast<uint32_t>(value);
  std::string out(8, '0');
  for (int i = 7; i >= 0; --i, v >>= 4) out[i] = kHex[v & 15];
  return out;
}

bool kw_is_newline(const std::string& ch) {
  return ch == "\r" || ch == "\n" || ch == "\r\n";
}

// ---- Text to numbers -------------------------------------------------------------------

namespace {

// Reads blanks, one sign and decimal digits while the value stays within `limit`. `stop`
// is the 1-based position of the first character not used; with no digit at all it is 1,
// so that a text without a number never reads as wholly used.
int32_t parse_whole(const std::string& text, int32_t limit, int& stop, int& sign) {
  size_t i = text.find_first_not_of(' ');
  if (i == std::string::npos) i = text.size();
  sign = 1;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) sign = text[i++] == '-' ? -1 : 1;
  int64_t value = 0;
  const size_t first_digit = i;
  while (i < text.size() && text[i] >= '0' && text[i] <= '9' &&
         value * 10 + (text[i] - '0') <= limit)
    value = value * 10 + (text[i++] - '0');
  stop = i == first_digit ? 1 : static_cast<int>(i) + 1;
  return static_cast<int32_t>(sign * value);
}

bool is_digit(const std::string& text, size_t i) {
  return i < text.size() && text[i] >= '0' && text[i] <= '9';
}

}  // namespace

int32_t kw_parse_int(const std::string& text, int& stop, int& sign) {
  return parse_whole(text, 2147483647, stop, sign);
}

int16_t kw_parse_i16(const std::string& text, int& stop) {
  int sign;
  return static_cast<int16_t>(parse_whole(text, 32767, stop, sign));
}

// The whole part is not limited to 32 bits here: a reading of 5e9 must come through.
double kw_parse_double(const std::string& text, int& stop) {
  size_t i = text.find_first_not_of(' ');
  if (i == std::string::npos) i = text.size();
  const size_t begin = i;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
  size_t digits = 0;
  for (; is_digit(text, i); ++i) ++digits;
  if (i < text.size() && text[i] == '.')
    for (++i; is_digit(text, i); ++i) ++digits;
  if (digits == 0) {
    stop = 1;
    return 0;
  }
  if (i < text.size() && (text[i] == 'E' || text[i] == 'e')) {
    size_t e = i + 1;
    if (e < text.size() && (text[e] == '+' || text[e] == '-')) ++e;
    if (is_digit(text, e)) {
      while (is_digit(text, e)) ++e;
      i = e;
    }
  }
  stop = static_cast<int>(i) + 1;
  // from_chars takes no "+" and reads "." whatever the locale.
  const char* first = text.data() + begin + (text[begin] == '+' ? 1 : 0);
  double value = 0;
  auto res = std::from_chars(first, text.data() + i, value);
  if (res.ec == std::errc::result_out_of_range) {
    // Beyond the double range: a negative exponent fades to 0, anything else is infinite.
    const std::string used = text.substr(begin, i - begin);
    const size_t e = used.find_first_of("eE");
    const double mag = e != std::string::npos && used[e + 1] == '-' ? 0.0 : HUGE_VAL;
    value = used[0] == '-' ? -mag : mag;
  }
  return value;
}

bool kw_is_i16_text(const std::string& text, int16_t& value, int& stop) {
  value = kw_parse_i16(text, stop);
  return !text.empty() && stop > size_of(text);
}

bool kw_is_numeric(const std::string& text) {
  size_t end = text.find_last_not_of(' ');
  if (end == std::string::npos) return false;
  int stop = 0;
  // "1e999" has the form of a number but no value a reading can have: it would show as
  // "Inf" in the readouts and the data file.
  double value = kw_parse_double(text, stop);
  return stop == static_cast<int>(end) + 2 && std::isfinite(value);
}

// ---- Date and time ---------------------------------------------------------------------

DateTime kw_now() {
  const int64_t ms = static_cast<int64_t>(std::floor(clock().wall_ms()));
  int64_t days = ms / 86400000, in_day = ms % 86400000;
  if (in_day < 0) in_day += 86400000, --days;
  // Civil date from a day count (proleptic Gregorian, eras of 400 years).
  const int64_t z = days + 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  DateTime t;
  t.day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
  t.month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  t.year = static_cast<int>(yoe + era * 400 + (t.month <= 2 ? 1 : 0));
  t.hour = static_cast<int>(in_day / 3600000);
  t.minute = static_cast<int>(in_day / 60000 % 60);
  t.second = static_cast<int>(in_day / 1000 % 60);
  t.millisecond = static_cast<int>(in_day % 1000);
  return t;
}

std::string kw_format_time(const DateTime& t, const std::string& picture) {
  auto two = [](int v) { return kw_fixed(v % 100, 2, 0, false, "0"); };
  struct Field {
    const char* code;
    std::string text;
  };
  const Field fields[] = {{"yyyy", kw_fixed(t.year, 4, 0, false, "0")},
                          {"yy", two(t.year)},
                          {"MM", two(t.month)},
                          {"dd", two(t.day)},
                          {"hh", two(t.hour)},
                          {"mm", two(t.minute)},
                          {"ss", two(t.second)},
                          {"T", two(t.hour) + ":" + two(t.minute) + ":" + two(t.second)}};
  std::string out;
  for (size_t i = 0; i < picture.size();) {
    const Field* hit = nullptr;
    for (const Field& f : fields)
      if (picture.compare(i, std::char_traits<char>::length(f.code), f.code) == 0) {
        hit = &f;
        break;
      }
    if (picture[i] == '\\' && i + 1 < picture.size()) {
      out += picture[i + 1];  // a quoted letter, such as a literal "T"
      i += 2;
    } else if (hit) {
      out += hit->text;
      i += std::char_traits<char>::length(hit->code);
    } else {
      out += picture[i++];
    }
  }
  return out;
}

std::string kw_timestamp(const DateTime& t, const std::string& separator) {
  return kw_format_time(t, "yyyy-MM-dd") + separator + kw_format_time(t, "T");
}

std::string kw_iso_time(const DateTime& t, bool milliseconds) {
  std::tm local{};
  local.tm_year = t.year - 1900;
  local.tm_mon = t.month - 1;
  local.tm_mday = t.day;
  local.tm_hour = t.hour;
  local.tm_min = t.minute;
  local.tm_sec = t.second;
  local.tm_isdst = -1;
  std::tm as_utc = local;
  const long offset = static_cast<long>(timegm(&as_utc) - std::mktime(&local));
  const long minutes = std::labs(offset) / 60;
  const long hours = minutes / 60;  // whole hours, the rest as minutes
  std::string text = kw_format_time(t, "yyyy-MM-dd\\Thh:mm:ss");
  if (milliseconds) text += "." + kw_format(t.millisecond, "000");
  return text + (offset < 0 ? "-" : "+") + kw_format(static_cast<double>(hours), "00") + ":" +
         kw_format(static_cast<double>(minutes % 60), "00");
}

std::string kw_stamp_base64(const DateTime& t) {
  std::string out;
  for (int64_t v : {t.year, t.month, t.day, t.hour, t.minute, t.second})
    out += kw_format_base(v, 64);
  return out;
}

// ---- Small arithmetic ------------------------------------------------------------------

int kw_sign(double x) {
  return x > 0 ? 1 : x < 0 ? -1 : 0;
}
bool kw_is_zero(double x) {
  return x == 0.0;
}
double kw_safe_div(double a, double b, double fallback) {
  return b == 0.0 ? fallback : a / b;
}
double kw_clamp(double x, double low, double high) {
  return x < low ? low : x > high ? high : x;
}
bool kw_between(double x, double low, double high) {
  return low <= x && x <= high;
}
bool kw_near_abs(double a, double b, double tolerance) {
  return -tolerance < a - b && a - b < tolerance;
}
bool kw_near_rel(double a, double b, double ratio) {
  const double band = std::fabs(a * ratio);
  return -band < a - b && a - b < band;
}
bool kw_same_sign(double a, double b) {
  return kw_sign(a) == kw_sign(b);
}
double kw_round(double x) {
  return std::floor(x + 0.5);
}

int16_t kw_round_i16(double x) {
  if (std::isnan(x)) return 0;
  return static_cast<int16_t>(kw_round(kw_clamp(x, -32768.0, 32767.0)));
}

double kw_round_to(double x, double step) {
  return step == 0 ? x : kw_round(x / step) * step;
}

double kw_round_sig(double x, int digits) {
  if (x == 0) return 0;
  const double mag = std::fabs(x);
  const double step = std::pow(10.0, std::floor(std::log10(mag)) - digits + 1);
  return std::copysign(kw_round_to(mag, step), x);
}

double kw_nice(double x) {
  if (x == 0) return 0;
  const double mag = std::fabs(x);
  const double p = std::pow(10.0, std::floor(std::log10(mag)));
  const double m = mag / p;
  const double step = m <= std::sqrt(2.0)    ? 1
                      : m <= std::sqrt(10.0) ? 2
                      : m <= std::sqrt(50.0) ? 5
                                             : 10;
  return std::copysign(p * step, x);
}

double kw_ceil(double x) {
  return -std::floor(-x);
}
double kw_log2(double x) {
  return std::log2(x);
}
double kw_log10(double x) {
  return std::log10(x);
}
double kw_pow(double x, double y) {
  return std::pow(x, y);
}

// ---- Locale ----------------------------------------------------------------------------

namespace {
struct LocaleMemory {
  bool pinned = false;
  std::string c_locale;  // the C library's locale before pinning, all categories
  std::locale cpp_global;
};
LocaleMemory& locale_memory() {
  static LocaleMemory memory;
  return memory;
}
}  // namespace

void kw_locale_pin() {
  LocaleMemory& m = locale_memory();
  if (m.pinned) return;
  const char* current = std::setlocale(LC_ALL, nullptr);
  m.c_locale = current ? current : "C";
  m.cpp_global = std::locale();
  m.pinned = true;
  // Installing a named global C++ locale also sets the whole C locale, so the C side is put
  // back afterwards: only its numbers change, the user's character set and the rest stay.
  std::locale::global(std::locale(m.cpp_global, std::locale::classic(), std::locale::numeric));
  std::setlocale(LC_ALL, m.c_locale.c_str());
  std::setlocale(LC_NUMERIC, "C");
}

void kw_locale_restore() {
  LocaleMemory& m = locale_memory();
  if (!m.pinned) return;
  std::locale::global(m.cpp_global);
  std::setlocale(LC_ALL, m.c_locale.c_str());
  m.pinned = false;
}

}  // namespace ovn
