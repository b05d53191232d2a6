#include "audit/checkit.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <vector>

#include "foundation/kw.h"
#include "foundation/operator.h"
#include "instrument/ovn_mode.h"

namespace ovn {

namespace {

constexpr char kCrLf[] = "\r\n";
constexpr char kIndentStep[] = "   ";
enum { kFailText = 0, kPassText = 1 };

struct CheckReport {
  std::array<std::string, 2> report;
  std::array<std::string, 2> pending;
  std::string indent;
};
CheckReport g_ck;

std::string lower(std::string text) {
  for (char& ch : text) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
  return text;
}

void write_lines(int index, const std::string& text) {
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find(kCrLf, start);
    const std::string line = text.substr(start, end == std::string::npos ? end : end - start);
    if (!line.empty()) {
      g_ck.report[index] += g_ck.pending[index] + g_ck.indent + line + kCrLf;
      g_ck.pending[index].clear();
    }
    if (end == std::string::npos) break;
    // The next line starts on the LF of this pair: a later line keeps an LF in front, as
    // the texts that use several lines have always shown it.
    start = end + 1;
  }
}

// Fills the first open "$tag$" slot with "(" value tag ") ".
std::string fill_slots(std::string expression, const std::string& values) {
  for (const std::string& value : kw_split(values, "|")) {
    size_t open = expression.find('$');
    if (open == std::string::npos) continue;
    size_t close = expression.find('$', open + 1);
    if (close == std::string::npos) continue;
    std::string tag = expression.substr(open + 1, close - open - 1);
    if (tag.find_first_not_of(' ') == std::string::npos) tag.clear();
    expression.replace(open, close - open + 1, "(" + value + tag + ") ");
  }
  return expression;
}

// Magnitude word and scale of a relative tolerance, for ck_ratio.
std::string tolerance_word(double tolerance, double& scale) {
  const double a = std::fabs(tolerance);
  if (a >= 0.01) return scale = 0.01, "%";
  if (a >= 0.001) return scale = 0.001, " permille";
  if (a >= 1e-6) return scale = 1e-6, " ppm";
  return scale = 1e-9, " ppb";
}

std::string num(double value) {
  return kw_short(value);
}

}  // namespace

// ---- The report ------------------------------------------------------------------------

void ck_clear() {
  g_ck = CheckReport{};
}

void ck_indent() {
  g_ck.indent += kIndentStep;
}

void ck_section(const std::string& title, bool reset) {
  if (reset) ck_end_section(true);
  std::string heading = title;
  while (!heading.empty() && (heading.back() == '\r' || heading.back() == '\n')) heading.pop_back();
  if (heading.empty() || heading.back() != ':') heading += ':';
  for (std::string& pending : g_ck.pending) pending += g_ck.indent + heading + kCrLf;
  ck_indent();
}

void ck_end_section(bool reset) {
  if (reset || g_ck.indent.size() < 3)
    g_ck.indent.clear();
  else
    g_ck.indent.resize(g_ck.indent.size() - 3);
  for (std::string& pending : g_ck.pending) {
    // The pair before the final one ends the parent's heading; the cut falls behind its
    // CR, so the parent's heading keeps a CR and loses the LF.
    size_t previous =
        pending.size() >= 3 ? pending.rfind(kCrLf, pending.size() - 3) : std::string::npos;
    if (previous == std::string::npos)
      pending.clear();
    else
      pending.resize(previous + 1);
  }
}

void ck_finish() {
  // Every heading still waiting belongs to a section that wrote nothing.
  while (!g_ck.pending[kFailText].empty() || !g_ck.pending[kPassText].empty()) ck_end_section(true);
  g_ck.indent.clear();
  for (std::string& text : g_ck.report)
    if (text.size() < 2 || text.compare(text.size() - 2, 2, kCrLf) != 0) text += kCrLf;
}

void ck_pass_line(const std::string& text) {
  write_lines(kPassText, text);
}
void ck_fail_line(const std::string& text) {
  write_lines(kFailText, text);
}

std::string ck_trim_text(const std::string& text) {
  size_t begin = text.find_first_not_of(std::string(" \r\n\0", 4));
  if (begin == std::string::npos) return "";
  size_t end = text.find_last_not_of('\0');
  std::string t = text.substr(begin, end + 1 - begin);
  return kw_justify(t, 0, "");
}

std::string ck_failures() {
  return ck_trim_text(g_ck.report[kFailText]);
}
std::string ck_passes() {
  return ck_trim_text(g_ck.report[kPassText]);
}
bool ck_has_failures() {
  return !ck_failures().empty();
}
bool ck_has_passes() {
  return !ck_passes().empty();
}

