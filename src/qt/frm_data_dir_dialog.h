#pragma once
// The save options dialog on screen: renders the FrmDataDir model and turns edits and
// clicks into the model's calls. All rules live in the model (monitor/frm_data_dir.h).

#include <QDialog>

#include "monitor/frm_data_dir.h"

class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace ovn::qt {

class FrmDataDirDialog : public QDialog {
  Q_OBJECT
 public:
  // The form must outlive the dialog.
  explicit FrmDataDirDialog(FrmDataDir& form, QWidget* parent = nullptr);
  // Shows the model's state; closes the dialog once the model is no longer visible.
  void render();

  QLineEdit* txt_save_rate = nullptr;
  QLabel* lb_save_rate = nullptr;
  QCheckBox* cb_event_save = nullptr;
  QCheckBox* cb_logic_io = nullptr;
  QCheckBox* cb_specify = nullptr;
  QCheckBox* cb_analysis = nullptr;
  QPushButton* btn_fn = nullptr;
  QPushButton* btn_exit = nullptr;
  QPushButton* btn_cancel = nullptr;
  QLabel* lb_desc = nullptr;

 public slots:
  // The title bar's close and Escape count as Cancel.
  void reject() override;

 private:
  // Runs a model call, then shows what it changed.
  template <class Call>
  void act(Call call);

  FrmDataDir& form_;
  bool rendering_ = false;  // the widgets are being set from the model, not by the operator
};

// Makes frm_data_dir_show open this dialog modally over `parent`.
void install_frm_data_dir_runner(QWidget* parent = nullptr);

}  // namespace ovn::qt
