#pragma once
// The main window `frm_kst_main` as a model: every control under its own name as plain
// state (captions, tool tips, colours, enabled, checked, visible), the menus, the live
// session variables, and the procedures that act on them: the load event, the one-shot
// start of the session, the main loop, the readout refresh, the command table and the
// close request.
//
// One thread. The session runs as one procedure (kst_timer1) that returns only when the
// operator leaves or changes port; the toolkit's events run nested inside its waits
// (yield_ms pumps them). Event handlers (the kst_on_* functions) never talk to the
// instrument: they store a number in `command` or set `exit_requested`, and the loop
// serves the command at the end of its round.
//
// Colours are colour words 0x00BBGGRR; kColorInherit (-1) means "the window's own".
// Channels are 1..3, control arrays are indexed from 0.

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "monitor/kst_commands.h"
#include "monitor/strip_chart.h"

namespace ovn {

inline constexpr int32_t kKstFamily = 1104;
inline constexpr int32_t kNoFamily = 1100;
inline constexpr int32_t kRgbGreen = 0x00FF00;
inline constexpr int32_t kRgbYellow = 0x00FFFF;  // RGB 255,255,0 as a colour word
inline constexpr int32_t kRgbRed = 0x0000FF;     // RGB 255,0,0 as a colour word
inline constexpr const char* kNotAvailable = "Not available in this build";

struct KstControl {
  std::string caption;
  std::string tool_tip;
  int32_t back_color = -1;
  bool enabled = true;
  bool visible = true;
};

struct KstMenuEntry {
  std::string caption;        // "-" for a separator
  std::string built_caption;  // the caption it was built with, when it changed since
  std::string shortcut;       // "Ctrl+A", "F7", "" for none
  std::string tool_tip;
  bool checked = false;
  bool enabled = true;
  bool visible = true;
  bool separator() const { return caption == "-"; }
};

struct KstMenu {
  std::string name;     // "mn_file"
  std::string caption;  // the top-level caption, "File"; empty for arrays inside another
  int32_t base = 0;     // a click stores base + index in `command`
  std::vector<KstMenuEntry> entries;
};

// One record of the display mode table; channels 1..3 at index 0..2.
struct KstDisplayMode {
  std::string letter;
  std::array<double, 3> scale{1, 1, 1};
  std::array<double, 3> offset{0, 0, 0};
  std::array<std::string, 3> format{"0", "0", "0"};
  std::array<std::string, 3> unit{};
  std::array<double, 3> tare_mult{1, 1, 1};
};

// What the program holds about the connected instrument for the live display.
struct KstSession {
  int32_t tm_type = kNoFamily;
  int channels = 3;
  std::array<std::string, 3> unit{};   // "UN<ch>"
  std::array<double, 3> full_scale{};  // "DS<ch>" times "CE<ch>A"
  double uca = 0;                      // "UCA", the raw scaling of the cal mode
  int stator_version = 0;              // from "VR": "KSTs<stator>r<rotor>"
  int rotor_version = 0;
  std::string temperature_unit = "F";
  double temperature_scale = 1;
  double temperature_offset = 0;
};

// The procedures other parts of the program supply. Each empty one is skipped, unless
// its comment names what stands in for it.
struct KstHooks {
  // Finds the instrument and opens it (port selection, family probing); true when a port
  // talks. Empty: the port already attached to the link is used as it stands.
  std::function<bool()> open_port;
  // The flash commit after a session, so that the operator's changes survive. Empty: the
  // instrument's own commit ("@@", then "VR").
  std::function<void()> flash_write;
  // The automatic configuration save after a session.
  std::function<void()> auto_config_save;
  // The splash, shown without stopping the start-up; `display_ms` already resolved.
  std::function<void(int display_ms)> show_splash;
  // The window's layout after a resize (command 19000).
  std::function<void()> layout;
  // Unloads the window at the end of the program.
  std::function<void()> unload;
  // Called once the session is ready ("GO"), before the first round.
  std::function<void()> session_ready;
  // Called at the end of every round, after the readouts and before the queued command is
  // served, the way an event handler runs: it may store a command or set exit_requested.
  std::function<void()> round_end;
};

// How the "Check Configuration" command reports, and what it found. The window shows the
// failure and pass boxes; a scripted run hands a `print` and gets the texts instead.
struct KstCheckRequest {
  bool show_passes = false;
  std::string report;    // the HTML page to write; "" none
  std::string baseline;  // a configuration file to compare with; "" none
  std::function<void(const std::string& failures, const std::string& passes)> print;
  bool failed = false;  // the last audit found a failure
};

struct FrmKstMain {
  std::string caption;  // the window caption
  // The adjustment step under way ("Zero Adjustment"), "" when the window is idle; the
  // caption names it while it runs.
  std::string adjusting;

