// Numbers to text: the picture formatter and the field helpers built on it.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string_view>

#include "foundation/kw.h"

namespace ovn {

namespace {

// The decimal digits of a magnitude rounded to `decimals` places: integer digits without
// leading zeros ("" for a zero integer part) and exactly `decimals` fraction digits.
struct Decimal {
  std::string int_digits;
  std::string frac_digits;
};

// Rounds on the 15-significant-digit decimal form of the double, half away from zero, so
// 1.005 to two places gives 1.01 as an operator reading "1.005" expects, not the 1.00 that
// the binary value 1.00499999999999989... would give.
Decimal round_decimal(double mag, int decimals) {
  std::string kept;  // the digits of round(mag * 10^decimals)
  if (mag != 0) {
    char buf[40];
    auto res = std::to_chars(buf, buf + sizeof buf, mag, std::chars_format::scientific, 14);
    std::string_view sci(buf, res.ptr - buf);  // "d.dddddddddddddde+XX"
    std::string digits = std::string(1, sci[0]) + std::string(sci.substr(2, 14));
    int exp10 = std::atoi(std::string(sci.substr(sci.find('e') + 1)).c_str());
    int keep = exp10 + 1 + decimals;  // how many of the 15 digits stand before the cut
    if (keep > 0) {
      kept = digits.substr(0, std::min(keep, 15));
      kept.append(keep > 15 ? keep - 15 : 0, '0');
    }
    if (keep >= 0 && keep < 15 && digits[keep] >= '5') {
      int i = static_cast<int>(kept.size()) - 1;
      while (i >= 0 && kept[i] == '9') kept[i--] = '0';
      if (i >= 0)
        ++kept[i];
      else
        kept.insert(0, 1, '1');
    }
  }
  if (static_cast<int>(kept.size()) < decimals + 1) kept.insert(0, decimals + 1 - kept.size(), '0');
  Decimal d;
  d.frac_digits = kept.substr(kept.size() - decimals);
  d.int_digits = kept.substr(0, kept.size() - decimals);
  d.int_digits.erase(0, d.int_digits.find_first_not_of('0'));
  if (d.int_digits.find_first_not_of('0') == std::string::npos) d.int_digits.clear();
  return d;
}

// Text for values no picture can show.
bool non_finite_text(double value, std::string& out) {
  if (std::isnan(value))
    out = "NaN";
  else if (std::isinf(value))
    out = value < 0 ? "-Inf" : "Inf";
  else
    return false;
  return true;
}

// One element of a picture section.
struct Token {
  enum Kind { Zero, Hash, Point, Percent, Literal } kind;
  std::string text;  // for literals
};
using Section = std::vector<Token>;

// Splits a picture at ";" into sections. A backslash quotes the next character and
// "double quotes" quote a run of text; only the first "." of a section is the point.
std::vector<Section> parse_picture(const std::string& picture) {
  std::vector<Section> sections(1);
  bool seen_point = false;
  auto literal = [&](const std::string& s) { sections.back().push_back({Token::Literal, s}); };
  for (size_t i = 0; i < picture.size(); ++i) {
    char ch = picture[i];
    switch (ch) {
      case ';':
        sections.emplace_back();
        seen_point = false;
        break;
      case '0':
        sections.back().push_back({Token::Zero, ""});
        break;
      case '#':
        sections.back().push_back({Token::Hash, ""});
        break;
      case '%':
        sections.back().push_back({Token::Percent, "%"});
        break;
      case '.':
        if (seen_point) {
          literal(".");
        } else {
          sections.back().push_back({Token::Point, "."});
          seen_point = true;
        }
        break;
      case '\\':
        if (i + 1 < picture.size()) literal(std::string(1, picture[++i]));
        break;
      case '"': {
        size_t end = picture.find('"', i + 1);
        if (end == std::string::npos) end = picture.size();
        literal(picture.substr(i + 1, end - i - 1));
        i = end;
        break;
      }
      default:
        literal(std::string(1, ch));
    }
  }
  return sections;
}

bool is_digit_place(const Token& t) {
  return t.kind == Token::Zero || t.kind == Token::Hash;
}

// Formats a non-negative magnitude by one section; `sign` goes in front of the number
// (behind any literal text that leads the section).
std::string format_section(double mag, const Section& sec, const std::string& sign) {
  size_t point = sec.size();
  int int_places = 0, frac_places = 0;
  for (size_t i = 0; i < sec.size(); ++i) {
    if (sec[i].kind == Token::Point && point == sec.size()) point = i;
    if (sec[i].kind == Token::Percent) mag *= 100;  // every "%" multiplies by 100
    if (is_digit_place(sec[i])) (i < point ? int_places : frac_places)++;
  }
  Decimal d = round_decimal(mag, frac_places);

  // Integer places take digits from the right; the leftmost place takes any overflow.
  std::vector<std::string> shown(sec.size());
  int from_right = 0;
  const int n_int = static_cast<int>(d.int_digits.size());
  for (size_t i = point; i-- > 0;) {
    if (!is_digit_place(sec[i])) continue;
    ++from_right;
    int at = n_int - from_right;  // index of this place's digit
    if (at >= 0)
      shown[i] = d.int_digits.substr(from_right == int_places ? 0 : at,
                                     from_right == int_places ? at + 1 : 1);
    else if (sec[i].kind == Token::Zero)
      shown[i] = "0";
  }
  // Fraction places take digits from the left; trailing "#" places drop their zeros.
  int k = 0;
  for (size_t i = point; i < sec.size(); ++i)
    if (is_digit_place(sec[i])) shown[i] = d.frac_digits[k++];
  for (size_t i = sec.size(); i-- > point;) {
    if (!is_digit_place(sec[i])) continue;
    if (sec[i].kind == Token::Zero || shown[i] != "0") break;
    shown[i].clear();
  }

  std::string out;
  bool number_started = false;
  for (size_t i = 0; i < sec.size(); ++i) {
    const Token& t = sec[i];
    bool numeric = is_digit_place(t) || t.kind == Token::Point;
    if (numeric && !number_started) {
      out += sign;
      number_started = true;
      if (int_places == 0) out += d.int_digits;  // ".0" of 12.25 is "12.3"
    }
    out += numeric && t.kind != Token::Point ? shown[i] : t.text;
  }
  return number_started ? out : sign + out;
}

// Copies of `pad` bring `text` to w characters: behind for a negative width, in front for
// a positive one. A number field (`number`) keeps its sign in front: a pad other than a
// blank goes between the sign and the digits ("-00012.3").
std::string pad_field(const std::string& text, int width, int w, const std::string& pad,
                      bool number = true) {
  if (pad.empty() || static_cast<int>(text.size()) >= w) return text;
  std::string fill = kw_repeat(pad, w - static_cast<int>(text.size()));
  if (width < 0) return text + fill;
  bool signed_text = number && !text.empty() && (text[0] == '-' || text[0] == '+');
  if (signed_text && pad != " ") return text.substr(0, 1) + fill + text.substr(1);
  return fill + text;
}

std::string cut(const std::string& text, int w) {
  return w > 0 && static_cast<int>(text.size()) > w ? text.substr(0, w) : text;
}

const double kUpScales[] = {1e3, 1e6, 1e9, 1e12, 1e15, 1e18, 1e21, 1e24};
const double kDownScales[] = {1e-3, 1e-6, 1e-9, 1e-12, 1e-15, 1e-18, 1e-21, 1e-24};

}  // namespace

std::string kw_format(double value, const std::string& picture) {
  std::string out;
  if (non_finite_text(value, out)) return out;
  if (picture.empty()) {  // the general number form: 15 digits, "1E-05" for small ones
    char buf[40];
    auto res = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::general, 15);
    std::replace(buf, res.ptr, 'e', 'E');
    return std::string(buf, res.ptr);
  }
  std::vector<Section> sections = parse_picture(picture);
  const bool negative = value < 0;
  if (negative && sections.size() >= 2 && !sections[1].empty())
    return format_section(-value, sections[1], "");
  if (value == 0 && sections.size() >= 3 && !sections[2].empty())
    return format_section(0, sections[2], "");
  return format_section(std::fabs(value), sections[0], negative ? "-" : "");
}

