#pragma once
// The instrument families this program serves, by their family code (`tm_type`).

#include <cstdint>
#include <string>

namespace ovn {

// 1100 is "no instrument"; 1101 to 1109 are the nine families.
enum : int32_t {
  kTmNone = 1100,
  kTmWqpm = 1101,
  kTmRdx = 1102,
  kTmKslw = 1103,
  kTmKst = 1104,
  kTmHzym = 1105,
  kTmKsvm = 1106,
  kTmS350 = 1107,
  kTmS350Plus = 1108,
  kTmFga = 1109,
};

// True for the nine real families, 1101 to 1109.
bool tm_info_is_family(int32_t code);
// The display name: "WQPM", "RDX", "KSLW", "KSTM", "HZYM", "KSVM", "350", "350+",
// "FGA1000"; "??" for any other code.
std::string tm_info_family_name(int32_t code);
// The name that keys per-family settings and the prompt "Choose COM port for <key>":
// "WQPM", "RDX", "KSLW", "KST", "HZYM", "KSVM", "S350", "S350+", "FGA"; empty otherwise.
std::string selcom_key_of(int32_t code);

}  // namespace ovn
