#include "adjust/noise_test.h"

#include <cmath>

#include "adjust/acquire.h"
#include "foundation/files.h"
#include "foundation/kw.h"
#include "foundation/operator.h"
#include "instrument/tm_info.h"

namespace ovn {
namespace {

const char* const kCrLf = "\r\n";
const char* const kDegree = "\xB0";
// The band of the Gaussian ratio: 2/3 to 3/2 of the spread expected of Gaussian noise.
constexpr double kRatioBand = 1.5;
constexpr double kTempNone = -499.0;
constexpr double kTempLow = 40.0;
constexpr double kTempHigh = 130.0;

}  // namespace

std::string adj_noise_warnings(const STTS& stats, double scale, bool quiet, double temperature_f) {
  STTS s = stats;
  stts_scale(s, scale);
  const double d = stts_stdev(s);
  const double low = tm_info_number(kSelMinUvpvNoise, kTmInfoCurrent);
  const double high = tm_info_number(kSelMaxUvpvNoise, kTmInfoCurrent);
  const std::string unit = "uV/V";
  std::string out;
  if (low < high) {
    if ((!quiet && d < low) || d > high)
      out += "WARNING: Stdev noise(" + kw_format(d, "0.000") + unit +
             ")is outside the limits of [" + kw_format(low, "") + "," + kw_format(high, "") + "]" +
             unit + kCrLf;
    if (d > 0 && std::fabs(s.num) > 0 && !quiet) {
      const double r = stts_ratio(s);
      const char* why = nullptr;
      if (std::fabs(r) < 1.0 / kRatioBand) why = "   (Data lacks extreme readings)";
      if (std::fabs(r) > kRatioBand) why = "   (Too many large spikes in the data)";
      if (why)
        out += "WARNING: Non-Gaussian noise (ratio=" + kw_format(r, "0.0000") + ")" + kCrLf + why +
               kCrLf;
    }
  }
  if (temperature_f > kTempNone && (temperature_f < kTempLow || temperature_f > kTempHigh))
    out += "WARNING: Temperature (" + kw_format(temperature_f, "0.00") + kDegree +
           ") outside the range of 40" + kDegree + " to 130" + kDegree + kCrLf;
  return out;
}

std::string adj_results_file(const std::string& file_suffix, const std::string& file_prefix) {
  std::string name = tm_info_text(kSelTmName, kTmInfoCurrent);
  for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return noise_folder() + "/" +
         tm_info_clean_file_name((file_prefix.empty() ? "ovn-noise-" : file_prefix) + name +
                                 (file_suffix.empty() ? ".txt" : file_suffix));
}

int adj_verdict(const std::string& text, const std::string& buttons, bool warning,
                const std::string& file_suffix, const std::string& file_prefix, bool ask_file) {
  const std::string file = adj_results_file(file_suffix, file_prefix);
  const int n = kw_free_file();
  kw_file_open(n, file, FileMode::Append);
  kw_file_print(n, text);
  kw_file_close(n);

  std::string shown = buttons;
  const size_t bar = buttons.find('|');
  if (ask_file) {
    const std::string caption = "?.(data recorded in " + file + ")";
    shown = bar == std::string::npos
                ? buttons + "|" + caption
                : buttons.substr(0, bar) + "|" + caption + "|?." + buttons.substr(bar + 1);
  }
  const int pressed = gib(text, shown, warning ? kGibWarning : 0, "", "Courier New");
  if (ask_file && pressed >= 1) return pressed - 1;  // the caption row stands for button 0
  return pressed;
}

std::string adj_wait_text(int32_t left_after_this) {
  return "Please wait for noise test completion..." +
         (left_after_this > 0 ? " (" + std::to_string(left_after_this) + " left after this one)"
                              : std::string(" (last one)"));
}

}  // namespace ovn
