#include "config/config_load.h"

#include <charconv>
#include <fstream>
#include <vector>

#include "foundation/debug_log.h"
#include "foundation/kw.h"
#include "foundation/operator.h"
#include "link/rs232.h"

namespace ovn {

namespace {

const std::string kCrLf = "\r\n";

struct ConfigLoad {
  ConfigLoadHooks hooks;
};
ConfigLoad& state() {
  static ConfigLoad s;
  return s;
}

std::string trim(const std::string& text) {
  return kw_justify(text, 0, " ");
}
bool starts(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}
// The text up to the first blank.
std::string word(const std::string& text) {
  return trim(text.substr(0, text.find(' ')));
}
// Text from a 1-based position to the end ("" past the end).
std::string from(const std::string& text, size_t position) {
  return position - 1 < text.size() ? text.substr(position - 1) : "";
}

// What differs between the families' loaders.
struct Rules {
  std::string family;  // in "Problem loading <family> configuration!"
  std::string model_line, serial_line, shaft_line;
  std::string missing_text;
  std::string ao_buttons;  // the analog calibration question; "" for none
};

bool rules_of(int32_t tm_type, Rules& r) {
  const std::string kst_missing = "Model or Serial number not found in file!";
  const std::string file_missing = "File Model or Serial number not set!";
  switch (tm_type) {
    case kTmKst:
      r = {"KST", "UIA", "UIB", "UID", kst_missing, "Skip AO Cal information|Proceed anyway"};
      return true;
    case kTmKslw:
      r = {"KSLW",
           "UIA",
           "UIB",
           "SH==",
           "Model or Serial number not set!",
           "Skip AO Cal information|WTF, proceed"};
      return true;
    case kTmRdx:
      r = {"RDX", "MD==", "SN==", "SH==", file_missing, ""};
      return true;
    case kTmWqpm:
      r = {"WQPM", "MD==", "SN==", "", file_missing, ""};
      return true;
    case kTmKsvm:
      r = {"KSVM", "CR", "CP", "CQ", kst_missing, ""};
      return true;
    default:
      return false;
  }
}

// What the file says.
struct FileData {
  std::vector<std::string> lines;  // parameter lines, cut at "#" and trimmed
  std::string model, serial, shaft, firmware, uid;
};

void read_header(const std::string& line, FileData& f) {
  for (const std::string key : {"Firmware version ", "Firmware Version:", "Firmware:"}) {
    size_t at = line.find(key);
    if (at != std::string::npos) {
      f.firmware = trim(line.substr(at + key.size()));
      break;
    }
  }
  size_t shaft = line.find(" Shaft ");
  if (shaft != std::string::npos) f.shaft = trim(line.substr(shaft + 7));
  if (starts(line, "# UID:")) f.uid = trim(line.substr(6));
  size_t serial = line.find("Serial Number ");
  if (starts(line, "# Model ") && serial != std::string::npos) {
    f.model = word(from(line, 9));
    f.serial = word(line.substr(serial + 14));
  }
}

bool read_file(const std::string& path, const Rules& r, FileData& f) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::string line;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (starts(line, "#")) {
      read_header(line, f);
      continue;
    }
    line = trim(line.substr(0, line.find('#')));
    if (line.empty()) continue;
    f.lines.push_back(line);
    // Body lines come after the header, so they win over it.
    auto value = [&](const std::string& name) { return trim(line.substr(name.size())); };
    if (starts(line, r.model_line)) f.model = value(r.model_line);
    if (starts(line, r.serial_line)) f.serial = value(r.serial_line);
    if (!r.shaft_line.empty() && starts(line, r.shaft_line)) f.shaft = value(r.shaft_line);
  }
  return true;
}

bool is_ao_calibration(const std::string& line) {
  return line.size() >= 3 && starts(line, "AO") && line[2] >= 'M' && line[2] <= 'U';
}

int ask(const std::string& text, const std::string& buttons, const std::string& family) {
  return gib(text, buttons, 0, "Loading " + family + " configuration", "Courier New", 0, 8);
}

double version_of(const std::string& text) {
  double v = 0;
  std::string t = trim(text);
  std::from_chars(t.data(), t.data() + t.size(), v);
  return v;
}

