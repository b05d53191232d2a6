#include "instrument/tm_info.h"

#include <cctype>
#include <cmath>
#include <utility>
#include <vector>

#include "foundation/debug_log.h"
#include "foundation/hexstr.h"
#include "foundation/kw.h"
#include "foundation/operator.h"
#include "foundation/settings.h"
#include "instrument/family.h"
#include "instrument/measure.h"
#include "link/rs232.h"
#include "link/selcom.h"

namespace ovn {
namespace {

constexpr const char* kTmInfoApp = "ovn-tm-info";

struct TmInfoState {
  std::array<TmInfoRecord, kTmInfoSessions> records;
  int16_t current = 0;
  int32_t channel = 1;
};

TmInfoState& state() {
  static TmInfoState s;
  return s;
}

TmInfoRecord& record_of(int32_t session) {
  return state().records[tm_info_select(session)];
}

std::string ch_text() {
  return std::to_string(state().channel);
}

// The name as it is followed by the current channel: "CE" "A" gives "CE1A".
std::string on_channel(const std::string& name, const std::string& tail = "") {
  return name + ch_text() + tail;
}

// The family's default sample count, kept in the settings for the operator to see.
void write_samples_default(const std::string& key, int samples) {
  kw_setting_put(kTmInfoApp, "Settings", key, std::to_string(samples));
}

// Reads "VR": kept whole as the firmware and in version_numbers 3, and with `plain` also in
// version_numbers 1 (the families that do not split it).
std::string read_version(TmInfoRecord& r, bool plain) {
  std::string vr = get_reply("VR");
  r.firmware = vr;
  r.version_numbers[3] = vr;
  if (plain) r.version_numbers[1] = vr;
  return vr;
}

// "Model 350 v7.3" gives "7.3": the S350 families report more than their version.
std::string after_v(const std::string& vr) {
  size_t v = vr.find('v');
  return v == std::string::npos ? vr : vr.substr(v + 1);
}

// Splits "VR" by the separators in turn; true when it gave `count` pieces of which those
// from `first_numeric` on are numbers.
bool split_version(const std::string& vr, const std::string& separators, size_t count,
                   size_t first_numeric, std::vector<std::string>& pieces) {
  pieces.assign(count, "");
  if (kw_split_by_list(vr, separators, pieces) != static_cast<int>(count)) return false;
  for (size_t i = first_numeric; i < count; ++i)
    if (!kw_is_numeric(pieces[i])) return false;
  return true;
}

// KST and KSLW: one vocabulary, channel-addressed.
void read_kst_kin(TmInfoRecord& r, bool kst) {
  std::string vr = read_version(r, false);
  std::vector<std::string> pieces;
  if (split_version(vr, "|s|r", 3, 1, pieces)) {
    r.version_numbers[1] = pieces[1];
    r.version_numbers[2] = pieces[2];
  }
  r.tm_name = kst ? "KST" : "KSLW";
  r.dtp = kDtpHex32;
  r.data_msg = on_channel("DX");
  r.model = get_reply("UIA");
  r.serial = get_reply("UIB");
  r.shaft = get_reply("UID");
  r.identifier = get_reply("ID");
  r.customer_name = get_reply("UIC");
  r.file_extension = kst ? ".611" : ".642";
  r.raw_name = "A/D";
  double fs = get_f64(on_channel("CE", "A"));
  r.fs_lbfin = fs;
  r.plv_lbfin = get_f64(on_channel("CE", "B")) * fs;
  r.nlv_lbfin = get_f64(on_channel("CE", "C")) * fs;
  r.plbfin_per_px = safe_divide(fs, get_si32("UCA"), 1);
  r.nlbfin_per_px = r.plbfin_per_px;
  r.temp_msg = "TC";
  r.temp_degc_per_px = 0.5555555555555556;
  r.temp_degc_at_px0 = -17.77777777777777;
  write_samples_default(r.tm_name + "-Samples", 16000);
  r.samples_per_second = kst ? 4000 : 3000;
  r.factor_for_raw = 1;
  r.uvpv_per_raw = kst ? 0.024635402112829115 : 0.02988631811612106;
  r.min_uvpv_noise = kst ? 0.3 : 0.1;
  r.max_uvpv_noise = kst ? 1.0 : 0.4;
  r.a2d_gain = kst ? 154.84615384615384 : 255.28051001821495;
  r.filter_frequency = kst ? 7812.5 : 8000;
  tm_info_tempf_range(r.model, kst, r.tempf_min, r.tempf_max);
}

void read_rdx(TmInfoRecord& r) {
  std::string vr = read_version(r, false);
  std::vector<std::string> pieces;
  if (split_version(vr, "|i|m|r", 4, 1, pieces)) {
    for (int i = 0; i < 3; ++i) r.version_numbers[i] = pieces[i + 1];
  } else {
    r.version_numbers[2] = "0";
  }
  int stop = 0;
  bool fresh = kw_parse_double(r.version_numbers[2], stop) >= 1000;
  r.tm_name = "RDX";
  r.dtp = kDtpDecimal32;
  r.data_msg = "P4";
  r.model = get_reply("MD");
  r.serial = get_reply("SN");
  r.shaft = get_reply("SH");
  r.identifier = get_reply("ID");
  r.customer_name = get_reply("CN");
  r.file_extension = ".673";
  r.raw_name = "A/D";
  double fs = get_f64("CEA");
  r.fs_lbfin = fs;
  r.plv_lbfin = get_f64("CEB");
  r.nlv_lbfin = get_f64("CEC");
  // "FS" counts in units of 32768.
  r.plbfin_per_px = safe_divide(fs, static_cast<double>(get_si32("FS")) * 32768.0, 1);
  r.nlbfin_per_px = r.plbfin_per_px;
  r.temp_msg = "RCT";
  r.temp_degc_per_px = 0.5555555555555556;
  r.temp_degc_at_px0 = -17.77777777777777;
  write_samples_default("RDX-Samples", 16000);
  r.samples_per_second = 2700;
  r.factor_for_raw = 1;
  r.uvpv_per_raw = fresh ? 0.02988631811612106 : 0.030079856059620404;
  r.min_uvpv_noise = fresh ? 0.1 : 0.3;
  r.max_uvpv_noise = fresh ? 0.4 : 0.7;
  r.a2d_gain = fresh ? 255.28051001821495 : 253.638;
  r.filter_frequency = 20000;
}

// The value of one key in the list "SP" answers: keys and values alternate, separated by
// tabs, on the one reply line ("WO<TAB>W-17<TAB>CN<TAB>Acme").
std::string sp_value(const std::string& key) {
  std::vector<std::string> pieces = kw_split(get_reply("SP"), "\t");
  for (size_t i = 0; i + 1 < pieces.size(); i += 2)
    if (kw_justify(pieces[i], 0, " ") == key) return kw_justify(pieces[i + 1], 0, " ");
  return "";
}

void read_wqpm(TmInfoRecord& r) {
  std::string vr = read_version(r, true);
  bool old = tm_info_firmware_old(vr);
  r.testtime_s = (vr >= "2.048" && vr <= "3.000") || vr >= "3.048" ? 3 : 1;
  r.tm_name = "WQPM";
  r.dtp = old ? kDtpHex16Long : kDtpHex32;
  r.data_msg = old ? "XC" : "X3";
  r.model = get_reply("MD");
  r.serial = get_reply("SN");
  r.shaft = sp_value("WO");
  r.customer_name = sp_value("CN");
  r.file_extension = ".917";
  r.raw_name = "Hz";
  double fs = get_hex_f32("CCA");
  r.fs_lbfin = fs;
  r.plv_lbfin = get_hex_f32("CCC");
  r.nlv_lbfin = get_hex_f32("CCD");
  get_reply("SC");
  r.plbfin_per_px = fs / (old ? 15000.0 : 983040000.0);
  r.nlbfin_per_px = r.plbfin_per_px;
  r.temp_msg = "AD";
  double tca = get_hex_f32("TCA");
  double tcb = get_hex_f32("TCB");
  double tcc = get_hex_f32("TCC");
  double tcd = get_hex_f32("TCD");
  r.temp_degc_per_px = safe_divide(tcc - tca, tcd - tcb, 0);
  r.temp_degc_at_px0 = tcc - r.temp_degc_per_px * tcd;
  write_samples_default(old ? "WQPM-Samples-pre2.037" : "WQPM-Samples", old ? 1000 : 16000);
  r.samples_per_second = old ? 1600 : 2100;
  r.factor_for_raw = old ? 1 : 0.01;
  r.uvpv_per_raw = 0.5988;
  r.min_uvpv_noise = 0.2;
  r.max_uvpv_noise = 2;
  r.filter_frequency = 10000;
  r.history_count = vr < "2.037" ? 10 : 3;
  r.zero_raw_nominal = 8300;
  r.filter_affects_data = old;
}

void read_hzym(TmInfoRecord& r) {
  std::string vr = read_version(r, true);
  r.tm_name = "HZYM";
  r.dtp = kDtpHex16;
  r.data_msg = "XC1";
  r.model = get_reply("MD");
  r.serial = get_reply("SE");
  r.file_extension = ".704";
  r.raw_name = "Counts";
  r.fs_lbfin = get_hex_f32("FS1");
  r.plv_lbfin = get_hex_f32("CC1B");
  r.nlv_lbfin = r.plv_lbfin;
  std::string sc = get_hexstr("SC");
  if (sc.size() >= 16) {
    std::vector<std::string> v(2);
    hexstr_decode("ff", sc, v);
    int stop = 0;
    r.plbfin_per_px = kw_parse_double(v[0], stop);
    r.nlbfin_per_px = kw_parse_double(v[1], stop);
  }
  r.temp_msg = "TP";
  r.temp_degc_per_px = 1.0 / 16.0;
  write_samples_default("HZYM-Samples", 1000);
  r.samples_per_second = 200;
  r.factor_for_raw = 1;
  r.uvpv_per_raw =
      safe_divide(1979.8867531797266, get_hex_si16("GN", kRs232DefaultTimeout, false), 0);
  bool no_model = r.model == "No-Model-Number";
  r.min_uvpv_noise = no_model ? -1 : 7;
  r.max_uvpv_noise = no_model ? -1 : 25;
  r.filter_frequency = 2000;
  r.history_count = 9;
  r.filter_affects_data = true;
}

void read_ksvm(TmInfoRecord& r) {
  std::string vr = read_version(r, true);
  r.tm_name = "KSVM";
  r.dtp = kDtpDecimal32;
  r.data_msg = "c";
  r.model = get_reply("CR");
  r.serial = get_reply("CP");
  r.shaft = get_reply("CQ");
  if (vr > "201") r.customer_name = get_reply("CS");
  r.file_extension = ".735";
  r.raw_name = "A/D";
  double fs = get_si32("CK");
  r.fs_lbfin = fs;
  r.plv_lbfin = fs;
  r.nlv_lbfin = -fs;
  r.plbfin_per_px = safe_divide(fs, get_si32("CD") * 156.25, 1);
  r.nlbfin_per_px = safe_divide(fs, get_si32("CE") * 156.25, 1);
  r.temp_msg = "TP";
  r.temp_degc_per_px = 1.0 / 18221073.3769697;
  r.temp_degc_at_px0 = -8.928571428571429;
  write_samples_default("KSVM-Samples", 1000);
  r.samples_per_second = 300;
  r.factor_for_raw = 1;
  r.uvpv_per_raw = 0.0007698563160259098;
  r.min_uvpv_noise = 0.5;
  r.max_uvpv_noise = 1.0;
  r.a2d_gain = 154.84615384615384;
  r.filter_frequency = 7812.5;
}

// S350 and S350+: channel-addressed, models told by the unit of the channel.
void read_s350_kin(TmInfoRecord& r, bool plus) {
  std::string vr = read_version(r, true);
  r.firmware = after_v(vr);
  bool old = !plus && r.firmware < "7.2";
  r.tm_name = plus ? "350+ Series" : "350 Series";
  r.dtp = old ? kDtpHex16 : kDtpHex32;
  r.data_msg = on_channel(old ? "XC" : "P4");
  std::string unit = get_reply(on_channel("UN"));
  bool torque = unit.rfind("dF", 0) == 0;
  r.model = std::string(plus ? "350+" : "350") + (torque ? "t" : "c");
  r.file_extension = plus ? ".350+" : ".350";
  r.raw_name = plus ? "A/D" : unit;
  double fs = get_f32(on_channel("FS"));
  r.fs_lbfin = fs;
  r.plv_lbfin = plus ? get_f32(on_channel("CC", "C")) * fs : 1;
  r.nlv_lbfin = plus ? get_f32(on_channel("CC", "E")) * fs : 1;
  r.plbfin_per_px = old ? 1 : fs / 655360000.0;
  r.nlbfin_per_px = r.plbfin_per_px;
  r.temp_degc_per_px = 1;
  write_samples_default(r.tm_name + "-Samples", 500);
  r.samples_per_second = 300;
  r.factor_for_raw = plus ? safe_divide(4000000.0, fs, 1) : 1;
  r.uvpv_per_raw = plus ? 0.0005 : old ? 1 : fs / 32768.0;
  r.min_uvpv_noise = 0.01;
  r.max_uvpv_noise = 0.5;
  r.filter_frequency = plus ? 7812.5 : 2000;
  r.filter_affects_data = true;
}

// Families the session reads nothing from (FGA, none).
void read_other(TmInfoRecord& r) {
  r.tm_name = "???";
  r.dtp = kDtpNone;
  r.model = "NoModel";
  r.serial = "NoSerial";
  r.file_extension = ".000";
  r.raw_name = "A/D";
  r.fs_lbfin = 100;
  r.plv_lbfin = 1;
  r.nlv_lbfin = 1;
  r.plbfin_per_px = 1;
  r.nlbfin_per_px = 1;
  r.temp_degc_per_px = 1;
  write_samples_default(r.tm_name + "-Samples", 500);
  r.samples_per_second = 100;
  r.factor_for_raw = 1;
  r.min_uvpv_noise = 0.1;
  r.max_uvpv_noise = 0.2;
  r.firmware = "None";
}

void read_family_block(TmInfoRecord& r) {
  switch (r.tm_type) {
    case kTmKst:
    case kTmKslw:
      read_kst_kin(r, r.tm_type == kTmKst);
      break;
    case kTmRdx:
      read_rdx(r);
      break;
    case kTmWqpm:
      read_wqpm(r);
      break;
    case kTmHzym:
      read_hzym(r);
      break;
    case kTmKsvm:
      read_ksvm(r);
      break;
    case kTmS350:
    case kTmS350Plus:
      read_s350_kin(r, r.tm_type == kTmS350Plus);
      break;
    default:
      read_other(r);
  }
}

void build_names(TmInfoRecord& r) {
  std::string port = rs232_port_name(rs232_port());
  r.file_name = tm_info_clean_file_name(r.customer_name + "." + tm_info_strip_model(r.model, 0) +
                                        "-" + r.serial + "." + r.shaft + r.file_extension);
  r.number_to_average = static_cast<int32_t>(kw_round(r.samples_per_second * r.testtime_s));
  r.uid = r.model + "-" + r.serial;
  if (!r.shaft.empty()) r.uid += "." + r.shaft;
  if (!r.identifier.empty()) r.uid += "-ID:" + r.identifier;
  r.uid += "-" + port;
  r.regy_keyy = r.tm_name + "-" + port;
}

}  // namespace

// ---- Session table -----------------------------------------------------------------------

int16_t tm_info_select(int32_t session) {
  TmInfoState& s = state();
  if (session >= 0 && session < kTmInfoSessions)
    s.current = static_cast<int16_t>(session);
  else if ((session < 0 && s.current < 0) || session >= kTmInfoSessions)
    s.current = 0;
  if (s.channel != 1 && s.channel != 2) s.channel = 1;
  return s.current;
}

int16_t tm_info_current() {
  return state().current;
}

const TmInfoRecord& tm_info_record(int32_t session) {
  return record_of(session);
}

int32_t tm_info_channel() {
  return state().channel;
}
void tm_info_set_channel(int32_t channel) {
  state().channel = channel;
}

int32_t tm_type(int32_t session) {
  return record_of(session).tm_type;
}
bool tm_is_type(int32_t code, int32_t session) {
  return tm_type(session) == code;
}

double tm_info_number(int32_t selector, int32_t session) {
  const TmInfoRecord& r = record_of(session);
  switch (selector) {
    case kSelPlbfinPerPx:
      return r.plbfin_per_px;
    case kSelNlbfinPerPx:
      return r.nlbfin_per_px;
    case kSelUvpvAt0Lbfin:
      return r.uvpv_at_0lbfin;
    case kSelPuvpvPerLbfin:
      return r.puvpv_per_lbfin;
    case kSelNuvpvPerLbfin:
      return r.nuvpv_per_lbfin;
    case kSelPuvpvPerPx:
      return r.puvpv_per_px;
    case kSelNuvpvPerPx:
      return r.nuvpv_per_px;
    case kSelUvpvPerRaw:
      return r.uvpv_per_raw;
    case kSelFsUvpv:
      return r.fs_uvpv;
    case kSelFsLbfin:
      return r.fs_lbfin;
    case kSelPlvLbfin:
      return r.plv_lbfin;
    case kSelNlvLbfin:
      return r.nlv_lbfin;
    case kSelTempDegcPerPx:
      return r.temp_degc_per_px;
    case kSelTempDegcAtPx0:
      return r.temp_degc_at_px0;
    case kSelNumberToAverage:
      return r.number_to_average;
    case kSelSamplesPerSecond:
      return r.samples_per_second;
    case kSelFactorForRaw:
      return r.factor_for_raw;
    case kSelMinUvpvNoise:
      return r.min_uvpv_noise;
    case kSelMaxUvpvNoise:
      return r.max_uvpv_noise;
    case kSelMinUvpvFs:
      return r.min_uvpv_fs;
    case kSelMaxUvpvFs:
      return r.max_uvpv_fs;
    case kSelA2dGain:
      return r.a2d_gain;
    case kSelFilterFrequency:
      return r.filter_frequency;
    case kSelHistoryCount:
      return r.history_count;
    case kSelZeroRawNominal:
      return r.zero_raw_nominal;
    case kSelTempfMin:
      return r.tempf_min;
    case kSelTempfMax:
      return r.tempf_max;
    case kSelTesttimeS:
      return r.testtime_s;
    default:
      return 0;
  }
}

std::string tm_info_text(int32_t selector, int32_t session) {
  const TmInfoRecord& r = record_of(session);
  switch (selector) {
    case kSelUid:
      return r.uid;
    case kSelModel:
      return r.model;
    case kSelTmName:
      return r.tm_name;
    case kSelRegyKeyy:
      return r.regy_keyy;
    case kSelSerial:
      return r.serial;
    case kSelShaft:
      return r.shaft;
    case kSelFileExtension:
      return r.file_extension;
    case kSelCustomerName:
      return r.customer_name;
    case kSelRawName:
      return r.raw_name;
    case kSelFileName:
      return r.file_name;
    case kSelIdentifier:
      return r.identifier;
    case kSelFirmware:
      return r.firmware;
    default:
      return "";
  }
}

std::string tm_info_version(int32_t selector, int32_t session) {
  const TmInfoRecord& r = record_of(session);
  if (r.version_numbers[3].empty()) return "0";
  switch (selector) {
    case kSelVersion0:
      return r.version_numbers[0];
    case kSelVersion2:
      return r.version_numbers[2];
    case kSelVersion1:
      return r.version_numbers[1];
    case kSelVersion3:
      return r.version_numbers[3];
    default:
      return "0";
  }
}

// ---- Reading the session -----------------------------------------------------------------

int32_t tm_info_open(int32_t family, int32_t session, bool prompt_port,
                     const std::string& address_list, int32_t port_hint) {
  (void)session;  // the selection dialog serves one session at a time
  return rs232_open_instrument(family, address_list, prompt_port ? -1 : port_hint, rs232_port());
}

int32_t tmi_get_data_ini(int32_t family, int32_t session, bool prompt_port,
                         const std::string& address_list, int32_t port_hint, bool reopen) {
  int16_t index = tm_info_select(session);
  TmInfoState& s = state();
  int32_t previous = s.records[index].tm_type;
  TmInfoRecord r;
  r.tm_type = family == kTmNone || tm_info_is_family(family) ? family : previous;
  if (reopen) r.tm_type = tm_info_open(r.tm_type, index, prompt_port, address_list, port_hint);
  read_family_block(r);
  build_names(r);
  s.records[index] = r;

  // The slopes come from the adjustment points the instrument holds.
  TmInfoRecord& held = s.records[index];
  held.uvpv_at_0lbfin = tm_info_point_uvpv(kPointZero, index);
  held.puvpv_per_lbfin = safe_divide(
      tm_info_point_uvpv(kPointPositive, index) - held.uvpv_at_0lbfin, held.fs_lbfin, 0);
  held.nuvpv_per_lbfin = safe_divide(
      tm_info_point_uvpv(kPointNegative, index) - held.uvpv_at_0lbfin, -held.fs_lbfin, 0);
  held.puvpv_per_px = held.puvpv_per_lbfin * held.plbfin_per_px;
  held.nuvpv_per_px = held.nuvpv_per_lbfin * held.nlbfin_per_px;
  held.inverted_cal_flag = held.puvpv_per_lbfin < 0;

  set_display_data_reader([] { return get_data_lbfin(kTmInfoCurrent); });
  return index;
}

int32_t get_data_ini(int32_t family, bool prompt_port, const std::string& address_list,
                     int32_t port_hint, bool reopen) {
  return tmi_get_data_ini(family, kTmInfoCurrent, prompt_port, address_list, port_hint, reopen);
}

void tm_info_close(int32_t session) {
  TmInfoRecord& r = record_of(session);
  selcom_close();
  // A session read on a port the caller opened has no selection form to close it.
  rs232_close_if_open(rs232_port());
  // The raw form goes too, so that every reader reports a call before the session.
  r.tm_type = kTmNone;
  r.dtp = kDtpNone;
}

std::string tm_info_summary(int32_t session) {
  const TmInfoRecord& r = record_of(session);
  return "uid=" + r.uid + "\r\nfamily=" + r.tm_name + "\r\nfirmware=" + r.firmware +
         "\r\nfs_lbfin=" + double_text(r.fs_lbfin) + "\r\nfile_name=" + r.file_name + "\r\n";
}

std::string tm_info_open_headless(int32_t family, const std::string& address_list,
                                  int32_t port_hint) {
  int32_t session = tmi_get_data_ini(family, kTmInfoCurrent, false, address_list, port_hint, true);
  return tm_info_summary(session);
}

// ---- Helpers -----------------------------------------------------------------------------

bool tm_info_firmware_old(const std::string& version) {
  const std::string& v =
      version.empty() ? state().records[state().current].version_numbers[1] : version;
  return v <= "2.037" || (v >= "3.000" && v <= "3.022");
}

std::string tm_info_strip_model(const std::string& model, int length) {
  std::string m = model.rfind("ZQVD", 0) == 0 ? model.substr(4) : model;
  if (length > 0 && static_cast<int>(m.size()) > length) m.resize(length);
  return m;
}

void tm_info_tempf_range(const std::string& model, bool kst, double& tempf_min, double& tempf_max) {
  std::string m = tm_info_strip_model(model, 0);
  size_t v = m.find('V');
  std::string digits;
  if (v != std::string::npos && v >= 2 && std::isdigit(static_cast<unsigned char>(m[v - 2])) &&
      std::isdigit(static_cast<unsigned char>(m[v - 1])))
    digits = m.substr(v - 2, 2);
  struct Range {
    const char* digits;
    double low, high;
  };
  static const Range kRanges[] = {{"", 95, 120},  {"00", 95, 120}, {"01", 74, 99}, {"02", 74, 99},
                                  {"03", 72, 95}, {"04", 67, 85},  {"06", 67, 77}, {"07", 67, 77}};
  tempf_min = 67;
  tempf_max = 85;
  if (kst && (digits == "50" || digits == "51")) {
    tempf_min = 72;
    tempf_max = 95;
  }
  for (const Range& range : kRanges) {
    if (digits == range.digits) {
      tempf_min = range.low;
      tempf_max = range.high;
    }
  }
}

std::string tm_info_clean_file_name(const std::string& name) {
  std::string n = kw_justify(name, 0, " ");
  for (char& c : n)
    if (std::string(" ?\\/:*<>|\"").find(c) != std::string::npos) c = '_';
  size_t first = n.find_first_not_of("-.");
  if (first == std::string::npos) return "";
  n = n.substr(first, n.find_last_not_of("-.") - first + 1);
  return kw_replace(kw_replace(n, "..", "."), "-.", ".");
}

std::string tm_info_setting_read(const std::string& key, const std::string& section,
                                 const std::string& default_value) {
  return kw_setting_seed(record_of(kTmInfoCurrent).regy_keyy, section, key, default_value);
}

void tm_info_setting_write(const std::string& key, const std::string& section,
                           const std::string& value) {
  kw_setting_put(record_of(kTmInfoCurrent).regy_keyy, section, key, value);
}

double safe_divide(double a, double b, double fallback) {
  return b == 0 ? fallback : a / b;
}

int32_t tm_info_point_index(int32_t point) {
  return point >= kPointZero && point <= kPointNegative2 ? point - kPointPositive : -2;
}

std::string tm_info_point_text(int32_t index) {
  static const char* kNames[] = {"Zero", "Positive", "Negative", "Positive #2", "Negative #2"};
  return index >= -1 && index <= 3 ? kNames[index + 1] : "";
}

std::string tm_info_point_letter(int32_t point) {
  return kw_letter_of(tm_info_point_index(point) + 1);
}

std::string tm_info_shunt_name(int32_t state) {
  static const char* kNames[] = {"No Shunt", "Positive Shunt", "Negative Shunt"};
  return state >= kShuntNone && state <= kShuntNegative ? kNames[state - kShuntNone] : "";
}

std::string tm_info_shunt_sign(int32_t state) {
  static const char* kSigns[] = {"0", "+", "-"};
  return state >= kShuntNone && state <= kShuntNegative ? kSigns[state - kShuntNone] : "";
}

void tm_info_reset_state() {
  state() = TmInfoState{};
  tm_info_measure_reset_state();
}

}  // namespace ovn
