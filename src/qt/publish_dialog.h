#pragma once
// File > Publish...: the MQTT broker a stand publishes to, kept for the sessions to come
// (monitor/publish.h). An address that cannot be used is refused with the reason and the
// dialog stays with what was typed; the password is never asked or kept here.

#include <QDialog>

class QLineEdit;

namespace ovn::qt {

class PublishDialog : public QDialog {
 public:
  explicit PublishDialog(QWidget* parent = nullptr);

 private:
  void try_accept();
  QLineEdit* url_ = nullptr;
  QLineEdit* ca_ = nullptr;
};

}  // namespace ovn::qt
