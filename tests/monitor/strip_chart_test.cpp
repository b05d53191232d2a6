#include "monitor/strip_chart.h"

#include <gtest/gtest.h>

#include "support/recording_canvas.h"
#include "support/scripted_operator.h"
#include "support/seams.h"

namespace ovn {
namespace {

using test::CanvasCall;

// A colour word from red, green and blue, as the operating system's RGB macro builds it.
constexpr int32_t rgb(int r, int g, int b) {
  return r | g << 8 | b << 16;
}

class StripChartTest : public test::SeamsTest {
 protected:
  StripChartTest() { g.canvas = &canvas; }

  void store(const std::string& key, const std::string& value) {
    seams.settings.put("KST", "Graphing", key, value);
  }
  std::string stored(const std::string& key) {
    return seams.settings.get("KST", "Graphing", key).value_or("<none>");
  }
  std::vector<std::string> stored(const std::vector<std::string>& keys) {
    std::vector<std::string> values;
    for (const auto& key : keys) values.push_back(stored(key));
    return values;
  }
  // Reads the settings with full scales 100, 3000, 50 and starts a screen.
  void start() {
    graph_read_settings(g, {100, 3000, 50});
    graph_clear(g);
    canvas.calls.clear();
  }
  // One round of the loop at `t` ms into the screen, as the main loop runs it.
  bool round_at(double t, std::array<double, 3> values) {
    seams.clock.advance(g.t0_ms + t - now_ms());
    graph_round_start(g);
    for (int ch = 1; ch <= 3; ++ch) graph_pen(g, ch, values[ch - 1]);
    bool new_screen = graph_screen_end(g);
    g.prev_elapsed_ms = g.elapsed_ms;
    return new_screen;
  }

