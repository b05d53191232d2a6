#include "monitor/data_dir.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

#include "build_info.h"
#include "foundation/debug_log.h"
#include "foundation/events.h"
#include "foundation/files.h"
#include "foundation/kw.h"
#include "foundation/operator.h"
#include "foundation/platform.h"
#include "foundation/settings.h"
#include "monitor/frm_data_dir.h"

namespace ovn {

namespace {

const char* const kTitle = "Save Data";
const char* const kLineEnd = "\r\n";

struct DataDir {
  std::string key;        // settings application; empty until dtdr_init
  std::string dir;        // folder of the open file
  int file_number = 0;    // the 0000 counter, kept through the session
  std::string file_name;  // "" when no file is open
  bool saving = false;
  double start_ms = 0;
  double next_ms = 0;
  double period_ms = 0;
  bool event_mode = false;
  bool take_slice = false;  // event mode: one row asked for
  int32_t rows = 0;
  // The analysis form: UTF-8, the column heading first, every column in every row (a
  // column a row lacks carries its last value), identity in a sidecar ".json".
  bool analysis = false;
  bool failed = false;            // the last file stopped on a write error
  std::vector<std::string> last;  // the channel columns' last values
  int fd = -1;                    // the open data file, kept open while saving is on
  double synced_ms = 0;           // when its rows were last made durable
};

// Rows are handed to the kernel one whole row a write, so a killed program loses nothing
// written; they are made durable at most this often, and when the file is closed.
constexpr double kSyncPeriodMs = 1000;

DataDir& dd() {
  static DataDir s;
  return s;
}

bool lf_key_ready() {
  if (!dd().key.empty()) return true;
  msg_box("Please call data_dir.dtdr_init(REGKEY)", MsgButtons::Ok, kTitle);
  return false;
}

std::string lf_default_dir() {
  return kw_documents_dir() + "/OVN-" + dd().key + "-Data";
}

// The folder's default probes the file system, so it is made only when nothing is stored.
std::string lf_dir_setting() {
  const std::string& app = dd().key;
  std::string dir = kw_setting_get(app, kDtdrSection, kDtdrKeyDir, "");
  if (dir.empty()) dir = kw_setting_seed(app, kDtdrSection, kDtdrKeyDir, lf_default_dir());
  return dir;
}

std::string lf_seed(const char* key, const std::string& default_value) {
  return kw_setting_seed(dd().key, kDtdrSection, key, default_value);
}

void lf_put(const char* key, const std::string& value) {
  kw_setting_put(dd().key, kDtdrSection, key, value);
}

bool lf_bool(const std::string& text) {
  std::string t = kw_justify(text, 0, " ");
  for (char& c : t) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return t == "true" || t == "-1" || t == "1";
}

const char* lf_bool_text(bool value) {
  return value ? "True" : "False";
}

std::string lf_cut_separator(std::string dir) {
  while (dir.size() > 1 && (dir.back() == '/' || dir.back() == '\\')) dir.pop_back();
  return dir;
}

std::string lf_error_text(int err) {
  return "Error " + std::to_string(err) + ":" + std::strerror(err);
}

// Writes all of `text` at the end of the open file. A failed write is cut back, so the file
// always ends with a whole line; a file deleted under us is an error, not a silent loss of
// every row after it. Returns 0 or the errno.
int lf_write(int fd, const std::string& text) {
  struct stat st {};
  if (::fstat(fd, &st) != 0) return errno;
  if (st.st_nlink == 0) return ENOENT;
  int err = 0;
  size_t done = 0;
  while (done < text.size()) {
    ssize_t n = ::write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      err = n < 0 ? errno : ENOSPC;
      break;
    }
    done += static_cast<size_t>(n);
  }
  if (err != 0) (void)::ftruncate(fd, st.st_size);
  return err;
}

// Makes what was written durable: at most once a period, or at once with `now` 0.
int lf_sync(double now) {
  DataDir& s = dd();
  if (now != 0 && now < s.synced_ms + kSyncPeriodMs) return 0;
  s.synced_ms = now != 0 ? now : now_ms();
  return ::fdatasync(s.fd) != 0 ? errno : 0;
}

void lf_close() {
  DataDir& s = dd();
  if (s.saving)
    ovn_event("saving", {{"state", json_string("stopped")},
                         {"file", json_string(s.file_name)},
                         {"rows", json_number(static_cast<double>(s.rows))}});
  if (s.fd >= 0) {
    if (int err = lf_sync(0); err != 0)
      debug_log("Save Data: cannot finish " + s.file_name + ": " + lf_error_text(err));
    ::close(s.fd);
    s.fd = -1;
  }
  s.saving = false;
  s.file_name.clear();
}

// Latin-1, as the instrument and the settings speak, to UTF-8.
std::string lf_utf8(const std::string& latin1) {
  std::string out;
  for (unsigned char c : latin1) {
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else {
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return out;
}

// The analysis form's columns from the heading of the original ("Torque(lbf-in)" gives
// "torque_lbf-in", "Temperature(\xB0F)" gives "temperature_F"); its time column gives way to
// "time" and "t_s".
std::vector<std::string> lf_analysis_columns(const std::string& heading) {
  std::vector<std::string> columns;
  std::vector<std::string> parts = kw_split(heading, ",");
  for (size_t i = 1; i < parts.size(); ++i) {
    std::string name, unit;
    const size_t open = parts[i].find('(');
    name = kw_justify(parts[i].substr(0, open), 0, " ");
    if (open != std::string::npos) unit = parts[i].substr(open + 1, parts[i].rfind(')') - open - 1);
    std::string column;
    for (char c : name) column += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    column += "_";
    for (unsigned char c : unit)
      if (c != 0xB0 && c != 0xBA) column += static_cast<char>(c);  // degree signs
    columns.push_back(lf_utf8(column));
  }
  return columns;
}

std::string lf_json_text(const std::string& text) {
  std::string out = "\"";
  for (unsigned char c : lf_utf8(text)) {
    if (c == '"' || c == '\\') out += '\\';
    if (c < 0x20)
      out += "\\u00" + std::string(1, "0123456789abcdef"[c >> 4]) + "0123456789abcdef"[c & 15];
    else
      out += static_cast<char>(c);
  }
  return out + "\"";
}

// The sidecar of an analysis file: what the original keeps in its comment lines.
void lf_write_sidecar(const std::string& csv, const std::string& heading,
                      const std::string& identity, const std::vector<std::string>& columns,
                      const DtdrSettings& settings) {
  std::string json = "{\n  \"program\": " + lf_json_text(build::program_name) +
                     ",\n  \"version\": " + lf_json_text(build::version) +
                     ",\n  \"start_time\": " + lf_json_text(kw_iso_time(kw_now(), true)) +
                     ",\n  \"heading\": " + lf_json_text(heading) +
                     ",\n  \"identity\": " + lf_json_text(identity) +
                     ",\n  \"save_rate_s\": " + kw_format(settings.rate, "") +
                     ",\n  \"event_save\": " + (settings.event_save ? "true" : "false") +
                     ",\n  \"columns\": [";
  for (size_t i = 0; i < columns.size(); ++i) json += (i ? ", " : "") + lf_json_text(columns[i]);
  json += "]\n}\n";
  const std::string name = csv.substr(0, csv.size() - 4) + ".json";
  std::ofstream out(name, std::ios::binary | std::ios::trunc);
  out << json;
  if (!out.flush()) debug_log("Save Data: cannot write " + name);
}

std::string lf_header(const std::string& heading, const std::string& identity) {
  std::string header =
      std::string("# Data saved via ") + build::program_name + " " + build::version + kLineEnd;
  header += "# Start Time:" + kw_timestamp(kw_now(), "T") + kLineEnd;
  if (!heading.empty()) header += "# " + heading + kLineEnd;
  if (!identity.empty()) header += "# " + identity + kLineEnd;
  return header;
}

// Creates the next free file holding the header. False when the operator gave up.
bool lf_open(const std::string& header) {
  DataDir& s = dd();
  for (;;) {
    std::string name = dtdr_next_name(false);
    int fd = ::open(name.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC | O_CREAT | O_EXCL, 0666);
    int err = fd < 0 ? errno : lf_write(fd, header);
    if (err == 0) {
      s.fd = fd;
      s.file_name = name;
      if ((err = lf_sync(0)) == 0) return true;
      s.fd = -1;
      s.file_name.clear();
    }
    if (fd >= 0) {
      ::close(fd);
      ::unlink(name.c_str());
    }
    if (err == EEXIST) {  // made by someone else since we looked: take the next number
      ++s.file_number;
      continue;
    }
    debug_log("Save Data: cannot create " + name + ": " + lf_error_text(err));
    std::string text = lf_error_text(err) + kLineEnd + "Unable to open file \"" + name + "\"" +
                       kLineEnd + "   for Output" + kLineEnd + kLineEnd + "Retry opening?";
    if (msg_box(text, MsgButtons::YesNo, kTitle) != MsgAnswer::Yes) return false;
  }
}

}  // namespace

void dtdr_forget() {
  lf_close();
  dd() = DataDir{};
}

void dtdr_init(const std::string& key) {
  DataDir& s = dd();
  if (key != s.key) s.file_number = 0;
  s.key = key;
  lf_close();
  if (!lf_key_ready()) return;
  // The default folder is made on first use; a folder the operator chose is only checked.
  bool first_use = kw_setting_get(key, kDtdrSection, kDtdrKeyDir, "").empty();
  std::string dir = dtdr_get_dir();
  if (first_use) {
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
  }
  while (!kw_dir_writable(dir)) {
    gib("Data Save Directory" + std::string(kLineEnd) + "   " + dir + kLineEnd +
            "is not writeable driectory" + kLineEnd + "Select a writeable directory.",
        "OK", kGibWarning | kGibVerbatim, kTitle);
    if (!frm_data_dir_has_runner()) return;
    frm_data_dir_show();
    dir = dtdr_get_dir();
  }
}

bool dtdr_get_settings(DtdrSettings& settings) {
  if (!lf_key_ready()) return false;
  settings.dir = lf_cut_separator(lf_dir_setting());
  settings.basename = lf_seed(kDtdrKeyBasename, dd().key);
  std::string rate = lf_seed(kDtdrKeyRate, "1");
  int stop = 0;
  double value = kw_is_numeric(rate) ? kw_parse_double(rate, stop) : -1;
  settings.rate = value >= 0 && std::isfinite(value) ? value : 1;
  auto flag = [](const char* key) { return lf_bool(lf_seed(key, "False")); };
  settings.event_save = flag(kDtdrKeyEvent);
  settings.logic_io = flag(kDtdrKeyLogic);
  settings.specify = flag(kDtdrKeySpecify);
  settings.analysis = flag(kDtdrKeyAnalysis);
  return true;
}

namespace {
DtdrSettings lf_settings() {
  DtdrSettings settings;
  dtdr_get_settings(settings);
  return settings;
}
}  // namespace

bool dtdr_get_event_save() {
  return lf_settings().event_save;
}
bool dtdr_get_logic_io() {
  return lf_settings().logic_io;
}
bool dtdr_get_specify() {
  return lf_settings().specify;
}
double dtdr_get_rate() {
  return lf_settings().rate;
}
std::string dtdr_get_basename() {
  return lf_settings().basename;
}
std::string dtdr_get_dir() {
  return lf_settings().dir;
}

void dtdr_put_settings(const DtdrSettings& settings) {
  if (!lf_key_ready()) return;
  lf_put(kDtdrKeyDir, lf_cut_separator(settings.dir));
  lf_put(kDtdrKeyBasename, settings.basename);
  lf_put(kDtdrKeyRate, kw_format(settings.rate, ""));
  lf_put(kDtdrKeyEvent, lf_bool_text(settings.event_save));
  lf_put(kDtdrKeyLogic, lf_bool_text(settings.logic_io));
  lf_put(kDtdrKeySpecify, lf_bool_text(settings.specify));
  lf_put(kDtdrKeyAnalysis, lf_bool_text(settings.analysis));
}

std::string dtdr_next_name(bool reset) {
  DtdrSettings settings;
  if (!dtdr_get_settings(settings)) return "";
  DataDir& s = dd();
  if (reset) s.file_number = 0;
  std::string base = settings.dir + "/" + settings.basename + ".";
  for (;;) {
    std::string name = base + kw_format(s.file_number, "0000") + ".csv";
    std::error_code ec;
    if (!std::filesystem::exists(std::filesystem::symlink_status(name, ec))) return name;
    ++s.file_number;
  }
}

bool dtdr_start_stop(const std::string& heading, const std::string& identity) {
  if (!lf_key_ready()) return false;
  DataDir& s = dd();
  s.take_slice = true;
  if (s.saving) {
    if (s.event_mode && dtdr_get_event_save()) return true;
    lf_close();
    return false;
  }
  DtdrSettings settings = lf_settings();
  std::vector<std::string> columns;
  std::string header = lf_header(heading, identity);
  if (settings.analysis) {
    columns = lf_analysis_columns(heading);
    header = "time,t_s";
    for (const std::string& c : columns) header += "," + c;
    header += std::string(",event") + kLineEnd;
  }
  if (!lf_open(header)) return false;
  s.analysis = settings.analysis;
  s.last.assign(columns.size(), "");
  if (s.analysis) {
    std::vector<std::string> all = {"time", "t_s"};
    all.insert(all.end(), columns.begin(), columns.end());
    all.emplace_back("event");
    lf_write_sidecar(s.file_name, heading, identity, all, settings);
  }
  s.dir = settings.dir;
  s.start_ms = now_ms();
  s.event_mode = settings.event_save;
  s.period_ms = settings.rate / 0.001;
  s.next_ms = s.start_ms;
  s.saving = true;
  s.failed = false;
  s.rows = 0;
  ovn_event("saving", {{"state", json_string("started")}, {"file", json_string(s.file_name)}});
  return true;
}

bool dtdr_save_row(const std::string& row, double now) {
  DataDir& s = dd();
  if (!s.saving) return false;
  if (now == 0) now = now_ms();
  if (s.event_mode ? !s.take_slice : s.next_ms > now) return false;
  const std::string t_s = kw_format((now - s.start_ms) * 0.001, "0.000");
  std::string line = t_s + "," + row + kLineEnd;
  if (s.analysis) {
    const std::vector<std::string> fields = kw_split(row, ",");
    line = kw_iso_time(kw_now(), true) + "," + t_s;
    for (size_t i = 0; i < s.last.size(); ++i) {
      if (i < fields.size() && !fields[i].empty()) s.last[i] = fields[i];
      line += "," + s.last[i];
    }
    line += std::string(",") + (s.event_mode ? "event" : "") + kLineEnd;
  }
  int err = lf_write(s.fd, line);
  if (err == 0) err = lf_sync(now);
  if (err != 0) {
    std::string name = s.file_name;
    lf_close();
    s.failed = true;
    debug_log("Save Data: cannot write " + name + ": " + lf_error_text(err));
    msg_box(lf_error_text(err) + kLineEnd + "Unable to print to file \"" + name + "\"" + kLineEnd +
                "Data saving has stopped; the " + std::to_string(s.rows) +
                " rows saved before are kept.",
            MsgButtons::Ok, kTitle);
    return false;
  }
  s.next_ms += s.period_ms;
  ++s.rows;
  s.take_slice = false;
  return true;
}

bool dtdr_failed() {
  return dd().failed;
}

void dtdr_close() {
  lf_close();
}

bool dtdr_saving() {
  return dd().saving;
}
int32_t dtdr_rows() {
  return dd().rows;
}
const std::string& dtdr_file_name() {
  return dd().file_name;
}

std::string dtdr_button_caption() {
  return dd().saving ? "Saved: " + std::to_string(dd().rows) : "Save Data";
}

std::string dtdr_button_tooltip() {
  const DataDir& s = dd();
  if (s.saving) return "Saving to " + s.file_name + "  Saved: " + std::to_string(s.rows);
  return "Save Data to " + dtdr_next_name(false);
}

std::string dtdr_heading(int channels, const std::string& un1, const std::string& un2,
                         const std::string& un3, const std::string& temperature_unit) {
  std::string heading = " Time(s),Torque(" + un1 + ")";
  if (channels == 3) heading += ",Speed(" + un2 + "),Power(" + un3 + ")";
  return heading + ",Temperature(" + temperature_unit + ")";
}

std::string dtdr_identity(const std::string& uia, const std::string& uib, const std::string& uid,
                          const std::string& uic, const std::string& port) {
  return "Model:" + uia + "   Serial:" + uib + "   Shaft:" + uid + "   Customer:" + uic + "   " +
         port;
}

}  // namespace ovn
