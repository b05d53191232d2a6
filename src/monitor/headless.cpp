#include "monitor/headless.h"

#include <charconv>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <ostream>
#include <system_error>
#include <tuple>

#include "foundation/files.h"
#include "foundation/kw.h"
#include "foundation/long_work.h"
#include "foundation/platform.h"
#include "instrument/family.h"
#include "instrument/tm_info.h"
#include "link/rs232.h"
#include "monitor/answers.h"
#include "monitor/data_dir.h"
#include "monitor/kst_commands.h"

namespace ovn {

const char* const kHeadlessHelp =
    "  --headless          no windows: find the instrument, print its session record, end\n"
    "                      (exit 0 done, 1 aborted, 2 done with skipped exchanges, 3 usage)\n"
    "  --on-failure WHAT   how a headless run answers a failure: retry (up to 3 times),\n"
    "                      skip or abort (default abort)\n"
    "  --monitor           after the record, run the main loop until SIGINT or SIGTERM,\n"
    "                      one readout line a second on stdout\n"
    "  --samples N         monitor for N samples (rounds of the loop), then end\n"
    "  --duration SECONDS  monitor for this long, then end\n"
    "  --save-dir DIR      monitor and save CSV data files into DIR (made when missing)\n"
    "  --save-rate MS      milliseconds per saved row, 0 for every sample\n"
    "                      (default: the windowed program's \"Save Rate\", 1 s)\n"
    "  --csv-format FORM   original (the instrument's own layout) or analysis (UTF-8,\n"
    "                      heading first, every column in every row, ISO times, .json)\n"
    "  --run CAPTION       serve this menu entry or button once the session is open\n"
    "                      (repeatable, in order; exit 5 when it is not available)\n"
    "  --answers FILE      the operator's answers to the boxes, one a line (- for stdin);\n"
    "                      exit 4 when they run out or one fits no button\n"
    "  --technician        enter technician mode first (the phrase from the answers)\n"
    "  --show-passes       \"Check Configuration\" prints its passes after its failures\n"
    "                      (exit 6 when it finds a failure)\n"
    "  --report FILE       \"Check Configuration\" writes its report there as a web page\n"
    "  --baseline FILE     \"Check Configuration\" also lists what changed since that\n"
    "                      configuration file\n"
    "  --publish URL       publish status, session, live data and events over MQTT:\n"
    "                      mqtt://[user@]host[:port]/prefix, or mqtts:// for TLS; the\n"
    "                      password from OVN_MQTT_PASSWORD or OVN_MQTT_PASSWORD_FILE\n"
    "  --mqtt-ca FILE      the certificate authority of an mqtts:// broker\n";

namespace {

// A whole text as a number, "." for the decimals whatever the locale.
bool lf_parse(const std::string& text, double& value) {
  const char* end = text.data() + text.size();
  auto [p, ec] = std::from_chars(text.data(), end, value);
  return ec == std::errc() && p == end && std::isfinite(value);
}

bool lf_parse(const std::string& text, int64_t& value) {
  const char* end = text.data() + text.size();
  auto [p, ec] = std::from_chars(text.data(), end, value);
  return ec == std::errc() && p == end;
}

}  // namespace

HeadlessArgs headless_parse_args(const std::vector<std::string>& args) {
  HeadlessArgs a;
  // The first word that cannot be used says why; later ones do not overwrite it.
  auto refuse = [&a](const std::string& why) {
    if (a.error.empty()) a.error = why;
  };
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& word = args[i];
    bool has_value = i + 1 < args.size();
    const std::string value = has_value ? args[i + 1] : "";
    if (word == "--headless") {
      a.headless = true;
    } else if (word == "--simulate") {
      a.simulate = true;
    } else if (word == "--monitor") {
      a.monitor = true;
    } else if (word == "--port") {
      if (!has_value)
        refuse("--port takes the path of a serial device");
      else
        a.port = args[++i];
    } else if (word == "--on-failure") {
      if (!has_value || !failure_policy_parse(value, a.on_failure))
        refuse("--on-failure takes retry, skip or abort");
      if (has_value) ++i;
    } else if (word == "--save-dir") {
      if (!has_value || value.empty())
        refuse("--save-dir takes the folder for the data files");
      else
        a.save_dir = value;
      if (has_value) ++i;
    } else if (word == "--save-rate") {
      if (!has_value || !lf_parse(value, a.save_rate_ms) || a.save_rate_ms < 0) {
        a.save_rate_ms = -1;
        refuse("--save-rate takes milliseconds per saved row, 0 or more (0: every sample)");
      }
      if (has_value) ++i;
    } else if (word == "--csv-format") {
      if (!has_value || (value != "analysis" && value != "original"))
        refuse("--csv-format takes analysis or original");
      else
        a.csv_format = value;
      if (has_value) ++i;
    } else if (word == "--duration") {
      if (!has_value || !lf_parse(value, a.duration_s) || a.duration_s <= 0) {
        a.duration_s = 0;
        refuse("--duration takes seconds, a number above 0");
      }
      if (has_value) ++i;
    } else if (word == "--technician") {
      a.technician = true;
    } else if (word == "-nologo" || word == "-nocommportscan" || word == "-nonewversioncheck") {
      // the window's switches, read where they act
    } else if (word == "--screenshot") {
      if (!has_value || value.empty()) refuse("--screenshot takes the path of the picture");
      if (has_value) ++i;
    } else if (word == "--run") {
      if (!has_value || value.empty())
        refuse("--run takes the caption of a menu entry or button");
      else
        a.runs.push_back(value);
      if (has_value) ++i;
    } else if (word == "--answers") {
      if (!has_value || value.empty())
        refuse("--answers takes a file of answers, or - for stdin");
      else
        a.answers = value;
      if (has_value) ++i;
    } else if (word == "--show-passes") {
      a.show_passes = true;
    } else if (word == "--report" || word == "--baseline") {
      if (!has_value || value.empty())
        refuse(word + " takes the path of a file");
      else
        (word == "--report" ? a.report : a.baseline) = value;
      if (has_value) ++i;
    } else if (word == "--publish" || word == "--mqtt-ca") {
      PublishTarget target;
      if (!has_value || value.empty())
        refuse(word == "--publish" ? "--publish takes mqtt://[user@]host[:port]/prefix"
                                   : "--mqtt-ca takes the path of a certificate file");
      else if (word == "--mqtt-ca")
        a.mqtt_ca = value;
      else if (std::string why = publish_parse_url(value, target); !why.empty())
        refuse("--publish: " + why);
      else
        a.publish = value;
      if (has_value) ++i;
    } else if (word == "--samples") {
      if (!has_value || !lf_parse(value, a.samples) || a.samples <= 0) {
        a.samples = 0;
        refuse("--samples takes a whole number of samples above 0");
      }
      if (has_value) ++i;
    } else {
      refuse(word + ": unknown option (ovn-kst --help lists them)");
    }
  }
  if (a.simulate && !a.port.empty()) refuse("--simulate and --port name two instruments: give one");
  if (a.save_rate_ms >= 0 && a.save_dir.empty())
    refuse("--save-rate is the pace of the data file: give --save-dir too");
  if ((a.show_passes || !a.report.empty() || !a.baseline.empty()) && a.runs.empty())
    refuse("--show-passes, --report and --baseline belong to --run \"Check Configuration\"");
  if (!a.mqtt_ca.empty() && a.publish.rfind("mqtts://", 0) != 0)
    refuse("--mqtt-ca belongs to a broker reached by --publish mqtts://");
  if (!a.csv_format.empty() && a.save_dir.empty())
    refuse("--csv-format is the form of the data file: give --save-dir too");
  return a;
}

