#pragma once
// The one application object of a Qt test executable. Qt allows one per process, and the
// widget tests of several files share the executable: each calls this before making a
// widget. Header-only, for tests that link the Qt layer.

#include <QApplication>

namespace ovn::test {

inline QApplication& qt_application() {
  static int argc = 1;
  static char name[] = "test_qt";
  static char* argv[] = {name, nullptr};
  static QApplication* app = [] {
    if (auto* existing = qobject_cast<QApplication*>(QCoreApplication::instance())) return existing;
    return new QApplication(argc, argv);
  }();
  return *app;
}

}  // namespace ovn::test