  std::array<KstControl, 3> lb_data, lb_mxmn, lb_units;
  KstControl lb_hz, lb_temperature, lb_time_now, lb_xy, lb_tech_pwm, lb_tech_rtr;
  KstControl lb_sec_per_screen;
  std::array<KstControl, 8> lb_io, sh_io;
  std::array<KstControl, 3> btn_cmd, btn_cal;
  KstControl btn_pause, btn_clrscrn, btn_pwr135, pic_graph;
  std::array<std::string, 6> txt_grlimits_tool_tip{};
  int32_t window_color = 0xF0F0F0;
  std::array<int32_t, 8> sh_io_saved_color{};

  KstMenu mn_file, mn_setup, mn_adjustment, mn_filter, mn_units, mn_misc, mn_temperature, mn_pwr,
      mn_view;

  // The chart, with txt_grlimits, txt_sec_per_screen, cb_gridlines, cb_dots, `paused`
  // and the times of the screen (t0_ms, elapsed_ms, prev_elapsed_ms, next/last_text_ms).
  StripChart graph;

  bool exit_requested = false;
  int32_t command = 0;
  int32_t text_period_ms = 200;
  int display_mode = 0;
  std::array<KstDisplayMode, 5> modes{};
  bool technician = false;  // either of the two upper mode bits of the technician level
  // The rotor diagnostics of the last "RT" (technician mode), one line a field group;
  // empty until a good reply came. Shown as tool tip lines, acted upon by nothing.
  std::vector<std::string> tech_lines;
  bool timer1_enabled = false;
  bool loaded = false;
  bool unloaded = false;

  double lb_xy_x = 0, lb_xy_y = 0;  // where the chart was last clicked, chart units
  std::array<double, 3> cur{}, prev{}, filt{};
  std::string extra_field;
  int32_t rounds = 0;
  std::string last_row;    // the last data row offered to the data file
  int32_t last_bytes = 0;  // the length of the last live reply with its line end
  int32_t last_baud = 0;