  StripChart g;
  test::RecordingCanvas canvas;
};

TEST_F(StripChartTest, AFreshStoreGetsTheDefaultsAndKeepsThem) {
  start();
  // Entries 10, 11 and 13 of the classic palette: light green, light cyan, light magenta.
  EXPECT_EQ((std::vector<int32_t>{g.bg_color, g.chn[0].color, g.chn[1].color, g.chn[2].color}),
            (std::vector<int32_t>{0, rgb(0, 255, 0), rgb(0, 255, 255), rgb(255, 0, 255)}));
  EXPECT_EQ(g.txt_grlimits,
            (std::array<std::string, 6>{"100", "3000", "50", "-100", "-3000", "-50"}));
  EXPECT_FALSE(g.cb_gridlines || g.cb_dots);
  EXPECT_EQ(std::tie(g.ms_per_screen, g.erase_width_ms, g.txt_sec_per_screen),
            std::make_tuple(10000, 200, "10"));
  EXPECT_EQ(stored({"ms Per Screen", "Color CHN1", "BackGround Color", "Gridlines",
                    "Limits CHN2 UPPER", "Limits CHN3 LOWER"}),
            (std::vector<std::string>{"10000", "65280", "0", "False", "3000", "-50"}));
}

TEST_F(StripChartTest, StoredSettingsWinUnlessTheyAreNotNumbers) {
  store("ms Per Screen", "2500");
  store("Color CHN1", "255");
  store("Color CHN2", "blue");
  store("Gridlines", "True");
  store("Graph with dots", "-1");
  store("Limits CHN1 LOWER", "-20");
  store("Limits CHN3 UPPER", "");
  start();
  EXPECT_EQ(std::tie(g.ms_per_screen, g.erase_width_ms, g.txt_sec_per_screen),
            std::make_tuple(2500, 50, "2.5"));
  EXPECT_EQ(g.chn[0].color, rgb(255, 0, 0));
  EXPECT_EQ(g.chn[1].color, rgb(0, 255, 255));
  EXPECT_TRUE(g.cb_gridlines && g.cb_dots);
  EXPECT_EQ(g.txt_grlimits[3], "-20");
  EXPECT_EQ(g.txt_grlimits[2], "50");
  EXPECT_EQ(stored("Color CHN2"), "blue");  // a bad value is left for the operator to mend

  store("ms Per Screen", "fast");
  apply_graph_scale(g);
  EXPECT_EQ(g.ms_per_screen, 10000);
  EXPECT_EQ(stored("ms Per Screen"), "fast");
}

TEST_F(StripChartTest, TheScaleMapsTheLimitsToTopAndBottomOrLeavesTheChannelAlone) {
  struct Case {
    const char* upper;
    const char* lower;
    float scale, offset;  // expected; the previous 0.005 / 0.5 when the limits are refused
  } cases[] = {{"100", "-100", 0.005f, 0.5f},   {"50", "-150", 0.005f, 0.75f},
               {"1e3", "0", 0.001f, 0.0f},      {"10", "10", 0.005f, 0.5f},
               {"-5", "5", 0.005f, 0.5f},       {"", "-100", 0.005f, 0.5f},
               {"0.0000005", "0", 0.005f, 0.5f}};
  for (const Case& c : cases) {
    g.txt_grlimits = {"100", "3000", "50", "-100", "-3000", "-50"};
    apply_graph_scale(g);
    g.txt_grlimits[0] = c.upper;
    g.txt_grlimits[3] = c.lower;
    apply_graph_scale(g);
    EXPECT_NEAR(g.chn[0].scale, c.scale, 1e-9) << c.upper << " " << c.lower;
    EXPECT_NEAR(g.chn[0].offset, c.offset, 1e-7) << c.upper << " " << c.lower;
    EXPECT_NEAR(g.chn[1].scale, 1.0 / 6000, 1e-9);
  }
}

TEST_F(StripChartTest, ALimitEditIsStoredWhenNumericAndIgnoredDuringResizeAndInitialisation) {
  start();
  g.txt_grlimits[4] = "-1000";
  txt_grlimits_change(g, 4);
  EXPECT_EQ(stored("Limits CHN2 LOWER"), "-1000");
  EXPECT_NEAR(g.chn[1].scale, 1.0 / 4000, 1e-9);

  g.txt_grlimits[0] = "";
  txt_grlimits_change(g, 0);
  EXPECT_EQ(stored("Limits CHN1 UPPER"), "100");
  EXPECT_NEAR(g.chn[0].scale, 0.005, 1e-9);

  for (bool* flag : {&g.resizing, &g.initialising}) {
    *flag = true;
    g.txt_grlimits[2] = "10";
    txt_grlimits_change(g, 2);
    EXPECT_EQ(stored("Limits CHN3 UPPER"), "50");
    EXPECT_NEAR(g.chn[2].scale, 0.01, 1e-9);
    *flag = false;
  }
  EXPECT_TRUE(canvas.calls.empty());
}

TEST_F(StripChartTest, ARoundDrawsOneStripeAheadOfThePenAndOneLinePerChannel) {
  start();
  round_at(100, {0, 0, 0});                      // no point before it: nothing to join
  EXPECT_EQ(canvas.count(CanvasCall::Line), 1);  // only the top tick of grid step 0
  canvas.calls.clear();

  round_at(300, {50, 1500, -25});
  ASSERT_EQ(canvas.calls.size(), 4u);
  EXPECT_EQ(canvas.count(CanvasCall::Clear), 0);
  const CanvasCall& stripe = canvas.calls[0];
  EXPECT_EQ(stripe.kind, CanvasCall::Rect);
  EXPECT_EQ(stripe.x1, 400);  // wiped up to 200 already, a stripe's width ahead
  EXPECT_EQ(stripe.x2, 500);
  EXPECT_EQ(std::min(stripe.y1, stripe.y2), 0);
  EXPECT_EQ(std::max(stripe.y1, stripe.y2), 1);
  EXPECT_EQ(stripe.color, g.bg_color);
  const double expected_y[3] = {0.75, 0.75, 0.25};
  for (int ch = 0; ch < 3; ++ch) {
    const CanvasCall& pen = canvas.calls[1 + ch];
    EXPECT_EQ(pen.kind, CanvasCall::Line);
    EXPECT_EQ(pen.color, g.chn[ch].color);
    EXPECT_EQ(pen.x1, 100);
    EXPECT_EQ(pen.x2, 300);
    EXPECT_NEAR(pen.y1, 0.5, 1e-6);
    EXPECT_NEAR(pen.y2, expected_y[ch], 1e-6);
  }
  EXPECT_EQ(g.erase_until_ms, 300);
}

TEST_F(StripChartTest, ASlowSampleRateIsCaughtUpByOneWideWipe) {
  start();
  round_at(100, {0, 0, 0});
  canvas.calls.clear();
  round_at(5000, {10, 0, 0});
  ASSERT_EQ(canvas.count(CanvasCall::Rect), 1);
  EXPECT_EQ(canvas.of(CanvasCall::Rect)[0].x1, 400);
  EXPECT_EQ(canvas.of(CanvasCall::Rect)[0].x2, 5200);
  EXPECT_EQ(g.next_grid_ms, 2000);  // one grid step per round, the rest follow
}

TEST_F(StripChartTest, GridlinesMarkTheStripeAndEachGridStepGetsATick) {
  store("BackGround Color", "16777215");
  start();
  g.cb_gridlines = true;
  round_at(100, {0, 0, 0});
  round_at(1100, {0, 0, 0});
  std::vector<CanvasCall> lines = canvas.of(CanvasCall::Line);
  std::vector<CanvasCall> marks;
  for (const CanvasCall& c : lines) {
    if (c.y1 == c.y2 && c.x1 == 400 && c.x2 == 1300) marks.push_back(c);
  }
  ASSERT_EQ(marks.size(), 19u);
  for (int k = 1; k <= 19; ++k) {
    EXPECT_NEAR(marks[k - 1].y1, 0.05 * k, 1e-12);
    EXPECT_EQ(marks[k - 1].color, k % 5 == 0 ? 0x9F9F9F : 0xDFDFDF) << k;
  }
  auto at = [&](double x, double y1, double y2, int32_t color) {
    return std::count_if(lines.begin(), lines.end(), [&](const CanvasCall& c) {
      return c.x1 == x && c.x2 == x && c.y1 == y1 && c.y2 == y2 && c.color == color;
    });
  };
  EXPECT_EQ(at(1000, 0, 1, 0xDFDFDF), 1);     // the grid line
  EXPECT_EQ(at(1000, 1, 0.99, 0x000000), 1);  // its tick at the top
}

TEST_F(StripChartTest, ANewScreenStartsPastTheRightEdgeAndHasNoLineToItsFirstPoint) {
  start();
  round_at(9700, {0, 0, 0});
  canvas.calls.clear();
  EXPECT_FALSE(round_at(9900, {0, 0, 0}));
  // The last stripe reaches past the edge.
  EXPECT_EQ(canvas.of(CanvasCall::Rect)[0].x2, 9900 + 400);

  EXPECT_FALSE(round_at(10000.0004, {0, 0, 0}));  // as a single that is the edge itself
  canvas.calls.clear();
  const double old_t0 = g.t0_ms;
  EXPECT_TRUE(round_at(10001, {0, 0, 0}));
  EXPECT_EQ(canvas.count(CanvasCall::Clear), 1);
  EXPECT_DOUBLE_EQ(g.t0_ms, old_t0 + 10001);
  EXPECT_EQ(g.erase_until_ms, 200);
  EXPECT_EQ(g.next_grid_ms, 0);

  canvas.calls.clear();
  round_at(50, {100, 0, 0});
  EXPECT_EQ(canvas.count(CanvasCall::Line), 1);  // the tick; no pen line back from the edge
  round_at(250, {0, 0, 0});
  EXPECT_EQ(canvas.of(CanvasCall::Line)[1].x1, 50);
  EXPECT_NEAR(canvas.of(CanvasCall::Line)[1].y1, 1, 1e-6);
}

TEST_F(StripChartTest, AClearDrawsTheFrameInsideTheChartAndRestartsTheTimes) {
  start();
  g.next_text_ms = 500;
  g.last_text_ms = 300;
  seams.clock.advance(2500);
  graph_clear(g);
  EXPECT_EQ(g.t0_ms, now_ms());
  EXPECT_EQ(g.next_text_ms, 0);
  EXPECT_EQ(g.last_text_ms, 0);
  ASSERT_GE(canvas.calls.size(), 6u);
  EXPECT_EQ(canvas.calls[0].kind, CanvasCall::Scale);
  EXPECT_EQ(canvas.calls[0].x2, 10000);
  EXPECT_EQ(canvas.calls[0].y2, 1);
  EXPECT_EQ(canvas.calls[1].kind, CanvasCall::Clear);
  EXPECT_EQ(canvas.calls[1].color, g.bg_color);
  int edges = 0;
  for (size_t i = 2; i < canvas.calls.size(); ++i) {
    const CanvasCall& c = canvas.calls[i];
    EXPECT_EQ(c.kind, CanvasCall::Line);
    EXPECT_EQ(c.color, 0xFFFFFF);
    for (double x : {c.x1, c.x2}) EXPECT_TRUE(x >= 0 && x <= 10000);
    for (double y : {c.y1, c.y2}) EXPECT_TRUE(y >= 0 && y <= 1);
    edges += (c.x1 == c.x2 && (c.x1 == 0 || c.x1 == 10000) && std::abs(c.y2 - c.y1) == 1) ||
             (c.y1 == c.y2 && (c.y1 == 0 || c.y1 == 1) && std::abs(c.x2 - c.x1) == 10000);
  }
  EXPECT_EQ(edges, 4);
}

TEST_F(StripChartTest, WhilePausedNothingIsDrawnButThePenAndNewLimitsFollow) {
  start();
  round_at(100, {0, 0, 0});
  canvas.calls.clear();
  g.paused = true;
  round_at(400, {100, 0, 0});
  g.txt_grlimits[0] = "300";
  txt_grlimits_change(g, 0);
  EXPECT_FALSE(round_at(10500, {100, 0, 0}));
  graph_clear(g);
  EXPECT_TRUE(canvas.calls.empty());
  EXPECT_EQ(stored("Limits CHN1 UPPER"), "300");
  EXPECT_NEAR(g.chn[0].last_y, 0.5, 1e-6);  // 100 under the new limits -100..300

  g.paused = false;
  EXPECT_TRUE(round_at(10600, {300, 0, 0}));
  round_at(100, {300, 0, 0});
  round_at(200, {-100, 0, 0});
  std::vector<CanvasCall> lines = canvas.of(CanvasCall::Line);
  auto pen = std::find_if(lines.rbegin(), lines.rend(),
                          [&](const CanvasCall& c) { return c.color == g.chn[0].color; });
  ASSERT_NE(pen, lines.rend());
  EXPECT_NEAR(pen->y1, 1, 1e-6);
  EXPECT_NEAR(pen->y2, 0, 1e-6);
}

TEST_F(StripChartTest, DotsAreShortStrokesAndWildValuesAreHeldAtTheDrawingLimits) {
  start();
  g.cb_dots = true;
  round_at(100, {50, 0, 0});
  std::vector<CanvasCall> dots = canvas.of(CanvasCall::Rect);
  ASSERT_EQ(dots.size(), 3u);
  EXPECT_EQ(dots[0].color, g.chn[0].color);
  EXPECT_EQ(dots[0].x1, 100);
  EXPECT_EQ(dots[0].x2, 110);  // about a pixel on any screen
  EXPECT_NEAR(dots[0].y1, 0.75, 1e-6);
  EXPECT_GT(dots[0].y2, dots[0].y1);
  EXPECT_LT(dots[0].y2 - dots[0].y1, 0.02);

  g.cb_dots = false;
  canvas.calls.clear();
  round_at(150, {1e12, -1e12, 0});
  std::vector<CanvasCall> lines = canvas.of(CanvasCall::Line);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0].y2, 32767);
  EXPECT_EQ(lines[1].y2, -32768);
  EXPECT_EQ(g.chn[0].last_y, 32767.0f);
}

