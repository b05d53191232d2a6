#pragma once
// The instrument session: what the program holds about the connected instrument, in one of
// 31 records, and how that record is read from the instrument.
//
// Every access function takes a session number and selects it first (tm_info_select): a
// number from 0 to 30 makes that session current, -1 keeps the current one, 31 or more
// falls back to session 0. So callers that have no session of their own pass -1.
//
// Reading the record (tmi_get_data_ini) talks to the instrument through the retried
// exchange (link/rs232.h); a failed message goes to the operator there, and an Abort ends
// the process with the record as it stood. One thread; nothing here re-enters.

#include <array>
#include <cstdint>
#include <string>

namespace ovn {

constexpr int kTmInfoSessions = 31;
constexpr int32_t kTmInfoCurrent = -1;

// How the instrument replies to its raw-value message (`dtp`).
enum : int32_t {
  kDtpNone = 1500,
  kDtpHex32 = 1501,      // signed 32-bit hex, any length taken
  kDtpHex16 = 1502,      // signed 16-bit hex, at most 4 digits
  kDtpHex16Long = 1503,  // signed 16-bit hex, any length taken
  kDtpDecimal32 = 1504,  // decimal 32-bit integer
  kDtpFloat64 = 1505,    // decimal number
};

// Adjustment points, with point indices -1 (zero) and 0 to 3.
enum : int32_t {
  kPointZero = 1201,
  kPointPositive = 1202,
  kPointNegative = 1203,
  kPointPositive2 = 1204,
  kPointNegative2 = 1205,
};

// Shunt states.
enum : int32_t {
  kShuntNone = 1400,
  kShuntPositive = 1401,
  kShuntNegative = 1402,
  kShuntUnknown = 1403,
};

// Number selectors (tm_info_number), text selectors (tm_info_text), version selectors
// (tm_info_version).
enum : int32_t {
  kSelPlbfinPerPx = 10000,
  kSelNlbfinPerPx,
  kSelUvpvAt0Lbfin,
  kSelPuvpvPerLbfin,
  kSelNuvpvPerLbfin,
  kSelPuvpvPerPx,
  kSelNuvpvPerPx,
  kSelUvpvPerRaw,
  kSelFsUvpv,
  kSelFsLbfin,
  kSelPlvLbfin,
  kSelNlvLbfin,
  kSelTempDegcPerPx,
  kSelTempDegcAtPx0,
  kSelNumberToAverage,
  kSelSamplesPerSecond,
  kSelFactorForRaw,
  kSelMinUvpvNoise,
  kSelMaxUvpvNoise,
  kSelMinUvpvFs,
  kSelMaxUvpvFs,
  kSelA2dGain,
  kSelFilterFrequency,
  kSelHistoryCount,
  kSelZeroRawNominal,
  kSelTempfMin,
  kSelTempfMax,
  kSelTesttimeS,  // 10027
};
enum : int32_t {
  kSelUid = 11000,
  kSelModel,
  kSelTmName,
  kSelRegyKeyy,
  kSelSerial,
  kSelShaft,
  kSelFileExtension,
  kSelCustomerName,
  kSelRawName,
  kSelFileName,
  kSelIdentifier,
  kSelFirmware,  // 11011
};
enum : int32_t {
  kSelVersion0 = 45670,  // version_numbers 0
  kSelVersion2 = 45671,  // version_numbers 2
  kSelVersion1 = 45672,  // version_numbers 1
  kSelVersion3 = 45673,  // version_numbers 3, the whole "VR" reply
};

// One session: what the instrument is and how its numbers are read.
struct TmInfoRecord {
  int32_t dtp = 0;        // kDtp...
  std::string uid;        // model-serial[.shaft][-ID:identifier]-port, for logs and reports
  std::string file_name;  // base name of this instrument's files
  std::string model;
  std::string serial;
  std::string shaft;
  std::string identifier;
  std::string regy_keyy;  // tm_name-port: the settings file of this instrument
  int32_t tm_type = 0;    // family code
  std::string tm_name;
  double plbfin_per_px = 0;  // lbf-in per raw count, positive side
  double nlbfin_per_px = 0;  // negative side
  std::string data_msg;      // reads one raw value
  double uvpv_at_0lbfin = 0;
  double puvpv_per_lbfin = 0;
  double nuvpv_per_lbfin = 0;
  double puvpv_per_px = 0;
  double nuvpv_per_px = 0;
  double uvpv_per_raw = 0;
  double fs_lbfin = 0;
  double fs_uvpv = 0;
  double plv_lbfin = 0;
  double nlv_lbfin = 0;
  std::string temp_msg;  // empty: the family has no temperature message
  double temp_degc_per_px = 0;
  double temp_degc_at_px0 = 0;
  int32_t number_to_average = 0;
  double samples_per_second = 0;
  double factor_for_raw = 0;
  double min_uvpv_noise = 0;
  double max_uvpv_noise = 0;
  double min_uvpv_fs = 0;
  double max_uvpv_fs = 0;
  double a2d_gain = 0;
  std::array<std::string, 4> version_numbers;  // [3] is the whole "VR" reply
  bool inverted_cal_flag = false;
  double filter_frequency = 0;
  int32_t history_count = 0;
  std::string file_extension;  // with its dot
  std::string customer_name;
  double zero_raw_nominal = 0;
  std::string raw_name;
  double testtime_s = 3;
  std::string firmware;
  bool filter_affects_data = false;
  double tempf_min = 65;
  double tempf_max = 90;
};

// ---- Session table -----------------------------------------------------------------------

// Makes `session` current (see the top of this file) and returns the current index. Also
// puts the channel back to 1 unless it is 1 or 2.
int16_t tm_info_select(int32_t session);
int16_t tm_info_current();
// The record of a session (selected first).
const TmInfoRecord& tm_info_record(int32_t session);
// The record of the current session, selecting nothing (for displays that only look).
const TmInfoRecord& tm_info_current_record();

// The channel that channel-addressed messages ("CE<ch>A", "DX<ch>") carry: 1 or 2.
int32_t tm_info_channel();
void tm_info_set_channel(int32_t channel);

// The family of a session; tm_is_type: equal to `code`.
int32_t tm_type(int32_t session);
bool tm_is_type(int32_t code, int32_t session);

// Fields by selector: 0, "" or "0" for a selector outside the tables. A version selector
// gives "0" too while the whole "VR" reply is empty.
double tm_info_number(int32_t selector, int32_t session);
std::string tm_info_text(int32_t selector, int32_t session);
std::string tm_info_version(int32_t selector, int32_t session);

// ---- Reading the session -----------------------------------------------------------------

// Opens the port and finds the instrument through the port selection's loop
// (rs232_open_instrument): asks for the port first when `prompt_port` is set, else takes
// `port_hint` (0: the present port), tries `address_list` besides the remembered address,
// and returns when an instrument of `family` (1100: any family in the search order)
// talks, with the family that answered. Logs "Done Opening".
int32_t tm_info_open(int32_t family, int32_t session, bool prompt_port,
                     const std::string& address_list, int32_t port_hint);

// Reads the instrument into the record of `session` and returns the session number.
// `family` is a family code, or 1100 (with `reopen`: the family the search finds); any
// other code keeps the family the record had. With `reopen` the port is opened first.
// Installs the live reader of display_data (the torque now, lbf-in).
int32_t tmi_get_data_ini(int32_t family, int32_t session, bool prompt_port,
                         const std::string& address_list, int32_t port_hint, bool reopen);
// The same for the current session.
int32_t get_data_ini(int32_t family, bool prompt_port, const std::string& address_list,
                     int32_t port_hint, bool reopen);

// Closes the port, and the session's family becomes 1100: the measurement reads then
// report that they were called too early.
void tm_info_close(int32_t session);

// Opens a session without windows: the port through the port selection's loop, the family
// as named (1100: as found), the record read. Returns the summary:
// "uid=<uid>", "family=<tm_name>", "firmware=<firmware>", "fs_lbfin=<full scale>" and
// "file_name=<file_name>", one per line, lines ended by CR LF.
std::string tm_info_open_headless(int32_t family, const std::string& address_list,
                                  int32_t port_hint);
// The summary of a session as tm_info_open_headless gives it.
std::string tm_info_summary(int32_t session);

// ---- Helpers -----------------------------------------------------------------------------

// True when the firmware text (empty: version_numbers 1 of the current session) is at or
// below "2.037" or from "3.000" to "3.022": the WQPM firmware that reports in counts.
// Compared as text.
bool tm_info_firmware_old(const std::string& version);
// Drops a leading "ZQVD"; a positive `length` keeps only that many characters.
std::string tm_info_strip_model(const std::string& model, int length);
// The ambient temperature range for adjustment, deg F, from the model's range digits (the
// two digits before the first "V" behind the maker's prefix). `kst` adds the KST ranges.
void tm_info_tempf_range(const std::string& model, bool kst, double& tempf_min, double& tempf_max);
// The file name rule: trimmed, characters a file system refuses turned to "_", leading and
// trailing runs of "-" and "." cut, ".." and "-." made ".".
std::string tm_info_clean_file_name(const std::string& name);

// Settings kept per instrument: application `regy_keyy` of the current session. The read
// stores the default when nothing is stored yet.
std::string tm_info_setting_read(const std::string& key, const std::string& section,
                                 const std::string& default_value);
void tm_info_setting_write(const std::string& key, const std::string& section,
                           const std::string& value);

// a / b, or `fallback` when b is exactly 0.
double safe_divide(double a, double b, double fallback);

// Adjustment points: index -1 to 3 (-2 for any other code), name ("Zero", "Positive",
// "Negative", "Positive #2", "Negative #2"; "" otherwise) and letter ("A" to "E").
int32_t tm_info_point_index(int32_t point);
std::string tm_info_point_text(int32_t index);
std::string tm_info_point_letter(int32_t point);
// Shunt states: "No Shunt", "Positive Shunt", "Negative Shunt" and the signs "0", "+",
// "-"; "" for any other state.
std::string tm_info_shunt_name(int32_t state);
std::string tm_info_shunt_sign(int32_t state);

// Puts the module back to its start-up state (every record empty, session 0, channel 1),
// as in a fresh process.
void tm_info_reset_state();

}  // namespace ovn
