// The flash commit, the change of address letter and the factory reset, against the
// simulated KST and, for the families the simulator only probes, a scripted port.

#include "config/flash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "foundation/kw.h"
#include "foundation/settings.h"
#include "instrument/family.h"
#include "instrument/tm_info.h"
#include "support/fake_port.h"
#include "support/sim_line.h"

namespace ovn::test {
namespace {

// The factory defaults as a technician reads them off the reset sheet, in sending order.
const std::vector<std::string> kResetSheet = kw_split(
    "UCA655360000 UCB0 UIANone UIBNone UICNone TA3 UIDNone UN1lbf-in DS11 FL19 "
    "OL14002.0004 CE1A2001.0002 CF1A0 CE1B1 CF1B81224.57635704515 CE1C-1 "
    "CF1C-81224.57635704515 CE1D.5 CF1D40612.288 CE1E-.5 CF1E-40612.288 "
    "SVA100975.09988518943 SVB-100975.09988518943 TCA0 TCB0 TCC0 TCD0 TCE0 TCF0 AOA0 "
    "AOB0 AOC10 AOD10 AOE1 AOF0 AOG10 AOH10 AOI2 AOJ0 AOK10 AOL10 AOM54269.82428714606 "
    "AON32971.639214958974 AOO11673.454142771885 AOP54269.82428714606 "
    "AOQ32971.639214958974 AOR11673.454142771885 AOS54269.82428714606 "
    "AOT32971.639214958974 AOU11673.454142771885 IOA19 ILA1.1 ILB-1.1 IOB16 ILC1.1 "
    "ILD-1.1 IOC3 ILE1.1 ILF-1.1 IOD17 ILG1.1 ILH-1.1 IOE5 ILI1.1 ILJ-1.1 IOF4 ILK1.1 "
    "ILL-1.1 IOG1 ILM1.1 ILN-1.1 IOH2 ILO1.1 ILP-1.1 CCA0 CCB256 CCC14 PWA444 PWB89 "
    "PWC16096 PWD371 TMA32768 TMB0 IDA SD SD3k7Qw2Xzp UN2RPM DS21 FL29 OL215000 "
    "CE2A15000 CE2B1 CF2A0 CF2B20000 SCA1 SCB.0001 SCC10000 SCD5000 SCE0 UN3Hp DS31 FL39 "
    "OL3952.47384 CE3A476.23692 CE3B1 CF3A0 CF3B400000000 @@",
    " ");

const std::vector<std::string> kOutputTrims = {"AOM", "AON", "AOO", "AOP", "AOQ",
                                               "AOR", "AOS", "AOT", "AOU"};

bool is_output_trim(const std::string& request) {
  for (const auto& name : kOutputTrims)
    if (request.rfind(name, 0) == 0) return true;
  return false;
}

// A KST on the simulated line at 115200 baud, the link attached at its address.
class SimKstTest : public SimLineTest {
 protected:
  explicit SimKstTest(char address = 'A', int channels = 3) {
    SimConfig config;
    config.address = address;
    config.channels = channels;
    connect(config);
  }

