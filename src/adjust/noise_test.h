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

// The text of the wait box of a test repetition: "Please wait for noise test
// completion..." and " (<n> left after this one)", or " (last one)" when none is left.
std::string adj_wait_text(int32_t left_after_this);

}  // namespace ovn
