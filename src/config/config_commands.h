#pragma once
// The configuration commands of the main window and of the session's end, on the current
// session of module tm_info (instrument/tm_info.h).
//
//   100 "Save configuration"   tm_file_command_save
//   101 "Load configuration"   tm_file_command_load
//   end of a session and "Change Commport", after the flash commit: tm_file_session_end_save
//
// The commands talk to the instrument through the retried exchange (link/rs232.h) and ask
// the operator through the operator services; they are called from the main loop's
// command step, never from an event handler.

#include <cstdint>
#include <functional>
#include <string>

#include "config/tm_file.h"

namespace ovn {

// What the configuration files need of a session, from its record.
ConfigInstrument config_instrument_of(int32_t session);

// Makes loads and uploads read the current session again when they are done
// (tmi_get_data_ini without reopening the port) and commit through `flash_write`.
void tm_file_use_session(const std::function<bool(int32_t family)>& flash_write);

// 100: the save dialog, then the save. A file that cannot be written is told with
// "Configuration NOT saved to", CR LF, the path (button "OK"). True when saved.
bool tm_file_command_save();

// 101: the open dialog and the load (interactive). After it, "SD" is read (the channel
// count, returned through `channels`), "SCA" is read and when above 100 "SCA1.0" is sent,
// and "Configuration uploaded", CR LF, "<n> lines uploaded" is shown with "OK". The
// caller then refreshes the filter label, scales, power labels, channels and I/O labels.
// The number of lines sent; -1 when the operator cancelled the dialog.
int tm_file_command_load(int32_t& channels);

// The automatic save of the current session into "OVN-Configurations" (tm_file_auto_save).
std::string tm_file_session_end_save();

}  // namespace ovn
