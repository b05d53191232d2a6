#include "instrument/family.h"

namespace ovn {

namespace {
struct FamilyNames {
  const char* display;
  const char* key;
};
constexpr FamilyNames kNames[] = {
    {"WQPM", "WQPM"}, {"RDX", "RDX"},  {"KSLW", "KSLW"},  {"KSTM", "KST"},    {"HZYM", "HZYM"},
    {"KSVM", "KSVM"}, {"350", "S350"}, {"350+", "S350+"}, {"FGA1000", "FGA"},
};
}  // namespace

bool tm_info_is_family(int32_t code) {
  return code >= kTmWqpm && code <= kTmFga;
}

std::string tm_info_family_name(int32_t code) {
  return tm_info_is_family(code) ? kNames[code - kTmWqpm].display : "??";
}

std::string selcom_key_of(int32_t code) {
  return tm_info_is_family(code) ? kNames[code - kTmWqpm].key : "";
}

}  // namespace ovn