namespace {

volatile std::sig_atomic_t g_stop = 0;

void lf_on_signal(int sig) {
  g_stop = 1;
  if (long_work_active()) {
    // A sweep or a spread test stops at its next step and puts the instrument back, so
    // the link must go on talking; the run ends after it.
    long_work_request_stop();
  } else {
    // Every wait and loop that talks ends at once, so the round ends and the run with it.
    rs232_set_exit_flag(true);
  }
  wake_event_wait();  // a wait under way returns, so the loop sees the stop at once
  // A second signal of the same kind is not asked twice: it ends the process.
  std::signal(sig, SIG_DFL);
}

// The handlers of SIGINT and SIGTERM for the length of a monitor run.
struct SignalScope {
  using Handler = void (*)(int);
  Handler previous_int, previous_term;
  SignalScope() {
    g_stop = 0;
    (void)event_wake_fd();  // made now: the handler may not make it
    previous_int = std::signal(SIGINT, lf_on_signal);
    previous_term = std::signal(SIGTERM, lf_on_signal);
  }
  ~SignalScope() {
    std::signal(SIGINT, previous_int == SIG_ERR ? SIG_DFL : previous_int);
    std::signal(SIGTERM, previous_term == SIG_ERR ? SIG_DFL : previous_term);
  }
};

// Inside the window's procedures the operator's Abort (or "No" to the version notice) ends
// the process with the windowed program's code 0; a run that was to monitor has then been
// aborted, and says so by its code.
struct AbortScope {
  ExitHandler previous = exit_handler();
  AbortScope() {
    set_exit_handler([chained = previous](int) {
      if (chained) chained(kHeadlessAborted);
      std::fflush(nullptr);
      std::_Exit(kHeadlessAborted);
    });
  }
  ~AbortScope() { set_exit_handler(previous); }
};

// The rows of a long work's report go to stdout as they are measured.
struct RowSinkScope {
  explicit RowSinkScope(std::ostream& out) {
    long_work_set_row_sink([&out](const std::string& line) {
      out << line << '\n';
      out.flush();
    });
  }
  ~RowSinkScope() { long_work_set_row_sink({}); }
};

// Puts the previous operator back however the run ends (tests end it by an exception).
struct OperatorScope {
  Operator* previous = current_operator();
  explicit OperatorScope(Operator* op) { set_operator(op); }
  ~OperatorScope() { set_operator(previous); }
};

const char* const kDataApp = "KST";  // the data file module's settings application

// The stored settings with the run's data file options laid over them: those keys read
// the command line's values, and writes to them stay in the run.
class RunSettings final : public SettingsStore {
 public:
  explicit RunSettings(SettingsStore& base) : base_(base) {}
  void lay(const std::string& key, const std::string& value) {
    over_[{kDataApp, kDtdrSection, key}] = value;
  }
  std::optional<std::string> get(const std::string& app, const std::string& section,
                                 const std::string& key) override {
    auto it = over_.find({app, section, key});
    if (it != over_.end()) return it->second;
    return base_.get(app, section, key);
  }
  void put(const std::string& app, const std::string& section, const std::string& key,
           const std::string& value) override {
    auto it = over_.find({app, section, key});
    if (it != over_.end())
      it->second = value;
    else
      base_.put(app, section, key, value);
  }
  void remove_key(const std::string& app, const std::string& section,
                  const std::string& key) override {
    if (over_.count({app, section, key}) == 0) base_.remove_key(app, section, key);
  }
  void remove_section(const std::string& app, const std::string& section) override {
    base_.remove_section(app, section);
  }

