#include "support/seams.h"

#include <unistd.h>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "foundation/debug_log.h"
#include "instrument/tm_info.h"
#include "link/rs232.h"
#include "link/selcom.h"
#include "monitor/data_dir.h"
#include "monitor/frm_data_dir.h"

namespace ovn::test {

namespace {
// Every test process writes "documents" (configuration backups, data files) into a folder
// of its own, never into the user's: the documents folder is named by XDG_DOCUMENTS_DIR,
// and OVN_DATA_DIR, which would come before it, is cleared.
void use_scratch_documents_folder() {
  static const std::string folder = [] {
    auto dir = std::filesystem::temp_directory_path() /
               ("ovn-test-documents-" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    std::atexit([] {
      std::error_code ec;
      std::filesystem::remove_all(std::filesystem::temp_directory_path() /
                                      ("ovn-test-documents-" + std::to_string(::getpid())),
                                  ec);
    });
    return dir.string();
  }();
  ::setenv("XDG_DOCUMENTS_DIR", folder.c_str(), 1);
  ::unsetenv("OVN_DATA_DIR");
}

}  // namespace

void reset_modules() {
  dtdr_forget();
  rs232_reset_state();
  selcom_reset_state();
  tm_info_reset_state();
  debug_log_reset();
  set_frm_data_dir_runner(nullptr);
}

std::string scratch_documents_folder() {
  use_scratch_documents_folder();
  return std::getenv("XDG_DOCUMENTS_DIR");
}

TestSeams::TestSeams() {
  use_scratch_documents_folder();
  set_clock(&clock);
  set_settings_store(&settings);
  set_log_sink(&log);
  set_event_pump([this] { ++pumps; });
  set_exit_handler([](int code) { throw ProcessExited{code}; });
  set_fatal_reporter([this](const std::string& text) { fatal_texts.push_back(text); });
  set_command_line("");
  reset_modules();
}

std::vector<std::string> TestSeams::log_texts() const {
  std::vector<std::string> out;
  for (const std::string& line : log.lines)
    if (line.find("*****Debug  init") == std::string::npos) out.push_back(line.substr(8));
  return out;
}

TestSeams::~TestSeams() {
  reset_modules();
  set_clock(nullptr);
  set_settings_store(nullptr);
  set_log_sink(nullptr);
  set_event_pump(nullptr);
  set_event_wait(nullptr);
  set_exit_handler(nullptr);
  set_fatal_reporter(nullptr);
  set_command_line("");
}

}  // namespace ovn::test
