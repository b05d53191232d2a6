// The simulated KST as the program sees it through the in-process port: its parameter
// store, flash, lock, and live values that follow the load and the stored constants.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "sim/sim_instrument.h"
#include "sim/sim_port.h"
#include "sim_exchange.h"
#include "support/seams.h"

namespace ovn {
namespace {

using test::ask;

class SimKst : public test::SeamsTest {
 protected:
  void SetUp() override { start(SimConfig{}); }
  void start(const SimConfig& config) {
    sim_init(sim, config);
    port.set_settings(std::to_string(sim_family_baud(config.family)) + ",n,8,1");
    std::string error;
    ASSERT_TRUE(port.open(error));
  }
  double number(const std::string& message) {
    return std::strtod(ask(port, message).c_str(), nullptr);
  }
  std::vector<double> fields(const std::string& message) {
    std::vector<double> out;
    std::string reply = ask(port, message);
    size_t start = 0;
    for (;;) {
      size_t comma = reply.find(',', start);
      out.push_back(std::strtod(reply.substr(start, comma - start).c_str(), nullptr));
      if (comma == std::string::npos) return out;
      start = comma + 1;
    }
  }
  // Mean of `n` live torque readings, one every 10 ms.
  double mean_torque(int n = 20) {
    double sum = 0;
    for (int i = 0; i < n; ++i) {
      sum += fields("DE*")[0];
      seams.clock.advance(10);
    }
    return sum / n;
  }
  // The instrument's own noise test, run to the end; the five result fields.
  std::vector<double> noise_test(long count) {
    EXPECT_EQ(ask(port, "NT" + std::to_string(count)), "OK");
    std::string state;
    for (int i = 0; i < 1000 && (state = ask(port, "NT")) == "1"; ++i) seams.clock.advance(50);
    EXPECT_EQ(state, "2");
    return fields("NTD");
  }
  void set_load(double lbfin) { sim.physics.torque = SimProfile{SimShape::Constant, lbfin}; }

