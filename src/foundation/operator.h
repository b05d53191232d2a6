#pragma once
// Operator services: every question the program asks the operator goes through here, so
// that each procedure can run under a scripted operator in tests and under the Qt toolkit
// in the program.
//
// Two halves:
// - The free functions (gib, gibcb, display_data, user_input, input_box, msg_box, file and
//   colour dialogs, the active window's title). They prepare the request (escapes, button
//   codes, settings captions, count-down ticks), hand it to the installed Operator, and
//   keep the small module record each service has until its next call.
// - The Operator seam, which only shows a fully prepared request and reports what the
//   operator did. A toolkit implements it (src/qt); tests use test::ScriptedOperator.
//
// Calling a service with no operator installed is a programmer's error: fatal_error.
// Single thread. A modal call runs the event loop while it waits, so anything (another
// box, a gib close) may re-enter; every service tolerates that.
// Colours are 0x00BBGGRR (blue, green, red; high byte first); -1 means "the form's own".

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "foundation/kw.h"

namespace ovn {

// ---- gib: a message with a free list of buttons ----------------------------------------

// Flags word. The message style is flags & kGibStyleMask: 16 stop, 48 warning,
// 64 information, 96 plain notice.
constexpr int32_t kGibStop = 16;
constexpr int32_t kGibWarning = 48;
constexpr int32_t kGibInfo = 64;
constexpr int32_t kGibNotice = 96;
constexpr int32_t kGibStyleMask = 0x7FFFFF;
constexpr int32_t kGibVerbatim = 0x800000;   // text shown as given, no escapes expanded
constexpr int32_t kGibCentred = 0x1000000;   // message text centred
constexpr int32_t kGibBorder = 0x2000000;    // message area has a border
constexpr int32_t kGibNonModal = 0x4000000;  // returns at once; the caller closes the box

constexpr int32_t kColorInherit = -1;
constexpr int kGibMaxButtons = 101;
constexpr int kGibMaxRows = 41;

enum class RowAlign { Center, Left, Right };

struct GibButton {
  std::string caption;  // codes removed
  std::string tool_tip;
  int32_t color = kColorInherit;
  int row = 0;
  bool style = false;   // "?/": the toolkit's alternative button style
  bool spaced = false;  // "?_": blank space takes the place of the button's neighbour
};

struct GibRow {
  RowAlign align = RowAlign::Center;
  bool blank_before = false;  // a blank row is shown above this one
};

struct GibButtonList {
  std::vector<GibButton> buttons;
  std::vector<GibRow> rows;  // at least one row, even with no buttons
  int default_button = -1;   // answers Enter; -1: none
  int cancel_button = -1;    // answers Escape (the button captioned "Cancel"); -1: none
};

// Parses a button list "A|B|C" with its "?" codes:
//   "?." "?<" "?>" new row centred / flush left / flush right
//   "? "  new row (centred) after a blank row
//   "?_" spaced, "?/" style bit, "?!" default
//   "?g" "?y" "?r" "?b" "?i" colour green, yellow, red, blue, inherit
// "text?:tip" gives a tool tip. An empty list has no buttons; an empty entry after the
// first ends the list. A button opens at most one row: a row code on the first button, or a
// second one on any button, shapes the row it is in. "Cancel" answers Escape; "OK" is the
// default unless "?!" names one (the last named wins). More than 101 buttons or 41 rows is
// a programmer's error (fatal_error).
GibButtonList gmb_parse_buttons(const std::string& list);

// A gib request after preparation: what a toolkit shows.
struct GibBox {
  std::string text;         // escapes expanded (unless verbatim), no trailing CR/LF, no VT
  std::string button_list;  // as passed, or empty for a timed box
  GibButtonList buttons;
  int32_t flags = 0;
  std::string title;  // as passed; see gmb_title_line for what the title bar shows
  std::string font;   // never empty ("Courier New")
  int32_t ticks = 0;  // count-down in 0.1 s: >0 timed box, <0 busy indicator, 0 none
  int size = 8;       // font size; below 1 given means 6
  int width = 36;     // message width in characters; below 1 given means 36
  bool non_modal() const { return (flags & kGibNonModal) != 0; }
  int32_t style() const { return flags & kGibStyleMask; }
};

// The preparation behind every gib: text rules, ticks (seconds / 0.1 rounded), the timed
// box losing its buttons, defaults for font, size and width.
GibBox gmb_init(const std::string& text, const std::string& buttons, int32_t flags,
                const std::string& title, const std::string& font, double seconds, int size,
                int width);

// Shows a box and returns the index of the pressed button (0 when a timed box runs out).
// A non-modal box (kGibNonModal) returns -1 at once, stays open until gib_close or the
// next gib, and the event loop runs once so that it paints. A gib while a non-modal box
// is open first closes that box.
int gib(const std::string& text, const std::string& buttons, int32_t flags,
        const std::string& title, const std::string& font = "Courier New", double seconds = 0,
        int size = 8, int width = 36);
// The short forms: flags 48 and 64. Both return -1 and show nothing for an empty text.
int gib_warning(const std::string& text, const std::string& buttons, const std::string& title);
int gib_info(const std::string& text, const std::string& buttons, const std::string& title);
// The result of the last gib.
int16_t gmb_ret();
// Closes an open non-modal box; nothing when none is open.
void gib_close();
// The button pressed on the open non-modal box, or -1 (Operator::non_modal_choice).
int gib_non_modal_choice();
// Sets the title of an open box (and remembers it for the next count-down line).
void gib_set_title(const std::string& title);
bool gib_title_empty();  // whether the last title given was empty

// The count-down of a box, driven by the toolkit's 102 ms timer.
struct GibCountdown {
  int32_t ticks = 0;  // as in GibBox
  int32_t left = 0;   // ticks still to run
  int sweep = 0;      // busy indicator position in tenths, 1..10
};
struct GibTimerView {
  double bar = 0;          // fraction of the bar filled, 0..1
  bool hollow = false;     // busy indicator in its second half: drawn as a hollow sweep
  bool finished = false;   // a timed box ran out: close it, its choice is 0
  std::string title_line;  // what the title bar shows now
};
GibCountdown gmb_countdown_start(int32_t ticks);
// One firing of the timer (call it only while ticks != 0).
GibTimerView gmb_countdown_fire(GibCountdown& countdown, const std::string& title,
                                const DateTime& now);
// The title bar: "hh:mm:ss <title>" for a titled box, "hh:mm:ss <= 1.2 seconds left" for an
// untitled timed box, otherwise empty.
std::string gmb_title_line(const std::string& title, const GibCountdown& countdown,
                           const DateTime& now);

// ---- gibcb: two-state settings with buttons --------------------------------------------

// One setting's two captions. The settings list "S0|S1|..." has entries cut at "^" into
// pieces; pieces 0, 3, 6... belong to both captions, 1, 4, 7... only to the unchecked
// one, 2, 5, 8... only to the checked one, in order: "RS485 Termination ^Off^On^" gives
// "RS485 Termination Off" / "RS485 Termination On".
struct GibcbSetting {
  std::string unchecked;
  std::string checked;
};
// More than 101 settings or 21 pieces in one is a programmer's error (fatal_error).
std::vector<GibcbSetting> gibcb_parse(const std::string& settings);
std::string gibcb_caption(const GibcbSetting& setting, bool checked);
// The box's tool tip after setting a setting to `checked`: Other setting is "<other text>".
std::string gibcb_tool_tip(const GibcbSetting& setting, bool checked);
// Bit i set when setting i is checked (settings from 32 on have no bit).
int32_t gibcb_value(const std::vector<bool>& checked);

struct GibcbRequest {
  std::vector<GibcbSetting> settings;
  std::vector<bool> checked;  // from the value word, one per setting
  std::string button_list;
  GibButtonList buttons;
  std::string title;  // never empty ("Info Box")
  int32_t flags = 0;
  std::string font;  // never empty ("Courier New")
};

// Shows the settings; returns the pressed button's index and rewrites `value` from the
// settings as the operator left them.
int gibcb(int32_t& value, const std::string& settings, const std::string& buttons,
          const std::string& title, int32_t flags = 0, const std::string& font = "Courier New");

// ---- display_data: one step of an adjustment --------------------------------------------

// Button codes by mask bit: 0 "<< Back", 1 "Skip", 2 "Continue Anyway" (answers code 3),
// 3 "Continue" (with an input label) or "OK", 4 "Cancel".
struct DisplayDataButton {
  int code = 0;
  std::string caption;
  std::string tool_tip;
};
std::vector<DisplayDataButton> display_data_buttons(int32_t mask, const std::string& input_label);
// The live value as shown: by kw_format with a data format, a plain number without.
std::string display_data_value_text(double value, const std::string& data_format);

struct DisplayDataRequest {
  std::string text;  // the upper message
  std::string units;
  std::string title;
  std::string input_value;  // the number entry's starting text
  std::string input_label;  // empty: no number entry
  std::string data_format;
  std::vector<DisplayDataButton> buttons;
  std::string live_tool_tip;  // "Current channel data"
  // The live value's text now; the toolkit calls it every 50 ms.
  std::function<std::string()> live_text;
  // To be called on every button press with the button's code and the entry's text.
  // False: the press was refused (the operator has been told why) and the dialog stays.
  std::function<bool(int code, const std::string& typed)> press;
};

// Where the live value comes from (the session installs the measurement read; empty: the
// live field stays blank). set_operator forgets it, so install it after the operator.
void set_display_data_reader(std::function<double()> reader);
// Shows the step; returns the code of the button that ended it. Code 3 with an input label
// is refused until the entry is numeric ("<label> must be numeric").
int display_data(const std::string& text, const std::string& units, int32_t mask,
                 const std::string& title, const std::string& input_value,
                 const std::string& input_label, const std::string& data_format);
// The entry as accepted by the last code 3, else the input value given.
const std::string& display_data_input();

// ---- user_input: a list of labelled fields ----------------------------------------------

constexpr int kUserInputMaxFields = 51;

struct UserInputField {
  std::string label;
  std::string comment;
  std::string data;
  bool enabled = true;  // a read-only field is shown but its text is not read back
};
struct UserInputForm {
  std::vector<UserInputField> fields;
  std::string accept_caption;  // button 0
  std::string cancel_caption;  // button 1
  std::string title;
};

// The default of the list form's buttons: "Ok" and "Cancel".
extern const std::string kUserInputDefaultButtons;

// Text form parsing: pieces fill label, data and comment of one field in turn; an empty
// piece ends the field early. Data beginning ")", "]" or "}" is read-only (mark removed,
// trimmed). Labels and comments are trimmed. At most 51 fields.
std::vector<UserInputField> user_input_parse_text(const std::string& separator,
                                                  const std::string& text);

// Keyboard movement in a form: the next enabled field after `from` in `direction` (+1 for
// Down and Enter, -1 for Up), or -1 when there is none that way.
int user_input_move(const std::vector<UserInputField>& fields, int from, int direction);

// List form: each list is cut at the separator; field i has label i, data i, comment i;
// the fields end at the first empty label. Buttons: two captions "Accept|Cancel".
// Returns true for the accepting button. On accept the enabled fields take what was
// typed; on cancel the fields keep what was typed too (callers ignore them).
bool user_input(const std::string& separator, const std::string& labels, const std::string& data,
                const std::string& title, const std::string& comments,
                const std::string& buttons = kUserInputDefaultButtons);
// Text form; buttons "Ok" and "Cancel".
bool user_input_text(const std::string& separator, const std::string& text,
                     const std::string& title);
// A form built field by field (read-only fields, empty data); buttons "Ok" and "Cancel"
// when it names none.
bool user_input_form(UserInputForm form);
// Shows the same fields again, keeping what the operator typed.
bool user_input_again();
int user_input_count();
// Reads by index; an index outside the fields gives "" (and *found = false).
std::string user_input_data(int index, bool* found = nullptr);
std::string user_input_label(int index, bool* found = nullptr);
std::string user_input_comment(int index, bool* found = nullptr);
// "<label> (currently=<data>)"
std::string user_input_current(int index, bool* found = nullptr);
// Writes by index; an index outside the fields is logged and changes nothing.
void user_input_set_data(int index, const std::string& text);
void user_input_set_comment(int index, const std::string& text);

// ---- Plain dialogs ---------------------------------------------------------------------

// ---- Grid forms ------------------------------------------------------------------------
// A window that is a grid: rows by columns of cells, each a text field, a list or a
// button, a line of information under it and a row of buttons. The form is a model: its
// own procedures act on every edit and click (a click may talk to the instrument at once)
// and set the cells anew; the window only draws the cells and forwards what the operator
// does. A script names a cell "ROW/COLUMN" by the captions of its row and column.
struct GridCell {
  std::string text;                  // a field's text, a list's choice, a button's caption
  std::vector<std::string> choices;  // a list: its entries
  bool button = false;               // a button: a click goes to the form's click
  bool slider = false;               // a slider from `minimum` to `maximum`: its position,
  int minimum = 0, maximum = 0;      //   as text, goes to the form's edit
  bool enabled = true;
  bool visible = true;
  int32_t back_color = -1;  // 0xBBGGRR, -1 the window's own
};

struct GridForm {
  std::string title;
  std::string corner;  // the caption above the row labels
  std::vector<std::string> row_labels, column_labels;
  std::vector<std::vector<GridCell>> cells;  // [row][column]
  std::string info;                          // under the grid
  std::string buttons;                       // the button row, "OK|Cancel"
  // The form's procedures; any may be empty.
  std::function<void(int row, int column, const std::string& text)> edit;  // field or list
  std::function<void(int row, int column, int mouse)> click;               // mouse 1 left, 2 right
  // Button `index` of the row pressed (the window's close counts as the last): true when
  // the window closes.
  std::function<bool(int index)> close;
  // An answer line of a script that the form reads itself (not "ROW/COLUMN=TEXT" of a
  // field, not a button): true when it took it.
  std::function<bool(const std::string& line)> answer;
};

// Shows the form until it closes; the index of the button that closed it.
int grid_form(GridForm& form);
// The form as text, for logs: a line a row, "<row>: <column>=<text>, ..." of the visible
// cells that show something, then the information line.
std::string grid_form_text(const GridForm& form);
// The row and column named "ROW/COLUMN" (captions compared as a script's answers are);
// false when none fits.
bool grid_form_find(const GridForm& form, const std::string& name, int& row, int& column);

// The general input box: the typed text, or nothing when cancelled. The prompt's backslash
// escapes are expanded as in gib; the answer is not touched.
std::optional<std::string> input_box(const std::string& prompt, const std::string& title,
                                     const std::string& default_text = "");

enum class MsgButtons { Ok, OkCancel, YesNo, YesNoCancel, RetryCancel };
enum class MsgAnswer { Ok, Cancel, Yes, No, Retry };
// The plain message box.
MsgAnswer msg_box(const std::string& text, MsgButtons buttons, const std::string& title);

// The answers that end a box without doing harm, for an operator that cannot ask a person
// (a headless run, a test meeting a box it did not expect): the "Cancel" button, else the
// last one; for a message box OK, No, or Cancel.
int gib_cautious_choice(const GibButtonList& list);
MsgAnswer msg_cautious_answer(MsgButtons buttons);

struct FileFilter {
  std::string description;  // "Configurations for KST"
  std::string pattern;      // "*.611"
};
struct FileDialogRequest {
  bool save = false;  // save (asks before overwriting) or open (the file must exist)
  std::string title;
  std::vector<FileFilter> filters;
  std::string folder;     // start folder
  std::string file_name;  // proposed name
};
struct FileDialogResult {
  bool chosen = false;  // false: cancelled, or failed with `error`
  std::string path;
  std::string error;  // the dialog's own error text, for the caller to show
};
FileDialogResult file_dialog(const FileDialogRequest& request);

// The colour dialog starting at `color`: the chosen colour, or nothing when cancelled.
std::optional<int32_t> color_dialog(int32_t color);

// ---- The active window -----------------------------------------------------------------
// The serial exchange shows its retries in the active window's title. With no operator
// installed there is no window: the title reads false, the others do nothing.

bool active_window_title(std::string& title);  // false when no window is active
void set_active_window_title(const std::string& title);
void flash_active_window();

// ---- Forms run modally -------------------------------------------------------------------

// The port selection form (link/selcom.h) and how the operator left it.
struct FrmSelcom;
enum class SelcomChoice { Retry, Abort, Closed };

// The password dialog (instrument/password.h).
struct FrmPassword;
struct FrmTmHistogram;

// ---- The seam --------------------------------------------------------------------------

// What a toolkit implements. It is handed prepared requests and reports the operator's
// doing; it does no parsing of its own. Modal calls pump events while they wait.
class Operator {
 public:
  virtual ~Operator() = default;
  // Modal: the pressed button's index (a timed box: 0 when it runs out). Non-modal: shows
  // and returns at once (the result is not used). The title bar shows gmb_title_line; with
  // ticks != 0 a 102 ms timer calls gmb_countdown_fire and closes the box when it finishes.
  virtual int show_gib(const GibBox& box) = 0;
  virtual void close_gib() = 0;
  // The button pressed on the open non-modal box since it was shown (its index as a modal
  // box would return it), or -1: none pressed, or no box open.
  virtual int non_modal_choice() { return -1; }
  virtual void set_gib_title(const std::string& title) = 0;
  // The operator toggles `checked` (it starts as request.checked); returns the button.
  virtual int show_gibcb(const GibcbRequest& request, std::vector<bool>& checked) = 0;
  // Shows request.live_text() every 50 ms. Returns after a press that request.press
  // accepted; the result is that press's code.
  virtual int show_display_data(const DisplayDataRequest& request) = 0;
  // `typed` starts as the fields' data; the operator edits the enabled ones. True: accept.
  virtual bool show_user_input(const UserInputForm& form, std::vector<std::string>& typed) = 0;
  virtual std::optional<std::string> show_input_box(const std::string& prompt,
                                                    const std::string& title,
                                                    const std::string& default_text) = 0;
  virtual MsgAnswer show_msg_box(const std::string& text, MsgButtons buttons,
                                 const std::string& title) = 0;
  virtual FileDialogResult show_file_dialog(const FileDialogRequest& request) = 0;
  virtual std::optional<int32_t> show_color_dialog(int32_t color) = 0;
  virtual bool active_window_title(std::string& title) = 0;
  virtual void set_active_window_title(const std::string& title) = 0;
  virtual void flash_active_window() = 0;
  // Runs the port selection form modally. The operator's clicks go to the form's own
  // procedures (a port row: selcom_ls_comport_click; an ID row: ls_id.list_index); the
  // result is the button that closed it. The default has no window to show: fatal_error.
  virtual SelcomChoice show_selcom(FrmSelcom& form);
  // Runs the password dialog modally: the operator types into form.txt[i].text; O&k calls
  // frm_password_ok_click (which may keep the form open), the window's close or &Cancel
  // frm_password_cancel_click. Returns when form.visible is false: form.accepted. The
  // default has no window to show: fatal_error.
  virtual bool show_password(FrmPassword& form);
  // Runs a live histogram window modally (adjust/histogram.h): its timer calls
  // histogram_tick, its controls set the form's check boxes and boxes and call
  // histogram_reset. The default has no window to show and returns at once.
  virtual void show_histogram(FrmTmHistogram& form);
  // Runs a grid form (grid_form): edits and clicks go to the form's procedures, the row's
  // buttons to its close, until that says the window closes. The button that closed it.
  // The default has no window: the cautious button ("Cancel", else the last) is pressed.
  virtual int show_grid(GridForm& form);
};

// Installs the operator (not owned); nullptr uninstalls. Also forgets the module records
// of the services (open box, fields), so each test starts clean.
void set_operator(Operator* op);
Operator* current_operator();

}  // namespace ovn
