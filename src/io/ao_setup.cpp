#include "io/ao_setup.h"

#include <cmath>

#include "foundation/kw.h"
#include "instrument/family.h"
#include "instrument/tm_info.h"
#include "link/rs232.h"

namespace ovn {

namespace {

const char kCrLf[] = "\r\n";
constexpr std::array<const char*, 3> kPins = {"Pin G", "Pin A", "Pin B"};
// The labels of the columns for the errors: channel, then the voltages of the positive
// side, then of the negative side (the mirrored voltages).
constexpr std::array<const char*, 7> kLabels = {
    "Channel driving",  "Volts at 0 Input",   "Volts at +FS Input", "Volts at +Shunt",
    "Volts at 0 Input", "Volts at -FS Input", "Volts at -Shunt"};
constexpr double kLimitV = 15;

std::string ao_letter(int output, int field) {
  return "AO" + kw_letter_of(4 * output + field);
}

// The shunt acts on the torque only: its voltage means nothing for another channel.
bool field_enabled(const FrmAoSetup& f, int output, int field) {
  return field != 2 || f.channel[static_cast<size_t>(output)] == 0;
}

void lay_out(FrmAoSetup& f) {
  GridForm& g = f.grid;
  g.title = "Analog Output Setup";
  g.corner = "Analog Output";
  g.column_labels = {kLabels[0], kLabels[1], kLabels[2], kLabels[3]};
  g.row_labels.assign(kPins.begin(), kPins.end());
  g.cells.assign(3, std::vector<GridCell>(4));
  for (int o = 0; o < 3; ++o) {
    auto& row = g.cells[static_cast<size_t>(o)];
    row[0].text = kAoChannels[static_cast<size_t>(f.channel[static_cast<size_t>(o)])];
    row[0].choices.assign(kAoChannels.begin(), kAoChannels.end());
    for (int k = 0; k < 3; ++k) {
      GridCell& cell = row[static_cast<size_t>(k) + 1];
      cell.text = f.txt_input[static_cast<size_t>(o)][static_cast<size_t>(k)];
      cell.enabled = !f.locked && field_enabled(f, o, k);
    }
    row[0].enabled = !f.locked;
  }
  g.info = f.lb_info;
  g.buttons = "OK|Cancel";
}

}  // namespace

FrmAoSetup ao_setup_load() {
  FrmAoSetup f;
  f.model = get_reply("UIA");
  f.locked = get_reply("PS") == "1";
  for (int o = 0; o < 3; ++o) {
    const int ch = get_si16(ao_letter(o, 0));
    f.channel[static_cast<size_t>(o)] = ch >= 0 && ch <= 2 ? ch : 0;
    for (int k = 0; k < 3; ++k)
      f.txt_input[static_cast<size_t>(o)][static_cast<size_t>(k)] = get_reply(ao_letter(o, k + 1));
  }
  f.lb_info = f.locked ? "The instrument is password protected: nothing can be changed here"
                       : "Volts at full scale and with the shunt; the negative side mirrors them";
  lay_out(f);
  return f;
}

std::string ao_setup_errors(const FrmAoSetup& f, bool& only_mirrored) {
  std::string numeric, range;
  only_mirrored = true;
  for (size_t o = 0; o < 3; ++o)
    for (size_t k = 0; k < 3; ++k)
      if (!kw_is_numeric(f.txt_input[o][k]))
        numeric += std::string(kLabels[k + 1]) + " for Analog Output" + std::to_string(o + 1) +
                   " should be numeric" + kCrLf;
  if (!numeric.empty()) {
    only_mirrored = false;
    return numeric;
  }
  auto value = [&f](int o, int k) {
    int stop = 0;
    return kw_parse_double(f.txt_input[static_cast<size_t>(o)][static_cast<size_t>(k)], stop);
  };
  auto breach = [&range](const char* label, int o, double v) {
    range += std::string(label) + " for Analog Output " + std::to_string(o + 1) + " (" +
             kw_format(v, "") + ") should be in the range of -" + kw_format(kLimitV, "") + " to " +
             kw_format(kLimitV, "") + " Volts" + kCrLf;
  };
  for (int o = 0; o < 3; ++o) {
    const double v0 = value(o, 0);
    for (int k = 0; k < 3; ++k) {
      if (!field_enabled(f, o, k)) continue;
      // The zero voltage is itself; a span column gives its voltage at 100 % of the input.
      const double v = value(o, k);
      const double mirrored = 2 * v0 - v;
      if (std::fabs(v) > kLimitV) {
        breach(kLabels[static_cast<size_t>(k) + 1], o, v);
        only_mirrored = false;
      } else if (k > 0 && std::fabs(mirrored) > kLimitV) {
        breach(kLabels[static_cast<size_t>(k) + 4], o, mirrored);
      }
    }
  }
  return range;
}

void ao_setup_send(const FrmAoSetup& f) {
  for (int o = 0; o < 3; ++o) {
    rs232_send_ok(ao_letter(o, 0) + std::to_string(f.channel[static_cast<size_t>(o)]));
    for (int k = 0; k < 3; ++k) {
      int stop = 0;
      const double v =
          kw_parse_double(f.txt_input[static_cast<size_t>(o)][static_cast<size_t>(k)], stop);
      rs232_send_ok(ao_letter(o, k + 1) + kw_format(v, ""));
    }
  }
}

bool ao_setup_ok(FrmAoSetup& f) {
  if (f.locked) return true;
  bool only_mirrored = false;
  const std::string errors = ao_setup_errors(f, only_mirrored);
  if (!errors.empty() && gib(errors, only_mirrored ? "Back|I'm sure, Continue" : "Back", 0,
                             "Analog Output Setup", "Courier New") != 1)
    return false;
  ao_setup_send(f);
  return true;
}

namespace {

struct Range {
  const char* name;
  double v0, fs;
};
constexpr std::array<Range, 4> kRangeValues = {
    {{"0", 0, 0}, {"10V", 0, 10}, {"5V", 0, 5}, {"5", 5, 10}}};

double field(const FrmAoSetup& f, int output, int k) {
  int stop = 0;
  return kw_parse_double(f.txt_input[static_cast<size_t>(output)][static_cast<size_t>(k)], stop);
}

// The short form's grid from the numbers: channel, range and the two options.
void lay_out_short(FrmAoSetup& f) {
  GridForm& g = f.grid;
  g.title = "Analog Output Setup";
  g.corner = "Analog Output";
  g.column_labels = {"Channel driving", "Volts", "Inverted Polarity", "20% FS"};
  g.row_labels.assign(kPins.begin(), kPins.end());
  g.cells.assign(3, std::vector<GridCell>(4));
  for (int o = 0; o < 3; ++o) {
    auto& row = g.cells[static_cast<size_t>(o)];
    bool inverted = false, fifth = false;
    row[0].text = kAoChannels[static_cast<size_t>(f.channel[static_cast<size_t>(o)])];
    row[0].choices.assign(kAoChannels.begin(), kAoChannels.end());
    row[1].text = ao_setuq_range(f, o, inverted, fifth);
    row[1].choices.assign(kAoRanges.begin(), kAoRanges.end());
    row[2].text = inverted ? "Yes" : "No";
    row[3].text = fifth ? "Yes" : "No";
    row[2].choices = row[3].choices = {"No", "Yes"};
    for (GridCell& cell : row) cell.enabled = !f.locked;
  }
  g.info = f.lb_info;
  g.buttons = "OK|Cancel";
}

}  // namespace

void ao_setuq_apply(FrmAoSetup& f, int output, const std::string& range, bool inverted,
                    bool fifth) {
  for (const Range& r : kRangeValues) {
    if (range != r.name) continue;
    const double fs = inverted ? 2 * r.v0 - r.fs : r.fs;
    const double shunt = fifth ? r.v0 + (fs - r.v0) / 5 : fs;
    auto& t = f.txt_input[static_cast<size_t>(output)];
    t = {kw_format(r.v0, ""), kw_format(fs, ""), kw_format(shunt, "")};
  }
}

std::string ao_setuq_range(const FrmAoSetup& f, int output, bool& inverted, bool& fifth) {
  const double v0 = field(f, output, 0), fs = field(f, output, 1), shunt = field(f, output, 2);
  for (const Range& r : kRangeValues) {
    for (const bool inv : {false, true}) {
      const double want = inv ? 2 * r.v0 - r.fs : r.fs;
      if (v0 != r.v0 || fs != want || (inv && r.fs == r.v0)) continue;
      for (const bool fif : {false, true}) {
        if (shunt != (fif ? r.v0 + (want - r.v0) / 5 : want)) continue;
        inverted = inv;
        fifth = fif;
        return r.name;
      }
    }
  }
  inverted = fifth = false;
  return "other";
}

void ao_setup_command() {
  FrmAoSetup f = ao_setup_load();
  if (tm_type(kTmInfoCurrent) != kTmKst) {
    lay_out_short(f);
    f.grid.edit = [&f](int row, int column, const std::string& text) {
      if (row < 0 || row > 2 || column < 0 || column > 3) return;
      auto& cells = f.grid.cells[static_cast<size_t>(row)];
      cells[static_cast<size_t>(column)].text = text;
      for (size_t c = 0; c < kAoChannels.size(); ++c)
        if (cells[0].text == kAoChannels[c])
          f.channel[static_cast<size_t>(row)] = static_cast<int>(c);
      ao_setuq_apply(f, row, cells[1].text, cells[2].text == "Yes", cells[3].text == "Yes");
      lay_out_short(f);
    };
    f.grid.close = [&f](int index) { return index != 0 || ao_setup_ok(f); };
    grid_form(f.grid);
    return;
  }
  GridForm& g = f.grid;
  g.edit = [&f](int row, int column, const std::string& text) {
    if (row < 0 || row > 2 || column < 0 || column > 3) return;
    const auto o = static_cast<size_t>(row);
    if (column == 0) {
      for (size_t c = 0; c < kAoChannels.size(); ++c)
        if (kw_justify(text, 0, "") == kAoChannels[c]) f.channel[o] = static_cast<int>(c);
    } else {
      f.txt_input[o][static_cast<size_t>(column - 1)] = text;
    }
    lay_out(f);  // the cells anew: the shunt field follows the channel
  };
  g.close = [&f](int index) { return index != 0 || ao_setup_ok(f); };
  grid_form(g);
}

}  // namespace ovn
