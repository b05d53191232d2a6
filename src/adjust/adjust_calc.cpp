#include "adjust/adjust_calc.h"

#include <algorithm>
#include <cmath>

#include "adjust/acquire.h"
#include "adjust/noise_test.h"
#include "adjust/temp_comp.h"
#include "foundation/debug_log.h"
#include "foundation/hexstr.h"
#include "foundation/kw.h"
#include "foundation/platform.h"
#include "instrument/family.h"
#include "instrument/measure.h"
#include "instrument/tm_info.h"
#include "link/rs232.h"

namespace ovn {
namespace {

const char* const kCrLf = "\r\n";
// The reading of every family but the WQPM lasts this long, whatever the operator's
// "Samples per Adjustment": that setting only sizes the wait box and the least count.
constexpr double kReadingSeconds = 3.0;
// The WQPM counts its frequencies against a 60 MHz clock; its zero sits near 8300 Hz.
constexpr double kWqpmClock = 60000000.0;
constexpr double kWqpmZeroHz = 8300.0;
// The KSVM's integer factors are this over counts per full scale.
constexpr double kKsvmScale = 10737418240000.0;
constexpr double kTempNone = -1000.0;

std::vector<std::string>& sent_list() {
  static std::vector<std::string> list;
  return list;
}

int32_t family() {
  return tm_type(kTmInfoCurrent);
}
std::string ch() {
  return std::to_string(tm_info_channel());
}
double round_half_up(double x) {
  return std::floor(x + 0.5);
}
std::string int_text(double x) {
  return kw_format(x, "0");
}

bool write(const std::string& name, const std::string& value) {
  return adj_write(name, value);
}
bool write_f32(const std::string& name, double value) {
  return write(name, single_to_hex(value));
}

// A constant read as a decimal number, 0 when the read failed (the operator skipped).
double read_number(const std::string& name) {
  return get_f64(name);
}

// ---- KST and KSLW ---------------------------------------------------------------------

// How many load points a KST or KSLW keeps: "TA" less the zero on a KST, two on a KSLW.
int kst_points() {
  if (family() == kTmKslw) return 2;
  return std::clamp(static_cast<int>(get_si16("TA")) - 1, 0, 4);
}

bool kst_accepts(int32_t code) {
  const int32_t last = family() == kTmKst ? kPointNegative2 : kPointNegative;
  return code >= kPointPositive && code <= last;
}

std::string compute_kst(int32_t code, double load, STTS& stats, double& temperature) {
  yield_ms(100);
  const double t1 = tm_info_read_temp_degf(kTmInfoCurrent);
  stats = adj_take_reading(kReadingSeconds, "");
  const double t2 = tm_info_read_temp_degf(kTmInfoCurrent);
  temperature = (t1 + t2) / 2;
  const std::string n = ch();
  if (code == kPointZero) {
    if (tm_info_channel() == 1) write("TCA", double_text(temperature));
    write("CF" + n + "A", double_text(stats.mean));
  } else if (kst_accepts(code)) {
    // The full scale is read as the number the instrument holds ("2001.0002"), as the
    // session reads it: an integer read would refuse it, or cut it, and skew every point.
    const double e = read_number("CE" + n + "A");
    const double r = safe_divide(load, e, 1.0);
    stts_shift(stats, -read_number("CF" + n + "A"));
    const std::string letter = tm_info_point_letter(code);
    write("CF" + n + letter, double_text(stats.mean));
    write("CE" + n + letter, double_text(r));
    if (code == kPointPositive && tm_info_channel() == 1) write("TCC", double_text(temperature));
  }
  return "";
}

// ---- WQPM -------------------------------------------------------------------------------

// The pair letter and the load message of a WQPM load point.
struct WqpmPoint {
  std::string pair;  // "C": CIC/CID
  std::string load;  // "CCC"
};
WqpmPoint wqpm_point(int32_t code) {
  return code == kPointNegative ? WqpmPoint{"E", "CCD"} : WqpmPoint{"C", "CCC"};
}

// The quotient of a stored ratio pair ("C": CIC / CID), `fallback` when j is 0.
double wqpm_pair(const std::string& letter, double fallback) {
  const std::string second(1, static_cast<char>(letter[0] + 1));
  return safe_divide(get_si32("CI" + letter), get_si32("CI" + second), fallback);
}

// True for the firmware that counts over the whole test time (compared as text, as the
// firmware's own version strings sort).
bool wqpm_counts_over_test() {
  const std::string v = tm_info_text(kSelFirmware, kTmInfoCurrent);
  return v >= "2.050" && (v < "3.000" || v >= "3.050");
}

std::string compute_wqpm(int32_t code, double load, STTS& stats) {
  if (code == kPointZero) return tc_zero_adjust(stats);
  if (code != kPointPositive && code != kPointNegative)
    return "WARN:Unknown adjustment:" + std::to_string(code) + kCrLf;
  stats = adj_take_reading(tm_info_number(kSelTesttimeS, kTmInfoCurrent), "");
  const WqpmPoint p = wqpm_point(code);
  adj_fit_ratio(stats.mean, p.pair);
  write_f32(p.load, load);
  return "";
}

// ---- RDX --------------------------------------------------------------------------------

std::string compute_rdx(int32_t code, double load, STTS& stats) {
  const double t = get_si32("TP");
  stats = adj_take_reading(kReadingSeconds, "");
  // The RDX keeps its points in thousandths of a count.
  stts_scale(stats, 1000.0);
  if (code == kPointZero) {
    write("CFA", int_text(round_half_up(stats.mean)));
    write("CFG", int_text(round_half_up(t * 20)));
  } else if (code == kPointPositive || code == kPointNegative) {
    stts_shift(stats, -static_cast<double>(get_si32("CFA")));
    const std::string v = int_text(round_half_up(stats.mean));
    const bool positive = code == kPointPositive;
    write(positive ? "CFB" : "CFC", v);
    write(positive ? "CEB" : "CEC", double_text(load));
    int stop = 0;
    const double firmware = kw_parse_double(tm_info_version(kSelVersion1, kTmInfoCurrent), stop);
    if (firmware >= 142.0) write(positive ? "CFH" : "CFI", int_text(round_half_up(t * 20)));
  }
  stts_scale(stats, 0.001);
  return "";
}

// ---- HZYM -------------------------------------------------------------------------------

// "SC": the positive and the negative gain as two float32 hex, zeros where the reply is short.
std::string hzym_sc() {
  return get_hexstr("SC") + std::string(16, '0');
}

std::string compute_hzym(int32_t code, double load, STTS& stats) {
  if (code == kPointZero) {
    write("OF", "0000");
    write("TR", "0000");
    stats = adj_take_reading(kReadingSeconds, "");
    const double v = round_half_up(stats.mean);
    write("OF", hex_of(static_cast<int32_t>(v), 4));
    if (std::fabs(v) > 1000) return "WARNING: excessively large offset:" + int_text(v) + kCrLf;
    return "";
  }
  if (code != kPointPositive && code != kPointNegative)
    return "ERROR:Unknown adjustment:" + std::to_string(code) + kCrLf;
  stats = adj_take_reading(kReadingSeconds, "");
  const double v = round_half_up(stats.mean);
  std::string report;
  if (std::fabs(v) < 2000) report += std::string("WARNING: Calibrating at < 20% FS") + kCrLf;
  if (v == 0) return report;
  const std::string sc = hzym_sc();
  const std::string g = single_to_hex(safe_divide(load, v, 1.0));
  if (code == kPointPositive) {
    write("CC1A", g);
    write("SC", g + sc.substr(8, 8));
  } else {
    write("CC1B", g);
    write("SC", sc.substr(0, 8) + g);
  }
  return report;
}

// The two gains of the HZYM's "SC".
std::array<double, 2> hzym_gains() {
  const std::string sc = hzym_sc();
  return {hex_to_single(sc.substr(0, 8)), hex_to_single(sc.substr(8, 8))};
}

// ---- KSVM -------------------------------------------------------------------------------

std::string compute_ksvm(int32_t code, double load, STTS& stats) {
  stats = adj_take_reading(kReadingSeconds, "");
  if (code == kPointZero) {
    write("CA", int_text(round_half_up(stats.mean)));
    write("CH", std::to_string(get_si32("TP")));
    return "";
  }
  stts_shift(stats, -static_cast<double>(get_si32("CA")));
  const double m = stats.mean;
  const double k = get_si32("CK");
  const double c = round_half_up(safe_divide(kKsvmScale, k * m, 0) * load);
  const bool positive = m >= 0;
  write(positive ? "CB" : "CC", int_text(c));
  const std::string other_name = positive ? "CC" : "CB";
  const double other = get_si32(other_name);
  // Both factors keep one sign.
  if ((other < 0) != (c < 0)) write(other_name, int_text(-other));
  return "";
}

}  // namespace

// ---- The operations -----------------------------------------------------------------------

STTS adj_take_reading(double seconds, const std::string& report_name) {
  double count = 0, scale = 0;
  return tm_acquire_raw(seconds, count, scale, report_name);
}

std::string adj_compute(int32_t code, double& load, STTS& stats) {
  if (!tm_info_shunt_set(kShuntNone)) return std::string("ERROR:Unable to turn off CAL") + kCrLf;
  double temperature = kTempNone;
  std::string report;
  switch (family()) {
    case kTmWqpm:
      report = compute_wqpm(code, load, stats);
      break;
    case kTmRdx:
      report = compute_rdx(code, load, stats);
      break;
    case kTmKst:
    case kTmKslw:
      report = compute_kst(code, load, stats, temperature);
      break;
    case kTmHzym:
      report = compute_hzym(code, load, stats);
      break;
    case kTmKsvm:
      report = compute_ksvm(code, load, stats);
      break;
    case kTmS350:
    case kTmS350Plus:
      // The 350 series adjusts itself and takes its time about it.
      sent_list().push_back("CL1A");
      rs232_send_ok("CL1A", 30000, 3);
      break;
    default:
      debug_log("Unknown TM type:" + std::to_string(family()));
      break;
  }
  tm_reload_config(1110);
  const double uvpv = tm_info_number(kSelUvpvPerRaw, kTmInfoCurrent);
  return report + adj_noise_warnings(stats, uvpv, false, temperature);
}

std::array<int64_t, 2> adj_fit_ratio(double m, const std::string& letter) {
  const double t = wqpm_counts_over_test() ? tm_info_number(kSelTesttimeS, kTmInfoCurrent) : 1.0;
  const double target = t * m;
  const double c = round_half_up(target);
  double best_i = 1, best_j = 1, best_q = 0;
  for (double i = c - 10; i <= c + 10; ++i) {
    const double j = round_half_up(safe_divide(i * t * kWqpmClock, target, 0));
    if (j == 0 || !std::isfinite(j)) continue;
    const double q = i * t * kWqpmClock / j;
    // The last of equally near candidates wins.
    if (std::fabs(q - target) <= std::fabs(best_q - target)) {
      best_i = i;
      best_j = j;
      best_q = q;
    }
  }
  const std::array<int64_t, 2> pair = {static_cast<int64_t>(best_i), static_cast<int64_t>(best_j)};
  if (pair[0] != 1 && pair[1] != 1) {
    const std::string second(1, static_cast<char>(letter[0] + 1));
    write("CI" + letter, std::to_string(pair[0]));
    write("CI" + second, std::to_string(pair[1]));
  }
  return pair;
}

double tm_counts_per_lbfin(int32_t code) {
  const std::string letter = tm_info_point_letter(code);
  switch (family()) {
    case kTmWqpm: {
      double i, j, c, a, b;
      if (code == kPointZero) {
        i = get_si32("CIA");
        j = get_si32("CIB");
        c = get_hex_f32("CCA");
        a = kWqpmZeroHz;
        b = kWqpmClock;
      } else {
        const WqpmPoint p = wqpm_point(code);
        const std::string second(1, static_cast<char>(p.pair[0] + 1));
        i = get_si32("CI" + p.pair);
        j = get_si32("CI" + second);
        c = std::fabs(get_hex_f32(p.load));
        a = get_si32("CIA");
        b = get_si32("CIB");
      }
      if (c == 0 || j == 0 || b == 0) return 0;
      return (i / j - a / b) * kWqpmClock / c * get_hex_f32("CCA");
    }
    case kTmRdx: {
      const double divisor =
          safe_divide(read_number("CEA"), std::fabs(read_number("CE" + letter)), 0);
      return safe_divide(1.0, divisor, 0) * read_number("CF" + letter) * 0.001;
    }
    case kTmKst:
    case kTmKslw:
      return safe_divide(1.0, read_number("CE" + ch() + letter), 0) *
             read_number("CF" + ch() + letter);
    case kTmHzym: {
      const double fs = get_hex_f32("FS1");
      const std::array<double, 2> g = hzym_gains();
      return code == kPointNegative ? safe_divide(fs, -g[1], 0) : safe_divide(fs, g[0], 0);
    }
    case kTmKsvm: {
      const double c = get_si32("C" + letter);
      const double v = safe_divide(kKsvmScale, c, 0);
      return c < 0 ? -v : v;
    }
    case kTmS350:
    case kTmS350Plus:
      // The point's stored value is full scale over its scale field already.
      return tm_info_point_raw(code);
    default:
      return 0;
  }
}

int adj_get_gains(std::array<double, kAdjMaxGains>& gains) {
  gains.fill(0);
  switch (family()) {
    case kTmWqpm: {
      const double zero = wqpm_pair("A", 0);
      for (int k = 0; k < 2; ++k) {
        const WqpmPoint p = wqpm_point(k == 0 ? kPointPositive : kPointNegative);
        gains[k] = safe_divide(get_hex_f32(p.load), wqpm_pair(p.pair, 100) - zero, 1.0);
      }
      return 2;
    }
    case kTmRdx:
      for (int k = 0; k < 2; ++k) {
        const std::string letter = k == 0 ? "B" : "C";
        gains[k] = safe_divide(read_number("CEA") * read_number("CE" + letter),
                               read_number("CF" + letter), 1.0);
      }
      return 2;
    case kTmKst: {
      const int n = kst_points();
      const double fs = read_number("CE1A");
      for (int k = 0; k < n; ++k) {
        const std::string letter = kw_letter_of(k + 1);
        gains[k] = safe_divide(fs * read_number("CE" + ch() + letter),
                               read_number("CF" + ch() + letter), 1.0);
      }
      return n;
    }
    case kTmHzym: {
      const std::array<double, 2> g = hzym_gains();
      gains[0] = g[0];
      gains[1] = g[1];
      return 2;
    }
    case kTmKsvm:
      gains[0] = get_si32("CB");
      gains[1] = get_si32("CC");
      return 2;
    default:
      return 2;
  }
}

void adj_set_gains(int32_t code) {
  const bool load_point = code == kPointPositive || code == kPointNegative;
  const bool kst_point = family() == kTmKst && (code == kPointPositive2 || code == kPointNegative2);
  if (!load_point && !kst_point) return;
  const int s = tm_info_point_index(code);
  switch (family()) {
    case kTmHzym: {
      const std::string g = single_to_hex(hzym_gains()[s]);
      write("SC", g + g);
      break;
    }
    case kTmKsvm: {
      const std::string mine = code == kPointPositive ? "CB" : "CC";
      const std::string other = code == kPointPositive ? "CC" : "CB";
      const int32_t value = get_si32(mine);
      if (get_si32(other) != value) write(other, std::to_string(value));
      tm_reload_config(1110);
      break;
    }
    case kTmKst:
    case kTmKslw: {
      const std::string n = ch();
      const std::string mine = tm_info_point_letter(code);
      const double cf = read_number("CF" + n + mine);
      const double ce = read_number("CE" + n + mine);
      for (int i = 0; i < kst_points(); ++i) {
        if (i == s) continue;
        const std::string letter = kw_letter_of(i + 1);
        const double ce_i = read_number("CE" + n + letter);
        write("CF" + n + letter, double_text(safe_divide(cf * ce_i, ce, 10.0)));
      }
      break;
    }
    case kTmWqpm: {
      const double base = wqpm_pair("A", 0) * kWqpmClock;
      const WqpmPoint mine = wqpm_point(code);
      const double x = wqpm_pair(mine.pair, 0) * kWqpmClock - base;
      const WqpmPoint other = wqpm_point(code == kPointPositive ? kPointNegative : kPointPositive);
      const double y = safe_divide(x * get_hex_f32(other.load), get_hex_f32(mine.load), 10.0);
      adj_fit_ratio(y + base, other.pair);
      break;
    }
    default:
      break;
  }
}

void tm_reload_config(int32_t code) {
  tmi_get_data_ini(code, kTmInfoCurrent, false, "", 0, false);
}

bool adj_write(const std::string& name, const std::string& value) {
  const bool set_form = family() == kTmKslw;
  sent_list().push_back(name + (set_form ? "=" : "") + value);
  if (set_form) return rs232_send_ok_eq(name, value);
  return rs232_send_ok(name + value);
}

const std::vector<std::string>& adj_sent() {
  return sent_list();
}

void adj_sent_clear() {
  sent_list().clear();
}

}  // namespace ovn
