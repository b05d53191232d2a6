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

// ---- Report block and table row -------------------------------------------------------
// Formatted through the text toolbox (foundation/kw.h). Lines end with CR LF. Number cells
// are right-justified in 14 characters and widened, never cut, for a number that needs
// more. Decimals: 3 when the record's unit is a count ("A/D", "Count", "Counts", "Raw",
// "Hz", "RRC"), otherwise stts_digits(the column's standard deviation, 1).

// Another unit for the same numbers: a position x (mean) shows as (x - reference) * factor,
// a width (deviation, spread, uncertainty) as width * |factor|. An empty label leaves the
// column out.
struct SttsScale {
  std::string label;
  double reference = 0.0;
  double factor = 1.0;
};

// How a record in raw units is reported.
struct SttsUnits {
  std::string raw_unit;       // the record's own unit: the session's raw name ("RRC", "Hz")
  SttsScale engineering;      // e.g. {"lbf-in", raw value at zero load, lbf-in per count}
  double uvpv_per_raw = 0.0;  // the uV/V column; left out when 0
  SttsScale percent;          // e.g. {"%FS", reference value, 1 / (gain * 0.01)}
  bool extended = false;      // adds the uncertainty lines
};

// The block that reports a record: the heading lines, a title row of the column labels
// (and "Ratios" when more than one sample was taken or the report is extended), then
//   "      MEAN:"  the mean in every column
//   " MUnc(k=2):"  extended, more than one sample: u = 2 stdev sqrt(1 / (n - 1)); in the
//                  ratio column, when u and the percent factor are not 0, the resolution
//                  1 / (u * percent factor * 0.01) in the engineering format and rounded
//   "    STDDEV:"  the standard deviation
//   " SUnc(k=2):"  extended, more than one sample: the fraction
//                  f = sqrt(1 + sqrt(2 / (n - 1)) * q) - 1, q = normal_quantile(0.975),
//                  as f * stdev in every column and f in "0.0000" in the ratio column
//   "    SPREAD:"  max - min, and stts_ratio in "0.0000" in the ratio column.
std::string stts_block(const STTS& record, const SttsUnits& units,
                       const std::vector<std::string>& heading = {});

// One line of a table: "Date-and-Time | Number | Mean | k=2 | StdDev | Spread | Ratio",
// k=2 being the u of stts_block. `decimals` below 0 picks stts_digits(stdev, 1).
std::string stts_row_heading();
std::string stts_row(const STTS& record, const std::string& date_time, int decimals = -1);

// The inverse of the error function for -1 < x < 1 (full double precision); +-infinity at
// +-1, not-a-number outside.
double erf_inverse(double x);
// The quantile of the standard normal distribution: sqrt(2) erf_inverse(2p - 1);
// normal_quantile(0.975) is 1.959963984540054.
double normal_quantile(double p);

}  // namespace ovn
