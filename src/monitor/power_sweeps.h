#pragma once
// The technician's sweeps of the rotor's power drive, KST family: how the rotor's
// unregulated voltage (URV), the on-time the stator needs to hold it, and the rotor's
// noise follow the drive frequency and the URV target. Each sweep is long work
// (foundation/long_work.h): progress, a Stop heard at every poll, the report rows to the
// row sink as they come. Stopped, cancelled or finished, the drive is put back as it was
// before the sweep ("PWC", "PWD", "PWA", "PWB") and the rows measured so far are kept.
//
//   43 "Power Frequency vs URV": at each frequency of pwr_sweep_urv_frequencies() the
//      stator regulates the URV to 6.5 V within 0.09 V; a row gives the duty it needed
//      and the current the technician measured ("Enter current", mA). The least duty is
//      where the rotor's coil resonates. Saved on request to
//      "<configuration folder>/ovn-kst-pwmfreq-vs-duty.txt".
//   44 "Power Duty vs URV": at each target of pwr_sweep_duty_targets(), a window from
//      0.05 V that widens by 0.005 V every 100 polls until the URV stays in it; a row gives
//      the duty. Ends early at a duty above 0.42. To "ovn-kst-duty-vs-urv.txt" on request.
//   45 "Power Frequency vs Noise": automatic, from a start to an end frequency by a step
//      (0: every count between); at each, waits for the drive to settle and measures the
//      rotor's noise in uV/V; the points are drawn on the chart. Saved to
//      "<noise folder>/ovn-pwrfreq-vs-noise-<date>_<time>.txt".

#include <cstdint>
#include <string>
#include <vector>

namespace ovn {

struct FrmKstMain;

// One look at the drive: "RT" (its first field the URV), "PWa", "PWA", "PWb".
struct PwrReading {
  bool ok = false;         // "RT" had its fields
  double urv = 0;          // volts
  int32_t period_now = 0;  // "PWa": the period driven at this moment
  int32_t period = 0;      // "PWA": the period set
  int32_t on_time = 0;     // "PWb": the on-time at this moment
  double duty() const { return period > 0 ? static_cast<double>(on_time) / period : 0.0; }
  double khz() const;  // of the period set, 0 without one
};
PwrReading pwr_read();

// The frequencies of sweep 43 in kHz: 110 to 160 by 5, each driven at its nearest period
// (135 is the nominal period 444).
std::vector<double> pwr_sweep_urv_frequencies();
// The URV targets of sweep 44 in volts: 4 to 10 by 0.5.
std::vector<double> pwr_sweep_duty_targets();

// The drive periods sweep 45 visits from `start_khz` to `end_khz` (either way round): by
// `step_khz`, each frequency's period rounded; with a step of 0, every count between the
// two frequencies' counts. The count of them is the sweep's number of iterations.
std::vector<int32_t> pwr_noise_periods(double start_khz, double end_khz, double step_khz);

// The sweeps, as commands 43, 44 and 45 serve them.
void pwr_sweep_frequency_urv();
void pwr_sweep_duty_urv();
void pwr_sweep_frequency_noise(FrmKstMain& f);

}  // namespace ovn
