#include "adjust/acquire.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "foundation/debug_log.h"
#include "foundation/files.h"
#include "foundation/hexstr.h"
#include "foundation/kw.h"
#include "foundation/platform.h"
#include "instrument/family.h"
#include "instrument/measure.h"
#include "instrument/tm_info.h"
#include "link/rs232.h"

// Not built: the WQPM's per-sample form while its rotor link is up ("XC"/"DC" polled with
// the filter pushed, then scaled by the shunt readings). How the program tells that the
// link is up is not settled, so the WQPM always takes the instrument-run test.

namespace ovn {
namespace {

// Between two polls of a running instrument test the event loop runs this long.
constexpr double kNoiseTestPollMs = 100.0;
// The smallest batch when the time decides the size.
constexpr double kMinBatch = 10.0;

const TmInfoRecord& session() {
  return tm_info_record(kTmInfoCurrent);
}
std::string ch_text() {
  return std::to_string(tm_info_channel());
}

double number_of(const std::string& text) {
  int stop = 0;
  return kw_parse_double(text, stop);
}

// The instrument runs the test itself: `count` samples (negative: its engineering form),
// expected to take about `seconds`.
STTS instrument_run_test(double count, double seconds) {
  const std::string vr = get_reply("VR");
  const std::string data_msg = !vr.empty() && vr[0] == 'i' ? "ND" : "NTD";
  STTS total = stts_empty();
  const double wanted = std::fabs(count);
  std::string state;
  do {
    const double remaining = std::copysign(wanted - std::fabs(total.num), count);
    get_reply("NT");  // a finished test reports itself once: clear it
    get_reply("NT" + kw_format(remaining, "0"));
    const double deadline = now_ms() + (seconds + 0.5) / 0.001;
    do {
      yield_ms(kNoiseTestPollMs);
      state = get_reply("NT");
    } while (state != "2" && now_ms() < deadline);
    debug_log("Noise-Test(" + kw_format(remaining, "0") + " Samples, " + double_text(seconds) +
              " Second) Returned " + state);
    const std::vector<std::string> f = kw_split(get_reply(data_msg), ",");
    STTS batch = stts_empty();
    if (f.size() >= 5) {
      const double n = number_of(f[0]);
      batch = stts_new(n, kw_safe_div(number_of(f[1]), n, 0.0), number_of(f[2]), number_of(f[3]),
                       number_of(f[4]));
    }
    if (batch.num == 0) break;  // nothing came: asking again would not change that
    stts_update2(total, batch);
    seconds = (wanted - std::fabs(total.num)) / std::max(session().samples_per_second, 1.0);
  } while (std::fabs(total.num) < wanted && state == "2");
  return total;
}

// One sample of a family that is polled sample by sample.
double poll_sample(bool raw) {
  const TmInfoRecord& s = session();
  switch (s.tm_type) {
    case kTmHzym:
      // The count in the instrument's own data format, as the live value reads it.
      return raw ? tmi_read_data_lbfin(kTmInfoCurrent) : get_f32("DC" + ch_text());
    case kTmKsvm:
      return get_si32(raw ? "aa" : "c");
    default:  // the S350 families
      return raw ? tmi_read_data_lbfin(kTmInfoCurrent) : get_data_lbfin(kTmInfoCurrent);
  }
}

// One batch of `n` samples taken by the family's own way. `factor` is set when the family
// tells the factor of its record.
STTS take_batch(bool raw, double n, double seconds, double& factor) {
  switch (session().tm_type) {
    case kTmWqpm:
    case kTmRdx:
    case kTmKslw:
    case kTmKst:
      return instrument_run_test(raw ? n : -n, seconds);
    case kTmHzym:
    case kTmKsvm:
    case kTmS350:
    case kTmS350Plus: {
      STTS batch = stts_empty();
      for (double i = 0; i < n; ++i) stts_update(batch, poll_sample(raw));
      if (session().tm_type == kTmHzym)
        factor = number_of(get_numeric("DS" + ch_text(), kRs232DefaultTimeout, "number"));
      return batch;
    }
    default:
      fatal_error("Unknown TM type:" + std::to_string(session().tm_type));
  }
}

std::string csv_field(const std::string& text) {
  if (text.find_first_of(",\"") == std::string::npos) return text;
  return "\"" + kw_replace(text, "\"", "\"\"") + "\"";
}

}  // namespace

STTS tm_acquire(bool raw, double& seconds, double& count, double& scale,
                const std::string& report_name) {
  const TmInfoRecord& s = session();
  if (seconds == 0 && count == 0) seconds = s.testtime_s;
  const double rate = s.samples_per_second;
  if (seconds == 0) {
    if (count == 0) count = s.number_to_average;
    seconds = kw_safe_div(count, rate, 0.0);
  }
  const bool by_count = count != 0;
  const double wanted = std::fabs(kw_round(rate * seconds));
  STTS total = stts_empty();
  const double start = now_ms();
  const double deadline = start + seconds / 0.001;
  double batch = by_count ? std::fabs(count) : std::max(wanted, 1.0);
  double factor = 0;
  for (;;) {
    const STTS got = take_batch(raw, batch, kw_safe_div(batch, rate, seconds), factor);
    stts_update2(total, got);
    if (got.num == 0) break;  // the instrument gave nothing: more asking gives no more
    if (by_count) {
      if (std::fabs(total.num) >= std::fabs(count)) break;
      batch = std::fabs(count) - std::fabs(total.num);
    } else {
      const double now = now_ms();
      if (now >= deadline) break;
      const double measured = kw_safe_div(std::fabs(total.num), (now - start) * 0.001, rate);
      batch = std::max(std::min(measured, rate) * (deadline - now) * 0.001 + 1.0, kMinBatch);
      batch = std::floor(batch);
    }
  }
  if (scale != 0) {
    scale = factor != 0 ? factor : 1.0;
    stts_scale(total, scale);
  }
  if (!report_name.empty())
    noise_csv_append(noise_uvpv_file(), noise_csv_heading(),
                     noise_csv_row(total, -1000.0, report_name));
  return total;
}

STTS tm_acquire_raw(double& seconds, double& count, double& scale, const std::string& report_name) {
  return tm_acquire(true, seconds, count, scale, report_name);
}

STTS tm_acquire_engineering(double& seconds, double& count, double& scale,
                            const std::string& report_name) {
  return tm_acquire(false, seconds, count, scale, report_name);
}

std::string noise_folder() {
  std::string folder = kw_documents_dir() + "/ovn-noise";
  std::error_code ec;
  std::filesystem::create_directories(folder, ec);
  return folder;
}

std::string noise_uvpv_file() {
  const TmInfoRecord& s = session();
  return noise_folder() + "/" +
         tm_info_clean_file_name("ovn-noise-uvpv-" + s.tm_name + "-" + s.serial + ".csv");
}

std::string noise_csv_heading() {
  return "DateTime,TempF,Name,Unit,Serial,Model,Number,Mean,StdDev,Min,Max,Spread,Ratio";
}

std::string noise_csv_row(const STTS& record, double temperature_f, const std::string& name) {
  const TmInfoRecord& s = session();
  const std::vector<std::string> fields = {
      kw_timestamp(kw_now(), " "),
      temperature_f > -499 ? kw_format(temperature_f, "0.00") : "",
      name,
      s.tm_name,
      s.serial,
      s.model,
      kw_format(std::fabs(record.num), "0"),
      double_text(record.mean),
      double_text(stts_stdev(record)),
      double_text(record.min),
      double_text(record.max),
      double_text(stts_spread(record)),
      kw_format(stts_ratio(record), "0.0000")};
  std::string row = csv_field(fields[0]);
  for (size_t i = 1; i < fields.size(); ++i) row += "," + csv_field(fields[i]);
  return row;
}

bool noise_csv_append(const std::string& file, const std::string& heading, const std::string& row) {
  std::error_code ec;
  const bool fresh =
      !std::filesystem::exists(file, ec) || std::filesystem::file_size(file, ec) == 0;
  const int n = kw_free_file();
  kw_file_open(n, file, FileMode::Append);
  bool ok = !fresh || heading.empty() || kw_file_print(n, heading);
  ok = ok && kw_file_print(n, row);
  kw_file_close(n);
  return ok;
}

}  // namespace ovn
