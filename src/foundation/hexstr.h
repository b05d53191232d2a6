#pragma once
// Hex strings and packed records. The instrument answers binary values as one run of
// upper-case hex digits, most significant digit first (big-endian). A short format string
// says how to cut the run into values; the values cross this module as text.
//
// Format items: a designator letter and an optional decimal count, blanks between items
// skipped ("B1 B6 B4" == "B1B6B4").
//   f  8 digits, IEEE-754 single        l  8 digits, signed 32-bit
//   s  4 digits, signed 16-bit          b  2 digits, 0..255
//   hN N digits as one 32-bit number    aN 2N digits of ASCII text
//   SN N characters copied verbatim     BN N bits, packed across bytes, MSB first
//   x  2 digits skipped (encoder: "00") -  2 digits skipped (encoder: nothing)
// f l s b x - take the count as a repeat (default 1); a B h S need a count.
// B fields share a bit mask that walks through the bytes; any other item is only legal at
// a byte border, so keep B fields at the head of a format and make them whole bytes.
//
// Bad formats and bad hex are programmer's errors: they are shown through fatal_error()
// (platform.h) and the process ends. Callers holding text from the wire check it with
// is_hex() first where a bad reply must not end the program.
//
// The float conversions work on the bit fields by arithmetic, so they do not depend on the
// processor's byte order.

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace ovn {

// ---- Default text forms of numbers -----------------------------------------------------
// Both give the shortest text that reads back to the same value, with "." whatever the
// locale, in plain decimal for 1e-5 <= |x| < 1e15 and as "d.ddde+XX" outside that. A
// negative zero is "0".

// For a value held by an IEEE single (what `f` decodes to): the shortest text that reads
// back, as a single, to the same single: 3F800000 "1", 3DCCCCCD "0.1", C0490FDB
// "-3.1415927". Eight significant digits at most, so a technician reads what the
// instrument meant rather than the binary expansion. A value no single can hold (an
// exponent field of 255 read as a number) falls back to double_text().
std::string single_text(double value);
// For any double: the shortest text that reads back to the same double (at most 17
// significant digits): 0.1 "0.1", 1.0/3 "0.3333333333333333".
std::string double_text(double value);

// ---- Format cursor ---------------------------------------------------------------------

// Delivers the next item of `format`. The caller keeps `position` (start 0), `designator`
// (start '\0') and `repeat` (start 0) between calls. Returns true while an item is
// delivered (designator and repeat set; a repeated item comes back with the same
// designator), false at the end of the format.
// `bit_mask` is the caller's running B mask: any designator other than B is refused unless
// the mask equals `expected_mask` (a negative bit_mask skips this check). A refused item
// (unknown letter, missing count, bad mask) shows six lines joined by CR LF and ends the
// process: the error, "FORMAT=", "frmt_pos=", "fmt_ch=", "bit_mask=", "repeat_count=".
bool hexstr_next_item(const std::string& format, int bit_mask, int expected_mask, int& position,
                      char& designator, int& repeat);

// ---- Records ---------------------------------------------------------------------------

// Decodes `hex_run` by `format` into values[0], values[1], ... (one entry per value, in
// order; `f` in single_text form, integers in decimal). Returns the number of values
// stored. A run shorter than the format gives short pieces, and an empty or short hex
// piece ends the process as bad hex. A `values` list too short for the format is the
// caller's fault and ends the process too.
int16_t hexstr_decode(const std::string& format, const std::string& hex_run,
                      std::vector<std::string>& values);

// Encodes values[0], values[1], ... by `format` into a hex run. Numbers are read from the
// text (blanks around allowed; integers rounded half to even); a text that is no number,
// or a list too short for the format, ends the process. `x` and `-` take no value; `h`
// takes a value slot but repeats the previous item's digits.
std::string hexstr_encode(const std::string& format, const std::vector<std::string>& values);

// A value of any kind for hexstr_encode_var: integers in decimal, doubles in double_text.
using HexValue = std::variant<int32_t, double, std::string>;
// The same for a list of values of any kind. It walks the format, taking one value per
// item, also for `x` and `-` (unlike hexstr_encode), and one for all of an a/B/S item;
// at most 51 values. Meant for the date stamp format "B1 B6 B4 B5 B5 B6 B5".
std::string hexstr_encode_var(const std::string& format, const std::vector<HexValue>& values);

// ---- Hex text to numbers ---------------------------------------------------------------
// Hex digits only (either case), at least one. Leading zeros do not count against the
// width. A full-width value with its top bit set wraps to a negative number ("FFFF" as 16
// bits is -1); a value wider than the result is an overflow. Bad hex ends the process with
// "Bad 32-bit Hex Number:", "Bad Unsigned 32-bit Hex Number:", "Bad 16-bit Integer Hex
// Number:" or "Bad 8-bit Integer Hex Number:" and the text in quotes.

int32_t hex_to_s32(const std::string& text);
// 0 to 4294967295: "FFFFFFFF" is 4294967295.
double hex_to_u32_as_double(const std::string& text);
int16_t hex_to_s16(const std::string& text);
uint8_t hex_to_u8(const std::string& text);

// The first 8 digits as an IEEE single, sign x 2^exponent x mantissa. An exponent field of
// 255 is read as a number like any other (no infinity, no not-a-number). "00000000" is 0,
// "80000000" is -0. Fewer than 8 digits is bad hex (the 32-bit message).
double hex_to_single(const std::string& text);
// 16 digits as a double by the instrument's old layout, which takes the lowest exponent
// bit into the mantissa and weighs the mantissa half: "4000000000000000" is 2, but
// "3FF0000000000000" is 1.5 and "C008000000000000" -2.5. Not the standard double; kept for
// completeness, and no format uses it.
double hex_to_double(const std::string& text);

// ---- Numbers to hex text ---------------------------------------------------------------

// The 8 digits of `value` rounded (half to even) to the nearest single. Values below the
// smallest normal single give denormal patterns; a magnitude of 2^129 or more ends the
// process (overflow).
std::string single_to_hex(double value);
// Upper-case hex of the 32-bit pattern of `value`, cut to its last `width` digits or
// padded on the left with "0": hex_of(-1, 4) "FFFF", hex_of(10, 4) "000A". Width 0 or
// below gives "".
std::string hex_of(int32_t value, int width);

// ---- Text and bits ---------------------------------------------------------------------

// Hex pairs to characters; a trailing odd digit is ignored. A byte outside 32..126 gives
// "?" with keep_going, otherwise ends the text: ("4142FF43", false) "AB", (.., true)
// "AB?C".
std::string hex_to_text(const std::string& hex, bool keep_going);
// For i = 1..n: `separator` then the two digits of character i, or "00" past the end of
// the text. The separator comes before every pair: ("AB", 3, "") "414200", ("A", 1, " ")
// " 41".
std::string text_to_hex(const std::string& text, int n, const std::string& separator);
// Reverse the bytes of each whole 16-bit (4-digit) or 32-bit (8-digit) group; a shorter
// tail is dropped: hex_swap16("12345") "3412", hex_swap32("11223344") "44332211".
std::string hex_swap16(const std::string& text);
std::string hex_swap32(const std::string& text);
// n characters "1"/"0", bit 0 FIRST (reversed against ordinary binary writing): (6, 4)
// "0110", (1, 3) "100". Bits above 31 are "0".
std::string bits_to_text(int32_t value, int n);
// True when the text is not empty and holds only 0-9, A-F, a-f.
bool is_hex(const std::string& text);
// True when `text` is hex (is_hex) whose value fits `digits` hex digits, leading zeros not
// counted: ("00FF", 2) true, ("123456789", 8) false. A reply that passes converts without
// the overflow that ends the process.
bool hex_fits(const std::string& text, int digits);

}  // namespace ovn
