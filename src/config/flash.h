#pragma once
// Committing the instrument's working memory to flash, changing its address letter, and
// the factory reset of a KST.
//
// All three talk through the retried exchange (link/rs232.h) on the attached port, so a
// silent instrument reaches the operator's "Abort|Retry|Skip" dialog there; Abort ends
// the process at once. A write the operator skips is left out and the procedure goes on
// with the next one, as the operator chose.
//
// Which function serves which operator command of the main window:
//   105 "Change KSTs RS485 ID"            flash_command_change_id()
//   107 "Write non-volatile memory"       tm_info_flash_write(kTmInfoCurrent)
//   508 "Reset Flash..."                  flash_command_reset()
//   end of a session, "Change Commport"   tm_info_flash_write(kTmInfoCurrent), before the
//                                         automatic save
// The command functions act on the current session (instrument/tm_info.h), which must
// have been read. Families are told by their family code (instrument/family.h): a code
// outside 1100 to 1109 is a programmer's error (fatal_error); 1100, no instrument, has
// nothing to commit.

#include <cstdint>
#include <functional>
#include <string>

namespace ovn {

// The factory access code that must follow a new channel count in "SD" ("SD3k7Qw2Xzp").
inline constexpr const char* kChannelCountCode = "k7Qw2Xzp";

// True for the families that keep their parameters in flash and take the "@@" commit:
// WQPM, RDX, KSLW, KST, KSVM and S350+.
bool tm_info_has_flash(int32_t family);
// True for the families that answer on an address letter and can change it ("ID"):
// RDX, KSLW, KST, S350 and S350+.
bool tm_info_has_id(int32_t family);

// The commit of the instrument of `session` (kTmInfoCurrent: the current one).
// Logs "FLASH WRITE..."; for the families with flash sends "@@" (a wait of 1000 ms, "OK"
// expected, three tries), then "VR" with the default wait as the sign that the instrument
// is back; logs "FLASH WRITING DONE". False when the operator skipped the "@@"; true
// otherwise, also for the families with nothing to commit.
bool tm_info_flash_write(int32_t session);
// The same commit for an instrument of the given family.
bool tm_info_flash_write_family(int32_t family);

// The change of the address letter, for the families with "ID" (nothing happens for the
// others but a log line). Reads "ID" and asks in an input box "Current ID:<id>", CR LF,
// "Enter New ID:". Cancel or an empty answer ends here. More than one character gives
// "ID must be a single character", a character outside "@" to "~" gives
// `ID should be a letter (Currently "<typed>")`, each in a box with the button "OK" in
// Courier New 8, and nothing is sent. Otherwise sends "ID<letter>" ("OK" expected, three
// tries), makes the letter the link's address, remembers it for the port search of the
// next start (setting "ID", section "Communications", application the family's key) and
// calls `reread_session` so the session is read again through the new address. True when the letter
// was changed.
bool tm_info_change_id(int32_t family, const std::function<void()>& reread_session);

// Command 105: tm_info_change_id for the current session, which is then read again
// (tmi_get_data_ini) through the new letter.
bool flash_command_change_id();

// How a factory reset ended.
enum class FlashReset {
  NotDone,  // the operator chose "No", or the family has no factory reset
  Done,     // three channels before and after: the session goes on
  Restart,  // the channel count changed: the program must be started again
};

// The factory reset, for the KST only. Asks "Are you sure you want to reset flash???" with
// "No|Yes, Reset All Flash|Yes, preserve Tech-Anaout". Either yes sends the factory
// defaults one at a time ("OK" expected, three tries each); the third choice leaves the
// analog output trims AOM to AOU as they are. Then reads the channel count "SD", sets
// three channels with the factory access code, sends the speed and power defaults, makes
// "A" the address and commits with "@@" (1000 ms). Ends with "Done!" when the instrument
// had three channels, else with "Reset Flash Done!", CR LF, "Restart program due to
// change in the number of channels"; both with the button "OK".
FlashReset tm_info_reset_flash(int32_t family);

// Command 508: the factory reset; a reset that changed the channel count ends the
// process (code 0), since the window was laid out for the old count. The flash already
// holds the reset, so nothing is lost.
bool flash_command_reset();  // true when the defaults were written

}  // namespace ovn
