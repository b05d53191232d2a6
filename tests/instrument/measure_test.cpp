// Live numbers from the simulated KST, and the families that lack an operation.

#include <algorithm>
#include <cmath>
#include <functional>

#include "instrument/session_fixture.h"

namespace ovn::test {
namespace {

class MeasureTest : public SessionTest {
 protected:
  // A KST session with a steady torque on the shaft.
  void open_kst(double torque_lbfin) {
    open(SimFamily::Kst);
    sim.physics.torque.a = torque_lbfin;
    port.clear_transcript();
  }
  int log_count(const std::string& text) const {
    auto log = log_texts();
    return static_cast<int>(std::count(log.begin(), log.end(), text));
  }
};

TEST_F(MeasureTest, TorqueAndMicrovoltsPerVoltFollowTheShaft) {
  open_kst(1000);
  EXPECT_NEAR(get_data_lbfin(0), 1000, 0.01);
  EXPECT_EQ(port.requests(), std::vector<std::string>{"DX1"});
  // The raw value is in the instrument's counts of full scale.
  EXPECT_NEAR(tmi_read_data_lbfin(0), 1000 / 2001.0002 * 655360000, 655360000 * 1e-6);
  EXPECT_NEAR(tm_info_read_uvpv(0), 1000 * 81224.57635704515 * 0.024635402112829115 / 2001.0002,
              0.01);
  sim.physics.torque.a = -500;
  EXPECT_NEAR(get_data_lbfin(0), -500, 0.01);
  EXPECT_NEAR(tm_info_read_uvpv(0), -500 * 81224.57635704515 * 0.024635402112829115 / 2001.0002,
              0.01);
}

TEST_F(MeasureTest, RawZeroTakesThePositiveFactor) {
  open(SimFamily::Hzym, kHzymReplies);
  EXPECT_EQ(tm_info_lbfin_of_raw(0), 0);
  EXPECT_EQ(tm_info_lbfin_of_raw(4), 2);
  EXPECT_EQ(tm_info_lbfin_of_raw(-4), -1);
  // HZYM replies in at most four hex digits: "FFFC" is -4.
  sim.table["XC1"] = "FFFC";
  EXPECT_EQ(get_data_lbfin(0), -1);
}

TEST_F(MeasureTest, TemperatureComesBackInBothScales) {
  open_kst(0);
  sim.physics.temperature_f = 75;
  EXPECT_NEAR(tm_info_read_temp_degc(0), (75 - 32) / 1.8, 1e-9);
  EXPECT_NEAR(tm_info_read_temp_degf(0), 75, 1e-9);
  EXPECT_EQ(port.requests(), (std::vector<std::string>{"TC", "TC"}));
}

TEST_F(MeasureTest, TheWqpmTemperatureIsTheCountBeforeTheComma) {
  open(SimFamily::Wqpm, kWqpmReplies);
  // 0.02 deg C a count from -20 at count 0.
  const std::pair<const char*, double> cases[] = {
      {"1500,7", 10}, {"2000,", 20}, {"1500", -20}, {",1500", -20}};
  for (const auto& [reply, degc] : cases) {
    sim.table["AD"] = reply;
    EXPECT_NEAR(tm_info_read_temp_degc(0), degc, 1e-9) << reply;
  }
}

TEST_F(MeasureTest, TheModelStringIsAskedNow) {
  open_kst(0);
  sim_set_param(sim, "UIA", "ZQVD1234V(1-3 Nm)");
  EXPECT_EQ(get_read_model_string(0), "ZQVD1234V(1-3 Nm)");
}

TEST_F(MeasureTest, AdjustmentPointsAreReadFromTheInstrumentsConstants) {
  open_kst(0);
  sim_set_param(sim, "CE1D", "-.5");
  sim_set_param(sim, "CF1D", "40612.288");
  EXPECT_EQ(tm_info_point_raw(kPointZero), 0);
  EXPECT_EQ(tm_info_point_raw(kPointPositive), 81224.57635704515);
  EXPECT_EQ(tm_info_point_raw(kPointNegative), -81224.57635704515);
  EXPECT_EQ(tm_info_point_raw(kPointPositive2), 81224.576);
  EXPECT_DOUBLE_EQ(tm_info_point_uvpv(kPointPositive, 0), 81224.57635704515 * 0.024635402112829115);
  // A zero load ratio divides by nothing and gives 0.
  sim_set_param(sim, "CE1B", "0");
  EXPECT_EQ(tm_info_point_raw(kPointPositive), 0);
}

TEST_F(MeasureTest, AWqpmPointIsItsFrequencyCarriedToFullScale) {
  open(SimFamily::Wqpm, kWqpmReplies);
  EXPECT_DOUBLE_EQ(tm_info_point_raw(kPointZero), 8300);
  EXPECT_DOUBLE_EQ(tm_info_point_raw(kPointPositive), 8300 + 1000 * 1000 / 500.0);
  EXPECT_DOUBLE_EQ(tm_info_point_raw(kPointNegative), 8300 - 500 * 1000 / 500.0);
  EXPECT_EQ(tm_info_point_raw(kPointPositive2), 0);
  sim.table["CID"] = "0";
  EXPECT_EQ(tm_info_point_raw(kPointPositive), 0) << "a stored 0 leaves the point 0";
  sim.table["CIB"] = "0";
  EXPECT_EQ(tm_info_point_raw(kPointZero), 0);
}

TEST_F(MeasureTest, TareIsReadInLbfInAfterTheInstrumentTakesIt) {
  open_kst(750);
  EXPECT_EQ(tm_info_tare_read(0), 0);
  ASSERT_TRUE(rs232_send_ok("TR*"));
  EXPECT_NEAR(tm_info_tare_read(0), 750, 0.01);
}

TEST_F(MeasureTest, PeaksAreResetOnEveryChannelAndReadInLbfIn) {
  open_kst(500);
  ASSERT_TRUE(tm_info_maxmin_reset(0));
  EXPECT_EQ(port.requests(), (std::vector<std::string>{"MX1*", "MX2*", "MX3*"}));
  get_data_lbfin(0);
  sim.physics.torque.a = 1500;
  get_data_lbfin(0);
  sim.physics.torque.a = -200;
  get_data_lbfin(0);
  double max = 0, min = 0;
  tm_info_maxmin_read(max, min);
  EXPECT_NEAR(max, 1500, 0.01);
  EXPECT_NEAR(min, -200, 0.01);
  // A reply that is not two numbers leaves the values alone.
  sim.table["MX1C"] = "12";
  tm_info_maxmin_read(max, min);
  EXPECT_NEAR(max, 1500, 0.01);
}

TEST_F(MeasureTest, ShuntSetAndCheckReadsTheArmBack) {
  open_kst(0);
  double start = seams.clock.now_ms();
  EXPECT_TRUE(tm_info_shunt_set_and_check(kShuntPositive));
  EXPECT_EQ(sim.shunt, 1);
  EXPECT_EQ(tm_info_shunt_read(), kShuntPositive);
  EXPECT_GE(seams.clock.now_ms() - start, 50) << "the bridge gets time to settle";
  EXPECT_TRUE(tm_info_shunt_set_and_check(kShuntNegative));
  EXPECT_EQ(sim.shunt, 2);
  EXPECT_TRUE(tm_info_shunt_set_and_check(kShuntNone));
  EXPECT_EQ(sim.shunt, 0);
  EXPECT_EQ(log_count("2 Shunt retry"), 0);
  EXPECT_FALSE(tm_info_shunt_set(kShuntUnknown));
}

TEST_F(MeasureTest, AShuntThatNeverReadsBackGivesUpAfterThirtyRounds) {
  open_kst(0);
  sim.table["AS"] = "192";  // both arms: the state cannot be told
  EXPECT_EQ(tm_info_shunt_read(), kShuntUnknown);
  EXPECT_FALSE(tm_info_shunt_set_and_check(kShuntPositive));
  EXPECT_EQ(log_count("2 Shunt retry"), 1);
  EXPECT_EQ(log_count("30 Shunt retry"), 1);
  EXPECT_EQ(log_count("31 Shunt retry"), 0);
}

TEST_F(MeasureTest, AnInvertedAdjustmentSwapsTheShuntBits) {
  open_kst(0);
  sim_set_param(sim, "CF1B", "-81224.57635704515");
  sim_set_param(sim, "CF1C", "81224.57635704515");
  tmi_get_data_ini(kTmKst, 0, false, "", 0, false);
  ASSERT_TRUE(tm_info_record(0).inverted_cal_flag);
  EXPECT_TRUE(tm_info_shunt_set_and_check(kShuntPositive));
  EXPECT_EQ(tm_info_shunt_read(), kShuntPositive);
}

TEST_F(MeasureTest, TheFilterIsSetOnEveryChannelAndReadBackAsAFrequency) {
  open_kst(0);
  // 7812.5 / 100 = 78.125; log2(86.625) - 3.85514 = 2.58 rounds to 3.
  double f = tm_info_filter_set(100, 0);
  EXPECT_EQ(port.requests(), (std::vector<std::string>{"SD", "FL33", "FL23", "FL13", "FL1"}));
  EXPECT_EQ(sim_param(sim, "FL1"), "3");
  EXPECT_DOUBLE_EQ(f, 7812.5 / 108.281628);
  EXPECT_DOUBLE_EQ(tm_info_filter_read(0), 7812.5 / 108.281628);
}

TEST_F(MeasureTest, FilterIndexZeroOnAKstDependsOnTheAveragingBit) {
  open_kst(0);
  EXPECT_EQ(tm_info_filter_frequency(0, 0), 1004.765612);
  ASSERT_TRUE(tm_info_filter_averaging(true, 0));
  EXPECT_EQ(sim_param(sim, "UCB"), "128");
  EXPECT_EQ(tm_info_filter_frequency(0, 0), 7812.5);
  ASSERT_TRUE(tm_info_filter_averaging(false, 0));
  EXPECT_EQ(sim_param(sim, "UCB"), "0");
}

TEST_F(MeasureTest, EachFamilySetsItsFilterInItsOwnWords) {
  // 2000 / 50.099003 Hz on the 2000 Hz families and 7812.5 / 50.099003 Hz on the others
  // are index 2; the 10000 Hz WQPM and 20000 Hz RDX take the same ratio.
  struct Row {
    SimFamily family;
    Replies replies;
    double base_hz;
    std::vector<std::string> requests;
  };
  const Row rows[] = {
      {SimFamily::Rdx,
       with(kRdxReplies, {{"FL2", "OK"}, {"FL", "2"}, {"MF", "0"}}),
       20000,
       {"FL2", "FL"}},
      {SimFamily::Wqpm, with(kWqpmReplies, {{"FL2", "OK"}, {"FL", "2"}}), 10000, {"FL2", "FL"}},
      {SimFamily::Ksvm,
       with(kKsvmReplies, {{"CG2", "OK"}, {"CG", "2"}, {"RA", "0"}}),
       7812.5,
       {"CG2", "CG", "RA"}},
      {SimFamily::Hzym,
       with(kHzymReplies, {{"FL108", "OK"}, {"FL1", "08"}}),
       2000,
       {"FL108", "FL1"}},
      {SimFamily::S350,
       with(kS350Replies, {{"T0", "OK"}, {"FL108", "OK"}, {"FL1", "08"}}),
       2000,
       {"T0", "FL108", "FL1"}},
      {SimFamily::S350Plus, with(kS350PlusReplies, {{"FL12", "OK"}}), 7812.5, {"FL12"}}};
  for (const Row& row : rows) {
    open(row.family, row.replies);
    port.clear_transcript();
    double f = tm_info_filter_set(row.base_hz / 50.099003, 0);
    EXPECT_EQ(port.requests(), row.requests) << sim_family_name(row.family);
    if (row.family == SimFamily::Rdx || row.family == SimFamily::Wqpm ||
        row.family == SimFamily::Ksvm) {
      EXPECT_DOUBLE_EQ(f, row.base_hz / 50.099003) << sim_family_name(row.family);
    }
  }
}

TEST_F(MeasureTest, PeakReadsTakeEachFamilysOrder) {
  open(SimFamily::Hzym, with(kHzymReplies, {{"MX", "FFFE0004"}}));  // min -2, max 4 counts
  double max = 0, min = 0;
  tm_info_maxmin_read(max, min);
  EXPECT_EQ(max, 2);
  EXPECT_EQ(min, -1) << "the positive scale serves both";
  open(SimFamily::Ksvm, with(kKsvmReplies, {{"MXX", "2000"}, {"MXN", "-1000"}}));
  tm_info_maxmin_read(max, min);
  EXPECT_DOUBLE_EQ(max, 2000 * 0.0032);
  EXPECT_DOUBLE_EQ(min, -1000 * 0.0032);
  open(SimFamily::S350, with(kS350Replies, {{"T0", "OK"}, {"DX1", "12.5"}, {"DN1", "-3.25"}}));
  tm_info_maxmin_read(max, min);
  EXPECT_EQ(max, 12.5);
  EXPECT_EQ(min, -3.25);
}

TEST_F(MeasureTest, PushAndPopPutTheFilterBack) {
  open_kst(0);  // FL 9 on every channel
  EXPECT_EQ(tm_info_filter_pop(), 0) << "an empty stack does nothing";
  EXPECT_TRUE(port.requests().empty());
  tm_info_filter_push(100);
  EXPECT_EQ(sim_param(sim, "FL1"), "3");
  EXPECT_EQ(tm_info_filter_depth(), 1);
  double restored = tm_info_filter_pop();
  EXPECT_EQ(sim_param(sim, "FL1"), "9");
  EXPECT_DOUBLE_EQ(restored, 7812.5 / 7402.306206);
  EXPECT_EQ(tm_info_filter_depth(), 0);
  auto log = log_texts();
  ASSERT_EQ(log.size(), 2u) << ::testing::PrintToString(log);
  EXPECT_EQ(log[0].rfind("PUSH FILTER 1.0554", 0), 0u) << log[0];
  EXPECT_EQ(log[1].rfind("POP FILTER 1.0554", 0), 0u) << log[1];
}

TEST_F(MeasureTest, TheStackKeepsItsLastPlaceWhenPushedBeyondIt) {
  open_kst(0);
  for (int i = 0; i < 23; ++i) tm_info_filter_push(100);
  EXPECT_EQ(tm_info_filter_depth(), 21);
}

TEST_F(MeasureTest, ThePowerFactorOfTheSimulatedKstMatchesItsFactoryConstant) {
  open_kst(0);
  EXPECT_EQ(tm_info_power_lbfin_per_hp(false), 0) << "PS bit clear";
  sim.locked = true;
  // The factory CF3B, 400000000, is that factor for the factory speed and power scales.
  EXPECT_NEAR(tm_info_power_lbfin_per_hp(false), 400000000, 400000000 * 1e-6);
  sim.locked = false;
  sim.table["PS"] = "1";
  double factor = tm_info_power_lbfin_per_hp(true);
  EXPECT_NEAR(std::stod(sim_param(sim, "CF3B")), factor, factor * 1e-12);
}

TEST_F(MeasureTest, FamiliesWithoutAnOperationEndTheProgramWithItsMessage) {
  open(SimFamily::Fga);
  struct Row {
    std::function<void()> call;
    std::string text;
  };
  double a = 0, b = 0;
  const Row rows[] = {
      {[] { tmi_read_data_lbfin(0); }, "called tmi_read_data_lbfin before tmi_get_data_ini!"},
      {[] { tm_info_read_temp_degc(0); }, "called get_data_lbfin before calling get_data_ini:1109"},
      {[] { get_read_model_string(0); }, "called get_read_model_string before get_data_ini!"},
      {[] { tm_info_shunt_set(kShuntNone); }, "Unknown TM type:1109"},
      {[] { tm_info_tare_read(0); }, "Tare not implemented:1109"},
      {[] { tm_info_maxmin_reset(0); }, "Max, Mins not implemented:1109"},
      {[&] { tm_info_maxmin_read(a, b); }, "Max/Min not implemented:1109"}};
  for (const Row& row : rows) {
    EXPECT_PROCESS_EXIT(row.call(), 1);
    ASSERT_FALSE(seams.fatal_texts.empty());
    EXPECT_EQ(seams.fatal_texts.back(), row.text);
  }
  EXPECT_EQ(seams.fatal_texts.size(), std::size(rows));
  EXPECT_TRUE(port.requests().empty());
}

TEST_F(MeasureTest, TheLiveValueOfDisplayDataIsTheTorque) {
  open_kst(321);
  op.expect_display_data("Apply load", 3);
  display_data("Apply load", "lbf-in", 8 | 16, "Adjust", "", "", "0.00");
  ASSERT_EQ(op.shown.size(), 1u);
  EXPECT_EQ(op.shown[0].live, "321.00");
}

}  // namespace
}  // namespace ovn::test
