#include "adjust/temp_comp.h"

#include <array>
#include <cstdint>

#include "adjust/adjust_calc.h"
#include "foundation/debug_log.h"
#include "foundation/hexstr.h"
#include "foundation/kw.h"
#include "instrument/measure.h"
#include "instrument/tm_info.h"
#include "link/rs232.h"

namespace ovn {
namespace {

const char* const kCrLf = "\r\n";
constexpr double kClock = 60000000.0;  // the WQPM's ratios count against 60 MHz

struct Pair {
  double i = 0, j = 0;
  double value() const { return safe_divide(i, j, 0); }
};

double number_of(const std::string& text) {
  int stop = 0;
  return kw_parse_double(text, stop);
}
Pair read_pair(const std::string& first, const std::string& second) {
  return {number_of(get_reply(first)), number_of(get_reply(second))};
}

// A fit that found nothing: a zero, or the starting pair (1, 1) left standing.
bool fitted(const std::array<int64_t, 2>& p) {
  return p[0] != 0 && p[1] != 0 && !(p[0] == 1 && p[1] == 1);
}

void log_pair(const std::string& tag, const Pair& old_pair, const std::array<int64_t, 2>& p) {
  const Pair now{static_cast<double>(p[0]), static_cast<double>(p[1])};
  debug_log("OLD" + tag + ":" + kw_format(old_pair.i, "0") + "/" + kw_format(old_pair.j, "0") +
            " NEW" + tag + ":" + std::to_string(p[0]) + "/" + std::to_string(p[1]) + " " +
            kw_format((now.value() - old_pair.value()) * kClock, "0.000"));
}

}  // namespace

std::string tc_zero_adjust(STTS& stats) {
  const Pair zero = read_pair("CIA", "CIB");
  const Pair plus = read_pair("CIC", "CID");
  const Pair minus = read_pair("CIE", "CIF");
  get_reply("TZA");  // the temperature of the zero before, for the trace

  const double t1 = tm_info_read_temp_degc(kTmInfoCurrent);
  stats = adj_take_reading(tm_info_number(kSelTesttimeS, kTmInfoCurrent), "");
  const double t2 = tm_info_read_temp_degc(kTmInfoCurrent);
  const double t = (t1 + t2) / 2;

  const std::array<int64_t, 2> z = adj_fit_ratio(stats.mean, "A");
  if (!fitted(z)) return std::string("Error reading 0!") + kCrLf;
  const double step =
      safe_divide(static_cast<double>(z[0]), static_cast<double>(z[1]), 0) - zero.value();

  // The spans move with the zero, so the loads read as before.
  std::string report;
  const std::array<int64_t, 2> p = adj_fit_ratio((plus.value() + step) * kClock, "C");
  if (!fitted(p)) report += std::string("Error reading +load!") + kCrLf;
  const std::array<int64_t, 2> n = adj_fit_ratio((minus.value() + step) * kClock, "E");
  if (!fitted(n)) report += std::string("Error reading -load!") + kCrLf;
  adj_write("TZA", double_text(t));

  log_pair("Z", zero, z);
  log_pair("P", plus, p);
  log_pair("N", minus, n);
  return report;
}

}  // namespace ovn
