// The hand trim of the analog outputs on the simulated KST, read as its output voltages:
// a chosen point forces its output, the right button raises and the left lowers, the
// counts stop at their bounds, Abort brings all nine back, and the forcing ends with the
// window.

#include "io/ao_cal.h"

#include "adjust/noise_fixture.h"
#include "link/rs232.h"

namespace ovn::test {
namespace {

class AoCalTest : public NoiseTest {
 protected:
  double volts(int output) { return sim_analog_volts(sim, output, now_ms()); }
  std::array<std::string, 9> counts() const {
    std::array<std::string, 9> out;
    for (int i = 0; i < 9; ++i) out[static_cast<size_t>(i)] = sim_param(sim, ao_cal_message(i));
    return out;
  }
};

TEST_F(AoCalTest, RightRaisesLeftLowersAndTheCountsStopAtTheirBounds) {
  open_kst(0.5);
  EXPECT_EQ(ao_cal_point_caption(4), "Pin A:0 V");
  EXPECT_EQ(ao_cal_message(8), "AOU");
  EXPECT_NEAR(ao_cal_step_size(0), 2129.8185, 1e-4);
  FrmAoCal f = ao_cal_load();
  ao_cal_choose(f, 0);  // Pin G at +10 V
  const double at_top = volts(0);
  EXPECT_NEAR(at_top, 10.1, 0.01) << "the factory's counts, a little high on this line";
  ao_cal_step(f, 2, 1);  // left: about 21 counts down
  EXPECT_LT(volts(0), at_top);
  EXPECT_NEAR(at_top - volts(0), 0.01, 0.001);
  ao_cal_step(f, 2, 2);  // right: back up
  EXPECT_NEAR(volts(0), at_top, 0.0005);
  EXPECT_EQ(f.grid.cells[0][0].text, "[X]");
  for (int i = 0; i < 40; ++i) ao_cal_step(f, 0, 2);
  EXPECT_EQ(sim_param(sim, "AOM"), "65535");
  ao_cal_choose(f, 5);  // Pin A at -10 V
  for (int i = 0; i < 40; ++i) ao_cal_step(f, 0, 1);
  EXPECT_EQ(sim_param(sim, "AOR"), "0");
}

TEST_F(AoCalTest, AbortAfterManyStepsBringsAllNineCountsBackAndEndsTheForcing) {
  open_kst(0.5);
  const std::array<std::string, 9> before = counts();
  sim.physics.torque = {SimShape::Constant, 0};
  const double free_volts = volts(1);
  op.expect_gib("long output wires", "OK, I really want to do this.");
  op.expect_grid("Pin G:+10 V", [](GridForm& g) {
    for (const char* line : {"Pin G:+10 V", "step -1", "step -3", "Pin A:0 V", "step +0", "step +4",
                             "Pin B:-10 V", "step -2"})
      EXPECT_TRUE(g.answer(line)) << line;
    EXPECT_FALSE(g.answer("step +9"));
    return 1;  // Abort
  });
  ao_cal_command();
  EXPECT_EQ(counts(), before);
  EXPECT_TRUE(sim.override_counts.empty());
  EXPECT_NEAR(volts(1), free_volts, 1e-9);
}

TEST_F(AoCalTest, ExitKeepsTheTrimAndTheWarningsAbortSendsNothing) {
  open_kst(0.5);
  op.expect_gib("long output wires", "ABORT");
  ao_cal_command();
  EXPECT_TRUE(sent().empty());
  op.expect_gib("long output wires", "OK, I really want to do this.");
  op.expect_grid("Adjustment", [](GridForm& g) {
    g.click(1, 0, 1);  // Pin G at 0 V
    g.click(9, 1, 2);  // raise by about 213 counts
    return 0;          // Exit
  });
  const double zero = std::stod(sim_param(sim, "AON"));
  ao_cal_command();
  EXPECT_NEAR(std::stod(sim_param(sim, "AON")) - zero, 212.98185, 1e-3);
  EXPECT_TRUE(sim.override_counts.empty());
}

TEST_F(AoCalTest, TheCheckSliderSendsItsOutputToThatShareOfTenVolts) {
  const std::array<double, 3> c = {54000, 33000, 12000};
  EXPECT_EQ(ao_check_count(c, 0), 33000);
  EXPECT_EQ(ao_check_count(c, 100), 54000);
  EXPECT_EQ(ao_check_count(c, -50), 22500);
  EXPECT_EQ(ao_check_count(c, 250), 54000);
  open_kst(0.5);
  op.expect_grid("ANAOUT Verification", [this](GridForm& g) {
    g.edit(2, 0, "50");                   // Pin B at +5 V
    EXPECT_NEAR(volts(2), 5.096, 0.001);  // the untrimmed 0.096 V offset stays
    return 0;
  });
  ao_check_command();
  EXPECT_TRUE(sim.override_counts.empty());
}

}  // namespace
}  // namespace ovn::test