  // Reads the KST into the current session, as the program does when it opens the line.
  void read_session() {
    tmi_get_data_ini(kTmKst, 0, false, "", -1, false);
    ASSERT_EQ(tm_type(kTmInfoCurrent), kTmKst);
    port.clear_transcript();
    seams.log.lines.clear();
  }
};

class FactoryResetTest : public SimKstTest {
 protected:
  FactoryResetTest() : SimKstTest('B') {}
};

TEST_F(FactoryResetTest, AFullResetSendsTheSheetInOrderThroughTheNewAddressAndCommitsIt) {
  for (const auto& [name, value] : sim.working) sim_set_param(sim, name, "7");
  op.expect_gib("Are you sure you want to reset flash???", "Yes, Reset All Flash");
  op.expect_gib("Done!", "OK");

  EXPECT_EQ(tm_info_reset_flash(kTmKst), FlashReset::Done);

  EXPECT_EQ(port.requests(), kResetSheet);
  // Everything up to "IDA" goes to the old letter, everything after to "A".
  std::vector<std::string> lines = sent();
  ASSERT_EQ(lines.size(), kResetSheet.size());
  size_t ida = std::find(kResetSheet.begin(), kResetSheet.end(), "IDA") - kResetSheet.begin();
  for (size_t i = 0; i < lines.size(); ++i)
    EXPECT_EQ(lines[i][0], i <= ida ? 'B' : 'A') << lines[i];
  EXPECT_EQ(rs232_id(), "A");
  // Every parameter is back at the instrument's factory value, but for the user texts,
  // which read "None", and the one output line the sheet leaves alone.
  SimInstrument factory;
  sim_init(factory, SimConfig{});
  for (const auto& [name, value] : factory.working) {
    if (name == "IOI") continue;
    bool user_text = name == "UIA" || name == "UIB" || name == "UIC" || name == "UID";
    EXPECT_EQ(sim_param(sim, name), user_text ? "None" : value) << name;
  }
  EXPECT_EQ(sim.flash, sim.working) << "the reset is committed to flash";
  EXPECT_EQ(op.shown[0].buttons,
            (std::vector<std::string>{"No", "Yes, Reset All Flash", "Yes, preserve Tech-Anaout"}));
  EXPECT_EQ(op.last().text, "Done!");
}

TEST_F(FactoryResetTest, PreservingTechAnaoutLeavesOnlyTheOutputTrimsOut) {
  for (const auto& name : kOutputTrims) sim_set_param(sim, name, "12345");
  op.expect_gib("reset flash", "Yes, preserve Tech-Anaout");
  op.expect_gib("Done!", "OK");

  EXPECT_EQ(tm_info_reset_flash(kTmKst), FlashReset::Done);

  std::vector<std::string> expected;
  for (const auto& line : kResetSheet)
    if (!is_output_trim(line)) expected.push_back(line);
  EXPECT_EQ(port.requests(), expected);
  for (const auto& name : kOutputTrims) EXPECT_EQ(sim_param(sim, name), "12345") << name;
}

TEST_F(FactoryResetTest, AnsweringNoOrAnotherFamilySendsNothing) {
  op.expect_gib("Are you sure you want to reset flash???", "No");
  EXPECT_EQ(tm_info_reset_flash(kTmKst), FlashReset::NotDone);
  EXPECT_EQ(tm_info_reset_flash(kTmKslw), FlashReset::NotDone);
  EXPECT_EQ(tm_info_reset_flash(kTmHzym), FlashReset::NotDone);
  EXPECT_TRUE(port.requests().empty());
  EXPECT_EQ(op.shown.size(), 1u) << "only the KST is asked";
}

class TwoChannelResetTest : public SimKstTest {
 protected:
  TwoChannelResetTest() : SimKstTest('A', 2) {}
};

TEST_F(TwoChannelResetTest, ATwoChannelKstGetsThreeChannelsAndTheProgramEndsAfterTheRestartNotice) {
  op.expect_gib("reset flash", "Yes, Reset All Flash");
  op.expect_gib("Restart program", "OK");

  read_session();
  EXPECT_PROCESS_EXIT(flash_command_reset(), 0);

  EXPECT_EQ(op.last().text,
            "Reset Flash Done!\r\nRestart program due to change in the number of channels");
  EXPECT_EQ(sim.config.channels, 3);
  EXPECT_EQ(sim_param(sim, "UN3"), "Hp");
  ASSERT_FALSE(port.requests().empty());
  EXPECT_EQ(port.requests().back(), "@@") << "committed before the program ends";
  EXPECT_EQ(sim.flash, sim.working);
}

// ---- The commit ----

class CommitTest : public SimKstTest {
 protected:
  CommitTest() { read_session(); }
};

TEST_F(CommitTest, TheCommitWaitsASecondForTheInstrumentThenConfirmsWithVrAndRetriesALateOk) {
  sim_set_param(sim, "FL1", "5");
  port.answer_late(950);
  double start = now_ms();

  EXPECT_TRUE(tm_info_flash_write(kTmInfoCurrent));

  EXPECT_EQ(port.requests(), (std::vector<std::string>{"@@", "VR"}));
  EXPECT_GE(now_ms() - start, 950.0);
  EXPECT_EQ(sim.flash.at("FL1"), "5");
  EXPECT_TRUE(logged("FLASH WRITE..."));
  EXPECT_TRUE(logged("FLASH WRITING DONE"));

  // An OK just after the second comes too late: the commit is sent again.
  port.clear_transcript();
  port.answer_late(1010);
  EXPECT_TRUE(tm_info_flash_write(kTmInfoCurrent));
  EXPECT_EQ(port.requests(), (std::vector<std::string>{"@@", "@@", "VR"}));
}

TEST_F(CommitTest, ACommitNeverAnsweredGoesToTheOperatorAndSkipGivesFalse) {
  port.drop_replies(9);  // three tries, each with the exchange's own three attempts
  for (int i = 0; i < 3; ++i) op.expect_gib("Communications Failure", "Skip");
  op.expect_gib("Expecting a \"OK\"", "Skip");

  EXPECT_FALSE(tm_info_flash_write(kTmInfoCurrent));

  std::vector<std::string> expected(9, "@@");
  expected.push_back("VR");
  EXPECT_EQ(port.requests(), expected);
  EXPECT_NE(op.last().text.find("Timeout :1000 ms"), std::string::npos) << op.last().text;
  EXPECT_TRUE(logged("FLASH WRITING DONE"));
}

TEST(CommitFamilies, OnlyTheFamiliesWithFlashAreSentTheCommit) {
  struct Case {
    int32_t family;
    bool commits;
  };
  const Case cases[] = {{kTmWqpm, true},  {kTmRdx, true},  {kTmKslw, true},  {kTmKst, true},
                        {kTmHzym, false}, {kTmKsvm, true}, {kTmS350, false}, {kTmS350Plus, true},
                        {kTmFga, false},  {kTmNone, false}};
  for (const Case& c : cases) {
    TestSeams seams;
    ScriptedOperator op;
    FakePort port(seams.clock);
    port.responder = [](const std::string& request) {
      return request == "@@\n" ? "OK\r" : "1.0\r";
    };
    rs232_attach(port, "");
    ASSERT_EQ(rs232_open(port, "115200"), "");

    EXPECT_TRUE(tm_info_flash_write_family(c.family));

    std::vector<std::string> expected;
    if (c.commits) expected = {"@@\n", "VR\n"};
    EXPECT_EQ(port.written, expected) << tm_info_family_name(c.family);
    EXPECT_EQ(tm_info_has_flash(c.family), c.commits);
  }
}

// ---- The address letter ----

class ChangeIdTest : public SimKstTest {
 protected:
  bool change() {
    return tm_info_change_id(kTmKst, [this] { ++rereads; });
  }
  int rereads = 0;
};

TEST_F(ChangeIdTest, ANewLetterIsSentTakenByTheLinkAndTheSessionIsReadAgainThroughIt) {
  read_session();
  op.expect_input_box("Enter New ID:", "C");

  EXPECT_TRUE(flash_command_change_id());

  EXPECT_EQ(op.last().text, "Current ID:A\r\nEnter New ID:");
  std::vector<std::string> lines = sent();
  ASSERT_GT(lines.size(), 2u) << "the session is read again";
  EXPECT_EQ(lines[0], "AID");
  EXPECT_EQ(lines[1], "AIDC");
  for (size_t i = 2; i < lines.size(); ++i) EXPECT_EQ(lines[i][0], 'C') << lines[i];
  EXPECT_EQ(sim.config.address, 'C');
  EXPECT_EQ(rs232_id(), "C");
  EXPECT_EQ(tm_type(kTmInfoCurrent), kTmKst);
  EXPECT_EQ(kw_setting_get("KST", "Communications", "ID", ""), "C") << "tried first next time";
}

TEST_F(ChangeIdTest, EveryCharacterFromAtSignToTildeIsAcceptedByTheInstrument) {
  for (std::string letter : {"@", "}", "~", "a"}) {
    sim.config.address = 'A';
    rs232_set_id("A");
    port.clear_transcript();
    op.expect_input_box("Enter New ID:", letter);
    EXPECT_TRUE(change()) << letter;
    EXPECT_EQ(port.requests(), (std::vector<std::string>{"ID", "ID" + letter}));
    EXPECT_EQ(sim.config.address, letter[0]);
  }
}

TEST_F(ChangeIdTest, AnswersThatAreNoSingleLetterAreRefusedBeforeAnythingIsSent) {
  struct Case {
    std::optional<std::string> typed;
    std::string notice;  // empty: ends without a word
  };
  const Case cases[] = {{std::nullopt, ""},
                        {"", ""},
                        {"AB", "ID must be a single character"},
                        {"B ", "ID must be a single character"},
                        {"?", "ID should be a letter (Currently \"?\")"},
                        {"1", "ID should be a letter (Currently \"1\")"},
                        {" ", "ID should be a letter (Currently \" \")"},
                        {"\x7f", "ID should be a letter (Currently \"\x7f\")"}};
  for (const Case& c : cases) {
    port.clear_transcript();
    op.shown.clear();
    op.expect_input_box("Enter New ID:", c.typed);
    if (!c.notice.empty()) op.expect_gib(c.notice, "OK");

    EXPECT_FALSE(change());

    EXPECT_EQ(port.requests(), std::vector<std::string>{"ID"}) << c.notice;
    ASSERT_EQ(op.shown.size(), c.notice.empty() ? 1u : 2u);
    if (!c.notice.empty()) {
      EXPECT_EQ(op.last().text, c.notice);
      EXPECT_EQ(op.last().buttons, std::vector<std::string>{"OK"});
      EXPECT_EQ(op.last().font, "Courier New");
      EXPECT_EQ(op.last().gib.size, 8);
    }
  }
  EXPECT_EQ(sim.config.address, 'A');
  EXPECT_EQ(rereads, 0);
  EXPECT_EQ(kw_setting_get("KST", "Communications", "ID", "none"), "none");
}

TEST_F(ChangeIdTest, AFamilyWithoutAddressLettersIsNotAsked) {
  EXPECT_FALSE(tm_info_change_id(kTmHzym, [this] { ++rereads; }));
  EXPECT_FALSE(tm_info_change_id(kTmWqpm, nullptr));
  EXPECT_TRUE(port.requests().empty());
  EXPECT_TRUE(op.shown.empty());
}

}  // namespace
}  // namespace ovn::test
