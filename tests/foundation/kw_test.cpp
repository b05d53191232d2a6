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
  // ";" is only looked for behind the "="; the list "," T : : splits at T, then each ":".
  const std::tuple<const char*, const char*, Fields> cases[] = {
      {"key=value;rest", "|=|;", {"key", "value", "rest"}},
      {"a;b=c", "|=|;", {"a;b", "c"}},
      {"key value", "|=|;", {"key value"}},
      {"T12:30:15", ",T,:,:", {"", "12", "30", "15"}}};
  for (const auto& [text, list, fields] : cases) {
    Fields f(4);
    EXPECT_EQ(kw_split_by_list(text, list, f), static_cast<int>(fields.size())) << text;
    EXPECT_EQ(Fields(f.begin(), f.begin() + static_cast<long>(fields.size())), fields) << text;
  }
}

TEST(KwSearch, NthOccurrenceAndLastOccurrence) {
  // n below 1 finds the last one; finding none gives start - 1.
  const std::pair<int, int> found[] = {
      {kw_instr_nth("abcabc", "bc", 1, 1), 2},   {kw_instr_nth("abcabc", "bc", 1, 2), 5},
      {kw_instr_nth("abcabc", "bc", 1, 3), 0},   {kw_instr_nth("abcabc", "bc", 1, 0), 5},
      {kw_instr_nth("abcabc", "a", 3, 1), 4},    {kw_instr_nth("aaaa", "aa", 1, 2), 2},
      {kw_instr_nth("xyz", "q", 1, 0), 0},       {kw_instr_nth("xyz", "q", 5, 0), 4},
      {kw_instr_after("abcabc", "bc", 1, 1), 4}, {kw_instr_after("abcabc", "bc", 1, 0), 7},
      {kw_instr_after("abcabc", "q", 1, 1), 0}};
  for (size_t i = 0; i < std::size(found); ++i) EXPECT_EQ(found[i].first, found[i].second) << i;
}

TEST(KwEdit, InsertReplaceTranslateAndRepeat) {
  // What kw_replace put in is not rescanned.
  const std::pair<std::string, const char*> cases[] = {
      {kw_insert("abc", 2, "X"), "aXbc"},
      {kw_insert("abc", 10, "X"), "abcX"},
      {kw_insert("abc", 0, "X"), "Xabc"},
      {kw_replace("aaa", "a", "aa"), "aaaaaa"},
      {kw_replace("a.b.c", ".", ""), "abc"},
      {kw_replace("abc", "", "x"), "abc"},
      {kw_translate("hello", "lo", "L", false), "heLL"},
      {kw_translate("hello", "lo", "L", true), "heL"},
      {kw_translate("a--b", "-", "_", true), "a_b"},
      {kw_translate("abc", "", "x", true), "abc"},
      {kw_repeat("ab", 3), "ababab"},
      {kw_repeat("ab", 0), ""},
      {kw_repeat("ab", -2), ""}};
  for (const auto& [got, expected] : cases) EXPECT_EQ(got, expected);
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
  // Text, base, value (0: refused), and the text afterwards: folded in place below base 37.
  const std::tuple<const char*, int, int64_t, const char*> cases[] = {
      {"FF", 16, 255, "ff"},
      {"Zz", 64, 61 * 64 + 35, "Zz"},
      {"_@", 64, 62 * 64 + 63, "_@"},
      {"19", 8, 0, "19"},
      {"", 8, 0, ""},
      {"-7", 8, 0, "-7"},
      {"7 ", 8, 0, "7 "}};
  for (const auto& [given, base, expected, after] : cases) {
    std::string text = given;
    int64_t value = -1;
    EXPECT_EQ(kw_parse_base(text, base, value), expected != 0) << given;
    EXPECT_EQ(value, expected) << given;
    EXPECT_EQ(text, after);
  }
}

TEST_F(KwSeams, FormattingConsumesTheValueAndBaseZeroIsAProgrammersError) {
  const std::tuple<int64_t, int, const char*> cases[] = {
      {255, 16, "ff"},
      {-255, 2, "-11111111"},
      {0, 10, "0"},
      {std::numeric_limits<int64_t>::min(), 16, "-8000000000000000"},
      {4031, 64, "_@"}};
  for (auto [value, base, text] : cases) {
    EXPECT_EQ(kw_format_base(value, base), text);
    EXPECT_EQ(value, 0) << text;
  }
  int64_t value = 5;
  EXPECT_PROCESS_EXIT(kw_format_base(value, 0), 1);
  ASSERT_EQ(seams.fatal_texts.size(), 1u);
}

