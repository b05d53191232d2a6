#pragma once
// What a model number says beyond its family: the full scale, the unit it is stated in,
// and the top speed of the shaft.
//
// A model number is an optional maker's prefix "ZQVD", a stem of one of the stem sets
// (instrument/model_stems.h), a letter tail, and for the families that carry one the full
// scale in parentheses directly behind: "ZQVD52002V(2-3 lbf-in)". The full scale notation:
//   number    digits, optionally "." and more digits
//   exponent  optional "-" and digits: "5-2" is 5 x 10^2; at most 7
//   scale     optional SI letter (d c h m u or micro sign, n p f a z y, k M G T); any other
//             letter is no scale and stays part of the unit
//   unit      "Nm", "oz-in", "lbf-ft", "lbf-in" and their other spellings, then ")"
// Blanks may stand between the number, the scale letter and the unit. A model of the
// force stems (rated in lbf, not lbf-in) may also say "N", "lbf", or nothing: "(100)" is
// 100 lbf.
//
// Nothing here talks to the instrument; tm_info_model_check reads only the family of the
// current session.

#include <cstdint>
#include <string>

namespace ovn {

// Parses the full scale notation of `model`. Returns 0 for a well-formed notation, else the
// 1-based position in `model` at which the parse stopped: the character that does not
// fit, or the one where ")" was wanted. A model with no "(" returns its length + 1.
// On success `full_scale` is the full scale in lbf-in (the number times 10^exponent,
// divided by `units_per_lbfin`); otherwise it is left alone. `units_per_lbfin` is how many
// of the model's unit make one lbf-in (one lbf for force models), its scale letter
// included; `unit_name` the unit as written with its scale letter ("kNm"), or, when the
// model names no unit, tm_info_model_unit(model). Both are set as far as the parse came.
int tm_info_model_parse(const std::string& model, double& full_scale, double& units_per_lbfin,
                        std::string& unit_name);

// The model against a family: 0 good, 1 the stem does not belong to the family, 2 the
// family has no stems (S350, S350+, FGA, no family) or the model has no "(", and any other
// value the parse position of a malformed notation (always beyond 2, since a stem comes
// before the "("). The outputs are those of tm_info_model_parse.
int tm_info_model_check_family(int32_t family, const std::string& model, double& full_scale,
                               double& units_per_lbfin, std::string& unit_name);
// The same for the family of the current session.
int tm_info_model_check(const std::string& model, double& full_scale, double& units_per_lbfin,
                        std::string& unit_name);

// "lbf" for a model of the force stems, "lbf-in" for any other.
std::string tm_info_model_unit(const std::string& model);

// The top speed of the shaft in RPM, for KST models (stem beginning 4, 5 or 7) whose
// four stem digits behind the first are in the speed table; 0 for any other model.
double tm_info_model_fs_limit(const std::string& model);

// The over range a KST rotor is built for, in percent of its full scale: 300 for the
// low-range rotors (stems beginning 4, full scale at a third of the A/D range), 150 for the
// others; 0 when the model gives no full scale. The full scale counts "UCA" are
// 983040000 x 100 / this.
double tm_info_model_over_range(const std::string& model);

// A full scale in the form "<digits>(-<count>)": the number with only its significant
// digits, and `count` trailing zeros taken off it: 2000 "2(-3)", 2.5 "2.5(-0)", 0 "0(-0)".
std::string tm_info_format_fs(double value);

}  // namespace ovn
