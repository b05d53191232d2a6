#include "qt/histogram_dialog.h"

#include <QBarSeries>
#include <QBarSet>
#include <QChart>
#include <QChartView>
#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLineSeries>
#include <QMouseEvent>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>
#include <QValueAxis>
#include <functional>
#include <utility>

#include "qt/qt_operator_dialogs.h"

namespace ovn::qt {

namespace {

constexpr int kTickMs = 100;
constexpr double kReadMs = 50;  // of each tick, the rest is the window's

// The chart view that tells where the mouse is, in the chart's x units.
class MouseChartView : public QChartView {
 public:
  MouseChartView(QChart* chart, std::function<void(double)> moved, QWidget* parent)
      : QChartView(chart, parent), moved_(std::move(moved)) {
    setMouseTracking(true);
  }

 protected:
  void mouseMoveEvent(QMouseEvent* event) override {
    moved_(chart()->mapToValue(event->position()).x());
    QChartView::mouseMoveEvent(event);
  }

 private:
  std::function<void(double)> moved_;
};

}  // namespace

HistogramDialog::HistogramDialog(FrmTmHistogram& form, QWidget* parent)
    : QDialog(parent), form_(form) {
  setWindowTitle(latin1(form.caption));
  auto* layout = new QVBoxLayout(this);

  for (QLabel*& label : labels_) {
    label = new QLabel(this);
    label->setFont(QFont("Courier New", 9));
  }
  labels_[0]->setObjectName("lb_title");
  labels_[1]->setObjectName("lb_count");
  labels_[2]->setObjectName("lb_static");
  labels_[3]->setObjectName("lb_mouse");
  layout->addWidget(labels_[0]);

  chart_ = new QChart();
  chart_->legend()->hide();
  auto* series = new QBarSeries();
  series->setBarWidth(1.0);
  bars_ = new QBarSet("readings");
  bars_->setColor(QColor(0x40, 0x80, 0x40));
  bars_->setBorderColor(QColor(0x20, 0x50, 0x20));
  series->append(bars_);
  chart_->addSeries(series);
  curve_ = new QLineSeries();
  curve_->setColor(Qt::blue);
  chart_->addSeries(curve_);
  x_axis_ = new QValueAxis();
  y_axis_ = new QValueAxis();
  x_axis_->setLabelFormat("%d");
  y_axis_->setLabelFormat("%d");
  x_axis_->setTitleText("bucket");
  y_axis_->setTitleText("readings");
  chart_->addAxis(x_axis_, Qt::AlignBottom);
  chart_->addAxis(y_axis_, Qt::AlignLeft);
  for (QAbstractSeries* s :
       {static_cast<QAbstractSeries*>(series), static_cast<QAbstractSeries*>(curve_)}) {
    s->attachAxis(x_axis_);
    s->attachAxis(y_axis_);
  }
  view_ = new MouseChartView(
      chart_, [this](double x) { mouse_at(x); }, this);
  view_->setObjectName("chart");
  view_->setRenderHint(QPainter::Antialiasing);
  view_->setMinimumSize(640, 360);
  layout->addWidget(view_, 1);

  auto* readouts = new QHBoxLayout();
  readouts->addWidget(labels_[1]);
  readouts->addWidget(labels_[2]);
  readouts->addWidget(labels_[3], 1);
  layout->addLayout(readouts);

  auto* controls = new QHBoxLayout();
  auto* reset = new QPushButton("Reset", this);
  reset->setObjectName("btn_reset");
  connect(reset, &QPushButton::clicked, this, [this] {
    histogram_reset(form_);
    redraw();
  });
  controls->addWidget(reset);
  struct Box {
    const char* caption;
    bool FrmTmHistogram::*flag;
    bool resets;  // the scale follows it: counted anew
  };
  const Box boxes[] = {{"Reset every 2000 samples", &FrmTmHistogram::cb_reset_2000, false},
                       {"Show Empty Buckets", &FrmTmHistogram::cb_show_empty, false},
                       {"*MaxAllowNoise", &FrmTmHistogram::cb_max_allow_noise, true}};
  for (size_t i = 0; i < std::size(boxes); ++i) {
    const Box b = boxes[i];
    auto* cb = new QCheckBox(b.caption, this);
    cb->setObjectName("cb_cmd" + QString::number(i));
    cb->setChecked(form_.*b.flag);
    if (form_.rate_form && b.resets) cb->setEnabled(false);  // the rate form's width is typed
    connect(cb, &QCheckBox::toggled, this, [this, b](bool on) {
      form_.*b.flag = on;
      if (b.resets) histogram_reset(form_);
      redraw();
    });
    controls->addWidget(cb);
  }
  if (form_.rate_form) {
    struct Edit {
      const char* label;
      const char* name;
      std::string FrmTmHistogram::*text;
      bool resets;
    };
    for (const Edit e :
         {Edit{"YAXIS=", "txt_yaxis", &FrmTmHistogram::txt_yaxis, false},
          Edit{"BucketSize:", "txt_bucket_size", &FrmTmHistogram::txt_bucket_size, true}}) {
      controls->addWidget(new QLabel(e.label, this));
      auto* edit = new QLineEdit(latin1(form_.*e.text), this);
      edit->setObjectName(e.name);
      edit->setMaximumWidth(80);
      connect(edit, &QLineEdit::editingFinished, this, [this, e, edit] {
        form_.*e.text = latin1(edit->text());
        if (e.resets) histogram_reset(form_);
        redraw();
      });
      controls->addWidget(edit);
    }
  }
  controls->addStretch(1);
  auto* close = new QPushButton("Close", this);
  connect(close, &QPushButton::clicked, this, &QDialog::accept);
  controls->addWidget(close);
  layout->addLayout(controls);

  timer_ = new QTimer(this);
  connect(timer_, &QTimer::timeout, this, &HistogramDialog::tick);
  timer_->start(kTickMs);
  redraw();
}

void HistogramDialog::tick() {
  if (busy_) return;  // the line's wait runs the event loop, and with it this timer
  busy_ = true;
  histogram_tick(form_, kReadMs);
  busy_ = false;
  redraw();
}

void HistogramDialog::redraw() {
  const std::vector<HistogramBar> bars = histogram_bars(form_);
  QList<qreal> heights;
  QList<QPointF> curve;
  for (size_t k = 0; k < bars.size(); ++k) {
    heights.append(bars[k].readings);
    curve.append(QPointF(double(k), histogram_normal(form_, (bars[k].from + bars[k].to) / 2)));
  }
  bars_->remove(0, bars_->count());
  bars_->append(heights);
  curve_->replace(curve);
  x_axis_->setRange(-0.5, std::max<double>(bars.size(), 1) - 0.5);
  y_axis_->setRange(0, histogram_y_top(form_));
  y_axis_->applyNiceNumbers();
  labels_[0]->setText(latin1(form_.title));
  labels_[1]->setText(latin1(form_.lb_count));
  labels_[2]->setText(latin1(form_.lb_static).replace("\r\n", "\n"));
  labels_[3]->setText(latin1(form_.lb_mouse));
}

void HistogramDialog::mouse_at(double x) {
  form_.lb_mouse = histogram_mouse(form_, x);
  labels_[3]->setText(latin1(form_.lb_mouse));
}

}  // namespace ovn::qt
