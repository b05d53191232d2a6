#include "config/flash.h"

#include "instrument/identify.h"

#include <optional>

#include "foundation/debug_log.h"
#include "foundation/kw.h"
#include "foundation/operator.h"
#include "foundation/platform.h"
#include "foundation/settings.h"
#include "instrument/family.h"
#include "instrument/tm_info.h"
#include "link/rs232.h"

namespace ovn {

namespace {

constexpr double kFlashWaitMs = 1000.0;  // the instrument is deaf while it writes its flash
constexpr const char* kIdTitle = "Change KSTs RS485 ID";
constexpr const char* kResetTitle = "Reset Flash";

struct Default {
  const char* name;
  const char* value;
  bool output_trim;  // AOM to AOU: set at the factory per unit, kept by the third choice
};

// The factory defaults of a KST, sent in this order; the numbers are sent as written.
constexpr Default kFactory[] = {
    {"UCA", "655360000", false},
    {"UCB", "0", false},
    {"UIA", "None", false},
    {"UIB", "None", false},
    {"UIC", "None", false},
    {"TA", "3", false},
    {"UID", "None", false},
    {"UN1", "lbf-in", false},
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
    {"AOM", "54269.82428714606", true},
    {"AON", "32971.639214958974", true},
    {"AOO", "11673.454142771885", true},
    {"AOP", "54269.82428714606", true},
    {"AOQ", "32971.639214958974", true},
    {"AOR", "11673.454142771885", true},
    {"AOS", "54269.82428714606", true},
    {"AOT", "32971.639214958974", true},
    {"AOU", "11673.454142771885", true},
    {"IOA", "19", false},
    {"ILA", "1.1", false},
    {"ILB", "-1.1", false},
    {"IOB", "16", false},
    {"ILC", "1.1", false},
    {"ILD", "-1.1", false},
    {"IOC", "3", false},
    {"ILE", "1.1", false},
    {"ILF", "-1.1", false},
    {"IOD", "17", false},
    {"ILG", "1.1", false},
    {"ILH", "-1.1", false},
    {"IOE", "5", false},
    {"ILI", "1.1", false},
    {"ILJ", "-1.1", false},
    {"IOF", "4", false},
    {"ILK", "1.1", false},
    {"ILL", "-1.1", false},
    {"IOG", "1", false},
    {"ILM", "1.1", false},
    {"ILN", "-1.1", false},
    {"IOH", "2", false},
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
    {"ID", "A", false},
};

// Channels 2 (speed) and 3 (power), sent after the channel count is set to three.
constexpr Default kSpeedPower[] = {
    {"UN2", "RPM", false},   {"DS2", "1", false},         {"FL2", "9", false},
    {"OL2", "15000", false}, {"CE2A", "15000", false},    {"CE2B", "1", false},
    {"CF2A", "0", false},    {"CF2B", "20000", false},    {"SCA", "1", false},
    {"SCB", ".0001", false}, {"SCC", "10000", false},     {"SCD", "5000", false},
    {"SCE", "0", false},     {"UN3", "Hp", false},        {"DS3", "1", false},
    {"FL3", "9", false},     {"OL3", "952.47384", false}, {"CE3A", "476.23692", false},
    {"CE3B", "1", false},    {"CF3A", "0", false},        {"CF3B", "400000000", false},
};

// Families are told apart by a switch at each operation; an unknown code is a bug.
void check_family(int32_t family, const char* where) {
  if (family != kTmNone && !tm_info_is_family(family))
    fatal_error(std::string(where) + ": unknown instrument family " + std::to_string(family));
}

template <size_t N>
void send_defaults(const Default (&list)[N], bool keep_output_trims) {
  for (const Default& d : list) {
    if (keep_output_trims && d.output_trim) continue;
    bool ok = rs232_send_ok(std::string(d.name) + d.value);
    // From its "OK" on the instrument answers only to the new letter.
    if (ok && std::string(d.name) == "ID") rs232_set_id(d.value);
  }
}

void notice(const std::string& text, const std::string& title) {
  gib(text, "OK", kGibWarning, title, "Courier New", 0, 8);
}

}  // namespace

bool tm_info_has_flash(int32_t family) {
  check_family(family, "tm_info_has_flash");
  switch (family) {
    case kTmWqpm:
    case kTmRdx:
    case kTmKslw:
    case kTmKst:
    case kTmKsvm:
    case kTmS350Plus:
      return true;
    default:
      return false;
  }
}

bool tm_info_has_id(int32_t family) {
  check_family(family, "tm_info_has_id");
  return tm_family_has_address(family);
}

bool tm_info_flash_write(int32_t session) {
  return tm_info_flash_write_family(tm_type(session));
}

bool tm_info_flash_write_family(int32_t family) {
  debug_log("FLASH WRITE...");
  bool ok = true;
  if (tm_info_has_flash(family)) {
    ok = rs232_send_ok("@@", kFlashWaitMs, 3);
    get_reply("VR");
  }
  debug_log("FLASH WRITING DONE");
  return ok;
}

bool tm_info_change_id(int32_t family, const std::function<void()>& reread_session) {
  if (!tm_info_has_id(family)) {
    debug_log("ID: " + tm_info_family_name(family) + " has no address letter");
    return false;
  }
  std::string current = get_reply("ID");
  // The prompt goes through the escape rules; a "\" as the current letter must show as one.
  std::optional<std::string> answer =
      input_box("Current ID:" + kw_escape(current, true) + "\r\nEnter New ID:", kIdTitle);
  if (!answer || answer->empty()) return false;
  if (answer->size() > 1) {
    notice("ID must be a single character", kIdTitle);
    return false;
  }
  char letter = (*answer)[0];
  if (letter < '@' || letter > '~') {
    notice("ID should be a letter (Currently \"" + *answer + "\")", kIdTitle);
    return false;
  }
  if (!rs232_send_ok("ID" + *answer)) return false;
  rs232_set_id(*answer);
  // The port search tries the remembered letter first: next time it finds the new one.
  kw_setting_put(selcom_key_of(family), "Communications", "ID", rs232_id());
  if (reread_session) reread_session();
  return true;
}

bool flash_command_change_id() {
  int32_t family = tm_type(kTmInfoCurrent);
  return tm_info_change_id(
      family, [family] { tmi_get_data_ini(family, kTmInfoCurrent, false, "", -1, false); });
}

FlashReset tm_info_reset_flash(int32_t family) {
  check_family(family, "tm_info_reset_flash");
  if (family != kTmKst) {
    debug_log("RESET FLASH: not for " + tm_info_family_name(family));
    return FlashReset::NotDone;
  }
  int choice = gib("Are you sure you want to reset flash???",
                   "No|Yes, Reset All Flash|Yes, preserve Tech-Anaout", kGibWarning, kResetTitle);
  if (choice != 1 && choice != 2) return FlashReset::NotDone;
  debug_log(choice == 2 ? "RESET FLASH, preserving AOM to AOU" : "RESET FLASH");
  send_defaults(kFactory, choice == 2);
  int16_t channels_before = get_si16("SD");
  rs232_send_ok(std::string("SD3") + kChannelCountCode);
  send_defaults(kSpeedPower, false);
  rs232_set_id("A");
  rs232_send_ok("@@", kFlashWaitMs, 3);
  if (channels_before == 3) {
    gib("Done!", "OK", kGibInfo, kResetTitle);
    return FlashReset::Done;
  }
  gib("Reset Flash Done!\r\nRestart program due to change in the number of channels", "OK",
      kGibInfo, kResetTitle);
  return FlashReset::Restart;
}

bool flash_command_reset() {
  const FlashReset done = tm_info_reset_flash(tm_type(kTmInfoCurrent));
  if (done == FlashReset::Restart) process_exit(0);
  return done == FlashReset::Done;
}

}  // namespace ovn