TEST_F(StripChartTest, TheSecondsPerScreenBoxTakesPositiveNumbersOnly) {
  start();
  struct Case {
    const char* text;
    double ms;         // expected width afterwards
    const char* kept;  // expected stored value
    bool cleared;
  } cases[] = {{"2.5", 2500, "2500", true},     {"2.5", 2500, "2500", false},
               {"abc", 2500, "2500", false},    {"0", 2500, "2500", false},
               {"-3", 2500, "2500", false},     {"", 2500, "2500", false},
               {"0.0001", 2500, "2500", false}, {"60", 60000, "60000", true}};
  for (const Case& c : cases) {
    canvas.calls.clear();
    seams.log.lines.clear();
    lf_change_scalewidth(g, c.text);
    EXPECT_EQ(g.ms_per_screen, c.ms) << c.text;
    EXPECT_EQ(stored("ms Per Screen"), c.kept) << c.text;
    EXPECT_EQ(canvas.count(CanvasCall::Clear), c.cleared ? 1 : 0) << c.text;
    ASSERT_FALSE(seams.log.lines.empty());
    EXPECT_NE(seams.log.lines.back().find("IN lf_change_scalewidth"), std::string::npos);
  }
  EXPECT_EQ(g.txt_sec_per_screen, "60");
  EXPECT_EQ(g.erase_width_ms, 1200);
}

