// The request/reply exchange: framing, waits, the retried exchange, the failure dialog.

#include <gtest/gtest.h>

#include "rs232_fixture.h"

namespace ovn {
namespace {

using Rs232Exchange = test::Rs232Fixture;
using Lines = std::vector<std::string>;

TEST_F(Rs232Exchange, TheIdIsALetterOrStarAndAnythingElseBecomesA) {
  struct Case {
    const char* given;
    const char* id;
  };
  for (const Case& c : {Case{"3", "A"}, Case{"", ""}, Case{"b", "b"}, Case{"*x", "*"},
                        Case{"Zed", "Z"}, Case{"-", "A"}, Case{"\xe9", "A"}}) {
    rs232_set_id(c.given);
    EXPECT_EQ(rs232_id(), c.id) << c.given;
  }
}

TEST_F(Rs232Exchange, ARequestIsIdMessageAndLineFeedAndTheReplyKeepsItsTerminator) {
  open_line();
  port.reply("123.5\r");
  EXPECT_EQ(rs232_wait_reply("CE1A"), "123.5\r");
  EXPECT_EQ(port.written, Lines{"ACE1A\n"});
  EXPECT_EQ(rs232_out(), "ACE1A\n");

  port.reply("OK\n");
  EXPECT_EQ(rs232_try_reply("CE1A100"), "OK");
  port.reply("OK\r\n");  // arriving at once: exactly one terminator is removed
  EXPECT_EQ(rs232_try_reply("CE1A100"), "OK\r");
}

TEST_F(Rs232Exchange, AClosedPortAnswersAtOnceWithoutSending) {
  EXPECT_EQ(rs232_wait_reply("TMA"), "!COM3 Not Open!");
  EXPECT_EQ(get_reply("TMA"), "!COM3 Not Open!");
  EXPECT_TRUE(port.written.empty());
  EXPECT_FALSE(rs232_busy());
}

TEST_F(Rs232Exchange, TheWaitLastsTheLineFloorUnlessTheCallerAsksForMore) {
  open_line();
  for (bool relaxed : {false, true}) {
    rs232_set_relaxed(relaxed);
    struct Case {
      double timeout, waited;
    };
    for (const Case& c :
         {Case{0, 103}, Case{kRs232DefaultTimeout, 103}, Case{50, 103}, Case{1000, 1000}}) {
      port.silence();
      double start = seams.clock.now_ms();
      EXPECT_EQ(rs232_wait_reply("TMA", c.timeout), "");
      EXPECT_EQ(elapsed_since(start), c.waited) << c.timeout << (relaxed ? " relaxed" : "");
    }
  }
}

TEST_F(Rs232Exchange, TheWaitEndsOnTheFirstTerminatorEvenInPieces) {
  open_line();
  for (bool relaxed : {false, true}) {
    rs232_set_relaxed(relaxed);
    port.reply_pieces({{5, "12"}, {9, ".5"}, {20, "\r"}, {21, "7\r"}});
    double start = seams.clock.now_ms();
    EXPECT_EQ(rs232_wait_reply("TMA"), "12.5\r");
    EXPECT_GE(elapsed_since(start), 20);
    EXPECT_LT(elapsed_since(start), 21);
    rs232_close(port);  // drops the rest for the next round
    ASSERT_EQ(rs232_open(port, "115200"), "");
  }
}

TEST_F(Rs232Exchange, EveryWaitBlocksOnThePortAndWakesOnTheReplyOrTheDeadline) {
  open_line();
  struct Case {
    bool relaxed;
    double reply_after;  // < 0: silence
    double waited;
  };
  for (const Case& c :
       {Case{false, 40, 40}, Case{true, 40, 40}, Case{false, -1, 103}, Case{true, -1, 103}}) {
    rs232_set_relaxed(c.relaxed);
    if (c.reply_after < 0)
      port.silence();
    else
      port.reply("5\r", c.reply_after);
    port.input_calls = port.waits = 0;
    double start = seams.clock.now_ms();
    rs232_wait_reply("TMA");
    EXPECT_EQ(elapsed_since(start), c.waited) << "woken by the reply, or at the deadline";
    // A spinning wait would poll the port hundreds of times in 40 ms.
    EXPECT_LE(port.input_calls, 3) << c.reply_after << (c.relaxed ? " relaxed" : "");
    EXPECT_LE(port.waits, 2);
  }
}

TEST_F(Rs232Exchange, ABareOkToAnIdCommandChangesTheId) {
  open_line();
  port.reply("OK", 1);  // no terminator: the wait runs out, and the reply is exactly "OK"
  EXPECT_EQ(rs232_wait_reply("IDB"), "OK");
  EXPECT_EQ(rs232_id(), "B");

  port.reply("OK\r", 1);  // the usual reply still holds its CR, so nothing changes
  EXPECT_EQ(rs232_wait_reply("IDC"), "OK\r");
  EXPECT_EQ(rs232_id(), "B");
  EXPECT_EQ(port.written, (Lines{"AIDB\n", "BIDC\n"}));
}

TEST_F(Rs232Exchange, AGoodExchangeLogsNothingAndCountsAsGood) {
  open_line();
  port.reply("1\r").reply("2\n").reply("3\r");
  EXPECT_EQ(get_reply("DT"), "1");
  EXPECT_EQ(get_reply("DT"), "2");
  EXPECT_EQ(get_reply("DT"), "3");
  EXPECT_TRUE(seams.log.lines.empty());
  EXPECT_EQ(rs232_good_count(), 3);
  EXPECT_FALSE(rs232_busy());

  port.reply("!E12\r");
  EXPECT_EQ(get_reply("XX"), "!E12") << "the instrument's error report is a reply like any";
  EXPECT_EQ(rs232_good_count(), 0);
}

TEST_F(Rs232Exchange, TracingLogsEveryTextSentAndEveryPieceRead) {
  open_line();
  rs232_set_trace(true);
  port.reply_pieces({{2, "12"}, {4, ".5\r"}});
  EXPECT_EQ(get_reply("TMA"), "12.5");
  EXPECT_EQ(log_texts(),
            (Lines{R"(RS232 SENT:"ATMA\\r")", R"(RS232 READ:"12")", R"(RS232 READ:".5\\n")"}));
}

TEST_F(Rs232Exchange, ALineEndInTwoReadsLeavesItsLineFeedAsTheNextReply) {
  open_line();
  port.reply_pieces({{2, "OK\r"}, {3, "\n"}});
  EXPECT_EQ(get_reply("CE1A100"), "OK");
  seams.clock.advance(5);
  EXPECT_EQ(get_reply("CE1A"), "");
  EXPECT_EQ(port.written, Lines{"ACE1A100\n"}) << "the waiting LF answered without a send";
}

TEST_F(Rs232Exchange, StaleInputFailsAnAttemptWithoutASendAndTheResetClearsIt) {
  open_line();
  port.inject("12");
  port.reply("5\r");
  EXPECT_EQ(get_reply("TMA"), "5");
  EXPECT_EQ(port.written, Lines{"ATMA\n"});
  EXPECT_EQ(log_texts(), (Lines{R"(RS232 REPT0001("ATMA",-149) GOT:"12" 0 good messages)",
                                "RS232 RESET from get_reply:TMA", "RS232 CLOSE COM3 115200,n,8,1",
                                "RS232 OPEN  COM3 115200,n,8,1"}));
  EXPECT_EQ(rs232_get_retries(), 1);
  EXPECT_EQ(op.window_title, "KST Monitor") << "the title is put back after the good reply";
}

TEST_F(Rs232Exchange, TheRepeatLineWritesLineEndsCrossedAndEscaped) {
  open_line();
  port.reply("1\r").reply("2\r").reply("3\r");
  for (int i = 0; i < 3; ++i) get_reply("DT");
  // Cut off: a CR and an LF inside, but not at the end.
  port.reply("7\r8\na\\b\t\x01");
  port.reply("9\r");
  EXPECT_EQ(get_reply("CE1A", 250.5), "9");
  ASSERT_GE(log_texts().size(), 1u);
  EXPECT_EQ(log_texts()[0],
            R"(RS232 REPT0001("ACE1A",250.5) GOT:"7\\n8\\ra\\b\t\x1" 3 good messages)");
}

TEST_F(Rs232Exchange, ThreeSilentAttemptsAskTheOperatorAndSkipGivesAnEmptyReply) {
  open_line();
  answer({2});
  double start = seams.clock.now_ms();
  EXPECT_EQ(get_reply("TMA"), "");

  ASSERT_EQ(op.shown.size(), 1u);
  EXPECT_EQ(op.shown[0].text,
            "Communications Failure on COM3\r\n"
            "   Sent    :\"ATMA\"\r\n"
            "   Got     :\"\"\r\n"
            "   Retries :3\r\n"
            "   Timeout :-149 ms\r\n"
            "   ExitFlag:False");
  EXPECT_EQ(op.shown[0].gib.button_list, "Abort|Retry|Skip");
  EXPECT_EQ(op.shown[0].flags, kGibStop | kGibVerbatim);
  EXPECT_EQ(op.shown[0].title, "Communications Failure");
  EXPECT_EQ(op.shown[0].font, "Courier New");
  EXPECT_EQ(port.written, Lines(3, "ATMA\n"));
  // Each attempt: the wait, 100 ms, and the reset's 100 ms; Skip leaves before the third reset.
  EXPECT_EQ(elapsed_since(start), 3 * 103 + 2 * 200);
  EXPECT_EQ(rs232_get_retries(), 2);
  EXPECT_EQ(log_count("RS232 REPT"), 3);
  EXPECT_EQ(log_count("RS232 RESET from get_reply:TMA"), 2);
  EXPECT_EQ(log_texts().back(), "RS232  REFAIL:KST Monitor");
  EXPECT_FALSE(rs232_busy());
}

TEST_F(Rs232Exchange, TheTitleBarShowsTheFailingExchangeAndIsPutBackTrimmed) {
  open_line();
  op.window_title = "  KST Monitor ";
  Lines seen;  // the title as the event handlers saw it during the waits
  set_event_pump([&] {
    if (seen.empty() || seen.back() != op.window_title) seen.push_back(op.window_title);
  });
  port.reply("4").reply("45").reply("456");  // cut off each time
  answer({2});
  EXPECT_EQ(get_reply("TMA"), "");
  EXPECT_EQ(seen, (Lines{"  KST Monitor ", "No replie to \"TMA\"  Recieved \"4\"",
                         "No replie to \"TMA\"  Recieved \"45\""}));
  EXPECT_EQ(op.flashes, 3);
  EXPECT_EQ(op.window_title, "KST Monitor");
  EXPECT_EQ(log_texts().back(), "RS232  REFAIL:KST Monitor");
}

TEST_F(Rs232Exchange, WithoutAnActiveWindowTheFailureIsLoggedAndNothingIsRetitled) {
  open_line();
  op.window_active = false;
  port.silence();
  port.reply("1\r");
  EXPECT_EQ(get_reply("TMA"), "1");
  EXPECT_EQ(log_count("RS232 whandle=0 "), 1);
  EXPECT_EQ(op.window_title, "KST Monitor");
  EXPECT_EQ(op.flashes, 0);
}

TEST_F(Rs232Exchange, RetryGoesOnWithAttemptsFourToSixAndAsksAgainAtSix) {
  open_line();
  port.silence(6);
  port.reply("42\r");
  answer({1, 1});
  EXPECT_EQ(get_reply("TMA", 0), "42");
  ASSERT_EQ(op.shown.size(), 2u);
  EXPECT_NE(op.shown[0].text.find("   Retries :3\r\n"), std::string::npos);
  EXPECT_NE(op.shown[1].text.find("   Retries :6\r\n"), std::string::npos);
  EXPECT_NE(op.shown[1].text.find("   Timeout :0 ms\r\n"), std::string::npos);
  EXPECT_EQ(log_count("RS232 REPT0006(\"ATMA\",0) GOT:\"\" -1 good messages"), 1);
  EXPECT_EQ(rs232_get_retries(), 6);
  EXPECT_EQ(port.written.size(), 7u);
}

TEST_F(Rs232Exchange, AbortEndsTheProcessAtOnce) {
  open_line();
  answer({0});
  EXPECT_PROCESS_EXIT(get_reply("TMA"), 1);
  EXPECT_EQ(port.written.size(), 3u);
  EXPECT_EQ(log_count("RS232 RESET"), 2) << "nothing more happens after the Abort";
}

TEST_F(Rs232Exchange, DuringShutdownTheExchangeReturnsEmptyAtOnce) {
  open_line();
  rs232_set_exit_flag(true);
  EXPECT_EQ(get_reply("TMA"), "");
  EXPECT_TRUE(port.written.empty());
  EXPECT_EQ(log_texts(), Lines{"RS232:EXITING:ATMA"});
  EXPECT_EQ(get_numeric("TMA", -149, "number"), "0");
  EXPECT_EQ(get_si32("TMA"), 0);
  EXPECT_EQ(get_hexstr("TMA"), "");
  EXPECT_TRUE(op.shown.empty());
}

TEST_F(Rs232Exchange, ShutdownDuringAWaitEndsTheWaitAndTheExchange) {
  open_line();
  port.silence();
  double start = seams.clock.now_ms();
  // The window is closed 50 ms into the wait: that event wakes the wait, which ends there.
  set_event_wait([&](double deadline) {
    double event_at = start + 50;
    seams.clock.advance(std::min(deadline, event_at) - seams.clock.now_ms());
    if (seams.clock.now_ms() >= event_at) rs232_set_exit_flag(true);
  });
  EXPECT_EQ(get_reply("TMA"), "");
  set_event_wait(nullptr);
  EXPECT_EQ(elapsed_since(start), 50) << "the wait only: at shutdown no pause and no reset";
  EXPECT_EQ(log_count("RS232 REPT0001"), 1);
  EXPECT_EQ(log_count("RS232:EXITING:"), 0) << "an attempt was made";
  EXPECT_TRUE(op.shown.empty());
}

TEST_F(Rs232Exchange, ANestedExchangeQueuesOnTheBusyLock) {
  open_line();
  port.reply("5\r", 10);
  std::string nested = "not run";
  int depth = 0, nested_pumps = 0;
  set_event_pump([&] {
    if (depth > 0) {
      if (++nested_pumps == 20) rs232_set_exit_flag(true);  // the lock holds until shutdown
      return;
    }
    if (!rs232_busy() || nested != "not run") return;
    ++depth;
    nested = get_reply("DT");
    --depth;
  });
  double start = seams.clock.now_ms();
  EXPECT_EQ(get_reply("TMA"), "5") << "the reply came while the queued exchange waited";
  EXPECT_EQ(nested, "");
  EXPECT_EQ(nested_pumps, 20);
  EXPECT_GE(elapsed_since(start), 20) << "the queued exchange waited in 1 ms steps";
  EXPECT_EQ(port.written, Lines{"ATMA\n"}) << "the queued exchange never sent";
  EXPECT_FALSE(rs232_busy());
}

}  // namespace
}  // namespace ovn
