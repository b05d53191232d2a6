#pragma once
// The technician mode: a level the program keeps for itself (the instrument knows nothing
// of it) and that opens the commands an ordinary operator must not reach.
//
// The level is 0 for none; the technician levels are the two upper bits of a 16-bit
// mode word, kOvnModeTechnician and kOvnModeEngineer. What is stored is never a phrase:
// key "Tech Mode", section "Settings" of application "OVN-Shared" holds the one-way
// transform of the phrase that was accepted, or nothing ("NONE").
//
// The accepted phrases are held in the program only as their transforms, so a phrase can
// be checked without the phrase itself being anywhere in the program or the store.

#include <cstdint>
#include <string>
#include <vector>

namespace ovn {

inline constexpr int32_t kOvnModeTechnician = 0x4000;
inline constexpr int32_t kOvnModeEngineer = 0x8000;
inline constexpr const char* kOvnModeSection = "Settings";
inline constexpr const char* kOvnModeKey = "Tech Mode";
inline constexpr const char* kOvnModeNone = "NONE";

// The one-way scrambling of a phrase: 16 upper-case hex digits.
std::string ovn_mode_transform(const std::string& text);

// The levels of the program's phrases, in the order of its list.
const std::vector<int32_t>& ovn_mode_levels();

// The check of a phrase against the program's list; returns the level of the entry that
// matched, taken from `levels` at the same index (0 when `levels` is shorter).
//   interactive true:  the stored "Tech Mode" is checked as it stands (`prompt_text` is
//                      not used), as the program does for itself at start; nobody is asked.
//   interactive false: `prompt_text` is what the operator typed; on a match its transform
//                      is stored under "Tech Mode".
// The store holds a transform already, so it is compared as it is, never transformed twice.
// With no match the level is 0, and a stored value other than "NONE" is deleted, so a
// wrong phrase ends a technician mode that was on.
int32_t ovn_mode_get(const std::string& prompt_text, bool interactive,
                     const std::vector<int32_t>& levels);

// The level the store stands for now (the check without the operator).
int32_t ovn_mode_current();

// Either of the two upper mode bits.
inline bool ovn_mode_is_technician(int32_t level) {
  return (level & (kOvnModeTechnician | kOvnModeEngineer)) != 0;
}

}  // namespace ovn
