// The filter versus spread test on the simulated KST: a row per filter whose spread falls
// as the filter slows, the filter put back, Stop keeping the rows measured, Skip sending
// nothing.

#include "adjust/spread_test.h"

#include "adjust/noise_fixture.h"
#include "foundation/kw.h"
#include "instrument/measure.h"

namespace ovn::test {
namespace {

class SpreadTest : public NoiseTest {
 protected:
  // The rows of a report: the lines between the column heading and the totals.
  static std::vector<std::string> rows(const std::string& report) {
    std::vector<std::string> out;
    for (const std::string& line : kw_split(report, "\r\n"))
      if (line.find(" |") == 11 && line.find("Filter(Hz)") == std::string::npos &&
          line.find("Total") == std::string::npos)
        out.push_back(line);
    return out;
  }
  // The software spread of a row: its third block's first number.
  static double software_spread(const std::string& row) {
    const std::string block = row.substr(row.find("  |") + 3);
    int stop = 0;
    return kw_parse_double(kw_justify(block.substr(0, 10), 0, ""), stop);
  }
};

TEST_F(SpreadTest, EachRowIsAFilterAndTheSpreadFallsAsTheFilterSlows) {
  open_kst(2.0);
  sim.physics.torque.a = 0;
  rs232_send_ok("FL14");
  const std::vector<int32_t> filters = spread_test_filters();
  ASSERT_EQ(filters.size(), 7u);
  const std::string report = spread_test_run(0.3, {filters[1], filters[3], filters[6]}, 1);
  const std::vector<std::string> r = rows(report);
  ASSERT_EQ(r.size(), 3u) << report;
  EXPECT_GT(software_spread(r[0]), software_spread(r[1])) << report;
  EXPECT_GT(software_spread(r[1]), software_spread(r[2])) << report;
  EXPECT_EQ(get_si16("FL1"), 4) << "the filter of before the test is back";
  EXPECT_EQ(report.rfind("KST  lbf-in@FS=2001.0002\r\n0.3 Second Noise Spread Test:Each row is "
                         "the result of a 0.3 second test\r\n",
                         0),
            0u)
      << report;
  EXPECT_NE(report.find("      Total |"), std::string::npos);
  EXPECT_NE(report.find(" Total Elapsed Time:"), std::string::npos);
  EXPECT_EQ(op.progress_shown >= 3, true) << "a progress box a filter at least";
  EXPECT_EQ(op.shown.front().text.rfind("Step 1 of 3: Filter ", 0), 0u) << op.shown.front().text;
}

TEST_F(SpreadTest, StopKeepsTheRowsMeasuredAndPutsTheFilterBack) {
  open_kst(2.0);
  const std::vector<int32_t> filters = spread_test_filters();
  op.stop_on_progress = "Step 2 of";  // Stop pressed while the second filter runs
  const std::string report = spread_test_run(0.3, {filters[0], filters[1], filters[2]}, 1);
  EXPECT_EQ(rows(report).size(), 1u) << report;
  EXPECT_NE(report.find("Stopped by the operator after 1 of 3 filters\r\n"), std::string::npos)
      << report;
  EXPECT_EQ(get_si16("FL1"), 9);
}

TEST_F(SpreadTest, SkipSendsNothing) {
  open_kst(2.0);
  op.expect_gib(
      "Are you sure you want to perform an approximately 420 second filtered data "
      "noise test?",
      "Skip");
  spread_test_command(1);
  EXPECT_TRUE(sent().empty());
}

}  // namespace
}  // namespace ovn::test
