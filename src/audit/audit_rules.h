#pragma once
// What the rule lists of the configuration audit share: the reads and the lists
// themselves, one function per family (audit/rules_kst.cpp, audit/rules_families.cpp).

#include <string>

namespace ovn {

// The reply to `message` as a number; kCheckNoReading when there is none or it is not
// numeric.
double ckr_number(const std::string& message);
// The reply as text, trimmed of blanks.
std::string ckr_text(const std::string& message);
// The reply as a hex number (the families that answer in hex); kCheckNoReading when it is
// not hex.
double ckr_hex(const std::string& message);

// The model as the rule lists hold it: the parse position (0 good), full scale in lbf-in,
// units of the model per lbf-in, and the unit as written.
struct CheckModel {
  std::string text;
  int position = 0;
  double full_scale = 0;
  double units_per_lbfin = 1;
  std::string unit;
};
CheckModel ckr_model(const std::string& model);

// A number in the sentences of the rule lists, as plain as it goes: "60", "-1.1".
std::string ckr_num(double value);

void tm_check_rules_kst();
void tm_check_rules_rdx();
void tm_check_rules_wqpm();
void tm_check_rules_hzym();
void tm_check_rules_ksvm();

}  // namespace ovn
