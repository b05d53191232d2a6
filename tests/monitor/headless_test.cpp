// The run without windows against the in-process simulated instrument, under the virtual
// clock: the record it prints, and what each failure policy does when the line fails.

#include "monitor/headless.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <functional>
#include <memory>
#include <regex>
#include <sstream>
#include <stdexcept>

#include "build_info.h"
#include "foundation/kw.h"
#include "link/selcom.h"
#include "monitor/data_dir.h"
#include "sim/sim_instrument.h"
#include "sim/sim_port.h"
#include "support/forwarding_port.h"
#include "support/seams.h"
#include "support/temp_dir.h"

namespace ovn::test {
namespace {

// The simulated port with one message going unanswered a number of times: the silent
// instrument of a failed exchange, at a chosen place in the session read.
class SilencingPort final : public ForwardingPort {
 public:
  explicit SilencingPort(SimPort& port) : ForwardingPort(port), port_(port) {}
  void silence(const std::string& message, int times) {
    message_ = "A" + message + "\n";
    times_ = times;
  }
  void output(const std::string& text) override {
    if (text == message_ && times_ > 0) {
      --times_;
      port_.drop_replies(1);
    }
    port_.output(text);
  }

 private:
  SimPort& port_;
  std::string message_;
  int times_ = 0;
};

class HeadlessTest : public SeamsTest {
 protected:
  HeadlessTest() : port(sim), line(port) {
    SimConfig config;
    config.noise_uvpv = 0;
    sim_init(sim, config);
    set_command_line("-nocommportscan");  // every port number counts as present
  }

  // A run of the program of its own: fresh modules, empty output.
  int run(FailurePolicy policy) {
    reset_modules();
    out.str("");
    err.str("");
    HeadlessArgs args;
    args.on_failure = policy;
    return headless_run(line, args, out, err);
  }

  SimInstrument sim;
  SimPort port;
  SilencingPort line;
  std::ostringstream out, err;
};

const char* const kKstRecord =
    "uid=ZQVD52002V(2-3 lbf-in)-SIM0001.S1-ID:A-COM1\n"
    "family=KST\n"
    "firmware=KSTs150r40\n"
    "fs_lbfin=2001.0002\n"
    "file_name=Simulated_Customer.52002V(2-3_lbf-in)-SIM0001.S1.611\n";

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
    EXPECT_PROCESS_EXIT(run(policy), kHeadlessAborted);
    EXPECT_EQ(out.str(), "") << "no record without an instrument";
    std::string e = err.str();
    EXPECT_EQ(e.rfind("[Choose COM port for ", 0), 0u) << e;
    // What each family of the search did, as the port selection form would show it.
    ASSERT_FALSE(frm_selcom().lb_info.caption.empty());
    EXPECT_NE(e.find(lf_lines(frm_selcom().lb_info.caption)), std::string::npos) << e;
    EXPECT_NE(e.find("--> Abort\n? Choose COM port for "), std::string::npos) << e;
    EXPECT_NE(e.find(" -> Abort\novn-kst: aborted (exit code 1)\n"), std::string::npos) << e;
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

// The monitor loop after the record, on the simulated KST answering every sample with the
// same three values.
class HeadlessMonitorTest : public HeadlessTest {
 protected:
  HeadlessMonitorTest() {
    sim.table["DE*"] = "1234.5,1500,35.25";
    args.headless = true;
  }

  int run() { return headless_run(line, args, out, err); }
  std::vector<std::string> out_lines() const { return lines_of(out.str(), "\n"); }
  // The requests from the last live message on.
  std::vector<std::string> after_last_sample() const {
    std::vector<std::string> r = port.requests();
    size_t last = 0;
    for (size_t i = 0; i < r.size(); ++i)
      if (r[i] == "DE*") last = i;
    return {r.begin() + static_cast<long>(last) + 1, r.end()};
  }

