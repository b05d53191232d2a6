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
// The short form (frm_ao_setuq), for the families other than KST: per output the channel,
// a range and two options, turned into the four numbers:
//   "0"    the output stays at 0 V              0, 0, 0
//   "10V"  -10 to 10 V about 0 V                0, 10, 10
//   "5V"   -5 to 5 V about 0 V                  0, 5, 5
//   "5"    0 to 10 V about 5 V                  5, 10, 10
//   "other" the numbers stand as they are (the grid form set them)
// "Inverted Polarity" mirrors the full scale and shunt voltages about the zero voltage;
// "20% FS" puts the shunt at a fifth of the span (a shunt worth 20 % of full scale).
inline constexpr std::array<const char*, 5> kAoRanges = {"0", "10V", "5V", "5", "other"};
// The numbers of a choice into `txt_input[output]`; "other" leaves them.
void ao_setuq_apply(FrmAoSetup& form, int output, const std::string& range, bool inverted,
                    bool fifth);
// The choice the numbers of an output show ("other" when none fits).
std::string ao_setuq_range(const FrmAoSetup& form, int output, bool& inverted, bool& fifth);
// Command 200 on the current family: the grid on a KST, the short form on the others.
void ao_setup_command();

}  // namespace ovn
