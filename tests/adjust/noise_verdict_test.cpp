#include "adjust/noise_fixture.h"
#include "adjust/noise_test.h"

namespace ovn::test {
namespace {

using VerdictTest = NoiseTest;

// A record of 16000 samples of deviation `d` whose spread is `ratio` times that expected
// of Gaussian noise.
STTS noise_of(double d, double ratio, double n = 16000) {
  const double spread = ratio * stts_expected_spread(n) * d;
  return stts_new(n, 0, d * d, -spread / 2, spread / 2);
}

const char* const kSpikes = "   (Too many large spikes in the data)\r\n";
const char* const kLacks = "   (Data lacks extreme readings)\r\n";

// A KST's limits are 0.3 to 1 uV/V.
TEST_F(VerdictTest, NoiseWarningsOfAKst) {
  struct Case {
    STTS stats;
    double scale;
    bool quiet;
    double temperature;
    std::string text;
  };
  const std::string above =
      "WARNING: Stdev noise(1.200uV/V)is outside the limits of [0.3,1]uV/V\r\n";
  const Case cases[] = {
      {noise_of(0.5, 1), 1, false, 75, ""},
      {noise_of(1.0, 1), 1, false, 75, ""},  // at a limit passes
      {noise_of(0.3, 1), 1, false, 75, ""},
      {noise_of(1.2, 1), 1, false, 75, above},
      {noise_of(1.2, 1), 1, true, 75, above},
      {noise_of(0.2, 1), 1, false, 75,
       "WARNING: Stdev noise(0.200uV/V)is outside the limits of [0.3,1]uV/V\r\n"},
      {noise_of(0.2, 1), 1, true, 75, ""},           // quiet: no lower limit
      {noise_of(24.0, 1), 1.0 / 48, false, 75, ""},  // 24 counts of 1/48 uV/V
      {noise_of(0.5, 1.49), 1, false, 75, ""},
      {noise_of(0.5, 1.51), 1, false, 75,
       std::string("WARNING: Non-Gaussian noise (ratio=1.5100)\r\n") + kSpikes},
      {noise_of(0.5, 0.67), 1, false, 75, ""},
      {noise_of(0.5, 0.66), 1, false, 75,
       std::string("WARNING: Non-Gaussian noise (ratio=0.6600)\r\n") + kLacks},
      {noise_of(0.5, 3), 1, true, 75, ""},  // quiet: no ratio
      {noise_of(1.2, 3), 1, false, 75,
       above + "WARNING: Non-Gaussian noise (ratio=3.0000)\r\n" + kSpikes},
      {stts_new(1, 5, 0, 5, 5), 1, false, 75,  // one sample: deviation 0, no ratio
       "WARNING: Stdev noise(0.000uV/V)is outside the limits of [0.3,1]uV/V\r\n"},
      {stts_new(1, 5, 0, 5, 5), 1, true, 75, ""},
      {noise_of(0.5, 1), 1, false, -500, ""},  // none read
      {noise_of(0.5, 1), 1, false, 40, ""},
      {noise_of(0.5, 1), 1, false, 130, ""},
      {noise_of(0.5, 1), 1, false, 39.996,
       "WARNING: Temperature (40.00\xB0) outside the range of 40\xB0 to 130\xB0\r\n"},
      {noise_of(0.5, 1), 1, true, 130.5,
       "WARNING: Temperature (130.50\xB0) outside the range of 40\xB0 to 130\xB0\r\n"},
  };
  open(SimFamily::Kst);
  for (size_t i = 0; i < std::size(cases); ++i) {
    const Case& c = cases[i];
    EXPECT_EQ(adj_noise_warnings(c.stats, c.scale, c.quiet, c.temperature), c.text) << "case " << i;
  }
}

TEST_F(VerdictTest, WithoutNoiseLimitsNeitherNoiseNorRatioIsJudged) {
  open(SimFamily::Hzym, kHzymReplies);  // model "No-Model-Number": limits -1 and -1
  EXPECT_EQ(adj_noise_warnings(noise_of(50, 4), 1, false, 75), "");
  EXPECT_EQ(adj_noise_warnings(noise_of(50, 4), 1, false, 140),
            "WARNING: Temperature (140.00\xB0) outside the range of 40\xB0 to 130\xB0\r\n");
}

TEST_F(VerdictTest, TheVerdictIsAppendedToTheResultsFileAndShown) {
  open(SimFamily::Kst);
  const std::string file = noise_folder() + "/ovn-noise-kst.txt";
  EXPECT_EQ(adj_results_file("", ""), file);
  op.expect_gib("Zero Adjustment finished.", "Cancel");
  EXPECT_EQ(adj_verdict("Zero Adjustment finished.", "OK|Cancel", false, "", "", false), 1);
  op.expect_gib("WARNING: x", "Continue Anyway");
  EXPECT_EQ(adj_verdict("WARNING: x", "Continue Anyway|?!Cancel", true, "", "", false), 0);
  EXPECT_EQ(read_file(file), "Zero Adjustment finished.\r\nWARNING: x\r\n");
  ASSERT_EQ(op.shown.size(), 2u);
  EXPECT_EQ(op.shown[0].flags, 0);
  EXPECT_EQ(op.shown[0].buttons, (std::vector<std::string>{"OK", "Cancel"}));
  EXPECT_EQ(op.shown[1].flags, 48);
  EXPECT_EQ(op.shown[1].font, "Courier New");
}

// With the file asked, a caption row names the file; the caller's indices stand.
TEST_F(VerdictTest, TheFileCaptionRowIsNoChoiceOfItsOwn) {
  struct Case {
    std::string buttons;
    int press;
    int result;
  };
  const Case cases[] = {
      {"OK|Cancel", 0, 0}, {"OK|Cancel", 1, 0}, {"OK|Cancel", 2, 1}, {"OK", 1, 0}, {"A|B|C", 3, 2}};
  open(SimFamily::Kst);
  const std::string file = noise_folder() + "/ovn-filtered-spread-tests-kst.log";
  for (const Case& c : cases) {
    op.expect_gib("Spread", c.press);
    EXPECT_EQ(adj_verdict("Spread", c.buttons, false, ".log", "ovn-filtered-spread-tests-", true),
              c.result)
        << c.buttons << " pressed " << c.press;
    const std::vector<std::string>& shown = op.last().buttons;
    ASSERT_GE(shown.size(), 2u);
    EXPECT_EQ(shown[1], "(data recorded in " + file + ")");
    EXPECT_EQ(op.last().gib.buttons.buttons[1].row, 1) << "a row of its own";
  }
}

}  // namespace
}  // namespace ovn::test
