#include "config/config_commands.h"

#include "config/config_load.h"
#include "config_fixture.h"
#include "instrument/tm_info.h"

namespace ovn::test {
namespace {

class ConfigCommandTest : public ConfigFixture {
 protected:
  ConfigCommandTest() {
    tmi_get_data_ini(kTmKst, 0, false, "", 0, false);
    tm_file_use_session([](int32_t) { return rs232_send_ok("@@", 1000); });
    env.set("APPDATA", dir.path());
    port.clear_transcript();
  }
  ~ConfigCommandTest() override { tm_file_set_load_hooks({}); }
  EnvGuard env;
};

TEST_F(ConfigCommandTest, TheSessionDescribesTheFile) {
  ConfigInstrument c = config_instrument_of(kTmInfoCurrent);
  const TmInfoRecord& r = tm_info_record(kTmInfoCurrent);
  EXPECT_EQ(c.tm_type, kTmKst);
  EXPECT_EQ(c.file_extension, ".611");
  EXPECT_EQ(c.uid, r.uid);
  EXPECT_EQ(c.firmware, "KSTs150r40");
  EXPECT_EQ(c.version1, std::stoi(r.version_numbers[1]));
  EXPECT_DOUBLE_EQ(c.uvpv_per_raw, r.uvpv_per_raw);
}

TEST_F(ConfigCommandTest, SaveThenLoadThroughTheCommands) {
  const std::string path = dir / "saved.611";
  op.expect_file_dialog("Configurations for", path);
  ASSERT_TRUE(tm_file_command_save());
  auto text = TempDir::read(path);
  ASSERT_TRUE(text);
  EXPECT_NE(text->find("# UID:" + tm_info_record(kTmInfoCurrent).uid + "\r\n"), std::string::npos);

  sim_set_param(sim, "UCA", "1");
  sim_set_param(sim, "SCA", "500");  // not in the file of a two-channel instrument below
  port.clear_transcript();
  op.expect_file_dialog("Configurations for", path);
  op.expect_gib("voltage output calibration values", "Proceed anyway");
  op.expect_gib("Configuration uploaded", "OK");
  int32_t channels = 0;
  EXPECT_EQ(tm_file_command_load(channels), 104);
  EXPECT_EQ(op.last().text, "Configuration uploaded\r\n104 lines uploaded");
  EXPECT_EQ(channels, 3);
  EXPECT_EQ(sim_param(sim, "UCA"), "655360000");
  EXPECT_EQ(sim_param(sim, "SCA"), "1") << "the file's value, then left alone";
  EXPECT_EQ(count_requests("SCA1.0"), 0);

  // A cancelled dialog loads nothing.
  port.clear_transcript();
  op.expect_file_dialog("", std::nullopt);
  EXPECT_EQ(tm_file_command_load(channels), -1);
  EXPECT_TRUE(requests().empty());
}

TEST_F(ConfigCommandTest, ASpeedConstantAbove100IsPutBackAfterALoad) {
  const std::string path = dir.write("small.611", "UIAM\r\nUIBS\r\nSCA500\r\n");
  op.expect_file_dialog("", path);
  op.expect_gib("Configuration uploaded", "OK");
  int32_t channels = 0;
  EXPECT_EQ(tm_file_command_load(channels), 3);
  EXPECT_EQ(count_requests("SCA1.0"), 1);
  EXPECT_EQ(sim_param(sim, "SCA"), "1.0");
}

TEST_F(ConfigCommandTest, ASaveThatCannotBeWrittenIsTold) {
  const std::string path = dir / "missing-folder/x.611";
  op.expect_file_dialog("", path);
  op.expect_gib("Configuration NOT saved to", "OK");
  EXPECT_FALSE(tm_file_command_save());
  EXPECT_EQ(op.last().text, "Configuration NOT saved to\r\n" + path);
}

}  // namespace
}  // namespace ovn::test
