#include "config/config_load.h"

#include "config/catalogue.h"
#include "config_fixture.h"

namespace ovn::test {
namespace {

class ConfigLoadTest : public ConfigFixture {
 protected:
  explicit ConfigLoadTest(SimFamily family = SimFamily::Kst) : ConfigFixture(family) {
    // The commit the program installs: "@@" with its long wait, then "VR".
    tm_file_set_load_hooks({[](int32_t) {
                              bool ok = rs232_send_ok("@@", 1000);
                              get_reply("VR");
                              return ok;
                            },
                            [this] { ++rereads; }});
  }
  ~ConfigLoadTest() override { tm_file_set_load_hooks({}); }

  // Writes a file of the given lines (CR LF ends) and clears the transcript.
  std::string file(const std::vector<std::string>& lines, const std::string& name = "c.611") {
    std::string text;
    for (const auto& l : lines) text += l + "\r\n";
    port.clear_transcript();
    return dir.write(name, text);
  }

  int rereads = 0;
};

TEST_F(ConfigLoadTest, ASavedConfigurationLoadsBackIntoAChangedInstrument) {
  const std::string path = dir / "kst.611";
  ASSERT_TRUE(tm_info_config_save(path, kst()));
  const auto saved = sim.working;
  sim_set_param(sim, "UCA", "1");
  sim_set_param(sim, "UIC", "Someone Else");
  sim_set_param(sim, "CE1A", "5000");
  sim_set_param(sim, "IOC", "4");
  sim_set_param(sim, "AON", "30000");
  sim_set_param(sim, "CF3B", "7");
  port.clear_transcript();

  op.expect_gib("voltage output calibration values", "Proceed anyway");
  EXPECT_EQ(tm_info_config_load(path, true, kst()), 104);
  EXPECT_EQ(sim.working, saved);
  EXPECT_EQ(sim.flash, saved) << "the load ends with the commit";
  auto sent = requests();
  EXPECT_EQ(std::vector<std::string>(sent.end() - 2, sent.end()),
            (std::vector<std::string>{"@@", "VR"}));
  EXPECT_EQ(requests().front(), "UCA655360000");
  EXPECT_EQ(count_requests("UIAZQVD52002V(2-3 lbf-in)"), 1) << "comments are cut off";
}

TEST_F(ConfigLoadTest, CommentsAreCutAndBodyLinesWinOverTheHeader) {
  auto path = file({"# KSTM Configuration File", "# Model HEADER-M Serial Number HEADER-S  x",
                    "UIC1234  # Customer Name", "", "   ", "UIAFILE-MODEL"});
  EXPECT_EQ(tm_info_config_load(path, true, kst()), 2);
  EXPECT_EQ(requests(), (std::vector<std::string>{"UIC1234", "UIAFILE-MODEL", "@@", "VR"}));
  EXPECT_TRUE(op.shown.empty()) << "model and serial came from the header";
}

TEST_F(ConfigLoadTest, AFileWithoutModelAsksBeforeSendingAnything) {
  auto path = file({"UIBSN77", "UCA1"});
  op.expect_gib("Model or Serial number not found in file!", "Cancel Load");
  EXPECT_EQ(tm_info_config_load(path, true, kst()), 0);
  EXPECT_EQ(op.last().text,
            "Model or Serial number not found in file!\r\nProblem loading KST configuration!");
  EXPECT_EQ(op.last().buttons, (std::vector<std::string>{"Cancel Load", "Load Anyway"}));
  EXPECT_EQ(op.last().font, "Courier New");
  EXPECT_TRUE(requests().empty());

  op.expect_gib("Model or Serial number not found in file!", "Load Anyway");
  EXPECT_EQ(tm_info_config_load(path, true, kst()), 2);
  EXPECT_EQ(sim_param(sim, "UCA"), "1");

  // Under a procedure there is only "OK", and the load ends.
  port.clear_transcript();
  op.expect_gib("Problem loading KST configuration!", "OK");
  EXPECT_EQ(tm_info_config_load(path, false, kst()), 0);
  EXPECT_EQ(op.last().buttons, (std::vector<std::string>{"OK"}));
  EXPECT_TRUE(requests().empty());
}

TEST_F(ConfigLoadTest, AnalogCalibrationLinesAreSkippedOrSentAsTheOperatorSays) {
  const std::vector<std::string> body = {"UIAM",   "UIBS", "AOA1", "AOM100",
                                         "AOU200", "AOL3", "AOK4"};
  auto path = file(body);
  op.expect_gib("specific to each KST stator board", "Skip AO Cal information");
  EXPECT_EQ(tm_info_config_load(path, true, kst()), 5);
  EXPECT_EQ(op.shown.size(), 1u) << "asked once for all of them";
  EXPECT_EQ(op.last().text,
            "This configuration file contains \r\n   voltage output calibration values\r\n"
            "   specific to each KST stator board\r\nInform the EE Manager/a EETech if you "
            "proceed");
  EXPECT_EQ(requests(),
            (std::vector<std::string>{"UIAM", "UIBS", "AOA1", "AOL3", "AOK4", "@@", "VR"}));

  port.clear_transcript();
  op.expect_gib("specific to each KST stator board", "Proceed anyway");
  EXPECT_EQ(tm_info_config_load(path, true, kst()), 7);
  EXPECT_EQ(sim_param(sim, "AOU"), "200");

  // Under a procedure they are dropped without a word.
  port.clear_transcript();
  EXPECT_EQ(tm_info_config_load(path, false, kst()), 5);
  EXPECT_EQ(count_requests("AOM100") + count_requests("AOU200"), 0);
  EXPECT_EQ(count_requests("AOA1"), 1);
  EXPECT_EQ(op.shown.size(), 2u);
}

TEST_F(ConfigLoadTest, AFileOfMoreThan201LinesIsRefusedBeforeAnythingIsSent) {
  std::vector<std::string> lines = {"UIAM", "UIBS"};
  for (int i = 0; i < 199; ++i) lines.push_back("UCA" + std::to_string(i));
  lines.push_back("# comments do not count");
  auto exact = file(lines, "exact.611");
  EXPECT_EQ(tm_info_config_load(exact, false, kst()), 201);

  lines.push_back("UCB0");
  auto over = file(lines, "over.611");
  op.expect_gib("more than the 201", "OK");
  EXPECT_EQ(tm_info_config_load(over, true, kst()), 0);
  EXPECT_NE(op.last().text.find("202 parameter lines"), std::string::npos) << op.last().text;
  EXPECT_TRUE(requests().empty());
}

TEST_F(ConfigLoadTest, AMissingFileIsSaidAndSendsNothing) {
  op.expect_gib("Cannot read the configuration file", "OK");
  EXPECT_EQ(tm_info_config_load(dir / "none.611", true, kst()), 0);
  EXPECT_TRUE(requests().empty());
}

TEST_F(ConfigLoadTest, FamilyWordsOfTheMissingModelQuestion) {
  struct Case {
    int32_t family;
    std::string text;
  };
  const Case cases[] = {
      {kTmKslw, "Model or Serial number not set!\r\nProblem loading KSLW configuration!"},
      {kTmKsvm,
       "Model or Serial number not found in file!\r\nProblem loading KSVM configuration!"}};
  auto path = file({"UCA1"});
  for (const auto& c : cases) {
    ConfigInstrument k = kst();
    k.tm_type = c.family;
    op.expect_gib("", "Cancel Load");
    EXPECT_EQ(tm_info_config_load(path, true, k), 0);
    EXPECT_EQ(op.last().text, c.text);
  }
  EXPECT_TRUE(requests().empty());
}

TEST_F(ConfigLoadTest, KsvmSendsBoardGainsOnlyWithAKnownModel) {
  ConfigInstrument k = kst();
  k.tm_type = kTmKsvm;
  for (const char* m : {"CRMODEL", "CPSERIAL", "CD1", "CE2", "CF3", "CG4"}) sim.table[m] = "OK";
  auto known = file({"CRMODEL", "CPSERIAL", "CD1", "CE2", "CF3", "CG4"});
  EXPECT_EQ(tm_info_config_load(known, true, k), 6);
  auto unknown = file({"CD1", "CE2", "CF3", "CG4"}, "u.735");
  op.expect_gib("", "Load Anyway");
  EXPECT_EQ(tm_info_config_load(unknown, true, k), 1);
  EXPECT_EQ(requests(), (std::vector<std::string>{"CG4", "@@", "VR"}));
}

TEST_F(ConfigLoadTest, UploadingTextSendsTheHeldCopyWithoutComments) {
  tm_info_config_set_held("UCA5              # Pole0\r\n# BAD REPLY TO UIC:!\r\n\r\nTA2\r\n");
  port.clear_transcript();
  EXPECT_EQ(tm_info_config_upload_text(""), 2);
  EXPECT_EQ(requests(), (std::vector<std::string>{"UCA5", "TA2"}));
  EXPECT_EQ(sim_param(sim, "TA"), "2");
  EXPECT_EQ(rereads, 1);
  port.clear_transcript();
  EXPECT_EQ(tm_info_config_upload_text("UCB7 # x"), 1);
  EXPECT_EQ(requests(), (std::vector<std::string>{"UCB7"}));
}

class RdxLoadTest : public ConfigLoadTest {
 protected:
  RdxLoadTest() : ConfigLoadTest(SimFamily::Rdx) {
    sim.table = {{"MD", "RDX-M"}, {"SN", "R100"},    {"SH", "SH-9"}, {"SHR", "1"},
                 {"SX", "0"},     {"DC", "OK"},      {"@@", "OK"},   {"VR", "i1m142r1000"},
                 {"FL5", "OK"},   {"SH==SH-1", "OK"}};
  }
  ConfigInstrument rdx() {
    ConfigInstrument r = kst();
    r.tm_type = kTmRdx;
    return r;
  }
  const std::vector<std::string> reads = {"MD", "SN", "SH", "SHR", "SX"};
};

TEST_F(RdxLoadTest, AnotherRotorsShaftIsAskedAboutCancelSendsNothingLoadingAnywayRecomputes) {
  auto path = file({"MD==RDX-M", "SN==R100", "SH==SH-1", "FL5"}, "r.673");
  op.expect_gib("does not match", "Cancel");
  EXPECT_EQ(tm_info_config_load(path, true, rdx()), 0);
  EXPECT_EQ(op.last().text,
            "The shaft number of the rotor (SH-9) does not match\r\nthe shaft number in the file "
            "(SH-1).\r\nWhat do you want to do?");
  EXPECT_EQ(requests(), reads);

  // Loading anyway keeps the rotor's shaft: the file's "SH==" line is not sent.
  port.clear_transcript();
  op.expect_gib("does not match", "Load Anyway");
  EXPECT_EQ(tm_info_config_load(path, true, rdx()), 1);
  std::vector<std::string> expected = reads;
  for (const char* m : {"FL5", "DC", "@@", "VR"}) expected.push_back(m);
  EXPECT_EQ(requests(), expected);
}

TEST_F(RdxLoadTest, AModelMismatchOffersToSetModelAndSerialOnlyWithoutAValidModel) {
  auto path = file({"MD==OTHER", "SN==R7", "FL5"}, "r.673");
  op.expect_gib("does not match the transducers model (RDX-M)", "Cancel Load");
  EXPECT_EQ(tm_info_config_load(path, true, rdx()), 0);
  EXPECT_EQ(op.last().buttons, (std::vector<std::string>{"Cancel Load", "Load Anyway"}));
  EXPECT_EQ(requests(), reads);

  sim.table["MD"] = "NoModel";
  port.clear_transcript();
  op.expect_gib("or Serial Number (R7) in configuration file", "Load and Set SN & MD");
  op.expect_gib("  the model to \"OTHER\"", "No");
  EXPECT_EQ(tm_info_config_load(path, true, rdx()), 1);
  EXPECT_EQ(count_requests("MD==OTHER"), 0) << "the file never writes the identity in passing";

  sim.table["MD==OTHER"] = "OK";
  sim.table["SN==R7"] = "OK";
  port.clear_transcript();
  op.expect_gib("", "Load and Set SN & MD");
  op.expect_gib("  and the Serial number to \"R7\"?", "Yes");
  EXPECT_EQ(tm_info_config_load(path, true, rdx()), 1);
  std::vector<std::string> expected = reads;
  for (const char* m : {"MD==OTHER", "SN==R7", "FL5", "DC", "@@", "VR"}) expected.push_back(m);
  EXPECT_EQ(requests(), expected);
}

}  // namespace
}  // namespace ovn::test

