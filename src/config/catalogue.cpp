#include "config/catalogue.h"

#include <vector>

#include "foundation/hexstr.h"
#include "foundation/kw.h"
#include "instrument/family.h"
#include "link/rs232.h"

namespace ovn {

namespace {

constexpr int kLineColumn = 20;
constexpr int kTries = 3;
constexpr double kItemTimeoutMs = 200;
const std::string kCrLf = "\r\n";

std::string trim(const std::string& text) {
  return kw_justify(text, 0, " ");
}

std::string letter(int index) {
  return std::string(1, static_cast<char>('A' + index));
}

// Collects items; `eq` puts "=" behind every name not in the exceptions (the KSLW keeps
// the KST vocabulary but sets its values with "=").
struct Builder {
  std::string text;
  bool eq = false;
  std::vector<std::string> plain;  // names that keep no marker under `eq`

  void add(const std::string& name, const std::string& comment = "") {
    std::string item = name;
    if (eq && name.find('[') == std::string::npos) {
      bool keep = false;
      for (const auto& p : plain) keep = keep || p == name;
      if (!keep) item += "=";
    }
    if (!comment.empty()) item += " " + comment;
    raw(item);
  }
  void raw(const std::string& item) {
    if (!text.empty()) text += "|";
    text += item;
  }
};

void kst_like(Builder& b, bool kslw, bool speed_power) {
  b.eq = kslw;
  b.plain = {"UIB", "DS3", "CE3A"};
  b.add("UCA", "Pole0 Full Scale");
  b.add("UCB", "(flags)");
  b.add("UIA", "Model");
  b.add("UIB", "Serial Number");
  b.add("UIC", "Customer Name");
  b.add("UID", "Shaft Number");
  if (!kslw) b.add("TA", "Torque Adjustment Points");
  b.add("UN1", "Torque Unit Name");
  b.add("FL1", "Filter");
  b.add("OL1", "Overload");
  b.add("DS1", "Torque Scaling (Unit Name/lbf-in)");
  b.add("CE1A", "Full Scale");
  b.add("CF1A", "Zero Point Reading A2DCNT");
  const int points = kslw ? 2 : 4;
  for (int p = 1; p <= points; ++p) {
    std::string n = std::to_string(p);
    b.add("CE1" + letter(p), "Adjustment Point " + n + " Load (FS)");
    b.add("CF1" + letter(p), "Adjustment Point " + n + " Reading A2DCNT");
  }
  b.add("SVA", "Positive Shunt Value");
  b.add("SVB", "Negative Shunt Value");
  b.add("TCA", "Temp During 0 Compensation (degF)");
  b.add("TCB", kslw ? "Temp Compensation (A2DCNT/degF)" : "Temp Compensation (RRC/degF)");
  b.add("TCC", "Temp During Span Adjustment (degF)");
  b.add("TCD", "Span Compensation (gain/degF)");
  b.add("TCE", "Temp During Shunt Adjustment (degF)");
  b.add("TCF", "Shunt Span Compensation (gain/degF)");
  if (speed_power) {
    b.raw("######################### Speed");
    b.add("UN2", "Speed Unit Name");
    b.add("DS2", "Speed Display Scaling");
    b.add("FL2", "Speed Filter");
    b.add("OL2", "Overload");
    b.add("CE2A", "Full Scale (RPM)");
    b.add("CE2B", "(FS^-1)");
    b.add("CF2A", "Zero Offset (RRC) LEAVE AT 0");
    b.add("CF2B", "Full Scale (RRC) LEAVE AT 20000");
    b.add("SCA", "Speed Frequency = 1 RPM (Hz)");
    b.add("SCB", "Zero Return (Hz)");
    b.add("SCC", "Min Resolution (Counts)");
    b.add("SCD", "Interrupt Rate (Counts)");
    b.add("SCE", "Cofiguration flags");
    b.raw("######################### Power");
    b.add("UN3", "Unit Name");
    b.add("DS3", "Display Scaling");
    b.add("FL3", "Filter");
    b.add("OL3", "Overload");
    b.add("CE3A", "Full Scale (Hp)");
    b.add("CE3B", "(FS^-1)");
    b.add("CF3A", "Zero Offset LEAVE AT 0");
    b.add("CF3B", "LEAVE AT 400000000");
  }
  b.raw("######################### Analog Outputs");
  static const char* const kSetting[] = {"Driving Channel", "0 Value (V)", "FS Value (V)",
                                         "Shunt Value (V)"};
  static const char* const kVolts[] = {"+10 V (DACCNT)", "0 V (DACCNT)", "-10 V (DACCNT)"};
  // Each output's settings, then its three voltage points (AOM, AON, AOO for output 1).
  for (int i = 1; i <= 3; ++i) {
    std::string analog = "Analog " + std::to_string(i) + " ";
    for (int k = 0; k < 4; ++k) b.add("AO" + letter(4 * (i - 1) + k), analog + kSetting[k]);
    for (int k = 0; k < 3; ++k) b.add("AO" + letter(i * 3 + 9 + k), analog + kVolts[k]);
  }
  if (!kslw) {
    b.raw("######################### I/O");
    b.raw("### 1=+CAL 2=-CAL 3=TARE 4=CLEAR_TARE 5=RESET");
    b.raw("### 16=TORQUE_IN_LIMIT 17=SPEED_IN_LIMIT 18=TEMP_OK 19=POWER_IN_LIMIT");
    for (int i = 1; i <= 8; ++i) {
      std::string io = "I/O " + std::to_string(i) + " ";
      b.add("IO" + letter(i - 1), io + "function");
      b.add("IL" + letter(2 * i - 2), io + "Hi Limit (FS)");
      b.add("IL" + letter(2 * i - 1), io + "Lo Limit (FS)");
    }
  }
  b.add("CCA", "Creep Compensation Amount (FS)");
  b.add("CCB", "Creep Compensation Delay (Ints)");
  b.add("CCC", "Creep Compensation Filter Shift");
  if (kslw) {
    b.add("PWA", "Power Coeffient");
    b.raw("TM[A-B]= Stator Temp Span Compensation");
    return;
  }
  b.add("PWA", "Power Rate (60MHz)");
  b.add("PWB", "Inititial Power Duty (60MHz)");
  b.add("PWC", "Rotor Voltage Target (A/D)");
  b.add("PWD", "Rotor Voltage Window (A/D)");
  b.add("TM[A-B]", "Stator Temp Span Compensation");
}

void rdx(Builder& b, int32_t version1) {
  for (const char* item :
       {"ID ID for RS232/RS485/RS422", "CM Resistor Termination (0=off/1=On)", "MD== Model",
        "SN== Serial Number", "CN== Customer Name", "WO== Work Order", "FS== Full Scale Counts",
        "SH== Shaft Number", "FL Filter", "UN Unit Name", "DS Display Scaling (units/lbf-in)",
        "AFA Frequency Output @ 0 (Hz)", "AFB Frequency output @ FS (Hz)",
        "AVA Voltage output @ 0 (uV)", "AVB Voltage output @ FS (uV)",
        "##### Digital Input Actions", "IA[A-G] Input Action", "##### Analog Output User Tweak"})
    b.raw(item);
  static const char* const kFive[] = {"+10 V", "+5 V", "0 V", "-5 V", "-10 V"};
  for (int k = 0; k < 5; ++k)
    b.add("AC" + letter(k), std::string("User Tweak for ") + kFive[k] + " (deci-DACCNT)");
  b.raw("##### Analog Output Technician Cal");
  for (int k = 0; k < 5; ++k)
    b.add("AD" + letter(k), std::string("DAC for ") + kFive[k] + " (deci-DACCNT)");
  for (const char* item :
       {"##### Calibration Information", "CEA Full scale (lbf-in)",
        "CFA Zero Reading (milli-A2DCNT)", "##### Load Adjustment Information",
        "CEB Positive load span (lbf-in)", "CFB Positive load span (milli-A2DCNT)",
        "CEC Negative load span (lbf-in)", "CFC Negative load span (milli-A2DCNT)",
        "##### Shunt Adjustment Information", "CED Positive shunt span (lbf-in)",
        "CFD Positive shunt span (milli-A2DCNT)", "CEE Negative shunt span (lbf-in)",
        "CFE Neagtive shunt span (milli-A2DCNT)", "CFF Calibration Flags (bitmask)",
        "##### Temp Compensation", "CFG Temp during Zero (deci-degF/2)"})
    b.raw(item);
  if (version1 >= 142) {
    b.raw("CFH Temp during +Span (deci-degF/2)");
    b.raw("CFI Temp during -Span (deci-degF/2)");
  }
  for (const char* item :
       {"TCA TC Zero Lower Temp (deci-degF)", "TCB TC Zero Lower Reading (deci-A2DCNT)",
        "TCC TC Zero Upper Temp (deci-degF)", "TCD TC Zero Upper Reading (deci-A2DCNT)",
        "TCE TC Span Compensation (ppm/degF)", "TC[F-H] Not Used (=0)", "##### Miscellaneous", "OL",
        "AOA Analog Output Scaling High Range", "AOB Analog Output Scaling Low Range",
        "AOC Analog Output Scaling Low-Low Range", "AI", "SS Shunt Scaling", "MF",
        "OFA RF Frequency A (Hz)", "OFB RF Frequency B (Hz)", "PR Power Rate (60 MHz clock ticks)",
        "PWA== Power Coeff A", "PWB== Power Coeff B"})
    b.raw(item);
}

void wqpm(Builder& b) {
  for (const char* item : {"MD== Model Name",
                           "SN== Serial Number",
                           "FL Filter",
                           "SP==",
                           "UN",
                           "DS Display Scaling",
                           "AA",
                           "# Analog Output Information",
                           "AI[A-E] Users Analog output Tweak",
                           "AJ[A-E] Technicians Analog Output Tweak",
                           "# Calibration Information",
                           "CCA Full Scale ??f",
                           "CCB Zero load Value (Leave at 0) ??f",
                           "CIA Ignored Pulses@0",
                           "CIB ClockTicks@0",
                           "CCC +Load Value ??f",
                           "CIC Ignored Pulses@+load",
                           "CID ClockTicks@+load",
                           "CCD -Load Value ??f",
                           "CIE Ignored Pulses@-load",
                           "CIF ClockTicks@-load",
                           "# Temperature Stuff",
                           "TC[A-D] Temp Calibration ??f",
                           "TC[E-H] Temp Span Compensation ??f",
                           "TC[I-P] Temp Zero Compensation ??f",
                           "TZA Temp during zero calibration (A/D)",
                           "# Other Technical information",
                           "HS[A-C]",
                           "NS",
                           "FH",
                           "CF"})
    b.raw(item);
}

void hzym(Builder& b, bool speed_power) {
  for (const char* item : {"MD== Model",
                           "SE== Serial Number",
                           "GN== Gain ??s",
                           "CR== Cal Resistor",
                           "TR",
                           "TC",
                           "OF Offset ??s",
                           "AC[1-3] Analog Output Setup ??ssbb",
                           "AI[1-3] Analog Output Cal ??ssssssbb",
                           "UN1 Torque Units",
                           "DS1 Display Scaling ??f",
                           "FL1 Filter",
                           "CF1",
                           "FS1 Full Scale ??f",
                           "SC Scaling Constants ??ff",
                           "CC1A +Load Value ??f",
                           "CC1B -Load Value ??f",
                           "Ai[1-3] Analog Output Cal ??ssssssbb",
                           "HS0",
                           "HS1",
                           "HS2"})
    b.raw(item);
  if (!speed_power) return;
  for (const char* item :
       {"UN2 Speed Units", "DS2 Display Scaling ??f", "CF2", "FS2 Full Scale ??f", "FL2 Filter",
        "CC2A ??f", "CC2B ??f", "UN3 Power Units", "DS3 Display Scaling ??f", "CF3",
        "FS3 Full Scale ??", "CC3A lbf-in*RPM/Hp ??f"})
    b.raw(item);
}

void ksvm(Builder& b) {
  for (const char* item :
       {"CA Zero A/D", "CB +Load Gain (P0CNT / A2DCNT / 2^16)",
        "CC -Load Gain (P0CNT / A2DCNT / 2^16)", "CD +DAC Gain (DACCNT / P0CNT / 2^34)",
        "CE -DAC Gain (DACCNT / P0CNT / 2^34)", "CF DAC Zero Offset (DACCNT / 2^16)", "CG Filter",
        "CH Temp During Zero adjustment (Temp-A/D-counts)",
        "CI Zero Temp Compensation (A2DCNT / Temp-A/D-counts / 2^12)", "CJ Span Compensation",
        "CK Full Scale (lbf-in)", "CL +Shunt Shift (P0CNT)", "CM -Shunt Shift (P0CNT)",
        "CN Minimum A/D counts (A2DCNT)", "CO Maximum A/D counts (A2DCNT)", "CP Serial Number",
        "CQ Shaft Number", "CR Model String", "CS Customer Name"})
    b.raw(item);
}

// Asks `message` while the reply begins with "!", at most kTries times.
std::string ask_until_not_bang(const std::string& message) {
  std::string reply;
  for (int i = 0; i < kTries; ++i) {
    reply = get_reply(message, kItemTimeoutMs);
    if (reply.empty() || reply[0] != '!') break;
  }
  return reply;
}

}  // namespace

std::string tm_info_catalogue_for(int32_t tm_type, int32_t version1, const std::string& sd_reply,
                                  const std::string& en_reply) {
  Builder b;
  switch (tm_type) {
    case kTmKst:
    case kTmKslw:
      kst_like(b, tm_type == kTmKslw, sd_reply == "3");
      break;
    case kTmRdx:
      rdx(b, version1);
      break;
    case kTmWqpm:
      wqpm(b);
      break;
    case kTmHzym:
      hzym(b, en_reply != "0002");
      break;
    case kTmKsvm:
      ksvm(b);
      break;
    default:
      break;
  }
  return b.text;
}

std::string tm_info_catalogue(int32_t tm_type, int32_t version1) {
  std::string sd, en;
  if (tm_type == kTmKst || tm_type == kTmKslw) sd = get_reply("SD");
  if (tm_type == kTmHzym) en = get_reply("EN");
  return tm_info_catalogue_for(tm_type, version1, sd, en);
}

std::string tm_info_catalogue_decode(const std::string& comment, const std::string& reply) {
  size_t at = comment.find("??");
  if (at == std::string::npos) return comment;
  std::string format = trim(comment.substr(at + 2));
  std::string values;
  if (!format.empty()) {
    // The decoder ends the program on bad hex, and a reply is the instrument's text: check
    // it against the length the format needs first.
    std::vector<std::string> zeros(64, "0");
    size_t need = hexstr_encode(format, zeros).size();
    if (is_hex(reply) && reply.size() >= need) {
      std::vector<std::string> decoded(64);
      int n = hexstr_decode(format, reply, decoded);
      for (int i = 0; i < n; ++i) values += (i ? "," : "") + decoded[static_cast<size_t>(i)];
    }
  }
  std::string before = comment.substr(0, at);
  while (!before.empty() && before.back() == ' ') before.pop_back();
  return before + " (" + values + ")";
}

std::string tm_info_catalogue_line(const std::string& message, const std::string& marker,
                                   const std::string& comment) {
  std::string note = trim(comment);
  std::string line;
  if (message.empty()) {
    line = note;
  } else {
    std::string reply = ask_until_not_bang(message);
    if (!reply.empty() && reply[0] == '!') {
      line = "# BAD REPLY TO " + message + ":" + reply;
    } else {
      line = message + marker + reply;
      note = tm_info_catalogue_decode(note, reply);
      if (static_cast<int>(line.size()) < kLineColumn) line.resize(kLineColumn, ' ');
      line += note;
    }
  }
  return line.empty() ? line : line + kCrLf;
}

namespace {

// One item taken apart: its messages (a range gives several; a comment line none), the
// set marker and the comment.
struct CatalogueItem {
  bool comment_line = false;
  std::vector<std::string> names;
  std::string marker;
  std::string comment;
};

bool parse_item(const std::string& item_text, CatalogueItem& out) {
  std::string item = trim(item_text);
  if (item.empty()) return false;
  if (item[0] == '#') {
    out.comment_line = true;
    out.comment = item;
    return true;
  }
  if (item[0] >= '0' && item[0] <= '9') {
    size_t colon = item.find(':');
    item = trim(colon == std::string::npos ? "" : item.substr(colon + 1));
  }
  std::string name = item;
  size_t p = item.find_first_of(" #");
  if (p != std::string::npos) {
    out.comment = " #" + item.substr(item[p] == '#' ? p + 1 : p);
    name = item.substr(0, p);
  }
  name = trim(name);
  size_t open = name.find('[');
  if (open != std::string::npos) {
    size_t close = name.find(']', open);
    if (open + 1 >= name.size() || close == std::string::npos || close == 0) return false;
    std::string prefix = name.substr(0, open);
    for (int c = static_cast<unsigned char>(name[open + 1]);
         c <= static_cast<unsigned char>(name[close - 1]); ++c)
      out.names.push_back(prefix + static_cast<char>(c));
    return true;
  }
  for (const std::string marker : {"==", "="}) {
    size_t at = name.find(marker);
    if (at != std::string::npos) {
      out.names.push_back(name.substr(0, at));
      out.marker = marker;
      return true;
    }
  }
  out.names.push_back(name);
  return true;
}

}  // namespace

std::string tm_info_catalogue_item(const std::string& item_text) {
  CatalogueItem item;
  if (!parse_item(item_text, item)) return "";
  if (item.comment_line) return tm_info_catalogue_line("", "", item.comment);
  std::string out;
  for (const std::string& name : item.names)
    out += tm_info_catalogue_line(name, item.marker, item.comment);
  return out;
}

std::vector<CatalogueMessage> tm_info_catalogue_messages(const std::string& catalogue) {
  std::vector<CatalogueMessage> out;
  for (const std::string& text : kw_split(catalogue, "|")) {
    CatalogueItem item;
    if (!parse_item(text, item)) continue;
    for (const std::string& name : item.names)
      if (!name.empty()) out.push_back({name, item.marker});
  }
  return out;
}

bool tm_info_config_split(const std::string& line, const std::vector<CatalogueMessage>& messages,
                          ConfigLine& out) {
  if (line.empty() || line[0] == '#' || line[0] == '|') return false;
  const CatalogueMessage* best = nullptr;
  for (const CatalogueMessage& m : messages)
    if (line.rfind(m.name + m.marker, 0) == 0 &&
        (!best || m.name.size() + m.marker.size() > best->name.size() + best->marker.size()))
      best = &m;
  if (best == nullptr) return false;
  const std::string rest = line.substr(best->name.size() + best->marker.size());
  const size_t hash = rest.find('#');
  out.name = best->name;
  out.value = trim(rest.substr(0, hash));
  out.comment = hash == std::string::npos ? "" : trim(rest.substr(hash + 1));
  return true;
}

}  // namespace ovn
