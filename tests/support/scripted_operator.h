#pragma once
// The scripted operator: answers every operator service from a queue of expected boxes and
// records every box shown, so tests assert the program's exact words.
//
//   TestSeams seams;               // virtual clock etc. (or derive from SeamsTest)
//   ScriptedOperator op;           // installs itself; puts the previous one back when it goes
//   op.expect_gib("Communications Failure on COM1", "Skip");  // press the "Skip" button
//   op.expect_gib("Configuration uploaded", 0);               // press button 0
//   op.expect_msg_box("Retry opening?", MsgAnswer::No);
//   op.expect_user_input("Input Message", true, {{0, "VR|TA"}});  // type into field 0, Ok
//   op.expect_display_data("Apply", {{3, "abc"}, {3, "12.5"}});    // refused, then taken
//   op.expect_gib("must be numeric", 0);   // ...the refusal's box comes between the presses
//   run_the_procedure();
//   EXPECT_EQ(op.shown[0].text, "Communications Failure on COM1\r\n...");
//
// Boxes must come in the queued order. A pattern matches a box of its kind when it is
// found anywhere in the box's text or title; an empty pattern matches any box of the kind.
// A box that does not match the head of the queue fails the test (ADD_FAILURE, naming the
// box and what was expected), is recorded, and gets the safe answer: the "Cancel" button
// (else the last button), Cancel/No, code 4, false, nothing. The expectation stays queued.
// When the operator goes, expectations never met fail the test (unless check_at_end is
// cleared).
//
// An answer the box does not offer (button 5 of three, Yes to an OK box, a display_data code
// outside the mask) fails the test too.
//
// A timed gib (positive ticks) runs its count-down on the virtual clock, 102 ms a tick with
// the event loop going, and answers 0; queue it with answer 0. A non-modal gib is matched
// like any box; its answer is not used, and box_open tells whether the caller closed it.

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "foundation/operator.h"

namespace ovn::test {

enum class BoxKind {
  Gib,
  Gibcb,
  DisplayData,
  UserInput,
  InputBox,
  MsgBox,
  FileDialog,
  ColorDialog,
  Selcom,
  Password,
  Grid
};
const char* box_kind_name(BoxKind kind);

// One box as it was shown.
struct Shown {
  BoxKind kind = BoxKind::Gib;
  // gib: the prepared text; msg_box and input box: the text; display_data: the upper
  // message; gibcb: the settings' captions as first shown, joined by CR LF; user_input:
  // the labels joined by CR LF; file dialog: the first filter's description.
  std::string text = {};
  std::string title = {};
  std::vector<std::string> buttons = {};  // captions (gib, gibcb, display_data, user_input)
  int32_t flags = 0;                      // gib, gibcb
  std::string font = {};                  // gib, gibcb
  // selcom: the form's caption is the title, lb_info the text, ls_comport the fields.
  // password: the mode is the title, the prompt the text, the visible fields' labels the
  // fields.
  // user_input: data as shown; gibcb: captions at the end; timed gib: the title line after
  // each tick of the count-down
  std::vector<std::string> fields = {};
  std::string live = {};          // display_data: the live value's text when shown
  std::string default_text = {};  // input box default; display_data input value
  GibBox gib = {};                // gib: the whole request
  UserInputForm form = {};        // user_input: the whole form
  FileDialogRequest file = {};    // file dialog: the whole request
  int answer = 0;                 // button index, code, MsgAnswer or 1/0 given back
  bool expected = true;           // false: nobody queued it
};

// One press in display_data: the code, and what the operator typed before (nothing:
// the entry is left as it was).
struct Press {
  int code = 3;
  std::optional<std::string> typed = {};
};

class ScriptedOperator : public Operator {
 public:
  ScriptedOperator();
  ~ScriptedOperator() override;
  ScriptedOperator(const ScriptedOperator&) = delete;
  ScriptedOperator& operator=(const ScriptedOperator&) = delete;

