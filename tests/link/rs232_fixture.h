#pragma once
// A fresh link module on a fake port, with the virtual clock and a memory log.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "link/rs232.h"
#include "support/fake_port.h"
#include "support/scripted_operator.h"
#include "support/seams.h"

namespace ovn::test {

class Rs232Fixture : public SeamsTest {
 protected:
  Rs232Fixture() : port(seams.clock) {
    op.window_title = "KST Monitor";
    rs232_attach(port, "");
  }

  // Attaches with ID "A" and opens at 115200 (a reply floor of 103 ms), with a clean log.
  void open_line() {
    rs232_attach(port, "A");
    ASSERT_EQ(rs232_open(port, "115200"), "");
    port.events.clear();
    seams.log.lines.clear();
  }

  int log_count(const std::string& prefix) const {
    int n = 0;
    for (auto& line : log_texts()) n += line.rfind(prefix, 0) == 0;
    return n;
  }

  // The operator's answers to the next failure dialogs: 0 Abort, 1 Retry, 2 Skip.
  void answer(std::initializer_list<int> choices) {
    for (int c : choices) op.expect_gib("Communications Failure on COM3", c);
  }

  double elapsed_since(double start) { return seams.clock.now_ms() - start; }

  ScriptedOperator op;
  FakePort port;
};

}  // namespace ovn::test