  KstSession session;
  KstHooks hooks;
  KstCheckRequest check;
};

// ---- Start-up and shutdown --------------------------------------------------------------

// The load event, in its order: version notice, splash (unless "-nologo"), caption,
// application path, data file module, display state, units menu, control arrays, noise
// test captions, colours; ends by enabling `timer1_enabled` (the toolkit fires it once,
// 100 ms later, by calling kst_timer1).
void kst_load(FrmKstMain& f);
// The splash's display time in ms: `display_ms` when above 0, else the setting
// "Display-Time-ms" (section "Splash", application "OVN-Shared", default "3000"); not
// numeric or negative gives 0, above 10000 gives 10000.
int splash_display_ms(int display_ms);

// The `Timer1` event: the session and what follows it. Runs main_run; then the flash
// write and automatic save hooks; then either the end of the program (flags, check boxes
// stored, instrument type 1100, unload) or, for a port change, `timer1_enabled` again.
// Returns true when a new session is to start.
bool kst_timer1(FrmKstMain& f);

// The close request. True when the close may go on: the first request only sets
// `exit_requested` and refuses, so an exchange under way ends in its own time (success,
// or the operator's Retry or Skip) and the loop leaves after its round; while it stands a
// further request goes through. The link's exit flag is left to the final exit.
bool kst_query_unload(FrmKstMain& f);

// ---- Main loop --------------------------------------------------------------------------

// The session: initialisation, then rounds until the operator leaves (false) or changes
// port (true).
bool main_run(FrmKstMain& f, bool restart);
// What a round decided.
enum class KstRoundEnd { Next, Leave, Reopen };
// Initialisation of the session, in its order, up to "GO". Abort in a notice ends the
// process.
void kst_init_session(FrmKstMain& f);
// One round of the loop.
KstRoundEnd kst_round(FrmKstMain& f);
// The readout refresh of the labels, "MX", "DT", "IO*", "TC", "AS", "CF1B".
void kst_refresh_readouts(FrmKstMain& f);
// The technician diagnostics: "RT" split at commas into the rotor state lines of
// `tech_lines`, the tool tips of lb_tech_rtr and lb_temperature, and lb_tech_rtr's caption
// (the unregulated rotor voltage). A reply with too few fields is logged ("BAD RT:") and
// leaves the lines as they were; returns false then.
bool kst_tech_status(FrmKstMain& f);
// The technician mode evaluated from the store, and everything that shows it: the
// technician labels, tool tips, menu entries.
void kst_apply_technician(FrmKstMain& f, bool technician);
// The firmware notice lines for the versions, joined by CR LF; empty when all is well.
std::string kst_firmware_notice(int stator, int rotor);
// Rebuilds the display mode table, unit labels and captions from the session; with
// `reload` the session data are read again first.
void refresh_channels(FrmKstMain& f, bool reload);
// The window caption: program, version and port, and the adjustment step under way.
std::string kst_window_caption(const FrmKstMain& f);
// The format of mode 0 for a full scale: 5 significant digits (7 with the expanded
// display), "0" from 10000000 up.
std::string kst_mode0_format(double full_scale, bool expanded);
// The limit of the line for one reply of `reply_bytes` (line end included) and its
// request of `request_bytes`, at `baud`, in exchanges a second (10 bits a byte).
double kst_line_limit_per_s(int32_t baud, int32_t request_bytes, int32_t reply_bytes);

// ---- Commands ---------------------------------------------------------------------------

// Serves `command` through the command table (kst_commands.h): the first row holding it.
// Returns false for kCmdChangePort (leave and open again). Values with no procedure in
// this build log "OOPS:" and the number, as unknown values do.
bool kst_serve_command(FrmKstMain& f, int32_t command);
// The menu entry that stores `command`, or nullptr.
KstMenuEntry* kst_menu_entry(FrmKstMain& f, int32_t command);
const KstMenuEntry* kst_menu_entry(const FrmKstMain& f, int32_t command);
// All menus in the order of the menu bar (mn_temperature and mn_pwr sit inside Misc).
std::vector<KstMenu*> kst_menus(FrmKstMain& f);
std::vector<const KstMenu*> kst_menus(const FrmKstMain& f);

// ---- Event handlers: they only store a command or set display variables ----------------

// A click on menu entry `index` of `menu` (ignored when disabled or a separator).
void kst_on_menu(FrmKstMain& f, const KstMenu& menu, int index);
// A press on a button ("btn_cmd", "btn_cal", "btn_clrscrn", "btn_pause", "btn_pwr135"):
// the left button stores its command; the right one only on btn_cal 1 in technician mode.
void kst_on_button(FrmKstMain& f, const std::string& name, int index, int button, int shift);
// Mouse-down on a label: "lb_data", "lb_mxmn", "lb_units", "lb_hz", "lb_temperature",
// "lb_tech_pwm", "lb_tech_rtr", "txt_grlimits", "pic_graph" (x, y in chart units).
void kst_on_mouse_down(FrmKstMain& f, const std::string& name, int index, int button, int shift,
                       double x = 0, double y = 0);
// The window was resized.
void kst_on_resize(FrmKstMain& f);

}  // namespace ovn
