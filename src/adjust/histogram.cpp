#include "adjust/histogram.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "foundation/kw.h"
#include "foundation/operator.h"
#include "foundation/platform.h"
#include "instrument/measure.h"
#include "instrument/tm_info.h"

namespace ovn {

namespace {

constexpr int kMinBuckets = 300 / 5;
constexpr int kMaxBuckets = 300;
constexpr int kRateBuckets = 100;
constexpr double kResetAt = 2000;

void clear_counts(FrmTmHistogram& h) {
  h.buckets.fill(0);
  h.highest = 0;
  h.record = stts_empty();
}

// "BucketSize:" as a number above 0, else 0.1 Hz.
double typed_bucket_size(const FrmTmHistogram& h) {
  int stop = 0;
  const double v = kw_is_numeric(h.txt_bucket_size) ? kw_parse_double(h.txt_bucket_size, stop) : 0;
  return v > 0 ? v : 0.1;
}

}  // namespace

void histogram_reset(FrmTmHistogram& h) {
  clear_counts(h);
  h.due = true;
  h.last_ms = -1;
  histogram_texts(h);
}

void histogram_setup(FrmTmHistogram& h) {
  const double m = stts_mean(h.record);
  if (h.rate_form) {
    h.size = typed_bucket_size(h);
    h.count = kRateBuckets;
    h.lo = m - h.size * kRateBuckets / 2;
    h.hi = m + h.size * kRateBuckets / 2;
    return;
  }
  const double l =
      h.cb_max_allow_noise && h.max_uvpv_noise > 0 ? h.max_uvpv_noise : stts_stdev(h.record);
  if (!(l > 0)) return;  // nothing to scale by yet: the buckets stay as they were
  const double steps = h.uvpv_per_raw > 0 ? std::ceil(6 * l * 1.001 / h.uvpv_per_raw) : kMaxBuckets;
  h.count = static_cast<int>(std::clamp(steps, double{kMinBuckets}, double{kMaxBuckets}));
  h.lo = m - 3 * l;
  h.hi = m + 3 * l;
  h.size = (h.hi - h.lo) / h.count;
}

void histogram_add(FrmTmHistogram& h, double x) {
  stts_update(h.record, x);
  if (h.size <= 0 || x < h.lo || x > h.hi) return;
  const auto i = std::clamp(static_cast<int>(std::lround((x - h.lo) / h.size)), 0, h.count);
  h.buckets[static_cast<size_t>(i)] += 1;
  if (h.buckets[static_cast<size_t>(i)] > h.buckets[static_cast<size_t>(h.highest)]) h.highest = i;
}

void histogram_tick(FrmTmHistogram& h, double ms) {
  const double end = now_ms() + ms;
  std::vector<double> got;
  do {
    const double x = h.read ? h.read() : 0;
    if (!h.rate_form) {
      got.push_back(x);
      continue;
    }
    const double t = now_ms();
    if (h.last_ms >= 0 && t > h.last_ms) got.push_back(1000 / (t - h.last_ms));
    h.last_ms = t;
  } while (now_ms() < end);
  for (double x : got) {
    if (h.due)
      stts_update(h.record, x);  // the first readings set the centre
    else
      histogram_add(h, x);
    if (h.cb_reset_2000 && stts_num(h.record) >= kResetAt) clear_counts(h);
  }
  if (h.due && stts_num(h.record) > 0) {
    histogram_setup(h);
    h.due = h.size <= 0;
  }
  histogram_texts(h);
}

void histogram_texts(FrmTmHistogram& h) {
  const STTS& r = h.record;
  const double per_bucket = h.rate_form ? h.size : kw_safe_div(h.size, h.uvpv_per_raw, 0);
  h.title = std::to_string(h.count) + " Buckets" + "[" + kw_format(h.lo, "0.0000") + "," +
            kw_format(h.hi, "0.0000") + "]  " + kw_format(per_bucket, "0.000") +
            (h.rate_form ? " Hz/Bucket" : " RRC/Bucket");
  h.lb_count = "Readings:" + kw_format(stts_num(r), "0") +
               "  Max=" + kw_format(h.buckets[static_cast<size_t>(h.highest)], "0");
  const bool any = stts_num(r) > 0;
  h.lb_static = "Mean=" + kw_format(stts_mean(r), "0.0000") +
                "\r\nStdev=" + kw_format(stts_stdev(r), "0.0000") +
                " (blue)\r\nRatio=" + kw_format(stts_ratio(r), "0.000") + "\r\nMin,Max=[" +
                kw_format(any ? stts_min(r) : 0, "0.0000") + "," +
                kw_format(any ? stts_max(r) : 0, "0.0000") + "]";
}

std::vector<HistogramBar> histogram_bars(const FrmTmHistogram& h) {
  std::vector<HistogramBar> out;
  if (h.size <= 0) return out;
  for (int i = 0; i <= h.count; ++i) {
    const double n = h.buckets[static_cast<size_t>(i)];
    if (n == 0 && !h.cb_show_empty) continue;
    const double centre = h.lo + i * h.size;
    out.push_back({i, centre - h.size / 2, centre + h.size / 2, n});
  }
  return out;
}

double histogram_normal(const FrmTmHistogram& h, double x) {
  const double sd = stts_stdev(h.record);
  if (!(sd > 0) || h.size <= 0) return 0;
  const double z = (x - stts_mean(h.record)) / sd;
  return stts_num(h.record) * h.size * std::exp(-z * z / 2) /
         (sd * std::sqrt(2 * std::numbers::pi));
}

double histogram_y_top(const FrmTmHistogram& h) {
  int stop = 0;
  if (h.rate_form && kw_is_numeric(h.txt_yaxis)) {
    const double typed = kw_parse_double(h.txt_yaxis, stop);
    if (typed > 0) return typed;
  }
  const double peak =
      std::max(h.buckets[static_cast<size_t>(h.highest)], histogram_normal(h, stts_mean(h.record)));
  return peak > 0 ? peak * 1.1 : 10;
}

std::string histogram_mouse(const FrmTmHistogram& h, double position) {
  const std::vector<HistogramBar> bars = histogram_bars(h);
  const long k = std::lround(position);
  if (k < 0 || k >= static_cast<long>(bars.size())) return "";
  const HistogramBar& b = bars[static_cast<size_t>(k)];
  return "[" + kw_format(b.from, "0.0000") + "," + kw_format(b.to, "0.0000") +
         "]: " + kw_format(b.readings, "0") + " readings";
}

void histogram_command(bool rate_form) {
  const TmInfoRecord& r = tm_info_current_record();
  FrmTmHistogram h;
  h.rate_form = rate_form;
  h.caption = "Histogram " + r.uid + (rate_form ? " (reading rate)" : "");
  h.max_uvpv_noise = r.max_uvpv_noise;
  h.uvpv_per_raw = r.uvpv_per_raw;
  h.read = [] { return tm_info_read_uvpv(kTmInfoCurrent); };
  histogram_reset(h);
  if (Operator* op = current_operator()) op->show_histogram(h);
}

}  // namespace ovn
