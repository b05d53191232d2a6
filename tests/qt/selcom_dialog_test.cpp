#include "qt/selcom_dialog.h"

#include <gtest/gtest.h>

#include <pty.h>
#include <unistd.h>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <filesystem>

#include "foundation/settings.h"
#include "link/selcom.h"
#include "sim/sim_port.h"
#include "support/qt_application.h"
#include "support/seams.h"
#include "support/temp_dir.h"

namespace ovn::test {
namespace {

class SelcomDialogTest : public SeamsTest {
 protected:
  SelcomDialogTest() {
    sim_init(sim, SimConfig{});
    set_command_line("-nocommportscan");
  }
  SimInstrument sim;
  SimPort port{sim};
};

TEST_F(SelcomDialogTest, TheDialogShowsTheFormAndHandsClicksToIt) {
  qt_application();
  selcom_load(port);
  FrmSelcom& form = frm_selcom();
  form.caption = "Choose COM port for KST";
  form.lb_info.caption = "115200,n,8,1 w/ KST Bad Response ATMA:\r\n:COM1\r\n";
  form.ls_comport.list_index = 0;
  qt::SelcomDialog dialog(form);
  EXPECT_EQ(dialog.windowTitle(), "Choose COM port for KST");
  auto* ports = dialog.findChild<QListWidget*>("ls_comport");
  auto* ids = dialog.findChild<QListWidget*>("ls_id");
  ASSERT_TRUE(ports && ids);
  EXPECT_EQ(ports->count(), 32);
  EXPECT_TRUE(ports->item(31)->text().startsWith("COM32   "))
      << ports->item(31)->text().toStdString();
  EXPECT_EQ(ids->count(), 54);
  EXPECT_TRUE(ids->isHidden());
  EXPECT_TRUE(dialog.findChild<QPushButton*>("btn_ip")->isHidden());
  EXPECT_EQ(dialog.findChild<QPlainTextEdit*>("lb_info")->toPlainText(),
            "115200,n,8,1 w/ KST Bad Response ATMA:\n:COM1\n");

  // A port row is the choice of that port at once.
  ports->setCurrentRow(4);
  EXPECT_EQ(port.port_number(), 5);
  EXPECT_EQ(form.ls_comport.list_index, 4);
  ids->setCurrentRow(3);
  EXPECT_EQ(form.ls_id.list_index, 3);

  EXPECT_EQ(dialog.choice(), SelcomChoice::Closed);
  dialog.findChild<QPushButton*>("btn_retry")->click();
  EXPECT_EQ(dialog.choice(), SelcomChoice::Retry);
  dialog.findChild<QPushButton*>("btn_abort")->click();
  EXPECT_EQ(dialog.choice(), SelcomChoice::Abort);
}

TEST_F(SelcomDialogTest, EachPortRowSaysWhatDeviceItNamesAndWhatIsThere) {
  qt_application();
  int master = -1, slave = -1;
  ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
  const std::string pty = ttyname(slave);
  TempDir dir;
  const std::string link = dir.path() + "/usb-Maker_Adapter_A10K1-if00-port0";
  std::filesystem::create_symlink(pty, link);
  // The operator's map: COM5 is the adapter by its stable name, COM6 one that is away.
  seams.settings.put("OVN-Shared", "Ports", "COM5", link);
  seams.settings.put("OVN-Shared", "Ports", "COM6", "/dev/ttyUSB97");
  EXPECT_EQ(qt::serial_device_description(""), "(no device)");
  EXPECT_EQ(qt::serial_device_description(pty), QString::fromStdString(pty));
  EXPECT_EQ(qt::serial_device_description("/dev/ttyUSB97"), "/dev/ttyUSB97  (not present)");
  selcom_load(port);
  qt::SelcomDialog dialog(frm_selcom());
  auto* ports = dialog.findChild<QListWidget*>("ls_comport");
  ASSERT_NE(ports, nullptr);
  EXPECT_EQ(ports->item(4)->text().toStdString(),
            "COM5   " + pty + "  (usb-Maker_Adapter_A10K1-if00-port0)");
  EXPECT_EQ(ports->item(5)->text(), "COM6   /dev/ttyUSB97  (not present)");
  if (const char* docs = std::getenv("OVN_SCREENSHOT_DIR")) {  // scripts/screenshots
    dialog.show();
    dialog.grab().save(QString(docs) + "/port-picker.png");
  }
  close(slave);
  close(master);
}

}  // namespace
}  // namespace ovn::test
