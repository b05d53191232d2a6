#pragma once
// The operator of a scripted run (ovn-kst --headless --answers FILE): the boxes take the
// operator's answers (monitor/answers.h) in the order they appear, so any procedure runs
// from a script with no code of its own.
//
// Which box takes what:
//   gib                 a button line
//   gibcb               CAPTION=on|off lines, then a button line
//   display_data        "=TEXT" for the step's number entry (when it has one), then a button
//                       line; a refused press (its box takes its own answer) asks again
//   user_input          LABEL=TEXT lines, or "=TEXT" for a form with one field, then a
//                       button line
//   input box           "=TEXT", then OK or Cancel (OK alone keeps the proposed text)
//   message box         a button line
//   file dialog         "=PATH", then Save or Open, or Cancel (Save alone takes the
//                       proposed name in the proposed folder); an open dialog refuses a
//                       file that does not exist
//   grid form           "ROW/COLUMN=TEXT" lines for its fields and lists, the lines the
//                       form reads itself (its clicks), then a button line; a refused
//                       button leaves it open for more lines
//   password dialog     "=TEXT" (one field) or LABEL=TEXT lines, then Ok or Cancel; a form
//                       that stays open after Ok asks again
// and these take no answer: timed and non-modal boxes, the colour dialog (cancelled), and
// the failure questions (the exchange's "Abort|Retry|Skip", a retry of a message box, the
// port selection form), which the failure policy answers as in any headless run.
//
// When the answers run out, or an answer fits none of its box's buttons (or fields),
// stderr gets "ovn-kst: ran out of answers" or "ovn-kst: answer 'X' fits none of: A|B",
// and that box and every later one get the answers of a HeadlessOperator (Cancel, so an
// adjustment puts its before-image back). Every box is written as a HeadlessOperator
// writes it; a typed password shows as "***".
//
// A "sim" line is carried out the moment it is reached: before the box that reaches past
// it takes its answer, or through reach_sim_lines.

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "monitor/answers.h"
#include "monitor/headless_operator.h"

namespace ovn {

// Holds what the simulated instrument measures.
using SimHold = std::function<void(SimQuantity, double)>;

class AnswersOperator final : public Operator {
 public:
  // `out` receives every box; it must outlive the operator. `hold` carries out sim lines
  // (without one they are skipped: the run has refused them before).
  AnswersOperator(std::vector<Answer> answers, FailurePolicy policy, std::ostream& out,
                  SimHold hold = {});

  // The next password dialog is answered with `text` and Ok, taking no answer line.
  void give_password(const std::string& text) { given_password_ = text; }
  // Carries out the sim lines standing before the next answer.
  void reach_sim_lines();
  // Whether the answers failed (ran out, or one did not fit).
  bool failed() const { return failed_; }
  // The answers never taken, sim lines included.
  size_t unused() const { return answers_.size() - next_; }
  int retries() const { return cautious_.retries(); }
  int skips() const { return cautious_.skips(); }

  int show_gib(const GibBox& box) override;
  void close_gib() override {}
  void set_gib_title(const std::string&) override {}
  int show_gibcb(const GibcbRequest& request, std::vector<bool>& checked) override;
  int show_display_data(const DisplayDataRequest& request) override;
  bool show_user_input(const UserInputForm& form, std::vector<std::string>& typed) override;
  std::optional<std::string> show_input_box(const std::string& prompt, const std::string& title,
                                            const std::string& default_text) override;
  MsgAnswer show_msg_box(const std::string& text, MsgButtons buttons,
                         const std::string& title) override;
  FileDialogResult show_file_dialog(const FileDialogRequest& request) override;
  std::optional<int32_t> show_color_dialog(int32_t color) override;
  bool active_window_title(std::string&) override { return false; }
  void set_active_window_title(const std::string&) override {}
  void flash_active_window() override {}
  SelcomChoice show_selcom(FrmSelcom& form) override;
  bool show_password(FrmPassword& form) override;
  void show_histogram(FrmTmHistogram& form) override { cautious_.show_histogram(form); }
  // "ROW/COLUMN=TEXT" lines fill fields and lists, lines the form reads itself act on it
  // (clicks), a button line presses a button of the row; until the form closes.
  int show_grid(GridForm& form) override;

 private:
  // One box's answers: the typing lines, then the button.
  struct Reply {
    std::vector<Answer> fills;
    int button = -1;
  };
  // Takes the typing lines (when `typing`) and the button line that fits `captions`. On
  // no answer or no fit: says why, marks the run failed and gives nothing.
  std::optional<Reply> take(const std::vector<std::string>& captions, bool typing);
  // Says that `a` fits none of `names` and marks the run failed.
  void misfit(const Answer& a, const std::vector<std::string>& names);
  // The next answer after the sim lines before it; nothing when they ran out.
  const Answer* peek();

  std::vector<Answer> answers_;
  size_t next_ = 0;
  std::ostream& out_;
  SimHold hold_;
  HeadlessOperator cautious_;
  bool failed_ = false;
  std::optional<std::string> given_password_;
};

}  // namespace ovn
