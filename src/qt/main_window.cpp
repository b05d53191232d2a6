#include "qt/main_window.h"

#include <QLabel>

#include "build_info.h"

namespace ovn::qt {

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent) {
  setWindowTitle(QString("%1 %2").arg(build::program_name, build::version));
  auto* label = new QLabel(tr("No instrument connected."), this);
  label->setAlignment(Qt::AlignCenter);
  setCentralWidget(label);
  resize(900, 600);
}

}  // namespace ovn::qt
