// The message console: hex forms, several messages a line, result lines, the ID change.

#include "link/rs232_f7.h"

#include <gtest/gtest.h>

#include "rs232_fixture.h"

namespace ovn {
namespace {

using Lines = std::vector<std::string>;

class Rs232F7 : public test::Rs232Fixture {
 protected:
  Rs232F7() { open_line(); }
};

TEST(Rs232F7Expand, HexFormsAreReplacedLeftToRight) {
  struct Case {
    const char* typed;
    const char* sent;
  };
  const Case cases[] = {
      {"VR", "VR"},
      {"CE1Ahf(2.5)", "CE1A40200000"},
      {"hf(-0.15625)", "BE200000"},
      {"XXhi(-1)", "XXFFFF"},
      {"XXhi(65535)", "XXFFFF"},
      {"hl(-2)", "FFFFFFFE"},
      {"AOhl(10)hi(3)", "AO0000000A0003"},  // several forms, whichever comes first
      {"hi(2.5)hi(3.5)", "00020004"},       // halves go to the even neighbour
      {"DShi(12", "DS000C"},                // no ")": the rest is the value
      {"hi(abc)", "0000"},                  // not a number: 0
      {"hi( 7 )x", "0007x"},
  };
  for (const Case& c : cases) {
    std::string sent, error;
    EXPECT_TRUE(rs232_f7_expand(c.typed, sent, error)) << c.typed << ": " << error;
    EXPECT_EQ(sent, c.sent) << c.typed;
  }
  // A value its form cannot hold is refused in words, not wrapped or fatal.
  const std::pair<const char*, const char*> refused[] = {
      {"hi(70000)", "hi(70000) does not fit in 4 hex digits"},
      {"CEhl(5e9)", "hl(5e9) does not fit in 8 hex digits"},
      {"hf(1e39)", "hf(1e39) does not fit in 8 hex digits"},
  };
  for (const auto& [typed, why] : refused) {
    std::string sent, error;
    EXPECT_FALSE(rs232_f7_expand(typed, sent, error)) << typed;
    EXPECT_EQ(error, why);
  }
}

TEST_F(Rs232F7, EachMessageOfALineIsSentInTurnWithItsResultLine) {
  port.reply("KSTs150r40\r");
  port.reply("75.2\r");
  port.reply("OK\r");
  const std::string result = rs232_f7_line("VR||TA");
  // The empty message between the bars is a bare line feed after the ID.
  EXPECT_EQ(port.written, (Lines{"AVR\n", "A\n", "ATA\n"}));
  EXPECT_EQ(result,
            "\"VR\" -> \"VR\" LEN=10SENT\"VR\"   GOT\"KSTs150r40\"\r\n"
            "\"\" -> \"\" LEN=4SENT\"\"   GOT\"75.2\"\r\n"
            "\"TA\" -> \"TA\" LEN=2SENT\"TA\"   GOT\"OK\"\r\n");
  EXPECT_EQ(log_texts().back(), "\"TA\" -> \"TA\" LEN=2SENT\"TA\"   GOT\"OK\"");
}

TEST_F(Rs232F7, AMessageWithAHexFormHasItsReplyDecodedTheSameWay) {
  struct Case {
    const char* typed;
    const char* reply;
    const char* got;
  };
  const Case cases[] = {
      {"hf(0)", "40200000", "GOT\"40200000 (== 2.5)\""},
      {"hf(0)", "3DCCCCCD", "GOT\"3DCCCCCD (== 0.1)\""},
      {"XChi(0)", "FFFE", "GOT\"FFFE (== -2)\""},
      {"XChl(0)", "FFFFFFF6", "GOT\"FFFFFFF6 (== -10)\""},
      {"XChl(0)", "OK", "GOT\"OK (== not hex)\""},  // a reply that is not hex stays harmless
  };
  for (const Case& c : cases) {
    port.reply(std::string(c.reply) + "\r");
    const std::string result = rs232_f7_line(c.typed);
    EXPECT_NE(result.find(c.got), std::string::npos) << result;
  }
  // A refused value sends nothing.
  port.written.clear();
  EXPECT_EQ(rs232_f7_line("hi(99999)"),
            "\"hi(99999)\" not sent: hi(99999) does not fit in 4 hex digits\r\n");
  EXPECT_TRUE(port.written.empty());
}

TEST_F(Rs232F7, IdOfThreeLettersAnsweredOkMovesTheId) {
  port.reply("OK\r");
  rs232_f7_line("IDB");
  EXPECT_EQ(rs232_id(), "B");
  port.reply("OK\r");
  rs232_f7_line("IDCX");  // four characters: a plain message
  port.reply("Bad\r");
  rs232_f7_line("IDC");  // not answered OK
  EXPECT_EQ(rs232_id(), "B");
  EXPECT_EQ(port.written.back(), "BIDC\n");
}

TEST_F(Rs232F7, TheConsoleKeepsTheLineAndShowsItsResultsUntilExitOrAnEmptyLine) {
  port.reply("KSTs150r40\r");
  op.expect_user_input("Input Message", true, {{0, "VR"}});
  op.expect_user_input("Input Message", false);  // Exit
  rs232_f7();
  ASSERT_EQ(op.shown.size(), 2u);
  EXPECT_EQ(op.shown[0].title, "Send Message");
  EXPECT_EQ(op.shown[0].buttons, (Lines{"Send", "Exit"}));
  const UserInputForm& again = op.shown[1].form;
  ASSERT_EQ(again.fields.size(), 1u);
  EXPECT_EQ(again.fields[0].data, "VR");
  EXPECT_EQ(again.fields[0].comment, "\"VR\" -> \"VR\" LEN=10SENT\"VR\"   GOT\"KSTs150r40\"\r\n");
  // Send with the field emptied leaves without sending.
  port.written.clear();
  op.expect_user_input("Input Message", true, {{0, ""}});
  rs232_f7();
  EXPECT_TRUE(port.written.empty());
}

}  // namespace
}  // namespace ovn
