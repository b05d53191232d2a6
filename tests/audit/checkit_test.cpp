// The check language: both wordings in one expression, value slots, headings that appear
// only above a line, and every check's sentence.

#include <functional>

#include "audit/checkit.h"
#include "instrument/ovn_mode.h"
#include "support/scripted_operator.h"
#include "support/seams.h"

namespace ovn::test {
namespace {

class CheckitTest : public SeamsTest {
 protected:
  CheckitTest() { ck_clear(); }
  ScriptedOperator op;
};

TEST_F(CheckitTest, AnExpressionGivesThePassAndTheFailSentenceFromItsFieldsAndSlots) {
  struct Case {
    const char* expression;
    const char* values;  // nullptr: rendered by ck_line
    const char* pass;
    const char* fail;
  } cases[] = {
      {"no bar at all", nullptr, "no bar at all", "no bar at all"},
      {"a|b|c|d", nullptr, "abd", "acd"},
      {"a|b|c|d|e", nullptr, "abde", "acd"},
      {"RS485-ID $$is ||NOT |\"A\"", "B", "RS485-ID (B) is \"A\"", "RS485-ID (B) is NOT \"A\""},
      {"Actual Full Scale $$|equals|does NOT equal| Model Full Scale $$", "+2000.0|+2001.0",
       "Actual Full Scale (+2000.0) equals Model Full Scale (+2001.0) ",
       "Actual Full Scale (+2000.0) does NOT equal Model Full Scale (+2001.0) "},
      {"Gain $ mV$|", "+1.5", "Gain (+1.5 mV) ", "Gain (+1.5 mV) "},
      {"blank tag $   $done", "7", "blank tag (7) done", "blank tag (7) done"},
      {"one $$ and $$left", "1", "one (1)  and $$left", "one (1)  and $$left"},
      {"no slot|x|y|", "1|2", "no slotx", "no sloty"},
      // A default that repeats the value is dropped, in any case; a differing one stays.
      {"Foo (+5.0 Hz) equal default (+5.0 Hz) x", nullptr, "Foo (+5.0 Hz) equal default x",
       "Foo (+5.0 Hz) equal default x"},
      {"Foo (+5.0 Hz) Equal Default (+5.0) x", nullptr, "Foo (+5.0 Hz) Equal Default x",
       "Foo (+5.0 Hz) Equal Default x"},
      {"Foo (+5.0 Hz) equal default (+6.0 Hz)", nullptr, "Foo (+5.0 Hz) equal default (+6.0 Hz)",
       "Foo (+5.0 Hz) equal default (+6.0 Hz)"},
      {"Foo $$|NOT ||equal default $$", "+5.0|+5.0", "Foo (+5.0) NOT equal default (+5.0) ",
       "Foo (+5.0) equal default "},
  };
  for (const Case& c : cases) {
    for (bool ok : {true, false}) {
      ck_clear();
      const bool result =
          c.values ? ck_values(ok, c.expression, c.values) : ck_line(ok, c.expression);
      ck_finish();
      EXPECT_EQ(result, ok);
      const std::string line = std::string(ok ? c.pass : c.fail) + "\r\n";
      EXPECT_EQ(ok ? ck_passes() : ck_failures(), line) << c.expression;
      EXPECT_EQ(ok ? ck_failures() : ck_passes(), "") << c.expression;
    }
  }
}

TEST_F(CheckitTest, AnExpressionOfTheWrongFieldCountIsShownToATechnicianOnly) {
  ck_line(true, "a|b|c|d|e");  // no technician: no box
  ASSERT_EQ(ovn_mode_get("torque", false, ovn_mode_levels()), kOvnModeTechnician);
  op.expect_msg_box("Bad Parsing Job:", MsgAnswer::Ok);
  op.expect_msg_box("Bad Parsing Job:", MsgAnswer::Ok);
  ck_line(false, "a|b|c|d|e");
  ck_line(false, "a|b|c|d");  // well formed: no box
  ck_equal_num(1, 2, "Speed", "RPM");
  ASSERT_EQ(op.shown.size(), 2u);
  EXPECT_EQ(op.shown[0].text, "Bad Parsing Job:a|b|c|d|e");
  EXPECT_EQ(op.shown[1].text, "Bad Parsing Job:Speed (+1.0 RPM) |equal default|NOT| +2.0 RPM|");
  ck_finish();
  EXPECT_EQ(ck_failures(), "acd\r\nacd\r\nSpeed (+1.0 RPM) NOT +2.0 RPM\r\n")
      << "rendering goes on after the box";
}

TEST_F(CheckitTest, HeadingsAppearOnlyAboveALineAndOnlyInThatLinesText) {
  struct Case {
    const char* what;
    std::function<void()> run;
    const char* failures;
    const char* passes;
  } cases[] = {
      {"nested, one line",
       [] {
         ck_section("Outer", false);
         ck_section("Inner:", false);
         ck_fail_line("bad");
         ck_end_section(false);
         ck_end_section(false);
       },
       "Outer:\r\n   Inner:\r\n      bad\r\n", ""},
      {"empty sections vanish",
       [] {
         ck_section("Outer", false);
         ck_section("Inner", false);
         ck_end_section(false);
         ck_end_section(false);
         ck_section("Other\r\n", false);
         ck_end_section(false);
       },
       "", ""},
      {"each text takes the headings it needs",
       [] {
         ck_section("Setup", false);
         ck_pass_line("fine");
         ck_fail_line("wrong");
         ck_section("Speed", false);
         ck_fail_line("slow");
         ck_end_section(false);
         ck_end_section(false);
       },
       "Setup:\r\n   wrong\r\n   Speed:\r\n      slow\r\n", "Setup:\r\n   fine\r\n"},
      {"a closed empty child leaves its parent's heading with a CR only",
       [] {
         ck_section("Outer", false);
         ck_section("Inner", false);
         ck_end_section(false);
         ck_fail_line("bad");
         ck_end_section(false);
       },
       "Outer:\r   bad\r\n", ""},
      {"a reset goes back to the margin",
       [] {
         ck_section("One", true);
         ck_section("Deep", false);
         ck_pass_line("x");
         ck_section("Two", true);
         ck_pass_line("y");
       },
       "", "One:\r\n   Deep:\r\n      x\r\nTwo:\r\n   y\r\n"},
      {"later lines of a text keep the LF",
       [] {
         ck_section("Notes", false);
         ck_fail_line("first\r\nsecond\r\n\r\n");
         ck_end_section(false);
       },
       "Notes:\r\n   first\r\n   \nsecond\r\n   \n\r\n   \n\r\n", ""},
      {"a finish closes what is open; what follows starts at the margin",
       [] {
         ck_section("Left open", false);
         ck_section("Also open", false);
         ck_finish();
         ck_section("Dynamic Info:", false);
         ck_fail_line("noisy");
       },
       "Dynamic Info:\r\n   noisy\r\n", ""},
  };
  for (const Case& c : cases) {
    ck_clear();
    c.run();
    ck_finish();
    EXPECT_EQ(ck_failures(), c.failures) << c.what;
    EXPECT_EQ(ck_passes(), c.passes) << c.what;
    EXPECT_EQ(ck_has_failures(), *c.failures != 0) << c.what;
    EXPECT_EQ(ck_has_passes(), *c.passes != 0) << c.what;
  }
}

TEST_F(CheckitTest, EveryCheckWritesItsSentenceInTheTextOfItsVerdict) {
  struct Case {
    std::function<bool()> check;
    bool pass;
    const char* line;
  } cases[] = {
      {[] { return ck_within(2.1, 2, 0.5, "Load", "lbf-in", ""); }, true,
       "Load (+2.1 lbf-in) within +0.5 (+0.1) of +2.0 [+1.5,+2.5]"},
      {[] { return ck_within(2, 2, 0, "Zero", "", ""); }, true,
       "Zero (+2.0) within +0.0 (+0.0) of +2.0 [+2.0,+2.0]"},
      {[] { return ck_within(2.001, 2, 0, "Zero", "", ""); }, false,
       "Zero (+2.001) NOT within +0.0 (+0.001) of +2.0 [+2.0,+2.0]"},
      {[] { return ck_within(1500, 0, 1000, "Offset", "V", "k"); }, false,
       "Offset (+1.5 kV) NOT within +1.0 (+1.5) of +0.0 [-1.0,+1.0]"},
      {[] { return ck_asymmetry(100, 99, 0.004, "Shunt", ""); }, false,
       "Shunt Asymmetry (+10.0 permille) NOT within +4.0 (+10.0) of +0.0 [-4.0,+4.0]"},
      {[] { return ck_range(20, 19.8, 20.3, "Duty", "%", false, ""); }, true,
       "Duty (+20.0%) in [+19.8,+20.3]"},
      {[] { return ck_range(-15, 10, 26, "Supply", "V", false, ""); }, true,
       "Supply (-15.0 V) in [-26.0,-10.0]"},
      {[] { return ck_range(-5, 10, 26, "Supply", "V", true, ""); }, false,
       "Supply (-5.0 V) NOT in [+10.0,+26.0]"},
      {[] { return ck_range(10, 10, 5, "Band", "V", false, ""); }, false,
       "Band (+10.0 V) NOT outside of [+10.0,+5.0]"},
      {[] { return ck_range(10.001, 10, 5, "Band", "V", false, ""); }, true,
       "Band (+10.001 V) outside of [+10.0,+5.0]"},
      {[] { return ck_ratio(2100, 2000, 0.05, "Point 1", "A/D", "Full Scale", false); }, true,
       "Point 1 (+2100.0 A/D) within 5% (+5.0) of Full Scale (+2000.0) [+1900.0,+2100.0]"},
      {[] { return ck_ratio(1000010, 1000000, 5e-6, "Span", "", "", false); }, false,
       "Span (+1000010.0) NOT within 5 ppm (+10.0) of +1000000.0 [+999995.0,+1000005.0]"},
      {[] { return ck_ratio(0.5, 0, 0.05, "Gain", "", "", true); }, false,
       "Gain equals 0 in ratio!"},
      {[] { return ck_ratio(2000, 2000, 0.05, "Span", "", "", false); }, false,
       "Span (+2000.0) equal default"},
      {[] { return ck_ratio(2000, 2000, 0.05, "Span", "", "", true); }, true,
       "Span (+2000.0) within 5% (+0.0) of +2000.0 [+1900.0,+2100.0]"},
      {[] { return ck_ratio(1000, 2000, -0.1, "Gap", "V", "", false); }, true,
       "Gap (+1000.0 V) outside of +200.0 V of +2000.0 [+1800.0,+2200.0]"},
      {[] { return ck_text_default("stock", "None,Stock", "Customer Name", ",", false); }, false,
       "Customer Name (stock) equal default (None,Stock)"},
      {[] { return ck_text_default("Acme", "None,Stock", "Customer Name", ",", false); }, true,
       "Customer Name (Acme) NOT equal default (None,Stock)"},
      {[] { return ck_text_default("0 0 10 10", "0 0 10 10", "VoltOut1", "|", true); }, true,
       "VoltOut1 (0 0 10 10) equal default"},
      {[] { return ck_text_default("1 0 10 10", "0 0 10 10", "VoltOut1", "|", true); }, false,
       "VoltOut1 (1 0 10 10) NOT equal default (0 0 10 10)"},
      {[] { return ck_not_default(true, "Shaft", "", "S1", "None"); }, true,
       "Shaft (S1) NOT equal default (None)"},
      {[] { return ck_equal_num(15000, 15000, "Speed Overload", "RPM"); }, true,
       "Speed Overload (+15000.0 RPM) equal default +15000.0 RPM"},
      {[] { return ck_equal_num(10001, 15000, "Speed Overload", "RPM"); }, false,
       "Speed Overload (+10001.0 RPM) NOT +15000.0 RPM"},
      {[] { return ck_differs_num(4587.155963302753, 4587.155963302753, "+Shunt", ""); }, false,
       "+Shunt (+4587.1559) equal default"},
      {[] { return ck_differs_num2(3, 1, 2, "X", ""); }, true,
       "X (+3.0) NOT equal default (+1.0 or +2.0)"},
      {[] { return ck_range_not_default(70, 0, "Zero Temp", "degF", 65, 90); }, true,
       "Zero Temp (+70.0 degF) in [+65.0,+90.0] and NOT default"},
      {[] { return ck_range_not_default(0, 0, "Zero Temp", "degF", 65, 90); }, false,
       "Zero Temp (+0.0) equal default"},
      {[] { return ck_range_not_default(70, 0, "Zero Temp", "degF", 90, 65); }, true,
       "Zero Temp (+70.0 degF)  in [+90.0,+65.0] and NOT default$and $ "},
      {[] { return ck_range_not_default(5, 0, "T", "", 1, 1); }, true,
       "T (+5.0) NOT equal default (+0.0)"},
      {[] { return ck_int_not_default(5, 5, "Filter", ""); }, false, "Filter (+5.0) equal default"},
      {[] { return ck_int_range_default(3, 2, 2, 5, "Points", "", false); }, true,
       "Points (+3.0) in [+2.0,+5.0] and NOT default (+2.0)"},
      {[] { return ck_int_range_default(7, 2, 9, 5, "Points", "", true); }, false,
       "Points (+7.0) NOT outside of [+9.0,+5.0]"},
      {[] { return ck_int_range_default(2, 2, 2, 5, "Points", "", false); }, false,
       "Points (+2.0) equal default "},
      {[] { return ck_int_equal_default(2, 1, "Teeth", ""); }, false,
       "Teeth (+2.0) NOT equal default (+1.0) "},
      {[] { return ck_int_equal_default(1, 1, "Teeth", ""); }, true, "Teeth (+1.0) equal default "},
      {[] { return ck_int_not_equal_default(1, 1, "Teeth", ""); }, false,
       "Teeth (+1.0) equal default "},
  };
  for (const Case& c : cases) {
    ck_clear();
    EXPECT_EQ(c.check(), c.pass) << c.line;
    ck_finish();
    EXPECT_EQ(c.pass ? ck_passes() : ck_failures(), std::string(c.line) + "\r\n");
    EXPECT_EQ(c.pass ? ck_failures() : ck_passes(), "") << c.line;
  }
}

TEST(CheckitRules, SamenessIsRelativeExceptAgainstZeroAndTrimmingKeepsTheLastLineEnd) {
  const struct {
    double a, b;
    bool same;
  } cases[] = {{0, 0, true},        {1e-16, 0, true}, {1e-15, 0, false},       {1.0000001, 1, true},
               {1.00001, 1, false}, {-1, 1, false},   {-2000, -2000.001, true}};
  for (const auto& c : cases) EXPECT_EQ(ck_same(c.a, c.b), c.same) << c.a << " " << c.b;

  EXPECT_EQ(ck_trim_text(std::string("\0 \r\n  abc  \0\0", 13)), "abc");
  EXPECT_EQ(ck_trim_text(" \r\n\r\n"), "");
  EXPECT_EQ(ck_trim_text("\r\nabc\r\n"), "abc\r\n");
}

}  // namespace
}  // namespace ovn::test
