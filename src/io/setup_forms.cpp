#include "io/setup_forms.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>
#include <utility>

#include "adjust/noise_test.h"
#include "config/flash.h"
#include "foundation/hexstr.h"
#include "foundation/kw.h"
#include "foundation/operator.h"
#include "foundation/settings.h"
#include "instrument/measure.h"
#include "instrument/model_number.h"
#include "link/rs232.h"

namespace ovn {

namespace {

const char kCrLf[] = "\r\n";
// "UCA", the full scale counts, is this over the over range as a fraction of full scale.
constexpr double kCountsTimesPercent = 98304000000.0;
constexpr double kLbfinRpmPerHp = 63025.35746439056;
// A KST model that names no top speed: the fastest frame.
constexpr double kTopSpeedRpm = 30000;

std::string trimmed(const std::string& text) {
  return kw_justify(text, 0, " ");
}

double number(const std::string& text) {
  int stop = 0;
  return kw_parse_double(trimmed(text), stop);
}

bool is_integer(const std::string& text) {
  const std::string t = trimmed(text);
  size_t i = !t.empty() && (t[0] == '-' || t[0] == '+') ? 1 : 0;
  if (i == t.size()) return false;
  for (; i < t.size(); ++i)
    if (t[i] < '0' || t[i] > '9') return false;
  return true;
}

std::string lower(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return text;
}

// Equal as numbers when both are numbers, else as texts.
bool same(const std::string& a, const std::string& b) {
  if (kw_is_numeric(a) && kw_is_numeric(b)) return number(a) == number(b);
  return trimmed(a) == trimmed(b);
}

// A number for the operator: at most `picture`'s places, no trailing point.
std::string shown_number(double value, const char* picture = "0.#####") {
  std::string text = kw_format(value, picture);
  if (!text.empty() && text.back() == '.') text.pop_back();
  return text;
}

// The shortest text that reads back as the same double.
std::string text_of(double value) {
  return double_text(value);
}

// ---- One form ------------------------------------------------------------------------

struct Field {
  std::string label;
  std::string comment;
  std::string shown;  // as the form opens
  bool enabled = true;
};

using Check = std::function<std::vector<SetupProblem>(const std::vector<std::string>&)>;

// How a form's messages ask their way back: "KST Setup" and the data forms say "OK" to a
// refusal and "Back|Continue anyway" to a doubt; the speed and power form asks "Continue
// Anyway?" of a doubt and offers "Cancel|Reenter Data" on the way back.
enum class Style { Plain, Reenter };

enum class Verdict { Back, Keep, Quit };

Verdict judge(const SetupProblem& p, const std::string& title, Style style) {
  if (style == Style::Plain) {
    if (!p.overridable) {
      gib(p.text, "OK", 0, title);
      return Verdict::Back;
    }
    return gib(p.text, "Back|Continue anyway", 0, title) == 1 ? Verdict::Keep : Verdict::Back;
  }
  if (p.overridable && gib(p.text + kCrLf + "Continue Anyway?", "Continue|Cancel", 0, title) == 0)
    return Verdict::Keep;
  const std::string text = p.overridable ? "Go back and fix" : p.text + kCrLf + "Go back and fix";
  return gib(text, "Cancel|Reenter Data", 0, title) == 1 ? Verdict::Back : Verdict::Quit;
}

// Shows the fields until the operator's values pass `check` (or the doubts are kept) and
// `confirm` agrees, or the operator cancels (nullopt). The values come back trimmed.
std::optional<std::vector<std::string>> ask(const std::string& title,
                                            const std::vector<Field>& fields, const Check& check,
                                            Style style = Style::Plain,
                                            const Check& confirm = nullptr) {
  UserInputForm form;
  form.title = title;
  for (const Field& f : fields) form.fields.push_back({f.label, f.comment, f.shown, f.enabled});
  if (!user_input_form(form)) return std::nullopt;
  for (;;) {
    std::vector<std::string> typed;
    for (size_t i = 0; i < fields.size(); ++i)
      typed.push_back(trimmed(user_input_data(static_cast<int>(i))));
    Verdict verdict = Verdict::Keep;
    for (const SetupProblem& p : check(typed)) {
      verdict = judge(p, title, style);
      if (verdict != Verdict::Keep) break;
    }
    if (verdict == Verdict::Quit) return std::nullopt;
    if (verdict == Verdict::Keep && confirm)
      for (const SetupProblem& p : confirm(typed))
        if (gib(p.text, "Back to editing|Illegitimate Calibrations OK", kGibWarning, title) != 1)
          verdict = Verdict::Back;
    if (verdict == Verdict::Keep) return typed;
    if (!user_input_again()) return std::nullopt;
  }
}

// " must be numeric" for each enabled field whose value is no number.
std::vector<SetupProblem> numeric_check(const std::vector<Field>& fields,
                                        const std::vector<std::string>& typed,
                                        const std::string& tail = " must be numeric") {
  std::vector<SetupProblem> problems;
  for (size_t i = 0; i < fields.size() && i < typed.size(); ++i)
    if (fields[i].enabled && !kw_is_numeric(typed[i]))
      problems.push_back({fields[i].label + tail, false});
  return problems;
}

// A write of one message: name and the text that follows it.
using Write = std::pair<std::string, std::string>;

// Sends the writes in order; stops at the first one the instrument will not take.
bool send_all(const std::vector<Write>& writes) {
  for (const Write& w : writes)
    if (!rs232_send_ok(w.first + w.second)) return true;
  return !writes.empty();
}

// ---- KST Setup ------------------------------------------------------------------------

const char kKstTitle[] = "KST Setup";
const std::vector<std::pair<const char*, const char*>> kKstFields = {
    {"Model Name", "99902V(5-2) (UIA)"},
    {"Serial Number", "\"None\" or \"Stock\" or integer (UIB)"},
    {"Customer Name", "(UIC)"},
    {"Shaft Number", "12345 (UID)"},
    {"Adjustment points", "2, 3, 4, or 5 (TA)"},
    {"Over Range", "% FS"},
    {"NumChannels", "1 or 3 (SD)"},
    {"Speed Overload / FS", "RPM (OL2)"},
    {"Pulses / Revolution", "Teeth (~SCA)"},
};

std::vector<std::string> as_list(const KstSetupValues& v) {
  std::vector<std::string> list = {v.model,  v.serial,     v.customer, v.shaft,
                                   v.points, v.over_range, v.channels};
  if (v.speed_fields) {
    list.push_back(v.speed_overload);
    list.push_back(v.teeth);
  }
  return list;
}

KstSetupValues from_list(const std::vector<std::string>& list, bool speed_fields) {
  auto at = [&list](size_t i) { return i < list.size() ? list[i] : std::string(); };
  return {at(0), at(1), at(2), at(3), at(4), at(5), at(6), speed_fields, at(7), at(8)};
}

std::string label_of(size_t field) {
  return kKstFields[field].first;
}

double model_full_scale(const std::string& model) {
  double full_scale = 0, units = 1;
  std::string unit;
  return tm_info_model_parse(model, full_scale, units, unit) == 0 ? full_scale : 0;
}

}  // namespace

std::vector<SetupProblem> kst_setup_check(const KstSetupValues& v) {
  std::vector<SetupProblem> refused, doubtful;
  double full_scale = 0, units = 1;
  std::string unit;
  if (tm_info_model_check(v.model, full_scale, units, unit) != 0)
    doubtful.push_back({label_of(0) + " (currently=\"" + v.model + "\") is malformed", true});
  const std::string serial = lower(v.serial);
  if (serial != "none" && serial != "stock" && !is_integer(v.serial))
    doubtful.push_back(
        {label_of(1) + " should be either \"None\" or \"Stock\" or an integer", true});
  const std::string& p = v.points;
  if (!is_integer(p) || number(p) < 2 || number(p) > 5)
    refused.push_back({label_of(4) + " must be either 2, 3, 4, or 5", false});
  if (!kw_is_numeric(v.over_range)) {
    refused.push_back({label_of(5) + " must be numeric", false});
  } else if (number(v.over_range) <= 0) {
    refused.push_back({label_of(5) + " must be positive", false});
  } else if (const double fixed = tm_info_model_over_range(v.model);
             fixed != 0 && std::fabs(number(v.over_range) - fixed) > 0.005) {
    doubtful.push_back(
        {label_of(5) + " should be == " + kw_format(fixed, "0") + " (based on Model number)",
         true});
  }
  if (!is_integer(v.channels) || (number(v.channels) != 1 && number(v.channels) != 3))
    refused.push_back({label_of(6) + " must be either 1 or 3", false});
  if (v.speed_fields) {
    if (!kw_is_numeric(v.speed_overload)) {
      refused.push_back({label_of(7) + " must be numeric", false});
    } else if (const double limit = tm_info_model_fs_limit(v.model);
               limit != 0 && number(v.speed_overload) != limit) {
      doubtful.push_back({label_of(7) + " should be " + kw_format(limit, "0"), true});
    }
    if (!kw_is_numeric(v.teeth))
      refused.push_back({label_of(8) + " must be numeric", false});
    else if (number(v.teeth) <= 0)
      refused.push_back({label_of(8) + " must be positive", false});
  }
  refused.insert(refused.end(), doubtful.begin(), doubtful.end());
  return refused;
}

bool kst_setup_voids_calibration(const KstSetupValues& before, const KstSetupValues& after) {
  return model_full_scale(before.model) != model_full_scale(after.model) ||
         !same(before.over_range, after.over_range) || !same(before.points, after.points);
}

bool kst_setup_form() {
  KstSetupValues was;
  was.model = get_reply("UIA");
  was.serial = get_reply("UIB");
  was.customer = get_reply("UIC");
  was.shaft = get_reply("UID");
  was.points = get_reply("TA");
  const double uca = get_f64("UCA");
  was.over_range = uca == 0 ? "" : shown_number(kCountsTimesPercent / uca, "0.##");
  was.channels = get_reply("SD");
  was.speed_fields = number(was.channels) > 1 && get_si32("PS") != 0;
  if (was.speed_fields) {
    was.speed_overload = get_reply("OL2");
    was.teeth = shown_number(get_f64("SCA") * 60, "0.###");
  }

  std::vector<Field> fields;
  const std::vector<std::string> shown = as_list(was);
  for (size_t i = 0; i < shown.size(); ++i)
    fields.push_back({kKstFields[i].first, kKstFields[i].second, shown[i]});
  const bool speed = was.speed_fields;
  auto check = [speed](const std::vector<std::string>& typed) {
    return kst_setup_check(from_list(typed, speed));
  };
  auto confirm = [&was, speed](const std::vector<std::string>& typed) {
    std::vector<SetupProblem> asks;
    if (kst_setup_voids_calibration(was, from_list(typed, speed)))
      asks.push_back({"Continuing will make ANY calibration done illegitimate", true});
    return asks;
  };
  const auto typed = ask(kKstTitle, fields, check, Style::Plain, confirm);
  if (!typed) return false;
  const KstSetupValues now = from_list(*typed, speed);

  std::vector<Write> writes;
  auto changed = [&writes](const char* message, const std::string& before, const std::string& after,
                           const std::string& sent) {
    if (!same(before, after)) writes.emplace_back(message, sent);
  };
  changed("UIA", was.model, now.model, now.model);
  changed("UIB", was.serial, now.serial, now.serial);
  changed("UIC", was.customer, now.customer, now.customer);
  changed("UID", was.shaft, now.shaft, now.shaft);
  changed("TA", was.points, now.points, now.points);
  changed("UCA", was.over_range, now.over_range,
          kw_format(std::round(kCountsTimesPercent / number(now.over_range)), "0"));
  changed("SD", was.channels, now.channels, now.channels + kChannelCountCode);
  if (speed) {
    changed("OL2", was.speed_overload, now.speed_overload, now.speed_overload);
    changed("SCA", was.teeth, now.teeth, text_of(number(now.teeth) / 60));
  }
  return send_all(writes);
}

// ---- Speed / Power Setup ----------------------------------------------------------------

bool speed_power_setup_form() {
  const char* title = "Speed / Power Setup";
  const double ds2 = get_f64("DS2"), ds3 = get_f64("DS3");
  const double ce1a = get_f64("CE1A"), ce2a = get_f64("CE2A"), ce3a = get_f64("CE3A");
  const double scb = get_f64("SCB");
  const std::string un2 = get_reply("UN2"), un3 = get_reply("UN3");
  double top = tm_info_model_fs_limit(get_reply("UIA"));
  if (top == 0) top = kTopSpeedRpm;
  const double speed_scale = ds2 == 0 ? 1 : ds2, power_scale = ds3 == 0 ? 1 : ds3;

  // Defaults and limits in display units: the model's top speed, a zero return of 0.01 %,
  // and the power at full torque and full speed.
  struct Row {
    const char* label;
    std::string unit;
    double value, fallback, max;
  };
  const double power_max = ce1a * top / kLbfinRpmPerHp * power_scale;
  const std::vector<Row> rows = {
      {"Speed Full Scale", un2, ce2a * speed_scale, top * speed_scale, top * speed_scale},
      {"Zero Return", "% FS", scb * 100, 0.01, 100},
      {"Power Full Scale", un3, ce3a * power_scale, ce1a * ce2a / kLbfinRpmPerHp * power_scale,
       power_max},
  };
  std::vector<Field> fields;
  for (const Row& r : rows)
    fields.push_back({std::string(r.label) + " (default=" + shown_number(r.fallback) + ")",
                      r.unit + kCrLf + "Range:[0.001," + shown_number(r.max, "0.###") + "]",
                      shown_number(r.value)});
  auto check = [&rows](const std::vector<std::string>& typed) {
    std::vector<SetupProblem> refused, doubtful;
    for (size_t i = 0; i < rows.size(); ++i) {
      const std::string label = rows[i].label;
      if (!kw_is_numeric(typed[i]))
        refused.push_back({label + " must be numeric.", false});
      else if (number(typed[i]) <= 0)
        refused.push_back({label + " must be positive.", false});
      else if (number(typed[i]) < 0.001 || number(typed[i]) > rows[i].max)
        doubtful.push_back({label + " = " + typed[i] + kCrLf + "Range:[0.001," +
                                shown_number(rows[i].max, "0.###") + "]",
                            true});
    }
    refused.insert(refused.end(), doubtful.begin(), doubtful.end());
    return refused;
  };
  const auto typed = ask(title, fields, check, Style::Reenter);
  if (!typed) return false;

  std::vector<Write> writes;
  if (!same((*typed)[0], fields[0].shown)) {
    const std::string speed = text_of(number((*typed)[0]) / speed_scale);
    writes.emplace_back("CE2A", speed);
    writes.emplace_back("OL2", speed);
  }
  if (!same((*typed)[1], fields[1].shown))
    writes.emplace_back("SCB", text_of(number((*typed)[1]) / 100));
  if (!same((*typed)[2], fields[2].shown))
    writes.emplace_back("CE3A", text_of(number((*typed)[2]) / power_scale));
  const bool wrote = send_all(writes);
  if (wrote) tm_info_power_lbfin_per_hp(true);
  return wrote;
}

// ---- The technician's data forms --------------------------------------------------------

namespace {

// A field over one message of the instrument, read as it stands.
struct DataField {
  std::string label;
  std::string comment;
  std::string message;
};

// Shows the fields, refuses what is no number, writes what changed; `also` adds the writes
// that follow from a changed one (the overloads with the full scales).
bool data_form(const std::string& title, const std::vector<DataField>& data,
               const std::function<void(const DataField&, const std::string&, std::vector<Write>&)>&
                   also = nullptr) {
  std::vector<Field> fields;
  for (const DataField& d : data) fields.push_back({d.label, d.comment, get_reply(d.message)});
  auto check = [&fields](const std::vector<std::string>& typed) {
    return numeric_check(fields, typed);
  };
  const auto typed = ask(title, fields, check);
  if (!typed) return false;
  std::vector<Write> writes;
  for (size_t i = 0; i < data.size(); ++i) {
    if (same((*typed)[i], fields[i].shown)) continue;
    writes.emplace_back(data[i].message, (*typed)[i]);
    if (also) also(data[i], (*typed)[i], writes);
  }
  return send_all(writes);
}

}  // namespace

bool torque_data_form() {
  const int points = std::clamp(static_cast<int>(get_si16("TA")) - 1, 0, 4);
  const std::string unit = get_reply("UN1");
  std::vector<DataField> data = {{"Full Scale", unit, "CE1A"}};
  for (int n = 1; n <= points; ++n)
    data.push_back({"FS Ratio Adjustment Point " + std::to_string(n), "(Load Value/FS)",
                    "CE1" + kw_letter_of(n)});
  data.push_back({"Zero Reading", "(A/D)", "CF1A"});
  for (int n = 1; n <= points; ++n)
    data.push_back({"RRC Adjustment Point " + std::to_string(n), "(A/D)", "CF1" + kw_letter_of(n)});
  data.push_back({"Positive Shunt Reading", "(A/D)", "SVA"});
  data.push_back({"Negative Shunt Reading", "(A/D)", "SVB"});

  std::vector<Field> fields;
  fields.push_back({"Torque Adjusment points", "(TA)", std::to_string(points + 1), false});
  for (const DataField& d : data) fields.push_back({d.label, d.comment, get_reply(d.message)});
  // The operator's own settings of the tests, kept in this program's settings.
  const std::vector<const char*> settings = {"Noise Test Samples", "Samples per Adjustment"};
  for (const char* key : settings)
    fields.push_back({key, "(Settings)", kw_setting_get("KST", "Settings", key, "")});
  const double ce1b = get_f64("CE1B");
  const double readout = kw_safe_div(get_f64("CF1B"), ce1b * 100, 0);
  fields.push_back({"Adjustment Readout", "RRC* per %FS (FS=" + get_reply("CE1A") + ")",
                    kw_format(readout, "0.000"), false});

  const size_t first_setting = data.size() + 1;
  auto check = [&fields, first_setting](const std::vector<std::string>& typed) {
    std::vector<SetupProblem> problems;
    for (size_t i = 0; i < fields.size(); ++i) {
      // A setting left empty means "by time".
      const bool optional = i >= first_setting && typed[i].empty();
      if (fields[i].enabled && !optional && !kw_is_numeric(typed[i]))
        problems.push_back({fields[i].label + " must be numeric", false});
    }
    return problems;
  };
  const auto typed = ask("Calibration", fields, check);
  if (!typed) return false;

  std::vector<Write> writes;
  for (size_t i = 0; i < data.size(); ++i)
    if (!same((*typed)[i + 1], fields[i + 1].shown))
      writes.emplace_back(data[i].message, (*typed)[i + 1]);
  bool changed = false;
  for (size_t k = 0; k < settings.size(); ++k) {
    const std::string& value = (*typed)[first_setting + k];
    if (value == fields[first_setting + k].shown) continue;
    kw_setting_put("KST", "Settings", settings[k], value);
    changed = true;
  }
  if (changed) noise_settings(kw_setting_get("KST", "Settings", "Noise Test Samples", "") + ",10");
  return send_all(writes) || changed;
}

bool speed_power_data_form() {
  const int channels = get_si16("SD");
  if (channels < 2) {
    gib("This instrument measures torque only (NumChannels=1)", "OK", 0, "Calibration");
    return false;
  }
  bool wrote = data_form("Configuration", {{"Full Scale", "(Hz)", "SCA"},
                                           {"Zero Return", "(ratio)", "SCB"},
                                           {"Minimum Resolution", "", "SCC"},
                                           {"Interrupt Rate", "(clockticks)", "SCD"}});
  std::vector<DataField> data;
  for (int ch = 2; ch <= std::min(channels, 3); ++ch) {
    const std::string name = ch == 2 ? "Speed" : "Power";
    const std::string n = std::to_string(ch);
    data.push_back({name + " Full Scale", ch == 2 ? "RPM" : "Hp", "CE" + n + "A"});
    data.push_back({name + " Ratio", "(Load Value/FS)", "CE" + n + "B"});
    data.push_back({name + " Zero", "", "CF" + n + "A"});
    data.push_back({name + " Raw Units", "(counts)", "CF" + n + "B"});
  }
  // A new full scale moves its overload with it: the speed's overload is its full scale,
  // the power's keeps its ratio to the full scale (twice it, unless set otherwise).
  const double ol3_ratio = channels >= 3 ? kw_safe_div(get_f64("OL3"), get_f64("CE3A"), 2) : 2;
  wrote |= data_form(
      "Calibration", data,
      [ol3_ratio](const DataField& d, const std::string& value, std::vector<Write>& writes) {
        if (d.message == "CE2A") writes.emplace_back("OL2", value);
        if (d.message == "CE3A") writes.emplace_back("OL3", text_of(number(value) * ol3_ratio));
      });
  return wrote;
}

bool temp_comp_form(int index) {
  struct Coefficient {
    const char* name;
    const char* message;
    const char* unit;
  };
  static const Coefficient kCoefficients[] = {
      {"Zero", "TCB", " per degF"},
      {"Span", "TCD", "gain / degF"},
      {"Shunt Span", "TCF", "gain / degF"},
  };
  if (index < 0 || index > 2) return false;
  const Coefficient& c = kCoefficients[index];
  const std::string name = c.name;
  const std::string shown = kw_format(get_f64(c.message), "0.000000");
  const std::vector<Field> fields = {{name + " Temperature Compensation", c.unit, shown}};
  auto check = [&name](const std::vector<std::string>& typed) {
    std::vector<SetupProblem> problems;
    if (!kw_is_numeric(typed[0]))
      problems.push_back({name + " compensation must be numeric", false});
    return problems;
  };
  const auto typed = ask(name + " Temperature Compensation", fields, check);
  if (!typed || same((*typed)[0], shown)) return false;
  return send_all({{c.message, (*typed)[0]}});
}

bool creep_comp_form() {
  return data_form("Creep Compensation",
                   {{"Creep Amount (Fraction of Torque Full Scale)", "", "CCA"},
                    {"Skip amount -- LEAVE AT 256", "", "CCB"},
                    {"Filter shift -- LEAVE AT 14", "", "CCC"}});
}

}  // namespace ovn
