#include "monitor/adjust_point.h"

#include "adjust/adjust_shunt.h"
#include "adjust/adjust_step.h"
#include "instrument/tm_info.h"
#include "link/rs232.h"
#include "monitor/frm_kst_main.h"

namespace ovn {
namespace {

constexpr int32_t kFirstCommand = 300;
constexpr double kGainTolerance = 0.002;
constexpr int32_t kStepButtons = 24;  // mask bits 3 and 4: "Continue" (or "OK") and "Cancel"

// The window says it is adjusting for as long as a step runs, and reads its channels
// again when the step is over.
class Adjusting {
 public:
  Adjusting(FrmKstMain& f, const std::string& title) : f_(f) {
    f_.adjusting = title;
    f_.caption = kst_window_caption(f_);
  }
  ~Adjusting() {
    f_.adjusting.clear();
    f_.caption = kst_window_caption(f_);
    refresh_channels(f_, true);
  }
  Adjusting(const Adjusting&) = delete;
  Adjusting& operator=(const Adjusting&) = delete;

 private:
  FrmKstMain& f_;
};

}  // namespace

int adjust_point(FrmKstMain& f, int32_t command) {
  const int32_t code = kPointZero + (command - kFirstCommand);
  if (code < kPointZero || code > kPointNegative2) return 0;
  const double load = get_f64("CE1" + tm_info_point_letter(code)) * get_f64("CE1A");
  Adjusting adjusting(f, adj_step_text(code).title);
  return adj_run_step(code, load, kGainTolerance, kStepButtons, false);
}

int adjust_shunt(FrmKstMain& f, int32_t code) {
  Adjusting adjusting(f, "Shunt Adjustment");
  return adj_shunt_run(code, 0, kGainTolerance, kStepButtons, false);
}

}  // namespace ovn
