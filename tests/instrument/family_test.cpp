#include "instrument/family.h"

#include <gtest/gtest.h>

namespace ovn {
namespace {

TEST(Family, NamesDifferBetweenDisplayAndSettingsKey) {
  struct Row {
    int32_t code;
    const char* name;
    const char* key;
  };
  const Row rows[] = {{1100, "??", ""},         {1101, "WQPM", "WQPM"}, {1102, "RDX", "RDX"},
                      {1103, "KSLW", "KSLW"},   {1104, "KSTM", "KST"},  {1105, "HZYM", "HZYM"},
                      {1106, "KSVM", "KSVM"},   {1107, "350", "S350"},  {1108, "350+", "S350+"},
                      {1109, "FGA1000", "FGA"}, {1110, "??", ""},       {0, "??", ""}};
  for (const auto& r : rows) {
    EXPECT_EQ(tm_info_family_name(r.code), r.name) << r.code;
    EXPECT_EQ(selcom_key_of(r.code), r.key) << r.code;
    EXPECT_EQ(tm_info_is_family(r.code), r.code >= 1101 && r.code <= 1109) << r.code;
  }
}

}  // namespace
}  // namespace ovn
