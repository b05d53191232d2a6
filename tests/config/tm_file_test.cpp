#include "config/tm_file.h"

#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <regex>

#include "config_fixture.h"
#include "foundation/settings.h"
#include "foundation/version_notice.h"

namespace ovn::test {
namespace {

class TmFileTest : public ConfigFixture {
 protected:
  std::vector<std::string> saved_lines(const std::string& path) {
    auto text = TempDir::read(path);
    EXPECT_TRUE(text.has_value()) << path;
    return text ? lines_of(*text) : std::vector<std::string>{};
  }
  static bool contains(const std::vector<std::string>& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }
  static bool any_starts(const std::vector<std::string>& lines, const std::string& prefix) {
    for (const auto& l : lines)
      if (l.rfind(prefix, 0) == 0) return true;
    return false;
  }
};

TEST_F(TmFileTest, SavedFileHasTheHeaderThenTheBodyInCatalogueOrder) {
  port.answer_bang("UIC");
  const std::string path = dir / "kst.611";
  ASSERT_TRUE(tm_info_config_save(path, kst()));
  auto text = TempDir::read(path);
  ASSERT_TRUE(text);
  EXPECT_EQ(text->find('\n'), text->find("\r\n") + 1) << "lines end in CR LF";
  EXPECT_EQ(text->substr(text->size() - 2), "\r\n");
  auto lines = lines_of(*text);
  ASSERT_EQ(lines.size(), 5u + 110u);  // 104 parameters and 6 comment lines
  EXPECT_EQ(lines[0], "# KSTM Configuration File");
  EXPECT_EQ(lines[1], "# ovn-kst Version:" + kw_version_text());
  // 1 / 0.024635402112829115 = 40.59199..., six significant digits.
  EXPECT_EQ(lines[2], "# Firmware:150  RawRotor / uV/V = 40.5920E+0");
  EXPECT_EQ(lines[3], "# UID:ZQVD52002V(2-3 lbf-in)-SIM0001.S1-COM1");
  EXPECT_TRUE(std::regex_match(lines[4], std::regex(R"(# \d{4}-\d\d-\d\d \d\d:\d\d:\d\d)")))
      << lines[4];
  EXPECT_EQ(lines[5], "UCA655360000        # Pole0 Full Scale");
  EXPECT_EQ(lines[7], "UIAZQVD52002V(2-3 lbf-in)# Model");
  EXPECT_EQ(lines[9], "# BAD REPLY TO UIC:!");
  EXPECT_EQ(lines[10], "UIDS1               # Shaft Number");
  EXPECT_EQ(lines[34], "######################### Speed");
  EXPECT_EQ(lines[35], "UN2RPM              # Speed Unit Name");
  EXPECT_EQ(lines.back(), "TMB0                # Stator Temp Span Compensation");
  // The held copy is the body.
  std::string body;
  for (size_t i = 5; i < lines.size(); ++i) body += lines[i] + "\r\n";
  EXPECT_EQ(tm_info_config_held(), body);
}

TEST_F(TmFileTest, TwoChannelInstrumentSavesNoSpeedOrPowerLines) {
  sim.config.channels = 2;
  const std::string path = dir / "kst.611";
  ASSERT_TRUE(tm_info_config_save(path, kst()));
  auto lines = saved_lines(path);
  for (const char* prefix :
       {"UN2", "CE2A", "SCA", "UN3", "CF3B", "#########################  Speed"})
    EXPECT_FALSE(any_starts(lines, prefix)) << prefix;
  EXPECT_FALSE(contains(lines, "######################### Speed"));
  EXPECT_FALSE(contains(lines, "######################### Power"));
  for (const char* prefix : {"AOA", "AOU", "IOA", "ILP", "CCA"})
    EXPECT_TRUE(any_starts(lines, prefix)) << prefix;
  EXPECT_EQ(lines.size(), 5u + 110u - 21u - 2u);
  EXPECT_EQ(count_requests("SCA"), 0);
}

TEST_F(TmFileTest, AFamilyWithoutACatalogueSavesTheHeaderAlone) {
  ConfigInstrument fga = kst();
  fga.tm_type = kTmFga;
  fga.tm_name = "FGA1000";
  fga.uvpv_per_raw = 0;
  const std::string path = dir / "fga.cfg";
  ASSERT_TRUE(tm_info_config_save(path, fga));
  auto lines = saved_lines(path);
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_EQ(lines[0], "# FGA1000 Configuration File");
  EXPECT_EQ(lines[2], "# Firmware:150  RawRotor / uV/V = ");
  EXPECT_TRUE(requests().empty());
}

// Lowers the largest file this process may write, so that the next write fails half way
// the way a full disk makes it fail; puts the limit back when it goes.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &saved_);
    old_handler_ = std::signal(SIGXFSZ, SIG_IGN);
    rlimit lower = saved_;
    lower.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &lower);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &saved_);
    std::signal(SIGXFSZ, old_handler_);
  }

 private:
  rlimit saved_{};
  void (*old_handler_)(int) = nullptr;
};

