#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "adjust/stats.h"
#include "foundation/kw.h"
#include "support/temp_dir.h"

namespace ovn {
namespace {

// The lines of a block, without their CR LF (every line must have one).
std::vector<std::string> block_lines(const std::string& block) {
  EXPECT_TRUE(block.ends_with("\r\n")) << "a block ends with CR LF";
  return test::lines_of(block);
}

// The numbers of a line after its label, read back the locale-free way.
std::vector<double> numbers_of(const std::string& line) {
  std::vector<double> numbers;
  std::string rest = line.substr(11);
  const char* p = rest.c_str();
  for (char* end;; p = end) {
    const double v = std::strtod(p, &end);
    if (end == p) break;
    numbers.push_back(v);
  }
  return numbers;
}

// 8300 + {-0.3 .. +0.3}: a zero reading of a few counts' noise.
STTS zero_reading() {
  STTS s;
  for (double x : {8300.1, 8299.7, 8300.3, 8300.0, 8299.9, 8300.2, 8299.8}) stts_update(s, x);
  return s;
}

SttsUnits four_scales() {
  SttsUnits u;
  u.raw_unit = "RRC";
  u.engineering = {"lbf-in", 8300.0, 0.5};
  u.uvpv_per_raw = 0.03;
  u.percent = {"%FS", 8300.0, 0.01};
  return u;
}

TEST(StatsBlock, AReadingShowsItsMeanDeviationAndSpreadInEveryScale) {
  const STTS s = zero_reading();
  const auto lines = block_lines(stts_block(s, four_scales(), {"Zero Reading finished."}));
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_EQ(lines[0], "Zero Reading finished.");
  for (const char* label : {"RRC", "lbf-in", "uV/V", "%FS", "Ratios"})
    EXPECT_NE(lines[1].find(label), std::string::npos) << label;
  EXPECT_EQ(lines[2].substr(0, 11), "      MEAN:");
  EXPECT_EQ(lines[3].substr(0, 11), "    STDDEV:");
  EXPECT_EQ(lines[4].substr(0, 11), "    SPREAD:");

  const auto mean = numbers_of(lines[2]);
  ASSERT_EQ(mean.size(), 4u);
  EXPECT_NEAR(mean[0], 8300.0, 0.0005);  // counts: three decimals
  EXPECT_NEAR(mean[1], 0.0, 0.0005);
  EXPECT_NEAR(mean[2], 8300.0 * 0.03, 0.005);
  EXPECT_NEAR(mean[3], 0.0, 0.0005);

  const double stdev = stts_stdev(s);
  const auto dev = numbers_of(lines[3]);
  ASSERT_EQ(dev.size(), 4u);
  EXPECT_NEAR(dev[0], stdev, 0.0005);
  EXPECT_NEAR(dev[1], stdev * 0.5, 1e-5);
  EXPECT_NEAR(dev[2], stdev * 0.03, 1e-6);
  EXPECT_NEAR(dev[3], stdev * 0.01, 1e-7);

  const auto spread = numbers_of(lines[4]);
  ASSERT_EQ(spread.size(), 5u);
  EXPECT_NEAR(spread[0], 0.6, 0.0005);
  EXPECT_NEAR(spread[4], stts_ratio(s), 0.00005);
}

TEST(StatsBlock, TheExtendedReportAddsBothUncertainties) {
  const STTS s = zero_reading();
  SttsUnits units = four_scales();
  units.extended = true;
  const auto lines = block_lines(stts_block(s, units));
  ASSERT_EQ(lines.size(), 6u);
  EXPECT_EQ(lines[2].substr(0, 11), " MUnc(k=2):");
  EXPECT_EQ(lines[4].substr(0, 11), " SUnc(k=2):");

  const double n = 7;
  const double u = 2 * stts_stdev(s) * std::sqrt(1 / (n - 1));
  const auto munc = numbers_of(lines[2]);
  ASSERT_GE(munc.size(), 5u);
  EXPECT_NEAR(munc[0], u, 0.0005);
  EXPECT_NEAR(munc[3], u * 0.01, 1e-7);
  EXPECT_NE(lines[2].find(" (" + kw_format(kw_round(1 / (u * 0.01 * 0.01)), "0") + ")"),
            std::string::npos);

  // sqrt(1 + sqrt(2 / 6) * 1.959964) - 1 = 0.46: with 7 samples the deviation is known to
  // within about half of itself at k=2.
  const auto sunc = numbers_of(lines[4]);
  ASSERT_EQ(sunc.size(), 5u);
  EXPECT_NEAR(sunc[4], std::sqrt(1 + std::sqrt(2.0 / 6) * 1.959963984540054) - 1, 0.00005);
  EXPECT_NEAR(sunc[0], sunc[4] * stts_stdev(s), 0.001);
}

TEST(StatsBlock, OneSampleHasNoRatiosAndOnlyTheColumnsAsked) {
  STTS one;
  stts_update(one, 12.5);
  SttsUnits units;
  units.raw_unit = "lbf-in";
  const auto lines = block_lines(stts_block(one, units));
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[0], std::string(11, ' ') + std::string(8, ' ') + "lbf-in");
  EXPECT_EQ(numbers_of(lines[1]), std::vector<double>{12.5});
  EXPECT_EQ(numbers_of(lines[3]), std::vector<double>{0.0});
}

TEST(StatsBlock, TableRowsLineUpUnderTheirHeading) {
  const STTS s = zero_reading();
  const std::string heading = stts_row_heading();
  const std::string row = stts_row(s, "2026-11-23 10:27:46", 4);
  EXPECT_EQ(row.size(), heading.size());
  for (size_t i = 0; i < heading.size(); ++i) {
    if (heading[i] == '|') {
      EXPECT_EQ(row[i], '|') << i;
    }
  }
  EXPECT_EQ(row.substr(0, 22), "2026-11-23 10:27:46 | ");
  EXPECT_NE(row.find(" 8300.0000 "), std::string::npos);
  EXPECT_NE(row.find(kw_format(stts_ratio(s), "0.0000")), std::string::npos);
}

}  // namespace
}  // namespace ovn
