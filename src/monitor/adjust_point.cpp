#include "monitor/adjust_point.h"

#include "adjust/adjust_step.h"
#include "instrument/tm_info.h"
#include "link/rs232.h"
#include "monitor/frm_kst_main.h"

namespace ovn {
namespace {

constexpr int32_t kFirstCommand = 300;
constexpr double kGainTolerance = 0.002;
constexpr int32_t kStepButtons = 24;  // mask bits 3 and 4: "Continue" (or "OK") and "Cancel"

}  // namespace

int adjust_point(FrmKstMain& f, int32_t command) {
  const int32_t code = kPointZero + (command - kFirstCommand);
  if (code < kPointZero || code > kPointNegative2) return 0;
  const double load = get_f64("CE1" + tm_info_point_letter(code)) * get_f64("CE1A");
  // The window says it is adjusting for as long as the step runs.
  f.adjusting = adj_step_text(code).title;
  f.caption = kst_window_caption(f);
  const int result = adj_run_step(code, load, kGainTolerance, kStepButtons, false);
  f.adjusting.clear();
  f.caption = kst_window_caption(f);
  refresh_channels(f, true);
  return result;
}

}  // namespace ovn
