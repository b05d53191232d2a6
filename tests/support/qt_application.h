#pragma once
// The one application object of a Qt test executable. Qt allows one per process, and the
// widget tests of several files share the executable: each calls this before making a
// widget; and the child widgets a test looks up by name. Header-only, for tests that link
// the Qt layer.

#include <gtest/gtest.h>

#include <QApplication>

namespace ovn::test {

// The child widget of `parent` named `name`; a test failure when there is none.
template <typename W = QWidget>
W* child(const QObject* parent, const QString& name) {
  W* found = parent->findChild<W*>(name);
  EXPECT_NE(found, nullptr) << "no widget " << name.toStdString();
  return found;
}

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
