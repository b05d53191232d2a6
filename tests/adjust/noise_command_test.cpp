#include "adjust/noise_fixture.h"
#include "adjust/noise_test.h"
#include "foundation/kw.h"

namespace ovn::test {
namespace {

class NoiseCommandTest : public NoiseTest {
 protected:
  std::string summary(const std::string& name = "ovn-noise-summary.txt") {
    return read_file(noise_folder() + "/" + name);
  }
  std::vector<std::string> words(const std::string& line) {
    std::vector<std::string> out;
    for (const std::string& w : kw_split(line, " "))
      if (!w.empty()) out.push_back(w);
    return out;
  }
};

const char* const kWait = "Please wait for noise test completion...";

TEST_F(NoiseCommandTest, ANoiseTestOnAdCountsWritesItsSummaryRowAndShowsItsVerdict) {
  open_kst();
  op.expect_gib(std::string(kWait) + " (last one)", 0);
  op.expect_gib("Noise Test:A/D 3 second", "OK");
  ASSERT_TRUE(noise_command(501));

  ASSERT_EQ(op.shown.size(), 2u);
  EXPECT_TRUE(op.shown[0].gib.non_modal());
  EXPECT_EQ(op.shown[0].gib.ticks, 38) << "3 s x 1.1 + 0.5";
  EXPECT_FALSE(op.box_open) << "the wait box is closed after the acquisition";
  const Shown& verdict = op.shown[1];
  EXPECT_EQ(verdict.flags, 0) << "no warning";
  EXPECT_EQ(verdict.buttons, (std::vector<std::string>{"OK", "Save data to " + noise_uvpv_file()}));
  const std::vector<std::string> text = lines_of(verdict.text);
  ASSERT_GE(text.size(), 8u);
  EXPECT_EQ(text[0], "Torquemeter:KST   Full Scale=2001.000 lbf-in");
  EXPECT_EQ(text[1], "Noise Test:A/D 3 second");
  EXPECT_EQ(text[2], "Limits: [12.178,40.592] A/D  [0.3,1] uV/V  [0.000002,0.000006] %FS");
  EXPECT_EQ(text[4], " " + stts_row_heading());
  EXPECT_EQ(words(text[5]).at(3), "12000") << text[5];
  EXPECT_EQ(text[6].substr(0, 7), "*Total ") << "the mean is known within a count";
  EXPECT_EQ(verdict.text.find("WARNING"), std::string::npos);
  EXPECT_EQ(text.back(), "***** Adjustment / Tare / Filter Ignored *****")
      << "the simulated KST stands at filter 9";

  // The summary file: its heading, then one row with the totals.
  const std::vector<std::string> rows = lines_of(summary());
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0],
            "#Time    Date       MD           Shaft          RawStd     RawSpr    uV/VStd    "
            "uV/VSpr  SprRatio   Number Model");
  const std::vector<std::string> w = words(rows[1]);
  ASSERT_EQ(w.size(), 12u) << rows[1];
  EXPECT_EQ(w[0], "10:00:0" + w[0].substr(7));
  EXPECT_EQ(w[1], "2026-11-23");
  EXPECT_EQ(w[2], "52002V(2-3");
  EXPECT_EQ(w[3], tm_info_record(0).shaft);
  const double raw_std = std::stod(w[4]);
  EXPECT_NEAR(raw_std, 0.5 / 0.024635402112829115, 1.0);
  EXPECT_NEAR(std::stod(w[6]), raw_std * 0.024635402112829115, 0.0001);
  EXPECT_NEAR(std::stod(w[8]), 1.0, 0.3) << "Gaussian noise";
  EXPECT_EQ(w[9], "12000");
  EXPECT_EQ(w[10] + " " + w[11], "ZQVD52002V(2-3 lbf-in)");
  EXPECT_EQ(read_file(adj_results_file("", "")), verdict.text + "\r\n\r\n")
      << "the verdict is kept in the results file";
  EXPECT_FALSE(std::filesystem::exists(noise_uvpv_file())) << "OK saves no data";
}

TEST_F(NoiseCommandTest, SpikyNoiseGivesTheNonGaussianWarning) {
  open_kst();
  sim.config.spike_fraction = 0.002;
  op.expect_gib(kWait, 0);
  op.expect_gib("Non-Gaussian", "OK");
  noise_command(501);
  const Shown& verdict = op.last();
  EXPECT_EQ(verdict.flags, 48);
  const std::string text = verdict.text;
  const size_t at = text.find("WARNING: Non-Gaussian noise (ratio=");
  ASSERT_NE(at, std::string::npos) << text;
  const size_t close = text.find(")\r\n   (Too many large spikes in the data)\r\n", at);
  ASSERT_NE(close, std::string::npos) << text;
  EXPECT_GT(std::stod(text.substr(at + 35, close - at - 35)), 1.5);
}

