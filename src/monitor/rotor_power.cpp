#include "monitor/rotor_power.h"

#include <algorithm>
#include <cmath>

#include "foundation/debug_log.h"
#include "foundation/kw.h"
#include "foundation/operator.h"
#include "link/rs232.h"
#include "monitor/frm_kst_main.h"
#include "monitor/kst_commands.h"

namespace ovn {

namespace {

constexpr double kDefaultKhz = 135.135135135;
constexpr double kTargetStepV = 0.1;
constexpr double kTargetLowV = 3.5;
constexpr double kTargetHighV = 10.0;

std::string count_text(double count) {
  return std::to_string(static_cast<int64_t>(std::floor(count + 0.5)));
}

}  // namespace

void pwr_set_count(int32_t count) {
  const int16_t period = get_si16("PWA");
  const int16_t on_time = get_si16("PWB");
  const double ratio = period > 0 ? kw_round(100.0 * on_time / period) / 100.0 : 0.0;
  rs232_send_ok("PWA" + std::to_string(count));
  rs232_send_ok("PWB" + count_text(ratio * count));
}

void pwr_set_freq(double khz) {
  pwr_set_count(static_cast<int32_t>(std::floor(kPwrClockHz / (khz * 1000.0) + 0.5)));
}

void show_power_labels(FrmKstMain& f) {
  const double target = get_f64("PWC") / kUrvCountsPerVolt;
  const double window = get_f64("PWD") / kUrvCountsPerVolt;
  f.lb_tech_rtr.caption =
      kw_format(target, "0.0000") + " V (" + kw_format(window, "0.0000") + " V)";
  const int16_t now_period = get_si16("PWa");
  const int16_t period = get_si16("PWA");
  const int16_t on_time = get_si16("PWB");
  if (period <= 0) return;  // no drive to describe
  f.lb_tech_pwm.caption = std::to_string(now_period) + "/" + std::to_string(period) + " " +
                          kw_format(static_cast<double>(on_time) / period, "0.00%") +
                          kw_format(kPwrClockHz / period / 1000.0, " 0.00kHz");
}

void pwr_step_period(FrmKstMain& f, int32_t command) {
  static constexpr int32_t kSteps[] = {1, -1, 10, -10, 100, -100};
  const int32_t i = command - kCmdPwaPlus1;
  if (i < 0 || i >= 6) return;
  pwr_set_count(get_si16("PWA") + kSteps[i]);
  show_power_labels(f);
}

void pwr_step_target(FrmKstMain& f, int32_t command) {
  const double step = command == kCmdUrvUp ? kTargetStepV : -kTargetStepV;
  double volts = get_f64("PWC") / kUrvCountsPerVolt + step;
  volts = std::clamp(kw_round(volts / kTargetStepV) * kTargetStepV, kTargetLowV, kTargetHighV);
  debug_log("URV=" + kw_format(volts, "0.0") + " Volts");
  rs232_send_ok("PWC" + count_text(volts * kUrvCountsPerVolt));
  show_power_labels(f);
}

void pwr_frequency_dialog(FrmKstMain& f) {
  const int choice = gib("Set Power frequency:", "135.135kHz|Other|Cancel", 0, "");
  double khz = kDefaultKhz;
  if (choice == 2 || choice < 0) return;
  if (choice == 1) {
    const std::optional<std::string> typed =
        input_box("Enter Power frequency in kHz", "", kw_format(kDefaultKhz, ""));
    if (!typed || !kw_is_numeric(*typed)) return;
    int stop = 0;
    khz = kw_parse_double(*typed, stop);
    if (khz < 50 || khz > 200) return;
  }
  pwr_set_freq(khz);
  show_power_labels(f);
}

bool pwr_suggest_target() {
  const double pwc = get_f64("PWC");
  const double pwd = get_f64("PWD");
  const std::string model = get_reply("UIA");
  const bool unset = pwc <= 0 || pwd <= 0 || (pwc == 16096 && pwd == 371);
  if (!unset) return false;
  const bool small = model.size() >= 5 && model.substr(3, 2) == "00";
  const double target = small ? 6.15 : 6.5;
  const double window = small ? 0.1 : 0.15;
  const double now_target = pwc / kUrvCountsPerVolt;
  const double now_window = pwd / kUrvCountsPerVolt;
  if (std::fabs(now_target - target) <= 0.01 && std::fabs(now_window - window) <= 0.01)
    return false;
  const std::string text =
      "Set the Target Unregulated Rotor Voltage to " + kw_format(target, "0.00") +
      " V (currently " + kw_format(now_target, "0.00") + " V), and\r\n" +
      " Set the Unregulated Rotor Voltage Window to " + kw_format(window, "0.00") +
      " V (currently " + kw_format(now_window, "0.00") + " V)?";
  if (gib(text, "Set|Cancel", 0, "") != 0) return false;
  rs232_send_ok("PWC" + count_text(target * kUrvCountsPerVolt));
  rs232_send_ok("PWD" + count_text(window * kUrvCountsPerVolt));
  return true;
}

}  // namespace ovn
