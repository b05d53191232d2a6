// The configuration audit against the simulated instrument: the exact sentences of the
// rule lists, that it only reads, the report page and the comparison with a saved file.

#include <gtest/gtest.h>

#include <regex>

#include "adjust/noise_fixture.h"
#include "audit/audit_report.h"
#include "audit/checkit.h"
#include "audit/family_tables.h"
#include "audit/tm_check_config.h"
#include "config/config_commands.h"
#include "config/tm_file.h"
#include "foundation/hexstr.h"
#include "support/temp_dir.h"

namespace ovn::test {
namespace {

class CheckConfigTest : public NoiseTest {
 protected:
  // A KST adjusted as it leaves the bench: every rule of its list passes.
  void open_adjusted_kst() {
    open_kst(0.5);
    sim.physics.zero_counts = 200;
    sim.physics.torque.a = 0;
    // clang-format off
    const std::map<std::string, std::string> params = {
        {"UIA", "ZQVD52002V(2-3 lbf-in)"}, {"CE1A", "2000"}, {"UIB", "1234"}, {"CF1A", "200"},
        {"CF1C", "-81200"}, {"SVA", "100000"}, {"SVB", "-100100"}, {"TCA", "75"}, {"TCC", "75"},
        {"TCE", "75"}, {"TCB", "0.01"}, {"TCD", "65000000"},
        {"CE3A", double_text(2000 * 15000 / 63025.35746439056)}, {"AOM", "54300"}, {"AON", "33000"},
        {"AOO", "11700"}, {"AOP", "54300"}, {"AOQ", "33000"}, {"AOR", "11700"}, {"AOS", "54300"},
        {"AOT", "33000"}, {"AOU", "11700"}};
    // clang-format on
    for (const auto& [name, value] : params) sim_set_param(sim, name, value);
    sim_set_param(sim, "UIA", "ZQVD52002V(2-3 lbf-in)");
    port.clear_transcript();
  }

