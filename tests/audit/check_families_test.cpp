// The rule lists of RDX, WQPM, HZYM and KSVM: an instrument set up as it leaves the bench
// passes its list, and a few chosen faults fail with exactly their sentences.

#include <gtest/gtest.h>

#include "adjust/noise_fixture.h"
#include "audit/checkit.h"
#include "audit/family_tables.h"
#include "audit/tm_check_config.h"
#include "config/history.h"

namespace ovn::test {
namespace {

using Lines = std::vector<std::string>;

// A HZYM's history: its one record holds the scaling it has now.
Replies hzym_with_history() {
  Replies table = kHzymAudited;
  HistoryRecord record;
  record.full = true;
  record.when = DateTime{2026, 11, 2, 10, 0, 0, 0};
  record.operator_number = 7;
  record.fs1 = "447A0000";
  record.cc1a = "43FA0000";
  record.cc1b = "C3FA0000";
  record.sc = "3D0888893D08CE70";
  record.of = "0064";
  record.gn = "0010";
  const std::string run = history_encode(record);
  for (int slot = 0; slot < kHistorySlots; ++slot)
    table["HS" + std::to_string(slot)] = slot == 0 ? run : std::string(run.size(), '0');
  return table;
}

// A flat signal (the scripted families answer one value per sample) has no noise at all.
Lines flat_signal(const std::string& noise, const std::string& limits) {
  return {"Dynamic Info:", "   A/D Noise of " + noise + " NOT in " + limits,
          "   Non-Gaussian noise (ratio=0.0000) (Data not 'spiky' enough)"};
}

struct FamilyCase {
  const char* name;
  SimFamily family;
  Replies table;
  Lines clean;  // the failures of the instrument as set up
  Replies faults;
  Lines failures;  // the failures with the faults
};

class CheckFamiliesTest : public NoiseTest {};

TEST_F(CheckFamiliesTest, EachListPassesItsInstrumentAndNamesTheChosenFaults) {
  const FamilyCase cases[] = {
      {"RDX",
       SimFamily::Rdx,
       kRdxAudited,
       {},
       {{"MF", "3"}, {"IAC", "0"}, {"TCE", "60"}, {"AVB", "5000000"}},
       {"User Information:", "   Misc_flag: (3) Both \"Filter B\" and \"Old Hardware\" set",
        "Temperature Compensation:", "   Span Compensation Slope (60 ppm/F) does not equal 65",
        "Analog Output:", "   Voltage Output @ FS is NOT set to 10 V (5 V)",
        "Input Actions:", "   Input Action Pin E is NOT set to Tare"}},
      {"WQPM",
       SimFamily::Wqpm,
       kWqpmAudited,
       {},
       {{"CCC", "447A0000"}, {"AIB", "3"}, {"HSA", "1"}, {"SN", "S55"}},
       {"Serial Number (S55) is NOT numeric",
        "Full Scale (1000) == Positive Load Value (1000)  (No \"Real World\" calibration)",
        "Frequency @ 130% FS == (9600 Hz) is NOT greater than 10000 Hz",
        "User Analog Output Adjustment is NOT Zero", "1 history ignored"}},
      {"HZYM",
       SimFamily::Hzym,
       hzym_with_history(),
       flat_signal("190 Samples (+0.0 uV/V)", "[+7.0,+25.0]"),
       {{"SC", "BD0888893D08CE70"},
        {"CC1A", "447A0000"},
        {"AI1", "0000000300000000000000000000"},
        {"SE", "H-5"}},
       {"Serial Number(H-5) not numeric",
        "Adjustment:", "   +Scaling constant < 0! (Wires need to be switched NOW)",
        std::string("   +Scaling Constant (-0.0333333 lbf-in count^-1) NOT within 50% (-200.0) ") +
            "of +0.0333333 [+0.0166666,+0.05]",
        std::string("   -Scaling Constant (+0.0334 lbf-in count^-1) NOT within 2% (-200.19999) ") +
            "of +Scaling Constant (-0.0333333) [-0.034,-0.0326666]",
        std::string("   Historical Scaling (+0.0333333) NOT within 1 permille (-2000.0) of ") +
            "Currrent Scaling (-0.0333333) [-0.0333666,-0.0333]",
        "   Scaling Factor (-1.0) NOT within +0.001 (-2.0) of +1.0 [+0.999,+1.001]",
        "   +Load Value (1000 lbf-in) equals +Full Scale -- No \"Real\" World Calibration",
        "Analog Outputs:", "   User Analog output 1 has at least one non-zero tweak value",
        "Dynamic Info:", "   A/D Noise of 190 Samples (+0.0 uV/V) NOT in [+7.0,+25.0]",
        "   Non-Gaussian noise (ratio=0.0000) (Data not 'spiky' enough)"}},
      {"KSVM",
       SimFamily::Ksvm,
       kKsvmAudited,
       flat_signal("218 Samples (+0.0 uV/V)", "[+0.5,+1.0]"),
       {{"CC", "1073741824"}, {"CA", "0"}, {"CP", "X1"}},
       {"A/D Zero default (0)",
        "+ A/D Gain = - A/D Gain (1073741824) (No Negative Adjustment done?)",
        "Serial Number (X1) is NOT numeric",
        "Dynamic Info:", "   A/D Noise of 218 Samples (+0.0 uV/V) NOT in [+0.5,+1.0]",
        "   Non-Gaussian noise (ratio=0.0000) (Data not 'spiky' enough)"}},
  };
  for (const FamilyCase& c : cases) {
    SCOPED_TRACE(c.name);
    open(c.family, c.table);
    tm_check_config_audit();
    EXPECT_EQ(lines_of(ck_failures()), c.clean) << ck_failures();
    for (const auto& [message, reply] : c.faults) sim.table[message] = reply;
    tm_check_config_audit();
    EXPECT_EQ(lines_of(ck_failures()), c.failures) << ck_failures();
  }
}

TEST_F(CheckFamiliesTest, EveryOldBoardGetsItsLineAndAnOldMainBoardTheCapacitor) {
  open(SimFamily::Rdx, with(kRdxAudited, {{"VR", "i70m150r1000"}}));
  EXPECT_EQ(tm_check_config_board_notes(),
            "Main board firmware (currently 150) needs to be upgraded to at least version 165.\r\n"
            "   (56nF Stator Power Cap)\r\n"
            "I/O board firmware (currently 70) needs to be upgraded to at least version 78.\r\n"
            "Rotor board firmware (currently 1000) needs to be upgraded to at least version "
            "1005.\r\n");
  open(SimFamily::Rdx, with(kRdxAudited, {{"VR", "i78m165r56"}}));
  EXPECT_EQ(tm_check_config_board_notes(), "") << "a rotor below 1000 needs 56 only";
}

}  // namespace
}  // namespace ovn::test
