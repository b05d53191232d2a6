#include "monitor/gestures.h"

#include <gtest/gtest.h>

namespace ovn {
namespace {

constexpr int32_t rgb(int r, int g, int b) {
  return r | g << 8 | b << 16;
}

TEST(Gestures, AGestureTravelsInItsCommandAndComesBackWhole) {
  struct Case {
    ChartGesture gesture;
    int32_t command;
  } cases[] = {{{1, 1, 0}, 30040}, {{1, 2, 1}, 30049}, {{2, 1, 3}, 30075},
               {{3, 2, 7}, 30119}, {{0, 1, 0}, 30136}, {{0, 2, 2}, 30146}};
  for (const Case& c : cases) {
    EXPECT_EQ(gesture_to_command(c.gesture), c.command);
    EXPECT_EQ(gesture_from_command(c.command), c.gesture) << c.command;
  }
  // Numbers that carry no gesture; every number past the chart's first is the chart.
  for (int32_t command : {29999, 30000, 30031, 31001, 37})
    EXPECT_EQ(gesture_from_command(command), std::nullopt) << command;
  EXPECT_EQ(gesture_from_command(31000), (ChartGesture{0, 1, 0}));
}

TEST(Gestures, EachControlTurnsItsPressesIntoItsCommands) {
  using S = GestureSource;
  struct Case {
    S source;
    int index, button, shift;
    bool technician;
    int32_t command;
  } cases[] = {{S::Data, 0, 1, 0, false, 0},       {S::Data, 0, 1, 0, true, 30040},
               {S::Data, 4, 1, 1, false, 30073},   {S::Data, 1, 2, 7, false, 60},
               {S::Data, 1, 1, 7, true, 30079},    {S::Limits, 5, 1, 1, false, 30105},
               {S::Limits, 0, 1, 0, false, 30040}, {S::Chart, 0, 2, 0, false, 30144},
               {S::Chart, 2, 1, 2, false, 30138},  {S::MaxMin, 0, 1, 0, false, 37},
               {S::MaxMin, 2, 2, 0, true, 38},     {S::MaxMin, 0, 1, 1, false, 0},
               {S::Units, 1, 2, 3, false, 50}};
  for (const Case& c : cases) {
    EXPECT_EQ(gesture_command(c.source, c.index, c.button, c.shift, c.technician), c.command)
        << static_cast<int>(c.source) << " " << c.index << " " << c.button << " " << c.shift;
  }
}

TEST(Gestures, LimitGesturesCentreZoomAndFollowTheMaxAndMin) {
  struct Case {
    const char *upper, *lower;
    int shift, button;
    double max, min;
    const char *new_upper, *new_lower;                  // nullptr: nothing happens
  } cases[] = {{"150", "50", 3, 1, 0, 0, "50", "-50"},  // centre around 0
               {"150", "50", 3, 2, 0, 0, "50", "-50"},
               {"150", "50", 1, 1, 0, 0, "125", "75"},  // zoom in
               {"150", "50", 1, 2, 0, 0, "200", "0"},   // zoom out
               {"0.3", "0.1", 1, 1, 0, 0, "0.25", "0.15"},
               {"", "-100", 1, 1, 0, 0, nullptr, nullptr},  // empty box: nothing happens
               {"abc", "1", 3, 2, 0, 0, nullptr, nullptr},
               {"150", "50", 2, 1, 0, 0, nullptr, nullptr},  // the colour, not the limits
               {"150", "50", 0, 1, 0, 0, nullptr, nullptr},
               {"", "", 4, 1, 12.5, -3, "12.5", "-3"},      // centre around max and min
               {"1", "0", 4, 2, 7, 7, "7.0001", "6.9999"},  // a flat signal gets room
               {"1", "0", 5, 1, 10, 0, "60", "-50"},        // five spans outside
               {"1", "0", 5, 1, 1, 1, "1.0011", "0.9989"}};
  for (const Case& c : cases) {
    auto got = limits_gesture(c.upper, c.lower, {1, c.button, c.shift}, c.max, c.min);
    if (c.new_upper == nullptr) {
      EXPECT_FALSE(got.has_value()) << c.upper << " shift " << c.shift;
      continue;
    }
    ASSERT_TRUE(got.has_value()) << c.upper << " shift " << c.shift;
    EXPECT_EQ(got->upper, c.new_upper) << "shift " << c.shift;
    EXPECT_EQ(got->lower, c.new_lower) << "shift " << c.shift;
  }
}

TEST(Gestures, TheCursorReadoutShowsEachComputableChannelWithFourDigits) {
  const std::array<std::string, 6> limits = {"100", "3000", "50", "-100", "0", "-50"};
  EXPECT_EQ(cursor_readout(0.25, limits, 3), "  TORQUE=-50.00  SPEED=750.0  POWER=-25.00");
  EXPECT_EQ(cursor_readout(0.25, limits, 1), "  TORQUE=-50.00");
  EXPECT_EQ(cursor_readout(1.0, limits, 2), "  TORQUE=100.0  SPEED=3000");

  std::array<std::string, 6> broken = limits;
  broken[0] = "";
  EXPECT_EQ(cursor_readout(0.25, broken, 2), "  SPEED=750.0");
  EXPECT_EQ(cursor_readout(0.25, broken, 1), "??0.250");  // the toolbox counts the leading zero
}

TEST(Gestures, TheRateLabelToggleCyclesThePeriodAndColoursTheLabel) {
  EXPECT_EQ(text_period_toggle(200, false), 100000000);
  EXPECT_EQ(text_period_toggle(100000000, false), 200);
  EXPECT_EQ(text_period_toggle(1000, false), 200);

  int32_t period = 200;
  std::vector<int32_t> cycle;
  for (int i = 0; i < 5; ++i) cycle.push_back(period = text_period_toggle(period, true));
  EXPECT_EQ(cycle, (std::vector<int32_t>{1000, 100000000, 0, 200, 1000}));

  const int32_t window = rgb(240, 240, 240);
  EXPECT_EQ(text_period_color(200, window), window);
  for (int32_t p : {0, 1000, 999999})
    EXPECT_EQ(text_period_color(p, window), rgb(255, 255, 0)) << p;
  for (int32_t p : {1000000, 100000000})
    EXPECT_EQ(text_period_color(p, window), rgb(255, 0, 0)) << p;
}

}  // namespace
}  // namespace ovn
