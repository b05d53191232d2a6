#include "foundation/hexstr.h"

#include <cmath>
#include <cstdio>
#include <limits>

#include "support/seams.h"

namespace ovn {
namespace {

using test::SeamsTest;

// IEEE-754 single patterns from the standard's layout, not from this module.
struct SinglePattern {
  const char* hex;
  double value;
};
const SinglePattern kSingles[] = {
    {"3F800000", 1.0},
    {"C0000000", -2.0},
    {"3DCCCCCD", static_cast<double>(0.1f)},
    {"40490FDB", static_cast<double>(3.14159265358979f)},
    {"C0490FDB", -static_cast<double>(3.14159265358979f)},
    {"7F7FFFFF", static_cast<double>(std::numeric_limits<float>::max())},
    {"00800000", static_cast<double>(std::numeric_limits<float>::min())},
    {"00000001", static_cast<double>(std::numeric_limits<float>::denorm_min())},
    {"007FFFFF", std::ldexp(8388607.0, -149)},
    {"3EAAAAAB", static_cast<double>(1.0f / 3.0f)},
    {"47C35000", 100000.0},
    {"BF000000", -0.5}};

TEST_F(SeamsTest, SinglesConvertBothWaysByTheirIeeeBitPatterns) {
  for (const auto& p : kSingles) {
    EXPECT_EQ(hex_to_single(p.hex), p.value) << p.hex;
    EXPECT_EQ(single_to_hex(p.value), p.hex) << p.hex;
  }
  EXPECT_EQ(single_to_hex(0.0), "00000000");
  EXPECT_EQ(hex_to_single("00000000"), 0.0);
  EXPECT_TRUE(std::signbit(hex_to_single("80000000")));
  // Lower case digits are hex all the same.
  EXPECT_EQ(hex_to_single("3f800000"), 1.0);
}

TEST_F(SeamsTest, SingleToHexRoundsDoublesToTheNearestSingle) {
  EXPECT_EQ(single_to_hex(0.1), "3DCCCCCD");                         // a double, not 0.1f
  EXPECT_EQ(single_to_hex(1.0 + std::ldexp(1.0, -24)), "3F800000");  // halfway: even
  EXPECT_EQ(single_to_hex(1.0 + 3 * std::ldexp(1.0, -24)), "3F800002");
  EXPECT_EQ(single_to_hex(2.0 - std::ldexp(1.0, -25)), "40000000");  // rounds up a binade
  // Every power of two, where a logarithm is most likely to land one short.
  for (int k = -126; k <= 127; ++k) {
    char pattern[16];
    std::snprintf(pattern, sizeof pattern, "%08X", static_cast<unsigned>(k + 127) << 23);
    EXPECT_EQ(single_to_hex(std::ldexp(1.0, k)), pattern) << k;
  }
  // Below the smallest normal single the pattern counts units of 2^-149, ties to even.
  EXPECT_EQ(single_to_hex(std::ldexp(1.0, -126) * (1 - 1e-9)), "00800000");
  EXPECT_EQ(single_to_hex(std::ldexp(2.5, -149)), "00000002");
  EXPECT_EQ(single_to_hex(-std::ldexp(3.5, -149)), "80000004");
  // The exponent field 255 has no special meaning either way.
  EXPECT_EQ(hex_to_single("7F800000"), std::ldexp(1.0, 128));
  EXPECT_EQ(single_to_hex(std::ldexp(1.0, 128)), "7F800000");
  EXPECT_PROCESS_EXIT(single_to_hex(std::ldexp(1.0, 129)), 1);
}

TEST_F(SeamsTest, TheOldDoubleLayoutTakesTheLowExponentBitIntoTheMantissa) {
  EXPECT_EQ(hex_to_double("0000000000000000"), 0.0);
  EXPECT_EQ(hex_to_double("4000000000000000"), 2.0);  // the mantissa weighs half, so only
  // a value without mantissa bits and with the low exponent bit clear reads as standard
  EXPECT_EQ(hex_to_double("C008000000000000"), -2.5);  // -3.0 in a standard double
  EXPECT_EQ(hex_to_double("3FF0000000000000"), 1.5);   // 1.0 in a standard double
  EXPECT_EQ(hex_to_double("4000000000000001"), 2.0 + std::ldexp(1.0, -52));
}

TEST_F(SeamsTest, HexIntegersWrapAtTheirFullWidth) {
  struct Case {
    const char* text;
    int64_t s32, s16;
    double u32;
  };
  const Case cases[] = {{"0", 0, 0, 0.0},
                        {"7FFF", 32767, 32767, 32767.0},
                        {"8000", 32768, -32768, 32768.0},
                        {"FFFF", 65535, -1, 65535.0},
                        {"0000FFFF", 65535, -1, 65535.0},
                        {"ffff", 65535, -1, 65535.0}};
  for (const auto& c : cases) {
    EXPECT_EQ(hex_to_s32(c.text), c.s32) << c.text;
    EXPECT_EQ(hex_to_s16(c.text), c.s16) << c.text;
    EXPECT_EQ(hex_to_u32_as_double(c.text), c.u32) << c.text;
  }
  EXPECT_EQ(hex_to_s32("FFFFFFFF"), -1);
  EXPECT_EQ(hex_to_s32("80000000"), std::numeric_limits<int32_t>::min());
  EXPECT_EQ(hex_to_s32("7FFFFFFF"), std::numeric_limits<int32_t>::max());
  EXPECT_EQ(hex_to_u32_as_double("FFFFFFFF"), 4294967295.0);
  EXPECT_EQ(hex_to_u32_as_double("80000000"), 2147483648.0);
  EXPECT_EQ(hex_to_u8("FF"), 255);
  EXPECT_EQ(hex_to_u8("7f"), 127);
  EXPECT_EQ(hex_to_u8("000A"), 10);
}

TEST_F(SeamsTest, BadHexEndsTheProgramWithItsOwnText) {
  EXPECT_PROCESS_EXIT(hex_to_s32("1G"), 1);
  EXPECT_PROCESS_EXIT(hex_to_u32_as_double(""), 1);
  EXPECT_PROCESS_EXIT(hex_to_s16("-1"), 1);
  EXPECT_PROCESS_EXIT(hex_to_u8(" F"), 1);
  const std::vector<std::string> expected = {
      "Bad 32-bit Hex Number:\"1G\"\r\n(Length=2: 31 47)\r\n",
      "Bad Unsigned 32-bit Hex Number:\"\"", "Bad 16-bit Integer Hex Number:\"-1\"",
      "Bad 8-bit Integer Hex Number:\" F\""};
  EXPECT_EQ(seams.fatal_texts, expected);
}

TEST_F(SeamsTest, HexWiderThanTheResultIsAnOverflow) {
  EXPECT_PROCESS_EXIT(hex_to_s32("100000000"), 1);
  EXPECT_PROCESS_EXIT(hex_to_s16("10000"), 1);
  EXPECT_PROCESS_EXIT(hex_to_u8("100"), 1);
  ASSERT_EQ(seams.fatal_texts.size(), 3u);
  EXPECT_EQ(seams.fatal_texts[1], "Overflow: hex(\"10000\")");
  // Leading zeros do not count.
  EXPECT_EQ(hex_to_s32("000000001"), 1);
}

TEST_F(SeamsTest, ShortSinglesAreBadHex) {
  EXPECT_PROCESS_EXIT(hex_to_single("3F80"), 1);
  EXPECT_PROCESS_EXIT(hex_to_single(""), 1);
  ASSERT_EQ(seams.fatal_texts.size(), 2u);
  EXPECT_EQ(seams.fatal_texts[0], "Bad 32-bit Hex Number:\"3F80\"\r\n(Length=4: 33 46 38 30)\r\n");
}

TEST_F(SeamsTest, HexOfCutsOrPadsToTheWidth) {
  const std::tuple<int64_t, int, const char*> cases[] = {
      {-1, 4, "FFFF"},       {10, 4, "000A"}, {-1, 8, "FFFFFFFF"}, {-1, 10, "00FFFFFFFF"},
      {0x1234ABCD, 2, "CD"}, {0, 1, "0"},     {255, 0, ""}};
  for (const auto& [value, width, hex] : cases) EXPECT_EQ(hex_of(value, width), hex);
}

TEST_F(SeamsTest, TextAndHexPairsConvertWithTheirOddRules) {
  const std::tuple<const char*, int, const char*, const char*> to_hex[] = {
      {"AB", 3, "", "414200"},
      {"AB", 1, "", "41"},
      {"\xB0z", 2, " ", " B0 7A"},
      {"AB", 0, "-", ""}};
  for (const auto& [text, n, gap, hex] : to_hex) EXPECT_EQ(text_to_hex(text, n, gap), hex);
  // A trailing half pair is ignored.
  const std::tuple<const char*, bool, const char*> to_text[] = {{"4142FF43", false, "AB"},
                                                                {"4142FF43", true, "AB?C"},
                                                                {"2041207E7F", true, " A ~?"},
                                                                {"41424", false, "AB"},
                                                                {"", true, ""}};
  for (const auto& [hex, all, text] : to_text) EXPECT_EQ(hex_to_text(hex, all), text) << hex;
}

TEST_F(SeamsTest, SwapsReverseBytesOfWholeGroupsOnly) {
  for (auto [hex, swapped] : {std::pair{"12345678", "34127856"}, {"12345", "3412"}, {"123", ""}})
    EXPECT_EQ(hex_swap16(hex), swapped);
  for (auto [hex, swapped] :
       {std::pair{"11223344AABBCCDD", "44332211DDCCBBAA"}, {"11223344556", "44332211"}})
    EXPECT_EQ(hex_swap32(hex), swapped);
}

TEST_F(SeamsTest, BitsAreWrittenLowestFirstAndHexIsRecognised) {
  for (auto [value, n, text] : {std::tuple{6, 4, "0110"}, {1, 3, "100"}, {5, 0, ""}})
    EXPECT_EQ(bits_to_text(value, n), text);
  EXPECT_EQ(bits_to_text(-1, 34), std::string(32, '1') + "00");
  EXPECT_TRUE(is_hex("aF09"));
  for (const char* no : {"", "0x1F", "12 3", "G"}) EXPECT_FALSE(is_hex(no)) << no;
}

TEST_F(SeamsTest, DefaultTextsAreShortAndReadBack) {
  // Singles: what a technician expects to read, and the same bits when read back.
  const std::pair<const char*, const char*> singles[] = {
      {"3F800000", "1"},          {"3DCCCCCD", "0.1"},
      {"C0490FDB", "-3.1415927"}, {"80000000", "0"},
      {"47C35000", "100000"},     {"3727C5AC", "0.00001"},
      {"3C23D70A", "0.01"},       {"7F7FFFFF", "3.4028235e+38"},
      {"00000001", "1e-45"},      {"5368D4A5", "1000000000000"},
      {"3EAAAAAB", "0.33333334"}};
  for (const auto& [hex, text] : singles) {
    EXPECT_EQ(single_text(hex_to_single(hex)), text) << hex;
  }
  EXPECT_EQ(single_text(std::ldexp(1.0, 128)), "3.402823669209385e+38");
  EXPECT_EQ(single_text(1.0 / 3.0), "0.3333333333333333");  // no single holds it
  const std::pair<double, const char*> doubles[] = {
      {0.1, "0.1"},
      {1.0 / 3.0, "0.3333333333333333"},
      {-1234.5, "-1234.5"},
      {1e15, "1e+15"},
      {123456789012345.0, "123456789012345"},
      {-0.0, "0"},
      {2.5e-7, "2.5e-07"},
      {-std::numeric_limits<double>::infinity(), "-inf"}};
  for (const auto& [value, text] : doubles) EXPECT_EQ(double_text(value), text) << value;
}

// ---- Records -------------------------------------------------------------------------

TEST_F(SeamsTest, TheDateStampPacksSevenFieldsIntoFourBytesAndBack) {
  // Flag 1, 2026-11-23 10:27:46 (seconds over 2: 23), bit by bit:
  // 1 011010 1011 10111 01010 011011 10111 = 1011 0101 0111 0111 0101 0011 0111 0111
  const std::string stamp = "B5775377";
  const std::vector<std::string> fields = {"1", "26", "11", "23", "10", "27", "23"};
  for (const char* format : {"B1 B6 B4 B5 B5 B6 B5", "B1B6B4B5B5B6B5"}) {
    std::vector<std::string> values(7);
    EXPECT_EQ(hexstr_decode(format, stamp, values), 7) << format;
    EXPECT_EQ(values, fields) << format;
    EXPECT_EQ(hexstr_encode(format, values), stamp) << format;
  }
  EXPECT_EQ(hexstr_encode_var("B1 B6 B4 B5 B5 B6 B5", {1, 26, 11, int32_t{23}, 10.0, 27, "23"}),
            stamp);
}

TEST_F(SeamsTest, EachDesignatorDecodesItsWidthAndEncodesBack) {
  struct Case {
    const char* format;
    const char* run;
    std::vector<std::string> values;
  };
  const Case cases[] = {{"ff", "3F800000C0000000", {"1", "-2"}},
                        {"ssbb", "FFFF7FFF00FF", {"-1", "32767", "0", "255"}},
                        {"l", "FFFFFFFF", {"-1"}},
                        {"l2", "7FFFFFFF80000000", {"2147483647", "-2147483648"}},
                        {"s3", "000100020003", {"1", "2", "3"}},
                        {"a4", "4B535400", {"KST"}},
                        {"S3 s", "KST0010", {"KST", "16"}},
                        {"sB8", "0001A5", {"1", "165"}},
                        {"B3B5", "A5", {"5", "5"}},
                        {"", "", {}}};
  for (const auto& c : cases) {
    std::vector<std::string> values(8);
    const int n = hexstr_decode(c.format, c.run, values);
    values.resize(static_cast<size_t>(n));
    EXPECT_EQ(values, c.values) << c.format;
    EXPECT_EQ(hexstr_encode(c.format, c.values), c.run) << c.format;
  }
}

TEST_F(SeamsTest, SkipsAndFieldsAreAsymmetricBetweenDecodeAndEncode) {
  std::vector<std::string> values(4);
  ASSERT_EQ(hexstr_decode("s x2 - b", "0102AABBCC03", values), 2);
  EXPECT_EQ(values[0], "258");
  EXPECT_EQ(values[1], "3");
  // x writes "00" per repeat, - writes nothing; neither takes a value.
  EXPECT_EQ(hexstr_encode("s x2 - b", {"258", "3"}),
            "0102"
            "0000"
            "03");
  // h decodes a field of any width but encodes by repeating the previous piece.
  ASSERT_EQ(hexstr_decode("h6 s", "00012C0005", values), 2);
  EXPECT_EQ(values[0], "300");
  EXPECT_EQ(values[1], "5");
  EXPECT_EQ(hexstr_encode("s h2 s", {"1", "ignored", "2"}),
            "0001"
            "0001"
            "0002");
  // a pads with zero pairs and cuts at the first byte that is no printable character.
  EXPECT_EQ(hexstr_encode("a4", {"OK"}), "4F4B0000");
  EXPECT_EQ(hexstr_encode("a1", {"OK"}), "4F");
  ASSERT_EQ(hexstr_decode("a3", "4F0A4B", values), 1);
  EXPECT_EQ(values[0], "O");
  // A B field that opens no byte moves on by the last piece taken before it, so B fields
  // belong at the head of a format: here the second s skips "FFFF".
  ASSERT_EQ(hexstr_decode("s B1 B7 s",
                          "0001"
                          "81"
                          "FFFF"
                          "0002",
                          values),
            4);
  EXPECT_EQ(values, (std::vector<std::string>{"1", "1", "1", "2"}));
}

TEST_F(SeamsTest, EncodedNumbersAreReadFromTextAndFitTheirField) {
  // b keeps the low two digits; l rounds half to even.
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"f", " 0.1 ", "3DCCCCCD"}, {"f", "+1e-45", "00000001"}, {"f", "-3.1415927", "C0490FDB"},
      {"s", "-2", "FFFE"},        {"b", "256", "00"},          {"b", "-1", "FF"},
      {"l", "2.5", "00000002"},   {"l", "3.5", "00000004"}};
  for (const auto& [format, value, run] : cases) EXPECT_EQ(hexstr_encode(format, {value}), run);
  EXPECT_PROCESS_EXIT(hexstr_encode("s", {"32768"}), 1);
  EXPECT_PROCESS_EXIT(hexstr_encode("l", {"abc"}), 1);
  EXPECT_PROCESS_EXIT(hexstr_encode("s", {"1,5"}), 1);
  EXPECT_PROCESS_EXIT(hexstr_encode("ss", {"1"}), 1);
  ASSERT_EQ(seams.fatal_texts.size(), 4u);
  EXPECT_EQ(seams.fatal_texts[1], "Type mismatch: \"abc\" is no number");
  EXPECT_EQ(seams.fatal_texts[3], "hexstr_encode: format \"ss\" needs more than 1 values");
}

