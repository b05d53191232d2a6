#include "qt/selcom_dialog.h"

#include <QFileInfo>
#include <QFontDatabase>
#include <QGridLayout>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSerialPortInfo>

#include "link/port_map.h"
#include "link/selcom.h"
#include "qt/qt_serial_port.h"

namespace ovn::qt {

namespace {

QString text_of(const std::string& text) {
  QString out = QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size()));
  out.replace(QLatin1String("\r\n"), QLatin1String("\n"));
  out.replace(QLatin1Char('\r'), QLatin1Char('\n'));
  return out;
}

QListWidget* list_of(const SelcomList& model, const char* name, QWidget* parent) {
  auto* list = new QListWidget(parent);
  list->setObjectName(name);
  for (const std::string& item : model.items) list->addItem(text_of(item));
  if (model.list_index >= 0 && model.list_index < list->count())
    list->setCurrentRow(model.list_index);
  list->setVisible(model.visible);
  return list;
}

}  // namespace

QString serial_device_description(const std::string& device) {
  if (device.empty()) return "(no device)";
  const QString path = QString::fromStdString(device);
  const QString real = QFileInfo(path).canonicalFilePath();
  if (real.isEmpty()) return path + "  (not present)";
  QStringList parts{real};
  for (const QSerialPortInfo& info : QSerialPortInfo::availablePorts()) {
    if (info.systemLocation() != real) continue;
    if (!info.description().isEmpty()) parts << info.description();
    if (!info.manufacturer().isEmpty() && info.manufacturer() != info.description())
      parts << info.manufacturer();
    if (info.hasVendorIdentifier() && info.hasProductIdentifier())
      parts << QString("%1:%2")
                   .arg(info.vendorIdentifier(), 4, 16, QChar('0'))
                   .arg(info.productIdentifier(), 4, 16, QChar('0'));
    if (!info.serialNumber().isEmpty()) parts << "serial " + info.serialNumber();
  }
  QString text = parts.join(", ");
  // The stable name says which adapter it is even after a replug.
  if (path != real) text += "  (" + QFileInfo(path).fileName() + ")";
  return text;
}

namespace {

// A port row: its number, then what is there.
void describe_ports(QListWidget* list, const FrmSelcom& form) {
  if (form.port_numbers.size() != static_cast<size_t>(list->count())) return;
  const std::vector<std::string> enumerated = QtSerialPort::enumerate();
  const std::string run_device = port_map_run_device();  // --port: every number names it
  for (int row = 0; row < list->count(); ++row) {
    const int n = form.port_numbers[static_cast<size_t>(row)];
    const std::string device = run_device.empty() ? port_map_device(n, enumerated) : run_device;
    list->item(row)->setText(list->item(row)->text() + "   " + serial_device_description(device));
  }
}

template <typename Widget>
Widget* control_of(const SelcomControl& model, const char* name, QWidget* parent) {
  auto* widget = new Widget(text_of(model.caption), parent);
  widget->setObjectName(name);
  widget->setVisible(model.visible);
  return widget;
}

}  // namespace

SelcomDialog::SelcomDialog(FrmSelcom& form, QWidget* parent) : QDialog(parent), form_(form) {
  setObjectName("frm_selcom");
  setWindowTitle(text_of(form.caption));
  auto* grid = new QGridLayout(this);
  auto* ports = list_of(form.ls_comport, "ls_comport", this);
  describe_ports(ports, form);
  ports->setMinimumWidth(420);
  auto* ids = list_of(form.ls_id, "ls_id", this);
  grid->addWidget(control_of<QLabel>(form.lb_commport, "lb_commport", this), 0, 0);
  grid->addWidget(control_of<QLabel>(form.lb_id, "lb_id", this), 0, 1);
  grid->addWidget(ports, 1, 0);
  grid->addWidget(ids, 1, 1);
  // The search's findings run to several lines of fixed-width text.
  auto* info = new QPlainTextEdit(text_of(form.lb_info.caption), this);
  info->setObjectName("lb_info");
  info->setReadOnly(true);
  info->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  info->setMinimumWidth(480);
  grid->addWidget(info, 2, 0, 1, 2);
  auto* retry = control_of<QPushButton>(form.btn_retry, "btn_retry", this);
  auto* abort = control_of<QPushButton>(form.btn_abort, "btn_abort", this);
  auto* ip = control_of<QPushButton>(form.btn_ip, "btn_ip", this);
  retry->setDefault(true);
  grid->addWidget(retry, 3, 0);
  grid->addWidget(abort, 3, 1);
  grid->addWidget(ip, 4, 0);

  connect(ports, &QListWidget::currentRowChanged, this, [this](int row) {
    form_.ls_comport.list_index = row;
    selcom_ls_comport_click(row);
  });
  connect(ids, &QListWidget::currentRowChanged, this,
          [this](int row) { form_.ls_id.list_index = row; });
  connect(retry, &QPushButton::clicked, this, [this] {
    choice_ = SelcomChoice::Retry;
    accept();
  });
  connect(abort, &QPushButton::clicked, this, [this] {
    choice_ = SelcomChoice::Abort;
    accept();
  });
}

SelcomChoice run_selcom_dialog(FrmSelcom& form, QWidget* parent) {
  SelcomDialog dialog(form, parent);
  dialog.exec();
  return dialog.choice();
}

}  // namespace ovn::qt
