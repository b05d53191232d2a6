#pragma once
// The strip chart on screen. It is the chart's canvas: every drawing call paints into an
// image the widget keeps (sized in device pixels for the screen it is on), and the screen
// is refreshed from that image by a timer at most kFrameIntervalMs apart, never once per
// round, so a fast sample rate costs no extra repaints. Mouse presses are handed to the
// owner as button, shift state and chart coordinates; nothing else is decided here.

#include <QImage>
#include <QTimer>
#include <QWidget>
#include <functional>

#include "monitor/canvas.h"

namespace ovn::qt {

class ChartWidget : public QWidget, public Canvas {
  Q_OBJECT
 public:
  static constexpr int kFrameIntervalMs = 25;  // at most 40 frames a second

  explicit ChartWidget(QWidget* parent = nullptr);

  // Canvas
  void set_scale(double left, double right, double bottom, double top) override;
  void clear(int32_t color) override;
  void line(double x1, double y1, double x2, double y2, int32_t color) override;
  void fill_rect(double x1, double y1, double x2, double y2, int32_t color) override;

  // A mouse press: button 1 left or 2 right; shift state 1 Shift, 2 Ctrl, 4 Alt, added;
  // the point in chart coordinates. Other buttons are not passed on.
  using PressHandler = std::function<void(int button, int shift, double x, double y)>;
  void on_press(PressHandler handler) { press_handler_ = std::move(handler); }
  // Called after a resize or a move to a screen of another pixel ratio has rebuilt the
  // image. The owner starts a new screen (the main window only notes it; its loop clears
  // the chart). Until then, and for a paused chart, the image holds the old picture
  // stretched to fit.
  void on_resized(std::function<void()> handler) { resized_handler_ = std::move(handler); }

  const QImage& image() const { return image_; }
  // Puts the image on screen if it changed since it was last shown; the frame timer
  // calls this.
  void present();
  bool frame_pending() const { return frame_timer_.isActive(); }
  int frames_shown() const { return frames_shown_; }
  // The part of the widget the last frame repainted (logical pixels).
  QRect last_frame_area() const { return last_frame_area_; }

 protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  bool event(QEvent* event) override;

 private:
  QPointF to_pixels(double x, double y) const;
  void rebuild_image();
  void image_resized();
  // Notes the image pixels a drawing call touched, to be shown by the next frame.
  void changed(const QRect& pixels);

  QImage image_;
  QTimer frame_timer_;
  QRect dirty_;  // image pixels changed since the last frame
  int frames_shown_ = 0;
  QRect last_frame_area_;
  double left_ = 0, right_ = 1, bottom_ = 0, top_ = 1;
  int32_t clear_color_ = 0;
  PressHandler press_handler_;
  std::function<void()> resized_handler_;
};

}  // namespace ovn::qt
