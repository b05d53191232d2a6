// The history chart scrolls back through the session and zooms while values keep coming.

#include "qt/history_chart.h"

#include <gtest/gtest.h>

#include <QAbstractScrollArea>
#include <QApplication>
#include <QChart>
#include <QFile>
#include <QImage>
#include <QLineSeries>
#include <QValueAxis>
#include <QWheelEvent>
#include <cmath>

#include "support/qt_application.h"
#include "support/temp_dir.h"

namespace ovn::qt {
namespace {

class HistoryChartTest : public ::testing::Test {
 protected:
  HistoryChartTest() : chart(history) {
    // A minute at 100 values a second, the clock not starting at 0: torque a slow sine
    // with a spike at 20 s, speed a ramp.
    for (int i = 0; i < 6000; ++i) add(i);
    chart.set_channels(2, {HistoryChart::Channel{"Torque", "lbf-in", Qt::darkBlue},
                           {"Speed", "RPM", Qt::darkRed},
                           {"Power", "Hp", Qt::darkGreen}});
    chart.resize(900, 500);
    chart.show();
    QApplication::processEvents();
    chart.refresh();
  }
  void add(int i) {
    const double t_ms = 7000.0 + i * 10.0;
    history.add(1, t_ms, i == 2000 ? 900.0 : 100 * std::sin(i / 300.0));
    history.add(2, t_ms, i);
  }
  QApplication& app = test::qt_application();  // before any widget
  SessionHistory history;
  HistoryChart chart;
};

TEST_F(HistoryChartTest, LiveFollowsTheNewestValuesOverTheStripChartsWidth) {
  EXPECT_TRUE(chart.live());
  EXPECT_DOUBLE_EQ(chart.range().first, 59.99 - 10);
  EXPECT_DOUBLE_EQ(chart.range().second, 59.99);
  auto* x = qobject_cast<QValueAxis*>(chart.chart()->axes(Qt::Horizontal).at(0));
  EXPECT_EQ(x->titleText(), "Time (s)");
  EXPECT_DOUBLE_EQ(x->max(), 59.99);
  // Two channels: two series in the legend with their units, the third hidden.
  const auto series = chart.chart()->series();
  ASSERT_EQ(series.size(), 3);
  EXPECT_EQ(series[0]->name(), "Torque (lbf-in)");
  EXPECT_EQ(series[1]->name(), "Speed (RPM)");
  EXPECT_TRUE(series[1]->isVisible());
  EXPECT_FALSE(series[2]->isVisible());
  EXPECT_EQ(chart.points_shown(3), 0);
  // A thousand values in ten seconds, at most two points per pixel of the plot.
  EXPECT_GT(chart.points_shown(2), 100);
  EXPECT_LE(chart.points_shown(2), 2 * static_cast<int>(chart.chart()->plotArea().width()) + 2);
  chart.set_live_span(5);
  for (int i = 6000; i < 6500; ++i) add(i);
  chart.refresh();
  EXPECT_DOUBLE_EQ(chart.range().second, 64.99);
  EXPECT_DOUBLE_EQ(chart.range().first, 59.99);
}

TEST_F(HistoryChartTest, ZoomingAndScrollingLeaveTheLiveEdgeUntilLiveIsPressed) {
  chart.show_range(19, 21);
  EXPECT_FALSE(chart.live());
  // The spike at 20 s is in the picture, and the torque axis reaches above it.
  auto* torque = qobject_cast<QValueAxis*>(chart.chart()->axes(Qt::Vertical).at(0));
  EXPECT_GT(torque->max(), 900);
  EXPECT_EQ(torque->titleText(), "Torque (lbf-in)");
  chart.zoom(0.5, 20);
  EXPECT_DOUBLE_EQ(chart.range().first, 19.5);
  EXPECT_DOUBLE_EQ(chart.range().second, 20.5);
  // New values do not move a view of the past.
  for (int i = 6000; i < 6100; ++i) add(i);
  chart.refresh();
  EXPECT_DOUBLE_EQ(chart.range().first, 19.5);
  // Not before the session began, and not wider than ten milliseconds at the narrowest.
  chart.show_range(-30, -20);
  EXPECT_DOUBLE_EQ(chart.range().first, 0);
  EXPECT_DOUBLE_EQ(chart.range().second, 10);
  chart.zoom(1e-9, 5);
  EXPECT_NEAR(chart.range().second - chart.range().first, 0.01, 1e-12);
  // A rectangle drawn on the chart zooms its axis: that becomes the view.
  chart.go_live();
  EXPECT_TRUE(chart.live());
  chart.chart()->axes(Qt::Horizontal).at(0)->setRange(30.0, 32.0);
  EXPECT_FALSE(chart.live());
  EXPECT_DOUBLE_EQ(chart.range().first, 30);
  EXPECT_DOUBLE_EQ(chart.range().second, 32);
}

TEST_F(HistoryChartTest, TheWheelZoomsAroundThePointerAndWithShiftScrolls) {
  chart.show_range(10, 20);
  auto* scroll_area = chart.findChild<QAbstractScrollArea*>("history_view");
  ASSERT_NE(scroll_area, nullptr);
  QWidget* view = scroll_area->viewport();
  auto wheel = [&](int delta, Qt::KeyboardModifiers mods, double share) {
    QApplication::processEvents();  // the axes' new labels may have moved the plot area
    const QRectF area = chart.chart()->plotArea();
    const QPointF at(area.left() + share * area.width(), area.center().y());
    QWheelEvent e(at, view->mapToGlobal(at), {}, {0, delta}, Qt::NoButton, mods, Qt::NoScrollPhase,
                  false);
    QCoreApplication::sendEvent(view, &e);
  };
  wheel(120, Qt::NoModifier, 0.5);  // one notch in: four fifths of the width, same middle
  EXPECT_NEAR(chart.range().first, 11, 1e-9);
  EXPECT_NEAR(chart.range().second, 19, 1e-9);
  wheel(-120, Qt::ShiftModifier, 0.5);  // one notch back with Shift: a tenth later
  EXPECT_NEAR(chart.range().first, 11.8, 1e-9);
  EXPECT_NEAR(chart.range().second, 19.8, 1e-9);
  wheel(120, Qt::NoModifier, 0.0);  // at the left edge the left edge stays
  EXPECT_NEAR(chart.range().first, 11.8, 1e-9);
  EXPECT_NEAR(chart.range().second, 11.8 + 6.4, 1e-9);
}

TEST_F(HistoryChartTest, SavesThePictureAsPngOrSvg) {
  chart.show_range(15, 25);
  test::TempDir dir;
  const QString png = QString::fromStdString(dir.path() + "/chart.png");
  const QString svg = QString::fromStdString(dir.path() + "/chart.svg");
  ASSERT_TRUE(chart.save_image(png));
  ASSERT_TRUE(chart.save_image(svg));
  QImage image(png);
  EXPECT_FALSE(image.isNull());
  EXPECT_GE(image.width(), 600);
  QFile file(svg);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  const QByteArray text = file.readAll();
  EXPECT_TRUE(text.contains("<svg"));
  EXPECT_TRUE(text.contains("Torque (lbf-in)"));
  EXPECT_FALSE(chart.save_image(QString::fromStdString(dir.path() + "/no/such/dir/c.png")));
  // The picture of the project's documentation is made here.
  if (const char* docs = std::getenv("OVN_SCREENSHOT_DIR"))
    chart.save_image(QString(docs) + "/history-chart.png");
}

}  // namespace
}  // namespace ovn::qt
