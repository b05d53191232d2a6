#include "qt/password_dialog.h"

#include <gtest/gtest.h>

#include <QLineEdit>
#include <QPushButton>

#include "support/qt_application.h"
#include "support/scripted_operator.h"
#include "support/seams.h"

namespace ovn::test {
namespace {

class PasswordDialogTest : public SeamsTest {};

TEST_F(PasswordDialogTest, TheFieldsGoToTheFormWhichDecidesWhetherTheDialogCloses) {
  qt_application();
  ScriptedOperator op;
  FrmPassword form;
  frm_password_load(form, kPasswordEnter, "");
  auto txt = [](QDialog& d, int i) { return d.findChild<QLineEdit*>(QString("txt%1").arg(i)); };
  auto ok = [](QDialog& d) { d.findChild<QPushButton*>("btn_ok")->click(); };
  qt::PasswordDialog enter(form);
  EXPECT_EQ(txt(enter, 0)->echoMode(), QLineEdit::Password);
  EXPECT_TRUE(txt(enter, 1)->isHidden());
  txt(enter, 0)->setText("kst");
  ok(enter);
  EXPECT_TRUE(form.accepted && form.txt[0].text == "kst");

  // A refused change stays open with its fields emptied.
  frm_password_load(form, kPasswordChange, "");
  qt::PasswordDialog change(form);
  EXPECT_EQ(txt(change, 1)->echoMode(), QLineEdit::Normal);
  for (int i = 0; i < 3; ++i) txt(change, i)->setText("ab");
  op.expect_msg_box("Password should be 3 characters minimum", MsgAnswer::Ok);
  op.expect_msg_box("Do you want to choose a new password?", MsgAnswer::Yes);
  ok(change);
  EXPECT_TRUE(form.visible);
  EXPECT_EQ(txt(change, 0)->text(), "");
}

}  // namespace
}  // namespace ovn::test
