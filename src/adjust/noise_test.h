#pragma once
// The noise test and the judgement that follows every reading: how quiet the instrument is
// at rest against the limits of its family, whether its noise looks Gaussian, and whether
// the temperature was within the range where the limits hold. Also the verdict box that
// every adjustment and test ends with, which keeps a copy of its text in the results file.
//
// Files live in noise_folder() (adjust/acquire.h). Lines end with CR LF.

#include <cstdint>
#include <string>

#include "adjust/stats.h"

namespace ovn {

// The warnings for a reading, "" when there are none. `stats` in the record's own units,
// `scale` its factor to uV/V. Judged on the deviation d in uV/V:
//   - only when min_uvpv_noise < max_uvpv_noise of the session: d above the maximum, or
//     (quiet clear) below the minimum:
//       "WARNING: Stdev noise(<d 0.000>uV/V)is outside the limits of [<min>,<max>]uV/V"
//     and, quiet clear, d and the count above 0, the Gaussian ratio r (stts_ratio) outside
//     2/3 to 3/2:
//       "WARNING: Non-Gaussian noise (ratio=<r 0.0000>)" then
//       "   (Data lacks extreme readings)" or "   (Too many large spikes in the data)"
//   - a temperature above -499 (none read: -500 or below) outside 40 to 130 deg F:
//       "WARNING: Temperature (<T 0.00>°) outside the range of 40° to 130°"
// A value exactly at a limit passes. Each line ends with CR LF.
std::string adj_noise_warnings(const STTS& stats, double scale, bool quiet, double temperature_f);

// The results file of the current session: "<noise folder>/<prefix><tm_name lower
// case><suffix>", prefix "ovn-noise-" and suffix ".txt" when given empty.
std::string adj_results_file(const std::string& file_suffix, const std::string& file_prefix);

// The verdict box: appends `text` to the results file (adj_results_file), then shows it
// with gib, flags 48 when `warning` is set and 0 otherwise, font "Courier New". With
// `ask_file` the line "(data recorded in <file>)" stands as a row of its own under the
// first button; it is no choice of its own: pressing it counts as the first button. The
// result is the pressed index in `buttons` as the caller wrote them.
int adj_verdict(const std::string& text, const std::string& buttons, bool warning,
                const std::string& file_suffix, const std::string& file_prefix, bool ask_file);

// The temperature of the current session's instrument in deg F, -500 when its family
// reads none (the value every judgement takes as "not read").
double read_temperature_f();

// The text of the wait box of a test repetition: "Please wait for noise test
// completion..." and " (<n> left after this one)", or " (last one)" when none is left.
std::string adj_wait_text(int32_t left_after_this);

// ---- The noise tests -----------------------------------------------------------------------
// Settings, application "ovn-tm-info", section "Settings" (the first read stores the
// default): "Noise-Test-Time" seconds, default 3, and "Noise-Test-Reps", default 10, an
// integer; both held within 1 to 101.
double noise_test_seconds();
int32_t noise_test_reps();
// The operator's "Noise Test Samples" for this session, given as "<samples>,<reps>": a
// sample count of 1 or more makes each repetition of the A/D and filtered tests take that
// many samples instead of running by time (empty or no number: by time); <reps> is the
// repetitions' default, stored when "Noise-Test-Reps" has never been set.
void noise_settings(const std::string& text);
int32_t noise_samples();
// The captions of the Misc menu's noise entries with the settings in them, by entry index
// 1, 2, 4 and 5: "Noise Test: A/D 3 second", "Noise Test: A/D 3 second x 10",
// "Noise Filtered lbf-in  3 second", "Noise Filtered lbf-in  3 second x 10"; "" for others.
std::string noise_menu_caption(int32_t index);

// The noise test of `reps` repetitions of noise_test_seconds() each, on A/D counts
// (noise_test_raw) or on the filtered value in the display unit (noise_test_filtered).
// Each repetition shows the timed wait box, reads the temperature, acquires, reads it
// again. The report: headline, the limits in the record's unit, uV/V and %FS, a table of
// one row a repetition and the totals (marked "*" when the mean's uncertainty is below one
// count), the block of the totals, the warnings, and for the raw test
// "***** Adjustment / Tare / Filter Ignored *****" when a tare or a filter is set. A row
// goes to "ovn-noise-summary.txt" (raw) or "ovn-noise-summary-lbfin.txt" (filtered); the
// verdict box offers "OK|?.Save data to <file>", and Save appends the repetitions to the
// acquisition file (noise_uvpv_file). Returns the verdict's pressed index.
int noise_test_raw(int32_t reps);
int noise_test_filtered(int32_t reps);
// One timed acquisition of the raw and then of the filtered value; a row to
// "ovn-noise-lbfin.csv", the verdict "RESULT:" with both blocks, and
// "***** Tare / Filter Ignored *****" when a tare or a filter is set.
int noise_test_lbfin();

// The summary files' heading and row for a test's totals (raw: in counts; filtered: in the
// display unit, with the filter frequency).
std::string noise_summary_heading(bool raw);
std::string noise_summary_row(const STTS& total, bool raw, double uvpv_factor, double filter_hz);

// The Misc menu's noise commands: 501 the A/D test once, 502 "Noise-Test-Reps" times, 503
// the lbf-in test, 504 the filtered test once, 505 repeated. False, doing nothing, for any
// other command.
bool noise_command(int32_t command);

}  // namespace ovn