  HeadlessArgs args;
  test::TempDir dir;
};

TEST_F(HeadlessMonitorTest, ARunOfNSamplesWritesOneFileOfNRowsAndEndsInOrder) {
  args.save_dir = dir / "run";  // made by the run
  args.save_rate_ms = 0;
  args.samples = 20;
  ASSERT_EQ(run(), kHeadlessOk) << err.str();
  std::string file = dir / "run/KST.0000.csv";
  std::string text = test::TempDir::read(file).value_or("");
  std::vector<std::string> lines = lines_of(text, "\n");
  ASSERT_EQ(lines.size(), 4u + 20u) << text;
  for (const std::string& l : lines) EXPECT_EQ(l.back(), '\r') << "every line ends in CR LF";
  EXPECT_EQ(lines[0], std::string("# Data saved via ovn-kst ") + build::version + "\r");
  EXPECT_EQ(lines[1].rfind("# Start Time:2026-11-23T10:00:", 0), 0u) << lines[1];
  EXPECT_EQ(lines[2], "#  Time(s),Torque(lbf-in),Speed(RPM),Power(Hp),Temperature(F)\r");
  EXPECT_EQ(lines[3], "# Model:" + sim_param(sim, "UIA") +
                          "   Serial:SIM0001   Shaft:S1   Customer:" + sim_param(sim, "UIC") +
                          "   COM1\r");
  // The temperature rides on the first row after each readout refresh: the first round's
  // row comes before the first refresh, the second carries it, and the next refresh is
  // 200 ms away.
  std::regex plain(R"(0\.0\d\d,1234\.5,1500,35\.25\r)");
  std::regex with_temperature(R"(0\.0\d\d,1234\.5,1500,35\.25,75\.0\r)");
  for (size_t i = 4; i < lines.size(); ++i)
    EXPECT_TRUE(std::regex_match(lines[i], i == 5 ? with_temperature : plain))
        << i << ": " << lines[i];
  EXPECT_LE(lines[4], lines[5]) << "elapsed seconds grow";
  EXPECT_LT(lines[5], lines.back());
  std::string summary = err.str();
  EXPECT_TRUE(std::regex_search(summary, std::regex(R"(^ovn-kst: 20 samples in 0\.\d{3} s )")))
      << summary;
  EXPECT_TRUE(summary.ends_with(" s (--samples); 20 rows saved to " + file + "\n")) << summary;

  // Shutdown as the window's: the "Save Data" command that stops (it reads the identity,
  // as on the window), then the flash commit.
  EXPECT_FALSE(dtdr_saving());
  std::vector<std::string> tail = after_last_sample();
  ASSERT_GE(tail.size(), 6u);
  std::vector<std::string> stop(tail.begin(), tail.begin() + 4);
  std::sort(stop.begin(), stop.end());
  EXPECT_EQ(stop, (std::vector<std::string>{"UIA", "UIB", "UIC", "UID"}));
  EXPECT_EQ(tail[4], "@@");
  EXPECT_EQ(tail[5], "VR");
  EXPECT_FALSE(port.is_open());
  EXPECT_FALSE(seams.settings.get("KST", kDtdrSection, kDtdrKeyDir).has_value())
      << "the folder of the run is not stored for the windowed program";
}

TEST_F(HeadlessMonitorTest, DurationEndsTheLoopOnTimeWithOneReadoutLineASecond) {
  args.duration_s = 2.5;
  args.samples = 5000;  // a backstop: about 750 samples fit in 2.5 s, so the time ends it
  // A screen of 1 s: the chart starts over twice during the run, the run's clock does not.
  seams.settings.put(kGraphApp, kGraphSection, "ms Per Screen", "1000");
  ASSERT_EQ(run(), kHeadlessOk) << err.str();
  std::vector<std::string> lines = out_lines();
  ASSERT_EQ(lines.size(), 5u + 2u) << out.str();
  EXPECT_EQ(out.str().rfind(kKstRecord, 0), 0u) << "the record comes first";
  for (int second = 1; second <= 2; ++second) {
    const std::string& l = lines[4 + static_cast<size_t>(second)];
    std::regex form("time=2026-11-23T10:00:\\d\\d\tt=" + std::to_string(second) +
                    "\\.\\d{3}\tch1=1234\\.5 lbf-in\tch2=1500 RPM\tch3=35\\.25 Hp"
                    "\ttemp=75\\.0 F\trate=(\\d+\\.\\d\\d) samples/sec");
    std::smatch m;
    ASSERT_TRUE(std::regex_match(l, m, form)) << l;
    // Below what the line can carry, and not far below: the readouts take their share.
    double rate = std::stod(m[1]);
    EXPECT_LT(rate, kst_line_limit_per_s(115200, 5, 18));
    EXPECT_GT(rate, kst_line_limit_per_s(115200, 5, 18) / 3);
  }
  // The first round to end at or after 2.5 s is the last.
  EXPECT_TRUE(
      std::regex_search(err.str(), std::regex(R"(samples in 2\.5\d\d s \(--duration\)\n$)")))
      << err.str();
  EXPECT_EQ(after_last_sample().front(), "@@") << "the flash commit follows the last round";
}

TEST_F(HeadlessMonitorTest, ASignalEndsTheLoopInOrderAndTheHandlersAreRestored) {
  args.monitor = true;
  args.save_dir = dir.path();
  args.save_rate_ms = 100;
  auto test_handler = +[](int) {};
  auto before = std::signal(SIGINT, test_handler);
  // The signal comes while the 300th sample is on the line.
  size_t seen = 0;
  int samples = 0;
  set_event_pump([&] {
    const auto& t = port.transcript();
    for (; seen < t.size(); ++seen)
      if (t[seen].direction == '>' && t[seen].text == "ADE*\n" && ++samples == 300)
        std::raise(SIGINT);
  });
  ASSERT_EQ(run(), kHeadlessOk) << err.str();
  EXPECT_EQ(std::signal(SIGINT, before), test_handler);
  EXPECT_NE(err.str().find(" s (signal); "), std::string::npos) << err.str();
  // The signal ends the exchange on the line at once: that round took no sample.
  EXPECT_NE(err.str().find("299 samples"), std::string::npos) << err.str();
  EXPECT_FALSE(dtdr_saving());
  std::vector<std::string> tail = after_last_sample();
  EXPECT_NE(std::find(tail.begin(), tail.end(), "@@"), tail.end()) << "the flash commit";
  // A row each 100 ms of the run: the stored rate of 1 s gave way to the command line's.
  std::string text = test::TempDir::read(dir / "KST.0000.csv").value_or("");
  std::vector<std::string> lines = lines_of(text, "\n");
  ASSERT_GT(lines.size(), 4u);
  double seconds = std::stod(lines.back());
  EXPECT_EQ(static_cast<int>(lines.size()) - 4, static_cast<int>(seconds * 10 + 1e-9) + 1) << text;
}

// Calls `act` with the count of live messages sent so far, each time one more is sent.
void on_each_sample(SimPort& port, const std::function<void(int)>& act) {
  auto seen = std::make_shared<size_t>(0);
  auto samples = std::make_shared<int>(0);
  set_event_pump([&port, act, seen, samples, start = now_ms()] {
    const auto& t = port.transcript();
    for (; *seen < t.size(); ++*seen)
      if (t[*seen].direction == '>' && t[*seen].text == "ADE*\n") act(++*samples);
    if (now_ms() - start > 3600e3) throw std::runtime_error("the run did not end within an hour");
  });
}

// The instrument goes silent for good after 50 samples, under --on-failure skip: the run
// still ends by its sample count, each failed round counting. (Its duration ending it in
// time is tried over a real line.)
TEST_F(HeadlessMonitorTest, UnderSkipADeadInstrumentsRunStillEndsByItsSampleCount) {
  args.on_failure = FailurePolicy::Skip;
  args.samples = 60;
  on_each_sample(port, [&](int n) {
    if (n == 50) port.drop_replies(1 << 30);
  });
  EXPECT_EQ(run(), kHeadlessSkipped) << err.str();
  EXPECT_NE(err.str().find("(--samples)"), std::string::npos) << err.str();
}

TEST_F(HeadlessMonitorTest, RetryHasThreeRetriesForEachFailedExchangeNotForTheRun) {
  args.on_failure = FailurePolicy::Retry;
  args.samples = 200;
  // Five brief faults: each time three silent attempts, then the instrument answers.
  on_each_sample(port, [&](int n) {
    if (n % 40 == 0) line.silence("DE*", 3);
  });
  EXPECT_EQ(run(), kHeadlessOk) << err.str();
  std::string e = err.str();
  size_t retries = 0;
  for (size_t at = e.find("--> Retry (1 of 3)\n"); at != std::string::npos;
       at = e.find("--> Retry (1 of 3)\n", at + 1))
    ++retries;
  EXPECT_EQ(retries, 5u) << e;
  EXPECT_EQ(e.find("(2 of 3)"), std::string::npos) << e;
  EXPECT_NE(e.find("200 samples"), std::string::npos) << e;
}

TEST_F(HeadlessMonitorTest, SavingThatStopsMidRunEndsWithCode7AndSaysAfterWhichRow) {
  args.save_dir = dir / "run";
  args.save_rate_ms = 0;
  args.samples = 100;
  on_each_sample(port, [&](int n) {
    if (n == 50) std::filesystem::remove_all(dir / "run");
  });
  EXPECT_EQ(run(), kHeadlessSavingStopped) << err.str();
  const std::string e = err.str();
  EXPECT_NE(e.find("Unable to print to file"), std::string::npos) << e;
  EXPECT_NE(e.find("100 samples"), std::string::npos) << "the monitor goes on: " << e;
  const std::regex last("; data saving stopped after row (\\d+)\n$");
  std::smatch m;
  ASSERT_TRUE(std::regex_search(e, m, last)) << e;
  EXPECT_GE(std::stoi(m[1]), 45);
  EXPECT_LE(std::stoi(m[1]), 50);
}

TEST_F(HeadlessMonitorTest, AbortingAFirmwareNoticeEndsTheRunWithTheAbortCode) {
  SimConfig old;
  old.noise_uvpv = 0;
  old.stator_version = "146";
  sim_init(sim, old);
  args.samples = 5;
  EXPECT_PROCESS_EXIT(run(), kHeadlessAborted);  // the window itself ends with 0
  EXPECT_NE(err.str().find("Continue at your own risk.\n--> Abort\n"), std::string::npos)
      << err.str();
  std::vector<std::string> sent = port.requests();
  EXPECT_EQ(std::count(sent.begin(), sent.end(), "DE*"), 0) << "no sample was taken";
}

TEST_F(HeadlessMonitorTest, AFolderThatCannotBeWrittenStopsTheRunBeforeTheLine) {
  std::string file = dir.write("plain.txt", "x");
  args.save_dir = file + "/data";
  EXPECT_EQ(run(), kHeadlessBadArgs);
  EXPECT_EQ(
      err.str().rfind("ovn-kst: --save-dir: cannot make the folder \"" + file + "/data\": ", 0), 0u)
      << err.str();
  EXPECT_EQ(out.str(), "");
  EXPECT_TRUE(port.requests().empty()) << "nothing was said to the instrument";
  EXPECT_EQ(test::TempDir::read(file), "x");
}

TEST(HeadlessArgs, TheCommandLineWordsOfAHeadlessRun) {
  using P = FailurePolicy;
  struct Row {
    std::vector<std::string> args;
    bool headless, simulate;
    std::string port;
    P policy;
  };
  const Row rows[] = {
      {{}, false, false, "", P::Abort},
      {{"--headless"}, true, false, "", P::Abort},
      {{"-nologo", "--headless", "--port", "/dev/ttyUSB0"}, true, false, "/dev/ttyUSB0", P::Abort},
      {{"--headless", "--simulate", "--on-failure", "retry"}, true, true, "", P::Retry},
      {{"--on-failure", "skip", "--headless"}, true, false, "", P::Skip},
  };
  for (const Row& row : rows) {
    HeadlessArgs a = headless_parse_args(row.args);
    std::string line;
    for (const auto& w : row.args) line += w + " ";
    EXPECT_EQ(a.headless, row.headless) << line;
    EXPECT_EQ(a.simulate, row.simulate) << line;
    EXPECT_EQ(a.port, row.port) << line;
    EXPECT_EQ(a.on_failure, row.policy) << line;
    EXPECT_EQ(a.error, "") << line;
  }
}

TEST(HeadlessArgs, TheMonitorWordsTheirValuesAndWhenTheLoopRuns) {
  auto parse = [](std::vector<std::string> words) {
    words.insert(words.begin(), "--headless");
    return headless_parse_args(words);
  };
  EXPECT_FALSE(parse({}).monitors()) << "the record alone, as before";
  EXPECT_FALSE(parse({"--on-failure", "skip"}).monitors());
  EXPECT_TRUE(parse({"--monitor"}).monitors());
  EXPECT_TRUE(parse({"--samples", "500"}).monitors());
  EXPECT_TRUE(parse({"--duration", "0.5"}).monitors());
  HeadlessArgs a = parse({"--save-dir", "/tmp/run", "--save-rate", "250", "--samples", "500"});
  EXPECT_TRUE(a.monitors());
  EXPECT_EQ(a.save_dir, "/tmp/run");
  EXPECT_EQ(a.save_rate_ms, 250);
  EXPECT_EQ(a.samples, 500);
  EXPECT_EQ(a.error, "");
  EXPECT_EQ(parse({"--save-dir", "d", "--save-rate", "0"}).save_rate_ms, 0) << "every sample";
  EXPECT_LT(parse({"--save-dir", "d"}).save_rate_ms, 0) << "the stored rate";
  EXPECT_EQ(parse({"--save-dir", "d", "--csv-format", "analysis"}).csv_format, "analysis");

  struct Row {
    std::vector<std::string> words;
    const char* error;
  };
  const Row rows[] = {
      {{"--on-failure", "Skip"}, "--on-failure takes retry, skip or abort"},
      {{"--on-failure"}, "--on-failure takes retry, skip or abort"},
      {{"--port"}, "--port takes the path of a serial device"},
      {{"--simulate", "--port", "/dev/pts/3"},
       "--simulate and --port name two instruments: give one"},
      {{"--save-dir"}, "--save-dir takes the folder for the data files"},
      {{"--save-dir", "d", "--save-rate", "1,5"},
       "--save-rate takes milliseconds per saved row, 0 or more (0: every sample)"},
      {{"--save-rate", "100"}, "--save-rate is the pace of the data file: give --save-dir too"},
      {{"--duration", "inf"}, "--duration takes seconds, a number above 0"},
      {{"--samples", "2.5", "--duration", "0"},  // the first fault is named
       "--samples takes a whole number of samples above 0"},
      {{"--csv-format", "excel", "--save-dir", "d"}, "--csv-format takes analysis or original"},
      {{"--csv-format", "analysis"},
       "--csv-format is the form of the data file: give --save-dir too"},
      {{"--bogus"}, "--bogus: unknown option (ovn-kst --help lists them)"},
      {{"-nologo", "stray"}, "stray: unknown option (ovn-kst --help lists them)"},
      {{"--screenshot"}, "--screenshot takes the path of the picture"},
      {{"-nocommportscan", "-nonewversioncheck", "--screenshot", "a.png"}, ""},
      {{"--simulate", "--on-failure", "retry"}, ""},
  };
  for (const Row& row : rows) {
    std::string line;
    for (const auto& w : row.words) line += w + " ";
    EXPECT_EQ(parse(row.words).error, row.error) << line;
  }
}

}  // namespace
}  // namespace ovn::test
