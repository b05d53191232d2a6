// The run without windows against the in-process simulated instrument, under the virtual
// clock: the record it prints, and what each failure policy does when the line fails.

#include "monitor/headless.h"

#include <gtest/gtest.h>

#include <sstream>

#include "foundation/debug_log.h"
#include "instrument/tm_info.h"
#include "link/rs232.h"
#include "link/selcom.h"
#include "sim/sim_instrument.h"
#include "sim/sim_port.h"
#include "support/seams.h"

namespace ovn::test {
namespace {

// The simulated port with one message going unanswered a number of times: the silent
// instrument of a failed exchange, at a chosen place in the session read.
class SilencingPort final : public PortService {
 public:
  explicit SilencingPort(SimPort& port) : port_(port) {}
  void silence(const std::string& message, int times) {
    message_ = "A" + message + "\n";
    times_ = times;
  }
  int port_number() const override { return port_.port_number(); }
  void set_port_number(int n) override { port_.set_port_number(n); }
  std::string device_name() const override { return port_.device_name(); }
  std::string settings() const override { return port_.settings(); }
  void set_settings(const std::string& s) override { port_.set_settings(s); }
  bool is_open() const override { return port_.is_open(); }
  bool open(std::string& error) override { return port_.open(error); }
  void close() override { port_.close(); }
  std::string input() override { return port_.input(); }
  void output(const std::string& text) override {
    if (text == message_ && times_ > 0) {
      --times_;
      port_.drop_replies(1);
    }
    port_.output(text);
  }
  bool get_state_baud(long& baud, int& e) override { return port_.get_state_baud(baud, e); }
  bool set_state_baud(long baud, int& e) override { return port_.set_state_baud(baud, e); }
  void set_dtr(bool on) override { port_.set_dtr(on); }
  void set_rts(bool on) override { port_.set_rts(on); }
  bool wait_readable(int ms) override { return port_.wait_readable(ms); }

 private:
  SimPort& port_;
  std::string message_;
  int times_ = 0;
};

class HeadlessTest : public SeamsTest {
 protected:
  HeadlessTest() : port(sim), line(port) {
    rs232_reset_state();
    selcom_reset_state();
    tm_info_reset_state();
    debug_log_reset();
    SimConfig config;
    config.noise_uvpv = 0;
    sim_init(sim, config);
    set_command_line("-nocommportscan");  // every port number counts as present
  }
  ~HeadlessTest() override {
    set_command_line("");
    selcom_reset_state();
    rs232_reset_state();
    tm_info_reset_state();
  }

  int run(FailurePolicy policy) { return headless_run(line, policy, out, err); }

