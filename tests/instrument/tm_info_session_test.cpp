// Reading a session from the simulated instrument of each family, and the session's rules.

#include <algorithm>
#include <cmath>

#include "instrument/session_fixture.h"

namespace ovn::test {
namespace {

// The sim's KST in its factory state: full scale 2001.0002 lbf-in over 655360000 counts,
// adjustment points CF1A 0, CF1B 81224.57635704515 at CE1B 1, CF1C the negative of it.
constexpr double kKstFs = 2001.0002;
constexpr double kKstUvpvPerRaw = 0.024635402112829115;
constexpr double kKstPointCounts = 81224.57635704515;

using Texts = std::vector<std::string>;
using Numbers = std::vector<double>;

// Compares numbers that went through arithmetic, each within a few units in the last place.
void expect_near_all(const Numbers& got, const Numbers& expected) {
  ASSERT_EQ(got.size(), expected.size());
  for (size_t i = 0; i < got.size(); ++i) EXPECT_DOUBLE_EQ(got[i], expected[i]) << "number " << i;
}

TEST_F(SessionTest, TheSimulatedKstFillsEveryFieldOfItsRecord) {
  const TmInfoRecord& r = open(SimFamily::Kst);
  EXPECT_EQ((Texts{r.tm_name, r.data_msg, r.model, r.serial, r.shaft, r.identifier, r.customer_name,
                   r.file_extension, r.firmware, r.version_numbers[0], r.version_numbers[1],
                   r.version_numbers[2], r.version_numbers[3], r.uid, r.regy_keyy, r.file_name}),
            (Texts{"KST", "DX1", "ZQVD52002V(2-3 lbf-in)", "SIM0001", "S1", "A",
                   "Simulated Customer", ".611", "KSTs150r40", "", "150", "40", "KSTs150r40",
                   "ZQVD52002V(2-3 lbf-in)-SIM0001.S1-ID:A-COM1", "KST-COM1",
                   "Simulated_Customer.52002V(2-3_lbf-in)-SIM0001.S1.611"}));
  // Zero point 0 counts; the positive point at full scale, the negative one mirrored.
  const double slope = kKstPointCounts * kKstUvpvPerRaw / kKstFs;
  expect_near_all({r.fs_lbfin, r.plv_lbfin, r.nlv_lbfin, r.plbfin_per_px, r.nlbfin_per_px,
                   r.uvpv_at_0lbfin, r.puvpv_per_lbfin, r.nuvpv_per_lbfin, r.puvpv_per_px},
                  {kKstFs, kKstFs, -kKstFs, kKstFs / 655360000.0, kKstFs / 655360000.0, 0, slope,
                   slope, slope * kKstFs / 655360000.0});
  // 4000 samples a second for the default 3 s; range digits "02" before the "V" give the
  // temperature band.
  EXPECT_EQ((Numbers{double(r.tm_type), double(r.dtp), double(r.inverted_cal_flag),
                     double(r.number_to_average), r.tempf_min, r.tempf_max}),
            (Numbers{kTmKst, kDtpHex32, 0, 12000, 74, 99}));
  EXPECT_EQ(setting("ovn-tm-info", "Settings", "KST-Samples"), "16000");
  EXPECT_TRUE(op.shown.empty());
}

TEST_F(SessionTest, SelectorsReadTheFieldsTheyName) {
  const TmInfoRecord& r = open(SimFamily::Kst);
  struct Row {
    int32_t selector;
    double value;
  };
  const Row numbers[] = {{10000, r.plbfin_per_px},
                         {10003, r.puvpv_per_lbfin},
                         {10007, kKstUvpvPerRaw},
                         {10009, kKstFs},
                         {10011, -kKstFs},
                         {10012, 0.5555555555555556},
                         {10014, 12000},
                         {10015, 4000},
                         {10017, 0.3},
                         {10018, 1.0},
                         {10021, 154.84615384615384},
                         {10022, 7812.5},
                         {10025, 74},
                         {10026, 99},
                         {10027, 3},
                         {10028, 0},
                         {9999, 0}};
  for (const Row& row : numbers)
    EXPECT_DOUBLE_EQ(tm_info_number(row.selector, 0), row.value) << row.selector;
  // The version selectors cross over: 45671 is index 2, 45672 index 1; session 5 is empty.
  EXPECT_EQ((Texts{tm_info_text(11000, 0), tm_info_text(11002, 0), tm_info_text(11003, 0),
                   tm_info_text(11008, 0), tm_info_text(11011, 0), tm_info_text(11012, 0),
                   tm_info_version(45671, 0), tm_info_version(45672, 0), tm_info_version(45673, 0),
                   tm_info_version(45674, 0), tm_info_version(45671, 5)}),
            (Texts{r.uid, "KST", "KST-COM1", "A/D", "KSTs150r40", "", "40", "150", "KSTs150r40",
                   "0", "0"}));
}

TEST_F(SessionTest, ANamedFamilyIsReadWithoutProbingAndOtherCodesKeepTheRecordsFamily) {
  open(SimFamily::Kst);
  port.clear_transcript();
  tmi_get_data_ini(1234, 0, false, "", 0, false);
  EXPECT_EQ(tm_type(0), kTmKst);
  EXPECT_EQ(port.requests().front(), "VR");
  EXPECT_TRUE(tm_is_type(kTmKst, 0));
}

TEST_F(SessionTest, AHeadlessSessionFindsTheInstrumentThroughThePortSelection) {
  connect(SimFamily::Kst);
  rs232_close(port);
  set_command_line("-nocommportscan");  // every port number counts as present
  port.clear_transcript();
  std::string summary = tm_info_open_headless(kTmNone, "", 0);
  set_command_line("");
  EXPECT_EQ(summary,
            "uid=ZQVD52002V(2-3 lbf-in)-SIM0001.S1-ID:A-COM1\r\nfamily=KST\r\n"
            "firmware=KSTs150r40\r\nfs_lbfin=2001.0002\r\n"
            "file_name=Simulated_Customer.52002V(2-3_lbf-in)-SIM0001.S1.611\r\n");
  EXPECT_EQ(tm_type(kTmInfoCurrent), kTmKst);
  // The families before the KST in the search order were asked first.
  std::vector<std::string> sent = port.requests();
  ASSERT_GT(sent.size(), 2u);
  EXPECT_EQ(sent.front(), "VR");
  auto log = log_texts();
  EXPECT_NE(std::find(log.begin(), log.end(), "Done Opening"), log.end());
  EXPECT_TRUE(op.shown.empty()) << "the port selection form stays closed when a port talks";
}

TEST_F(SessionTest, ANamedFamilyIsFoundAtTheAddressTheCallerOffers) {
  connect(SimFamily::Kst);
  sim.config.address = 'D';
  rs232_close(port);
  set_command_line("-nocommportscan");
  int32_t session = tmi_get_data_ini(kTmKst, 4, false, "D", 0, true);
  set_command_line("");
  EXPECT_EQ(session, 4);
  EXPECT_EQ(rs232_id(), "D");
  EXPECT_EQ(tm_info_record(4).identifier, "D");
  EXPECT_EQ(tm_info_text(kSelUid, 4), "ZQVD52002V(2-3 lbf-in)-SIM0001.S1-ID:D-COM1");
  EXPECT_EQ(tm_type(0), 0) << "other sessions stay as they were";
}

TEST_F(SessionTest, TheSimulatedKslwReadsTheKstVocabularyWithItsOwnConstants) {
  const TmInfoRecord& r = open(SimFamily::Kslw);
  EXPECT_EQ((Texts{r.tm_name, r.file_extension, r.version_numbers[1], r.regy_keyy}),
            (Texts{"KSLW", ".642", "150", "KSLW-COM1"}));
  EXPECT_EQ(r.number_to_average, 9000);
  EXPECT_DOUBLE_EQ(r.puvpv_per_lbfin, kKstPointCounts * 0.02988631811612106 / kKstFs);
  EXPECT_EQ(r.a2d_gain, 255.28051001821495);
}

TEST_F(SessionTest, AnRdxWithEmptyShaftAndCustomerGetsACleanFileName) {
  const TmInfoRecord& r = open(SimFamily::Rdx, kRdxReplies);
  EXPECT_EQ(
      (Texts{r.tm_name, r.data_msg, r.temp_msg, r.version_numbers[0], r.version_numbers[1],
             r.version_numbers[2], r.file_name, r.uid}),
      (Texts{"RDX", "P4", "RCT", "1", "142", "1000", "2000-R1.673", "ZQVD2000-R1-ID:A-COM1"}));
  // Rotor firmware 1000 or above: the newer converter.
  const double k = 0.02988631811612106;
  EXPECT_EQ((Numbers{double(r.dtp), r.uvpv_per_raw, r.min_uvpv_noise, r.max_uvpv_noise, r.plv_lbfin,
                     r.nlv_lbfin, double(r.number_to_average)}),
            (Numbers{kDtpDecimal32, k, 0.1, 0.4, 250, -250, 8100}));
  // Points: CEA / |CE<L>| x CF<L> / 1000, so 1, 100 and -100.
  expect_near_all({r.plbfin_per_px, r.uvpv_at_0lbfin, r.puvpv_per_lbfin, r.nuvpv_per_lbfin},
                  {500.0 / (20000.0 * 32768.0), 1 * k, (100 * k - k) / 500, (-100 * k - k) / -500});
}

TEST_F(SessionTest, AnRdxWithOldOrUnreadableRotorFirmwareTakesTheOldConstants) {
  for (const char* vr : {"i1m142r999", "x1"}) {
    const TmInfoRecord& r = open(SimFamily::Rdx, with(kRdxReplies, {{"VR", vr}}));
    EXPECT_EQ((Numbers{r.uvpv_per_raw, r.a2d_gain, r.max_uvpv_noise}),
              (Numbers{0.030079856059620404, 253.638, 0.7}))
        << vr;
  }
  EXPECT_EQ(tm_info_record(0).version_numbers[2], "0");
}

TEST_F(SessionTest, AWqpmOfNewFirmwareReadsInHundredthsOfAHertz) {
  const TmInfoRecord& r = open(SimFamily::Wqpm, kWqpmReplies);  // "VR" 3.050
  EXPECT_EQ((Texts{r.tm_name, r.data_msg, r.shaft, r.customer_name, r.file_name}),
            (Texts{"WQPM", "X3", "W-17", "Acme Co", "Acme_Co.4820-55.W-17.917"}));
  EXPECT_EQ((Numbers{double(r.dtp), r.factor_for_raw, r.fs_lbfin, r.plv_lbfin, r.nlv_lbfin,
                     r.testtime_s, double(r.number_to_average), double(r.history_count),
                     r.zero_raw_nominal, double(r.filter_affects_data)}),
            (Numbers{kDtpHex32, 0.01, 1000, 500, -500, 3, 6300, 3, 8300, 0}));
  // 20 deg C at count 2000, 0 at count 1000; zero 8300 Hz.
  const double k = 0.5988;
  expect_near_all({r.plbfin_per_px, r.temp_degc_per_px, r.temp_degc_at_px0, r.uvpv_at_0lbfin},
                  {1000.0 / 983040000.0, 0.02, -20, 8300 * k});
  // +1000 Hz at half scale and -500 Hz at half scale negative.
  EXPECT_NEAR(r.puvpv_per_lbfin, 2000 * k / 1000, 1e-12);
  EXPECT_NEAR(r.nuvpv_per_lbfin, -1000 * k / -1000, 1e-12);
  EXPECT_EQ(setting("ovn-tm-info", "Settings", "WQPM-Samples"), "16000");
}

TEST_F(SessionTest, AWqpmOfOldFirmwareReadsCountsForOneSecond) {
  const TmInfoRecord& r = open(SimFamily::Wqpm, with(kWqpmReplies, {{"VR", "2.036"}}));
  EXPECT_EQ(r.data_msg, "XC");
  EXPECT_EQ((Numbers{double(r.dtp), r.factor_for_raw, r.testtime_s, double(r.number_to_average),
                     double(r.history_count), double(r.filter_affects_data)}),
            (Numbers{kDtpHex16Long, 1, 1, 1600, 10, 1}));
  EXPECT_DOUBLE_EQ(r.plbfin_per_px, 1000.0 / 15000.0);
  EXPECT_EQ(setting("ovn-tm-info", "Settings", "WQPM-Samples-pre2.037"), "1000");
  EXPECT_EQ(setting("ovn-tm-info", "Settings", "WQPM-Samples"), "<none>");
}

TEST_F(SessionTest, AHzymTakesItsCountScalesFromTheShuntCalibration) {
  const TmInfoRecord& r = open(SimFamily::Hzym, kHzymReplies);
  EXPECT_EQ((Texts{r.tm_name, r.serial, r.firmware, r.version_numbers[1]}),
            (Texts{"HZYM", "H-5", "1.5.4", "1.5.4"}));
  EXPECT_EQ((Numbers{double(r.dtp), r.plbfin_per_px, r.nlbfin_per_px, r.plv_lbfin, r.nlv_lbfin,
                     r.min_uvpv_noise, r.max_uvpv_noise, double(r.history_count),
                     double(r.number_to_average)}),
            (Numbers{kDtpHex16, 0.5, 0.25, 1000, 1000, -1, -1, 9, 600}));
  // Points: OF 100; FS1 / 0.5 = 2000; FS1 / -0.25 = -4000.
  const double k = 1979.8867531797266 / 16;
  expect_near_all({r.uvpv_per_raw, r.uvpv_at_0lbfin, r.puvpv_per_lbfin, r.nuvpv_per_lbfin},
                  {k, 100 * k, (2000 * k - 100 * k) / 1000, (-4000 * k - 100 * k) / -1000});
}

TEST_F(SessionTest, AKsvmOfFirmwareAfter201ReadsItsCustomer) {
  const Replies& table = kKsvmReplies;
  const TmInfoRecord& r = open(SimFamily::Ksvm, table);
  EXPECT_EQ((Texts{r.tm_name, r.data_msg, r.customer_name, r.file_name}),
            (Texts{"KSVM", "c", "Cust", "Cust.KV-1-99.Q1.735"}));
  EXPECT_EQ(r.nlv_lbfin, -1000);
  // 10737418240000 / 2^30 = 10000.
  const double k = 0.0007698563160259098;
  expect_near_all(
      {r.plbfin_per_px, r.nlbfin_per_px, r.uvpv_at_0lbfin, r.puvpv_per_lbfin, r.nuvpv_per_lbfin},
      {1000 / (2000 * 156.25), 1000 / (4000 * 156.25), 100 * k, (10000 * k - 100 * k) / 1000,
       (-10000 * k - 100 * k) / -1000});

  open(SimFamily::Ksvm, with(table, {{"VR", "201"}}));
  EXPECT_EQ(tm_info_record(0).customer_name, "");
  for (const std::string& m : port.requests()) EXPECT_NE(m, "CS");
}

TEST_F(SessionTest, The350FamiliesTellTheirModelFromTheChannelUnit) {
  const Replies& table = kS350Replies;
  const TmInfoRecord& r = open(SimFamily::S350, table);
  EXPECT_EQ((Texts{r.tm_name, r.firmware, r.model, r.raw_name, r.data_msg}),
            (Texts{"350 Series", "7.3", "350t", "dF-in", "P41"}));
  EXPECT_EQ(r.dtp, kDtpHex32);
  // Zero -2 counts at character 16 of "@A"; points 200 / 1000 and 200 / 2000.
  const double k = 200 / 32768.0;
  expect_near_all(
      {r.plbfin_per_px, r.uvpv_per_raw, r.uvpv_at_0lbfin, r.puvpv_per_lbfin, r.nuvpv_per_lbfin},
      {200 / 655360000.0, k, -2 * k, (0.2 * k + 2 * k) / 200, (0.1 * k + 2 * k) / -200});

  const TmInfoRecord& old =
      open(SimFamily::S350, with(table, {{"VR", "Model 350 v7.1"}, {"UN1", "lbf"}}));
  EXPECT_EQ((Texts{old.model, old.data_msg}), (Texts{"350c", "XC1"}));
  EXPECT_EQ((Numbers{double(old.dtp), old.plbfin_per_px, old.uvpv_per_raw}),
            (Numbers{kDtpHex16, 1, 1}));

  const TmInfoRecord& plus = open(SimFamily::S350Plus, kS350PlusReplies);
  EXPECT_EQ((Texts{plus.tm_name, plus.model, plus.raw_name, plus.file_extension}),
            (Texts{"350+ Series", "350+c", "A/D", ".350+"}));
  EXPECT_EQ((Numbers{plus.plv_lbfin, plus.nlv_lbfin, plus.factor_for_raw}),
            (Numbers{200, -200, 10000}));
  const double kp = 0.0005;
  expect_near_all({plus.uvpv_at_0lbfin, plus.puvpv_per_lbfin, plus.nuvpv_per_lbfin},
                  {12 * kp, (2 * kp - 12 * kp) / 400, (-4 * kp - 12 * kp) / -400});
}

TEST_F(SessionTest, AFamilyTheSessionCannotReadGetsTheFallbackColumnWithoutAMessage) {
  const TmInfoRecord& r = open(SimFamily::Fga);
  EXPECT_TRUE(port.requests().empty());
  EXPECT_EQ((Texts{r.tm_name, r.model, r.firmware, r.file_name, r.uid}),
            (Texts{"???", "NoModel", "None", "NoModel-NoSerial.000", "NoModel-NoSerial-COM1"}));
  EXPECT_EQ((Numbers{double(r.dtp), r.fs_lbfin, double(r.number_to_average)}),
            (Numbers{kDtpNone, 100, 300}));
}

TEST_F(SessionTest, PerInstrumentSettingsLiveUnderTheSessionsKey) {
  open(SimFamily::Kst);
  EXPECT_EQ(tm_info_setting_read("Offset", "Settings", "7"), "7");
  EXPECT_EQ(setting("KST-COM1", "Settings", "Offset"), "7");
  tm_info_setting_write("Offset", "Settings", "9");
  EXPECT_EQ(tm_info_setting_read("Offset", "Settings", "7"), "9");
}

TEST_F(SessionTest, ClosingTheSessionClosesThePortAndForgetsTheFamily) {
  open(SimFamily::Kst);
  tm_info_close(0);
  EXPECT_FALSE(port.is_open());
  EXPECT_EQ(tm_type(0), kTmNone);
  EXPECT_PROCESS_EXIT(get_data_lbfin(0), 1);
  EXPECT_EQ(seams.fatal_texts.back(), "called tmi_read_data_lbfin before tmi_get_data_ini!");
}

}  // namespace
}  // namespace ovn::test
