#pragma once
// Acquisition: how every reading of an adjustment or a test is taken from the instrument of
// the current session, as one statistics record (adjust/stats.h) rather than a number.
//
// By family:
//   KST, KSLW, RDX  the instrument runs the test itself ("NT<n>", polled until "NT" says
//                   "2", then the results of "NTD", or "ND" on an instrument whose "VR"
//                   begins with "i"); a negative count asks for its engineering form
//   WQPM            the instrument-run test as above (the per-sample form over a live rotor
//                   link is not built: see the note in acquire.cpp)
//   HZYM            "XC<ch>" per sample (raw) or "DC<ch>" (engineering), and "DS<ch>" as
//                   the record's factor
//   KSVM            "aa" per sample (raw) or "c" (engineering)
//   S350, S350+     the session's raw message per sample, or the value in lbf-in
//
// The acquisition never fails: an instrument that does not answer gives fewer samples, at
// worst an empty record (num 0), and the caller reports it. Messages go through the
// retried exchange (link/rs232.h), so a silent line reaches the operator there.
// One thread; the waits run the event loop (yield_ms).

#include <string>

#include "adjust/stats.h"

namespace ovn {

// Takes a reading of `seconds`, or of `count` samples when seconds is 0.
//   seconds, count: both 0 means seconds = testtime_s of the session; seconds 0 with
//     count 0 after that means count = number_to_average. Both come back as used.
//   scale: 0 leaves the record as the instrument gave it. Otherwise, on a family that tells
//     the factor of its record (HZYM "DS<ch>"), the record is multiplied by that factor;
//     `scale` comes back as the factor applied (1 when the family has none).
//   report_name: when not empty, the record is appended as one row named so to the
//     acquisition file "ovn-noise-uvpv-<tm_name>-<serial>.csv" (noise_csv_row).
// Stops at the count, or once the time has run (batches are sized from the rate measured
// so far, so the last one ends near the deadline).
STTS tm_acquire(bool raw, double& seconds, double& count, double& scale,
                const std::string& report_name);
// The raw (A/D count) and the engineering (display unit) forms.
STTS tm_acquire_raw(double& seconds, double& count, double& scale, const std::string& report_name);
STTS tm_acquire_engineering(double& seconds, double& count, double& scale,
                            const std::string& report_name);

// The folder of the noise and adjustment files: "ovn-noise" in the user's documents folder,
// made when missing.
std::string noise_folder();
// "<folder>/ovn-noise-uvpv-<tm_name>-<serial>.csv" of the current session.
std::string noise_uvpv_file();

// The acquisition file's heading and one row: date and time, temperature in deg F ("" when
// below -499: none read), the report name, the family name, serial and model of the
// current session, then num, mean, stdev, min, max, spread and the Gaussian ratio. A field
// holding a comma or a double quote is quoted, its quotes doubled.
std::string noise_csv_heading();
std::string noise_csv_row(const STTS& record, double temperature_f, const std::string& name);
// Appends a row to `file`, with the heading first when the file is new or empty. False when
// the file could not be written (the operator has been told).
bool noise_csv_append(const std::string& file, const std::string& heading, const std::string& row);

}  // namespace ovn
