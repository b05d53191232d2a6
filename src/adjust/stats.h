#pragma once
// Running statistics. Every reading in an adjustment or a test is one of these records,
// not a number: the adjustment takes its mean, the noise test its deviation and spread,
// the live display its extremes. A record is a plain value (copy it by assignment); it is
// updated a sample at a time, merged, shifted or scaled without keeping samples.
//
// `num` is a double and its absolute value is what counts (an instrument may hand a
// negative count for its engineering form). `max` below `min` means that no extremes are
// held yet: the empty record has min 1 and max 0, and every operation keeps that meaning.

#include <string>
#include <vector>

namespace ovn {

struct STTS {
  double num = 0.0;   // number of samples
  double mean = 0.0;  // running mean
  double m2 = 0.0;    // sum of squared deviations from the mean
  double min = 1.0;   // smallest sample
  double max = 0.0;   // largest sample
};

// ---- Making and reading ----------------------------------------------------------------

// A record from summary values, as an instrument reports them: m2 = (|num| - 1) * variance.
STTS stts_new(double num, double mean, double variance, double min, double max);
STTS stts_empty();
void stts_reset(STTS& record);

double stts_num(const STTS& record);
double stts_mean(const STTS& record);
double stts_min(const STTS& record);
double stts_max(const STTS& record);
// max - min; 0 while no extremes are held.
double stts_spread(const STTS& record);
// m2 / (|num| - 1); 0 for one sample or none.
double stts_variance(const STTS& record);
// The square root of the variance; 0 for one sample or none, or when m2 is not above 0.
double stts_stdev(const STTS& record);
// sqrt(m2) / (|num| - 1), the form the reports have always used (not stdev / sqrt(n));
// 0 for one sample or none.
double stts_mean_unc(const STTS& record);

// ---- Changing --------------------------------------------------------------------------

// Adds one sample (Welford's update); returns x less the mean before it.
double stts_update(STTS& record, double x);
// Merges b into a (a's samples and b's together); an empty b leaves a as it is, an empty a
// becomes b.
void stts_update2(STTS& a, const STTS& b);
// Adds s to mean, min and max: the samples all moved by s.
void stts_shift(STTS& record, double s);
// The samples all multiplied by factor, then moved by shift. A negative factor swaps min
// and max; m2 stays positive.
void stts_scale(STTS& record, double factor, double shift = 0.0);

// ---- Judging and reporting -------------------------------------------------------------

// The spread expected of n normal samples, in standard deviations:
// 3 sqrt(ln n) - 1.4 - (0.5 ln n - 0.39) / n for n above 1, else 0.
double stts_expected_spread(double n);
// The test for Gaussian noise: spread / (expected spread x stdev), near 1 for Gaussian
// noise; 0 when the divisor is 0 (one sample, or no deviation).
double stts_ratio(const STTS& record);
// How many decimals to print: the whole part of 4 - (log10 |value / step| - 0.3) rounded
// up, held within 0 to 9; 4 when value or step is 0. With step 1 this gives about five
// significant digits of the value.
int stts_digits(double value, double step);
// "NUM=" n "  MEAN=" mean "  MAX=" max "  MIN=" min "  M2=" m2, numbers in their shortest
// exact text (double_text of foundation/hexstr.h).
std::string stts_text(const STTS& record);

// The inverse of the error function for -1 < x < 1 (full double precision); +-infinity at
// +-1, not-a-number outside.
double erf_inverse(double x);
// The quantile of the standard normal distribution: sqrt(2) erf_inverse(2p - 1);
// normal_quantile(0.975) is 1.959963984540054.
double normal_quantile(double p);

}  // namespace ovn
