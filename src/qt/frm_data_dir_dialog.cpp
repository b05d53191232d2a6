#include "qt/frm_data_dir_dialog.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

#include "qt/qt_operator_dialogs.h"

namespace ovn::qt {

FrmDataDirDialog::FrmDataDirDialog(FrmDataDir& form, QWidget* parent)
    : QDialog(parent), form_(form) {
  txt_save_rate = new QLineEdit(this);
  txt_save_rate->setMaximumWidth(90);
  lb_save_rate = new QLabel(this);
  cb_event_save = new QCheckBox(this);
  cb_logic_io = new QCheckBox(this);
  cb_specify = new QCheckBox(this);
  cb_analysis = new QCheckBox(this);
  btn_fn = new QPushButton(this);
  btn_exit = new QPushButton(this);
  btn_exit->setDefault(true);
  btn_cancel = new QPushButton(this);
  lb_desc = new QLabel(this);
  lb_desc->setWordWrap(true);
  setMinimumWidth(480);

  auto* rate_row = new QHBoxLayout;
  rate_row->addWidget(txt_save_rate);
  rate_row->addWidget(lb_save_rate, 1);
  auto* button_row = new QHBoxLayout;
  button_row->addWidget(btn_fn);
  button_row->addStretch(1);
  button_row->addWidget(btn_exit);
  button_row->addWidget(btn_cancel);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(lb_desc);
  layout->addLayout(rate_row);
  layout->addWidget(cb_event_save);
  layout->addWidget(cb_logic_io);
  layout->addWidget(cb_specify);
  layout->addWidget(cb_analysis);
  layout->addLayout(button_row);

  connect(txt_save_rate, &QLineEdit::textChanged, this, [this](const QString& text) {
    if (!rendering_) form_.txt_save_rate.text = latin1(text);
  });
  const std::pair<QCheckBox*, FormCheck FrmDataDir::*> checks[] = {
      {cb_event_save, &FrmDataDir::cb_event_save},
      {cb_logic_io, &FrmDataDir::cb_logic_io},
      {cb_specify, &FrmDataDir::cb_specify},
      {cb_analysis, &FrmDataDir::cb_analysis}};
  for (const auto& check : checks) {
    // Plain variables: a lambda cannot capture a structured binding on every compiler.
    QCheckBox* box = check.first;
    FormCheck FrmDataDir::*member = check.second;
    connect(box, &QCheckBox::toggled, this, [this, member](bool on) {
      if (rendering_) return;
      act([this, member, on] {
        (form_.*member).value = on;
        frm_data_dir_changed(form_);
      });
    });
  }
  connect(btn_fn, &QPushButton::clicked, this,
          [this] { act([this] { frm_data_dir_btn_fn_click(form_); }); });
  connect(btn_exit, &QPushButton::clicked, this,
          [this] { act([this] { frm_data_dir_btn_exit_click(form_); }); });
  connect(btn_cancel, &QPushButton::clicked, this, &FrmDataDirDialog::reject);
  render();
}

template <class Call>
void FrmDataDirDialog::act(Call call) {
  call();
  render();
}

void FrmDataDirDialog::render() {
  rendering_ = true;
  setWindowTitle(latin1(form_.caption));
  if (txt_save_rate->text() != latin1(form_.txt_save_rate.text)) {
    txt_save_rate->setText(latin1(form_.txt_save_rate.text));
  }
  txt_save_rate->setEnabled(form_.txt_save_rate.enabled);
  lb_save_rate->setText(latin1(form_.lb_save_rate.caption));
  const std::pair<QCheckBox*, const FormCheck*> checks[] = {{cb_event_save, &form_.cb_event_save},
                                                            {cb_logic_io, &form_.cb_logic_io},
                                                            {cb_specify, &form_.cb_specify},
                                                            {cb_analysis, &form_.cb_analysis}};
  for (auto [box, check] : checks) {
    box->setText(latin1(check->caption));
    box->setChecked(check->value);
    box->setEnabled(check->enabled);
  }
  const std::pair<QPushButton*, const FormButton*> buttons[] = {
      {btn_fn, &form_.btn_fn}, {btn_exit, &form_.btn_exit}, {btn_cancel, &form_.btn_cancel}};
  for (auto [button, model] : buttons) {
    button->setText(latin1(model->caption));
    button->setEnabled(model->enabled);
  }
  // The model's line ends are CR LF.
  lb_desc->setText(latin1(form_.lb_desc.caption).replace("\r\n", "\n"));
  rendering_ = false;
  if (!form_.visible) done(form_.stored ? QDialog::Accepted : QDialog::Rejected);
}

void FrmDataDirDialog::reject() {
  act([this] { frm_data_dir_btn_cancel_click(form_); });
}

void install_frm_data_dir_runner(QWidget* parent) {
  QPointer<QWidget> owner(parent);
  set_frm_data_dir_runner([owner](FrmDataDir& form) {
    FrmDataDirDialog dialog(form, owner.data());
    if (form.visible) dialog.exec();
  });
}

}  // namespace ovn::qt
