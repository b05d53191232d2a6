#include "monitor/frm_kst_main.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "adjust/adjust_shunt.h"
#include "adjust/histogram.h"
#include "adjust/noise_test.h"
#include "adjust/spread_test.h"
#include "audit/audit_report.h"
#include "audit/checkit.h"
#include "audit/info_reports.h"
#include "audit/tm_check_config.h"
#include "config/config_commands.h"
#include "config/flash.h"
#include "foundation/debug_log.h"
#include "foundation/files.h"
#include "foundation/hexstr.h"
#include "foundation/kw.h"
#include "foundation/operator.h"
#include "foundation/platform.h"
#include "foundation/settings.h"
#include "foundation/units.h"
#include "foundation/version_notice.h"
#include "instrument/measure.h"
#include "instrument/ovn_mode.h"
#include "instrument/password.h"
#include "instrument/tm_info.h"
#include "io/ao_cal.h"
#include "io/ao_setup.h"
#include "io/io_lines.h"
#include "io/setup_forms.h"
#include "link/rs232.h"
#include "link/rs232_f7.h"
#include "link/selcom.h"
#include "monitor/adjust_point.h"
#include "monitor/data_dir.h"
#include "monitor/frm_data_dir.h"
#include "monitor/gestures.h"
#include "monitor/power_sweeps.h"
#include "monitor/rotor_power.h"

