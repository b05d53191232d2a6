// Procedures without a window: --run CAPTION served against the in-process simulated KST
// under the virtual clock, its boxes answered from --answers, and the exit codes 3, 4 and 5.

#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "adjust/acquire.h"
#include "foundation/settings.h"
#include "instrument/ovn_mode.h"
#include "monitor/headless.h"
#include "sim/sim_instrument.h"
#include "sim/sim_port.h"
#include "support/mqtt_broker.h"
#include "support/seams.h"
#include "support/temp_dir.h"

namespace ovn::test {
namespace {

class HeadlessRunTest : public SeamsTest {
 protected:
  HeadlessRunTest() : port(sim) {
    SimConfig config;
    config.noise_uvpv = 0;
    sim_init(sim, config);
    set_command_line("-nocommportscan");
    args.headless = true;
  }

  // Runs `runs` with `answers` as the answers file.
  int run(std::vector<std::string> runs, const std::string& answers) {
    // Each run is a program of its own, with its own output.
    reset_modules();
    out.str("");
    err.str("");
    port.clear_transcript();
    args.runs = std::move(runs);
    args.answers = dir.write("answers.txt", answers);
    return headless_run(port, args, out, err, &simulation);
  }
  // A simulated instrument as quiet as a good one: inside the noise limits of its family.
  void quiet_within_limits() {
    SimConfig config;
    config.noise_uvpv = 0.5;
    sim_init(sim, config);
    args.simulate = true;
  }
  bool sent(const std::string& request) const {
    std::vector<std::string> r = port.requests();
    return std::find(r.begin(), r.end(), request) != r.end();
  }

