// Every reader of outside text against 10,000 generated inputs each, with a fixed seed:
// random bytes, truncations, overlong fields, NUL bytes, non-finite numbers and valid
// inputs mutated one byte at a time. No input may crash, hang, end the process or (in the
// sanitizer build of CI) trip a sanitizer; where a reader promises something of its result,
// that is checked too.

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "config/catalogue.h"
#include "config/config_load.h"
#include "config/tm_file.h"
#include "foundation/hexstr.h"
#include "foundation/kw.h"
#include "foundation/units.h"
#include "link/rs232.h"
#include "link/rs232_f7.h"
#include "monitor/answers.h"
#include "monitor/headless_operator.h"
#include "support/fake_port.h"
#include "support/seams.h"
#include "support/temp_dir.h"

namespace ovn::test {
namespace {

constexpr int kInputs = 10000;

using ReadersFuzz = SeamsTest;

// Inputs grown from `seeds`, the same every run.
class Inputs {
 public:
  explicit Inputs(std::vector<std::string> seeds) : seeds_(std::move(seeds)) {}

  std::string next() {
    const std::string& seed = seeds_[pick(seeds_.size())];
    std::string s = seed;
    switch (pick(7)) {
      case 0: {  // random bytes
        s.clear();
        for (size_t n = pick(40); n > 0; --n) s += static_cast<char>(pick(256));
        break;
      }
      case 1:  // cut short
        s = s.substr(0, pick(s.size() + 1));
        break;
      case 2: {  // one byte changed
        if (!s.empty()) s[pick(s.size())] = static_cast<char>(pick(256));
        break;
      }
      case 3: {  // a field made overlong
        const size_t at = pick(s.size() + 1);
        s.insert(at, std::string(1 + pick(300), s.empty() ? '9' : s[at == s.size() ? 0 : at]));
        break;
      }
      case 4:  // a NUL inside
        s.insert(pick(s.size() + 1), 1, '\0');
        break;
      case 5: {  // a number that is not finite, or at the edge
        static const char* const kOdd[] = {"1e999",       "-1e999",    "nan",
                                           "inf",         "1e-400",    "4294967296",
                                           "-2147483649", "0x1p99999", "."};
        s.insert(pick(s.size() + 1), kOdd[pick(std::size(kOdd))]);
        break;
      }
      default:  // as it stands
        break;
    }
    return s;
  }