namespace ovn {

namespace {

const char* const kCrLf = "\r\n";
const char* const kProgram = "ovn-kst";

// ---- small helpers -----------------------------------------------------------------------

std::string lf_ch(int ch) {
  return std::to_string(ch);
}

double lf_number(const std::string& text) {
  int stop = 0;
  return kw_parse_double(text, stop);
}

std::vector<std::string> lf_fields(const std::string& reply) {
  if (reply.empty()) return {};
  return kw_split(reply, ",");
}

// The modes "Y" and "X" answer in hex, 16 and 32 bits; the rest of the loop reads decimal.
void lf_convert_fields(const FrmKstMain& f, std::vector<std::string>& fields) {
  if (f.display_mode != 3 && f.display_mode != 4) return;
  for (std::string& s : fields) {
    if (!is_hex(s)) continue;  // a refusal stays as it came
    s = f.display_mode == 3 ? std::to_string(hex_to_s16(s)) : std::to_string(hex_to_s32(s));
  }
}

// The first digits after `tag` in `text`, 0 when there are none.
int lf_version_after(const std::string& text, char tag, size_t from) {
  size_t p = text.find(tag, from);
  if (p == std::string::npos) return 0;
  int v = 0;
  for (size_t i = p + 1; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i)
    v = v * 10 + (text[i] - '0');
  return v;
}

// The session data the live display needs. The instrument answers "VR" with
// "KSTs<stator>r<rotor>".
void lf_read_session(FrmKstMain& f) {
  // The instrument's record for everything beyond the live display (adjustment, tests).
  get_data_ini(kKstFamily, false, "", 0, false);
  KstSession& s = f.session;
  s.tm_type = kKstFamily;
  std::string vr = tm_info_version(kSelVersion3, kTmInfoCurrent);
  size_t body = vr.find("KST");
  body = body == std::string::npos ? 0 : body + 3;
  s.stator_version = lf_version_after(vr, 's', body);
  s.rotor_version = lf_version_after(vr, 'r', body);
  s.channels = std::clamp<int>(get_si16("SD"), 1, 3);
  for (int ch = 1; ch <= 3; ++ch) {
    s.unit[ch - 1] = get_reply("UN" + lf_ch(ch));
    double ds = get_f64("DS" + lf_ch(ch));
    s.full_scale[ch - 1] = ds * get_f64("CE" + lf_ch(ch) + "A");
  }
  s.uca = get_f64("UCA");
}

int lf_setting_int(const std::string& app, const std::string& section, const std::string& key,
                   int fallback, int low, int high) {
  std::string text = kw_setting_seed(app, section, key, std::to_string(fallback));
  int v = kw_is_numeric(text) ? static_cast<int>(std::lround(lf_number(text))) : fallback;
  return std::clamp(v, low, high);
}

void lf_set_visible_channels(FrmKstMain& f) {
  for (int i = 0; i < 3; ++i) {
    bool on = i < f.session.channels;
    f.lb_data[i].visible = f.lb_units[i].visible = f.lb_mxmn[i].visible = on;
  }
}

void lf_apply_filter_label(FrmKstMain& f) {
  for (auto& entry : f.mn_filter.entries) entry.checked = false;
  int fl = get_si16("FL1");
  if (fl >= 0 && fl < static_cast<int>(f.mn_filter.entries.size()))
    f.mn_filter.entries[fl].checked = true;
}

void lf_apply_lock_state(FrmKstMain& f) {
  bool locked = get_si16("PS") == 1;
  auto lock = [&](KstMenu& m, size_t from, size_t to) {
    for (size_t i = from; i < m.entries.size() && i < to; ++i) {
      KstMenuEntry& e = m.entries[i];
      if (e.separator()) continue;
      if (kst_command_served(m.base + static_cast<int32_t>(i))) e.enabled = !locked;
    }
  };
  const size_t all = 100;
  lock(f.mn_adjustment, 0, all);
  lock(f.mn_units, 0, all);
  lock(f.mn_pwr, 0, all);
  lock(f.mn_misc, 7, all);
  lock(f.mn_setup, 0, 5);  // the password entries stay, to unlock with
  lf_apply_filter_label(f);
}

void lf_apply_io_labels(FrmKstMain& f) {
  const int32_t family = tm_type(kTmInfoCurrent);
  int32_t mask = get_si32("IOI");
  for (int n = 0; n < 8; ++n) {
    int code = get_si16("IO" + kw_letter_of(n));
    // The input functions by name; an output's state shows on its lamp.
    std::string text = code >= 0 && code < 16 ? tm_io_function_name(code, family) : "";
    f.lb_io[n].caption = text + ((mask >> n) & 1 ? "~" : "_");
  }
}

void lf_apply_channel_labels(FrmKstMain& f) {
  const KstDisplayMode& m = f.modes[static_cast<size_t>(f.display_mode)];
  for (int i = 0; i < 3; ++i) {
    f.lb_units[i].caption = m.unit[i];
    f.lb_data[i].tool_tip = "Shift+Click to change graphing color";
    f.lb_mxmn[i].tool_tip =
        f.technician ? "Max-Min=Spread.  Click on this label to reset max/min."
                     : "LeftClick:Reset Max/Mins   RightClick:Reset Max/Mins and restart graphing";
  }
}

// The instrument holds 2 to 5 adjustment points ("TA"): zero, positive, negative and the
// further points #3 and #4 take the first entries of the Adjustment menu in this order.
void lf_apply_adjustment_points(FrmKstMain& f, int points) {
  points = std::clamp(points, 2, 5);
  for (int i = 0; i < 5 && i < static_cast<int>(f.mn_adjustment.entries.size()); ++i)
    f.mn_adjustment.entries[static_cast<size_t>(i)].visible = i < points;
}

void lf_apply_temperature_settings(FrmKstMain& f) {
  KstSession& s = f.session;
  s.temperature_unit = kw_setting_seed(kGraphApp, "Settings", "Temperature Unit Name", "F");
  std::string sc = kw_setting_seed(kGraphApp, "Settings", "Temperature Scaling", "1");
  std::string of = kw_setting_seed(kGraphApp, "Settings", "Temperature Offset", "0");
  s.temperature_scale = kw_is_numeric(sc) ? lf_number(sc) : 1;
  s.temperature_offset = kw_is_numeric(of) ? lf_number(of) : 0;
}

// The cal buttons light what the instrument reports: "+ Cal", "No Cal" or "- Cal". A state
// it cannot name (both arms at once) lights none of them.
void lf_show_cal_state(FrmKstMain& f) {
  const int32_t state = tm_info_shunt_read();
  const int lit = state == kShuntPositive   ? 0
                  : state == kShuntNegative ? 2
                  : state == kShuntNone     ? 1
                                            : -1;
  for (int i = 0; i < 3; ++i) f.btn_cal[i].back_color = i == lit ? kRgbGreen : f.window_color;
}

std::string lf_mode_letter(const FrmKstMain& f) {
  return f.modes[static_cast<size_t>(f.display_mode)].letter;
}

void lf_reset_maxmin() {
  for (int ch = 1; ch <= 3; ++ch) get_reply("MX" + lf_ch(ch) + "*");
}

// The unit index of `name` in `group`, -1 when the group has no such unit.
int lf_unit_index(const std::string& name, int group) {
  auto lower = [](std::string t) {
    for (char& c : t) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
    return t;
  };
  for (int u = 0; u < units_count(group); ++u)
    if (lower(units_name(u, group)) == lower(name)) return u;
  return -1;
}

// The instrument keeps torque in lbf-in, speed in RPM, power in Hp and temperature in F;
// a display unit is a scale (and for temperature an offset) on top of these.
const char* const kNativeUnit[] = {"lbf-in", "RPM", "Hp",
                                   ("\xBA"
                                    "F")};

void lf_units_command(FrmKstMain& f, int index) {
  for (int group = 0; group < 4; ++group) {
    int count = units_count(group);
    if (index < count) {
      std::string name = units_name(index, group);
      int native = lf_unit_index(kNativeUnit[group], group);
      double native_factor = native < 0 ? units_factor(index, group) : units_factor(native, group);
      double native_offset = native < 0 ? units_offset(index, group) : units_offset(native, group);
      double scale = kw_safe_div(native_factor, units_factor(index, group), 1);
      if (group == 3) {
        double offset = units_offset(index, group) - native_offset * scale;
        kw_setting_put(kGraphApp, "Settings", "Temperature Unit Name", name);
        kw_setting_put(kGraphApp, "Settings", "Temperature Scaling", kw_format(scale, ""));
        kw_setting_put(kGraphApp, "Settings", "Temperature Offset", kw_format(offset, ""));
        lf_apply_temperature_settings(f);
        return;
      }
      if (group + 1 > f.session.channels) return;
      std::string ch = lf_ch(group + 1);
      rs232_send_ok("UN" + ch + name);
      rs232_send_ok("DS" + ch + kw_format(scale, ""));
      refresh_channels(f, true);
      return;
    }
    index -= count + 1;
  }
}

// The instrument's option bits in "UCB", one check box a bit.
void lf_flag_dialog(FrmKstMain& f) {
  int32_t value = get_si32("UCB");
  std::string settings = "RS485 Termination ^Off^On^";
  if (f.technician)
    settings += std::string("|^Don't ^^Derive Shunt Scaling From Load") +
                "|^Don't ^^Use Load Adjustment During Shunt" +
                "|^Don't ^^Use Shunt Analog Output During No Shunt" +
                "|^Don't ^^Use Load Analog Output During Shunt" +
                "|^Don't ^^Lop 3LS Bits From Rotor Data" + "|Shunt Has ^^No ^Effect On Speed" +
                "|^2.015 kHz ^7.8125 kHz^ Highest Filter" + "|^Don't ^^Fix^^ed^ Duty Cycle";
  if (gibcb(value, settings, "Apply Changes|Cancel", "Info Box") != 0) return;
  rs232_send_ok("UCB" + std::to_string(value));
  lf_apply_adjustment_points(f, get_si16("TA"));
  lf_apply_channel_labels(f);
  lf_apply_filter_label(f);
}

// Command 60: the technician phrase. A cancelled dialog changes nothing.
void lf_technician_entry(FrmKstMain& f) {
  std::string text = password_ask(kPasswordEnter, "");
  if (text.empty()) return;
  kst_apply_technician(f, ovn_mode_is_technician(ovn_mode_get(text, false, ovn_mode_levels())));
  lf_apply_adjustment_points(f, get_si16("TA"));
  lf_apply_filter_label(f);
  if (f.hooks.layout) f.hooks.layout();
  debug_log("User Entered " + text);
}

void lf_chart_gesture(FrmKstMain& f, const ChartGesture& g) {
  if (g.on_chart()) {
    if (g.shift == 2) {
      if (auto c = graph_set_color(f.graph, 0)) f.pic_graph.back_color = *c;
    } else if (g.shift == 0 && g.button == 2) {
      graph_clear(f.graph);
    } else if (g.shift == 0 && g.button == 1) {
      double y = f.lb_xy_y;
      f.lb_xy.caption = cursor_readout(y, f.graph.txt_grlimits, f.session.channels);
    }
    return;
  }
  const int ch = g.channel;
  if (g.shift == 2) {
    if (auto c = graph_set_color(f.graph, ch)) f.lb_data[ch - 1].back_color = *c;
    return;
  }
  double mx = 0, mn = 0;
  if (g.shift == 4 || g.shift == 5) {
    const KstDisplayMode& m = f.modes[static_cast<size_t>(f.display_mode)];
    std::vector<std::string> r = lf_fields(get_reply("MX" + lf_ch(ch) + m.letter));
    lf_convert_fields(f, r);
    if (r.size() < 2 || !kw_is_numeric(r[0]) || !kw_is_numeric(r[1])) return;
    mx = lf_number(r[0]) * m.scale[ch - 1] + m.offset[ch - 1];
    mn = lf_number(r[1]) * m.scale[ch - 1] + m.offset[ch - 1];
  }
  auto limits =
      limits_gesture(f.graph.txt_grlimits[ch - 1], f.graph.txt_grlimits[ch + 2], g, mx, mn);
  if (!limits) return;
  f.graph.txt_grlimits[ch - 1] = limits->upper;
  txt_grlimits_change(f.graph, ch - 1);
  f.graph.txt_grlimits[ch + 2] = limits->lower;
  txt_grlimits_change(f.graph, ch + 2);
}

// ---- the commands' procedures ------------------------------------------------------------

void lf_cmd_next_display_mode(FrmKstMain& f, int32_t) {
  f.display_mode = f.technician ? (f.display_mode + 1) % 5 : 0;
  kw_setting_put("KST", "Settings", "Display Mode", std::to_string(f.display_mode));
  lf_apply_channel_labels(f);
}

// The power labels are the technician's: read only when they show.
void lf_power_labels(FrmKstMain& f) {
  if (f.technician) show_power_labels(f);
}

void lf_cmd_load_configuration(FrmKstMain& f, int32_t) {
  int32_t channels = f.session.channels;
  if (tm_file_command_load(channels) >= 0) {
    if (f.technician && tm_info_current_record().tm_type == kTmKst) pwr_suggest_target();
    refresh_channels(f, true);
    lf_power_labels(f);
  }
}

// After a setup form wrote to the instrument: the session read again, labels and units.
void lf_after_setup(FrmKstMain& f) {
  refresh_channels(f, true);
  lf_power_labels(f);
}

// 204: a new channel count takes a new start of the program, as after a flash reset.
void lf_cmd_technician_setup(FrmKstMain& f, int32_t) {
  const int16_t channels = get_si16("SD");
  if (!kst_setup_form()) return;
  lf_apply_adjustment_points(f, get_si16("TA"));
  lf_after_setup(f);
  if (get_si16("SD") != channels) {
    gib(std::string("Restart program due to change in the number of channels"), "OK", 0,
        "KST Setup");
    f.exit_requested = true;
  }
}

void lf_cmd_save_data_options(FrmKstMain& f, int32_t) {
  frm_data_dir_show();
  f.btn_cmd[0].tool_tip = "Save to " + dtdr_next_name(false);
}

void lf_cmd_save_data(FrmKstMain& f, int32_t) {
  const KstSession& s = f.session;
  std::string heading =
      dtdr_heading(s.channels, s.unit[0], s.unit[1], s.unit[2], s.temperature_unit);
  // One read at a time, in the heading's order: reads given as arguments of one call would
  // go out in whatever order the compiler evaluates them.
  std::string model = get_reply("UIA");
  std::string serial = get_reply("UIB");
  std::string shaft = get_reply("UID");
  std::string customer = get_reply("UIC");
  std::string identity =
      dtdr_identity(model, serial, shaft, customer, rs232_port_name(rs232_port()));
  dtdr_start_stop(heading, identity);
  f.btn_cmd[0].caption = dtdr_button_caption();
  f.btn_cmd[0].tool_tip = dtdr_button_tooltip();
}

void lf_cmd_expanded_display(FrmKstMain& f, int32_t command) {
  KstMenuEntry* e = kst_menu_entry(f, command);
  e->checked = !e->checked;
  refresh_channels(f, false);
}

void lf_cmd_pause(FrmKstMain& f, int32_t) {
  f.graph.paused = !f.graph.paused;
  f.btn_pause.caption = f.graph.paused ? "Resume Graphing" : "Pause Graphing";
}

// Every channel takes the same filter.
void lf_cmd_filter(FrmKstMain& f, int32_t command) {
  for (int ch = 1; ch <= f.session.channels; ++ch)
    rs232_send_ok("FL" + lf_ch(ch) + std::to_string(command - kMnFilterBase));
  lf_apply_filter_label(f);
}

void lf_cmd_cal(FrmKstMain&, int32_t command) {
  static const char* const kSignal[] = {"ASB", "ASA", "ASC"};
  rs232_send_ok(kSignal[command - kCmdCalPositive]);
}

// Served once; the end of the round spares this number, so it is cleared here.
void lf_cmd_resize(FrmKstMain& f, int32_t) {
  if (f.hooks.layout) f.hooks.layout();
  f.command = 0;
}

// ---- menus and the command table ---------------------------------------------------------

KstMenuEntry lf_entry(const std::string& caption, const std::string& shortcut = "") {
  KstMenuEntry e;
  e.caption = caption;
  e.shortcut = shortcut;
  return e;
}

KstMenu lf_menu(const std::string& name, const std::string& caption, int32_t base,
                const std::vector<std::pair<std::string, std::string>>& entries) {
  KstMenu m{name, caption, base, {}};
  for (auto& [text, key] : entries) m.entries.push_back(lf_entry(text, key));
  return m;
}
void lf_build_menus(FrmKstMain& f) {
  f.mn_file = lf_menu("mn_file", "File", kMnFileBase,
                      {{"Save Configuration...", ""},
                       {"Load Configuration...", ""},
                       {"-", ""},
                       {"Change Commport", ""},
                       {"Save Data Options...", ""},
                       {"Change KSTs RS485 ID", ""},
                       {"-", ""},
                       {"Write non-volatile memory", ""},
                       {"-", ""},
                       {"Exit", ""}});
  f.mn_setup = lf_menu("mn_setup", "Setup", kMnSetupBase,
                       {{"Analog Output Setup...", "Ctrl+A"},
                        {"Digital I/O Setup...", "Ctrl+D"},
                        {"Speed and Power Setup...", "Ctrl+S"},
                        {"Termination Resistor", ""},
                        {"Technician's Setup...", "Ctrl+T"},
                        {"-", ""},
                        {"Password Protect...", ""},
                        {"Password Change...", ""}});
  f.mn_adjustment = lf_menu("mn_adjustment", "Adjustment", kMnAdjustmentBase,
                            {{"Zero Adjustment...", ""},
                             {"Positive Adjustment...", ""},
                             {"Negative Adjustment...", ""},
                             {"Adjustment Point #3...", ""},
                             {"Adjustment Point #4...", ""},
                             {"-", ""},
                             {"Get Shunt Values...", ""},
                             {"Tech Adjustment Torque...", ""},
                             {"Tech Adjustment Speed and Power...", ""},
                             {"-", ""},
                             {"Analog Output Adjustment...", ""},
                             {"Analog Output Check...", ""}});
  f.mn_filter = lf_menu("mn_filter", "Filter", kMnFilterBase, {});
  f.mn_units = lf_menu("mn_units", "Units", kMnUnitsBase, {});
  f.mn_misc = lf_menu("mn_misc", "Misc", kMnMiscBase,
                      {{"Send Message...", "F7"},
                       {"Noise Test:A/D", "Ctrl+N"},
                       {"Noise Test:A/D x10", "Ctrl+B"},
                       {"Noise Test:lbf-in", "Ctrl+M"},
                       {"Noise:Filtered lbf-in", "Ctrl+L"},
                       {"Noise:Filtered lbfin x 10", "Ctrl+K"},
                       {"Noise:Histogram", "Ctrl+H"},
                       {"Noise:Histogramx", "Ctrl+G"},
                       {"Reset Flash...", ""},
                       {"Expanded display", "F2"}});
  f.mn_temperature = lf_menu("mn_temperature", "", kMnTemperatureBase,
                             {{"Zero Temperature Compensation...", ""},
                              {"Span Temperature Compensation...", ""},
                              {"Shunt Span Temperature Compensation...", ""},
                              {"Creep Compensation...", ""}});
  f.mn_pwr = lf_menu("mn_pwr", "", kMnPwrBase,
                     {{"Power Frequency vs URV", ""},
                      {"Power Duty vs URV", ""},
                      {"Power Frequency vs Noise", ""},
                      {"7 * 60-sec Filter vs Spread Test", ""},
                      {"(7 * 60-sec Filter vs Spread Test) x 10", ""}});
  f.mn_view = lf_menu("mn_view", "View", kMnViewBase,
                      {{"Info...", "F12"},
                       {"Real Time Info", "Shift+Ctrl+F12"},
                       {"More Info...", "Shift+F12"},
                       {"Channel Info", "Ctrl+F12"},
                       {"Check Configuration...", "F11"}});
}

// An entry whose command this build does not serve stays, greyed, and says so.
// The configuration audit: the boxes in the window, the texts (and the files asked for) in
// a scripted run. Reads only.
void lf_cmd_check_configuration(FrmKstMain& f, int32_t) {
  KstCheckRequest& c = f.check;
  if (!c.print) {
    c.failed = !tm_check_config_run(c.show_passes);
    return;
  }
  tm_check_config_audit();
  if (!c.baseline.empty()) {
    audit_baseline(c.baseline);
    ck_finish();
  }
  c.failed = ck_has_failures();
  c.print(ck_has_failures() ? ck_failures() : "", c.show_passes ? ck_passes() : "");
  if (!c.report.empty()) audit_report_write(c.report);
}

void lf_cmd_noise(FrmKstMain&, int32_t command) {
  noise_command(command);
}

void lf_mark_unavailable(FrmKstMain& f) {
  for (KstMenu* m : kst_menus(f)) {
    for (size_t i = 0; i < m->entries.size(); ++i) {
      KstMenuEntry& e = m->entries[i];
      if (e.separator() || kst_command_served(m->base + static_cast<int32_t>(i))) continue;
      e.enabled = false;
      e.tool_tip = kNotAvailable;
    }
  }
}

}  // namespace

// The commands in serving order: the first row whose range holds the number serves it.
// A row without a procedure (nullptr) is a command this build does not serve yet: it is
// logged "OOPS:" when it comes, and its menu entry is greyed "Not available in this
// build". A procedure that arrives goes into its own row here and nowhere else; that one
// row serves the command and makes its menu entry or button available.
const std::vector<KstCommandRow>& kst_command_table() {
  using F = FrmKstMain;
  static const std::vector<KstCommandRow> table = {
      {kCmdPwaPlus1, kCmdPwaMinus100, pwr_step_period},
      {kCmdResetMaxMin, kCmdResetMaxMin, [](F&, int32_t) { lf_reset_maxmin(); }},
      {kCmdResetMaxMinAndClear, kCmdResetMaxMinAndClear,
       [](F& f, int32_t) {
         lf_reset_maxmin();
         graph_clear(f.graph);
       }},
      {kCmdSweepFrequencyUrv, kCmdSweepDutyUrv,
       [](F&, int32_t command) {
         if (command == kCmdSweepFrequencyUrv)
           pwr_sweep_frequency_urv();
         else
           pwr_sweep_duty_urv();
       }},
      {kCmdPowerFrequencyNoise, kCmdPowerFrequencyNoise,
       [](F& f, int32_t) { pwr_sweep_frequency_noise(f); }},
      {kCmdFilterSpread, kCmdFilterSpreadX10,
       [](F&, int32_t command) { spread_test_command(command == kCmdFilterSpread ? 1 : 10); }},
      {kCmdClearChart, kCmdClearChart, [](F& f, int32_t) { graph_clear(f.graph); }},
      {kCmdNextDisplayMode, kCmdNextDisplayMode, lf_cmd_next_display_mode},
      {kCmdTechnicianEntry, kCmdTechnicianEntry, [](F& f, int32_t) { lf_technician_entry(f); }},
      {kCmdSaveConfiguration, kCmdSaveConfiguration, [](F&, int32_t) { tm_file_command_save(); }},
      {kCmdLoadConfiguration, kCmdLoadConfiguration, lf_cmd_load_configuration},
      {kCmdChangePort, kCmdChangePort, nullptr, true},
      {kCmdSaveDataOptions, kCmdSaveDataOptions, lf_cmd_save_data_options},
      {kCmdChangeId, kCmdChangeId,
       [](F& f, int32_t) { tm_info_change_id(kKstFamily, [&f] { refresh_channels(f, true); }); }},
      {kCmdWriteFlash, kCmdWriteFlash, [](F&, int32_t) { tm_info_flash_write(kTmInfoCurrent); }},
      {kCmdExit, kCmdExit, [](F& f, int32_t) { f.exit_requested = true; }},
      {kCmdPower135, kCmdPower135, [](F& f, int32_t) { pwr_frequency_dialog(f); }},
      {kCmdAnalogOutputSetup, kCmdAnalogOutputSetup, [](F&, int32_t) { ao_setup_command(); }},
      {kCmdDigitalIoSetup, kCmdDigitalIoSetup,
       [](F& f, int32_t) {
         ia_command();
         lf_apply_io_labels(f);
       }},
      {kCmdSpeedPowerSetup, kCmdSpeedPowerSetup,
       [](F& f, int32_t) {
         if (speed_power_setup_form()) lf_after_setup(f);
       }},
      {kCmdTermination, kCmdTermination, [](F& f, int32_t) { lf_flag_dialog(f); }},
      {kCmdTechnicianSetup, kCmdTechnicianSetup, lf_cmd_technician_setup},
      {kCmdPasswordProtect, kCmdPasswordProtect,
       [](F& f, int32_t) {
         password_protect_toggle();
         lf_apply_lock_state(f);
       }},
      {kCmdPasswordChange, kCmdPasswordChange,
       [](F& f, int32_t) {
         password_change();
         lf_apply_lock_state(f);
       }},
      {kCmdAdjustZero, kCmdAdjustPoint4, [](F& f, int32_t command) { adjust_point(f, command); }},
      {kCmdShuntValues, kCmdShuntValues, [](F& f, int32_t) { adjust_shunt(f, kShuntRunBoth); }},
      {kCmdTechAdjustTorque, kCmdTechAdjustTorque, [](F&, int32_t) { torque_data_form(); }},
      {kCmdTechAdjustSpeedPower, kCmdTechAdjustSpeedPower,
       [](F& f, int32_t) {
         if (speed_power_data_form()) lf_after_setup(f);
       }},
      {kCmdAnalogOutputAdjust, kCmdAnalogOutputAdjust, [](F&, int32_t) { ao_cal_command(); }},
      {kCmdAnalogOutputCheck, kCmdAnalogOutputCheck, [](F&, int32_t) { ao_check_command(); }},
      {kCmdSaveData, kCmdSaveData, lf_cmd_save_data},
      {kCmdTare, kCmdTare, [](F&, int32_t) { get_reply("TR*"); }},
      {kCmdClearTare, kCmdClearTare, [](F&, int32_t) { rs232_send_ok("TR*0"); }},
      {kCmdSendMessage, kCmdSendMessage,
       [](F& f, int32_t) {
         rs232_f7();
         // The technician may have changed anything: read the session again.
         refresh_channels(f, true);
         lf_power_labels(f);
         lf_apply_lock_state(f);
       }},
      {kCmdNoiseAd, kCmdNoiseAdRepeated, lf_cmd_noise},
      {kCmdNoiseLbfIn, kCmdNoiseLbfIn, lf_cmd_noise},
      {kCmdNoiseFiltered, kCmdNoiseFilteredRepeated, lf_cmd_noise},
      {kCmdHistogram, kCmdHistogramX,
       [](F&, int32_t command) { histogram_command(command == kCmdHistogramX); }},
      {kCmdResetFlash, kCmdResetFlash,
       [](F& f, int32_t) {
         if (flash_command_reset() && f.technician) pwr_suggest_target();
         refresh_channels(f, true);
       }},
      {kCmdExpandedDisplay, kCmdExpandedDisplay, lf_cmd_expanded_display},
      {kCmdInfo, kCmdChannelInfo,
       [](F&, int32_t command) {
         static constexpr int32_t kItems[] = {kReportIdentity, kReportRealTime, kReportMore,
                                              kReportChannels};
         tm_info_report_show(kItems[command - kCmdInfo]);
       }},
      {kCmdCheckConfiguration, kCmdCheckConfiguration, lf_cmd_check_configuration},
      {kCmdZeroTempComp, kCmdShuntSpanTempComp,
       [](F&, int32_t command) { temp_comp_form(command - kCmdZeroTempComp); }},
      {kCmdCreepComp, kCmdCreepComp, [](F&, int32_t) { creep_comp_form(); }},
      {kCmdPause, kCmdPause, lf_cmd_pause},
      {kMnFilterBase, kCmdFilterLast, lf_cmd_filter},
      {kCmdCalPositive, kCmdCalNegative, lf_cmd_cal},
      {kCmdShuntTestCtrl, kCmdShuntTestShiftCtrlAlt,
       [](F& f, int32_t command) {
         static constexpr int32_t kRuns[] = {kShuntRunPositive, kShuntRunNegative, kShuntRunBoth};
         adjust_shunt(f, kRuns[command - kCmdShuntTestCtrl]);
       }},
      {kMnUnitsBase, kCmdUnitsLast,
       [](F& f, int32_t command) { lf_units_command(f, command - kMnUnitsBase); }},
      {kCmdUrvUp, kCmdUrvDown, pwr_step_target},
      {kCmdResize, kCmdResize, lf_cmd_resize},
      {kCmdGestureFirst, kCmdGestureLast,
       [](F& f, int32_t command) {
         if (auto g = gesture_from_command(command)) lf_chart_gesture(f, *g);
       }},
  };
  return table;
}

// ---- start-up and shutdown ---------------------------------------------------------------

int splash_display_ms(int display_ms) {
  if (display_ms > 0) return std::min(display_ms, 10000);
  std::string text = kw_setting_seed("OVN-Shared", "Splash", "Display-Time-ms", "3000");
  if (!kw_is_numeric(text)) return 0;
  double v = lf_number(text);
  if (v < 0) return 0;
  return static_cast<int>(std::min(v, 10000.0));
}

std::vector<const KstMenu*> kst_menus(const FrmKstMain& f) {
  return {&f.mn_file, &f.mn_setup,       &f.mn_adjustment, &f.mn_filter, &f.mn_units,
          &f.mn_misc, &f.mn_temperature, &f.mn_pwr,        &f.mn_view};
}

std::vector<KstMenu*> kst_menus(FrmKstMain& f) {
  std::vector<KstMenu*> menus;
  for (const KstMenu* m : kst_menus(std::as_const(f))) menus.push_back(const_cast<KstMenu*>(m));
  return menus;
}

const KstMenuEntry* kst_menu_entry(const FrmKstMain& f, int32_t command) {
  for (const KstMenu* m : kst_menus(f)) {
    int32_t i = command - m->base;
    if (i >= 0 && i < static_cast<int32_t>(m->entries.size())) return &m->entries[i];
  }
  return nullptr;
}

KstMenuEntry* kst_menu_entry(FrmKstMain& f, int32_t command) {
  return const_cast<KstMenuEntry*>(kst_menu_entry(std::as_const(f), command));
}

void kst_load(FrmKstMain& f) {
  f.caption = "New Version...";
  debug_log(std::string(37, '*'));
  // A technician stays one from run to run: the store holds the accepted phrase's transform.
  f.technician = ovn_mode_is_technician(ovn_mode_current());
  std::string notice = kw_version_notice(kProgram);
  if (!notice.empty() && gib(notice, "Yes|No", kGibInfo, kProgram) == 1) process_exit(0);
  if (!command_line_has("-nologo")) {
    int ms = splash_display_ms(0);
    if (ms > 0 && f.hooks.show_splash) f.hooks.show_splash(ms);
  }
  f.caption = std::string(kProgram) + " v" + kw_version_text();
  kw_setting_put("OVN-Shared", kDirectoriesSection, std::string(kProgram) + " Application Path",
                 kw_program_dir());
  dtdr_init("KST");

  kw_locale_pin();
  f.graph.paused = false;
  f.text_period_ms = 200;
  f.display_mode = 0;
  const char* letters[] = {"E", "R", "C", "Y", "X"};
  for (int i = 0; i < 5; ++i) f.modes[static_cast<size_t>(i)].letter = letters[i];
  lf_build_menus(f);

  f.caption = "Units";
  units_init("TORQUE|SPEED|POWER|TEMPERATURE");
  for (int group = 0; group < 4; ++group) {
    if (group > 0) f.mn_units.entries.push_back(lf_entry("-"));
    for (int u = 0; u < units_count(group); ++u)
      f.mn_units.entries.push_back(lf_entry(units_name(u, group)));
  }

  f.caption = "Load";
  const char* cmd[] = {"Save Data", "Tare", "Clear Tare"};
  const char* cmd_tip[] = {"", "Tare ALL channels", "Clear the tare value for ALL channels"};
  const char* cal[] = {"+ Cal", "No Cal", "- Cal"};
  const char* cal_tip[] = {"Apply the positive cal signal on the torquemeter",
                           "Apply no cal signal on the torquemeter",
                           "Apply the negative cal signal on the torquemeter"};
  for (int i = 0; i < 3; ++i) {
    f.btn_cmd[i].caption = cmd[i];
    f.btn_cmd[i].tool_tip = cmd_tip[i];
    f.btn_cal[i].caption = cal[i];
    f.btn_cal[i].tool_tip = cal_tip[i];
  }
  lf_apply_channel_labels(f);
  for (int i = 0; i < 16; ++i)
    f.mn_filter.entries.push_back(lf_entry("Filter " + std::to_string(i)));
  f.lb_tech_pwm.tool_tip = "L/R Click:+/- PWM Freq  Shift+L/R:+/-10";
  f.lb_tech_rtr.tool_tip = "ANY+Click:De/Increase URV Target Voltage";
  f.lb_hz.tool_tip = "Ctrl+Alt+Shift+Click to toggle text/graphing rate";
  f.lb_sec_per_screen.caption = "sec/screen";
  f.btn_pause.caption = "Pause Graphing";
  f.btn_clrscrn.caption = "Clear Screen";
  f.btn_pwr135.caption = "135kHz";
  // The power frequency dialog behind it is not in this build.
  f.btn_pwr135.enabled = kst_command_served(kCmdPower135);
  if (!f.btn_pwr135.enabled) f.btn_pwr135.tool_tip = kNotAvailable;
  for (int i = 0; i < 8; ++i) f.sh_io_saved_color[i] = f.sh_io[i].back_color = f.window_color;

  kst_apply_technician(f, f.technician);

  const char* limit_tips[] = {
      "Shift:", "   Shift+Ctrl+Click:Center around 0   Shift+Click:Zoom In/Out",
      "  Alt+Click:Center around Max,Min", "Ctrl+Click:change color"};
  std::string tip;
  for (const char* t : limit_tips) tip += t;
  for (auto& t : f.txt_grlimits_tool_tip) t = tip;

  // The noise entries name the test's length and repetitions from the settings.
  for (size_t i : {1u, 2u, 4u, 5u}) {
    KstMenuEntry& e = f.mn_misc.entries[i];
    e.built_caption = e.caption;
    e.caption = noise_menu_caption(static_cast<int32_t>(i));
  }
  lf_mark_unavailable(f);

  f.caption = "Colors";
  f.lb_tech_rtr.back_color = f.lb_tech_pwm.back_color = f.window_color;
  f.lb_tech_rtr.visible = f.lb_tech_pwm.visible = f.technician;

  f.loaded = true;
  f.timer1_enabled = true;
}

bool kst_timer1(FrmKstMain& f) {
  f.timer1_enabled = false;
  bool again = main_run(f, false);
  f.exit_requested = false;
  rs232_set_exit_flag(false);
  if (f.hooks.flash_write)
    f.hooks.flash_write();
  else
    tm_info_flash_write(kTmInfoCurrent);
  if (f.hooks.auto_config_save)
    f.hooks.auto_config_save();
  else
    tm_file_session_end_save();
  if (!again) {
    f.exit_requested = true;
    rs232_set_exit_flag(true);
    graph_store_checkboxes(f.graph);
    dtdr_close();
    selcom_close();
    f.session.tm_type = kNoFamily;
    kw_locale_restore();
    f.unloaded = true;
    if (f.hooks.unload) f.hooks.unload();
    return false;
  }
  f.session.tm_type = kKstFamily;
  f.timer1_enabled = true;
  return true;
}

bool kst_query_unload(FrmKstMain& f) {
  if (f.exit_requested) return true;
  f.exit_requested = true;
  return false;
}

// ---- main loop ---------------------------------------------------------------------------

std::string kst_mode0_format(double full_scale, bool expanded) {
  if (std::fabs(full_scale) >= 10000000) return "0";
  return kw_sig_picture(full_scale, expanded ? 7 : 5, false);
}

double kst_line_limit_per_s(int32_t baud, int32_t request_bytes, int32_t reply_bytes) {
  int32_t bytes = request_bytes + reply_bytes;
  if (baud <= 0 || bytes <= 0) return 0;
  return baud / 10.0 / bytes;
}

std::string kst_firmware_notice(int stator, int rotor) {
  std::vector<std::string> lines;
  if (rotor == 0) {
    lines.push_back("Rotor not communicating with stator?");
  } else if (rotor < 37) {
    lines.push_back("Upgrade the rotor firmware to at least v37 (currently v" +
                    std::to_string(rotor) + ")");
  }
  if (stator < 148) {
    lines.push_back("The stator firmware should be upgraded to at least version 148.");
    lines.push_back("   Speed data does not work.");
  }
  if (stator < 147) {
    lines.push_back("The stator firmware should be upgraded to at least version 147.");
    lines.push_back("   RS485 communication does not work.");
  }
  if (stator < 145) {
    lines.push_back("The stator firmware should be upgraded to at least version 145.");
    lines.push_back("   Unexpected lock-ups might occur.");
  }
  if (stator < 83) {
    lines.push_back("The stator firmware NEEDS to be at least version 83.");
    lines.push_back("Save your configuration, upgrade to stator version 83,");
    lines.push_back("  reload your configuration, and then go through Setup->Technician's Setup");
  }
  if (stator < 81) {
    lines.push_back("The stator firmware NEEDS to at least version 81.");
    lines.push_back("      F11 results WILL BE wrong!!");
  }
  std::string text;
  for (size_t i = 0; i < lines.size(); ++i) text += (i ? kCrLf : "") + lines[i];
  return text;
}

void refresh_channels(FrmKstMain& f, bool reload) {
  if (reload) lf_read_session(f);
  // The filter entries name their cut-off; a family with fewer filters hides the rest.
  for (size_t i = 0; i < f.mn_filter.entries.size(); ++i) {
    KstMenuEntry& e = f.mn_filter.entries[i];
    double hz = tm_info_filter_frequency(static_cast<double>(i), kTmInfoCurrent);
    e.visible = hz >= 0;
    if (hz >= 0) e.caption = hz == 0 ? "No Filter" : kw_format(hz, "0.###") + " Hz";
  }
  const KstMenuEntry* expanded_entry = kst_menu_entry(std::as_const(f), kCmdExpandedDisplay);
  bool expanded = expanded_entry != nullptr && expanded_entry->checked;
  const KstSession& s = f.session;
  for (int i = 0; i < 3; ++i) {
    KstDisplayMode& e = f.modes[0];
    e.format[i] = kst_mode0_format(s.full_scale[i], expanded);
    e.unit[i] = s.unit[i];
    KstDisplayMode& r = f.modes[1];
    r.unit[i] = "Raw";
    KstDisplayMode& c = f.modes[2];
    c.scale[i] = 1.0 / 32768;
    c.format[i] = "0.000";
    c.unit[i] = "P4Tared";
    double divisor = s.full_scale[i] * 32768;
    c.tare_mult[i] = divisor == 0 ? 1 : s.uca / divisor;
    f.modes[3].unit[i] = "Hex16";
    f.modes[4].unit[i] = "Hex32";
  }
  lf_apply_channel_labels(f);
}

void kst_init_session(FrmKstMain& f) {
  f.graph.paused = false;
  f.graph.prev_elapsed_ms = 0;
  f.filt = {};
  f.command = 0;
  f.graph.initialising = true;

  f.caption = "Init TM...";
  if (f.hooks.open_port) f.hooks.open_port();
  lf_read_session(f);

  f.caption = "Init variables...";
  f.session.channels = std::clamp<int>(get_si16("SD"), 1, 3);
  lf_set_visible_channels(f);

  graph_read_settings(f.graph, f.session.full_scale);
  for (int i = 0; i < 3; ++i) f.lb_data[i].back_color = f.graph.chn[static_cast<size_t>(i)].color;

  if (f.technician) {
    show_power_labels(f);
  } else {
    (void)get_si16("PWa");  // the drive is read in any mode, shown in the technician's
    (void)get_si16("PWA");
  }

  std::string notice = kst_firmware_notice(f.session.stator_version, f.session.rotor_version);
  if (!notice.empty() && gib(notice + kCrLf + "Continue at your own risk.", "Abort|Continue",
                             kGibWarning, kProgram) == 0)
    process_exit(0);

  refresh_channels(f, true);
  get_si32("UCB");
  lf_apply_lock_state(f);

  noise_settings(kw_setting_seed("KST", "Settings", "Noise Test Samples", "") + ",10");
  if (f.technician) {
    int mode = lf_setting_int("KST", "Settings", "Display Mode", 0, -1, 99);
    f.display_mode = mode >= 0 && mode <= 2 ? mode : 0;
  }

  lf_apply_temperature_settings(f);
  apply_graph_scale(f.graph);
  lf_apply_channel_labels(f);
  lf_apply_adjustment_points(f, get_si16("TA"));
  lf_apply_io_labels(f);
  apply_graph_scale(f.graph);
  f.graph.initialising = false;

  lf_apply_filter_label(f);
  f.caption = "GO";
  graph_clear(f.graph);
  lf_power_labels(f);
  f.rounds = 0;
  if (f.hooks.session_ready) f.hooks.session_ready();
}

KstRoundEnd kst_round(FrmKstMain& f) {
  StripChart& g = f.graph;
  f.rounds += 1;
  graph_round_start(g);

  std::string reply = get_reply("D" + lf_mode_letter(f) + "*");
  // The line limit of the rate's tool tip is for a reply as the instrument sends it; an
  // empty one (Skip) says nothing about that.
  if (!reply.empty()) f.last_bytes = static_cast<int32_t>(reply.size()) + 1;
  std::vector<std::string> fields = lf_fields(reply);
  lf_convert_fields(f, fields);

  std::string row;
  for (size_t i = 1; i <= fields.size(); ++i) {
    const std::string& field = fields[i - 1];
    if (kw_is_numeric(field) && i < 4) {
      const KstDisplayMode& m = f.modes[static_cast<size_t>(f.display_mode)];
      size_t k = i - 1;
      f.prev[k] = f.cur[k];
      f.cur[k] = lf_number(field) * m.scale[k] + m.offset[k];
      row += "," + kw_format(f.cur[k], "");
      graph_pen(g, static_cast<int>(i), f.cur[k]);
      f.filt[k] += (f.cur[k] - f.filt[k]) / 16;
    } else if (!reply.empty() && reply[0] == '!') {
      debug_log("PROBLEM:" + reply + "  (length=" + std::to_string(reply.size()) + ")");
      row += ",??" + field + "??";
    }
  }
  if (!f.extra_field.empty()) row += "," + f.extra_field;
  f.last_row = row.empty() ? row : row.substr(1);
  // A round cut short by the end of the run measured nothing: no row, no readouts.
  bool ending = rs232_exit_flag();
  if (!ending && dtdr_save_row(f.last_row, 0)) f.extra_field.clear();

  graph_screen_end(g);
  if (!ending && g.next_text_ms <= g.elapsed_ms) kst_refresh_readouts(f);
  g.prev_elapsed_ms = g.elapsed_ms;
  if (f.hooks.round_end) f.hooks.round_end();

  if (f.command != 0 && !kst_serve_command(f, f.command)) return KstRoundEnd::Reopen;
  if (f.command != kCmdResize) f.command = 0;
  return f.exit_requested ? KstRoundEnd::Leave : KstRoundEnd::Next;
}

void kst_refresh_readouts(FrmKstMain& f) {
  StripChart& g = f.graph;
  for (int ch = 1; ch <= f.session.channels && !f.exit_requested; ++ch) {
    const KstDisplayMode& m = f.modes[static_cast<size_t>(f.display_mode)];
    size_t k = static_cast<size_t>(ch - 1);
    std::vector<std::string> r;
    for (;;) {
      std::string reply = get_reply("MX" + lf_ch(ch) + m.letter);
      r = lf_fields(reply);
      lf_convert_fields(f, r);
      if ((r.size() >= 2 && kw_is_numeric(r[0]) && kw_is_numeric(r[1])) || f.exit_requested) break;
      // An empty reply is the operator's Skip or the end of the run, and a closed port
      // answers at once without asking: asking again would never end.
      if (reply.empty() || rs232_exit_flag() || !rs232_is_open(rs232_port())) {
        r.clear();
        break;
      }
    }
    if (r.size() < 2) break;
    double mx = lf_number(r[0]) * m.scale[k] + m.offset[k];
    double mn = lf_number(r[1]) * m.scale[k] + m.offset[k];
    float tare = static_cast<float>(get_f64("DT" + lf_ch(ch) + m.letter) * m.tare_mult[k]);
    const std::string& fmt = m.format[k];
    f.lb_data[k].caption = kw_format(f.cur[k], fmt);
    std::string text =
        kw_format(mx, fmt) + " - " + kw_format(mn, fmt) + " = " + kw_format(mx - mn, fmt) + kCrLf;
    std::string tare_text = kw_format(tare, fmt);
    if (f.display_mode != 1) text += "Tare=" + tare_text;
    f.lb_mxmn[k].caption = text;
    if (ch == 1) f.btn_cmd[1].caption = std::string("Tare") + kCrLf + tare_text + " " + m.unit[k];
    f.lb_units[k].caption = m.unit[k];
  }
  f.caption = kst_window_caption(f);
  f.btn_cmd[0].caption = dtdr_button_caption();
  f.btn_cmd[0].tool_tip = dtdr_button_tooltip();
  f.lb_time_now.caption = kw_format_time(kw_now(), "yyyy-MM-dd hh:mm:ss");

  int32_t io = get_hex_si32("IO*", kRs232DefaultTimeout, true);
  for (int n = 0; n < 8; ++n)
    f.sh_io[n].back_color = (io >> n) & 1 ? kRgbGreen : f.sh_io_saved_color[n];

  if (f.technician) {
    kst_tech_status(f);
    f.btn_pwr135.visible = get_si16("PWA") != 444;
  } else {
    f.lb_temperature.visible = f.btn_pwr135.visible = true;
    const KstSession& s = f.session;
    double t = get_f32("TC") * s.temperature_scale + s.temperature_offset;
    std::string text = kw_format(t, "0.0");
    f.extra_field = text;
    f.lb_temperature.caption = text + " " + s.temperature_unit;
    f.lb_temperature.tool_tip =
        std::string("TEMPERATURE:") + kCrLf + text + " " + s.temperature_unit;
  }
  lf_show_cal_state(f);

  double span = g.elapsed_ms - g.next_text_ms + f.text_period_ms;
  if (span != 0) {
    double rate = f.rounds * 1000.0 / span;
    f.lb_hz.caption = kw_format(rate, "0.00") + " samples/sec";
    int32_t baud = rs232_get_baud();
    int32_t request = static_cast<int32_t>(rs232_id().size()) + 4;  // "DE*" and LF
    double limit = kst_line_limit_per_s(baud, request, f.last_bytes);
    std::string tip = "Ctrl+Alt+Shift+Click to toggle text/graphing rate";
    if (limit > 0)
      tip += std::string(kCrLf) + "Line limit at " + std::to_string(baud) +
             " baud: " + kw_format(limit, "0") + " samples/sec; achieved " +
             kw_format(rate / limit * 100, "0") + "%";
    f.lb_hz.tool_tip = tip;
  }
  f.rounds = 0;
  g.next_text_ms = g.elapsed_ms + f.text_period_ms;
  g.last_text_ms = g.elapsed_ms;
}

std::string kst_window_caption(const FrmKstMain& f) {
  std::string caption =
      std::string(kProgram) + " v" + kw_version_text() + "  " + rs232_port_name(rs232_port());
  if (!f.adjusting.empty()) caption += "  - ADJUSTING: " + f.adjusting;
  return caption;
}

void kst_apply_technician(FrmKstMain& f, bool technician) {
  f.technician = technician;
  f.lb_tech_pwm.visible = f.lb_tech_rtr.visible = technician;
  std::string tip = "Click=Get Data At Cursor  Right-Click=Clear Screen";
  if (technician)
    tip = std::string("Pink: Unregulated Voltage ") + "   Orange:Rotor Temperature (60 - 175 )" +
          "  Light Grey: Signal fidelity (0-100%)" + tip;
  f.pic_graph.tool_tip = tip + "  Ctrl+Click=change background color";
  // The compensation and rotor power entries of Misc, and the technician's own adjustments,
  // are for the technician only.
  for (KstMenu* m : {&f.mn_temperature, &f.mn_pwr})
    for (KstMenuEntry& e : m->entries) e.visible = technician;
  for (size_t i : {7u, 8u})
    if (i < f.mn_adjustment.entries.size()) f.mn_adjustment.entries[i].visible = technician;
  if (KstMenuEntry* e = kst_menu_entry(f, kCmdTechnicianSetup)) e->visible = technician;
  lf_apply_channel_labels(f);
}

bool kst_tech_status(FrmKstMain& f) {
  std::string reply = get_reply("RT");
  std::vector<std::string> r = lf_fields(reply);
  // Volt, Cal, Ask, rate, cksm, #, TmpR (hex), P0, raw, CC, IO, ChckSm %, WD %
  const size_t kFields = 13;
  if (r.size() < kFields) {
    debug_log("BAD RT:" + reply);
    return false;
  }
  double ce1a = get_f64("CE1A");
  std::string cf1a = get_reply("CF1A");
  std::string cca = get_reply("CCA");
  // P0 is the present value as a fraction of full scale times "UCA".
  double p0 = kw_safe_div(lf_number(r[7]) * ce1a, f.session.uca, 0);
  std::string volt = kw_format(lf_number(r[0]), "0.000V");
  std::string tmpr = "TmpR:0x" + r[6];
  f.tech_lines = {
      "Volt:" + volt,
      "Cal:" + r[1] + "  Ask:" + r[2] + "/" + r[3],
      "cksm:" + r[4] + "  #:" + r[5],
      tmpr,
      "P0=" + kw_format(p0, f.modes[0].format[0]) + " " + f.session.unit[0] + "  *raw:" + r[8],
      "Z:" + cf1a,
      "CC=" + cca + "/" + r[9],
      "IO:" + r[10],
      "ChckSm:" + r[11] + "%  WD:" + r[12] + "%"};
  std::string tip = "ANY+Click:De/Increase URV Target Voltage";
  for (const std::string& line : f.tech_lines) tip += kCrLf + line;
  f.lb_tech_rtr.tool_tip = tip;
  f.lb_temperature.tool_tip = tmpr;
  return true;
}

bool main_run(FrmKstMain& f, bool /*restart*/) {
  // A configuration load commits to flash and reads the session again when it is done.
  tm_file_use_session(tm_info_flash_write_family);
  kst_init_session(f);
  for (;;) {
    switch (kst_round(f)) {
      case KstRoundEnd::Next:
        break;
      case KstRoundEnd::Leave:
        return false;
      case KstRoundEnd::Reopen:
        return true;
    }
  }
}

// ---- commands ----------------------------------------------------------------------------

bool kst_serve_command(FrmKstMain& f, int32_t command) {
  const KstCommandRow* row = kst_command_find(kst_command_table(), command);
  if (row == nullptr || !row->served()) {
    debug_log("OOPS:" + std::to_string(command));
    return true;
  }
  if (row->reopens) return false;
  row->serve(f, command);
  return true;
}

// ---- event handlers ----------------------------------------------------------------------

void kst_on_menu(FrmKstMain& f, const KstMenu& menu, int index) {
  if (index < 0 || index >= static_cast<int>(menu.entries.size())) return;
  const KstMenuEntry& e = menu.entries[static_cast<size_t>(index)];
  if (e.separator() || !e.enabled) return;
  f.command = menu.base + index;
}

void kst_on_button(FrmKstMain& f, const std::string& name, int index, int button, int shift) {
  // Buttons act on the left button. The right one means something only on "No Cal" in
  // technician mode, where it picks a shunt test by the modifiers.
  if (button != 1) {
    if (name == "btn_cal" && index == 1 && button == 2 && f.technician)
      f.command = shift == 2   ? kCmdShuntTestCtrl
                  : shift == 6 ? kCmdShuntTestCtrlAlt
                  : shift == 7 ? kCmdShuntTestShiftCtrlAlt
                               : kCmdCalNone;
    return;
  }
  if (name == "btn_cmd") {
    f.command = kBtnCmdBase + index;
  } else if (name == "btn_cal") {
    f.command = kBtnCalBase + index;
  } else if (name == "btn_clrscrn") {
    f.command = kCmdClearChart;
  } else if (name == "btn_pause") {
    f.command = kCmdPause;
  } else if (name == "btn_pwr135") {
    if (f.btn_pwr135.enabled) f.command = kCmdPower135;
  }
}

void kst_on_mouse_down(FrmKstMain& f, const std::string& name, int index, int button, int shift,
                       double x, double y) {
  // The labels and boxes of the chart turn a press into a command by one table.
  static const std::pair<const char*, GestureSource> kSources[] = {
      {"lb_data", GestureSource::Data},
      {"txt_grlimits", GestureSource::Limits},
      {"pic_graph", GestureSource::Chart},
      {"lb_mxmn", GestureSource::MaxMin},
      {"lb_units", GestureSource::Units}};
  for (const auto& [control, source] : kSources) {
    if (name != control) continue;
    if (source == GestureSource::Chart) {
      f.lb_xy_x = x;
      f.lb_xy_y = y;
    }
    if (int32_t c = gesture_command(source, index, button, shift, f.technician)) f.command = c;
    return;
  }
  if (name == "lb_hz") {
    if (shift != 7) return;
    f.text_period_ms = text_period_toggle(f.text_period_ms, f.technician);
    f.lb_hz.back_color = text_period_color(f.text_period_ms, f.window_color);
    f.graph.next_text_ms = f.graph.last_text_ms;
  } else if (name == "lb_temperature") {
    if (shift == 7) rs232_set_relaxed(!rs232_relaxed());
  } else if (name == "lb_tech_pwm") {
    if (!f.technician) return;
    int mods = (shift & 1) + ((shift >> 1) & 1) + ((shift >> 2) & 1);
    int step = mods == 0 ? 0 : mods == 1 ? 2 : 4;
    f.command = (button == 1 ? kCmdPwaMinus1 : kCmdPwaPlus1) + step;
  } else if (name == "lb_tech_rtr") {
    if (f.technician) f.command = button == 1 ? kCmdUrvDown : kCmdUrvUp;
  }
}

void kst_on_resize(FrmKstMain& f) {
  f.command = kCmdResize;
}

}  // namespace ovn