int kw_fixed_decimals(int width, int decimals) {
  if (decimals < -1) return std::max(std::abs(width) - 1, 0);
  return decimals == -1 ? 2 : decimals;
}

std::string kw_fixed(double value, int width, int decimals, bool plus, const std::string& pad) {
  const int w = std::abs(width);
  const int places = kw_fixed_decimals(width, decimals);
  std::string text;
  if (!non_finite_text(std::fabs(value), text)) {
    Decimal d = round_decimal(std::fabs(value), places);
    text = (d.int_digits.empty() ? "0" : d.int_digits) + (places > 0 ? "." + d.frac_digits : "");
  }
  if (value < 0)
    text.insert(0, 1, '-');
  else if (plus)
    text.insert(0, 1, '+');
  return pad_field(cut(text, w), width, w, pad);
}

std::string kw_fit(double value, int width, int decimals, bool plus, const std::string& pad) {
  const bool show_plus = plus && !(value < 0);
  const int w = std::abs(width) - (show_plus ? 1 : 0);
  std::string picture = "0";
  if (decimals != 0) {
    picture = "0." + std::string(std::max(w, 0), '0');
    if (decimals > 0) picture = picture.substr(0, decimals + 2);
  }
  std::string text = kw_format(value, picture);
  if (width != 0 && static_cast<int>(text.size()) > w) {
    text = w > 0 ? cut(kw_format(value, picture.substr(0, w)), w) : "";
  }
  if (show_plus) text.insert(0, 1, '+');
  return pad_field(text, width, w, pad);
}

