#include "io/io_lines.h"

#include "foundation/kw.h"
#include "instrument/family.h"
#include "instrument/tm_info.h"
#include "link/rs232.h"

namespace ovn {

namespace {

constexpr int32_t kFirstOutputCode = 16;
constexpr int32_t kTempOk = 19;          // no limits
constexpr int32_t kRgbCyan = 0xFFFF00;   // "Hi": RGB(0,255,255) as 0xBBGGRR
constexpr int32_t kRgbGreen = 0x00FF00;  // "Lo"
constexpr int32_t kRgbRed = 0x0000FF;
constexpr int32_t kRgbWhite = 0xFFFFFF;
const char kHighLimit[] = "High Limit (%FS)";
const char kLowLimit[] = "Low Limit (%FS)";

std::vector<std::string> names_of(int32_t family) {
  if (family == kTmRdx)
    return kw_split(std::string("None|+Cal|-Cal|Reset-Maxmin") +
                        "|Tare|Clear-Tare|Output-Max|Output-Min" + "|Data-Ok|Freq-Output|Low-Range",
                    "|");
  if (family == kTmKslw || family == kTmKst)
    return kw_split(std::string("None|+Cal|-Cal|Tare|Clear-Tare") +
                        "|Reset-Maxmin|Max-Out|Min-Out|Hold|Held-Out|||||||" +
                        "Torque-Ok|Speed-Ok|Power-Ok|Temp-Ok",
                    "|");
  return {};
}

// The non-empty names below code 16 and from 16 up.
void counts_of(int32_t family, int32_t& low, int32_t& high) {
  low = high = 0;
  for (int32_t k = 0; k < 32; ++k)
    if (!tm_io_function_name(k, family).empty()) ++(k < kFirstOutputCode ? low : high);
}

std::string io_message(int line) {
  return "IO" + kw_letter_of(line);
}
std::string il_message(int k) {
  return "IL" + kw_letter_of(k);
}

// The limit field k (0 high, 1 low) of a line, in txt_limits.
std::string& limit_of(FrmIa& f, int line, int k) {
  return f.txt_limits[static_cast<size_t>(line) * 2 + static_cast<size_t>(k)];
}

bool numeric(const std::string& text) {
  return kw_is_numeric(text);
}

void lay_out(FrmIa& f) {
  GridForm& g = f.grid;
  g.title = "Digital I/O Setup";
  g.corner = " Pin H/h       ";
  g.row_labels.clear();
  for (int i = 0; i < f.line_count; ++i)
    g.row_labels.push_back("Pin " + tm_io_pin_letter(i, f.family));
  g.column_labels.clear();
  for (int c = 0; c < f.function_count; ++c)
    g.column_labels.push_back(tm_io_function_name(io_code_of_column(c, f.family), f.family));
  g.column_labels.push_back(kHighLimit);
  g.column_labels.push_back(kLowLimit);
  g.cells.assign(static_cast<size_t>(f.line_count),
                 std::vector<GridCell>(static_cast<size_t>(f.function_count) + 2));
  for (auto& row : g.cells)
    for (int c = 0; c < f.function_count; ++c) row[static_cast<size_t>(c)].button = true;
  g.buttons = f.read_only ? "OK|Cancel" : "OK|Cancel|Default";
  g.info = f.read_only ? "The instrument is password protected: OK, Cancel and Default send nothing"
                       : "A click takes effect at once; a second click on it turns Hi and Lo";
  for (int i = 0; i < f.line_count; ++i) ia_repaint(f, i);
}

}  // namespace

std::string tm_io_function_name(int32_t code, int32_t family) {
  const std::vector<std::string> names = names_of(family);
  return code >= 0 && static_cast<size_t>(code) < names.size() ? names[static_cast<size_t>(code)]
                                                               : "";
}

std::string tm_io_pin_letter(int32_t line, int32_t family) {
  const std::string pins = family == kTmRdx                        ? "ABEFGHC"
                           : family == kTmKslw || family == kTmKst ? "GHBJFCAK"
                                                                   : "";
  return line >= 0 && static_cast<size_t>(line) < pins.size()
             ? std::string(1, pins[static_cast<size_t>(line)])
             : "";
}

int32_t io_code_of_column(int32_t column, int32_t family) {
  int32_t low = 0, high = 0;
  counts_of(family, low, high);
  if (column < 0) return -1;
  if (column < low) return column;
  if (column < low + high) return column - low + kFirstOutputCode;
  return -1;
}

int32_t io_column_of_code(int32_t code, int32_t family) {
  int32_t low = 0, high = 0;
  counts_of(family, low, high);
  if (code >= 0 && code < low) return code;
  if (code - kFirstOutputCode >= 0 && code - kFirstOutputCode < high)
    return code - kFirstOutputCode + low;
  return -1;
}

int32_t io_function_count(int32_t family) {
  int32_t low = 0, high = 0;
  counts_of(family, low, high);
  return low + high;
}

void ia_repaint(FrmIa& f, int line) {
  if (line < 0 || line >= f.line_count) return;
  const bool high = ((get_si32("IOI") >> line) & 1) != 0;
  const int32_t code = get_si16(io_message(line));
  const int32_t column = io_column_of_code(code, f.family);
  auto& row = f.grid.cells[static_cast<size_t>(line)];
  for (int c = 0; c < f.function_count; ++c) {
    GridCell& cell = row[static_cast<size_t>(c)];
    cell.text = c == column ? (high ? "Hi" : "Lo") : "";
    cell.back_color = c == column ? (high ? kRgbCyan : kRgbGreen) : -1;
  }
  // Output functions but Temp-Ok have limits.
  const bool limits = code >= kFirstOutputCode && code != kTempOk;
  for (int k = 0; k < 2; ++k) {
    GridCell& cell = row[static_cast<size_t>(f.function_count) + static_cast<size_t>(k)];
    cell.text = limit_of(f, line, k);
    cell.visible = limits;
    cell.back_color = numeric(cell.text) ? kRgbWhite : kRgbRed;
  }
}

FrmIa ia_load(int32_t family) {
  FrmIa f;
  f.family = family;
  f.line_count = family == kTmRdx ? 7 : (family == kTmKslw || family == kTmKst) ? 8 : 0;
  f.function_count = io_function_count(family);
  f.read_only = get_reply("PS") == "1";
  for (int i = 0; i < f.line_count; ++i)
    f.saved_messages.push_back(io_message(i) + get_reply(io_message(i)));
  f.saved_messages.push_back("IOI" + get_reply("IOI"));
  for (int k = 0; k < 2 * f.line_count; ++k) {
    const std::string limit = get_reply(il_message(k));
    f.saved_messages.push_back(il_message(k) + limit);
    int stop = 0;
    f.txt_limits.push_back(kw_format(kw_parse_double(limit, stop) * 100, "0.00"));
  }
  lay_out(f);
  return f;
}

void ia_click(FrmIa& f, int line, int column) {
  if (line < 0 || line >= f.line_count) return;
  const int32_t code = io_code_of_column(column, f.family);
  if (code < 0) return;
  const int32_t present = get_si16(io_message(line));
  rs232_send_ok(io_message(line) + std::to_string(code));
  const int32_t bit = 1 << line;
  int32_t mask = get_si32("IOI");
  mask = present != code ? (mask & ~bit) : (mask ^ bit);
  rs232_send_ok("IOI" + std::to_string(mask));
  ia_repaint(f, line);
}

void ia_default(FrmIa& f) {
  if (f.read_only) return;
  for (const char* m : {"IOA19", "IOB16", "IOC3", "IOD17", "IOE5", "IOF4", "IOG1", "IOH2", "IOI0"})
    rs232_send_ok(m);
  for (int i = 0; i < 8; ++i) {
    if (2 * i + 1 < static_cast<int>(f.txt_limits.size())) {
      limit_of(f, i, 0) = "110";
      limit_of(f, i, 1) = "-110";
    }
    rs232_send_ok(il_message(2 * i) + "1.1");
    rs232_send_ok(il_message(2 * i + 1) + "-1.1");
    ia_repaint(f, i);
  }
}

void ia_ok(FrmIa& f) {
  if (f.read_only) return;
  for (size_t k = 0; k < f.txt_limits.size(); ++k) {
    if (!numeric(f.txt_limits[k])) continue;  // red: the instrument keeps its own
    int stop = 0;
    rs232_send_ok(il_message(static_cast<int>(k)) +
                  kw_format(kw_parse_double(f.txt_limits[k], stop) / 100, ""));
  }
}

void ia_cancel(FrmIa& f) {
  if (f.read_only) return;
  for (const std::string& m : f.saved_messages) {
    if (m.empty()) break;
    rs232_send_ok(m);
  }
}

void ia_command() {
  FrmIa f = ia_load(tm_type(kTmInfoCurrent));
  GridForm& g = f.grid;
  g.click = [&f](int row, int column, int) { ia_click(f, row, column); };
  g.edit = [&f](int row, int column, const std::string& text) {
    const int k = column - f.function_count;
    if (row < 0 || row >= f.line_count || k < 0 || k > 1) return;
    limit_of(f, row, k) = text;
    ia_repaint(f, row);
  };
  g.close = [&f](int index) {
    if (index == 2) {
      ia_default(f);
      return false;
    }
    if (index == 0)
      ia_ok(f);
    else
      ia_cancel(f);
    return true;
  };
  // A script's "Pin G/Tare=high|low|off": clicks until the cell says so.
  g.answer = [&f](const std::string& line) {
    const size_t eq = line.rfind('=');
    int row = -1, column = -1;
    if (eq == std::string::npos || !grid_form_find(f.grid, line.substr(0, eq), row, column) ||
        column >= f.function_count)
      return false;
    const std::string want = kw_justify(line.substr(eq + 1), 0, "");
    if (want == "off") {
      ia_click(f, row, io_column_of_code(0, f.family));
      return true;
    }
    if (want != "high" && want != "low") return false;
    const std::string caption = want == "high" ? "Hi" : "Lo";
    for (int tries = 0;
         tries < 2 &&
         f.grid.cells[static_cast<size_t>(row)][static_cast<size_t>(column)].text != caption;
         ++tries)
      ia_click(f, row, column);
    return true;
  };
  grid_form(g);
}

}  // namespace ovn
