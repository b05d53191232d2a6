#pragma once
// A session without windows, for test benches and scripts: ovn-kst --headless.
//
// The run opens the attached port, finds the instrument through the same search as the
// program's start (every family in the search order, the stored port and ID), reads the
// session and writes its record ("uid=", "family=", "firmware=", "fs_lbfin=",
// "file_name=", one per line) to the output. Questions go to a HeadlessOperator (see
// headless_operator.h) that answers by the failure policy and writes every box to the
// error stream.
//
// Exit codes: 0 the record was read; 1 the run was aborted (no instrument talking, or a
// failed exchange under --on-failure abort, or retries used up): the process ends inside
// the run through process_exit; 2 the record was read but an exchange was skipped, so
// some fields may be empty; 3 a word of the command line was not understood.

#include <iosfwd>
#include <string>
#include <vector>

#include "link/port_service.h"
#include "monitor/headless_operator.h"

namespace ovn {

constexpr int kHeadlessOk = 0;
constexpr int kHeadlessAborted = 1;
constexpr int kHeadlessSkipped = 2;
constexpr int kHeadlessBadArgs = 3;

// What the command line asks of a headless run.
struct HeadlessArgs {
  bool headless = false;  // "--headless" is present
  bool simulate = false;  // "--simulate": the built-in simulated instrument
  std::string port;       // "--port PATH": this device for the run; empty: the stored port
  FailurePolicy on_failure = FailurePolicy::Abort;  // "--on-failure retry|skip|abort"
  std::string error;  // why the line is not usable ("--on-failure takes retry, skip or abort")
};

// Reads the arguments (without the program name). Words that belong to the windowed
// program ("-nologo", "-nocommportscan"...) are left alone.
HeadlessArgs headless_parse_args(const std::vector<std::string>& args);

// The usage lines of the headless options, for --help.
extern const char* const kHeadlessHelp;

// Runs the session on `port` (attached to the exchange here, not owned) and returns the
// exit code. The record goes to `out`, boxes and the outcome to `err`. Installs its own
// operator for the run and puts the previous one back; the port is closed at the end.
int headless_run(PortService& port, FailurePolicy policy, std::ostream& out, std::ostream& err);

}  // namespace ovn
