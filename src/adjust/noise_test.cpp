#include "adjust/noise_test.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "adjust/acquire.h"
#include "foundation/files.h"
#include "foundation/hexstr.h"
#include "foundation/kw.h"
#include "foundation/operator.h"
#include "foundation/settings.h"
#include "instrument/measure.h"
#include "instrument/tm_info.h"

namespace ovn {
namespace {

const char* const kCrLf = "\r\n";
const char* const kDegree = "\xB0";
// The band of the Gaussian ratio: 2/3 to 3/2 of the spread expected of Gaussian noise.
constexpr double kRatioBand = 1.5;
constexpr double kTempNone = -499.0;
constexpr double kTempLow = 40.0;
constexpr double kTempHigh = 130.0;
const char* const kSettingsApp = "ovn-tm-info";
const char* const kSettingsSection = "Settings";

// The session's sample count of a noise test repetition (0: the test runs by time).
int32_t& session_samples() {
  static int32_t samples = 0;
  return samples;
}

// A setting of the noise tests held within 1 to 101; a text that is no number gives the
// default.
double noise_setting(const std::string& key, double fallback) {
  const std::string text =
      kw_setting_seed(kSettingsApp, kSettingsSection, key, kw_format(fallback, ""));
  if (!kw_is_numeric(text)) return fallback;
  int stop = 0;
  return kw_clamp(kw_parse_double(text, stop), 1.0, 101.0);
}

// Cells joined by a blank: a positive width right-justifies, a negative one left-justifies,
// and a longer text keeps all its characters (a summary file never loses a digit).
std::string cells(const std::vector<std::pair<std::string, int>>& list) {
  std::string out;
  for (const auto& [text, width] : list) {
    const size_t w = static_cast<size_t>(std::abs(width));
    const std::string pad(text.size() < w ? w - text.size() : 0, ' ');
    if (!out.empty()) out += " ";
    out += width > 0 ? pad + text : text + pad;
  }
  return out;
}

const TmInfoRecord& session() {
  return tm_info_record(kTmInfoCurrent);
}

std::string headline() {
  const double fs = session().fs_lbfin;
  return "Torquemeter:" + session().tm_name +
         "   Full Scale=" + kw_format(fs, kw_sig_picture(fs, 7, false)) + " lbf-in";
}

// Whether the instrument's tare or filter would change what the live display shows.
bool tare_or_filter_set() {
  const bool tare = tm_info_tare_read(kTmInfoCurrent) != 0;
  return tm_info_filter_index(tm_info_filter_read(kTmInfoCurrent), kTmInfoCurrent) > 0 || tare;
}

// How a test's records are read: their unit, the step of one count in it, and the factors
// to uV/V and to percent of full scale.
struct TestUnits {
  std::string unit;
  double step;
  double uvpv_factor;
  double percent_factor;
};

TestUnits test_units(bool raw) {
  const TmInfoRecord& s = session();
  if (raw)
    return {s.raw_name, 1.0, s.uvpv_per_raw, kw_safe_div(100.0 * s.plbfin_per_px, s.fs_lbfin, 0.0)};
  const double per_lbfin = std::fabs(s.puvpv_per_lbfin) != 0
                               ? std::fabs(s.puvpv_per_lbfin)
                               : kw_safe_div(s.uvpv_per_raw, s.plbfin_per_px, 0.0);
  return {"lbf-in", s.plbfin_per_px, per_lbfin, kw_safe_div(100.0, s.fs_lbfin, 0.0)};
}

std::string limits_line(const TestUnits& u) {
  const double low = session().min_uvpv_noise;
  const double high = session().max_uvpv_noise;
  auto range = [](double a, double b, const std::string& picture) {
    return "[" + kw_format(a, picture) + "," + kw_format(b, picture) + "] ";
  };
  return "Limits: " +
         range(kw_safe_div(low, u.uvpv_factor, 0), kw_safe_div(high, u.uvpv_factor, 0), "0.000") +
         u.unit + "  " + range(low, high, "") + "uV/V  " +
         range(kw_safe_div(low, u.uvpv_factor, 0) * u.percent_factor,
               kw_safe_div(high, u.uvpv_factor, 0) * u.percent_factor, "0.000000") +
         "%FS";
}

SttsUnits block_units(bool raw, const TestUnits& u) {
  SttsUnits b;
  b.raw_unit = u.unit;
  if (raw) b.engineering = {"lbf-in", 0.0, session().plbfin_per_px};
  b.uvpv_per_raw = u.uvpv_factor;
  b.percent = {"%FS", 0.0, u.percent_factor};
  return b;
}

// One repetition under its wait box: the temperature before and after, the mean of both.
// With a sample count the repetition takes that many samples, however long they take.
STTS timed_acquisition(bool raw, double seconds, int32_t left, double& temperature_f) {
  double count = session_samples();
  const double expected_s =
      count > 0 ? kw_safe_div(count, session().samples_per_second, seconds) : seconds;
  gib(adj_wait_text(left), "", kGibNonModal, "", "Courier New", expected_s * 1.1 + 0.5);
  const double t1 = read_temperature_f();
  double scale = 0;
  if (count > 0) seconds = 0;
  const STTS record = tm_acquire(raw, seconds, count, scale, "");
  const double t2 = read_temperature_f();
  gib_close();
  temperature_f = (t1 + t2) / 2;
  return record;
}

bool has_warning(const std::string& text) {
  return text.find("ERROR") != std::string::npos || text.find("WARNING") != std::string::npos;
}

int noise_test_run(bool raw, int32_t reps) {
  reps = std::max(reps, 1);
  const double seconds = noise_test_seconds();
  const TestUnits u = test_units(raw);
  const bool ignored = raw && tare_or_filter_set();
  const double filter_hz = raw ? 0.0 : tm_info_filter_read(kTmInfoCurrent);
  const int decimals = raw ? 3 : -1;

  std::string text = headline() + kCrLf;
  const std::string length = session_samples() > 0 ? std::to_string(session_samples()) + " samples"
                                                   : kw_format(seconds, "") + " second";
  text += std::string(raw ? "Noise Test:A/D " : "Noise Test:Filtered lbf-in ") + length +
          (reps > 1 ? " x " + std::to_string(reps) : "");
  if (!raw) text += "   Filter=" + kw_format(filter_hz, "0.0") + " Hz";
  text += kCrLf + limits_line(u) + kCrLf + kCrLf + " " + stts_row_heading() + kCrLf;

  STTS total = stts_empty();
  std::vector<std::string> csv_rows;
  double temperature_sum = 0;
  for (int32_t i = 0; i < reps; ++i) {
    double t = 0;
    const STTS record = timed_acquisition(raw, seconds, reps - 1 - i, t);
    temperature_sum += t;
    text += " " + stts_row(record, kw_timestamp(kw_now(), " "), decimals) + kCrLf;
    csv_rows.push_back(noise_csv_row(record, t, raw ? "Noise Test:A/D" : "Noise:Filtered lbf-in"));
    stts_update2(total, record);
  }
  const double temperature = temperature_sum / reps;
  const bool resolved = stts_mean_unc(total) < u.step;
  text += (resolved ? "*" : " ") + stts_row(total, "Total", decimals) + kCrLf + kCrLf;
  text += stts_block(total, block_units(raw, u));
  text += adj_noise_warnings(total, u.uvpv_factor, !raw, temperature);
  if (ignored) text += std::string("***** Adjustment / Tare / Filter Ignored *****") + kCrLf;

  noise_csv_append(
      noise_folder() + (raw ? "/ovn-noise-summary.txt" : "/ovn-noise-summary-lbfin.txt"),
      noise_summary_heading(raw), noise_summary_row(total, raw, u.uvpv_factor, filter_hz));
  const std::string file = noise_uvpv_file();
  const int pressed =
      adj_verdict(text, "OK|?.Save data to " + file, has_warning(text), "", "", false);
  if (pressed == 1)
    for (const auto& row : csv_rows) noise_csv_append(file, noise_csv_heading(), row);
  return pressed;
}

}  // namespace

std::string adj_noise_warnings(const STTS& stats, double scale, bool quiet, double temperature_f) {
  STTS s = stats;
  stts_scale(s, scale);
  const double d = stts_stdev(s);
  const double low = tm_info_number(kSelMinUvpvNoise, kTmInfoCurrent);
  const double high = tm_info_number(kSelMaxUvpvNoise, kTmInfoCurrent);
  const std::string unit = "uV/V";
  std::string out;
  if (low < high) {
    if ((!quiet && d < low) || d > high)
      out += "WARNING: Stdev noise(" + kw_format(d, "0.000") + unit +
             ")is outside the limits of [" + kw_format(low, "") + "," + kw_format(high, "") + "]" +
             unit + kCrLf;
    if (d > 0 && std::fabs(s.num) > 0 && !quiet) {
      const double r = stts_ratio(s);
      const char* why = nullptr;
      if (std::fabs(r) < 1.0 / kRatioBand) why = "   (Data lacks extreme readings)";
      if (std::fabs(r) > kRatioBand) why = "   (Too many large spikes in the data)";
      if (why)
        out += "WARNING: Non-Gaussian noise (ratio=" + kw_format(r, "0.0000") + ")" + kCrLf + why +
               kCrLf;
    }
  }
  if (temperature_f > kTempNone && (temperature_f < kTempLow || temperature_f > kTempHigh))
    out += "WARNING: Temperature (" + kw_format(temperature_f, "0.00") + kDegree +
           ") outside the range of 40" + kDegree + " to 130" + kDegree + kCrLf;
  return out;
}

std::string adj_results_file(const std::string& file_suffix, const std::string& file_prefix) {
  std::string name = tm_info_text(kSelTmName, kTmInfoCurrent);
  for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return noise_folder() + "/" +
         tm_info_clean_file_name((file_prefix.empty() ? "ovn-noise-" : file_prefix) + name +
                                 (file_suffix.empty() ? ".txt" : file_suffix));
}

int adj_verdict(const std::string& text, const std::string& buttons, bool warning,
                const std::string& file_suffix, const std::string& file_prefix, bool ask_file) {
  const std::string file = adj_results_file(file_suffix, file_prefix);
  const int n = kw_free_file();
  kw_file_open(n, file, FileMode::Append);
  kw_file_print(n, text);
  kw_file_close(n);

  std::string shown = buttons;
  const size_t bar = buttons.find('|');
  if (ask_file) {
    const std::string caption = "?.(data recorded in " + file + ")";
    shown = bar == std::string::npos
                ? buttons + "|" + caption
                : buttons.substr(0, bar) + "|" + caption + "|?." + buttons.substr(bar + 1);
  }
  const int pressed = gib(text, shown, warning ? kGibWarning : 0, "", "Courier New");
  if (ask_file && pressed >= 1) return pressed - 1;  // the caption row stands for button 0
  return pressed;
}

double read_temperature_f() {
  return session().temp_msg.empty() ? -500.0 : tm_info_read_temp_degf(kTmInfoCurrent);
}

std::string adj_wait_text(int32_t left_after_this) {
  return "Please wait for noise test completion..." +
         (left_after_this > 0 ? " (" + std::to_string(left_after_this) + " left after this one)"
                              : std::string(" (last one)"));
}

void noise_settings(const std::string& text) {
  const std::vector<std::string> fields = kw_split(text, ",");
  int32_t samples = 0;
  if (!fields.empty() && kw_is_numeric(fields[0])) {
    int stop = 0;
    const double v = kw_parse_double(fields[0], stop);
    if (v >= 1 && v <= 1e7) samples = static_cast<int32_t>(kw_round(v));
  }
  session_samples() = samples;
  if (fields.size() > 1 && kw_is_numeric(fields[1]))
    kw_setting_seed(kSettingsApp, kSettingsSection, "Noise-Test-Reps",
                    kw_justify(fields[1], 0, " "));
}

int32_t noise_samples() {
  return session_samples();
}

double noise_test_seconds() {
  return noise_setting("Noise-Test-Time", 3.0);
}

int32_t noise_test_reps() {
  return static_cast<int32_t>(kw_round(noise_setting("Noise-Test-Reps", 10.0)));
}

std::string noise_menu_caption(int32_t index) {
  const std::string time = kw_format(noise_test_seconds(), "") + " second";
  const std::string times = " x " + std::to_string(noise_test_reps());
  switch (index) {
    case 1:
      return "Noise Test: A/D " + time;
    case 2:
      return "Noise Test: A/D " + time + times;
    case 4:
      return "Noise Filtered lbf-in  " + time;
    case 5:
      return "Noise Filtered lbf-in  " + time + times;
    default:
      return "";
  }
}

std::string noise_summary_heading(bool raw) {
  std::vector<std::pair<std::string, int>> c = {
      {"#Time", -8}, {"Date", -10}, {"MD", -12}, {"Shaft", -10}};
  c.push_back({raw ? "RawStd" : "LbfInStd", 10});
  c.push_back({raw ? "RawSpr" : "LbfInSpr", 10});
  c.insert(c.end(), {{"uV/VStd", 10}, {"uV/VSpr", 10}, {"SprRatio", 9}});
  if (!raw) c.push_back({"Filter", 9});
  c.push_back({"Number", 8});
  return cells(c) + " Model";
}

std::string noise_summary_row(const STTS& total, bool raw, double uvpv_factor, double filter_hz) {
  const TmInfoRecord& s = session();
  const DateTime now = kw_now();
  const std::string picture = raw ? "0.000" : "0.000000";
  std::vector<std::pair<std::string, int>> c = {
      {kw_format_time(now, "T"), -8},
      {kw_format_time(now, "yyyy-MM-dd"), -10},
      {tm_info_strip_model(s.model, 10), -12},
      {s.shaft, -10},
      {kw_format(stts_stdev(total), picture), 10},
      {kw_format(stts_spread(total), picture), 10},
      {kw_format(stts_stdev(total) * uvpv_factor, "0.0000"), 10},
      {kw_format(stts_spread(total) * uvpv_factor, "0.0000"), 10},
      {kw_format(stts_ratio(total), "0.0000"), 9}};
  if (!raw) c.push_back({kw_format(filter_hz, "0.0"), 9});
  c.push_back({kw_format(std::fabs(total.num), "0"), 8});
  return cells(c) + " " + s.model;
}

int noise_test_raw(int32_t reps) {
  return noise_test_run(true, reps);
}

int noise_test_filtered(int32_t reps) {
  return noise_test_run(false, reps);
}

int noise_test_lbfin() {
  const double seconds = noise_test_seconds();
  const bool ignored = tare_or_filter_set();
  gib(adj_wait_text(0), "", kGibNonModal, "", "Courier New", 2 * seconds * 1.1 + 0.5);
  const double t1 = read_temperature_f();
  double s1 = seconds, s2 = seconds, count = 0, scale = 0;
  const STTS raw = tm_acquire_raw(s1, count, scale, "");
  count = 0;
  const STTS filtered = tm_acquire_engineering(s2, count, scale, "");
  const double temperature = (t1 + read_temperature_f()) / 2;
  gib_close();

  const TestUnits ru = test_units(true);
  const TestUnits fu = test_units(false);
  const std::string row =
      kw_timestamp(kw_now(), " ") + "," + double_text(stts_stdev(raw) * session().plbfin_per_px) +
      "," + kw_format(std::fabs(filtered.num), "0") + "," + double_text(filtered.mean) + "," +
      double_text(stts_stdev(filtered)) + "," + double_text(filtered.min) + "," +
      double_text(filtered.max) + "," + double_text(stts_spread(filtered)) + "," +
      kw_format(stts_ratio(filtered), "0.0000") + "," + session().uid;
  noise_csv_append(noise_folder() + "/ovn-noise-lbfin.csv",
                   "DateTime,lbfin,Number,Mean,StdDev,Min,Max,Spread,Ratio,UID", row);

  std::string text = headline() + kCrLf + "RESULT:" + kCrLf;
  text += stts_block(raw, block_units(true, ru), {"Raw:"});
  text += stts_block(filtered, block_units(false, fu), {"Filtered:"});
  text += adj_noise_warnings(raw, ru.uvpv_factor, false, temperature);
  if (ignored) text += std::string("***** Tare / Filter Ignored *****") + kCrLf;
  return adj_verdict(text, "OK", has_warning(text), "", "", false);
}

bool noise_command(int32_t command) {
  if (command < 501 || command > 505) return false;
  if (command == 503)
    noise_test_lbfin();
  else
    noise_test_run(command <= 502, command == 501 || command == 504 ? 1 : noise_test_reps());
  return true;
}

}  // namespace ovn
