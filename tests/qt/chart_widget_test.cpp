#include "qt/chart_widget.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QMouseEvent>
#include <cmath>
#include <numbers>
#include <vector>

#include "monitor/strip_chart.h"
#include "support/qt_application.h"
#include "support/seams.h"

namespace ovn {
namespace {

QColor rgb_of(int32_t word) {
  return QColor(word & 0xFF, (word >> 8) & 0xFF, (word >> 16) & 0xFF);
}

class ChartWidgetTest : public ::testing::Test {
 protected:
  ChartWidgetTest() {
    widget.resize(400, 200);
    widget.show();
    QApplication::processEvents();
    g.canvas = &widget;
    graph_read_settings(g, {100, 3000, 50});
    g.cb_gridlines = true;
    graph_clear(g);
  }

  // Sine traces on the three channels, one round every 20 ms up to `until_ms`.
  void run_until(double until_ms) {
    for (double t = g.elapsed_ms + 20; t <= until_ms; t += 20) {
      seams.clock.advance(g.t0_ms + t - now_ms());
      graph_round_start(g);
      graph_pen(g, 1, 80 * std::sin(2 * std::numbers::pi * t / 2000));
      graph_pen(g, 2, 1500 * std::cos(2 * std::numbers::pi * t / 3000));
      graph_pen(g, 3, 30 * std::sin(2 * std::numbers::pi * t / 1000 + 1));
      graph_screen_end(g);
      g.prev_elapsed_ms = g.elapsed_ms;
    }
  }

  QPoint pixel(double x_ms, double y) const {
    const QImage& img = widget.image();
    return {static_cast<int>(std::lround(x_ms / g.ms_per_screen * (img.width() - 1))),
            static_cast<int>(std::lround((1 - y) * (img.height() - 1)))};
  }
  // Whether the colour is within a pixel of the place, as rasterised lines land.
  bool near(double x_ms, double y, int32_t color) const {
    const QImage& img = widget.image();
    const QPoint c = pixel(x_ms, y);
    for (int dy = -1; dy <= 1; ++dy) {
      for (int dx = -1; dx <= 1; ++dx) {
        const QPoint p = c + QPoint(dx, dy);
        if (img.rect().contains(p) && img.pixelColor(p) == rgb_of(color)) return true;
      }
    }
    return false;
  }
  QColor at(double x_ms, double y) const { return widget.image().pixelColor(pixel(x_ms, y)); }

