#include "sim_instrument.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <functional>

namespace ovn {

namespace {

// ---- Numbers on the wire: always "." and never the user's locale ----------------------

std::string fmt_shortest(double v) {
  char buf[64];
  auto r = std::to_chars(buf, buf + sizeof buf, v);
  return std::string(buf, r.ptr);
}

std::string fmt_fixed(double v, int decimals) {
  char buf[64];
  auto r = std::to_chars(buf, buf + sizeof buf, v, std::chars_format::fixed, decimals);
  return std::string(buf, r.ptr);
}

std::string fmt_int(long long v) {
  return std::to_string(v);
}

std::string fmt_hex32(double v) {
  double c = std::clamp(std::round(v), -2147483648.0, 2147483647.0);
  char buf[16];
  std::snprintf(buf, sizeof buf, "%08X", static_cast<uint32_t>(static_cast<int32_t>(c)));
  return buf;
}

// The IEEE single form the instruments use for float parameters.
std::string fmt_hex_f32(float v) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "%08X", std::bit_cast<uint32_t>(v));
  return buf;
}

std::string fmt_hex16(double v) {
  double c = std::clamp(std::round(v), -32768.0, 32767.0);
  char buf[16];
  std::snprintf(buf, sizeof buf, "%04X", static_cast<uint16_t>(static_cast<int16_t>(c)));
  return buf;
}

// The whole text as a number; a leading "+" is allowed, as the instrument's parser does.
template <typename T>
bool parse_whole(const std::string& text, T& out) {
  const char* b = text.data();
  const char* e = b + text.size();
  if (b != e && *b == '+') ++b;
  if (b == e) return false;
  auto r = std::from_chars(b, e, out);
  return r.ec == std::errc() && r.ptr == e;
}
bool parse_number(const std::string& text, double& out) {
  return parse_whole(text, out);
}
bool parse_integer(const std::string& text, long long& out) {
  return parse_whole(text, out);
}

// ---- The KST parameter catalogue with its factory values ------------------------------

struct ParamDef {
  const char* name;
  const char* factory;
  bool text;  // free text (model, names, units); all others must be numbers
};

// The instrument's whole vocabulary of stored parameters, factory values first.
const ParamDef kParams[] = {
    {"UCA", "655360000", false},
    {"UCB", "0", false},
    {"UIA", "ZQVD52002V(2-3 lbf-in)", true},
    {"UIB", "SIM0001", true},
    {"UIC", "Simulated Customer", true},
    {"UID", "S1", true},
    {"TA", "3", false},
    {"UN1", "lbf-in", true},
    {"DS1", "1", false},
    {"FL1", "9", false},
    {"OL1", "4002.0004", false},
    {"CE1A", "2001.0002", false},
    {"CF1A", "0", false},
    {"CE1B", "1", false},
    {"CF1B", "81224.57635704515", false},
    {"CE1C", "-1", false},
    {"CF1C", "-81224.57635704515", false},
    {"CE1D", ".5", false},
    {"CF1D", "40612.288", false},
    {"CE1E", "-.5", false},
    {"CF1E", "-40612.288", false},
    {"SVA", "100975.09988518943", false},
    {"SVB", "-100975.09988518943", false},
    {"TCA", "0", false},
    {"TCB", "0", false},
    {"TCC", "0", false},
    {"TCD", "0", false},
    {"TCE", "0", false},
    {"TCF", "0", false},
    {"UN2", "RPM", true},
    {"DS2", "1", false},
    {"FL2", "9", false},
    {"OL2", "15000", false},
    {"CE2A", "15000", false},
    {"CE2B", "1", false},
    {"CF2A", "0", false},
    {"CF2B", "20000", false},
    {"SCA", "1", false},
    {"SCB", ".0001", false},
    {"SCC", "10000", false},
    {"SCD", "5000", false},
    {"SCE", "0", false},
    {"UN3", "Hp", true},
    {"DS3", "1", false},
    {"FL3", "9", false},
    {"OL3", "952.47384", false},
    {"CE3A", "476.23692", false},
    {"CE3B", "1", false},
    {"CF3A", "0", false},
    {"CF3B", "400000000", false},
    {"AOA", "0", false},
    {"AOB", "0", false},
    {"AOC", "10", false},
    {"AOD", "10", false},
    {"AOE", "1", false},
    {"AOF", "0", false},
    {"AOG", "10", false},
    {"AOH", "10", false},
    {"AOI", "2", false},
    {"AOJ", "0", false},
    {"AOK", "10", false},
    {"AOL", "10", false},
    {"AOM", "54269.82428714606", false},
    {"AON", "32971.639214958974", false},
    {"AOO", "11673.454142771885", false},
    {"AOP", "54269.82428714606", false},
    {"AOQ", "32971.639214958974", false},
    {"AOR", "11673.454142771885", false},
    {"AOS", "54269.82428714606", false},
    {"AOT", "32971.639214958974", false},
    {"AOU", "11673.454142771885", false},
    {"IOA", "19", false},
    {"IOB", "16", false},
    {"IOC", "3", false},
    {"IOD", "17", false},
    {"IOE", "5", false},
    {"IOF", "4", false},
    {"IOG", "1", false},
    {"IOH", "2", false},
    {"IOI", "0", false},
    {"ILA", "1.1", false},
    {"ILB", "-1.1", false},
    {"ILC", "1.1", false},
    {"ILD", "-1.1", false},
    {"ILE", "1.1", false},
    {"ILF", "-1.1", false},
    {"ILG", "1.1", false},
    {"ILH", "-1.1", false},
    {"ILI", "1.1", false},
    {"ILJ", "-1.1", false},
    {"ILK", "1.1", false},
    {"ILL", "-1.1", false},
    {"ILM", "1.1", false},
    {"ILN", "-1.1", false},
    {"ILO", "1.1", false},
    {"ILP", "-1.1", false},
    {"CCA", "0", false},
    {"CCB", "256", false},
    {"CCC", "14", false},
    {"PWA", "444", false},
    {"PWB", "89", false},
    {"PWC", "16096", false},
    {"PWD", "371", false},
    {"TMA", "32768", false},
    {"TMB", "0", false},
};

