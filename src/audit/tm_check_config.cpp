#include "audit/tm_check_config.h"

#include <algorithm>
#include <cmath>

#include "adjust/acquire.h"
#include "adjust/noise_test.h"
#include "adjust/stats.h"
#include "audit/audit_report.h"
#include "audit/audit_rules.h"
#include "audit/checkit.h"
#include "foundation/events.h"
#include "foundation/hexstr.h"
#include "foundation/kw.h"
#include "foundation/operator.h"
#include "instrument/family.h"
#include "instrument/identify.h"
#include "instrument/model_number.h"
#include "instrument/tm_info.h"
#include "link/rs232.h"

namespace ovn {

namespace {

const char kCrLf[] = "\r\n";

const TmInfoRecord& rec() {
  return tm_info_current_record();
}

std::string strip_zeros(const std::string& text) {
  size_t first = text.find_first_not_of('0');
  if (first == std::string::npos) return text.empty() ? text : "0";
  // "0.5" keeps the zero in front of its point.
  if (text[first] == '.' && first > 0) --first;
  return text.substr(first);
}

std::string pad5(const std::string& version) {
  return version.size() >= 5 ? version : std::string(5 - version.size(), '0') + version;
}

std::string fold_unit(std::string unit) {
  for (size_t at = unit.find("f-"); at != std::string::npos; at = unit.find("f-"))
    unit.erase(at, 2);
  return kw_translate(unit, "-", "", false);
}

// The A/D noise and the spikiness of half a second of raw samples.
void dynamic_noise() {
  double seconds = 0.5, count = 0, scale = 0;
  const STTS samples = tm_acquire_raw(seconds, count, scale, "");
  const double n = std::fabs(stts_num(samples));
  ck_range(stts_stdev(samples) * rec().uvpv_per_raw, rec().min_uvpv_noise, rec().max_uvpv_noise,
           "A/D Noise of " + ckr_num(n) + " Samples", "uV/V", true, "");
  const double r = stts_ratio(samples);
  const std::string ratio = "(ratio=" + kw_format(r, "0.0000") + ")";
  const double magnitude = std::fabs(r);
  if (magnitude < 0.5)
    ck_fail_line("Non-Gaussian noise " + ratio + " (Data not 'spiky' enough)");
  else if (magnitude > 2)
    ck_fail_line("Non-Gaussian noise " + ratio + " (Data too 'spiky')");
  else
    ck_pass_line("Gaussian-looking noise " + ratio);
}

// The rotor of an RDX: its two temperatures, the supply's frequency and voltage.
void dynamic_rotor() {
  const std::string rcr = ckr_text("RCR");
  if (rcr.size() >= 24 && is_hex(rcr)) {
    // Four hex digits a field, low byte first.
    auto field = [&rcr](size_t i) { return hex_to_s16(hex_swap16(rcr.substr(4 * i, 4))) * 0.1; };
    ck_within(field(2) - field(3), 0, 5, "Temperature difference", "F", "");
  }
  const double pr = ckr_number("PR");
  if (pr != 0 && pr != kCheckNoReading)
    ck_range(60000000.0 / (pr * 1000), 111, 125, "Current Power Frequency", "kHz", false, "");
  const std::vector<std::string> ar = kw_split(ckr_text("AR"), ",");
  int stop = 0;
  const double supply = ar.size() > 1 && kw_is_numeric(ar[1])
                            ? kw_parse_double(ar[1], stop) * 0.0011077880859375 + 0.7
                            : kCheckNoReading;
  ck_range(supply, 10, 26, "Supply Voltage", "V", false, "");
}

}  // namespace

// ---- Reads ------------------------------------------------------------------------------

double ckr_number(const std::string& message) {
  const std::string reply = ckr_text(message);
  if (!kw_is_numeric(reply)) return kCheckNoReading;
  int stop = 0;
  return kw_parse_double(reply, stop);
}

std::string ckr_text(const std::string& message) {
  return kw_justify(get_reply(message), 0, "");
}

double ckr_hex(const std::string& message) {
  const std::string reply = ckr_text(message);
  if (reply.empty() || reply.size() > 8 || !is_hex(reply)) return kCheckNoReading;
  return hex_to_s32(reply);
}

CheckModel ckr_model(const std::string& model) {
  CheckModel m;
  m.text = model;
  double fs = 0;
  m.position = tm_info_model_parse(model, fs, m.units_per_lbfin, m.unit);
  if (m.position == 0) m.full_scale = fs;
  return m;
}

std::string ckr_num(double value) {
  // Eight significant digits, no trailing zeros behind the point.
  const double magnitude = std::fabs(value);
  const int whole = magnitude >= 1 ? static_cast<int>(std::floor(std::log10(magnitude))) + 1 : 1;
  std::string text = kw_format(value, "0." + std::string(std::max(0, 8 - whole), '#'));
  if (!text.empty() && text.back() == '.') text.pop_back();
  return text;
}

// ---- Firmware -----------------------------------------------------------------------------

std::string tm_check_config_need_version(const std::string& version, const std::string& wanted,
                                         const std::string& name) {
  if (!(version < wanted)) return "";
  return name + " firmware (currently " + strip_zeros(version) +
         ") needs to be upgraded to at least version " + strip_zeros(wanted) + "." + kCrLf;
}

std::string tm_check_config_board_notes() {
  const TmInfoRecord& r = rec();
  const std::string& v0 = r.version_numbers[0];
  const std::string& v1 = r.version_numbers[1];
  const std::string& v2 = r.version_numbers[2];
  // An old main board also wants the stator's power capacitor changed.
  auto main_board = [](const std::string& version, const std::string& wanted) {
    const std::string note = tm_check_config_need_version(pad5(version), wanted, "Main board");
    return note.empty() ? note : note + "   (56nF Stator Power Cap)" + kCrLf;
  };
  std::string notes;
  switch (r.tm_type) {
    case kTmWqpm:
      notes = tm_check_config_need_version(r.firmware, r.firmware >= "3.000" ? "3.050" : "2.050",
                                           "Torquemeter");
      break;
    case kTmRdx:
      notes = main_board(v1, "00165") +
              tm_check_config_need_version(pad5(v0), "00078", "I/O board") +
              tm_check_config_need_version(pad5(v2), pad5(v2) >= "01000" ? "01005" : "00056",
                                           "Rotor board");
      break;
    case kTmKst:
      notes =
          main_board(v1, "00148") + tm_check_config_need_version(pad5(v2), "00037", "Rotor board");
      break;
    case kTmHzym:
      notes = tm_check_config_need_version(r.firmware, "1.5.4", "Torquemeter");
      break;
    case kTmKsvm:
      notes = tm_check_config_need_version(pad5(r.firmware), "00226", "Torquemeter");
      break;
    default:
      break;
  }
  return notes;
}

// ---- Shared rules -------------------------------------------------------------------------

void ck_model_scaling(double model_scaling, const std::string& model_unit, double display_scaling,
                      const std::string& unit_name) {
  const bool same = std::fabs(display_scaling - model_scaling) <=
                    std::fabs(model_scaling) * 9.999999999999999e-06;
  ck_values(same, "Unit Scaling from Model $$|matches|does NOT match| Display Scaling $$",
            ckr_num(model_scaling) + "|" + ckr_num(display_scaling));
  ck_values(fold_unit(model_unit) == fold_unit(unit_name),
            "Unit Name from Model $$|matches|does NOT match| current Unit Name $$",
            model_unit + "|" + unit_name);
}

bool ck_actual_at_fs(const std::string& model, double value, const std::string& first,
                     const std::string& second, double low, double high, const std::string& name) {
  const std::string stem = tm_info_strip_model(model, 0);
  auto begins_with_one_of = [&stem](const std::string& list) {
    if (list.empty()) return false;
    for (const std::string& item : kw_split(list, "|"))
      if (!item.empty() && stem.rfind(item, 0) == 0) return true;
    return false;
  };
  if (begins_with_one_of(first)) {
    ck_range(value, low, high, name + "Actual", "@FS", false, "");
    return true;
  }
  if (begins_with_one_of(second)) {
    ck_range(value, low / 2, high / 2, name + "Actual", "@FS", false, "");
    return true;
  }
  return false;
}

bool ck_span_pair(const std::string& name_a, double value_a, double reading_a,
                  const std::string& name_b, double value_b, double reading_b,
                  double asymmetry_tolerance, double same_tolerance) {
  const std::pair<double, std::string> zeros[] = {{value_a, name_a + " value equals 0"},
                                                  {reading_a, name_a + " reading equals 0"},
                                                  {value_b, name_b + " value equals 0"},
                                                  {reading_b, name_b + " reading equals 0"}};
  for (const auto& [number, sentence] : zeros) {
    if (number == 0) {
      ck_fail_line(sentence);
      return false;
    }
  }
  const double ra = value_a / reading_a;
  const double rb = value_b / reading_b;
  bool ok = ck_asymmetry(ra, rb, asymmetry_tolerance, name_a + " vs " + name_b, "");
  if (ok && same_tolerance > 0 && std::fabs(ra - rb) <= std::fabs(ra) * same_tolerance) {
    double scale = 1;
    const std::string word = kw_ratio_prefix(same_tolerance, scale, "");
    ck_fail_line(name_b + " equals " + name_a + "(" + kw_format(1 - rb / ra, "0.000") + word +
                 " < " + kw_format(same_tolerance / scale, "") + word + ") " + name_b +
                 " not adjusted?");
    ok = false;
  }
  return ok;
}

bool ck_span_signs(const std::string& name, double value_a, double reading_a, double value_b,
                   double reading_b, double asymmetry_tolerance, double same_tolerance) {
  return ck_span_pair("+" + name, value_a, reading_a, "-" + name, value_b, reading_b,
                      asymmetry_tolerance, same_tolerance);
}

bool ck_span_plusminus(const std::string& name, double plus, double minus,
                       double asymmetry_tolerance, double same_tolerance) {
  return ck_span_signs(name, plus, 1.0, minus, -1.0, asymmetry_tolerance, same_tolerance);
}

// ---- The frame ----------------------------------------------------------------------------

std::string tm_check_config_title() {
  return rec().uid + "  " + rec().firmware;
}

void tm_check_config_audit() {
  ck_clear();
  const TmInfoRecord& r = rec();
  const std::string notes = tm_check_config_board_notes();
  if (notes.empty()) ck_pass_line("Firmware version (" + r.firmware + ") is okay");
  for (const std::string& line : kw_split(notes, kCrLf))
    if (!line.empty()) ck_fail_line(line);
  if (!r.identifier.empty())
    ck_values(r.identifier == "A", "RS485-ID $$is ||NOT |\"A\"", r.identifier);
  const int32_t from_model = tm_info_family_from_model(r.model);
  ck_values(from_model == r.tm_type,
            "TMType from model $$|matches|does not match| TMType from TM $$",
            tm_info_family_name(from_model) + "|" + tm_info_family_name(r.tm_type));
  switch (r.tm_type) {
    case kTmWqpm:
      tm_check_rules_wqpm();
      break;
    case kTmRdx:
      tm_check_rules_rdx();
      break;
    case kTmKst:
      tm_check_rules_kst();
      break;
    case kTmHzym:
      tm_check_rules_hzym();
      break;
    case kTmKsvm:
      tm_check_rules_ksvm();
      break;
    default:
      break;  // no rule list: the frame alone
  }
  ck_finish();
  ck_section("Dynamic Info:", true);
  dynamic_noise();
  const double temperature = read_temperature_f();
  if (temperature > -499)
    ck_range(temperature, r.tempf_min, r.tempf_max, "Temperature", "F", true, "");
  if (r.tm_type == kTmRdx) dynamic_rotor();
  ck_finish();
  const std::string failures = ck_failures();
  int count = 0;
  for (const std::string& line : kw_split(failures, kCrLf)) count += line.empty() ? 0 : 1;
  ovn_event("audit", {{"failures", json_number(count)}, {"text", json_string(failures)}});
}

bool tm_check_config_run(bool show_passes) {
  tm_check_config_audit();
  const std::string title = tm_check_config_title();
  if (ck_has_failures()) {
    const int button =
        gib(ck_failures(), "OK|Save report...", kGibWarning, title, "Courier New", 0, 8);
    if (button == 2) audit_report_save_dialog();
  }
  if (ck_has_passes() && show_passes) gib(ck_passes(), "OK", kGibInfo, title, "Courier New", 0, 8);
  return !ck_has_failures();
}

}  // namespace ovn
