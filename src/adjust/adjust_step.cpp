#include "adjust/adjust_step.h"

#include <array>
#include <cmath>
#include <ctime>
#include <filesystem>

#include "adjust/acquire.h"
#include "adjust/adjust_calc.h"
#include "adjust/noise_test.h"
#include "adjust/stats.h"
#include "config/config_commands.h"
#include "config/config_load.h"
#include "config/flash.h"
#include "config/history.h"
#include "config/tm_file.h"
#include "foundation/debug_log.h"
#include "foundation/events.h"
#include "foundation/files.h"
#include "foundation/hexstr.h"
#include "foundation/kw.h"
#include "foundation/operator.h"
#include "foundation/platform.h"
#include "instrument/family.h"
#include "instrument/tm_info.h"

namespace ovn {
namespace {

const char* const kCrLf = "\r\n";
constexpr int kVerdictOk = 3;
constexpr int kVerdictRejected = 4;
// The as-found and as-left readings are short: they only show where the load reads.
constexpr double kCheckSeconds = 0.5;

std::string full_scale_picture() {
  const double fs = tm_info_number(kSelFsLbfin, kTmInfoCurrent);
  return kw_sig_picture(fs, 7, false);
}
std::string full_scale_text() {
  return kw_format(tm_info_number(kSelFsLbfin, kTmInfoCurrent), full_scale_picture());
}

// "As found" and "as left": the instrument's own reading of the applied load, a short
// acquisition in its engineering units, before the step measures and after it is done.
double reading_now() {
  double seconds = kCheckSeconds, count = 0, scale = 0;
  return tm_acquire_engineering(seconds, count, scale, "").mean;
}

void record_step(const std::string& title, double load, double found, double left,
                 const std::string& verdict) {
  std::string sent;
  for (const std::string& m : adj_sent()) sent += (sent.empty() ? "" : " ") + m;
  // No field holds a comma: times, titles, numbers and messages never do.
  const std::string row = kw_iso_time(kw_now(), false) + "," + title + "," + double_text(load) +
                          "," + kw_format(found, "0.0000") + "," + kw_format(left, "0.0000") + "," +
                          sent + "," + verdict;
  noise_csv_append(adj_record_file(), adj_record_heading(), row);
  ovn_event("adjustment", {{"step", json_string(title)},
                           {"load", json_number(load)},
                           {"as_found", json_number(found)},
                           {"as_left", json_number(left)},
                           {"verdict", json_string(verdict)}});
}

}  // namespace

AdjStepText adj_step_text(int32_t code) {
  // The KSVM names its directions the other way round, on purpose.
  const bool swapped = tm_is_type(kTmKsvm, kTmInfoCurrent);
  const std::string cw = swapped ? "CCW" : "CW";
  const std::string ccw = swapped ? "CW" : "CCW";
  switch (code) {
    case kPointZero:
      return {"Zero Adjustment", "Unload transducer to Zero", ""};
    case kPointPositive:
      return {"Positive Load Adjustment", "Load transducer in the " + cw + " direction",
              "Applied Positive Load"};
    case kPointNegative:
      return {"Negative Load Adjustment", "Load transducer in the " + ccw + " direction",
              "Applied Negative Load"};
    case kPointPositive2:
    case kPointNegative2:
      return {"Point " + std::to_string(tm_info_point_index(code) + 1) + " Load Adjustment",
              "Load transducer in the appropriate direction", "Applied Load"};
    default:
      fatal_error("Unknown CAL:" + std::to_string(code));
  }
}

std::string adj_headline() {
  return "Torquemeter:" + tm_info_text(kSelTmName, kTmInfoCurrent) +
         "   Full Scale=" + full_scale_text() + " lbf-in";
}

int adj_run_step(int32_t code, double load, double tolerance, int32_t mask, bool skip_dialog) {
  const AdjStepText step = adj_step_text(code);
  const ConfigInstrument instrument = config_instrument_of(kTmInfoCurrent);
  const std::string before = tm_info_config_read(instrument);

  if (!skip_dialog) {
    const int pressed = display_data(
        step.prompt + kCrLf + "         Full Scale=" + full_scale_text() + " lbf-in", "lbf-in",
        mask, step.title, kw_eng_format(load), step.input_label, full_scale_picture());
    if (pressed != kVerdictOk) return pressed;
    if (code != kPointZero) {
      int stop = 0;
      load = kw_parse_double(display_data_input(), stop);
    }
  }
  adj_sent_clear();
  const double found = reading_now();

  const double average = tm_info_number(kSelNumberToAverage, kTmInfoCurrent);
  const double per_second = tm_info_number(kSelSamplesPerSecond, kTmInfoCurrent);
  const double wait_s = safe_divide(average * 1.1, per_second, 0) + 0.5;
  const double start = now_ms();
  gib("Please wait for " + step.title, "", kGibNonModal, "", "Courier New", wait_s);
  STTS stats = stts_empty();
  const std::string report = adj_compute(code, load, stats);
  const double end = now_ms();
  gib_close();

  std::string buttons = "OK|Cancel";
  int cancel = 1;
  bool warning = false;

  // How a count shows in percent of full scale at this point.
  const double uvpv = tm_info_number(kSelUvpvPerRaw, kTmInfoCurrent);
  double gain = 0, reference = 0;
  std::string scale_text;
  if (code == kPointZero) {
    gain = tm_counts_per_lbfin(kPointPositive);
    reference = tm_info_number(kSelZeroRawNominal, kTmInfoCurrent);
  } else {
    reference = tm_is_type(kTmWqpm, kTmInfoCurrent) ? 8300.0 : 0.0;
    gain = tm_counts_per_lbfin(code);
    const double at_fs = uvpv * gain;
    scale_text = " (" + kw_format(at_fs, kw_sig_picture(at_fs, 8, false)) + "uV/V@FS)";
  }
  const double ratio = gain != 0 ? 1.0 / (gain * 0.01) : 1.0 / 0.000001;
  SttsUnits units;
  units.raw_unit = tm_info_text(kSelRawName, kTmInfoCurrent);
  units.uvpv_per_raw = uvpv;
  units.percent = {"%FS", reference, ratio};

  std::string message = scale_text + (report.empty() ? step.title + " finished." : report) + kCrLf +
                        stts_block(stats, units) + kCrLf;
  if (message.find("ERROR") != std::string::npos || message.find("WARNING") != std::string::npos) {
    buttons = "Continue Anyway|?!Cancel";
    warning = true;
    cancel = 1;
  }
  const bool changed = tm_info_config_read(instrument) != before;
  if (!changed) {
    buttons = "OK (no change)";
    cancel = 0;
  }
  const double elapsed = (end - start) * 0.001;
  const double count = std::fabs(stats.num);
  const double rate = safe_divide(count, elapsed, 0);
  message += kCrLf + adj_headline() + kCrLf + kw_format_time(kw_now(), "T") +
             " Elapsed time:" + kw_format(elapsed, "0.000") + " seconds   (" +
             kw_format(rate, "0.0") + " Samples/second)";
  if (average > count) {
    buttons = "Cancel";
    cancel = 0;
    message += kCrLf + std::string("Too few samples taken (") + kw_format(count, "0") + ")";
  }
  if (2 * per_second < rate) {
    buttons = "Cancel";
    cancel = 0;
    message += kCrLf + std::string("Too many samples / second (") + kw_format(rate, "0.0") + ")";
  }

  int result = kVerdictOk;
  if (adj_verdict(message, buttons, warning, "", "", false) == cancel) {
    tm_info_config_upload_text(before);
    result = kVerdictRejected;
  } else {
    if (code != kPointZero && tolerance > 0) adj_gain_compare(code, tolerance);
    adj_history_record(code);
  }
  // Both ways end here: the session read again and flash written, with the old values
  // after a rejection.
  tm_reload_config(1110);
  tm_info_flash_write(kTmInfoCurrent);

  const double left = reading_now();
  record_step(step.title, load, found, left,
              !changed               ? "no change"
              : result == kVerdictOk ? "kept"
                                     : "rejected");
  return result;
}

void adj_history_record(int32_t code) {
  if (!tm_is_type(kTmHzym, kTmInfoCurrent)) return;
  double positive = 0, negative = 0;
  tm_info_history_newest_shunts(positive, negative);
  tm_info_history_write(kHistoryOperator, positive, negative, code != kPointZero);
}

bool adj_gain_compare(int32_t code, double tolerance) {
  std::array<double, kAdjMaxGains> g{};
  const int n = adj_get_gains(g);
  for (int i = 0; i < n; ++i) debug_log(kw_format(g[i], "") + "GAIN" + std::to_string(i) + "=");
  const int s = tm_info_point_index(code);
  if (s < 0 || s >= n) return false;
  auto gain_text = [&](int i) {
    return tm_info_point_text(i) + " gain (" + kw_format(g[i], "") + ")";
  };
  std::string paragraphs, names;
  int disagree = 0;
  for (int i = 0; i < n; ++i) {
    if (i == s) continue;
    const double d = safe_divide(g[i], g[s], 0) - 1;
    if (std::fabs(d) <= std::fabs(tolerance)) continue;
    paragraphs += gain_text(i) + kCrLf + " and " + gain_text(s) + " disagree by more than " +
                  kw_format(tolerance / 0.01, "0.000") + "% (" + kw_format(d / 0.01, "0.000") +
                  "%)" + kCrLf;
    names += (names.empty() ? "" : ", ") + tm_info_point_text(i);
    ++disagree;
  }
  if (disagree == 0) return false;
  const std::string question =
      disagree == 1 ? "Change the " + names + " gain?" : "Change these (" + names + ") gains";
  if (gib(question + kCrLf + paragraphs, "Yes|No", 0, "") != 0) return false;
  adj_set_gains(code);
  return true;
}

std::string adj_record_file() {
  const std::string folder = kw_documents_dir() + "/OVN-Adjustments";
  std::error_code ec;
  std::filesystem::create_directories(folder, ec);
  return folder + "/" + tm_info_clean_file_name(tm_info_text(kSelSerial, kTmInfoCurrent) + ".csv");
}

std::string adj_record_heading() {
  return "Time,Step,Applied Load (lbf-in),As Found,As Left,Constants Sent,Verdict";
}

}  // namespace ovn
