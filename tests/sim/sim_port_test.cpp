// The in-process port: framing, line timing at the baud rate, addressing, the probe
// replies of every family, and the faults a test can inject.

#include <gtest/gtest.h>

#include <string>

#include "sim/sim_instrument.h"
#include "sim/sim_port.h"
#include "sim_exchange.h"
#include "support/seams.h"

namespace ovn {
namespace {

using test::ask;

class SimLine : public test::SeamsTest {
 protected:
  void SetUp() override { start(SimConfig{}, "115200,n,8,1"); }
  void start(const SimConfig& config, const std::string& settings) {
    sim_init(sim, config);
    port.close();
    port.set_settings(settings);
    std::string error;
    ASSERT_TRUE(port.open(error)) << error;
  }
  SimInstrument sim;
  SimPort port{sim};
};

TEST_F(SimLine, ReplyIsOneLineReadableWhenItsLastByteHasArrived) {
  double t0 = now_ms();
  port.output("ATMA\n");
  EXPECT_EQ(port.input(), "") << "nothing arrives before the line has carried it";
  ASSERT_TRUE(port.wait_readable(100));
  // 5 request bytes + 6 reply bytes, 10 bits each at 115200 baud, plus 1 ms turnaround.
  EXPECT_NEAR(now_ms() - t0, 11 * 10 * 1000.0 / 115200 + 1.0, 1e-9);
  EXPECT_EQ(port.input(), "32768\r");
  EXPECT_EQ(port.input(), "");
}

TEST_F(SimLine, LineEndCanBeLfOrCrLfArrivingInTwoReads) {
  SimConfig lf;
  lf.line_end = "\n";
  start(lf, "115200,n,8,1");
  port.output("ATMA\n");
  port.wait_readable(100);
  EXPECT_EQ(port.input(), "32768\n");

  SimConfig crlf;
  crlf.line_end = "\r\n";
  start(crlf, "115200,n,8,1");
  port.output("ATMA\n");
  ASSERT_TRUE(port.wait_readable(100));
  EXPECT_EQ(port.input(), "32768\r");
  ASSERT_TRUE(port.wait_readable(100));
  EXPECT_EQ(port.input(), "\n") << "the LF stays behind for the next read";
}

TEST_F(SimLine, SilenceAdvancesTheVirtualClockByTheWholeWait) {
  double t0 = now_ms();
  EXPECT_FALSE(port.wait_readable(103));
  EXPECT_DOUBLE_EQ(now_ms() - t0, 103);
  port.set_settings("9600,n,8,1");  // not the KST's rate: the stator hears noise
  port.output("ATMA\n");
  EXPECT_FALSE(port.wait_readable(103));
  EXPECT_EQ(port.input(), "");
}

TEST_F(SimLine, OnlyRequestsForItsOwnAddressAreAnswered) {
  EXPECT_EQ(ask(port, "TMA", 'B'), "");
  EXPECT_EQ(ask(port, "TMA", '*'), "32768");
  EXPECT_EQ(ask(port, "ID", 'A'), "A");
  EXPECT_EQ(ask(port, "IDB", 'A'), "OK");
  EXPECT_EQ(ask(port, "TMA", 'A'), "");
  EXPECT_EQ(ask(port, "TMA", 'B'), "32768");
  EXPECT_EQ(ask(port, "ID@", 'B'), "OK") << "any character from @ to ~ is an address";
  EXPECT_EQ(ask(port, "ID", '@'), "@");

  SimConfig unaddressed;
  unaddressed.addressing = false;
  start(unaddressed, "115200,n,8,1");
  EXPECT_EQ(ask(port, "TMA", 0), "32768");
}

TEST_F(SimLine, EveryFamilyAnswersItsProbeAtItsOwnBaudRate) {
  struct Case {
    SimFamily family;
    const char* name;
    const char* settings;
    char address;
    const char* probe;
  };
  const Case cases[] = {
      {SimFamily::Wqpm, "WQPM", "115200,n,8,1", 0, "CCA"},
      {SimFamily::Rdx, "RDX", "115200,n,8,1", 'A', "VR"},
      {SimFamily::Kslw, "KSLW", "115200,n,8,1", 'A', "TMA"},
      {SimFamily::Kst, "KST", "115200,n,8,1", 'A', "TMA"},
      {SimFamily::Hzym, "HZYM", "38400,n,8,1", 0, "VR"},
      {SimFamily::Ksvm, "KSVM", "38400,n,8,1", 0, "VR"},
      {SimFamily::S350, "S350", "9600,n,8,1", 'A', "VR"},
      {SimFamily::S350Plus, "S350+", "19200,n,8,1", 'A', "VR"},
      {SimFamily::Fga, "FGA", "115200,n,8,1", 0, "v"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(sim_family_name(c.family), c.name);
    EXPECT_EQ(sim_family_from_name(c.name), c.family);
    SimConfig config;
    config.family = c.family;
    config.baud = std::atol(c.settings);  // the S350 families listen where they were set
    start(config, c.settings);
    port.output((c.address ? std::string(1, c.address) : "") + c.probe + "\n");
    ASSERT_TRUE(port.wait_readable(200));
    // Whether the program takes the reply for its family is checked by its own search
    // (the identify tests); here it is one line at this rate.
    std::string reply = port.input();
    EXPECT_GT(reply.size(), 1u);
    EXPECT_NE(reply[0], '!');
    EXPECT_EQ(reply.find_first_of("\r\n"), reply.size() - 1) << reply;
    // The same probe at a wrong rate goes unanswered.
    port.set_settings(std::string(c.settings).rfind("115200", 0) == 0 ? "38400,n,8,1"
                                                                      : "115200,n,8,1");
    port.output((c.address ? std::string(1, c.address) : "") + c.probe + "\n");
    EXPECT_FALSE(port.wait_readable(200));
  }
  EXPECT_EQ(sim_family_from_name("nope"), std::nullopt);
}

TEST_F(SimLine, OtherFamiliesAnswerFromATableATestFills) {
  SimConfig rdx;
  rdx.family = SimFamily::Rdx;
  start(rdx, "115200,n,8,1");
  EXPECT_EQ(ask(port, "MD"), "!");
  sim.table["MD"] = "RDX-1000(5-2 Nm)";
  EXPECT_EQ(ask(port, "MD"), "RDX-1000(5-2 Nm)");
  EXPECT_EQ(ask(port, "MD", 'B'), "") << "addressing holds for these families too";

  // A KST reply can be overridden the same way: an old stator, say.
  start(SimConfig{}, "115200,n,8,1");
  sim.table["VR"] = "KSTs82r40";
  EXPECT_EQ(ask(port, "VR"), "KSTs82r40");
  EXPECT_EQ(ask(port, "TMA"), "32768");

  // The KSLW shares the KST's store and its set form with "=".
  SimConfig kslw;
  kslw.family = SimFamily::Kslw;
  start(kslw, "115200,n,8,1");
  EXPECT_EQ(ask(port, "VR").rfind("KSLWs", 0), 0u);
  EXPECT_EQ(ask(port, "CE1B=0.5"), "OK");
  EXPECT_EQ(ask(port, "CE1B"), "0.5");
}

TEST_F(SimLine, DroppedRepliesAreSilenceAndTheRequestStillActs) {
  port.drop_replies(2);
  EXPECT_EQ(ask(port, "CE1A100"), "");
  EXPECT_EQ(ask(port, "TMA"), "");
  EXPECT_EQ(ask(port, "CE1A"), "100");
}

TEST_F(SimLine, LateReplyArrivesAfterTheWaitHasGivenUp) {
  port.answer_late(150);
  EXPECT_EQ(ask(port, "TMA", 'A', 103), "");
  seams.clock.advance(100);
  EXPECT_EQ(port.input(), "32768\r") << "the late line is waiting in the port";
  EXPECT_EQ(ask(port, "TMA", 'A', 103), "32768") << "only the next reply was late";
}

TEST_F(SimLine, CutGarbageStrayAndBangRepliesLookAsOnAFaultyLine) {
  port.cut_next_reply(3);
  port.output("ATMA\n");
  port.wait_readable(100);
  seams.clock.advance(50);
  EXPECT_EQ(port.input(), "327");

  port.garbage_before_next_reply("\x7f\x13");
  EXPECT_EQ(ask(port, "TMA"),
            "\x7f\x13"
            "32768");

  port.stray_line("12");
  EXPECT_EQ(port.input(), "12\r") << "a stray line is there before anything is asked";
  port.stray_bytes("12");
  EXPECT_TRUE(port.wait_readable(0));
  EXPECT_EQ(port.input(), "12");

  port.answer_bang("TMA");
  EXPECT_EQ(ask(port, "TMA"), "!");
  EXPECT_EQ(ask(port, "TMA"), "!");
  EXPECT_EQ(ask(port, "TMB"), "0");
  EXPECT_EQ(ask(port, "TMA", 'B'), "") << "a bang comes only from the addressed instrument";
  port.clear_bangs();
  EXPECT_EQ(ask(port, "TMA"), "32768");
}

TEST_F(SimLine, UnpluggedPortClosesAndCannotBeOpenedUntilPluggedIn) {
  port.output("ATMA\n");
  port.unplug();
  EXPECT_FALSE(port.is_open());
  EXPECT_FALSE(port.wait_readable(100));
  EXPECT_EQ(port.input(), "") << "what was on its way is lost";
  std::string error;
  EXPECT_FALSE(port.open(error));
  EXPECT_FALSE(error.empty());
  long baud;
  int os_error = 0;
  EXPECT_FALSE(port.get_state_baud(baud, os_error));
  EXPECT_NE(os_error, 0);
  port.plug_in();
  EXPECT_TRUE(port.open(error));
  EXPECT_EQ(ask(port, "TMA"), "32768");
}

TEST_F(SimLine, HighRatesReachTheLineOnlyThroughThePortState) {
  port.set_settings("230400,n,8,1");
  EXPECT_EQ(port.settings(), "115200,n,8,1");
  int os_error = 0;
  ASSERT_TRUE(port.set_state_baud(230400, os_error));
  long baud = 0;
  ASSERT_TRUE(port.get_state_baud(baud, os_error));
  EXPECT_EQ(baud, 230400);
  EXPECT_EQ(ask(port, "TMA"), "") << "the KST stays at 115200";
}

TEST(SimRealTime, RealModeAnswersOnTheMachineClock) {
  test::TestSeams seams;
  set_clock(nullptr);  // real mode waits in the program's event wait, on the machine clock
  SimInstrument sim;
  sim_init(sim, SimConfig{});
  SimPort port(sim, SimTime::Real);
  port.set_settings("115200,n,8,1");
  std::string error;
  ASSERT_TRUE(port.open(error));
  double before = now_ms();
  port.output("ATMA\n");
  std::string reply;
  for (int i = 0; i < 100 && reply.empty(); ++i)
    if (port.wait_readable(20)) reply = port.input();
  EXPECT_EQ(reply, "32768\r");
  EXPECT_GE(now_ms() - before, 9 * 10000.0 / 115200) << "no sooner than the line carries it";
}

TEST_F(SimLine, TranscriptKeepsEveryRequestAndReplyWithItsTime) {
  ask(port, "TMA");
  ask(port, "CE1A");
  ask(port, "TMA", 'B');
  const auto& t = port.transcript();
  ASSERT_EQ(t.size(), 5u);
  EXPECT_EQ(t[0].direction, '>');
  EXPECT_EQ(t[0].text, "ATMA\n");
  EXPECT_EQ(t[1].direction, '<');
  EXPECT_EQ(t[1].text, "32768\r");
  EXPECT_GT(t[1].ms, t[0].ms);
  EXPECT_EQ(t[3].text, "2001.0002\r");
  EXPECT_EQ(t[4].text, "BTMA\n");
  EXPECT_EQ(port.requests(), (std::vector<std::string>{"TMA", "CE1A", "TMA"}));
  port.clear_transcript();
  EXPECT_TRUE(port.transcript().empty());
}

}  // namespace
}  // namespace ovn
