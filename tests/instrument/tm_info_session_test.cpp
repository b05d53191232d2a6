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

TEST_F(SessionTest, TheSimulatedKstFillsEveryFieldOfItsRecord) {
  const TmInfoRecord& r = open(SimFamily::Kst);
  EXPECT_EQ(r.tm_type, kTmKst);
  EXPECT_EQ(r.tm_name, "KST");
  EXPECT_EQ(r.dtp, kDtpHex32);
  EXPECT_EQ(r.data_msg, "DX1");
  EXPECT_EQ(r.model, "ZQVD52002V(2-3 lbf-in)");
  EXPECT_EQ(r.serial, "SIM0001");
  EXPECT_EQ(r.shaft, "S1");
  EXPECT_EQ(r.identifier, "A");
  EXPECT_EQ(r.customer_name, "Simulated Customer");
  EXPECT_EQ(r.file_extension, ".611");
  EXPECT_EQ(r.firmware, "KSTs150r40");
  EXPECT_EQ(r.version_numbers[0], "");
  EXPECT_EQ(r.version_numbers[1], "150");
  EXPECT_EQ(r.version_numbers[2], "40");
  EXPECT_EQ(r.version_numbers[3], "KSTs150r40");

  EXPECT_DOUBLE_EQ(r.fs_lbfin, kKstFs);
  EXPECT_DOUBLE_EQ(r.plv_lbfin, kKstFs);
  EXPECT_DOUBLE_EQ(r.nlv_lbfin, -kKstFs);
  EXPECT_DOUBLE_EQ(r.plbfin_per_px, kKstFs / 655360000.0);
  EXPECT_DOUBLE_EQ(r.nlbfin_per_px, kKstFs / 655360000.0);
  // Zero point 0 counts; the positive point at full scale, the negative one mirrored.
  EXPECT_DOUBLE_EQ(r.uvpv_at_0lbfin, 0);
  double slope = kKstPointCounts * kKstUvpvPerRaw / kKstFs;
  EXPECT_DOUBLE_EQ(r.puvpv_per_lbfin, slope);
  EXPECT_DOUBLE_EQ(r.nuvpv_per_lbfin, slope);
  EXPECT_DOUBLE_EQ(r.puvpv_per_px, slope * kKstFs / 655360000.0);
  EXPECT_FALSE(r.inverted_cal_flag);
  // 4000 samples a second for the default 3 s.
  EXPECT_EQ(r.number_to_average, 12000);
  // Range digits "02" before the "V".
  EXPECT_EQ(r.tempf_min, 74);
  EXPECT_EQ(r.tempf_max, 99);

  EXPECT_EQ(r.uid, "ZQVD52002V(2-3 lbf-in)-SIM0001.S1-ID:A-COM1");
  EXPECT_EQ(r.regy_keyy, "KST-COM1");
  EXPECT_EQ(r.file_name, "Simulated_Customer.52002V(2-3_lbf-in)-SIM0001.S1.611");
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
  EXPECT_EQ(tm_info_text(11000, 0), r.uid);
  EXPECT_EQ(tm_info_text(11002, 0), "KST");
  EXPECT_EQ(tm_info_text(11003, 0), "KST-COM1");
  EXPECT_EQ(tm_info_text(11008, 0), "A/D");
  EXPECT_EQ(tm_info_text(11011, 0), "KSTs150r40");
  EXPECT_EQ(tm_info_text(11012, 0), "");
  // The version selectors cross over: 45671 is index 2, 45672 index 1.
  EXPECT_EQ(tm_info_version(45671, 0), "40");
  EXPECT_EQ(tm_info_version(45672, 0), "150");
  EXPECT_EQ(tm_info_version(45673, 0), "KSTs150r40");
  EXPECT_EQ(tm_info_version(45674, 0), "0");
  EXPECT_EQ(tm_info_version(45671, 5), "0");  // an empty session
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
  EXPECT_EQ(r.tm_name, "KSLW");
  EXPECT_EQ(r.file_extension, ".642");
  EXPECT_EQ(r.version_numbers[1], "150");
  EXPECT_EQ(r.number_to_average, 9000);
  EXPECT_DOUBLE_EQ(r.puvpv_per_lbfin, kKstPointCounts * 0.02988631811612106 / kKstFs);
  EXPECT_EQ(r.a2d_gain, 255.28051001821495);
  EXPECT_EQ(r.regy_keyy, "KSLW-COM1");
}

