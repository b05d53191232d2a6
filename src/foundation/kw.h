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
// cuts single characters (the last field takes the rest); a text without the separator,
// the empty text too, is one field. Entries of `fields` past the count are emptied.
// Returns the count written (0 only for an empty array).
int kw_split(const std::string& text, const std::string& separator,
             std::vector<std::string>& fields);
// Splits without a limit: kw_split("a,,b", ",") is {"a", "", "b"}.
std::vector<std::string> kw_split(const std::string& text, const std::string& separator);
// Runs of the separator count as one, and a run at either end makes no empty field
// ("  kN   1000 " with " " gives "kN", "1000"; an empty or all-separator text gives 0
// fields). The max_fields-th field takes the rest of the text (below 1: no maximum).
// Returns the count, or -1 when `fields` fills before the text ends (the fields found
// so far are kept). An empty separator splits as kw_split does.
int kw_split_merge(const std::string& text, const std::string& separator,
                   std::vector<std::string>& fields, int max_fields);
// The list's first character delimits the separators that follow, which are met in
// order: "|=|;" splits "key=value;rest" into "key", "value", "rest"; field j ends at the
// first occurrence of separator j behind field j - 1. When a separator is missing, the
// array is full or the separators run out, the rest of the text is the last field.
// Returns the count; unused entries are emptied.
int kw_split_by_list(const std::string& text, const std::string& separator_list,
                     std::vector<std::string>& fields);
// The text `count` times; "" for a count below 1.
std::string kw_repeat(const std::string& text, int count);
// The position of the n-th occurrence of `needle` at or behind `start` (below 1: 1);
// occurrences may overlap. 0 when there are fewer than n. With n below 1: the position of
// the last occurrence, or start - 1 when there is none. An empty needle never occurs.
int kw_instr_nth(const std::string& haystack, const std::string& needle, int start, int n);
// The position just behind that occurrence; a result below 1 is passed on unchanged.
int kw_instr_after(const std::string& haystack, const std::string& needle, int start, int n);
// The insertion in front of character `position`; beyond the end appends, below 1 prepends.
std::string kw_insert(const std::string& text, int position, const std::string& insertion);
// Every occurrence, left to right, never rescanning what was put in. An empty old_text
// changes nothing.
std::string kw_replace(const std::string& text, const std::string& old_text,
                       const std::string& new_text);
// A character at position p of `from` becomes the p-th of `to`, or is dropped when `to`
// is shorter; others pass. With squeeze, the run of equal characters behind a mapped one
// is skipped ("a--b" with "-" to "_" gives "a_b").
std::string kw_translate(const std::string& text, const std::string& from, const std::string& to,
                         bool squeeze);
// The list item equal to the needle, or "". An empty separator compares chunks of the
// needle's own length ("cd" is found in "abcdef", "bc" is not).
std::string kw_list_find(const std::string& needle, const std::string& separator,
                         const std::string& list);
// Whether kw_list_find found a non-empty item. Note: the separator comes last.
bool kw_list_has(const std::string& needle, const std::string& list, const std::string& separator);
// The first list item the text begins with, its length in `length`. An empty item
// matches every text (length 0); when nothing matches: "" and length -1.
std::string kw_list_prefix(const std::string& text, const std::string& separator,
                           const std::string& list, int& length);

// ---- Base conversion and character tests -----------------------------------------------

// Digits "0-9a-zA-Z_@", a symbol's value being its place in that alphabet. For a base
// below 37 the text is folded to lower case in place first. False with value 0 for an
// empty text, a base outside 2..64, or a symbol (a sign too) not below the base.
bool kw_parse_base(std::string& text, int base, int64_t& value);
// The digits of the value in that alphabet; "0" for zero, "-" in front of a negative.
// Consumes the value (it is 0 on return). A base outside 2..64 is a programmer's error
// (fatal_error).
std::string kw_format_base(int64_t& value, int base);
// Non-empty and only "A".."Z", "a".."z".
bool kw_is_letters(const std::string& text);
std::string kw_letter_of(int n);                 // "A" + n
int kw_letter_index(const std::string& letter);  // inverse of kw_letter_of
std::string kw_letter52(int n);                  // 0..25 "A".."Z", 26..51 "a".."z", else "*"
std::string kw_hex8(int32_t value);              // eight upper-case hex digits: -1 is "FFFFFFFF"
bool kw_is_newline(const std::string& ch);       // CR, LF or the pair

// ---- Numbers to text -------------------------------------------------------------------

