#pragma once
// The history chart: the whole session from `SessionHistory`, with time and value axes in
// their units, a legend and grid lines. Live, it follows the newest values over the strip
// chart's width of time; the wheel zooms around the pointer, a rectangle drawn with the
// left button zooms into it, Shift with the wheel or the scroll bar moves through the
// past, and "Live" returns to the moving edge. Data keeps arriving meanwhile; the chart
// only reads the history when it is shown.

#include <QColor>
#include <QString>
#include <QWidget>
#include <array>
#include <functional>
#include <utility>

#include "monitor/session_history.h"

class QChart;
class QChartView;
class QLineSeries;
class QPushButton;
class QScrollBar;
class QValueAxis;

namespace ovn::qt {

class HistoryView;

class HistoryChart : public QWidget {
  Q_OBJECT
 public:
  struct Channel {
    QString name;  // "Torque"
    QString unit;  // "lbf-in"
    QColor color;
  };

  explicit HistoryChart(const SessionHistory& history, QWidget* parent = nullptr);

  // The channels to draw (the first `count` of `channels`); names and units go to the
  // legend and the value axes.
  void set_channels(int count, const std::array<Channel, 3>& channels);
  // How many seconds the live chart shows.
  void set_live_span(double seconds);

  bool live() const { return live_; }
  void go_live();
  // Shows from_s..to_s (seconds since the session began) and leaves the live edge.
  void show_range(double from_s, double to_s);
  std::pair<double, double> range() const { return {from_, to_}; }
  // Zooms by `factor` (below 1 zooms in) around the time `at_s`.
  void zoom(double factor, double at_s);

  // Reads the history again and redraws (a timer calls it while the chart is shown).
  void refresh();
  // The chart as a picture: SVG when the name ends in .svg, else PNG. False when the file
  // could not be written.
  bool save_image(const QString& path);
  QChart* chart() const { return chart_; }
  int points_shown(int ch) const;

  // Called with a position on the chart when the operator asks for the context menu.
  std::function<void(const QPoint& global)> on_context_menu;

 private:
  friend class HistoryView;
  void axis_changed(qreal from, qreal to);
  double time_at(qreal x_pixels) const;

  const SessionHistory& history_;
  QChart* chart_;
  HistoryView* view_;
  QValueAxis* x_;
  std::array<QValueAxis*, 3> y_{};
  std::array<QLineSeries*, 3> series_{};
  QScrollBar* scroll_;
  QPushButton* live_button_;
  int channels_ = 3;
  bool live_ = true;
  bool updating_ = false;
  double span_ = 10, from_ = 0, to_ = 10;
};

}  // namespace ovn::qt
