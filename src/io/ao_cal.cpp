#include "io/ao_cal.h"

#include <algorithm>
#include <cmath>

#include "foundation/debug_log.h"
#include "foundation/kw.h"
#include "link/rs232.h"

namespace ovn {

namespace {

const char kPins[] = "GAB";
constexpr double kStepBase = 21298.185072187087;  // as the instrument's makers have it
constexpr double kMaxCount = 65535;

std::string output_letter(int output) {
  return kw_letter_of(output);
}

std::string count_text(double count) {
  return std::to_string(std::lround(count));
}

void show_state(FrmAoCal& f) {
  GridForm& g = f.grid;
  for (int i = 0; i < 9; ++i)
    g.cells[static_cast<size_t>(i)][0].text = i == 3 * f.cur_output + f.cur_point ? "[X]" : "[ ]";
  g.info = f.lb_info;
}

}  // namespace

std::string ao_cal_point_caption(int index) {
  static const char* const kPoints[] = {"+10 V", "0 V", "-10 V"};
  if (index < 0 || index > 8) return "";
  return std::string("Pin ") + kPins[index / 3] + ":" + kPoints[index % 3];
}

std::string ao_cal_message(int index) {
  return "AO" + kw_letter_of(12 + index);
}

double ao_cal_step_size(int label) {
  return kStepBase / std::pow(10.0, label + 1);
}

FrmAoCal ao_cal_load() {
  FrmAoCal f;
  for (int i = 0; i < 9; ++i) f.saved_counts[static_cast<size_t>(i)] = get_reply(ao_cal_message(i));
  GridForm& g = f.grid;
  g.title = "Adjustment";
  g.corner = "AnaOut";
  g.column_labels = {"Point"};
  for (int k = 1; k < kAoCalSteps; ++k) g.column_labels.push_back("");
  g.cells.assign(10, std::vector<GridCell>(kAoCalSteps));
  for (int i = 0; i < 9; ++i) {
    g.row_labels.push_back(ao_cal_point_caption(i));
    auto& row = g.cells[static_cast<size_t>(i)];
    row[0].button = true;
    for (int k = 1; k < kAoCalSteps; ++k) row[static_cast<size_t>(k)].visible = false;
  }
  g.row_labels.push_back(std::string("Right-Click to increase,") +
                         " Left-Click to decrease output voltage");
  for (int k = 0; k < kAoCalSteps; ++k) {
    GridCell& cell = g.cells[9][static_cast<size_t>(k)];
    cell.button = true;
    cell.text = kw_format(ao_cal_step_size(k), "0.###");
  }
  g.buttons = "Exit|Abort";
  f.lb_info = "Choose a point, then step it until the voltmeter reads its voltage";
  show_state(f);
  return f;
}

void ao_cal_choose(FrmAoCal& f, int index) {
  if (index < 0 || index > 8) return;
  f.cur_output = index / 3;
  f.cur_point = index % 3;
  const double count = get_f64(ao_cal_message(index));
  const std::string message = "@O" + output_letter(f.cur_output) + count_text(count);
  rs232_send_ok(message);
  f.lb_info = "When chosen, Analog output " + std::to_string(f.cur_output + 1) + " should be at " +
              ao_cal_point_caption(index).substr(6) + " (count " + count_text(count) + ")";
  debug_log("MSG=" + message);
  show_state(f);
}

void ao_cal_step(FrmAoCal& f, int label, int mouse) {
  if (f.cur_output < 0) {
    debug_log("OOPS");
    return;
  }
  const int index = 3 * f.cur_output + f.cur_point;
  const std::string message = ao_cal_message(index);
  double step = ao_cal_step_size(label);
  if (mouse == 1) step = -step;
  const double value = std::clamp(get_f64(message) + step, 0.0, kMaxCount);
  const std::string force = "@O" + output_letter(f.cur_output);
  debug_log("VAL=" + kw_format(value, "") + "   INC=" + kw_format(step, "") + " " + force + "=" +
            count_text(value));
  rs232_send_ok(message + kw_format(value, ""));
  rs232_send_ok(force + count_text(value));
  f.lb_info = ao_cal_point_caption(index) + " count " + get_reply(message);
  debug_log("   INFO-Caption=" + f.lb_info);
  show_state(f);
}

void ao_cal_abort(FrmAoCal& f) {
  for (int i = 0; i < 9; ++i)
    rs232_send_ok(ao_cal_message(i) + f.saved_counts[static_cast<size_t>(i)]);
}

void ao_end_override() {
  for (int o = 0; o < 3; ++o) rs232_send_ok("@O" + output_letter(o));
}

void ao_cal_command() {
  if (gib(std::string("This adjustment is only for the voltage drop of long output wires:") +
              "\r\nthe outputs were adjusted at the factory.",
          "ABORT|OK, I really want to do this.", kGibWarning, "Adjustment") != 1)
    return;
  FrmAoCal f = ao_cal_load();
  GridForm& g = f.grid;
  g.click = [&f](int row, int column, int mouse) {
    if (row < 9)
      ao_cal_choose(f, row);
    else
      ao_cal_step(f, column, mouse);
  };
  // A script names a point by its caption, and steps with "step +N" or "step -N".
  g.answer = [&f](const std::string& line) {
    for (int i = 0; i < 9; ++i)
      if (kw_justify(line, 0, "") == ao_cal_point_caption(i)) {
        ao_cal_choose(f, i);
        return true;
      }
    if (line.rfind("step ", 0) != 0 || line.size() < 7) return false;
    const int label = line[6] - '0';
    if ((line[5] != '+' && line[5] != '-') || label < 0 || label >= kAoCalSteps) return false;
    ao_cal_step(f, label, line[5] == '-' ? 1 : 2);
    return true;
  };
  g.close = [&f](int index) {
    if (index == 1) ao_cal_abort(f);
    ao_end_override();
    return true;
  };
  grid_form(g);
}

double ao_check_count(const std::array<double, 3>& counts, double percent) {
  const double p = std::clamp(percent, -100.0, 100.0) / 100;
  return p >= 0 ? counts[1] + p * (counts[0] - counts[1])
                : counts[1] + -p * (counts[2] - counts[1]);
}

void ao_check_command() {
  std::array<std::array<double, 3>, 3> counts{};
  GridForm g;
  g.title = "ANAOUT Verification";
  g.corner = "AnaOut";
  g.column_labels = {"Percent of 10 V", "Count"};
  for (int o = 0; o < 3; ++o) {
    for (int p = 0; p < 3; ++p)
      counts[static_cast<size_t>(o)][static_cast<size_t>(p)] = get_f64(ao_cal_message(3 * o + p));
    g.row_labels.push_back(std::string("Pin ") + kPins[o] + " (-10 V .. 0 V .. +10 V)");
    GridCell slider;
    slider.text = "0";
    slider.slider = true;
    slider.minimum = -100;
    slider.maximum = 100;
    GridCell count;
    count.text = count_text(counts[static_cast<size_t>(o)][1]);
    count.enabled = false;
    g.cells.push_back({slider, count});
  }
  g.buttons = "Exit";
  g.info = "Move a slider: its output goes to that share of 10 V";
  g.edit = [&g, &counts](int row, int column, const std::string& text) {
    if (row < 0 || row > 2 || column != 0 || !kw_is_numeric(text)) return;
    int stop = 0;
    const double c = ao_check_count(counts[static_cast<size_t>(row)], kw_parse_double(text, stop));
    rs232_send_ok("@O" + output_letter(row) + count_text(c));
    g.cells[static_cast<size_t>(row)][0].text = text;
    g.cells[static_cast<size_t>(row)][1].text = count_text(c);
  };
  g.close = [](int) {
    ao_end_override();
    return true;
  };
  grid_form(g);
}

}  // namespace ovn
