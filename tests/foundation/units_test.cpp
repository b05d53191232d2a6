#include "foundation/units.h"

#include <cmath>

#include "foundation/operator.h"
#include "support/scripted_operator.h"
#include "support/seams.h"
#include "support/temp_dir.h"

namespace ovn {
namespace {

using test::TempDir;

const std::string kAllGroups = "TORQUE|TEMPERATURE|SPEED|POWER|ENERGY|FORCE";
const std::string kDegF = std::string("\xBA") + "F";
const std::string kDegC = std::string("\xBA") + "C";

class UnitsTest : public test::SeamsTest {
 protected:
  UnitsTest() { units_set_search_dirs(beside.path(), fallback.path()); }
  ~UnitsTest() override { units_set_search_dirs("", ""); }
  // Queues the undefined-word box for each word, answered OK, and gives the texts expected.
  std::vector<std::string> expect_undefined(const std::vector<std::string>& words) {
    std::vector<std::string> texts;
    for (const auto& word : words) {
      texts.push_back("Word \"" + word + "\" not defined in ovn-units.ini file");
      op.expect_msg_box(texts.back(), MsgAnswer::Ok);
    }
    return texts;
  }
  // The index of a unit in a group, or -1.
  static int find(const std::string& name, int group) {
    for (int i = 0; i < units_count(group); ++i)
      if (units_name(i, group) == name) return i;
    return -1;
  }
  // The base value of one display unit of `name`.
  static double in_base(const std::string& name, int group, double value = 1.0) {
    int unit = find(name, group);
    EXPECT_GE(unit, 0) << name;
    return units_to_base(unit, group, value);
  }
  TempDir beside, fallback;
  test::ScriptedOperator op;
};

TEST_F(UnitsTest, ExpressionsRunLeftToRightWithEqualRank) {
  units_init(kAllGroups);
  const std::pair<const char*, double> cases[] = {
      {"2*3/4", 1.5},       {"12/4*3", 9.0},  {" 8 / 2 / 2 ", 2.0},
      {"-273.15", -273.15}, {"+1e3", 1000.0}, {"lbf-in*12", 0.11298482902761668 * 12},
      {"kW-h/W-h", 1000.0}};
  for (const auto& [expression, value] : cases)
    EXPECT_EQ(units_eval(expression), value) << expression;
  EXPECT_TRUE(op.shown.empty());
}

TEST_F(UnitsTest, AnUndefinedOrZeroWordIsReportedAndCountsAsZero) {
  units_init(kAllGroups);
  auto texts = expect_undefined({"furlong", "N-M", ""});
  EXPECT_EQ(units_eval("furlong"), 0.0);
  EXPECT_EQ(units_eval("N-M"), 0.0);  // names match in letter case only
  EXPECT_EQ(units_eval("rpm/"), 0.0);
  EXPECT_EQ(op.texts(), texts);
  EXPECT_EQ(op.last().title, "Units");
}

TEST_F(UnitsTest, BuiltInTableMatchesPublishedConversions) {
  EXPECT_FALSE(units_init(kAllGroups));
  EXPECT_EQ(units_file(), "None");
  const int torque = 0, temperature = 1, speed = 2, power = 3, energy = 4, force = 5;
  const int counts[] = {10, 3, 10, 14, 18, 11};
  for (int g = 0; g < 6; ++g) EXPECT_EQ(units_count(g), counts[g]) << "group " << g;

  // Exact definitions: lbf = 4.4482216152605 N, ft = 0.3048 m, in = 0.0254 m,
  // hp = 550 ft-lbf/s, kgf = 9.80665 N, thermochemical Btu = 1054.3502644888888 J,
  // ton of refrigeration = 12000 Btu(IT)/h = 3516.8528420667 W.
  struct Case {
    const char* name;
    int group;
    double base;
  } cases[] = {{"lbf-in", torque, 4.4482216152605 * 0.0254},
               {"lbf-ft", torque, 1.3558179483314004},
               {"kgf-cm", torque, 0.0980665},
               {"rpm", speed, 0.10471975511965977},
               {"degree/h", speed, 0.017453292519943295 / 3600},
               {"grads/s", speed, 0.015707963267948967},
               {"hp", power, 745.69987158227022},
               {"hp(metric)", power, 75 * 9.80665},
               {"Btu/h", power, 1054.3502644888888 / 3600},
               {"ton", power, 3516.8528420667},
               {"lbfinrpm", power, 4.4482216152605 * 0.0254 * 2 * M_PI / 60},
               {"hp-h", energy, 745.69987158227022 * 3600},
               {"therm", energy, 1054.3502644888888e5},
               {"ton", force, 2000 * 4.4482216152605}};
  for (const auto& c : cases)
    EXPECT_NEAR(in_base(c.name, c.group), c.base, std::abs(c.base) * 1e-12) << c.name;

  EXPECT_DOUBLE_EQ(in_base(kDegC, temperature, 100), 373.15);
  EXPECT_DOUBLE_EQ(in_base(kDegF, temperature, 212), 373.15);
  EXPECT_DOUBLE_EQ(in_base(kDegF, temperature, -40), in_base(kDegC, temperature, -40));
  EXPECT_DOUBLE_EQ(units_from_base(find(kDegF, temperature), temperature, 373.15), 212.0);
  EXPECT_DOUBLE_EQ(units_from_base(find(kDegC, temperature), temperature, 0), -273.15);
  EXPECT_DOUBLE_EQ(units_from_base(find("rpm", speed), speed, 2 * M_PI), 60.0);
  EXPECT_EQ(units_name(0, temperature), kDegF);
  EXPECT_TRUE(op.shown.empty());
}

TEST_F(UnitsTest, IndicesOutOfRangeGiveNothing) {
  units_init("SPEED");
  EXPECT_EQ(units_count(0), 10);
  for (auto [unit, group] : {std::pair{10, 0}, {-1, 0}, {0, 1}, {0, -1}, {0, kUnitsMaxGroups}}) {
    EXPECT_EQ(units_name(unit, group), "");
    EXPECT_EQ(units_factor(unit, group), 0.0);
    EXPECT_EQ(units_offset(unit, group), 0.0);
    EXPECT_EQ(units_to_base(unit, group, 5), 0.0);
    EXPECT_EQ(units_from_base(unit, group, 5), 0.0);
  }
  for (int group : {1, -1, kUnitsMaxGroups}) EXPECT_EQ(units_count(group), 0);
  // Groups the caller did not list still name their units for expressions.
  EXPECT_EQ(units_eval("lbf-ft/lbf-in"), 1.3558179483314001 / 0.11298482902761668);
}

TEST_F(UnitsTest, TheFileBesideTheProgramReplacesTheTable) {
  fallback.write("ovn-units.ini", "[TORQUE]\nfallback 1\n");
  std::string path =
      beside.write("ovn-units.ini",
                   "# site units\n[Words]\nfoot 0.3048  # exact\nlbf 4.4482216152605\n\n"
                   "[TORQUE]\r\n  lbf-ft   lbf * foot \r\nlbf-in lbf-ft/12\n[torque]\nshouted 5\n"
                   "[TEMPERATURE]\nC 1:-273.15\nF 5/9:-255.3722222222222/0.5555555555555556\n"
                   "[Words]\nfoot 0.5\n[TORQUE]\nfoot-lbf foot*lbf\n");
  EXPECT_TRUE(units_init("TEMPERATURE|TORQUE"));
  EXPECT_EQ(units_file(), path);
  ASSERT_EQ(units_count(1), 3);
  EXPECT_EQ(units_name(0, 1), "lbf-ft");
  EXPECT_EQ(units_factor(0, 1), 0.3048 * 4.4482216152605);
  EXPECT_EQ(units_factor(1, 1), 0.3048 * 4.4482216152605 / 12);
  EXPECT_EQ(units_name(2, 1), "foot-lbf");
  EXPECT_EQ(units_factor(2, 1), units_factor(0, 1)) << "a redefined word keeps its first value";
  EXPECT_EQ(find("shouted", 1), -1) << "a section in other letter case is no match";
  EXPECT_EQ(units_eval("shouted"), 5.0) << "its lines still define words";

  ASSERT_EQ(units_count(0), 2);
  EXPECT_EQ(units_offset(0, 0), -273.15);
  EXPECT_NEAR(units_to_base(1, 0, 32), 273.15, 1e-12);
  EXPECT_NEAR(units_from_base(1, 0, 273.15), 32, 1e-12);
  EXPECT_TRUE(op.shown.empty());

  std::filesystem::remove(path);
  EXPECT_TRUE(units_init("TORQUE"));
  EXPECT_EQ(units_file(), fallback / "ovn-units.ini");
  EXPECT_EQ(units_name(0, 0), "fallback");
  EXPECT_EQ(units_count(0), 1);
}

TEST_F(UnitsTest, AZeroFactorIsReportedWhereItIsUsedAndHasNoReciprocal) {
  beside.write("ovn-units.ini",
               "[SPEED]\nstopped 0\nstill stopped*2:10\nunknown furlong/fortnight\n");
  auto texts = expect_undefined({"stopped", "furlong", "fortnight"});
  EXPECT_TRUE(units_init("SPEED"));
  EXPECT_EQ(op.texts(), texts);
  ASSERT_EQ(units_count(0), 3);
  for (int unit = 0; unit < 3; ++unit) EXPECT_EQ(units_factor(unit, 0), 0.0);
  EXPECT_EQ(units_from_base(1, 0, 123.0), 10.0) << "reciprocal 0: only the offset remains";
  EXPECT_EQ(units_to_base(1, 0, 123.0), 0.0);
}

TEST_F(UnitsTest, TheShippedFileSaysWhatTheBuiltInTableSays) {
  units_init(kAllGroups);
  auto table = [] {
    std::vector<std::tuple<std::string, double, double>> all;
    for (int g = 0; g < 6; ++g)
      for (int u = 0; u < units_count(g); ++u)
        all.emplace_back(units_name(u, g), units_factor(u, g), units_offset(u, g));
    return all;
  };
  const auto built_in = table();
  units_set_search_dirs(beside.path(), OVN_SOURCE_DIR "/data");
  EXPECT_TRUE(units_init(kAllGroups));
  EXPECT_EQ(units_file(), OVN_SOURCE_DIR "/data/ovn-units.ini");
  EXPECT_EQ(table(), built_in);
  EXPECT_TRUE(op.shown.empty());
}

}  // namespace
}  // namespace ovn