// The factory access code that must follow the channel count in "SD".
constexpr const char* kChannelCode = "k7Qw2Xzp";
constexpr double kUvpvPerCount = 0.024635402112829115;  // rotor A/D, microvolts per volt
constexpr double kSamplesPerSecond = 4000.0;            // the instrument's data rate
constexpr double kUrvCountsPerVolt = 2476.233658278546;
constexpr double kLbfinRpmPerHp = 63025.35746439056;
constexpr long long kMaxNoiseSamples = 4000000;

// Settling ratio of the instrument's filter by index: the filtered noise falls with its
// square root.
constexpr double kFilterRatio[17] = {1,
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

double num(const SimInstrument& sim, const std::string& name) {
  auto it = sim.working.find(name);
  double v = 0;
  if (it != sim.working.end()) parse_number(it->second, v);
  return v;
}

double divide_or(double a, double b, double fallback) {
  return b == 0 ? fallback : a / b;
}

double gaussian(SimInstrument& sim) {
  // Box-Muller on the seeded generator, so a seed gives the same noise on every machine.
  auto uniform = [&] { return (static_cast<double>(sim.rng() >> 11) + 0.5) * 0x1.0p-53; };
  double u1 = uniform(), u2 = uniform();
  return std::sqrt(-2.0 * std::log(u1)) * std::cos(6.283185307179586 * u2);
}

// ---- The physical model and what the instrument computes from it ----------------------

double torque_lbfin(const SimInstrument& sim, double now) {
  return sim_profile_value(sim.physics.torque, now);
}

double true_counts(const SimInstrument& sim, double now) {
  const SimPhysics& p = sim.physics;
  double c = p.zero_counts + p.zero_drift_counts_per_f * (p.temperature_f - 75.0) +
             p.gain_counts_per_lbfin * torque_lbfin(sim, now);
  if (sim.shunt == 1) c += p.shunt_counts;
  if (sim.shunt == 2) c -= p.shunt_counts * (1 - p.shunt_asymmetry);
  return c;
}

// How far the drive is off the rotor coil's resonance, in units of the resonance's width.
double off_resonance(const SimInstrument& sim) {
  const double period = num(sim, "PWA");
  if (period <= 0) return 0;
  const double f = 60000000.0 / period;
  return (f - sim.physics.resonance_hz) / (0.3 * sim.physics.resonance_hz);
}

// A drive off its best point feeds the rotor less cleanly: the noise grows with the square
// of the distance from resonance.
double raw_sigma(const SimInstrument& sim) {
  const double x = off_resonance(sim);
  return sim.config.noise_uvpv / kUvpvPerCount * (1.0 + 4.0 * x * x);
}

double filter_ratio(const SimInstrument& sim, int channel) {
  long long i = static_cast<long long>(num(sim, "FL" + std::to_string(channel)));
  if (i < 0) return 1.0;
  return i > 16 ? 1.0e9 : kFilterRatio[i];
}

// One sample of the rotor's noise in deviations: Gaussian, and with the spike fault now and
// then a spike. The generator is drawn for spikes only when the fault is on, so a seed
// gives the same Gaussian noise with the fault off as before it existed.
double noise_sigmas(SimInstrument& sim) {
  double x = gaussian(sim);
  if (sim.config.spike_fraction > 0) {
    const double u = (static_cast<double>(sim.rng() >> 11) + 0.5) * 0x1.0p-53;
    if (u < sim.config.spike_fraction) x += (sim.rng() & 1 ? 1.0 : -1.0) * sim.config.spike_sigmas;
  }
  return x;
}

// A/D counts as the rotor sends them, unfiltered, in whole counts.
double sample_raw(SimInstrument& sim, double now) {
  return std::round(true_counts(sim, now) + raw_sigma(sim) * noise_sigmas(sim));
}

// The instrument's filtered count for the torque channel.
double sample_filtered(SimInstrument& sim, double now) {
  return true_counts(sim, now) +
         raw_sigma(sim) * noise_sigmas(sim) / std::sqrt(filter_ratio(sim, 1));
}

// Counts above zero to fraction of full scale, by the stored adjustment points: piecewise
// linear through zero and the points on the same side, the last segment extended.
double counts_to_fraction(const SimInstrument& sim, double d) {
  struct Pt {
    double cf, ce;
  };
  int points = std::clamp(static_cast<int>(num(sim, "TA")) - 1, 1, 4);
  std::vector<Pt> same, other;
  for (int k = 0; k < points; ++k) {
    std::string letter(1, static_cast<char>('B' + k));
    Pt p{num(sim, "CF1" + letter), num(sim, "CE1" + letter)};
    if (p.cf == 0) continue;
    ((p.cf < 0) == (d < 0) ? same : other).push_back(p);
  }
  if (same.empty()) {
    if (other.empty()) return 0;
    return d * other.front().ce / other.front().cf;
  }
  std::sort(same.begin(), same.end(),
            [](const Pt& a, const Pt& b) { return std::fabs(a.cf) < std::fabs(b.cf); });
  Pt prev{0, 0};
  for (size_t k = 0; k < same.size(); ++k) {
    const Pt& p = same[k];
    if (std::fabs(d) <= std::fabs(p.cf) || k + 1 == same.size())
      return prev.ce + (d - prev.cf) * (p.ce - prev.ce) / (p.cf - prev.cf);
    prev = p;
  }
  return 0;
}

double torque_fraction_of_counts(const SimInstrument& sim, double counts) {
  double t = sim.physics.temperature_f;
  double d = counts - num(sim, "CF1A") - num(sim, "TCB") * (t - num(sim, "TCA"));
  return counts_to_fraction(sim, d) * (1.0 + num(sim, "TCD") * (t - num(sim, "TCC")));
}

// Fractions of full scale of the three channels at this moment (filtered values).
struct Fractions {
  double f[3];
};

// The three channels from a torque count at time `t`.
Fractions fractions_of(const SimInstrument& sim, double counts, double t) {
  Fractions out{};
  out.f[0] = torque_fraction_of_counts(sim, counts);
  double rpm = divide_or(sim_profile_value(sim.physics.speed, t) * sim.physics.hz_per_rpm,
                         num(sim, "SCA"), 0);
  out.f[1] = divide_or(rpm, num(sim, "CE2A"), 0);
  double hp = out.f[0] * num(sim, "CE1A") * rpm / kLbfinRpmPerHp;
  out.f[2] = divide_or(hp, num(sim, "CE3A"), 0);
  return out;
}

void note_extremes(SimInstrument& sim, const Fractions& f) {
  for (int c = 0; c < 3; ++c) {
    if (!sim.have_extremes[c]) {
      sim.max_frac[c] = sim.min_frac[c] = f.f[c];
      sim.have_extremes[c] = true;
    }
    sim.max_frac[c] = std::max(sim.max_frac[c], f.f[c]);
    sim.min_frac[c] = std::min(sim.min_frac[c], f.f[c]);
  }
}

// The instrument watches its extremes all the time, not only when asked: the signal since
// the last look is followed in steps of a millisecond (the last second at most).
void follow_extremes(SimInstrument& sim, double now) {
  double from = std::max(sim.extremes_ms, now - 1000.0);
  for (double t = std::floor(from) + 1; t < now; t += 1.0)
    note_extremes(sim, fractions_of(sim, true_counts(sim, t), t));
  sim.extremes_ms = std::max(sim.extremes_ms, now);
}

// Fractions of full scale of the three channels at this moment (filtered values).
Fractions fractions(SimInstrument& sim, double now) {
  follow_extremes(sim, now);
  Fractions out = fractions_of(sim, sample_filtered(sim, now), now);
  note_extremes(sim, out);
  return out;
}

std::string ch(int c) {
  return std::to_string(c);
}

// Engineering units per fraction of full scale: full scale times display scaling.
double display_per_fraction(const SimInstrument& sim, int c) {
  return num(sim, "CE" + ch(c) + "A") * num(sim, "DS" + ch(c));
}

double p0_counts(const SimInstrument& sim, double frac) {
  return frac * num(sim, "UCA");
}

double tare_counts(const SimInstrument& sim, int c) {
  return divide_or(sim.tare[c - 1], display_per_fraction(sim, c), 0) * num(sim, "UCA");
}

// One channel's value in the form of a display mode letter.
std::string value_in_mode(const SimInstrument& sim, int c, double frac, char mode) {
  switch (mode) {
    case 'E':
      return fmt_fixed(frac * display_per_fraction(sim, c) - sim.tare[c - 1], 4);
    case 'R':
      if (c == 1) {
        double per_fs = std::fabs(divide_or(num(sim, "CF1B"), num(sim, "CE1B"), 0));
        return fmt_int(std::llround(num(sim, "CF1A") + frac * per_fs));
      }
      return fmt_int(std::llround(p0_counts(sim, frac)));
    case 'C':
      return fmt_int(std::llround(p0_counts(sim, frac) - tare_counts(sim, c)));
    case 'Y':
      return fmt_hex16(p0_counts(sim, frac) / 65536.0);
    case 'X':
      return fmt_hex32(p0_counts(sim, frac));
  }
  return "";
}

bool is_mode(char m) {
  return m == 'E' || m == 'R' || m == 'C' || m == 'Y' || m == 'X';
}

// Channel digit at the front of an argument, within the instrument's channel count.
int channel_of(const SimInstrument& sim, const std::string& arg) {
  if (arg.empty() || arg[0] < '1' || arg[0] > '3') return 0;
  int c = arg[0] - '0';
  return c <= sim.config.channels ? c : 0;
}

// ---- Rotor power: the stator regulates the on-time to keep the rotor voltage in window --

double urv_volts(const SimInstrument& sim, double on_time) {
  double period = num(sim, "PWA");
  if (period <= 0) return 0;
  double x = off_resonance(sim);
  return sim.physics.urv_volts_at_full_duty * std::clamp(on_time / period, 0.0, 1.0) /
         (1.0 + x * x);
}

void regulate(SimInstrument& sim, double now) {
  double steps = std::min(std::floor(now - sim.pw_updated_ms), 5000.0);
  if (steps < 1) return;
  sim.pw_updated_ms += steps;
  double target = num(sim, "PWC") / kUrvCountsPerVolt;
  double window = num(sim, "PWD") / kUrvCountsPerVolt;
  double period = num(sim, "PWA");
  for (int k = 0; k < static_cast<int>(steps); ++k) {
    double v = urv_volts(sim, sim.pw_on_time);
    if (v < target - window)
      sim.pw_on_time = std::min(sim.pw_on_time + 1, period);
    else if (v > target + window)
      sim.pw_on_time = std::max(sim.pw_on_time - 1, 0.0);
    else
      break;
  }
}

// ---- The instrument's noise test ------------------------------------------------------

void run_noise_test(SimInstrument& sim, long long count, double now) {
  SimNoiseTest& nt = sim.noise_test;
  nt = SimNoiseTest{};
  nt.state = 1;
  nt.start_ms = now;
  nt.count = count;
  long long n = std::llabs(count);
  double mean = 0, m2 = 0;
  for (long long i = 0; i < n; ++i) {
    double t = now + static_cast<double>(i) * 1000.0 / kSamplesPerSecond;
    double x = count > 0 ? sample_raw(sim, t)
                         : torque_fraction_of_counts(sim, sample_filtered(sim, t)) *
                                   display_per_fraction(sim, 1) -
                               sim.tare[0];
    ++nt.number;
    nt.sum += x;
    double delta = x - mean;
    mean += delta / static_cast<double>(nt.number);
    m2 += delta * (x - mean);
    if (nt.number == 1) nt.min = nt.max = x;
    nt.min = std::min(nt.min, x);
    nt.max = std::max(nt.max, x);
  }
  nt.variance = nt.number > 1 ? m2 / static_cast<double>(nt.number - 1) : 0;
}

// ---- The message table ----------------------------------------------------------------

using Handler = std::function<std::string(SimInstrument&, const std::string& arg, double now)>;
const std::string kOk = "OK";
const std::string kRefused = "!";

std::string param_message(SimInstrument& sim, const ParamDef& p, std::string arg) {
  if (arg.empty()) return sim.working[p.name];
  // The set forms with "=" and "==" are understood as well as the plain one.
  if (arg.rfind("==", 0) == 0)
    arg.erase(0, 2);
  else if (arg[0] == '=')
    arg.erase(0, 1);
  bool filter = p.name[0] == 'F' && p.name[1] == 'L';
  if (sim.locked && !filter) return kRefused;
  double v;
  if (!p.text && !parse_number(arg, v)) return kRefused;
  sim.working[p.name] = arg;
  if (std::string(p.name) == "PWB") sim.pw_on_time = v;
  return kOk;
}

std::string live_all(SimInstrument& sim, char mode, const std::string& arg, double now) {
  if (arg != "*") return kRefused;
  Fractions f = fractions(sim, now);
  std::string out;
  for (int c = 1; c <= sim.config.channels; ++c) {
    if (c > 1) out += ',';
    if (mode == 'R' && c == 1)
      out += fmt_int(std::llround(sample_raw(sim, now)));
    else
      out += value_in_mode(sim, c, f.f[c - 1], mode);
  }
  return out;
}

std::string io_status(SimInstrument& sim, double now) {
  Fractions f = fractions(sim, now);
  long mask = static_cast<long>(num(sim, "IOI"));
  long bits = 0;
  for (int i = 0; i < 8; ++i) {
    std::string line(1, static_cast<char>('A' + i));
    int code = static_cast<int>(num(sim, "IO" + line));
    double hi = num(sim, "IL" + std::string(1, static_cast<char>('A' + 2 * i)));
    double lo = num(sim, "IL" + std::string(1, static_cast<char>('A' + 2 * i + 1)));
    bool on = false;
    double t = sim.physics.temperature_f;
    if (code == 16) on = f.f[0] >= lo && f.f[0] <= hi;
    if (code == 17) on = f.f[1] >= lo && f.f[1] <= hi;
    if (code == 18) on = t >= 40.0 && t <= 130.0;
    if (code == 19) on = f.f[2] >= lo && f.f[2] <= hi;
    if (((mask >> i) & 1) != 0) on = !on;
    if (on) bits |= 1L << i;
  }
  char buf[24];
  std::snprintf(buf, sizeof buf, "%02lX", bits);
  return buf;
}

// "PS<password><0|1>" or "PS<0|1><password>": both orders are in use by the program.
std::string password_message(SimInstrument& sim, const std::string& arg) {
  if (arg.empty()) return sim.locked ? "1" : "0";
  const std::string& pw = sim.config.password;
  char state = 0;
  if (arg.size() == pw.size() + 1 && arg.compare(0, pw.size(), pw) == 0)
    state = arg.back();
  else if (arg.size() == pw.size() + 1 && arg.compare(1, pw.size(), pw) == 0)
    state = arg[0];
  if (state != '0' && state != '1') return kRefused;
  sim.locked = state == '1';
  return kOk;
}

// "PC<s>old<s>new<s>new" with a separator s of the program's choosing.
std::string password_change(SimInstrument& sim, const std::string& arg) {
  if (sim.locked || arg.size() < 4) return kRefused;  // the program unlocks first
  char sep = arg[0];
  std::vector<std::string> parts;
  std::string cur;
  for (size_t i = 1; i < arg.size(); ++i) {
    if (arg[i] == sep) {
      parts.push_back(cur);
      cur.clear();
    } else {
      cur += arg[i];
    }
  }
  parts.push_back(cur);
  if (parts.size() != 3 || parts[0] != sim.config.password || parts[1] != parts[2] ||
      parts[1].empty())
    return kRefused;
  sim.config.password = parts[1];
  return kOk;
}

std::string diagnostics(SimInstrument& sim, double now) {
  regulate(sim, now);
  double raw = sample_raw(sim, now);
  double frac = torque_fraction_of_counts(sim, raw);
  char tmp[32];
  std::snprintf(tmp, sizeof tmp, "%X", static_cast<unsigned>(sim.physics.temperature_f * 16));
  std::string out = fmt_fixed(urv_volts(sim, sim.pw_on_time), 3);   // Volt
  out += "," + fmt_int(sim.shunt);                                  // Cal
  out += "," + fmt_int(sim.requests % 100000);                      // Ask
  out += "," + fmt_int(static_cast<long long>(kSamplesPerSecond));  // rate
  out += ",0";                                                      // cksm
  out += "," + fmt_int(sim.requests);                               // #
  out += "," + std::string(tmp);                                    // TmpR
  out += "," + fmt_int(std::llround(p0_counts(sim, frac)));         // P0
  out += "," + fmt_int(std::llround(raw));                          // raw
  out += "," + sim.working["CCA"];                                  // CC
  out += "," + io_status(sim, now);                                 // IO
  out += ",0.00,0.00";                                              // ChckSm%, WD%
  return out;
}

std::map<std::string, Handler> build_kst_table() {
  std::map<std::string, Handler> t;
  for (const auto& p : kParams) {
    const ParamDef* def = &p;
    t[p.name] = [def](SimInstrument& s, const std::string& a, double) {
      return param_message(s, *def, a);
    };
  }
  for (char m : std::string("ERCYX")) {
    std::string name = "D";
    name += m;
    t[name] = [m](SimInstrument& s, const std::string& a, double now) {
      if (m == 'X' && a != "*") {  // "DX<ch>": one raw value, 32-bit hex
        int c = channel_of(s, a);
        if (c == 0 || a.size() != 1) return kRefused;
        return value_in_mode(s, c, fractions(s, now).f[c - 1], 'X');
      }
      return live_all(s, m, a, now);
    };
  }
  t["MX"] = [](SimInstrument& s, const std::string& a, double now) {
    int c = channel_of(s, a);
    if (c == 0 || a.size() != 2) return kRefused;
    follow_extremes(s, now);
    if (a[1] == '*') {
      s.have_extremes[c - 1] = false;
      return kOk;
    }
    if (!is_mode(a[1])) return kRefused;
    double hi = s.have_extremes[c - 1] ? s.max_frac[c - 1] : 0;
    double lo = s.have_extremes[c - 1] ? s.min_frac[c - 1] : 0;
    return value_in_mode(s, c, hi, a[1]) + "," + value_in_mode(s, c, lo, a[1]);
  };
  t["DT"] = [](SimInstrument& s, const std::string& a, double) {
    int c = channel_of(s, a);
    if (c == 0 || a.size() > 2 || (a.size() == 2 && !is_mode(a[1]))) return kRefused;
    char m = a.size() == 2 ? a[1] : 'E';
    double tare = s.tare[c - 1];
    double frac = divide_or(tare, display_per_fraction(s, c), 0);
    if (m == 'X') return fmt_shortest(p0_counts(s, frac));
    if (m == 'Y') return fmt_shortest(p0_counts(s, frac) / 65536.0);
    if (m == 'R') return fmt_shortest(frac * divide_or(num(s, "CF1B"), num(s, "CE1B"), 0));
    return fmt_shortest(tare);
  };
  t["TR"] = [](SimInstrument& s, const std::string& a, double now) {
    if (a == "*0") {
      for (double& v : s.tare) v = 0;
      return kOk;
    }
    if (a != "*") return kRefused;
    Fractions f = fractions(s, now);
    for (int c = 1; c <= 3; ++c) s.tare[c - 1] = f.f[c - 1] * display_per_fraction(s, c);
    return kOk;
  };
  t["AS"] = [](SimInstrument& s, const std::string& a, double) {
    if (a.empty()) {
      // Which bit is the positive shunt follows the sign of the positive adjustment point.
      bool upright = num(s, "CF1B") >= 0;
      int bits = s.shunt == 1 ? (upright ? 128 : 64) : s.shunt == 2 ? (upright ? 64 : 128) : 0;
      return fmt_int(bits);
    }
    if (a.size() != 1 || a[0] < 'A' || a[0] > 'C') return kRefused;
    s.shunt = a[0] - 'A';
    return kOk;
  };
  t["TC"] = [](SimInstrument& s, const std::string& a, double) {
    return a.empty() ? fmt_fixed(s.physics.temperature_f, 1) : kRefused;
  };
  t["RT"] = [](SimInstrument& s, const std::string&, double now) { return diagnostics(s, now); };
  t["PWa"] = [](SimInstrument& s, const std::string&, double) { return s.working["PWA"]; };
  t["PWb"] = [](SimInstrument& s, const std::string&, double now) {
    regulate(s, now);
    return fmt_int(std::llround(s.pw_on_time));
  };
  t["IO*"] = [](SimInstrument& s, const std::string& a, double now) {
    return a.empty() ? io_status(s, now) : kRefused;
  };
  t["@O"] = [](SimInstrument& s, const std::string& a, double) {
    if (a.empty() || a[0] < 'A' || a[0] > 'C') return kRefused;
    if (a.size() == 1) {
      s.override_counts.erase(a[0]);
      return kOk;
    }
    double v;
    if (!parse_number(a.substr(1), v) || v < 0 || v > 65535) return kRefused;
    s.override_counts[a[0]] = std::lround(v);
    return kOk;
  };
  t["NT"] = [](SimInstrument& s, const std::string& a, double now) {
    SimNoiseTest& nt = s.noise_test;
    if (a.empty()) {
      double ms = static_cast<double>(std::llabs(nt.count)) * 1000.0 / kSamplesPerSecond;
      if (nt.state == 1 && now >= nt.start_ms + ms) nt.state = 2;
      int state = nt.state;
      if (state == 2) nt.state = 0;  // a finished test is reported once
      return fmt_int(state);
    }
    long long n;
    if (!parse_integer(a, n) || std::llabs(n) > kMaxNoiseSamples) return kRefused;
    run_noise_test(s, n, now);
    return kOk;
  };
  t["NTD"] = [](SimInstrument& s, const std::string& a, double) {
    if (!a.empty()) return kRefused;
    const SimNoiseTest& nt = s.noise_test;
    return fmt_int(nt.number) + "," + fmt_shortest(nt.sum) + "," + fmt_shortest(nt.variance) + "," +
           fmt_shortest(nt.min) + "," + fmt_shortest(nt.max);
  };
  t["VR"] = [](SimInstrument& s, const std::string&, double) {
    return sim_family_name(s.config.family) + "s" + s.config.stator_version + "r" +
           s.config.rotor_version;
  };
  t["SD"] = [](SimInstrument& s, const std::string& a, double) {
    if (a.empty()) return fmt_int(s.config.channels);
    if (s.locked || a.size() != 9 || a[0] < '1' || a[0] > '3' || a.substr(1) != kChannelCode)
      return kRefused;
    s.config.channels = a[0] - '0';
    return kOk;
  };
  t["ID"] = [](SimInstrument& s, const std::string& a, double) {
    if (a.empty()) return std::string(1, s.config.address);
    if (s.locked || a.size() != 1 || a[0] < '@' || a[0] > '~') return kRefused;
    s.config.address = a[0];
    return kOk;
  };
  t["PS"] = [](SimInstrument& s, const std::string& a, double) { return password_message(s, a); };
  t["PC"] = [](SimInstrument& s, const std::string& a, double) { return password_change(s, a); };
  t["@@"] = [](SimInstrument& s, const std::string& a, double) {
    if (!a.empty()) return kRefused;
    s.flash = s.working;
    s.flash_locked = s.locked;
    s.flash_password = s.config.password;
    return kOk;
  };
  return t;
}

const std::map<std::string, Handler>& kst_table() {
  static const std::map<std::string, Handler> table = build_kst_table();
  return table;
}

std::string kst_request(SimInstrument& sim, const std::string& message, double now) {
  const auto& table = kst_table();
  // The message name is the longest known name the message starts with; the rest is the
  // argument (value, channel, mode). No name is longer than four characters.
  for (size_t len = std::min<size_t>(4, message.size()); len > 0; --len) {
    auto it = table.find(message.substr(0, len));
    if (it != table.end()) return it->second(sim, message.substr(len), now);
  }
  return kRefused;
}

// ---- The HZYM ----------------------------------------------------------------------------

// The HZYM counts a quarter as finely as the KST's rotor: full scale 2000 lbf-in is about
// 20300 counts, inside its signed 16-bit readings.
constexpr double kHzymCountsPerKstCount = 0.25;
constexpr int kHzymRecordDigits = 76;

// Its stored values, hex as the instrument keeps them (singles, 16-bit integers), and its
// ten calibration history records "HS0" to "HS9", empty to begin with.
std::vector<std::pair<std::string, std::string>> hzym_factory() {
  const double lbfin_per_count =
      1.0 / (SimPhysics{}.gain_counts_per_lbfin * kHzymCountsPerKstCount);
  const std::string gain = fmt_hex_f32(static_cast<float>(lbfin_per_count));
  std::vector<std::pair<std::string, std::string>> values = {
      {"MD", "ZQVD32002(2-3 lbf-in)"},
      {"SE", "H0001"},
      {"FS1", fmt_hex_f32(2000.0f)},
      {"CC1A", fmt_hex_f32(2000.0f)},
      {"CC1B", fmt_hex_f32(2000.0f)},
      {"SC", gain + gain},
      {"OF", "0000"},
      {"TR", "0000"},
      {"GN", fmt_hex16(1979.8867531797266 / (kUvpvPerCount / kHzymCountsPerKstCount))},
      {"DS1", "1"},
      {"FL1", "09"}};
  for (int n = 0; n < 10; ++n)
    values.emplace_back("HS" + std::to_string(n), std::string(kHzymRecordDigits, '0'));
  return values;
}

// A signed 16-bit value of up to four hex digits; 0 for anything else.
double hex16_value(const std::string& text) {
  unsigned value = 0;
  auto r = std::from_chars(text.data(), text.data() + text.size(), value, 16);
  if (r.ec != std::errc() || r.ptr != text.data() + text.size() || value > 0xFFFF) return 0;
  return static_cast<int16_t>(static_cast<uint16_t>(value));
}

bool all_hex(const std::string& text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'); });
}

// The HZYM's count now: the KST's rotor scaled down, less the stored offset "OF" that its
// zero adjustment sets.
double hzym_counts(SimInstrument& sim, double now) {
  const double counts = sample_raw(sim, now) * kHzymCountsPerKstCount;
  return std::round(counts - hex16_value(sim.working["OF"]));
}

// A name alone reads its value; a name and a value stores it ("=" and "==" before the
// value are the send forms of a configuration load). "XC1" is the torque reading in counts,
// four hex digits, and "DC1" in lbf-in as a decimal number; "TP" the temperature
// (sixteenths of a degree C, hex); "AS" switches the shunt as on the KST.
std::string hzym_request(SimInstrument& sim, const std::string& message, double now) {
  if (message == "XC1") return fmt_hex16(hzym_counts(sim, now));
  if (message == "DC1") {
    const std::string sc = sim.working["SC"];
    uint32_t bits = 0;
    std::from_chars(sc.data(), sc.data() + std::min<size_t>(8, sc.size()), bits, 16);
    return fmt_shortest(hzym_counts(sim, now) * std::bit_cast<float>(bits));
  }
  if (message == "TP") return fmt_hex16((sim.physics.temperature_f - 32) / 1.8 * 16);
  if (message.rfind("AS", 0) == 0) return kst_request(sim, message, now);
  for (size_t len = std::min<size_t>(4, message.size()); len > 0; --len) {
    const std::string name = message.substr(0, len);
    auto it = sim.working.find(name);
    if (it == sim.working.end() || !sim.hzym_names.count(name)) continue;
    std::string value = message.substr(len);
    if (value.empty()) return it->second;
    value.erase(0, std::min(value.find_first_not_of('='), value.size()));
    if (name.rfind("HS", 0) == 0 && (value.size() != kHzymRecordDigits || !all_hex(value)))
      return kRefused;
    it->second = value;
    return kOk;
  }
  return kRefused;
}

struct FamilyInfo {
  SimFamily family;
  const char* name;
  long baud;
  bool address;
  std::vector<std::pair<std::string, std::string>> probe;  // the identification replies
};

const std::vector<FamilyInfo>& families() {
  static const std::vector<FamilyInfo> list = {
      {SimFamily::Wqpm, "WQPM", 115200, false, {{"CCA", fmt_hex_f32(1000.0f)}, {"VR", "3.050"}}},
      {SimFamily::Rdx, "RDX", 115200, true, {{"VR", "i1m142r1000"}}},
      {SimFamily::Kslw, "KSLW", 115200, true, {}},
      {SimFamily::Kst, "KST", 115200, true, {}},
      {SimFamily::Hzym, "HZYM", 38400, false, {{"VR", "1.5.4"}}},
      {SimFamily::Ksvm, "KSVM", 38400, false, {{"VR", "205"}}},
      {SimFamily::S350, "S350", 0, true, {{"VR", "Model 350 v7.3"}}},
      {SimFamily::S350Plus, "S350+", 0, true, {{"VR", "Model 350+v7.3"}}},
      {SimFamily::Fga, "FGA", 115200, false, {{"v", "Encal 3000 v1.20"}}},
  };
  return list;
}

const FamilyInfo* family_info(SimFamily family) {
  for (const auto& f : families())
    if (f.family == family) return &f;
  return nullptr;
}

}  // namespace

