// The setup forms on the simulated KST: every refusal and doubt of "KST Setup" in the
// form's own words, nothing written after a refusal or a cancel, only the changed values
// written, and the values that follow from them (counts, channel code, overloads).

#include "io/setup_forms.h"

#include <algorithm>

#include "foundation/settings.h"
#include "instrument/session_fixture.h"

namespace ovn::test {
namespace {

class SetupFormsTest : public SessionTest {
 protected:
  SetupFormsTest() { open(SimFamily::Kst); }

  // The messages the instrument answered "OK" since the transcript was cleared, without
  // the address letter.
  std::vector<std::string> writes() const {
    std::vector<std::string> out;
    const auto& t = port.transcript();
    for (size_t i = 0; i + 1 < t.size(); ++i)
      if (t[i].direction == '>' && t[i + 1].direction == '<' && t[i + 1].text == "OK\r")
        out.push_back(t[i].text.substr(1, t[i].text.size() - 2));
    return out;
  }

  // Fields of the last form shown, as label -> data.
  std::string field(const std::string& label) const {
    for (size_t i = op.shown.size(); i-- > 0;)
      for (const UserInputField& f : op.shown[i].form.fields)
        if (f.label.rfind(label, 0) == 0) return f.data;
    return "<none>";
  }
};

KstSetupValues good() {
  return {"ZQVD52002V(2-3 lbf-in)", "12345", "Acme", "S1", "3", "150", "3", false, "", ""};
}

TEST_F(SetupFormsTest, EachRefusalAndDoubtOfKstSetupInTheFormsWordsRefusalsFirst) {
  struct Case {
    void (*change)(KstSetupValues&);
    std::vector<std::string> texts;  // "?" in front: the operator may keep it
  } cases[] = {
      {[](KstSetupValues&) {}, {}},
      {[](KstSetupValues& v) { v.serial = "STOCK"; }, {}},
      {[](KstSetupValues& v) { v.serial = "none"; }, {}},
      {[](KstSetupValues& v) { v.model = "ZQVD52002V(2-9 lbf-in)"; },
       {"?Model Name (currently=\"ZQVD52002V(2-9 lbf-in)\") is malformed"}},
      {[](KstSetupValues& v) { v.model = "ZQVD9880002V(2-3 lbf-in)"; },
       {"?Model Name (currently=\"ZQVD9880002V(2-3 lbf-in)\") is malformed"}},
      {[](KstSetupValues& v) { v.serial = "SIM0001"; },
       {"?Serial Number should be either \"None\" or \"Stock\" or an integer"}},
      {[](KstSetupValues& v) { v.points = "6"; },
       {"Adjustment points must be either 2, 3, 4, or 5"}},
      {[](KstSetupValues& v) { v.points = "2.5"; },
       {"Adjustment points must be either 2, 3, 4, or 5"}},
      {[](KstSetupValues& v) { v.over_range = "lots"; }, {"Over Range must be numeric"}},
      {[](KstSetupValues& v) { v.over_range = "-150"; }, {"Over Range must be positive"}},
      {[](KstSetupValues& v) { v.over_range = "300"; },
       {"?Over Range should be == 150 (based on Model number)"}},
      {[](KstSetupValues& v) { v.model = "ZQVD42002V(2-3 lbf-in)"; },
       {"?Over Range should be == 300 (based on Model number)"}},
      {[](KstSetupValues& v) { v.channels = "2"; }, {"NumChannels must be either 1 or 3"}},
      // Refusals come before doubts, whatever the order of their fields.
      {[](KstSetupValues& v) {
         v.serial = "x";
         v.channels = "0";
       },
       {"NumChannels must be either 1 or 3",
        "?Serial Number should be either \"None\" or \"Stock\" or an integer"}},
      {[](KstSetupValues& v) {
         v.speed_fields = true;
         v.speed_overload = "9000";
         v.teeth = "60";
       },
       {"?Speed Overload / FS should be 15000"}},
      {[](KstSetupValues& v) {
         v.speed_fields = true;
         v.speed_overload = "fast";
         v.teeth = "0";
       },
       {"Speed Overload / FS must be numeric", "Pulses / Revolution must be positive"}},
  };
  for (const Case& c : cases) {
    KstSetupValues v = good();
    c.change(v);
    std::vector<std::string> got;
    for (const SetupProblem& p : kst_setup_check(v))
      got.push_back((p.overridable ? "?" : "") + p.text);
    EXPECT_EQ(got, c.texts);
  }
}

TEST_F(SetupFormsTest, OnlyTheFullScaleTheOverRangeAndThePointsVoidTheCalibration) {
  const KstSetupValues was = good();
  auto voids = [&was](void (*change)(KstSetupValues&)) {
    KstSetupValues now = was;
    change(now);
    return kst_setup_voids_calibration(was, now);
  };
  EXPECT_FALSE(voids([](KstSetupValues& v) { v.model = "ZQVD52002H(2-3 lbf-in)"; }));
  EXPECT_FALSE(voids([](KstSetupValues& v) { v.over_range = "150.0"; }));
  EXPECT_FALSE(voids([](KstSetupValues& v) {
    v.serial = "7";
    v.customer = "B";
    v.channels = "1";
  }));
  EXPECT_TRUE(voids([](KstSetupValues& v) { v.model = "ZQVD52002V(5-2 Nm)"; }));
  EXPECT_TRUE(voids([](KstSetupValues& v) { v.over_range = "300"; }));
  EXPECT_TRUE(voids([](KstSetupValues& v) { v.points = "5"; }));
}

TEST_F(SetupFormsTest, ARefusedChannelCountComesBackToTheFormAndCancelWritesNothing) {
  const auto before = sim.working;
  op.expect_user_input("NumChannels", true, {{6, "2"}});
  op.expect_gib("NumChannels must be either 1 or 3", "OK");
  op.expect_user_input("NumChannels", false);
  EXPECT_FALSE(kst_setup_form());
  EXPECT_EQ(op.shown[2].form.fields[6].data, "2") << "the form comes back as typed";
  EXPECT_EQ(op.shown[1].font, "Courier New");
  EXPECT_EQ(op.shown[1].buttons, std::vector<std::string>{"OK"});
  EXPECT_TRUE(writes().empty());
  EXPECT_EQ(sim.working, before);
  EXPECT_EQ(sim.config.channels, 3);
}

TEST_F(SetupFormsTest, KstSetupShowsTheInstrumentAndWritesOnlyWhatChanged) {
  op.expect_user_input("Model Name", true, {{1, "12345"}, {2, "Acme Test Lab"}});
  EXPECT_TRUE(kst_setup_form());
  EXPECT_EQ(field("Model Name"), "ZQVD52002V(2-3 lbf-in)");
  EXPECT_EQ(field("Over Range"), "150") << "655360000 counts at full scale";
  EXPECT_EQ(field("NumChannels"), "3");
  EXPECT_EQ(field("Speed Overload"), "<none>") << "\"PS\" is off";
  EXPECT_EQ(writes(), (std::vector<std::string>{"UIB12345", "UICAcme Test Lab"}));
  EXPECT_EQ(sim_param(sim, "UIB"), "12345");
}

TEST_F(SetupFormsTest, ADoubtMayBeKeptAndACalibrationVoidedOnlyWhenTheOperatorSaysSo) {
  // Over range 300 on a 150 model: kept, then the voided calibration is refused once and
  // accepted the second time; the channel count goes out with its access code.
  op.expect_user_input("Model Name", true, {{1, "12345"}, {5, "300"}, {6, "1"}});
  op.expect_gib("Over Range should be == 150 (based on Model number)", "Continue anyway");
  op.expect_gib("Continuing will make ANY calibration done illegitimate", "Back to editing");
  op.expect_user_input("Model Name", true);
  op.expect_gib("Over Range should be == 150", "Continue anyway");
  op.expect_gib("Continuing will make ANY calibration", "Illegitimate Calibrations OK");
  EXPECT_TRUE(kst_setup_form());
  EXPECT_EQ(writes(), (std::vector<std::string>{"UIB12345", "UCA327680000", "SD1k7Qw2Xzp"}));
  EXPECT_EQ(sim.config.channels, 1);

  // "Back" from a doubt returns to the form.
  port.clear_transcript();
  op.expect_user_input("Model Name", true, {{1, "SIM7"}});
  op.expect_gib("Serial Number should be", "Back");
  op.expect_user_input("Model Name", false);
  EXPECT_FALSE(kst_setup_form());
  EXPECT_TRUE(writes().empty());
}

TEST_F(SetupFormsTest, TheSpeedFieldsShowWithASpeedChannelAndPsOnAndWriteTheTeethAsHertz) {
  sim.table["PS"] = "2";
  op.expect_user_input("Speed Overload", true, {{1, "1"}, {7, "12000"}, {8, "120"}});
  op.expect_gib("Speed Overload / FS should be 15000", "Continue anyway");
  EXPECT_TRUE(kst_setup_form());
  EXPECT_EQ(field("Pulses / Revolution"), "60") << "1 Hz at 1 RPM";
  EXPECT_EQ(writes(), (std::vector<std::string>{"UIB1", "OL212000", "SCA2"}));
}

TEST_F(SetupFormsTest, SpeedPowerSetupRefusesReentersWarnsAndWritesInTheInstrumentsUnits) {
  sim_set_param(sim, "DS2", "2");  // the speed shown at twice its RPM
  op.expect_user_input("Speed Full Scale", true, {{0, "fast"}});
  op.expect_gib("Speed Full Scale must be numeric.\r\nGo back and fix", "Reenter Data");
  op.expect_user_input("Speed Full Scale", true, {{0, "40000"}, {1, "0.5"}});
  op.expect_gib("Range:[0.001,30000]\r\nContinue Anyway?", "Continue");
  EXPECT_TRUE(speed_power_setup_form());
  const UserInputForm& form = op.shown[0].form;
  EXPECT_EQ(form.title, "Speed / Power Setup");
  EXPECT_EQ(form.fields[0].label, "Speed Full Scale (default=30000)");
  EXPECT_EQ(form.fields[0].data, "30000");
  EXPECT_EQ(form.fields[0].comment, "RPM\r\nRange:[0.001,30000]");
  EXPECT_EQ(form.fields[1].data, "0.01");
  EXPECT_EQ(form.fields[2].label, "Power Full Scale (default=476.23693)");
  EXPECT_EQ(writes(), (std::vector<std::string>{"CE2A20000", "OL220000", "SCB0.005"}));

  // Cancel on the way back writes nothing.
  port.clear_transcript();
  op.expect_user_input("Speed Full Scale", true, {{2, "-1"}});
  op.expect_gib("Power Full Scale must be positive.", "Cancel");
  EXPECT_FALSE(speed_power_setup_form());
  EXPECT_TRUE(writes().empty());
}

TEST_F(SetupFormsTest, TheTorqueDataShowsEachPointAndKeepsTheTestSettings) {
  op.expect_user_input("Torque Adjusment points", true, {{4, "12.5"}, {9, "abc"}});
  op.expect_gib("Noise Test Samples must be numeric", "OK");
  op.expect_user_input("Torque Adjusment points", true, {{9, "40000"}});
  EXPECT_TRUE(torque_data_form());
  const UserInputForm& form = op.shown[0].form;
  EXPECT_EQ(form.title, "Calibration");
  std::vector<std::string> labels;
  for (const UserInputField& f : form.fields) labels.push_back(f.label);
  EXPECT_EQ(labels,
            (std::vector<std::string>{
                "Torque Adjusment points", "Full Scale", "FS Ratio Adjustment Point 1",
                "FS Ratio Adjustment Point 2", "Zero Reading", "RRC Adjustment Point 1",
                "RRC Adjustment Point 2", "Positive Shunt Reading", "Negative Shunt Reading",
                "Noise Test Samples", "Samples per Adjustment", "Adjustment Readout"}));
  EXPECT_FALSE(form.fields[0].enabled);
  EXPECT_EQ(form.fields[2].data, "1");
  EXPECT_EQ(form.fields[11].data, "812.246") << "CF1B / (CE1B x 100)";
  EXPECT_EQ(writes(), std::vector<std::string>{"CF1A12.5"});
  EXPECT_EQ(setting("KST", "Settings", "Noise Test Samples"), "40000");
}

TEST_F(SetupFormsTest, TheSpeedAndPowerDataMoveTheOverloadsWithTheFullScales) {
  op.expect_user_input("Full Scale", true, {{3, "5000"}});  // Configuration: SCD
  op.expect_user_input("Speed Full Scale", true, {{0, "10000"}, {4, "500"}});
  EXPECT_TRUE(speed_power_data_form());
  EXPECT_EQ(op.shown[0].title, "Configuration");
  EXPECT_EQ(op.shown[1].title, "Calibration");
  EXPECT_EQ(op.shown[1].form.fields.size(), 8u);
  EXPECT_EQ(writes(), (std::vector<std::string>{"CE2A10000", "OL210000", "CE3A500", "OL31000"}))
      << "SCD was already 5000; the power's overload stays twice its full scale";
}

TEST_F(SetupFormsTest, TheCompensationFormsReadCheckAndWriteTheirCoefficients) {
  struct Case {
    void (*run)();
    const char* label;
    const char* shown;
    int field;
    const char* refusal;
    const char* write;
  } cases[] = {
      {[] { temp_comp_form(0); }, "Zero Temperature Compensation", "0.000000", 0,
       "Zero compensation must be numeric", "TCB0.25"},
      {[] { temp_comp_form(1); }, "Span Temperature Compensation", "0.000000", 0,
       "Span compensation must be numeric", "TCD0.25"},
      {[] { temp_comp_form(2); }, "Shunt Span Temperature Compensation", "0.000000", 0,
       "Shunt Span compensation must be numeric", "TCF0.25"},
      {[] { creep_comp_form(); }, "Creep Amount (Fraction of Torque Full Scale)", "0", 0,
       "Creep Amount (Fraction of Torque Full Scale) must be numeric", "CCA0.25"},
      {[] { creep_comp_form(); }, "Skip amount -- LEAVE AT 256", "256", 1,
       "Skip amount -- LEAVE AT 256 must be numeric", "CCB0.25"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    port.clear_transcript();
    op.shown.clear();
    op.expect_user_input(c.label, true, {{c.field, "x"}});
    op.expect_gib(c.refusal, "OK");
    op.expect_user_input(c.label, true, {{c.field, "0.25"}});
    c.run();
    EXPECT_EQ(op.shown[0].form.fields[static_cast<size_t>(c.field)].data, c.shown);
    EXPECT_EQ(writes(), std::vector<std::string>{c.write});
  }
  port.clear_transcript();
  op.expect_user_input("Zero Temperature", false, {{0, "9"}});
  EXPECT_FALSE(temp_comp_form(0));
  EXPECT_TRUE(writes().empty());
}

}  // namespace
}  // namespace ovn::test
