// The typed readers and the write forms on top of the retried exchange.

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <functional>
#include <map>

#include "rs232_fixture.h"

namespace ovn {
namespace {

class Rs232Readers : public test::Rs232Fixture {
 protected:
  Rs232Readers() { open_line(); }
};
using Lines = std::vector<std::string>;

TEST_F(Rs232Readers, IntegerReadersTakeOnlyWholeIntegersOfTheirWidth) {
  struct Case {
    const char* reply;
    bool long_ok;
    int32_t long_value;
    bool int_ok;
    int16_t int_value;
  };
  for (const Case& c :
       {Case{"123", true, 123, true, 123}, Case{"-5", true, -5, true, -5},
        Case{"+7", true, 7, true, 7}, Case{"40000", true, 40000, false, 0},
        Case{"2147483647", true, 2147483647, false, 0}, Case{"2147483648", false, 0, false, 0},
        Case{"12a", false, 0, false, 0}, Case{"1.5", false, 0, false, 0},
        Case{"", false, 0, false, 0}, Case{"-", false, 0, false, 0}}) {
    // A rejected reply is followed by a good "9" so the reader returns.
    port.reply(std::string(c.reply) + "\r");
    if (!c.long_ok) port.reply("9\r");
    EXPECT_EQ(get_si32("CF1"), c.long_ok ? c.long_value : 9) << '"' << c.reply << '"';
    port.reply(std::string(c.reply) + "\r");
    if (!c.int_ok) port.reply("9\r");
    EXPECT_EQ(get_si16("CF1"), c.int_ok ? c.int_value : 9) << '"' << c.reply << '"';
  }
  EXPECT_TRUE(op.shown.empty());
}

TEST_F(Rs232Readers, ARejectedIntegerResetsEverySecondTimeAndAsksEveryThird) {
  port.responder = [](const std::string&) { return "x\r"; };
  answer({1, 2});
  EXPECT_EQ(get_si16("RZ"), 0);
  EXPECT_EQ(port.written.size(), 6u);
  EXPECT_EQ(log_count("RS232 RESET from get_si16:RZ"), 3);  // at 2, 4 and 6
  ASSERT_EQ(op.shown.size(), 2u);
  EXPECT_EQ(op.shown[0].text,
            "Communications Failure on COM3\r\n"
            "   Sent    :\"ARZ\"\r\n"
            "   Got     :\"x\"\r\n"
            "   Retries :3\r\n"
            "   Timeout :-149 ms\r\n"
            "   ExitFlag:False\r\n"
            "   Expecting an integer number.");
  EXPECT_NE(op.shown[1].text.find("   Retries :6\r\n"), std::string::npos);
  EXPECT_EQ(log_count("RS232 REPT"), 0) << "each reply was a good exchange of the line";
}

TEST_F(Rs232Readers, TheExpectingLineTakesAnBeforeAVowel) {
  struct Case {
    const char* expecting;
    const char* line;
  };
  for (const Case& c :
       {Case{"long number", "   Expecting a long number."},
        Case{"integer number", "   Expecting an integer number."},
        Case{"\"OK\"", "   Expecting a \"OK\"."}, Case{"Integer", "   Expecting a Integer."}}) {
    answer({1});
    EXPECT_EQ(rs232_failure_dialog("X", "", 3, 1000, c.expecting), 1);
    std::string text = op.last().text;
    EXPECT_EQ(text.substr(text.rfind("\r\n") + 2), c.line);
  }
}

TEST_F(Rs232Readers, ASkipInsideTheExchangeOnlyMovesTheReaderOn) {
  port.silence(3);  // get_reply asks at its third attempt: Skip gives "" to the reader
  port.reply("1.5e3\r");
  answer({2});
  EXPECT_EQ(get_f64("MX"), 1500.0);
  EXPECT_EQ(op.shown.size(), 1u);
}

TEST_F(Rs232Readers, NumericReadersAcceptSignsPointsAndExponents) {
  port.reply("!E3\r").reply("-0.25\r").reply("+2.5E-1\r");
  EXPECT_EQ(get_numeric("MX", -149, "number"), "-0.25");
  EXPECT_EQ(get_f32("MX"), 0.25f);
  EXPECT_EQ(port.written.size(), 3u);
  EXPECT_EQ(log_count("RS232 RESET"), 0) << "one rejection resets nothing";
}

TEST_F(Rs232Readers, SkipAtTheReadersOwnLevelGivesZero) {
  port.responder = [](const std::string&) { return "?\r"; };
  answer({2});
  EXPECT_EQ(get_numeric("MX", 500, "64-bit floating point number"), "0");
  ASSERT_EQ(op.shown.size(), 1u);
  EXPECT_NE(op.shown[0].text.find("   Timeout :500 ms\r\n   ExitFlag:False\r\n   Expecting a "
                                  "64-bit floating point number."),
            std::string::npos);
}

TEST_F(Rs232Readers, AHexStringIsAskedForAgainUntilItIsUpperCase) {
  port.reply("1a\r").reply("1a\r").reply("1A\r");
  EXPECT_EQ(get_hexstr("SC1"), "1A");
  EXPECT_EQ(log_count("NOT-a-HEXSTR:1a"), 2);
  EXPECT_EQ(port.written.size(), 3u);
  EXPECT_TRUE(op.shown.empty());
  EXPECT_EQ(log_count("RS232 RESET"), 0);

  port.reply("\r");
  EXPECT_EQ(get_hexstr("SC1"), "") << "empty passes";

  // An instrument that never answers in hex: the operator decides at every third reply.
  port.responder = [](const std::string&) { return "zz\r"; };
  answer({1, 2});  // Retry, then Skip
  EXPECT_EQ(get_hexstr("SC1"), "");
  EXPECT_EQ(op.pending(), 0u);
}

TEST_F(Rs232Readers, AHexStringRequestEndsAtShutdown) {
  port.responder = [](const std::string&) { return "zz\r"; };
  // The window closes while the second request waits for its reply.
  set_event_pump([&] {
    if (port.written.size() == 2) rs232_set_exit_flag(true);
  });
  EXPECT_EQ(get_hexstr("SC1"), "");
  EXPECT_EQ(port.written.size(), 2u);
  EXPECT_TRUE(op.shown.empty()) << "no dialog at shutdown";
}

TEST_F(Rs232Readers, TheWriteFormWantsOkAndLogsEveryOtherReply) {
  port.reply("OK\r");
  EXPECT_TRUE(rs232_send_ok("CE1A100"));
  EXPECT_TRUE(seams.log.lines.empty());

  port.reply("!E1\r").reply("OK1\r").silence(3).reply("?\r").reply("OK\r");
  answer({1, 1});
  EXPECT_TRUE(rs232_send_ok_eq("UN1", "lbf-in", -149, 2));
  EXPECT_EQ(port.written.back(), "AUN1=lbf-in\n");
  EXPECT_EQ(log_count("RS232 OK-RETRY:SENT\"AUN1=lbf-in\"  GOT:\"!E1\""), 1);
  EXPECT_EQ(log_count("RS232 OK-RETRY:SENT\"AUN1=lbf-in\"  GOT:\"OK1\""), 1);
  ASSERT_EQ(op.shown.size(), 2u);
  // The write form's dialog after two tries, then the exchange's own after three silent attempts.
  EXPECT_NE(op.shown[0].text.find("   Got     :\"OK1\"\r\n   Retries :2\r\n"), std::string::npos);
  EXPECT_NE(op.shown[0].text.find("   Expecting a \"OK\"."), std::string::npos);
  EXPECT_NE(op.shown[1].text.find("   Retries :3\r\n   Timeout :-149 ms\r\n   ExitFlag:False"),
            std::string::npos);
  EXPECT_EQ(op.shown[1].text.find("Expecting"), std::string::npos);
  EXPECT_EQ(log_count("RS232 OK-RETRY"), 3);
}

TEST_F(Rs232Readers, TheWriteFormGoesOnAtShutdownUntilTheOperatorSkips) {
  rs232_set_exit_flag(true);
  answer({1, 2});
  EXPECT_FALSE(rs232_send_ok_eqeq("PW", "x"));
  EXPECT_EQ(op.shown.size(), 2u);
  EXPECT_NE(op.shown[0].text.find("   ExitFlag:True"), std::string::npos);
  EXPECT_EQ(log_count("RS232:EXITING:APW==x"), 6);
}

TEST_F(Rs232Readers, BitHelpersReadModifyAndWriteBackInDecimal) {
  port.reply("5\r").reply("OK\r").reply("-1\r").reply("OK\r");
  EXPECT_TRUE(rs232_set_bits("CF1", 2));
  EXPECT_TRUE(rs232_clear_bits("CF1", 0x40000004));
  EXPECT_EQ(port.written, (Lines{"ACF1\n", "ACF17\n", "ACF1\n", "ACF1-1073741829\n"}));
}

TEST_F(Rs232Readers, HexReadersTakeHexOfTheirLengthAndAskAtEveryRejection) {
  struct Reader {
    std::function<double()> get;
    const char* expecting;
    const char* nine;  // a good reply worth 9, sent after a rejected one
  };
  std::map<std::string, Reader> readers{
      {"f32", {[] { return get_hex_f32("SC1"); }, "hex-float", "41100000"}},
      {"si32", {[] { return get_hex_si32("CD1", -149, false); }, "hex-long32", "00000009"}},
      {"si16", {[] { return get_hex_si16("AC1", -149, false); }, "hex-int16", "0009"}},
      {"int", {[] { return get_hex_int("AC1"); }, "hex-int", "9"}},
      {"u8", {[] { return get_hex_u8("A1"); }, "hex-int8", "09"}}};
  struct Case {
    const char* reply;
    const char* reader;
    double value;  // 9: rejected, then the good reply
  };
  for (const Case& c :
       {Case{"3F800000", "f32", 1.0}, Case{"3f800000", "f32", 1.0}, Case{"3F8000", "f32", 9},
        Case{"3F80000000", "f32", 9}, Case{"FFFFFFFF", "si32", -1}, Case{"123456789", "si32", 9},
        Case{"FFFF", "si16", -1}, Case{"8000", "si16", -32768}, Case{"0FFFF", "si16", 9},
        Case{"7fff", "int", 32767}, Case{"0000FFFF", "int", -1}, Case{"FF", "u8", 255},
        Case{"F", "u8", 9}, Case{"1G", "u8", 9}, Case{"", "int", 9}}) {
    const Reader& reader = readers.at(c.reader);
    port.reply(std::string(c.reply) + "\r");
    if (c.value == 9) {
      port.reply(std::string(reader.nine) + "\r");
      op.expect_gib(std::string("   Expecting a ") + reader.expecting + ".", 1);
    }
    EXPECT_EQ(reader.get(), c.value) << c.reader << " " << c.reply;
  }
  EXPECT_EQ(op.pending(), 0u);
  EXPECT_EQ(log_count("RS232 RESET"), 0);
}

TEST_F(Rs232Readers, HexReadersTakeLongerRepliesWhenAllowed) {
  port.reply("0000FFFF\r").reply("000000007FFFFFFF\r");
  EXPECT_EQ(get_hex_si16("AC1", -149, true), -1);
  EXPECT_EQ(get_hex_si32("CD1", -149, true), 2147483647);
  EXPECT_TRUE(op.shown.empty());
}

TEST_F(Rs232Readers, AReplyWiderThanItsFieldIsAFailedExchangeNotTheEndOfTheProcess) {
  struct Case {
    std::function<double()> get;
    const char* reply;
  };
  for (const Case& c : {Case{[] { return get_hex_si32("IO*", -149, true); }, "123456789"},
                        Case{[] { return get_hex_si16("AC1", -149, true); }, "12345"},
                        Case{[] { return get_hex_int("AC1"); }, "10000"}}) {
    port.reply(std::string(c.reply) + "\r").reply("7\r");
    op.expect_gib(std::string("   Got     :\"") + c.reply + "\"", 1);
    EXPECT_EQ(c.get(), 7) << c.reply;
  }
  EXPECT_EQ(op.pending(), 0u);
  EXPECT_TRUE(seams.fatal_texts.empty());
}

TEST_F(Rs232Readers, AHexSingleIsTheIeeePatternOfTheReply) {
  port.reply("C0490FDB\r").reply("00000001\r");
  EXPECT_EQ(std::bit_cast<uint32_t>(get_hex_f32("SC1")), 0xC0490FDBu);
  EXPECT_EQ(std::bit_cast<uint32_t>(get_hex_f32("SC1")), 0x00000001u) << "smallest denormal";
}

TEST_F(Rs232Readers, HexReadersGiveZeroOnSkipAndAtShutdown) {
  port.responder = [](const std::string&) { return "XYZ\r"; };
  op.expect_gib("Got     :\"XYZ\"", 2);
  EXPECT_EQ(get_hex_si32("CD1", -149, false), 0);
  EXPECT_EQ(port.written.size(), 1u);

  rs232_set_exit_flag(true);
  EXPECT_EQ(get_hex_f32("SC1"), 0.0f);
  EXPECT_EQ(get_hex_u8("A1"), 0);
  EXPECT_EQ(op.shown.size(), 1u) << "no dialog during shutdown";
}

TEST_F(Rs232Readers, HexWriteFormsPackTheValue) {
  port.reply("OK\r").reply("OK\r");
  EXPECT_TRUE(rs232_send_ok_f32hex("SC1", 1.0f));
  EXPECT_TRUE(rs232_send_ok_hex("AC1", {"-1", "2", "3", "255"}, "ssbb"));
  EXPECT_EQ(port.written, (Lines{"ASC13F800000\n", "AAC1FFFF000203FF\n"}));
}

}  // namespace
}  // namespace ovn