TEST_F(SeamsTest, DecodingIntoAShortListOrFromAShortRunEndsTheProgram) {
  std::vector<std::string> two(2);
  EXPECT_PROCESS_EXIT(hexstr_decode("s3", "000100020003", two), 1);
  EXPECT_PROCESS_EXIT(hexstr_decode("ss", "0001", two), 1);
  EXPECT_PROCESS_EXIT(hexstr_decode("f", "3F80", two), 1);
  ASSERT_EQ(seams.fatal_texts.size(), 3u);
  EXPECT_EQ(seams.fatal_texts[0],
            "hexstr_decode: the value list holds 2 entries, too few for format \"s3\"");
  EXPECT_EQ(seams.fatal_texts[1], "Bad 16-bit Integer Hex Number:\"\"");
}

TEST_F(SeamsTest, BadFormatsShowTheSixLineBox) {
  std::vector<std::string> values(4);
  EXPECT_PROCESS_EXIT(hexstr_decode("a", "41", values), 1);
  EXPECT_PROCESS_EXIT(hexstr_decode("sd", "0001000000000000000", values), 1);
  EXPECT_PROCESS_EXIT(hexstr_encode("B4 s", {"1", "2"}), 1);
  EXPECT_PROCESS_EXIT(hexstr_decode("B4 s", "F0000001", values), 1);
  const std::vector<std::string> expected = {
      "Need number: format \"a\"!\r\nFORMAT=a\r\nfrmt_pos=2\r\nfmt_ch=a\r\nbit_mask=1\r\n"
      "repeat_count=0",
      "Unknown format designator:d\r\nFORMAT=sd\r\nfrmt_pos=3\r\nfmt_ch=d\r\nbit_mask=1\r\n"
      "repeat_count=1",
      "Bad Bit Mask\r\nFORMAT=B4 s\r\nfrmt_pos=5\r\nfmt_ch=s\r\nbit_mask=8\r\nrepeat_count=1",
      "Bad Bit Mask\r\nFORMAT=B4 s\r\nfrmt_pos=5\r\nfmt_ch=s\r\nbit_mask=16\r\nrepeat_count=1"};
  EXPECT_EQ(seams.fatal_texts, expected);
}