 private:
  SettingsStore& base_;
  std::map<std::tuple<std::string, std::string, std::string>, std::string> over_;
};

struct SettingsScope {
  SettingsStore& previous = settings_store();
  RunSettings run{previous};
  SettingsScope() { set_settings_store(&run); }
  ~SettingsScope() { set_settings_store(&previous); }
};

// Opens the publisher of the session, when the run publishes.
void lf_start_publishing(HeadlessMonitor& m) {
  if (!m.publish || m.publisher) return;
  std::string why;
  m.publisher = publish_session(*m.publish, m.f, why);
  if (!why.empty())
    (m.err != nullptr ? *m.err : std::cerr) << "ovn-kst: --publish: " << why << "\n";
}

void lf_round_end(HeadlessMonitor& m) {
  FrmKstMain& f = m.f;
  // A round cut short by the end of the run took no sample.
  if (!rs232_exit_flag()) ++m.samples;
  double t = now_ms() - m.go_ms;
  if (m.publisher && !rs232_exit_flag()) publish_round(*m.publisher, f, t / 1000);
  if (m.readout_due && m.out != nullptr) {
    // The state the procedures left, once the round has read it.
    *m.out << headless_readout_line(f, t) << '\n';
    m.out->flush();
  }
  m.readout_due = false;
  if (!m.keep_going && m.ended_by.empty()) {
    m.ended_by = "--run";
    m.ended_ms = t;
    f.exit_requested = true;
    return;
  }
  if (m.out != nullptr && t >= m.next_print_ms) {
    *m.out << headless_readout_line(f, t) << '\n';
    m.out->flush();
    while (m.next_print_ms <= t) m.next_print_ms += 1000;
  }
  if (f.exit_requested || !m.ended_by.empty()) return;
  if (m.sample_limit > 0 && m.samples >= m.sample_limit)
    m.ended_by = "--samples";
  else if (m.duration_ms > 0 && t >= m.duration_ms)
    m.ended_by = "--duration";
  else if (g_stop)
    m.ended_by = "signal";
  else if (m.answers != nullptr && m.answers->failed())
    m.ended_by = "answers";
  else
    return;
  m.ended_ms = t;
  // What the operator would do: stop saving, then close the window. The shutdown that
  // follows (flash commit, configuration save) talks too; it has its own time.
  if (dtdr_saving()) f.command = kCmdSaveData;
  f.exit_requested = true;
  rs232_set_exit_deadline(now_ms() + kHeadlessShutdownMs);
}

}  // namespace

