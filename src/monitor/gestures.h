#pragma once
// The pure side of the chart's gestures: how a click on a label or on the chart becomes
// a command number, how the loop decodes it, and what a gesture on a channel's limits,
// a click in the chart and the rate label's toggle compute. The main window reads the
// controls, calls these, and puts the results back.
//
// Mouse buttons: 1 left, 2 right. Shift state: 1 Shift, 2 Ctrl, 4 Alt, added.

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "monitor/kst_commands.h"

namespace ovn {

// A press on a channel's value label or limit boxes, or on the chart itself, as the loop
// serves it. It travels to the loop in `command` (the only thing a handler may set), as
// kCmdGestureFirst + (place + 1) * 32 + button * 8 + shift, where place is the channel
// index 0..2, or 3 for the chart; nothing else packs or unpacks that number.
struct ChartGesture {
  int channel = 0;  // 1..3; 0 for the chart itself
  int button = 1;   // 1 left, 2 right
  int shift = 0;    // 1 Shift, 2 Ctrl, 4 Alt, added
  bool on_chart() const { return channel == 0; }
  bool operator==(const ChartGesture&) const = default;
};
// The command that carries `g` to the loop.
int32_t gesture_to_command(const ChartGesture& g);
// The gesture a command carries; nothing for a number outside kCmdGestureFirst..
// kCmdGestureLast or one that names no channel. Every number from the chart's first up
// is the chart, as the original decoding had it.
std::optional<ChartGesture> gesture_from_command(int32_t command);

// The controls whose presses become commands.
enum class GestureSource { Data, Limits, Chart, MaxMin, Units };
// The command a press gives, 0 when it is ignored. `index` is the control's index (the
// channel labels and limit boxes count modulo 3). A plain click on a channel label does
// nothing outside technician mode, and its right button with Shift+Ctrl+Alt is the
// technician password (60). The max/min labels take plain clicks only: left 37, right 38.
// The unit labels give 50.
int32_t gesture_command(GestureSource source, int index, int button, int shift, bool technician);

struct LimitTexts {
  std::string upper;
  std::string lower;
};
// A gesture on a channel's limits (shift states 1, 3, 4, 5; 2 is the colour and gives
// nothing here). `upper`/`lower` are the texts of the channel's limit boxes; `max`/`min`
// the channel's max and min in the mode's units, used by shift states 4 and 5 only.
// Nothing when the gesture does not change limits or the boxes do not hold numbers.
std::optional<LimitTexts> limits_gesture(const std::string& upper, const std::string& lower,
                                         const ChartGesture& g, double max, double min);

// The text of `lb_xy` for a click at height y (0 bottom .. 1 top): "  TORQUE=", "  SPEED=",
// "  POWER=" with the value under the limits of each of the first `channel_count`
// channels whose limit boxes hold numbers, 4 significant digits each; "??" and the height
// when none can be computed. `limits` are the six limit boxes.
std::string cursor_readout(double y, const std::array<std::string, 6>& limits, int channel_count);

// The next readout period of the rate label's Ctrl+Alt+Shift toggle: 200 <-> 100000000,
// in technician mode 200, 1000, 100000000, 0 and round. Any other period goes to 200.
int32_t text_period_toggle(int32_t period_ms, bool technician);
// The rate label's colour for a period: `window_color` at 200, yellow up to 999999,
// red above.
int32_t text_period_color(int32_t period_ms, int32_t window_color);

}  // namespace ovn