TEST(KwChars, LettersHexAndNewlines) {
  const std::pair<std::string, const char*> texts[] = {
      {kw_letter_of(0), "A"},    {kw_letter_of(2), "C"},
      {kw_letter52(25), "Z"},    {kw_letter52(26), "a"},
      {kw_letter52(51), "z"},    {kw_letter52(52), "*"},
      {kw_letter52(-1), "*"},    {kw_hex8(255), "000000FF"},
      {kw_hex8(-1), "FFFFFFFF"}, {kw_hex8(std::numeric_limits<int32_t>::min()), "80000000"}};
  for (const auto& [got, expected] : texts) EXPECT_EQ(got, expected);
  EXPECT_EQ(kw_letter_index("C"), 2);
  EXPECT_EQ(kw_letter_index(kw_letter_of(7)), 7);
  EXPECT_TRUE(kw_is_letters("abCD"));
  for (const char* no : {"", "ab1", "\xC4"}) EXPECT_FALSE(kw_is_letters(no)) << no;
  for (const char* yes : {"\r", "\n", "\r\n"}) EXPECT_TRUE(kw_is_newline(yes));
  for (const char* no : {"\n\r", ""}) EXPECT_FALSE(kw_is_newline(no));
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
  // Text, value, where it stopped and the sign it saw (0: not checked).
  const std::tuple<const char*, int32_t, int, int> ints[] = {{"  -123x", -123, 7, -1},
                                                             {"2147483647", 2147483647, 11, 1},
                                                             {"2147483648", 214748364, 10, 0},
                                                             {"", 0, 1, 0},
                                                             {"+", 0, 1, 0}};
  int stop = 0, sign = 0;
  for (const auto& [text, value, stopped, signed_as] : ints) {
    EXPECT_EQ(kw_parse_int(text, stop, sign), value) << text;
    EXPECT_EQ(stop, stopped) << text;
    if (signed_as) {
      EXPECT_EQ(sign, signed_as) << text;
    }
  }
  EXPECT_EQ(kw_parse_i16("32768", stop), 3276);
  EXPECT_EQ(stop, 5);
  EXPECT_EQ(kw_parse_i16("-32767", stop), -32767);
  EXPECT_EQ(stop, 7);

  int16_t v = 0;
  EXPECT_TRUE(kw_is_i16_text("123", v, stop));
  EXPECT_EQ(v, 123);
  EXPECT_FALSE(kw_is_i16_text("12a", v, stop));
  EXPECT_EQ(stop, 3);
  for (const char* no : {"", "40000"}) EXPECT_FALSE(kw_is_i16_text(no, v, stop)) << no;
}

TEST(KwParse, DoublesTakeFractionAndExponent) {
  struct Case {
    const char* text;
    double value;
    int stop;
  };
  const Case cases[] = {{"1.5e3", 1500, 6},  {"-.5", -0.5, 4},        {"2.5E", 2.5, 4},
                        {"1e-3x", 0.001, 5}, {"6000000000", 6e9, 11}, {"  +7", 7, 5},
                        {"abc", 0, 1},       {"1,5", 1, 2},           {"0.1", 0.1, 4},
                        {"1e-999", 0, 7},    {"-1e999", -HUGE_VAL, 7}};
  for (const Case& c : cases) {
    int stop = 0;
    EXPECT_EQ(kw_parse_double(c.text, stop), c.value) << c.text;
    EXPECT_EQ(stop, c.stop) << c.text;
  }
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
  for (const auto& [wall, text] : {std::pair{0.0, "1970-01-01 00:00:00.000"},
                                   {951782400000.0, "2000-02-29 00:00:00.000"},
                                   {4107542400000.0 - 1, "2100-02-28 23:59:59.999"},
                                   {-1.0, "1969-12-31 23:59:59.999"},
                                   {-62135596800000.0, "0001-01-01 00:00:00.000"}})
    EXPECT_EQ(wall_text(wall), text);
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