// A model or serial that tells nothing.
bool placeholder(const std::string& text) {
  return text.empty() || text == "NoModel" || text == "NoSerial" || text == "None";
}

// The instrument's own model, serial and shaft, read before the file for the families
// whose loaders compare.
struct Instrument {
  std::string model, serial, shaft, firmware;
};

// RDX and WQPM: model and serial (RDX also the rotor's shaft) must match the file's, or
// the operator must say to go on. False: the load ends with nothing sent.
bool compare(int32_t tm_type, const Rules& r, const FileData& f, const Instrument& now) {
  const bool rdx = tm_type == kTmRdx;
  if (rdx && !placeholder(now.shaft) && !f.shaft.empty() && now.shaft != f.shaft) {
    int b = ask("The shaft number of the rotor (" + now.shaft + ") does not match" + kCrLf +
                    "the shaft number in the file (" + f.shaft + ")." + kCrLf +
                    "What do you want to do?",
                "Cancel|Load Anyway", r.family);
    if (b != 1) return false;
  }
  if (placeholder(f.model) || placeholder(f.serial)) return true;
  if (f.model == now.model && f.serial == now.serial) return true;
  std::string buttons = rdx ? "Cancel Load|Load Anyway" : "Cancel Load|Load|Load and Set SN && MD";
  if (rdx && placeholder(now.model)) buttons += "|Load and Set SN & MD";
  int b = ask(
      "Model (" + f.model + ") or Serial Number (" + f.serial + ") in configuration file" + kCrLf +
          (rdx ? "does not match the transducers model (" : "does not match tranducers model (") +
          now.model + ") or serial number (" + now.serial + ")!",
      buttons, r.family);
  bool go = b == 1;
  if (b == 2) {
    int sure = rdx ? ask("Do you want to change" + kCrLf + "  the model to \"" + f.model + "\"" +
                             kCrLf + "  and the Serial number to \"" + f.serial + "\"?",
                         "Yes|No", r.family)
                   : ask("Are you sure you want" + kCrLf + "   to set the model to \"" + f.model +
                             "\"" + kCrLf + "   and the Serial number to \"" + f.serial + "\"?",
                         "Yes, I am sure|No", r.family);
    if (sure == 0) {
      rs232_send_ok_eqeq("MD", f.model);
      rs232_send_ok_eqeq("SN", f.serial);
    }
    // The RDX goes on either way; the WQPM loads only when the operator is sure.
    go = rdx || sure == 0;
  }
  if (!go && !rdx) ask("NOT loading configuration!", "OK", r.family);
  return go;
}

// WQPM: data of an older firmware that the present firmware reads differently is held
// back, and the operator is told which lines (those beginning with one of `names`).
void hold_for_firmware(FileData& f, const Instrument& now, double file_below,
                       double instrument_from, const std::vector<std::string>& names,
                       const std::string& what) {
  if (!(version_of(f.firmware) < file_below && version_of(now.firmware) >= instrument_from)) return;
  std::string list;
  for (auto& line : f.lines) {
    bool hit = false;
    for (const auto& n : names) hit = hit || starts(line, n);
    if (!hit) continue;
    list += (list.empty() ? "" : ",") + line.substr(0, 3);
    line.clear();
  }
  if (list.empty()) return;
  ask("This configuration file (from firmware version " + f.firmware + ") has" + kCrLf + what +
          " data in it (" + list + ")" + kCrLf + "that is not loaded, being" + kCrLf +
          "   incompatible with current firmware version (" + now.firmware + ").",
      "OK", "WQPM");
}

void commit(int32_t tm_type) {
  if (state().hooks.flash_write) state().hooks.flash_write(tm_type);
}
void reread() {
  if (state().hooks.reread_session) state().hooks.reread_session();
}

}  // namespace

void tm_file_set_load_hooks(const ConfigLoadHooks& hooks) {
  state().hooks = hooks;
}

