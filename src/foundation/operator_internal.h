#pragma once
// Shared between the operator service files; not for use outside src/foundation/operator*.

#include <functional>
#include <string>
#include <vector>

#include "foundation/operator.h"

namespace ovn {

// The installed operator; with none, a programmer's error naming the service and its text.
Operator& op_required(const char* service, const std::string& what);

// The display_data module record; set_operator clears it.
struct DisplayDataRecord {
  std::function<double()> reader;
  std::string input;
  int code = 0;
};
DisplayDataRecord& op_display_data_record();

}  // namespace ovn
