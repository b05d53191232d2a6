#include "support/seams.h"

namespace ovn::test {

TestSeams::TestSeams() {
  set_clock(&clock);
  set_settings_store(&settings);
  set_log_sink(&log);
  set_event_pump([this] { ++pumps; });
  set_exit_handler([](int code) { throw ProcessExited{code}; });
  set_fatal_reporter([this](const std::string& text) { fatal_texts.push_back(text); });
  set_command_line("");
}

TestSeams::~TestSeams() {
  set_clock(nullptr);
  set_settings_store(nullptr);
  set_log_sink(nullptr);
  set_event_pump(nullptr);
  set_exit_handler(nullptr);
  set_fatal_reporter(nullptr);
  set_command_line("");
}

}  // namespace ovn::test