  SimInstrument sim;
  SimPort port;
  HeadlessSimulation simulation{[this](SimQuantity q, double v) { sim_hold(sim, q, v); },
                                kSimTechnicianPhrase};
  HeadlessArgs args;
  TempDir dir;
  std::ostringstream out, err;
};

const std::regex kReadoutLine(
    "time=\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\tt=\\d+\\.\\d{3}\tch1=-?[\\d.]+ lbf-in\t"
    "ch2=-?[\\d.]+ RPM\tch3=-?[\\d.]+ Hp\ttemp=75\\.0 F\trate=[\\d.]+ samples/sec\n");

TEST_F(HeadlessRunTest, TheTerminationEntryTakesItsSettingAndTheRunEndsWithAReadoutLine) {
  ASSERT_EQ(sim_param(sim, "UCB"), "0");
  EXPECT_EQ(run({"termination resistor..."}, "# on, then apply\nRS485 Termination Off=on\napply\n"),
            kHeadlessOk)
      << err.str();
  EXPECT_EQ(sim_param(sim, "UCB"), "1");
  EXPECT_TRUE(sent("UCB1"));
  // The record, then one line of what the procedure left.
  std::string o = out.str();
  size_t record_end = o.find(".611\n") + 5;
  EXPECT_TRUE(std::regex_match(o.substr(record_end), kReadoutLine)) << o;
  EXPECT_NE(err.str().find("[Info Box]\nRS485 Termination Off\n"
                           "--> RS485 Termination Off=on, Apply Changes\n"
                           "? Info Box: RS485 Termination Off -> RS485 Termination Off=on, "
                           "Apply Changes\n"),
            std::string::npos)
      << err.str();
  EXPECT_NE(err.str().find("(--run)\n"), std::string::npos) << "no monitoring was asked";
  std::vector<std::string> r = port.requests();
  EXPECT_LT(std::find(r.begin(), r.end(), "UCB1"), std::find(r.begin(), r.end(), "@@"))
      << "the flash commit follows, as closing the window";
}

TEST_F(HeadlessRunTest, ThePasswordEntriesLockAndChangeThePasswordInTurn) {
  EXPECT_EQ(run({"Password Protect", "Password Change"},
                "=kst\nOk\n"
                "Current password=kst\nNew password=abcd\nRetype New password=abcd\nOk\n"),
            kHeadlessOk)
      << err.str();
  EXPECT_EQ(sim.config.password, "abcd");
  EXPECT_TRUE(sent("PSkst1")) << "locked first";
  EXPECT_FALSE(sim.locked) << "the change unlocks it to change it";
  EXPECT_EQ(err.str().find("=kst"), std::string::npos) << "passwords are never written";
}

TEST_F(HeadlessRunTest, SaveConfigurationWritesThePathTypedIntoItsFileDialogThenMonitors) {
  std::string path = dir / "bench.611";
  args.samples = 3;
  EXPECT_EQ(run({"Save Configuration"}, "=" + path + "\nSave\n"), kHeadlessOk) << err.str();
  std::string saved = TempDir::read(path).value_or("");
  EXPECT_NE(saved.find("SIM0001"), std::string::npos) << saved;
  EXPECT_NE(err.str().find("--> =" + path + ", Save\n"), std::string::npos) << err.str();
  EXPECT_NE(err.str().find("ovn-kst: 3 samples in "), std::string::npos) << err.str();
  EXPECT_NE(err.str().find("(--samples)\n"), std::string::npos) << err.str();
}

TEST_F(HeadlessRunTest, AnswersThatFailCancelTheProcedureServeNoMoreAndEndWith4) {
  struct Row {
    const char* answers;
    const char* said;
  };
  const Row rows[] = {
      {"", "ovn-kst: ran out of answers\n"},
      {"# nothing that fits\nApply Anyway\n",
       "ovn-kst: answer 'Apply Anyway' fits none of: Apply Changes|Cancel\n"},
      {"RS485 Termination=on\nApply\n",
       "ovn-kst: answer 'RS485 Termination=on' fits none of: RS485 Termination Off|RS485 "
       "Termination On\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.answers);
    EXPECT_EQ(run({"Termination Resistor", "Tare"}, row.answers), kHeadlessAnswers);
    std::string e = err.str();
    EXPECT_NE(e.find(row.said), std::string::npos) << e;
    EXPECT_NE(e.find("? Info Box: RS485 Termination Off -> Cancel\n"), std::string::npos) << e;
    EXPECT_EQ(sim_param(sim, "UCB"), "0");
    EXPECT_FALSE(sent("TR*")) << "no later --run is served";
    EXPECT_EQ(out.str().find("time="), std::string::npos) << "no readout after a failure";
  }
}

TEST_F(HeadlessRunTest, TheConsoleSendsEachMessageOfTheLineAndLogsItsResultLines) {
  EXPECT_EQ(run({"Send Message"}, "=VR|TA\nSend\nExit\n"), kHeadlessOk) << err.str();
  const std::vector<std::string> r = port.requests(), pair{"VR", "TA"};
  EXPECT_NE(std::search(r.begin(), r.end(), pair.begin(), pair.end()), r.end())
      << "the two messages of the line, one after the other";
  EXPECT_NE(err.str().find("[Send Message]\nInput Message = VR|TA\n"
                           "\"VR\" -> \"VR\" LEN=10SENT\"VR\"   GOT\"KSTs150r40\"\n"),
            std::string::npos)
      << err.str();
  EXPECT_NE(err.str().find("? Send Message: Input Message = VR|TA -> Exit\n"), std::string::npos);
}

TEST_F(HeadlessRunTest, AnEntryNotAvailableHereIsRefusedWith5BeforeAnyRunIsServed) {
  struct Row {
    const char* caption;
    bool locked;
    int code;
    const char* said;
  };
  const Row rows[] = {
      {"Technician's Setup...", false, kHeadlessUnavailable,
       "ovn-kst: Technician's Setup...: not available on this instrument\n"},
      {"Tech Adjustment Torque...", false, kHeadlessUnavailable,  // hidden: not a technician
       "ovn-kst: Tech Adjustment Torque...: not available on this instrument\n"},
      {"Termination Resistor", true, kHeadlessUnavailable,  // the instrument is locked
       "ovn-kst: Termination Resistor: not available on this instrument\n"},
      {"Calibrate", false, kHeadlessBadArgs,
       "ovn-kst: --run \"Calibrate\": no menu entry or button has this caption\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.caption);
    sim.locked = row.locked;
    EXPECT_EQ(run({"Tare", row.caption}, "Apply\n"), row.code);
    EXPECT_NE(err.str().find(row.said), std::string::npos) << err.str();
    EXPECT_FALSE(sent("TR*")) << "the first --run is not served either";
    EXPECT_EQ(out.str().find("time="), std::string::npos);
  }
}

// The technician's bench run: zero the unloaded shaft, then load it and adjust the positive
// point; the readout line after the last run shows what the instrument now reads.
TEST_F(HeadlessRunTest, AZeroThenAPositiveStepByTheirCaptionsBringChannelOneToItsLoads) {
  quiet_within_limits();
  EXPECT_EQ(run({"Zero Adjustment", "positive adjustment..."},
                "sim load=0\nOK\nOK\nsim load=1000\n=1000\nContinue\nOK\n"),
            kHeadlessOk)
      << err.str();
  EXPECT_NE(err.str().find("? Zero Adjustment: Unload transducer to Zero -> OK\n"),
            std::string::npos);
  EXPECT_NE(err.str().find("? Positive Load Adjustment: Load transducer in the CW direction -> "
                           "=1000, Continue\n"),
            std::string::npos)
      << err.str();
  std::smatch m;
  const std::string text = out.str();
  ASSERT_TRUE(std::regex_search(text, m, std::regex("ch1=(-?[\\d.]+) lbf-in"))) << text;
  EXPECT_NEAR(std::stod(m[1]), 1000.0, 1.0);
  EXPECT_EQ(sim.flash, sim.working) << "the kept step is committed to flash";
}

TEST_F(HeadlessRunTest, TheNoiseTestRunsByTheCaptionItWasBuiltWithAndWritesItsSummary) {
  quiet_within_limits();
  EXPECT_EQ(run({"Noise Test:A/D"}, "OK\n"), kHeadlessOk) << err.str();
  const std::optional<std::string> summary =
      TempDir::read(noise_folder() + "/ovn-noise-summary.txt");
  ASSERT_TRUE(summary.has_value());
  EXPECT_EQ(std::count(summary->begin(), summary->end(), '\n'), 2) << *summary;
  EXPECT_NE(err.str().find("? Torquemeter:KST   Full Scale=2001.000 lbf-in -> OK\n"),
            std::string::npos)
      << err.str();
}

TEST_F(HeadlessRunTest, TheButtonsRunByTheirCaptionsAndSimLinesHoldTheLoad) {
  args.simulate = true;
  EXPECT_EQ(run({"+ Cal", "No cal", "Tare"}, "sim load=1000\nsim speed=0\n"), kHeadlessOk)
      << err.str();
  std::vector<std::string> r = port.requests();
  auto at = [&r](const char* m) { return std::find(r.begin(), r.end(), m) - r.begin(); };
  EXPECT_LT(at("ASB"), at("ASA"));
  EXPECT_LT(at("ASA"), at("TR*"));
  EXPECT_LT(at("TR*"), static_cast<long>(r.size()));
  EXPECT_EQ(sim.physics.torque.shape, SimShape::Constant);
  EXPECT_EQ(sim.physics.torque.a, 1000);
  EXPECT_EQ(sim.physics.speed.a, 0);
  EXPECT_NE(err.str().find("ovn-kst: sim load=1000\n"), std::string::npos);

  args.simulate = false;
  EXPECT_EQ(run({"Tare"}, "OK\nsim temp=80\n"), kHeadlessBadArgs);
  EXPECT_EQ(err.str(),
            "ovn-kst: --answers: line 2: \"sim temp=80\": sim lines hold what the simulated "
            "instrument measures: give --simulate\n");
  EXPECT_TRUE(port.requests().empty()) << "refused before the port is opened";
}

TEST_F(HeadlessRunTest, TechnicianModeTakesThePhraseFromTheAnswersOrTheSimulation) {
  args.technician = true;
  EXPECT_EQ(run({}, "=not the phrase\nOk\n"), kHeadlessOk) << err.str();
  EXPECT_NE(err.str().find("ovn-kst: --technician: the phrase was not accepted\n"),
            std::string::npos)
      << err.str();
  EXPECT_EQ(ovn_mode_current(), 0);

  args.simulate = true;
  EXPECT_EQ(run({}, ""), kHeadlessOk) << err.str();
  EXPECT_NE(err.str().find("? Enter Password -> =***, Ok\n"), std::string::npos) << err.str();
  EXPECT_EQ(kw_setting_get(kSharedApp, kOvnModeSection, kOvnModeKey, ""),
            ovn_mode_transform(kSimTechnicianPhrase))
      << "technician mode stays on for the next run, as from the window";
}

TEST_F(HeadlessRunTest, CheckConfigurationPrintsItsFailuresWritesItsFilesAndEndsWith6) {
  quiet_within_limits();
  args.show_passes = true;
  args.report = dir / "audit.html";
  args.baseline = dir / "missing.611";
  EXPECT_EQ(run({"Check Configuration"}, ""), kHeadlessAuditFailed) << err.str();
  const std::string text = out.str();
  const size_t failure =
      text.find("\nActual Full Scale (2001.0002) does NOT equal Model Full Scale (2000) \n");
  const size_t pass = text.find("\nFirmware version (KSTs150r40) is okay\n");
  EXPECT_NE(failure, std::string::npos) << text;
  EXPECT_NE(pass, std::string::npos) << "--show-passes";
  EXPECT_LT(failure, pass) << "failures first";
  EXPECT_NE(text.find("Changed since missing.611:\n   The configuration file "), std::string::npos);
  const std::optional<std::string> page = TempDir::read(dir / "audit.html");
  ASSERT_TRUE(page.has_value());
  EXPECT_NE(page->find("<span class=\"mark\">FAIL</span> Actual Full Scale"), std::string::npos);
}

TEST(HeadlessArgs, TheProcedureWords) {
  HeadlessArgs a = headless_parse_args({"--headless", "--run", "Zero Adjustment", "--answers", "-",
                                        "--run", "+ Cal", "--technician"});
  EXPECT_EQ(a.runs, (std::vector<std::string>{"Zero Adjustment", "+ Cal"}));
  EXPECT_EQ(a.answers, "-");
  EXPECT_TRUE(a.technician);
  EXPECT_TRUE(a.drives());
  EXPECT_FALSE(a.monitors()) << "procedures alone do not monitor";
  EXPECT_EQ(a.error, "");
  EXPECT_EQ(headless_parse_args({"--headless", "--run"}).error,
            "--run takes the caption of a menu entry or button");
  EXPECT_EQ(headless_parse_args({"--headless", "--answers", ""}).error,
            "--answers takes a file of answers, or - for stdin");
  EXPECT_EQ(headless_parse_args({"--headless", "--report", "r.html"}).error,
            "--show-passes, --report and --baseline belong to --run \"Check Configuration\"");
  EXPECT_EQ(headless_parse_args({"--headless", "--run", "Check Configuration", "--baseline"}).error,
            "--baseline takes the path of a file");
}

TEST_F(HeadlessRunTest, AnAnalogOutputSetupOutOfRangeIsRefusedWithItsTextAndNothingSent) {
  const std::string fields = "Pin G/Volts at 0 Input=10\nPin G/Volts at +FS Input=";
  EXPECT_EQ(run({"Analog Output Setup"}, fields + "20\nOK\nBack\nCancel\n"), kHeadlessOk);
  EXPECT_NE(err.str().find("Volts at +FS Input for Analog Output 1 (20) should be in the range "
                           "of -15 to 15 Volts\n--> Back"),
            std::string::npos)
      << err.str();
  EXPECT_FALSE(sent("AOB10"));
  EXPECT_EQ(run({"Analog Output Setup"}, fields + "14\nOK\n"), kHeadlessOk) << err.str();
  EXPECT_TRUE(sent("AOB10"));
  EXPECT_TRUE(sent("AOC14"));
}

TEST_F(HeadlessRunTest, TheDigitalIoSetupTakesLineAndFunctionAnswers) {
  EXPECT_EQ(run({"Digital I/O Setup"}, "Pin J/Tare=high\nPin G/Temp-Ok=off\nOK\n"), kHeadlessOk)
      << err.str();
  EXPECT_TRUE(sent("IOD3"));
  EXPECT_TRUE(sent("IOA0"));
  EXPECT_EQ(sim_param(sim, "IOI"), "8") << "line 3 active high";
  EXPECT_NE(err.str().find("Pin J: Tare=Hi\nPin F: Reset-Maxmin=Lo\n"), std::string::npos)
      << err.str();
}

TEST_F(HeadlessRunTest, TheTechniciansSetupRefusesATwoChannelCountAndSendsNothing) {
  args.technician = true;
  args.simulate = true;
  const auto before = sim.working;
  EXPECT_EQ(run({"Technician's Setup"}, "NumChannels=2\nOk\nOK\nCancel\n"), kHeadlessOk)
      << err.str();
  EXPECT_NE(err.str().find("[KST Setup]\nNumChannels must be either 1 or 3\n--> OK"),
            std::string::npos)
      << err.str();
  EXPECT_FALSE(sent("SD2k7Qw2Xzp"));
  EXPECT_EQ(sim.config.channels, 3);
  EXPECT_EQ(sim.working, before);
}

TEST_F(HeadlessRunTest, AKeptShuntRunShowsInTheNextDownloadAndACancelledOnePutsItBack) {
  args.simulate = true;
  const std::string path = dir / "after-shunt.611";
  const std::string shunt = "sim load=0\nOK\nContinue Anyway\n";
  EXPECT_EQ(run({"Get Shunt Values", "Save Configuration"}, shunt + "=" + path + "\nSave\n"),
            kHeadlessOk)
      << err.str();
  const std::string e = err.str();
  size_t spans = 0;
  for (size_t at = e.find("\n Span="); at != std::string::npos; at = e.find("\n Span=", at + 1))
    ++spans;
  EXPECT_EQ(spans, 2u) << e;
  EXPECT_NE(e.find("% +/- Shunt Asymmetry\n"), std::string::npos) << e;
  const std::string kept = sim_param(sim, "SVA");
  EXPECT_NE(kept, "100975.09988518943") << "the span as measured, not the factory's";
  EXPECT_NE(TempDir::read(path).value_or("").find("\nSVA" + kept + " "), std::string::npos)
      << TempDir::read(path).value_or("");

  EXPECT_EQ(run({"Get Shunt Values"}, "sim load=0\nOK\nCancel\n"), kHeadlessOk) << err.str();
  EXPECT_EQ(sim_param(sim, "SVA"), kept) << "the before-image put back";
}

// A monitoring run that publishes: "online" then "offline" on the retained status, one
// session record, live batches and the saving events, all of them JSON.
TEST_F(HeadlessRunTest, APublishingRunTellsItsStatusSessionLiveDataAndEventsAsJson) {
  if (mosquitto_broker_path() == nullptr) GTEST_SKIP() << "no mosquitto broker here";
  MqttBroker broker;
  MqttListener listener(broker.port(), "ovn/#");
  ASSERT_TRUE(eventually([&] { return listener.subscribed(); }));
  args.samples = 300;
  args.save_dir = dir / "runs";
  args.publish = "mqtt://127.0.0.1:" + std::to_string(broker.port()) + "/ovn";
  EXPECT_EQ(run({}, ""), kHeadlessOk) << err.str();
  ASSERT_TRUE(eventually([&] { return listener.on("status").size() >= 2; })) << err.str();
  const auto status = listener.on("status");
  EXPECT_EQ(status.front().payload, "online");
  EXPECT_EQ(status.back().payload, "offline");
  EXPECT_EQ(status.front().topic, "ovn/SIM0001/status");
  ASSERT_EQ(listener.on("session").size(), 1u);
  const std::string session = listener.on("session")[0].payload;
  EXPECT_NE(session.find("\"family\":\"KST\""), std::string::npos) << session;
  ASSERT_GE(listener.on("live").size(), 3u);
  for (const Heard& h : listener.heard()) {
    if (h.topic.ends_with("/status")) continue;
    EXPECT_TRUE(nlohmann::json::accept(h.payload)) << h.topic << " " << h.payload;
  }
  const std::string live = listener.on("live")[0].payload;
  EXPECT_NE(live.find("\"units\":[\"lbf-in\",\"RPM\",\"Hp\"],\"t\":["), std::string::npos) << live;
  const auto events = listener.on("events");
  ASSERT_EQ(events.size(), 2u);
  EXPECT_NE(events[0].payload.find("\"type\":\"saving\""), std::string::npos);
  EXPECT_NE(events[1].payload.find("\"state\":\"stopped\""), std::string::npos);
  EXPECT_TRUE(
      std::regex_search(err.str(), std::regex("; [1-9][0-9]* live batches published, 0 dropped\n")))
      << err.str();

  // A new subscriber finds the stand's state and record kept by the broker.
  MqttListener late(broker.port(), "ovn/+/+");
  ASSERT_TRUE(eventually([&] { return late.heard().size() >= 2; }));
  for (const Heard& h : late.heard()) EXPECT_TRUE(h.retained) << h.topic;
  EXPECT_EQ(late.on("status").at(0).payload, "offline");
}

}  // namespace
}  // namespace ovn::test
