#pragma once
// A grid form on screen (foundation/operator.h): a QGridLayout of the cells, fields as
// line edits, lists as combo boxes, sliders, and buttons that take both mouse buttons.
// Every edit and click goes to the form's procedures, then the cells are drawn anew from
// the form; the button row goes to the form's close.
//
// Object names for tests: cell_<row>_<column>, lb_info, btn_<index>.

#include <QDialog>
#include <vector>

#include "foundation/operator.h"

class QLabel;

namespace ovn::qt {

class GridDialog : public QDialog {
 public:
  explicit GridDialog(GridForm& form, QWidget* parent = nullptr);
  int choice() const { return choice_; }
  void reject() override;  // the window's close: the last button

 private:
  void press(int index);
  void refresh();
  GridForm& form_;
  std::vector<std::vector<QWidget*>> cells_;
  QLabel* info_ = nullptr;
  int choice_ = -1;
  bool refreshing_ = false;
};

}  // namespace ovn::qt