// The general fixed-point field: the magnitude with kw_fixed_decimals(width, decimals)
// places (rounded half away from zero), "-" in front of a negative value and, with `plus`,
// "+" in front of any other (zero too); then cut to |width| characters, never widened,
// and padded with copies of `pad` to |width|. A non-blank pad goes between the sign and
// the digits ("-00012.3"). kw_fixed(1234.5, 4, 2, false, "") is "1234".
std::string kw_fixed(double value, int width, int decimals, bool plus, const std::string& pad);
// The places kw_fixed uses: decimals below -1 mean |width| - 1, -1 means two.
int kw_fixed_decimals(int width, int decimals);
// A fixed-point field shortened to fit: see kw_fixed for width and pad. The number is
// formatted by the picture "0.000..." (decimals places, or as many as fit when decimals
// is negative; "0" for 0); when too long, the picture is cut to the field and the text
// too. Under `plus` a non-negative value gets "+" and the whole field is one character
// shorter than |width|: callers rely on that.
std::string kw_fit(double value, int width, int decimals, bool plus, const std::string& pad);
// Decimal digits, "+" in front of a non-negative value under `plus`, then blanks to |width|
// (in front for a positive width, behind for a negative one). Never cut.
std::string kw_int(int32_t value, int width, bool plus);
// Width 0 trims blanks at both ends. Otherwise a text of |width| or more keeps its first
// |width| characters; a shorter one gets |width| - length copies of `pad`, in front for a
// positive width, behind for a negative one.
std::string kw_justify(const std::string& text, int width, const std::string& pad);
// (width - length) / 2 copies of the pad behind (none when not positive), then kw_justify:
// the odd pad character falls in front.
std::string kw_center(const std::string& text, int width, const std::string& pad);
// Compact signed number of at most ten characters: kw_fixed(value, 10, 9 places, plus)
// with trailing zeros dropped down to one behind the ".". 1.5 "+1.5", 2 "+2.0",
// 0 "+0.0", -1e-12 "-0.0", 123456789.123 "+123456789".
std::string kw_short(double value);
std::string kw_range_text(double low, double high);  // " [" low "," high "]"
// A picture giving the value `digits` significant digits, from "###...#0.000...":
// 12.3 with 4 gives "#0.00", 500 with 3 "###0", 0.5 with 3 "0.00". With `plus` the last
// place is dropped and the picture has two sections, "+#0.0;-#0.0".
std::string kw_sig_picture(double value, int digits, bool plus);
// The SI prefix letter of a magnitude, 1000 steps from "y" to "Y" ("\xB5" for micro), and
// the scale it stands for; "" and scale 1 from 1 up to below 1000, and outside 1e-24..1e27.
std::string kw_eng_prefix(double value, double& scale);
// With a unit: kw_eng_prefix + unit. Without: the ratio word by magnitude a: "" (a > 1,
// scale 1), "%" (0.01 <= a <= 1), " permille" (from 0.001), " ppm" (from 1e-6), " ppb"
// (above 1e-9), " ppt" (above 1e-12, so 1e-9 itself), " ppq" (scale 1e-15).
std::string kw_ratio_prefix(double value, double& scale, const std::string& unit);
// The value over its ratio scale by the picture, then the ratio word, then the tail:
// (0.0025, " of span", "0.0") gives "2.5 permille of span".
std::string kw_ratio_text(double value, const std::string& tail, const std::string& picture);
// The scale of a whole prefix string, case-sensitive: "d" 0.1, "c", "h", "m", "\xB5" and
// "u" 1e-6, "n" ... "y", "k" ... "Y"; any other string, "" too, 1.
double kw_si_scale(const std::string& prefix);
// The label " " + prefix + unit, the blank only when the unit begins with a letter or the
// micro sign (byte 181): ("V", "m") " mV", ("%", "") "%". The prefix's scale goes to `scale`.
std::string kw_unit_label(const std::string& unit, const std::string& prefix, double& scale);

