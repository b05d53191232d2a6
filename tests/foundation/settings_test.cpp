#include "foundation/settings.h"

#include "foundation/platform.h"
#include "support/seams.h"

namespace ovn {
namespace {

class SettingsTest : public test::SeamsTest {
 protected:
  const std::map<MemorySettingsStore::Key, std::string>& stored() { return seams.settings.all(); }
};

TEST_F(SettingsTest, AnEmptyNameReadsTheDefaultAndStoresNothing) {
  seams.settings.put("KST", "Graphing", "Dots", "1");
  EXPECT_EQ(kw_setting_get("KST", "Graphing", "Dots", "0"), "1");
  EXPECT_EQ(kw_setting_get("", "Graphing", "Dots", "0"), "0");
  EXPECT_EQ(kw_setting_get("KST", "", "Dots", "0"), "0");
  EXPECT_EQ(kw_setting_get("KST", "Graphing", "", "0"), "0");
  EXPECT_EQ(kw_setting_get("KST", "Graphing", "Lines", "7"), "7");

  EXPECT_EQ(kw_setting_put("", "Graphing", "Dots", "5"), "5");
  EXPECT_EQ(kw_setting_put("KST", "", "Dots", "5"), "5");
  EXPECT_EQ(kw_setting_put("KST", "Graphing", "", "5"), "5");
  EXPECT_EQ(kw_setting_seed("", "Graphing", "Dots", "6"), "6");
  EXPECT_EQ(stored().size(), 1u);
  EXPECT_EQ(kw_setting_get("KST", "Graphing", "Dots", "0"), "1");
}

TEST_F(SettingsTest, SeedStoresTheDefaultOnlyWhenNothingIsStoredOrWhenForced) {
  EXPECT_EQ(kw_setting_seed("KST", "Settings", "Baud", "9600"), "9600");
  EXPECT_EQ(*seams.settings.get("KST", "Settings", "Baud"), "9600");

  seams.settings.put("KST", "Settings", "Baud", "115200");
  EXPECT_EQ(kw_setting_seed("KST", "Settings", "Baud", "9600"), "115200");

  // An empty string is a value the operator chose: it survives, unless forced.
  seams.settings.put("KST", "Settings", "Title", "");
  EXPECT_EQ(kw_setting_seed("KST", "Settings", "Title", "Torque"), "");
  EXPECT_EQ(*seams.settings.get("KST", "Settings", "Title"), "");

  EXPECT_EQ(kw_setting_seed("KST", "Settings", "Title", "Torque", true), "Torque");
  EXPECT_EQ(kw_setting_seed("KST", "Settings", "Baud", "9600", true), "9600");
  EXPECT_EQ(*seams.settings.get("KST", "Settings", "Baud"), "9600");

  // A default that looks like the "not stored" marker is still just a default.
  EXPECT_EQ(kw_setting_seed("KST", "Settings", "Odd", "not default value for anything"),
            "not default value for anything");
  EXPECT_EQ(kw_setting_seed("KST", "Settings", "Odd", "x"), "not default value for anything");
}

TEST_F(SettingsTest, DeleteRemovesASectionOrAKeyThatHoldsAValue) {
  seams.settings.put("KST", "Graphing", "Dots", "1");
  seams.settings.put("KST", "Graphing", "Empty", "");
  seams.settings.put("KST", "Settings", "Dots", "2");
  seams.settings.put("RDX", "Graphing", "Dots", "3");

  kw_setting_delete("KST", "Graphing", "Empty");  // an empty value is left alone
  EXPECT_TRUE(seams.settings.get("KST", "Graphing", "Empty").has_value());
  kw_setting_delete("KST", "Graphing", "Dots");
  EXPECT_FALSE(seams.settings.get("KST", "Graphing", "Dots").has_value());

  kw_setting_delete("", "Graphing", "");  // no application: nothing happens
  kw_setting_delete("KST", "", "");
  EXPECT_EQ(stored().size(), 3u);

  kw_setting_delete("KST", "Graphing", "");
  EXPECT_FALSE(seams.settings.get("KST", "Graphing", "Empty").has_value());
  EXPECT_EQ(*seams.settings.get("KST", "Settings", "Dots"), "2");
  EXPECT_EQ(*seams.settings.get("RDX", "Graphing", "Dots"), "3");
}

}  // namespace
}  // namespace ovn
