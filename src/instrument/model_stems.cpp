#include "instrument/model_stems.h"

#include <regex>

namespace ovn {

namespace {

// Prefix, stem, letter tail, then "(" or the end.
std::regex stem_pattern(const char* stem) {
  return std::regex(std::string("^(ZQVD)?(") + stem + ")[A-Za-z]*(\\(|$)");
}

const std::regex& pattern_of(StemSet set) {
  static const std::regex kPatterns[] = {
      stem_pattern("1[1-9][0-9]{2}|2[0-9]{3}"),  // Rdx
      stem_pattern("[457][0-9]{4}"),             // Kst
      stem_pattern("6[0-9]{4}"),                 // Ksv
      stem_pattern("8[0-9]{4}"),                 // Wqpm
      stem_pattern("3[0-9]{4}"),                 // Hzym
      stem_pattern("9[0-9]{6}"),                 // Kslw
      stem_pattern("19[0-9]{2}"),                // Force
  };
  return kPatterns[static_cast<int>(set)];
}

}  // namespace

bool tm_model_in_stems(StemSet set, const std::string& model) {
  return std::regex_search(model, pattern_of(set));
}

}  // namespace ovn