// Formats a number by a picture, locale-free:
//  "0"  a digit place always shown; "#" a digit place shown only when significant: no
//       leading zeros (0 by "#" is "", 0.5 by "#.##" is ".5") and, behind the point, no
//       trailing zeros (1.2 by "0.0##" is "1.2"). Integer digits beyond the places go to the
//       leftmost place (123456 by "00" is "123456"); a picture without integer places shows
//       a non-zero integer part in front of the point (0.25 by ".0" is ".3", 12.25 "12.3").
//  "."  the first one is the point, always shown ("5." from 5 by "#.##").
//  "%"  multiplies by 100 and shows "%". "\c" shows c, "..." in double quotes shows the text.
//  ";"  separates sections: the second formats negative values with no sign of its own
//       ("0.00;(0.00)" gives "(1.50)"), a third formats zero. With one section (or an
//       empty second) a negative value gets "-" in front of its first digit, behind any
//       leading text (" -1.50kHz"), even when it rounds to zero (-0.04 by "0.0" is "-0.0").
//  Other characters are literal. Rounding is half away from zero on the value written to
//  15 significant digits, so 1.005 by "0.00" is "1.01". An empty picture gives the value
//  to 15 significant digits, with "E" in an exponent ("1E-05"). NaN gives "NaN", infinities "Inf"
//  and "-Inf".
std::string kw_format(double value, const std::string& picture);
// The engineering form used in reports: six significant digits and an exponent that is a
// multiple of 3, the mantissa from 1 to below 1000: 12345.678 "12.3457E+3", 0.5
// "500.000E-3", -999999.6 "-1.00000E+6", 0 "0.00000E+0".
std::string kw_eng_format(double value);

// ---- Text to numbers -------------------------------------------------------------------
// All stop at the first character that does not fit and give the 1-based stop position,
// so a caller can tell whether the whole text was used (stop > length). A text without a
// digit where the number should be gives 0 with stop 1. "." is the only decimal point.

// Skips blanks, takes one "+" or "-" (sign -1 or 1), then digits while the value stays
// within 2147483647. Returns the signed value.
int32_t kw_parse_int(const std::string& text, int& stop, int& sign);
// The same with a limit of 32767: "32768" gives 3276 and stops at the "8".
int16_t kw_parse_i16(const std::string& text, int& stop);
// Blanks, a sign, digits with an optional "." and fraction (".5" and "5." count), then an
// optional "E"/"e" exponent that is used only when digits follow it ("2.5E" stops at the
// "E"). The whole part has no 32-bit limit. Beyond the double range: infinity, or 0 for a
// tiny value.
double kw_parse_double(const std::string& text, int& stop);
// kw_parse_i16 used the whole, non-empty text.
bool kw_is_i16_text(const std::string& text, int16_t& value, int& stop);
// True when the whole text is a number: optional blanks and sign, digits with an optional
// "." and fraction, an optional exponent, and a finite value ("1e999" is not numeric). The
// test every "is it numeric" question uses.
bool kw_is_numeric(const std::string& text);

// ---- Date and time ---------------------------------------------------------------------

struct DateTime {
  int year = 2000, month = 1, day = 1, hour = 0, minute = 0, second = 0, millisecond = 0;
};

// The local wall time, from the clock seam (a virtual clock gives a fixed, known date).
DateTime kw_now();
// Formats by a picture of "yyyy", "yy", "MM", "dd", "hh", "mm", "ss", "T" (the time as
// "hh:mm:ss"); "\c" shows c (a literal "T"); other characters literal. Hours are 00-23.
std::string kw_format_time(const DateTime& t, const std::string& picture);
// "yyyy-MM-dd" + separator + "hh:mm:ss".
std::string kw_timestamp(const DateTime& t, const std::string& separator);
// ISO 8601 with the offset the machine's time zone has at that local time:
// "2026-11-23T10:00:03+01:00", with `milliseconds` "2026-11-23T10:00:03.125+01:00".
std::string kw_iso_time(const DateTime& t, bool milliseconds);
// Year, month, day, hour, minute, second each by kw_format_base in base 64, joined:
// 2026-11-23 10:05:09 gives "vGbna59". A short stamp for trace lines.
std::string kw_stamp_base64(const DateTime& t);

// ---- Small arithmetic ------------------------------------------------------------------
// kw_round is floor(x + 0.5); kw_round_i16 clips to -32768..32767 first (NaN gives 0);
// kw_round_to(x, 0) is x; kw_round_sig keeps the sign and leaves 0 alone; kw_nice rounds
// to 1, 2, 5 or 10 times a power of ten at the geometric means sqrt(2), sqrt(10),
// sqrt(50) (1.41 gives 1, 1.42 gives 2); kw_near_abs and kw_near_rel compare strictly
// inside their band (the relative band is |a| times the ratio); kw_same_sign counts two
// zeros as alike; kw_safe_div gives the fallback when b is exactly 0.

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

// Pins the process's numbers to "." whatever the user's locale: the C library's
// LC_NUMERIC becomes "C" and the global C++ locale takes the classic number facets (its
// other facets stay), so that nothing, in this program or in a library it calls, reads ","
// as a decimal point. Called once at start-up; a second pin changes nothing.
// kw_locale_restore, just before the program ends, puts back what the first pin found.
// Formatting and parsing in this toolbox do not depend on either: they never read a locale.
void kw_locale_pin();
void kw_locale_restore();

}  // namespace ovn
