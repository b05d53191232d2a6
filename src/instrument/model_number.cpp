#include "instrument/model_number.h"

#include <cmath>

#include "foundation/kw.h"
#include "instrument/family.h"
#include "instrument/model_stems.h"
#include "instrument/tm_info.h"

namespace ovn {

namespace {

bool is_digit(char ch) {
  return ch >= '0' && ch <= '9';
}

// The scale a letter of the notation stands for; 1 for a letter that is no scale.
double scale_of_letter(char ch) {
  switch (ch) {
    case 'd':
      return 0.1;
    case 'c':
      return 0.01;
    case 'h':
      return 100;
    case 'm':
      return 1e-3;
    case 'u':
    case '\xB5':
      return 1e-6;
    case 'n':
      return 1e-9;
    case 'p':
      return 1e-12;
    case 'f':
      return 1e-15;
    case 'a':
      return 1e-18;
    case 'z':
      return 1e-21;
    case 'y':
      return 1e-24;
    case 'k':
      return 1e3;
    case 'M':
      return 1e6;
    case 'G':
      return 1e9;
    case 'T':
      return 1e12;
    default:
      return 1;
  }
}

// The torque units, tried in this order, each list by the beginning of the text.
struct UnitList {
  const char* spellings;
  double per_lbfin;
};
const UnitList kTorqueUnits[] = {
    {"Nm,N-m", 0.11298482902761668},
    {"ozfin,ozf-in,ozin,oz-in,oi", 15.999999999999998},
    {"lbfft,lbf-ft,lbft,lb-ft,lf,pf", 0.08333333333333334},
    {"lbfin,lbf-in,lbin,lb-in,li,pi", 1},
};
constexpr double kNewtonsPerLbf = 4.4482216152605;

constexpr int kMaxExponent = 7;

void skip_blanks(const std::string& s, size_t& i) {
  while (i < s.size() && s[i] == ' ') ++i;
}

// The speed table of the KST stems, by the four stem digits behind the series digit (two of
// frame size, two of range): the larger the frame, the slower the shaft may turn.
struct SpeedGroup {
  const char* keys;  // "|"-separated
  double rpm;
};
const SpeedGroup kSpeedGroups[] = {
    {"0001|0002|0003|0004", 30000}, {"0101|0102|0103|0104", 25000}, {"0201|0202|0203|0204", 15000},
    {"0301|0302|0303|0304", 10000}, {"0401|0402|0403|0404", 8500},  {"0501|0502|0503|0504", 8000},
    {"0601|0602|0603|0604", 6000},  {"0701|0702|0703|0704", 5500},  {"0801|0802|0803|0804", 3600},
};
// The frame with a high-speed bearing option: "H" in the model makes it 25000 RPM.
const char kHighSpeedKeys[] = "2001|2002|2003|2004";
constexpr double kHighSpeedRpm = 25000;
constexpr double kStandardSpeedRpm = 15000;

bool stems_of_family(int32_t family, StemSet& set) {
  switch (family) {
    case kTmRdx:
      set = StemSet::Rdx;
      return true;
    case kTmKst:
      set = StemSet::Kst;
      return true;
    case kTmKsvm:
      set = StemSet::Ksv;
      return true;
    case kTmWqpm:
      set = StemSet::Wqpm;
      return true;
    case kTmHzym:
      set = StemSet::Hzym;
      return true;
    case kTmKslw:
      set = StemSet::Kslw;
      return true;
    default:
      return false;  // S350, S350+ and FGA name no stems
  }
}

}  // namespace

std::string tm_info_model_unit(const std::string& model) {
  return tm_model_in_stems(StemSet::Force, model) ? "lbf" : "lbf-in";
}

int tm_info_model_parse(const std::string& model, double& full_scale, double& units_per_lbfin,
                        std::string& unit_name) {
  const bool force = tm_model_in_stems(StemSet::Force, model);
  units_per_lbfin = 1;
  unit_name = force ? "lbf" : "lbf-in";
  size_t open = model.find('(');
  if (open == std::string::npos) return static_cast<int>(model.size()) + 1;
  size_t i = open + 1;

  double value = 0;
  bool any_digit = false;
  for (; i < model.size() && is_digit(model[i]); ++i, any_digit = true)
    value = value * 10 + (model[i] - '0');
  if (i < model.size() && model[i] == '.') {
    double place = 0.1;
    for (++i; i < model.size() && is_digit(model[i]); ++i, any_digit = true, place /= 10)
      value += (model[i] - '0') * place;
  }
  if (!any_digit) return static_cast<int>(i) + 1;
  int exponent = 0;
  if (i < model.size() && model[i] == '-') {
    ++i;
    if (i >= model.size() || !is_digit(model[i])) return static_cast<int>(i) + 1;
    // Clamped so that a long run of digits cannot overflow; anything above 7 fails anyway.
    for (; i < model.size() && is_digit(model[i]); ++i)
      exponent = std::min(exponent * 10 + (model[i] - '0'), 1000);
  }

  skip_blanks(model, i);
  double scale = 1;
  std::string scale_letter;
  if (i < model.size() && scale_of_letter(model[i]) != 1) {
    scale = scale_of_letter(model[i]);
    scale_letter = model.substr(i, 1);
    ++i;
    skip_blanks(model, i);
  }

  const std::string rest = model.substr(i);
  int length = -1;
  std::string unit;
  for (const UnitList& list : kTorqueUnits) {
    unit = kw_list_prefix(rest, ",", list.spellings, length);
    if (length > 0) {
      units_per_lbfin = list.per_lbfin;
      break;
    }
  }
  if (length <= 0 && force) {
    if (rest.rfind("N)", 0) == 0) {
      unit = "N", length = 1, units_per_lbfin = kNewtonsPerLbf;
    } else if (rest.rfind("lbf)", 0) == 0) {
      unit = "lbf", length = 3;
    } else if (rest.rfind(')', 0) == 0) {
      unit = "lbf", length = 0;  // a bare ")" is read as "lbf)"
    }
  }
  if (length > 0) {
    i += static_cast<size_t>(length);
    unit_name = scale_letter + unit;
  } else if (!scale_letter.empty()) {
    unit_name = scale_letter + unit_name;
  }
  units_per_lbfin /= scale;

  if (i >= model.size() || model[i] != ')' || exponent > kMaxExponent)
    return static_cast<int>(i) + 1;
  full_scale = value * std::pow(10.0, exponent) / units_per_lbfin;
  return 0;
}

int tm_info_model_check_family(int32_t family, const std::string& model, double& full_scale,
                               double& units_per_lbfin, std::string& unit_name) {
  StemSet set;
  if (!stems_of_family(family, set)) return 2;
  if (!tm_model_in_stems(set, model)) return 1;
  if (model.find('(') == std::string::npos) return 2;
  return tm_info_model_parse(model, full_scale, units_per_lbfin, unit_name);
}

int tm_info_model_check(const std::string& model, double& full_scale, double& units_per_lbfin,
                        std::string& unit_name) {
  return tm_info_model_check_family(tm_type(kTmInfoCurrent), model, full_scale, units_per_lbfin,
                                    unit_name);
}

double tm_info_model_fs_limit(const std::string& model) {
  const std::string m = tm_info_strip_model(model, 0);
  if (m.size() < 5 || (m[0] != '4' && m[0] != '5' && m[0] != '7')) return 0;
  const std::string key = m.substr(1, 4);
  for (const SpeedGroup& group : kSpeedGroups)
    if (kw_list_has(key, group.keys, "|")) return group.rpm;
  if (kw_list_has(key, kHighSpeedKeys, "|"))
    return m.substr(0, m.find('(')).find('H') != std::string::npos ? kHighSpeedRpm
                                                                   : kStandardSpeedRpm;
  return 0;
}

double tm_info_model_over_range(const std::string& model) {
  double full_scale = 0, units = 1;
  std::string unit;
  if (tm_info_model_parse(model, full_scale, units, unit) != 0 || full_scale == 0) return 0;
  return tm_info_strip_model(model, 0).rfind('4', 0) == 0 ? 300 : 150;
}

std::string tm_info_format_fs(double value) {
  std::string digits = kw_format(value, "");
  int count = 0;
  while (digits.size() > 1 && digits.back() == '0') {
    digits.pop_back();
    ++count;
  }
  return digits + "(-" + std::to_string(count) + ")";
}

}  // namespace ovn
