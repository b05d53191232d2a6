#pragma once
// A simulated torquemeter: one instrument of any of the nine families, answering one text
// line per request exactly as its stator would.
//
// The KST family (and the KSLW, which shares its vocabulary) is simulated in full: a
// parameter store with working memory and flash,
// the password lock, and a physical model (applied torque and speed, a rotor A/D converter
// with Gaussian noise, a temperature, a regulated rotor supply) from which the live
// messages are computed with the stored adjustment constants. The other eight families
// answer their identification message and, beyond that, from a table of message to reply
// that a test fills.
//
// Plain C++20, no Qt, no exceptions. Times are milliseconds on whatever time base the
// caller uses; the instrument only looks at differences. Nothing here is thread-safe.

#include <cstdint>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "monitor/answers.h"

namespace ovn {

struct SimInstrument;

// Family codes as the program numbers them.
enum class SimFamily : int32_t {
  Wqpm = 1101,
  Rdx = 1102,
  Kslw = 1103,
  Kst = 1104,
  Hzym = 1105,
  Ksvm = 1106,
  S350 = 1107,
  S350Plus = 1108,
  Fga = 1109,
};

// The family's own name ("KST", "S350+"); empty for a code outside the nine.
std::string sim_family_name(SimFamily family);
// The family for a name as sim_family_name gives it (case-insensitive); nothing if unknown.
std::optional<SimFamily> sim_family_from_name(const std::string& name);
// The baud rate the family's stator listens at; the S350 families listen at whatever they
// were set to (SimConfig::baud), so for them this gives 0.
long sim_family_baud(SimFamily family);
// True when requests to the family carry an address letter in front.
bool sim_family_has_address(SimFamily family);

// A signal over time: the applied torque (lbf-in) or speed (RPM).
enum class SimShape { Constant, Step, Sine, Ramp };
struct SimProfile {
  SimShape shape = SimShape::Constant;
  double a = 0;         // constant value; step: before; sine: mean; ramp: start value
  double b = 0;         // step: after; sine: amplitude; ramp: end value
  double t_ms = 1000;   // step: when it steps; sine: period; ramp: duration (then holds b)
  double start_ms = 0;  // time origin of the profile
};
// The value of the profile at time `now_ms`.
double sim_profile_value(const SimProfile& profile, double now_ms);
// Reads "constant:V", "step:V0:V1:T", "sine:MEAN:AMPLITUDE:PERIOD", "ramp:V0:V1:DURATION"
// (times in ms; a bare number is a constant). False on anything else; `profile` is then
// left alone.
bool sim_parse_profile(const std::string& text, SimProfile& profile);

// The technician phrase the simulated bench goes with: one the program accepts, so that a
// scripted run on the simulated instrument enters technician mode without being told it.
inline constexpr const char* kSimTechnicianPhrase = "torque";

// Holds what the simulated instrument measures at `value` from now on: the applied torque
// in lbf-in or the speed in RPM, no longer moving (the noise stays), or the temperature in
// degrees F.
void sim_hold(SimInstrument& sim, SimQuantity quantity, double value);

// How the simulated instrument is built. Everything here can be changed later through
// the SimInstrument's fields as well.
struct SimConfig {
  SimFamily family = SimFamily::Kst;
  char address = 'A';                  // families with addressing
  bool addressing = true;              // false: requests carry no address letter
  std::string line_end = "\r";         // "\r", "\n" or "\r\n"
  long baud = 115200;                  // the S350 families' baud (the others use their own)
  int channels = 3;                    // KST: channel count, 1 to 3
  uint64_t seed = 1;                   // noise generator
  double noise_uvpv = 0.5;             // rotor noise, microvolts per volt (1 sigma, unfiltered)
  std::string password = "kst";        // KST instrument password
  std::string stator_version = "150";  // KST "VR" reply is "KSTs<stator>r<rotor>"
  std::string rotor_version = "40";
  // A fault of the rotor: this fraction of the samples (0 to 1) carries a spike of
  // spike_sigmas noise deviations, either sign, on top of the Gaussian noise.
  double spike_fraction = 0;
  double spike_sigmas = 25;
};

// The physical world around the rotor. A/D count = zero_counts + gain x torque + shunt +
// noise; the instrument turns counts into torque with its stored constants.
struct SimPhysics {
  SimProfile torque;                         // lbf-in
  SimProfile speed;                          // RPM
  double temperature_f = 75.0;               // stator and rotor, deg F
  double zero_counts = 2000.0;               // A/D count with no torque
  double gain_counts_per_lbfin = 40.591992;  // A/D counts per lbf-in
  double shunt_counts = 100975.09988518943;  // A/D shift of the positive shunt
  double shunt_asymmetry = 0.003;            // the negative shunt's shift is this much smaller
  double zero_drift_counts_per_f = 0.0;      // zero shift per deg F away from 75
  double hz_per_rpm = 1.0;                   // speed pickup frequency per RPM
  double urv_volts_at_full_duty = 25.0;      // rotor supply at 100 % duty, at resonance
  double resonance_hz = 135135.135;          // rotor coil resonance
};

// The instrument's noise test in progress or finished.
struct SimNoiseTest {
  int state = 0;  // 0 idle, 1 running, 2 finished
  double start_ms = 0;
  long long count = 0;   // signed: negative means engineering units
  long long number = 0;  // the results
  double sum = 0, variance = 0, min = 1, max = 0;
};

struct SimInstrument {
  SimConfig config;
  SimPhysics physics;
  // KST memory: parameter name to its text. Working memory is what the messages read and
  // write; "@@" copies it to flash; a power cycle copies flash back.
  std::map<std::string, std::string> working;
  std::map<std::string, std::string> flash;
  bool locked = false;
  bool flash_locked = false;  // the lock state as stored in flash
  std::string flash_password;
  // Message to reply (without line end), asked before anything else: the whole vocabulary
  // of the other families beyond their probe, and an override for a KST reply in a test.
  std::map<std::string, std::string> table;
  // The HZYM's own values among `working` (its hex store and history records).
  std::set<std::string> hzym_names;
  // Live state.
  int shunt = 0;               // 0 none, 1 positive, 2 negative
  double tare[3] = {0, 0, 0};  // display units per channel
  bool have_extremes[3] = {false, false, false};
  double max_frac[3] = {0, 0, 0};  // extremes as fractions of full scale
  double extremes_ms = 0;          // the extremes have followed the signal up to here
  double min_frac[3] = {0, 0, 0};
  std::map<char, long> override_counts;  // "@O<x>" analog output overrides
  bool line_high[8] = {true, true, true, true, true, true, true, true};  // logic lines
  double pw_on_time = 89;  // "PWb": the regulated on-time
  double pw_updated_ms = 0;
  long requests = 0;  // requests answered (diagnostics)
  SimNoiseTest noise_test;
  std::mt19937_64 rng;
};

// Builds the instrument in its factory state (flash = working memory).
void sim_init(SimInstrument& sim, const SimConfig& config);
// Working memory back from flash, live state cleared: what switching it off and on does.
void sim_power_cycle(SimInstrument& sim);

// One request line (address letter if any, message; without the LF) arriving complete at
// `now_ms`. The reply without its line end, or nothing when the request is not for this
// instrument (another address) or not understood at all.
std::optional<std::string> sim_request(SimInstrument& sim, const std::string& line, double now_ms);

// The live values the instrument would show on `channel` (1 to 3) at `now_ms`, for tests:
// the display value (engineering units, tared) and the raw A/D count (unfiltered).
double sim_display_value(SimInstrument& sim, int channel, double now_ms);
double sim_raw_counts(SimInstrument& sim, double now_ms);

// The voltage analog output `output` (0 to 2: pins G, A, B) gives at `now_ms`: its
// driving channel's value through its setup ("AO" four numbers) and its trim counts
// ("AOM" to "AOU": +10 V, 0 V, -10 V), or the override count of "@O"; the converter gives
// 10 V for each 21298.185 counts above 32768.
double sim_analog_volts(SimInstrument& sim, int output, double now_ms);
// Drives logic line `line` (0 to 7, "IOA" to "IOH") high or low from outside. A line
// assigned an input function acts when it reaches its active level (high when its bit of
// "IOI" is set, else low): +Cal and -Cal switch the shunt on while active, Tare tares,
// Clear-Tare clears the tare, Reset-Maxmin resets the extremes.
void sim_drive_line(SimInstrument& sim, int line, bool high, double now_ms);
// Whether output line `line` is high now (its function's state, inverted by "IOI").
bool sim_line_output(SimInstrument& sim, int line, double now_ms);

// The parameter text as the instrument holds it in working memory; empty when unknown.
std::string sim_param(const SimInstrument& sim, const std::string& name);
// Sets a parameter in working memory directly (a test's shortcut past the lock).
void sim_set_param(SimInstrument& sim, const std::string& name, const std::string& value);

}  // namespace ovn
