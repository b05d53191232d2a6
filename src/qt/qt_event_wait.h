#pragma once
// The program's one event wait (foundation/platform.h, wait_events_until) on the Qt event
// loop, for the window and the headless run alike.
//
// A wait handles what is pending, then blocks in the event loop until something arrives: a
// user-interface event, a timer, the serial port's read notifier (QSerialPort reads into its
// buffer from there), or the wake-up descriptor that signal handlers write to; a precise
// timer ends it at the deadline. Nothing polls. Installed for the object's life; one per
// process, made after the application object.

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

namespace ovn::qt {

class QtEventWait final : public QObject {
 public:
  QtEventWait();
  ~QtEventWait() override;
  QtEventWait(const QtEventWait&) = delete;
  QtEventWait& operator=(const QtEventWait&) = delete;

  void wait_until(double deadline_ms);

 private:
  QTimer deadline_;
  QSocketNotifier* wake_ = nullptr;
};

}  // namespace ovn::qt
