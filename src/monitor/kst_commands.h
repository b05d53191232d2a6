#pragma once
// The numbers of the main window's commands, and the table that serves them.
//
// Every operator action on the main window ends in one number in `command`; the main loop
// serves it at the end of its round. A menu stores its base plus the entry's index, so the
// entries' numbers follow their places in the menus (separators keep their numbers, and
// no row serves those). The table is searched from its top and the first row whose range
// holds the number serves it; a number no row serves is logged "OOPS:" and the number.

#include <cstdint>
#include <vector>

namespace ovn {

struct FrmKstMain;

// ---- Menu bases: a click stores base + index ---------------------------------------------

inline constexpr int32_t kMnPwrBase = 43;
inline constexpr int32_t kMnFileBase = 100;
inline constexpr int32_t kMnSetupBase = 200;
inline constexpr int32_t kMnAdjustmentBase = 300;
inline constexpr int32_t kMnMiscBase = 500;
inline constexpr int32_t kMnViewBase = 600;
inline constexpr int32_t kMnTemperatureBase = 700;
inline constexpr int32_t kMnFilterBase = 2000;
inline constexpr int32_t kMnUnitsBase = 5000;
// The buttons' arrays: btn_cmd i stores 400 + i, btn_cal i 3000 + i.
inline constexpr int32_t kBtnCmdBase = 400;
inline constexpr int32_t kBtnCalBase = 3000;

// ---- Labels and buttons around the chart -------------------------------------------------

// The power drive's period in counts ("PWA"), from lb_tech_pwm: +1, -1, +10, -10, +100, -100.
inline constexpr int32_t kCmdPwaPlus1 = 30;
inline constexpr int32_t kCmdPwaMinus1 = 31;
inline constexpr int32_t kCmdPwaPlus10 = 32;
inline constexpr int32_t kCmdPwaMinus10 = 33;
inline constexpr int32_t kCmdPwaPlus100 = 34;
inline constexpr int32_t kCmdPwaMinus100 = 35;
inline constexpr int32_t kCmdResetMaxMin = 37;          // lb_mxmn, left button
inline constexpr int32_t kCmdResetMaxMinAndClear = 38;  // lb_mxmn, right button
inline constexpr int32_t kCmdClearChart = 48;           // btn_clrscrn
inline constexpr int32_t kCmdNextDisplayMode = 50;      // lb_units
inline constexpr int32_t kCmdTechnicianEntry = 60;      // lb_data, Shift+Ctrl+Alt right button
inline constexpr int32_t kCmdPower135 = 198;            // btn_pwr135
inline constexpr int32_t kCmdPause = 1998;              // btn_pause
inline constexpr int32_t kCmdUrvUp = 6000;              // lb_tech_rtr, any but the left button
inline constexpr int32_t kCmdUrvDown = 6001;            // lb_tech_rtr, left button
// A resize of the window; the end of a round does not clear it.
inline constexpr int32_t kCmdResize = 19000;
// Presses on the channel labels, the limit boxes and the chart: base + gesture code
// (see gestures.h), up to kCmdGestureLast.
inline constexpr int32_t kCmdGestureFirst = 30000;
inline constexpr int32_t kCmdGestureLast = 31000;

// ---- mn_pwr (inside Misc, technician mode) -----------------------------------------------

inline constexpr int32_t kCmdSweepFrequencyUrv = kMnPwrBase + 0;
inline constexpr int32_t kCmdSweepDutyUrv = kMnPwrBase + 1;
inline constexpr int32_t kCmdPowerFrequencyNoise = kMnPwrBase + 2;
inline constexpr int32_t kCmdFilterSpread = kMnPwrBase + 3;
inline constexpr int32_t kCmdFilterSpreadX10 = kMnPwrBase + 4;

// ---- mn_file -----------------------------------------------------------------------------

inline constexpr int32_t kCmdSaveConfiguration = kMnFileBase + 0;
inline constexpr int32_t kCmdLoadConfiguration = kMnFileBase + 1;
inline constexpr int32_t kCmdChangePort = kMnFileBase + 3;
inline constexpr int32_t kCmdSaveDataOptions = kMnFileBase + 4;
inline constexpr int32_t kCmdChangeId = kMnFileBase + 5;
inline constexpr int32_t kCmdWriteFlash = kMnFileBase + 7;
inline constexpr int32_t kCmdExit = kMnFileBase + 9;

// ---- mn_setup ----------------------------------------------------------------------------

inline constexpr int32_t kCmdAnalogOutputSetup = kMnSetupBase + 0;
inline constexpr int32_t kCmdDigitalIoSetup = kMnSetupBase + 1;
inline constexpr int32_t kCmdSpeedPowerSetup = kMnSetupBase + 2;
inline constexpr int32_t kCmdTermination = kMnSetupBase + 3;  // the "UCB" flag dialog
inline constexpr int32_t kCmdTechnicianSetup = kMnSetupBase + 4;
inline constexpr int32_t kCmdPasswordProtect = kMnSetupBase + 6;
inline constexpr int32_t kCmdPasswordChange = kMnSetupBase + 7;

// ---- mn_adjustment -----------------------------------------------------------------------

inline constexpr int32_t kCmdAdjustZero = kMnAdjustmentBase + 0;
inline constexpr int32_t kCmdAdjustPositive = kMnAdjustmentBase + 1;
inline constexpr int32_t kCmdAdjustNegative = kMnAdjustmentBase + 2;
inline constexpr int32_t kCmdAdjustPoint3 = kMnAdjustmentBase + 3;
inline constexpr int32_t kCmdAdjustPoint4 = kMnAdjustmentBase + 4;
inline constexpr int32_t kCmdShuntValues = kMnAdjustmentBase + 6;
inline constexpr int32_t kCmdTechAdjustTorque = kMnAdjustmentBase + 7;
inline constexpr int32_t kCmdTechAdjustSpeedPower = kMnAdjustmentBase + 8;
inline constexpr int32_t kCmdAnalogOutputAdjust = kMnAdjustmentBase + 10;
inline constexpr int32_t kCmdAnalogOutputCheck = kMnAdjustmentBase + 11;

// ---- btn_cmd -----------------------------------------------------------------------------

inline constexpr int32_t kCmdSaveData = kBtnCmdBase + 0;
inline constexpr int32_t kCmdTare = kBtnCmdBase + 1;
inline constexpr int32_t kCmdClearTare = kBtnCmdBase + 2;

// ---- mn_misc -----------------------------------------------------------------------------

inline constexpr int32_t kCmdSendMessage = kMnMiscBase + 0;
inline constexpr int32_t kCmdNoiseAd = kMnMiscBase + 1;
inline constexpr int32_t kCmdNoiseAdRepeated = kMnMiscBase + 2;
inline constexpr int32_t kCmdNoiseLbfIn = kMnMiscBase + 3;
inline constexpr int32_t kCmdNoiseFiltered = kMnMiscBase + 4;
inline constexpr int32_t kCmdNoiseFilteredRepeated = kMnMiscBase + 5;
inline constexpr int32_t kCmdHistogram = kMnMiscBase + 6;
inline constexpr int32_t kCmdHistogramX = kMnMiscBase + 7;
inline constexpr int32_t kCmdResetFlash = kMnMiscBase + 8;
inline constexpr int32_t kCmdExpandedDisplay = kMnMiscBase + 9;

// ---- mn_view -----------------------------------------------------------------------------

inline constexpr int32_t kCmdInfo = kMnViewBase + 0;
inline constexpr int32_t kCmdRealTimeInfo = kMnViewBase + 1;
inline constexpr int32_t kCmdMoreInfo = kMnViewBase + 2;
inline constexpr int32_t kCmdChannelInfo = kMnViewBase + 3;
inline constexpr int32_t kCmdCheckConfiguration = kMnViewBase + 4;

// ---- mn_temperature (inside Misc, technician mode) ---------------------------------------

inline constexpr int32_t kCmdZeroTempComp = kMnTemperatureBase + 0;
inline constexpr int32_t kCmdSpanTempComp = kMnTemperatureBase + 1;
inline constexpr int32_t kCmdShuntSpanTempComp = kMnTemperatureBase + 2;
inline constexpr int32_t kCmdCreepComp = kMnTemperatureBase + 3;

// ---- mn_filter, mn_units: one entry per filter and per unit -------------------------------

inline constexpr int32_t kCmdFilterLast = kMnFilterBase + 15;
inline constexpr int32_t kCmdUnitsLast = kMnUnitsBase + 99;

// ---- btn_cal, and the shunt tests on its middle button -----------------------------------

inline constexpr int32_t kCmdCalPositive = kBtnCalBase + 0;  // "ASB"
inline constexpr int32_t kCmdCalNone = kBtnCalBase + 1;      // "ASA"
inline constexpr int32_t kCmdCalNegative = kBtnCalBase + 2;  // "ASC"
// The middle button's right button in technician mode, by the modifiers held.
inline constexpr int32_t kCmdShuntTestCtrl = kBtnCalBase + 3;
inline constexpr int32_t kCmdShuntTestCtrlAlt = kBtnCalBase + 4;
inline constexpr int32_t kCmdShuntTestShiftCtrlAlt = kBtnCalBase + 5;

// ---- The table ---------------------------------------------------------------------------

// Serves one command of the row's range; `command` is the number served.
using KstCommandHandler = void (*)(FrmKstMain& f, int32_t command);

struct KstCommandRow {
  int32_t first = 0;
  int32_t last = 0;
  // Empty: the command's procedure is not in this build. It is logged "OOPS:" like an
  // unknown number, and its menu entry stays greyed "Not available in this build".
  KstCommandHandler serve = nullptr;
  // The row ends the session so that a new one starts (the port change).
  bool reopens = false;

  bool holds(int32_t command) const { return command >= first && command <= last; }
  bool served() const { return serve != nullptr || reopens; }
};

// The first row of `table` whose range holds `command`, nullptr when none does.
const KstCommandRow* kst_command_find(const std::vector<KstCommandRow>& table, int32_t command);

// The main window's table, in serving order (frm_kst_main.cpp, beside the menus).
const std::vector<KstCommandRow>& kst_command_table();

// True when this build serves `command`.
bool kst_command_served(int32_t command);

// Whether a command can be given now, as the window would let the operator give it.
enum class KstCommandState {
  Ready,      // served, and its menu entry or button (if it has one) is visible and enabled
  NotServed,  // no procedure in this build, or no such command
  Hidden,     // its menu entry or button is hidden: family, technician mode
  Disabled,   // its menu entry or button is greyed: the lock
};
KstCommandState kst_command_state(const FrmKstMain& f, int32_t command);

}  // namespace ovn
