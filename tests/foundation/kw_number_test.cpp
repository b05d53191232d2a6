#include <cmath>
#include <limits>

#include "foundation/kw.h"
#include "support/seams.h"

namespace ovn {
namespace {

struct FixedCase {
  double value;
  int width, decimals;
  bool plus;
  const char* pad;
  const char* expected;
};

TEST(KwFixed, FieldsAreCutNeverWidenedAndPaddedAroundTheSign) {
  const FixedCase cases[] = {
      {1234.5, 4, 2, false, "", "1234"},  // the fraction is lost, no error
      {0, 6, 2, true, "", "+0.00"},       // zero takes the plus
      {0, 3, 2, true, "", "+0."},
      {-12.3, 8, 1, false, "0", "-00012.3"},
      {5, 4, 0, true, "0", "+005"},
      {-12.3, 8, 1, false, " ", "   -12.3"},  // a blank pad stays in front of the sign
      {12.3, -8, 1, false, "*", "12.3****"},
      {12.3, 8, 1, false, "ab", "abababab12.3"},  // one copy per missing character
      {123.456, 0, 1, false, "*", "123.5"},       // width 0: no cut, no pad
      {2.5, 0, 0, false, "", "3"},                // half away from zero
      {-2.5, 0, 0, false, "", "-3"},
      {1.005, 0, 2, false, "", "1.01"},  // as written, not as the binary value lies
      {9.995, 0, 2, false, "", "10.00"},
      {-0.004, 0, 2, false, "", "-0.00"},
      {3.14159, 0, -1, false, "", "3.14"},  // the default is two places
      {3.14159, 6, -2, false, "", "3.1415"},
      {1e20, 0, 0, false, "", "100000000000000000000"},
      {0.5, 0, 0, false, "", "1"}};
  for (const FixedCase& c : cases)
    EXPECT_EQ(kw_fixed(c.value, c.width, c.decimals, c.plus, c.pad), c.expected)
        << c.value << " width " << c.width << " decimals " << c.decimals;
  EXPECT_EQ(kw_fixed_decimals(10, -2), 9);
  EXPECT_EQ(kw_fixed_decimals(-6, -5), 5);
  EXPECT_EQ(kw_fixed_decimals(4, -1), 2);
  EXPECT_EQ(kw_fixed_decimals(4, 3), 3);
}

TEST(KwShort, EveryNumberCarriesASignAndLosesTrailingZeros) {
  const std::pair<double, const char*> cases[] = {
      {0, "+0.0"},          {-1e-12, "-0.0"},        {1.5, "+1.5"},
      {2, "+2.0"},          {-0.25, "-0.25"},        {123456789.123, "+123456789"},
      {1e-9, "+0.0"},       {0.001234, "+0.001234"}, {-1234.5678, "-1234.5678"},
      {1e12, "+100000000"}, {-100, "-100.0"},        {66920000, "+66920000"}};
  for (const auto& [value, expected] : cases) EXPECT_EQ(kw_short(value), expected) << value;
  EXPECT_EQ(kw_range_text(-1, 2.5), " [-1.0,+2.5]");
}

TEST(KwFit, APlusSignedFieldComesOutOneCharacterShorter) {
  const FixedCase cases[] = {
      {1.5, 6, 2, true, " ", "+1.50"},       {1.5, 8, 2, true, " ", "  +1.50"},
      {-1.5, 8, 2, true, " ", "   -1.50"},    // a negative value keeps the full width
      {123.456, 5, -1, false, " ", "123.4"},  // picture cut to the field, then the text
      {123456, 4, 2, false, "", "1234"},     {7.25, 3, 0, false, "0", "007"},
      {0.96, 4, 1, true, " ", "+1.0"},       {2.5, -6, 1, true, "*", "+2.5*"},
      {-3.25, 7, -1, false, "0", "-3.2500"},  // negative decimals: as many as fit
  };
  for (const FixedCase& c : cases)
    EXPECT_EQ(kw_fit(c.value, c.width, c.decimals, c.plus, c.pad), c.expected)
        << c.value << " width " << c.width << " decimals " << c.decimals;
}

TEST(KwInt, IntegerFieldsArePaddedWithBlanksButNeverCut) {
  const std::pair<std::string, const char*> cases[] = {
      {kw_int(42, 5, false), "   42"},
      {kw_int(42, -5, true), "+42  "},
      {kw_int(-123456, 3, false), "-123456"},
      {kw_int(0, 0, true), "+0"},
      {kw_int(std::numeric_limits<int32_t>::min(), 0, true), "-2147483648"}};
  for (const auto& [got, expected] : cases) EXPECT_EQ(got, expected);
}

TEST(KwJustify, JustifyTrimsCutsAndPadsWhileCenterPutsTheOddPadInFront) {
  // "-5" is text, not a number: no sign rule.
  const std::pair<std::string, const char*> cases[] = {
      {kw_justify("  ab  ", 0, "*"), "ab"},   {kw_justify("abcdef", 3, " "), "abc"},
      {kw_justify("abcdef", -3, " "), "abc"}, {kw_justify("ab", 5, "*"), "***ab"},
      {kw_justify("ab", -5, "-"), "ab---"},   {kw_justify("-5", 4, "0"), "00-5"},
      {kw_center("ab", 7, "*"), "***ab**"},   {kw_center("abc", 6, "."), "..abc."},
      {kw_center("abcdef", 4, " "), "abcd"},  {kw_center("ab", -6, "."), "ab...."}};
  for (const auto& [got, expected] : cases) EXPECT_EQ(got, expected);
}

TEST(KwFormat, PicturesPlaceDigitsKeepLiteralsAndRoundHalfAwayFromZero) {
  struct Case {
    double value;
    const char* picture;
    const char* expected;
  };
  const Case table[] = {
      {3.14159, "0.000", "3.142"},
      {0.1234, "0.00%", "12.34%"},
      {0.0123, "0.000% +/- Shunt Asymmetry", "1.230% +/- Shunt Asymmetry"},
      {0.25, "0.000 units", "0.250 units"},
      {12.345, " 0.00kHz", " 12.35kHz"},
      {-1.5, " 0.00kHz", " -1.50kHz"},  // the sign stands at the number, not the text
      {5.5, "000.00", "005.50"},
      {12.3456, "000.000 ", "012.346 "},
      {-0.5, "0.0000", "-0.5000"},
      {0.25, ".0", ".3"},
      {12.25, ".0", "12.3"},
      {-0.04, "0.0", "-0.0"},  // a negative value keeps its sign when rounded to zero
      {0.04, "0.0", "0.0"},
      {42, "0000", "0042"},
      {123456, "00", "123456"},  // the leftmost place takes the overflow
      {0.5, "#.##", ".5"},
      {5, "#.##", "5."},
      {0, "#", ""},
      {1234.5, "#", "1235"},
      {1.2, "0.0##", "1.2"},
      {1.23456, "0.0##", "1.235"},
      {1.5, "+0.00;-0.00", "+1.50"},
      {-1.5, "+0.00;-0.00", "-1.50"},
      {-1.5, "0.00;(0.00)", "(1.50)"},  // the second section shows no sign of its own
      {-1.5, "0.00;", "-1.50"},
      {0, "0.0;-0.0;\"zero\"", "zero"},
      {1.5, "0.0\\%", "1.5%"},  // a quoted "%" does not scale
      {99.96, "0.0", "100.0"},
      {0.000123, "0.000000", "0.000123"},
      {1e-20, "0.00", "0.00"},
      {2.5, "0", "3"},
      {-2.5, "0", "-3"},
      {123.456, "", "123.456"},  // no picture: the general number form
      {0.1 + 0.2, "", "0.3"},
      {1e-5, "", "1E-05"},
      {-2.5e20, "", "-2.5E+20"}};
  for (const Case& c : table)
    EXPECT_EQ(kw_format(c.value, c.picture), c.expected) << c.value << " by " << c.picture;
  EXPECT_EQ(kw_format(std::nan(""), "0.0"), "NaN");
  EXPECT_EQ(kw_format(-INFINITY, "0.0"), "-Inf");
}

TEST(KwSigPicture, PicturesGiveTheAskedSignificantDigits) {
  // Never a bare "." at the end.
  const std::tuple<double, int, std::string> cases[] = {
      {12.3, 4, "#0.00"},
      {500, 3, "###0"},
      {5, 3, "0.00"},
      {0.5, 3, "0.00"},
      {0.5, 1, "#0"},
      {-999.5, 2, "##0"},
      {1e30, 25, std::string(19, '#') + "0.00000"}};
  for (const auto& [value, digits, picture] : cases)
    EXPECT_EQ(kw_sig_picture(value, digits, false), picture) << value << " " << digits;
  EXPECT_EQ(kw_format(12.3, kw_sig_picture(12.3, 4, false)), "12.30");

  const std::string signed_picture = kw_sig_picture(12.3, 4, true);
  EXPECT_EQ(signed_picture, "+#0.0;-#0.0");
  EXPECT_EQ(kw_format(12.34, signed_picture), "+12.3");
  EXPECT_EQ(kw_format(-12.36, signed_picture), "-12.4");
  EXPECT_EQ(kw_format(0, signed_picture), "+0.0");
}

struct PrefixCase {
  double value;
  const char* text;
  double scale;
};

template <size_t N>
void expect_prefixes(std::string (*prefix_of)(double, double&), const PrefixCase (&cases)[N]) {
  for (const PrefixCase& c : cases) {
    double scale = -1;
    EXPECT_EQ(prefix_of(c.value, scale), c.text) << c.value;
    EXPECT_DOUBLE_EQ(scale, c.scale) << c.value;
  }
}

TEST(KwPrefixes, EngineeringPrefixesStepByThousands) {
  const PrefixCase cases[] = {{1500, "k", 1e3},   {999, "", 1},         {1e6, "M", 1e6},
                              {-2.5e9, "G", 1e9}, {5e26, "Y", 1e24},    {1e27, "", 1},
                              {0.5, "m", 1e-3},   {1e-6, "\xB5", 1e-6}, {2e-24, "y", 1e-24},
                              {1e-24, "", 1},     {0, "", 1},           {1, "", 1}};
  expect_prefixes(kw_eng_prefix, cases);
}

TEST(KwPrefixes, RatioWordsChangeAtTheirExactThresholds) {
  const PrefixCase cases[] = {{2, "", 1},
                              {1, "%", 0.01},
                              {-0.01, "%", 0.01},
                              {0.0099, " permille", 0.001},
                              {0.001, " permille", 0.001},
                              {1e-6, " ppm", 1e-6},
                              {9.99e-7, " ppb", 1e-9},
                              {1e-9, " ppt", 1e-12},
                              {1e-12, " ppq", 1e-15},
                              {0, " ppq", 1e-15}};
  expect_prefixes([](double v, double& scale) { return kw_ratio_prefix(v, scale, ""); }, cases);
  double scale = -1;
  EXPECT_EQ(kw_ratio_prefix(0.002, scale, "V"), "mV");
  EXPECT_EQ(scale, 1e-3);
  EXPECT_EQ(kw_ratio_text(0.0025, " of span", "0.0"), "2.5 permille of span");
  EXPECT_EQ(kw_ratio_text(-0.5, "", "0"), "-50%");
}

TEST(KwPrefixes, ScalesAndUnitLabels) {
  const std::pair<const char*, double> scales[] = {
      {"d", 0.1},  {"c", 0.01},  {"h", 100},   {"m", 1e-3},  {"\xB5", 1e-6}, {"u", 1e-6},
      {"n", 1e-9}, {"p", 1e-12}, {"f", 1e-15}, {"a", 1e-18}, {"z", 1e-21},   {"y", 1e-24},
      {"k", 1e3},  {"M", 1e6},   {"G", 1e9},   {"T", 1e12},  {"P", 1e15},    {"E", 1e18},
      {"Z", 1e21}, {"Y", 1e24},  {"", 1},      {"K", 1},     {"mm", 1},      {"da", 1}};
  for (const auto& [prefix, scale] : scales) EXPECT_EQ(kw_si_scale(prefix), scale) << prefix;

  double scale = 0;
  EXPECT_EQ(kw_unit_label("V", "m", scale), " mV");
  EXPECT_EQ(scale, 1e-3);
  EXPECT_EQ(kw_unit_label("\xB5m", "", scale), " \xB5m");
  EXPECT_EQ(kw_unit_label("%", "", scale), "%");
  EXPECT_EQ(kw_unit_label("1/min", "k", scale), "k1/min");
  EXPECT_EQ(scale, 1e3);
  EXPECT_EQ(kw_unit_label(" lbf-in", "", scale), " lbf-in");
}

TEST(KwEngFormat, SixSignificantDigitsWithAnExponentInThrees) {
  const std::pair<double, const char*> cases[] = {{12345.678, "12.3457E+3"},
                                                  {0.000123456789, "123.457E-6"},
                                                  {1, "1.00000E+0"},
                                                  {-999999.6, "-1.00000E+6"},
                                                  {0, "0.00000E+0"},
                                                  {0.5, "500.000E-3"},
                                                  {6.02214076e23, "602.214E+21"}};
  for (const auto& [value, expected] : cases) EXPECT_EQ(kw_eng_format(value), expected) << value;
  EXPECT_EQ(kw_eng_format(std::nan("")), "NaN");
}

TEST(KwArithmetic, NiceStepsUseGeometricThresholds) {
  const std::pair<double, double> cases[] = {{1.41, 1}, {1.42, 2},   {3.16, 2},  {3.17, 5},
                                             {7.07, 5}, {7.08, 10},  {250, 200}, {-0.0142, -0.02},
                                             {0, 0},    {1000, 1000}};
  for (const auto& [x, expected] : cases) EXPECT_DOUBLE_EQ(kw_nice(x), expected) << x;
}

TEST(KwArithmetic, RoundingClipsSixteenBitsAndRoundsHalvesUp) {
  // The half always goes up: -2.5 rounds to -2.
  const std::pair<double, int16_t> i16[] = {{40000, 32767},     {-40000, -32768}, {32767.4, 32767},
                                            {-32768.6, -32768}, {2.5, 3},         {-2.5, -2},
                                            {std::nan(""), 0}};
  for (const auto& [x, expected] : i16) EXPECT_EQ(kw_round_i16(x), expected) << x;
  EXPECT_EQ(kw_round(-0.5), 0);
  EXPECT_DOUBLE_EQ(kw_round_to(7.3, 0.5), 7.5);
  EXPECT_EQ(kw_round_to(7.3, 0), 7.3);
  EXPECT_DOUBLE_EQ(kw_round_sig(-123456, 2), -120000);
  EXPECT_DOUBLE_EQ(kw_round_sig(0.0012345, 3), 0.00123);
  EXPECT_EQ(kw_round_sig(0, 3), 0);
  EXPECT_EQ(kw_ceil(-1.5), -1);
  EXPECT_EQ(kw_ceil(1.2), 2);
}

TEST(KwArithmetic, ComparisonsHaveStrictBandsAndExactZero) {
  const std::pair<double, double> values[] = {
      {kw_sign(-3), -1},           {kw_sign(0), 0},
      {kw_safe_div(1, 0, -7), -7}, {kw_safe_div(1, 4, -7), 0.25},
      {kw_clamp(5, 0, 3), 3},      {kw_clamp(-5, 0, 3), 0},
      {kw_pow(2, 10), 1024},       {kw_log2(1024), 10},
      {kw_log10(1e-3), -3}};
  for (size_t i = 0; i < std::size(values); ++i) EXPECT_EQ(values[i].first, values[i].second) << i;
  EXPECT_EQ(
      (std::vector<bool>{kw_is_zero(-0.0), kw_is_zero(1e-300), kw_between(3, 0, 3),
                         kw_near_abs(1, 2, 1), kw_near_abs(1, 1.5, 1), kw_near_rel(100, 101, 0.01),
                         kw_near_rel(100, 100.5, 0.01), kw_near_rel(-100, -100.5, 0.01),
                         kw_same_sign(0, 0), kw_same_sign(0, 1), kw_same_sign(-1, -2)}),
      (std::vector<bool>{true, false, true, false, true, false, true, true, true, false, true}));
}

}  // namespace
}  // namespace ovn
