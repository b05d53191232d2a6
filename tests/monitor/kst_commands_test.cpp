// The command table: which row serves a number, in which order, and which numbers this
// build serves.

#include "monitor/kst_commands.h"

#include <gtest/gtest.h>

namespace ovn {
namespace {

void lf_any(FrmKstMain&, int32_t) {}

TEST(KstCommands, TheFirstRowHoldingTheNumberServesItAndRangesHoldBothEnds) {
  const std::vector<KstCommandRow> table = {
      {10, 10, lf_any}, {5, 20, lf_any}, {15, 15, lf_any}, {30, 40}, {30, 40, lf_any},
  };
  struct Case {
    int32_t command;
    int row;  // -1: no row
  } cases[] = {
      {10, 0}, {5, 1},   {20, 1},  {15, 1},  // a later row inside an earlier range is never reached
      {4, -1}, {21, -1}, {29, -1}, {41, -1}, {30, 3}, {40, 3},  // the first row, though empty
  };
  for (const Case& c : cases) {
    const KstCommandRow* row = kst_command_find(table, c.command);
    EXPECT_EQ(row == nullptr ? -1 : static_cast<int>(row - table.data()), c.row) << c.command;
  }
}

// The ranges at their edges, and the numbers between rows that no row holds.
TEST(KstCommands, TheMainWindowsRangesEndWhereTheirMenusEnd) {
  const std::pair<int32_t, int32_t> ranges[] = {
      {30, 35},     {43, 44},     {300, 304},   {501, 502},     {600, 603},
      {2000, 2015}, {3003, 3005}, {5000, 5099}, {19000, 19000}, {30000, 31000}};
  for (auto [first, last] : ranges) {
    for (int32_t c : {first, last}) {
      const KstCommandRow* row = kst_command_find(kst_command_table(), c);
      ASSERT_NE(row, nullptr) << c;
      EXPECT_EQ(std::pair(row->first, row->last), std::pair(first, last)) << c;
    }
  }
  for (int32_t c : {36, 49, 102, 106, 205, 305, 403, 510, 1999, 2016, 5100, 29999, 31001, 0})
    EXPECT_EQ(kst_command_find(kst_command_table(), c), nullptr) << c;
  for (int32_t c : {205, 305, 403, 510}) EXPECT_FALSE(kst_command_served(c)) << c;
  EXPECT_TRUE(kst_command_served(19000));
  EXPECT_TRUE(kst_command_find(kst_command_table(), kCmdChangePort)->reopens);
}

// A procedure given a second row of its own, behind the row that already holds its number,
// would never run: the first row wins.
TEST(KstCommands, NoRowOfTheMainWindowsTableIsHiddenBehindAnother) {
  const std::vector<KstCommandRow>& table = kst_command_table();
  for (size_t i = 0; i < table.size(); ++i) {
    EXPECT_LE(table[i].first, table[i].last) << "row " << i;
    for (size_t j = 0; j < i; ++j)
      EXPECT_TRUE(table[i].last < table[j].first || table[i].first > table[j].last)
          << "row " << i << " (" << table[i].first << ".." << table[i].last << ") overlaps row "
          << j << " (" << table[j].first << ".." << table[j].last << ")";
  }
}

}  // namespace
}  // namespace ovn
