#pragma once
// The one application object of the Qt test program, shared by every test file.

#include <QApplication>

namespace ovn::test {

// Made on first use and never destroyed: a QApplication torn down among the static
// destructors at exit crashes once key events have created Qt's input devices.
inline QApplication& test_application() {
  static int argc = 1;
  static char name[] = "test_qt";
  static char* argv[] = {name, nullptr};
  static QApplication* app = new QApplication(argc, argv);
  return *app;
}

}  // namespace ovn::test