  SimInstrument sim;
  SimPort port{sim};
};

TEST_F(SimKst, ReadsGiveTheFactoryValuesAndWritesAreStoredAndAcknowledged) {
  struct Case {
    const char* name;
    const char* factory;
  };
  const Case factory[] = {{"UCA", "655360000"},
                          {"TA", "3"},
                          {"UN1", "lbf-in"},
                          {"CE1A", "2001.0002"},
                          {"CF1B", "81224.57635704515"},
                          {"CE1E", "-.5"},
                          {"SVB", "-100975.09988518943"},
                          {"AOS", "54269.82428714606"},
                          {"IOA", "19"},
                          {"ILP", "-1.1"},
                          {"PWC", "16096"},
                          {"TMA", "32768"},
                          {"CF3B", "400000000"},
                          {"SCB", ".0001"}};
  for (const auto& c : factory) EXPECT_EQ(ask(port, c.name), c.factory) << c.name;

  EXPECT_EQ(ask(port, "CE1A100"), "OK");
  EXPECT_EQ(ask(port, "CE1A"), "100");
  EXPECT_EQ(ask(port, "UN1N-m"), "OK");
  EXPECT_EQ(ask(port, "UN1"), "N-m");
  EXPECT_EQ(ask(port, "UIC=Acme Test Lab"), "OK");
  EXPECT_EQ(ask(port, "UIC"), "Acme Test Lab");
  EXPECT_EQ(ask(port, "UIB==SN 42"), "OK");
  EXPECT_EQ(ask(port, "UIB"), "SN 42");
}

TEST_F(SimKst, UnknownNamesAndMalformedValuesAreAnsweredWithABang) {
  for (const char* bad : {"XYZ", "CE1Aabc", "CE1A1.2.3", "QQ", "DT9", "MX1Q", "ASD", "NTx"})
    EXPECT_EQ(ask(port, bad).substr(0, 1), "!") << bad;
  EXPECT_EQ(ask(port, "CE1A"), "2001.0002") << "a refused write leaves the value alone";
}

TEST_F(SimKst, OnlyWhatWasCommittedToFlashSurvivesAPowerCycle) {
  EXPECT_EQ(ask(port, "CE1A100"), "OK");
  sim_power_cycle(sim);
  EXPECT_EQ(ask(port, "CE1A"), "2001.0002");

  EXPECT_EQ(ask(port, "CE1A100"), "OK");
  EXPECT_EQ(ask(port, "@@"), "OK");
  EXPECT_EQ(ask(port, "CE1A200"), "OK");
  sim_power_cycle(sim);
  EXPECT_EQ(ask(port, "CE1A"), "100");
}

TEST_F(SimKst, VersionSplitsIntoStatorAndRotorAtTheLettersSAndR) {
  sim.config.stator_version = "147";
  sim.config.rotor_version = "36";
  std::string vr = ask(port, "VR");
  size_t s = vr.find('s'), r = vr.find('r', s);
  ASSERT_NE(s, std::string::npos);
  ASSERT_NE(r, std::string::npos);
  EXPECT_EQ(vr.substr(s + 1, r - s - 1), "147");
  EXPECT_EQ(vr.substr(r + 1), "36");
  EXPECT_NE(vr[0], 'i') << "an 'i' would make the program ask ND instead of NTD";
}

TEST_F(SimKst, ChannelCountChangesOnlyWithTheFactoryCode) {
  EXPECT_EQ(ask(port, "SD"), "3");
  EXPECT_EQ(fields("DE*").size(), 3u);
  EXPECT_EQ(ask(port, "SD2"), "!");
  EXPECT_EQ(ask(port, "SD2k7Qw2Xzq"), "!");
  EXPECT_EQ(ask(port, "SD2k7Qw2Xzp"), "OK");
  EXPECT_EQ(ask(port, "SD"), "2");
  EXPECT_EQ(fields("DE*").size(), 2u);
  EXPECT_EQ(ask(port, "MX3E"), "!") << "no third channel now";
  EXPECT_EQ(ask(port, "SD3k7Qw2Xzp"), "OK");
  EXPECT_EQ(fields("DX*").size(), 3u);
}

TEST_F(SimKst, PasswordLockRefusesWritesUntilUnlockedAndCanBeChanged) {
  EXPECT_EQ(ask(port, "PS"), "0");
  EXPECT_EQ(ask(port, "PSwrong1"), "!");
  EXPECT_EQ(ask(port, "PSkst1"), "OK");
  EXPECT_EQ(ask(port, "PS"), "1");
  EXPECT_EQ(ask(port, "CE1A5"), "!");
  EXPECT_EQ(ask(port, "IDB"), "!");
  EXPECT_EQ(ask(port, "CE1A"), "2001.0002") << "reads still answer";
  EXPECT_EQ(ask(port, "FL15"), "OK") << "the filter stays the operator's while locked";
  EXPECT_EQ(ask(port, "PC,kst,abc,abc"), "!") << "a locked instrument keeps its password";

  // Unlocking in the order the change-password procedure uses: state first.
  EXPECT_EQ(ask(port, "PS0kst"), "OK");
  EXPECT_EQ(ask(port, "CE1A5"), "OK");
  EXPECT_EQ(ask(port, "PC,kst,abc,abd"), "!") << "the new password typed twice must match";
  EXPECT_EQ(ask(port, "PC,nope,abc,abc"), "!");
  EXPECT_EQ(ask(port, "PC;kst;abc;abc"), "OK");
  EXPECT_EQ(ask(port, "PSkst1"), "!");
  EXPECT_EQ(ask(port, "PSabc1"), "OK");
  EXPECT_EQ(ask(port, "PS"), "1");
}

TEST_F(SimKst, ZeroAndLoadAdjustmentsAsTheProgramMakesThemBringTheReadingsRight) {
  // At rest the rotor's zero offset shows until the zero is adjusted.
  set_load(0);
  double offset_lbfin = sim.physics.zero_counts / sim.physics.gain_counts_per_lbfin *
                        (2001.0002 * sim.physics.gain_counts_per_lbfin / 81224.57635704515);
  EXPECT_NEAR(mean_torque(), offset_lbfin, 0.05);

  // Zero: CF1A = mean raw A/D count of the instrument's noise test.
  std::vector<double> zero = noise_test(16000);
  double zero_mean = zero[1] / zero[0];
  EXPECT_NEAR(zero_mean, sim.physics.zero_counts, 1.0);
  EXPECT_EQ(ask(port, "CF1A" + std::to_string(zero_mean)), "OK");
  EXPECT_NEAR(mean_torque(), 0.0, 0.05);

  // A rotor 7 % more sensitive than the factory constants assume reads 7 % high...
  sim.physics.gain_counts_per_lbfin *= 1.07;
  set_load(1000);
  EXPECT_NEAR(mean_torque(), 1070.0, 0.2);
  // ...until a positive load adjustment: CF1B = mean - CF1A, CE1B = load / CE1A.
  std::vector<double> loaded = noise_test(16000);
  double span = loaded[1] / loaded[0] - zero_mean;
  EXPECT_EQ(ask(port, "CF1B" + std::to_string(span)), "OK");
  EXPECT_EQ(ask(port, "CE1B" + std::to_string(1000.0 / 2001.0002)), "OK");
  EXPECT_NEAR(mean_torque(), 1000.0, 0.2);
  // The negative side still uses its own point until it is adjusted too...
  set_load(-1000);
  EXPECT_NEAR(mean_torque(), -1070.0, 0.2);
  // ...and with no negative point at all, the positive one serves both sides.
  EXPECT_EQ(ask(port, "CF1C0"), "OK");
  EXPECT_EQ(ask(port, "CF1E0"), "OK");
  EXPECT_NEAR(mean_torque(), -1000.0, 0.2);
}

TEST_F(SimKst, TemperatureCompensationConstantsCorrectZeroAndSpan) {
  EXPECT_EQ(ask(port, "CF1A" + std::to_string(sim.physics.zero_counts)), "OK");
  EXPECT_EQ(ask(port, "FL116"), "OK");
  const double lbfin_per_count = 2001.0002 / 81224.57635704515;
  // The rotor's zero drifts 4 counts per deg F; at 85 deg F that is 40 counts.
  sim.physics.zero_drift_counts_per_f = 4;
  sim.physics.temperature_f = 85;
  EXPECT_EQ(ask(port, "TC"), "85.0");
  set_load(0);
  EXPECT_NEAR(mean_torque(), 40 * lbfin_per_count, 0.01);
  // Zero compensation TCB (counts per deg F) from the temperature of the zero, TCA.
  EXPECT_EQ(ask(port, "TCA75"), "OK");
  EXPECT_EQ(ask(port, "TCB4"), "OK");
  EXPECT_NEAR(mean_torque(), 0, 0.01);
  // Span compensation TCD (gain per deg F) from the temperature of the span, TCC.
  set_load(1000);
  EXPECT_EQ(ask(port, "TCC80"), "OK");
  EXPECT_EQ(ask(port, "TCD0.001"), "OK");
  EXPECT_NEAR(mean_torque(), 1000 * 1.005, 0.05);
}

TEST_F(SimKst, EveryDisplayModeShowsTheSameLoadInItsOwnForm) {
  set_load(500.25);
  EXPECT_EQ(ask(port, "CF1A" + std::to_string(sim.physics.zero_counts)), "OK");
  EXPECT_EQ(ask(port, "FL116"), "OK");  // the quietest filter: readings are the load itself
  double frac = 500.25 / 2001.0002;
  EXPECT_NEAR(fields("DE*")[0], 500.25, 0.01);
  EXPECT_NEAR(fields("DC*")[0], frac * 655360000, 2000);
  // Hex forms: two's complement of the count, checked against the processor's own.
  int32_t x = static_cast<int32_t>(std::strtoul(ask(port, "DX1").c_str(), nullptr, 16));
  EXPECT_NEAR(x, frac * 655360000, 2000);
  std::string y_field = ask(port, "DY*").substr(0, 4);
  EXPECT_NEAR(static_cast<int16_t>(std::strtoul(y_field.c_str(), nullptr, 16)), frac * 10000, 1);
  set_load(-500.25);
  x = static_cast<int32_t>(std::strtoul(ask(port, "DX1").c_str(), nullptr, 16));
  EXPECT_NEAR(x, -frac * 655360000, 2000);
  EXPECT_EQ(ask(port, "DX1").size(), 8u);

  // A unit change scales the engineering form only: N-m per lbf-in.
  EXPECT_EQ(ask(port, "DS10.11298482902761668"), "OK");
  EXPECT_NEAR(fields("DE*")[0], -500.25 * 0.11298482902761668, 0.01);
}

TEST_F(SimKst, SpeedAndPowerChannelsFollowTheShaft) {
  set_load(1000);
  sim.physics.speed = SimProfile{SimShape::Constant, 3000};
  EXPECT_EQ(ask(port, "CF1A" + std::to_string(sim.physics.zero_counts)), "OK");
  EXPECT_EQ(ask(port, "FL116"), "OK");
  std::vector<double> e = fields("DE*");
  EXPECT_NEAR(e[1], 3000, 0.01);
  EXPECT_NEAR(e[2], 1000.0 * 3000 / 63025.35746439056, 0.01);  // hp from lbf-in and RPM
}

TEST_F(SimKst, ShuntShiftsTheReadingByItsSpanAndShowsInTheStatus) {
  set_load(0);
  EXPECT_EQ(ask(port, "CF1A" + std::to_string(sim.physics.zero_counts)), "OK");
  double per_count = 2001.0002 / 81224.57635704515;
  EXPECT_EQ(ask(port, "AS"), "0");
  EXPECT_EQ(ask(port, "ASB"), "OK");
  EXPECT_EQ(ask(port, "AS"), "128");
  EXPECT_NEAR(mean_torque(), sim.physics.shunt_counts * per_count, 0.05);
  EXPECT_EQ(ask(port, "ASC"), "OK");
  EXPECT_EQ(ask(port, "AS"), "64");
  EXPECT_NEAR(mean_torque(),
              -sim.physics.shunt_counts * (1 - sim.physics.shunt_asymmetry) * per_count, 0.05)
      << "the negative shunt a few tenths of a percent weaker";
  EXPECT_EQ(ask(port, "ASA"), "OK");
  EXPECT_EQ(ask(port, "AS"), "0");
  // With the positive point stored negative (an inverted bridge) the bits swap.
  EXPECT_EQ(ask(port, "CF1B-81224.57635704515"), "OK");
  EXPECT_EQ(ask(port, "ASB"), "OK");
  EXPECT_EQ(ask(port, "AS"), "64");
}

TEST_F(SimKst, TareMaxAndMinFollowTheLoad) {
  EXPECT_EQ(ask(port, "CF1A" + std::to_string(sim.physics.zero_counts)), "OK");
  sim.physics.torque = SimProfile{SimShape::Sine, 100, 50, 1000, seams.clock.now_ms()};
  EXPECT_EQ(ask(port, "MX1*"), "OK");
  seams.clock.advance(1000);  // a whole period with nobody asking for a reading
  std::vector<double> mx = fields("MX1E");
  ASSERT_EQ(mx.size(), 2u);
  EXPECT_NEAR(mx[0], 150, 0.5);
  EXPECT_NEAR(mx[1], 50, 0.5);
  seams.clock.advance(250);  // now at the crest: only there since the reset
  EXPECT_EQ(ask(port, "MX1*"), "OK");
  seams.clock.advance(10);
  mx = fields("MX1E");
  EXPECT_NEAR(mx[0], 150, 0.5);
  EXPECT_GT(mx[1], 145) << "extremes start again from the reset";

  set_load(300);
  EXPECT_EQ(ask(port, "TR*"), "OK");
  EXPECT_NEAR(number("DT1"), 300, 0.5);
  EXPECT_NEAR(number("DT1E"), 300, 0.5);
  EXPECT_NEAR(mean_torque(), 0, 0.5);
  EXPECT_NEAR(fields("DC*")[0], 0, 2000) << "the P4 form is tared as well";
  EXPECT_EQ(ask(port, "TR*0"), "OK");
  EXPECT_EQ(number("DT1"), 0);
  EXPECT_NEAR(mean_torque(), 300, 0.5);
}

TEST_F(SimKst, AWiderFilterMakesTheLiveReadingsQuieter) {
  auto spread = [&](const char* filter) {
    EXPECT_EQ(ask(port, filter), "OK");
    double lo = 1e9, hi = -1e9;
    for (int i = 0; i < 200; ++i) {
      double v = fields("DE*")[0];
      lo = std::min(lo, v);
      hi = std::max(hi, v);
    }
    return hi - lo;
  };
  double open = spread("FL10"), narrow = spread("FL19");
  EXPECT_GT(open, 1.0);
  EXPECT_GT(open / narrow, 30) << "index 9 settles over thousands of samples";
  EXPECT_EQ(ask(port, "FL1"), "9");
}

TEST_F(SimKst, NoiseTestRunsInInstrumentTimeAndReportsItsSamples) {
  // Raw form: 16000 samples at 4000 a second take four seconds of instrument time.
  double t0 = now_ms();
  EXPECT_EQ(ask(port, "NT"), "0");
  EXPECT_EQ(ask(port, "NT16000"), "OK");
  EXPECT_EQ(ask(port, "NT"), "1");
  seams.clock.advance(3900);
  EXPECT_EQ(ask(port, "NT"), "1");
  seams.clock.advance(200);
  EXPECT_EQ(ask(port, "NT"), "2");
  EXPECT_EQ(ask(port, "NT"), "0") << "the finished state is reported once";
  EXPECT_GE(now_ms() - t0, 4000);
  std::vector<double> r = fields("NTD");
  ASSERT_EQ(r.size(), 5u);
  EXPECT_EQ(r[0], 16000);
  double sigma = sim.config.noise_uvpv / 0.024635402112829115;
  EXPECT_NEAR(r[1] / r[0], sim.physics.zero_counts, 1);
  EXPECT_NEAR(std::sqrt(r[2]), sigma, sigma * 0.03);
  EXPECT_LT(r[3], r[1] / r[0] - 3 * sigma);
  EXPECT_GT(r[4], r[1] / r[0] + 3 * sigma);
  EXPECT_EQ(r[3], std::floor(r[3])) << "an A/D converter gives whole counts";

  // Two samples pin the arithmetic down: they are the min and the max, their sum is the
  // sum, and the sample variance is half the square of their difference.
  r = noise_test(2);
  ASSERT_EQ(r.size(), 5u);
  EXPECT_EQ(r[0], 2);
  EXPECT_DOUBLE_EQ(r[1], r[3] + r[4]);
  EXPECT_DOUBLE_EQ(r[2], (r[4] - r[3]) * (r[4] - r[3]) / 2);

  // Engineering form: a negative count, filtered torque in the display unit.
  set_load(250);
  r = noise_test(-400);
  EXPECT_EQ(r[0], 400);
  double offset = sim.physics.zero_counts * 2001.0002 / 81224.57635704515;
  EXPECT_NEAR(r[1] / r[0], 250 + offset, 0.5);
  EXPECT_LT(std::sqrt(r[2]), 0.1);

  // The same seed gives the same noise.
  SimInstrument twin;
  sim_init(twin, sim.config);
  SimPort twin_port(twin);
  twin_port.set_settings("115200,n,8,1");
  std::string error;
  ASSERT_TRUE(twin_port.open(error));
  sim_init(sim, sim.config);
  EXPECT_EQ(ask(port, "NT1000"), "OK");
  EXPECT_EQ(ask(twin_port, "NT1000"), "OK");
  EXPECT_EQ(ask(port, "NTD"), ask(twin_port, "NTD"));
}

TEST_F(SimKst, RotorSupplyIsRegulatedIntoItsWindow) {
  const double counts_per_volt = 2476.233658278546;
  EXPECT_EQ(ask(port, "PWa"), "444");
  seams.clock.advance(500);
  std::vector<double> rt = fields("RT");
  ASSERT_GE(rt.size(), 13u);
  EXPECT_NEAR(rt[0], 16096 / counts_per_volt, 371 / counts_per_volt);
  double on = number("PWb");
  EXPECT_GT(on, 89) << "the factory duty is too low for 6.5 V and is raised";
  // A higher target needs more duty.
  EXPECT_EQ(ask(port, "PWC" + std::to_string(std::lround(8.0 * counts_per_volt))), "OK");
  seams.clock.advance(500);
  EXPECT_GT(number("PWb"), on);
  EXPECT_NEAR(fields("RT")[0], 8.0, 371 / counts_per_volt);
}

TEST_F(SimKst, IoStatusShowsLimitsAndInversion) {
  EXPECT_EQ(ask(port, "CF1A" + std::to_string(sim.physics.zero_counts)), "OK");
  set_load(100);
  // Factory line B has function 16, torque in limit, with limits ILC and ILD.
  long bits = std::strtol(ask(port, "IO*").c_str(), nullptr, 16);
  EXPECT_TRUE(bits & 2) << "line B watches the torque, which is inside +-110 %";
  set_load(2400);  // 120 % of full scale
  bits = std::strtol(ask(port, "IO*").c_str(), nullptr, 16);
  EXPECT_FALSE(bits & 2);
  EXPECT_EQ(ask(port, "IOI2"), "OK");
  bits = std::strtol(ask(port, "IO*").c_str(), nullptr, 16);
  EXPECT_TRUE(bits & 2) << "an inverted line shows the opposite";
}

TEST_F(SimKst, AnalogOutputOverrideIsHeldUntilEnded) {
  EXPECT_EQ(ask(port, "@OA32971"), "OK");
  EXPECT_EQ(sim.override_counts.at('A'), 32971);
  EXPECT_EQ(ask(port, "@OA70000"), "!");
  EXPECT_EQ(ask(port, "@OA"), "OK");
  EXPECT_EQ(sim.override_counts.count('A'), 0u);
  EXPECT_EQ(ask(port, "AOM54000"), "OK");
  EXPECT_EQ(ask(port, "AOM"), "54000");
}

TEST_F(SimKst, TheHzymKeepsHexValuesAndTenHistoryRecordsAndReadsInHex) {
  SimConfig config;
  config.family = SimFamily::Hzym;
  config.noise_uvpv = 0;
  start(config);
  sim.physics.zero_counts = 800;
  set_load(0);
  const std::string empty(76, '0'), record(76, 'A');
  EXPECT_EQ(ask(port, "VR", 0), "1.5.4");
  EXPECT_EQ(ask(port, "FS1", 0), "44FA0000") << "2000 as a single";
  EXPECT_EQ(ask(port, "HS9", 0), empty);
  EXPECT_EQ(ask(port, "HS3" + record, 0), "OK");
  EXPECT_EQ(ask(port, "HS3", 0), record);
  EXPECT_EQ(ask(port, "HS3ABC", 0), "!") << "a record is 76 hex digits";
  EXPECT_EQ(ask(port, "HS10", 0), "!") << "slots 0 to 9";
  EXPECT_EQ(ask(port, "XC1", 0), "00C8") << "a quarter of the rotor's 800 counts";
  EXPECT_EQ(ask(port, "OF==00C8", 0), "OK") << "a configuration load's send form";
  EXPECT_EQ(ask(port, "OF", 0), "00C8");
  EXPECT_EQ(ask(port, "XC1", 0), "0000");
  EXPECT_EQ(ask(port, "ASC", 0), "OK");
  EXPECT_EQ(ask(port, "XC1", 0), "9DB0")
      << "-25168: the negative shunt, 0.3 % weaker than the positive";
  EXPECT_EQ(ask(port, "UIA", 0), "!") << "none of the KST's own vocabulary";
}

TEST(SimProfile, ShapesGiveTheirValuesOverTime) {
  struct Case {
    const char* text;
    double at_ms, expected;
  };
  const Case cases[] = {{"42", 5000, 42},
                        {"constant:-7.5", 0, -7.5},
                        {"step:0:100:2000", 1999, 0},
                        {"step:0:100:2000", 2000, 100},
                        {"sine:10:5:4000", 1000, 15},
                        {"sine:10:5:4000", 3000, 5},
                        {"ramp:0:200:1000", 250, 50},
                        {"ramp:0:200:1000", 5000, 200}};
  for (const auto& c : cases) {
    SimProfile p;
    ASSERT_TRUE(sim_parse_profile(c.text, p)) << c.text;
    EXPECT_NEAR(sim_profile_value(p, c.at_ms), c.expected, 1e-9) << c.text << " @" << c.at_ms;
  }
  SimProfile untouched{SimShape::Constant, 3};
  for (const char* bad : {"", "step:1:2", "sine:1:2:0", "wobble:1:2:3", "ramp:a:b:c"}) {
    EXPECT_FALSE(sim_parse_profile(bad, untouched)) << bad;
    EXPECT_EQ(untouched.a, 3);
  }
}

}  // namespace
}  // namespace ovn
