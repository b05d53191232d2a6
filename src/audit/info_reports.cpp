#include "audit/info_reports.h"

#include <map>
#include <vector>

#include "audit/audit_rules.h"
#include "config/catalogue.h"
#include "config/config_commands.h"
#include "config/history.h"
#include "config/tm_file.h"
#include "foundation/kw.h"
#include "foundation/operator.h"
#include "instrument/family.h"
#include "instrument/measure.h"
#include "instrument/tm_info.h"
#include "link/rs232.h"

namespace ovn {

namespace {

const char kCrLf[] = "\r\n";
constexpr int kLabelWidth = 40;

std::string field(const std::string& label, const std::string& value) {
  return "   " + kw_justify(label, -kLabelWidth, " ") + " " + value + kCrLf;
}

std::string heading(const std::string& title) {
  return title + ":" + kCrLf;
}

std::string number(double value) {
  return ckr_num(value);
}

// One parameter of the configuration as the catalogue walk gave it; its comment, with
// decoded values, says what it means.
using Parameter = ConfigLine;

// The configuration read now, as sections of parameters ("" is the head of the file).
std::vector<std::pair<std::string, std::vector<Parameter>>> read_parameters() {
  const ConfigInstrument instrument = config_instrument_of(kTmInfoCurrent);
  const std::vector<CatalogueMessage> messages =
      tm_info_catalogue_messages(tm_info_catalogue(instrument.tm_type, instrument.version1));
  std::vector<std::pair<std::string, std::vector<Parameter>>> sections = {{"", {}}};
  for (std::string line : kw_split(tm_info_config_read(instrument), "\n")) {
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) line.pop_back();
    if (line.empty()) continue;
    if (line.rfind("# BAD REPLY TO ", 0) == 0) {
      const std::string name = line.substr(15, line.find(':') - 15);
      sections.back().second.push_back({name, "(no reply)", ""});
      continue;
    }
    if (line[0] == '#' || line[0] == '|') {
      const size_t start = line.find_first_not_of("#| ");
      if (start != std::string::npos)
        sections.push_back({kw_justify(line.substr(start), 0, ""), {}});
      continue;
    }
    Parameter p;
    if (tm_info_config_split(line, messages, p)) sections.back().second.push_back(p);
  }
  return sections;
}

std::string identity_report() {
  const TmInfoRecord& r = tm_info_current_record();
  std::string text = heading("Instrument");
  text += field("Family", r.tm_name);
  text += field("Model", r.model);
  text += field("Serial number", r.serial);
  text += field("Shaft", r.shaft);
  text += field("Customer", r.customer_name);
  text += field("Address", r.identifier.empty() ? "(none)" : r.identifier);
  text += field("Port", rs232_port_name(rs232_port()));
  text += heading("Firmware");
  text += field("Reply to VR", r.firmware);
  for (int i = 0; i < 3; ++i)
    if (!r.version_numbers[i].empty())
      text += field("Version number " + std::to_string(i), r.version_numbers[i]);
  text += heading("Range");
  text += field("Full scale", number(r.fs_lbfin) + " lbf-in");
  text += field("Positive load point", number(r.plv_lbfin) + " lbf-in");
  text += field("Negative load point", number(r.nlv_lbfin) + " lbf-in");
  if (r.fs_uvpv != 0) text += field("Full scale signal", number(r.fs_uvpv) + " uV/V");
  text +=
      field("Noise limits", number(r.min_uvpv_noise) + " to " + number(r.max_uvpv_noise) + " uV/V");
  text += field("Temperature limits", number(r.tempf_min) + " to " + number(r.tempf_max) + " F");
  text += heading("Files");
  text += field("Configuration file", r.file_name);
  text += field("Settings of this instrument", r.regy_keyy);
  return text;
}

std::string real_time_report() {
  const TmInfoRecord& r = tm_info_current_record();
  std::string text = heading("Now (" + kw_timestamp(kw_now(), " ") + ")");
  const double raw = tmi_read_data_lbfin(kTmInfoCurrent);
  const double lbfin = tm_info_lbfin_of_raw(raw);
  text += field("Torque", number(lbfin) + " lbf-in");
  text += field("Percent of full scale", number(kw_safe_div(100 * lbfin, r.fs_lbfin, 0)) + " %");
  text += field("Bridge signal", number(tm_info_read_uvpv(kTmInfoCurrent)) + " uV/V");
  text += field("Raw reading", number(raw) + " " + r.raw_name);
  if (!r.temp_msg.empty())
    text += field("Temperature", number(tm_info_read_temp_degf(kTmInfoCurrent)) + " F");
  text += field("Shunt", tm_info_shunt_name(tm_info_shunt_read()));
  return text;
}

// A HZYM's calibration history, newest adjustments and all: one line a record kept.
std::string history_report() {
  if (!tm_is_type(kTmHzym, kTmInfoCurrent)) return "";
  std::string lines;
  for (int slot = 0; slot < kHistorySlots; ++slot) {
    const std::string line = tm_info_history_read(slot);
    if (!line.empty()) lines += field("Record " + std::to_string(slot), line);
  }
  return heading("Calibration history") + (lines.empty() ? field("(no records)", "") : lines);
}

std::string parameters_report() {
  std::string text;
  for (const auto& [title, parameters] : read_parameters()) {
    if (parameters.empty()) continue;
    text += heading(title.empty() ? "Parameters" : title);
    for (const Parameter& p : parameters)
      text += field(p.comment.empty() ? p.name : p.comment, p.value + "  [" + p.name + "]");
  }
  if (text.empty()) text = heading("Parameters") + field("(this family keeps none)", "");
  return text + history_report();
}

std::string channels_report() {
  std::map<std::string, Parameter> by_name;
  for (const auto& section : read_parameters())
    for (const Parameter& p : section.second) by_name[p.name] = p;
  // Each field by its numbered messages ("#" the channel) and, for the one channel of a
  // family without channel numbers, by its plain ones.
  struct ChannelField {
    const char* label;
    std::vector<std::string> numbered, plain;
  };
  static const std::vector<ChannelField> kFields = {{"Unit", {"UN#"}, {"UN"}},
                                                    {"Display scaling", {"DS#"}, {"DS"}},
                                                    {"Filter", {"FL#"}, {"FL"}},
                                                    {"Overload", {"OL#"}, {"OL"}},
                                                    {"Full scale", {"CE#A", "FS#"}, {"CEA", "CK"}}};
  std::string text;
  for (int ch = 1; ch <= 3; ++ch) {
    std::string lines;
    for (const ChannelField& f : kFields) {
      std::vector<std::string> names;
      for (const std::string& name : f.numbered)
        names.push_back(kw_replace(name, "#", std::to_string(ch)));
      if (ch == 1) names.insert(names.end(), f.plain.begin(), f.plain.end());
      for (const std::string& name : names) {
        const auto it = by_name.find(name);
        if (it == by_name.end()) continue;
        lines += field(f.label, it->second.value + "  [" + name + "]");
        break;
      }
    }
    if (!lines.empty()) text += heading("Channel " + std::to_string(ch)) + lines;
  }
  return text.empty() ? heading("Channels") + field("(none reported)", "") : text;
}

}  // namespace

std::string tm_info_report(int32_t item) {
  switch (item) {
    case kReportIdentity:
      return identity_report();
    case kReportRealTime:
      return real_time_report();
    case kReportMore:
      return parameters_report();
    case kReportChannels:
      return channels_report();
    default:
      return "";
  }
}

void tm_info_report_show(int32_t item) {
  const std::string text = tm_info_report(item);
  if (text.empty()) return;
  gib(text, "OK", 0, tm_info_current_record().file_name, "Courier New", 0, 8, 80);
}

}  // namespace ovn