std::string sim_family_name(SimFamily family) {
  const FamilyInfo* f = family_info(family);
  return f ? f->name : "";
}

std::optional<SimFamily> sim_family_from_name(const std::string& name) {
  std::string up;
  for (char c : name) up += static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c);
  for (const auto& f : families())
    if (up == f.name) return f.family;
  return std::nullopt;
}

long sim_family_baud(SimFamily family) {
  const FamilyInfo* f = family_info(family);
  return f ? f->baud : 0;
}

bool sim_family_has_address(SimFamily family) {
  const FamilyInfo* f = family_info(family);
  return f && f->address;
}

void sim_hold(SimInstrument& sim, SimQuantity quantity, double value) {
  switch (quantity) {
    case SimQuantity::Load:
      sim.physics.torque = {SimShape::Constant, value};
      break;
    case SimQuantity::Speed:
      sim.physics.speed = {SimShape::Constant, value};
      break;
    case SimQuantity::Temp:
      sim.physics.temperature_f = value;
      break;
  }
}

double sim_profile_value(const SimProfile& p, double now_ms) {
  double t = now_ms - p.start_ms;
  switch (p.shape) {
    case SimShape::Constant:
      return p.a;
    case SimShape::Step:
      return t < p.t_ms ? p.a : p.b;
    case SimShape::Sine:
      return p.a + p.b * std::sin(6.283185307179586 * t / p.t_ms);
    case SimShape::Ramp:
      if (t <= 0) return p.a;
      if (t >= p.t_ms) return p.b;
      return p.a + (p.b - p.a) * t / p.t_ms;
  }
  return p.a;
}

