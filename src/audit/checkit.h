#pragma once
// The report language of the configuration audit. A check decides pass or fail; checkit
// writes one sentence for it, in the pass or the fail wording, into one of two texts: the
// failures (index 0) and the passes (index 1). It knows nothing of instruments.
//
// One expression carries both wordings. It is cut at "|" into fields read in threes: a
// common field, a pass-only field, a fail-only field, and so on, ending in a common one:
//   "RS485-ID $$is ||NOT |\"A\""   passes as "RS485-ID (B) is \"A\"",
//                                   fails as  "RS485-ID (B) is NOT \"A\"".
// "$$" or "$ unit$" is a value slot: ck_values fills the first open slot with
// "(" value unit ") " for each of its "|"-separated values. An expression whose field count
// is not 1 modulo 3 still renders; in technician mode it also shows "Bad Parsing Job:".
//
// Sections cost nothing: a heading waits, separately for each text, until a line is written
// beneath it, so the failure text holds only the sections that have failures, nested as
// they were opened. Sections are opened and closed in matched pairs; each level indents
// its lines by three blanks. A line is pending headings, indentation, sentence, CR LF.
//
// The report is one per program, for one audit at a time:
//   ck_clear(); ck_section(...); checks...; ck_end_section(...); ...; ck_finish();
//   ck_failures(), ck_passes().
// Every check returns true for a pass. Numbers in sentences are written by kw_short.
// Nothing here raises; one thread.

#include <cstdint>
#include <string>

