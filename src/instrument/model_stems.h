#pragma once
// The stem sets of the model numbers: which product line a model number belongs to.
//
// A model number is an optional maker's prefix "ZQVD", a stem, a tail of letters, and for
// most families the full scale in parentheses: "ZQVD52004H(5-2 Nm)". The stems are:
//   RDX   4 digits 1100 to 2999; its subset FORCE (rated in lbf) 1900 to 1999
//   KST   5 digits beginning 4, 5 or 7
//   KSV   5 digits beginning 6
//   WQPM  5 digits beginning 8
//   HZYM  5 digits beginning 3
//   KSLW  7 digits beginning 9
// A stem matches only when letters, "(" or the end follow it, so "520041" is no KST stem.

#include <string>

namespace ovn {

enum class StemSet { Rdx, Kst, Ksv, Wqpm, Hzym, Kslw, Force };

bool tm_model_in_stems(StemSet set, const std::string& model);

}  // namespace ovn