bool sim_parse_profile(const std::string& text, SimProfile& profile) {
  std::vector<std::string> parts;
  size_t start = 0;
  for (;;) {
    size_t colon = text.find(':', start);
    parts.push_back(text.substr(start, colon - start));
    if (colon == std::string::npos) break;
    start = colon + 1;
  }
  std::vector<double> v;
  for (size_t i = parts.size() == 1 ? 0 : 1; i < parts.size(); ++i) {
    double x;
    if (!parse_number(parts[i], x)) return false;
    v.push_back(x);
  }
  SimProfile p;
  const std::string& kind = parts.size() == 1 ? std::string("constant") : parts[0];
  if (kind == "constant" && v.size() == 1) {
    p.a = v[0];
  } else if ((kind == "step" || kind == "sine" || kind == "ramp") && v.size() == 3) {
    p.shape = kind == "step" ? SimShape::Step : kind == "sine" ? SimShape::Sine : SimShape::Ramp;
    p.a = v[0];
    p.b = v[1];
    p.t_ms = v[2];
    if (p.t_ms <= 0) return false;
  } else {
    return false;
  }
  profile = p;
  return true;
}

void sim_init(SimInstrument& sim, const SimConfig& config) {
  sim = SimInstrument{};
  sim.config = config;
  sim.config.channels = std::clamp(config.channels, 1, 3);
  sim.rng.seed(config.seed);
  for (const auto& p : kParams) sim.working[p.name] = p.factory;
  if (config.family == SimFamily::Hzym) {
    for (const auto& [name, value] : hzym_factory()) {
      sim.working[name] = value;
      sim.hzym_names.insert(name);
    }
  }
  for (const auto& [message, reply] : family_info(config.family)->probe) sim.table[message] = reply;
  sim.flash = sim.working;
  sim.flash_password = config.password;
  sim.pw_on_time = num(sim, "PWB");
}

