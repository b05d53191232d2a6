#pragma once
// A live histogram on screen: renders frm_tm_histogram or frm_tm_histogramx
// (adjust/histogram.h) with Qt Charts, bars and the blue normal curve, and hands the
// check boxes, the boxes of the rate form and Reset to the model. Its timer reads the
// instrument through histogram_tick while the dialog is open.
//
// Object names for tests: chart, btn_reset, cb_cmd0..cb_cmd2, txt_yaxis, txt_bucket_size,
// lb_title, lb_count, lb_static, lb_mouse.

#include <QDialog>
#include <array>

#include "adjust/histogram.h"

class QBarSet;
class QCheckBox;
class QChart;
class QChartView;
class QLabel;
class QLineSeries;
class QTimer;
class QValueAxis;

namespace ovn::qt {

class HistogramDialog : public QDialog {
 public:
  explicit HistogramDialog(FrmTmHistogram& form, QWidget* parent = nullptr);

  // One tick of the timer: readings, then the picture. Also for tests.
  void tick();
  // Draws the model as it stands.
  void redraw();
  // The mouse over the chart at `x` in bar positions (the chart's own axis).
  void mouse_at(double x);

 private:
  FrmTmHistogram& form_;
  QChart* chart_ = nullptr;
  QChartView* view_ = nullptr;
  QBarSet* bars_ = nullptr;
  QLineSeries* curve_ = nullptr;
  QValueAxis* x_axis_ = nullptr;
  QValueAxis* y_axis_ = nullptr;
  std::array<QLabel*, 4> labels_{};  // title, count, static, mouse
  QTimer* timer_ = nullptr;
  bool busy_ = false;  // a tick waits on the line: the next waits for it
};

}  // namespace ovn::qt