// ---- Expressions -----------------------------------------------------------------------

std::string ck_default_fold(const std::string& sentence) {
  static const std::string kMark = ") equal default (";
  const size_t at = lower(sentence).find(kMark);
  if (at == std::string::npos) return sentence;
  const size_t value_open = sentence.rfind('(', at);
  const size_t default_open = at + kMark.size() - 1;
  const size_t default_close = sentence.find(')', default_open);
  if (value_open == std::string::npos || default_close == std::string::npos) return sentence;
  std::string value = sentence.substr(value_open + 1, at - value_open - 1);
  value = value.substr(0, value.find(' '));
  const std::string def = sentence.substr(default_open + 1, default_close - default_open - 1);
  if (def.find(value) == std::string::npos) return sentence;
  // The blank in front of the default's parenthesis goes with it.
  return sentence.substr(0, default_open - 1) + sentence.substr(default_close + 1);
}

bool ck_line(bool ok, const std::string& expression) {
  const std::vector<std::string> fields = kw_split(expression, "|");
  if (fields.size() % 3 != 1 && ovn_mode_is_technician(ovn_mode_current()))
    msg_box("Bad Parsing Job:" + expression, MsgButtons::Ok, "");
  std::string pass, fail;
  for (size_t k = 0; k < fields.size(); ++k) {
    if (k % 3 != 2) pass += fields[k];
    if (k % 3 != 1) fail += fields[k];
  }
  if (ok)
    ck_pass_line(ck_default_fold(pass));
  else
    ck_fail_line(ck_default_fold(fail));
  return ok;
}

bool ck_values(bool ok, const std::string& expression, const std::string& values) {
  return ck_line(ok, fill_slots(expression, values));
}

bool ck_same(double a, double b) {
  if (b == 0) return std::fabs(a) < 1e-15;
  return std::fabs(b - a) < std::fabs(b) * 1e-6;
}

// ---- Checks ----------------------------------------------------------------------------

bool ck_within(double value, double nominal, double tolerance, const std::string& name,
               const std::string& unit, const std::string& prefix) {
  double scale = 1;
  const std::string label = kw_unit_label(unit, prefix, scale);
  const bool ok = nominal - tolerance <= value && value <= nominal + tolerance;
  return ck_values(ok,
                   name + " $" + label + "$||NOT |within " + num(tolerance / scale) + " $$of " +
                       num(nominal / scale) +
                       kw_range_text((nominal - tolerance) / scale, (nominal + tolerance) / scale),
                   num(value / scale) + "|" + num((value - nominal) / scale));
}

bool ck_asymmetry(double a, double b, double tolerance, const std::string& name,
                  const std::string& unit) {
  double scale = 1;
  const std::string word = kw_ratio_prefix(tolerance, scale, unit);
  return ck_within((1 - kw_safe_div(b, a, 0)) / scale, 0, tolerance / scale, name + " Asymmetry",
                   word, "");
}

bool ck_range(double value, double low, double high, const std::string& name,
              const std::string& unit, bool use_magnitude, const std::string& prefix) {
  double scale = 1;
  const std::string label = kw_unit_label(unit, prefix, scale);
  const double tested = use_magnitude ? std::fabs(value) : value;
  const double sign = use_magnitude ? 1 : kw_sign(value);
  const std::string head = name + " $" + label + "$||NOT |";
  if (low <= high) {
    double lo = sign * low, hi = sign * high;
    if (lo > hi) std::swap(lo, hi);
    return ck_values(kw_between(tested, lo, hi),
                     head + "in" + kw_range_text(lo / scale, hi / scale), num(value / scale));
  }
  return ck_values(tested < high || tested > low,
                   head + "outside of" + kw_range_text(low / scale, high / scale),
                   num(value / scale));
}

bool ck_ratio(double value, double reference, double tolerance, const std::string& name,
              const std::string& unit, const std::string& reference_name, bool allow_equal) {
  if (reference == 0) {
    ck_fail_line(name + " equals 0 in ratio!");
    return false;
  }
  if (!allow_equal && kw_near_rel(reference, value, 1.1920928955078125e-7))
    return ck_not_default(false, name, unit, num(value), num(reference));
  double scale = 1;
  const std::string label = kw_unit_label(unit, "", scale);
  value /= scale;
  reference /= scale;
  const double t = std::fabs(reference * tolerance);
  const double low = reference - t, high = reference + t;
  std::string reference_text = num(reference);
  if (!reference_name.empty()) reference_text = reference_name + " (" + reference_text + ")";
  reference_text += kw_range_text(low, high);
  const std::string head = name + " $" + label + "$||NOT |";
  if (tolerance > 0) {
    double word_scale = 1;
    const std::string word = tolerance_word(tolerance, word_scale);
    const double error = (value / reference - 1) / word_scale;
    return ck_values(
        low <= value && value <= high,
        head + "within " + kw_format(tolerance / word_scale, "") + word + " $$of " + reference_text,
        num(value) + "|" + num(error));
  }
  return ck_values(value < low || value > high,
                   head + "outside of " + num(t) + label + " of " + reference_text, num(value));
}