void sim_power_cycle(SimInstrument& sim) {
  sim.working = sim.flash;
  sim.locked = sim.flash_locked;
  sim.config.password = sim.flash_password;
  sim.shunt = 0;
  for (int c = 0; c < 3; ++c) {
    sim.tare[c] = 0;
    sim.have_extremes[c] = false;
  }
  sim.override_counts.clear();
  sim.noise_test = SimNoiseTest{};
  sim.pw_on_time = num(sim, "PWB");
}

std::optional<std::string> sim_request(SimInstrument& sim, const std::string& line, double now_ms) {
  std::string message = line;
  if (!message.empty() && message.back() == '\r') message.pop_back();
  if (sim_family_has_address(sim.config.family) && sim.config.addressing) {
    if (message.empty() || (message[0] != sim.config.address && message[0] != '*'))
      return std::nullopt;
    message.erase(0, 1);
  }
  if (message.empty()) return std::nullopt;
  ++sim.requests;
  // A reply a test put in the table wins, on every family; the KST and its close kin the
  // KSLW answer everything else from their parameter store and live model.
  auto it = sim.table.find(message);
  if (it != sim.table.end()) return it->second;
  // The RDX keeps its logic lines as the KST does, in the same messages.
  const bool rdx_lines = sim.config.family == SimFamily::Rdx &&
                         (message.rfind("IO", 0) == 0 || message.rfind("IL", 0) == 0);
  if (sim.config.family == SimFamily::Hzym) return hzym_request(sim, message, now_ms);
  if (sim.config.family != SimFamily::Kst && sim.config.family != SimFamily::Kslw && !rdx_lines)
    return kRefused;
  return kst_request(sim, message, now_ms);
}