void headless_monitor_hooks(HeadlessMonitor& m) {
  m.f.hooks.session_ready = [&m] {
    if (!m.runs.empty() || m.technician) {
      headless_serve_runs(m, m.err != nullptr ? *m.err : std::cerr);
      if (m.code != 0 || m.f.exit_requested) {
        // Nothing more to show: the procedures did not get through, or left.
        m.go_ms = now_ms();
        m.out = nullptr;
        m.ended_by = m.code != 0 ? "--run" : "exit";
        m.f.exit_requested = true;
        return;
      }
      if (m.answers != nullptr) m.answers->reach_sim_lines();
    }
    lf_start_publishing(m);
    m.go_ms = now_ms();
    // The run's time limit ends every exchange in flight, however long the instrument
    // keeps it going; the round it cuts short ends the loop.
    if (m.duration_ms > 0) rs232_set_exit_deadline(m.go_ms + m.duration_ms);
    if (!m.save) return;
    kst_serve_command(m.f, kCmdSaveData);  // the "Save Data" button, pressed at "GO"
    m.file_name = dtdr_file_name();
    if (dtdr_saving()) return;
    // The operator has been told why (stderr); a run that was to save has no point.
    m.ended_by = "no data file";
    m.f.exit_requested = true;
  };
  m.f.hooks.round_end = [&m] { lf_round_end(m); };
}

namespace {

// The window's command behind the menu entry or button captioned `asked` (menus in the
// order of the menu bar, then the buttons), as its click would store it (0 for a button
// that stores none now). Nothing when no caption fits.
std::optional<int32_t> lf_find_caption(FrmKstMain& f, const std::string& asked) {
  auto names = [&asked](const std::string& caption, const std::string& built) {
    return answer_caption_names(caption, asked) ||
           (!built.empty() && answer_caption_names(built, asked));
  };
  for (KstMenu* m : kst_menus(f)) {
    for (size_t i = 0; i < m->entries.size(); ++i) {
      const KstMenuEntry& e = m->entries[i];
      if (e.separator() || !names(e.caption, e.built_caption)) continue;
      return m->base + static_cast<int32_t>(i);
    }
  }
  struct Button {
    const char* name;
    int index;
    const KstControl& control;
  };
  const Button buttons[] = {{"btn_cmd", 0, f.btn_cmd[0]},      {"btn_cmd", 1, f.btn_cmd[1]},
                            {"btn_cmd", 2, f.btn_cmd[2]},      {"btn_cal", 0, f.btn_cal[0]},
                            {"btn_cal", 1, f.btn_cal[1]},      {"btn_cal", 2, f.btn_cal[2]},
                            {"btn_clrscrn", 0, f.btn_clrscrn}, {"btn_pause", 0, f.btn_pause},
                            {"btn_pwr135", 0, f.btn_pwr135}};
  for (const Button& b : buttons) {
    if (!names(b.control.caption, "")) continue;
    // The window's own press, with the left button, picks the command (0: none).
    int32_t kept = f.command;
    f.command = 0;
    kst_on_button(f, b.name, b.index, 1, 0);
    int32_t command = f.command;
    f.command = kept;
    return command;
  }
  return std::nullopt;
}

}  // namespace

