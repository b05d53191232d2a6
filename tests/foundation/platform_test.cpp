#include <filesystem>
#include <fstream>

#include "foundation/debug_log.h"
#include "foundation/platform.h"
#include "support/seams.h"

namespace ovn {
namespace {

using test::SeamsTest;

TEST_F(SeamsTest, VirtualClockAdvancesOnlyWhenSleptAndTellsObservers) {
  double start = now_ms();
  std::vector<double> seen;
  int id = seams.clock.on_advance([&](double t) { seen.push_back(t); });
  yield_ms(0);
  EXPECT_EQ(now_ms(), start);
  yield_ms(103);
  EXPECT_EQ(now_ms(), start + 103);
  seams.clock.remove_observer(id);
  yield_ms(5);
  EXPECT_EQ(seen, std::vector<double>{start + 103});
  EXPECT_EQ(seams.pumps, 3);
}

TEST_F(SeamsTest, SlicedSleepPumpsOncePerSliceOfAtLeastTenMs) {
  double start = now_ms();
  sleep_ms(100, 1);  // one slice: a plain sleep, no pumping
  EXPECT_EQ(seams.pumps, 0);
  EXPECT_EQ(now_ms(), start + 100);

  sleep_ms(100, 4);  // slices of 25 ms
  EXPECT_EQ(seams.pumps, 4);
  sleep_ms(35, 10);  // 3 ms would be too short: slices of 10 ms, rounded up to 4
  EXPECT_EQ(seams.pumps, 8);
  EXPECT_EQ(now_ms(), start + 100 + 100 + 40);
}

TEST_F(SeamsTest, MemoryStoreKeepsEmptyValuesAndRemovesSections) {
  auto& s = settings_store();
  EXPECT_FALSE(s.get("KST", "Graphing", "Dots").has_value());
  s.put("KST", "Graphing", "Dots", "");
  s.put("KST", "Graphing", "Lines", "1");
  s.put("KST", "Settings", "Lines", "2");
  ASSERT_TRUE(s.get("KST", "Graphing", "Dots").has_value());
  EXPECT_EQ(*s.get("KST", "Graphing", "Dots"), "");
  s.remove_section("KST", "Graphing");
  EXPECT_FALSE(s.get("KST", "Graphing", "Lines").has_value());
  EXPECT_EQ(*s.get("KST", "Settings", "Lines"), "2");
}

TEST(FileLogSink, AppendsLinesAndRollsOverWhenFull) {
  auto dir = std::filesystem::temp_directory_path() / "ovn-log-test";
  std::filesystem::remove_all(dir);
  std::filesystem::create_directories(dir);
  auto path = (dir / "debug.log").string();
  FileLogSink sink(path, 10);
  sink.write_line("first line");
  sink.write_line("second");
  std::ifstream old(path + ".1"), cur(path);
  std::string a, b;
  std::getline(old, a);
  std::getline(cur, b);
  EXPECT_EQ(a, "first line");
  EXPECT_EQ(b, "second");
  std::filesystem::remove_all(dir);
}

TEST_F(SeamsTest, DebugLogStampsSecondsSinceThePreviousLine) {
  debug_log("RS232 OPEN  COM1 9600,n,8,1");
  seams.clock.advance(1234.5);
  debug_log("first part ", true);
  seams.clock.advance(50);  // a continued line keeps its stamp
  debug_log("second part");
  EXPECT_EQ(seams.log.lines, (std::vector<std::string>{"2026-11-23 10:00:00 *****Debug  init",
                                                       "000.000 RS232 OPEN  COM1 9600,n,8,1",
                                                       "001.234 first part second part"}));
}

}  // namespace
}  // namespace ovn