TEST_F(StripChartTest, ColoursComeFromTheColourDialogAndAreStored) {
  start();
  test::ScriptedOperator op;
  op.expect_color_dialog(0x123456);
  op.expect_color_dialog(std::nullopt);
  op.expect_color_dialog(0xFFFFFF);
  EXPECT_EQ(graph_set_color(g, 2), 0x123456);
  EXPECT_EQ(g.chn[1].color, 0x123456);
  EXPECT_EQ(stored("Color CHN2"), "1193046");

  EXPECT_EQ(graph_set_color(g, 1), std::nullopt);
  EXPECT_EQ(g.chn[0].color, rgb(0, 255, 0));
  EXPECT_TRUE(canvas.calls.empty());

  EXPECT_EQ(graph_set_color(g, 0), 0xFFFFFF);
  EXPECT_EQ(stored("BackGround Color"), "16777215");
  ASSERT_EQ(canvas.count(CanvasCall::Clear), 1);
  EXPECT_EQ(canvas.of(CanvasCall::Clear)[0].color, 0xFFFFFF);
}

TEST_F(StripChartTest, TheCheckBoxesAreStoredForTheNextRun) {
  start();
  g.cb_gridlines = true;
  graph_store_checkboxes(g);
  EXPECT_EQ(stored("Gridlines"), "True");
  EXPECT_EQ(stored("Graph with dots"), "False");
  StripChart next;
  graph_read_settings(next, {1, 1, 1});
  EXPECT_TRUE(next.cb_gridlines);
  EXPECT_FALSE(next.cb_dots);
}

}  // namespace
}  // namespace ovn
