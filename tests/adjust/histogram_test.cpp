// The live histograms' model: the buckets scaled against the family's noise limit, where a
// reading falls, what the window shows, and the instrument's readings filling the bell.

#include "adjust/histogram.h"

#include "adjust/noise_fixture.h"
#include "instrument/tm_info.h"

namespace ovn::test {
namespace {

// A histogram of the torque readings: L uV/V allowed, `step` uV/V a raw count.
FrmTmHistogram torque_form(double l, double step) {
  FrmTmHistogram h;
  h.max_uvpv_noise = l;
  h.uvpv_per_raw = step;
  histogram_reset(h);
  return h;
}

TEST(Histogram, BucketsSpanThreeLimitsEitherSideOfTheMeanAboutOneRawStepEach) {
  struct Case {
    double l, step;
    int count;
  } cases[] = {
      {1.0, 0.1, 61},    // 6 * 1.001 / 0.1 = 60.06: the upper whole number
      {0.5, 0.1, 60},    // 30.03 buckets would be too coarse: at least 60
      {10.0, 0.1, 300},  // at most 300
      {2.0, 0.05, 241},
  };
  for (const Case& c : cases) {
    FrmTmHistogram h = torque_form(c.l, c.step);
    stts_update(h.record, 100.0);
    histogram_setup(h);
    EXPECT_EQ(h.count, c.count) << c.l << " " << c.step;
    EXPECT_DOUBLE_EQ(h.lo, 100 - 3 * c.l);
    EXPECT_DOUBLE_EQ(h.hi, 100 + 3 * c.l);
    EXPECT_DOUBLE_EQ(h.size, 6 * c.l / c.count);
  }
}

TEST(Histogram, AReadingFallsInTheNearestBucketAndOutsideOnlyInTheRecord) {
  FrmTmHistogram h = torque_form(1.0, 0.1);
  stts_update(h.record, 0.0);
  histogram_setup(h);  // -3 to 3 in 61 buckets
  h.record = stts_empty();
  histogram_add(h, -3.0);  // the lower edge: the first bucket
  histogram_add(h, 3.0);   // the upper edge: the last bucket
  histogram_add(h, 3.0001);
  histogram_add(h, -7.0);
  histogram_add(h, 0.0);
  histogram_add(h, 0.04);  // nearer the centre bucket than the next
  EXPECT_EQ(h.buckets[0], 1);
  EXPECT_EQ(h.buckets[61], 1);
  EXPECT_EQ(h.buckets[30] + h.buckets[31], 2);
  EXPECT_EQ(h.buckets[static_cast<size_t>(h.highest)], 2);
  EXPECT_EQ(stts_num(h.record), 6);
  histogram_texts(h);
  EXPECT_EQ(h.title, "61 Buckets[-3.0000,3.0000]  0.984 RRC/Bucket");
  EXPECT_EQ(h.lb_count, "Readings:6  Max=2");
  EXPECT_EQ(h.lb_static.substr(h.lb_static.find("Min,Max")), "Min,Max=[-7.0000,3.0001]");
}

TEST(Histogram, WithoutTheLimitTheWidthFollowsTheDeviationAndNoneKeepsTheBuckets) {
  FrmTmHistogram h = torque_form(1.0, 0.1);
  h.cb_max_allow_noise = false;
  stts_update(h.record, 5.0);
  histogram_setup(h);
  EXPECT_EQ(h.size, 0) << "one reading has no deviation: nothing to scale by";
  stts_update(h.record, 7.0);  // mean 6, deviation sqrt(2)
  histogram_setup(h);
  EXPECT_NEAR(h.hi - h.lo, 6 * std::sqrt(2.0), 1e-12);
  const double lo = h.lo, hi = h.hi;
  h.record = stts_empty();
  stts_update(h.record, 9.0);
  histogram_setup(h);
  EXPECT_EQ(h.lo, lo);
  EXPECT_EQ(h.hi, hi);
}

TEST(Histogram, HidingEmptyBucketsClosesUpTheBarsAndTheMouseNamesTheOneUnderIt) {
  FrmTmHistogram h = torque_form(1.0, 0.1);
  stts_update(h.record, 0.0);
  histogram_setup(h);
  for (double x : {-1.0, -1.0, 2.0}) histogram_add(h, x);
  EXPECT_EQ(histogram_bars(h).size(), 62u);
  h.cb_show_empty = false;
  const std::vector<HistogramBar> bars = histogram_bars(h);
  ASSERT_EQ(bars.size(), 2u);
  EXPECT_EQ(bars[0].readings, 2);
  EXPECT_LT(bars[0].from, -1.0);
  EXPECT_GT(bars[0].to, -1.0);
  EXPECT_EQ(histogram_mouse(h, 1.2), "[1.9672,2.0656]: 1 readings");
  EXPECT_EQ(histogram_mouse(h, 2.0), "");
}

TEST(Histogram, ResetEvery2000SamplesClearsTheCountsAndTheRecordThere) {
  FrmTmHistogram h = torque_form(1.0, 0.1);
  double x = 0;
  h.read = [&x] { return x += 0.1; };
  h.cb_reset_2000 = true;
  for (int i = 0; i < 1999; ++i) histogram_tick(h, 0);
  EXPECT_EQ(stts_num(h.record), 1999);
  histogram_tick(h, 0);
  EXPECT_EQ(stts_num(h.record), 0);
  EXPECT_EQ(h.buckets[static_cast<size_t>(h.highest)], 0);
  EXPECT_FALSE(h.due) << "the buckets stay where they were";
}

class HistogramLive : public NoiseTest {};

TEST_F(HistogramLive, TheInstrumentsReadingsFillABellAboutTheirMean) {
  open_kst(0.5);
  sim.physics.torque.a = 0;
  const TmInfoRecord& r = tm_info_current_record();
  FrmTmHistogram h = torque_form(r.max_uvpv_noise, r.uvpv_per_raw);
  h.read = [] { return tm_info_read_uvpv(kTmInfoCurrent); };
  histogram_tick(h, 200);
  ASSERT_FALSE(h.due) << "the first readings set the buckets up";
  const double centre = (h.lo + h.hi) / 2;
  for (int i = 0; i < 20; ++i) histogram_tick(h, 200);
  EXPECT_GT(stts_num(h.record), 100);
  // The fullest bucket lies within a deviation of the centre; the curve peaks near it.
  EXPECT_NEAR(h.lo + h.highest * h.size, centre, stts_stdev(h.record) + h.size);
  EXPECT_GT(histogram_normal(h, stts_mean(h.record)), histogram_normal(h, h.hi));
  EXPECT_GE(histogram_y_top(h), h.buckets[static_cast<size_t>(h.highest)]);
}

TEST_F(HistogramLive, TheRateFormCountsTheReadingsPerSecondInTypedBuckets) {
  open_kst(0.5);
  FrmTmHistogram h;
  h.rate_form = true;
  h.txt_bucket_size = "2";
  h.txt_yaxis = "50";
  h.read = [] { return tm_info_read_uvpv(kTmInfoCurrent); };
  histogram_reset(h);
  for (int i = 0; i < 10; ++i) histogram_tick(h, 200);
  EXPECT_EQ(h.count, 100);
  EXPECT_DOUBLE_EQ(h.hi - h.lo, 200);
  EXPECT_GT(stts_mean(h.record), 0);
  EXPECT_NE(h.title.find(" 2.000 Hz/Bucket"), std::string::npos) << h.title;
  EXPECT_EQ(histogram_y_top(h), 50);
}

}  // namespace
}  // namespace ovn::test
