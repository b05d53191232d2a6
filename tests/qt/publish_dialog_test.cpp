// File > Publish...: a broker address that cannot be used is refused in the operator's
// words and the dialog stays with what was typed; a good one is kept for the next session.

#include "qt/publish_dialog.h"

#include <gtest/gtest.h>

#include <QDialogButtonBox>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>

#include "foundation/settings.h"
#include "monitor/publish.h"
#include "support/modal_poll.h"
#include "support/qt_application.h"
#include "support/seams.h"

namespace ovn::test {
namespace {

TEST(PublishDialogTest, AGoodBrokerIsKeptAndABadOneRefusedWithTheDialogStaying) {
  qt_application();
  TestSeams seams;
  qt::PublishDialog dialog;
  QStringList seen;
  ModalPoll poll([&](QWidget* top) {
    if (auto* box = qobject_cast<QMessageBox*>(top)) {
      seen << box->text();
      box->accept();
      return;
    }
    auto* url = top->findChild<QLineEdit*>("txt_url");
    if (seen.size() == 2) ModalPoll::grab(top, "publish.png");  // as the operator left it
    seen << url->text();
    url->setText(seen.size() == 1 ? "mqtt://broker" : "mqtt://stand@broker:1884/lab");
    // Pressed from the event loop, so that the refusal's own box is seen in its turn.
    QPushButton* ok = top->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok);
    QTimer::singleShot(0, ok, [ok] { ok->click(); });
  });
  EXPECT_EQ(dialog.exec(), QDialog::Accepted);
  EXPECT_EQ(seen, (QStringList{"", "\"mqtt://broker\" names no topic prefix: mqtt://host/prefix",
                               "mqtt://broker"}));
  EXPECT_EQ(seams.settings.get(kSharedApp, "Publish", "URL").value_or(""),
            "mqtt://stand@broker:1884/lab");
  PublishTarget target;
  ASSERT_TRUE(publish_stored_target(target));
  EXPECT_EQ(target.user, "stand");
  EXPECT_EQ(target.port, 1884);
}

}  // namespace
}  // namespace ovn::test
