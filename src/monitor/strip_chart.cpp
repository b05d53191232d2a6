#include "monitor/strip_chart.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>

#include "foundation/debug_log.h"
#include "foundation/kw.h"
#include "foundation/operator.h"
#include "foundation/platform.h"
#include "foundation/settings.h"

namespace ovn {

namespace {

// The classic 16-colour palette as colour words (0xBBGGRR).
constexpr std::array<int32_t, 16> kPalette = {
    0x000000, 0x800000, 0x008000, 0x808000, 0x000080, 0x800080, 0x008080, 0xC0C0C0,
    0x808080, 0xFF0000, 0x00FF00, 0xFFFF00, 0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF};
constexpr std::array<int, 3> kChannelPaletteEntry = {10, 11, 13};

// A dark ground makes the bright default traces stand out; it is what a technician used to
// an oscilloscope expects.
constexpr int32_t kDefaultBackground = 0x000000;

constexpr int32_t kGridFaint = 0x202020;
constexpr int32_t kGridDark = 0x606060;
constexpr int32_t kContrast = 0xFFFFFF;
// A dot is a stroke about a pixel long: strokes a stripe long merge into a band at any
// real sample rate.
constexpr double kDotLength = 0.001;  // of the horizontal range
constexpr double kDotHeight = 0.005;
constexpr double kTickHeight = 0.01;   // of the vertical range
constexpr double kTickLength = 0.002;  // of the horizontal range
constexpr double kMinSpan = 0.000001;
constexpr double kDefaultMsPerScreen = 10000;

// The whole text as a number, or false.
bool numeric(const std::string& text, double& value) {
  if (!kw_is_numeric(text)) return false;
  int stop = 0;
  value = kw_parse_double(text, stop);
  return true;
}

// ---- settings of section "Graphing" ----

std::string lf_setting_seed(const std::string& key, const std::string& default_value) {
  return kw_setting_seed(kGraphApp, kGraphSection, key, default_value);
}

void lf_setting_put(const std::string& key, const std::string& value) {
  kw_setting_put(kGraphApp, kGraphSection, key, value);
}

std::string number_text(double value) {
  return kw_format(value, "");
}

// The setting as a number; text that is not a number leaves the default standing.
double setting_number(const std::string& key, double default_value) {
  double value = default_value;
  return numeric(lf_setting_seed(key, number_text(default_value)), value) ? value : default_value;
}

int32_t setting_color(const std::string& key, int32_t default_value) {
  double value = setting_number(key, default_value);
  if (value < INT32_MIN || value > UINT32_MAX) return default_value;
  return static_cast<int32_t>(static_cast<int64_t>(value));
}

// Booleans are stored as "True" and "False"; a number counts by being non-zero.
bool setting_bool(const std::string& key, bool default_value) {
  std::string text = lf_setting_seed(key, default_value ? "True" : "False");
  std::string lower = text;
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (lower == "true") return true;
  if (lower == "false") return false;
  double value = 0;
  return numeric(text, value) ? value != 0 : default_value;
}

std::string channel_key(const char* what, int ch) {
  return std::string(what) + std::to_string(ch);
}
std::string limit_key(int index) {
  return channel_key("Limits CHN", index % 3 + 1) + (index < 3 ? " UPPER" : " LOWER");
}

// ---- drawing ----

int32_t contrast(const StripChart& g) {
  return g.bg_color ^ kContrast;
}

void draw_frame(StripChart& g) {
  Canvas& c = *g.canvas;
  const double w = g.ms_per_screen;
  const int32_t ink = contrast(g);
  c.line(0, 0, w, 0, ink);
  c.line(w, 0, w, 1, ink);
  c.line(w, 1, 0, 1, ink);
  c.line(0, 1, 0, 0, ink);
  const double len = kTickLength * w;
  for (int k = 1; k < 10; ++k) {
    const double y = 0.1 * k;
    c.line(0, y, len, y, ink);
    c.line(w, y, w - len, y, ink);
  }
  for (double x = g.grid_step_ms; x < w; x += g.grid_step_ms) c.line(x, 0, x, kTickHeight, ink);
}

}  // namespace

namespace {

double luminance(int32_t word) {
  auto channel = [](int v) {
    const double c = v / 255.0;
    return c <= 0.03928 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * channel(word & 0xFF) + 0.7152 * channel((word >> 8) & 0xFF) +
         0.0722 * channel((word >> 16) & 0xFF);
}

}  // namespace

double contrast_ratio(int32_t a, int32_t b) {
  const double la = luminance(a), lb = luminance(b);
  return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

int32_t readable_color(int32_t pen, int32_t ground) {
  constexpr double kReadable = 4.5;
  const int target = luminance(ground) > 0.18 ? 0 : 255;  // black on light, white on dark
  int32_t out = pen;
  // Sixteen steps of a sixteenth of the way each end at the target itself, which reads on
  // any ground (black on the darkest light ground is 4.6:1).
  for (int step = 1; step <= 16 && contrast_ratio(out, ground) < kReadable; ++step) {
    const double k = std::min(1.0, step / 16.0);
    auto mix = [&](int shift) {
      const int v = (pen >> shift) & 0xFF;
      return static_cast<int32_t>(std::lround(v + (target - v) * k)) << shift;
    };
    out = mix(0) | mix(8) | mix(16);
  }
  return out;
}

int32_t palette_color(int index) {
  return kPalette[static_cast<size_t>(index) & 15];
}

void graph_read_settings(StripChart& g, const std::array<double, 3>& full_scale) {
  g.bg_color = setting_color("BackGround Color", kDefaultBackground);
  g.cb_gridlines = setting_bool("Gridlines", false);
  g.cb_dots = setting_bool("Graph with dots", false);
  for (int ch = 1; ch <= 3; ++ch) {
    const double fs = full_scale[ch - 1];
    g.chn[ch - 1].color =
        setting_color(channel_key("Color CHN", ch), palette_color(kChannelPaletteEntry[ch - 1]));
    g.txt_grlimits[ch - 1] = number_text(setting_number(limit_key(ch - 1), fs));
    g.txt_grlimits[ch + 2] = number_text(setting_number(limit_key(ch + 2), -fs));
  }
  apply_graph_scale(g);
}

void graph_store_checkboxes(const StripChart& g) {
  lf_setting_put("Gridlines", g.cb_gridlines ? "True" : "False");
  lf_setting_put("Graph with dots", g.cb_dots ? "True" : "False");
}

void apply_graph_scale(StripChart& g) {
  for (int ch = 1; ch <= 3; ++ch) {
    double upper = 0, lower = 0;
    if (!numeric(g.txt_grlimits[ch - 1], upper) || !numeric(g.txt_grlimits[ch + 2], lower))
      continue;
    if (!(upper - lower > kMinSpan)) continue;
    const float scale = static_cast<float>(1.0 / (upper - lower));
    g.chn[ch - 1].scale = scale;
    g.chn[ch - 1].offset = static_cast<float>(-lower * scale);
  }
  double ms = std::round(setting_number("ms Per Screen", kDefaultMsPerScreen));
  if (!(ms >= 1 && ms <= INT32_MAX)) ms = kDefaultMsPerScreen;
  g.ms_per_screen = ms;
  g.erase_width_ms = ms / 50;
  g.grid_step_ms = ms / 10;
  g.txt_sec_per_screen = number_text(ms / 1000);
}

void lf_change_scalewidth(StripChart& g, const std::string& text) {
  debug_log("IN lf_change_scalewidth");
  double seconds = 0;
  if (!numeric(text, seconds) || !(seconds > 0)) return;
  const double ms = std::round(seconds * 1000);
  if (!(ms >= 1 && ms <= INT32_MAX)) return;
  lf_setting_put("ms Per Screen", kw_int(static_cast<int32_t>(ms), 0, false));
  const double before = g.ms_per_screen;
  apply_graph_scale(g);
  if (g.ms_per_screen != before) graph_clear(g);
}

void txt_grlimits_change(StripChart& g, int index) {
  if (g.resizing || g.initialising || index < 0 || index > 5) return;
  double value = 0;
  if (numeric(g.txt_grlimits[index], value))
    lf_setting_put(limit_key(index), g.txt_grlimits[index]);
  apply_graph_scale(g);
}

void graph_round_start(StripChart& g) {
  g.elapsed_ms = now_ms() - g.t0_ms;
  if (g.paused || g.canvas == nullptr) return;
  Canvas& c = *g.canvas;
  if (g.erase_until_ms < g.elapsed_ms) {
    const double x1 = g.erase_until_ms + g.erase_width_ms;
    double x2 = g.elapsed_ms + g.erase_width_ms;
    // The last stripe of a pass reaches well past the right edge, so no old trace is
    // left in the last columns.
    if (x2 >= g.ms_per_screen) x2 = g.elapsed_ms + 2 * g.erase_width_ms;
    c.fill_rect(x1, 0, x2, 1, g.bg_color);
    if (g.cb_gridlines) {
      for (int k = 1; k <= 19; ++k) {
        c.line(x1, 0.05 * k, x2, 0.05 * k, g.bg_color ^ (k % 5 == 0 ? kGridDark : kGridFaint));
      }
    }
    g.erase_until_ms = g.elapsed_ms;
  }
  // A grid step is marked once the wipe has passed it, so the traces are drawn over the
  // grid and not cut by it. One step per round: a slow sample rate catches up over the
  // following rounds.
  if (g.next_grid_ms < g.erase_until_ms + g.erase_width_ms) {
    if (g.cb_gridlines) c.line(g.next_grid_ms, 0, g.next_grid_ms, 1, g.bg_color ^ kGridFaint);
    c.line(g.next_grid_ms, 1, g.next_grid_ms, 1 - kTickHeight, contrast(g));
    g.next_grid_ms += g.grid_step_ms;
  }
}

void graph_pen(StripChart& g, int ch, double value) {
  if (ch < 1 || ch > 3) return;
  ChartChannel& p = g.chn[ch - 1];
  if (g.history != nullptr) g.history->add(ch, g.t0_ms + g.elapsed_ms, value);
  double y = value * p.scale + p.offset;
  y = std::isnan(y) ? kNoPoint : std::clamp(y, -32768.0, 32767.0);
  if (!g.paused && g.canvas != nullptr) {
    if (g.cb_dots) {
      const double x2 = g.elapsed_ms + kDotLength * g.ms_per_screen;
      g.canvas->fill_rect(g.elapsed_ms, y, x2, y + kDotHeight, p.color);
    } else if (p.last_y != kNoPoint && g.prev_elapsed_ms <= g.elapsed_ms) {
      g.canvas->line(g.prev_elapsed_ms, p.last_y, g.elapsed_ms, y, p.color);
    }
  }
  p.last_y = static_cast<float>(y);
}

bool graph_screen_end(StripChart& g) {
  if (g.paused || !(static_cast<float>(g.elapsed_ms) > g.ms_per_screen)) return false;
  graph_clear(g);
  return true;
}

void graph_clear(StripChart& g) {
  if (g.paused) return;
  g.t0_ms = now_ms();
  g.elapsed_ms = g.prev_elapsed_ms = g.next_text_ms = g.last_text_ms = g.next_grid_ms = 0;
  g.erase_until_ms = g.erase_width_ms;
  for (ChartChannel& p : g.chn) p.last_y = kNoPoint;  // a new screen has no line to its first point
  if (g.canvas == nullptr) return;
  g.canvas->set_scale(0, g.ms_per_screen, 0, 1);
  g.canvas->clear(g.bg_color);
  draw_frame(g);
}

std::optional<int32_t> graph_set_color(StripChart& g, int ch) {
  if (ch < 0 || ch > 3) return std::nullopt;
  int32_t& color = ch == 0 ? g.bg_color : g.chn[ch - 1].color;
  std::optional<int32_t> chosen = color_dialog(color);
  if (!chosen) return std::nullopt;
  color = *chosen;
  lf_setting_put(ch == 0 ? std::string("BackGround Color") : channel_key("Color CHN", ch),
                 kw_int(color, 0, false));
  if (ch == 0) graph_clear(g);
  return chosen;
}

}  // namespace ovn
