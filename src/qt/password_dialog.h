#pragma once
// The password dialog on screen: renders frm_password (instrument/password.h) and hands
// the operator's typing and clicks to its procedures. What O&k does (the change mode's
// checks and questions) is the model's; the dialog closes when the model says so.
//
// Object names for tests: lb_prompt, txt0..txt2 with labels lb0..lb2, btn_ok, btn_cancel.

#include <QDialog>
#include <array>

#include "instrument/password.h"

class QLabel;
class QLineEdit;

namespace ovn::qt {

class PasswordDialog : public QDialog {
 public:
  explicit PasswordDialog(FrmPassword& form, QWidget* parent = nullptr);

  void reject() override;  // Escape and the window's close: &Cancel

 private:
  void ok_clicked();
  void show_texts();

  FrmPassword& form_;
  std::array<QLineEdit*, 3> txt_{};
};

}  // namespace ovn::qt
