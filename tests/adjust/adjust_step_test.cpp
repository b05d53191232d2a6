#include "adjust/adjust_step.h"

#include "adjust/adjust_calc.h"
#include "adjust/noise_fixture.h"
#include "config/config_commands.h"
#include "config/history.h"
#include "config/tm_file.h"
#include "foundation/hexstr.h"

namespace ovn::test {
namespace {

class AdjustStepTest : public NoiseTest {
 protected:
  // The record's times carry the zone's offset: UTC here, so the text is known.
  AdjustStepTest() { env.set("TZ", "UTC"); }
  ~AdjustStepTest() override { std::filesystem::remove(adj_record_file()); }

  // The simulated KST as it leaves the factory, zero at 2000 counts, with its noise.
  void open_factory_kst() {
    open_kst(0.5);
    std::filesystem::remove(adj_record_file());
  }
  double reads_now() { return sim_display_value(sim, 1, now_ms()); }
  std::string download() { return tm_info_config_read(config_instrument_of(kTmInfoCurrent)); }

  // A step as the operator answers it: the step dialog, the wait box, the verdict.
  int step(int32_t code, double torque, const std::string& typed, const std::string& answer,
           double tolerance = 0.002) {
    sim.physics.torque.a = torque;
    const std::string title = adj_step_text(code).title;
    if (typed.empty())
      op.expect_display_data(title, 3);
    else
      op.expect_display_data(title, {{3, typed}});
    op.expect_gib("Please wait for " + title, 0);
    op.expect_gib("", answer);
    const double fs = 2001.0002;
    return adj_run_step(code, code == kPointZero ? 0 : fs, tolerance, 24, false);
  }
  const Shown& verdict() const {
    for (size_t i = op.shown.size(); i-- > 0;)
      if (op.shown[i].kind == BoxKind::Gib && !op.shown[i].gib.non_modal()) return op.shown[i];
    return op.last();
  }

