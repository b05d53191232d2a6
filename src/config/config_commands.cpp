#include "config/config_commands.h"

#include <charconv>

#include "config/config_load.h"
#include "foundation/kw.h"
#include "foundation/operator.h"
#include "instrument/tm_info.h"
#include "link/rs232.h"

namespace ovn {

namespace {
const std::string kCrLf = "\r\n";
}  // namespace

ConfigInstrument config_instrument_of(int32_t session) {
  const TmInfoRecord& r = tm_info_record(session);
  ConfigInstrument c;
  c.tm_type = r.tm_type;
  c.tm_name = r.tm_name;
  c.file_extension = r.file_extension;
  c.file_name = r.file_name;
  c.uid = r.uid;
  c.firmware = r.version_numbers[3];
  const std::string& v1 = r.version_numbers[1];
  std::from_chars(v1.data(), v1.data() + v1.size(), c.version1);
  c.uvpv_per_raw = r.uvpv_per_raw;
  return c;
}

void tm_file_use_session(const std::function<bool(int32_t family)>& flash_write) {
  tm_file_set_load_hooks(
      {flash_write, [] { get_data_ini(tm_type(kTmInfoCurrent), false, "", -1, false); }});
}

bool tm_file_command_save() {
  const ConfigInstrument c = config_instrument_of(kTmInfoCurrent);
  std::string path;
  if (!tm_file_choose_save("Save Configuration", c, path)) return false;
  if (tm_info_config_save(path, c)) return true;
  gib("Configuration NOT saved to" + kCrLf + path, "OK", 0, "Save Configuration", "Courier New", 0,
      8);
  return false;
}

int tm_file_command_load(int32_t& channels) {
  const ConfigInstrument c = config_instrument_of(kTmInfoCurrent);
  std::string path;
  if (!tm_file_choose_open("Load Configuration", c, path)) return -1;
  int sent = tm_info_config_load(path, true, c);
  channels = get_si16("SD");
  // No speed pickup gives more than 100 Hz per RPM: such a value is put back to 1.
  if (get_f64("SCA") > 100) rs232_send_ok("SCA1.0");
  gib("Configuration uploaded" + kCrLf + std::to_string(sent) + " lines uploaded", "OK", 0,
      "Load Configuration", "Courier New", 0, 8);
  return sent;
}

std::string tm_file_session_end_save() {
  return tm_file_auto_save(config_instrument_of(kTmInfoCurrent));
}

}  // namespace ovn
