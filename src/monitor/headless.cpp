#include "monitor/headless.h"

#include <ostream>

#include "instrument/family.h"
#include "instrument/tm_info.h"
#include "link/rs232.h"

namespace ovn {

const char* const kHeadlessHelp =
    "  --headless          no windows: find the instrument, print its session record, end\n"
    "                      (exit 0 read, 1 aborted, 2 read with skipped exchanges, 3 usage)\n"
    "  --on-failure WHAT   how a headless run answers a failure: retry (up to 3 times),\n"
    "                      skip or abort (default abort)\n";

HeadlessArgs headless_parse_args(const std::vector<std::string>& args) {
  HeadlessArgs a;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& word = args[i];
    bool has_value = i + 1 < args.size();
    if (word == "--headless") {
      a.headless = true;
    } else if (word == "--simulate") {
      a.simulate = true;
    } else if (word == "--port") {
      if (!has_value)
        a.error = "--port takes the path of a serial device";
      else
        a.port = args[++i];
    } else if (word == "--on-failure") {
      if (!has_value || !failure_policy_parse(args[i + 1], a.on_failure))
        a.error = "--on-failure takes retry, skip or abort";
      if (has_value) ++i;
    }
  }
  if (a.error.empty() && a.simulate && !a.port.empty())
    a.error = "--simulate and --port name two instruments: give one";
  return a;
}

namespace {

// Puts the previous operator back however the run ends (tests end it by an exception).
struct OperatorScope {
  Operator* previous = current_operator();
  explicit OperatorScope(Operator* op) { set_operator(op); }
  ~OperatorScope() { set_operator(previous); }
};

}  // namespace

int headless_run(PortService& port, FailurePolicy policy, std::ostream& out, std::ostream& err) {
  HeadlessOperator op(policy, err);
  OperatorScope scope(&op);
  rs232_attach(port, "");
  rs232_load_relaxed();
  std::string summary = tm_info_open_headless(kTmNone, "", 0);
  out << lf_lines(summary);
  out.flush();
  tm_info_close(kTmInfoCurrent);
  if (op.skips() > 0) {
    err << "ovn-kst: " << op.skips() << " exchange(s) skipped: the record may have empty fields\n";
    return kHeadlessSkipped;
  }
  return kHeadlessOk;
}

}  // namespace ovn
