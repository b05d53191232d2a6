#include "monitor/gestures.h"

#include "foundation/kw.h"

namespace ovn {

namespace {

constexpr double kMinGestureSpan = 0.0001;
constexpr int kChartPlace = 3;         // the chart comes after the three channels in a command
constexpr int32_t kYellow = 0x00FFFF;  // colour words: red in the low byte
constexpr int32_t kRed = 0x0000FF;
constexpr int32_t kPeriodNormal = 200;
constexpr int32_t kPeriodFrozen = 100000000;

bool number(const std::string& text, double& value) {
  if (!kw_is_numeric(text)) return false;
  int stop = 0;
  value = kw_parse_double(text, stop);
  return true;
}

std::string sig4(double value) {
  return kw_format(value, kw_sig_picture(value, 4, false));
}

LimitTexts texts(double upper, double lower) {
  return {kw_format(upper, ""), kw_format(lower, "")};
}

}  // namespace

int32_t gesture_to_command(const ChartGesture& g) {
  const int place = g.on_chart() ? kChartPlace : g.channel - 1;
  return kCmdGestureFirst + (place + 1) * 32 + g.button * 8 + g.shift;
}

std::optional<ChartGesture> gesture_from_command(int32_t command) {
  if (command < kCmdGestureFirst || command > kCmdGestureLast) return std::nullopt;
  const int32_t code = command - kCmdGestureFirst;
  const int button = (code / 8) % 4, shift = code % 8;
  if (code >= (kChartPlace + 1) * 32) return ChartGesture{0, button, shift};
  if (code < 32) return std::nullopt;
  return ChartGesture{code / 32, button, shift};
}

int32_t gesture_command(GestureSource source, int index, int button, int shift, bool technician) {
  switch (source) {
    case GestureSource::Data:
      if (shift == 0 && !technician) return 0;
      if (button == 2 && shift == 7) return kCmdTechnicianEntry;
      return gesture_to_command({index % 3 + 1, button, shift});
    case GestureSource::Limits:
      return gesture_to_command({index % 3 + 1, button, shift});
    case GestureSource::Chart:
      return gesture_to_command({0, button, shift});
    case GestureSource::MaxMin:
      return shift != 0    ? 0
             : button == 1 ? kCmdResetMaxMin
             : button == 2 ? kCmdResetMaxMinAndClear
                           : 0;
    case GestureSource::Units:
      return kCmdNextDisplayMode;
  }
  return 0;
}

std::optional<LimitTexts> limits_gesture(const std::string& upper_text,
                                         const std::string& lower_text, const ChartGesture& g,
                                         double max, double min) {
  const int shift = g.shift, button = g.button;
  if (shift == 4 || shift == 5) {
    double upper = max, lower = min;
    if (upper - lower < kMinGestureSpan) {
      upper += kMinGestureSpan;
      lower -= kMinGestureSpan;
    }
    if (shift == 5) {
      const double span = upper - lower;
      upper += 5 * span;
      lower -= 5 * span;
    }
    return texts(upper, lower);
  }
  double upper = 0, lower = 0;
  if (!number(upper_text, upper) || !number(lower_text, lower)) return std::nullopt;
  const double span = upper - lower;
  const double mid = (upper + lower) / 2;
  if (shift == 3) return texts(span / 2, -span / 2);
  if (shift == 1 && button == 1) return texts(mid + span / 4, mid - span / 4);
  if (shift == 1 && button == 2) return texts(mid + span, mid - span);
  return std::nullopt;
}

std::string cursor_readout(double y, const std::array<std::string, 6>& limits, int channel_count) {
  static const char* const kNames[3] = {"  TORQUE=", "  SPEED=", "  POWER="};
  std::string text;
  for (int i = 0; i < channel_count && i < 3; ++i) {
    double upper = 0, lower = 0;
    if (!number(limits[i], upper) || !number(limits[i + 3], lower)) continue;
    text += kNames[i] + sig4(lower + y * (upper - lower));
  }
  return text.empty() ? "??" + sig4(y) : text;
}

int32_t text_period_toggle(int32_t period_ms, bool technician) {
  if (!technician) return period_ms == kPeriodNormal ? kPeriodFrozen : kPeriodNormal;
  switch (period_ms) {
    case kPeriodNormal:
      return 1000;
    case 1000:
      return kPeriodFrozen;
    case kPeriodFrozen:
      return 0;
    default:
      return kPeriodNormal;
  }
}

int32_t text_period_color(int32_t period_ms, int32_t window_color) {
  if (period_ms == kPeriodNormal) return window_color;
  return period_ms <= 999999 ? kYellow : kRed;
}

}  // namespace ovn
