#pragma once
// The adjustment calculation: one reading at an adjustment point, turned into the
// constants of the instrument's family and written to it.
//
// The families keep their adjustment very differently, so each operation here is one
// switch on the family of the current session (instrument/tm_info.h):
//   KST, KSLW   "CF<ch><point>" the raw reading above zero, "CE<ch><point>" the load as a
//               fraction of full scale "CE<ch>A"; "TCA"/"TCC" the temperatures of zero
//               and span (deg F)
//   WQPM        ratio pairs "CIA"/"CIB" (zero), "CIC"/"CID" (+), "CIE"/"CIF" (-) against a
//               60 MHz clock, loads "CCC"/"CCD" as float32 hex, "TZA" (adjust/temp_comp.h)
//   RDX         "CFA" zero, "CFB"/"CFC" points in thousandths of a count, "CEB"/"CEC"
//               loads, "CFG"/"CFH"/"CFI" temperatures
//   HZYM        "OF" offset (hex), "SC" two float32 gains, "CC1A"/"CC1B"
//   KSVM        "CA" zero, "CB"/"CC" integer factors of 10737418240000
//   S350, S350+ "CL1A": the instrument adjusts itself
// Point codes are kPoint... of instrument/tm_info.h (1201 zero to 1205), letters "A" to "E".
//
// Every write goes through the retried exchange ("OK" expected, three tries), so a silent
// instrument reaches the operator there; a constant whose read fails reads as 0 and the
// safe divides fall back to their defaults. Reports are plain text, lines ended by CR LF;
// nothing here raises. Every constant written is also kept in a list (adj_sent) so the
// procedure can record what one step sent.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "adjust/stats.h"

namespace ovn {

// The most gains adj_get_gains gives.
constexpr int kAdjMaxGains = 21;

// Turns the shunt off, measures at point `code` and writes the family's constants for the
// applied `load` (lbf-in; the zero step ignores it). `stats` gets the reading as the verdict
// prints it (raw counts; above the stored zero for a load point). The report holds errors
// and warnings, "" when all is well:
//   "ERROR:Unable to turn off CAL" when the shunt could not be switched off (nothing else
//   is done), a family's own warnings, then the noise warnings of the reading
//   (adj_noise_warnings) with the temperature measured.
// Ends by reading the session again (tm_reload_config).
std::string adj_compute(int32_t code, double& load, STTS& stats);

// A reading of `seconds` of the family's raw values (the instrument's own test on a KST),
// as a statistics record; `report_name` names its row in the acquisition file ("" none).
STTS adj_take_reading(double seconds, const std::string& report_name);

// The WQPM's ratio fit: the integers i, j (i near T * m) for which 60000000 * T * i / j
// comes nearest to T * m, T being testtime_s on the firmware that counts over the test time
// ("2.050" up to "3.000", and from "3.050"), else 1. Writes "CI<letter><i>" and
// "CI<letter + 1><j>" unless i or j is 1; gives the pair either way ({1, 1}: no fit).
std::array<int64_t, 2> adj_fit_ratio(double m, const std::string& letter);

// The gains of the points the family keeps (counts per load, one per point from
// "Positive"), into `gains`; gives how many (0 to 21). Families that keep none give 2 and
// leave them 0.
int adj_get_gains(std::array<double, kAdjMaxGains>& gains);
// Rewrites the other points so their gain is that of point `code` (1202, 1203; on a KST
// also 1204, 1205). Any other code does nothing.
void adj_set_gains(int32_t code);

// Raw counts per full-scale load at point `code` (the zero step asks for 1202): what turns
// a reading into percent of full scale. 0 when the family keeps no such point.
double tm_counts_per_lbfin(int32_t code);

// Reads the session again after its constants changed. `code` 1110 keeps the family of the
// session (the only use).
void tm_reload_config(int32_t code);

// Writes one constant, name + value ("OK" expected, three tries; a KSLW takes its set form
// "name=value"), and keeps it in the list below. False when the operator skipped it.
bool adj_write(const std::string& name, const std::string& value);
// The constants written since adj_sent_clear, as sent ("CF1A2000.5", "CF1A=2000.5"), in
// order.
const std::vector<std::string>& adj_sent();
void adj_sent_clear();

}  // namespace ovn
