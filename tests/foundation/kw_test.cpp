#include <cmath>
#include <limits>

#include "foundation/kw.h"
#include "support/seams.h"

namespace ovn {
namespace {

using Fields = std::vector<std::string>;
using KwSeams = test::SeamsTest;

TEST(KwSplit, TheLastFieldHoldsTheUnsplitRest) {
  Fields two(2);
  EXPECT_EQ(kw_split("a|b|c", "|", two), 2);
  EXPECT_EQ(two, (Fields{"a", "b|c"}));

  Fields five(5, "old");
  EXPECT_EQ(kw_split("a|b|c", "|", five), 3);
  EXPECT_EQ(five, (Fields{"a", "b", "c", "", ""}));  // unused entries are emptied

  EXPECT_EQ(kw_split("abc", "", two), 2);  // single characters, the last takes the rest
  EXPECT_EQ(two, (Fields{"a", "bc"}));
  EXPECT_EQ(kw_split("abc", ",", two), 1);
  EXPECT_EQ(two[0], "abc");
  EXPECT_EQ(kw_split("", ",", two), 1);

  EXPECT_EQ(kw_split("a,,b,", ","), (Fields{"a", "", "b", ""}));
  EXPECT_EQ(kw_split("a<>b<>c", "<>"), (Fields{"a", "b", "c"}));
  EXPECT_EQ(kw_split("abc", ""), (Fields{"a", "b", "c"}));
}

TEST(KwSplit, MergingSplitsTreatRunsAsOneAndReportAFullArray) {
  Fields five(5);
  EXPECT_EQ(kw_split_merge("  kN   1000:0  ", " ", five, 0), 2);
  EXPECT_EQ(five[0], "kN");
  EXPECT_EQ(five[1], "1000:0");

  EXPECT_EQ(kw_split_merge("a b  c d", " ", five, 2), 2);  // the second field takes the rest
  EXPECT_EQ(five[1], "b  c d");

  Fields two(2);
  EXPECT_EQ(kw_split_merge("a b c", " ", two, 0), -1);
  EXPECT_EQ(two, (Fields{"a", "b"}));
  EXPECT_EQ(kw_split_merge("a b c", " ", two, 2), 2);
  EXPECT_EQ(two, (Fields{"a", "b c"}));
  EXPECT_EQ(kw_split_merge("", " ", two, 0), 0);
}

TEST(KwSplit, ByListEachSeparatorIsMetInTurn) {
  Fields f(4);
  EXPECT_EQ(kw_split_by_list("key=value;rest", "|=|;", f), 3);
  EXPECT_EQ(f[0], "key");
  EXPECT_EQ(f[1], "value");
  EXPECT_EQ(f[2], "rest");
  // ";" is only looked for behind the "="
  EXPECT_EQ(kw_split_by_list("a;b=c", "|=|;", f), 2);
  EXPECT_EQ(f[0], "a;b");
  EXPECT_EQ(f[1], "c");
  EXPECT_EQ(kw_split_by_list("key value", "|=|;", f), 1);
  EXPECT_EQ(f[0], "key value");
  EXPECT_EQ(kw_split_by_list("T12:30:15", ",T,:,:", f), 4);  // multi-step with "," delimiter
  EXPECT_EQ(f, (Fields{"", "12", "30", "15"}));
}

TEST(KwSearch, NthOccurrenceAndLastOccurrence) {
  EXPECT_EQ(kw_instr_nth("abcabc", "bc", 1, 1), 2);
  EXPECT_EQ(kw_instr_nth("abcabc", "bc", 1, 2), 5);
  EXPECT_EQ(kw_instr_nth("abcabc", "bc", 1, 3), 0);
  EXPECT_EQ(kw_instr_nth("abcabc", "bc", 1, 0), 5);  // n below 1: the last one
  EXPECT_EQ(kw_instr_nth("abcabc", "a", 3, 1), 4);
  EXPECT_EQ(kw_instr_nth("aaaa", "aa", 1, 2), 2);
  EXPECT_EQ(kw_instr_nth("xyz", "q", 1, 0), 0);  // none: start - 1
  EXPECT_EQ(kw_instr_nth("xyz", "q", 5, 0), 4);
  EXPECT_EQ(kw_instr_after("abcabc", "bc", 1, 1), 4);
  EXPECT_EQ(kw_instr_after("abcabc", "bc", 1, 0), 7);
  EXPECT_EQ(kw_instr_after("abcabc", "q", 1, 1), 0);
}

TEST(KwEdit, InsertReplaceTranslateAndRepeat) {
  EXPECT_EQ(kw_insert("abc", 2, "X"), "aXbc");
  EXPECT_EQ(kw_insert("abc", 10, "X"), "abcX");
  EXPECT_EQ(kw_insert("abc", 0, "X"), "Xabc");
  EXPECT_EQ(kw_replace("aaa", "a", "aa"), "aaaaaa");  // what was put in is not rescanned
  EXPECT_EQ(kw_replace("a.b.c", ".", ""), "abc");
  EXPECT_EQ(kw_replace("abc", "", "x"), "abc");
  EXPECT_EQ(kw_translate("hello", "lo", "L", false), "heLL");
  EXPECT_EQ(kw_translate("hello", "lo", "L", true), "heL");
  EXPECT_EQ(kw_translate("a--b", "-", "_", true), "a_b");
  EXPECT_EQ(kw_translate("abc", "", "x", true), "abc");
  EXPECT_EQ(kw_repeat("ab", 3), "ababab");
  EXPECT_EQ(kw_repeat("ab", 0), "");
  EXPECT_EQ(kw_repeat("ab", -2), "");
}

TEST(KwLists, FindHasAndPrefix) {
  EXPECT_EQ(kw_list_find("kN", "|", "N|kN|lbf"), "kN");
  EXPECT_EQ(kw_list_find("k", "|", "N|kN"), "");
  EXPECT_EQ(kw_list_find("cd", "", "abcdef"), "cd");  // chunks of the needle's length
  EXPECT_EQ(kw_list_find("bc", "", "abcdef"), "");
  EXPECT_TRUE(kw_list_has("kN", "N|kN", "|"));
  EXPECT_FALSE(kw_list_has("", "a||b", "|"));  // an empty item is not a find

  int length = 99;
  EXPECT_EQ(kw_list_prefix("kNm", "|", "N|kN|k", length), "kN");
  EXPECT_EQ(length, 2);
  EXPECT_EQ(kw_list_prefix("xyz", "|", "a||b", length), "");
  EXPECT_EQ(length, 0);  // the empty item matched
  EXPECT_EQ(kw_list_prefix("xyz", "|", "a|b", length), "");
  EXPECT_EQ(length, -1);  // nothing matched
}

TEST(KwBase, ParsingFoldsCaseBelowBase37AndRejectsForeignSymbols) {
  std::string text = "FF";
  int64_t value = -1;
  EXPECT_TRUE(kw_parse_base(text, 16, value));
  EXPECT_EQ(value, 255);
  EXPECT_EQ(text, "ff");  // folded in place

  text = "Zz";
  EXPECT_TRUE(kw_parse_base(text, 64, value));
  EXPECT_EQ(value, 61 * 64 + 35);
  EXPECT_EQ(text, "Zz");
  text = "_@";
  EXPECT_TRUE(kw_parse_base(text, 64, value));
  EXPECT_EQ(value, 62 * 64 + 63);

  for (const char* bad : {"19", "", "-7", "7 "}) {
    text = bad;
    value = -1;
    EXPECT_FALSE(kw_parse_base(text, 8, value)) << bad;
    EXPECT_EQ(value, 0) << bad;
  }
}

TEST(KwBase, FormattingConsumesTheValue) {
  int64_t value = 255;
  EXPECT_EQ(kw_format_base(value, 16), "ff");
  EXPECT_EQ(value, 0);
  value = -255;
  EXPECT_EQ(kw_format_base(value, 2), "-11111111");
  value = 0;
  EXPECT_EQ(kw_format_base(value, 10), "0");
  value = std::numeric_limits<int64_t>::min();
  EXPECT_EQ(kw_format_base(value, 16), "-8000000000000000");
  value = 4031;
  std::string digits = kw_format_base(value, 64);
  EXPECT_EQ(digits, "_@");
}

TEST_F(KwSeams, FormattingInBaseZeroIsAProgrammersError) {
  int64_t value = 5;
  EXPECT_PROCESS_EXIT(kw_format_base(value, 0), 1);
  ASSERT_EQ(seams.fatal_texts.size(), 1u);
}

TEST(KwChars, LettersHexAndNewlines) {
  EXPECT_EQ(kw_letter_of(0), "A");
  EXPECT_EQ(kw_letter_of(2), "C");
  EXPECT_EQ(kw_letter_index("C"), 2);
  EXPECT_EQ(kw_letter_index(kw_letter_of(7)), 7);
  EXPECT_EQ(kw_letter52(25), "Z");
  EXPECT_EQ(kw_letter52(26), "a");
  EXPECT_EQ(kw_letter52(51), "z");
  EXPECT_EQ(kw_letter52(52), "*");
  EXPECT_EQ(kw_letter52(-1), "*");
  EXPECT_TRUE(kw_is_letters("abCD"));
  EXPECT_FALSE(kw_is_letters(""));
  EXPECT_FALSE(kw_is_letters("ab1"));
  EXPECT_FALSE(kw_is_letters("\xC4"));
  EXPECT_EQ(kw_hex8(255), "000000FF");
  EXPECT_EQ(kw_hex8(-1), "FFFFFFFF");
  EXPECT_EQ(kw_hex8(std::numeric_limits<int32_t>::min()), "80000000");
  EXPECT_TRUE(kw_is_newline("\r"));
  EXPECT_TRUE(kw_is_newline("\n"));
  EXPECT_TRUE(kw_is_newline("\r\n"));
  EXPECT_FALSE(kw_is_newline("\n\r"));
  EXPECT_FALSE(kw_is_newline(""));
}

TEST(KwEscape, SwappedLettersAndTheOctalSwallow) {
  EXPECT_EQ(kw_unescape("a\\nb\\rc\\t"), "a\rb\nc\t");
  EXPECT_EQ(kw_unescape("\\012Z!"), "\n!");  // octal 012 is LF; the "Z" behind is swallowed
  EXPECT_EQ(kw_unescape("\\x41\\xZZ"), "A\\xZZ");
  EXPECT_EQ(kw_unescape("\\0ab\\\\\\q"), std::string("\0ab\\\\q", 6));
  EXPECT_EQ(kw_escape(std::string("\x7F\x05\r\n\t\\", 6), false), "\\x7F\\x5\\n\\r\\t\\\\");
  EXPECT_EQ(kw_escape("\r\n", true), "\r\n");
  for (const std::string& s :
       {std::string("tab\there\0nul\\", 13), std::string("\0\f\b\v~ \r\n", 8)})
    EXPECT_EQ(kw_unescape(kw_escape(s, false)), s) << kw_escape(s, false);
}

TEST(KwParse, IntegersStopWhereTheyStopFitting) {
  int stop = 0, sign = 0;
  EXPECT_EQ(kw_parse_int("  -123x", stop, sign), -123);
  EXPECT_EQ(stop, 7);
  EXPECT_EQ(sign, -1);
  EXPECT_EQ(kw_parse_int("2147483647", stop, sign), 2147483647);
  EXPECT_EQ(stop, 11);
  EXPECT_EQ(sign, 1);
  EXPECT_EQ(kw_parse_int("2147483648", stop, sign), 214748364);
  EXPECT_EQ(stop, 10);
  EXPECT_EQ(kw_parse_int("", stop, sign), 0);
  EXPECT_EQ(stop, 1);
  EXPECT_EQ(kw_parse_int("+", stop, sign), 0);
  EXPECT_EQ(stop, 1);

  EXPECT_EQ(kw_parse_i16("32768", stop), 3276);
  EXPECT_EQ(stop, 5);
  EXPECT_EQ(kw_parse_i16("-32767", stop), -32767);
  EXPECT_EQ(stop, 7);

  int16_t v = 0;
  EXPECT_TRUE(kw_is_i16_text("123", v, stop));
  EXPECT_EQ(v, 123);
  EXPECT_FALSE(kw_is_i16_text("12a", v, stop));
  EXPECT_EQ(stop, 3);
  EXPECT_FALSE(kw_is_i16_text("", v, stop));
  EXPECT_FALSE(kw_is_i16_text("40000", v, stop));
}

TEST(KwParse, DoublesTakeFractionAndExponent) {
  struct Case {
    const char* text;
    double value;
    int stop;
  };
  const Case cases[] = {
      {"1.5e3", 1500, 6},      {"-.5", -0.5, 4}, {"2.5E", 2.5, 4}, {"1e-3x", 0.001, 5},
      {"6000000000", 6e9, 11}, {"  +7", 7, 5},   {"abc", 0, 1},    {"1,5", 1, 2},
      {"0.1", 0.1, 4},         {"1e-999", 0, 7},
  };
  for (const Case& c : cases) {
    int stop = 0;
    EXPECT_EQ(kw_parse_double(c.text, stop), c.value) << c.text;
    EXPECT_EQ(stop, c.stop) << c.text;
  }
  int stop = 0;
  EXPECT_EQ(kw_parse_double("-1e999", stop), -HUGE_VAL);
}

TEST(KwParse, NumericTextIsAWholeNumberBetweenBlanks) {
  for (const char* yes : {"1", " -1.5 ", "+.5", "5.", "1e5", "1E-5", "-0", "007"})
    EXPECT_TRUE(kw_is_numeric(yes)) << yes;
  for (const char* no : {"", " ", ".", "1e", "1e+", "+", "-", "1.2.3", "1,5", "0x10", "1 2", "e5",
                         "- 1", "1e999", "-1e999", " 1E+400 ", "inf", "nan"})
    EXPECT_FALSE(kw_is_numeric(no)) << no;
}

// A clock standing at one wall time, to check the civil-date arithmetic.
class WallClock final : public Clock {
 public:
  explicit WallClock(double wall) : wall_(wall) {}
  double now_ms() override { return 0; }
  void sleep(double) override {}
  double wall_ms() override { return wall_; }

