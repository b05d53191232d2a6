// An adjustment step and a shunt run through the window's own dialogs: the step dialog
// with its live value, the wait boxes and the verdicts, answered by key presses as an
// operator would; and the "KST Setup" form. With OVN_SCREENSHOT_DIR set
// (scripts/screenshots) it also keeps a picture of each.

#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <cstdlib>

#include "adjust/adjust_shunt.h"
#include "adjust/adjust_step.h"
#include "adjust/noise_fixture.h"
#include "io/setup_forms.h"
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

TEST_F(AdjustDialogsTest, AShuntRunEndsInItsVerdictWithTheSpansAndTheAsymmetry) {
  open_kst(0.5);
  sim.physics.zero_counts = 0;
  sim.physics.torque.a = 0;
  QString verdict;
  ModalPoll poll(
      [&](QWidget* top) {
        if (top->objectName() == "gib") {
          for (QLabel* l : top->findChildren<QLabel*>()) verdict += l->text();
          ModalPoll::grab(top, "shunt-verdict.png");
        }
        ModalPoll::press_enter(top);
      },
      300);
  EXPECT_EQ(adj_shunt_run(kShuntRunBoth, 0, 0.002, 24, false), 3);
  EXPECT_EQ(verdict.count(" Span="), 2) << verdict.toStdString();
  EXPECT_NE(verdict.indexOf("% +/- Shunt Asymmetry"), -1) << verdict.toStdString();
}

TEST_F(AdjustDialogsTest, KstSetupStandsAsALabelledFormAndItsCancelWritesNothing) {
  open_kst(0.5);
  const auto before = sim.working;
  QStringList labels;
  ModalPoll poll([&](QWidget* top) {
    ASSERT_EQ(top->objectName(), "user_input");
    EXPECT_EQ(top->windowTitle(), "KST Setup");
    for (QLabel* l : top->findChildren<QLabel*>()) labels << l->text();
    ModalPoll::grab(top, "kst-setup.png");
    top->findChild<QPushButton*>("btn_cancel")->click();
  });
  EXPECT_FALSE(kst_setup_form());
  EXPECT_TRUE(labels.contains("NumChannels")) << labels.join("|").toStdString();
  EXPECT_TRUE(labels.contains("1 or 3 (SD)"));
  EXPECT_EQ(sim.working, before);
}

}  // namespace
}  // namespace ovn::test
