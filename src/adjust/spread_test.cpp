#include "adjust/spread_test.h"

#include <cmath>

#include "adjust/acquire.h"
#include "adjust/noise_test.h"
#include "adjust/stats.h"
#include "foundation/debug_log.h"
#include "foundation/kw.h"
#include "foundation/long_work.h"
#include "foundation/operator.h"
#include "foundation/platform.h"
#include "instrument/measure.h"
#include "instrument/tm_info.h"

namespace ovn {

namespace {

const char kCrLf[] = "\r\n";
constexpr double kSelectedBelowHz = 100;
constexpr double kSettleMs = 1000;

std::string col(double value, const std::string& picture, int width) {
  return kw_justify(kw_format(value, picture), width, " ");
}

// Spread, deviation, count and Gaussian ratio of one record, in the unit.
std::string software_columns(const STTS& r) {
  const std::string ratio = stts_variance(r) == 0 ? "       -" : col(stts_ratio(r), "0.0000", 8);
  return col(stts_spread(r), "0.0000", 10) + col(stts_stdev(r), "0.00000", 10) +
         col(std::fabs(stts_num(r)), "0", 8) + ratio;
}

}  // namespace

std::vector<int32_t> spread_test_filters() {
  std::vector<int32_t> out;
  for (int32_t i = 0; i < 32 && out.size() < 7; ++i)
    if (tm_info_filter_frequency(i, kTmInfoCurrent) >= 0) out.push_back(i);
  return out;
}

bool spread_test_ask(double seconds, size_t filters) {
  const std::string total = kw_format(seconds * static_cast<double>(filters), "0");
  return gib("Are you sure you want to perform an approximately " + total +
                 " second filtered data noise test?",
             "Skip|Yes, do the test", 0, "") == 2;
}

std::string spread_test_run(double seconds, const std::vector<int32_t>& filters, int repeats) {
  const TmInfoRecord& r = tm_info_current_record();
  const std::string unit = "lbf-in";
  const double started = now_ms();
  const std::string s = kw_format(seconds, "");
  LongWork work("Filter vs Spread Test", static_cast<int>(filters.size()) * repeats);
  std::string text;
  // Each line of the table goes to the report and, as it comes, to the row sink.
  auto add = [&text, &work](const std::string& line) {
    text += line + kCrLf;
    work.row(line);
  };
  add(r.tm_name + "  " + unit + "@FS=" + kw_format(r.fs_lbfin, ""));
  add(s + " Second Noise Spread Test:Each row is the result of a " + s + " second test");
  add(std::string("                 |     From Firmware    ") +
      "|        From Windows Software        " + "|    Selected From Windows Software");
  add(" Filter(Hz) |  N |    %FSspr  " + unit + "spr" + "  |  " + unit + "spr" +
      "stdev  Number   Ratio" + " |  " + unit + "spr" + "stdev  Number   Ratio");
  STTS all = stts_empty(), selected = stts_empty();
  tm_info_filter_push(tm_info_filter_read(kTmInfoCurrent));
  int step = 0;
  for (int rep = 0; rep < repeats && !work.stop_requested(); ++rep) {
    for (int32_t index : filters) {
      const double hz = tm_info_filter_frequency(index, kTmInfoCurrent);
      work.step(++step, "Filter " + kw_format(hz, "0.0##") + " Hz");
      tm_info_filter_set(hz, kTmInfoCurrent);
      yield_ms(kSettleMs);
      tm_info_maxmin_reset(kTmInfoCurrent);
      const bool take = hz > 0 && hz <= kSelectedBelowHz;
      STTS row = stts_empty(), row_selected = stts_empty();
      const double end = now_ms() + seconds * 1000;
      while (now_ms() < end && !work.stop_requested()) {
        const double v = get_data_lbfin(kTmInfoCurrent);
        stts_update(row, v);
        if (take) stts_update(row_selected, v);
        work.tick();
        yield_ms(0);
      }
      if (work.stop_requested()) break;
      double max = 0, min = 0;
      tm_info_maxmin_read(max, min);
      stts_update2(all, row);
      stts_update2(selected, row_selected);
      const double firmware = max - min;
      add(col(hz, "0.000", 11) + " |" + col(index, "0", 3) + " |" +
          col(kw_safe_div(100 * firmware, r.fs_lbfin, 0), "0.00000", 10) +
          col(firmware, "0.0000", 10) + "  |" + software_columns(row) + " |" +
          software_columns(row_selected));
    }
  }
  if (work.stop_requested())
    add("Stopped by the operator after " + std::to_string(step - 1) + " of " +
        std::to_string(filters.size() * repeats) + " filters");
  add("      Total |    |                    |" + software_columns(all) + " |" +
      software_columns(selected));
  tm_info_filter_pop();
  gib_close();
  text += kw_format_time(kw_now(), "T") +
          " Total Elapsed Time:" + kw_format((now_ms() - started) / 1000, "0.000") + " seconds" +
          kCrLf;
  return text;
}

void spread_test_command(int32_t repeats) {
  const double seconds = 60;
  // Asked before anything is sent: the menu promises seven filters.
  if (!spread_test_ask(seconds * repeats, 7)) return;
  const std::vector<int32_t> filters = spread_test_filters();
  if (filters.empty()) {
    gib("This instrument has no filter settings to test", "OK", 0, "");
    return;
  }
  const std::string text = spread_test_run(seconds, filters, repeats);
  const std::string file = adj_results_file(".txt", "ovn-filtered-spread-tests-");
  adj_verdict(text, "OK (Saved " + file + ")", false, ".txt", "ovn-filtered-spread-tests-", false);
}

}  // namespace ovn
