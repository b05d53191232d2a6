// The main window's session against the simulated KST on the virtual clock: start-up to
// the first live message, rounds, readouts, commands and the close request.

#include "monitor/frm_kst_main.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <set>

#include "build_info.h"
#include "foundation/kw.h"
#include "foundation/settings.h"
#include "foundation/units.h"
#include "instrument/ovn_mode.h"
#include "link/rs232.h"
#include "monitor/data_dir.h"
#include "sim/sim_instrument.h"
#include "sim/sim_port.h"
#include "support/recording_canvas.h"
#include "support/scripted_operator.h"
#include "support/seams.h"
#include "support/temp_dir.h"

namespace ovn {
namespace {

using test::CanvasCall;

class FrmKstMainTest : public test::SeamsTest {
 protected:
  void SetUp() override {
    config.noise_uvpv = 0;
    seams.settings.put("KST", kDtdrSection, kDtdrKeyDir, dir.path());
    seams.settings.put("KST", kDtdrSection, kDtdrKeyRate, "0");
  }
  // The instrument answers on the port from here; what happened before is forgotten.
  void connect() {
    sim_init(sim, config);
    sim.physics.torque = {SimShape::Constant, 1234.5};
    port = std::make_unique<SimPort>(sim, SimTime::Virtual);
    rs232_attach(*port, "A");
    ASSERT_EQ(rs232_open(*port, "115200,n,8,1"), "");
    rs232_set_relaxed(true);  // the waits then move the virtual clock to the reply
    f.graph.canvas = &canvas;
  }
  void start() {
    connect();
    kst_load(f);
    kst_init_session(f);
  }
  // Clicks a menu entry as soon as the session runs its rounds.
  void click_when_running(const KstMenu& menu, int index) {
    set_event_pump([this, &menu, index, clicked = false]() mutable {
      if (!clicked && f.caption == "GO") {
        clicked = true;
        kst_on_menu(f, menu, index);
      }
    });
  }
  std::vector<std::string> requests_since(size_t from) const {
    auto all = port->requests();
    return {all.begin() + static_cast<long>(std::min(from, all.size())), all.end()};
  }
  // Lines in the pen colour of a channel: the frame and grid have colours of their own.
  int lines_drawn() const {
    int n = 0;
    for (const auto& c : canvas.of(CanvasCall::Line))
      for (int i = 0; i < 3; ++i) n += c.color == f.graph.chn[static_cast<size_t>(i)].color;
    return n;
  }

