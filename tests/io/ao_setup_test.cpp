// The analog output setup on the simulated KST: the checks collect every error before
// anything is sent, the mirrored voltage of the negative side counts, and an accepted
// setup is written output by output.

#include "io/ao_setup.h"

#include "adjust/noise_fixture.h"
#include "link/rs232.h"

namespace ovn::test {
namespace {

class AoSetupTest : public NoiseTest {
 protected:
  // The writes of the setup since the transcript was cleared.
  std::vector<std::string> writes() const {
    std::vector<std::string> out;
    for (const std::string& m : sent())
      if (m.size() > 4 && m.compare(1, 2, "AO") == 0) out.push_back(m.substr(1));
    return out;
  }
  // Opens the window, fills `cells` ("Pin G/Volts at 0 Input" = text) and presses OK,
  // then `after` on a refusal box ("Back" or "I'm sure, Continue"), then Cancel.
  void fill_and_ok(const std::vector<std::pair<std::string, std::string>>& cells) {
    op.expect_grid("Pin G", [cells](GridForm& g) {
      for (const auto& [name, text] : cells) {
        int row = -1, column = -1;
        EXPECT_TRUE(grid_form_find(g, name, row, column)) << name;
        g.edit(row, column, text);
      }
      return 0;  // OK
    });
  }
};

TEST_F(AoSetupTest, TheChecksCollectEveryErrorAndNothingIsSent) {
  open_kst(0.5);
  struct Case {
    std::vector<std::pair<std::string, std::string>> cells;
    std::string errors;  // "" accepted
    bool may_continue;
  } cases[] = {
      {{{"Pin G/Volts at 0 Input", "10"}, {"Pin G/Volts at +FS Input", "20"}},
       "Volts at +FS Input for Analog Output 1 (20) should be in the range of -15 to 15 Volts\r\n",
       false},
      {{{"Pin A/Volts at 0 Input", "10"}, {"Pin A/Volts at +FS Input", "-6"}},
       "Volts at -FS Input for Analog Output 2 (26) should be in the range of -15 to 15 Volts\r\n",
       true},
      {{{"Pin B/Volts at 0 Input", "ten"}, {"Pin G/Volts at +Shunt", ""}},
       "Volts at +Shunt for Analog Output1 should be numeric\r\n"
       "Volts at 0 Input for Analog Output3 should be numeric\r\n",
       false},
      // The shunt means nothing to an output the speed drives: not checked.
      {{{"Pin G/Channel driving", "SPEED"}, {"Pin G/Volts at +Shunt", "99"}}, "", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.errors);
    port.clear_transcript();
    bool only_mirrored = false;
    FrmAoSetup f = ao_setup_load();
    for (const auto& [name, text] : c.cells) {
      int row = -1, column = -1;
      ASSERT_TRUE(grid_form_find(f.grid, name, row, column)) << name;
      if (column == 0)
        f.channel[static_cast<size_t>(row)] = text == "SPEED" ? 1 : 0;
      else
        f.txt_input[static_cast<size_t>(row)][static_cast<size_t>(column - 1)] = text;
    }
    EXPECT_EQ(ao_setup_errors(f, only_mirrored), c.errors);
    if (!c.errors.empty()) {
      EXPECT_EQ(only_mirrored, c.may_continue);
    }
  }
}

TEST_F(AoSetupTest, BackSendsNothingAndAnAcceptedSetupIsWrittenOutputByOutput) {
  open_kst(0.5);
  fill_and_ok({{"Pin G/Volts at 0 Input", "10"}, {"Pin G/Volts at +FS Input", "-6"}});
  op.expect_gib("Volts at -FS Input for Analog Output 1 (26)", "Back");
  fill_and_ok({{"Pin G/Volts at +FS Input", "14"}, {"Pin B/Channel driving", "POWER"}});
  ao_setup_command();
  EXPECT_EQ(writes(),
            (std::vector<std::string>{"AOA0", "AOB10", "AOC14", "AOD10", "AOE1", "AOF0", "AOG10",
                                      "AOH10", "AOI2", "AOJ0", "AOK10", "AOL10"}));
  EXPECT_EQ(sim_param(sim, "AOC"), "14");
}

TEST_F(AoSetupTest, CancelAndALockedInstrumentSendNothing) {
  open_kst(0.5);
  op.expect_grid("Pin G", [](GridForm& g) {
    g.edit(0, 2, "12");
    return 1;  // Cancel
  });
  ao_setup_command();
  sim.locked = true;
  op.expect_grid("password protected", [](GridForm& g) {
    EXPECT_FALSE(g.cells[0][1].enabled);
    return 0;
  });
  ao_setup_command();
  EXPECT_TRUE(writes().empty());
}

TEST_F(AoSetupTest, AKslwGetsTheShortFormAndItsChoicesAreWritten) {
  open(SimFamily::Kslw);
  op.expect_grid("Volts", [](GridForm& g) {
    EXPECT_EQ(g.cells[0][1].text, "10V") << "the factory's 0 0 10 10";
    EXPECT_EQ(g.cells[1][1].text, "10V");
    g.edit(0, 1, "5");
    g.edit(0, 2, "Yes");  // inverted: 5 V at zero, 0 V at full scale
    EXPECT_EQ(g.cells[0][1].text, "5");
    return 0;
  });
  ao_setup_command();
  EXPECT_EQ(sim_param(sim, "AOB"), "5");
  EXPECT_EQ(sim_param(sim, "AOC"), "0");
  EXPECT_EQ(sim_param(sim, "AOD"), "0");
}

TEST(AoSetuq, EachChoiceGivesItsNumbersAndIsReadBackFromThem) {
  struct Case {
    const char* range;
    bool inverted, fifth;
    std::array<std::string, 3> numbers;
  } cases[] = {
      {"10V", false, false, {"0", "10", "10"}},  // the factory setup
      {"10V", true, false, {"0", "-10", "-10"}}, {"5V", false, true, {"0", "5", "1"}},
      {"5", false, false, {"5", "10", "10"}},    {"5", true, true, {"5", "0", "4"}},
      {"0", false, false, {"0", "0", "0"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.range) + (c.inverted ? " inverted" : "") + (c.fifth ? " 20%" : ""));
    FrmAoSetup f;
    ao_setuq_apply(f, 1, c.range, c.inverted, c.fifth);
    EXPECT_EQ(f.txt_input[1], c.numbers);
    bool inverted = !c.inverted, fifth = !c.fifth;
    EXPECT_EQ(ao_setuq_range(f, 1, inverted, fifth), c.range);
    EXPECT_EQ(inverted, c.inverted);
    EXPECT_EQ(fifth, c.fifth);
  }
  FrmAoSetup f;
  f.txt_input[0] = {"1", "7", "7"};
  ao_setuq_apply(f, 0, "other", true, true);
  EXPECT_EQ(f.txt_input[0][1], "7") << "other leaves the numbers";
  bool inverted = true, fifth = true;
  EXPECT_EQ(ao_setuq_range(f, 0, inverted, fifth), "other");
  EXPECT_FALSE(inverted || fifth);
}

}  // namespace
}  // namespace ovn::test
