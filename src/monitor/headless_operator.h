#pragma once
// The operator of a run without windows (ovn-kst --headless): nobody is there to answer, so
// every question is answered by a policy stated on the command line, and every box's text
// goes to a stream (stderr) so the bench log shows what the program would have asked.
//
// The failure questions ("Abort|Retry|Skip" of the exchange, the port selection form when
// nothing talks) get the policy's answer:
//   Abort  the process ends at once (exit code 1), as the operator's Abort does;
//   Retry  tried again, at most `max_retries` times for each failed exchange (a failure
//          ends when the exchange is answered; rs232_failure_number), then Abort. The
//          port selection form has its own `max_retries` for the run;
//   Skip   the exchange goes on with an empty reply. The port selection form has no Skip:
//          without an instrument there is nothing to go on with, so it is Abort there.
// Every other box gets the cautious answer: its "Cancel" button, else its last button
// (the only "OK" of a notice, "No" of "Yes|No"); a timed box runs out (button 0); entry
// forms, file and colour dialogs are cancelled. There is no window, so no title to show.

#include <cstdint>
#include <iosfwd>
#include <string>

#include "foundation/operator.h"

namespace ovn {

enum class FailurePolicy { Retry, Skip, Abort };

// "retry", "skip" or "abort" (the command line's words); false for any other text.
bool failure_policy_parse(const std::string& word, FailurePolicy& policy);
// The command line's word for a policy.
const char* failure_policy_name(FailurePolicy policy);
// The text with every line end (CR LF, CR, LF) made LF: the instrument's and the boxes'
// CR LF left in a log or a pipe would stick to the last field of each line.
std::string lf_lines(const std::string& text);

// Writes one box to `out`: "[TITLE]", its text (line ends as "\n"), "--> ANSWER", then the
// box as one line of the conversation, "? TITLE: first line of text -> ANSWER" (without
// "TITLE: " or ": first line..." where the box has none). After an Abort, that the process
// ends.
// A form as the log shows it: "<label> = <text>" a line per field (what was typed when
// given, else the field's data), then the lines of the field's comment (a console's
// results, a hint), each on its own line.
std::string headless_form_text(const UserInputForm& form, const std::vector<std::string>* typed);
void headless_report(std::ostream& out, const std::string& title, const std::string& text,
                     const std::string& answer);

class HeadlessOperator final : public Operator {
 public:
  // `out` receives every box; it must outlive the operator.
  HeadlessOperator(FailurePolicy policy, std::ostream& out, int max_retries = 3);

  // How often the run was answered Retry and Skip, in all.
  int retries() const { return retries_; }
  int skips() const { return skips_; }

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
  // Nobody types a password: cancelled.
  bool show_password(FrmPassword& form) override;
  // A live window has nothing to show without a screen: said so, and closed.
  void show_histogram(FrmTmHistogram& form) override;
  // The grid as it stands, and its cautious button ("Cancel").
  int show_grid(GridForm& form) override;

 private:
  void report(const std::string& title, const std::string& text, const std::string& answer) {
    headless_report(out_, title, text, answer);
  }
  // The policy's word as a button caption, after the retry bound: "Abort", "Retry", "Skip".
  std::string policy_caption();
  // The index of the button the policy or the cautious rule picks from `buttons`.
  int pick(const GibButtonList& buttons);

  // The Retry answers given to the present failed exchange.
  int& failure_retries();

  FailurePolicy policy_;
  std::ostream& out_;
  int max_retries_;
  int retries_ = 0;
  int skips_ = 0;
  int64_t failure_ = -1;  // the failed exchange failure_retries_ counts for
  int failure_retries_ = 0;
  int selcom_retries_ = 0;
};

}  // namespace ovn