  QApplication& application = test::qt_application();  // before any widget
  test::TestSeams seams;
  qt::ChartWidget widget;
  StripChart g;
};

TEST_F(ChartWidgetTest, RoundsPaintTracesGridAndFrameIntoTheKeptImage) {
  run_until(3000);
  // At 1000 ms: torque 0 on +/-100, speed 1500 cos(2/3 pi) on +/-3000, power 30 sin(1).
  EXPECT_TRUE(near(1000, 0.5, g.chn[0].color));
  EXPECT_TRUE(near(1000, 0.5 - 750.0 / 6000, g.chn[1].color));
  EXPECT_TRUE(near(1000, 0.5 + 30 * std::sin(1.0) / 100, g.chn[2].color));
  EXPECT_TRUE(near(1000, 0.95, 0x202020));           // a faint grid step line under the traces
  EXPECT_TRUE(near(2510, 0.05, 0x202020));           // a faint grid mark
  EXPECT_TRUE(near(2510, 0.75, 0x606060));           // every fifth is darker
  EXPECT_EQ(at(7000, 0.6), rgb_of(g.bg_color));      // ahead of the pen: clear ground
  EXPECT_EQ(at(10000, 0.5), QColor(255, 255, 255));  // the frame's right edge
  EXPECT_EQ(at(8000, 0), QColor(255, 255, 255));     // and its bottom edge

  // On screen the picture has a border of its own, which no stripe wipes.
  widget.present();
  QApplication::processEvents();
  const QImage shown = widget.grab().toImage();
  EXPECT_EQ(shown.pixelColor(0, shown.height() / 3), QColor(128, 128, 128));

  if (const char* path = std::getenv("OVN_CHART_PNG")) {
    run_until(7400);
    widget.present();
    QApplication::processEvents();
    EXPECT_TRUE(widget.grab().save(path));
  }
}

TEST_F(ChartWidgetTest, TheScreenIsRefreshedByTheFrameTimerNotByEachRound) {
  widget.present();
  QApplication::processEvents();
  const int before = widget.frames_shown();
  run_until(2000);  // a hundred rounds
  EXPECT_LE(widget.frames_shown() - before, 1);
  EXPECT_TRUE(widget.frame_pending() || widget.frames_shown() > before);
  widget.present();
  QApplication::processEvents();
  EXPECT_GE(widget.frames_shown(), before + 1);
  EXPECT_LE(widget.frames_shown(), before + 2);
  // The next round changes a narrow band; only that band goes to the screen.
  run_until(2020);
  widget.present();
  QApplication::processEvents();
  EXPECT_GT(widget.last_frame_area().width(), 0);
  EXPECT_LT(widget.last_frame_area().width(), widget.width() / 10);
  EXPECT_GE(qt::ChartWidget::kFrameIntervalMs, 1000 / 60);
  EXPECT_LE(qt::ChartWidget::kFrameIntervalMs, 1000 / 30);
}

TEST_F(ChartWidgetTest, MousePressesArriveAsButtonShiftAndChartCoordinates) {
  struct Press {
    int button, shift;
    double x, y;
  };
  std::vector<Press> got;
  widget.on_press([&](int b, int s, double x, double y) { got.push_back({b, s, x, y}); });
  auto press = [&](Qt::MouseButton button, Qt::KeyboardModifiers mods, QPointF at) {
    QMouseEvent e(QEvent::MouseButtonPress, at, widget.mapToGlobal(at), button, button, mods);
    QApplication::sendEvent(&widget, &e);
  };
  press(Qt::RightButton, Qt::ShiftModifier, QPointF(widget.width() / 2.0, widget.height() / 4.0));
  press(Qt::LeftButton, Qt::ControlModifier | Qt::AltModifier, QPointF(0, widget.height() - 1));
  press(Qt::MiddleButton, Qt::NoModifier, QPointF(10, 10));
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(got[0].button, 2);
  EXPECT_EQ(got[0].shift, 1);
  EXPECT_NEAR(got[0].x, 5000, 10000.0 / widget.width());
  EXPECT_NEAR(got[0].y, 0.75, 1.0 / widget.height());
  EXPECT_EQ(got[1].button, 1);
  EXPECT_EQ(got[1].shift, 6);
  EXPECT_NEAR(got[1].x, 0, 1e-9);
  EXPECT_NEAR(got[1].y, 0, 1.0 / widget.height());
}

TEST_F(ChartWidgetTest, AResizeRebuildsTheImageForTheScreenAndAsksForANewScreen) {
  int resized = 0;
  widget.on_resized([&] {
    ++resized;
    graph_clear(g);
  });
  run_until(1000);
  widget.resize(300, 150);
  QApplication::processEvents();
  EXPECT_EQ(resized, 1);
  const qreal dpr = widget.devicePixelRatioF();
  EXPECT_EQ(widget.image().width(), qRound(300 * dpr));
  EXPECT_EQ(widget.image().height(), qRound(150 * dpr));
  EXPECT_EQ(at(500, 0.5), rgb_of(g.bg_color));  // the old trace is gone
  EXPECT_EQ(g.elapsed_ms, 0);
}

TEST_F(ChartWidgetTest, WildPenHeightsDrawAsSteepLinesWithinThePicture) {
  run_until(100);
  g.canvas->line(200, 0.5, 400, 32767, 0x0000FF);   // red, up through the top
  g.canvas->line(200, 0.5, 400, -32768, 0x00FF00);  // green, down through the bottom
  EXPECT_TRUE(near(200, 0.5, 0x0000FF) || near(200, 0.5, 0x00FF00));
  EXPECT_TRUE(near(200, 0.99, 0x0000FF));
  EXPECT_TRUE(near(200, 0.01, 0x00FF00));
}

}  // namespace
}  // namespace ovn
