// The configuration audit through the window's own boxes: the failures with their
// "Save report..." button, then the passes. With OVN_SCREENSHOT_DIR set
// (scripts/screenshots) it keeps a picture of the failure box and of the report page as
// Qt's rich text draws it.

#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QKeyEvent>
#include <QPainter>
#include <QTextDocument>
#include <QTimer>
#include <cstdlib>

#include "adjust/noise_fixture.h"
#include "audit/audit_report.h"
#include "audit/checkit.h"
#include "audit/tm_check_config.h"
#include "qt/qt_operator.h"
#include "support/modal_poll.h"
#include "support/qt_application.h"

namespace ovn::test {
namespace {

class AuditBoxesTest : public NoiseTest {
 protected:
  AuditBoxesTest() {
    qt_application();
    set_operator(&qt_op);
    set_event_pump([] { QApplication::processEvents(); });
  }
  ~AuditBoxesTest() override {
    set_operator(nullptr);
    set_event_pump(nullptr);
    QApplication::processEvents();
  }
  qt::QtOperator qt_op;
};

TEST_F(AuditBoxesTest, TheFailuresComeFirstThenThePassesEachInItsOwnBox) {
  open_kst(0.5);
  sim.physics.torque.a = 0;
  const char* shots = ModalPoll::shots();
  QStringList titles;
  {
    ModalPoll poll([&](QWidget* top) {
      if (titles.isEmpty()) ModalPoll::grab(top, "audit-failures.png");
      titles << top->windowTitle();
      ModalPoll::press_enter(top);
    });
    EXPECT_FALSE(tm_check_config_run(true));
  }
  ASSERT_EQ(titles.size(), 2) << "the failure box, then the pass box";
  EXPECT_TRUE(titles[0].contains("SIM0001")) << titles[0].toStdString();
  EXPECT_EQ(titles[0], titles[1]);
  if (shots != nullptr) {
    QTextDocument page;
    page.setHtml(QString::fromStdString(audit_report_html()));
    page.setTextWidth(900);
    QImage picture(900, 1100, QImage::Format_RGB32);
    picture.fill(Qt::white);
    QPainter painter(&picture);
    page.drawContents(&painter, QRectF(0, 0, 900, 1100));
    painter.end();
    picture.save(QString(shots) + "/audit-report.png");
  }
}

}  // namespace
}  // namespace ovn::test
