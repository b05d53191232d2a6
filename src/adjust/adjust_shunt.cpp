#include "adjust/adjust_shunt.h"

#include <cmath>
#include <vector>

#include "adjust/adjust_calc.h"
#include "adjust/adjust_step.h"
#include "adjust/noise_test.h"
#include "config/config_commands.h"
#include "config/config_load.h"
#include "config/flash.h"
#include "config/history.h"
#include "config/tm_file.h"
#include "foundation/debug_log.h"
#include "foundation/hexstr.h"
#include "foundation/kw.h"
#include "foundation/operator.h"
#include "foundation/platform.h"
#include "instrument/family.h"
#include "instrument/measure.h"
#include "instrument/tm_info.h"
#include "link/rs232.h"

namespace ovn {
namespace {

const char* const kCrLf = "\r\n";
constexpr int kVerdictOk = 3;
constexpr int kVerdictRejected = 4;
constexpr double kReadingSeconds = 3.0;
// The KSVM's integer factors are this over counts per full scale.
constexpr double kKsvmScale = 10737418240000.0;

const TmInfoRecord& session() {
  return tm_info_record(kTmInfoCurrent);
}

std::string prompt_of(int32_t code) {
  switch (code) {
    case kShuntRunBoth:
      return "UnLoad transducer to get Shunt Values";
    case kShuntRunNegative:
      return "UnLoad transducer to get - Shunt Value";
    case kShuntRunPositive:
      return "UnLoad transducer to get + Shunt Value";
    default:
      fatal_error("Unknown CAL:" + std::to_string(code));
  }
}

}  // namespace

bool tm_set_shunt(int32_t state) {
  // The measurement access switches and reads back by family, 30 tries, as asked here.
  return tm_info_shunt_set_and_check(state);
}

bool adj_shunt_constants(int32_t code, const ShuntReadings& r) {
  const bool positive = code != kShuntRunNegative;
  const bool negative = code != kShuntRunPositive;
  const double plus = r.positive.mean - r.zero.mean;
  const double minus = r.negative.mean - r.zero.mean;
  switch (tm_type(kTmInfoCurrent)) {
    case kTmKst:
    case kTmKslw: {
      adj_write("CF1A", double_text(r.zero.mean));
      adj_write("TCA", double_text(r.zero_temperature_f));
      if (positive) adj_write("SVA", double_text(plus));
      if (negative) {
        // The negative span is kept only when it differs from the positive one, and always
        // with the sign opposite to it.
        double value = minus;
        if (positive && value * plus > 0) value = -value;
        if (!positive || value != plus) adj_write("SVB", double_text(value));
      }
      adj_write("TCE", double_text(r.shunt_temperature_f));
      return true;
    }
    case kTmRdx: {
      const double per_count = session().plbfin_per_px;  // lbf-in a count
      const double fs = session().fs_lbfin;
      adj_write("CFA", double_text(std::round(r.zero.mean * 1000)));
      if (positive) {
        adj_write("CFD", double_text(std::round(plus * 1000)));
        adj_write("CED", double_text(kw_safe_div(plus * per_count, fs, 0)));
      }
      if (negative) {
        adj_write("CFE", double_text(std::round(minus * 1000)));
        adj_write("CEE", double_text(kw_safe_div(minus * per_count, fs, 0)));
      }
      adj_write("CFG", double_text(std::round(r.zero_temperature_f / 0.1)));
      return true;
    }
    case kTmKsvm: {
      // A shift in the instrument's own counts: the load point's factor with the shunt's
      // span for the load's reading, signed by the step.
      const double k = get_si32("CK");
      auto shift = [k](double span, double sign) {
        return kw_format(sign * std::fabs(std::round(kw_safe_div(kKsvmScale, k * span, 0))), "0");
      };
      if (positive) adj_write("CL", shift(plus, 1));
      if (negative) adj_write("CM", shift(minus, -1));
      return true;
    }
    case kTmHzym: {
      // The HZYM keeps its shunt values in its calibration history: the spans in lbf-in by
      // its two gains, confirmed by the operator, then a record of their own.
      const std::string sc = get_hexstr("SC");
      if (sc.size() < 16) return false;
      double shunt_plus = 0, shunt_minus = 0;
      tm_info_history_newest_shunts(shunt_plus, shunt_minus);
      if (positive) shunt_plus = plus * hex_to_single(sc.substr(0, 8));
      if (negative) shunt_minus = minus * hex_to_single(sc.substr(8, 8));
      if (!tm_info_history_ask_shunts(shunt_plus, shunt_minus)) return false;
      return tm_info_history_write(kHistoryOperator, shunt_plus, shunt_minus, false);
    }
    default:
      return false;
  }
}

int adj_shunt_run(int32_t code, double /*load*/, double /*tolerance*/, int32_t mask,
                  bool skip_dialog) {
  const std::string prompt = prompt_of(code);
  const ConfigInstrument instrument = config_instrument_of(kTmInfoCurrent);
  const std::string before = tm_info_config_read(instrument);
  const double fs = session().fs_lbfin;
  const std::string fs_picture = kw_sig_picture(fs, 7, false);

  if (!skip_dialog) {
    const int pressed = display_data(
        prompt + kCrLf + "          Full Scale=" + kw_format(fs, fs_picture) + " lbf-in", "lbf-in",
        mask, "Shunt Adjustment", "", "", fs_picture);
    if (pressed != kVerdictOk) return pressed;
  }
  adj_sent_clear();

  std::string text;
  if (fs * 0.01 < std::fabs(get_data_lbfin(kTmInfoCurrent)))
    text += std::string(kCrLf) + kCrLf + "WARNING: 1% OF FULL SCALE < CURRENT DATA" + kCrLf;

  // The readings are of the raw rotor: a filter would only slow them down.
  const double filter = tm_info_filter_read(kTmInfoCurrent);
  const bool filter_aside = tm_info_filter_index(filter, kTmInfoCurrent) > 0 &&
                            tm_info_filter_set(0, kTmInfoCurrent) >= 0;

  struct Step {
    int32_t state;
    STTS* stats;
  };
  ShuntReadings r;
  std::vector<Step> steps = {{kShuntNone, &r.zero}};
  if (code != kShuntRunNegative) steps.push_back({kShuntPositive, &r.positive});
  if (code != kShuntRunPositive) steps.push_back({kShuntNegative, &r.negative});

  SttsUnits units;
  units.raw_unit = session().raw_name;
  units.uvpv_per_raw = session().uvpv_per_raw;
  const double gain = tm_counts_per_lbfin(kPointPositive);
  units.percent = {"%FS", 0.0, gain != 0 ? 1.0 / (gain * 0.01) : 1.0 / 0.000001};

  bool failed = false;
  double shunt_temperature_sum = 0;
  int shunt_readings = 0;
  const double start = now_ms();
  for (const Step& step : steps) {
    const std::string name = tm_info_shunt_name(step.state);
    gib(name + "...", "", kGibNonModal, "");
    const bool set = tm_set_shunt(step.state);
    gib_close();
    if (!set) {
      text += "ERROR:Unable to set desired shunt state:" + name + kCrLf + kCrLf;
      failed = true;
      break;
    }
    gib(name + " Reading", "", kGibNonModal, "", "Courier New", kReadingSeconds * 1.1 + 0.5);
    const double t1 = read_temperature_f();
    *step.stats = adj_take_reading(kReadingSeconds, "");
    const double t = (t1 + read_temperature_f()) / 2;
    gib_close();
    if (step.state == kShuntNone) {
      r.zero_temperature_f = t;
    } else {
      shunt_temperature_sum += t;
      ++shunt_readings;
    }
    text += name + " Reading finished." + kCrLf + stts_block(*step.stats, units);
    text += adj_noise_warnings(*step.stats, units.uvpv_per_raw, true, t);
  }
  if (shunt_readings > 0) r.shunt_temperature_f = shunt_temperature_sum / shunt_readings;
  const double end = now_ms();

  if (!failed) {
    const std::string& unit = units.raw_unit;
    for (const Step& step : steps) {
      if (step.state == kShuntNone) continue;
      const double span = step.stats->mean - r.zero.mean;
      text += " Span=" + kw_format(span, "0.000") + " " + unit + " (" +
              kw_format(span * units.uvpv_per_raw, "0.0000") + ")" + kCrLf;
    }
    if (steps.size() == 3) {
      const double plus = r.positive.mean - r.zero.mean;
      const double minus = r.negative.mean - r.zero.mean;
      text += "   " + kw_format(kw_safe_div(plus + minus, plus, 0), "0.000%") +
              " +/- Shunt Asymmetry" + kCrLf;
    }
  }
  tm_set_shunt(kShuntNone);

  std::string buttons = "OK|Cancel";
  int cancel = 1;
  const bool warning =
      text.find("ERROR") != std::string::npos || text.find("WARNING") != std::string::npos;
  if (warning) buttons = "Continue Anyway|?!Cancel";
  if (failed) {
    buttons = "Cancel";
    cancel = 0;
  }
  const double elapsed = (end - start) * 0.001;
  const double count =
      std::fabs(r.zero.num) + std::fabs(r.positive.num) + std::fabs(r.negative.num);
  text += kCrLf + adj_headline() + kCrLf + kw_format_time(kw_now(), "T") +
          " Elapsed time:" + kw_format(elapsed, "0.000") + " seconds   (" +
          kw_format(kw_safe_div(count, elapsed, 0), "0.0") + " Samples/second)";

  const bool rejected = adj_verdict(text, buttons, warning, "", "", false) == cancel;
  if (filter_aside) tm_info_filter_set(filter, kTmInfoCurrent);
  if (rejected)
    tm_info_config_upload_text(before);
  else
    adj_shunt_constants(code, r);
  tm_reload_config(1110);
  tm_info_flash_write(kTmInfoCurrent);
  return rejected ? kVerdictRejected : kVerdictOk;
}

}  // namespace ovn