  test::TempDir dir;
  test::ScriptedOperator op;
  SimConfig config;
  SimInstrument sim;
  std::unique_ptr<SimPort> port;
  test::RecordingCanvas canvas;
  FrmKstMain f;
};

TEST_F(FrmKstMainTest, StartUpReachesTheFirstLiveMessageWithExactlyTheseRequests) {
  connect();
  kst_load(f);
  EXPECT_EQ(f.caption, "Colors");
  EXPECT_TRUE(f.timer1_enabled);
  EXPECT_TRUE(port->requests().empty()) << "the load event does not talk to the instrument";
  EXPECT_EQ(seams.log.lines.back().substr(8), std::string(37, '*'));

  kst_init_session(f);
  EXPECT_EQ(f.caption, "GO");
  kst_round(f);
  // The instrument's record first (identity and adjustment points), then the display's
  // own: channels, units and full scales.
  std::vector<std::string> session = {"VR",   "UIA",  "UIB", "UID",  "ID",   "UIC",  "CE1A",
                                      "CE1B", "CE1C", "UCA", "CF1A", "CE1B", "CF1B", "CE1C",
                                      "CF1C", "SD",   "UN1", "DS1",  "CE1A", "UN2",  "DS2",
                                      "CE2A", "UN3",  "DS3", "CE3A", "UCA"};
  std::vector<std::string> expected = session;
  expected.insert(expected.end(), {"SD", "PWa", "PWA"});
  expected.insert(expected.end(), session.begin(), session.end());  // the channels again
  expected.push_back("UCB");  // whether the highest filter is on, for the filter names
  expected.insert(expected.end(), {"UCB", "PS", "FL1", "TA", "IOI", "IOA", "IOB", "IOC", "IOD",
                                   "IOE", "IOF", "IOG", "IOH", "FL1"});
  expected.push_back("DE*");  // the first live message; the readouts follow at once
  expected.insert(expected.end(),
                  {"MX1E", "DT1E", "MX2E", "DT2E", "MX3E", "DT3E", "IO*", "TC", "AS"});
  EXPECT_EQ(port->requests(), expected);
  EXPECT_TRUE(op.shown.empty()) << "a stator v150 with rotor v40 needs no notice";
}

TEST_F(FrmKstMainTest, TheLoadEventSetsUpControlsMenusAndNoiseCaptions) {
  seams.settings.put("ovn-tm-info", "Settings", "Noise-Test-Time", "500");
  seams.settings.put("ovn-tm-info", "Settings", "Noise-Test-Reps", "7");
  connect();
  kst_load(f);
  EXPECT_EQ(f.btn_cmd[1].caption, "Tare");
  EXPECT_EQ(f.btn_cal[2].caption, "- Cal");
  EXPECT_EQ(f.btn_cal[0].tool_tip, "Apply the positive cal signal on the torquemeter");
  EXPECT_TRUE(f.btn_pwr135.enabled);
  kst_on_button(f, "btn_pwr135", 0, 1, 0);
  EXPECT_EQ(f.command, kCmdPower135);
  f.command = 0;
  EXPECT_EQ(f.mn_filter.entries.size(), 16u);
  // The time is held to its range; the repetitions stand.
  EXPECT_EQ(f.mn_misc.entries[1].caption, "Noise Test: A/D 101 second");
  EXPECT_EQ(f.mn_misc.entries[2].caption, "Noise Test: A/D 101 second x 7");
  EXPECT_EQ(f.mn_misc.entries[4].caption, "Noise Filtered lbf-in  101 second");
  EXPECT_EQ(f.mn_misc.entries[5].caption, "Noise Filtered lbf-in  101 second x 7");
  EXPECT_EQ(f.mn_misc.entries[3].caption, "Noise Test:lbf-in");
  EXPECT_EQ(f.mn_misc.entries[9].shortcut, "F2");
  // Every entry has its row in the command table, and it is greyed exactly when the row
  // has no procedure in this build.
  for (const KstMenu* m : kst_menus(f)) {
    for (size_t i = 0; i < m->entries.size(); ++i) {
      const KstMenuEntry& e = m->entries[i];
      const int32_t c = m->base + static_cast<int32_t>(i);
      if (e.separator()) continue;
      EXPECT_NE(kst_command_find(kst_command_table(), c), nullptr) << c;
      EXPECT_EQ(e.enabled, kst_command_served(c)) << c;
      EXPECT_EQ(e.tool_tip == kNotAvailable, !kst_command_served(c)) << c;
    }
  }
  // Units: four groups, a separator between each two.
  int separators = 0;
  for (const auto& e : f.mn_units.entries) separators += e.separator();
  EXPECT_EQ(separators, 3);
  EXPECT_EQ(f.mn_units.entries.front().caption.empty(), false);
  kst_on_menu(f, f.mn_file, 9);  // "Exit"
  EXPECT_EQ(f.command, 109);
  kst_on_menu(f, f.mn_file, 2);  // a separator
  EXPECT_EQ(f.command, 109);
}

TEST_F(FrmKstMainTest, SplashTimeComesFromTheSettingHeldToTenSeconds) {
  struct Case {
    const char* stored;
    int ms;
  } cases[] = {{"20000", 10000}, {"abc", 0}, {"-5", 0}, {"2500", 2500}};
  for (const Case& c : cases) {
    seams.settings.put("OVN-Shared", "Splash", "Display-Time-ms", c.stored);
    EXPECT_EQ(splash_display_ms(0), c.ms) << c.stored;
  }
  EXPECT_EQ(splash_display_ms(700), 700);

  int shown = -1;
  f.hooks.show_splash = [&](int ms) { shown = ms; };
  set_command_line("ovn-kst -nologo-extra");
  connect();
  kst_load(f);
  EXPECT_EQ(shown, -1) << "a text search finds -nologo inside -nologo-extra";
  set_command_line("");
  FrmKstMain g;
  g.hooks.show_splash = [&](int ms) { shown = ms; };
  kst_load(g);
  EXPECT_EQ(shown, 2500);
}

TEST_F(FrmKstMainTest, FirmwareNoticesCollectEveryLineOfAnOldStator) {
  EXPECT_EQ(kst_firmware_notice(150, 40), "");
  EXPECT_EQ(kst_firmware_notice(148, 0), "Rotor not communicating with stator?");
  EXPECT_EQ(kst_firmware_notice(150, 36),
            "Upgrade the rotor firmware to at least v37 (currently v36)");
  EXPECT_EQ(kst_firmware_notice(146, 37),
            "The stator firmware should be upgraded to at least version 148.\r\n"
            "   Speed data does not work.\r\n"
            "The stator firmware should be upgraded to at least version 147.\r\n"
            "   RS485 communication does not work.");
  std::string old = kst_firmware_notice(80, 37);
  EXPECT_NE(old.find("Save your configuration, upgrade to stator version 83,\r\n"
                     "  reload your configuration, and then go through Setup->Technician's Setup"),
            std::string::npos);
  EXPECT_NE(old.find("The stator firmware NEEDS to at least version 81.\r\n"
                     "      F11 results WILL BE wrong!!"),
            std::string::npos);

  // Shown with Abort|Continue; Abort ends the program on the spot.
  config.stator_version = "146";
  op.expect_gib("Continue at your own risk.", "Abort");
  connect();
  kst_load(f);
  EXPECT_PROCESS_EXIT(kst_init_session(f), 0);
  EXPECT_EQ(op.last().buttons, (std::vector<std::string>{"Abort", "Continue"}));
}

TEST_F(FrmKstMainTest, RoundsDrawALinePerChannelAndTheReadoutsFollowTheirPeriod) {
  start();
  ASSERT_EQ(f.session.full_scale[0], 2001.0002);
  canvas.calls.clear();
  kst_round(f);  // no point yet: the first round of a screen draws no line
  EXPECT_EQ(lines_drawn(), 0);
  // The readout shows what the instrument shows, to the tenth its full scale asks for.
  double shown = sim_display_value(sim, 1, now_ms());
  EXPECT_EQ(f.lb_data[0].caption, kw_format(shown, "0.0"));
  EXPECT_EQ(f.lb_units[0].caption, "lbf-in");
  EXPECT_EQ(f.lb_units[1].caption, "RPM");
  EXPECT_EQ(f.lb_temperature.caption, "75.0 F");
  EXPECT_EQ(f.lb_temperature.tool_tip, "TEMPERATURE:\r\n75.0 F");
  EXPECT_EQ(f.btn_cal[1].back_color, kRgbGreen) << "no cal signal: the middle button is lit";
  EXPECT_EQ(f.btn_cal[0].back_color, f.window_color);

  size_t before = port->requests().size();
  canvas.calls.clear();
  kst_round(f);
  EXPECT_EQ(requests_since(before), std::vector<std::string>{"DE*"})
      << "the readouts wait for their 200 ms";
  ASSERT_EQ(lines_drawn(), 3);
  // Channel 1's pen sits at the value within the default limits of +/- full scale.
  double y = (f.cur[0] + 2001.0002) / (2 * 2001.0002);
  EXPECT_NEAR(f.cur[0], shown, 0.001);
  EXPECT_NEAR(canvas.of(CanvasCall::Line)[0].y2, y, 1e-6);
  EXPECT_EQ(canvas.of(CanvasCall::Line)[0].color, f.graph.chn[0].color);

  // The round rate shows when the period has passed, with the line's own limit beside it.
  while (f.graph.elapsed_ms < 250) kst_round(f);
  EXPECT_NE(f.lb_hz.caption.find(" samples/sec"), std::string::npos);
  EXPECT_NE(f.lb_hz.tool_tip.find("Line limit at 115200 baud: "), std::string::npos);
  EXPECT_EQ(f.lb_hz.tool_tip.rfind("Ctrl+Alt+Shift+Click to toggle text/graphing rate", 0), 0u);
  EXPECT_DOUBLE_EQ(kst_line_limit_per_s(115200, 5, 25), 384.0);
}

TEST_F(FrmKstMainTest, OnlyTheFirstThreeNumericFieldsAreSamples) {
  start();
  sim.table["DE*"] = "11,22,33,44,55";
  f.extra_field.clear();
  f.graph.next_text_ms = 1e12;  // keep the readouts out of this round
  kst_round(f);
  EXPECT_EQ(f.cur, (std::array<double, 3>{11, 22, 33}));
  EXPECT_EQ(f.last_row, "11,22,33");

  // A refusal is logged and goes into the row between "??" marks.
  sim.table["DE*"] = "!";
  kst_round(f);
  EXPECT_EQ(f.last_row,
            "??"
            "!??");
  EXPECT_EQ(seams.log.lines.back().substr(8), "PROBLEM:!  (length=1)");
  EXPECT_EQ(f.cur[0], 11) << "a refusal is no sample";
}

TEST_F(FrmKstMainTest, AnEmptyReplyAfterSkipDrawsNothingAndStillOffersAnEmptyRow) {
  start();
  ASSERT_TRUE(dtdr_start_stop("", ""));
  kst_round(f);  // the first row: values and the temperature
  canvas.calls.clear();
  f.extra_field.clear();
  const int32_t reply_bytes = f.last_bytes;
  port->drop_replies(3);
  op.expect_gib("Communications Failure", "Skip");
  EXPECT_EQ(kst_round(f), KstRoundEnd::Next);
  EXPECT_EQ(lines_drawn(), 0);
  EXPECT_EQ(f.last_row, "");
  EXPECT_EQ(f.last_bytes, reply_bytes) << "the line limit stays that of a real reply";
  // A copy: the name is cleared when saving stops.
  std::string file = dtdr_file_name();  // NOLINT(performance-unnecessary-copy-initialization)
  dtdr_start_stop("", "");
  std::string all = test::TempDir::read(file).value_or("");
  ASSERT_GE(dtdr_rows(), 2);
  // The last row is the time alone: nothing came from the instrument.
  std::string last = all.substr(all.rfind("\r\n", all.size() - 3) + 2);
  EXPECT_EQ(last.find(','), last.size() - 3) << last;
}

TEST_F(FrmKstMainTest, OneChannelHidesTheOthersAndAsksOnlyForItsMaxMin) {
  config.channels = 1;
  start();
  EXPECT_TRUE(f.lb_data[0].visible);
  EXPECT_FALSE(f.lb_data[1].visible);
  EXPECT_FALSE(f.lb_mxmn[2].visible);
  size_t before = port->requests().size();
  kst_round(f);
  for (const auto& r : requests_since(before)) {
    EXPECT_NE(r, "MX2E");
    EXPECT_NE(r, "MX3E");
  }
  // A filter click writes only channel 1.
  before = port->requests().size();
  kst_serve_command(f, 2003);
  EXPECT_EQ(requests_since(before), (std::vector<std::string>{"FL13", "FL1"}));
}

TEST_F(FrmKstMainTest, TheModeSwitchChangesTheLiveMessageAndHexRepliesAreConverted) {
  start();
  // F2 widens the engineering format by two digits and back.
  for (const char* picture : {"#0.000", "#0.0"}) {
    kst_on_menu(f, f.mn_misc, 9);
    kst_round(f);
    EXPECT_EQ(f.mn_misc.entries[9].checked, picture == std::string("#0.000"));
    EXPECT_EQ(kw_format(1.0 / 3, f.modes[0].format[0]), kw_format(1.0 / 3, picture));
  }
  kst_on_mouse_down(f, "lb_units", 0, 1, 0);
  EXPECT_EQ(f.command, 50);
  kst_round(f);
  EXPECT_EQ(f.display_mode, 0) << "outside technician mode the mode stays engineering";
  EXPECT_EQ(seams.settings.get("KST", "Settings", "Display Mode"), "0");

  f.technician = true;
  f.command = 50;
  kst_round(f);
  EXPECT_EQ(f.display_mode, 1);
  size_t before = port->requests().size();
  kst_round(f);
  EXPECT_EQ(requests_since(before).front(), "DR*");
  EXPECT_EQ(f.lb_units[0].caption, "Raw");

  f.display_mode = 3;
  sim.table["DY*"] = "FFFF,0010,8000";
  f.graph.next_text_ms = 1e12;
  f.extra_field.clear();
  kst_round(f);
  EXPECT_EQ(f.cur, (std::array<double, 3>{-1, 16, -32768}));
  EXPECT_EQ(f.last_row, "-1,16,-32768");
}

TEST_F(FrmKstMainTest, ModeZeroFormatFollowsTheFullScale) {
  struct Case {
    double fs;
    bool expanded;
    const char* picture;
  } cases[] = {{2001.0002, false, "#0.0"},
               {2001.0002, true, "#0.000"},
               {15000, false, "###0"},
               {10000000, false, "0"},
               {0.5, false, "0.0000"}};
  for (const Case& c : cases)
    EXPECT_EQ(kw_format(1.0 / 3, kst_mode0_format(c.fs, c.expanded)), kw_format(1.0 / 3, c.picture))
        << c.fs;
}

TEST_F(FrmKstMainTest, OneCommandARoundTheLastClickWinsAndAResizeSurvives) {
  start();
  int layouts = 0;
  f.hooks.layout = [&] { ++layouts; };
  // Two clicks before the round: only the second is served.
  kst_on_button(f, "btn_pause", 0, 1, 0);
  kst_on_button(f, "btn_clrscrn", 0, 1, 0);
  kst_round(f);
  EXPECT_FALSE(f.graph.paused);
  EXPECT_EQ(f.command, 0);

  // A resize arriving while another command is served is served in the next round...
  bool fired = false;
  auto while_serving = [&](const std::function<void()>& act) {
    fired = false;
    set_event_pump([&, act] {
      if (!fired && rs232_busy() && rs232_out().find("MX1*") != std::string::npos) {
        fired = true;
        act();
      }
    });
  };
  while_serving([&] { kst_on_resize(f); });
  kst_on_mouse_down(f, "lb_mxmn", 0, 1, 0);
  kst_round(f);
  EXPECT_TRUE(fired);
  EXPECT_EQ(f.command, kCmdResize);
  EXPECT_EQ(layouts, 0);
  kst_round(f);
  EXPECT_EQ(layouts, 1);
  EXPECT_EQ(f.command, 0);

  // ...while any other command placed then is cleared with the one being served.
  while_serving([&] { kst_on_button(f, "btn_pause", 0, 1, 0); });
  f.command = 37;
  kst_round(f);
  EXPECT_TRUE(fired);
  EXPECT_EQ(f.command, 0);
  kst_round(f);
  EXPECT_FALSE(f.graph.paused);

  // Unknown values, separators' numbers and commands with no procedure in this build are
  // logged and send nothing.
  f.graph.next_text_ms = 1e12;
  for (int32_t c : {777, 102, 305}) {
    size_t before = port->requests().size();
    f.command = c;
    kst_round(f);
    EXPECT_EQ(seams.log.lines.back().substr(8), "OOPS:" + std::to_string(c));
    EXPECT_EQ(requests_since(before), std::vector<std::string>{"DE*"}) << c;
  }
}

TEST_F(FrmKstMainTest, PauseStopsTheDrawingButNotTheValues) {
  start();
  kst_round(f);
  f.command = 1998;
  kst_round(f);
  EXPECT_EQ(f.btn_pause.caption, "Resume Graphing");
  canvas.calls.clear();
  sim.physics.torque = {SimShape::Constant, 100};
  kst_round(f);
  EXPECT_TRUE(canvas.calls.empty());
  EXPECT_NEAR(f.cur[0], sim_display_value(sim, 1, now_ms()), 0.001);
  kst_on_button(f, "btn_pause", 0, 1, 0);
  kst_round(f);
  EXPECT_EQ(f.btn_pause.caption, "Pause Graphing");
}

TEST_F(FrmKstMainTest, GesturesOnTheLabelsBecomeCommandsAndChangeTheLimits) {
  start();
  kst_on_mouse_down(f, "lb_data", 0, 1, 0);
  EXPECT_EQ(f.command, 0) << "a plain click outside technician mode is ignored";
  kst_on_mouse_down(f, "lb_data", 1, 2, 7);
  EXPECT_EQ(f.command, 60);
  kst_on_mouse_down(f, "txt_grlimits", 3, 1, 1);  // Shift+Click on channel 1's lower box
  EXPECT_EQ(f.command, 30000 + 32 + 8 + 1);
  f.graph.txt_grlimits[0] = "100";
  f.graph.txt_grlimits[3] = "-100";
  kst_round(f);
  EXPECT_EQ(f.graph.txt_grlimits[0], "50");
  EXPECT_EQ(f.graph.txt_grlimits[3], "-50");
  EXPECT_EQ(seams.settings.get("KST", "Graphing", "Limits CHN1 UPPER"), "50");

  // Ctrl+Alt+Shift on the rate label freezes the readouts and back.
  kst_on_mouse_down(f, "lb_hz", 0, 1, 7);
  EXPECT_EQ(f.text_period_ms, 100000000);
  EXPECT_EQ(f.lb_hz.back_color, kRgbRed);
  kst_on_mouse_down(f, "lb_hz", 0, 1, 7);
  EXPECT_EQ(f.text_period_ms, 200);
  EXPECT_EQ(f.lb_hz.back_color, f.window_color);

  // A click in the chart reads the values at the cursor.
  kst_on_mouse_down(f, "pic_graph", 0, 1, 0, 500, 0.75);
  kst_round(f);
  EXPECT_EQ(f.lb_xy.caption.rfind("  TORQUE=25", 0), 0u) << f.lb_xy.caption;
}

TEST_F(FrmKstMainTest, EveryGestureOnAChannelReachesItsLimitBoxesAndTheSettings) {
  start();
  sim.table["MX1E"] = "150,50";
  f.graph.next_text_ms = 1e12;
  f.graph.txt_grlimits[0] = "150";
  f.graph.txt_grlimits[3] = "50";
  // Each press is served by the next round; the limit boxes of channel 1 follow.
  const struct {
    const char* control;
    int index, button, shift;
    const char *upper, *lower;
  } steps[] = {
      {"lb_data", 0, 2, 3, "50", "-50"},         // Shift+Ctrl: centre around 0
      {"txt_grlimits", 3, 2, 1, "100", "-100"},  // Shift, right: zoom out
      {"txt_grlimits", 0, 1, 1, "50", "-50"},    // Shift, left: zoom in
      {"lb_data", 0, 1, 4, "150", "50"},         // Alt: the instrument's max and min
      {"lb_data", 0, 1, 5, "650", "-450"},       // Alt+Shift: five spans outside them
  };
  for (const auto& s : steps) {
    size_t before = port->requests().size();
    kst_on_mouse_down(f, s.control, s.index, s.button, s.shift);
    kst_round(f);
    EXPECT_EQ(f.graph.txt_grlimits[0], s.upper) << s.control << " shift " << s.shift;
    EXPECT_EQ(f.graph.txt_grlimits[3], s.lower) << s.control << " shift " << s.shift;
    EXPECT_EQ(seams.settings.get("KST", "Graphing", "Limits CHN1 UPPER"), s.upper);
    EXPECT_EQ(seams.settings.get("KST", "Graphing", "Limits CHN1 LOWER"), s.lower);
    bool asked = false;
    for (const auto& r : requests_since(before)) asked |= r == "MX1E";
    EXPECT_EQ(asked, s.shift >= 4) << "only the Alt gestures read the max and min";
  }
  EXPECT_FLOAT_EQ(f.graph.chn[0].scale, 1.0f / 1100);
  EXPECT_EQ(f.graph.txt_grlimits[1], "15000") << "the other channels keep their limits";

  // Ctrl: the channel's colour, stored and given to its value label; on the chart, the
  // background.
  op.expect_color_dialog(0x123456);
  kst_on_mouse_down(f, "lb_data", 1, 1, 2);
  kst_round(f);
  EXPECT_EQ(f.lb_data[1].back_color, 0x123456);
  EXPECT_EQ(seams.settings.get("KST", "Graphing", "Color CHN2"), std::to_string(0x123456));
  op.expect_color_dialog(0x202020);
  kst_on_mouse_down(f, "pic_graph", 0, 1, 2, 100, 0.5);
  kst_round(f);
  EXPECT_EQ(f.graph.bg_color, 0x202020);
  EXPECT_EQ(seams.settings.get("KST", "Graphing", "BackGround Color"), std::to_string(0x202020));
}

TEST_F(FrmKstMainTest, FrozenReadoutsLeaveTheLineToTheSamplesUntilTheToggleComesBack) {
  start();
  kst_round(f);  // the first round refreshes the readouts
  // The toggle asks for the readouts at once, so the new period starts from there...
  kst_on_mouse_down(f, "lb_hz", 0, 1, 7);
  ASSERT_EQ(f.text_period_ms, 100000000);
  size_t before = port->requests().size();
  kst_round(f);
  EXPECT_EQ(requests_since(before).size(), 10u) << "one live message and the readouts";
  // ...and then every round is one live message, and the graph runs on.
  before = port->requests().size();
  canvas.calls.clear();
  const double from = f.graph.elapsed_ms;
  int rounds = 0;
  while (f.graph.elapsed_ms < from + 1000) {
    kst_round(f);
    ++rounds;
  }
  EXPECT_EQ(requests_since(before), std::vector<std::string>(static_cast<size_t>(rounds), "DE*"));
  EXPECT_EQ(lines_drawn(), 3 * rounds);

  // Back to 200 ms: the readouts come at the very next round.
  kst_on_mouse_down(f, "lb_hz", 0, 1, 7);
  ASSERT_EQ(f.text_period_ms, 200);
  before = port->requests().size();
  kst_round(f);
  std::vector<std::string> sent = requests_since(before);
  ASSERT_GE(sent.size(), 2u);
  EXPECT_EQ(sent[1], "MX1E");
}

TEST_F(FrmKstMainTest, TareAndCalCommandsReachTheInstrument) {
  start();
  double untared = sim_display_value(sim, 1, now_ms());
  kst_on_button(f, "btn_cmd", 1, 1, 0);
  kst_round(f);
  EXPECT_NEAR(sim.tare[0], untared, 0.001);
  kst_on_button(f, "btn_cal", 0, 1, 0);
  kst_round(f);
  EXPECT_EQ(sim.shunt, 1);
  size_t before = port->requests().size();
  kst_on_button(f, "btn_cmd", 2, 1, 0);
  kst_round(f);
  EXPECT_EQ(requests_since(before).back(), "TR*0");
  EXPECT_EQ(sim.tare[0], 0);

  // The right button does nothing on a button; on "No Cal" in technician mode it picks a
  // shunt test by the modifiers.
  for (const char* name : {"btn_cmd", "btn_cal", "btn_pause", "btn_clrscrn", "btn_pwr135"}) {
    kst_on_button(f, name, 0, 2, 0);
    kst_on_button(f, name, 1, 2, 0);
    EXPECT_EQ(f.command, 0) << name;
  }
  f.technician = true;
  const struct {
    int shift, command;
  } shunt[] = {{2, 3003}, {6, 3004}, {7, 3005}, {0, 3001}, {1, 3001}};
  for (const auto& c : shunt) {
    kst_on_button(f, "btn_cal", 1, 2, c.shift);
    EXPECT_EQ(f.command, c.command) << "shift " << c.shift;
  }
  f.command = 0;
  kst_on_button(f, "btn_cal", 0, 2, 2);
  EXPECT_EQ(f.command, 0) << "only the middle button has a right-button meaning";
}

TEST_F(FrmKstMainTest, AUnitsEntryIsFoundByWalkingTheGroupsAndScalesFromTheNativeUnit) {
  start();
  // Speed is the second group; the instrument counts in rpm.
  int rad_s = -1;
  for (int u = 0; u < units_count(1); ++u)
    if (units_name(u, 1) == "rad/s") rad_s = u;
  ASSERT_GE(rad_s, 0);
  int index = units_count(0) + 1 + rad_s;
  ASSERT_EQ(f.mn_units.entries[static_cast<size_t>(index)].caption, "rad/s");
  kst_on_menu(f, f.mn_units, index);
  EXPECT_EQ(f.command, 5000 + index);
  kst_round(f);
  EXPECT_EQ(sim_param(sim, "UN2"), "rad/s");
  int stop = 0;
  EXPECT_NEAR(kw_parse_double(sim_param(sim, "DS2"), stop), 2 * 3.141592653589793 / 60, 1e-12);
  EXPECT_EQ(f.session.unit[1], "rad/s");
  // A group beyond the channel count is left alone.
  f.session.channels = 1;
  size_t before = port->requests().size();
  kst_serve_command(f, 5000 + units_count(0) + 1);
  EXPECT_TRUE(requests_since(before).empty());
}

TEST_F(FrmKstMainTest, ALockedInstrumentGreysWhatWouldChangeItAndTheFilterIsChecked) {
  connect();
  sim.locked = true;
  sim_set_param(sim, "FL1", "5");
  kst_load(f);
  kst_init_session(f);
  EXPECT_FALSE(f.mn_units.entries[0].enabled);
  EXPECT_FALSE(kst_menu_entry(f, 203)->enabled);
  EXPECT_FALSE(kst_menu_entry(f, 508)->enabled) << "Reset Flash sits past the lock's line";
  EXPECT_TRUE(kst_menu_entry(f, 107)->enabled);
  EXPECT_TRUE(kst_menu_entry(f, 109)->enabled);
  EXPECT_TRUE(f.mn_filter.entries[5].checked);
  // Each filter entry names its cut-off in hertz.
  for (const auto& e : f.mn_filter.entries) {
    if (e.visible) {
      EXPECT_TRUE(e.caption == "No Filter" || e.caption.ends_with(" Hz")) << e.caption;
    }
  }
  EXPECT_FALSE(f.mn_filter.entries[9].checked);

  // What a scripted run may give now: the lock greys; a hidden entry or button stays hidden.
  f.btn_cmd[2].enabled = false;
  f.btn_pause.visible = false;
  f.mn_file.entries[5].visible = false;
  const struct {
    int32_t command;
    KstCommandState state;
  } states[] = {
      {kCmdExit, KstCommandState::Ready},
      {kCmdTare, KstCommandState::Ready},
      {kCmdClearTare, KstCommandState::Disabled},
      {kCmdTermination, KstCommandState::Disabled},
      {kMnUnitsBase, KstCommandState::Disabled},
      {kMnFilterBase, KstCommandState::Ready},
      {kCmdPause, KstCommandState::Hidden},
      {kCmdChangeId, KstCommandState::Hidden},
      {kCmdSpeedPowerSetup, KstCommandState::Disabled},
      {102, KstCommandState::NotServed},
      {777, KstCommandState::NotServed},
  };
  for (const auto& s : states) EXPECT_EQ(kst_command_state(f, s.command), s.state) << s.command;
}

TEST_F(FrmKstMainTest, ANewIdMustBeOneCharacterFromAtToTildeAndTheLinkFollowsIt) {
  start();
  op.expect_input_box("Enter New ID:", "BC");
  op.expect_gib("ID must be a single character", 0);
  kst_serve_command(f, 105);
  op.expect_input_box("Current ID:A", "1");
  op.expect_gib("ID should be a letter (Currently \"1\")", 0);
  kst_serve_command(f, 105);
  op.expect_input_box("", std::nullopt);
  kst_serve_command(f, 105);
  EXPECT_EQ(sim.config.address, 'A');

  op.expect_input_box("Current ID:A\r\nEnter New ID:", "B");
  kst_serve_command(f, 105);
  EXPECT_EQ(sim.config.address, 'B');
  EXPECT_EQ(rs232_id(), "B");
  EXPECT_EQ(kst_round(f), KstRoundEnd::Next);
  EXPECT_EQ(op.shown.size(), 6u) << "the next round is answered at the new address";
}

TEST_F(FrmKstMainTest, TheTerminationEntryWritesTheFlagWordOnlyWhenApplied) {
  start();
  op.expect_gibcb("RS485 Termination", 1, {0});  // toggled, then Cancel
  kst_serve_command(f, 203);
  EXPECT_EQ(sim_param(sim, "UCB"), "0");
  op.expect_gibcb("RS485 Termination", 0, {0});
  kst_serve_command(f, 203);
  EXPECT_EQ(sim_param(sim, "UCB"), "1");
  EXPECT_EQ(op.last().title, "Info Box");
  EXPECT_EQ(op.last().buttons, (std::vector<std::string>{"Apply Changes", "Cancel"}));
}

TEST_F(FrmKstMainTest, SavingDataWritesTheHeaderAndTheRoundsRowsByteForByte) {
  start();
  sim.table["DE*"] = "12.5,3000,7.25";
  f.graph.next_text_ms = 1e12;  // no readouts: nothing is asked after a round's row
  std::string started = kw_timestamp(kw_now(), "T");
  size_t before = port->requests().size();
  kst_serve_command(f, 400);
  ASSERT_TRUE(dtdr_saving());
  // The identity goes out in the heading's order: model, serial, shaft, customer.
  EXPECT_EQ(requests_since(before), (std::vector<std::string>{"UIA", "UIB", "UID", "UIC"}));
  const double t0 = now_ms();
  // A copy: the name is cleared when saving stops.
  std::string file = dtdr_file_name();  // NOLINT(performance-unnecessary-copy-initialization)
  EXPECT_EQ(f.btn_cmd[0].caption, "Saved: 0");
  EXPECT_EQ(f.btn_cmd[0].tool_tip, "Saving to " + file + "  Saved: 0");

  // The temperature of the last readout goes with the next row only.
  f.extra_field = "75.0";
  kst_round(f);
  const double t1 = now_ms();
  kst_round(f);
  const double t2 = now_ms();
  kst_serve_command(f, 400);
  EXPECT_FALSE(dtdr_saving());
  EXPECT_EQ(f.btn_cmd[0].caption, "Save Data");
  EXPECT_EQ(f.btn_cmd[0].tool_tip, "Save Data to " + dtdr_next_name(false));
  EXPECT_NE(dtdr_next_name(false), file);

  auto seconds = [t0](double t) { return kw_format((t - t0) * 0.001, "0.000"); };
  std::string expected = std::string("# Data saved via ovn-kst ") + build::version + "\r\n" +
                         "# Start Time:" + started + "\r\n" +
                         "#  Time(s),Torque(lbf-in),Speed(RPM),Power(Hp),Temperature(F)\r\n" +
                         "# Model:" + sim_param(sim, "UIA") + "   Serial:" + sim_param(sim, "UIB") +
                         "   Shaft:" + sim_param(sim, "UID") +
                         "   Customer:" + sim_param(sim, "UIC") + "   " +
                         rs232_port_name(rs232_port()) + "\r\n" + seconds(t1) +
                         ",12.5,3000,7.25,75.0\r\n" + seconds(t2) + ",12.5,3000,7.25\r\n";
  EXPECT_EQ(test::TempDir::read(file).value_or(""), expected);
}

TEST_F(FrmKstMainTest, CloseDuringAFailingExchangeEndsTheSessionAfterIt) {
  start();
  int flash = 0, saves = 0, unloads = 0;
  f.hooks.flash_write = [&] { ++flash; };
  f.hooks.auto_config_save = [&] { ++saves; };
  f.hooks.unload = [&] { ++unloads; };
  f.graph.next_text_ms = 1e12;  // the readouts stay out of these rounds
  bool closed = false;
  set_event_pump([&] {
    if (!closed && rs232_busy()) closed = !kst_query_unload(f);
  });

  // The close does not cut the exchange short: it fails three times, the operator is
  // asked, and only after Skip does the loop see the request.
  port->drop_replies(3);
  op.expect_gib("Communications Failure", "Skip");
  EXPECT_EQ(kst_round(f), KstRoundEnd::Leave);
  EXPECT_TRUE(closed);
  EXPECT_EQ(op.shown.size(), 1u);
  EXPECT_FALSE(rs232_exit_flag()) << "the link stops its waits only at the final exit";
  EXPECT_TRUE(kst_query_unload(f)) << "a second request goes through";

  // Retry: the instrument answers again and the round ends with its sample.
  f.exit_requested = false;
  closed = false;
  sim.physics.torque = {SimShape::Constant, 100};
  port->drop_replies(3);
  op.expect_gib("Communications Failure", "Retry");
  EXPECT_EQ(kst_round(f), KstRoundEnd::Leave);
  EXPECT_TRUE(closed);
  EXPECT_NEAR(f.cur[0], sim_display_value(sim, 1, now_ms()), 0.001);

  // The rest of the shutdown: the hooks in order, the check boxes stored, no instrument.
  f.exit_requested = false;
  rs232_set_exit_flag(false);
  port->drop_replies(0);
  click_when_running(f.mn_file, 9);
  f.graph.cb_gridlines = true;
  EXPECT_FALSE(kst_timer1(f));
  EXPECT_EQ(flash, 1);
  EXPECT_EQ(saves, 1);
  EXPECT_EQ(unloads, 1);
  EXPECT_EQ(seams.settings.get("KST", "Graphing", "Gridlines").value_or("").empty(), false);
  EXPECT_EQ(f.session.tm_type, kNoFamily);
  EXPECT_TRUE(rs232_exit_flag());
}

TEST_F(FrmKstMainTest, TheFlashIsCommittedByItsEntryAndAtTheEndOfEverySession) {
  start();
  sim_set_param(sim, "FL1", "4");
  size_t before = port->requests().size();
  kst_on_menu(f, f.mn_file, 7);  // "Write non-volatile memory"
  kst_round(f);
  std::vector<std::string> sent = requests_since(before);
  ASSERT_GE(sent.size(), 2u);
  EXPECT_EQ(sent[sent.size() - 2], "@@");
  EXPECT_EQ(sent.back(), "VR");
  EXPECT_EQ(sim.flash["FL1"], "4");

  sim_set_param(sim, "FL1", "6");
  click_when_running(f.mn_file, 9);
  std::filesystem::path backups = test::scratch_documents_folder() + "/OVN-Configurations";
  std::filesystem::remove_all(backups);
  EXPECT_FALSE(kst_timer1(f));
  EXPECT_EQ(sim.flash["FL1"], "6") << "what the operator changed survives the session";
  // ... and the configuration as it left is kept in a file of its own.
  std::vector<std::filesystem::path> saved;
  for (const auto& e : std::filesystem::directory_iterator(backups)) saved.push_back(e.path());
  ASSERT_EQ(saved.size(), 1u);
  std::string text = test::TempDir::read(saved[0].string()).value_or("");
  EXPECT_NE(text.find("\nFL1"), std::string::npos) << text.substr(0, 400);
}

TEST_F(FrmKstMainTest, ChangeCommportLeavesThroughTheFlashWriteAndStartsAgain) {
  connect();
  kst_load(f);
  int flash = 0;
  f.hooks.flash_write = [&] { ++flash; };
  f.command = 0;
  click_when_running(f.mn_file, 3);
  EXPECT_TRUE(kst_timer1(f));
  EXPECT_EQ(flash, 1);
  EXPECT_TRUE(f.timer1_enabled);
  EXPECT_FALSE(f.unloaded);
  EXPECT_EQ(f.session.tm_type, kKstFamily);
}

TEST_F(FrmKstMainTest, TheTechnicianPhraseOpensTheTechnicianModeAndItOutlivesTheRun) {
  start();
  kst_on_mouse_down(f, "lb_data", 0, 2, 7);
  EXPECT_EQ(f.command, 60);
  op.expect_password("", {{"torque"}});
  kst_serve_command(f, 60);
  EXPECT_EQ(op.last().title, "Enter Password");
  EXPECT_TRUE(f.technician && f.lb_tech_pwm.visible && f.lb_tech_rtr.visible);
  EXPECT_TRUE(f.mn_pwr.entries[0].visible);
  EXPECT_EQ(f.lb_mxmn[0].tool_tip, "Max-Min=Spread.  Click on this label to reset max/min.");
  EXPECT_EQ(seams.log.lines.back().substr(8), "User Entered torque");

  // The next run starts as a technician, with its display mode.
  seams.settings.put("KST", "Settings", "Display Mode", "2");
  FrmKstMain next;
  next.graph.canvas = &canvas;
  kst_load(next);
  EXPECT_TRUE(next.technician && next.lb_tech_rtr.visible);
  kst_init_session(next);
  EXPECT_EQ(next.display_mode, 2);

  op.expect_password("", {{"torgue"}});
  kst_serve_command(next, 60);
  EXPECT_FALSE(next.technician || next.lb_tech_pwm.visible || next.mn_pwr.entries[0].visible);
}

TEST_F(FrmKstMainTest, TechnicianReadoutsDecodeTheRotorDiagnosticsAndLogAShortReply) {
  seams.settings.put(kSharedApp, kOvnModeSection, kOvnModeKey, ovn_mode_transform("torque"));
  start();
  sim_set_param(sim, "CF1A", "-12");
  sim_set_param(sim, "CCA", "3");
  // P0 at a quarter of full scale.
  sim.table["RT"] = "6.1504,2,77,1000,5,12345,5A0," + kw_format(f.session.uca / 4, "0") +
                    ",8100000,3,05,99.50,0.25";
  size_t from = port->requests().size();
  kst_refresh_readouts(f);
  std::vector<std::string> sent = requests_since(from);
  EXPECT_EQ(std::vector<std::string>(sent.begin() + 6, sent.end()),
            (std::vector<std::string>{"IO*", "RT", "CE1A", "CF1A", "CCA", "PWA", "AS"}));
  int stop = 0;
  double quarter = kw_parse_double(sim_param(sim, "CE1A"), stop) / 4;
  EXPECT_EQ(f.tech_lines, (std::vector<std::string>{
                              "Volt:6.150V", "Cal:2  Ask:77/1000", "cksm:5  #:12345", "TmpR:0x5A0",
                              "P0=" + kw_format(quarter, f.modes[0].format[0]) + " " +
                                  f.session.unit[0] + "  *raw:8100000",
                              "Z:-12", "CC=3/3", "IO:05", "ChckSm:99.50%  WD:0.25%"}));
  EXPECT_TRUE(f.lb_tech_rtr.tool_tip.ends_with("\r\nIO:05\r\nChckSm:99.50%  WD:0.25%"));

  sim.table["RT"] = "6.1504,2,77";
  EXPECT_FALSE(kst_tech_status(f));
  EXPECT_EQ(seams.log.lines.back().substr(8), "BAD RT:6.1504,2,77");
  EXPECT_EQ(f.tech_lines[0], "Volt:6.150V") << "the lines stay as they were";
  sim.table.erase("RT");
  EXPECT_TRUE(kst_tech_status(f)) << "the simulated instrument's own reply is long enough";

  // The cal buttons light the shunt the instrument reports, in technician mode too.
  const struct {
    int shunt;
    int lit;  // btn_cal index, -1 for none
  } shunts[] = {{1, 0}, {2, 2}, {0, 1}};
  for (const auto& c : shunts) {
    sim.shunt = c.shunt;
    kst_refresh_readouts(f);
    for (int i = 0; i < 3; ++i)
      EXPECT_EQ(f.btn_cal[i].back_color == kRgbGreen, i == c.lit) << c.shunt << " " << i;
  }
}

TEST_F(FrmKstMainTest, AnAdjustmentStepNamesItselfInTheCaptionWhileItRuns) {
  start();
  kst_round(f);
  const std::string idle = f.caption;
  std::set<std::string> seen;
  set_event_pump([&] { seen.insert(f.caption); });
  op.expect_display_data("Zero Adjustment", 3);
  op.expect_gib("Please wait for Zero Adjustment", 0);
  op.expect_gib("", 0);
  kst_serve_command(f, kCmdAdjustZero);
  EXPECT_TRUE(seen.contains(idle + "  - ADJUSTING: Zero Adjustment")) << idle;
  EXPECT_EQ(f.caption, idle);
}

TEST_F(FrmKstMainTest, TheTechnicianTunesTheRotorDriveByItsLabelsAndTheFrequencyDialog) {
  seams.settings.put(kSharedApp, kOvnModeSection, kOvnModeKey, ovn_mode_transform("torque"));
  start();
  // The factory drive: 444 counts of 60 MHz, 89 on; target 16096 and window 371 counts.
  EXPECT_EQ(f.lb_tech_rtr.caption, "6.5002 V (0.1498 V)") << "as the counts say";
  EXPECT_EQ(f.lb_tech_pwm.caption, "444/444 20.05% 135.14kHz");

  // The period steps keep the duty, rounded to a hundredth, at the new period.
  const struct {
    int32_t command;
    const char* pwa;
    const char* pwb;
  } steps[] = {{kCmdPwaPlus100, "544", "109"},
               {kCmdPwaMinus10, "534", "107"},
               {kCmdPwaMinus1, "533", "107"},
               {kCmdPwaPlus1, "534", "107"}};
  for (const auto& c : steps) {
    size_t from = port->requests().size();
    kst_serve_command(f, c.command);
    std::vector<std::string> sent = requests_since(from);
    ASSERT_GE(sent.size(), 4u);
    EXPECT_EQ(std::vector<std::string>(sent.begin() + 1, sent.begin() + 5),
              (std::vector<std::string>{"PWA", "PWB", std::string("PWA") + c.pwa,
                                        std::string("PWB") + c.pwb}))
        << c.command;
  }
  EXPECT_EQ(f.lb_tech_pwm.caption, "534/534 20.04% 112.36kHz");
  sim_set_param(sim, "PWB", "0");
  kst_serve_command(f, kCmdPwaPlus1);
  EXPECT_EQ(sim_param(sim, "PWB"), "0") << "no on-time stays none";

  // The URV target moves by 0.1 V within 3.5 to 10 V, and the log says where to.
  kst_serve_command(f, kCmdUrvUp);
  EXPECT_EQ(sim_param(sim, "PWC"), "16343");
  EXPECT_EQ(seams.log.lines.back().substr(8), "URV=6.6 Volts");
  EXPECT_EQ(f.lb_tech_rtr.caption, "6.5999 V (0.1498 V)");
  sim_set_param(sim, "PWC", "8667");  // 3.5 V
  kst_serve_command(f, kCmdUrvDown);
  EXPECT_EQ(sim_param(sim, "PWC"), "8667");

  // The frequency dialog: the default, another within 50 to 200 kHz, or nothing.
  const struct {
    const char* button;
    std::optional<std::string> typed;
    const char* pwa;
  } dialogs[] = {{"135.135kHz", std::nullopt, "444"},
                 {"Other", "90", "667"},
                 {"Other", "201", "667"},
                 {"Other", "fast", "667"},
                 {"Cancel", std::nullopt, "667"}};
  for (const auto& d : dialogs) {
    op.expect_gib("Set Power frequency:", d.button);
    if (std::string(d.button) == "Other")
      op.expect_input_box("Enter Power frequency in kHz", d.typed);
    kst_serve_command(f, kCmdPower135);
    EXPECT_EQ(sim_param(sim, "PWA"), d.pwa) << d.button << " " << d.typed.value_or("");
  }
}

// The technician's shunt tests on "No Cal" and "Get Shunt Values..." open the shunt run of
// their shunts; leaving its dialog touches nothing.
TEST_F(FrmKstMainTest, TheShuntCommandsOpenTheShuntRunOfTheirShunts) {
  start();
  const struct {
    int32_t command;
    const char* prompt;
  } runs[] = {{kCmdShuntTestCtrl, "UnLoad transducer to get + Shunt Value"},
              {kCmdShuntTestCtrlAlt, "UnLoad transducer to get - Shunt Value"},
              {kCmdShuntTestShiftCtrlAlt, "UnLoad transducer to get Shunt Values"},
              {kCmdShuntValues, "UnLoad transducer to get Shunt Values"}};
  for (const auto& r : runs) {
    op.expect_display_data(r.prompt, 4);
    size_t from = port->requests().size();
    kst_serve_command(f, r.command);
    for (const std::string& sent : requests_since(from))
      EXPECT_NE(sent.rfind("AS", 0), 0u) << r.command << ": " << sent;
  }
  EXPECT_EQ(op.pending(), 0u);
}

TEST_F(FrmKstMainTest, ThePasswordEntriesLockAndUnlockTheMenus) {
  start();
  op.expect_password("enable password protection", {{"kst"}});
  kst_serve_command(f, 206);
  EXPECT_FALSE(kst_menu_entry(f, 203)->enabled);
  EXPECT_TRUE(kst_menu_entry(f, 207)->enabled) << "the way back stays open";
  op.expect_password("", {{"kst", "secret", "secret"}});
  kst_serve_command(f, 207);
  EXPECT_EQ(sim.config.password, "secret");
  EXPECT_TRUE(kst_menu_entry(f, 203)->enabled) << "the change leaves it unlocked";
}

}  // namespace
}  // namespace ovn
