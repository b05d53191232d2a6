#pragma once
// The operator services as real windows: the Qt side of the Operator seam. Install one in
// main with set_operator after the QApplication exists, and uninstall it before it goes.
//
// Modal requests run their own event loop (QDialog::exec), so the program's timers keep
// running while the operator thinks. A non-modal gib stays on top of the other windows and
// is closed by the caller (close_gib) or by its own buttons; its answer is not reported.
// Modal windows sit over the active window; they never take the non-modal box as their
// parent, since the caller may close it while they are open.
//
// File paths cross in the file system's own encoding (QFile::encodeName), so that the
// path the operator picked is the path the core opens; all other texts are Latin-1. A save
// dialog whose first filter is "*.<ext>" adds ".<ext>" to a name typed without one.

#include <QPointer>

#include "foundation/operator.h"
#include "qt/qt_operator_dialogs.h"

namespace ovn::qt {

// The count-down fires every 102 ms and display_data refreshes every 50 ms; tests may run
// them faster.
struct OperatorTiming {
  int countdown_ms = 102;
  int refresh_ms = 50;
};

class QtOperator final : public Operator {
 public:
  explicit QtOperator(OperatorTiming timing = OperatorTiming());
  ~QtOperator() override;

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
  void show_histogram(FrmTmHistogram& form) override;
  int show_grid(GridForm& form) override;

  // The open non-modal box, or nullptr.
  GibDialog* open_box() const { return open_box_; }

 private:
  QWidget* owner() const;
  OperatorTiming timing_;
  QPointer<GibDialog> open_box_;
};

// The fatal error reporter of the program: the text in the plain message box when an
// operator is installed, on stderr otherwise.
void report_fatal(const std::string& text);

}  // namespace ovn::qt
