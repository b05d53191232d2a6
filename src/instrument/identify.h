#pragma once
// Which family answers on the open port: one probe per family, and the family a model
// number belongs to.
//
// A probe sends the family's identification message twice with no retry and no operator
// dialog (the first send may be eaten by an instrument that just woke up; the second reply
// counts), so a silent line costs one reply wait per send and letter.

#include <cstdint>
#include <string>

namespace ovn {

// True for the families that carry an address letter on a shared line: RDX, KSLW, KST,
// S350, S350+.
bool tm_family_has_address(int32_t type);

// The address letters to try for a family: the family's remembered ID (setting "ID",
// section "Communications", application the family's key), the caller's letters, then
// "ABC"; empty for families without addressing.
std::string tm_address_candidates(int32_t type, const std::string& passed);

// Probes the attached, open port for family `type`, trying each character of
// tm_address_candidates(type, address_list) in turn where the family has addressing (RDX, KSLW,
// KST: letters only; S350 and S350+: every character). Empty when the family answered (its ID stays
// set on the exchange), else what went wrong:
//   WQPM  "CCA"  reply of exactly 9 characters, line end included
//                 "WQPM:Bad Response to CCA:<reply>"
//   RDX   "VR"   first character "i"           "RDX Bad Response <letter>VR:<reply>" CR LF
//   KSLW  "TMA"  numeric                       "KSLW Bad Response <letter>TMA:<reply>" CR LF
//   KST   "TMA"  numeric                       "KST Bad Response <letter>TMA:<reply>" CR LF
//   HZYM  "VR"   characters 1, 3, 5 numeric    "HZYM No/Bad Response to VR:<reply>"
//   KSVM  "VR"   numeric                       "KSVM No/Bad Response to VR:<reply>"
//   S350  "VR"   "Model ddd " (S350+: "Model ddd+")   "350 Bad Response:<reply>"
//   FGA   "v"    begins "Encal"                "FGA No/Bad Response to v:<reply>"
// The per-letter texts of RDX, KSLW and KST pile up; the S350 text is the last letter's.
// 1100 gives "" at once, any other code "Bad Type:<code>".
std::string tm_identify(int32_t type, const std::string& address_list);

// The family of a model number by its stem: RDX 1102, KST 1104, KSVM 1106, WQPM 1101,
// HZYM 1105, else 1100. A KSLW model number is not recognised and gives 1100.
int32_t tm_info_family_from_model(const std::string& model);

}  // namespace ovn