  // ---- what the operator will do, in order ----
  void expect_gib(const std::string& pattern, int button);
  void expect_gib(const std::string& pattern, const std::string& caption);
  void expect_msg_box(const std::string& pattern, MsgAnswer answer);
  // Toggles the settings with these indices, then presses `button`.
  void expect_gibcb(const std::string& pattern, int button, std::vector<int> toggles = {});
  // Presses in turn until one is accepted.
  void expect_display_data(const std::string& pattern, std::vector<Press> presses);
  void expect_display_data(const std::string& pattern, int code);
  // Types `typed` (field index -> text) into the fields, then accepts or cancels.
  void expect_user_input(const std::string& pattern, bool accept,
                         std::map<int, std::string> typed = {});
  void expect_input_box(const std::string& pattern, std::optional<std::string> answer);
  // Chooses `path` (nothing: cancels); a non-empty `error` makes the dialog fail with it.
  void expect_file_dialog(const std::string& pattern, std::optional<std::string> path,
                          const std::string& error = "");
  void expect_color_dialog(std::optional<int32_t> color);
  // The port selection form: `act` plays the operator's clicks on the form (rows of the
  // lists), then `choice` closes it. The pattern is looked for in the caption and lb_info.
  void expect_selcom(const std::string& pattern, SelcomChoice choice,
                     std::function<void(FrmSelcom&)> act = {});
  // The password dialog: each attempt types its texts into the visible fields in order and
  // presses O&k; the dialog may refuse and stay. Still open after the last attempt (or
  // with none): &Cancel.
  void expect_password(const std::string& pattern, std::vector<std::vector<std::string>> attempts);
  // A grid form: `act` edits and clicks through the form's procedures and returns the
  // button to press; pressed, and when the form stays open the next expectation takes it.
  void expect_grid(const std::string& pattern, std::function<int(GridForm&)> act);

  // ---- what happened ----
  std::vector<Shown> shown;
  const Shown& last() const;               // fails the test when nothing was shown
  std::vector<std::string> texts() const;  // the text of every box, in order
  size_t pending() const { return queue_.size(); }
  bool check_at_end = true;

  // ---- the active window, as the serial exchange sees it ----
  bool window_active = true;
  std::string window_title;
  int flashes = 0;
  // ---- the non-modal gib ----
  bool box_open = false;
  std::string box_title;  // as last set through gib_set_title
  int box_closes = 0;
  // ---- long work (foundation/long_work.h) ----
  // Its progress boxes (non-modal, the one button "Stop") are recorded but take no
  // expectation. Stop counts as pressed once a progress box holding `stop_on_progress`
  // was shown (empty: never).
  std::string stop_on_progress;
  int progress_shown = 0;
  bool stop_pressed = false;

  // Operator
  int show_gib(const GibBox& box) override;
  void close_gib() override;
  int non_modal_choice() override;
  void set_gib_title(const std::string& title) override;
  int show_gibcb(const GibcbRequest& request, std::vector<bool>& checked) override;
  int show_display_data(const DisplayDataRequest& request) override;
  bool show_user_input(const UserInputForm& form, std::vector<std::string>& typed) override;
  std::optional<std::string> show_input_box(const std::string& prompt, const std::string& title,
                                            const std::string& default_text) override;
  MsgAnswer show_msg_box(const std::string& text, MsgButtons buttons,
                         const std::string& title) override;
  FileDialogResult show_file_dialog(const FileDialogRequest& request) override;
  std::optional<int32_t> show_color_dialog(int32_t color) override;
  bool active_window_title(std::string& title) override;
  void set_active_window_title(const std::string& title) override;
  void flash_active_window() override;
  SelcomChoice show_selcom(FrmSelcom& form) override;
  bool show_password(FrmPassword& form) override;
  int show_grid(GridForm& form) override;

 private:
  struct Expectation {
    BoxKind kind = BoxKind::Gib;
    std::string pattern = {};
    int answer = 0;
    std::string caption = {};  // gib answered by caption
    std::vector<int> toggles = {};
    std::vector<Press> presses = {};
    std::map<int, std::string> typed = {};
    std::optional<std::string> text = {};  // input box answer, file path
    std::string error = {};
    std::optional<int32_t> color = {};
    std::function<void(FrmSelcom&)> act = {};
    std::vector<std::vector<std::string>> attempts = {};
    std::function<int(GridForm&)> grid = {};
  };
  // The head of the queue when it matches `box`; otherwise records the failure and gives
  // nothing. `box` is recorded in `shown` either way.
  std::optional<Expectation> take(Shown box);
  std::deque<Expectation> queue_;
  Operator* previous_;  // put back when this one goes
};

}  // namespace ovn::test
