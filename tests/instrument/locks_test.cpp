// The access locks: the technician phrase check, the instrument's password protection and
// password change against the simulated KST, and the password dialog's own checks.

#include <gtest/gtest.h>

#include "foundation/settings.h"
#include "instrument/ovn_mode.h"
#include "instrument/password.h"
#include "session_fixture.h"

namespace ovn::test {
namespace {

class LocksTest : public SessionTest {
 protected:
  void SetUp() override { connect(SimFamily::Kst); }
  std::string tech_mode() { return setting(kSharedApp, kOvnModeSection, kOvnModeKey); }
};

TEST_F(LocksTest, APhraseMatchesByItsTransformWhichAloneIsStoredAndAMismatchDeletesIt) {
  EXPECT_NE(ovn_mode_transform("torque"), ovn_mode_transform("Torque"));
  EXPECT_EQ(ovn_mode_get("torque", true, ovn_mode_levels()), 0) << "the store, not the text";
  EXPECT_EQ(ovn_mode_get("torque", false, ovn_mode_levels()), kOvnModeTechnician);
  EXPECT_EQ(tech_mode(), ovn_mode_transform("torque"));
  EXPECT_EQ(ovn_mode_current(), kOvnModeTechnician) << "the next run reads the store";
  EXPECT_EQ(ovn_mode_get("rotor coil", false, {7, 9}), 9) << "the level at the phrase's index";

  EXPECT_EQ(ovn_mode_get("torque ", false, ovn_mode_levels()), 0);
  EXPECT_EQ(tech_mode(), "<none>") << "a wrong phrase ends the mode";
  seams.settings.put(kSharedApp, kOvnModeSection, kOvnModeKey, "torque");
  EXPECT_EQ(ovn_mode_current(), 0) << "a phrase in clear is no transform";
  EXPECT_EQ(tech_mode(), "<none>");
  seams.settings.put(kSharedApp, kOvnModeSection, kOvnModeKey, kOvnModeNone);
  EXPECT_EQ(ovn_mode_current(), 0);
  EXPECT_EQ(tech_mode(), kOvnModeNone) << "the default stays";
}

TEST_F(LocksTest, ProtectionTogglesWithThePasswordAndARefusalIsReported) {
  op.expect_password("enable password protection", {{"kst"}});
  op.expect_password("disable password protection", {{"KST"}});
  op.expect_gib("Password Protection not changed!", "OK");
  op.expect_password("disable password protection", {});  // cancelled
  op.expect_password("disable password protection", {{"kst"}});
  EXPECT_TRUE(password_protect_toggle());
  EXPECT_TRUE(sim.locked);
  EXPECT_FALSE(password_protect_toggle());
  EXPECT_FALSE(password_protect_toggle());
  EXPECT_TRUE(password_protect_toggle());
  EXPECT_FALSE(sim.locked);
  EXPECT_EQ(port.requests(),
            (std::vector<std::string>{"PS", "PSkst1", "PS", "PSKST0", "PS", "PS", "PSkst0"}));
  EXPECT_EQ(op.shown[0].fields, std::vector<std::string>{"Enter password"});
}

TEST_F(LocksTest, AChangeUnlocksFirstAndSeparatesWithACharacterInNeitherPassword) {
  sim.config.password = "!k#";
  sim.locked = true;
  op.expect_password("", {{"!k#", "\"$%", "\"$%"}});
  EXPECT_TRUE(password_change());
  EXPECT_EQ(port.requests(), (std::vector<std::string>{"PS", "PS0!k#", "PC&!k#&\"$%&\"$%"}));
  EXPECT_EQ(sim.config.password, "\"$%");
  EXPECT_EQ(password_separator("kst", "new"), '!');

  sim.locked = true;
  port.clear_transcript();
  op.expect_password("", {{"bad", "newer", "newer"}});
  op.expect_gib("Unable to unlock torquemeter", "OK");
  EXPECT_FALSE(password_change());
  EXPECT_EQ(port.requests(), (std::vector<std::string>{"PS", "PS0bad"})) << "no PC";

  sim.locked = false;
  op.expect_password("", {{"wrong", "newer", "newer"}});
  op.expect_gib("Password Not changed!", "OK");
  EXPECT_FALSE(password_change());
  EXPECT_EQ(sim.config.password, "\"$%");
}

TEST_F(LocksTest, TheChangeDialogRefusesUnequalAndShortPasswordsUntilTheOperatorGivesUp) {
  op.expect_password("", {{"kst", "abc", "abd"}, {"kst", "ab", "ab"}, {"kst", "abcd", "abcd"}});
  op.expect_msg_box("Passwords are not the same!\r\nNOT changing password", MsgAnswer::Ok);
  op.expect_msg_box("Do you want to choose a new password?", MsgAnswer::Yes);
  op.expect_msg_box("Password should be 3 characters minimum", MsgAnswer::Ok);
  op.expect_msg_box("Do you want to choose a new password?", MsgAnswer::Yes);
  EXPECT_EQ(password_ask(kPasswordChange, ""), "kst");
  EXPECT_EQ(password_new(), "abcd");
  EXPECT_EQ(op.shown[0].fields,
            (std::vector<std::string>{"Current password", "New password", "Retype New password"}));

  op.expect_password("", {{"kst", "abc", "abd"}, {"kst", "abcd", "abcd"}});
  op.expect_msg_box("not the same", MsgAnswer::Ok);
  op.expect_msg_box("new password", MsgAnswer::No);
  EXPECT_EQ(password_ask(kPasswordChange, ""), "") << "No closes the dialog as a cancel";
  EXPECT_EQ(password_new(), "");
}

}  // namespace
}  // namespace ovn::test
