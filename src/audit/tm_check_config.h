#pragma once
// The configuration audit: is this instrument healthy and set up as its model number says?
//
// The audit reads the instrument of the current session live, holds what it finds against
// its model number and its family's rules, and writes one sentence per rule into the
// checkit report (audit/checkit.h): the failures and the passes. It sends only requests
// that read; nothing in the instrument changes. Families with a rule list: WQPM, RDX, KST,
// HZYM, KSVM; the others get the frame alone (firmware, address, family, dynamic section).
//
// A reading the instrument did not give counts as kCheckNoReading, which fails its rule.

#include <string>

namespace ovn {

inline constexpr double kCheckNoReading = -149.0;

// Runs the whole audit into the checkit report (ck_clear first, ck_finish inside), without
// showing anything. Afterwards ck_failures() / ck_passes() hold the texts.
void tm_check_config_audit();

// The "check configuration" command: the audit, then the failure box (warning icon) when
// anything failed, and the pass box (information icon) when `show_passes`, both in the
// fixed font with tm_check_config_title(). The failure box offers "Save report..." (the
// HTML page of audit/audit_report.h). Returns true when there was no failure.
bool tm_check_config_run(bool show_passes);

// "<uid>  <firmware>": the title of the boxes and the report.
std::string tm_check_config_title();

// The firmware notes of the session's family: one line per board that needs an upgrade,
// empty when all is current.
std::string tm_check_config_board_notes();
// " firmware (currently <version>) needs to be upgraded to at least version <wanted>." and
// CR LF with `name` in front, when `version` is below `wanted` (compared as text, so board
// versions come zero-padded); otherwise "". Leading zeros are stripped in the sentence.
std::string tm_check_config_need_version(const std::string& version, const std::string& wanted,
                                         const std::string& name);

// ---- Rules shared by the rule lists -----------------------------------------------------

// The model's scaling against the display scaling, and the unit names folded ("f-" and "-"
// dropped) against each other.
void ck_model_scaling(double model_scaling, const std::string& model_unit, double display_scaling,
                      const std::string& unit_name);
// ck_range of `value` as "<name>Actual" in "@FS" between low and high when the model begins
// with an item of `first` ("|"-separated stems), between the halves when it begins with one
// of `second`. False when the model begins with neither.
bool ck_actual_at_fs(const std::string& model, double value, const std::string& first,
                     const std::string& second, double low, double high, const std::string& name);
// Two spans, each a value over its reading: a zero gives its sentence and false; then their
// asymmetry, and with a positive `same_tolerance` the failure of two spans so alike that
// the second cannot have been adjusted on its own.
bool ck_span_pair(const std::string& name_a, double value_a, double reading_a,
                  const std::string& name_b, double value_b, double reading_b,
                  double asymmetry_tolerance, double same_tolerance);
bool ck_span_signs(const std::string& name, double value_a, double reading_a, double value_b,
                   double reading_b, double asymmetry_tolerance, double same_tolerance);
bool ck_span_plusminus(const std::string& name, double plus, double minus,
                       double asymmetry_tolerance, double same_tolerance);

}  // namespace ovn