TEST_F(SessionTest, AnRdxWithEmptyShaftAndCustomerGetsACleanFileName) {
  const TmInfoRecord& r = open(SimFamily::Rdx, kRdxReplies);
  EXPECT_EQ(r.tm_name, "RDX");
  EXPECT_EQ(r.dtp, kDtpDecimal32);
  EXPECT_EQ(r.data_msg, "P4");
  EXPECT_EQ(r.temp_msg, "RCT");
  EXPECT_EQ(r.version_numbers[0], "1");
  EXPECT_EQ(r.version_numbers[1], "142");
  EXPECT_EQ(r.version_numbers[2], "1000");
  // Rotor firmware 1000 or above: the newer converter.
  double k = 0.02988631811612106;
  EXPECT_EQ(r.uvpv_per_raw, k);
  EXPECT_EQ(r.min_uvpv_noise, 0.1);
  EXPECT_EQ(r.max_uvpv_noise, 0.4);
  EXPECT_DOUBLE_EQ(r.plbfin_per_px, 500.0 / (20000.0 * 32768.0));
  EXPECT_EQ(r.plv_lbfin, 250);
  EXPECT_EQ(r.nlv_lbfin, -250);
  // Points: CEA / |CE<L>| x CF<L> / 1000, so 1, 100 and -100.
  EXPECT_DOUBLE_EQ(r.uvpv_at_0lbfin, 1 * k);
  EXPECT_DOUBLE_EQ(r.puvpv_per_lbfin, (100 * k - k) / 500);
  EXPECT_DOUBLE_EQ(r.nuvpv_per_lbfin, (-100 * k - k) / -500);
  EXPECT_EQ(r.number_to_average, 8100);
  EXPECT_EQ(r.file_name, "2000-R1.673");
  EXPECT_EQ(r.uid, "ZQVD2000-R1-ID:A-COM1");
}

TEST_F(SessionTest, AnRdxWithOldOrUnreadableRotorFirmwareTakesTheOldConstants) {
  for (const char* vr : {"i1m142r999", "x1"}) {
    const TmInfoRecord& r = open(SimFamily::Rdx, with(kRdxReplies, {{"VR", vr}}));
    EXPECT_EQ(r.uvpv_per_raw, 0.030079856059620404) << vr;
    EXPECT_EQ(r.a2d_gain, 253.638) << vr;
    EXPECT_EQ(r.max_uvpv_noise, 0.7) << vr;
  }
  EXPECT_EQ(tm_info_record(0).version_numbers[2], "0");
}

TEST_F(SessionTest, AWqpmOfNewFirmwareReadsInHundredthsOfAHertz) {
  const TmInfoRecord& r = open(SimFamily::Wqpm, kWqpmReplies);  // "VR" 3.050
  EXPECT_EQ(r.tm_name, "WQPM");
  EXPECT_EQ(r.dtp, kDtpHex32);
  EXPECT_EQ(r.data_msg, "X3");
  EXPECT_EQ(r.factor_for_raw, 0.01);
  EXPECT_EQ(r.shaft, "W-17");
  EXPECT_EQ(r.customer_name, "Acme Co");
  EXPECT_EQ(r.fs_lbfin, 1000);
  EXPECT_EQ(r.plv_lbfin, 500);
  EXPECT_EQ(r.nlv_lbfin, -500);
  EXPECT_DOUBLE_EQ(r.plbfin_per_px, 1000.0 / 983040000.0);
  // 20 deg C at count 2000, 0 at count 1000.
  EXPECT_DOUBLE_EQ(r.temp_degc_per_px, 0.02);
  EXPECT_DOUBLE_EQ(r.temp_degc_at_px0, -20);
  EXPECT_EQ(r.testtime_s, 3);
  EXPECT_EQ(r.number_to_average, 6300);
  EXPECT_EQ(r.history_count, 3);
  EXPECT_EQ(r.zero_raw_nominal, 8300);
  EXPECT_FALSE(r.filter_affects_data);
  // Zero 8300 Hz; +1000 Hz at half scale and -500 Hz at half scale negative.
  double k = 0.5988;
  EXPECT_DOUBLE_EQ(r.uvpv_at_0lbfin, 8300 * k);
  EXPECT_NEAR(r.puvpv_per_lbfin, 2000 * k / 1000, 1e-12);
  EXPECT_NEAR(r.nuvpv_per_lbfin, -1000 * k / -1000, 1e-12);
  EXPECT_EQ(r.file_name, "Acme_Co.4820-55.W-17.917");
  EXPECT_EQ(setting("ovn-tm-info", "Settings", "WQPM-Samples"), "16000");
}

