#pragma once
// The operator's load adjustment: one step of zero, positive, negative or a further load
// point, on the instrument of the current session (instrument/tm_info.h), any family.
//
// The step is transactional in a plain way: the configuration is downloaded first (the
// before-image); the operator loads the shaft in the step dialog, the reading is taken and
// the constants sent (adjust/adjust_calc.h); the verdict box shows the outcome, and a
// cancel there uploads the before-image. Either way the session is read again and the
// flash committed, so a rejected step also writes flash, with the old values.
//
// Every step that measured also appends a row to the instrument's adjustment record,
// "<documents>/OVN-Adjustments/<serial>.csv" (adj_record_file), for the as-found/as-left
// records calibration labs keep.
//
// One blocking call on the one thread; the waits and dialogs run the event loop.

#include <cstdint>
#include <string>

namespace ovn {

// The step dialog's texts of a point code (kPoint... of instrument/tm_info.h).
struct AdjStepText {
  std::string title;        // "Zero Adjustment", "Point 3 Load Adjustment"
  std::string prompt;       // "Unload transducer to Zero", "Load transducer in the CW direction"
  std::string input_label;  // "" for the zero step: no entry
};
// Any code outside 1201 to 1205 is a programmer's error: "Unknown CAL:<code>" and the end.
AdjStepText adj_step_text(int32_t code);

// One step. `load` (lbf-in) is the default the step dialog offers; `tolerance` the gain
// agreement asked of the other points after a load step (0: none); `mask` the step dialog's
// buttons (operator.h); with `skip_dialog` the step measures at once with `load`.
// Gives 3 when the new constants stand, 4 when they were rejected and the old
// configuration was put back, or the step dialog's own code when the operator left it
// before anything was measured (nothing is touched then, not even flash).
int adj_run_step(int32_t code, double load, double tolerance, int32_t mask, bool skip_dialog);

// "Torquemeter:<family>   Full Scale=<full scale, 7 digits> lbf-in".
std::string adj_headline();

// After a kept load step: the gains of all points against this one's. Points whose gain
// differs by more than |tolerance| (a fraction) are named and the operator is asked
// whether to bring them to this step's gain ("Yes|No"). True when they were rewritten.
bool adj_gain_compare(int32_t code, double tolerance);

// After a kept step on a HZYM: a calibration history record of the instrument's constants
// now, with the shunt values of the newest record; flagged when the step was a load point.
// Other families keep no history: nothing.
void adj_history_record(int32_t code);

// The adjustment record of the current session's instrument, and its heading line.
std::string adj_record_file();
std::string adj_record_heading();

}  // namespace ovn
