#pragma once
// Configuration files: downloading an instrument's configuration (its catalogue walked
// message by message), the file format, and choosing and writing the file.
//
// A file is plain text with CR LF line ends: five header comment lines, then the body in
// catalogue order (config/catalogue.h). Every body line is itself the message that sets
// the parameter again, so a saved file can be loaded back line by line. The family is told
// by the file's extension (".611" KST, ".642" KSLW, ".673" RDX, ".917" WQPM, ".704" HZYM,
// ".735" KSVM).
//
// The body of the last download is held in memory (the held copy) so that a procedure can
// put the instrument back as it was without a file.

#include <cstdint>
#include <string>

#include "instrument/family.h"

namespace ovn {

// What the configuration files need to know of the connected instrument: the session's
// fields of the same names.
struct ConfigInstrument {
  int32_t tm_type = kTmNone;
  std::string tm_name;         // "KSTM"
  std::string file_extension;  // ".611"
  std::string file_name;       // base name for files of this instrument, extension included
  std::string uid;             // unique name for logs and reports
  std::string firmware;        // version_numbers 3
  int32_t version1 = 0;        // version_numbers 1
  double uvpv_per_raw = 0;     // microvolts per volt per A/D count
};

// The body: the family's catalogue walked item by item (at most 301 items). Logs
// "Downloading Configuration..." and "Downloading Configuration done", and keeps the result
// as the held copy. A family without a catalogue gives "".
std::string tm_info_config_read(const ConfigInstrument& instrument);

// The held copy: the body of the last download ("" before any).
const std::string& tm_info_config_held();
void tm_info_config_set_held(const std::string& body);

// The five header lines, each ended by CR LF:
//   "# <tm_name> Configuration File"
//   "# ovn-kst Version:<version>"
//   "# Firmware:<firmware>  RawRotor / uV/V = <1 / uvpv_per_raw, engineering form>"
//     (the value left out when uvpv_per_raw is 0)
//   "# UID:<uid>"
//   "# yyyy-MM-dd hh:mm:ss" (now)
std::string tm_info_config_header(const ConfigInstrument& instrument);

// Saves the configuration to `path`. That a file can be made beside `path` is checked first
// (so an unwritable folder is found before the download); then the whole body is read,
// then the header; only then is the text written to a temporary file beside `path`,
// flushed and renamed over `path`. So a failure at any point (a write error, the
// operator's Abort during the download) leaves any earlier file at `path` as it was and no
// temporary file behind. True on success.
bool tm_info_config_save(const std::string& path, const ConfigInstrument& instrument);

// `name` with each of \ / : * ? < > | replaced by "_".
std::string tm_file_default_name(const std::string& name);

// The folder the configuration dialogs start in: the setting "Configuration Directory"
// (section "Directories", application "OVN-Shared"); when not set, the environment
// variable APPDATA, or the user's documents folder where there is no APPDATA; when that
// folder does not exist, TMP (or "/tmp").
std::string tm_file_start_folder();

// The file dialog for configurations of `instrument`: proposed name tm_file_default_name
// of its file_name, the filter "Configurations for <tm_name>" with "*<file_extension>",
// the start folder above. A chosen path is stored in `path`, its folder written back to
// "Configuration Directory", and the result is true. A cancel gives false; a dialog error
// is shown (gib, "Courier New" 8 point, button "OK") and gives false.
bool tm_file_choose(const std::string& title, bool save, const ConfigInstrument& instrument,
                    std::string& path);
bool tm_file_choose_save(const std::string& title, const ConfigInstrument& instrument,
                         std::string& path);
bool tm_file_choose_open(const std::string& title, const ConfigInstrument& instrument,
                         std::string& path);

// The automatic save at the end of a session: into the folder "OVN-Configurations" under
// the user's documents folder (made when missing), as the instrument's file name with the
// date and time put in front of the extension ("<name>_yyyyMMdd-hhmmss.611"), so every
// session keeps its own backup. Without an instrument (kTmNone) nothing is saved. The path
// written, or "" when nothing was saved.
std::string tm_file_auto_save(const ConfigInstrument& instrument);

}  // namespace ovn