 private:
  double wall_;
};

std::string wall_text(double wall) {
  WallClock c(wall);
  set_clock(&c);
  DateTime t = kw_now();
  set_clock(nullptr);
  return kw_timestamp(t, " ") + "." + kw_fixed(t.millisecond, 3, 0, false, "0");
}

TEST(KwTime, WallTimesBecomeCivilDates) {
  // References from the system's date tool.
  EXPECT_EQ(wall_text(0), "1970-01-01 00:00:00.000");
  EXPECT_EQ(wall_text(951782400000.0), "2000-02-29 00:00:00.000");
  EXPECT_EQ(wall_text(4107542400000.0 - 1), "2100-02-28 23:59:59.999");
  EXPECT_EQ(wall_text(-1), "1969-12-31 23:59:59.999");
  EXPECT_EQ(wall_text(-62135596800000.0), "0001-01-01 00:00:00.000");
}

TEST_F(KwSeams, TimePicturesAndStampsFollowTheVirtualClock) {
  seams.clock.advance(5 * 60000 + 9000 + 250);  // 2026-11-23 10:05:09.250
  DateTime t = kw_now();
  EXPECT_EQ(kw_format_time(t, "yyyy-MM-dd T"), "2026-11-23 10:05:09");
  EXPECT_EQ(kw_format_time(t, "dd.MM.yy hh-mm-ss!"), "23.11.26 10-05-09!");
  EXPECT_EQ(kw_format_time(t, "yyyyMMdd\\Thhmm"), "20261123T1005");
  EXPECT_EQ(kw_timestamp(t, "_"), "2026-11-23_10:05:09");
  EXPECT_EQ(t.millisecond, 250);
  // 2026 = 31 * 64 + 42 -> "vG"; 11 "b"; 23 "n"; 10 "a"; 5; 9
  EXPECT_EQ(kw_stamp_base64(t), "vGbna59");
  seams.clock.advance(13 * 3600000.0);
  EXPECT_EQ(kw_format_time(kw_now(), "hh"), "23");
}

}  // namespace
}  // namespace ovn
