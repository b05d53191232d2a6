#include "adjust/stats.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace ovn {
namespace {

// The textbook two-pass reference: mean first, then the squared deviations from it.
struct TwoPass {
  double mean = 0, m2 = 0, min = 0, max = 0;
};
TwoPass two_pass(const std::vector<double>& xs) {
  TwoPass r;
  for (double x : xs) r.mean += x;
  r.mean /= static_cast<double>(xs.size());
  for (double x : xs) r.m2 += (x - r.mean) * (x - r.mean);
  r.min = r.max = xs[0];
  for (double x : xs) {
    r.min = std::min(r.min, x);
    r.max = std::max(r.max, x);
  }
  return r;
}

STTS one_pass(const std::vector<double>& xs) {
  STTS s = stts_empty();
  for (double x : xs) stts_update(s, x);
  return s;
}

void expect_same(const STTS& got, const STTS& want, const char* what) {
  EXPECT_DOUBLE_EQ(got.num, want.num) << what;
  EXPECT_NEAR(got.mean, want.mean, 1e-12 * (1 + std::fabs(want.mean))) << what;
  EXPECT_NEAR(got.m2, want.m2, 1e-9 * (1 + want.m2)) << what;
  EXPECT_EQ(got.min, want.min) << what;
  EXPECT_EQ(got.max, want.max) << what;
}

const std::vector<std::vector<double>> kDataSets = {
    {2, 4, 4, 4, 5, 5, 7, 9},                // mean 5, m2 32
    {-1.5, 0.25, 3.75, -2.0, 0.0},           // mixed signs
    {1e9 + 4, 1e9 + 7, 1e9 + 13, 1e9 + 16},  // large offset: sums of squares would fail
    {8300.1, 8300.4, 8299.8, 8300.0, 8300.3, 8299.9, 8300.2},
};

TEST(Stats, WelfordAgreesWithTheTwoPassFormula) {
  for (const auto& xs : kDataSets) {
    STTS s = stts_empty();
    for (double x : xs) {
      const double old_mean = s.mean;
      EXPECT_EQ(stts_update(s, x), x - old_mean);
    }
    const TwoPass ref = two_pass(xs);
    const double n = static_cast<double>(xs.size());
    EXPECT_EQ(stts_num(s), n);
    EXPECT_NEAR(stts_mean(s), ref.mean, 1e-12 * std::fabs(ref.mean) + 1e-15);
    EXPECT_NEAR(s.m2, ref.m2, 1e-9 * ref.m2);
    EXPECT_EQ(stts_min(s), ref.min);
    EXPECT_EQ(stts_max(s), ref.max);
    EXPECT_EQ(stts_spread(s), ref.max - ref.min);
    EXPECT_NEAR(stts_variance(s), ref.m2 / (n - 1), 1e-9 * ref.m2);
    EXPECT_NEAR(stts_stdev(s), std::sqrt(ref.m2 / (n - 1)), 1e-9 * std::sqrt(ref.m2));
    EXPECT_NEAR(stts_mean_unc(s), std::sqrt(ref.m2) / (n - 1), 1e-9 * std::sqrt(ref.m2));
  }
  // The classic set, exactly.
  const STTS s = one_pass(kDataSets[0]);
  EXPECT_EQ(s.mean, 5.0);
  EXPECT_EQ(s.m2, 32.0);
  EXPECT_EQ(stts_variance(s), 32.0 / 7.0);
  const STTS big = one_pass(kDataSets[2]);
  EXPECT_EQ(big.mean, 1e9 + 10);
  EXPECT_EQ(big.m2, 90.0);
}

TEST(Stats, FewSamplesGiveZerosNotNonsense) {
  const STTS empty = stts_empty();
  EXPECT_EQ(empty.min, 1.0);
  EXPECT_EQ(empty.max, 0.0);
  EXPECT_EQ(stts_spread(empty), 0.0);
  EXPECT_EQ(stts_stdev(empty), 0.0);
  EXPECT_EQ(stts_ratio(empty), 0.0);

  const STTS one = one_pass({-7.25});
  EXPECT_EQ(one.min, -7.25);  // the empty record's min of 1 is gone
  EXPECT_EQ(one.max, -7.25);
  EXPECT_EQ(stts_stdev(one), 0.0);
  EXPECT_EQ(stts_variance(one), 0.0);
  EXPECT_EQ(stts_spread(one), 0.0);
  EXPECT_EQ(stts_ratio(one), 0.0);
  EXPECT_EQ(stts_mean_unc(one), 0.0);

  const STTS twins = one_pass({3.3, 3.3});
  EXPECT_EQ(twins.m2, 0.0);
  EXPECT_EQ(stts_stdev(twins), 0.0);
  EXPECT_EQ(stts_ratio(twins), 0.0);

  STTS reset = twins;
  stts_reset(reset);
  expect_same(reset, stts_empty(), "reset");
}

TEST(Stats, MergingEqualsOnePassOverAllSamples) {
  for (const auto& xs : kDataSets) {
    const STTS whole = one_pass(xs);
    for (size_t cut = 0; cut <= xs.size(); ++cut) {
      STTS a = one_pass({xs.begin(), xs.begin() + static_cast<long>(cut)});
      const STTS b = one_pass({xs.begin() + static_cast<long>(cut), xs.end()});
      stts_update2(a, b);
      expect_same(a, whole, "merge");
    }
  }
  // An empty right side changes nothing, an empty left side copies.
  const STTS s = one_pass({1, 2, 6});
  STTS a = s;
  stts_update2(a, stts_empty());
  expect_same(a, s, "empty right");
  STTS e = stts_empty();
  stts_update2(e, s);
  expect_same(e, s, "empty left");
  // A right side counted but without extremes (an instrument's summary) keeps the left's.
  STTS c = s;
  stts_update2(c, stts_new(3, 3.0, 0.0, 1.0, 0.0));
  EXPECT_EQ(c.num, 6.0);
  EXPECT_EQ(c.mean, 3.0);
  EXPECT_EQ(c.min, 1.0);
  EXPECT_EQ(c.max, 6.0);
}

TEST(Stats, ShiftAndScaleActAsIfEverySampleHadMoved) {
  const std::vector<double>& xs = kDataSets[1];
  for (double factor : {2.5, -3.0, -0.001}) {
    for (double shift : {0.0, 100.0}) {
      std::vector<double> moved;
      for (double x : xs) moved.push_back(x * factor + shift);
      STTS s = one_pass(xs);
      stts_scale(s, factor, shift);
      expect_same(s, one_pass(moved), "scale");
      EXPECT_GE(s.m2, 0.0);
      EXPECT_LE(s.min, s.max);
    }
  }
  // Shifting an empty record moves min and max, which still say "no extremes".
  STTS e = stts_empty();
  stts_shift(e, 50.0);
  EXPECT_EQ(e.mean, 50.0);
  EXPECT_LT(e.max, e.min);
  EXPECT_EQ(stts_spread(e), 0.0);
  stts_update(e, 7.0);
  EXPECT_EQ(e.min, 7.0);
  EXPECT_EQ(e.max, 7.0);
}

TEST(Stats, SummariesFromTheInstrumentKeepTheirVariance) {
  const STTS s = stts_new(5, 10.0, 2.0, 8.0, 12.0);
  EXPECT_EQ(s.m2, 8.0);
  EXPECT_EQ(stts_variance(s), 2.0);
  const STTS negative = stts_new(-5, 10.0, 2.0, 8.0, 12.0);  // the engineering form
  EXPECT_EQ(negative.m2, 8.0);
  EXPECT_EQ(stts_variance(negative), 2.0);
  EXPECT_EQ(stts_stdev(negative), std::sqrt(2.0));
}

TEST(Stats, TheRatioIsNearOneForTheSpreadExpectedOfGaussianNoise) {
  // Published mean ranges of n standard normal samples (the d2 constants of quality control).
  const std::pair<double, double> d2[] = {
      {2, 1.128}, {5, 2.326}, {10, 3.078}, {25, 3.931}, {100, 5.015}};
  for (const auto& [n, range] : d2) {
    const STTS s = stts_new(n, 0.0, 4.0, -range, range);  // stdev 2, spread 2 x range
    EXPECT_NEAR(stts_ratio(s), 1.0, 0.01) << n;
    EXPECT_NEAR(stts_expected_spread(n), range, 0.01 * range) << n;
  }
  EXPECT_EQ(stts_expected_spread(1), 0.0);
  EXPECT_EQ(stts_expected_spread(0), 0.0);
  // Twice the expected spread is a ratio of 2, whatever the unit.
  const STTS wide = stts_new(10, 5.0, 0.25, 5.0 - stts_expected_spread(10) * 0.5,
                             5.0 + stts_expected_spread(10) * 0.5);
  EXPECT_NEAR(stts_ratio(wide), 2.0, 1e-12);
}

TEST(Stats, DigitsGrowAsTheValueShrinksAgainstItsStep) {
  const struct {
    double value, step;
    int digits;
  } cases[] = {
      {0, 1, 4},    {1, 0, 4},     {1, 1, 5},    {0.35, 1, 5}, {100, 1, 3},
      {1000, 1, 2}, {-1000, 1, 2}, {1e6, 1, 0},  {1e9, 1, 0},  {0.001, 1, 8},
      {1e-9, 1, 9}, {5, 0.5, 4},   {1.99, 1, 5}, {2.1, 1, 4},  {1000, -0.01, 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(stts_digits(c.value, c.step), c.digits) << c.value << " " << c.step;
  }
}

TEST(Stats, TheTextFormListsTheFiveFields) {
  EXPECT_EQ(stts_text(one_pass({2, 4, 4, 4, 5, 5, 7, 9})), "NUM=8  MEAN=5  MAX=9  MIN=2  M2=32");
  EXPECT_EQ(stts_text(stts_empty()), "NUM=0  MEAN=0  MAX=0  MIN=1  M2=0");
  EXPECT_EQ(stts_text(one_pass({0.5, -0.25})), "NUM=2  MEAN=0.125  MAX=0.5  MIN=-0.25  M2=0.28125");
}

TEST(Stats, TheInverseErrorFunctionMeetsPublishedQuantiles) {
  const std::pair<double, double> quantiles[] = {
      {0.975, 1.959963984540054},    {0.995, 2.5758293035489004},
      {0.8413447460685429, 1.0},     {0.5, 0.0},
      {0.025, -1.959963984540054},   {0.9986501019683699, 3.0},
      {0.999999, 4.753424308822899}, {0.001, -3.090232306167813},
  };
  for (const auto& [p, z] : quantiles) {
    EXPECT_NEAR(normal_quantile(p), z, 1e-9 * (1 + std::fabs(z))) << p;
  }
  EXPECT_NEAR(erf_inverse(0.5), 0.4769362762044699, 1e-15);
  EXPECT_NEAR(erf_inverse(-0.9), -1.1630871536766743, 1e-14);
  EXPECT_TRUE(std::isinf(erf_inverse(1.0)));
  EXPECT_EQ(erf_inverse(-1.0), -erf_inverse(1.0));
  EXPECT_TRUE(std::isnan(erf_inverse(1.5)));
}

}  // namespace
}  // namespace ovn