  SimInstrument sim;
  SimPort port;
  SilencingPort line;
  std::ostringstream out, err;
};

const char* const kKstRecord =
    "uid=ZQVD9880002V(2-3 lbf-in)-SIM0001.S1-ID:A-COM1\n"
    "family=KST\n"
    "firmware=KSTs150r40\n"
    "fs_lbfin=2001.0002\n"
    "file_name=Simulated_Customer.9880002V(2-3_lbf-in)-SIM0001.S1.611\n";

TEST_F(HeadlessTest, ATalkingKstIsFoundItsRecordPrintedAndThePortClosed) {
  EXPECT_EQ(run(FailurePolicy::Abort), kHeadlessOk);
  EXPECT_EQ(out.str(), kKstRecord);
  EXPECT_EQ(err.str(), "") << "no question was asked";
  EXPECT_FALSE(port.is_open());
  EXPECT_EQ(current_operator(), nullptr) << "the run's operator is gone with the run";
}

TEST_F(HeadlessTest, NoInstrumentTalkingEndsTheRunWithExitCode1AndSaysWhyOnStderr) {
  port.drop_replies(1 << 30);
  // The port selection has no Skip: without an instrument there is nothing to go on with.
  for (FailurePolicy policy : {FailurePolicy::Abort, FailurePolicy::Skip}) {
    SCOPED_TRACE(failure_policy_name(policy));
    err.str("");
    EXPECT_PROCESS_EXIT(run(policy), kHeadlessAborted);
    EXPECT_EQ(out.str(), "") << "no record without an instrument";
    std::string e = err.str();
    EXPECT_EQ(e.rfind("[Choose COM port for ", 0), 0u) << e;
    // What each family of the search did, as the port selection form would show it.
    ASSERT_FALSE(frm_selcom().lb_info.caption.empty());
    EXPECT_NE(e.find(lf_lines(frm_selcom().lb_info.caption)), std::string::npos) << e;
    EXPECT_NE(e.find("--> Abort\novn-kst: aborted, nothing saved (exit code 1)\n"),
              std::string::npos)
        << e;
    EXPECT_EQ(current_operator(), nullptr);
  }
}

TEST_F(HeadlessTest, RetryingASilentLineSearchesAgainThreeTimesThenAborts) {
  port.drop_replies(1 << 30);
  EXPECT_PROCESS_EXIT(run(FailurePolicy::Retry), kHeadlessAborted);
  std::string e = err.str();
  size_t first = e.find("--> Retry (1 of 3)\n");
  size_t second = e.find("--> Retry (2 of 3)\n");
  size_t third = e.find("--> Retry (3 of 3)\n");
  size_t abort = e.find("--> Abort\n");
  ASSERT_NE(first, std::string::npos) << e;
  EXPECT_LT(first, second);
  EXPECT_LT(second, third);
  EXPECT_LT(third, abort);
  EXPECT_NE(abort, std::string::npos) << e;
  EXPECT_EQ(e.find("(4 of 3)"), std::string::npos);
}

// The serial number is read once the search has found the instrument: three silent
// attempts bring the failure dialog in the middle of the session read.
TEST_F(HeadlessTest, AFailedExchangeInTheSessionReadIsAnsweredByThePolicy) {
  struct Row {
    FailurePolicy policy;
    int silent_attempts;
    int exit_code;
    const char* answer;
  };
  const Row rows[] = {
      {FailurePolicy::Abort, 3, kHeadlessAborted, "--> Abort\n"},
      {FailurePolicy::Retry, 3, kHeadlessOk, "--> Retry (1 of 3)\n"},
      {FailurePolicy::Skip, 3, kHeadlessSkipped, "--> Skip\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(failure_policy_name(row.policy));
    rs232_reset_state();
    selcom_reset_state();
    tm_info_reset_state();
    out.str("");
    err.str("");
    line.silence("UIB", row.silent_attempts);
    int code = -1;
    try {
      code = run(row.policy);
    } catch (const ProcessExited& e) {
      code = e.code;
    }
    EXPECT_EQ(code, row.exit_code);
    std::string e = err.str();
    EXPECT_EQ(e.rfind("[Communications Failure]\nCommunications Failure on COM1\n", 0), 0u) << e;
    EXPECT_NE(e.find("   Sent    :"), std::string::npos) << e;
    EXPECT_NE(e.find(row.answer), std::string::npos) << e;
    EXPECT_EQ(e.find('\r'), std::string::npos) << "stderr lines end in LF alone";
    if (row.exit_code == kHeadlessOk) {
      EXPECT_EQ(out.str(), kKstRecord);
    }
    if (row.exit_code == kHeadlessSkipped) {
      // The serial number stays empty, and the run says the record is not whole.
      EXPECT_NE(out.str().find("family=KST\n"), std::string::npos) << out.str();
      EXPECT_EQ(out.str().find("SIM0001"), std::string::npos) << out.str();
      EXPECT_NE(e.find("1 exchange(s) skipped"), std::string::npos) << e;
    }
  }
}

TEST(HeadlessArgs, TheCommandLineWordsOfAHeadlessRun) {
  struct Row {
    std::vector<std::string> args;
    bool headless, simulate;
    std::string port;
    FailurePolicy policy;
    std::string error;
  };
  const Row rows[] = {
      {{}, false, false, "", FailurePolicy::Abort, ""},
      {{"--headless"}, true, false, "", FailurePolicy::Abort, ""},
      {{"-nologo", "--headless", "--port", "/dev/ttyUSB0"},
       true,
       false,
       "/dev/ttyUSB0",
       FailurePolicy::Abort,
       ""},
      {{"--headless", "--simulate", "--on-failure", "retry"},
       true,
       true,
       "",
       FailurePolicy::Retry,
       ""},
      {{"--on-failure", "skip", "--headless"}, true, false, "", FailurePolicy::Skip, ""},
      {{"--headless", "--on-failure", "Skip"},
       true,
       false,
       "",
       FailurePolicy::Abort,
       "--on-failure takes retry, skip or abort"},
      {{"--headless", "--on-failure"},
       true,
       false,
       "",
       FailurePolicy::Abort,
       "--on-failure takes retry, skip or abort"},
      {{"--headless", "--port"},
       true,
       false,
       "",
       FailurePolicy::Abort,
       "--port takes the path of a serial device"},
      {{"--headless", "--simulate", "--port", "/dev/pts/3"},
       true,
       true,
       "/dev/pts/3",
       FailurePolicy::Abort,
       "--simulate and --port name two instruments: give one"},
  };
  for (const Row& row : rows) {
    HeadlessArgs a = headless_parse_args(row.args);
    std::string line;
    for (const auto& w : row.args) line += w + " ";
    EXPECT_EQ(a.headless, row.headless) << line;
    EXPECT_EQ(a.simulate, row.simulate) << line;
    EXPECT_EQ(a.port, row.port) << line;
    EXPECT_EQ(a.on_failure, row.policy) << line;
    EXPECT_EQ(a.error, row.error) << line;
  }
}

}  // namespace
}  // namespace ovn::test
