// The KST rule list of the configuration audit.

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "audit/audit_rules.h"
#include "audit/checkit.h"
#include "audit/tm_check_config.h"
#include "foundation/kw.h"
#include "instrument/family.h"
#include "instrument/model_number.h"
#include "instrument/tm_info.h"
#include "io/io_lines.h"

namespace ovn {

namespace {

// The maker's model table, as far as the audit needs it. Stems are matched at the start of
// the model without its "ZQVD" prefix.
//   kStemsLowRange   the 2 mV/V rotors built for a third of the A/D range (full scale
//                    counts 983040000 / 3)
//   kStemsHalf       the 1 mV/V rotors: their bridge limits are halved
//   kStemsStandard   the 2 mV/V rotors at two thirds of the range
//   kStems135k       the rotors driven at 135.135 kHz (drive 444, target 16096 and window
//                    371, positive shunt default 4587.16 lbf-in); the others at 120 kHz
//   kStemsOwnTeeth   the frames whose speed pickup has a wheel of kOwnTeeth teeth
const char kStemsLowRange[] = "4";
const char kStemsHalf[] = "7";
const char kStemsStandard[] = "5";
const char kStems135k[] = "5";
const char kStemsOwnTeeth[] = "7";
constexpr double kOwnTeeth = 120;
constexpr double kDefaultTeeth = 60;
// The bridge output at full scale, mV/V.
constexpr double kBridgeLow = 1.5, kBridgeHigh = 2.5;
// The speed overload and full scale of a model that names no speed.
constexpr double kDefaultSpeedOverload = 10001;
// A model whose stem digits are followed by a "7" before its "(" carries the frequency
// output option: outputs 2 and 3 then give 0 to 50 kHz.
constexpr char kFrequencyOption = '7';

constexpr double kFactoryFullScale = 2001.0002;
constexpr double kHpPerLbfinRpm = 1 / 63025.35746439056;
constexpr double kRelative = 9.999999999999999e-06;
constexpr double kPwcCountsPerVolt = 2476.233658278546;
constexpr double kMinusShuntDefault = -100975.09988518943;
// The analog outputs' nominal DAC counts: 0 V and the counts per volt.
constexpr double kDacAtZero = 32971.639214958974;
constexpr double kDacPerVolt = (54269.82428714606 - 11673.454142771885) / 20;
constexpr double kMaxVoltOut = 15.289265575762569;
constexpr double kMinVoltOut = -15.480961923847698;

// The I/O lines: the function each line has by default.
constexpr std::array<int, 8> kDefaultIo = {19, 16, 3, 17, 5, 4, 1, 2};

bool has_stem(const std::string& model, const std::string& list) {
  const std::string stem = tm_info_strip_model(model, 0);
  for (const std::string& item : kw_split(list, "|"))
    if (!item.empty() && stem.rfind(item, 0) == 0) return true;
  return false;
}

bool frequency_option(const std::string& model) {
  const std::string stem = tm_info_strip_model(model, 0);
  const std::string head = stem.substr(0, stem.find('('));
  return head.size() > 5 && head.find(kFrequencyOption, 5) != std::string::npos;
}

double dac_of_volts(double volts) {
  return kDacAtZero + volts * kDacPerVolt;
}

std::string letter(int index) {
  return kw_letter_of(index);
}

struct KstReads {
  CheckModel model;
  int channels = 1;
  std::string unit_name;
  double display_scaling = 0;
  double full_scale = 0;  // CE1A
  double x = 1.5;         // the share of the A/D range
};

void top_rows(KstReads& k) {
  const CheckModel& m = k.model;
  ck_model_scaling(m.units_per_lbfin, m.unit, k.display_scaling, k.unit_name);
  if (m.position != 0)
    ck_fail_line("Malformed Model number (position " + std::to_string(m.position) + "):");
  if (m.full_scale != 0)
    ck_values(std::fabs(k.full_scale - m.full_scale) <= std::fabs(m.full_scale) * kRelative,
              "Actual Full Scale $$|equals|does NOT equal| Model Full Scale $$",
              ckr_num(k.full_scale) + "|" + ckr_num(m.full_scale));
  const double over_range = m.full_scale == 0 ? 0 : tm_info_model_over_range(m.text);
  k.x = over_range == 0 ? 7.5 : over_range / 100;
  const double uca = ckr_number("UCA");
  const double counts = 983040000 / k.x;
  if (!ck_values(uca == counts, "Full Scale counts $$|equals|does not equal| $$",
                 ckr_num(uca) + "|" + ckr_num(counts)))
    ck_values(uca == 655360000 || uca == 327680000,
              "Full Scale counts $$|equals|does not equal| 655360000 or 327680000", ckr_num(uca));
  const double ucb = ckr_number("UCB");
  if (ucb == 0) {
    ck_pass_line("UCB / Misc Flags is zero");
  } else {
    ck_fail_line("UCB / Misc Flags (" + ckr_num(ucb) + ") is NOT zero");
    if (ucb != kCheckNoReading && (static_cast<int64_t>(ucb) & 1))
      ck_fail_line("UCB / Misc Flags (1) RS422 Termination Resistor Active");
  }
  const std::string serial = ckr_text("UIB");
  const bool digits =
      !serial.empty() && serial.find_first_not_of("0123456789") == std::string::npos;
  if (digits)
    ck_pass_line("Serial Number (" + serial + ") is okay");
  else
    ck_fail_line("Serial number (" + serial + ") not an integer");
  ck_text_default(serial, "None", "Serial Number", ",", false);
  if (!digits) ck_fail_line("Serial Number (" + serial + ") is not an integer");
  ck_text_default(ckr_text("UIC"), "None,Stock", "Customer Name", ",", false);
  ck_text_default(ckr_text("UID"), "None,Stock", "Shaft Number", ",", false);
}

void torque_rows(const KstReads& k) {
  ck_section("Torque Channel Adjustment / Setup:", true);
  const double points = ckr_number("TA");
  ck_int_range_default(static_cast<int32_t>(points), 3, 2, 6, "Torque Adjustment points", "", true);
  const int n = std::clamp(static_cast<int>(points), 3, 6);
  std::vector<double> ce(n), cf(n);
  for (int i = 0; i < n; ++i) {
    ce[i] = i == 0 ? k.full_scale : ckr_number("CE1" + letter(i));
    cf[i] = ckr_number("CF1" + letter(i));
  }
  const double fs = k.full_scale;
  const std::string& unit = k.unit_name;
  ck_range_not_default(fs, kFactoryFullScale, "Full Scale", "lbf-in", 0, 0);
  // Counts for the whole full scale, from the first load point.
  const double counts_fs = kw_safe_div(cf[1], ce[1], 0);
  const double zero = kw_safe_div(cf[0] * fs, counts_fs, 0) * k.display_scaling;
  ck_range_not_default(zero, 0, "Zero Offset", unit, -1800 / k.x, 1800 / k.x);
  ck_within(kw_safe_div(100 * cf[0], counts_fs, 0), 0, 1, "Zero Offset", "% FS", "");
  ck_ratio(ce[1] * fs, fs, 0.05, "Adjustment Point 1", "lbf-in", "Full Scale", true);
  ck_ratio(ce[2] * fs, -fs, 0.05, "Adjustment Point 2", "lbf-in", "-Full Scale", true);
  for (int i = 3; i < n; ++i)
    ck_within(ce[i], 0, 1.5, "Adjustment Point " + std::to_string(i) + " Ratio", "FS", "");
  const double gain1 = kw_safe_div(cf[1], ce[1] * fs, 0);
  for (int i = 2; i < n; ++i)
    ck_ratio(kw_safe_div(cf[i], ce[i] * fs, 0), gain1, 0.005, "Gain" + std::to_string(i),
             "A/D / lbf-in", "Gain1", true);
  if (cf[1] * ce[2] == cf[2] * ce[1]) ck_fail_line("-Load Adj equals +Load Adj");

  const std::string& model = k.model.text;
  const double bridge = std::fabs(counts_fs) * tm_info_current_record().uvpv_per_raw / 1000;
  // Each list that knows the model writes its line.
  bool known =
      ck_actual_at_fs(model, bridge, kStemsLowRange, kStemsHalf, kBridgeLow, kBridgeHigh, "mV/V ");
  known =
      ck_actual_at_fs(model, bridge, kStemsStandard, "", kBridgeLow, kBridgeHigh, "mV/V ") || known;
  if (!known)
    ck_fail_line("Unable to parse Model Number (" + model + ") for " + k.model.unit +
                 " full scale");

  // The shunt spans: the positive one in the torque unit, the negative one in counts.
  const double sign = counts_fs < 0 ? -1 : 1;
  const double plus_default =
      sign * (has_stem(model, kStems135k) ? 4587.155963302753 : 2487.5621890547263);
  const double sva = ckr_number("SVA");
  const double svb = ckr_number("SVB");
  const double plus = kw_safe_div(sva * fs, counts_fs, 0);
  if (ck_same(plus, plus_default))
    ck_fail_line("+Shunt Span default (" + ckr_num(plus) + ")");
  else
    ck_ratio(plus, plus_default, -0.005, "+Shunt Span", "lbf-in", "default", true);
  const double minus_default = sign * kMinusShuntDefault;
  if (ck_same(svb, minus_default))
    ck_fail_line("-Shunt Span default (" + ckr_num(svb) + ")");
  else
    ck_ratio(svb, minus_default, -0.005, "-Shunt Span", "A/D", "default", true);
  ck_span_plusminus("Shunt", sva, svb, 0.004, 0);
}

void temperature_rows(const KstReads& k) {
  ck_section("Temperature Related:", true);
  const TmInfoRecord& r = tm_info_current_record();
  const std::array<std::pair<const char*, const char*>, 3> during = {
      {{"TCA", "Temperature during Zero Adjustment"},
       {"TCC", "Temperature during Load Adjustment"},
       {"TCE", "Temperature during Shunt Adjustment"}}};
  for (const auto& [message, name] : during)
    ck_range_not_default(ckr_number(message), 0, name, "F", r.tempf_min, r.tempf_max);
  ck_range_not_default(ckr_number("TCB"), 0, "Zero Temperature Compensation", k.unit_name + "/F",
                       -0.1, 0.1);
  ck_range_not_default(ckr_number("TCD") * 1e-6, 0, "Span Temperature Compensation", "ppm/F", 64.9,
                       65.1);
  const double tcf = ckr_number("TCF") * 1e-6;
  if (tcf == 0)
    ck_pass_line("Shunt Span Temperature Compensation (0) default");
  else if (std::fabs(tcf) < 500)
    ck_pass_line("Shunt Span Temperature Compensation (" + kw_format(tcf, "0.000") +
                 " ppm/F) is less than 500 ppm/F");
  else
    ck_fail_line("Shunt Span Temperature Compensation ( " + ckr_num(tcf) +
                 " ppm/F) is not default and greater than 500 ppm/F");
}

void zero_and_ratio_rows(const std::string& channel_name, int channel) {
  const std::string ch = std::to_string(channel);
  const double zero = ckr_number("CF" + ch + "A");
  ck_values(zero == 0, channel_name + " Positive Cal Zero Offset $$|equals|does NOT equal| 0.0",
            ckr_num(zero));
  const double ratio = ckr_number("CE" + ch + "B");
  ck_values(ratio == 1, channel_name + " Positive Full Scale Ratio $$|equals|does NOT equal| 1.0",
            ckr_num(ratio));
}

double speed_full_scale(const KstReads& k) {
  const double limit = tm_info_model_fs_limit(k.model.text);
  return limit != 0 ? limit : kDefaultSpeedOverload;
}

void speed_rows(const KstReads& k) {
  if (k.channels < 2) return;
  ck_section("Speed Channel Setup", true);
  const double speed = speed_full_scale(k);
  ck_equal_num(ckr_number("OL2"), speed, "Speed Overload", "RPM");
  ck_equal_num(ckr_number("CE2A"), speed, "Speed Full Scale", "RPM");
  zero_and_ratio_rows("SPEED", 2);
  const double teeth = std::round(60 * ckr_number("SCA") * 100) / 100;
  const double wanted = has_stem(k.model.text, kStemsOwnTeeth) ? kOwnTeeth : kDefaultTeeth;
  ck_values(teeth == wanted, "Teeth $$|equals|does NOT equal| " + ckr_num(wanted), ckr_num(teeth));
}

void power_rows(const KstReads& k) {
  if (k.channels < 3) return;
  ck_section("Power Channel Setup", true);
  zero_and_ratio_rows("POWER", 3);
  ck_ratio(ckr_number("CE3A"), k.full_scale * speed_full_scale(k) * kHpPerLbfinRpm, kRelative,
           "POWER Full Scale", "Hp", "", true);
}

void voltage_output_rows(const KstReads& k) {
  ck_section("Voltage Outputs", true);
  const bool option = frequency_option(k.model.text);
  const std::array<std::string, 3> defaults =
      k.channels >= 3
          ? std::array<std::string, 3>{"0 0 10 10", option ? "0 0 50 10" : "1 0 10 10",
                                       option ? "0 0 50 10" : "2 0 10 10"}
          : std::array<std::string, 3>{"0 0 10 10", option ? "0 0 50 10" : "0 0 -5 -5", "0 0 5 5"};
  for (int out = 0; out < 3; ++out) {
    const std::string n = std::to_string(out + 1);
    std::string setup;
    for (int i = 0; i < 4; ++i) setup += (i ? " " : "") + ckr_text("AO" + letter(4 * out + i));
    ck_text_default(setup, defaults[out], "VoltOut" + n + " Setup", "|", true);

    const double plus = ckr_number("AO" + letter(12 + 3 * out));
    const double zero = ckr_number("AO" + letter(13 + 3 * out));
    const double minus = ckr_number("AO" + letter(14 + 3 * out));
    const std::array<std::pair<double, std::string>, 3> counts = {
        {{plus, " DAC value for +10 V default ("},
         {zero, " DAC value for   0 V default ("},
         {minus, " DAC value for -10 V default ("}}};
    const std::array<double, 3> volts = {10, 0, -10};
    bool adjusted = true;
    for (int i = 0; i < 3; ++i) {
      if (ck_same(counts[i].first, dac_of_volts(volts[i]))) {
        ck_fail_line("VoltOut" + n + counts[i].second + ckr_num(counts[i].first) + ")");
        adjusted = false;
      }
    }
    if (adjusted) ck_pass_line("VoltOut" + n + " +10 V, 0 V, and -10 V have been adjusted");
    ck_within(zero - (plus + minus) / 2, 0, 20, "VoltOut" + n + " non-linearity", "DAC counts", "");
    ck_ratio(zero, kDacAtZero, 0.004, "VoltOut" + n + " Zero ", "DAC count", "", true);
    ck_ratio(plus - zero, 10 * kDacPerVolt, 0.001, "VoltOut" + n + " +span", "DAC count", "", true);
    ck_ratio(minus - zero, -10 * kDacPerVolt, 0.001, "VoltOut" + n + " -span", "DAC count", "",
             true);
    ck_span_plusminus("VoltOut" + n, plus - zero, minus - zero, 0.0005, 0);
    const double per_volt = kw_safe_div(plus - minus, 20, 0);
    ck_within(kw_safe_div(65535 - zero, per_volt, 0), kMaxVoltOut, 0.1, "Max VoltOut" + n, "V", "");
    ck_within(kw_safe_div(-zero, per_volt, 0), kMinVoltOut, 0.1, "Min VoltOut" + n, "V", "");
  }
}

void digital_io_rows() {
  ck_section("Digital I/O", true);
  bool notes = false;
  auto note = [&notes](const std::string& text) {
    ck_fail_line(text);
    notes = true;
  };
  if (ckr_number("IOI") != 0) note("Invert Mask <> 0");
  for (int line = 0; line < 8; ++line) {
    const std::string l = letter(line);
    if (ckr_number("IO" + l) != kDefaultIo[line])
      note("IO" + l + "/Pin" + tm_io_pin_letter(line, kTmKst) + " NOT " +
           tm_io_function_name(kDefaultIo[line], kTmKst));
  }
  for (int k = 0; k < 16; ++k) {
    const double wanted = k % 2 == 0 ? 1.1 : -1.1;
    if (!kw_near_abs(ckr_number("IL" + letter(k)), wanted, 0.001))
      note("IL" + letter(k) + " NOT " + ckr_num(wanted));
  }
  if (!notes) ck_pass_line("Digital I/O default");
}

void power_delivery_rows(const KstReads& k) {
  ck_section("Power Delivery:", true);
  const bool fast = has_stem(k.model.text, kStems135k);
  const double pwa = ckr_number("PWA");
  ck_equal_num(kw_safe_div(60000, pwa, 0), 60000.0 / (fast ? 444 : 500), "Initial Power Frequency",
               "kHz");
  ck_range(kw_safe_div(100 * ckr_number("PWB"), pwa, 0), 19.8, 20.3, "Initial Power Duty Cycle",
           "%", false, "");
  ck_equal_num(ckr_number("PWC") / kPwcCountsPerVolt, (fast ? 16096 : 14610) / kPwcCountsPerVolt,
               "Target Voltage", "V");
  ck_equal_num(ckr_number("PWD") / kPwcCountsPerVolt, (fast ? 371 : 247) / kPwcCountsPerVolt,
               "Target Voltage Window Width", "V");
}

}  // namespace

void tm_check_rules_kst() {
  KstReads k;
  k.channels = static_cast<int>(ckr_number("SD"));
  k.model = ckr_model(ckr_text("UIA"));
  k.unit_name = ckr_text("UN1");
  k.display_scaling = ckr_number("DS1");
  k.full_scale = ckr_number("CE1A");
  top_rows(k);
  torque_rows(k);
  temperature_rows(k);
  speed_rows(k);
  power_rows(k);
  voltage_output_rows(k);
  digital_io_rows();
  power_delivery_rows(k);
  ck_end_section(true);
}

}  // namespace ovn
