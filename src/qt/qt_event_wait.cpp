#include "qt/qt_event_wait.h"

#include <QCoreApplication>
#include <cmath>

#include "foundation/platform.h"

namespace ovn::qt {

QtEventWait::QtEventWait() {
  deadline_.setSingleShot(true);
  deadline_.setTimerType(Qt::PreciseTimer);
  if (event_wake_fd() >= 0) {
    wake_ = new QSocketNotifier(event_wake_fd(), QSocketNotifier::Read, this);
    connect(wake_, &QSocketNotifier::activated, this, [] { drain_event_wake(); });
  }
  set_event_wait([this](double deadline_ms) { wait_until(deadline_ms); });
}

QtEventWait::~QtEventWait() {
  set_event_wait(nullptr);
}

void QtEventWait::wait_until(double deadline_ms) {
  double ms = deadline_ms - now_ms();
  if (ms <= 0) {
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    return;
  }
  // Whole milliseconds, rounded up: a wait never ends before its deadline. A handler that
  // waits in turn restarts the timer; this wait then ends with that handler's event.
  deadline_.start(static_cast<int>(std::ceil(ms)));
  QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  deadline_.stop();
}

}  // namespace ovn::qt
