#include "instrument/measure.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "foundation/debug_log.h"
#include "foundation/hexstr.h"
#include "foundation/kw.h"
#include "foundation/platform.h"
#include "instrument/family.h"
#include "instrument/tm_info.h"
#include "link/rs232.h"

namespace ovn {
namespace {

constexpr int kFilterStackSize = 21;

struct MeasureState {
  std::array<double, kFilterStackSize> filter_stack{};
  int32_t filter_depth = 0;
};

MeasureState& state() {
  static MeasureState s;
  return s;
}

const TmInfoRecord& current() {
  return tm_info_record(kTmInfoCurrent);
}
int32_t family() {
  return current().tm_type;
}
std::string ch_text() {
  return std::to_string(tm_info_channel());
}

// Programmer's errors: a family asked for what it does not have.
[[noreturn]] void not_for_family(const std::string& what) {
  fatal_error(what + std::to_string(family()));
}

double number_of(const std::string& text) {
  int stop = 0;
  return kw_parse_double(text, stop);
}

// "<a>,<b>" as two numbers; false unless both pieces are numeric.
bool two_numbers(const std::string& text, double& a, double& b) {
  std::vector<std::string> p = kw_split(text, ",");
  if (p.size() != 2 || !kw_is_numeric(p[0]) || !kw_is_numeric(p[1])) return false;
  a = number_of(p[0]);
  b = number_of(p[1]);
  return true;
}

// The WQPM keeps each point as a pulse count over clock ticks (a frequency, by the clock
// of 60 MHz) taken at a stored load; the point value is the frequency at full scale.
double wqpm_point_raw(int32_t point) {
  constexpr double kClockHz = 60000000.0;
  if (point != kPointZero && point != kPointPositive && point != kPointNegative) return 0;
  double fs = get_hex_f32("CCA");
  // Reads in a fixed order, one per statement (operands of one expression are unordered).
  int32_t cia = get_si32("CIA");
  double zero = safe_divide(cia, get_si32("CIB"), 0) * kClockHz;
  if (point == kPointZero) return zero;
  bool positive = point == kPointPositive;
  int32_t ticks = get_si32(positive ? "CIC" : "CIE");
  double at_load = safe_divide(ticks, get_si32(positive ? "CID" : "CIF"), 0) * kClockHz;
  double stored_load = std::fabs(get_hex_f32(positive ? "CCC" : "CCD"));
  if (zero == 0 || at_load == 0 || stored_load == 0) return 0;
  return zero + (at_load - zero) * fs / stored_load;
}

double hzym_point_raw(int32_t point) {
  if (point == kPointZero) return get_hex_si16("OF", kRs232DefaultTimeout, false);
  double f = get_hex_f32("FS1");
  std::string sc = get_hexstr("SC");
  if (sc.size() < 16) return 0;
  std::vector<std::string> v(2);
  hexstr_decode("ff", sc, v);
  return point == kPointPositive ? safe_divide(f, number_of(v[0]), 0)
                                 : safe_divide(f, -number_of(v[1]), 0);
}

double s350_point_raw(int32_t point) {
  if (point == kPointZero) {
    // The zero is the 16-bit word at character 16 of the configuration dump.
    std::string dump = get_hexstr("@A");
    return dump.size() >= 19 ? hex_to_s16(dump.substr(15, 4)) : 0;
  }
  double f = get_f32("FS" + ch_text());
  double p = 0, n = 0;
  if (!two_numbers(get_reply("SC" + ch_text()), p, n)) return 0;
  return point == kPointPositive ? safe_divide(f, p, 0) : safe_divide(f, -n, 0);
}

double s350_plus_point_raw(int32_t point) {
  std::string cc = "CC" + ch_text();
  if (point == kPointZero) return get_f32(cc + "B");
  int x = 2 * (point - kPointZero);
  float counts = get_f32(cc + kw_letter_of(x));
  return safe_divide(counts, get_f32(cc + kw_letter_of(x + 1)), 0);
}

double ksvm_point_raw(int32_t point) {
  constexpr double kScale = 10737418240000.0;
  double c = get_si32("C" + tm_info_point_letter(point));
  if (c == 0) return 0;
  if (point == kPointZero) return c;
  if (point == kPointPositive) return kScale / c;
  if (point == kPointNegative) return -kScale / c;
  return 0;
}

// The shunt state as the RDX's rotor record tells it ("RCR", word 4, low two bits).
int32_t rdx_rotor_shunt() {
  std::string rcr = get_reply("RCR");
  if (rcr.size() < 24 || !is_hex(rcr)) return kShuntUnknown;
  std::vector<std::string> v(7);
  hexstr_decode("s7", hex_swap16(rcr), v);
  switch (static_cast<int>(number_of(v[4])) & 3) {
    case 3:
      return kShuntPositive;
    case 1:
      return kShuntNegative;
    default:
      return kShuntNone;
  }
}

// The family's filter value d counts down from 10 as the index rises.
int32_t index_of_down_count(int32_t d, int32_t top) {
  return d >= top ? 10 : 10 - d;
}

}  // namespace

// ---- Values ------------------------------------------------------------------------------

double tmi_read_data_lbfin(int32_t session) {
  const TmInfoRecord& r = tm_info_record(session);
  switch (r.dtp) {
    case kDtpHex32:
      return get_hex_si32(r.data_msg, kRs232DefaultTimeout, true);
    case kDtpHex16:
      return get_hex_si16(r.data_msg, kRs232DefaultTimeout, false);
    case kDtpHex16Long:
      return get_hex_si16(r.data_msg, kRs232DefaultTimeout, true);
    case kDtpDecimal32:
      return get_si32(r.data_msg);
    case kDtpFloat64:
      return get_f64(r.data_msg);
    default:
      fatal_error("called tmi_read_data_lbfin before tmi_get_data_ini!");
  }
}

double get_data_lbfin(int32_t session) {
  return tm_info_lbfin_of_raw(tmi_read_data_lbfin(session));
}

double tm_info_lbfin_of_raw(double raw) {
  const TmInfoRecord& r = current();
  return raw * (raw < 0 ? r.nlbfin_per_px : r.plbfin_per_px);
}

double tm_info_read_uvpv(int32_t session) {
  double lbfin = get_data_lbfin(session);
  const TmInfoRecord& r = current();
  return lbfin * (lbfin < 0 ? r.nuvpv_per_lbfin : r.puvpv_per_lbfin) + r.uvpv_at_0lbfin;
}

double tm_info_read_temp_degc(int32_t session) {
  const TmInfoRecord& r = tm_info_record(session);
  double raw = 0;
  switch (r.tm_type) {
    case kTmWqpm: {
      std::string reply = get_reply(r.temp_msg);
      size_t comma = reply.find(',');
      int stop = 0;
      if (comma != std::string::npos && comma >= 1)
        raw = kw_parse_i16(reply.substr(0, comma), stop);
      break;
    }
    case kTmRdx:
    case kTmKslw:
    case kTmKst:
      raw = get_f64(r.temp_msg);
      break;
    case kTmHzym: {
      std::string head = get_reply(r.temp_msg).substr(0, 4);
      if (is_hex(head)) raw = hex_to_s16(head);
      break;
    }
    case kTmKsvm:
      raw = get_si32(r.temp_msg);
      break;
    case kTmS350:
    case kTmS350Plus:
      raw = 20;  // no temperature sensor: room temperature
      break;
    default:
      not_for_family("called get_data_lbfin before calling get_data_ini:");
  }
  return raw * r.temp_degc_per_px + r.temp_degc_at_px0;
}

double tm_info_read_temp_degf(int32_t session) {
  return tm_info_read_temp_degc(session) / 0.5555555555555556 + 32;
}

std::string get_read_model_string(int32_t session) {
  switch (tm_type(session)) {
    case kTmWqpm:
    case kTmRdx:
    case kTmHzym:
    case kTmS350:
    case kTmS350Plus:
      return get_reply("MD");
    case kTmKst:
    case kTmKslw:
      return get_reply("UIA");
    case kTmKsvm:
      return get_reply("CR");
    default:
      fatal_error("called get_read_model_string before get_data_ini!");
  }
}

// ---- Adjustment points -------------------------------------------------------------------

double tm_info_point_raw(int32_t point) {
  std::string l = tm_info_point_letter(point);
  switch (family()) {
    case kTmKst:
    case kTmKslw: {
      double divisor = point == kPointZero ? 1 : std::fabs(get_f64("CE" + ch_text() + l));
      return safe_divide(get_f64("CF" + ch_text() + l), divisor, 0);
    }
    case kTmRdx: {
      double cea = get_f64("CEA");
      double ratio = safe_divide(cea, std::fabs(get_f64("CE" + l)), 0);
      return ratio * get_f64("CF" + l) * 0.001;
    }
    case kTmKsvm:
      return ksvm_point_raw(point);
    case kTmHzym:
      return hzym_point_raw(point);
    case kTmS350:
      return s350_point_raw(point);
    case kTmS350Plus:
      return s350_plus_point_raw(point);
    case kTmWqpm:
      return wqpm_point_raw(point);
    default:
      return 0;
  }
}

double tm_info_point_uvpv(int32_t point, int32_t session) {
  tm_info_select(session);
  return tm_info_point_raw(point) * current().uvpv_per_raw;
}

// ---- Shunt -------------------------------------------------------------------------------

bool tm_info_shunt_set(int32_t state) {
  int32_t f = family();
  if (!tm_info_is_family(f) || f == kTmFga) not_for_family("Unknown TM type:");
  if (state < kShuntNone || state > kShuntNegative) return false;
  bool ok = rs232_send_ok("AS" + kw_letter_of(state - kShuntNone));
  // The bridge needs a moment to settle on its new arm.
  if (f == kTmRdx || f == kTmKslw) sleep_ms(100, 1);
  if (f == kTmKst) sleep_ms(50, 1);
  return ok;
}

int32_t tm_info_shunt_read() {
  const TmInfoRecord& r = current();
  switch (r.tm_type) {
    case kTmWqpm: {
      if (tm_info_firmware_old("")) return kShuntNone;
      std::string as = get_reply("AS");
      double v = kw_is_numeric(as) ? number_of(as) : 0;
      return v == 0 ? kShuntNone : v < 0 ? kShuntNegative : kShuntPositive;
    }
    case kTmRdx: {
      int16_t as = get_si16("AS");
      if ((as & 1) == 0) return kShuntNone;
      return (as & 2) ? kShuntPositive : kShuntNegative;
    }
    case kTmKslw:
    case kTmKst:
      // Which bit is the positive arm depends on the sign of the adjustment.
      switch (get_si32("AS") & 192) {
        case 0:
          return kShuntNone;
        case 128:
          return r.inverted_cal_flag ? kShuntNegative : kShuntPositive;
        case 64:
          return r.inverted_cal_flag ? kShuntPositive : kShuntNegative;
        default:
          return kShuntUnknown;
      }
    case kTmHzym:
    case kTmKsvm:
    case kTmS350:
      return kShuntNone;
    case kTmS350Plus: {
      std::string as = get_reply("AS");
      return as == "A" ? kShuntNone : as == "C" ? kShuntNegative : kShuntPositive;
    }
    default:
      not_for_family("Unknown TM type:");
  }
}

bool tm_info_shunt_set_and_check(int32_t state) {
  for (int round = 1; round <= 30; ++round) {
    tm_info_shunt_set(state);
    if (round > 1) debug_log(std::to_string(round) + " Shunt retry");
    int32_t f = family();
    int32_t read = 0;
    if (f == kTmRdx)
      read = rdx_rotor_shunt();
    else if ((f == kTmWqpm && tm_info_firmware_old("")) || f == kTmHzym || f == kTmKsvm ||
             f == kTmS350)
      read = state;  // these cannot tell
    else
      read = tm_info_shunt_read();
    if (read == state) return true;
  }
  return false;
}

// ---- Filter ------------------------------------------------------------------------------

int32_t tm_info_filter_index(double frequency, int32_t session) {
  const TmInfoRecord& r = tm_info_record(session);
  if (frequency == 0) return r.tm_type == kTmKsvm ? 1 : r.tm_type == kTmWqpm ? 2 : 0;
  if (frequency < 0) return 0;
  double ratio = r.filter_frequency / frequency;
  double index = std::floor(std::log2(ratio + 8.5) - 3.85514 + 0.5);
  return index < 0 ? 0 : static_cast<int32_t>(index);
}

double tm_info_settling_ratio(int32_t i, int32_t k) {
  static const double kColumn2[17] = {1,
                                      13.722958,
                                      33.83939,
                                      73.182814,
                                      151.538387,
                                      308.103365,
                                      621.164374,
                                      1247.25288,
                                      2499.413354,
                                      5003.726137,
                                      10012.347499,
                                      20029.588403,
                                      40064.069052,
                                      80133.030002,
                                      160270.95511,
                                      320546.804431,
                                      641098.517128};
  static const double kColumn4[17] = {1,
                                      20.387824,
                                      50.099003,
                                      108.281628,
                                      224.188348,
                                      455.799687,
                                      918.927066,
                                      1845.135492,
                                      3697.529509,
                                      7402.306206,
                                      14811.853784,
                                      29630.946676,
                                      59269.130863,
                                      118545.4375,
                                      237098.224337,
                                      474203.712171,
                                      948414.524313};
  if (k < 1 || k > 5 || i < 0) return 0;
  if (i > 16) return 1.0E+9;
  if (k == 2) return kColumn2[i];
  if (k == 4) return kColumn4[i];
  return i == 0 ? 1 : 0;
}

double tm_info_filter_frequency(double index, int32_t session) {
  const TmInfoRecord& r = tm_info_record(session);
  double result = -1;
  switch (r.tm_type) {
    case kTmRdx:
      if (index == 0 && (get_si32("MF") & 8) == 0) result = 3327.1795;
      break;
    case kTmKslw:
      if (index == 0 && (get_si32("UCB") & 1) == 0) result = 1412.90471642;
      break;
    case kTmKst:
      if (index == 0 && (get_si32("UCB") & 128) == 0) result = 1004.765612;
      break;
    case kTmKsvm:
      if ((get_si32("RA") & 4) == 0 && index == 1)
        result = r.filter_frequency / tm_info_settling_ratio(1, 2);
      break;
    case kTmS350Plus:
      if (index == 0)
        result = 7812.5;
      else
        index += 2;
      break;
    case kTmHzym:
    case kTmS350:
      return -1;  // no frequency known for their filter steps
  }
  if (result <= 0 && index >= 0) {
    if (index == std::floor(index))
      result = safe_divide(r.filter_frequency,
                           tm_info_settling_ratio(static_cast<int32_t>(index), 4), -1);
    else
      result = r.filter_frequency / (std::pow(2.0, index + 3.85514) - 8.5);
  }
  return result;
}

double tm_info_filter_set(double frequency, int32_t session) {
  tm_info_select(session);
  int32_t i = tm_info_filter_index(frequency, kTmInfoCurrent);
  std::string is = std::to_string(i);
  std::string fl = "FL" + ch_text();
  int32_t down = std::clamp(10 - i, 0, 10);
  switch (family()) {
    case kTmWqpm:
    case kTmRdx:
      rs232_send_ok("FL" + is);
      break;
    case kTmKst:
      // Every channel gets the same filter, the last channel first.
      for (int n = get_si16("SD"); n >= 1; --n) rs232_send_ok("FL" + std::to_string(n) + is);
      break;
    case kTmHzym:
      rs232_send_ok(fl + hex_of(down, 2));
      break;
    case kTmKsvm:
      rs232_send_ok("CG" + is);
      break;
    case kTmS350:
      rs232_send_ok("T0");
      rs232_send_ok(fl + hex_of(down, 2));
      break;
    case kTmS350Plus:
      rs232_send_ok(fl + is);
      break;
  }
  return tm_info_filter_read(kTmInfoCurrent);
}

double tm_info_filter_read(int32_t session) {
  tm_info_select(session);
  std::string fl = "FL" + ch_text();
  int32_t i = -1;
  switch (family()) {
    case kTmWqpm:
    case kTmRdx:
      i = get_si32("FL");
      break;
    case kTmKst:
      i = get_si32(fl);
      break;
    case kTmKsvm:
      i = get_si32("CG");
      break;
    case kTmHzym:
      i = index_of_down_count(get_hex_int(fl), 11);
      break;
    case kTmS350:
      i = index_of_down_count(get_hex_int(fl), 10);
      break;
  }
  return tm_info_filter_frequency(i, kTmInfoCurrent);
}

double tm_info_filter_push(double frequency) {
  MeasureState& s = state();
  if (s.filter_depth > kFilterStackSize - 1) s.filter_depth = kFilterStackSize - 2;
  double now = tm_info_filter_read(kTmInfoCurrent);
  s.filter_stack[s.filter_depth++] = now;
  debug_log("PUSH FILTER " + double_text(now));
  return tm_info_filter_set(frequency, kTmInfoCurrent);
}

double tm_info_filter_pop() {
  MeasureState& s = state();
  if (s.filter_depth <= 0) return 0;
  double saved = s.filter_stack[--s.filter_depth];
  debug_log("POP FILTER " + double_text(saved));
  return tm_info_filter_set(saved, kTmInfoCurrent);
}

int32_t tm_info_filter_depth() {
  return state().filter_depth;
}

bool tm_info_filter_averaging(bool on, int32_t session) {
  const char* word = nullptr;
  int32_t mask = 0;
  switch (tm_type(session)) {
    case kTmRdx:
      word = "MF", mask = 8;
      break;
    case kTmKst:
      word = "UCB", mask = 128;
      break;
    case kTmKsvm:
      word = "RA", mask = 4;
      break;
    default:
      return true;
  }
  return on ? rs232_set_bits(word, mask) : rs232_clear_bits(word, mask);
}

// ---- Tare and peaks ----------------------------------------------------------------------

double tm_info_tare_read(int32_t session) {
  switch (tm_type(session)) {
    case kTmWqpm:
      return tm_info_lbfin_of_raw(get_f64("TV"));
    case kTmRdx:
    case kTmKsvm:
      return tm_info_lbfin_of_raw(get_f64("TR"));
    case kTmHzym:
      return tm_info_lbfin_of_raw(get_hex_si16("TR", kRs232DefaultTimeout, false));
    case kTmKst:
    case kTmS350:
    case kTmS350Plus:
      return get_f64("DT" + ch_text());
    default:
      not_for_family("Tare not implemented:");
  }
}

bool tm_info_maxmin_reset(int32_t session) {
  switch (tm_type(session)) {
    case kTmWqpm:
    case kTmRdx:
    case kTmKsvm:
      return rs232_send_ok("MX0");
    case kTmKst: {
      bool ok = true;
      for (const char* m : {"MX1*", "MX2*", "MX3*"}) ok = rs232_send_ok(m) && ok;
      return ok;
    }
    case kTmHzym:
      return rs232_send_ok("MR");
    case kTmS350: {
      bool ok = rs232_send_ok("T1");
      return rs232_send_ok("KYF") && ok;
    }
    default:
      not_for_family("Max, Mins not implemented:");
  }
}

void tm_info_maxmin_read(double& max, double& min) {
  const TmInfoRecord& r = current();
  double hi = 0, lo = 0;
  switch (r.tm_type) {
    case kTmWqpm:
    case kTmRdx:
    case kTmKst: {
      const char* msg = r.tm_type == kTmWqpm ? "MX" : r.tm_type == kTmRdx ? "MX4" : "MX1C";
      if (!two_numbers(get_reply(msg), hi, lo)) return;
      break;
    }
    case kTmHzym: {
      // Two 16-bit words: the minimum first.
      std::string mx = get_reply("MX");
      if (mx.size() != 8 || !is_hex(mx)) return;
      lo = hex_to_s16(mx.substr(0, 4));
      hi = hex_to_s16(mx.substr(4, 4));
      break;
    }
    case kTmKsvm:
      hi = get_f64("MXX");
      lo = get_f64("MXN");
      break;
    case kTmS350:
      rs232_send_ok("T0");
      max = get_f32("DX1");
      min = get_f32("DN1");
      return;
    default:
      not_for_family("Max/Min not implemented:");
  }
  max = hi * r.plbfin_per_px;
  min = lo * r.plbfin_per_px;
}

// ---- Power -------------------------------------------------------------------------------

double tm_info_power_lbfin_per_hp(bool write) {
  if (family() != kTmKst || get_si16("SD") < 2 || get_si32("PS") == 0) return 0;
  double ce2a = get_f64("CE2A");
  double r = ce2a * get_f64("CE1A");
  if (r == 0) return 0;
  double counts = get_si32("UCA") / 32768.0;
  double factor = counts * counts * get_f64("CE3A") * 63025.35746439056 / r;
  if (write) rs232_send_ok("CF3B" + double_text(factor));
  return factor;
}

void tm_info_measure_reset_state() {
  state() = MeasureState{};
}

}  // namespace ovn
