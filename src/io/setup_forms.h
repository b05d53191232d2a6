#pragma once
// The KST's setup forms: what the instrument is ("KST Setup": model, serial, customer,
// shaft, adjustment points, over range, channels), its speed and power ranges, the
// technician's view of the torque and of the speed and power adjustment data, the three
// temperature compensation coefficients and the creep compensation.
//
// Every form works the same way: the present values are read from the instrument into a
// list of labelled fields (user_input), the operator edits them, the typed values are
// checked, and only the values that changed are written back, each write answered "OK"
// (three tries). A value the form cannot take is refused with a message in the form's
// own words and the form comes back with what was typed; a value that only looks wrong
// may be kept ("Continue anyway"). Cancel, at the form or at a message, writes nothing.

#include <string>
#include <vector>

namespace ovn {

// What a form found wrong with one typed value.
struct SetupProblem {
  std::string text;          // the message, the field's label first
  bool overridable = false;  // the operator may keep the value; otherwise back to the form
};

// The fields of "KST Setup", as read or as typed.
struct KstSetupValues {
  std::string model;       // "UIA"
  std::string serial;      // "UIB"
  std::string customer;    // "UIC"
  std::string shaft;       // "UID"
  std::string points;      // "TA"
  std::string over_range;  // percent of full scale, from "UCA"
  std::string channels;    // "SD"
  // Shown with more than one channel and "PS" on.
  bool speed_fields = false;
  std::string speed_overload;  // "OL2", RPM
  std::string teeth;           // pulses a revolution, from "SCA" (Hz at 1 RPM) x 60
};

// The findings on typed values: first every value the form refuses, in the fields' order,
// then every value that only looks wrong. Nothing talks to the instrument.
std::vector<SetupProblem> kst_setup_check(const KstSetupValues& typed);
// True when going from `before` to `after` makes the adjustments done so far meaningless:
// another full scale in the model, another over range, another count of points.
bool kst_setup_voids_calibration(const KstSetupValues& before, const KstSetupValues& after);

// Command 204, "KST Setup". True when anything was written.
bool kst_setup_form();
// Command 202, "Speed / Power Setup": the speed and power full scales and the zero return,
// in the display units. True when anything was written.
bool speed_power_setup_form();
// Command 307: the torque adjustment data ("Calibration"). True when anything was written.
bool torque_data_form();
// Command 308: the speed pickup ("Configuration") and the speed and power adjustment data
// ("Calibration"). True when anything was written.
bool speed_power_data_form();
// Commands 700 to 702: the zero ("TCB"), span ("TCD") and shunt span ("TCF") temperature
// compensation, by index 0 to 2. True when the coefficient was written.
bool temp_comp_form(int index);
// Command 703, "Creep Compensation". True when anything was written.
bool creep_comp_form();

}  // namespace ovn
