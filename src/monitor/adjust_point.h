#pragma once
// The main window's adjustment commands 300 to 304 ("Zero Adjustment...", "Positive
// Adjustment...", "Negative Adjustment...", "Adjustment Point #3...", "Adjustment Point
// #4..."), served by the command table of the window.

#include <cstdint>

namespace ovn {

struct FrmKstMain;

// Command 300 + i: the adjustment step of point 1201 + i (adjust/adjust_step.h) on the
// current session. The default load offered is the present "CE1<letter>" times "CE1A" (both
// read as numbers); the gain tolerance 0.002; the step dialog's buttons "Continue"/"OK" and
// "Cancel" (mask 24). The loop's polling stands while the command is served; when the step
// ends, the window reads its channels again (refresh_channels) and goes on. Gives the
// step's result (adj_run_step); a command outside 300 to 304 does nothing and gives 0.
int adjust_point(FrmKstMain& f, int32_t command);

// A shunt run (adjust/adjust_shunt.h, kShuntRun...), with the window in its adjustment mode
// as for a point: command 306 "Get Shunt Values..." runs both shunts; the technician's
// shunt tests on "No Cal" run the positive (3003), the negative (3004) or both (3005).
int adjust_shunt(FrmKstMain& f, int32_t code);

}  // namespace ovn
