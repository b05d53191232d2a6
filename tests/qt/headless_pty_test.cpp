// End to end over a real pseudo-terminal: the ovn-sim program serves a simulated KST, the
// Qt serial adapter opens its device, and the headless run finds the instrument through
// the whole family search at the emulated line speed. Real time, bounded waits.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "monitor/headless.h"
#include "qt/qt_event_wait.h"
#include "qt/qt_serial_port.h"
#include "support/child_process.h"
#include "support/mqtt_broker.h"
#include "support/qt_application.h"
#include "support/seams.h"
#include "support/temp_dir.h"

namespace ovn {
namespace {

#ifdef OVN_SIM_EXE

// ovn-sim running as a child process; its first line names the device it serves.
class OvnSim {
 public:
  explicit OvnSim(const char* family, std::vector<std::string> extra = {})
      : process_(OVN_SIM_EXE, "ovn-sim", with_family(family, std::move(extra))),
        path_(process_.read_line(0)) {}
  const std::string& path() const { return path_; }

 private:
  static std::vector<std::string> with_family(const char* family, std::vector<std::string> words) {
    words.insert(words.begin(), {"--family", family, "--noise", "0"});
    return words;
  }
  test::ChildProcess process_;
  std::string path_;
};

class HeadlessPtyTest : public test::SeamsTest {
 protected:
  HeadlessPtyTest() {
    test::qt_application();
    event_wait_ = std::make_unique<qt::QtEventWait>();  // as the program waits
    set_clock(nullptr);                                 // a real line: real time
    set_command_line("-nocommportscan");                // the one device is every port number
  }
  std::unique_ptr<qt::QtEventWait> event_wait_;
};

TEST_F(HeadlessPtyTest, AMonitorRunOverTheLineSavesARowForEverySampleAndClosesThePort) {
  OvnSim sim("KST");
  ASSERT_EQ(sim.path().rfind("/dev/", 0), 0u) << sim.path();
  test::TempDir dir;
  qt::QtSerialPort port(sim.path());
  HeadlessArgs args;
  args.samples = 60;
  args.save_dir = dir.path();
  args.save_rate_ms = 0;
  std::ostringstream out, err;
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(headless_run(port, args, out, err), kHeadlessOk) << err.str();
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  EXPECT_LT(seconds, 60) << "the search of the families before the KST took too long";
  // The search found the KST through every family before it, and read its record.
  EXPECT_EQ(out.str().rfind("uid=ZQVD52002V(2-3 lbf-in)-SIM0001.S1-ID:A-COM1\nfamily=KST\n", 0), 0u)
      << out.str();
  EXPECT_NE(err.str().find("ovn-kst: 60 samples in "), std::string::npos) << err.str();
  EXPECT_NE(err.str().find("rows saved to " + (dir / "KST.0000.csv")), std::string::npos)
      << err.str();

  std::string file = test::TempDir::read(dir / "KST.0000.csv").value_or("");
  std::vector<std::string> lines = test::lines_of(file);
  ASSERT_GE(lines.size(), 4u) << file;
  EXPECT_EQ(lines[2], "#  Time(s),Torque(lbf-in),Speed(RPM),Power(Hp),Temperature(F)");
  // Every sample of the run is a row of torque, speed and power (the temperature rides
  // on the row after a readout).
  EXPECT_EQ(lines.size(), 4u + 60u);
  for (size_t i = 4; i < lines.size(); ++i) {
    const auto commas = std::count(lines[i].begin(), lines[i].end(), ',');
    EXPECT_TRUE(commas == 3 || commas == 4) << lines[i];
  }
  EXPECT_FALSE(port.is_open());
}

TEST_F(HeadlessPtyTest, ARunOverTheLineChangesTheInstrumentAndTheNextRunFindsItChanged) {
  OvnSim sim("KST");
  ASSERT_EQ(sim.path().rfind("/dev/", 0), 0u) << sim.path();
  test::TempDir dir;
  HeadlessArgs args;
  args.runs = {"Termination Resistor"};
  // Each run shows the setting as it finds it, then turns it over.
  const char* const turns[][2] = {{"RS485 Termination Off", "RS485 Termination Off=on\nApply\n"},
                                  {"RS485 Termination On", "RS485 Termination On=off\nApply\n"}};
  for (const auto& [found, answers] : turns) {
    SCOPED_TRACE(found);
    test::reset_modules();
    args.answers = dir.write("answers.txt", answers);
    qt::QtSerialPort port(sim.path());
    std::ostringstream out, err;
    EXPECT_EQ(headless_run(port, args, out, err), kHeadlessOk) << err.str();
    EXPECT_NE(err.str().find(std::string("? Info Box: ") + found + " -> "), std::string::npos)
        << err.str();
    EXPECT_NE(out.str().find("\ntime="), std::string::npos) << out.str();
    EXPECT_FALSE(port.is_open());
  }
}

#endif

#ifdef OVN_KST_EXE

struct ProgramRun {
  int code = -1;  // -1: did not end in time (then killed)
  std::string out, err;
};

// Runs ovn-kst with `args`, settings and log in `home`, for at most `seconds`.
ProgramRun run_ovn_kst(const std::vector<std::string>& args, const std::string& home, int seconds) {
  test::ChildProcess p(OVN_KST_EXE, "ovn-kst", args,
                       {{"HOME", home},
                        {"XDG_DATA_HOME", home + "/data"},
                        {"OVN_CONFIG_DIR", home + "/config"},
                        {"QT_QPA_PLATFORM", "offscreen"}});
  const int code = p.wait_end(seconds);
  return {code, p.out, p.err};
}

TEST(OvnKstHeadless, TheProgramRunsTheBuiltInSimulatorWithoutWindowsAndEndsWithZero) {
  test::TempDir home;
  ProgramRun run = run_ovn_kst({"--headless", "--simulate", "-nocommportscan"}, home.path(), 60);
  EXPECT_EQ(run.code, kHeadlessOk) << run.err;
  EXPECT_EQ(run.out,
            "uid=ZQVD52002V(2-3 lbf-in)-SIM0001.S1-ID:A-COM1\n"
            "family=KST\n"
            "firmware=KSTs150r40\n"
            "fs_lbfin=2001.0002\n"
            "file_name=Simulated_Customer.52002V(2-3_lbf-in)-SIM0001.S1.611\n");
}

// A saving run killed outright: every row that reached the file is whole, none cut in two.
// Rows carry the temperature when the readouts were refreshed since the last one.
TEST(OvnKstHeadless, ASavingRunKilledOutrightLeavesOnlyWholeRows) {
  test::TempDir home;
  const std::string data = home.path() + "/runs";
  ProgramRun run = run_ovn_kst({"--headless", "--simulate", "-nocommportscan", "--save-dir", data,
                                "--save-rate", "0", "--duration", "60"},
                               home.path(), 4);
  EXPECT_EQ(run.code, -1) << "killed while saving: " << run.err;
  std::vector<std::filesystem::path> files;
  for (const auto& e : std::filesystem::directory_iterator(data)) files.push_back(e.path());
  ASSERT_EQ(files.size(), 1u);
  const std::string text = test::TempDir::read(files[0].string()).value_or("");
  ASSERT_TRUE(text.ends_with("\r\n")) << text.substr(text.size() > 80 ? text.size() - 80 : 0);
  const std::regex row("-?\\d+\\.\\d{3}(,-?[\\d.]+){3,4}");
  int rows = 0;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    ASSERT_TRUE(line.ends_with("\r")) << line;
    line.pop_back();
    if (line.starts_with("#")) continue;
    EXPECT_TRUE(std::regex_match(line, row)) << line;
    ++rows;
  }
  EXPECT_GT(rows, 10);
}

#ifdef OVN_SIM_EXE
// Over a real line: the instrument falls silent for good after 300 requests, and the run
// under skip still ends by its time limit.
TEST(OvnKstHeadless, AnInstrumentThatFallsSilentUnderSkipStillEndsByItsDuration) {
  OvnSim sim("KST", {"--fault", "silent:300"});
  ASSERT_FALSE(sim.path().empty());
  test::TempDir home;
  const auto start = std::chrono::steady_clock::now();
  ProgramRun run = run_ovn_kst({"--headless", "--port", sim.path(), "--on-failure", "skip",
                                "--duration", "4", "-nocommportscan"},
                               home.path(), 30);
  const double took =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  EXPECT_EQ(run.code, kHeadlessSkipped) << run.err;
  EXPECT_NE(run.err.find("(--duration)"), std::string::npos) << run.err;
  EXPECT_LT(took, 10.0) << run.err;
}

// Over a real line under retry: a garbled reply every 40 requests, many more than three in
// the run, each mended by its own retries, and the run goes on to its end.
TEST(OvnKstHeadless, RetryMendsEachOfManyBriefFaultsAndTheRunEndsByItsDuration) {
  OvnSim sim("KST", {"--fault", "garble:100:1:40"});
  ASSERT_FALSE(sim.path().empty());
  test::TempDir home;
  ProgramRun run = run_ovn_kst({"--headless", "--port", sim.path(), "--on-failure", "retry",
                                "--duration", "3", "-nocommportscan"},
                               home.path(), 30);
  EXPECT_NE(run.code, kHeadlessAborted) << run.err;
  EXPECT_NE(run.err.find("(--duration)"), std::string::npos) << run.err;
}

// A stator that answers once, then dozes for three requests: under retry the monitor's
// second search finds the KST (it looks for no other family, so never settles on another).
TEST(OvnKstHeadless, AMonitorFindsAKstThatMissesThreeRequestsAfterItsFirstReply) {
  OvnSim sim("KST", {"--fault", "silent:1:3"});
  ASSERT_FALSE(sim.path().empty());
  test::TempDir home;
  ProgramRun run = run_ovn_kst({"--headless", "--port", sim.path(), "--monitor", "--samples", "5",
                                "--on-failure", "retry", "-nocommportscan"},
                               home.path(), 60);
  EXPECT_NE(run.code, kHeadlessAborted) << run.err;
  EXPECT_NE(run.err.find("Retry (1 of 3)"), std::string::npos) << run.err;
  EXPECT_NE(run.out.find("family=KST\n"), std::string::npos) << run.out;
}

// The folder of the data file removed while it is written: the run says at which row the
// saving stopped and ends with 7, not as if all were well.
TEST(OvnKstHeadless, AFolderRemovedUnderASavingRunEndsItWithSevenAndTheRow) {
  OvnSim sim("KST");
  ASSERT_FALSE(sim.path().empty());
  test::TempDir home;
  const std::string data = home.path() + "/runs";
  std::thread remover([&data] {
    for (int i = 0; i < 100 && !std::filesystem::exists(data); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    std::filesystem::remove_all(data);
  });
  ProgramRun run = run_ovn_kst({"--headless", "--port", sim.path(), "--save-dir", data,
                                "--save-rate", "0", "--duration", "5", "-nocommportscan"},
                               home.path(), 30);
  remover.join();
  EXPECT_EQ(run.code, kHeadlessSavingStopped) << run.err;
  EXPECT_TRUE(std::regex_search(run.err, std::regex("data saving stopped after row [1-9]")))
      << run.err;
}
#endif

// A publishing run killed outright: the broker says "offline" for it, the last will.
TEST(OvnKstHeadless, APublishingRunKilledOutrightIsToldOfflineByItsLastWill) {
  if (test::mosquitto_broker_path() == nullptr) GTEST_SKIP() << "no mosquitto broker here";
  test::MqttBroker broker;
  test::MqttListener listener(broker.port(), "ovn/+/status");
  ASSERT_TRUE(test::eventually([&] { return listener.subscribed(); }));
  test::TempDir home;
  ProgramRun run =
      run_ovn_kst({"--headless", "--simulate", "-nocommportscan", "--monitor", "--publish",
                   "mqtt://127.0.0.1:" + std::to_string(broker.port()) + "/ovn"},
                  home.path(), 3);
  EXPECT_EQ(run.code, -1) << "killed: " << run.err;
  ASSERT_TRUE(test::eventually([&] { return listener.on("status").size() >= 2; })) << run.err;
  EXPECT_EQ(listener.on("status").front().payload, "online");
  EXPECT_EQ(listener.on("status").back().payload, "offline");
}

TEST(OvnKstHeadless, APortThatCannotBeOpenedIsSaidOnceWithItsReason) {
  test::TempDir home;
  ProgramRun run = run_ovn_kst({"--headless", "--port", "/nonexistent/ttyUSB9"}, home.path(), 30);
  EXPECT_EQ(run.code, kHeadlessAborted) << run.err;
  EXPECT_EQ(run.err,
            "ovn-kst: --port /nonexistent/ttyUSB9: cannot open it: No such file or directory "
            "(/nonexistent/ttyUSB9)\n");
}

TEST(OvnKstHeadless, AnEntryHiddenFromThisOperatorEndsTheRunWithExitCode5) {
  test::TempDir home;
  ProgramRun run =
      run_ovn_kst({"--headless", "--simulate", "-nocommportscan", "--run", "Technician's Setup"},
                  home.path(), 60);
  EXPECT_EQ(run.code, kHeadlessUnavailable) << run.err;
  EXPECT_NE(run.err.find("ovn-kst: Technician's Setup: not available on this instrument\n"),
            std::string::npos)
      << run.err;
  EXPECT_EQ(run.out.find("time="), std::string::npos) << run.out;
}

TEST(OvnKstHeadless, AWordItDoesNotTakeEndsTheRunWithExitCode3AndTheReason) {
  test::TempDir home;
  ProgramRun run = run_ovn_kst({"--headless", "--on-failure", "later"}, home.path(), 30);
  EXPECT_EQ(run.code, kHeadlessBadArgs);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "ovn-kst: --on-failure takes retry, skip or abort\n");
  ProgramRun help = run_ovn_kst({"--help"}, home.path(), 30);
  EXPECT_EQ(help.code, 0);
  EXPECT_NE(help.out.find("  --headless "), std::string::npos) << help.out;
  EXPECT_NE(help.out.find("  --on-failure WHAT "), std::string::npos) << help.out;
}

#endif

}  // namespace
}  // namespace ovn