  // Every request of the audit is a read: none carries a value behind a parameter's name,
  // none commits, and the instrument's memory is as it was.
  void expect_only_reads(const std::map<std::string, std::string>& working_before,
                         const std::map<std::string, std::string>& flash_before) {
    EXPECT_EQ(sim.working, working_before);
    EXPECT_EQ(sim.flash, flash_before);
    for (std::string request : sent()) {
      request = request.substr(1);  // the address letter
      EXPECT_NE(request, "@@");
      if (sim.working.count(request)) continue;  // a parameter asked for
      for (const auto& [name, value] : sim.working)
        EXPECT_NE(request.rfind(name, 0), 0u) << "a set message went out: " << request;
    }
  }
};

TEST_F(CheckConfigTest, TheFactoryKstFailsWithTheSentencesOfItsRulesAndOnlyReads) {
  open_kst(0.5);
  sim.physics.torque.a = 0;
  const auto working = sim.working;
  const auto flash = sim.flash;
  tm_check_config_audit();
  expect_only_reads(working, flash);
  EXPECT_EQ(lines_of(ck_failures()),
            (std::vector<std::string>{
                "Actual Full Scale (2001.0002) does NOT equal Model Full Scale (2000) ",
                "Serial number (SIM0001) not an integer",
                "Serial Number (SIM0001) is not an integer",
                "Torque Channel Adjustment / Setup:",
                "   Full Scale (+2001.0002) equal default",
                "   Zero Offset (+0.0) equal default",
                "   -Load Adj equals +Load Adj",
                "   -Shunt Span default (-100975.1)",
                "Temperature Related:",
                "   Temperature during Zero Adjustment (+0.0) equal default",
                "   Temperature during Load Adjustment (+0.0) equal default",
                "   Temperature during Shunt Adjustment (+0.0) equal default",
                "   Zero Temperature Compensation (+0.0) equal default",
                "   Span Temperature Compensation (+0.0) equal default",
                "Voltage Outputs:",
                "   VoltOut1 DAC value for +10 V default (54269.824)",
                "   VoltOut1 DAC value for   0 V default (32971.639)",
                "   VoltOut1 DAC value for -10 V default (11673.454)",
                "   VoltOut2 DAC value for +10 V default (54269.824)",
                "   VoltOut2 DAC value for   0 V default (32971.639)",
                "   VoltOut2 DAC value for -10 V default (11673.454)",
                "   VoltOut3 DAC value for +10 V default (54269.824)",
                "   VoltOut3 DAC value for   0 V default (32971.639)",
                "   VoltOut3 DAC value for -10 V default (11673.454)"}));
  const std::string passes = ck_passes();
  for (const char* line :
       {"Firmware version (KSTs150r40) is okay", "RS485-ID (A) is \"A\"",
        "Full Scale counts (655360000) equals (655360000) ", "UCB / Misc Flags is zero",
        "   Teeth (60) equals 60", "   Digital I/O default",
        "   Initial Power Frequency (+135.13513 kHz) equal default +135.13513 kHz"})
    EXPECT_NE(passes.find(line), std::string::npos) << line << "\n" << passes;
}

TEST_F(CheckConfigTest, AnAdjustedKstPassesAndTheChosenFaultsFailLineByLine) {
  open_adjusted_kst();
  tm_check_config_audit();
  EXPECT_FALSE(ck_has_failures()) << ck_failures();

  sim_set_param(sim, "UCB", "1");
  sim_set_param(sim, "IOC", "4");
  sim_set_param(sim, "ILA", "1");
  sim_set_param(sim, "PWB", "80");
  sim_set_param(sim, "TCF", "600000000");
  sim.config.channels = 1;
  tm_check_config_audit();
  EXPECT_EQ(lines_of(ck_failures()),
            (std::vector<std::string>{
                "UCB / Misc Flags (1) is NOT zero",
                "UCB / Misc Flags (1) RS422 Termination Resistor Active", "Temperature Related:",
                std::string("   Shunt Span Temperature Compensation ( 600 ppm/F) is not default ") +
                    "and greater than 500 ppm/F",
                "Voltage Outputs:",  // the defaults of a torque-only instrument
                "   VoltOut2 Setup (1 0 10 10) NOT equal default (0 0 -5 -5)",
                "   VoltOut3 Setup (2 0 10 10) NOT equal default (0 0 5 5)",
                "Digital I/O:", "   IOC/PinB NOT Tare", "   ILA NOT 1.1", "Power Delivery:",
                "   Initial Power Duty Cycle (+18.018018%) NOT in [+19.8,+20.3]"}));
  const std::string passes = ck_passes();
  EXPECT_EQ(passes.find("Speed Channel Setup"), std::string::npos) << "one channel only";
  EXPECT_EQ(passes.find("Power Channel Setup"), std::string::npos);
  EXPECT_NE(passes.find("   Gaussian-looking noise (ratio="), std::string::npos) << passes;
}

TEST_F(CheckConfigTest, ALowRangeModelTakesTheSecondCountsRule) {
  open_adjusted_kst();
  sim_set_param(sim, "UIA", "ZQVD42002V(2-3 lbf-in)");
  tm_check_config_audit();
  const std::string failures = ck_failures(), passes = ck_passes();
  EXPECT_NE(failures.find("Full Scale counts (655360000) does not equal (327680000) \r\n"),
            std::string::npos)
      << failures;
  EXPECT_NE(passes.find("Full Scale counts (655360000) equals 655360000 or 327680000\r\n"),
            std::string::npos)
      << passes;
}

TEST(CheckConfigRules, SpanPairsAndFirmwareNotes) {
  struct Case {
    double va, ra, vb, rb;
    const char* failure;  // the one failure sentence, "" when the pair passes
  };
  const Case cases[] = {
      {0, 1, 5, -1, "+Shunt value equals 0"},
      {5, 0, 5, -1, "+Shunt reading equals 0"},
      {5, 1, 0, -1, "-Shunt value equals 0"},
      {5, 1, -5, 0, "-Shunt reading equals 0"},
      {100, 1, -100.2, -1, ""},
      {100, 1, -100, -1, "-Shunt equals +Shunt(0.000 permille < 1 permille) -Shunt not adjusted?"},
  };
  for (const Case& c : cases) {
    ck_clear();
    const bool ok = ck_span_signs("Shunt", c.va, c.ra, c.vb, c.rb, 0.004, 0.001);
    ck_finish();
    EXPECT_EQ(ok, *c.failure == '\0') << c.failure;
    EXPECT_EQ(ck_failures(), *c.failure ? std::string(c.failure) + "\r\n" : "");
    if (std::string(c.failure).find("equals 0") != std::string::npos) {
      EXPECT_FALSE(ck_has_passes()) << "a zero gives no asymmetry line";
    }
  }
  EXPECT_EQ(
      tm_check_config_need_version("00147", "00148", "Main board"),
      "Main board firmware (currently 147) needs to be upgraded to at least version 148.\r\n");
  EXPECT_EQ(tm_check_config_need_version("00148", "00148", "Main board"), "");
  EXPECT_EQ(tm_check_config_need_version("1.5.3", "1.5.4", "Torquemeter"),
            "Torquemeter firmware (currently 1.5.3) needs to be upgraded to at least version "
            "1.5.4.\r\n");
}

TEST_F(CheckConfigTest, TheReportIsOnePageWithFailuresFirstAndMarkedInWords) {
  open_kst(0.5);
  tm_check_config_audit();
  TempDir dir;
  const std::string path = (dir / "audit.html");
  ASSERT_TRUE(audit_report_write(path));
  const std::string page = *TempDir::read(path);
  EXPECT_EQ(page.rfind("<!DOCTYPE html>\n<html xmlns=\"http://www.w3.org/1999/xhtml\"", 0), 0u);
  // Well formed: every tag closed in order (the page reads as XML).
  std::vector<std::string> open;
  const std::regex tag("<(/?)([a-zA-Z0-9]+)[^>]*?(/?)>");
  for (auto it = std::sregex_iterator(page.begin(), page.end(), tag); it != std::sregex_iterator();
       ++it) {
    const std::smatch& m = *it;
    if (m[3] == "/") continue;
    if (m[1] == "/") {
      ASSERT_FALSE(open.empty()) << m[0];
      EXPECT_EQ(open.back(), m[2].str());
      open.pop_back();
    } else {
      open.push_back(m[2]);
    }
  }
  EXPECT_TRUE(open.empty());
  EXPECT_EQ(page.find("src="), std::string::npos) << "nothing outside the page";
  EXPECT_LT(page.find("<h2>Failures</h2>"), page.find("<h2>Passes</h2>"));
  EXPECT_NE(
      page.find("<p class=\"fail\" style=\"margin-left:2em\"><span class=\"mark\">FAIL</span> "
                "-Load Adj equals +Load Adj</p>"),
      std::string::npos);
  EXPECT_NE(page.find("<p class=\"section\" style=\"margin-left:0em\">Voltage Outputs:</p>"),
            std::string::npos);
  EXPECT_TRUE(std::regex_search(
      page,
      std::regex(
          "<th>Date and time</th><td>\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d[+-]\\d\\d:\\d\\d")));
  EXPECT_NE(page.find("<th>Verdict</th><td>FAILED: 21 failures, "), std::string::npos);
}

TEST_F(CheckConfigTest, TheBaselineNamesEachValueChangedSinceTheSavedFile) {
  open_kst(0.5);
  TempDir dir;
  const std::string path = (dir / "before.611");
  ASSERT_TRUE(tm_info_config_save(path, config_instrument_of(kTmInfoCurrent)));
  sim_set_param(sim, "SVA", "100000");
  sim_set_param(sim, "UN1", "Nm");
  const auto working = sim.working;
  ck_clear();
  audit_baseline(path);
  ck_finish();
  EXPECT_EQ(ck_failures(),
            "Changed since before.611:\r\n"
            "   UN1 was lbf-in, is now Nm\r\n"
            "   SVA was 100975.09988518943, is now 100000\r\n");
  EXPECT_EQ(ck_passes(), "Changed since before.611:\r\n   104 values compared with before.611\r\n");
  EXPECT_EQ(sim.working, working);

  ck_clear();
  audit_baseline((dir / "missing.611"));
  ck_finish();
  EXPECT_EQ(ck_failures(), "Changed since missing.611:\r\n   The configuration file " +
                               (dir / "missing.611") + " could not be read\r\n");
}

}  // namespace
}  // namespace ovn::test
