#include <cmath>

#include "adjust/acquire.h"
#include "adjust/noise_fixture.h"
#include "foundation/kw.h"

namespace ovn::test {
namespace {

using AcquireTest = NoiseTest;

TEST_F(AcquireTest, TheKstRunsTheTestItselfForTheSessionsTestTime) {
  open_kst();
  double seconds = 0, count = 0, scale = 0;
  const double t0 = now_ms();
  STTS r = tm_acquire_raw(seconds, count, scale, "");
  EXPECT_EQ(seconds, 3.0);
  EXPECT_EQ(count, 0.0);
  EXPECT_EQ(r.num, 12000) << "3 s at 4000 samples a second";
  EXPECT_NEAR(r.mean, 2000, 1);
  const double sigma = 0.5 / 0.024635402112829115;
  EXPECT_NEAR(stts_stdev(r), sigma, sigma * 0.05);
  EXPECT_GE(now_ms() - t0, 3000) << "the results are read only once the instrument is done";
  EXPECT_LT(now_ms() - t0, 3700);

  std::vector<std::string> s = sent();
  ASSERT_GE(s.size(), 5u);
  EXPECT_EQ(std::vector<std::string>(s.begin(), s.begin() + 3),
            (std::vector<std::string>{"AVR", "ANT", "ANT12000"}));
  EXPECT_EQ(s.back(), "ANTD");
  for (size_t i = 3; i + 1 < s.size(); ++i) EXPECT_EQ(s[i], "ANT");
  EXPECT_TRUE(logged("Noise-Test(12000 Samples, 3 Second) Returned 2"));
}

// How the count and time arguments become the request to the instrument.
TEST_F(AcquireTest, CountsAndTheEngineeringFormReachTheInstrumentSigned) {
  struct Case {
    bool raw;
    double seconds, count;
    std::string request;
    double seconds_used;
  };
  const Case cases[] = {
      {true, 0, 1000, "ANT1000", 0.25},
      {false, 0, 1000, "ANT-1000", 0.25},
      {true, 0.5, 0, "ANT2000", 0.5},
      {false, 1, 0, "ANT-4000", 1},
  };
  open_kst();
  for (const Case& c : cases) {
    port.clear_transcript();
    double seconds = c.seconds, count = c.count, scale = 0;
    STTS r = tm_acquire(c.raw, seconds, count, scale, "");
    EXPECT_EQ(sent().at(2), c.request);
    EXPECT_EQ(seconds, c.seconds_used) << c.request;
    EXPECT_EQ(std::fabs(r.num), std::stod(c.request.substr(3)) * (c.raw ? 1 : -1)) << c.request;
  }
}

TEST_F(AcquireTest, AnInstrumentGivingNoResultsGivesAnEmptyRecordAndTheAcquisitionEnds) {
  open_kst();
  for (const std::string reply : {"", "5,10", "0,0,0,0,0"}) {
    sim.table["NTD"] = reply;
    double seconds = 0, count = 100, scale = 0;
    STTS r = tm_acquire_raw(seconds, count, scale, "");
    EXPECT_EQ(r.num, 0) << '"' << reply << '"';
    EXPECT_GT(r.min, r.max) << "no extremes held";
  }
  sim.table.erase("NTD");
  sim.table["NT"] = "1";  // a test that never finishes: the wait ends at its deadline
  double seconds = 1, count = 0, scale = 0;
  const double t0 = now_ms();
  tm_acquire_raw(seconds, count, scale, "");
  EXPECT_NEAR(now_ms() - t0, 1500, 150);
  EXPECT_TRUE(logged("Noise-Test(4000 Samples, 1 Second) Returned 1"));
}

TEST_F(AcquireTest, AnInstrumentWhoseVersionBeginsWithIAnswersND) {
  open_kst();
  sim.table["VR"] = "i1m142r1000";
  sim.table["ND"] = "4,40,2,8,12";
  double seconds = 0, count = 4, scale = 0;
  STTS r = tm_acquire_raw(seconds, count, scale, "");
  EXPECT_EQ(sent().back(), "AND");
  EXPECT_EQ(r.num, 4);
  EXPECT_EQ(r.mean, 10);
  EXPECT_EQ(r.m2, 6) << "(n - 1) x variance";
  EXPECT_EQ(r.min, 8);
  EXPECT_EQ(r.max, 12);
}

TEST_F(AcquireTest, FamiliesPolledSampleBySampleUseTheirMessagesAndTheirFactor) {
  open(SimFamily::Hzym, with(kHzymReplies, {{"XC1", "7"}, {"DS1", "2.5"}}));
  port.clear_transcript();
  double seconds = 0, count = 3, scale = 1;
  STTS r = tm_acquire_raw(seconds, count, scale, "");
  EXPECT_EQ(sent(), (std::vector<std::string>{"XC1", "XC1", "XC1", "DS1"}));
  EXPECT_EQ(r.num, 3);
  EXPECT_EQ(r.mean, 17.5) << "7 counts times the factor of DS1";
  EXPECT_EQ(scale, 2.5);

  open(SimFamily::Ksvm, with(kKsvmReplies, {{"c", "-4"}}));
  port.clear_transcript();
  seconds = 0, count = 2, scale = 0;
  r = tm_acquire_engineering(seconds, count, scale, "");
  EXPECT_EQ(sent(), (std::vector<std::string>{"c", "c"}));
  EXPECT_EQ(r.mean, -4);
  EXPECT_EQ(scale, 0) << "no scale asked, none applied";
}

TEST_F(AcquireTest, ANamedAcquisitionAddsARowToTheInstrumentsCsvFile) {
  open_kst();
  sim.table["NTD"] = "4,40,2,8,12";
  for (const char* name : {"Zero Adjustment", "Load, positive"}) {
    double seconds = 0, count = 4, scale = 0;
    tm_acquire_raw(seconds, count, scale, name);
  }
  const TmInfoRecord& s = tm_info_record(0);
  const std::string file = noise_folder() + "/ovn-noise-uvpv-KST-" + s.serial + ".csv";
  EXPECT_EQ(noise_uvpv_file(), file);
  const std::string when = kw_timestamp(kw_now(), " ");
  const std::string ratio = kw_format(stts_ratio(stts_new(4, 10, 2, 8, 12)), "0.0000");
  const std::string tail =
      ",KST," + s.serial + "," + s.model + ",4,10,1.4142135623730951,8,12,4," + ratio + "\r\n";
  // A name holding a comma is quoted.
  EXPECT_EQ(read_file(file), noise_csv_heading() + "\r\n" + when + ",,Zero Adjustment" + tail +
                                 when + ",,\"Load, positive\"" + tail);
}

}  // namespace
}  // namespace ovn::test
