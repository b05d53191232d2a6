#include "qt/password_dialog.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "qt/qt_operator_dialogs.h"

namespace ovn::qt {

PasswordDialog::PasswordDialog(FrmPassword& form, QWidget* parent) : QDialog(parent), form_(form) {
  setObjectName("frm_password");
  setWindowTitle(latin1(form.caption));
  auto* grid = new QGridLayout(this);
  auto* prompt = new QLabel(latin1(form.prompt), this);
  prompt->setObjectName("lb_prompt");
  prompt->setVisible(!form.prompt.empty());
  grid->addWidget(prompt, 0, 0, 1, 2);
  for (int i = 0; i < 3; ++i) {
    const PasswordField& field = form.txt[static_cast<size_t>(i)];
    auto* label = new QLabel(latin1(field.label), this);
    label->setObjectName(QString("lb%1").arg(i));
    auto* edit = new QLineEdit(this);
    edit->setObjectName(QString("txt%1").arg(i));
    // Qt's own masking character differs by style; the form shows "*".
    if (field.masked) {
      edit->setEchoMode(QLineEdit::Password);
      edit->setStyleSheet("lineedit-password-character: 42");
    }
    label->setBuddy(edit);
    label->setVisible(field.visible);
    edit->setVisible(field.visible);
    grid->addWidget(label, i + 1, 0);
    grid->addWidget(edit, i + 1, 1);
    txt_[static_cast<size_t>(i)] = edit;
  }
  auto* ok = new QPushButton(latin1(form.btn_ok), this);
  ok->setObjectName("btn_ok");
  ok->setDefault(true);
  auto* cancel = new QPushButton(latin1(form.btn_cancel), this);
  cancel->setObjectName("btn_cancel");
  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(ok);
  buttons->addWidget(cancel);
  grid->addLayout(buttons, 4, 0, 1, 2);
  connect(ok, &QPushButton::clicked, this, &PasswordDialog::ok_clicked);
  connect(cancel, &QPushButton::clicked, this, &PasswordDialog::reject);
  show_texts();
}

void PasswordDialog::ok_clicked() {
  for (size_t i = 0; i < txt_.size(); ++i) form_.txt[i].text = latin1(txt_[i]->text());
  frm_password_ok_click(form_);
  if (!form_.visible) {
    form_.accepted ? accept() : QDialog::reject();
    return;
  }
  show_texts();  // the operator chose to try again: the fields were cleared
  txt_[0]->setFocus();
}

void PasswordDialog::reject() {
  frm_password_cancel_click(form_);
  QDialog::reject();
}

void PasswordDialog::show_texts() {
  for (size_t i = 0; i < txt_.size(); ++i) txt_[i]->setText(latin1(form_.txt[i].text));
}

}  // namespace ovn::qt
