// The logic lines: the function lists and their grid columns by family, the clicks that
// take effect at once in the simulated KST, Cancel's restore, and a line given Tare that
// tares when the simulated instrument's line is driven.

#include "io/io_lines.h"

#include "adjust/noise_fixture.h"
#include "audit/family_tables.h"
#include "instrument/family.h"
#include "link/rs232.h"

namespace ovn::test {
namespace {

TEST(IoFunctions, NamesColumnsAndPinsByFamily) {
  struct Case {
    int32_t family;
    int32_t functions;
    std::string code3, code16, pin0, pin6, pin7;
    int32_t column_of_16, code_of_last_column;
  } cases[] = {
      {kTmKst, 14, "Tare", "Torque-Ok", "G", "A", "K", 10, 19},
      {kTmKslw, 14, "Tare", "Torque-Ok", "G", "A", "K", 10, 19},
      {kTmRdx, 11, "Reset-Maxmin", "", "A", "C", "", -1, 10},
      {kTmWqpm, 0, "", "", "", "", "", -1, -1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.family);
    EXPECT_EQ(io_function_count(c.family), c.functions);
    EXPECT_EQ(tm_io_function_name(3, c.family), c.code3);
    EXPECT_EQ(tm_io_function_name(16, c.family), c.code16);
    EXPECT_EQ(tm_io_function_name(12, c.family), "");
    EXPECT_EQ(tm_io_function_name(-1, c.family), "");
    EXPECT_EQ(tm_io_pin_letter(0, c.family), c.pin0);
    EXPECT_EQ(tm_io_pin_letter(6, c.family), c.pin6);
    EXPECT_EQ(tm_io_pin_letter(7, c.family), c.pin7);
    EXPECT_EQ(io_column_of_code(16, c.family), c.column_of_16);
    EXPECT_EQ(io_code_of_column(c.functions - 1, c.family), c.code_of_last_column);
    EXPECT_EQ(io_code_of_column(c.functions, c.family), -1);
    for (int32_t col = 0; col < c.functions; ++col)
      EXPECT_EQ(io_column_of_code(io_code_of_column(col, c.family), c.family), col);
  }
  EXPECT_EQ(io_column_of_code(12, kTmKst), -1) << "no column for an empty code";
}

class IoLinesTest : public NoiseTest {
 protected:
  std::string param(const std::string& name) const { return sim_param(sim, name); }
};

TEST_F(IoLinesTest, AClickAssignsActiveLoAndASecondTurnsThePolarity) {
  open_kst(0.5);
  FrmIa f = ia_load(kTmKst);
  ASSERT_EQ(f.line_count, 8);
  const int tare = io_column_of_code(3, kTmKst);
  ia_click(f, 0, tare);  // line 0 had Temp-Ok
  EXPECT_EQ(param("IOA"), "3");
  EXPECT_EQ(f.grid.cells[0][static_cast<size_t>(tare)].text, "Lo");
  ia_click(f, 0, tare);
  EXPECT_EQ(param("IOI"), "1");
  EXPECT_EQ(f.grid.cells[0][static_cast<size_t>(tare)].text, "Hi");
  ia_click(f, 0, tare);
  EXPECT_EQ(param("IOI"), "0");
  EXPECT_FALSE(f.grid.cells[0][static_cast<size_t>(f.function_count)].visible)
      << "an input has no limits";
  EXPECT_TRUE(f.grid.cells[1][static_cast<size_t>(f.function_count)].visible) << "Torque-Ok has";
}

TEST_F(IoLinesTest, CancelRestoresTheLinesAndOkSendsOnlyNumericLimits) {
  open_kst(0.5);
  FrmIa f = ia_load(kTmKst);
  ia_click(f, 2, io_column_of_code(8, kTmKst));
  ia_click(f, 5, io_column_of_code(16, kTmKst));
  ia_click(f, 5, io_column_of_code(16, kTmKst));
  port.clear_transcript();
  ia_cancel(f);
  std::vector<std::string> writes;
  for (const std::string& m : sent()) writes.push_back(m.substr(1));
  ASSERT_EQ(writes.size(), 25u);
  EXPECT_EQ(writes[0], "IOA19");
  EXPECT_EQ(writes[8], "IOI0");
  EXPECT_EQ(writes[9], "ILA1.1");
  EXPECT_EQ(param("IOC"), "3");
  EXPECT_EQ(param("IOF"), "4");
  EXPECT_EQ(param("IOI"), "0");

  f.txt_limits[2] = "abc";  // line 1's high limit
  f.txt_limits[3] = "-50";
  ia_repaint(f, 1);
  EXPECT_EQ(f.grid.cells[1][static_cast<size_t>(f.function_count)].back_color, 0x0000FF);
  ia_ok(f);
  EXPECT_EQ(param("ILC"), "1.1") << "a red field is not sent";
  EXPECT_EQ(param("ILD"), "-0.5");
}

TEST_F(IoLinesTest, ALineGivenTareTaresWhenTheInstrumentsLineIsDriven) {
  open_kst(0.5);
  sim.physics.torque = {SimShape::Constant, 500};
  op.expect_grid("Digital I/O Setup", [](GridForm& g) {
    EXPECT_TRUE(g.answer("Pin B/Tare=high"));  // line 2, pin B: already Tare, now active high
    EXPECT_TRUE(g.answer("Pin J/Tare=low"));   // line 3 from Speed-Ok
    return 0;                                  // OK
  });
  ia_command();
  EXPECT_EQ(param("IOD"), "3");
  EXPECT_EQ(param("IOI"), "4");
  const double before = sim_display_value(sim, 1, now_ms());
  ASSERT_GT(before, 400);
  sim_drive_line(sim, 3, true, now_ms());  // inactive level: nothing
  EXPECT_NEAR(sim_display_value(sim, 1, now_ms()), before, 1);
  sim_drive_line(sim, 3, false, now_ms());
  EXPECT_NEAR(sim_display_value(sim, 1, now_ms()), 0, 1) << "tared";
}

TEST_F(IoLinesTest, TheRdxGridHasSevenLinesAndElevenFunctionsAndItsTareTares) {
  open(SimFamily::Rdx, kRdxAudited);
  sim.physics.torque = {SimShape::Constant, 500};
  op.expect_grid("Pin E", [](GridForm& g) {
    EXPECT_TRUE(g.answer("Pin E/Tare=low"));  // line 2
    return 0;
  });
  ia_command();
  EXPECT_EQ(sim_param(sim, "IOC"), "4") << "Tare is 4 on an RDX";
  ASSERT_GT(sim_display_value(sim, 1, now_ms()), 400);
  sim_drive_line(sim, 2, true, now_ms());
  sim_drive_line(sim, 2, false, now_ms());
  EXPECT_NEAR(sim_display_value(sim, 1, now_ms()), 0, 1) << "tared";
  FrmIa f = ia_load(kTmRdx);
  EXPECT_EQ(f.grid.row_labels, (std::vector<std::string>{"Pin A", "Pin B", "Pin E", "Pin F",
                                                         "Pin G", "Pin H", "Pin C"}));
  EXPECT_EQ(f.grid.column_labels.size(), 11u + 2u);
  EXPECT_EQ(f.grid.column_labels[3], "Reset-Maxmin");
}

}  // namespace
}  // namespace ovn::test
