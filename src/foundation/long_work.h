#pragma once
// Work that runs for minutes (a sweep, a tenfold spread test): it shows how far it has
// come and can be stopped at any step.
//
// While a LongWork lives, a non-modal box titled with the work's name says
// "Step <n> of <N>: <what>, about <time> left" with one button, "Stop"; the box is shown
// anew at each step and at most once a second in between (tick), so a headless run writes
// one progress line a second to stderr. The work asks stop_requested() between its steps:
// true once the operator pressed Stop, or once long_work_request_stop() was called (a
// headless run's SIGINT or SIGTERM). A stopped work puts the instrument back as it was
// before the run and keeps what it measured so far.
//
// The report rows the work measures go to the row sink as they come (a headless run
// prints them to stdout), so a script sees them before the work ends.
//
// One at a time; times by the clock seam. Nothing here talks to the instrument.

#include <functional>
#include <string>

namespace ovn {

class LongWork {
 public:
  LongWork(const std::string& title, int steps);
  ~LongWork();
  LongWork(const LongWork&) = delete;
  LongWork& operator=(const LongWork&) = delete;

  // Step `step` (1 to steps) begins, doing `what`: shows the progress box.
  void step(int step, const std::string& what);
  // Within a step: shows the box again when a second has passed since it was last shown.
  void tick();
  // Within a step: `line` stands under the progress line from now on (what the work sees
  // now: "6.512V  27.03% COUNT=4"); shown as tick shows.
  void status(const std::string& line);
  // A row of the report, measured now: to the row sink.
  void row(const std::string& line);
  // Whether the work should stop now (Stop pressed, or a stop asked).
  bool stop_requested();
  // The progress line: "Step 3 of 7: Filter 12.5 Hz, about 4 min 10 s left" (no time left
  // before the first step has ended).
  std::string progress_text() const;

 private:
  void show();
  std::string title_;
  int steps_;
  int step_ = 0;
  std::string what_;
  std::string status_;
  double started_ms_;
  double step_started_ms_ = 0;
  double shown_ms_ = -1e300;
  bool stopped_ = false;
};

// Asks the work under way to stop at its next step. Safe in a signal handler.
void long_work_request_stop();
// Whether a LongWork lives now.
bool long_work_active();
// Where report rows go (each without its line end); none while empty.
void long_work_set_row_sink(std::function<void(const std::string&)> sink);

}  // namespace ovn
