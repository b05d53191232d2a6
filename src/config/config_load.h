#pragma once
// Loading a configuration file into the instrument: read the file, check that it fits the
// connected instrument, send each parameter line as a message, commit to flash.
//
// Every question and every refusal comes before the first line is sent, so a refused load
// leaves the instrument untouched. Lines go out through rs232_send_ok ("OK" expected,
// three tries); a line the operator skips is left out and the load goes on.

#include <cstdint>
#include <functional>
#include <string>

#include "config/tm_file.h"

namespace ovn {

// What a load does after its lines: the commit to flash and reading the session again.
// Both belong to the session; the program installs them once (tm_info_flash_write and
// tmi_get_data_ini). Unset, they do nothing.
struct ConfigLoadHooks {
  std::function<bool(int32_t family)> flash_write;
  std::function<void()> reread_session;
};
void tm_file_set_load_hooks(const ConfigLoadHooks& hooks);

// The most parameter lines a file may hold; a longer file is refused before anything is
// sent.
constexpr int kConfigMaxLines = 201;

// Loads the file at `path` into the instrument of `instrument.tm_type` (KST, KSLW, RDX,
// WQPM, KSVM; any other family loads nothing). `interactive` false means running under a
// procedure: the analog calibration question is not asked and those lines are dropped.
// Returns the number of lines sent; 0 when the file cannot be read or the load was
// refused.
//
// KST (KSLW and KSVM differ in the words and lines noted):
//  - Header lines (beginning "#") give the firmware ("Firmware version <v>"), the shaft
//    (" Shaft <s>") and, in a line "# Model <m> ... Serial Number <s>", model and serial.
//    Other lines are cut at "#", trimmed and kept; "UIA", "UIB", "UID" lines (KSVM "CR",
//    "CP", "CQ"; KSLW shaft "SH==") set model, serial and shaft, later lines winning.
//  - More than 201 kept lines: refused with a box naming the limit.
//  - No model or serial: "Model or Serial number not found in file!" (KSLW "Model or Serial
//    number not set!"), "Problem loading <family> configuration!", with "Cancel Load|Load
//    Anyway" when interactive or "OK" otherwise; the first button ends the load.
//  - "AOM" to "AOU" (KST, KSLW): the board's voltage calibration. Dropped when not
//    interactive; otherwise the first one asks whether to skip them all or send them all.
//  - KSVM: "CD", "CE", "CF" lines are sent only when model and serial were found.
//  - The lines are sent, the commit hook runs, the count is returned.
// RDX and WQPM first read model and serial (RDX also the rotor's shaft) from the
// instrument and compare them with the file's; see config_load.cpp.
int tm_info_config_load(const std::string& path, bool interactive,
                        const ConfigInstrument& instrument);

// Sends a configuration text back, as a procedure does to undo its changes: `text` empty
// means the held copy (tm_info_config_held). Split at CR LF; each line cut at "#" and
// trimmed, and sent when not empty ("OK" expected, three tries). Logs "Uploading <n>
// messages..." and "DONE Uploading", then runs the reread hook. Returns the lines sent.
int tm_info_config_upload_text(const std::string& text);

}  // namespace ovn
