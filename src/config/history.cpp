#include "config/history.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "foundation/debug_log.h"
#include "foundation/hexstr.h"
#include "foundation/operator.h"
#include "link/rs232.h"

namespace ovn {

namespace {

constexpr size_t kStampDigits = 8;
constexpr size_t kRecordDigits = 76;  // 8 stamp, 4 operator, 3 x 8 floats, 16, 2 x 4, 16
constexpr double kWriteWaitMs = 501.0;
constexpr uint32_t kFlagBit = 0x80000000u;

// The stamp of a record as read, or nothing when the text cannot be a record.
std::optional<std::string> stamp_of(const std::string& record) {
  if (record.size() < kStampDigits) return std::nullopt;
  std::string stamp = record.substr(0, kStampDigits);
  if (!is_hex(stamp)) return std::nullopt;
  return stamp;
}

bool is_empty_stamp(const std::string& stamp) {
  return stamp == "00000000";
}

bool is_hex_of(const std::string& text, size_t digits) {
  return text.size() == digits && is_hex(text);
}

// The instrument holds shunts as singles; a value no single holds must not be packed.
bool fits_single(double x) {
  return std::isfinite(x) && std::fabs(x) <= FLT_MAX;
}

std::string two(int n) {
  return (n < 10 ? "0" : "") + std::to_string(n);
}

int whole(const std::string& text) {
  int stop = 0, sign = 0;
  return kw_parse_int(text, stop, sign);
}

double number(const std::string& text) {
  int stop = 0;
  return kw_parse_double(text, stop);
}

// Asks for one shunt value until it is a number a single holds; false on cancel.
bool ask_shunt(const std::string& title, const std::string& label, double shown, double& typed) {
  if (!user_input("|", label, single_text(shown), title, "")) return false;
  while (!kw_is_numeric(user_input_data(0)) || !fits_single(number(user_input_data(0)))) {
    if (!user_input_again()) return false;
  }
  typed = number(user_input_data(0));
  return true;
}

}  // namespace

std::string history_stamp(bool full, const DateTime& when) {
  return hexstr_encode_var(kHistoryStampFormat,
                           {full ? 1 : 0, when.year - 2000, when.month, when.day, when.hour,
                            when.minute, when.second / 2});
}

std::string history_encode(const HistoryRecord& r) {
  if (!is_hex_of(r.fs1, 8) || !is_hex_of(r.cc1a, 8) || !is_hex_of(r.cc1b, 8) ||
      !is_hex_of(r.sc, 16) || !is_hex_of(r.of, 4) || !is_hex_of(r.gn, 4) ||
      !fits_single(r.positive_shunt) || !fits_single(r.negative_shunt))
    return "";
  return history_stamp(r.full, r.when) + hex_of(r.operator_number, 4) + r.fs1 + r.cc1a + r.cc1b +
         r.sc + r.of + r.gn + single_to_hex(r.positive_shunt) + single_to_hex(r.negative_shunt);
}

std::optional<std::vector<std::string>> history_decode(const std::string& hex_run) {
  if (hex_run.size() < kRecordDigits || !is_hex(hex_run)) return std::nullopt;
  std::vector<std::string> values(17);
  hexstr_decode(kHistoryFormat, hex_run, values);
  return values;
}

int history_choose_slot(const std::vector<std::string>& records) {
  int count = std::min<int>(kHistorySlots, static_cast<int>(records.size()));
  for (int slot = 0; slot < count; ++slot) {
    auto stamp = stamp_of(records[slot]);
    if (stamp && is_empty_stamp(*stamp)) return slot;
  }
  int oldest_unflagged = -1, oldest = -1;
  std::string unflagged_stamp, any_stamp;
  for (int slot = 1; slot < count; ++slot) {
    auto stamp = stamp_of(records[slot]);
    if (!stamp) continue;
    if ((*stamp)[0] < '8' && (oldest_unflagged < 0 || *stamp < unflagged_stamp)) {
      oldest_unflagged = slot;
      unflagged_stamp = *stamp;
    }
    if (oldest < 0 || *stamp < any_stamp) {
      oldest = slot;
      any_stamp = *stamp;
    }
  }
  return oldest_unflagged >= 0 ? oldest_unflagged : oldest;
}

int history_newest_slot(const std::vector<std::string>& records, bool any) {
  int newest = -1;
  uint32_t newest_time = 0;
  int count = std::min<int>(kHistorySlots, static_cast<int>(records.size()));
  for (int slot = 0; slot < count; ++slot) {
    auto stamp = stamp_of(records[slot]);
    if (!stamp || is_empty_stamp(*stamp)) continue;
    auto bits = static_cast<uint32_t>(hex_to_s32(*stamp));
    if (!any && (bits & kFlagBit) == 0) continue;
    uint32_t time = bits & ~kFlagBit;
    if (newest < 0 || time >= newest_time) {
      newest = slot;
      newest_time = time;
    }
  }
  return newest;
}

std::string history_report_line(const std::string& hex_run) {
  auto values = history_decode(hex_run);
  if (!values) return "";
  std::vector<int> date;
  for (int i = 1; i <= 6; ++i) date.push_back(whole((*values)[i]));
  bool no_date = true;
  for (int field : date) no_date = no_date && field == 0;
  if (no_date) return "";
  std::string line = (*values)[0] == "1" ? "YES " : "NO  ";
  line += std::to_string(date[0] + 2000) + "-" + two(date[1]) + "-" + two(date[2]) + "T" +
          two(date[3]) + ":" + two(date[4]) + ":" + two(date[5] * 2);
  for (size_t i = 7; i < values->size(); ++i) line += " " + kw_eng_format(number((*values)[i]));
  return line;
}

std::vector<std::string> tm_info_history_records() {
  std::vector<std::string> records;
  for (int slot = 0; slot < kHistorySlots; ++slot)
    records.push_back(get_reply("HS" + std::to_string(slot)));
  return records;
}

int tm_info_history_slot() {
  return history_choose_slot(tm_info_history_records());
}

int tm_info_history_latest(bool any) {
  return history_newest_slot(tm_info_history_records(), any);
}

bool tm_info_history_write(int32_t operator_number, double positive_shunt, double negative_shunt,
                           bool full) {
  int slot = tm_info_history_slot();
  if (slot < 0) {
    debug_log("HISTORY NOT WRITTEN: no slot could be read");
    return false;
  }
  HistoryRecord r;
  r.full = full;
  r.when = kw_now();
  r.operator_number = operator_number;
  r.fs1 = get_reply("FS1");
  r.cc1a = get_reply("CC1A");
  r.cc1b = get_reply("CC1B");
  r.sc = get_reply("SC");
  r.of = get_reply("OF");
  r.gn = get_reply("GN");
  r.positive_shunt = positive_shunt;
  r.negative_shunt = negative_shunt;
  std::string record = history_encode(r);
  if (record.empty()) {
    debug_log("HISTORY NOT WRITTEN: a reply is not hex of its length");
    return false;
  }
  return rs232_send_ok("HS" + std::to_string(slot) + record, kWriteWaitMs, 3);
}

std::string tm_info_history_read(int slot) {
  return history_report_line(get_reply("HS" + std::to_string(slot)));
}

bool tm_info_history_newest_shunts(double& positive_shunt, double& negative_shunt) {
  positive_shunt = negative_shunt = 0;
  std::vector<std::string> records = tm_info_history_records();
  int slot = history_newest_slot(records, true);
  if (slot < 0) return false;
  auto values = history_decode(records[static_cast<size_t>(slot)]);
  if (!values) return false;
  positive_shunt = number((*values)[15]);
  negative_shunt = number((*values)[16]);
  return true;
}

bool tm_info_history_ask_shunts(double& positive_shunt, double& negative_shunt) {
  double scale = get_f64("DS1");
  double typed_positive = 0, typed_negative = 0;
  if (!ask_shunt("POSITIVE SHUNT VALUE",
                 "Enter in the Positive shunt value:", positive_shunt * scale, typed_positive))
    return false;
  if (!ask_shunt("NEGATIVE SHUNT VALUE",
                 "Enter in the Negative shunt value:", negative_shunt * scale, typed_negative))
    return false;
  positive_shunt = kw_safe_div(typed_positive, scale, typed_positive);
  negative_shunt = kw_safe_div(typed_negative, scale, typed_negative);
  return true;
}

bool tm_info_history_shunts(double& positive_shunt, double& negative_shunt) {
  double positive = 0, negative = 0;
  tm_info_history_newest_shunts(positive, negative);
  if (!tm_info_history_ask_shunts(positive, negative)) return false;
  positive_shunt = positive;
  negative_shunt = negative;
  return true;
}

}  // namespace ovn
