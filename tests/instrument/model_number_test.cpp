// Model numbers: the full scale notation, the check against a family, the speed table and
// the notation written back.

#include "instrument/model_number.h"
#include "foundation/kw.h"
#include "instrument/identify.h"
#include "instrument/model_stems.h"
#include "instrument/session_fixture.h"

namespace ovn::test {
namespace {

constexpr double kNm = 0.11298482902761668;  // N-m per lbf-in
constexpr double kUntouched = -1;

TEST(ModelParse, EachUnitScaleAndMalformedShapeGivesItsFullScaleOrItsStopPosition) {
  struct Case {
    const char* model;
    int result;
    double full_scale;  // lbf-in; kUntouched when the parse fails
    double units_per_lbfin;
    const char* unit;
  } cases[] = {
      {"ZQVD52002V(2-3 lbf-in)", 0, 2000, 1, "lbf-in"},
      {"ZQVD9880002V(5-2 Nm)", 0, 500 / kNm, kNm, "Nm"},
      {"52004H(5-2 N-m)", 0, 500 / kNm, kNm, "N-m"},
      {"40000(1k lbf-in)", 0, 1000, 1e-3, "klbf-in"},
      {"30001(5 mNm)", 0, 5 / (kNm / 1e-3), kNm / 1e-3, "mNm"},
      {"30001(5\xB5Nm)", 0, 5 / (kNm / 1e-6), kNm / 1e-6, "\xB5Nm"},
      {"61234V(2.5-1 oz-in)", 0, 25 / 15.999999999999998, 15.999999999999998, "oz-in"},
      {"80001(.5-3 lbft)", 0, 500 / 0.08333333333333334, 0.08333333333333334, "lbft"},
      {"52002V(2-7 li)", 0, 2e7, 1, "li"},
      {"2000(100)", 0, 100, 1, "lbf-in"},  // no unit: lbf-in
      // Force models rate in lbf and may name N, lbf or nothing.
      {"1950(100)", 0, 100, 1, "lbf"},
      {"ZQVD1950(100 N)", 0, 100 / 4.4482216152605, 4.4482216152605, "N"},
      {"1950(2-2 lbf)", 0, 200, 1, "lbf"},
      {"1950(10 Nm)", 0, 10 / kNm, kNm, "Nm"},
      // Malformed: the 1-based position where the parse stopped.
      {"52002V", 7, kUntouched, 1, "lbf-in"},               // no "(": length + 1
      {"52002V(2-8 lbf-in)", 18, kUntouched, 1, "lbf-in"},  // exponent above 7
      {"52002V(lbf-in)", 8, kUntouched, 1, "lbf-in"},       // no number
      {"52002V(2- Nm)", 10, kUntouched, 1, "lbf-in"},       // "-" without digits
      {"52002V(2-3 lbf-in", 18, kUntouched, 1, "lbf-in"},   // no ")"
      {"52002V(2-3 xyz)", 12, kUntouched, 1, "lbf-in"},     // unknown unit
      {"52002V(5-2 N)", 12, kUntouched, 1, "lbf-in"},       // N only for force models
      {"52002V(100 pi)", 13, kUntouched, 1e12, "plbf-in"},  // "p" is pico before a unit
      {"1950(100 N", 10, kUntouched, 1, "lbf"},             // force unit without ")"
  };
  for (const Case& c : cases) {
    double full_scale = kUntouched, units = 0;
    std::string unit;
    EXPECT_EQ(tm_info_model_parse(c.model, full_scale, units, unit), c.result) << c.model;
    EXPECT_NEAR(full_scale, c.full_scale, std::abs(c.full_scale) * 1e-12) << c.model;
    EXPECT_NEAR(units, c.units_per_lbfin, c.units_per_lbfin * 1e-12) << c.model;
    EXPECT_EQ(unit, c.unit) << c.model;
  }
  // The worked example: 500 Nm is 4425.4 lbf-in.
  double full_scale = 0, units = 0;
  std::string unit;
  tm_info_model_parse("ZQVD9880002V(5-2 Nm)", full_scale, units, unit);
  EXPECT_EQ(kw_format(full_scale, "0.0"), "4425.4");
}

TEST(ModelCheck, AModelIsGoodOnlyForTheFamilyOfItsStemAndOnlyWithAWellFormedFullScale) {
  struct Case {
    int32_t family;
    const char* model;
    int result;
  } cases[] = {{kTmKst, "ZQVD52002V(2-3 lbf-in)", 0},
               {kTmKst, "ZQVD61234V(20 Nm)", 1},
               {kTmKst, "52002V", 2},
               {kTmKst, "52002V(2-8 Nm)", 14},
               {kTmKslw, "9880002V(5-2 Nm)", 0},
               {kTmRdx, "1950(100)", 0},
               {kTmWqpm, "80001(1000 ozf-in)", 0},
               {kTmHzym, "30001(5-2 Nm)", 0},
               {kTmKsvm, "61234V(20 Nm)", 0},
               {kTmS350, "52002V(2-3 lbf-in)", 2},
               {kTmS350Plus, "52002V(2-3 lbf-in)", 2},
               {kTmFga, "52002V(2-3 lbf-in)", 2},
               {kTmNone, "52002V(2-3 lbf-in)", 2},
               {kTmKsvm, "1950(100)", 1}};
  for (const Case& c : cases) {
    double full_scale = 0, units = 0;
    std::string unit;
    EXPECT_EQ(tm_info_model_check_family(c.family, c.model, full_scale, units, unit), c.result)
        << c.family << " " << c.model;
  }
}

TEST(ModelCheck, TheCheckAcceptsAModelForExactlyTheFamilyThatIdentificationGivesIt) {
  // A model of each family's stems; a KSLW model is one that identification leaves
  // without a family, though its own family's check takes it.
  const char* models[] = {"1100(500)",        "ZQVD2999B(5-2 lbf-in)", "1950(100)",
                          "52004H(5-2 Nm)",   "ZQVD40000(1k lbf-in)",  "71234(3 Nm)",
                          "61234V(20 Nm)",    "80001(1000 ozf-in)",    "ZQVD30001(2 Nm)",
                          "9880002V(5-2 Nm)", "520041(5 Nm)",          "1099(10)"};
  for (const char* model : models) {
    const int32_t identified = tm_info_family_from_model(model);
    for (int32_t family = kTmNone; family <= kTmFga; ++family) {
      double full_scale = 0, units = 0;
      std::string unit;
      const int result = tm_info_model_check_family(family, model, full_scale, units, unit);
      const bool kslw = family == kTmKslw && tm_model_in_stems(StemSet::Kslw, model);
      const bool own = family == identified && identified != kTmNone;
      EXPECT_EQ(result == 0, own || kslw) << model << " as " << family;
    }
  }
}

TEST(ModelSpeed, KstStemsGiveTheirGroupsSpeedAndTheHighSpeedFrameAsksForAnH) {
  const std::pair<const char*, double> cases[] = {
      {"ZQVD52002V(2-3 lbf-in)", 15000},
      {"ZQVD52002HV(2-3 lbf-in)", 25000},
      {"52004H(5-2 Nm)", 25000},
      {"52002V(1 Hlbf-in)", 15000},  // an "H" inside the parentheses is no option
      {"40001V", 30000},
      {"50101", 25000},
      {"ZQVD50804V", 3600},
      {"59999V(1 Nm)", 0},  // a KST stem not in the table
      {"60001", 0},         // not a KST stem
      {"5200", 0},
      {"", 0}};
  for (const auto& [model, rpm] : cases) EXPECT_EQ(tm_info_model_fs_limit(model), rpm) << model;
}

TEST(ModelFormat, AFullScaleIsWrittenAsItsSignificantDigitsAndTheZerosTakenOff) {
  const std::pair<double, const char*> cases[] = {
      {2000, "2(-3)"},  {500, "5(-2)"},     {1500, "15(-2)"}, {25, "25(-0)"},
      {2.5, "2.5(-0)"}, {0.25, "0.25(-0)"}, {0, "0(-0)"},     {2001.0002, "2001.0002(-0)"}};
  for (const auto& [value, text] : cases) EXPECT_EQ(tm_info_format_fs(value), text) << value;
  EXPECT_EQ(tm_info_model_unit("1950(100)"), "lbf");
  EXPECT_EQ(tm_info_model_unit("ZQVD52002V(2-3 lbf-in)"), "lbf-in");
}

TEST_F(SessionTest, TheSimulatedKstsModelPassesItsCheckWithTheSpeedItIsSetUpFor) {
  open(SimFamily::Kst);
  const std::string model = tm_info_text(kSelModel, 0);
  double full_scale = 0, units = 0;
  std::string unit;
  EXPECT_EQ(tm_info_model_check(model, full_scale, units, unit), 0);
  EXPECT_EQ(full_scale, 2000);
  EXPECT_EQ(units, 1);
  EXPECT_EQ(unit, "lbf-in");
  EXPECT_EQ(tm_info_family_from_model(model), kTmKst);
  EXPECT_EQ(tm_info_model_fs_limit(model), std::stod(sim.working.at("OL2")));
}

}  // namespace
}  // namespace ovn::test