TEST_F(SeamsTest, TheCursorRepeatsSkipsBlanksAndReadsSixteenBitCounts) {
  int position = 0, repeat = 0;
  char designator = '\0';
  std::string walked;
  while (hexstr_next_item(" f2 s  x12 b", -1, 1, position, designator, repeat)) {
    walked += designator;
  }
  EXPECT_EQ(walked, "ffs" + std::string(12, 'x') + "b");
  EXPECT_EQ(repeat, 0);
  // A count is a 16-bit number.
  position = repeat = 0;
  EXPECT_PROCESS_EXIT(hexstr_next_item("x32768", -1, 1, position, designator, repeat), 1);
  ASSERT_EQ(seams.fatal_texts.size(), 1u);
  EXPECT_EQ(seams.fatal_texts[0], "Overflow: format count(\"x32768\")");
}

TEST_F(SeamsTest, EncodeVarTakesAValueForEverySkipAndAtMostFiftyOne) {
  // The walk hands the x a value slot that hexstr_encode then reuses for the s.
  EXPECT_EQ(hexstr_encode_var("B8 x s", {255, 7, 9}),
            "FF"
            "00"
            "0007");
  std::vector<HexValue> many(52, HexValue{1});
  std::string ones;
  for (int i = 0; i < 51; ++i) ones += "01";
  EXPECT_EQ(hexstr_encode_var("b51", many), ones);
  EXPECT_PROCESS_EXIT(hexstr_encode_var("b52", many), 1);
  ASSERT_EQ(seams.fatal_texts.size(), 1u);
  EXPECT_EQ(seams.fatal_texts[0], "hexstr_encode_var: format \"b52\" takes more than 51 values");
}

}  // namespace
}  // namespace ovn