bool ck_text_default(const std::string& value, const std::string& list, const std::string& name,
                     const std::string& separator, bool want_match) {
  bool match = false;
  for (const std::string& item : kw_split(list, separator))
    if (lower(item) == lower(value)) match = true;
  const std::string head = name + " (" + value + ") ";
  const std::string tail = "equal default (" + list + ")";
  if (want_match) return ck_line(match, head + "||NOT |" + tail);
  return ck_line(!match, head + "|NOT ||" + tail);
}

bool ck_not_default(bool ok, const std::string& name, const std::string& /*unit*/,
                    const std::string& value_text, const std::string& default_text) {
  return ck_line(ok, name + " (" + value_text + ") |NOT ||equal default (" + default_text + ")");
}

bool ck_equal_num(double value, double default_value, const std::string& name,
                  const std::string& unit) {
  // Five fields: the fail wording has no "equal", and always has had.
  return ck_values(
      ck_same(value, default_value),
      name + " $ " + unit + "$|equal default|NOT| " + num(default_value) + " " + unit + "|",
      num(value));
}

bool ck_differs_num(double value, double default_value, const std::string& name,
                    const std::string& unit) {
  return ck_not_default(!ck_same(value, default_value), name, unit, num(value), num(default_value));
}

bool ck_differs_num2(double value, double first, double second, const std::string& name,
                     const std::string& unit) {
  return ck_not_default(!ck_same(value, first) && !ck_same(value, second), name, unit, num(value),
                        num(first) + " or " + num(second));
}

bool ck_range_not_default(double value, double default_value, const std::string& name,
                          const std::string& unit, double low, double high) {
  if (low == high)
    return ck_not_default(!ck_same(value, default_value), name, unit, num(value),
                          num(default_value));
  if (ck_same(value, default_value))
    return ck_not_default(false, name, unit, num(value), num(default_value));
  double scale = 1;
  const std::string head = name + " $" + kw_unit_label(unit, "", scale) + "$||NOT |";
  if (low < high)
    return ck_values(kw_between(value, low, high),
                     head + "in" + kw_range_text(low, high) + " and NOT default", num(value));
  return ck_values(kw_between(value, high, low),
                   head + " in" + kw_range_text(low, high) + " and NOT default$and $ ", num(value));
}

bool ck_int_not_default(int32_t value, int32_t default_value, const std::string& name,
                        const std::string& unit) {
  return ck_not_default(value != default_value, name, unit, num(value), num(default_value));
}

bool ck_int_range_default(int32_t value, int32_t default_value, int32_t low, int32_t high,
                          const std::string& name, const std::string& unit, bool ok) {
  double scale = 1;
  const std::string label = kw_unit_label(unit, "", scale);
  const std::string head = name + " $" + label + "$";
  if (value == default_value)
    return ck_values(ok, head + "|||equal default $" + label + "$",
                     num(value) + "|" + num(default_value));
  if (low <= high)
    return ck_values(low <= value && value <= high,
                     head + "||NOT |in" + kw_range_text(low, high) + " and NOT default (" +
                         num(default_value) + ")",
                     num(value));
  return ck_values(value < high || value > low,
                   head + "||NOT |outside of" + kw_range_text(low, high), num(value));
}

bool ck_int_equal_default(int32_t value, int32_t default_value, const std::string& name,
                          const std::string& unit) {
  double scale = 1;
  const std::string label = kw_unit_label(unit, "", scale);
  return ck_values(value == default_value,
                   name + " $" + label + "$||NOT |equal default $" + label + "$",
                   num(value) + "|" + num(default_value));
}

bool ck_int_not_equal_default(int32_t value, int32_t default_value, const std::string& name,
                              const std::string& unit) {
  double scale = 1;
  const std::string label = kw_unit_label(unit, "", scale);
  return ck_values(value != default_value,
                   name + " $" + label + "$|NOT ||equal default $" + label + "$",
                   num(value) + "|" + num(default_value));
}

}  // namespace ovn
