// The View menu's reports on the simulated KST and on a scripted RDX: their sections and
// fields, and that they only read.

#include <gtest/gtest.h>

#include "adjust/noise_fixture.h"
#include "audit/family_tables.h"
#include "audit/info_reports.h"

namespace ovn::test {
namespace {

class InfoReportsTest : public NoiseTest {};

TEST_F(InfoReportsTest, EachItemGivesItsSectionsOnTheKstAndChangesNothing) {
  open_kst(0);
  sim_hold(sim, SimQuantity::Load, 1000);
  const auto working = sim.working;
  const std::string identity = tm_info_report(kReportIdentity);
  for (const char* line :
       {"Instrument:\r\n   Family                                   KST\r\n",
        "   Model                                    ZQVD52002V(2-3 lbf-in)\r\n",
        "   Serial number                            SIM0001\r\n",
        "Firmware:\r\n   Reply to VR                              KSTs150r40\r\n",
        "   Full scale                               2001.0002 lbf-in\r\n",
        "   Noise limits                             0.3 to 1 uV/V\r\n",
        "   Configuration file                       Simulated_Customer.52002V(2-3_lbf-in)-"})
    EXPECT_NE(identity.find(line), std::string::npos) << line << identity;

  const std::vector<std::string> now = lines_of(tm_info_report(kReportRealTime));
  ASSERT_EQ(now.size(), 7u);
  EXPECT_EQ(now[1].substr(0, 46), "   Torque                                   10") << now[1];
  EXPECT_EQ(now[5], "   Temperature                              75 F");
  EXPECT_EQ(now[6], "   Shunt                                    No Shunt");

  const std::string parameters = tm_info_report(kReportMore);
  EXPECT_NE(parameters.find("Parameters:\r\n   Pole0 Full Scale                         "
                            "655360000  [UCA]\r\n"),
            std::string::npos);
  EXPECT_NE(parameters.find("\r\nSpeed:\r\n   Speed Unit Name                          RPM  [UN2]"),
            std::string::npos);
  EXPECT_LT(parameters.find("\r\nSpeed:"), parameters.find("\r\nPower:"));

  EXPECT_EQ(lines_of(tm_info_report(kReportChannels)),
            (std::vector<std::string>{
                "Channel 1:", "   Unit                                     lbf-in  [UN1]",
                "   Display scaling                          1  [DS1]",
                "   Filter                                   9  [FL1]",
                "   Overload                                 4002.0004  [OL1]",
                "   Full scale                               2001.0002  [CE1A]",
                "Channel 2:", "   Unit                                     RPM  [UN2]",
                "   Display scaling                          1  [DS2]",
                "   Filter                                   9  [FL2]",
                "   Overload                                 15000  [OL2]",
                "   Full scale                               15000  [CE2A]",
                "Channel 3:", "   Unit                                     Hp  [UN3]",
                "   Display scaling                          1  [DS3]",
                "   Filter                                   9  [FL3]",
                "   Overload                                 952.47384  [OL3]",
                "   Full scale                               476.23692  [CE3A]"}));
  EXPECT_EQ(sim.working, working);
  EXPECT_EQ(tm_info_report(2), "") << "no report has item code 2";
}

TEST_F(InfoReportsTest, AFamilyWithoutChannelNumbersHasOneChannel) {
  open(SimFamily::Rdx, with(kRdxAudited, {{"FL", "4"}}));
  EXPECT_EQ(lines_of(tm_info_report(kReportChannels)),
            (std::vector<std::string>{
                "Channel 1:", "   Unit                                     lbf-in  [UN]",
                "   Display scaling                          1  [DS]",
                "   Filter                                   4  [FL]",
                "   Overload                                 1000  [OL]",
                "   Full scale                               500  [CEA]"}));
}

}  // namespace
}  // namespace ovn::test
