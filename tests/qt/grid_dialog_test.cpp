// The grid forms through the window: the analog output setup, the digital I/O grid and
// the hand trim, each answered with the mouse as a technician would. With
// OVN_SCREENSHOT_DIR set (scripts/screenshots) it keeps a picture of each.

#include "qt/grid_dialog.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>

#include "adjust/noise_fixture.h"
#include "io/ao_cal.h"
#include "io/ao_setup.h"
#include "io/io_lines.h"
#include "qt/qt_operator.h"
#include "support/modal_poll.h"
#include "support/qt_application.h"

namespace ovn::test {
namespace {

class GridDialogTest : public NoiseTest {
 protected:
  GridDialogTest() {
    qt_application();
    set_operator(&qt_op);
    set_event_pump([] { QApplication::processEvents(); });
  }
  ~GridDialogTest() override {
    set_operator(&op);
    set_event_pump(nullptr);
    QApplication::processEvents();
  }
  qt::QtOperator qt_op;
};

TEST_F(GridDialogTest, TheAnalogOutputSetupIsTypedIntoItsGridAndWritten) {
  open_kst(0.5);
  int shown = 0;
  ModalPoll poll([&](QWidget* top) {
    ++shown;
    QLineEdit* fs = child<QLineEdit>(top, "cell_0_2");  // Pin G, volts at +FS
    fs->setText("12.5");
    emit fs->editingFinished();
    child<QComboBox>(top, "cell_1_0")->setCurrentText("TORQUE");
    ModalPoll::grab(top, "ao-setup.png");
    child<QPushButton>(top, "btn_0")->click();  // OK
  });
  ao_setup_command();
  EXPECT_EQ(shown, 1);
  EXPECT_EQ(sim_param(sim, "AOC"), "12.5");
  EXPECT_EQ(sim_param(sim, "AOE"), "0");
}

TEST_F(GridDialogTest, AClickInTheIoGridTakesEffectAndCancelPutsItBack) {
  open_kst(0.5);
  std::string during;
  ModalPoll poll([&](QWidget* top) {
    const int tare = io_column_of_code(3, kTmKst);
    QPushButton* cell = child<QPushButton>(top, QString("cell_3_%1").arg(tare));  // pin J
    cell->click();
    during = sim_param(sim, "IOD");
    EXPECT_EQ(cell->text(), "Lo");
    ModalPoll::grab(top, "io-setup.png");
    child<QPushButton>(top, "btn_1")->click();  // Cancel
  });
  ia_command();
  EXPECT_EQ(during, "3");
  EXPECT_EQ(sim_param(sim, "IOD"), "17");
}

TEST_F(GridDialogTest, TheTrimForcesThePointAndAbortBringsTheCountsBack) {
  open_kst(0.5);
  const std::string before = sim_param(sim, "AON");
  int shown = 0;
  ModalPoll poll([&](QWidget* top) {
    if (++shown == 1) {  // the warning
      child<QPushButton>(top, "btn_1")->click();
      return;
    }
    child<QPushButton>(top, "cell_1_0")->click();  // Pin G at 0 V
    child<QPushButton>(top, "cell_9_1")->click();  // lower by 213 counts
    EXPECT_NE(sim_param(sim, "AON"), before);
    EXPECT_EQ(sim.override_counts.count('A'), 1u);
    ModalPoll::grab(top, "ao-trim.png");
    child<QPushButton>(top, "btn_1")->click();  // Abort
  });
  ao_cal_command();
  EXPECT_EQ(shown, 2);
  EXPECT_EQ(sim_param(sim, "AON"), before);
  EXPECT_TRUE(sim.override_counts.empty());
}

}  // namespace
}  // namespace ovn::test
