#pragma once
// The rotor's power: the stator drives a coil across the air gap with a period "PWA" and
// an on-time "PWB", in counts of a 60 MHz clock, and regulates the on-time to keep the
// rotor's unregulated voltage (URV) at the target "PWC" within the window "PWD" (counts
// of 2476.23 a volt). The technician tunes the drive from the main window: the labels, the
// quick period and target steps, and the frequency dialog. KST family.

#include <cstdint>
#include <string>

namespace ovn {

struct FrmKstMain;

inline constexpr double kPwrClockHz = 60000000.0;
inline constexpr double kUrvCountsPerVolt = 2476.233658278546;
inline constexpr int32_t kPwrDefaultPeriod = 444;  // 135.135 kHz

// Sets the drive period keeping the duty: reads "PWA" and "PWB", writes "PWA" with
// `count`, then "PWB" with the old duty (rounded to 0.01) times the new count, rounded.
void pwr_set_count(int32_t count);
// The same from a frequency in kHz.
void pwr_set_freq(double khz);

// The two labels: lb_tech_rtr the URV target and window ("6.5000 V (0.1500 V)"),
// lb_tech_pwm "<PWa>/<PWA> <duty %> <frequency kHz>" with the duty PWB over PWA.
void show_power_labels(FrmKstMain& f);

// Commands 30 to 35: the period +1, -1, +10, -10, +100, -100 counts.
void pwr_step_period(FrmKstMain& f, int32_t command);
// Commands 6000 (up) and 6001 (down): the URV target by 0.1 V, rounded to 0.1 V and held
// within 3.5 to 10 V; logged "URV=<v> Volts".
void pwr_step_target(FrmKstMain& f, int32_t command);
// Command 198: "Set Power frequency:" 135.135 kHz or another from 50 to 200 kHz.
void pwr_frequency_dialog(FrmKstMain& f);

// After the configuration changed wholesale (a load, a flash reset): when the URV target
// and window look unset (as a reset leaves them, 16096 and 371 counts, or 0), offers the
// ones the model calls for: 6.15 V within 0.1 V when characters 4 and 5 of the model
// ("UIA") are "00", else 6.5 V within 0.15 V. Asks only when either differs by more than
// 0.01 V; "Set" writes both. True when it wrote them.
bool pwr_suggest_target();

}  // namespace ovn
