#pragma once
#include <QMainWindow>

namespace ovn::qt {

// The program's main window. For now it only carries the program's name and version.
class MainWindow : public QMainWindow {
  Q_OBJECT
 public:
  explicit MainWindow(QWidget* parent = nullptr);
};

}  // namespace ovn::qt
