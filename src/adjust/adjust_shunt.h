#pragma once
// The shunt adjustment: what the instrument reads with no shunt, with the positive and with
// the negative shunt resistor switched in. Those spans are the instrument's built-in
// reference, which later checks compare against load. Same skeleton as a load step
// (adjust/adjust_step.h): the configuration as a before-image, the readings, the verdict,
// then the constants kept (and committed to flash) or the before-image put back.

#include <cstdint>
#include <string>

#include "adjust/stats.h"

namespace ovn {

// The codes of a run: the positive value only, the negative only, or both.
inline constexpr int32_t kShuntRunPositive = 1401;
inline constexpr int32_t kShuntRunNegative = 1402;
inline constexpr int32_t kShuntRunBoth = 1404;

// Switches the shunt to `state` (kShuntNone, kShuntPositive, kShuntNegative) and reads it
// back by family, up to 30 tries (tm_info_shunt_set_and_check). True when the state read
// back is the one wanted (families that cannot tell count as reached).
bool tm_set_shunt(int32_t state);

// One shunt run. `mask` and `skip_dialog` as for a load step; `load` and `tolerance` are
// the caller's as there, unused by the shunt. Gives 3 when the new shunt values stand, 4
// when they were rejected and the before-image put back, or the step dialog's own code
// when the operator left it before anything was measured (nothing touched). Any code but
// 1401, 1402 and 1404 is a programmer's error: "Unknown CAL:<code>".
int adj_shunt_run(int32_t code, double load, double tolerance, int32_t mask, bool skip_dialog);

// The readings of a run: zero, positive and negative shunt (a step not run is empty), and
// the temperatures they were taken at (deg F, -500 for none).
struct ShuntReadings {
  STTS zero = stts_empty(), positive = stts_empty(), negative = stts_empty();
  double zero_temperature_f = -500, shunt_temperature_f = -500;
};
// Writes the family's shunt constants from the readings. KST, KSLW: "CF1A" the zero,
// "TCA" its temperature, "SVA" the positive span, "SVB" the negative span (only when it
// differs from the positive; one of the same sign is flipped), "TCE" the temperature of the
// shunt readings. RDX: "CFA", the pairs "CFD"/"CED" and "CFE"/"CEE" (span in thousandths of
// a count, and the shunt's load as a fraction of full scale), "CFG" in tenths of deg F.
// KSVM: "CL" and "CM", the shifts 10737418240000 / (full scale "CK" x span), signed + and
// - by their steps. HZYM: a calibration history record (unflagged) whose shunt values are
// the spans in lbf-in by the two gains of "SC", confirmed by the operator (false when the
// operator cancels). Others keep no shunt values that this program writes: nothing, false.
bool adj_shunt_constants(int32_t code, const ShuntReadings& readings);

}  // namespace ovn
