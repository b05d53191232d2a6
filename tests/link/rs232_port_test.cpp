// The port half of the link: settings text, opening, the baud read back, reset, Relaxed CPU.

#include <gtest/gtest.h>

#include <algorithm>

#include "rs232_fixture.h"

namespace ovn {
namespace {

using Rs232PortTest = test::Rs232Fixture;

TEST_F(Rs232PortTest, SettingsTakeTheGivenTailOrKeepThePortsOne) {
  struct Case {
    const char* held;
    const char* given;
    const char* written;
  };
  for (const Case& c :
       {Case{"9600,e,7,2", "38400", "38400,e,7,2"},
        Case{"9600,e,7,2", "38400,n,8,1", "38400,n,8,1"}, Case{"9600", "19200", "19200,n,8,1"},
        Case{"9600,n,8,1", "4800,o,7,1", "4800,o,7,1"}}) {
    port.set_settings(c.held);
    rs232_set_settings(port, c.given);
    EXPECT_EQ(port.settings(), c.written) << c.held << " + " << c.given;
  }
  EXPECT_EQ(rs232_get_baud(), 4800);
}

TEST_F(Rs232PortTest, TheReplyFloorFollowsTheLineSpeedRoundingHalvesToEven) {
  struct Case {
    const char* settings;
    int32_t floor_ms;
  };
  // 857088 and 230400 land exactly on .5 (22.5, 56.5): the even neighbour wins.
  for (const Case& c : {Case{"115200", 103}, Case{"38400", 289}, Case{"9600", 1126},
                        Case{"857088", 22}, Case{"230400", 56}, Case{"300", 35722}}) {
    rs232_set_settings(port, c.settings);
    EXPECT_EQ(rs232_min_timeout_ms(), c.floor_ms) << c.settings;
  }
}

TEST_F(Rs232PortTest, OpeningAtARateWritesTheSettingsAndLogsTheOpen) {
  port.set_settings("9600,e,7,2");
  EXPECT_EQ(rs232_open_at(port, 38400), "");
  EXPECT_TRUE(rs232_is_open(port));
  EXPECT_EQ(port.settings(), "38400,e,7,2");
  EXPECT_EQ(rs232_get_baud(), 38400);
  EXPECT_EQ(log_texts(), std::vector<std::string>{"RS232 OPEN  COM3 38400,e,7,2"});
  // The state already holds the rate: it is not written again.
  EXPECT_EQ(std::count(port.events.begin(), port.events.end(), "state 38400"), 0);
}

TEST_F(Rs232PortTest, ARateAboveTheSettingsLimitReachesTheLineOnlyThroughThePortState) {
  ASSERT_EQ(rs232_open(port, "115200"), "");
  rs232_close(port);
  port.events.clear();

  EXPECT_EQ(rs232_open_at(port, 230400), "");
  EXPECT_EQ(port.settings(), "115200,n,8,1");
  EXPECT_EQ(port.events, (std::vector<std::string>{"open 115200,n,8,1", "state 230400"}));
  EXPECT_EQ(port.state_baud, 230400);
  EXPECT_EQ(rs232_get_baud(), 230400);
  EXPECT_EQ(rs232_min_timeout_ms(), 103) << "open_at alone keeps the floor of the old rate";

  rs232_close(port);
  EXPECT_EQ(rs232_open(port, "230400"), "");
  EXPECT_EQ(rs232_min_timeout_ms(), 56) << "rs232_open recomputes it from the text";
  EXPECT_EQ(port.settings(), "115200,n,8,1");
}

TEST_F(Rs232PortTest, OpenFailuresGiveTheirNumberedTextsAndLeaveTheBaud) {
  ASSERT_EQ(rs232_open(port, "115200"), "");
  rs232_close(port);

  port.state_read_error = 5;
  EXPECT_EQ(rs232_open_at(port, 230400), "8021Error Code:\r\nCould not read state of the port:5");
  EXPECT_EQ(rs232_get_baud(), 115200);
  rs232_close(port);

  port.state_read_error = 0;
  port.state_write_error = 31;
  EXPECT_EQ(rs232_open_at(port, 230400), "8015Error Code:\r\nCould not set baud rate of 230400:31");
  EXPECT_EQ(rs232_get_baud(), 115200);
  rs232_close(port);

  port.fail_opens(1, "Permission denied");
  EXPECT_EQ(rs232_open(port, "9600"), "Permission denied");
  EXPECT_FALSE(rs232_is_open(port));
}

TEST_F(Rs232PortTest, TheBaudReadBackFailsLoudlyOnAClosedOrUnreadablePort) {
  Rs232Error error;
  EXPECT_EQ(rs232_read_baud(port, error), 0);
  EXPECT_EQ(error.number, 8018);
  EXPECT_EQ(error.text, "Operation valid iff port is open");

  ASSERT_EQ(rs232_open(port, "38400"), "");
  EXPECT_EQ(rs232_read_baud(port, error), 38400);
  EXPECT_FALSE(error);

  port.state_read_error = 2;
  EXPECT_EQ(rs232_read_baud(port, error), 0);
  EXPECT_EQ(error.number, 8021);
  EXPECT_EQ(error.text, "Could not read state of the port");
}

TEST_F(Rs232PortTest, AResetReopensAtTheSameRateAndDropsWhatWasWaiting) {
  ASSERT_EQ(rs232_open(port, "38400"), "");
  port.inject("stale\r");
  seams.log.lines.clear();
  double before = seams.clock.now_ms();

  EXPECT_FALSE(rs232_reset("here"));
  EXPECT_EQ(seams.clock.now_ms() - before, 100.0);
  EXPECT_TRUE(rs232_is_open(port));
  EXPECT_EQ(port.input(), "");
  EXPECT_EQ(log_texts(),
            (std::vector<std::string>{"RS232 RESET from here", "RS232 CLOSE COM3 38400,n,8,1",
                                      "RS232 OPEN  COM3 38400,n,8,1"}));
}

TEST_F(Rs232PortTest, AResetOfAClosedPortStopsAtTheBaudReadBack) {
  Rs232Error error = rs232_reset("get_reply:TMA");
  EXPECT_EQ(error.number, 8018);
  EXPECT_FALSE(rs232_is_open(port));
  EXPECT_EQ(std::count(port.events.begin(), port.events.end(), "close"), 0);
  EXPECT_EQ(log_texts(),
            (std::vector<std::string>{"RS232 RESET from get_reply:TMA",
                                      "RS232 RESET FAILED:8018 Operation valid iff port is open"}));
}

TEST_F(Rs232PortTest, PortNamesAndCloseLog) {
  rs232_set_port_number(port, 12);
  EXPECT_EQ(rs232_port_name(port), "COM12");
  EXPECT_EQ(rs232_port_number_text(port), "12");
  ASSERT_EQ(rs232_open(port, "9600"), "");
  seams.log.lines.clear();
  rs232_close_if_open(port);
  rs232_close_if_open(port);
  EXPECT_EQ(log_texts(), std::vector<std::string>{"RS232 CLOSE COM12 9600,n,8,1"});
}

TEST_F(Rs232PortTest, RelaxedCpuIsASavedSettingReadAtSessionStart) {
  EXPECT_FALSE(rs232_load_relaxed()) << "off by default";
  rs232_set_relaxed(true);
  EXPECT_EQ(seams.settings.get("OVN-Shared", "Settings", "Relaxed CPU"), "True");
  rs232_reset_state();
  EXPECT_FALSE(rs232_relaxed());
  EXPECT_TRUE(rs232_load_relaxed());
  EXPECT_TRUE(rs232_relaxed());
  rs232_set_relaxed(false);
  EXPECT_EQ(seams.settings.get("OVN-Shared", "Settings", "Relaxed CPU"), "False");
  EXPECT_FALSE(rs232_load_relaxed());
}

TEST_F(Rs232PortTest, AttachingSwitchesTheModemLinesOnAndSetsTheId) {
  port.events.clear();
  rs232_attach(port, "7");
  EXPECT_EQ(port.events, (std::vector<std::string>{"dtr 1", "rts 1"}));
  EXPECT_EQ(rs232_id(), "A");
  EXPECT_EQ(&rs232_port(), &port);
}

}  // namespace
}  // namespace ovn