TEST_F(SessionTest, AWqpmOfOldFirmwareReadsCountsForOneSecond) {
  const TmInfoRecord& r = open(SimFamily::Wqpm, with(kWqpmReplies, {{"VR", "2.036"}}));
  EXPECT_EQ(r.dtp, kDtpHex16Long);
  EXPECT_EQ(r.data_msg, "XC");
  EXPECT_EQ(r.factor_for_raw, 1);
  EXPECT_DOUBLE_EQ(r.plbfin_per_px, 1000.0 / 15000.0);
  EXPECT_EQ(r.testtime_s, 1);
  EXPECT_EQ(r.number_to_average, 1600);
  EXPECT_EQ(r.history_count, 10);
  EXPECT_TRUE(r.filter_affects_data);
  EXPECT_EQ(setting("ovn-tm-info", "Settings", "WQPM-Samples-pre2.037"), "1000");
  EXPECT_EQ(setting("ovn-tm-info", "Settings", "WQPM-Samples"), "<none>");
}

TEST_F(SessionTest, AHzymTakesItsCountScalesFromTheShuntCalibration) {
  const TmInfoRecord& r = open(SimFamily::Hzym, kHzymReplies);
  EXPECT_EQ(r.tm_name, "HZYM");
  EXPECT_EQ(r.dtp, kDtpHex16);
  EXPECT_EQ(r.serial, "H-5");
  EXPECT_EQ(r.firmware, "1.5.4");
  EXPECT_EQ(r.version_numbers[1], "1.5.4");
  EXPECT_EQ(r.plbfin_per_px, 0.5);
  EXPECT_EQ(r.nlbfin_per_px, 0.25);
  EXPECT_EQ(r.plv_lbfin, 1000);
  EXPECT_EQ(r.nlv_lbfin, 1000);
  double k = 1979.8867531797266 / 16;
  EXPECT_DOUBLE_EQ(r.uvpv_per_raw, k);
  EXPECT_EQ(r.min_uvpv_noise, -1);
  EXPECT_EQ(r.max_uvpv_noise, -1);
  // Points: OF 100; FS1 / 0.5 = 2000; FS1 / -0.25 = -4000.
  EXPECT_DOUBLE_EQ(r.uvpv_at_0lbfin, 100 * k);
  EXPECT_DOUBLE_EQ(r.puvpv_per_lbfin, (2000 * k - 100 * k) / 1000);
  EXPECT_DOUBLE_EQ(r.nuvpv_per_lbfin, (-4000 * k - 100 * k) / -1000);
  EXPECT_EQ(r.history_count, 9);
  EXPECT_EQ(r.number_to_average, 600);
}

TEST_F(SessionTest, AKsvmOfFirmwareAfter201ReadsItsCustomer) {
  const Replies& table = kKsvmReplies;
  const TmInfoRecord& r = open(SimFamily::Ksvm, table);
  EXPECT_EQ(r.tm_name, "KSVM");
  EXPECT_EQ(r.data_msg, "c");
  EXPECT_EQ(r.customer_name, "Cust");
  EXPECT_EQ(r.nlv_lbfin, -1000);
  EXPECT_DOUBLE_EQ(r.plbfin_per_px, 1000 / (2000 * 156.25));
  EXPECT_DOUBLE_EQ(r.nlbfin_per_px, 1000 / (4000 * 156.25));
  // 10737418240000 / 2^30 = 10000.
  double k = 0.0007698563160259098;
  EXPECT_DOUBLE_EQ(r.uvpv_at_0lbfin, 100 * k);
  EXPECT_DOUBLE_EQ(r.puvpv_per_lbfin, (10000 * k - 100 * k) / 1000);
  EXPECT_DOUBLE_EQ(r.nuvpv_per_lbfin, (-10000 * k - 100 * k) / -1000);
  EXPECT_EQ(r.file_name, "Cust.KV-1-99.Q1.735");

  open(SimFamily::Ksvm, with(table, {{"VR", "201"}}));
  EXPECT_EQ(tm_info_record(0).customer_name, "");
  for (const std::string& m : port.requests()) EXPECT_NE(m, "CS");
}

