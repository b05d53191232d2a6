#include "foundation/long_work.h"

#include <cmath>
#include <csignal>
#include <utility>

#include "foundation/operator.h"
#include "foundation/platform.h"

namespace ovn {

namespace {

volatile std::sig_atomic_t g_active = 0;
volatile std::sig_atomic_t g_stop = 0;
std::function<void(const std::string&)> g_row_sink;

std::string duration_text(double seconds) {
  const long s = std::lround(std::max(0.0, seconds));
  if (s < 60) return std::to_string(s) + " s";
  return std::to_string(s / 60) + " min " + std::to_string(s % 60) + " s";
}

}  // namespace

LongWork::LongWork(const std::string& title, int steps)
    : title_(title), steps_(steps < 1 ? 1 : steps), started_ms_(now_ms()) {
  g_stop = 0;
  g_active = 1;
}

LongWork::~LongWork() {
  gib_close();
  g_active = 0;
  g_stop = 0;
}

std::string LongWork::progress_text() const {
  std::string text = "Step " + std::to_string(step_) + " of " + std::to_string(steps_);
  if (!what_.empty()) text += ": " + what_;
  if (step_ > 1) {
    // The steps done so far set the pace of the rest.
    const double per_step = (step_started_ms_ - started_ms_) / (step_ - 1);
    const double left = per_step * (steps_ - step_ + 1) - (now_ms() - step_started_ms_);
    text += ", about " + duration_text(left / 1000) + " left";
  }
  return text;
}

void LongWork::show() {
  shown_ms_ = now_ms();
  gib(status_.empty() ? progress_text() : progress_text() + "\r\n" + status_, "Stop", kGibNonModal,
      title_);
}

void LongWork::step(int step, const std::string& what) {
  step_ = step;
  what_ = what;
  status_.clear();
  step_started_ms_ = now_ms();
  show();
}

void LongWork::tick() {
  if (now_ms() - shown_ms_ >= 1000 && !stop_requested()) show();
}

void LongWork::status(const std::string& line) {
  status_ = line;
  tick();
}

void LongWork::row(const std::string& line) {
  if (g_row_sink) g_row_sink(line);
}

bool LongWork::stop_requested() {
  if (g_stop != 0 || gib_non_modal_choice() >= 0) stopped_ = true;
  return stopped_;
}

void long_work_request_stop() {
  g_stop = 1;
}

bool long_work_active() {
  return g_active != 0;
}

void long_work_set_row_sink(std::function<void(const std::string&)> sink) {
  g_row_sink = std::move(sink);
}

}  // namespace ovn
