#include "qt/publish_dialog.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>

#include "foundation/settings.h"
#include "monitor/publish.h"

namespace ovn::qt {

PublishDialog::PublishDialog(QWidget* parent) : QDialog(parent) {
  setWindowTitle("Publish");
  setObjectName("publish_dialog");
  auto* form = new QFormLayout(this);
  url_ = new QLineEdit(QString::fromStdString(kw_setting_get(kSharedApp, "Publish", "URL", "")));
  url_->setObjectName("txt_url");
  url_->setPlaceholderText("mqtt://[user@]host[:port]/prefix  (empty: no publishing)");
  url_->setMinimumWidth(360);
  ca_ = new QLineEdit(QString::fromStdString(kw_setting_get(kSharedApp, "Publish", "CA", "")));
  ca_->setObjectName("txt_ca");
  ca_->setPlaceholderText("for mqtts://: the certificate authority file (empty: the system's)");
  form->addRow("Broker", url_);
  form->addRow("Certificate authority", ca_);
  form->addRow(
      new QLabel("The password comes from OVN_MQTT_PASSWORD or the file named by\n"
                 "OVN_MQTT_PASSWORD_FILE; it is never kept here."));
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  form->addRow(buttons);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(buttons, &QDialogButtonBox::accepted, this, &PublishDialog::try_accept);
}

void PublishDialog::try_accept() {
  const std::string why = publish_store_target(url_->text().trimmed().toStdString(),
                                               ca_->text().trimmed().toStdString());
  if (!why.empty()) {
    QMessageBox::warning(this, "Publish", QString::fromStdString(why));
    return;
  }
  accept();
}

}  // namespace ovn::qt
