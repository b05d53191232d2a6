#include "instrument/ovn_mode.h"

#include <cstdio>

#include "foundation/kw.h"
#include "foundation/settings.h"

namespace ovn {

namespace {

// The transforms of the accepted phrases, each character other than the separator raised
// by one code, in the order of kLevels.
const char* const kScrambledList = "2B6C731:583BF7D9|99885F379EFD4421";
const char kSeparator = '|';

std::vector<std::string> lf_unscrambled_list() {
  std::string list;
  for (const char* p = kScrambledList; *p; ++p)
    list += *p == kSeparator ? *p : static_cast<char>(*p - 1);
  list += kSeparator;
  std::vector<std::string> pieces;
  std::string piece;
  for (char c : list) {
    if (c != kSeparator) {
      piece += c;
      continue;
    }
    if (!piece.empty()) pieces.push_back(piece);
    piece.clear();
  }
  return pieces;
}

}  // namespace

std::string ovn_mode_transform(const std::string& text) {
  // FNV-1a, salted and run many rounds so that guessing phrases against a stored value
  // costs something.
  uint64_t h = 14695981039346656037ull;
  auto mix = [&h](unsigned char c) {
    h ^= c;
    h *= 1099511628211ull;
  };
  for (char c : std::string("ovn-kst tech mode:")) mix(static_cast<unsigned char>(c));
  for (int round = 0; round < 1000; ++round) {
    for (char c : text) mix(static_cast<unsigned char>(c));
    mix(static_cast<unsigned char>(round & 0xFF));
  }
  char buf[17];
  std::snprintf(buf, sizeof buf, "%016llX", static_cast<unsigned long long>(h));
  return buf;
}

const std::vector<int32_t>& ovn_mode_levels() {
  static const std::vector<int32_t> levels = {kOvnModeTechnician, kOvnModeEngineer};
  return levels;
}

int32_t ovn_mode_get(const std::string& prompt_text, bool interactive,
                     const std::vector<int32_t>& levels) {
  std::string stored = kw_setting_get(kSharedApp, kOvnModeSection, kOvnModeKey, kOvnModeNone);
  std::string candidate = interactive ? stored : ovn_mode_transform(prompt_text);
  std::vector<std::string> list = lf_unscrambled_list();
  for (size_t i = 0; i < list.size(); ++i) {
    if (list[i] != candidate) continue;
    if (!interactive) kw_setting_put(kSharedApp, kOvnModeSection, kOvnModeKey, candidate);
    return i < levels.size() ? levels[i] : 0;
  }
  if (stored != kOvnModeNone) kw_setting_delete(kSharedApp, kOvnModeSection, kOvnModeKey);
  return 0;
}

int32_t ovn_mode_current() {
  return ovn_mode_get("", true, ovn_mode_levels());
}

}  // namespace ovn
