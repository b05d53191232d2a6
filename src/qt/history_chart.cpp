#include "qt/history_chart.h"

#include <QChart>
#include <QChartView>
#include <QHBoxLayout>
#include <QLegendMarker>
#include <QLineSeries>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QScrollBar>
#include <QSvgGenerator>
#include <QTimer>
#include <QVBoxLayout>
#include <QValueAxis>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

namespace ovn::qt {

namespace {

constexpr double kMinSpanS = 0.01;  // the narrowest view: ten milliseconds
constexpr int kRefreshMs = 200;

}  // namespace

// The chart's view: the wheel zooms or (with Shift) scrolls, the right button asks for the
// context menu instead of zooming out, and a drawn rectangle zooms in along the time axis.
class HistoryView : public QChartView {
 public:
  HistoryView(QChart* chart, HistoryChart* owner) : QChartView(chart), owner_(owner) {
    setRubberBand(QChartView::HorizontalRubberBand);
    setRenderHint(QPainter::Antialiasing, false);
  }

 protected:
  void wheelEvent(QWheelEvent* event) override {
    const QPoint delta = event->angleDelta();
    const auto [from, to] = owner_->range();
    if ((event->modifiers() & Qt::ShiftModifier) || delta.x() != 0) {
      const int steps = delta.x() != 0 ? delta.x() : delta.y();
      const double shift = -(to - from) * 0.1 * steps / 120.0;
      owner_->show_range(from + shift, to + shift);
    } else if (delta.y() != 0) {
      owner_->zoom(std::pow(0.8, delta.y() / 120.0), owner_->time_at(event->position().x()));
    }
    event->accept();
  }
  void mouseReleaseEvent(QMouseEvent* event) override {
    if (event->button() == Qt::RightButton) {
      if (owner_->on_context_menu) owner_->on_context_menu(event->globalPosition().toPoint());
      event->accept();
      return;
    }
    QChartView::mouseReleaseEvent(event);
  }