void headless_serve_runs(HeadlessMonitor& m, std::ostream& err) {
  FrmKstMain& f = m.f;
  auto answers_failed = [&m] { return m.answers != nullptr && m.answers->failed(); };
  // Nothing stands before the sim lines at the head of the answers: they hold from here.
  if (m.answers != nullptr) m.answers->reach_sim_lines();
  if (m.technician) {
    if (m.answers != nullptr && !m.technician_phrase.empty())
      m.answers->give_password(m.technician_phrase);
    kst_serve_command(f, kCmdTechnicianEntry);  // the window's technician entry
    if (answers_failed()) {
      m.code = kHeadlessAnswers;
      return;
    }
    if (!f.technician) err << "ovn-kst: --technician: the phrase was not accepted\n";
  }
  std::vector<int32_t> commands;
  for (const std::string& caption : m.runs) {
    auto found = lf_find_caption(f, caption);
    if (!found) {
      err << "ovn-kst: --run \"" << caption << "\": no menu entry or button has this caption\n";
      m.code = kHeadlessBadArgs;
      return;
    }
    // Refused as the window would refuse it: no procedure, hidden or greyed.
    if (*found == 0 || kst_command_state(f, *found) != KstCommandState::Ready) {
      err << "ovn-kst: " << caption << ": not available on this instrument\n";
      m.code = kHeadlessUnavailable;
      return;
    }
    commands.push_back(*found);
  }
  for (int32_t c : commands) {
    // Served as the loop serves a stored command, and cleared after as the loop does.
    f.command = c;
    bool stays = kst_serve_command(f, c);
    f.command = 0;
    if (answers_failed()) {
      m.code = kHeadlessAnswers;
      return;
    }
    // "Change Commport" leaves the session; without a window there is no other to open.
    if (!stays) f.exit_requested = true;
    if (f.check.failed && m.code == kHeadlessOk) m.code = kHeadlessAuditFailed;
    if (f.exit_requested) return;
  }
  m.readout_due = true;
}

std::string headless_readout_line(const FrmKstMain& f, double t_ms) {
  std::string line =
      "time=" + kw_timestamp(kw_now(), "T") + "\tt=" + kw_format(t_ms / 1000, "0.000");
  for (int ch = 1; ch <= f.session.channels && ch <= 3; ++ch) {
    size_t k = static_cast<size_t>(ch - 1);
    line += "\tch" + std::to_string(ch) + "=" + f.lb_data[k].caption + " " + f.lb_units[k].caption;
  }
  return line + "\ttemp=" + f.lb_temperature.caption + "\trate=" + f.lb_hz.caption;
}

std::string headless_prepare_save_dir(const std::string& dir) {
  namespace fs = std::filesystem;
  std::error_code ec;
  fs::create_directories(dir, ec);
  if (ec) return "cannot make the folder \"" + dir + "\": " + ec.message();
  if (!fs::is_directory(dir, ec)) return "\"" + dir + "\" is not a folder";
  if (!kw_dir_writable(dir)) return "cannot write into the folder \"" + dir + "\"";
  return "";
}

namespace {

// The main window's session and loop without the window, then its shutdown. False when
// the data file asked for could not be opened.
bool lf_monitor(const HeadlessArgs& args, std::ostream& out, std::ostream& err,
                AnswersOperator* answers, const HeadlessSimulation* simulation, int& code) {
  SettingsScope settings;
  if (!args.save_dir.empty()) {
    settings.run.lay(kDtdrKeyDir, args.save_dir);
    settings.run.lay(kDtdrKeyEvent, "False");
    if (args.save_rate_ms >= 0)
      settings.run.lay(kDtdrKeyRate, kw_format(args.save_rate_ms / 1000, ""));
    if (!args.csv_format.empty())
      settings.run.lay(kDtdrKeyAnalysis, args.csv_format == "analysis" ? "True" : "False");
  }
  SignalScope signals;
  AbortScope aborts;
  RowSinkScope rows(out);
  HeadlessMonitor m;
  m.out = &out;
  m.save = !args.save_dir.empty();
  m.duration_ms = args.duration_s * 1000;
  m.sample_limit = args.samples;
  m.err = &err;
  m.runs = args.runs;
  m.technician = args.technician;
  m.f.check.show_passes = args.show_passes;
  m.f.check.report = args.report;
  m.f.check.baseline = args.baseline;
  m.f.check.print = [&out](const std::string& failures, const std::string& passes) {
    for (const std::string& text : {failures, passes})
      if (!text.empty()) out << kw_translate(text, "\r", "", false) << "\n";
  };
  if (args.simulate && simulation != nullptr) m.technician_phrase = simulation->technician_phrase;
  m.answers = answers;
  m.keep_going = args.monitors();
  if (!args.publish.empty()) {
    PublishTarget target;
    target.ca_file = args.mqtt_ca;
    target.password = publish_password_from_environment();
    publish_parse_url(args.publish, target);
    m.publish = target;
  }
  headless_monitor_hooks(m);
  kst_load(m.f);
  kst_timer1(m.f);
  code = m.code;
  std::string published = publish_end(m.publisher);
  if (!published.empty()) published = "; " + published;
  rs232_set_exit_deadline(0);
  err << "ovn-kst: " << m.samples << " samples in " << kw_format(m.ended_ms / 1000, "0.000")
      << " s (" << (m.ended_by.empty() ? "ended" : m.ended_by) << ")";
  if (!m.file_name.empty()) err << "; " << dtdr_rows() << " rows saved to " << m.file_name;
  err << published;
  if (!m.file_name.empty() && dtdr_failed()) {
    err << "; data saving stopped after row " << dtdr_rows();
    if (code == kHeadlessOk || code == kHeadlessSkipped) code = kHeadlessSavingStopped;
  }
  err << "\n";
  err.flush();
  return !m.save || !m.file_name.empty();
}

}  // namespace

