// The program's own exchange against the simulated instrument where only the simulator's
// timing shows the behaviour: a CR LF instrument's late line feed. Framing, typed readers,
// retries and a pulled cable are the link tests' (on the scripted port) and the simulated
// line's own tests.

#include <gtest/gtest.h>

#include <string>

#include "support/sim_line.h"

namespace ovn {
namespace {

class SimExchange : public test::SimLineTest {
 protected:
  SimExchange() { port.set_port_number(3); }
};

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

}  // namespace
}  // namespace ovn
