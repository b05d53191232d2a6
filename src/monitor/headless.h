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
// Record only, or monitor. With none of --monitor, --save-dir, --duration and --samples
// the run ends after the record, as it always did. With any of them the record is followed
// by the main window's own session and main loop (kst_load, then kst_timer1: the same
// rounds, readouts and data file as with windows, and the same shutdown: flash commit and
// automatic configuration save), on a KST torquemeter only. The loop ends
//   - after --samples N rounds (a round is one sample),
//   - at the end of the first round that finishes --duration SECONDS after "GO",
//   - or at SIGINT / SIGTERM (a second signal of the same kind ends the process the
//     default way),
// whichever comes first. The time limit and the signals raise the link's exit flag
// (rs232_set_exit_deadline, rs232_set_exit_flag), which ends every exchange and every
// loop that talks, so a silent or dead instrument cannot keep the run going; the round
// they cut short saves no row. Ending means what closing the window means, in order: the data
// file is closed (the "Save Data" command), exit_requested is set, the round ends, then
// the flash commit and the automatic save.
//
// Data files (--save-dir DIR): the folder is made when missing and must be writable, else
// the run ends before it opens the port (exit code 3, nothing written). Saving starts at
// "GO", as the "Save Data" command, so every round of the run is offered to the file. For
// the run only (nothing is stored), "Save Data Directory" reads DIR, "Event Save" reads
// False and, with --save-rate MS, "Save Rate" reads MS / 1000 seconds; without it the
// stored "Save Rate" stands (1 second unless the options dialog changed it). Everything
// else (base name, file counter, header lines, rows) is the data file module's own.
//
// Readouts: once a second (at the end of the first round 1 s, 2 s, ... after "GO") one
// line goes to the output, fields joined by one TAB, each "name=value":
//   time=<yyyy-MM-ddThh:mm:ss>  the wall clock
//   t=<seconds since GO, "0.000">
//   ch<n>=<lb_data caption> <lb_units caption>   for each channel the instrument has
//   temp=<lb_temperature caption>                 value and unit, "75.0 F"
//   rate=<lb_hz caption>                          "263.16 samples/sec"
// for example, with the TABs written as "\t":
//   time=2026-11-23T10:00:01\tt=1.002\tch1=1234.5 lbf-in\tch2=1500 RPM\tch3=35.25 Hp
//   \ttemp=75.0 F\trate=263.16 samples/sec   (one line)
// The captions are those of the last readout refresh (every text_period_ms, 200 ms).
// When the loop ends, one line "ovn-kst: <n> samples in <s> s (<why>)" and, when saving,
// "; <rows> rows saved to <file>" goes to the error stream.
//
// Exit codes: 0 the run ended as asked (record read; for a monitor, the loop ended by its
// limit or a signal); 1 the run was aborted (no instrument talking, or a failed exchange
// under --on-failure abort, or retries used up: the process ends inside the run through
// process_exit; for a monitor this includes an Abort of a firmware notice and the cautious
// "No" to the notice of a different version in the release folder, which end the windowed
// program with 0), or the instrument is not a KST and a monitor was asked for, or the data
// file could not be created (the loop then ends after one round); 2 as 0 but an
// exchange was skipped, so some fields (record, readouts, rows) may be empty; 3 the command
// line cannot be used: a word not understood, or a --save-dir that cannot be written, or an
// --answers file that cannot be read or has a line that cannot be used (a "sim" line
// without --simulate among them), or a --run caption that names nothing; 4 the answers
// ran out or one fitted none of its box's buttons (the box and every later one were
// cancelled); 5 a --run entry is hidden or disabled on this instrument; 6 "Check
// Configuration" found at least one failure (its failure text, and with --show-passes its
// pass text, go to the output; --report FILE writes the HTML page, --baseline FILE adds
// what changed since that configuration file); 7 the data file could not be written to
// the end.
//
// Procedures (--run CAPTION, repeatable; --technician; --answers FILE). With --run or
// --technician the session opens as for a monitor, and at "GO", before any monitoring:
//   - --technician serves the window's technician entry (the password dialog): the phrase
//     comes from the answers ("=PHRASE", then "Ok"), or with --simulate from the simulated
//     instrument, without an answer;
//   - then every caption is looked up among the menu entries and buttons of the window
//     model (case ignored, with or without the trailing "...", a caption of several lines
//     by its first; a changed caption also by the one it was built with): one that names
//     nothing ends the run with 3, one whose entry is hidden or disabled (this family, the
//     lock state, the mode, or not in this build) with "<caption>: not available on this
//     instrument" and 5, before any of them is served;
//   - then each is served in order as the loop serves the window's command. After the
//     last, the first round's readout line (the fields above, "t=" from "GO") is printed,
//     and monitoring goes on only when --monitor, --samples, --duration or --save-dir ask.
// The boxes are answered by an AnswersOperator (answers_operator.h) from --answers (a file,
// or "-" for stdin), or from no answers at all when --run or --technician come without
// it. When the answers fail, the procedure ends cancelled, no later --run is served, no
// monitoring follows, and the exit code is 4. Answers never taken are counted on stderr.

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "link/port_service.h"
#include "monitor/answers_operator.h"
#include "monitor/frm_kst_main.h"
#include "monitor/headless_operator.h"
#include "monitor/publish.h"

