#pragma once
// The analog output setup (Setup > Analog Output Setup..., command 200): for each of the
// stator's three analog outputs (pins G, A and B) the channel that drives it and the
// voltage it gives at zero, at full scale and with the shunt on. Four numbers an output in
// the instrument, "AOA" to "AOL" (channel index, then the three voltages).
//
// The voltages are checked before anything is sent: all nine must be numbers, and each
// voltage, and its mirror 2 * v0 - v that the negative side of the input gives, must lie
// within -15 to 15 V. The errors are shown together ("Back"); when the only ones are
// mirrored voltages (a shaft turned one way only never gives them) the technician may go
// on with "I'm sure, Continue". The shunt voltage counts only for an output the torque
// drives. Sent in order, output by output, only after the checks.

#include <array>
#include <string>

#include "foundation/operator.h"

namespace ovn {

struct FrmAoSetup {
  std::string model;                                      // "UIA"
  bool locked = false;                                    // "PS" 1: shown, nothing sent
  std::array<int, 3> channel{};                           // lst_chn: 0 TORQUE, 1 SPEED, 2 POWER
  std::array<std::array<std::string, 3>, 3> txt_input{};  // [output][zero, +FS, +shunt]
  std::string lb_info;
  GridForm grid;  // what the window shows
};

// The channel names of lst_chn.
inline constexpr std::array<const char*, 3> kAoChannels = {"TORQUE", "SPEED", "POWER"};

// Reads the model, the lock and "AOA" to "AOL" into a form and lays out its grid.
FrmAoSetup ao_setup_load();
// The checks of btn_ok: the collected error text (each line ended CR LF, empty when all is
// well), and whether every error is one of a mirrored voltage.
std::string ao_setup_errors(const FrmAoSetup& form, bool& only_mirrored);
// Sends the setup: "AO<letter><channel>" then the three voltages, output by output.
void ao_setup_send(const FrmAoSetup& form);
// btn_ok: the checks, their box ("Back" or "I'm sure, Continue"), and the sending. True
// when the window closes.
bool ao_setup_ok(FrmAoSetup& form);
// Command 200: the window.
void ao_setup_command();

}  // namespace ovn
