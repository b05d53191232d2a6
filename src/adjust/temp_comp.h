#pragma once
// Temperature compensation at the zero step of a WQPM, which keeps zero and span as ratios
// of two integers ("CIA"/"CIB", "CIC"/"CID", "CIE"/"CIF") and the temperature of its zero
// in "TZA" (deg C). The other families record their temperatures beside their points in
// the adjustment calculation itself (adjust/adjust_calc.h): "TCA"/"TCC" on a KST and KSLW,
// "CFG"/"CFH"/"CFI" on an RDX, "CH" on a KSVM.

#include <string>

#include "adjust/stats.h"

namespace ovn {

// The WQPM zero: a reading over testtime_s between two temperature reads, a new zero pair
// fitted to its mean, both span pairs moved by the same step so the load points stay where
// they were, and "TZA" written with the mean temperature. The report is "" or one of the
// plain texts "Error reading 0!" (nothing further is written), "Error reading +load!",
// "Error reading -load!", each ended by CR LF. `stats` gets the reading. The old and new
// pairs go to the debug log ("OLDZ:i/j NEWZ:i/j <step, Hz 0.000>", "OLDP:", "OLDN:").
std::string tc_zero_adjust(STTS& stats);

}  // namespace ovn