namespace ovn {

constexpr int kHeadlessOk = 0;
constexpr int kHeadlessAborted = 1;
constexpr int kHeadlessSkipped = 2;
constexpr int kHeadlessBadArgs = 3;
constexpr int kHeadlessAnswers = 4;        // the answers ran out or one did not fit
constexpr int kHeadlessUnavailable = 5;    // a --run entry is hidden or disabled here
constexpr int kHeadlessAuditFailed = 6;    // "Check Configuration" found a failure
constexpr int kHeadlessSavingStopped = 7;  // the data file could not be written to the end

// How long the shutdown of a monitor (flash commit, configuration save) may talk after the
// loop has ended; past it the link's exit flag ends every exchange, so a dead instrument
// cannot hold the run.
constexpr double kHeadlessShutdownMs = 3000;

// What the command line asks of a headless run.
struct HeadlessArgs {
  bool headless = false;  // "--headless" is present
  bool simulate = false;  // "--simulate": the built-in simulated instrument
  std::string port;       // "--port PATH": this device for the run; empty: the stored port
  FailurePolicy on_failure = FailurePolicy::Abort;  // "--on-failure retry|skip|abort"
  bool monitor = false;           // "--monitor": run the loop even with nothing else asked
  std::string save_dir;           // "--save-dir DIR": save data files there; empty: no saving
  double save_rate_ms = -1;       // "--save-rate MS"; below 0: the stored "Save Rate"
  std::string csv_format;         // "--csv-format analysis|original"; empty: the stored one
  double duration_s = 0;          // "--duration SECONDS"; 0: no time limit
  int64_t samples = 0;            // "--samples N"; 0: no count
  std::vector<std::string> runs;  // "--run CAPTION", in order
  std::string answers;            // "--answers FILE", "-" for stdin; empty: none
  bool technician = false;        // "--technician"
  bool show_passes = false;       // "--show-passes": the audit prints its passes too
  std::string report;             // "--report FILE": the audit's HTML page
  std::string baseline;           // "--baseline FILE": compare with a saved configuration
  std::string publish;            // "--publish mqtt[s]://[user@]host[:port]/prefix"
  std::string mqtt_ca;            // "--mqtt-ca FILE": the authority a mqtts broker is checked by
  std::string error;  // why the line is not usable ("--on-failure takes retry, skip or abort")

  // Whether the main loop runs after the record (see the rule above).
  bool monitors() const { return monitor || !save_dir.empty() || duration_s > 0 || samples > 0; }
  // Whether procedures are served after the session opens (see "Procedures" above).
  bool drives() const { return !runs.empty() || technician; }
};

// Reads the arguments (without the program name). Words that belong to the windowed
// program ("-nologo", "-nocommportscan"...) are left alone.
HeadlessArgs headless_parse_args(const std::vector<std::string>& args);

// The usage lines of the headless options, for --help.
extern const char* const kHeadlessHelp;

// Runs the session on `port` (attached to the exchange here, not owned) and returns the
// exit code. The record and the readout lines go to `out`, boxes and the outcome to `err`.
// Installs its own operator (and for a monitor its settings overlay and signal handlers)
// for the run and puts the previous ones back; the port is closed at the end.
// What the built-in simulated instrument lends a run: how a "sim" answer holds what it
// measures, and the technician phrase it is known by.
struct HeadlessSimulation {
  SimHold hold;
  std::string technician_phrase;
};

int headless_run(PortService& port, const HeadlessArgs& args, std::ostream& out, std::ostream& err,
                 const HeadlessSimulation* simulation = nullptr);

// ---- The monitor's pieces, shared with the benchmark -------------------------------------

// A monitor run: the window model it drives and what it counts beside it.
struct HeadlessMonitor {
  FrmKstMain f;
  std::ostream* out = nullptr;  // readout lines; nullptr: none
  std::ostream* err = nullptr;  // why a procedure was refused; nullptr: std::cerr
  bool save = false;            // start saving at "GO"
  double duration_ms = 0;       // 0: no limit
  int64_t sample_limit = 0;     // 0: no limit
  int64_t samples = 0;          // rounds so far
  double go_ms = 0;             // now_ms() at "GO" (the chart's own t0 moves with each screen)
  double next_print_ms = 1000;  // when the next readout line is due, ms after "GO"
  std::string ended_by;   // "--samples", "--duration", "signal", "no data file"; "" while running
  double ended_ms = 0;    // when the last round ended, ms after "GO"
  std::string file_name;  // the data file of the run
  // Procedures served at "GO", before saving starts (see "Procedures" above).
  std::vector<std::string> runs;
  bool technician = false;
  std::string technician_phrase;       // given without asking; empty: the answers give it
  AnswersOperator* answers = nullptr;  // the run's operator when it has answers
  bool keep_going = true;              // monitor after the procedures
  bool readout_due = false;            // the readout line after the procedures is due
  int code = 0;                        // 3, 4 or 5 when the procedures ended the run
  // Publishing over MQTT (monitor/publish.h): where to, and the client of the session.
  std::optional<PublishTarget> publish;
  std::unique_ptr<Publisher> publisher;
};

// Serves the --technician entry and the --run captions of `m` as the window would, in
// order; at the first that cannot be served, says why on `err` and sets m.code.
void headless_serve_runs(HeadlessMonitor& m, std::ostream& err);

// Sets the session_ready and round_end hooks of m.f: saving starts at "GO" when asked;
// every round counts one sample, writes the readout line when it is due and, once a limit
// or a signal has come, stops saving and sets exit_requested. `m` must outlive the hooks.
void headless_monitor_hooks(HeadlessMonitor& m);

// The readout line of the window as it stands (no line end), `t_ms` after "GO".
std::string headless_readout_line(const FrmKstMain& f, double t_ms);

// Reads and checks the answers of --answers (nothing to read: no answers). "" when they
// can be used, else why not: the file cannot be read, a line cannot be used, or a "sim"
// line comes without --simulate.
std::string headless_read_answers(const HeadlessArgs& args, AnswerScript& script);

// Makes `dir` when missing and checks that a file can be written in it. "" when it can,
// else why not, in the operator's words.
std::string headless_prepare_save_dir(const std::string& dir);

}  // namespace ovn