 private:
  HistoryChart* owner_;
};

HistoryChart::HistoryChart(const SessionHistory& history, QWidget* parent)
    : QWidget(parent), history_(history), chart_(new QChart), x_(new QValueAxis(chart_)) {
  chart_->legend()->setAlignment(Qt::AlignTop);
  chart_->setMargins(QMargins(4, 4, 4, 4));
  x_->setTitleText("Time (s)");
  x_->setLabelFormat("%.6g");
  chart_->addAxis(x_, Qt::AlignBottom);
  for (size_t i = 0; i < 3; ++i) {
    series_[i] = new QLineSeries(chart_);
    series_[i]->setUseOpenGL(false);
    chart_->addSeries(series_[i]);
    y_[i] = new QValueAxis(chart_);
    y_[i]->setLabelFormat("%.6g");
    // The first channel's axis on the left with the grid; the others on the right.
    y_[i]->setGridLineVisible(i == 0);
    chart_->addAxis(y_[i], i == 0 ? Qt::AlignLeft : Qt::AlignRight);
    series_[i]->attachAxis(x_);
    series_[i]->attachAxis(y_[i]);
  }
  connect(x_, &QValueAxis::rangeChanged, this, &HistoryChart::axis_changed);

  view_ = new HistoryView(chart_, this);
  view_->setObjectName("history_view");
  view_->setMinimumSize(600, 300);
  scroll_ = new QScrollBar(Qt::Horizontal, this);
  connect(scroll_, &QScrollBar::sliderMoved, this, [this](int ms) {
    const double width = to_ - from_;
    show_range(ms / 1000.0, ms / 1000.0 + width);
  });
  live_button_ = new QPushButton("Live", this);
  live_button_->setToolTip("Follow the newest values again");
  connect(live_button_, &QPushButton::clicked, this, &HistoryChart::go_live);

  auto* bottom = new QHBoxLayout;
  bottom->addWidget(scroll_, 1);
  bottom->addWidget(live_button_);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(view_, 1);
  layout->addLayout(bottom);

  auto* timer = new QTimer(this);
  timer->setInterval(kRefreshMs);
  connect(timer, &QTimer::timeout, this, [this] {
    if (isVisible()) refresh();
  });
  timer->start();
  refresh();
}

void HistoryChart::set_channels(int count, const std::array<Channel, 3>& channels) {
  channels_ = std::clamp(count, 1, 3);
  for (size_t i = 0; i < 3; ++i) {
    const bool shown = static_cast<int>(i) < channels_;
    const Channel& c = channels[i];
    const QString title = c.unit.isEmpty() ? c.name : QString("%1 (%2)").arg(c.name, c.unit);
    series_[i]->setName(title);
    series_[i]->setPen(QPen(c.color, 1.5));
    series_[i]->setVisible(shown);
    y_[i]->setTitleText(title);
    y_[i]->setLinePenColor(c.color);
    y_[i]->setLabelsColor(c.color);
    y_[i]->setTitleBrush(c.color);
    y_[i]->setVisible(shown);
    for (QLegendMarker* m : chart_->legend()->markers(series_[i])) m->setVisible(shown);
  }
}

void HistoryChart::set_live_span(double seconds) {
  if (seconds > 0) span_ = seconds;
}

void HistoryChart::go_live() {
  live_ = true;
  refresh();
}

void HistoryChart::show_range(double from_s, double to_s) {
  const double width = std::max(to_s - from_s, kMinSpanS);
  // Not before the session nor wholly past its end.
  from_s = std::clamp(from_s, 0.0, std::max(0.0, history_.last_s() - width / 2));
  from_ = from_s;
  to_ = from_s + width;
  live_ = false;
  refresh();
}

void HistoryChart::zoom(double factor, double at_s) {
  const double width = std::max((to_ - from_) * factor, kMinSpanS);
  const double share = to_ > from_ ? (at_s - from_) / (to_ - from_) : 0.5;
  show_range(at_s - share * width, at_s - share * width + width);
}

double HistoryChart::time_at(qreal x_pixels) const {
  const QRectF area = chart_->plotArea();
  const double share = area.width() > 0 ? (x_pixels - area.left()) / area.width() : 0.5;
  return from_ + std::clamp(share, 0.0, 1.0) * (to_ - from_);
}

void HistoryChart::axis_changed(qreal from, qreal to) {
  // The view's own zoom (a drawn rectangle) moved the axis: that range is the operator's.
  if (updating_) return;
  show_range(from, to);
}

int HistoryChart::points_shown(int ch) const {
  return ch < 1 || ch > 3 ? 0 : static_cast<int>(series_[static_cast<size_t>(ch - 1)]->count());
}

void HistoryChart::refresh() {
  if (live_) {
    to_ = std::max(history_.last_s(), span_);
    from_ = to_ - span_;
  }
  const auto pixels = static_cast<size_t>(std::max(100.0, chart_->plotArea().width()));
  updating_ = true;
  x_->setRange(from_, to_);
  for (size_t i = 0; i < 3; ++i) {
    QList<QPointF> points;
    double low = INFINITY, high = -INFINITY;
    if (static_cast<int>(i) < channels_) {
      const auto buckets = history_.view(static_cast<int>(i) + 1, from_, to_, pixels);
      points.reserve(2 * static_cast<qsizetype>(buckets.size()));
      for (const HistoryBucket& b : buckets) {
        // Each bucket as its two extremes in the order they came, so a peak stays a peak.
        const float first = b.high_last ? b.low : b.high, second = b.high_last ? b.high : b.low;
        points.append({b.t0, first});
        if (b.t1 != b.t0 || first != second) points.append({b.t1, second});
        low = std::min(low, static_cast<double>(b.low));
        high = std::max(high, static_cast<double>(b.high));
      }
    }
    series_[i]->replace(points);
    if (low <= high) {
      const double pad = std::max((high - low) * 0.05, std::max(std::abs(high), 1.0) * 1e-6);
      y_[i]->setRange(low - pad, high + pad);
      y_[i]->applyNiceNumbers();  // round steps: 0, 250, 500 rather than 128.183
    }
  }
  updating_ = false;

  const int last_ms = static_cast<int>(std::min(history_.last_s() * 1000.0, 2e9));
  const int width_ms = static_cast<int>(std::min((to_ - from_) * 1000.0, 2e9));
  scroll_->setRange(0, std::max(0, last_ms - width_ms));
  scroll_->setPageStep(std::max(1, width_ms));
  scroll_->setSingleStep(std::max(1, width_ms / 10));
  if (!scroll_->isSliderDown()) scroll_->setValue(static_cast<int>(from_ * 1000.0));
  live_button_->setEnabled(!live_);
}

bool HistoryChart::save_image(const QString& path) {
  if (path.endsWith(".svg", Qt::CaseInsensitive)) {
    QSvgGenerator svg;
    svg.setFileName(path);
    svg.setSize(view_->size());
    svg.setViewBox(view_->rect());
    svg.setTitle("ovn-kst history chart");
    QPainter p;
    if (!p.begin(&svg)) return false;
    view_->render(&p);
    return p.end();
  }
  return view_->grab().save(path, "PNG");
}

}  // namespace ovn::qt
