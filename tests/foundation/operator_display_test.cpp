#include <gtest/gtest-spi.h>

#include "foundation/operator.h"
#include "foundation/platform.h"
#include "support/scripted_operator.h"
#include "support/seams.h"

namespace ovn {
namespace {

using test::ScriptedOperator;
using test::SeamsTest;

const DateTime kTen{2026, 11, 23, 10, 0, 5, 0};

class DisplayDataTest : public SeamsTest {
 protected:
  ScriptedOperator op;
};

// ---- the count-down -------------------------------------------------------------------

TEST(GibCountdown, TakesATickAFiringAndClosesTheBoxAtZero) {
  GibCountdown countdown = gmb_countdown_start(13);
  EXPECT_EQ(gmb_title_line("", countdown, kTen), "10:00:05 <= 1.3 seconds left");
  GibTimerView view = gmb_countdown_fire(countdown, "", kTen);
  EXPECT_EQ(view.title_line, "10:00:05 <= 1.2 seconds left");
  EXPECT_DOUBLE_EQ(view.bar, 1.0 / 13);
  EXPECT_FALSE(view.finished);
  for (int i = 0; i < 11; ++i) view = gmb_countdown_fire(countdown, "", kTen);
  EXPECT_EQ(countdown.left, 1);
  EXPECT_FALSE(view.finished);
  view = gmb_countdown_fire(countdown, "", kTen);
  EXPECT_TRUE(view.finished);
  EXPECT_DOUBLE_EQ(view.bar, 1.0);
  // A titled box shows its title behind the time instead of the seconds left.
  GibCountdown titled = gmb_countdown_start(5);
  EXPECT_EQ(gmb_countdown_fire(titled, "Zeroing", kTen).title_line, "10:00:05 Zeroing");
}

TEST(GibCountdown, ABusyBoxSweepsByTenthsWrapsAfterOneAndNeverEnds) {
  GibCountdown busy = gmb_countdown_start(-10);
  std::vector<double> bars;
  std::vector<bool> hollow;
  for (int i = 0; i < 12; ++i) {
    GibTimerView view = gmb_countdown_fire(busy, "", kTen);
    EXPECT_FALSE(view.finished);
    EXPECT_EQ(view.title_line, "");
    bars.push_back(view.bar);
    hollow.push_back(view.hollow);
  }
  std::vector<double> expected = {0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8, 0.9, 1.0, 0.1, 0.2};
  ASSERT_EQ(bars.size(), expected.size());
  for (size_t i = 0; i < bars.size(); ++i) EXPECT_DOUBLE_EQ(bars[i], expected[i]) << i;
  EXPECT_EQ(hollow, (std::vector<bool>{false, false, false, false, false, true, true, true, true,
                                       true, false, false}));
  EXPECT_EQ(gmb_title_line("Busy", busy, kTen), "10:00:05 Busy");
  EXPECT_EQ(gmb_title_line("", gmb_countdown_start(0), kTen), "");
}

// ---- display_data ---------------------------------------------------------------------

TEST(DisplayDataButtons, OffersTheButtonsOfTheMaskInOrder) {
  struct Case {
    int32_t mask;
    std::string label;
    std::vector<std::string> captions;
    std::vector<int> codes;
  };
  const Case cases[] = {
      {31, "Load", {"<< Back", "Skip", "Continue Anyway", "Continue", "Cancel"}, {0, 1, 3, 3, 4}},
      {24, "", {"OK", "Cancel"}, {3, 4}},
      {24, "Load", {"Continue", "Cancel"}, {3, 4}},
      {4, "", {"Continue Anyway"}, {3}},
      {0, "Load", {}, {}},
      {1 << 5, "", {}, {}}};
  for (const Case& c : cases) {
    std::vector<std::string> captions;
    std::vector<int> codes;
    for (const DisplayDataButton& b : display_data_buttons(c.mask, c.label)) {
      captions.push_back(b.caption);
      codes.push_back(b.code);
    }
    EXPECT_EQ(captions, c.captions) << c.mask;
    EXPECT_EQ(codes, c.codes) << c.mask;
  }
  std::vector<DisplayDataButton> all = display_data_buttons(31, "");
  EXPECT_EQ(all[0].tool_tip, "Go back to previous step");
  EXPECT_EQ(all[1].tool_tip, "Skip this step and proceed");
  EXPECT_EQ(all[3].tool_tip, "Perform this operation");
  EXPECT_EQ(all[4].tool_tip, "Cancel this Adjustment");
}

TEST(DisplayDataValueText, UsesTheFormatOrAPlainNumber) {
  EXPECT_EQ(display_data_value_text(1.5, ""), "1.5");
  EXPECT_EQ(display_data_value_text(-0.25, ""), "-0.25");
  EXPECT_EQ(display_data_value_text(0.1 + 0.2, ""), "0.3");  // not 0.30000000000000004
  EXPECT_EQ(display_data_value_text(1e-5, ""), "1E-05");
  EXPECT_EQ(display_data_value_text(123456.789, ""), "123456.789");
  EXPECT_EQ(display_data_value_text(1.5, "0.000"), "1.500");
}

TEST_F(DisplayDataTest, ANonNumericEntryIsRefusedAndTheDialogStays) {
  op.expect_display_data("Apply", {{3, "abc"}, {3, " 12.5"}});
  op.expect_gib("Load must be numeric", 0);
  EXPECT_EQ(display_data("Apply full load", "lbf-in", 24, "Adjust", "100", "Load", ""), 3);
  EXPECT_EQ(display_data_input(), " 12.5");
  ASSERT_EQ(op.shown.size(), 2u);
  EXPECT_EQ(op.shown[1].text, "Load must be numeric");
  EXPECT_EQ(op.shown[1].buttons, (std::vector<std::string>{"OK"}));
  EXPECT_EQ(op.shown[0].buttons, (std::vector<std::string>{"Continue", "Cancel"}));
  EXPECT_EQ(op.shown[0].default_text, "100");
}

TEST_F(DisplayDataTest, OtherPressesEndTheStepWithoutCheckingTheEntry) {
  op.expect_display_data("Remove", {{4, "junk"}});
  op.expect_display_data("Zero", {{3, "junk"}});  // no input label: nothing to check
  EXPECT_EQ(display_data("Remove load", "lbf-in", 31, "Adjust", "0", "Load", ""), 4);
  EXPECT_EQ(display_data_input(), "0");
  EXPECT_EQ(display_data("Zero", "lbf-in", 24, "Adjust", "7", "", ""), 3);
  EXPECT_EQ(display_data_input(), "7");
}

TEST_F(DisplayDataTest, TheLiveValueComesFromTheInstalledReader) {
  op.expect_display_data("", 3);
  op.expect_display_data("", 3);
  op.expect_display_data("", 3);
  display_data("Step", "lbf-in", 8, "", "", "", "");
  EXPECT_EQ(op.last().live, "");  // no reader yet
  double value = 12.25;
  set_display_data_reader([&value] { return value; });
  display_data("Step", "lbf-in", 8, "", "", "", "0.0000");
  EXPECT_EQ(op.last().live, "12.2500");
  value = -3;
  display_data("Step", "lbf-in", 8, "", "", "", "");
  EXPECT_EQ(op.last().live, "-3");
}

TEST_F(SeamsTest, ADisplayDataStepWhosePressesAreAllRefusedIsCancelled) {
  ScriptedOperator op;
  op.expect_display_data("Apply", {{3, "x"}});
  op.expect_gib("must be numeric", 0);
  int code = 0;
  EXPECT_NONFATAL_FAILURE(code = display_data("Apply", "", 24, "", "1", "Load", ""),
                          "every press was refused");
  EXPECT_EQ(code, 4);
}

}  // namespace
}  // namespace ovn
