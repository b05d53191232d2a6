#include "adjust/stats.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "foundation/hexstr.h"

namespace ovn {

namespace {
bool holds_extremes(const STTS& record) {
  return record.max >= record.min;
}
}  // namespace

STTS stts_new(double num, double mean, double variance, double min, double max) {
  return STTS{num, mean, (std::fabs(num) - 1.0) * variance, min, max};
}

STTS stts_empty() {
  return STTS{};
}

void stts_reset(STTS& record) {
  record = STTS{};
}

double stts_num(const STTS& record) {
  return record.num;
}
double stts_mean(const STTS& record) {
  return record.mean;
}
double stts_min(const STTS& record) {
  return record.min;
}
double stts_max(const STTS& record) {
  return record.max;
}

double stts_spread(const STTS& record) {
  return holds_extremes(record) ? record.max - record.min : 0.0;
}

double stts_variance(const STTS& record) {
  const double n = std::fabs(record.num);
  return n > 1.0 ? record.m2 / (n - 1.0) : 0.0;
}

double stts_stdev(const STTS& record) {
  if (std::fabs(record.num) <= 1.0 || !(record.m2 > 0.0)) return 0.0;
  return std::sqrt(stts_variance(record));
}

double stts_mean_unc(const STTS& record) {
  const double n = std::fabs(record.num);
  return n > 1.0 ? std::sqrt(record.m2) / (n - 1.0) : 0.0;
}

double stts_update(STTS& record, double x) {
  const double d = x - record.mean;
  const double n1 = record.num + 1.0;
  const double mean1 = record.mean + d / n1;
  record.m2 += (x - mean1) * d;
  if (record.num != 0.0 && holds_extremes(record)) {
    record.min = std::min(record.min, x);
    record.max = std::max(record.max, x);
  } else {
    record.min = record.max = x;
  }
  record.num = n1;
  record.mean = mean1;
  return d;
}

void stts_update2(STTS& a, const STTS& b) {
  if (b.num == 0.0) return;
  if (a.num == 0.0) {
    a = b;
    return;
  }
  const double d = b.mean - a.mean;
  const double n = a.num + b.num;
  a.m2 = a.m2 + b.m2 + d * d * a.num * b.num / n;
  a.mean += (b.num / n) * d;
  a.num = n;
  if (!holds_extremes(b)) return;  // b brings no extremes: a keeps its own
  if (holds_extremes(a)) {
    a.min = std::min(a.min, b.min);
    a.max = std::max(a.max, b.max);
  } else {
    a.min = b.min;
    a.max = b.max;
  }
}

void stts_shift(STTS& record, double s) {
  record.mean += s;
  record.min += s;
  record.max += s;
}

void stts_scale(STTS& record, double factor, double shift) {
  if (factor > 0.0) {
    record.max *= factor;
    record.min *= factor;
  } else {
    const double old_min = record.min;
    record.min = record.max * factor;
    record.max = old_min * factor;
  }
  record.mean *= factor;
  record.m2 *= factor * factor;
  if (shift != 0.0) stts_shift(record, shift);
}

double stts_expected_spread(double n) {
  if (!(n > 1.0)) return 0.0;
  const double ln = std::log(n);
  return 3.0 * std::sqrt(ln) - 1.4 - (0.5 * ln - 0.39) / n;
}

double stts_ratio(const STTS& record) {
  const double divisor = stts_expected_spread(std::fabs(record.num)) * stts_stdev(record);
  return divisor != 0.0 ? stts_spread(record) / divisor : 0.0;
}

int stts_digits(double value, double step) {
  if (value == 0.0 || step == 0.0) return 4;
  const double r = std::fabs(value / step);
  const double digits = std::ceil(4.0 - (std::log10(r) - 0.3));
  return static_cast<int>(std::clamp(digits, 0.0, 9.0));
}

std::string stts_text(const STTS& record) {
  return "NUM=" + double_text(record.num) + "  MEAN=" + double_text(record.mean) +
         "  MAX=" + double_text(record.max) + "  MIN=" + double_text(record.min) +
         "  M2=" + double_text(record.m2);
}

double erf_inverse(double x) {
  if (std::isnan(x) || std::fabs(x) > 1.0) return std::numeric_limits<double>::quiet_NaN();
  if (std::fabs(x) == 1.0) return std::copysign(std::numeric_limits<double>::infinity(), x);
  // Giles' single-precision approximation as the start ...
  double w = -std::log((1.0 - x) * (1.0 + x));
  double p;
  if (w < 5.0) {
    w -= 2.5;
    p = 2.81022636e-08;
    for (double c : {3.43273939e-07, -3.5233877e-06, -4.39150654e-06, 0.00021858087, -0.00125372503,
                     -0.00417768164, 0.246640727, 1.50140941})
      p = c + p * w;
  } else {
    w = std::sqrt(w) - 3.0;
    p = -0.000200214257;
    for (double c : {0.000100950558, 0.00134934322, -0.00367342844, 0.00573950773, -0.0076224613,
                     0.00943887047, 1.00167406, 2.83297682})
      p = c + p * w;
  }
  double y = p * x;
  // ... then Newton steps on the library's erf, each doubling the correct digits.
  const double slope = 2.0 / std::sqrt(std::numbers::pi);
  for (int i = 0; i < 2; ++i) y -= (std::erf(y) - x) / (slope * std::exp(-y * y));
  return y;
}

double normal_quantile(double p) {
  return std::numbers::sqrt2 * erf_inverse(2.0 * p - 1.0);
}

}  // namespace ovn
