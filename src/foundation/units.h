#pragma once
// Display units: for each measured quantity (a group: torque, speed, power, temperature...)
// the units it can be shown in, each related to the group's base unit by
//   base value = (display value - offset) * factor,  display value = base / factor + offset.
// Base units: torque N-m, speed rad/s, power W, energy J, force N, temperature K.
//
// The table is built in, and the file "ovn-units.ini" replaces it: beside the program,
// else in the installation's share folder. The file is plain text, one definition a line,
// "#" starts a comment:
//   [TORQUE]                     a group (its name exactly as the caller lists it)
//   lbf-in 0.11298482902761668   a unit: name, blanks, factor
//   lbf-ft lbf-in*12             a factor may be an expression over earlier names
//   C 1:-273.15                  factor ":" offset
//   [Words]                      any other section only defines names for expressions
// Expressions have "*" and "/" of equal rank, left to right, no parentheses; their operands
// are numbers or names defined earlier (the first definition of a name counts).
//
// Indices of units and groups are 0-based; an index out of range gives "" or 0.

#include <string>

namespace ovn {

inline constexpr int kUnitsMaxGroups = 11;
inline constexpr int kUnitsMaxPerGroup = 36;
inline constexpr int kUnitsMaxWords = 251;

// Clears everything and loads the file, or the built-in table when there is no file, into
// the groups named in `group_list` ("TORQUE|SPEED|POWER|TEMPERATURE"), group i being the
// i-th name. Returns true when a file was read, false when the built-in table was taken.
bool units_init(const std::string& group_list);

// The file read by the last units_init, or "None".
std::string units_file();

// Where units_init looks for "ovn-units.ini": first `beside_program`, then `fallback`.
// Empty texts mean the defaults (the program's folder; the installation's share folder).
void units_set_search_dirs(const std::string& beside_program, const std::string& fallback);

int units_count(int group);
std::string units_name(int unit, int group);
double units_factor(int unit, int group);
double units_offset(int unit, int group);

double units_to_base(int unit, int group, double value);    // (value - offset) * factor
double units_from_base(int unit, int group, double value);  // value / factor + offset

// Evaluates a factor expression (see above). A name that is not defined, or whose value
// is 0, shows "Word \"<word>\" not defined in ovn-units.ini file" (OK) and counts as 0.
double units_eval(const std::string& text);

// Defines a name for expressions. False when the table of names is full.
bool units_add_word(const std::string& name, double factor, double offset);
// Adds a unit to a group, and its name as a word. False when the group index is out of
// range or the group is full: the unit is not added then, the word all the same.
bool units_add_unit(int group, const std::string& name, double factor, double offset);

}  // namespace ovn
