#include "foundation/operator.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "foundation/debug_log.h"
#include "foundation/operator_internal.h"
#include "foundation/platform.h"

namespace ovn {

namespace {

const char* const kDefaultFont = "Courier New";

struct GibRecord {
  GibBox box;
  bool open = false;  // a non-modal box is showing
  int16_t choice = 0;
  bool title_empty = true;
};

struct OperatorState {
  Operator* op = nullptr;
  GibRecord gib;
  UserInputForm input;
  DisplayDataRecord display;
};

OperatorState& state() {
  static OperatorState s;
  return s;
}

std::string trim_blanks(const std::string& text) {
  size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return "";
  size_t last = text.find_last_not_of(' ');
  return text.substr(first, last - first + 1);
}

}  // namespace

// ---- shared with the other operator files ----------------------------------------------

DisplayDataRecord& op_display_data_record() {
  return state().display;
}

Operator& op_required(const char* service, const std::string& what) {
  Operator* op = state().op;
  if (op == nullptr)
    fatal_error(std::string(service) + " called with no operator installed: " + what);
  return *op;
}

// ---- gib -------------------------------------------------------------------------------

GibButtonList gmb_parse_buttons(const std::string& list) {
  GibButtonList out;
  out.rows.push_back({});
  if (list.empty()) return out;
  int bang_default = -1;
  int ok_default = -1;
  std::vector<std::string> entries = kw_split(list, "|");
  for (size_t k = 0; k < entries.size(); ++k) {
    std::string entry = entries[k];
    if (k > 0 && entry.empty()) break;
    if (out.buttons.size() == kGibMaxButtons)
      fatal_error("gib: more than " + std::to_string(kGibMaxButtons) + " buttons in \"" + list +
                  "\"");
    GibButton button;
    size_t tip = entry.find("?:");
    if (tip != std::string::npos) {
      button.tool_tip = entry.substr(tip + 2);
      entry.resize(tip);
    }
    bool row_started = false;
    // A button opens at most one row; further row codes on it shape that same row.
    auto row_code = [&](std::optional<RowAlign> align, bool blank_before) {
      if (k > 0 && !row_started) {
        if (out.rows.size() == kGibMaxRows)
          fatal_error("gib: more than " + std::to_string(kGibMaxRows) + " button rows in \"" +
                      list + "\"");
        out.rows.push_back({});
      }
      row_started = true;
      if (align) out.rows.back().align = *align;
      if (blank_before) out.rows.back().blank_before = true;
    };
    // Every code is "?" and one character, so the longest match is the only match.
    size_t at = 0;
    bool known = true;
    while (known && at + 1 < entry.size() && entry[at] == '?') {
      switch (entry[at + 1]) {
        case '.':
          row_code(RowAlign::Center, false);
          break;
        case '<':
          row_code(RowAlign::Left, false);
          break;
        case '>':
          row_code(RowAlign::Right, false);
          break;
        case ' ':
          row_code(std::nullopt, true);
          break;
        case '_':
          button.spaced = true;
          break;
        case '/':
          button.style = true;
          break;
        case '!':
          bang_default = static_cast<int>(k);
          break;
        case 'g':
          button.color = 0x00FF00;
          break;
        case 'y':
          button.color = 0x00FFFF;
          break;
        case 'r':
          button.color = 0x0000FF;
          break;
        case 'b':
          button.color = 0xFF0000;
          break;
        case 'i':
          button.color = kColorInherit;
          break;
        default:
          known = false;
          continue;
      }
      at += 2;
    }
    button.caption = entry.substr(at);
    button.row = static_cast<int>(out.rows.size()) - 1;
    if (button.caption == "Cancel") out.cancel_button = static_cast<int>(k);
    if (button.caption == "OK") ok_default = static_cast<int>(k);
    out.buttons.push_back(button);
  }
  out.default_button = bang_default >= 0 ? bang_default : ok_default;
  return out;
}

GibBox gmb_init(const std::string& text, const std::string& buttons, int32_t flags,
                const std::string& title, const std::string& font, double seconds, int size,
                int width) {
  GibBox box;
  // A timed box closes by itself, so it never offers buttons.
  box.button_list = seconds != 0 ? std::string() : buttons;
  box.text = (flags & kGibVerbatim) ? text : kw_unescape(text);
  while (!box.text.empty() && (box.text.back() == '\r' || box.text.back() == '\n'))
    box.text.pop_back();
  std::erase(box.text, '\v');
  box.ticks = static_cast<int32_t>(std::floor(seconds / 0.1 + 0.5));
  box.buttons = gmb_parse_buttons(box.button_list);
  box.flags = flags;
  box.title = title;
  box.font = font.empty() ? kDefaultFont : font;
  box.size = size < 1 ? 6 : size;
  box.width = width < 1 ? 36 : width;
  return box;
}

int gib(const std::string& text, const std::string& buttons, int32_t flags,
        const std::string& title, const std::string& font, double seconds, int size, int width) {
  Operator& op = op_required("gib", text);
  GibBox box = gmb_init(text, buttons, flags, title, font, seconds, size, width);
  gib_close();
  GibRecord& record = state().gib;
  record.box = box;
  record.title_empty = title.empty();
  if (box.non_modal()) {
    record.open = true;
    record.choice = -1;
    op.show_gib(box);
    pump_events();  // let it paint before the work it announces starts
    return -1;
  }
  int choice = op.show_gib(box);
  state().gib.choice = static_cast<int16_t>(choice);
  return choice;
}

int gib_warning(const std::string& text, const std::string& buttons, const std::string& title) {
  if (text.empty()) return -1;
  return gib(text, buttons, kGibWarning, title);
}

int gib_info(const std::string& text, const std::string& buttons, const std::string& title) {
  if (text.empty()) return -1;
  return gib(text, buttons, kGibInfo, title);
}

int gib_non_modal_choice() {
  return state().op != nullptr && state().gib.open ? state().op->non_modal_choice() : -1;
}

int16_t gmb_ret() {
  return state().gib.choice;
}

void gib_close() {
  GibRecord& record = state().gib;
  if (!record.open) return;
  record.open = false;
  if (state().op != nullptr) state().op->close_gib();
}

void gib_set_title(const std::string& title) {
  GibRecord& record = state().gib;
  record.box.title = title;
  record.title_empty = title.empty();
  if (record.open && state().op != nullptr) state().op->set_gib_title(title);
}

bool gib_title_empty() {
  return state().gib.title_empty;
}

// ---- gibcb -----------------------------------------------------------------------------

std::vector<GibcbSetting> gibcb_parse(const std::string& settings) {
  std::vector<GibcbSetting> out;
  if (settings.empty()) return out;
  for (const std::string& entry : kw_split(settings, "|")) {
    if (out.size() == 101) fatal_error("gibcb: more than 101 settings in \"" + settings + "\"");
    std::vector<std::string> pieces = kw_split(entry, "^");
    if (pieces.size() > 21)
      fatal_error("gibcb: more than 21 pieces in the setting \"" + entry + "\"");
    GibcbSetting setting;
    for (size_t i = 0; i < pieces.size(); ++i) {
      if (i % 3 != 2) setting.unchecked += pieces[i];
      if (i % 3 != 1) setting.checked += pieces[i];
    }
    out.push_back(setting);
  }
  return out;
}

std::string gibcb_caption(const GibcbSetting& setting, bool checked) {
  return checked ? setting.checked : setting.unchecked;
}

std::string gibcb_tool_tip(const GibcbSetting& setting, bool checked) {
  return "Other setting is \"" + gibcb_caption(setting, !checked) + "\"";
}

int32_t gibcb_value(const std::vector<bool>& checked) {
  uint32_t value = 0;
  for (size_t i = 0; i < checked.size() && i < 32; ++i)
    if (checked[i]) value |= uint32_t{1} << i;
  return static_cast<int32_t>(value);
}

int gibcb(int32_t& value, const std::string& settings, const std::string& buttons,
          const std::string& title, int32_t flags, const std::string& font) {
  Operator& op = op_required("gibcb", settings);
  GibcbRequest request;
  request.settings = gibcb_parse(settings);
  const uint32_t word = static_cast<uint32_t>(value);
  for (size_t i = 0; i < request.settings.size(); ++i)
    request.checked.push_back(i < 32 && ((word >> i) & 1u) != 0);
  request.button_list = buttons;
  request.buttons = gmb_parse_buttons(buttons);
  request.title = title.empty() ? "Info Box" : title;
  request.flags = flags;
  request.font = font.empty() ? kDefaultFont : font;
  std::vector<bool> checked = request.checked;
  int choice = op.show_gibcb(request, checked);
  checked.resize(request.settings.size());
  // Bits beyond the settings shown are not the operator's to change: they keep their state.
  uint32_t shown_bits =
      request.settings.size() >= 32 ? ~uint32_t{0} : (uint32_t{1} << request.settings.size()) - 1;
  value = static_cast<int32_t>((word & ~shown_bits) | static_cast<uint32_t>(gibcb_value(checked)));
  return choice;
}

// ---- user_input ------------------------------------------------------------------------

const std::string kUserInputDefaultButtons = "\x01(Ok|Cancel)\x01";

std::vector<UserInputField> user_input_parse_text(const std::string& separator,
                                                  const std::string& text) {
  std::vector<UserInputField> fields;
  int slot = 0;  // 0 label, 1 data, 2 comment of the field being filled
  for (const std::string& piece : kw_split(text, separator)) {
    if (piece.empty()) {
      slot = 0;  // ends the field early; the next piece begins the following one
      continue;
    }
    if (slot == 0) {
      if (static_cast<int>(fields.size()) == kUserInputMaxFields) break;
      fields.push_back({});
      fields.back().label = trim_blanks(piece);
    } else if (slot == 1) {
      UserInputField& field = fields.back();
      if (piece[0] == ')' || piece[0] == ']' || piece[0] == '}') {
        field.enabled = false;
        field.data = trim_blanks(piece.substr(1));
      } else {
        field.data = piece;
      }
    } else {
      fields.back().comment = trim_blanks(piece);
    }
    slot = (slot + 1) % 3;
  }
  return fields;
}

int user_input_move(const std::vector<UserInputField>& fields, int from, int direction) {
  for (int i = from + direction; i >= 0 && i < static_cast<int>(fields.size()); i += direction)
    if (fields[i].enabled) return i;
  return -1;
}

namespace {

bool show_input_form() {
  // The operator is shown a copy: an event handler may open another form meanwhile.
  const UserInputForm shown = state().input;
  Operator& op = op_required("user_input", shown.title);
  std::vector<std::string> typed;
  for (const UserInputField& field : shown.fields) typed.push_back(field.data);
  bool accepted = op.show_user_input(shown, typed);
  UserInputForm& form = state().input;
  // Whatever the button, the enabled fields keep what was typed, so that showing the form
  // again after a refused value keeps the operator's work.
  for (size_t i = 0; i < form.fields.size() && i < typed.size(); ++i)
    if (form.fields[i].enabled) form.fields[i].data = typed[i];
  return accepted;
}

void set_buttons(UserInputForm& form, const std::string& buttons) {
  std::vector<std::string> captions = buttons == kUserInputDefaultButtons
                                          ? std::vector<std::string>{"Ok", "Cancel"}
                                          : kw_split(buttons, "|");
  captions.resize(2);
  form.accept_caption = captions[0];
  form.cancel_caption = captions[1];
}

UserInputField* field_at(int index) {
  std::vector<UserInputField>& fields = state().input.fields;
  if (index < 0 || index >= static_cast<int>(fields.size())) return nullptr;
  return &fields[index];
}

// A write outside the list is the caller's slip; it is logged for the technician.
UserInputField* writable_field(int index, const char* what, const std::string& text) {
  UserInputField* field = field_at(index);
  if (field == nullptr) {
    debug_log("User-Input Index Bad:" + std::to_string(index));
    debug_log(std::string(what) + text);
  }
  return field;
}

std::string read_field(int index, bool* found, std::string (*part)(const UserInputField&)) {
  const UserInputField* field = field_at(index);
  if (found != nullptr) *found = field != nullptr;
  return field != nullptr ? part(*field) : std::string();
}

}  // namespace

bool user_input(const std::string& separator, const std::string& labels, const std::string& data,
                const std::string& title, const std::string& comments, const std::string& buttons) {
  UserInputForm form;
  form.title = title;
  set_buttons(form, buttons);
  std::vector<std::string> label_list = kw_split(labels, separator);
  std::vector<std::string> data_list = kw_split(data, separator);
  std::vector<std::string> comment_list = kw_split(comments, separator);
  for (size_t i = 0; i < label_list.size() && i < kUserInputMaxFields; ++i) {
    if (label_list[i].empty()) break;
    UserInputField field;
    field.label = label_list[i];
    if (i < data_list.size()) field.data = data_list[i];
    if (i < comment_list.size()) field.comment = comment_list[i];
    form.fields.push_back(field);
  }
  state().input = form;
  return show_input_form();
}

bool user_input_text(const std::string& separator, const std::string& text,
                     const std::string& title) {
  UserInputForm form;
  form.title = title;
  set_buttons(form, kUserInputDefaultButtons);
  form.fields = user_input_parse_text(separator, text);
  state().input = form;
  return show_input_form();
}

bool user_input_form(UserInputForm form) {
  if (form.accept_caption.empty() && form.cancel_caption.empty())
    set_buttons(form, kUserInputDefaultButtons);
  if (form.fields.size() > kUserInputMaxFields) form.fields.resize(kUserInputMaxFields);
  state().input = std::move(form);
  return show_input_form();
}

bool user_input_again() {
  return show_input_form();
}

int user_input_count() {
  return static_cast<int>(state().input.fields.size());
}

std::string user_input_data(int index, bool* found) {
  return read_field(index, found, [](const UserInputField& f) { return f.data; });
}

std::string user_input_label(int index, bool* found) {
  return read_field(index, found, [](const UserInputField& f) { return f.label; });
}

std::string user_input_comment(int index, bool* found) {
  return read_field(index, found, [](const UserInputField& f) { return f.comment; });
}

std::string user_input_current(int index, bool* found) {
  return read_field(index, found, [](const UserInputField& f) {
    return f.label + " (currently=" + f.data + ")";
  });
}

void user_input_set_data(int index, const std::string& text) {
  if (UserInputField* field = writable_field(index, "User-Input Data     :", text))
    field->data = text;
}

void user_input_set_comment(int index, const std::string& text) {
  if (UserInputField* field = writable_field(index, "User-Input Comment  :", text))
    field->comment = text;
}

// ---- Plain dialogs ---------------------------------------------------------------------

std::optional<std::string> input_box(const std::string& prompt, const std::string& title,
                                     const std::string& default_text) {
  // The prompt takes the same escapes as a gib text; the answer stays exactly as typed.
  return op_required("input_box", prompt).show_input_box(kw_unescape(prompt), title, default_text);
}

int gib_cautious_choice(const GibButtonList& list) {
  if (list.cancel_button >= 0) return list.cancel_button;
  return list.buttons.empty() ? 0 : static_cast<int>(list.buttons.size()) - 1;
}

MsgAnswer msg_cautious_answer(MsgButtons buttons) {
  switch (buttons) {
    case MsgButtons::Ok:
      return MsgAnswer::Ok;
    case MsgButtons::YesNo:
      return MsgAnswer::No;
    default:
      return MsgAnswer::Cancel;
  }
}

MsgAnswer msg_box(const std::string& text, MsgButtons buttons, const std::string& title) {
  return op_required("msg_box", text).show_msg_box(text, buttons, title);
}

FileDialogResult file_dialog(const FileDialogRequest& request) {
  return op_required("file_dialog", request.title).show_file_dialog(request);
}

std::optional<int32_t> color_dialog(int32_t color) {
  return op_required("color_dialog", std::to_string(color)).show_color_dialog(color);
}

// ---- The active window -----------------------------------------------------------------

bool active_window_title(std::string& title) {
  Operator* op = state().op;
  return op != nullptr && op->active_window_title(title);
}

void set_active_window_title(const std::string& title) {
  if (Operator* op = state().op) op->set_active_window_title(title);
}

void flash_active_window() {
  if (Operator* op = state().op) op->flash_active_window();
}

// ---- The seam --------------------------------------------------------------------------

void set_operator(Operator* op) {
  state() = OperatorState{};
  state().op = op;
}

Operator* current_operator() {
  return state().op;
}

bool Operator::show_password(FrmPassword&) {
  fatal_error("show_password: this operator has no password dialog");
}

void Operator::show_histogram(FrmTmHistogram&) {}

int Operator::show_grid(GridForm& form) {
  const int b = gib_cautious_choice(gmb_parse_buttons(form.buttons));
  if (form.close) form.close(b);
  return b;
}

int grid_form(GridForm& form) {
  return op_required("grid_form", form.title).show_grid(form);
}

std::string grid_form_text(const GridForm& form) {
  std::string text;
  for (size_t r = 0; r < form.cells.size(); ++r) {
    text += r < form.row_labels.size() ? form.row_labels[r] : std::to_string(r);
    text += ":";
    bool first = true;
    for (size_t c = 0; c < form.cells[r].size(); ++c) {
      const GridCell& cell = form.cells[r][c];
      if (!cell.visible || cell.text.empty()) continue;
      text += (first ? " " : ", ") +
              (c < form.column_labels.size() ? form.column_labels[c] : std::to_string(c)) + "=" +
              cell.text;
      first = false;
    }
    text += "\r\n";
  }
  return text + form.info;
}

bool grid_form_find(const GridForm& form, const std::string& name, int& row, int& column) {
  const size_t slash = name.find('/');
  if (slash == std::string::npos) return false;
  auto same = [](std::string a, std::string b) {
    auto low = [](std::string& t) {
      for (char& ch : t) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
    };
    low(a);
    low(b);
    return kw_justify(a, 0, "") == kw_justify(b, 0, "");
  };
  row = column = -1;
  for (size_t r = 0; r < form.row_labels.size(); ++r)
    if (same(form.row_labels[r], name.substr(0, slash))) row = static_cast<int>(r);
  for (size_t c = 0; c < form.column_labels.size(); ++c)
    if (same(form.column_labels[c], name.substr(slash + 1))) column = static_cast<int>(c);
  return row >= 0 && column >= 0 && static_cast<size_t>(row) < form.cells.size() &&
         static_cast<size_t>(column) < form.cells[static_cast<size_t>(row)].size();
}

SelcomChoice Operator::show_selcom(FrmSelcom&) {
  fatal_error("show_selcom: this operator has no port selection form");
}

}  // namespace ovn
