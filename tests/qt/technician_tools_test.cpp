// The technician's tools through the window's own dialogs: the message console's form
// with its result lines, and a power sweep's report box. With OVN_SCREENSHOT_DIR set
// (scripts/screenshots) it keeps a picture of each.

#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>
#include <cstdlib>
#include <filesystem>

#include "adjust/noise_fixture.h"
#include "link/rs232.h"
#include "link/rs232_f7.h"
#include "monitor/frm_kst_main.h"
#include "monitor/power_sweeps.h"
#include "qt/qt_operator.h"
#include "support/modal_poll.h"
#include "support/qt_application.h"

namespace ovn::test {
namespace {

class TechnicianToolsTest : public NoiseTest {
 protected:
  TechnicianToolsTest() { qt_application(); }
  ~TechnicianToolsTest() override {
    set_operator(&op);
    set_event_pump(nullptr);
    QApplication::processEvents();
  }
  // From here the window's dialogs answer.
  void use_windows() {
    set_operator(&qt_op);
    set_event_pump([] { QApplication::processEvents(); });
  }
  qt::QtOperator qt_op;
};

TEST_F(TechnicianToolsTest, TheConsoleShowsEachMessageOfALineWithItsReply) {
  open_kst(0.5);
  use_windows();
  int forms = 0;
  QString results;
  ModalPoll poll([&](QWidget* top) {
    ASSERT_EQ(top->objectName(), "user_input");
    if (++forms == 1) {
      top->findChild<QLineEdit*>("txt_field_0")->setText("VR|TA");
      top->findChild<QPushButton*>("btn_accept")->click();
      return;
    }
    for (QLabel* l : top->findChildren<QLabel*>()) results += l->text() + "\n";
    ModalPoll::grab(top, "console.png");
    top->findChild<QPushButton*>("btn_cancel")->click();  // Exit
  });
  rs232_f7();
  EXPECT_EQ(forms, 2);
  EXPECT_NE(results.indexOf("SENT\"VR\"   GOT\"KSTs150r40\""), -1) << results.toStdString();
  EXPECT_NE(results.indexOf("SENT\"TA\"   GOT\"3\""), -1) << results.toStdString();
}

TEST_F(TechnicianToolsTest, TheNoiseSweepsReportStandsInItsBox) {
  open_kst(0.5);
  sim.physics.torque.a = 0;
  FrmKstMain f;
  op.expect_input_box("Enter Starting Frequency", "115");
  op.expect_input_box("Enter Ending Frequency", "155");
  op.expect_input_box("Enter Frequency Step", "2.5");
  op.expect_gib("Are you sure", "Yes");
  op.expect_gib("#Date-And-Time", 0);
  pwr_sweep_frequency_noise(f);
  std::string report;
  for (const auto& e : std::filesystem::directory_iterator(noise_folder()))
    report = read_file(e.path().string());
  ASSERT_NE(report.find("135.135"), std::string::npos);
  use_windows();
  QString text;
  ModalPoll poll([&](QWidget* top) {
    text = top->findChild<QLabel*>("lb_text")->text();
    ModalPoll::grab(top, "sweep-report.png");
    top->findChild<QPushButton*>("btn_0")->click();
  });
  gib(report, "OK (Saved ovn-pwrfreq-vs-noise-2026-11-23_10_00_00.txt)", 0,
      "Power Frequency vs Noise");
  EXPECT_TRUE(text.startsWith("#Date-And-Time")) << text.toStdString();
}

}  // namespace
}  // namespace ovn::test