  EnvGuard env;
};

TEST_F(AdjustStepTest, AZeroThenAPositiveStepBringChannelOneToItsLoads) {
  open_factory_kst();
  EXPECT_NEAR(reads_now(), 49.27, 0.1) << "2000 counts above a zero of 0";
  EXPECT_EQ(step(kPointZero, 0, "", "OK"), 3);
  EXPECT_NEAR(reads_now(), 0, 1.0);
  EXPECT_EQ(sim.flash, sim.working) << "kept: committed to flash";

  EXPECT_EQ(step(kPointPositive, 1000, "1000", "OK"), 3);
  EXPECT_NEAR(reads_now(), 1000, 1.0);
  sim.physics.torque.a = -1000;
  EXPECT_NEAR(reads_now(), -1000, 1.0) << "the negative point agreed with the new gain";

  const Shown& box = verdict();
  EXPECT_EQ(box.buttons, (std::vector<std::string>{"OK", "Cancel"}));
  EXPECT_EQ(box.text.substr(0, 7), " (2001.");
  EXPECT_NE(box.text.find("uV/V@FS)Positive Load Adjustment finished.\r\n"), std::string::npos);

  // One row a step, as found and as left in lbf-in.
  const std::string file = read_file(adj_record_file());
  const std::vector<std::string> rows = kw_split(file, "\r\n");
  ASSERT_EQ(rows.size(), 4u) << file;
  EXPECT_EQ(rows[0], "Time,Step,Applied Load (lbf-in),As Found,As Left,Constants Sent,Verdict");
  const std::vector<std::string> zero = kw_split(rows[1], ",");
  ASSERT_EQ(zero.size(), 7u);
  EXPECT_EQ(zero[0].substr(0, 11), "2026-11-23T");
  EXPECT_EQ(zero[0].substr(19), "+00:00");
  EXPECT_EQ(zero[1], "Zero Adjustment");
  EXPECT_EQ(zero[2], "0");
  EXPECT_NEAR(std::stod(zero[3]), 49.27, 0.1);
  EXPECT_NEAR(std::stod(zero[4]), 0, 1.0);
  EXPECT_EQ(zero[5].substr(0, 4), "TCA7");
  const size_t cf = zero[5].find(" CF1A");
  ASSERT_NE(cf, std::string::npos) << zero[5];
  EXPECT_NEAR(std::stod(zero[5].substr(cf + 5)), 2000, 1.0) << "the zero it found";
  EXPECT_EQ(zero[6], "kept");
  const std::vector<std::string> plus = kw_split(rows[2], ",");
  EXPECT_EQ(plus[2], "1000");
  EXPECT_NEAR(std::stod(plus[3]), 999.5, 1.0) << "the old gain was this instrument's own";
  EXPECT_NEAR(std::stod(plus[4]), 1000, 1.0);
}

TEST_F(AdjustStepTest, CancelAtTheVerdictPutsEveryConstantBack) {
  open_factory_kst();
  const std::string before = download();
  const auto working = sim.working;
  EXPECT_EQ(step(kPointZero, 0, "", "Cancel"), 4);
  EXPECT_EQ(download(), before);
  EXPECT_EQ(sim.working, working);
  EXPECT_EQ(sim.flash, working) << "flash written with the old values";
  EXPECT_NEAR(reads_now(), 49.27, 0.1) << "reads as it did before the step";
  const std::vector<std::string> row =
      kw_split(kw_split(read_file(adj_record_file()), "\r\n")[1], ",");
  EXPECT_EQ(row[6], "rejected");
  EXPECT_NEAR(std::stod(row[4]), 49.27, 0.1);
}

TEST_F(AdjustStepTest, CancelAtTheStepDialogTouchesNothing) {
  open_factory_kst();
  op.expect_display_data("Load transducer in the CW direction", 4);
  EXPECT_EQ(adj_run_step(kPointPositive, 2001.0002, 0.002, 24, false), 4);
  for (const std::string& s : sent()) {
    EXPECT_NE(s.substr(1, 2), "@@") << "no flash commit";
    EXPECT_NE(s.substr(1, 3), "ASA") << "nothing measured";
  }
  const Shown& dialog = op.shown.front();
  EXPECT_EQ(dialog.text,
            "Load transducer in the CW direction\r\n         Full Scale=2001.000 lbf-in");
  EXPECT_EQ(dialog.title, "Positive Load Adjustment");
  EXPECT_EQ(dialog.default_text, "2.00100E+3");
  EXPECT_FALSE(std::filesystem::exists(adj_record_file()));
}

TEST_F(AdjustStepTest, WarningsAndTooFewSamplesLeaveOnlyCancel) {
  open_factory_kst();
  sim.table["NTD"] = "0,0,0,1,0";  // the instrument's test gives nothing
  const auto working = sim.working;
  EXPECT_EQ(step(kPointZero, 0, "", "Cancel"), 4);
  const Shown& box = verdict();
  EXPECT_EQ(box.buttons, (std::vector<std::string>{"Cancel"}));
  EXPECT_EQ(box.flags, kGibWarning);
  EXPECT_EQ(box.text.substr(0, 69),
            "WARNING: Stdev noise(0.000uV/V)is outside the limits of [0.3,1]uV/V\r\n");
  const std::vector<std::string> lines = kw_split(box.text, "\r\n");
  EXPECT_EQ(lines.back(), "Too few samples taken (0)");
  EXPECT_EQ(lines[lines.size() - 3], "Torquemeter:KST   Full Scale=2001.000 lbf-in");
  EXPECT_EQ(lines[lines.size() - 2].substr(8, 14), " Elapsed time:");
  EXPECT_EQ(sim.working, working) << "the zero of 0 counts was taken back";
}

TEST_F(AdjustStepTest, AShuntThatStaysOnChangesNothingAndOffersOnlyCancel) {
  open_factory_kst();
  sim.table["ASA"] = "!";
  op.expect_display_data("Zero Adjustment", 3);
  op.expect_gib("Please wait for Zero Adjustment", 0);
  op.expect_gib("", "Skip");
  op.expect_gib("ERROR:Unable to turn off CAL", "Cancel");
  EXPECT_EQ(adj_run_step(kPointZero, 0, 0.002, 24, false), 4);
  const Shown& box = verdict();
  EXPECT_EQ(box.buttons, (std::vector<std::string>{"Cancel"}));
  const std::vector<std::string> row =
      kw_split(kw_split(read_file(adj_record_file()), "\r\n")[1], ",");
  EXPECT_EQ(row[5], "");
  EXPECT_EQ(row[6], "no change");
}

TEST_F(AdjustStepTest, AStepThatSendsThePresentValuesOffersOkNoChange) {
  open_factory_kst();
  sim.config.noise_uvpv = 0;
  sim.physics.zero_counts = 0;  // reads the zero of "CF1A0" it holds
  sim_set_param(sim, "TCA", double_text(tm_info_read_temp_degf(kTmInfoCurrent)));
  EXPECT_EQ(step(kPointZero, 0, "", "OK (no change)"), 4) << "the only button is a cancel";
  EXPECT_EQ(verdict().buttons, (std::vector<std::string>{"OK (no change)"}));
}

TEST_F(AdjustStepTest, APositiveGainThatLeavesTheNegativeBehindAsksToBringItAlong) {
  open_factory_kst();
  EXPECT_EQ(step(kPointZero, 0, "", "OK"), 3);
  sim.physics.gain_counts_per_lbfin *= 1.01;
  sim.physics.torque.a = 1000;
  op.expect_display_data("Positive Load Adjustment", {{3, "1000"}});
  op.expect_gib("Please wait for Positive Load Adjustment", 0);
  op.expect_gib("Positive Load Adjustment finished.", "OK");
  op.expect_gib("Change the Negative gain?", "Yes");
  EXPECT_EQ(adj_run_step(kPointPositive, 2001.0002, 0.002, 24, false), 3);
  const Shown& ask = op.shown.back();
  EXPECT_EQ(ask.buttons, (std::vector<std::string>{"Yes", "No"}));
  const std::vector<std::string> lines = kw_split(ask.text, "\r\n");
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(lines[1].substr(0, 15), "Negative gain (");
  EXPECT_EQ(lines[2].substr(0, 20), " and Positive gain (");
  EXPECT_NE(lines[2].find(") disagree by more than 0.200% (1.0"), std::string::npos) << lines[2];
  sim.physics.torque.a = -1000;
  EXPECT_NEAR(reads_now(), -1000, 1.0) << "the negative point was brought to the new gain";
}

TEST_F(AdjustStepTest, EachKeptStepOnAHzymWritesAHistoryRecordFlaggedForALoadPoint) {
  open(SimFamily::Hzym);
  sim.config.noise_uvpv = 12;     // inside the HZYM's noise limits of 7 to 25 uV/V
  sim.physics.zero_counts = 800;  // 200 of the HZYM's counts for its zero step to take away
  const std::string empty(76, '0');
  EXPECT_EQ(step(kPointZero, 0, "", "OK"), 3) << verdict().text;
  EXPECT_EQ(step(kPointPositive, 2001.0002, "2001.0002", "Cancel"), 4);
  EXPECT_EQ(sim_param(sim, "HS1"), empty) << "a rejected step leaves no record";
  EXPECT_EQ(step(kPointPositive, 2001.0002, "2001.0002", "OK"), 3);
  const std::string zero = sim_param(sim, "HS0"), load = sim_param(sim, "HS1");
  EXPECT_LT(zero[0], '8') << "a zero step is no full adjustment: " << zero;
  EXPECT_GE(load[0], '8') << load;
  EXPECT_EQ(load.substr(20, 8), sim_param(sim, "CC1A")) << "the load value as the step left it";
  EXPECT_EQ(sim_param(sim, "HS2"), empty);
  EXPECT_EQ(tm_info_history_latest(false), 1);
}

}  // namespace
}  // namespace ovn::test
