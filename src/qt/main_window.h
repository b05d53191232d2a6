#pragma once
// The program's main window on screen: it renders the `frm_kst_main` model (readouts,
// units, chart, buttons, menus) and turns clicks, modifier keys and mouse buttons into the
// model's event handlers, which only store a command for the main loop.
//
// The session runs inside a one-shot timer 100 ms after the window is shown and pumps the
// event queue in its waits; the labels are copied from the model by a timer of their own,
// so a fast round costs no widget work.

#include <QLabel>
#include <QMainWindow>
#include <QTimer>
#include <array>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "monitor/frm_kst_main.h"
#include "monitor/publish.h"

class QAction;
class QCheckBox;
class QLineEdit;
class QPushButton;
class QTabWidget;

namespace ovn::qt {

class ChartWidget;
class HistoryChart;

// A label that reports presses with their button (1 left, 2 right) and shift state
// (1 Shift, 2 Ctrl, 4 Alt).
class PressLabel : public QLabel {
  Q_OBJECT
 public:
  using QLabel::QLabel;
  std::function<void(int button, int shift)> on_press;

 protected:
  void mousePressEvent(QMouseEvent* event) override;
};

class MainWindow : public QMainWindow {
  Q_OBJECT
 public:
  explicit MainWindow(QWidget* parent = nullptr);
  ~MainWindow() override;

  FrmKstMain& model() { return model_; }
  ChartWidget* chart() const { return chart_; }
  HistoryChart* history_chart() const { return history_chart_; }
  const SessionHistory& history() const { return history_; }
  // Shows the strip chart (0) or the history chart (1).
  void show_chart_tab(int index);
  // Saves the chart on show as a picture: SVG when the name ends in .svg, else PNG.
  bool save_chart_image(const QString& path);
  // Runs the load event and arms the one-shot start of the session.
  void start();
  // Copies the model into the widgets.
  void render();
  // The text of Help > About.
  static QString about_text();

 protected:
  void closeEvent(QCloseEvent* event) override;
  void showEvent(QShowEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void build_menus();
  void ask_save_chart_image();
  // File > Publish...: the broker to publish to (kept), and publishing started again.
  void ask_publish();
  // Publishing of the session now opening, when a broker is kept; the last one ended.
  void start_publishing();
  void add_help_menu();
  void render_status_bar();
  void render_history_channels();
  void chart_context_menu(const QPoint& global);
  void run_session();
  QPushButton* add_button(KstControl& control, const std::string& name, int index);

  FrmKstMain model_;
  bool in_session_ = false;
  ChartWidget* chart_ = nullptr;
  SessionHistory history_;
  HistoryChart* history_chart_ = nullptr;
  QTabWidget* charts_ = nullptr;
  QString history_channels_;
  QLabel *status_instrument_ = nullptr, *status_rate_ = nullptr, *status_file_ = nullptr;
  QLabel* status_publish_ = nullptr;
  std::unique_ptr<Publisher> publisher_;
  double publish_go_ms_ = 0;        // now_ms() when the published session began
  std::string publish_error_;       // why publishing did not start
  bool geometry_restored_ = false;  // what the history chart was last told of the channels
  QTimer render_timer_;
  std::array<PressLabel*, 3> lb_data_{}, lb_mxmn_{}, lb_units_{};
  PressLabel *lb_hz_ = nullptr, *lb_temperature_ = nullptr, *lb_time_now_ = nullptr,
             *lb_xy_ = nullptr, *lb_tech_pwm_ = nullptr, *lb_tech_rtr_ = nullptr;
  std::array<QLabel*, 8> lb_io_{}, sh_io_{};
  std::array<QLineEdit*, 6> txt_grlimits_{};
  QLineEdit* txt_sec_per_screen_ = nullptr;
  QCheckBox *cb_gridlines_ = nullptr, *cb_dots_ = nullptr;
  std::vector<std::pair<QPushButton*, KstControl*>> buttons_;
  std::vector<std::pair<QAction*, std::pair<KstMenu*, int>>> actions_;
};

// Shift state of the keyboard modifiers: 1 Shift, 2 Ctrl, 4 Alt.
int shift_state(Qt::KeyboardModifiers modifiers);

}  // namespace ovn::qt
