#include "adjust/adjust_calc.h"

#include "adjust/noise_fixture.h"
#include "foundation/hexstr.h"

namespace ovn::test {
namespace {

using Sends = std::vector<std::string>;

class AdjustCalcTest : public NoiseTest {
 protected:
  // A noiseless KST or KSLW whose zero sits at 2000 counts, 40.591992 counts a lbf-in.
  void open_quiet(SimFamily family) {
    open(family);
    sim.physics.zero_counts = 2000;
    port.clear_transcript();
  }
  // The requests of the transcript without the address letter of a KST.
  Sends wire() const {
    Sends out;
    for (const std::string& s : sent())
      out.push_back(sim_family_has_address(sim.config.family) ? s.substr(1) : s);
    return out;
  }
  // Each constant kept by adj_sent went out on the line, in that order.
  void expect_on_wire(const Sends& expected) {
    EXPECT_EQ(adj_sent(), expected);
    Sends written;
    for (const std::string& s : wire())
      if (std::find(expected.begin(), expected.end(), s) != expected.end()) written.push_back(s);
    EXPECT_EQ(written, expected);
  }
  std::string compute(int32_t code, double load) {
    adj_sent_clear();
    STTS stats;
    return adj_compute(code, load, stats);
  }
};

TEST_F(AdjustCalcTest, KstAndKslwWriteTheReadingAboveZeroAndTheLoadAsAFractionOfFullScale) {
  struct Case {
    SimFamily family;
    int32_t code;
    double torque, load;
    Sends sends;
  };
  // Full scale 2001.0002 lbf-in; 1000 lbf-in is 40591.992 counts, read in whole counts.
  const std::string half = double_text(1000 / 2001.0002);
  const std::string minus_half = double_text(-1000 / 2001.0002);
  const std::string quarter = double_text(-500 / 2001.0002);
  const Case cases[] = {
      {SimFamily::Kst, kPointZero, 0, 0, {"TCA<T>", "CF1A2000"}},
      {SimFamily::Kst, kPointPositive, 1000, 1000, {"CF1B40592", "CE1B" + half, "TCC<T>"}},
      {SimFamily::Kst, kPointNegative, -1000, -1000, {"CF1C-40592", "CE1C" + minus_half}},
      {SimFamily::Kst, kPointNegative2, -500, -500, {"CF1E-20296", "CE1E" + quarter}},
      {SimFamily::Kslw, kPointZero, 0, 0, {"TCA=<T>", "CF1A=2000"}},
      {SimFamily::Kslw, kPointPositive, 1000, 1000, {"CF1B=40592", "CE1B=" + half, "TCC=<T>"}},
      {SimFamily::Kslw, kPointPositive2, 500, 500, {}},  // a KSLW keeps two load points
  };
  for (const Case& c : cases) {
    open_quiet(c.family);
    // The temperature as the session reads it, deg F through deg C and back.
    const std::string t = double_text(tm_info_read_temp_degf(kTmInfoCurrent));
    Sends sends;
    for (const std::string& m : c.sends) sends.push_back(kw_replace(m, "<T>", t));
    port.clear_transcript();
    if (c.code != kPointZero) sim_set_param(sim, "CF1A", "2000");
    sim.physics.torque.a = c.torque;
    adj_sent_clear();
    double load = c.load;
    STTS stats;
    adj_compute(c.code, load, stats);
    SCOPED_TRACE(sim_family_name(c.family) + " " + std::to_string(c.code));
    expect_on_wire(sends);
    EXPECT_EQ(wire().front(), "ASA") << "the shunt goes off first";
    if (c.sends.empty()) continue;
    if (c.family == SimFamily::Kst) {
      EXPECT_EQ(stats.num, 12000) << "3 s at 4000 a second";
    }
    EXPECT_EQ(stats.mean, c.code == kPointZero ? 2000 : std::round(40.591992 * c.torque))
        << "a load point's reading is above the stored zero";
  }
}

TEST_F(AdjustCalcTest, AShuntThatWillNotGoOffStopsTheStepBeforeAnythingIsMeasured) {
  open_quiet(SimFamily::Kst);
  sim.table["ASA"] = "!";
  op.expect_gib("", "Skip");
  EXPECT_EQ(compute(kPointZero, 0), "ERROR:Unable to turn off CAL\r\n");
  EXPECT_EQ(adj_sent(), Sends{});
  for (const std::string& s : wire()) EXPECT_EQ(s, "ASA");
}

// A WQPM of firmware 3.050 counts over its 3 second test: its zero of 8300 Hz is the pair
// 24900 / 180000000, the points follow it.
Replies wqpm(const std::string& ntd) {
  return with(kWqpmReplies, {{"ASA", "OK"},
                             {"AD", "1500,0"},  // 10 deg C
                             {"TZA", "41200000"},
                             {"NT", "2"},
                             {"NTD", ntd},
                             {"CIA24900", "OK"},
                             {"CIB180000000", "OK"},
                             {"CIC27900", "OK"},
                             {"CID180000000", "OK"},
                             {"CIE23400", "OK"},
                             {"CIF180000000", "OK"},
                             {"TZA10", "OK"},
                             {"CCC43FA0000", "OK"}});
}
// 6300 samples of mean `mean`, deviation 1 and a Gaussian spread.
std::string wqpm_reading(double mean) {
  return "6300," + double_text(6300 * mean) + ",1," + double_text(mean - 3.7) + "," +
         double_text(mean + 3.7);
}

TEST_F(AdjustCalcTest, WqpmZeroFitsTheZeroPairAndMovesBothSpansWithIt) {
  Replies table = wqpm(wqpm_reading(8320));
  for (const char* m : {"CIA24960", "CIC27960", "CIE23460"}) table[m] = "OK";
  open(SimFamily::Wqpm, table);
  port.clear_transcript();
  EXPECT_EQ(compute(kPointZero, 0), "");
  // 20 Hz up at zero: the spans of 9300 and 7800 Hz follow.
  expect_on_wire({"CIA24960", "CIB180000000", "CIC27960", "CID180000000", "CIE23460",
                  "CIF180000000", "TZA10"});
  EXPECT_TRUE(logged("OLDZ:8300/60000000 NEWZ:24960/180000000 20.000"));
  EXPECT_TRUE(logged("OLDP:9300/60000000 NEWP:27960/180000000 20.000"));
}

TEST_F(AdjustCalcTest, WqpmZeroThatFindsNoPairWritesNothing) {
  open(SimFamily::Wqpm, wqpm("0,0,0,1,0"));
  port.clear_transcript();
  const std::string report = compute(kPointZero, 0);
  EXPECT_EQ(report.substr(0, 18), "Error reading 0!\r\n");
  EXPECT_EQ(report.find("WARNING") != std::string::npos, true) << "no noise to judge: warned";
  EXPECT_EQ(adj_sent(), Sends{});
}

TEST_F(AdjustCalcTest, WqpmLoadFitsItsPairAndSendsTheLoadAsASingle) {
  open(SimFamily::Wqpm, wqpm(wqpm_reading(9300)));
  port.clear_transcript();
  EXPECT_EQ(compute(kPointPositive, 500), "");
  expect_on_wire({"CIC27900", "CID180000000", "CCC43FA0000"});
  EXPECT_EQ(compute(1204, 500).substr(0, 30), "WARN:Unknown adjustment:1204\r\n");
  EXPECT_EQ(adj_sent(), Sends{});
}

TEST_F(AdjustCalcTest, HzymOffsetAndGainsWithTheirWarnings) {
  struct Case {
    int32_t code;
    std::string counts;  // each sample, as the HZYM sends it: four hex digits
    double load;
    Sends sends;
    std::string report;
  };
  const Case cases[] = {
      {kPointZero, "FC18", 0, {"OF0000", "TR0000", "OFFC18"}, ""},
      {kPointZero,
       "03E9",
       0,
       {"OF0000", "TR0000", "OF03E9"},
       "WARNING: excessively large offset:1001\r\n"},
      {kPointPositive, "07D0", 1000, {"CC1A3F000000", "SC3F0000003E800000"}, ""},
      {kPointNegative, "F830", -1000, {"CC1B3F000000", "SC3F0000003F000000"}, ""},
      {kPointPositive,
       "07CF",
       1999,
       {"CC1A3F800000", "SC3F8000003E800000"},
       "WARNING: Calibrating at < 20% FS\r\n"},
      {kPointPositive, "0000", 1000, {}, "WARNING: Calibrating at < 20% FS\r\n"},
      {1204, "0000", 1000, {}, "ERROR:Unknown adjustment:1204\r\n"},
  };
  for (const Case& c : cases) {
    Replies table = with(kHzymReplies, {{"ASA", "OK"}, {"XC1", c.counts}, {"DS1", "1"}});
    for (const std::string& s : c.sends) table[s] = "OK";
    open(SimFamily::Hzym, table);
    port.clear_transcript();
    SCOPED_TRACE(std::to_string(c.code) + " at " + c.counts);
    const std::string report = compute(c.code, c.load);
    EXPECT_EQ(report, c.report) << "no noise limits on this model: no noise warnings";
    expect_on_wire(c.sends);
  }
}

TEST_F(AdjustCalcTest, KsvmWritesTheFactorOfItsSideAndKeepsBothFactorsOfOneSign) {
  struct Case {
    std::string aa, other;
    double load;
    Sends sends;
  };
  // Zero at 100 counts, full scale 1000 ("CK"): 1000 counts at 1 lbf-in is 10737418.24.
  const Case cases[] = {
      {"1100", "1073741824", 1, {"CB10737418"}},
      {"1100", "-5", 1, {"CB10737418", "CC5"}},
      {"-900", "1073741824", -1, {"CC10737418"}},
  };
  for (const Case& c : cases) {
    Replies table = with(kKsvmReplies, {{"ASA", "OK"}, {"aa", c.aa}});
    table[c.aa[0] == '-' ? "CB" : "CC"] = c.other;
    for (const std::string& s : c.sends) table[s] = "OK";
    open(SimFamily::Ksvm, table);
    port.clear_transcript();
    SCOPED_TRACE(c.aa + " with " + c.other);
    compute(kPointPositive, c.load);
    expect_on_wire(c.sends);
  }
}

TEST_F(AdjustCalcTest, RdxKeepsThousandthsOfACountAndItsTemperatureFromFirmware142) {
  Replies table = with(kRdxReplies, {{"ASA", "OK"},
                                     {"TP", "30"},
                                     {"NT", "2"},
                                     {"NT8100", "OK"},
                                     {"ND", "8100,16200000,1,1996.3,2003.7"},
                                     {"CFB1001000", "OK"},
                                     {"CEB250", "OK"},
                                     {"CFH600", "OK"},
                                     {"CFA", "999000"}});
  open(SimFamily::Rdx, table);
  port.clear_transcript();
  STTS stats;
  double load = 250;
  adj_sent_clear();
  adj_compute(kPointPositive, load, stats);
  expect_on_wire({"CFB1001000", "CEB250", "CFH600"});
  EXPECT_DOUBLE_EQ(stats.mean, 1001) << "2000 counts less the zero of 999 given back in counts";
}

TEST_F(AdjustCalcTest, CountsPerFullScaleAndGainsOfAKst) {
  open_quiet(SimFamily::Kst);
  EXPECT_DOUBLE_EQ(tm_counts_per_lbfin(kPointPositive), 81224.57635704515);
  EXPECT_DOUBLE_EQ(tm_counts_per_lbfin(kPointNegative), 81224.57635704515);
  sim_set_param(sim, "CF1B", "0");
  EXPECT_EQ(tm_counts_per_lbfin(kPointPositive), 0) << "a point with no reading has no gain";
  std::array<double, kAdjMaxGains> g{};
  sim_set_param(sim, "TA", "5");
  ASSERT_EQ(adj_get_gains(g), 4);
  EXPECT_EQ(g[0], 1.0) << "CF1B of 0 falls back to 1";
  EXPECT_DOUBLE_EQ(g[1], 2001.0002 / 81224.57635704515);
  EXPECT_DOUBLE_EQ(g[2], 2001.0002 * 0.5 / 40612.288);
  EXPECT_DOUBLE_EQ(g[3], 2001.0002 * 0.5 / 40612.288);
}

}  // namespace
}  // namespace ovn::test
