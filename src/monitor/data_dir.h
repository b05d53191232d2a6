#pragma once
// Live data files: while the operator has saving switched on, each round of the main loop
// offers its row of values and this module writes it to a comma-separated text file,
// either on a schedule ("Save Rate" seconds per row) or one row per press of the button
// (event mode).
//
// Files are named "<dir>/<basename>.<nnnn>.csv"; the counter goes on through the session
// and a name that exists is never used, so an old file is never overwritten. A file holds:
//   # Data saved via ovn-kst <version>
//   # Start Time:yyyy-MM-ddThh:mm:ss
//   # <heading>            (when given)
//   # <identity>           (when given)
//   <elapsed s "0.000">,<row>
// every line ending in CR LF. Each line reaches the disk before the call returns (opened
// for append, written, synced, closed), so a crash or a pulled plug loses at most the row
// being written; the header is written in one piece or the file is removed.
//
// A failing write gives the operator one message (plain message box), stops saving and
// leaves the file as it was before that row; the program goes on.
//
// Settings: application = the key given to dtdr_init, section "DataDir Settings". The
// first read of a setting stores its default. Booleans are stored "True" / "False".
//
// Every function except dtdr_save_row, dtdr_saving and dtdr_button_caption needs the key:
// before dtdr_init they show "Please call data_dir.dtdr_init(REGKEY)" and do nothing.
// Single thread; times come from the clock seam, dates from kw_now.

#include <cstdint>
#include <string>

namespace ovn {

inline constexpr const char* kDtdrSection = "DataDir Settings";
inline constexpr const char* kDtdrKeyDir = "Save Data Directory";
inline constexpr const char* kDtdrKeyBasename = "Save Data Basename";
inline constexpr const char* kDtdrKeyRate = "Save Rate";
inline constexpr const char* kDtdrKeyEvent = "Event Save";
inline constexpr const char* kDtdrKeyLogic = "Logic I/O Save";
inline constexpr const char* kDtdrKeySpecify = "Specify File Name";
inline constexpr const char* kDtdrKeyAnalysis = "Analysis CSV";

// The saving settings as stored. `rate` is seconds per row, 0 meaning every round; a
// stored rate that is not a number of 0 or more reads as 1. `logic_io` is kept and shown
// only: nothing in the saving path reads it.
struct DtdrSettings {
  std::string dir;  // no trailing separator
  double rate = 1;
  bool event_save = false;
  bool specify = false;
  bool logic_io = false;
  // The analysis form of the file: UTF-8, the heading first, every column in every row.
  bool analysis = false;
  std::string basename;
};

// Sets the settings application (for example "KST"), closes any file, and checks the
// directory: while it is not writable, says so through gib ("OK") and shows the save
// options dialog (frm_data_dir_show) for a new choice. The default directory
// "OVN-<key>-Data" in the documents folder is created when missing. With no dialog
// runner installed the check stops after the first message.
void dtdr_init(const std::string& key);
// Forgets the key and all state (the counter too), as at program start.
void dtdr_forget();

// Reads all settings (seeding defaults). False, with `settings` untouched, before init.
bool dtdr_get_settings(DtdrSettings& settings);
bool dtdr_get_event_save();
bool dtdr_get_logic_io();
bool dtdr_get_specify();
double dtdr_get_rate();
std::string dtdr_get_basename();
std::string dtdr_get_dir();
// Stores the settings (the dialog's OK). The rate is stored as a plain number text.
void dtdr_put_settings(const DtdrSettings& settings);

// The next free file name: with `reset` the counter first goes back to 0; then the counter
// grows while "<dir>/<basename>.<counter as 0000>.csv" exists. The counter stays on the
// name returned. "" before init.
std::string dtdr_next_name(bool reset);

// The "Save Data" button. Not saving: opens the next free file, writes the header (the
// heading and identity lines only when not empty) and starts saving in the mode of the
// "Event Save" setting; the first row is taken at the next offer. Saving on a schedule:
// stops and closes. Saving in event mode: asks for one row and the file stays open, unless
// "Event Save" has since been turned off in the options, which stops it. A file that
// cannot be created is reported ("Retry opening?", Yes tries again, No gives up).
// Returns whether saving is on afterwards.
bool dtdr_start_stop(const std::string& heading, const std::string& identity);

// Offers one round's row (the values joined by ",", no leading comma). `now` of 0 means
// now_ms(). Written when saving and due: in event mode when a row was asked for, else when
// the schedule has come (the schedule moves by the period, not from `now`, so after a
// slow round rows follow at once until it has caught up). True when written.
bool dtdr_save_row(const std::string& row, double now);

bool dtdr_saving();
// Whether the last file stopped because it could not be written (a full disk, a vanished
// folder), not because saving was ended.
bool dtdr_failed();
// Ends saving, if on, as the program ends: the rows are made durable and the file closed.
void dtdr_close();
int32_t dtdr_rows();                  // rows written to the current (or last) file
const std::string& dtdr_file_name();  // the open file, "" when not saving

// "Saved: <rows>" while saving, else "Save Data".
std::string dtdr_button_caption();
// "Saving to <file>  Saved: <rows>" while saving, else "Save Data to <next file name>".
std::string dtdr_button_tooltip();

// The column heading line of the main window: " Time(s),Torque(<un1>)", with speed and
// power when the instrument has 3 channels, and ",Temperature(<unit>)" at the end.
std::string dtdr_heading(int channels, const std::string& un1, const std::string& un2,
                         const std::string& un3, const std::string& temperature_unit);
// The identity line: "Model:<uia>   Serial:<uib>   Shaft:<uid>   Customer:<uic>   <port>".
std::string dtdr_identity(const std::string& uia, const std::string& uib, const std::string& uid,
                          const std::string& uic, const std::string& port);

}  // namespace ovn
