#pragma once
// The hand trim of the analog outputs against a voltmeter (command 310, behind its
// warning) and their check (command 311). Each output turns its value into a voltage
// through three converter counts, for +10 V, 0 V and -10 V: "AOM" to "AOU", three an
// output, 0 to 65535. The trim forces an output to a chosen point ("@O<output><count>")
// and steps that point's count by the left (lower) and right (raise) button on five step
// labels, about 2130, 213, 21.3, 2.13 and 0.213 counts. Abort sends all nine counts back as
// they were; Exit keeps them (committed to flash when the session ends). The check forces
// each output to a position of its slider, -100 to 100 % of 10 V. Either window ends the
// forcing when it closes.

#include <array>
#include <string>

#include "foundation/operator.h"

namespace ovn {

inline constexpr int kAoCalSteps = 5;

struct FrmAoCal {
  int cur_output = -1;  // of the chosen point, -1 none
  int cur_point = -1;   // 0 +10 V, 1 0 V, 2 -10 V
  std::array<std::string, 9> saved_counts;
  std::string lb_info;
  GridForm grid;  // the nine points, then the row of step labels
};

// The caption of point i (0 to 8): "Pin G:+10 V", "Pin G:0 V", "Pin G:-10 V", "Pin A:..."
std::string ao_cal_point_caption(int index);
// The count message of point i: "AOM" to "AOU".
std::string ao_cal_message(int index);
// The step of label i (0 to 4): 21298.185072187087 / 10^(i + 1).
double ao_cal_step_size(int label);

// Reads the nine counts (kept for Abort) and lays out the grid.
FrmAoCal ao_cal_load();
// A click on point i: the output goes to that point's count at once.
void ao_cal_choose(FrmAoCal& f, int index);
// A press on step label i: with the left button (1) the count goes down, with any other
// up, held within 0 to 65535; written, the output forced to it, read back.
void ao_cal_step(FrmAoCal& f, int label, int mouse);
// btn_abort: the nine counts as they were at opening.
void ao_cal_abort(FrmAoCal& f);
// The forcing of all three outputs ended ("@OA", "@OB", "@OC").
void ao_end_override();
// Command 310: the warning "ABORT|OK, I really want to do this.", then the window.
void ao_cal_command();

// The count that gives `percent` % of 10 V on `output` by its three counts (the 0 V count
// and, on either side, the +10 V or -10 V count).
double ao_check_count(const std::array<double, 3>& counts, double percent);
// Command 311: the check window, a slider an output.
void ao_check_command();

}  // namespace ovn
