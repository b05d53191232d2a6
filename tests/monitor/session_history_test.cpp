#include "monitor/session_history.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace ovn {
namespace {

float highest(const std::vector<HistoryBucket>& v) {
  float h = -1e30f;
  for (const HistoryBucket& b : v) h = std::max(h, b.high);
  return h;
}
float lowest(const std::vector<HistoryBucket>& v) {
  float l = 1e30f;
  for (const HistoryBucket& b : v) l = std::min(l, b.low);
  return l;
}

TEST(SessionHistory, AnHourAtFourHundredASecondStaysBoundedAndKeepsItsPeaks) {
  SessionHistory h(1024);
  const int samples = 3600 * 400;
  for (int i = 0; i < samples; ++i) {
    const double t_ms = 5000.0 + i * 2.5;  // the clock does not start at 0
    double v = std::sin(i * 0.01);
    if (i == 777777) v = 250.0;  // one spike in the middle of the hour
    if (i == 1234567) v = -90.0;
    h.add(1, t_ms, v);
    h.add(2, t_ms, 3000.0);
  }
  for (int ch : {1, 2}) {
    EXPECT_LE(h.size(ch), 1024u);
    EXPECT_GE(h.size(ch), 256u);
  }
  EXPECT_DOUBLE_EQ(h.last_s(), (samples - 1) * 0.0025);
  const auto whole = h.view(1, 0, h.last_s(), 800);
  EXPECT_LE(whole.size(), 800u);
  EXPECT_FLOAT_EQ(highest(whole), 250.0f);
  EXPECT_FLOAT_EQ(lowest(whole), -90.0f);
  // Zoomed into one second around the spike: the spike is there, and nothing else is
  // above the sine.
  const auto near = h.view(1, 1944.0, 1945.0, 500);
  EXPECT_FLOAT_EQ(highest(near), 250.0f);
  const auto after = h.view(1, 1946.0, 1947.0, 500);
  ASSERT_FALSE(after.empty());
  EXPECT_LE(highest(after), 1.0f);
  EXPECT_GE(after.front().t1, 1946.0);
  EXPECT_LE(after.back().t0, 1947.0);
  EXPECT_FLOAT_EQ(lowest(h.view(2, 0, h.last_s(), 10)), 3000.0f);
}

TEST(SessionHistory, FullResolutionUntilTheCapacityIsReachedThenMergedInTimeOrder) {
  SessionHistory h(8);
  for (int i = 0; i < 7; ++i) h.add(3, i * 100.0, i);
  ASSERT_EQ(h.size(3), 7u);
  auto v = h.view(3, 0, 1, 100);
  ASSERT_EQ(v.size(), 7u);
  EXPECT_DOUBLE_EQ(v[2].t0, 0.2);
  EXPECT_FLOAT_EQ(v[2].low, 2.0f);
  h.add(3, 700.0, 7);  // the eighth: pairs merge
  v = h.view(3, 0, 1, 100);
  ASSERT_EQ(v.size(), 4u);
  EXPECT_DOUBLE_EQ(v[1].t0, 0.2);
  EXPECT_DOUBLE_EQ(v[1].t1, 0.3);
  EXPECT_FLOAT_EQ(v[1].low, 2.0f);
  EXPECT_FLOAT_EQ(v[1].high, 3.0f);
  EXPECT_TRUE(v[1].high_last);
  for (size_t i = 1; i < v.size(); ++i) EXPECT_GT(v[i].t0, v[i - 1].t1);
}

TEST(SessionHistory, ABucketRemembersWhetherItsHighestCameAfterItsLowest) {
  struct Case {
    std::vector<double> values;
    float low, high;
    bool high_last;
  };
  const Case cases[] = {
      {{0, 5, -5}, -5, 5, false},       {{0, -5, 5}, -5, 5, true},         {{1, 1, 1}, 1, 1, false},
      {{-1, 3, 2, -4, 6}, -4, 6, true}, {{-1, 6, 2, -4, 3}, -4, 6, false},
  };
  for (const Case& c : cases) {
    SessionHistory h;
    for (size_t i = 0; i < c.values.size(); ++i) h.add(1, static_cast<double>(i), c.values[i]);
    const auto v = h.view(1, 0, 1, 1);
    ASSERT_EQ(v.size(), 1u);
    EXPECT_FLOAT_EQ(v[0].low, c.low);
    EXPECT_FLOAT_EQ(v[0].high, c.high);
    EXPECT_EQ(v[0].high_last, c.high_last) << ::testing::PrintToString(c.values);
  }
}

TEST(SessionHistory, NoReadingsTimesGoingBackAndStrangeChannelsAreSkipped) {
  SessionHistory h;
  EXPECT_TRUE(h.empty());
  h.add(1, 1000, NAN);
  h.add(0, 1000, 1);
  h.add(4, 1000, 1);
  EXPECT_TRUE(h.empty());
  h.add(1, 1000, 1);
  h.add(1, 2000, 2);
  h.add(1, 1500, 9);  // back in time
  h.add(1, 3000, INFINITY);
  EXPECT_EQ(h.size(1), 2u);
  EXPECT_DOUBLE_EQ(h.last_s(), 1.0);
  EXPECT_FLOAT_EQ(highest(h.view(1, 0, 5, 10)), 2.0f);
  EXPECT_TRUE(h.view(1, 3, 5, 10).empty());
  EXPECT_TRUE(h.view(1, 0, 5, 0).empty());
  h.clear();
  EXPECT_TRUE(h.empty());
  h.add(1, 50000, 3);  // a new session starts its own time
  EXPECT_DOUBLE_EQ(h.view(1, 0, 1, 1).at(0).t0, 0.0);
}

}  // namespace
}  // namespace ovn
