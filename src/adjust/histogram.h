#pragma once
// The live histograms of the Misc menu: the distribution of the instrument's readings as
// they come, to judge its noise by eye. A model of the window; a toolkit shows it
// (Operator::show_histogram) and calls histogram_tick from its timer.
//
//   frm_tm_histogram   the torque readings in uV/V (tm_info_read_uvpv), counted
//                      into buckets about the mean of the first readings, 3 L either side,
//                      L the family's largest allowed noise (max_uvpv_noise) while
//                      "*MaxAllowNoise" is checked, else the deviation measured so far; the
//                      bucket count makes one bucket about one raw step (60 to 300). A good
//                      instrument's bell fills the width.
//   frm_tm_histogramx  the rate of the readings in hertz (one over the time since the
//                      previous reading): how evenly the line delivers them. Its buckets
//                      are "BucketSize:" hertz wide, 100 of them about the first readings'
//                      mean; "YAXIS=" sets the top of the count axis (0: the fullest
//                      bucket's).
// Both keep every reading in the statistics record, also those outside the buckets. The
// blue curve is the normal distribution of the record's mean and deviation, scaled to its
// count.

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "adjust/stats.h"

namespace ovn {

struct FrmTmHistogram {
  bool rate_form = false;  // frm_tm_histogramx
  std::string caption;     // "Histogram <instrument>"
  // cb_cmd
  bool cb_reset_2000 = false;      // "Reset every 2000 samples"
  bool cb_show_empty = true;       // "Show Empty Buckets"
  bool cb_max_allow_noise = true;  // "*MaxAllowNoise"
  // frm_tm_histogramx's own boxes
  std::string txt_bucket_size = "0.1";  // "BucketSize:" in Hz
  std::string txt_yaxis = "0";          // "YAXIS="

  double max_uvpv_noise = 0;  // L of the family
  double uvpv_per_raw = 0;
  std::function<double()> read;  // one reading in uV/V (the rate form takes only its time)

  STTS record = stts_empty();
  double lo = 0, hi = 0, size = 0;  // edges and bucket size, in the readings' unit
  int count = 0;                    // buckets 0 to count (a value at hi is in the last)
  std::array<double, 301> buckets{};
  int highest = 0;      // the fullest bucket
  bool due = true;      // set the buckets up at the next tick
  double last_ms = -1;  // rate form: the time of the previous reading

  // What the window shows: title line, lb_count, lb_static, lb_mouse.
  std::string title, lb_count, lb_static, lb_mouse;
};

// btn_reset, and the opening: no counts, an empty record, the buckets set up anew at the
// next tick.
void histogram_reset(FrmTmHistogram& h);
// Sets lo, hi, size and count from the record's mean. A width of 0 (no deviation yet, when
// the width follows it) leaves the previous buckets standing.
void histogram_setup(FrmTmHistogram& h);
// One reading x: into the record, and into its bucket when it lies from lo to hi.
void histogram_add(FrmTmHistogram& h, double x);
// The timer's tick: reads for `ms` milliseconds (at least one reading), sets the buckets up
// when due (those first readings count only in the record), clears at 2000 readings when
// asked, and renews the texts.
void histogram_tick(FrmTmHistogram& h, double ms = 50);
// Renews title, lb_count and lb_static from the state.
void histogram_texts(FrmTmHistogram& h);

// The bars to draw, left to right: with "Show Empty Buckets" clear the empty ones are left
// out and the others close up.
struct HistogramBar {
  int bucket;       // index into buckets
  double from, to;  // the readings it holds
  double readings;
};
std::vector<HistogramBar> histogram_bars(const FrmTmHistogram& h);
// The blue curve at the centre of a bucket: the readings a bucket there would hold if they
// were normal with the record's mean and deviation (0 without a deviation).
double histogram_normal(const FrmTmHistogram& h, double x);
// The top of the count axis: "YAXIS=" when it is a number above 0 (rate form), else a
// little above the fullest bucket and the curve's peak.
double histogram_y_top(const FrmTmHistogram& h);
// lb_mouse for the mouse over bar `position` (0 = the leftmost bar drawn): "[from,to]:
// n readings", empty off the bars.
std::string histogram_mouse(const FrmTmHistogram& h, double position);

// Commands 506 (frm_tm_histogram) and 507 (frm_tm_histogramx) on the current session.
void histogram_command(bool rate_form);

}  // namespace ovn
