// The headless operator: which button each policy presses, the cautious answer to every
// other question, and the words it leaves on stderr.

#include "monitor/headless_operator.h"

#include <gtest/gtest.h>

#include <sstream>

#include "instrument/password.h"
#include "support/seams.h"

namespace ovn::test {
namespace {

class HeadlessOperatorTest : public SeamsTest {
 protected:
  ~HeadlessOperatorTest() override { set_operator(nullptr); }
  HeadlessOperator& make(FailurePolicy policy, int max_retries = 3) {
    op.emplace(policy, text, max_retries);
    set_operator(&*op);
    return *op;
  }
  std::ostringstream text;
  std::optional<HeadlessOperator> op;
};

TEST_F(HeadlessOperatorTest, ThePolicyPressesItsButtonAndOtherBoxesGetTheCautiousOne) {
  struct Row {
    const char* buttons;
    FailurePolicy policy;
    int pressed;
  };
  const Row rows[] = {
      {"Abort|Retry|Skip", FailurePolicy::Abort, 0},
      {"Abort|Retry|Skip", FailurePolicy::Retry, 1},
      {"Abort|Retry|Skip", FailurePolicy::Skip, 2},
      {"OK", FailurePolicy::Skip, 0},                    // a notice: its only button
      {"Yes|No", FailurePolicy::Retry, 1},               // a question: No
      {"Save|Cancel|Discard", FailurePolicy::Abort, 1},  // Cancel wherever it stands
      {"?gRetry|?rCancel", FailurePolicy::Retry, 0},     // captions without their codes
      {"Continue|Stop", FailurePolicy::Skip, 1},         // no Skip offered: the last one
  };
  for (const Row& row : rows) {
    make(row.policy);
    EXPECT_EQ(gib("text", row.buttons, kGibWarning, "Title"), row.pressed)
        << row.buttons << " / " << failure_policy_name(row.policy);
  }
}

TEST_F(HeadlessOperatorTest, RetriesAreCountedAndAfterTheLastOneTheAnswerIsAbort) {
  HeadlessOperator& o = make(FailurePolicy::Retry, 2);
  EXPECT_EQ(gib("first", "Abort|Retry|Skip", kGibStop, "Failure"), 1);
  EXPECT_EQ(msg_box("second", MsgButtons::RetryCancel, "Failure"), MsgAnswer::Retry);
  EXPECT_EQ(o.retries(), 2);
  EXPECT_EQ(gib("third", "Abort|Retry|Skip", kGibStop, "Failure"), 0);
  EXPECT_EQ(msg_box("fourth", MsgButtons::RetryCancel, "Failure"), MsgAnswer::Cancel);
  EXPECT_EQ(o.retries(), 2);
  EXPECT_EQ(o.skips(), 0);
}

TEST_F(HeadlessOperatorTest, EveryBoxIsWrittenWithItsTitleTextAndAnswer) {
  HeadlessOperator& o = make(FailurePolicy::Skip);
  gib("Communications Failure on COM1\r\n   Sent    :\"AVR\"\r\n", "Abort|Retry|Skip", kGibStop,
      "Communications Failure");
  gib("Wait a moment", "", kGibInfo, "Busy", "Courier New", 2.0);
  EXPECT_EQ(msg_box("Delete it?", MsgButtons::YesNo, "Files"), MsgAnswer::No);
  EXPECT_EQ(o.skips(), 1);
  EXPECT_EQ(text.str(),
            "[Communications Failure]\n"
            "Communications Failure on COM1\n"
            "   Sent    :\"AVR\"\n"
            "--> Skip\n"
            "? Communications Failure: Communications Failure on COM1 -> Skip\n"
            "[Busy]\n"
            "Wait a moment\n"
            "--> (timed out)\n"
            "? Busy: Wait a moment -> (timed out)\n"
            "[Files]\n"
            "Delete it?\n"
            "--> No\n"
            "? Files: Delete it? -> No\n");
}

TEST_F(HeadlessOperatorTest, PlainQuestionsAreAnsweredWithoutCommittingToAnything) {
  make(FailurePolicy::Retry);
  EXPECT_EQ(msg_box("x", MsgButtons::Ok, "t"), MsgAnswer::Ok);
  EXPECT_EQ(msg_box("x", MsgButtons::OkCancel, "t"), MsgAnswer::Cancel);
  EXPECT_EQ(msg_box("x", MsgButtons::YesNoCancel, "t"), MsgAnswer::Cancel);
  EXPECT_FALSE(user_input("|", "Name|", "Bench 4|", "Entry", ""));
  EXPECT_FALSE(input_box("Password", "Lock").has_value());
  EXPECT_EQ(password_ask(kPasswordEnter, "Enter Password to enable password protection"), "");
  EXPECT_FALSE(file_dialog(FileDialogRequest{true, "Save", {}, "/tmp", "a.611"}).chosen);
  EXPECT_FALSE(color_dialog(0xFF).has_value());
  std::string title;
  EXPECT_FALSE(active_window_title(title)) << "there is no window";
  EXPECT_NE(text.str().find("[Entry]\nName = Bench 4\n--> Cancel\n"), std::string::npos)
      << text.str();
  EXPECT_NE(text.str().find("[Enter Password]\nEnter Password to enable password protection\n"
                            "--> Cancel\n"),
            std::string::npos);
}

}  // namespace
}  // namespace ovn::test
