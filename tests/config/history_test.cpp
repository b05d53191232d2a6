// The calibration history of a HZYM: the packed record, the choice of slot, the newest
// record, the report line, and the writes and shunt questions against a HZYM that keeps
// its ten records the way the instrument does.

#include "config/history.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "link/rs232.h"
#include "support/fake_port.h"
#include "support/scripted_operator.h"
#include "support/seams.h"

namespace ovn::test {
namespace {

// IEEE-754 single bit patterns.
constexpr const char* k1000 = "447A0000";
constexpr const char* k10 = "41200000";
constexpr const char* kMinus10 = "C1200000";
constexpr const char* kOneMinusOne = "3F800000BF800000";
constexpr const char* kHalf = "3F000000";
constexpr const char* kMinusQuarter = "BE800000";

HistoryRecord sample_record() {
  HistoryRecord r;
  r.full = true;
  r.when = DateTime{2026, 11, 23, 10, 5, 9, 0};
  r.operator_number = 7;
  r.fs1 = k1000;
  r.cc1a = k10;
  r.cc1b = kMinus10;
  r.sc = kOneMinusOne;
  r.of = "FFFF";
  r.gn = "0064";
  r.positive_shunt = 0.5;
  r.negative_shunt = -0.25;
  return r;
}

// A record of the given stamp with plausible fields behind it.
std::string record_with(const std::string& stamp) {
  return stamp + "0001" + k1000 + k10 + kMinus10 + kOneMinusOne + "0000" + "0001" + kHalf +
         kMinusQuarter;
}
std::string record_at(bool full, int year, int month, int day = 1) {
  return record_with(history_stamp(full, DateTime{year, month, day, 12, 0, 0, 0}));
}
const std::string kEmpty = record_with("00000000");

TEST(HistoryRecordTest, TheDateStampPacksFlagDateAndTimeIntoEightDigits) {
  // Bits by hand: flag, year-2000 in 6, month in 4, day in 5, hour in 5, minute in 6,
  // second/2 in 5: 1 011010 1011 10111 01010 000101 00100.
  EXPECT_EQ(history_stamp(true, DateTime{2026, 11, 23, 10, 5, 9, 0}), "B57750A4");
  EXPECT_EQ(history_stamp(false, DateTime{2026, 11, 23, 10, 5, 8, 0}), "357750A4");
  EXPECT_EQ(history_stamp(false, DateTime{2000, 1, 1, 0, 0, 0, 0}), "00210000");
  EXPECT_EQ(history_stamp(true, DateTime{2063, 12, 31, 23, 59, 59, 0}), "FF9FBF7D");
}

TEST(HistoryRecordTest, ARecordCarriesEveryFieldThroughEncodingAndDecoding) {
  std::string run = history_encode(sample_record());
  EXPECT_EQ(run, std::string("B57750A4") + "0007" + k1000 + k10 + kMinus10 + kOneMinusOne + "FFFF" +
                     "0064" + kHalf + kMinusQuarter);
  auto values = history_decode(run);
  ASSERT_TRUE(values);
  EXPECT_EQ(*values,
            (std::vector<std::string>{"1", "26", "11", "23", "10", "5", "4", "7", "1000", "10",
                                      "-10", "1", "-1", "-1", "100", "0.5", "-0.25"}));
}

TEST(HistoryRecordTest, AReplyThatIsNotHexOfItsLengthMakesNoRecord) {
  // A digit lost on the line, one float where two belong, no hex, beyond the largest single.
  const std::function<void(HistoryRecord&)> faults[] = {
      [](HistoryRecord& r) { r.fs1 = "447A000"; }, [](HistoryRecord& r) { r.sc = k1000; },
      [](HistoryRecord& r) { r.gn = "!"; }, [](HistoryRecord& r) { r.positive_shunt = 1e39; }};
  for (size_t i = 0; i < std::size(faults); ++i) {
    HistoryRecord r = sample_record();
    faults[i](r);
    EXPECT_EQ(history_encode(r), "") << "fault " << i;
  }
  EXPECT_FALSE(history_decode(""));
  EXPECT_FALSE(history_decode("!"));
  EXPECT_FALSE(history_decode(history_encode(sample_record()).substr(0, 70)));
}

TEST(HistoryRecordTest, TheReportLineShowsFlagDateAndTheValuesInEngineeringForm) {
  EXPECT_EQ(history_report_line(history_encode(sample_record())),
            "YES 2026-11-23T10:05:08 7.00000E+0 1.00000E+3 10.0000E+0 -10.0000E+0 1.00000E+0 "
            "-1.00000E+0 -1.00000E+0 100.000E+0 500.000E-3 -250.000E-3");
  HistoryRecord r = sample_record();
  r.full = false;
  r.when = DateTime{2003, 2, 4, 5, 6, 0, 0};
  EXPECT_EQ(history_report_line(history_encode(r)).substr(0, 24), "NO  2003-02-04T05:06:00 ");
  EXPECT_EQ(history_report_line(kEmpty), "") << "an empty slot has no line";
  EXPECT_EQ(history_report_line(record_with("80000000")), "") << "no date, whatever the flag";
  EXPECT_EQ(history_report_line("!"), "");
}

// ---- Which slot a record takes ----

struct SlotCase {
  const char* what;
  std::vector<std::string> records;
  int slot;
};

TEST(HistorySlotTest, TheSlotIsTheFirstFreeElseTheOldestUnflaggedElseTheOldestInOneToNine) {
  std::vector<std::string> all_full;
  for (int i = 0; i < 10; ++i) all_full.push_back(record_at(true, 2010 + i, 1));
  std::vector<std::string> one_unflagged = all_full;
  one_unflagged[7] = record_at(false, 2030, 1);
  std::vector<std::string> two_unflagged = all_full;
  two_unflagged[3] = record_at(false, 2031, 5);
  two_unflagged[8] = record_at(false, 2031, 4);
  std::vector<std::string> empty_tail = all_full;
  empty_tail[6] = "00000000" + std::string(68, 'F');
  std::vector<std::string> shuffled = all_full;
  std::swap(shuffled[1], shuffled[5]);  // slot 5 now holds the 2011 record
  std::vector<std::string> unreadable(10, "!");

  const SlotCase cases[] = {
      {"a new instrument", std::vector<std::string>(10, kEmpty), 0},
      {"the first free slot", {all_full[0], all_full[1], kEmpty, all_full[3], kEmpty}, 2},
      {"an empty stamp whatever follows it", empty_tail, 6},
      {"all flagged: the oldest in 1 to 9, never slot 0", all_full, 1},
      {"oldest by date, not by slot", shuffled, 5},
      {"an unflagged record before older flagged ones", one_unflagged, 7},
      {"the older of two unflagged", two_unflagged, 8},
      {"unreadable slots are passed over", {all_full[0], "!", "", all_full[3], all_full[4]}, 3},
      {"nothing readable", unreadable, -1}};
  for (const SlotCase& c : cases) EXPECT_EQ(history_choose_slot(c.records), c.slot) << c.what;
}

TEST(HistorySlotTest, TheNewestRecordComparesDatesWithoutTheFlag) {
  std::vector<std::string> records(10, kEmpty);
  EXPECT_EQ(history_newest_slot(records, true), -1) << "no record at all";
  records[0] = record_at(true, 2020, 1);
  records[1] = record_at(false, 2024, 1);
  records[2] = "XYZ";
  records[3] = record_at(true, 2022, 1);
  EXPECT_EQ(history_newest_slot(records, true), 1) << "a newer unflagged record counts";
  EXPECT_EQ(history_newest_slot(records, false), 3) << "only flagged ones";
  records[5] = record_at(true, 2024, 1);
  EXPECT_EQ(history_newest_slot(records, true), 5) << "a tie goes to the later slot";
  records[0] = record_at(false, 2021, 1);
  records[3] = kEmpty;
  records[5] = kEmpty;
  EXPECT_EQ(history_newest_slot(records, false), -1) << "no flagged record";
}

// ---- With the instrument ----

// A HZYM on a scripted line: keeps "HS0" to "HS9", answers the adjustment values.
class HzymHistoryTest : public SeamsTest {
 protected:
  HzymHistoryTest() : port(seams.clock) {
    slots.assign(10, std::string(76, '0'));
    port.responder = [this](const std::string& request) { return answer(request); };
    rs232_attach(port, "");
    EXPECT_EQ(rs232_open(port, "38400"), "");
  }

