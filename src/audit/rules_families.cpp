// The rule lists of the configuration audit for RDX, WQPM, HZYM and KSVM. Their frame is
// the KST's; they differ in what the instrument keeps and in their wording. The limits
// here are the maker's figures for each family.

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "audit/audit_rules.h"
#include "audit/checkit.h"
#include "audit/tm_check_config.h"
#include "config/history.h"
#include "foundation/hexstr.h"
#include "foundation/kw.h"
#include "instrument/model_number.h"
#include "instrument/tm_info.h"

namespace ovn {

namespace {

bool is_digits(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

// A packed hex reply by its format, only when it is hex of the format's full length
// (s 4 digits, f and l 8, b 2; a count behind a letter repeats it). Empty otherwise.
std::vector<double> unpack(const std::string& format, const std::string& reply) {
  size_t digits = 0, values = 0;
  for (size_t i = 0; i < format.size(); ++i) {
    const char c = format[i];
    const size_t width = c == 's' ? 4 : c == 'b' ? 2 : 8;
    size_t repeat = 1;
    if (i + 1 < format.size() && std::isdigit(static_cast<unsigned char>(format[i + 1])))
      repeat = static_cast<size_t>(format[++i] - '0');
    digits += width * repeat;
    values += repeat;
  }
  if (reply.size() != digits || !is_hex(reply)) return {};
  std::vector<std::string> texts(values);
  hexstr_decode(format, reply, texts);
  std::vector<double> out;
  for (const std::string& t : texts) {
    int stop = 0;
    out.push_back(kw_parse_double(t, stop));
  }
  return out;
}

double hex_single(const std::string& message) {
  const std::string reply = ckr_text(message);
  return reply.size() == 8 && is_hex(reply) ? hex_to_single(reply) : kCheckNoReading;
}

// The model's full scale against the instrument's, in the wording "agrees"/"disagrees".
void agrees_with_model(const std::string& name, double value, double model_value) {
  ck_values(ck_same(value, model_value), name + " $$||dis|agrees with Model Number $$",
            ckr_num(value) + "|" + ckr_num(model_value));
}

}  // namespace

// ---- RDX --------------------------------------------------------------------------------

namespace {
// Input actions by pin, as the stator leaves the factory.
const std::array<int, 7> kRdxInputDefaults = {1, 2, 4, 5, 3, 0, 0};
const char kRdxPins[] = "ABEFGHC";
const std::array<const char*, 11> kRdxFunctions = {
    "None",       "+Cal",       "-Cal",    "Reset-Maxmin", "Tare",     "Clear-Tare",
    "Output-Max", "Output-Min", "Data-Ok", "Freq-Output",  "Low-Range"};
}  // namespace

void tm_check_rules_rdx() {
  const CheckModel model = ckr_model(ckr_text("MD"));
  const double fs = ckr_number("CEA");
  const double plus_load = ckr_number("CEB"), minus_load = ckr_number("CEC");
  const double plus_shunt = ckr_number("CED"), minus_shunt = ckr_number("CEE");
  ck_section("Adjustment Setup:", true);
  ck_range_not_default(fs, 0, "Full Scale", "lbf-in", 0, 0);
  ck_ratio(plus_load, fs, 0.05, "+Load Value", "lbf-in", "Full Scale", true);
  ck_ratio(minus_load, -fs, 0.05, "-Load Value", "lbf-in", "-Full Scale", true);
  ck_range(plus_shunt, 0.2 * fs, 1.5 * fs, "+Shunt Value", "lbf-in", false, "");
  ck_range(minus_shunt, 0.2 * fs, 1.5 * fs, "-Shunt Value", "lbf-in", false, "");

  ck_section("Adjustment Data:", true);
  const double zero = ckr_number("CFA");
  const double plus_span = ckr_number("CFB"), minus_span = ckr_number("CFC");
  const double plus_shunt_span = ckr_number("CFD"), minus_shunt_span = ckr_number("CFE");
  ck_range_not_default(zero, 0, "Rotor A/D Zero Offset", "milli-ROTOR-counts", -5e6, 5e6);
  ck_range_not_default(std::fabs(plus_span), 0, "+Load Span", "mA2D", 1e5, 1e9);
  ck_range_not_default(std::fabs(minus_span), 0, "-Load Span", "mA2D", 1e5, 1e9);
  ck_range_not_default(std::fabs(plus_shunt_span), 0, "+Shunt Span", "mA2D", 1e5, 1e9);
  ck_range_not_default(std::fabs(minus_shunt_span), 0, "-Shunt Span", "mA2D", 1e5, 1e9);
  // The bridge output at full scale of each load span, mV/V.
  const double per_raw = tm_info_current_record().uvpv_per_raw;
  const double plus_fs =
      std::fabs(kw_safe_div(plus_span / 1000 * fs, plus_load, 0)) * per_raw / 1000;
  const double minus_fs =
      std::fabs(kw_safe_div(minus_span / 1000 * fs, minus_load, 0)) * per_raw / 1000;
  if (!ck_actual_at_fs(model.text, plus_fs, "1|2", "", 1.5, 2.5, "abs(+Load FS Span) ") ||
      !ck_actual_at_fs(model.text, minus_fs, "1|2", "", 1.5, 2.5, "abs(-Load FS Span) "))
    ck_fail_line("Unable to parse Model Number (" + model.text + ") for " + model.unit +
                 " full scale");
  const int64_t flags = static_cast<int64_t>(ckr_number("CFF"));
  ck_line((flags & 1) != 0, "Load Scaling is ||NOT |Active");
  const double f = 0.05;  // deci-deg F / 2
  const TmInfoRecord& r = tm_info_current_record();
  ck_range_not_default(ckr_number("CFG") * f, 0, "Temperature during Zero Adjustment", "F",
                       r.tempf_min, r.tempf_max);
  if (r.version_numbers[1] >= "142") {
    ck_range_not_default(ckr_number("CFH") * f, 0, "Temperature during +Span Adjustment", "F",
                         r.tempf_min, r.tempf_max);
    ck_range_not_default(ckr_number("CFI") * f, 0, "Temperature during -Span Adjustment", "F",
                         r.tempf_min, r.tempf_max);
  }

  ck_section("Adjustment Asymmetry:", true);
  ck_span_signs("Load Adj", plus_span, plus_load, minus_span, minus_load, 0.01, 1e-6);
  ck_span_signs("Shunt Adj", plus_shunt_span, plus_shunt, minus_shunt_span, minus_shunt, 0.01,
                1e-6);
  ck_span_pair("+Shunt Adj", plus_shunt_span, plus_shunt, "+Load Adj", plus_span, plus_load, 0.01,
               0);
  ck_span_pair("-Shunt Adj", minus_shunt_span, minus_shunt, "-Load Adj", minus_span, minus_load,
               0.01, 0);

  ck_section("User Information:", true);
  ck_model_scaling(model.units_per_lbfin, model.unit, ckr_number("DS"), ckr_text("UN"));
  ck_text_default(model.text, "None,Stock", "Model", ",", false);
  agrees_with_model("Full Scale", fs, model.full_scale);
  const double counts = ckr_number("FS");
  agrees_with_model("Full Scale Counts", counts, 20000);
  const double overload = ckr_number("OL");
  ck_line(ck_same(overload, 2 * fs), "2x Overload is ||NOT |set");
  agrees_with_model("2x Overload", overload, 2 * model.full_scale);
  ck_text_default(ckr_text("WO"), "None,Stock", "Work Order Number", ",", false);
  ck_text_default(ckr_text("CN"), "None,Stock", "Customer", ",", false);
  const std::string serial = ckr_text("SN");
  ck_values(is_digits(serial), "Serial Number $$is ||NOT |numeric", serial);
  ck_equal_num(ckr_number("SS"), 1, "Shunt Scaling", "");
  ck_equal_num(ckr_number("AOA"), 1, "VoltsOutScaling ", "");
  const std::string stator = ckr_text("SH"), rotor = ckr_text("SX");
  ck_values(stator == rotor, "Stator Shaft ID $$||dis|agrees with Rotor Shaft ID $$",
            stator + "|" + rotor);
  const int64_t misc = static_cast<int64_t>(ckr_number("MF"));
  ck_values((misc & 4) == 0, "(Misc_flag And 4) $$is ||non-|zero", std::to_string(misc & 4));
  ck_values((misc & 8) == 0, "Stator buttons $$ are |en|dis|abled", std::to_string(misc & 8));
  ck_values((misc & 3) != 3,
            "Misc_flag: $$|One of|Both| \"Filter B\" and \"Old Hardware\" |not ||set",
            std::to_string(misc & 3));
  ck_range(ckr_number("OFB") / 1e6, 9.5, 10.5, "Filter B frequency", "MHz", false, "");
  ck_range(ckr_number("OFA") / 1e6, 9.5, 10.5, "Filter A frequency", "MHz", false, "");

  ck_section("Temperature Compensation:", true);
  ck_range_not_default(ckr_number("TCA") / 10, 0, "Zero Compensation Lower Temperature", "F", 32,
                       r.tempf_min);
  ck_range(ckr_number("TCB") / 10, -5000, 5000, "Zero Compensation Lower Reading", "A/D", false,
           "");
  ck_range_not_default(ckr_number("TCC") / 10, 0, "Zero Compensation Upper Temperature", "F",
                       r.tempf_max, 200);
  ck_range(ckr_number("TCD") / 10, -5000, 5000, "Zero Compensation Upper Reading", "A/D", false,
           "");
  const double slope = ckr_number("TCE");
  ck_values(slope == 65, "Span Compensation Slope $ ppm/F$|equals|does not equal| 65",
            ckr_num(slope));

  ck_section("Analog Output:", true);
  const double f0 = ckr_number("AFA"), ffs = ckr_number("AFB");
  const double span = ffs - f0;
  if (ck_same(span, 10000) || ck_same(span, 5000))
    ck_pass_line(std::string("Frequency Output is set to ") + (ck_same(span, 10000) ? "10" : " 5") +
                 " kHz");
  ck_equal_num(f0, 10000, "Frequency Output @ Zero", "Hz");
  ck_differs_num(ffs, f0, "Frequency Output @ Full Scale", "Hz");
  const double v0 = ckr_number("AVA") / 1e6, vfs = ckr_number("AVB") / 1e6;
  if (v0 != 0) ck_fail_line("Voltage Output @ 0 is NOT set to 0 V (" + ckr_num(v0) + " V)");
  if (vfs != 10) ck_fail_line("Voltage Output @ FS is NOT set to 10 V (" + ckr_num(vfs) + " V)");
  if (v0 == 0 && vfs == 10) ck_pass_line("Voltage Out is set to 0 V@0 and 10 V@FS");
  bool tweak = false;
  for (int k = 0; k < 5; ++k) tweak = ckr_number("AC" + kw_letter_of(k)) != 0 || tweak;
  ck_line(!tweak, "User Tweak is|| NOT| zero");

  ck_section("Input Actions:", true);
  for (int line = 0; line < 7; ++line) {
    const int wanted = kRdxInputDefaults[line];
    ck_line(ckr_number("IA" + kw_letter_of(line)) == wanted,
            std::string("Input Action Pin ") + kRdxPins[line] + " is|| NOT| set to " +
                kRdxFunctions[wanted]);
  }

  ck_section("Power coefficients:", true);
  ck_range(ckr_number("PWA"), 0.5, 2, "Power Coefficient A", "VsA/D*ms/s", false, "");
  const double b = ckr_number("PWB");
  ck_line(b == 0 || b == 10,
          "Power Coefficient B (" + ckr_num(b) + " ms/s) is |either|neither| 0 or 10");

  ck_section("IO Board (Voltage Output):", true);
  static const std::array<const char*, 5> kNames = {"+10 V Value", " +5 V Value", "  0 V Value",
                                                    " -5 V Value", "-10 V Value"};
  static const std::array<double, 5> kVolts = {10, 5, 0, -5, -10};
  std::array<double, 5> dac{};
  for (int k = 0; k < 5; ++k) {
    dac[k] = ckr_number("AD" + kw_letter_of(k));
    // The nominal counts: 2048 deci-counts a volt around 327680.
    ck_ratio(dac[k], 327680 + kVolts[k] * 20480, 0.01, kNames[k], "deci-VO-counts", "", true);
  }
  // The straight line through the five points, and how far the points stray from it.
  double mean_v = 0, mean_d = 0;
  for (int k = 0; k < 5; ++k) mean_v += kVolts[k] / 5, mean_d += dac[k] / 5;
  double sxy = 0, sxx = 0;
  for (int k = 0; k < 5; ++k) {
    sxy += (kVolts[k] - mean_v) * (dac[k] - mean_d);
    sxx += (kVolts[k] - mean_v) * (kVolts[k] - mean_v);
  }
  const double per_volt = sxy / sxx;
  double residual = 0;
  for (int k = 0; k < 5; ++k) {
    const double e = dac[k] - (mean_d + per_volt * (kVolts[k] - mean_v));
    residual += e * e;
  }
  ck_within(kw_safe_div(655350 - mean_d, per_volt, 0), 15.5, 1, "Maximum VoltageOutput", "V", "");
  ck_within(kw_safe_div(-mean_d, per_volt, 0), -16, 1, "Minimum VoltageOutput", "V", "");
  ck_span_plusminus("Voltage Output 10V", dac[0] - dac[2], dac[4] - dac[2], 0.002, 0);
  ck_span_plusminus("Voltage Output 5V", dac[1] - dac[2], dac[3] - dac[2], 0.002, 0);
  ck_range(std::sqrt(residual / 3) / 10, 0, 2, "StdError of EP line", "D/A counts", true, "");
  ck_end_section(true);
}

// ---- WQPM -------------------------------------------------------------------------------

void tm_check_rules_wqpm() {
  const std::string version = ckr_text("VR");
  const std::string wanted = version >= "3.000" ? "3.050" : "2.050";
  if (version < wanted)
    ck_fail_line("Upgrade the firmware to at least version " + wanted);
  else
    ck_pass_line("Firmware version (" + version + ") OK");
  ck_values(kw_list_has(ckr_text("CN"), "STOCK|Stock|", "|") == false,
            "Customer Name $$is|| NOT| set", ckr_text("CN"));
  ck_values(!ckr_text("WO").empty(), "Shaft Number $$is|| NOT| set", ckr_text("WO"));
  const std::string serial = ckr_text("SN");
  ck_values(is_digits(serial), "Serial Number $$is|| NOT| numeric", serial);
  const std::string model_text = ckr_text("MD");
  const CheckModel model = ckr_model(model_text);
  ck_values(model.position == 0,
            "Model number $$|has|does NOT have| the correct format (|matches|does not match| "
            "\"4820xV(d-d)\"  (position " +
                std::to_string(model.position) + "))",
            model_text);
  ck_model_scaling(model.units_per_lbfin, model.unit, ckr_number("DS"), ckr_text("UN"));
  const std::string zero_load = ckr_text("CCB");
  ck_line(zero_load == "00000000", "||Strange -- Non-|Zero Zero Load Value");
  const double fs = hex_single("CCA");
  const double plus = hex_single("CCC"), minus = hex_single("CCD");
  ck_values(plus != fs,
            "Full Scale $$|<>|==| Positive Load Value $$|| (No \"Real World\" calibration)|",
            ckr_num(fs) + "|" + ckr_num(plus));
  ck_values(minus != -fs,
            "Full Scale $$|<>|==| Negative Load Value $$|| (No \"Real World\" calibration)|",
            ckr_num(-fs) + "|" + ckr_num(minus));
  // The pulse frequencies of the three points, 60 MHz clock.
  auto frequency = [](const char* pulses, const char* ticks) {
    return kw_safe_div(60000000.0 * ckr_number(pulses), ckr_number(ticks), 0);
  };
  const double f0 = frequency("CIA", "CIB");
  const double fp = frequency("CIC", "CID");
  const double fm = frequency("CIE", "CIF");
  ck_range(f0, 5000, 15000, "Zero Frequency", "Hz", false, "");
  ck_range(fp - f0, 500, 5000, "delta-Positive Frequency", "Hz", true, "");
  ck_range(kw_safe_div((fp - f0) * fs, plus, 0), 500, 5000, "Positive Span Frequency", "Hz", true,
           "");
  ck_range(fm - f0, 500, 5000, "delta-Negative Frequency", "Hz", true, "");
  ck_range(kw_safe_div((fm - f0) * -fs, minus, 0), 500, 5000, "Negative Span Frequency", "Hz", true,
           "");
  const double at130 = f0 + 1.3 * kw_safe_div((fp - f0) * fs, plus, 0);
  ck_values(at130 > 10000, "Frequency @ 130% FS == $ Hz$is ||NOT |greater than 10000 Hz",
            ckr_num(at130));
  bool user = false;
  for (int k = 0; k < 5; ++k) user = ckr_number("AI" + kw_letter_of(k)) != 0 || user;
  ck_line(!user, "User Analog Output Adjustment is|| NOT| Zero");
  static const std::array<const char*, 5> kNames = {"Tech +10V DAC", "Tech +5V DAC", "Tech 0V DAC",
                                                    "Tech -5V DAC", "Tech -10V DAC"};
  static const std::array<double, 5> kDefaults = {19838, 9918, 0, -9918, -19838};
  bool adjusted = false;
  std::array<double, 5> dac{};
  for (int k = 0; k < 5; ++k) {
    dac[k] = ckr_number("AJ" + kw_letter_of(k));
    adjusted = !ck_same(dac[k], kDefaults[k]) || adjusted;
    if (kDefaults[k] == 0)
      ck_within(dac[k], 0, 200, kNames[k], "DAC Counts", "");
    else
      ck_ratio(dac[k], kDefaults[k], 0.02, kNames[k], "DAC Counts", "", true);
  }
  ck_within(kw_safe_div(32767 * 10, dac[0], 0), 16.5, 0.5, "Max V out", "V", "");
  ck_within(kw_safe_div(-32768 * 10, -dac[4], 0), -16.5, 0.5, "Min V out", "V", "");
  ck_line(adjusted, "Tech Analog Output Adjustment| NOT|| default");
  // The temperature: the converter's two calibration points, the zero compensation's three
  // temperatures and the span compensation's two points.
  std::array<double, 16> tc{};
  for (int k = 0; k < 16; ++k) tc[k] = hex_single("TC" + kw_letter_of(k));
  const bool default_ad = tc[0] == 0 && tc[1] == 1000 && tc[2] == 20 && tc[3] == 2000;
  ck_line(!default_ad, "Temperature A/D has |a non|the| default calibration");
  ck_range(tc[8], 32, 200, "TC Lower Temperature", "F", false, "");
  ck_range(tc[10], 32, 200, "TC Middle Temperature", "F", false, "");
  ck_range(tc[12], 32, 200, "TC Upper Temperature", "F", false, "");
  ck_range(tc[4], 32, 80, "Span Compensation Lower Temperature", "F", false, "");
  ck_range(tc[5], -100, 100, "Span Compensation Lower Data", "mV", true, "");
  ck_range(tc[6], 80, 200, "Span Compensation Upper Temperature", "F", false, "");
  ck_range(tc[7], -100, 100, "Span Compensation Upper Data", "mV", true, "");
  ck_range(kw_safe_div(tc[7] - tc[5], tc[6] - tc[4], 0), 0, 1, "Span Compensation slope", "mV/F",
           true, "");
  const double cf = ckr_number("CF");
  if (cf == 0)
    ck_pass_line("Calibration Flags (CF) 0");
  else
    ck_fail_line("Calibration Flags (CF) " + ckr_num(cf));
  int histories = 0;
  for (int k = 0; k < 3; ++k) {
    const std::string h = ckr_text("HS" + kw_letter_of(k));
    histories += !h.empty() && h.find_first_not_of('0') != std::string::npos ? 1 : 0;
  }
  if (histories == 0)
    ck_pass_line("No Calibration History -- okay");
  else
    ck_fail_line(std::to_string(histories) +
                 (histories == 1 ? " history ignored" : " histories are ignored"));
}

// ---- HZYM -------------------------------------------------------------------------------

void tm_check_rules_hzym() {
  const std::string version = ckr_text("VR");
  ck_values(!(version < "1.5.4"), "Firmware Version $$is|| NOT| up to date $$", version + "|1.5.4");
  const std::string model_text = ckr_text("MD");
  ck_text_default(model_text, "No-Model-Number", "Model Number", ",", false);
  const std::string serial = ckr_text("SE");
  if (!is_digits(serial)) ck_fail_line("Serial Number(" + serial + ") not numeric");
  ck_equal_num(ckr_number("TR"), 0, "Tare", " Counts");
  const std::vector<double> sc = unpack("ff", ckr_text("SC"));
  const double plus_sc = sc.size() == 2 ? sc[0] : kCheckNoReading;
  const double minus_sc = sc.size() == 2 ? sc[1] : kCheckNoReading;

  ck_section("Adjustment:", true);
  ck_range(ckr_hex("GN"), 1, 128, "Gain", "", false, "");
  ck_range(ckr_hex("OF"), -2000, 2000, "Zero Offset", "", false, "");
  const double fs = hex_single("FS1");
  const CheckModel model = ckr_model(model_text);
  if (model.position != 0) {
    ck_fail_line("Model (" + model_text + ") does not parse");
  } else {
    ck_pass_line("Model (" + model_text + ") parses correctly");
    agrees_with_model("Full Scale", fs, model.full_scale);
  }
  ck_range_not_default(fs, 0, "Full Scale", "lbf-in", 0, 0);
  if (plus_sc < 0 && plus_sc != kCheckNoReading)
    ck_fail_line("+Scaling constant < 0! (Wires need to be switched NOW)");
  if (plus_sc == 0) {
    ck_fail_line("Zero (0) +Scaling Constant!");
  } else {
    ck_range(kw_safe_div(fs, plus_sc, 0), 20000, 32767, "Counts at Full Scale", "", true, "");
    ck_ratio(plus_sc, fs / 30000, 0.5, "+Scaling Constant", "lbf-in count^-1", "", true);
    ck_ratio(minus_sc, plus_sc, 0.02, "-Scaling Constant", "lbf-in count^-1", "+Scaling Constant",
             true);
  }
  // The scaling of the newest record: the 12th and 13th values of a record.
  const int slot = tm_info_history_latest(true);
  std::vector<double> history;
  if (slot >= 0) {
    if (const auto values = history_decode(ckr_text("HS" + std::to_string(slot)))) {
      for (size_t i = 11; i < 13 && i < values->size(); ++i) {
        int stop = 0;
        history.push_back(kw_parse_double((*values)[i], stop));
      }
    }
  }
  if (history.size() != 2) {
    ck_fail_line("No History? (unable to get historical scaling)");
  } else if (history[0] == 0) {
    ck_fail_line("Historical +scaling 0!");
  } else {
    ck_ratio(history[0], plus_sc, 0.001, "Historical Scaling", "", "Currrent Scaling", true);
    ck_within(kw_safe_div(plus_sc, history[0], 0), 1, 0.001, "Scaling Factor", "", "");
  }
  const double cal = hex_single("CR");
  if (cal == 0)
    ck_fail_line("+Cal value 0!");
  else
    ck_range(kw_safe_div(100 * cal, fs, 0), 30, 150, "Shunt", "% Full Scale", false, "");
  const double plus_load = hex_single("CC1A"), minus_load = hex_single("CC1B");
  if (ck_same(plus_load, fs))
    ck_fail_line("+Load Value (" + ckr_num(plus_load) +
                 " lbf-in) equals +Full Scale -- No \"Real\" World Calibration");
  if (ck_same(minus_load, -fs))
    ck_fail_line("-Load Value (" + ckr_num(minus_load) +
                 " lbf-in) equals -Full Scale -- No \"Real\" World Calibration");

  ck_section("Temperature Compensation:", true);
  const std::vector<double> tc = unpack("ffss", ckr_text("TC"));
  if (tc.size() == 4) {
    ck_range_not_default(tc[0], 0, "CalLab Temperature Compensation", "ppm/F", -100, 100);
    ck_range(tc[2], 32, 100, "CalLab Lower Temperature", "F", false, "");
    ck_range_not_default(tc[1], 0, "Tech Temperature Compensation", "ppm/F", -100, 100);
    ck_range(tc[3], 32, 100, "Tech Lower Temperature", "F", false, "");
  }
  const std::string first = ckr_text("HS0");
  if (first.empty() || first.rfind("00000000", 0) == 0) ck_fail_line("No History written!");

  ck_section("Analog Outputs:", true);
  const double outputs = std::clamp(ckr_number("EN"), 0.0, 3.0);
  static const std::array<const char*, 6> kRows = {"   0V/10V", " +10V/10V", " -10V/10V",
                                                   "   0V/5V ", "  +5V/5V ", "  -5V/5V "};
  for (int n = 1; n <= static_cast<int>(outputs); ++n) {
    const std::string out = std::to_string(n);
    const std::vector<double> user = unpack("ssssssbb", ckr_text("AI" + out));
    if (std::any_of(user.begin(), user.begin() + std::min<size_t>(user.size(), 6),
                    [](double v) { return v != 0; }))
      ck_fail_line("User Analog output " + out + " has at least one non-zero tweak value");
    const std::vector<double> tech = unpack("ssssssbb", ckr_text("Ai" + out));
    if (tech.size() < 6 ||
        std::all_of(tech.begin(), tech.begin() + 6, [](double v) { return v == 0; })) {
      ck_fail_line("Tech Analog Output " + out + " has not been adjusted");
      continue;
    }
    for (int k = 0; k < 6; ++k)
      ck_range(tech[k], -2000, 2000, "Tech VoltsOut" + out + kRows[k], "DAC counts", false, "");
  }
  ck_end_section(true);
}

// ---- KSVM -------------------------------------------------------------------------------

void tm_check_rules_ksvm() {
  const std::string model_text = ckr_text("CR");
  ck_text_default(model_text, "None,", "Model Name", ",", false);
  const CheckModel model = ckr_model(model_text);
  const double fs = ckr_number("CK");
  if (model.position != 0)
    ck_fail_line("Model (" + model_text + ") malformed");
  else
    ck_values(ck_same(fs, model.full_scale),
              "Full Scale $ lbf-in$|agrees|does NOT agree| with model $$",
              ckr_num(fs) + "|" + ckr_num(model.full_scale));
  ck_equal_num(ckr_number("CF28"), 0, "CF28", "");
  const double zero = ckr_number("CA");
  if (zero == 0)
    ck_fail_line("A/D Zero default (" + ckr_num(zero) + ")");
  else
    ck_range(zero, -20000, 20000, "A/D Zero", "A2D", false, "");
  const double plus_gain = ckr_number("CB"), minus_gain = ckr_number("CC");
  if (plus_gain == minus_gain)
    ck_fail_line("+ A/D Gain = - A/D Gain (" + ckr_num(plus_gain) +
                 ") (No Negative Adjustment done?)");
  // The gains as the technician reads them: P0 counts per A/D count over 2^16, and DAC
  // counts per P0 count over 2^34; full scale is 2^35 P0 counts, so a DAC gain g gives
  // 2 g DAC counts at full scale.
  ck_range(plus_gain / 65536, 1000, 100000, "+A/D Gain", "P0/A2D/2^16", false, "");
  ck_range(minus_gain / 65536, 1000, 100000, "-A/D Gain", "P0/A2D/2^16", false, "");
  const double plus_dac = ckr_number("CD"), minus_dac = ckr_number("CE");
  ck_range(plus_dac, 1, 1e6, "+DAC Gain", "DAC/P0/2^34", false, "");
  ck_range(minus_dac, 1, 1e6, "-DAC Gain", "DAC/P0/2^34", false, "");
  if (plus_dac == minus_dac)
    ck_fail_line("+DAC Gain = -DAC Gain (" + ckr_num(plus_dac) +
                 ") (No Analog Output Adjustment done?)");
  ck_within(2 * plus_dac, 16384, 1638, "Nominal +DAC FS", "DAC", "");
  ck_within(2 * minus_dac, 16384, 1638, "Nominal -DAC FS", "DAC", "");
  const double dac_zero = ckr_number("CF");
  ck_range(dac_zero / 65536, -1000, 1000, "DAC Zero", "DAC", false, "");
  ck_within(dac_zero / 65536, 0, 500, "Nominal Zero DAC", "DAC", "");
  ck_range(ckr_number("CG"), 0, 8, "Filter Shift", "", false, "");
  const double during_zero = ckr_number("CH");
  ck_range_not_default(during_zero, 0, "Temperature During Zero", "", 0, 0);
  const double zero_tc = ckr_number("CI");
  if (zero_tc == 0)
    ck_pass_line("ABS(Zero TC) (0.0) < 100");
  else
    ck_range(zero_tc, -100, 100, "Zero TC", "", true, "");
  ck_range(ckr_number("CL"), 1000, 1e9, "+Shunt Value", "", true, "");
  ck_range(ckr_number("CM"), 1000, 1e9, "-Shunt Value", "", true, "");
  ck_span_plusminus("Shunt A/D", ckr_number("CL"), ckr_number("CM"), 0.01, 0);
  ck_range(ckr_number("CN"), 0, 32768, "MIN A2D", "", true, "");
  ck_range(ckr_number("CO"), 0, 32767, "MAX A2D", "", false, "");
  const std::string customer = ckr_text("CS");
  ck_text_default(customer, "None,Stock", "Customer Name", ",", false);
  const std::string serial = ckr_text("CP");
  ck_values(is_digits(serial), "Serial Number $$is ||NOT |numeric", serial);
  ck_text_default(ckr_text("CQ"), "None,Stock", "Shaft Number", ",", false);

  // The scaling formulas, for the technician's eye: they pass.
  ck_section("Real-time-info", true);
  ck_pass_line("A/D zero " + ckr_num(zero) + " A2D");
  ck_pass_line("+gain " + ckr_num(plus_gain / 65536) + " P0/A2D/2^16, -gain " +
               ckr_num(minus_gain / 65536) + " P0/A2D/2^16");
  ck_pass_line("+DAC " + ckr_num(plus_dac) + " DAC/P0/2^34, -DAC " + ckr_num(minus_dac) +
               " DAC/P0/2^34, zero " + ckr_num(dac_zero / 4) + " DAC/2^14");
  ck_end_section(true);
}

}  // namespace ovn
