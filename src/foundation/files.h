#pragma once
// File helpers and folder rules.
//
// Open files are addressed by small file numbers (1 to kMaxFileNumber), as everywhere in
// the program. Lines written by kw_file_print end in CR LF, the line end of every file the
// program writes. When a file cannot be opened or written the operator is asked through a
// message box; refusing ends the process at once (process_exit), nothing is saved.
//
// Paths use "/" as separator, and results never end in one. A trailing "\" is cut like a
// "/", since folders typed on or shared with Windows machines may end in one.

#include <string>

namespace ovn {

inline constexpr int kMaxFileNumber = 255;

enum class FileMode { Input, Output, Append };

// Opens `name` under `file_number`, closing whatever that number had open. A name wrapped
// in double quotes loses them. Output truncates, Append adds at the end, Input reads.
// On failure asks (Yes/No):
//   "Error <n>:<description>", "Unable to open file \"<name>\"", "   for <mode>",
//   "File Number:<file_number>", "", "Retry opening?"
// Yes tries again; No ends the process with code 1. So it returns only with the file open.
void kw_file_open(int file_number, const std::string& name, FileMode mode);

// Writes `text` and CR LF to the file open under `file_number`, and flushes it so that a
// line written is a line kept. On failure asks (Yes/No):
//   "Error <n>:<description>", "Unable to print to file number <file_number>"
// No ends the process with code 1; Yes gives this write up. Returns whether it was written.
bool kw_file_print(int file_number, const std::string& text);

// Reads the next line (without its CR LF or LF) from a file opened for Input. False at the
// end of the file or when the number has no file open for reading.
bool kw_file_line_input(int file_number, std::string& line);

// Closes the file under `file_number`; nothing happens when none is open.
void kw_file_close(int file_number);
// Closes every open file.
void kw_file_close_all();
// The lowest file number with no file open, or 0 when all are taken.
int kw_free_file();

// False for an empty path. Otherwise cuts one trailing "/" or "\", creates the file
// "<path>/,,,.tmp" holding "1", closes and deletes it; any failure gives false.
bool kw_dir_writable(const std::string& path);

// The user's documents folder: the first writable one of
//   the XDG documents folder (XDG_DOCUMENTS_DIR from the environment or from
//   $XDG_CONFIG_HOME/user-dirs.dirs, else $HOME/Documents), $HOME, then the folders named by
//   TMPDIR, TMP, TEMP, TEMPDIR, then the program's own folder.
// When none is writable, the program's own folder. Never has a trailing "/".
std::string kw_documents_dir();

// The folder holding the running program (from /proc/self/exe), without a trailing "/".
std::string kw_program_dir();
// Makes kw_program_dir return `dir` (tests); an empty text goes back to the real one.
void kw_set_program_dir(const std::string& dir);

// Writes `text` to a temporary file beside `path`, flushes it to the disk and renames it
// over `path`: the file holds the old text or the new, never a part. True on success; on
// failure nothing is left behind and `path` is as it was.
bool kw_file_replace(const std::string& path, const std::string& text);

// Appends one time-stamped record to `file` (opened, written and closed each time). A text
// holding a line end gets a heading "#********* yyyy-MM-ddThh:mm:ss" and CR LF in front;
// any other text gets "yyyy-MM-dd hh:mm:ss " in front. The record ends in CR LF.
// On failure shows "Error logging data to <file>" (title "?") and returns false.
bool kw_log_line(const std::string& file, const std::string& text);

}  // namespace ovn
