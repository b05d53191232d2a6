// The session's rules that need no instrument: selection, firmware ages, names, ranges,
// filter tables.

#include "instrument/session_fixture.h"

namespace ovn::test {
namespace {

TEST_F(SessionTest, SelectionStaysInsideTheTableAndPutsAWildChannelBack) {
  EXPECT_EQ(tm_info_select(7), 7);
  EXPECT_EQ(tm_info_select(-1), 7) << "below the table keeps the current session";
  EXPECT_EQ(tm_info_select(30), 30);
  EXPECT_EQ(tm_info_select(31), 0) << "beyond the table falls back to the first";
  tm_info_set_channel(2);
  tm_info_select(3);
  EXPECT_EQ(tm_info_channel(), 2);
  tm_info_set_channel(3);
  tm_info_select(3);
  EXPECT_EQ(tm_info_channel(), 1);
}

TEST(TmInfoRules, OldWqpmFirmwareIsToldByItsVersionText) {
  const std::pair<const char*, bool> cases[] = {
      {"2.036", true},  {"2.037", true}, {"2.038", false}, {"2.999", false},
      {"3.000", true},  {"3.010", true}, {"3.022", true},  {"3.023", false},
      {"3.050", false}, {"1.5", true},   {"10.000", true},  // compared as text
  };
  for (const auto& [version, old] : cases) EXPECT_EQ(tm_info_firmware_old(version), old) << version;
}

TEST(TmInfoRules, TheMakersPrefixIsDroppedAndTheModelCut) {
  EXPECT_EQ(tm_info_strip_model("ZQVD52002V(2-3 lbf-in)", 0), "52002V(2-3 lbf-in)");
  EXPECT_EQ(tm_info_strip_model("ZQVD52002V(2-3 lbf-in)", 6), "52002V");
  EXPECT_EQ(tm_info_strip_model("9880002V", -1), "9880002V");
  EXPECT_EQ(tm_info_strip_model("XZQVD1", 0), "XZQVD1");
  EXPECT_EQ(tm_info_strip_model("ZQVD12", 5), "12");
}

TEST(TmInfoRules, TheAmbientRangeFollowsTheDigitsBeforeTheV) {
  struct Row {
    const char* model;
    bool kst;
    double low, high;
  };
  const Row rows[] = {
      {"9880002V", true, 74, 99},   {"ZQVD52002V(2-3 lbf-in)", true, 74, 99},
      {"9880000V", true, 95, 120},  {"98800", true, 95, 120},  // no "V"
      {"V12", true, 95, 120},       {"9880001V", false, 74, 99},
      {"9880003V", true, 72, 95},   {"9880004V", true, 67, 85},
      {"9880006V", true, 67, 77},   {"9880007V", false, 67, 77},
      {"9880005V", true, 67, 85},   {"9880050V", true, 72, 95},
      {"9880051V", true, 72, 95},   {"9880050V", false, 67, 85},
      {"988A0V02V", true, 95, 120},  // only the first "V" counts
  };
  for (const Row& row : rows) {
    double low = 0, high = 0;
    tm_info_tempf_range(row.model, row.kst, low, high);
    EXPECT_EQ(low, row.low) << row.model << (row.kst ? " KST" : " KSLW");
    EXPECT_EQ(high, row.high) << row.model << (row.kst ? " KST" : " KSLW");
  }
}

TEST(TmInfoRules, FileNamesHoldNoCharacterAFileSystemRefuses) {
  const std::pair<const char*, const char*> cases[] = {
      {"Acme Co.4820-55.W-17.917", "Acme_Co.4820-55.W-17.917"},
      {"a?b\\c/d:e*f<g>h|i\"j.611", "a_b_c_d_e_f_g_h_i_j.611"},
      {"..-NoModel-NoSerial..000", "NoModel-NoSerial.000"},
      {"  Cust.M-S..611  ", "Cust.M-S.611"},
      {"C.M-.S.611", "C.M.S.611"},
      {"C...M", "C..M"},  // one pass only
      {".-.-", ""}};
  for (const auto& [raw, clean] : cases) EXPECT_EQ(tm_info_clean_file_name(raw), clean) << raw;
}

TEST(TmInfoRules, PointsAndShuntStatesHaveTheirNames) {
  const int32_t points[] = {1201, 1202, 1203, 1204, 1205, 1206};
  const int32_t indices[] = {-1, 0, 1, 2, 3, -2};
  const char* names[] = {"Zero", "Positive", "Negative", "Positive #2", "Negative #2", ""};
  const char* letters[] = {"A", "B", "C", "D", "E"};
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(tm_info_point_index(points[i]), indices[i]);
    EXPECT_EQ(tm_info_point_text(indices[i]), names[i]);
    if (i < 5) {
      EXPECT_EQ(tm_info_point_letter(points[i]), letters[i]);
    }
  }
  EXPECT_EQ(tm_info_shunt_name(1400), "No Shunt");
  EXPECT_EQ(tm_info_shunt_name(1401), "Positive Shunt");
  EXPECT_EQ(tm_info_shunt_name(1402), "Negative Shunt");
  EXPECT_EQ(tm_info_shunt_sign(1400) + tm_info_shunt_sign(1401) + tm_info_shunt_sign(1402), "0+-");
  EXPECT_EQ(tm_info_shunt_name(1403), "");
}

TEST(TmInfoRules, SafeDivideFallsBackOnlyForAnExactZero) {
  EXPECT_EQ(safe_divide(1, 4, 9), 0.25);
  EXPECT_EQ(safe_divide(1, 0, 9), 9);
  EXPECT_EQ(safe_divide(1, -0.0, 9), 9);
  EXPECT_DOUBLE_EQ(safe_divide(1, 1e-300, 9), 1e300);
}

TEST(TmInfoRules, TheSettlingTableHasItsEdges) {
  EXPECT_EQ(tm_info_settling_ratio(0, 4), 1);
  EXPECT_EQ(tm_info_settling_ratio(16, 4), 948414.524313);
  EXPECT_EQ(tm_info_settling_ratio(1, 2), 13.722958);
  EXPECT_EQ(tm_info_settling_ratio(17, 4), 1.0E+9);
  EXPECT_EQ(tm_info_settling_ratio(-1, 4), 0);
  EXPECT_EQ(tm_info_settling_ratio(3, 0), 0);
  EXPECT_EQ(tm_info_settling_ratio(3, 6), 0);
  EXPECT_EQ(tm_info_settling_ratio(0, 1), 1);
}

TEST_F(SessionTest, EveryFilterFrequencyOfTheTableGivesItsIndexBack) {
  open(SimFamily::Kst);
  sim_set_param(sim, "UCB", "128");  // averaging on: index 0 is the base frequency
  for (int i = 0; i <= 16; ++i) {
    double f = tm_info_filter_frequency(i, 0);
    EXPECT_DOUBLE_EQ(f, 7812.5 / tm_info_settling_ratio(i, 4)) << i;
    EXPECT_EQ(tm_info_filter_index(f, 0), i) << f;
  }
  // A fractional index lies between its neighbours.
  double half = tm_info_filter_frequency(2.5, 0);
  EXPECT_LT(half, tm_info_filter_frequency(2, 0));
  EXPECT_GT(half, tm_info_filter_frequency(3, 0));
  EXPECT_EQ(tm_info_filter_index(0, 0), 0);
  EXPECT_EQ(tm_info_filter_index(-5, 0), 0);
  EXPECT_EQ(tm_info_filter_index(1e9, 0), 0);
}

TEST_F(SessionTest, FilterIndexZeroMeansNoFilterByFamily) {
  open(SimFamily::Wqpm, kWqpmReplies);
  EXPECT_EQ(tm_info_filter_index(0, 0), 2);
  open(SimFamily::Ksvm, {{"CK", "1"},
                         {"CD", "1"},
                         {"CE", "1"},
                         {"CA", "0"},
                         {"CB", "0"},
                         {"CC", "0"},
                         {"RA", "0"},
                         {"CG", "1"}});
  EXPECT_EQ(tm_info_filter_index(0, 0), 1);
  // KSVM index 1 with averaging off settles by its own column.
  EXPECT_DOUBLE_EQ(tm_info_filter_read(0), 7812.5 / 13.722958);
}

TEST_F(SessionTest, AHzymFilterCountsDownFromTen) {
  open(SimFamily::Hzym, with(kHzymReplies, {{"FL1", "07"}, {"FL108", "OK"}}));
  port.clear_transcript();
  // 2000 / 50.099003 Hz is index 2: d = 8.
  tm_info_filter_set(2000 / 50.099003, 0);
  EXPECT_EQ(port.requests(), (std::vector<std::string>{"FL108", "FL1"}));
  EXPECT_EQ(tm_info_filter_read(0), -1) << "no frequency is known for its steps";
}

}  // namespace
}  // namespace ovn::test