TEST_F(TmFileTest, AWriteFailingHalfWayOrAnAbortLeavesTheEarlierFileIntact) {
  const std::string path = dir / "kst.611";
  ASSERT_TRUE(tm_info_config_save(path, kst()));
  const auto earlier = TempDir::read(path);
  sim_set_param(sim, "UCA", "123");
  {
    FileSizeLimit limit(1000);  // the file is several kilobytes
    EXPECT_FALSE(tm_info_config_save(path, kst()));
  }
  EXPECT_EQ(TempDir::read(path), earlier);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1)
      << "no temporary file is left";
  // With room again the save goes through and holds the new value.
  ASSERT_TRUE(tm_info_config_save(path, kst()));
  const auto saved = TempDir::read(path);
  ASSERT_TRUE(saved);
  EXPECT_TRUE(contains(lines_of(*saved), "UCA123              # Pole0 Full Scale"));

  // An abort during the download leaves it as it was too.
  port.drop_replies(1000);
  op.expect_gib("Communications Failure", "Abort");
  EXPECT_PROCESS_EXIT(tm_info_config_save(path, kst()), 1);
  EXPECT_EQ(TempDir::read(path), saved);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
}

TEST_F(TmFileTest, AnUnwritableFolderFailsBeforeAnythingIsAsked) {
  EXPECT_FALSE(tm_info_config_save(dir / "no-such-folder/kst.611", kst()));
  EXPECT_TRUE(requests().empty());
}

TEST(TmFileName, DefaultNameReplacesTheCharactersNoFileNameMayHold) {
  EXPECT_EQ(tm_file_default_name("a\\b/c:d*e?f<g>h|i.611"), "a_b_c_d_e_f_g_h_i.611");
  EXPECT_EQ(tm_file_default_name("Cust.Model-1.S2.611"), "Cust.Model-1.S2.611");
  EXPECT_EQ(tm_file_default_name("||"), "__");
}

TEST_F(TmFileTest, StartFolderIsTheSettingThenAppdataThenTmp) {
  EnvGuard env;
  TempDir appdata, tmp;
  env.set("APPDATA", appdata.path());
  env.set("TMP", tmp.path());
  EXPECT_EQ(tm_file_start_folder(), appdata.path());
  kw_setting_put("OVN-Shared", "Directories", "Configuration Directory", dir.path());
  EXPECT_EQ(tm_file_start_folder(), dir.path());
  kw_setting_put("OVN-Shared", "Directories", "Configuration Directory", dir / "gone");
  EXPECT_EQ(tm_file_start_folder(), tmp.path());
}

TEST_F(TmFileTest, ChoosingAFileRemembersItsFolder) {
  EnvGuard env;
  env.set("APPDATA", dir.path());
  ConfigInstrument k = kst();
  k.file_name = "Cust.Model?1-SN.S1.611";
  std::string path;
  op.expect_file_dialog("Configurations for KSTM", dir / "sub/chosen.611");
  ASSERT_TRUE(tm_file_choose_save("Save Configuration", k, path));
  EXPECT_EQ(path, dir / "sub/chosen.611");
  const FileDialogRequest& request = op.last().file;
  EXPECT_TRUE(request.save);
  EXPECT_EQ(request.folder, dir.path());
  EXPECT_EQ(request.file_name, "Cust.Model_1-SN.S1.611");
  ASSERT_EQ(request.filters.size(), 1u);
  EXPECT_EQ(request.filters[0].pattern, "*.611");
  EXPECT_EQ(kw_setting_get("OVN-Shared", "Directories", "Configuration Directory", ""),
            dir / "sub");

  op.expect_file_dialog("", std::nullopt);
  EXPECT_FALSE(tm_file_choose_open("Load Configuration", k, path));
  EXPECT_FALSE(op.last().file.save);

  op.expect_file_dialog("", std::nullopt, "The folder cannot be read");
  op.expect_gib("The folder cannot be read", "OK");
  EXPECT_FALSE(tm_file_choose_open("Load Configuration", k, path));
  EXPECT_EQ(op.last().font, "Courier New");
}

TEST_F(TmFileTest, TheSessionEndSaveKeepsOneFilePerSession) {
  EnvGuard env;
  env.set("XDG_DOCUMENTS_DIR", dir.path());
  std::string path = tm_file_auto_save(kst());
  ASSERT_FALSE(path.empty());
  EXPECT_EQ(std::filesystem::path(path).parent_path(), dir / "OVN-Configurations");
  EXPECT_TRUE(std::regex_match(
      std::filesystem::path(path).filename().string(),
      std::regex(R"(Simulated_Customer\.ZQVD52002V-SIM0001\.S1_\d{8}-\d{6}\.611)")))
      << path;
  EXPECT_EQ(saved_lines(path).size(), 115u);
  ConfigInstrument none;
  EXPECT_EQ(tm_file_auto_save(none), "");
}

}  // namespace
}  // namespace ovn::test