namespace ovn::test {
namespace {

class WqpmLoadTest : public ConfigLoadTest {
 protected:
  WqpmLoadTest() : ConfigLoadTest(SimFamily::Wqpm) {
    sim.table = {{"VR", "2.040"}, {"MD", "WQ-1"}, {"SN", "5"},
                 {"@@", "OK"},    {"FL5", "OK"},  {"TCA3F800000", "OK"}};
  }
  ConfigInstrument wqpm() {
    ConfigInstrument w = kst();
    w.tm_type = kTmWqpm;
    return w;
  }
};

TEST_F(WqpmLoadTest, DataOfAnOlderFirmwareIsHeldBackWithANote) {
  auto path = file({"# Firmware:2.020", "MD==WQ-1", "SN==5", "FHA1", "TCF3F800000", "TCA3F800000",
                    "TZA12", "TCB1", "HSA3", "FL5"},
                   "w.917");
  op.expect_gib("Span Temperature Compensation data in it (FHA,TCF)", "OK");
  op.expect_gib(" A/D data in it (TZA,TCB)", "OK");
  EXPECT_EQ(tm_info_config_load(path, true, wqpm()), 2);
  EXPECT_EQ(op.shown[0].text,
            "This configuration file (from firmware version 2.020) has\r\nSpan Temperature "
            "Compensation data in it (FHA,TCF)\r\nthat is not loaded, being\r\n   incompatible "
            "with current firmware version (2.040).");
  EXPECT_EQ(requests(),
            (std::vector<std::string>{"VR", "MD", "SN", "TCA3F800000", "FL5", "@@", "VR"}));
  EXPECT_EQ(rereads, 1) << "the session is read again after the commit";
}

TEST_F(WqpmLoadTest, AnotherTransducersFileIsRefusedUnlessTheOperatorIsSure) {
  auto path = file({"# Firmware Version:2.040", "MD==WQ-2", "SN==9", "FL5"}, "w.917");
  op.expect_gib("does not match tranducers model (WQ-1) or serial number (5)!", "Cancel Load");
  op.expect_gib("NOT loading configuration!", "OK");
  EXPECT_EQ(tm_info_config_load(path, true, wqpm()), 0);
  EXPECT_EQ(op.shown[0].buttons,
            (std::vector<std::string>{"Cancel Load", "Load", "Load and Set SN && MD"}));

  op.expect_gib("", "Load and Set SN && MD");
  op.expect_gib("   to set the model to \"WQ-2\"", "No");
  op.expect_gib("NOT loading configuration!", "OK");
  EXPECT_EQ(tm_info_config_load(path, true, wqpm()), 0);
  EXPECT_EQ(requests(), (std::vector<std::string>{"VR", "MD", "SN", "VR", "MD", "SN"}));

  port.clear_transcript();
  op.expect_gib("", "Load");
  EXPECT_EQ(tm_info_config_load(path, true, wqpm()), 1);
  EXPECT_EQ(requests(), (std::vector<std::string>{"VR", "MD", "SN", "FL5", "@@", "VR"}));
}

}  // namespace
}  // namespace ovn::test
