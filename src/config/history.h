#pragma once
// The calibration history a HZYM keeps in its own memory: ten records of its past
// adjustments, held by the messages "HS0" to "HS9", one hex run each.
//
// A record, in the packed format kHistoryFormat (foundation/hexstr.h):
//   B1 flag (1: from a full adjustment)   B6 year - 2000   B4 month   B5 day   B5 hour
//   B6 minute   B5 second / 2             s operator number
//   f full scale ("FS1")   f + load ("CC1A")   f - load ("CC1B")   f2 + and - scaling ("SC")
//   s offset ("OF")   s gain ("GN")   f2 + and - shunt
// The first 8 digits are the date stamp. The flag is its top bit, so stamps compare as
// text in date order within flagged and unflagged records; "00000000" is an empty slot.
// Slot 0 holds the first record of the instrument's life and is never given up.
//
// The reads and writes go through the retried exchange (link/rs232.h); a reply that is not
// hex is never taken for a record.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "foundation/kw.h"

namespace ovn {

inline constexpr const char* kHistoryFormat = "B1B6B4B5B5B6B5sf3f2s2f2";
inline constexpr const char* kHistoryStampFormat = "B1B6B4B5B5B6B5";
constexpr int kHistorySlots = 10;

// The record as numbers. The replies of the instrument are kept as the hex it sent.
struct HistoryRecord {
  bool full = false;
  DateTime when;  // to the even second
  int32_t operator_number = 0;
  std::string fs1, cc1a, cc1b, sc, of, gn;  // raw hex replies: 8, 8, 8, 16, 4, 4 digits
  double positive_shunt = 0;
  double negative_shunt = 0;
};

// The 8 digits of the date stamp: flag, year - 2000 (0 to 63), month, day, hour, minute,
// second / 2.
std::string history_stamp(bool full, const DateTime& when);
// The whole hex run of a record. Empty when a raw reply is not hex of its length or a
// shunt is beyond what a single holds.
std::string history_encode(const HistoryRecord& record);
// The values of a hex run by kHistoryFormat, in order (17 of them; floats in their
// shortest text). Nothing when the run is not hex of the format's length.
std::optional<std::vector<std::string>> history_decode(const std::string& hex_run);

// The slot of the first record a new one may take, from the records of slots 0 to 9 as
// read (index = slot): the first empty slot; else among slots 1 to 9 the oldest
// unflagged record, else the oldest record. -1 when no slot can be told (unreadable).
int history_choose_slot(const std::vector<std::string>& records);
// The slot of the newest record, comparing stamps with the flag masked out (ties go to
// the later slot); with `any` false only flagged records count. -1 when there is none.
int history_newest_slot(const std::vector<std::string>& records, bool any);
// The report line of one record: "YES " or "NO  " for the flag, the date and time as
// "yyyy-MM-ddThh:mm:ss", then operator, full scale, + load, - load, + scaling, - scaling,
// offset, gain, + shunt and - shunt in the engineering form (kw_eng_format), each behind
// a blank. Empty for an empty slot (all date fields 0) or a run that is not a record.
std::string history_report_line(const std::string& hex_run);

// ---- With the instrument ----

// Reads "HS0" to "HS9".
std::vector<std::string> tm_info_history_records();
// The slot to write next (history_choose_slot over the records read).
int tm_info_history_slot();
// The slot of the newest record (history_newest_slot over the records read), or -1.
int tm_info_history_latest(bool any);
// Writes one record into the slot of tm_info_history_slot: the date and time now, the
// operator's number, the instrument's replies to "FS1", "CC1A", "CC1B", "SC", "OF", "GN",
// the two shunt values; `full` sets the flag. Sends "HS<slot><record>" with a wait of
// 501 ms, "OK" expected, three tries. False when nothing was written (no slot, a reply that
// is not hex of its length, a shunt no single holds, or the operator skipped the write).
bool tm_info_history_write(int32_t operator_number, double positive_shunt, double negative_shunt,
                           bool full);
// The report line of slot `slot` (history_report_line of "HS<slot>").
std::string tm_info_history_read(int slot);

// The operator number this program writes into its records: it keeps no operators.
inline constexpr int32_t kHistoryOperator = 0;

// The shunt values of the newest flagged record, in lbf-in; false (and 0, 0) when there
// is none.
bool tm_info_history_newest_shunts(double& positive_shunt, double& negative_shunt);
// Asks for the two shunt values, proposing the ones given (lbf-in) shown multiplied by
// "DS1": user_input title "POSITIVE SHUNT VALUE", field "Enter in the Positive shunt
// value:", then "NEGATIVE SHUNT VALUE", "Enter in the Negative shunt value:". An answer
// that is not a number, or beyond what a single holds, is asked again. The answers come
// back divided by "DS1" (a "DS1" of 0 keeps them as typed). False when the operator
// cancelled either; the values are then left alone.
bool tm_info_history_ask_shunts(double& positive_shunt, double& negative_shunt);
// The shunt values to write with the next record: those of the newest flagged record (0
// when there is none), confirmed by the operator (tm_info_history_ask_shunts).
bool tm_info_history_shunts(double& positive_shunt, double& negative_shunt);

}  // namespace ovn