 private:
  size_t pick(size_t n) { return n == 0 ? 0 : static_cast<size_t>(rng_() % n); }
  std::vector<std::string> seeds_;
  std::mt19937_64 rng_{20261124};
};

TEST_F(ReadersFuzz, NumbersAreFiniteWheneverTheTextIsCalledNumeric) {
  Inputs in({"12.5", "-149", "1e5", " 3 ", "+0.25E-3", "7", "32767", "-32768", "2147483647"});
  for (int i = 0; i < kInputs; ++i) {
    const std::string text = in.next();
    int stop = 0, sign = 0;
    const double d = kw_parse_double(text, stop);
    (void)kw_parse_int(text, stop, sign);
    (void)kw_parse_i16(text, stop);
    if (kw_is_numeric(text)) {
      EXPECT_TRUE(std::isfinite(d)) << text;
    }
  }
}

TEST_F(ReadersFuzz, HexThatPassesItsCheckDecodesWithoutEndingTheProcess) {
  Inputs in({"FFFF", "7FFFFFFF", "C0490FDB", "00", "1A2B3C4D5E6F7081", "0"});
  for (int i = 0; i < kInputs; ++i) {
    const std::string text = in.next();
    if (is_hex(text)) (void)hex_to_text(text, true);
    if (hex_fits(text, 8)) (void)hex_to_s32(text);
    if (hex_fits(text, 4)) (void)hex_to_s16(text);
    if (hex_fits(text, 2)) (void)hex_to_u8(text);
    if (text.size() >= 8 && is_hex(text)) (void)hex_to_single(text);
  }
  EXPECT_TRUE(seams.fatal_texts.empty());
}

TEST_F(ReadersFuzz, PackedRecordRepliesDecodeOrGiveNothing) {
  Inputs in({"C0490FDB3F800000", "0001000200030004", "7F", "FFFFFFFFFFFFFFFFFFFFFFFF"});
  const char* const kComments[] = {"Scale ??ff", "Words ??s4", "Flags ??b8", "Odd ??x2s2"};
  for (int i = 0; i < kInputs; ++i) {
    const std::string reply = in.next();
    for (const char* comment : kComments) (void)tm_info_catalogue_decode(comment, reply);
  }
  EXPECT_TRUE(seams.fatal_texts.empty());
}

TEST_F(ReadersFuzz, AnswersFilesAreReadOrRefusedByLine) {
  Inputs in({"OK\n=1000\nsim load=5\n# note\n", "Applied Load=12\nterm=on\nContinue\n",
             "sim temp=80\r\nCancel\r\n", "=\n\n"});
  for (int i = 0; i < kInputs; ++i) {
    const std::string text = in.next();
    const AnswerScript script = answers_parse(text);
    if (!script.error.empty()) continue;  // refused as a whole: the run does not start
    for (const Answer& a : script.answers) {
      EXPECT_GE(a.line, 1) << text;
      if (a.kind == AnswerKind::Sim) {
        EXPECT_TRUE(std::isfinite(a.number)) << text;
      }
    }
  }
}

TEST_F(ReadersFuzz, ConsoleMessagesExpandOrSayWhyNot) {
  Inputs in({"VR", "hi(12,-3)", "hl(70000)TA", "hf(1.5,2)", "IDB", "hi(", "hl(1,2,3,4,5,6)"});
  for (int i = 0; i < kInputs; ++i) {
    const std::string text = in.next();
    std::string sent, error;
    if (!rs232_f7_expand(text, sent, error)) {
      EXPECT_FALSE(error.empty()) << text;
    }
  }
}

TEST_F(ReadersFuzz, UnitExpressionsAndUnitFilesNeverCrash) {
  Inputs expressions({"1/0.11298482933", "12*(3+4)", "-2.5e3", "((1)", "lbf-in", "1/"});
  // An undefined word is said in a box: the operator answers it.
  std::ostringstream boxes;
  HeadlessOperator op(FailurePolicy::Skip, boxes);
  set_operator(&op);
  for (int i = 0; i < kInputs; ++i) (void)units_eval(expressions.next());

  TempDir dir;
  units_set_search_dirs(dir.path(), dir.path());
  Inputs files({"[TORQUE]\nlbf-in=1\nN-m=1/0.11298482933\n[SPEED]\nRPM=1\n",
                "[TEMPERATURE]\nF=1,0\nC=1.8,-17.7777\n", "[POWER]\nHp=1\nkW=0.7457\n"});
  for (int i = 0; i < kInputs / 10; ++i) {
    dir.write("ovn-units.ini", files.next());
    (void)units_init("TORQUE|SPEED|POWER|TEMPERATURE");
    for (int g = 0; g < 4; ++g)
      for (int u = 0; u < units_count(g); ++u) (void)units_to_base(u, g, 1.0);
  }
  set_operator(nullptr);
  EXPECT_TRUE(seams.fatal_texts.empty());
}

// The typed readers over a line whose instrument says anything at all, the operator
// answering every failure with Skip: each read ends, none ends the process.
TEST_F(ReadersFuzz, TypedReadersEndOnAnyReplyWithTheOperatorsSkip) {
  FakePort port(seams.clock);
  rs232_attach(port, "A");
  ASSERT_EQ(rs232_open(port, "115200"), "");
  std::ostringstream boxes;
  HeadlessOperator op(FailurePolicy::Skip, boxes);
  set_operator(&op);
  Inputs in({"12.5", "-149", "7FFF", "C0490FDB", "OK", "1,2,3", "!", "1A"});
  std::string reply;
  port.responder = [&reply](const std::string&) { return reply + "\r"; };
  for (int i = 0; i < kInputs / 4; ++i) {
    reply = in.next();
    // A line end inside the reply splits it: the rest waits as the next reply's start.
    (void)get_si32("TA");
    (void)get_si16("TA");
    EXPECT_TRUE(std::isfinite(get_f64("CE1A"))) << reply;
    (void)get_f32("TC");
    (void)get_hex_si32("IO*", kRs232DefaultTimeout, true);
    (void)get_hex_si16("AC1", kRs232DefaultTimeout, false);
    (void)get_hex_f32("SC1");
    (void)get_hexstr("SC");
    (void)rs232_send_ok("TR*0");
  }
  set_operator(nullptr);
  EXPECT_TRUE(seams.fatal_texts.empty());
}

// Configuration files as the loader reads them from disk, and as a procedure's undo sends
// them back: every file is sent or refused line by line, none ends the process.
TEST_F(ReadersFuzz, ConfigurationFilesLoadOrAreRefusedLineByLine) {
  FakePort port(seams.clock);
  rs232_attach(port, "A");
  ASSERT_EQ(rs232_open(port, "115200"), "");
  port.responder = [](const std::string&) { return std::string("OK\r"); };
  std::ostringstream boxes;
  HeadlessOperator op(FailurePolicy::Skip, boxes);
  set_operator(&op);
  TempDir dir;
  ConfigInstrument kst;
  kst.tm_type = kTmKst;
  kst.tm_name = "KST";
  kst.file_extension = ".611";
  const std::string header =
      "# KST Configuration File\r\n# UID:ZQVD52002V(2-3 lbf-in)-SIM0001.S1-COM1\r\n";
  Inputs in({header + "UIAZQVD52002V(2-3 lbf-in)# Model\r\nTA3# Points\r\n",
             "CE1A2001.0002   # Full Scale\r\nSVB-100975.1\r\n",
             "|######### Speed\r\nSD3\r\nAOM12345\r\nAON-3\r\n", "UIB==SIM0001\r\n#\r\n\r\n",
             "IOA19\nILA1.1\rILB-1.1"});
  const std::string path = dir / "fuzz.611";
  for (int i = 0; i < kInputs; ++i) {
    const std::string text = in.next();
    std::ofstream(path, std::ios::binary) << text;
    EXPECT_GE(tm_info_config_load(path, false, kst), -1) << text;
    EXPECT_GE(tm_info_config_upload_text(text), 0) << text;
  }
  set_operator(nullptr);
  EXPECT_TRUE(seams.fatal_texts.empty());
}

}  // namespace
}  // namespace ovn::test