int tm_info_config_load(const std::string& path, bool interactive,
                        const ConfigInstrument& instrument) {
  const int32_t tm_type = instrument.tm_type;
  Rules r;
  if (!rules_of(tm_type, r)) return 0;
  Instrument now;
  if (tm_type == kTmRdx) {
    now.model = get_reply("MD");
    now.serial = get_reply("SN");
    now.shaft = trim(get_reply("SH"));
    // The rotor's own record of its shaft, kept in the log for the reader.
    std::string record = get_reply("SHR");
    record += "," + get_reply("SX");
    debug_log("Rotor shaft record:" + record);
  } else if (tm_type == kTmWqpm) {
    now.firmware = get_reply("VR");
    now.model = get_reply("MD");
    now.serial = get_reply("SN");
  }
  debug_log("Uploading config...");
  FileData f;
  if (!read_file(path, r, f)) {
    ask("Cannot read the configuration file" + kCrLf + path, "OK", r.family);
    return 0;
  }
  const std::string problem = "Problem loading " + r.family + " configuration!";
  if (static_cast<int>(f.lines.size()) > kConfigMaxLines) {
    ask("This file holds " + std::to_string(f.lines.size()) + " parameter lines, more than the " +
            std::to_string(kConfigMaxLines) + " a configuration can have." + kCrLf + problem,
        "OK", r.family);
    return 0;
  }
  const bool missing = f.model.empty() || f.serial.empty();
  if (missing) {
    int b = ask(r.missing_text + kCrLf + problem, interactive ? "Cancel Load|Load Anyway" : "OK",
                r.family);
    if (b != 1) return 0;
  }
  if ((tm_type == kTmRdx || tm_type == kTmWqpm) && !compare(tm_type, r, f, now)) return 0;

  enum class Ao { NotAsked, Skip, Proceed } ao = Ao::NotAsked;
  for (auto& line : f.lines) {
    if (!r.ao_buttons.empty() && is_ao_calibration(line)) {
      if (!interactive) ao = Ao::Skip;
      if (ao == Ao::NotAsked)
        ao = ask("This configuration file contains " + kCrLf +
                     "   voltage output calibration values" + kCrLf +
                     "   specific to each KST stator board" + kCrLf +
                     "Inform the EE Manager/a EETech if you proceed",
                 r.ao_buttons, r.family) == 1
                 ? Ao::Proceed
                 : Ao::Skip;
      if (ao == Ao::Skip) line.clear();
    }
    // The rotor keeps its own shaft number.
    if (tm_type == kTmRdx && starts(line, "SH==") && !placeholder(now.shaft)) line.clear();
    // Model and serial are the instrument's identity: a file never writes them in passing,
    // only the operator's explicit "Load and Set SN & MD" does (above).
    if ((tm_type == kTmRdx || tm_type == kTmWqpm) && (starts(line, "MD==") || starts(line, "SN==")))
      line.clear();
    // The output gains and offset belong to the board: only with a known model and serial.
    if (tm_type == kTmKsvm && missing &&
        (starts(line, "CD") || starts(line, "CE") || starts(line, "CF")))
      line.clear();
    if (tm_type == kTmWqpm && starts(line, "HS")) line.clear();
  }
  if (tm_type == kTmWqpm) {
    hold_for_firmware(f, now, 2.033, 2.033, {"FH", "TCF", "TCH", "TCJ", "TCL", "TCN", "TCP"},
                      "Span Temperature Compensation");
    hold_for_firmware(f, now, 2.017, 2.018, {"TC"}, "Temperature Compensation");
    hold_for_firmware(f, now, 2.035, 2.035, {"TZA", "TCD", "TCB"}, " A/D");
  }

  int sent = 0;
  for (const auto& line : f.lines) {
    if (line.empty()) continue;
    rs232_send_ok(line);
    ++sent;
  }
  if (tm_type == kTmRdx) rs232_send_ok("DC");
  commit(tm_type);
  if (tm_type == kTmWqpm) reread();
  return sent;
}

int tm_info_config_upload_text(const std::string& text) {
  std::vector<std::string> lines = kw_split(text.empty() ? tm_info_config_held() : text, kCrLf);
  debug_log("Uploading " + std::to_string(lines.size()) + " messages...");
  int sent = 0;
  for (const auto& raw : lines) {
    std::string line = trim(raw.substr(0, raw.find('#')));
    if (line.empty()) continue;
    rs232_send_ok(line);
    ++sent;
  }
  debug_log("DONE Uploading");
  reread();
  return sent;
}

}  // namespace ovn
