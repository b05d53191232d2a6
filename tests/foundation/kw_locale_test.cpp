#include <clocale>
#include <cstdio>
#include <locale>
#include <sstream>

#include <gtest/gtest.h>

#include "foundation/kw.h"

namespace ovn {
namespace {

// A German-style number punctuation that needs no installed locale.
struct CommaPunct : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

// What the toolbox gives for a fixed set of inputs: the same in every locale.
std::string toolbox_results() {
  int stop = 0;
  std::string out = kw_format(1234.5, "0.00") + " " + kw_fixed(-2.25, 0, 1, false, "") + " " +
                    kw_short(0.5) + " " + kw_eng_format(12345.678) + " " +
                    kw_fit(3.5, 6, 2, true, " ") + " " + kw_format(1234.5, "");
  out += " " + kw_fixed(kw_parse_double("1.5e1", stop), 0, 1, false, "");
  out += kw_is_numeric("1,5") ? " comma" : " point";
  out += kw_is_numeric("2.5") ? " numeric" : " not";
  return out;
}

const char* const kExpected = "1234.50 -2.3 +0.5 12.3457E+3 +3.50 1234.5 15.0 point numeric";

std::string stream_text(double value) {
  std::ostringstream s;  // takes the global C++ locale when made
  s << value;
  return s.str();
}

std::string printf_text(double value) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.1f", value);
  return buf;
}

TEST(KwLocale, ACommaDecimalCppLocaleDoesNotReachTheToolbox) {
  ASSERT_EQ(toolbox_results(), kExpected);
  const std::locale before = std::locale();
  std::locale::global(std::locale(std::locale::classic(), new CommaPunct));
  ASSERT_EQ(stream_text(1.5), "1,5");  // the facet really is in force
  EXPECT_EQ(toolbox_results(), kExpected);

  kw_locale_pin();
  EXPECT_EQ(stream_text(1.5), "1.5");
  EXPECT_EQ(toolbox_results(), kExpected);
  kw_locale_restore();
  EXPECT_EQ(stream_text(1.5), "1,5");
  std::locale::global(before);
}

TEST(KwLocale, ACommaDecimalCLocaleIsPinnedAndRestored) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  if (!std::setlocale(LC_ALL, "de_DE.UTF-8"))
    GTEST_SKIP() << "locale de_DE.UTF-8 is not installed (scripts/setup generates it)";
  ASSERT_EQ(printf_text(1.5), "1,5");
  EXPECT_EQ(toolbox_results(), kExpected);

  kw_locale_pin();
  EXPECT_EQ(printf_text(1.5), "1.5");
  EXPECT_STREQ(std::setlocale(LC_CTYPE, nullptr), "de_DE.UTF-8");  // only numbers change
  EXPECT_EQ(toolbox_results(), kExpected);
  kw_locale_pin();  // pinning twice keeps the first memory
  kw_locale_restore();
  EXPECT_EQ(printf_text(1.5), "1,5");
  EXPECT_STREQ(std::setlocale(LC_TIME, nullptr), "de_DE.UTF-8");
  std::setlocale(LC_ALL, before.c_str());
}

}  // namespace
}  // namespace ovn
