#include "qt/chart_widget.h"

#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace ovn::qt {

namespace {

QColor to_qcolor(int32_t word) {
  return QColor(word & 0xFF, (word >> 8) & 0xFF, (word >> 16) & 0xFF);
}

// Cuts a segment to the band low..high of y. Pen heights reach +/-32767 screens, far
// beyond what the rasteriser's fixed-point coordinates hold; a line through the band
// keeps its slope. False when nothing of it is inside.
bool clip_to_band(double& x1, double& y1, double& x2, double& y2, double low, double high) {
  double t0 = 0, t1 = 1;
  const double dy = y2 - y1;
  for (auto [p, q] : {std::pair{-dy, y1 - low}, std::pair{dy, high - y1}}) {
    if (p == 0) {
      if (q < 0) return false;
      continue;
    }
    const double t = q / p;
    if (p < 0)
      t0 = std::max(t0, t);
    else
      t1 = std::min(t1, t);
  }
  if (t0 > t1) return false;
  const double dx = x2 - x1;
  const double ax = x1 + t0 * dx, ay = y1 + t0 * dy;
  x2 = x1 + t1 * dx;
  y2 = y1 + t1 * dy;
  x1 = ax;
  y1 = ay;
  return true;
}

}  // namespace

ChartWidget::ChartWidget(QWidget* parent) : QWidget(parent) {
  setAttribute(Qt::WA_OpaquePaintEvent);
  frame_timer_.setSingleShot(true);
  frame_timer_.setInterval(kFrameIntervalMs);
  connect(&frame_timer_, &QTimer::timeout, this, &ChartWidget::present);
  rebuild_image();
}

QPointF ChartWidget::to_pixels(double x, double y) const {
  const double w = std::max(image_.width() - 1, 1);
  const double h = std::max(image_.height() - 1, 1);
  return {(x - left_) / (right_ - left_) * w, (top_ - y) / (top_ - bottom_) * h};
}

void ChartWidget::set_scale(double left, double right, double bottom, double top) {
  if (right == left || top == bottom) return;  // no picture can have such edges
  left_ = left;
  right_ = right;
  bottom_ = bottom;
  top_ = top;
}

void ChartWidget::clear(int32_t color) {
  clear_color_ = color;
  image_.fill(to_qcolor(color));
  changed(image_.rect());
}

void ChartWidget::line(double x1, double y1, double x2, double y2, int32_t color) {
  const double band = std::abs(top_ - bottom_);
  const double low = std::min(top_, bottom_) - band, high = std::max(top_, bottom_) + band;
  if (!clip_to_band(x1, y1, x2, y2, low, high)) return;
  QPainter p(&image_);
  QPen pen(to_qcolor(color));
  pen.setWidthF(std::max(1.0, std::round(devicePixelRatioF())));
  pen.setCapStyle(Qt::SquareCap);
  p.setPen(pen);
  const QPointF a = to_pixels(x1, y1), b = to_pixels(x2, y2);
  if (a == b)
    p.drawPoint(a);
  else
    p.drawLine(a, b);
  const int margin = static_cast<int>(pen.widthF()) + 1;
  changed(QRectF(a, b).normalized().toAlignedRect().adjusted(-margin, -margin, margin, margin));
}

void ChartWidget::fill_rect(double x1, double y1, double x2, double y2, int32_t color) {
  const QPointF a = to_pixels(x1, y1), b = to_pixels(x2, y2);
  // Pixel edges held just outside the image, so huge values cannot overflow.
  auto px = [](double v, int size) {
    return static_cast<int>(std::lround(std::clamp(v, -1.0, size + 1.0)));
  };
  const int l = px(std::min(a.x(), b.x()), image_.width());
  const int r = px(std::max(a.x(), b.x()), image_.width());
  const int t = px(std::min(a.y(), b.y()), image_.height());
  const int bt = px(std::max(a.y(), b.y()), image_.height());
  QPainter p(&image_);
  const QRect area(QPoint(l, t), QPoint(r, bt));
  p.fillRect(area, to_qcolor(color));
  changed(area);
}

void ChartWidget::changed(const QRect& pixels) {
  dirty_ |= pixels & image_.rect();
  if (!frame_timer_.isActive()) frame_timer_.start();
}

void ChartWidget::present() {
  if (dirty_.isEmpty()) return;
  // Only the changed part goes to the screen: a round changes a narrow band.
  const qreal dpr = devicePixelRatioF();
  const QRectF logical(dirty_.x() / dpr, dirty_.y() / dpr, dirty_.width() / dpr,
                       dirty_.height() / dpr);
  dirty_ = QRect();
  update(logical.toAlignedRect().adjusted(-1, -1, 1, 1));
}

void ChartWidget::paintEvent(QPaintEvent* event) {
  QPainter p(this);
  const qreal sx = image_.width() / static_cast<qreal>(std::max(width(), 1));
  const qreal sy = image_.height() / static_cast<qreal>(std::max(height(), 1));
  const QRectF target = event->rect();
  p.drawImage(target, image_,
              QRectF(target.x() * sx, target.y() * sy, target.width() * sx, target.height() * sy));
  // The stripes wipe the picture's edges with the old trace; the border stays.
  p.setPen(to_qcolor(clear_color_ ^ 0x808080));
  p.drawRect(rect().adjusted(0, 0, -1, -1));
  ++frames_shown_;
  last_frame_area_ = event->rect();
}

void ChartWidget::rebuild_image() {
  const qreal dpr = devicePixelRatioF();
  QImage fresh(std::max(1, qRound(width() * dpr)), std::max(1, qRound(height() * dpr)),
               QImage::Format_RGB32);
  fresh.fill(to_qcolor(clear_color_));
  if (!image_.isNull()) {
    QPainter p(&fresh);
    p.drawImage(fresh.rect(), image_);
  }
  image_ = std::move(fresh);
  changed(image_.rect());
}

void ChartWidget::image_resized() {
  rebuild_image();
  if (resized_handler_) resized_handler_();
}

void ChartWidget::resizeEvent(QResizeEvent* event) {
  QWidget::resizeEvent(event);
  image_resized();
}

bool ChartWidget::event(QEvent* event) {
  const bool handled = QWidget::event(event);
  // Moved to a screen of another pixel ratio: the image must match the new pixels.
  if (event->type() == QEvent::ScreenChangeInternal &&
      image_.size() != (QSizeF(size()) * devicePixelRatioF()).toSize()) {
    image_resized();
  }
  return handled;
}

void ChartWidget::mousePressEvent(QMouseEvent* event) {
  int button = 0;
  if (event->button() == Qt::LeftButton)
    button = 1;
  else if (event->button() == Qt::RightButton)
    button = 2;
  if (button == 0 || !press_handler_) return;
  const Qt::KeyboardModifiers m = event->modifiers();
  const int shift = (m & Qt::ShiftModifier ? 1 : 0) | (m & Qt::ControlModifier ? 2 : 0) |
                    (m & Qt::AltModifier ? 4 : 0);
  const QPointF dev = event->position() * devicePixelRatioF();
  const double w = std::max(image_.width() - 1, 1);
  const double h = std::max(image_.height() - 1, 1);
  press_handler_(button, shift, left_ + dev.x() / w * (right_ - left_),
                 top_ - dev.y() / h * (top_ - bottom_));
}

}  // namespace ovn::qt