TEST_F(NoiseCommandTest, RepeatedTestsFollowTheSettingsAndSaveTheirRowsOnRequest) {
  open_kst();
  seams.settings.put("ovn-tm-info", "Settings", "Noise-Test-Reps", "2");
  seams.settings.put("ovn-tm-info", "Settings", "Noise-Test-Time", "0.5");  // below the range
  sim_set_param(sim, "FL1", "0");
  op.expect_gib(std::string(kWait) + " (1 left after this one)", 0);
  op.expect_gib(std::string(kWait) + " (last one)", 0);
  op.expect_gib("Noise Test:A/D 1 second x 2", "Save data to " + noise_uvpv_file());
  noise_command(502);

  const std::vector<std::string> text = lines_of(op.last().text);
  EXPECT_EQ(words(text.at(5)).at(3), "4000");
  EXPECT_EQ(words(text.at(6)).at(3), "4000");
  EXPECT_EQ(words(text.at(7)).at(2), "8000") << text[7];
  EXPECT_EQ(op.last().text.find("Ignored"), std::string::npos) << "no tare, no filter";
  const std::vector<std::string> csv = lines_of(read_file(noise_uvpv_file()));
  ASSERT_EQ(csv.size(), 3u);
  EXPECT_EQ(csv[0], noise_csv_heading());
  for (int i : {1, 2}) {
    const std::vector<std::string> f = kw_split(csv[i], ",");
    ASSERT_EQ(f.size(), 13u) << csv[i];
    EXPECT_EQ(f[1], "75.00") << "the temperature of the repetition";
    EXPECT_EQ(f[2], "Noise Test:A/D");
    EXPECT_EQ(f[6], "4000");
  }
}

// The operator's "Noise Test Samples" makes each repetition a count of samples, not a time.
TEST_F(NoiseCommandTest, ASampleCountSettingTakesThatManySamplesARepetition) {
  open_kst();
  noise_settings("600,10");
  EXPECT_EQ(noise_samples(), 600);
  op.expect_gib(std::string(kWait) + " (last one)", 0);
  op.expect_gib("Noise Test:A/D 600 samples", "OK");
  noise_command(501);
  EXPECT_EQ(op.shown[0].gib.ticks, 7) << "tenths: 600 samples at 4000/s, 0.15 s x 1.1 + 0.5";
  EXPECT_EQ(words(lines_of(op.last().text).at(5)).at(3), "600");

  for (const char* text : {",10", "none,10", "0,10", ""}) {
    noise_settings(text);
    EXPECT_EQ(noise_samples(), 0) << text << ": the test runs by time";
  }
}

TEST_F(NoiseCommandTest, TheFilteredTestJudgesOnlyTheUpperLimitAndKeepsItsOwnSummary) {
  open_kst();
  op.expect_gib(kWait, 0);
  op.expect_gib("Filter=", "OK");
  noise_command(504);
  const std::vector<std::string> text = lines_of(op.last().text);
  EXPECT_EQ(text.at(1), "Noise Test:Filtered lbf-in 3 second   Filter=1.1 Hz");
  EXPECT_EQ(op.last().text.find("WARNING"), std::string::npos)
      << "filtered noise far below the lower limit is no fault";
  const std::vector<std::string> rows = lines_of(summary("ovn-noise-summary-lbfin.txt"));
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(words(rows[0]), (std::vector<std::string>{"#Time", "Date", "MD", "Shaft", "LbfInStd",
                                                      "LbfInSpr", "uV/VStd", "uV/VSpr", "SprRatio",
                                                      "Filter", "Number", "Model"}));
  EXPECT_EQ(words(rows[1]).at(9), "1.1");
  EXPECT_EQ(words(rows[1]).at(10), "12000");
  EXPECT_FALSE(std::filesystem::exists(noise_folder() + "/ovn-noise-summary.txt"));
}

TEST_F(NoiseCommandTest, TheLbfInTestTakesBothFormsAndAddsARowToItsCsv) {
  open_kst();
  op.expect_gib(kWait, 0);
  op.expect_gib("RESULT:", "OK");
  noise_command(503);
  const std::string text = op.last().text;
  EXPECT_NE(text.find("\r\nRaw:\r\n"), std::string::npos);
  EXPECT_NE(text.find("\r\nFiltered:\r\n"), std::string::npos);
  EXPECT_NE(text.find("***** Tare / Filter Ignored *****"), std::string::npos);
  std::vector<std::string> s = sent();
  EXPECT_NE(std::find(s.begin(), s.end(), "ANT12000"), s.end());
  EXPECT_NE(std::find(s.begin(), s.end(), "ANT-12000"), s.end());
  const std::vector<std::string> csv = lines_of(read_file(noise_folder() + "/ovn-noise-lbfin.csv"));
  ASSERT_EQ(csv.size(), 2u);
  EXPECT_EQ(csv[0], "DateTime,lbfin,Number,Mean,StdDev,Min,Max,Spread,Ratio,UID");
  const std::vector<std::string> f = kw_split(csv[1], ",");
  ASSERT_EQ(f.size(), 10u);
  EXPECT_NEAR(std::stod(f[1]), 20.3 * 2001.0002 / 655360000, 0.000005) << "raw noise in lbf-in";
  EXPECT_EQ(f[2], "12000");
  EXPECT_EQ(f[9], tm_info_record(0).uid);
}

TEST_F(NoiseCommandTest, MenuCaptionsCarryTheSettings) {
  seams.settings.put("ovn-tm-info", "Settings", "Noise-Test-Time", "5");
  seams.settings.put("ovn-tm-info", "Settings", "Noise-Test-Reps", "200");  // above the range
  EXPECT_EQ(noise_menu_caption(1), "Noise Test: A/D 5 second");
  EXPECT_EQ(noise_menu_caption(2), "Noise Test: A/D 5 second x 101");
  EXPECT_EQ(noise_menu_caption(4), "Noise Filtered lbf-in  5 second");
  EXPECT_EQ(noise_menu_caption(5), "Noise Filtered lbf-in  5 second x 101");
  EXPECT_EQ(noise_menu_caption(3), "");
  EXPECT_FALSE(noise_command(500));
  EXPECT_FALSE(noise_command(506));
}

}  // namespace
}  // namespace ovn::test