double sim_display_value(SimInstrument& sim, int channel, double now_ms) {
  double v;
  parse_number(value_in_mode(sim, channel, fractions(sim, now_ms).f[channel - 1], 'E'), v);
  return v;
}

double sim_analog_volts(SimInstrument& sim, int output, double now_ms) {
  if (output < 0 || output > 2) return 0;
  auto ao = [&sim](int k) { return num(sim, "AO" + std::string(1, static_cast<char>('A' + k))); };
  constexpr double kCountsPer10V = 21298.185072187087;
  double count = 0;
  const auto forced = sim.override_counts.find(static_cast<char>('A' + output));
  if (forced != sim.override_counts.end()) {
    count = static_cast<double>(forced->second);
  } else {
    const int channel = std::clamp(static_cast<int>(ao(4 * output)), 0, 2);
    const double f = fractions(sim, now_ms).f[channel];
    const double v0 = ao(4 * output + 1);
    const double v = v0 + f * (ao(4 * output + 2) - v0);  // the negative side mirrors
    const double top = ao(12 + 3 * output), zero = ao(13 + 3 * output);
    const double bottom = ao(14 + 3 * output);
    count = v >= 0 ? zero + v / 10 * (top - zero) : zero + -v / 10 * (bottom - zero);
    count = std::clamp(count, 0.0, 65535.0);
  }
  return (count - 32768) * 10 / kCountsPer10V;
}