namespace ovn {

// ---- The report ------------------------------------------------------------------------

// Empties the indentation, the pending headings and both texts.
void ck_clear();
// Opens a section (with `reset`, first closes the open one and goes back to the left
// margin). A ":" is added unless the title ends in one; trailing CR and LF are dropped.
void ck_section(const std::string& title, bool reset);
// Three more blanks of indentation.
void ck_indent();
// Closes a section: three blanks less (all of them with `reset`), and its heading is taken
// back from each text that wrote no line beneath it.
void ck_end_section(bool reset);
// Closes every section, then ends both texts in CR LF (an empty text becomes CR LF).
void ck_finish();
// Writes a text into the passes or the failures, line by line at each CR LF; empty lines
// are left out. The pending headings of that text go first.
void ck_pass_line(const std::string& text);
void ck_fail_line(const std::string& text);
// The texts, trimmed by ck_trim_text, and whether they hold anything.
std::string ck_failures();
std::string ck_passes();
bool ck_has_failures();
bool ck_has_passes();
// Strips blanks, CR, LF and NUL from the front and NUL from the end, then blanks at both
// ends.
std::string ck_trim_text(const std::string& text);

// ---- Expressions -----------------------------------------------------------------------

// Renders `expression` in the wording of `ok` and returns `ok`.
bool ck_line(bool ok, const std::string& expression);
// Fills the value slots with the "|"-separated `values` first, then renders as ck_line.
bool ck_values(bool ok, const std::string& expression, const std::string& values);
// Drops a default that repeats the value: "Foo (+5.0 Hz) equal default (+5.0 Hz) x" becomes
// "Foo (+5.0 Hz) equal default x" (the value's number, up to its first blank, found in
// the default's parentheses; ") equal default (" matched in any case).
std::string ck_default_fold(const std::string& sentence);
// The sameness of all numeric default checks: with b exactly 0, |a| < 1e-15; otherwise
// |b - a| < |b| x 1e-6.
bool ck_same(double a, double b);

// ---- Checks ----------------------------------------------------------------------------
// `name` is the sentence's subject; `unit` and `prefix` make the label of the value slots
// by kw_unit_label, and numbers are shown divided by the prefix's scale.

// nominal - tolerance <= value <= nominal + tolerance:
// "<name> (<value><label>) [NOT ]within <tolerance> (<value - nominal>) of <nominal>
// [<low>,<high>]".
bool ck_within(double value, double nominal, double tolerance, const std::string& name,
               const std::string& unit, const std::string& prefix);
// 1 - b/a within `tolerance` of 0, as ck_within over "<name> Asymmetry" in the ratio word
// of the tolerance ("%", " permille", ...). An a of 0 counts as b/a = 0.
bool ck_asymmetry(double a, double b, double tolerance, const std::string& name,
                  const std::string& unit);
// With low <= high: value inside, "<name> (<value><label>) [NOT ]in [<low>,<high>]"; a
// negative value is held against the limits mirrored (a value of 0 against 0 and 0), and
// `use_magnitude` tests the magnitude against the limits as given. With low > high the
// band between them is forbidden: passes below high or above low, "... [NOT ]outside of
// [<low>,<high>]".
bool ck_range(double value, double low, double high, const std::string& name,
              const std::string& unit, bool use_magnitude, const std::string& prefix);
// The value against a reference by a relative tolerance: a positive one must hold it
// within, "<name> (<value><label>) [NOT ]within 5% (<error>) of <reference> [<low>,<high>]",
// zero or negative outside, "... [NOT ]outside of <t><label> of <reference> [...]". A
// reference of 0 fails as "<name> equals 0 in ratio!"; without `allow_equal` a value equal
// to the reference (to 1.19e-7) is a value never adjusted and fails as a default.
// A non-empty `reference_name` shows the reference as "<reference name> (<reference>)".
bool ck_ratio(double value, double reference, double tolerance, const std::string& name,
              const std::string& unit, const std::string& reference_name, bool allow_equal);
// The value against the `separator`-separated defaults, ignoring case. With `want_match`
// it must be one: "<name> (<value>) [NOT ]equal default (<list>)"; without, it must be
// none: fails as "... equal default (<list>)", passes as "... NOT equal default (<list>)".
bool ck_text_default(const std::string& value, const std::string& list, const std::string& name,
                     const std::string& separator, bool want_match);
// The caller decides: fails as "<name> (<value>) equal default (<default>)", passes as
// "<name> (<value>) NOT equal default (<default>)". The unit is not part of the sentence.
bool ck_not_default(bool ok, const std::string& name, const std::string& unit,
                    const std::string& value_text, const std::string& default_text);
// Passes when ck_same: "<name> (<value> <unit>) equal default <default> <unit>"; fails as
// "<name> (<value> <unit>) NOT <default> <unit>" (the word "equal" goes with the pass).
bool ck_equal_num(double value, double default_value, const std::string& name,
                  const std::string& unit);
// Passes when not ck_same, worded as ck_not_default; the second against both defaults,
// shown as "<first> or <second>".
bool ck_differs_num(double value, double default_value, const std::string& name,
                    const std::string& unit);
bool ck_differs_num2(double value, double first, double second, const std::string& name,
                     const std::string& unit);
// Not the default and inside the range: "<name> (<value><label>) [NOT ]in [<low>,<high>]
// and NOT default". Low equal to high: only not the default. Low above high: inside
// [high, low], the sentence carrying a stray "$and $ " behind it, as it always has.
bool ck_range_not_default(double value, double default_value, const std::string& name,
                          const std::string& unit, double low, double high);
// Integer checks against a default.
//   ck_int_not_default: the integers differ, worded as ck_not_default.
//   ck_int_range_default: a value off the default must be in [low, high] (outside of it
//     when low > high); a value on the default passes or fails by `ok`, with the one
//     sentence "<name> (<value><label>) equal default" for both.
//   ck_int_equal_default: equal, "<name> (<value><label>) [NOT ]equal default (...)".
//   ck_int_not_equal_default: differ, failing as "... equal default (<default><label>)".
bool ck_int_not_default(int32_t value, int32_t default_value, const std::string& name,
                        const std::string& unit);
bool ck_int_range_default(int32_t value, int32_t default_value, int32_t low, int32_t high,
                          const std::string& name, const std::string& unit, bool ok);
bool ck_int_equal_default(int32_t value, int32_t default_value, const std::string& name,
                          const std::string& unit);
bool ck_int_not_equal_default(int32_t value, int32_t default_value, const std::string& name,
                              const std::string& unit);

}  // namespace ovn
