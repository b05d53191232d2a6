#pragma once
// For tests of the window's own dialogs: hands each modal dialog, once it has stood
// `stand_ms` (painted, its live values refreshed), to `act`, which answers it as an
// operator would; and keeps pictures of dialogs when OVN_SCREENSHOT_DIR is set. Qt tests
// only.

#include <QApplication>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QTimer>
#include <QWidget>
#include <cstdlib>
#include <functional>

namespace ovn::test {

class ModalPoll {
 public:
  explicit ModalPoll(std::function<void(QWidget*)> act, int stand_ms = 200)
      : act_(std::move(act)), stand_ms_(stand_ms) {
    QObject::connect(&poll_, &QTimer::timeout, [this] { look(); });
    poll_.start(20);
  }
  ~ModalPoll() { poll_.stop(); }
  ModalPoll(const ModalPoll&) = delete;
  ModalPoll& operator=(const ModalPoll&) = delete;

  // The screenshot folder asked for, or nullptr.
  static const char* shots() { return std::getenv("OVN_SCREENSHOT_DIR"); }
  // Keeps a picture of `w` as `file` in the screenshot folder, when one is asked for.
  static void grab(QWidget* w, const char* file) {
    if (shots() != nullptr) w->grab().save(QString(shots()) + "/" + file);
  }
  // Enter, to the widget with the focus (the dialog's default button answers).
  static void press_enter(QWidget* dialog) {
    QWidget* target = QApplication::focusWidget() ? QApplication::focusWidget() : dialog;
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    QApplication::sendEvent(target, &press);
  }

 private:
  void look() {
    QWidget* top = QApplication::activeModalWidget();
    if (top == nullptr || !top->isVisible()) {
      shown_.invalidate();
      return;
    }
    if (!shown_.isValid()) shown_.start();
    if (shown_.elapsed() < stand_ms_) return;
    shown_.invalidate();
    act_(top);
  }
  std::function<void(QWidget*)> act_;
  int stand_ms_;
  QTimer poll_;
  QElapsedTimer shown_;
};

}  // namespace ovn::test
