// An adjustment step through the window's own dialogs: the step dialog with its live value,
// the wait box and the verdict, answered by key presses as an operator would. With
// OVN_SCREENSHOT_DIR set (scripts/screenshots) it also keeps a picture of the step dialog
// and of the verdict.

#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QTimer>
#include <cstdlib>

#include "adjust/adjust_step.h"
#include "adjust/noise_fixture.h"
#include "qt/qt_operator.h"
#include "support/modal_poll.h"
#include "support/qt_application.h"

namespace ovn::test {
namespace {

class AdjustDialogsTest : public NoiseTest {
 protected:
  AdjustDialogsTest() {
    qt_application();
    set_operator(&qt_op);
    set_event_pump([] { QApplication::processEvents(); });
  }
  ~AdjustDialogsTest() override {
    set_operator(nullptr);
    set_event_pump(nullptr);
    QApplication::processEvents();
  }
  qt::QtOperator qt_op;
};

TEST_F(AdjustDialogsTest, AZeroStepRunsThroughTheStepDialogAndTheVerdict) {
  open_kst(0.5);
  sim.physics.torque.a = 0;
  QStringList seen;
  // Each dialog stands a moment (the live value refreshes every 50 ms), is kept as a
  // picture when asked, and is answered with Enter: Continue, then OK.
  ModalPoll poll(
      [&](QWidget* top) {
        const QString name = top->objectName();
        seen << name;
        ModalPoll::grab(top,
                        name == "display_data" ? "adjust-step-dialog.png" : "adjust-verdict.png");
        ModalPoll::press_enter(top);
      },
      300);
  EXPECT_EQ(adj_run_step(kPointZero, 0, 0.002, 24, false), 3);
  EXPECT_EQ(seen, (QStringList{"display_data", "gib"}));
  EXPECT_NEAR(sim_display_value(sim, 1, now_ms()), 0, 1.0) << "zeroed";
}

}  // namespace
}  // namespace ovn::test
