#pragma once
// The program's text and number toolbox. Every report line, every value in a dialog and
// every field of a message passes through here, so the odd rules (a field that is cut,
// not widened; a "+" on every short number; swapped escape letters) are visible
// behaviour and are kept exactly.
//
// Strings are single-byte (Latin-1, as on the wire). Positions handed in and out are
// 1-based. Widths: a positive width right-justifies (padding in front), a negative one
// left-justifies (padding behind), zero means no width. Nothing here depends on the
// user's locale: numbers always use "." and lists ",".
//
// The clock helpers of this toolbox are the platform ones (foundation/platform.h):
// now_ms() is the never-wrapping millisecond clock, yield_ms() pumps then sleeps,
// sleep_ms(ms, slices) sleeps in slices.

#include <cstdint>
#include <string>
#include <vector>

namespace ovn {

// ---- Splitting and searching -----------------------------------------------------------
// The array versions write into `fields`, whose size is the limit (its upper bound + 1).

// At most fields.size() fields, the last holding the unsplit rest. An empty separator
// cuts single characters (the last field takes the rest). Returns the count written.
int kw_split(const std::string& text, const std::string& separator,
             std::vector<std::string>& fields);
// Splits without a limit.
std::vector<std::string> kw_split(const std::string& text, const std::string& separator);
// Runs of the separator count as one; stops when the count would reach max_fields
// (below 1: no maximum). Returns the count, or -1 when `fields` fills before the text ends.
int kw_split_merge(const std::string& text, const std::string& separator,
                   std::vector<std::string>& fields, int max_fields);
// The list's first character is a delimiter; the rest are separators met in order.
int kw_split_by_list(const std::string& text, const std::string& separator_list,
                     std::vector<std::string>& fields);
std::string kw_repeat(const std::string& text, int count);
int kw_instr_nth(const std::string& haystack, const std::string& needle, int start, int n);
int kw_instr_after(const std::string& haystack, const std::string& needle, int start, int n);
std::string kw_insert(const std::string& text, int position, const std::string& insertion);
std::string kw_replace(const std::string& text, const std::string& old_text,
                       const std::string& new_text);
std::string kw_translate(const std::string& text, const std::string& from, const std::string& to,
                         bool squeeze);
std::string kw_list_find(const std::string& needle, const std::string& separator,
                         const std::string& list);
bool kw_list_has(const std::string& needle, const std::string& list, const std::string& separator);
std::string kw_list_prefix(const std::string& text, const std::string& separator,
                           const std::string& list, int& length);

// ---- Base conversion and character tests -----------------------------------------------

// Digits "0-9a-zA-Z_@". For a base below 37 the text is folded to lower case in place.
bool kw_parse_base(std::string& text, int base, int64_t& value);
// Consumes the value (it is 0 on return).
std::string kw_format_base(int64_t& value, int base);
bool kw_is_letters(const std::string& text);
std::string kw_letter_of(int n);                 // "A" + n
int kw_letter_index(const std::string& letter);  // inverse of kw_letter_of
std::string kw_letter52(int n);                  // 0..25 "A".."Z", 26..51 "a".."z", else "*"
std::string kw_hex8(int32_t value);
bool kw_is_newline(const std::string& ch);  // CR, LF or the pair

// ---- Numbers to text -------------------------------------------------------------------

// The general fixed-point field. decimals below -1 becomes width - 1 (also for the
// caller); -1 means the default (two decimals).
std::string kw_fixed(double value, int width, int& decimals, bool plus, const std::string& pad);
std::string kw_fixed(double value, int width, int decimals, bool plus, const std::string& pad);
std::string kw_fit(double value, int width, int decimals, bool plus, const std::string& pad);
std::string kw_int(int32_t value, int width, bool plus);
std::string kw_justify(const std::string& text, int width, const std::string& pad);
std::string kw_center(const std::string& text, int width, const std::string& pad);
// Compact signed number of at most ten characters: 1.5 "+1.5", 2 "+2.0", -0.25 "-0.25".
std::string kw_short(double value);
std::string kw_range_text(double low, double high);  // " [" low "," high "]"
std::string kw_sig_picture(double value, int digits, bool plus);
std::string kw_eng_prefix(double value, double& scale);
std::string kw_ratio_prefix(double value, double& scale, const std::string& unit);
std::string kw_ratio_text(double value, const std::string& tail, const std::string& picture);
double kw_si_scale(const std::string& prefix);
std::string kw_unit_label(const std::string& unit, const std::string& prefix, double& scale);

// Formats a number by a picture: digit places "0" (always shown) and "#" (shown when
// significant), one ".", "%" (multiplies by 100 and shows "%"), other characters literal,
// and an optional second section after ";" for negative values (shown without a sign).
std::string kw_format(double value, const std::string& picture);
// The engineering form used in reports: a few significant digits and an SI prefix letter.
std::string kw_eng_format(double value);

// ---- Text to numbers -------------------------------------------------------------------
// All stop at the first character that does not fit and give the 1-based stop position,
// so a caller can tell whether the whole text was used (stop > length).

int32_t kw_parse_int(const std::string& text, int& stop, int& sign);
int16_t kw_parse_i16(const std::string& text, int& stop);
double kw_parse_double(const std::string& text, int& stop);
bool kw_is_i16_text(const std::string& text, int16_t& value, int& stop);
// True when the whole text is a number: optional blanks and sign, digits with an optional
// "." and fraction, an optional exponent. The test every "is it numeric" question uses.
bool kw_is_numeric(const std::string& text);

// ---- Date and time ---------------------------------------------------------------------

struct DateTime {
  int year = 2000, month = 1, day = 1, hour = 0, minute = 0, second = 0, millisecond = 0;
};

// The local wall time, from the clock seam (a virtual clock gives a fixed, known date).
DateTime kw_now();
// Formats by a picture of "yyyy", "yy", "MM", "dd", "hh", "mm", "ss", "T" (the time as
// "hh:mm:ss"); other characters literal. Hours are 00-23.
std::string kw_format_time(const DateTime& t, const std::string& picture);
std::string kw_timestamp(const DateTime& t, const std::string& separator);
std::string kw_stamp_base64(const DateTime& t);

// ---- Small arithmetic ------------------------------------------------------------------

int kw_sign(double x);
bool kw_is_zero(double x);
double kw_safe_div(double a, double b, double fallback);
double kw_clamp(double x, double low, double high);
bool kw_between(double x, double low, double high);
bool kw_near_abs(double a, double b, double tolerance);
bool kw_near_rel(double a, double b, double ratio);
bool kw_same_sign(double a, double b);
double kw_round(double x);
int16_t kw_round_i16(double x);
double kw_round_to(double x, double step);
double kw_round_sig(double x, int digits);
double kw_nice(double x);
double kw_ceil(double x);
double kw_log2(double x);
double kw_log10(double x);
double kw_pow(double x, double y);

// ---- Escapes ---------------------------------------------------------------------------

// Expands backslash escapes. Note the program's own convention: "\n" gives CR and "\r"
// gives LF; an octal escape swallows the character behind its three digits.
std::string kw_unescape(const std::string& text);
// The mirror of kw_unescape: CR is written "\n", LF "\r" (both kept raw with keep_lines).
std::string kw_escape(const std::string& text, bool keep_lines);

// ---- Locale ----------------------------------------------------------------------------

// Pins the process to the "C" numeric locale so that nothing, in this program or in a
// library it calls, reads "," as a decimal point; kw_locale_restore puts back the locale
// found at start-up. Formatting and parsing here do not depend on it either way.
void kw_locale_pin();
void kw_locale_restore();

}  // namespace ovn