void sim_drive_line(SimInstrument& sim, int line, bool high, double now_ms) {
  if (line < 0 || line > 7) return;
  const std::string letter(1, static_cast<char>('A' + line));
  const bool active_high = ((static_cast<long>(num(sim, "IOI")) >> line) & 1) != 0;
  const bool was_active = sim.line_high[line] == active_high;
  sim.line_high[line] = high;
  const bool active = high == active_high;
  int code = static_cast<int>(num(sim, "IO" + letter));
  // The RDX numbers its functions otherwise: 3 Reset-Maxmin, 4 Tare, 5 Clear-Tare.
  if (sim.config.family == SimFamily::Rdx && code >= 3 && code <= 5)
    code = code == 3 ? 5 : code - 1;
  if ((code == 1 || code == 2) && active != was_active) sim.shunt = active ? code : 0;
  if (!active || was_active) return;  // the other functions act on the edge
  if (code == 3) {
    const Fractions f = fractions(sim, now_ms);
    for (int c = 1; c <= 3; ++c) sim.tare[c - 1] = f.f[c - 1] * display_per_fraction(sim, c);
  }
  if (code == 4)
    for (double& v : sim.tare) v = 0;
  if (code == 5)
    for (bool& h : sim.have_extremes) h = false;
}

bool sim_line_output(SimInstrument& sim, int line, double now_ms) {
  if (line < 0 || line > 7) return false;
  const long bits = std::strtol(io_status(sim, now_ms).c_str(), nullptr, 16);
  return ((bits >> line) & 1) != 0;
}

double sim_raw_counts(SimInstrument& sim, double now_ms) {
  return sample_raw(sim, now_ms);
}

std::string sim_param(const SimInstrument& sim, const std::string& name) {
  auto it = sim.working.find(name);
  return it == sim.working.end() ? "" : it->second;
}

void sim_set_param(SimInstrument& sim, const std::string& name, const std::string& value) {
  sim.working[name] = value;
  if (name == "PWB") sim.pw_on_time = num(sim, "PWB");
}

}  // namespace ovn