TEST_F(SessionTest, The350FamiliesTellTheirModelFromTheChannelUnit) {
  const Replies& table = kS350Replies;
  const TmInfoRecord& r = open(SimFamily::S350, table);
  EXPECT_EQ(r.tm_name, "350 Series");
  EXPECT_EQ(r.firmware, "7.3");
  EXPECT_EQ(r.model, "350t");
  EXPECT_EQ(r.raw_name, "dF-in");
  EXPECT_EQ(r.dtp, kDtpHex32);
  EXPECT_EQ(r.data_msg, "P41");
  EXPECT_DOUBLE_EQ(r.plbfin_per_px, 200 / 655360000.0);
  double k = 200 / 32768.0;
  EXPECT_DOUBLE_EQ(r.uvpv_per_raw, k);
  // Zero -2 counts at character 16 of "@A"; points 200 / 1000 and 200 / 2000.
  EXPECT_DOUBLE_EQ(r.uvpv_at_0lbfin, -2 * k);
  EXPECT_DOUBLE_EQ(r.puvpv_per_lbfin, (0.2 * k + 2 * k) / 200);
  EXPECT_DOUBLE_EQ(r.nuvpv_per_lbfin, (0.1 * k + 2 * k) / -200);

  const TmInfoRecord& old =
      open(SimFamily::S350, with(table, {{"VR", "Model 350 v7.1"}, {"UN1", "lbf"}}));
  EXPECT_EQ(old.model, "350c");
  EXPECT_EQ(old.dtp, kDtpHex16);
  EXPECT_EQ(old.data_msg, "XC1");
  EXPECT_EQ(old.plbfin_per_px, 1);
  EXPECT_EQ(old.uvpv_per_raw, 1);

  const TmInfoRecord& plus = open(SimFamily::S350Plus, kS350PlusReplies);
  EXPECT_EQ(plus.tm_name, "350+ Series");
  EXPECT_EQ(plus.model, "350+c");
  EXPECT_EQ(plus.raw_name, "A/D");
  EXPECT_EQ(plus.plv_lbfin, 200);
  EXPECT_EQ(plus.nlv_lbfin, -200);
  EXPECT_EQ(plus.factor_for_raw, 10000);
  double kp = 0.0005;
  EXPECT_DOUBLE_EQ(plus.uvpv_at_0lbfin, 12 * kp);
  EXPECT_DOUBLE_EQ(plus.puvpv_per_lbfin, (2 * kp - 12 * kp) / 400);
  EXPECT_DOUBLE_EQ(plus.nuvpv_per_lbfin, (-4 * kp - 12 * kp) / -400);
  EXPECT_EQ(plus.file_extension, ".350+");
}

TEST_F(SessionTest, AFamilyTheSessionCannotReadGetsTheFallbackColumnWithoutAMessage) {
  const TmInfoRecord& r = open(SimFamily::Fga);
  EXPECT_TRUE(port.requests().empty());
  EXPECT_EQ(r.tm_name, "???");
  EXPECT_EQ(r.dtp, kDtpNone);
  EXPECT_EQ(r.model, "NoModel");
  EXPECT_EQ(r.firmware, "None");
  EXPECT_EQ(r.fs_lbfin, 100);
  EXPECT_EQ(r.number_to_average, 300);
  EXPECT_EQ(r.file_name, "NoModel-NoSerial.000");
  EXPECT_EQ(r.uid, "NoModel-NoSerial-COM1");
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