std::string kw_int(int32_t value, int width, bool plus) {
  char buf[16];
  auto res = std::to_chars(buf, buf + sizeof buf, value);
  std::string text = (plus && value >= 0 ? "+" : "") + std::string(buf, res.ptr);
  return pad_field(text, width, std::abs(width), " ");
}

std::string kw_justify(const std::string& text, int width, const std::string& pad) {
  if (width == 0) {
    size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
  }
  const int w = std::abs(width);
  if (static_cast<int>(text.size()) >= w) return text.substr(0, w);
  return pad_field(text, width, w, pad, false);
}

std::string kw_center(const std::string& text, int width, const std::string& pad) {
  int half = (width - static_cast<int>(text.size())) / 2;
  return kw_justify(text + kw_repeat(pad, half), width, pad);
}

std::string kw_short(double value) {
  std::string text = kw_fixed(value, 10, -2, true, "");
  size_t point = text.find('.');
  if (point + 1 == text.size()) {
    text.pop_back();  // no room for a decimal behind the point
  } else if (point != std::string::npos) {
    size_t last = std::max(text.find_last_not_of('0'), point + 1);
    text.erase(last + 1);
  }
  return text;
}

std::string kw_range_text(double low, double high) {
  return " [" + kw_short(low) + "," + kw_short(high) + "]";
}

std::string kw_sig_picture(double value, int digits, bool plus) {
  static const std::string kTemplate = std::string(19, '#') + "0." + std::string(11, '0');
  const double a = std::fabs(value);
  const int s = digits;
  int start = 20;
  if (a > 1) {
    if (std::pow(10.0, s - 1) <= a)
      start = 20 - s;
    else
      start = 20 - static_cast<int>(std::floor(std::log10(a * 1.00001)));
  }
  if (start < 1) start = 1;
  if (start + s == 21 && start >= 2) --start;  // never a picture ending in a bare "."
  std::string picture = kTemplate.substr(start - 1, std::max(s + 1, 0));
  if (!plus) return picture;
  if (!picture.empty()) picture.pop_back();
  return "+" + picture + ";-" + picture;
}

