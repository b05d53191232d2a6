// The program's own exchange against the simulated instrument: its framing, its typed
// readers and its retries meet the simulator's replies, timing and faults. Hex forms made
// by the processor in the simulator are read back by the program's own conversions.

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <string>

#include "support/sim_line.h"

namespace ovn {
namespace {

class SimExchange : public test::SimLineTest {
 protected:
  SimExchange() { port.set_port_number(3); }
};

TEST_F(SimExchange, TypedReadersAndWritesWorkAgainstTheSimulatedKst) {
  connect(SimConfig{});
  EXPECT_EQ(get_si32("UCA"), 655360000);
  EXPECT_EQ(get_si16("TA"), 3);
  EXPECT_DOUBLE_EQ(get_f64("CF1B"), 81224.57635704515);
  EXPECT_TRUE(rs232_send_ok("CE1A1000.5"));
  EXPECT_DOUBLE_EQ(get_f64("CE1A"), 1000.5);
  EXPECT_EQ(get_reply("XYZ"), "!");
  EXPECT_EQ(get_reply("VR"), "KSTs150r40");

  // DX1 is the processor's two's complement of a negative count; the program reads it back.
  sim.physics.torque = SimProfile{SimShape::Constant, -500};
  sim.physics.zero_counts = 0;
  EXPECT_TRUE(rs232_send_ok("FL116"));
  // The counts are fractions of the full scale the adjustment points were made for.
  double expected = -500 / 2001.0002 * 655360000;
  EXPECT_NEAR(get_hex_si32("DX1", kRs232DefaultTimeout, true), expected, 20000);
  EXPECT_EQ(port.requests().size(), 9u) << "one request per exchange, no retries";
}

TEST_F(SimExchange, FloatHexFromTheProcessorReadsBackThroughTheProgram) {
  SimConfig wqpm;
  wqpm.family = SimFamily::Wqpm;
  connect(wqpm);
  const float values[] = {1000.0f, -0.15625f, 3.4028235e38f, 1.17549435e-38f, 0.1f};
  for (float v : values) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "%08X", std::bit_cast<uint32_t>(v));
    sim.table["CCC"] = hex;
    EXPECT_EQ(get_hex_f32("CCC"), v) << hex;
  }
  EXPECT_EQ(get_hex_f32("CCA"), 1000.0f) << "the probe's own reply";
}

TEST_F(SimExchange, ACrLfInstrumentLeavesItsLfToAnswerTheNextRequest) {
  SimConfig crlf;
  crlf.line_end = "\r\n";
  connect(crlf);
  EXPECT_EQ(get_reply("TMA"), "32768");
  // The LF arrives one byte time later and is taken as the whole reply to the next
  // request, which is therefore never sent.
  clock().sleep(1);
  EXPECT_EQ(get_reply("TMB"), "");
  EXPECT_EQ(port.requests(), (std::vector<std::string>{"TMA"}));
}

TEST_F(SimExchange, DroppedAndCutRepliesAreRetriedAfterAPortReset) {
  connect(SimConfig{});
  port.drop_replies(1);
  EXPECT_EQ(get_reply("TMA"), "32768");
  port.cut_next_reply(2);
  EXPECT_EQ(get_reply("TMA"), "32768");
  EXPECT_EQ(port.requests(), (std::vector<std::string>{"TMA", "TMA", "TMA", "TMA"}));
  EXPECT_EQ(op.shown.size(), 0u) << "two failures do not ask the operator yet";
}

TEST_F(SimExchange, ThreeSilentAttemptsAskTheOperatorAndRetryGetsTheLateAnswer) {
  connect(SimConfig{});
  port.drop_replies(3);
  op.expect_gib("Communications Failure on COM3", "Retry");
  double t0 = now_ms();
  EXPECT_EQ(get_reply("TMA"), "32768");
  EXPECT_EQ(port.requests().size(), 4u);
  EXPECT_GE(now_ms() - t0, 3 * (103 + 100)) << "each silent attempt waits and pauses";
  ASSERT_EQ(op.shown.size(), 1u);
  EXPECT_NE(op.shown[0].text.find("Sent    :\"ATMA\""), std::string::npos) << op.shown[0].text;
}

TEST_F(SimExchange, AnUnpluggedInstrumentIsReportedNotOpen) {
  connect(SimConfig{});
  port.unplug();
  EXPECT_EQ(get_reply("TMA"), "!COM3 Not Open!");
}

}  // namespace
}  // namespace ovn