std::string headless_read_answers(const HeadlessArgs& args, AnswerScript& script) {
  std::string text;
  if (args.answers == "-") {
    text.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  } else if (!args.answers.empty()) {
    std::ifstream file(args.answers, std::ios::binary);
    if (!file) return "cannot read \"" + args.answers + "\"";
    text.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  script = answers_parse(text);
  if (!script.error.empty()) return script.error;
  if (args.simulate) return "";
  for (const Answer& a : script.answers)
    if (a.kind == AnswerKind::Sim)
      return "line " + std::to_string(a.line) + ": \"" + a.text +
             "\": sim lines hold what the simulated instrument measures: give --simulate";
  return "";
}

int headless_run(PortService& port, const HeadlessArgs& args, std::ostream& out, std::ostream& err,
                 const HeadlessSimulation* simulation) {
  bool monitor = args.monitors() || args.drives();
  if (monitor && !args.save_dir.empty()) {
    std::string why = headless_prepare_save_dir(args.save_dir);
    if (!why.empty()) {
      err << "ovn-kst: --save-dir: " << why << "\n";
      return kHeadlessBadArgs;
    }
  }
  // Procedures without answers get none: their first box ends them cautiously.
  std::optional<AnswersOperator> answers;
  if (!args.answers.empty() || args.drives()) {
    AnswerScript script;
    std::string why = headless_read_answers(args, script);
    if (!why.empty()) {
      err << "ovn-kst: --answers: " << why << "\n";
      return kHeadlessBadArgs;
    }
    answers.emplace(script.answers, args.on_failure, err,
                    simulation != nullptr ? simulation->hold : SimHold{});
  }
  HeadlessOperator op(args.on_failure, err);
  OperatorScope scope(answers ? static_cast<Operator*>(&*answers) : &op);
  rs232_attach(port, "");
  rs232_load_relaxed();
  // The monitor and the window's procedures work on a KST only: it is searched for alone,
  // so a slow first answer cannot settle the search on another family.
  std::string summary = tm_info_open_headless(monitor ? kTmKst : kTmNone, "", 0);
  out << lf_lines(summary);
  out.flush();
  int code = kHeadlessOk;
  if (monitor && tm_type(kTmInfoCurrent) != kKstFamily) {
    err << "ovn-kst: the monitor runs on a KST torquemeter; this instrument is not one\n";
    code = kHeadlessAborted;
  } else if (monitor) {
    int run_code = kHeadlessOk;
    if (!lf_monitor(args, out, err, answers ? &*answers : nullptr, simulation, run_code))
      code = kHeadlessAborted;
    else
      code = run_code;
  }
  tm_info_close(kTmInfoCurrent);
  if (answers && answers->unused() > 0)
    err << "ovn-kst: " << answers->unused() << " answer(s) not taken\n";
  if (code == kHeadlessOk && answers && answers->failed()) code = kHeadlessAnswers;
  int skips = op.skips() + (answers ? answers->skips() : 0);
  if (code == kHeadlessOk && skips > 0) {
    err << "ovn-kst: " << skips << " exchange(s) skipped: the record"
        << (monitor ? ", readouts and rows" : "") << " may have empty fields\n";
    code = kHeadlessSkipped;
  }
  return code;
}

}  // namespace ovn
