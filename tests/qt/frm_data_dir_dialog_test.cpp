#include "qt/frm_data_dir_dialog.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "foundation/settings.h"
#include "monitor/data_dir.h"
#include "support/qt_application.h"
#include "support/scripted_operator.h"
#include "support/seams.h"
#include "support/temp_dir.h"

namespace ovn {
namespace {

class FrmDataDirDialogTest : public test::SeamsTest {
 protected:
  FrmDataDirDialogTest() {
    test::qt_application();
    kw_setting_put("KST", kDtdrSection, kDtdrKeyDir, temp.path());
    dtdr_init("KST");
    frm_data_dir_load(form);
  }

  test::TempDir temp;
  test::ScriptedOperator op;
  FrmDataDir form;
};

TEST_F(FrmDataDirDialogTest, TheWidgetsShowTheModelAndTheCheckBoxesGreyWhatTheyRuleOut) {
  qt::FrmDataDirDialog dialog(form);
  EXPECT_EQ(dialog.windowTitle(), "Save Data Options");
  EXPECT_EQ(dialog.txt_save_rate->text(), "1");
  EXPECT_EQ(dialog.cb_event_save->text(), "Event Save (1 slice when \"Save\" is pressed)");
  EXPECT_EQ(dialog.btn_exit->text(), "OK");
  EXPECT_TRUE(dialog.lb_desc->text().contains(QString::fromStdString(temp.path()) +
                                              "/KST.0000.csv\nThese files"));

  dialog.cb_event_save->click();
  EXPECT_TRUE(form.cb_event_save.value);
  EXPECT_FALSE(dialog.txt_save_rate->isEnabled());
  EXPECT_TRUE(dialog.cb_event_save->isEnabled());
  dialog.cb_logic_io->click();
  EXPECT_FALSE(dialog.cb_event_save->isEnabled());
  dialog.cb_logic_io->click();
  dialog.cb_event_save->click();
  EXPECT_TRUE(dialog.txt_save_rate->isEnabled());
  EXPECT_FALSE(form.cb_logic_io.value);
}

TEST_F(FrmDataDirDialogTest, OkIsRefusedUntilTheRateIsANumberThenStoresAndCloses) {
  qt::FrmDataDirDialog dialog(form);
  dialog.txt_save_rate->setText("soon");
  op.expect_gib("Save Rate must be numeric", "OK");
  dialog.btn_exit->click();
  EXPECT_TRUE(form.visible);
  EXPECT_EQ(dialog.result(), QDialog::Rejected);

  dialog.txt_save_rate->setText("2.5");
  dialog.cb_specify->click();
  dialog.btn_exit->click();
  EXPECT_FALSE(form.visible);
  EXPECT_EQ(dialog.result(), QDialog::Accepted);
  EXPECT_EQ(kw_setting_get("KST", kDtdrSection, kDtdrKeyRate, ""), "2.5");
  EXPECT_EQ(kw_setting_get("KST", kDtdrSection, kDtdrKeySpecify, ""), "True");
}

TEST_F(FrmDataDirDialogTest, CancelAndTheCloseBoxStoreNothing) {
  qt::FrmDataDirDialog dialog(form);
  dialog.txt_save_rate->setText("9");
  dialog.btn_cancel->click();
  EXPECT_FALSE(form.visible);
  EXPECT_FALSE(form.stored);
  EXPECT_EQ(dialog.result(), QDialog::Rejected);
  EXPECT_EQ(kw_setting_get("KST", kDtdrSection, kDtdrKeyRate, ""), "1");

  FrmDataDir again;
  frm_data_dir_load(again);
  qt::FrmDataDirDialog second(again);
  second.reject();  // what the title bar's close and Escape do
  EXPECT_FALSE(again.visible);
  EXPECT_FALSE(again.stored);
}

}  // namespace
}  // namespace ovn