  std::string answer(std::string request) {
    request.pop_back();  // LF
    if (request.rfind("HS", 0) == 0 && request.size() >= 3) {
      size_t slot = static_cast<size_t>(request[2] - '0');
      if (request.size() == 3) return slots[slot] + "\r";
      slots[slot] = request.substr(3);
      writes.push_back(slot);
      return "OK\r";
    }
    auto it = values.find(request);
    return it == values.end() ? "" : it->second + "\r";
  }

  // Writes a full record, then lets three seconds pass so the next stamp differs.
  void write_full() {
    EXPECT_TRUE(tm_info_history_write(1, 0.5, -0.25, true));
    seams.clock.advance(3000);
  }

  FakePort port;
  ScriptedOperator op;
  std::vector<std::string> slots;
  std::vector<size_t> writes;
  std::map<std::string, std::string> values = {
      {"FS1", k1000}, {"CC1A", k10},  {"CC1B", kMinus10}, {"SC", kOneMinusOne},
      {"OF", "FFFF"}, {"GN", "0064"}, {"DS1", "2"}};
};

TEST_F(HzymHistoryTest, AWriteStoresTheInstrumentsValuesUnderTheStampOfNow) {
  EXPECT_TRUE(tm_info_history_write(42, 0.5, -0.25, true));

  ASSERT_EQ(writes, std::vector<size_t>{0});
  // The virtual clock starts at 2026-11-23 10:00:00.
  EXPECT_EQ(slots[0], std::string("B5775000") + "002A" + k1000 + k10 + kMinus10 + kOneMinusOne +
                          "FFFF" + "0064" + kHalf + kMinusQuarter);
  EXPECT_EQ(tm_info_history_read(0).substr(0, 35), "YES 2026-11-23T10:00:00 42.0000E+0 ");
  EXPECT_EQ(tm_info_history_latest(false), 0);
}

TEST_F(HzymHistoryTest, AfterTenFullWritesTheNextReplacesTheOldestInOneToNineAndSlotZeroStays) {
  for (int i = 0; i < 10; ++i) write_full();
  EXPECT_EQ(writes, (std::vector<size_t>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
  std::string first = slots[0];

  write_full();
  EXPECT_EQ(writes.back(), 1u);
  EXPECT_EQ(tm_info_history_latest(true), 1);
  write_full();
  EXPECT_EQ(writes.back(), 2u);

  // An unflagged record, the newest of all, is still the first to give way.
  EXPECT_TRUE(tm_info_history_write(1, 0, 0, false));
  EXPECT_EQ(writes.back(), 3u);
  seams.clock.advance(3000);
  write_full();
  EXPECT_EQ(writes.back(), 3u);
  EXPECT_EQ(slots[0], first);
}

TEST_F(HzymHistoryTest, ABadReplyLeavesTheHistoryAlone) {
  values["SC"] = k1000;  // half of the scaling lost
  EXPECT_FALSE(tm_info_history_write(1, 0, 0, true));
  EXPECT_TRUE(writes.empty());
}

TEST_F(HzymHistoryTest,
       ShuntValuesStartFromTheNewestRecordInDisplayUnitsAndComeBackInInstrumentUnits) {
  slots[4] = record_at(true, 2025, 3);  // shunts 0.5 and -0.25
  slots[6] = record_with(history_stamp(true, DateTime{2024, 1, 1, 0, 0, 0, 0})).substr(0, 60) +
             "40000000C0000000";  // older, shunts 2 and -2
  op.expect_user_input("POSITIVE SHUNT VALUE", true, {{0, "abc"}});
  op.expect_user_input("POSITIVE SHUNT VALUE", true, {{0, "1e39"}});
  op.expect_user_input("POSITIVE SHUNT VALUE", true, {{0, "3"}});
  op.expect_user_input("NEGATIVE SHUNT VALUE", true, {{0, "-1.5"}});

  double positive = 0, negative = 0;
  EXPECT_TRUE(tm_info_history_shunts(positive, negative));

  EXPECT_EQ(positive, 1.5);
  EXPECT_EQ(negative, -0.75);
  ASSERT_EQ(op.shown.size(), 4u);
  EXPECT_EQ(op.shown[0].text, "Enter in the Positive shunt value:");
  EXPECT_EQ(op.shown[0].fields, std::vector<std::string>{"1"}) << "0.5 x DS1 2";
  EXPECT_EQ(op.shown[3].text, "Enter in the Negative shunt value:");
  EXPECT_EQ(op.shown[3].fields, std::vector<std::string>{"-0.5"});
}

TEST_F(HzymHistoryTest, CancellingAShuntQuestionKeepsTheCallersValues) {
  values["DS1"] = "0";
  op.expect_user_input("POSITIVE SHUNT VALUE", true, {{0, "4"}});
  op.expect_user_input("NEGATIVE SHUNT VALUE", false);
  double positive = 9, negative = 9;
  EXPECT_FALSE(tm_info_history_shunts(positive, negative));
  EXPECT_EQ(positive, 9);
  EXPECT_EQ(negative, 9);
  EXPECT_EQ(op.shown[0].fields, std::vector<std::string>{"0"}) << "no record yet";
}

}  // namespace
}  // namespace ovn::test
