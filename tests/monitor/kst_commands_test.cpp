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

TEST(KstCommands, TheMainWindowsTableHasTheRowsAndRangesOfTheOriginal) {
  struct Case {
    int32_t command;
    int32_t first, last;  // 0, 0: no row holds it
    bool served;
  } cases[] = {
      {30, 30, 35, true},          {35, 30, 35, true},
      {36, 0, 0, false},           {37, 37, 37, true},
      {38, 38, 38, true},          {43, 43, 44, true},
      {44, 43, 44, true},          {45, 45, 45, true},
      {46, 46, 47, true},          {47, 46, 47, true},
      {48, 48, 48, true},          {49, 0, 0, false},
      {50, 50, 50, true},          {60, 60, 60, true},
      {100, 100, 100, true},       {101, 101, 101, true},
      {102, 0, 0, false},          {103, 103, 103, true},
      {104, 104, 104, true},       {105, 105, 105, true},
      {106, 0, 0, false},          {107, 107, 107, true},
      {109, 109, 109, true},       {198, 198, 198, true},
      {200, 200, 200, true},       {201, 201, 201, true},
      {202, 202, 202, true},       {203, 203, 203, true},
      {204, 204, 204, true},       {205, 0, 0, false},
      {206, 206, 206, true},       {207, 207, 207, true},
      {300, 300, 304, true},       {304, 300, 304, true},
      {305, 0, 0, false},          {306, 306, 306, true},
      {307, 307, 307, true},       {310, 310, 310, true},
      {311, 311, 311, true},       {400, 400, 400, true},
      {401, 401, 401, true},       {402, 402, 402, true},
      {403, 0, 0, false},          {500, 500, 500, true},
      {501, 501, 502, true},       {503, 503, 503, true},
      {504, 504, 505, true},       {506, 506, 507, true},
      {508, 508, 508, true},       {509, 509, 509, true},
      {510, 0, 0, false},          {600, 600, 603, true},
      {603, 600, 603, true},       {604, 604, 604, true},
      {700, 700, 702, true},       {703, 703, 703, true},
      {1998, 1998, 1998, true},    {1999, 0, 0, false},
      {2000, 2000, 2015, true},    {2015, 2000, 2015, true},
      {2016, 0, 0, false},         {3000, 3000, 3002, true},
      {3002, 3000, 3002, true},    {3003, 3003, 3005, true},
      {3005, 3003, 3005, true},    {5000, 5000, 5099, true},
      {5099, 5000, 5099, true},    {5100, 0, 0, false},
      {6000, 6000, 6001, true},    {6001, 6000, 6001, true},
      {19000, 19000, 19000, true}, {29999, 0, 0, false},
      {30000, 30000, 31000, true}, {31000, 30000, 31000, true},
      {31001, 0, 0, false},        {0, 0, 0, false},
      {-1, 0, 0, false},
  };
  for (const Case& c : cases) {
    const KstCommandRow* row = kst_command_find(kst_command_table(), c.command);
    if (c.first == 0) {
      EXPECT_EQ(row, nullptr) << c.command;
    } else {
      ASSERT_NE(row, nullptr) << c.command;
      EXPECT_EQ(row->first, c.first) << c.command;
      EXPECT_EQ(row->last, c.last) << c.command;
    }
    EXPECT_EQ(kst_command_served(c.command), c.served) << c.command;
  }
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
