#pragma once
// Test doubles for the platform seams. A test that touches the clock, settings, log or
// the end of the process holds a TestSeams for its whole life (or derives from
// SeamsTest); the destructor puts the defaults back. The program's modules (the link, port
// selection, session, data saving and debug log) start and end fresh with it.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "foundation/platform.h"

namespace ovn::test {

// Thrown by the test exit handler, so that "the process ends at once" can be asserted.
struct ProcessExited {
  int code;
};

class TestSeams {
 public:
  TestSeams();
  ~TestSeams();
  TestSeams(const TestSeams&) = delete;
  TestSeams& operator=(const TestSeams&) = delete;

  VirtualClock clock;
  MemorySettingsStore settings;
  MemoryLogSink log;
  std::vector<std::string> fatal_texts;  // what fatal_error showed, in order
  int pumps = 0;                         // how often the event pump ran

  // The log without its init line, each line without its "000.000 " time field.
  std::vector<std::string> log_texts() const;
};

// The folder that stands for the user's documents folder in this test process (set as
// XDG_DOCUMENTS_DIR by every TestSeams, so no test writes into the real one).
std::string scratch_documents_folder();

// Puts every module back as a fresh program has it (what a new run of the program starts
// with).
void reset_modules();

class SeamsTest : public ::testing::Test {
 protected:
  std::vector<std::string> log_texts() const { return seams.log_texts(); }
  TestSeams seams;
};

}  // namespace ovn::test

// Runs `statement` and expects it to end the process with `code`.
#define EXPECT_PROCESS_EXIT(statement, expected_code)               \
  do {                                                              \
    bool ovn_exited_ = false;                                       \
    try {                                                           \
      statement;                                                    \
    } catch (const ::ovn::test::ProcessExited& e) {                 \
      ovn_exited_ = true;                                           \
      EXPECT_EQ(e.code, (expected_code));                           \
    }                                                               \
    EXPECT_TRUE(ovn_exited_) << "expected the process to end here"; \
  } while (0)