std::string kw_eng_prefix(double value, double& scale) {
  static const char* const kUp[] = {"k", "M", "G", "T", "P", "E", "Z", "Y"};
  static const char* const kDown[] = {"m", "\xB5", "n", "p", "f", "a", "z", "y"};
  double a = std::fabs(value);
  int k = 0;
  scale = 1;
  if (a >= 1000 && a < 1e27) {
    while (a >= 1000 && k < 8) a /= 1000, ++k;
    scale = kUpScales[k - 1];
    return kUp[k - 1];
  }
  if (a < 1 && a > 1e-24) {
    while (a < 1 && k < 8) a *= 1000, ++k;
    scale = kDownScales[k - 1];
    return kDown[k - 1];
  }
  return "";
}

std::string kw_ratio_prefix(double value, double& scale, const std::string& unit) {
  if (!unit.empty()) return kw_eng_prefix(value, scale) + unit;
  const double a = std::fabs(value);
  struct Step {
    double scale;
    const char* word;
  };
  Step step = a > 1        ? Step{1, ""}
              : a >= 0.01  ? Step{0.01, "%"}
              : a >= 0.001 ? Step{0.001, " permille"}
              : a >= 1e-6  ? Step{1e-6, " ppm"}
              : a > 1e-9   ? Step{1e-9, " ppb"}
              : a > 1e-12  ? Step{1e-12, " ppt"}
                           : Step{1e-15, " ppq"};
  scale = step.scale;
  return step.word;
}

std::string kw_ratio_text(double value, const std::string& tail, const std::string& picture) {
  double scale = 1;
  std::string word = kw_ratio_prefix(value, scale, "");
  return kw_format(value / scale, picture) + word + tail;
}

double kw_si_scale(const std::string& prefix) {
  static const std::pair<const char*, double> kTable[] = {
      {"d", 0.1},   {"c", 0.01},  {"h", 100},   {"m", 1e-3},  {"\xB5", 1e-6},
      {"u", 1e-6},  {"n", 1e-9},  {"p", 1e-12}, {"f", 1e-15}, {"a", 1e-18},
      {"z", 1e-21}, {"y", 1e-24}, {"k", 1e3},   {"M", 1e6},   {"G", 1e9},
      {"T", 1e12},  {"P", 1e15},  {"E", 1e18},  {"Z", 1e21},  {"Y", 1e24}};
  for (const auto& [name, scale] : kTable)
    if (prefix == name) return scale;
  return 1;
}

std::string kw_unit_label(const std::string& unit, const std::string& prefix, double& scale) {
  scale = kw_si_scale(prefix);
  const unsigned char first = unit.empty() ? 0 : static_cast<unsigned char>(unit[0]);
  const bool letter = (first >= 'A' && first <= 'Z') || (first >= 'a' && first <= 'z');
  return (letter || first == 0xB5 ? " " : "") + prefix + unit;
}

std::string kw_eng_format(double value) {
  std::string out;
  if (non_finite_text(value, out)) return out;
  if (value == 0) return "0.00000E+0";
  char buf[40];
  auto res =
      std::to_chars(buf, buf + sizeof buf, std::fabs(value), std::chars_format::scientific, 5);
  std::string_view sci(buf, res.ptr - buf);  // "d.ddddde+XX"
  std::string digits = std::string(1, sci[0]) + std::string(sci.substr(2, 5));
  int exp10 = std::atoi(std::string(sci.substr(sci.find('e') + 1)).c_str());
  int exp3 = static_cast<int>(std::floor(exp10 / 3.0)) * 3;
  int int_len = exp10 - exp3 + 1;
  out = (value < 0 ? "-" : "") + digits.substr(0, int_len) + "." + digits.substr(int_len) + "E" +
        (exp3 < 0 ? "-" : "+") + std::to_string(std::abs(exp3));
  return out;
}

}  // namespace ovn
