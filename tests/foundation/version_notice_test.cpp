#include "foundation/version_notice.h"

#include "build_info.h"
#include "foundation/platform.h"
#include "support/seams.h"
#include "support/temp_dir.h"

namespace ovn {
namespace {

using test::EnvGuard;
using test::TempDir;

class VersionNoticeTest : public test::SeamsTest {
 protected:
  VersionNoticeTest() { env.set("OVN_NO_NEW_VERSION_CHECK", std::nullopt); }
  void set_directories(const std::string& text) {
    seams.settings.put("OVN-Shared", "Directories", "Newer-Version-Directory", text);
  }
  std::string directories() {
    return seams.settings.get("OVN-Shared", "Directories", "Newer-Version-Directory")
        .value_or("(none)");
  }
  std::string release_of(int major, int minor) {
    return "version" + std::to_string(major) + "." + std::to_string(minor);
  }
  EnvGuard env;
  TempDir releases;
};

TEST_F(VersionNoticeTest, ADifferentReleaseAsksWhetherToContinue) {
  std::string site = releases / "site";
  releases.write("site/ovn-kst/" + release_of(build::version_major + 1, 4), "");
  releases.write("site/ovn-kst/readme.txt", "");
  set_directories(releases.path() + "/nowhere?" + site + "\\");
  std::string text = kw_version_notice("ovn-kst");
  EXPECT_EQ(text, "This version of ovn-kst\r\n    " + std::string(build::version) +
                      "\r\nis not the same as version\r\n    " +
                      std::to_string(build::version_major + 1) + ".4.0\r\n" +
                      "which is in the directory\r\n    " + site + "/ovn-kst\r\n" +
                      "Continue Anyway?");
  EXPECT_EQ(directories(), site) << "the folder that answered is kept for next time";
  ASSERT_FALSE(seams.log.lines.empty());
  EXPECT_EQ(seams.log.lines.back().substr(8),
            "\\version* ... Found " + release_of(build::version_major + 1, 4) +
                " vs Current version " + std::to_string(build::version_major) + "." +
                std::to_string(build::version_minor));
}

TEST_F(VersionNoticeTest, TheSameReleaseOrNoReleaseSaysNothing) {
  EXPECT_EQ(kw_version_notice("ovn-kst"), "");
  EXPECT_EQ(directories(), "") << "the empty site default is stored for the operator to find";

  // Backslashes from a shared setting work as separators; "ovn-software" means ".../latest".
  std::string share = releases.path() + "\\ovn-software";
  releases.write(
      "ovn-software/ovn-kst/latest/" + release_of(build::version_major, build::version_minor), "");
  set_directories(share);
  EXPECT_EQ(kw_version_notice("ovn-kst"), "");
  EXPECT_EQ(directories(), releases / "ovn-software");

  releases.write("other/ovn-kst/version", "");  // a folder whose version file has no number
  set_directories(releases / "other");
  EXPECT_EQ(kw_version_notice("ovn-kst"), "Unable to parse version");
  releases.write("odd/ovn-kst/version2.x", "");
  set_directories(releases / "odd");
  EXPECT_EQ(kw_version_notice("ovn-kst"), "Unable to parse version2.x");
}

TEST_F(VersionNoticeTest, TheCheckIsSkippedOnRequest) {
  releases.write("site/ovn-kst/version99.0", "");
  set_directories(releases / "site");
  set_command_line("ovn-kst -nologo -nonewversioncheck");
  EXPECT_EQ(kw_version_notice("ovn-kst"), "");
  set_command_line("ovn-kst");
  env.set("OVN_NO_NEW_VERSION_CHECK", "1");
  EXPECT_EQ(kw_version_notice("ovn-kst"), "");
  env.set("OVN_NO_NEW_VERSION_CHECK", "");
  EXPECT_NE(kw_version_notice("ovn-kst"), "");
}

}  // namespace
}  // namespace ovn
