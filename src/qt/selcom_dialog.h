#pragma once
// The port selection form on screen: renders frm_selcom (link/selcom.h) and hands the
// operator's clicks to its procedures. A click on a port row is the choice of that port;
// a click on an ID row only marks it, the ID is taken at Retry by the caller.
//
// Object names for tests: ls_comport, ls_id, lb_commport, lb_id, lb_info, btn_retry,
// btn_abort, btn_ip.

#include <QDialog>

#include "foundation/operator.h"

class QListWidget;

namespace ovn::qt {

class SelcomDialog : public QDialog {
 public:
  explicit SelcomDialog(FrmSelcom& form, QWidget* parent = nullptr);
  // What closed the dialog; Closed until a button is pressed.
  SelcomChoice choice() const { return choice_; }

 private:
  FrmSelcom& form_;
  SelcomChoice choice_ = SelcomChoice::Closed;
};

// Shows the form modally and returns how the operator left it: what an Operator's
// show_selcom does under Qt.
SelcomChoice run_selcom_dialog(FrmSelcom& form, QWidget* parent = nullptr);

}  // namespace ovn::qt
