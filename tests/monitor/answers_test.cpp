// The operator's answers of a scripted run: how a file's lines are read, how an answer
// picks a button, and what each kind of box does with them.

#include "monitor/answers.h"

#include <gtest/gtest.h>

#include <sstream>

#include "instrument/password.h"
#include "monitor/answers_operator.h"
#include "support/seams.h"
#include "support/temp_dir.h"

namespace ovn::test {
namespace {

TEST(Answers, EachLineIsAButtonATypedTextAFieldOrASimHoldAndNotesAreSkipped) {
  AnswerScript s = answers_parse(
      "# a comment\r\n"
      "  Apply Changes  \r\n"
      "\n"
      "=  C:\\cfg\\a.611 \n"
      "RS485 Termination Off = on\r"
      "sim load=1500.5\n"
      "sim temp = -4\n"
      "   # indented comment\n"
      "Name=\n");
  ASSERT_TRUE(s.error.empty()) << s.error;
  ASSERT_EQ(s.answers.size(), 6u);
  struct Row {
    AnswerKind kind;
    int line;
    const char* name;
    const char* value;
  };
  const Row rows[] = {
      {AnswerKind::Button, 2, "Apply Changes", ""},
      {AnswerKind::Entry, 4, "", "  C:\\cfg\\a.611 "},  // typed text stays as written
      {AnswerKind::Field, 5, "RS485 Termination Off", " on"},
      {AnswerKind::Sim, 6, "", ""},
      {AnswerKind::Sim, 7, "", ""},
      {AnswerKind::Field, 9, "Name", ""},
  };
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(s.answers[i].text);
    EXPECT_EQ(s.answers[i].kind, rows[i].kind);
    EXPECT_EQ(s.answers[i].line, rows[i].line);
    EXPECT_EQ(s.answers[i].name, rows[i].name);
    EXPECT_EQ(s.answers[i].value, rows[i].value);
  }
  EXPECT_EQ(s.answers[3].quantity, SimQuantity::Load);
  EXPECT_EQ(s.answers[3].number, 1500.5);
  EXPECT_EQ(s.answers[4].quantity, SimQuantity::Temp);
  EXPECT_EQ(s.answers[4].number, -4);
  EXPECT_TRUE(s.has_sim());
  EXPECT_FALSE(answers_parse("OK\n=x\n").has_sim());
}

TEST(Answers, ASimLineThatCannotBeUsedNamesItsLine) {
  for (const char* bad : {"sim torque=5", "sim load=", "sim load=5 lbf-in", "sim speed"}) {
    AnswerScript s = answers_parse(std::string("OK\n") + bad + "\n");
    EXPECT_EQ(s.error, std::string("line 2: \"") + bad +
                           "\": sim takes load=V, speed=V or temp=V, V a number");
  }
}

TEST(Answers, AnAnswerPicksTheButtonItEqualsOrTheOneItBegins) {
  struct Row {
    std::vector<std::string> captions;
    const char* answer;
    int picked;
  };
  const Row rows[] = {
      {{"<< Back", "Continue Anyway", "Cancel"}, "Continue", 1},           // a prefix of one
      {{"Continue Anyway", "Continue", "Cancel"}, "continue", 1},          // equal beats prefix
      {{"Yes, Reset All Flash", "Yes, preserve Tech-Anaout"}, "Yes", -1},  // fits two
      {{"No", "Yes, Reset All Flash", "Yes, preserve Tech-Anaout"}, "yes, p", 2},
      {{"?gRetry?:Try again", "?r?!Cancel"}, "cancel", 1},  // codes and tip removed
      {{"?gRetry?:Try again", "?r?!Cancel"}, "Retry?:Try again", -1},
      {{"O&k", "&Cancel"}, "OK", 0},  // "&" marks removed
      {{"ABORT", "OK, I really want to do this."}, "ok, i", 1},
      {{"OK"}, "  ok  ", 0},
      {{"OK"}, "", -1},
      {{"OK"}, "OK!", -1},
  };
  for (const Row& row : rows)
    EXPECT_EQ(answer_pick(row.captions, row.answer), row.picked) << row.answer;
}

TEST(Answers, AMenuCaptionNamesItsEntryWithOrWithoutDotsAndByItsFirstLine) {
  struct Row {
    const char* caption;
    const char* asked;
    bool names;
  };
  const Row rows[] = {
      {"Zero Adjustment...", "Zero Adjustment", true},
      {"Zero Adjustment...", "zero adjustment...", true},
      {"Termination Resistor", "Termination Resistor...", true},
      {"Tare\r\n0.0 lbf-in", "tare", true},
      {"+ Cal", "+ Cal", true},
      {"+ Cal", "- Cal", false},
      {"Zero Adjustment...", "Zero", false},  // a whole caption, not a prefix
      {"Exit", "", false},
  };
  for (const Row& row : rows)
    EXPECT_EQ(answer_caption_names(row.caption, row.asked), row.names) << row.asked;
}

// The operator over the services, each box written to `log`.
class AnswersOperatorTest : public SeamsTest {
 protected:
  ~AnswersOperatorTest() override { set_operator(nullptr); }
  // A new operator on `text`, with an empty log.
  AnswersOperator& make(const std::string& text) {
    log.str("");
    AnswerScript s = answers_parse(text);
    EXPECT_TRUE(s.error.empty()) << s.error;
    op.emplace(s.answers, FailurePolicy::Skip, log,
               [this](SimQuantity q, double v) { held.emplace_back(q, v); });
    set_operator(&*op);
    return *op;
  }
  std::ostringstream log;
  std::optional<AnswersOperator> op;
  std::vector<std::pair<SimQuantity, double>> held;
};

TEST_F(AnswersOperatorTest, BoxesTakeTheirAnswersInOrderAndTheLogReadsAsTheConversation) {
  AnswersOperator& o = make(
      "no\n"
      "RS485 Termination Off=ON\n"
      "Lop 3LS Bits From Rotor Data=on\n"
      "apply\n"
      "Name=Bench 4\n"
      "ok\n"
      "=B\n"
      "OK\n");
  EXPECT_EQ(gib("Are you sure you want to reset flash???",
                "No|Yes, Reset All Flash|Yes, preserve Tech-Anaout", kGibWarning, "Reset"),
            0);
  int32_t value = 0x10;  // "Don't Lop" shown checked
  EXPECT_EQ(
      gibcb(value, "RS485 Termination ^Off^On^|^Don't ^^Lop 3LS Bits From Rotor Data|^Spare ^^On",
            "Apply Changes|Cancel", "Info Box"),
      0);
  EXPECT_EQ(value, 0x01 | 0x02 | 0x10) << "bits beyond the settings keep their state";
  EXPECT_TRUE(user_input("|", "Name|Shaft|", "Bench 1|S1|", "Identity", ""));
  EXPECT_EQ(user_input_data(0), "Bench 4");
  EXPECT_EQ(user_input_data(1), "S1");
  EXPECT_EQ(input_box("Current ID:A\r\nEnter New ID:", "ID"), "B");
  EXPECT_FALSE(o.failed());
  EXPECT_EQ(o.unused(), 0u);
  EXPECT_EQ(log.str(),
            "[Reset]\n"
            "Are you sure you want to reset flash???\n"
            "--> No\n"
            "? Reset: Are you sure you want to reset flash??? -> No\n"
            "[Info Box]\n"
            "RS485 Termination Off\n"
            "Don't Lop 3LS Bits From Rotor Data\n"
            "Spare On\n"
            "--> RS485 Termination Off=ON, Lop 3LS Bits From Rotor Data=on, Apply Changes\n"
            "? Info Box: RS485 Termination Off -> RS485 Termination Off=ON, Lop 3LS Bits From "
            "Rotor Data=on, Apply Changes\n"
            "[Identity]\n"
            "Name = Bench 4\n"
            "Shaft = S1\n"
            "--> Name=Bench 4, Ok\n"
            "? Identity: Name = Bench 4 -> Name=Bench 4, Ok\n"
            "[ID]\n"
            "Current ID:A\n"
            "Enter New ID:\n"
            "--> =B, OK\n"
            "? ID: Current ID:A -> =B, OK\n");
}

TEST_F(AnswersOperatorTest, AStepTakesItsNumberAndARefusedPressAsksAgain) {
  make("=abc\ncontinue\nok\n=12.5\nContinue\nContinue\n");
  set_display_data_reader([] { return 1.0; });
  // "Continue" equals the entry's button and only begins "Continue Anyway".
  EXPECT_EQ(display_data("Apply the load", "lbf-in", 0x1F, "Positive", "0", "Load", "0.0"), 3);
  EXPECT_EQ(display_data_input(), "12.5");
  EXPECT_EQ(display_data("Remove the load", "lbf-in", 0x11, "Positive", "", "", ""), 4)
      << "\"Continue\" fits no button of \"<< Back|Cancel\"";
  std::string l = log.str();
  EXPECT_NE(l.find("? Positive: Apply the load -> =abc, Continue\n"
                   "[]\nLoad must be numeric\n--> OK\n"
                   "? Load must be numeric -> OK\n"
                   "[Positive]\nApply the load\n--> =12.5, Continue\n"),
            std::string::npos)
      << l;
  EXPECT_NE(l.find("ovn-kst: answer 'Continue' fits none of: << Back|Cancel\n"
                   "[Positive]\nRemove the load\n--> Cancel\n"),
            std::string::npos)
      << l;
  EXPECT_TRUE(op->failed());
  EXPECT_EQ(op->unused(), 0u);
}

TEST_F(AnswersOperatorTest, AfterTheAnswersFailEveryBoxGetsTheCautiousAnswer) {
  struct Row {
    const char* script;
    const char* said;
  };
  const Row rows[] = {
      {"", "ovn-kst: ran out of answers\n"},
      {"Maybe\nYes\n", "ovn-kst: answer 'Maybe' fits none of: Yes|No\n"},
      {"=x\nYes\n", "ovn-kst: answer '=x' fits none of: Yes|No\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.script);
    AnswersOperator& o = make(row.script);
    EXPECT_EQ(msg_box("Overwrite it?", MsgButtons::YesNo, "Save"), MsgAnswer::No);
    EXPECT_TRUE(o.failed());
    // Later boxes are not answered from the script, even by lines that would fit.
    EXPECT_EQ(gib("Sure?", "Yes|Cancel", kGibWarning, "Save"), 1);
    int32_t value = 0;
    EXPECT_EQ(gibcb(value, "A ^Off^On^", "Apply|Cancel", "Info Box"), 1);
    EXPECT_EQ(value, 0);
    EXPECT_FALSE(file_dialog(FileDialogRequest{true, "Save", {}, "/tmp", "a.611"}).chosen);
    std::string l = log.str();
    EXPECT_EQ(l.rfind(row.said, 0), 0u) << l;
    EXPECT_NE(l.find("? Save: Overwrite it? -> No\n[Save]\nSure?\n--> Cancel\n"), std::string::npos)
        << l;
  }
}

TEST_F(AnswersOperatorTest, SettingsAndFieldsMustBeNamedAndTheFailureChangesNothing) {
  struct Row {
    const char* script;
    const char* said;
  };
  const Row rows[] = {
      // A prefix of both captions of the one setting fits two names.
      {"RS485 Termination=on\nApply\n",
       "ovn-kst: answer 'RS485 Termination=on' fits none of: RS485 Termination Off|RS485 "
       "Termination On\n"},
      {"RS485 Termination On=yes\nApply\n",
       "ovn-kst: answer 'RS485 Termination On=yes' fits none of: on|off\n"},
      {"=on\nApply\n",
       "ovn-kst: answer '=on' fits none of: RS485 Termination Off|RS485 Termination On\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.script);
    make(row.script);
    int32_t value = 0;
    EXPECT_EQ(gibcb(value, "RS485 Termination ^Off^On^", "Apply Changes|Cancel", "Info Box"), 1)
        << "Cancel";
    EXPECT_EQ(log.str().rfind(row.said, 0), 0u) << log.str();
    EXPECT_EQ(value, 0);
  }
  make("Shaft=S9\nName=x\nOk\n");
  EXPECT_FALSE(user_input_text("|", "Name|Bench 1|the bench|Shaft|)S1|read-only", "Identity"))
      << "a read-only field takes no text";
  EXPECT_EQ(log.str().rfind("ovn-kst: answer 'Shaft=S9' fits none of: Name\n", 0), 0u) << log.str();
}

TEST_F(AnswersOperatorTest, FileDialogsTakeAPathAndAnOpenDialogWantsAFileThatIsThere) {
  TempDir dir;
  std::string there = dir.write("there.611", "x");
  make("=" + there + "\nopen\n=" + (dir / "gone.611") + "\nOpen\nsave\n");
  FileDialogRequest open{false, "Load Configuration", {}, dir.path(), ""};
  FileDialogResult r = file_dialog(open);
  EXPECT_TRUE(r.chosen);
  EXPECT_EQ(r.path, there);
  r = file_dialog(open);
  EXPECT_FALSE(r.chosen);
  EXPECT_EQ(r.error, "File not found:\r\n" + (dir / "gone.611"));
  r = file_dialog(FileDialogRequest{true, "Save Configuration", {}, dir.path(), "a.611"});
  EXPECT_TRUE(r.chosen);
  EXPECT_EQ(r.path, dir / "a.611") << "Save alone takes the proposed name";
}

TEST_F(AnswersOperatorTest, PasswordsAreTypedButNeverWrittenAndAGivenPhraseTakesNoAnswer) {
  AnswersOperator& o = make(
      "=kst\nOk\n"
      "Current password=kst\nNew password=abcd\nRetype New password=abce\nOK\n"
      "OK\nyes\n"
      "Current password=kst\nNew password=abcd\nRetype New password=abcd\nok\n");
  o.give_password("torque");
  EXPECT_EQ(password_ask(kPasswordEnter, ""), "torque");
  EXPECT_EQ(password_ask(kPasswordEnter, "Enter Password to enable password protection"), "kst");
  // The new passwords differ: the form asks whether to choose again, Yes keeps it open.
  EXPECT_EQ(password_ask(kPasswordChange, ""), "kst");
  EXPECT_EQ(password_new(), "abcd");
  EXPECT_FALSE(o.failed());
  std::string l = log.str();
  EXPECT_EQ(l.find("=kst"), std::string::npos) << l;
  EXPECT_EQ(l.find("abcd"), std::string::npos) << l;
  EXPECT_NE(l.find("? Enter Password -> =***, Ok\n"
                   "[Enter Password]\nEnter Password to enable password protection\n"
                   "--> =***, Ok\n"),
            std::string::npos)
      << l;
  EXPECT_NE(l.find("--> Current password=***, New password=***, Retype New password=***, Ok\n"),
            std::string::npos)
      << l;
}

TEST_F(AnswersOperatorTest, SimLinesHoldWhenReachedAndFailureQuestionsTakeNoAnswer) {
  AnswersOperator& o = make("sim load=0\nsim speed=1200\nOK\nsim temp=80\n");
  o.reach_sim_lines();
  ASSERT_EQ(held.size(), 2u);
  EXPECT_EQ(held[1], std::pair(SimQuantity::Speed, 1200.0));
  // The exchange's failure question is the policy's (Skip), timed boxes run out.
  EXPECT_EQ(
      gib("Communications Failure on COM1", "Abort|Retry|Skip", kGibStop, "Communications Failure"),
      2);
  EXPECT_EQ(gib("Wait", "OK", kGibInfo, "Busy", "Courier New", 1.0), 0);
  EXPECT_EQ(held.size(), 2u) << "the temperature line is not reached yet";
  EXPECT_EQ(gib("Done!", "OK", kGibInfo, ""), 0);
  EXPECT_EQ(o.skips(), 1);
  EXPECT_EQ(o.unused(), 1u);
  o.reach_sim_lines();
  EXPECT_EQ(held.back(), std::pair(SimQuantity::Temp, 80.0));
  EXPECT_EQ(o.unused(), 0u);
  EXPECT_NE(log.str().find("ovn-kst: sim load=0\novn-kst: sim speed=1200\n"), std::string::npos);
}

}  // namespace
}  // namespace ovn::test
