#include "adjust/adjust_shunt.h"

#include <regex>

#include "adjust/adjust_calc.h"
#include "adjust/noise_fixture.h"
#include "audit/info_reports.h"
#include "config/config_commands.h"
#include "config/history.h"
#include "config/tm_file.h"
#include "foundation/kw.h"

namespace ovn::test {
namespace {

class AdjustShuntTest : public NoiseTest {
 protected:
  // A KST at rest on its zero, so no warning stands in the way of the verdict.
  void open_quiet_kst() {
    open_kst(0.5);
    sim.physics.zero_counts = 0;
    sim.physics.torque.a = 0;
  }
  std::string download() { return tm_info_config_read(config_instrument_of(kTmInfoCurrent)); }
  // The boxes of a run through `steps` (names), the verdict answered `answer`.
  void expect_run(int32_t code, const std::vector<std::string>& steps, const std::string& answer) {
    op.expect_display_data(code == kShuntRunBoth ? "UnLoad transducer to get Shunt Values"
                                                 : "UnLoad transducer to get",
                           3);
    for (const std::string& name : steps) {
      op.expect_gib(name + "...", 0);
      op.expect_gib(name + " Reading", 0);
    }
    op.expect_gib("", answer);
  }
  int run(int32_t code, const std::vector<std::string>& steps, const std::string& answer) {
    expect_run(code, steps, answer);
    return adj_shunt_run(code, 0, 0.002, 24, false);
  }
  double number(const std::string& name) { return std::stod(sim_param(sim, name)); }
  std::vector<std::string> shunt_messages() {
    std::vector<std::string> out;
    for (const std::string& r : port.requests())
      if (r.rfind("AS", 0) == 0 && r.size() == 3) out.push_back(r);
    return out;
  }
};

TEST_F(AdjustShuntTest, BothShuntsAreReadAndTheirSpansKept) {
  open_quiet_kst();
  sim_set_param(sim, "SVA", "1");
  sim_set_param(sim, "SVB", "-1");
  EXPECT_EQ(run(kShuntRunBoth, {"No Shunt", "Positive Shunt", "Negative Shunt"}, "OK"), 3);
  EXPECT_EQ(shunt_messages(), (std::vector<std::string>{"ASA", "ASB", "ASC", "ASA"}))
      << "zero, positive, negative, and off again";
  const double span = sim.physics.shunt_counts;
  EXPECT_NEAR(number("SVA"), span, 2.0);
  EXPECT_NEAR(number("SVB"), -span * (1 - sim.physics.shunt_asymmetry), 2.0);
  EXPECT_NEAR(number("CF1A"), 0, 2.0);
  EXPECT_NEAR(number("TCA"), 75, 1e-9) << "deg F of the zero reading";
  EXPECT_NEAR(number("TCE"), 75, 1e-9) << "deg F of the shunt readings";
  EXPECT_EQ(sim.flash, sim.working) << "kept: committed to flash";

  const std::string verdict = op.last().text;
  EXPECT_EQ(verdict.find("WARNING"), std::string::npos) << verdict;
  size_t spans = 0;
  for (size_t at = verdict.find(" Span="); at != std::string::npos;
       at = verdict.find(" Span=", at + 1))
    ++spans;
  EXPECT_EQ(spans, 2u) << verdict;
  EXPECT_TRUE(
      std::regex_search(verdict, std::regex(R"(\n   0\.(299|30[01])% \+/- Shunt Asymmetry\r)")))
      << "the simulated negative shunt is 0.3 % weaker: " << verdict;
  EXPECT_NE(verdict.find("Torquemeter:KST   Full Scale=2001.000 lbf-in"), std::string::npos);
}

TEST_F(AdjustShuntTest, ThePositiveAloneTakesTwoStepsAndLeavesTheNegativeAlone) {
  open_quiet_kst();
  sim_set_param(sim, "SVB", "-7");
  EXPECT_EQ(run(kShuntRunPositive, {"No Shunt", "Positive Shunt"}, "OK"), 3);
  EXPECT_NEAR(number("SVA"), sim.physics.shunt_counts, 2.0);
  EXPECT_EQ(sim_param(sim, "SVB"), "-7");
  EXPECT_EQ(op.last().text.find("Asymmetry"), std::string::npos);
  for (const std::string& sent : adj_sent()) EXPECT_NE(sent.rfind("SVB", 0), 0u) << sent;
}

TEST_F(AdjustShuntTest, CancelPutsEveryConstantBackAndTheDialogsCancelTouchesNothing) {
  open_quiet_kst();
  const std::string before = download();
  const auto working = sim.working;
  EXPECT_EQ(run(kShuntRunBoth, {"No Shunt", "Positive Shunt", "Negative Shunt"}, "Cancel"), 4);
  EXPECT_EQ(download(), before);
  EXPECT_EQ(sim.working, working);

  port.clear_transcript();
  op.expect_display_data("UnLoad transducer to get - Shunt Value", 4);
  EXPECT_EQ(adj_shunt_run(kShuntRunNegative, 0, 0.002, 24, false), 4);
  EXPECT_TRUE(shunt_messages().empty()) << "nothing measured, nothing switched";
}

TEST_F(AdjustShuntTest, AShuntThatWillNotSwitchStopsTheRunWithOnlyCancel) {
  open_quiet_kst();
  sim.table["AS"] = "0";  // reports no shunt, whatever is asked
  const auto working = sim.working;
  op.expect_display_data("UnLoad transducer to get + Shunt Value", 3);
  op.expect_gib("No Shunt...", 0);
  op.expect_gib("No Shunt Reading", 0);
  op.expect_gib("Positive Shunt...", 0);
  op.expect_gib("ERROR:Unable to set desired shunt state:Positive Shunt", "Cancel");
  EXPECT_EQ(adj_shunt_run(kShuntRunPositive, 0, 0.002, 24, false), 4);
  EXPECT_EQ(op.last().buttons, std::vector<std::string>{"Cancel"});
  EXPECT_EQ(sim.working, working);
}

TEST_F(AdjustShuntTest, ALiveValueAboveOnePercentOfFullScaleIsAWarning) {
  open_kst(0.5);  // zero at 2000 counts: about 49 lbf-in, above 20
  EXPECT_EQ(run(kShuntRunPositive, {"No Shunt", "Positive Shunt"}, "Continue Anyway"), 3);
  EXPECT_NE(op.last().text.find("\r\n\r\nWARNING: 1% OF FULL SCALE < CURRENT DATA\r\n"),
            std::string::npos)
      << op.last().text;
}

TEST_F(AdjustShuntTest, AHzymKeepsItsShuntsInAHistoryRecordThatTheOperatorConfirms) {
  open(SimFamily::Hzym);
  expect_run(kShuntRunBoth, {"No Shunt", "Positive Shunt", "Negative Shunt"}, "OK");
  op.expect_user_input("Enter in the Positive shunt value:", true);
  op.expect_user_input("Enter in the Negative shunt value:", true, {{0, "-2480.5"}});
  EXPECT_EQ(adj_shunt_run(kShuntRunBoth, 0, 0.002, 24, false), 3);
  // The spans in lbf-in by the two gains: the positive shunt's 2487.6 as measured.
  const std::string proposed = op.shown[op.shown.size() - 2].form.fields[0].data;
  EXPECT_NEAR(std::stod(proposed), sim.physics.shunt_counts / sim.physics.gain_counts_per_lbfin,
              0.5);
  const auto record = history_decode(sim_param(sim, "HS0"));
  ASSERT_TRUE(record.has_value());
  EXPECT_EQ((*record)[0], "0") << "a shunt record is no full adjustment";
  EXPECT_NEAR(std::stod((*record)[15]), std::stod(proposed), 1e-3);
  EXPECT_EQ((*record)[16], "-2480.5");
  EXPECT_NE(tm_info_report(kReportMore).find("Calibration history:\r\n   Record 0"),
            std::string::npos)
      << tm_info_report(kReportMore);
}

TEST_F(AdjustShuntTest, AKsvmKeepsEachShuntAsAShiftSignedByItsStep) {
  open(SimFamily::Ksvm, with(kKsvmReplies, {{"CL10737418", "OK"}, {"CM-10737418", "OK"}}));
  ShuntReadings r;
  r.zero.mean = 100;
  r.positive.mean = 1100;
  r.negative.mean = -900;
  adj_sent_clear();
  EXPECT_TRUE(adj_shunt_constants(kShuntRunBoth, r));
  EXPECT_EQ(adj_sent(), (std::vector<std::string>{"CL10737418", "CM-10737418"}))
      << "10737418240000 / (full scale 1000 x span 1000)";
  r.negative.mean = 1100;  // a negative shunt that moved the wrong way keeps the step's sign
  EXPECT_TRUE(adj_shunt_constants(kShuntRunNegative, r));
  EXPECT_EQ(adj_sent().back(), "CM-10737418");
}

}  // namespace
}  // namespace ovn::test
