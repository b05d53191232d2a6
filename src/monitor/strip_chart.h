#pragma once
// The wrap-around strip chart `pic_graph`: the pen moves left to right with the time
// elapsed since the screen began, one trace per channel; the ground ahead of the pen is
// wiped in stripes so the old trace stays visible until the pen arrives; at the right
// edge a new screen starts.
//
// Chart coordinates: x in milliseconds since `t0_ms` (0 at the left edge,
// `ms_per_screen` at the right), y from 0 at the bottom to 1 at the top. Each channel
// maps its lower limit to 0 and its upper limit to 1.
//
// The main window holds one StripChart and calls these functions from its loop and its
// event handlers. Settings live in section "Graphing" of application "KST". Drawing goes
// to `canvas` (not owned; nothing is drawn while it is null).

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "monitor/canvas.h"
#include "monitor/session_history.h"

namespace ovn {

inline constexpr const char* kGraphApp = "KST";
inline constexpr const char* kGraphSection = "Graphing";

// Pen height meaning "no point yet": outside the screen's 0..1.
inline constexpr float kNoPoint = 12.0f;

// The 16-colour palette of colour words (0 black ... 15 bright white).
int32_t palette_color(int index);

// The contrast ratio of two colour words as the accessibility guidelines define it, from
// 1 (the same) to 21 (black on white).
double contrast_ratio(int32_t a, int32_t b);
// `pen` made readable on `ground`: moved towards black on a light ground or white on a
// dark one until the two differ by a ratio of at least 4.5 to 1. A pen that reads already
// comes back as it is, so the operator's own choice stands wherever it can.
int32_t readable_color(int32_t pen, int32_t ground);

struct ChartChannel {
  int32_t color = 0;
  float scale = 1.0f;   // multiplies the value in the mode's units
  float offset = 0.0f;  // added after scaling
  float last_y = kNoPoint;
};

struct StripChart {
  std::array<ChartChannel, 4> chn{};  // channels 1..3 at 0..2; the fourth is a spare

  // The limit boxes: index i < 3 is the upper limit of channel i + 1, i + 3 its lower.
  std::array<std::string, 6> txt_grlimits{};
  std::string txt_sec_per_screen;  // seconds per screen, as shown
  bool cb_gridlines = false;
  bool cb_dots = false;
  bool paused = false;
  // The window sets these around a resize and its initialisation, when changes of the
  // limit boxes are not the operator's.
  bool resizing = false;
  bool initialising = false;

  int32_t bg_color = 0;
  double ms_per_screen = 10000;
  double erase_width_ms = 200;  // a fiftieth of the screen
  double erase_until_ms = 200;  // end of the stripe already wiped
  double grid_step_ms = 1000;   // a tenth of the screen
  double next_grid_ms = 0;

  // The time of the screen. A new screen restarts it, and with it the readout timing.
  double t0_ms = 0;
  double elapsed_ms = 0;
  double prev_elapsed_ms = 0;
  double next_text_ms = 0;
  double last_text_ms = 0;

  Canvas* canvas = nullptr;
  // Where every pen value is also kept, paused or not (not owned; none while null).
  SessionHistory* history = nullptr;
};

// Reads section "Graphing": background, "Gridlines", "Graph with dots", then per channel
// 1..3 its colour and limits (default: +/- full_scale[ch - 1]). Each read stores its
// default when nothing is stored yet; a stored value that is not a number leaves the
// default standing. Sets the boxes without treating it as the operator's edit. Ends with
// apply_graph_scale.
void graph_read_settings(StripChart& g, const std::array<double, 3>& full_scale);
// Stores the check boxes "Gridlines" and "Graph with dots" (at shutdown).
void graph_store_checkboxes(const StripChart& g);

// Recomputes each channel's scale and offset from its limit boxes (limits that are not
// numbers, or whose span is not above 0.000001, leave the channel as it was), reads
// "ms Per Screen" (default 10000) with the stripe width and grid step that follow from it,
// and shows the seconds in `txt_sec_per_screen`. Does not clear.
void apply_graph_scale(StripChart& g);

// The change event of the seconds-per-screen box. Logs "IN lf_change_scalewidth". A
// number above 0 is stored as "ms Per Screen" in whole milliseconds (at least 1) and
// applied; the graph is cleared when the width changed. Any other text is ignored.
void lf_change_scalewidth(StripChart& g, const std::string& text);

// The change event of limit box `index` (0..5), its new text already in txt_grlimits.
// Ignored while resizing or initialising. A numeric text is stored as
// "Limits CHN<ch> UPPER" or "... LOWER"; then the scale is applied. Nothing is redrawn:
// the new scale applies to the points that follow.
void txt_grlimits_change(StripChart& g, int index);

// Starts a round: elapsed_ms from the clock; unless paused, wipes the stripe ahead of the
// pen, with grid marks and the ticks of grid steps passed.
void graph_round_start(StripChart& g);
// The pen step of channel ch (1..3) for `value` in the mode's units: the pen height
// (clamped to -32768..32767) becomes last_y; unless paused it is drawn, as a line from the
// previous point or, in dot mode, as a short stroke. The value goes to `history` too.
void graph_pen(StripChart& g, int ch, double value);
// Ends a round's drawing: unless paused, starts a new screen when elapsed_ms, taken as a
// single, is beyond the right edge. True when it did. The loop sets prev_elapsed_ms to
// elapsed_ms after the round.
bool graph_screen_end(StripChart& g);

// A new screen (unless paused): clears the picture, restarts the screen's time at now_ms,
// draws the frame and its ticks. The pens forget their last point, so the first point of
// the new screen has no line to it.
void graph_clear(StripChart& g);

// Lets the operator choose the colour of channel ch (1..3), or with ch 0 the background,
// starting from the present one. The choice is stored ("Color CHN<ch>" or
// "BackGround Color") and returned, for the channel's label; a new background starts a
// new screen. Nothing when cancelled.
std::optional<int32_t> graph_set_color(StripChart& g, int ch);

}  // namespace ovn
