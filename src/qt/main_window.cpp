#include "qt/main_window.h"

#include <QAction>
#include <QCheckBox>
#include <QCloseEvent>
#include <QDesktopServices>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QShowEvent>
#include <QStatusBar>
#include <QSvgGenerator>
#include <QTabWidget>
#include <QUrl>
#include <QVBoxLayout>

#include "build_info.h"
#include "foundation/files.h"
#include "foundation/settings.h"
#include "foundation/version_notice.h"
#include "instrument/tm_info.h"
#include "link/rs232.h"
#include "monitor/data_dir.h"
#include "monitor/kst_commands.h"
#include "qt/chart_widget.h"
#include "qt/history_chart.h"
#include "qt/publish_dialog.h"
#include "qt/qt_operator_dialogs.h"

namespace ovn::qt {

namespace {

// Line ends of the model's captions are CR LF; a label breaks at LF alone.
QString caption_text(const std::string& text) {
  return latin1(text).remove(QChar('\r'));
}

QString color_style(int32_t word) {
  if (word < 0) return {};
  return QString("background-color: #%1%2%3;")
      .arg(word & 0xFF, 2, 16, QChar('0'))
      .arg((word >> 8) & 0xFF, 2, 16, QChar('0'))
      .arg((word >> 16) & 0xFF, 2, 16, QChar('0'));
}

// The splash: program, version and device over the start-up, on top of the main window
// until its time is up or a key is pressed; the start-up does not wait for it.
class SplashWindow : public QFrame {
 public:
  explicit SplashWindow(int ms) : QFrame(nullptr, Qt::SplashScreen | Qt::WindowStaysOnTopHint) {
    setAttribute(Qt::WA_DeleteOnClose);
    setFrameShape(QFrame::Box);
    auto* v = new QVBoxLayout(this);
    auto add = [&](const QString& text, int points, bool bold) {
      auto* l = new QLabel(text, this);
      QFont f = l->font();
      f.setPointSize(points);
      f.setBold(bold);
      l->setFont(f);
      l->setAlignment(Qt::AlignCenter);
      v->addWidget(l);
    };
    add("KST", 28, true);                                                    // pic_device
    add("ovn-kst", 20, true);                                                // lb_program_name
    add("Version " + QString::fromStdString(kw_version_text()), 11, false);  // lb_version
    add("Windows interface to the Kestrel Torquemeter", 11, false);          // lb_description
    setMinimumSize(460, 240);
    QTimer::singleShot(ms, this, &QWidget::close);
  }

 protected:
  void keyPressEvent(QKeyEvent*) override { close(); }
};

int button_of(Qt::MouseButton b) {
  return b == Qt::LeftButton ? 1 : b == Qt::RightButton ? 2 : 0;
}

void show_control(QWidget* w, const KstControl& c, const QString& extra_style = {}) {
  w->setVisible(c.visible);
  w->setEnabled(c.enabled);
  QString tip = caption_text(c.tool_tip);
  if (w->toolTip() != tip) w->setToolTip(tip);
  QString style = color_style(c.back_color) + extra_style;
  if (w->styleSheet() != style) w->setStyleSheet(style);
}

void show_label(QLabel* l, const KstControl& c, const QString& extra_style = {}) {
  QString text = caption_text(c.caption);
  if (l->text() != text) l->setText(text);
  show_control(l, c, extra_style);
}

}  // namespace

int shift_state(Qt::KeyboardModifiers m) {
  return (m & Qt::ShiftModifier ? 1 : 0) + (m & Qt::ControlModifier ? 2 : 0) +
         (m & Qt::AltModifier ? 4 : 0);
}

void PressLabel::mousePressEvent(QMouseEvent* event) {
  int button = button_of(event->button());
  if (button && on_press) on_press(button, shift_state(event->modifiers()));
  QLabel::mousePressEvent(event);
}

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent) {
  auto* central = new QWidget(this);
  auto* outer = new QVBoxLayout(central);

  // The readouts: value, unit and max/min per channel.
  auto* readouts = new QGridLayout;
  QFont big = font();
  big.setPointSize(big.pointSize() * 2);
  big.setBold(true);
  for (int i = 0; i < 3; ++i) {
    lb_data_[i] = new PressLabel(central);
    lb_data_[i]->setFont(big);
    lb_data_[i]->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    lb_data_[i]->setMinimumWidth(170);
    lb_data_[i]->on_press = [this, i](int b, int s) {
      kst_on_mouse_down(model_, "lb_data", i, b, s);
    };
    lb_units_[i] = new PressLabel(central);
    lb_units_[i]->on_press = [this, i](int b, int s) {
      kst_on_mouse_down(model_, "lb_units", i, b, s);
    };
    lb_mxmn_[i] = new PressLabel(central);
    lb_mxmn_[i]->on_press = [this, i](int b, int s) {
      kst_on_mouse_down(model_, "lb_mxmn", i, b, s);
    };
    lb_data_[i]->setObjectName(QString("lb_data%1").arg(i));
    lb_units_[i]->setObjectName(QString("lb_units%1").arg(i));
    lb_mxmn_[i]->setObjectName(QString("lb_mxmn%1").arg(i));
    readouts->addWidget(lb_data_[i], 0, 2 * i);
    readouts->addWidget(lb_units_[i], 0, 2 * i + 1);
    readouts->addWidget(lb_mxmn_[i], 1, 2 * i, 1, 2);
  }
  outer->addLayout(readouts);

  // The chart with its limit boxes: upper limits above, lower limits below.
  auto* limits_top = new QHBoxLayout;
  auto* limits_bottom = new QHBoxLayout;
  for (int i = 0; i < 6; ++i) {
    auto* box = new QLineEdit(central);
    box->setMaximumWidth(110);
    box->installEventFilter(this);
    connect(box, &QLineEdit::textEdited, this, [this, i](const QString& text) {
      model_.graph.txt_grlimits[i] = latin1(text);
      txt_grlimits_change(model_.graph, i);
    });
    box->setObjectName(QString("txt_grlimits%1").arg(i));
    txt_grlimits_[i] = box;
    (i < 3 ? limits_top : limits_bottom)->addWidget(box);
  }
  limits_top->addStretch();
  lb_xy_ = new PressLabel(central);
  limits_bottom->addWidget(lb_xy_, 1);
  outer->addLayout(limits_top);
  chart_ = new ChartWidget(central);
  chart_->setMinimumSize(600, 300);
  chart_->on_press([this](int b, int s, double x, double y) {
    kst_on_mouse_down(model_, "pic_graph", 0, b, s, x, y);
  });
  chart_->on_resized([this] { kst_on_resize(model_); });
  history_chart_ = new HistoryChart(history_, central);
  history_chart_->setObjectName("history_chart");
  history_chart_->on_context_menu = [this](const QPoint& at) { chart_context_menu(at); };
  // The strip chart is the instrument's own; the history beside it scrolls back through
  // the session and zooms.
  charts_ = new QTabWidget(central);
  charts_->addTab(chart_, "Strip Chart");
  charts_->addTab(history_chart_, "History");
  outer->addWidget(charts_, 1);
  outer->addLayout(limits_bottom);
  model_.graph.canvas = chart_;
  model_.graph.history = &history_;

  // Buttons and the small readouts.
  auto* row = new QHBoxLayout;
  for (int i = 0; i < 3; ++i) row->addWidget(add_button(model_.btn_cmd[i], "btn_cmd", i));
  row->addSpacing(12);
  for (int i = 0; i < 3; ++i) row->addWidget(add_button(model_.btn_cal[i], "btn_cal", i));
  row->addSpacing(12);
  row->addWidget(add_button(model_.btn_pause, "btn_pause", 0));
  row->addWidget(add_button(model_.btn_clrscrn, "btn_clrscrn", 0));
  row->addWidget(add_button(model_.btn_pwr135, "btn_pwr135", 0));
  row->addStretch();
  outer->addLayout(row);

  auto* status = new QHBoxLayout;
  txt_sec_per_screen_ = new QLineEdit(central);
  txt_sec_per_screen_->setMaximumWidth(60);
  connect(txt_sec_per_screen_, &QLineEdit::editingFinished, this,
          [this] { lf_change_scalewidth(model_.graph, latin1(txt_sec_per_screen_->text())); });
  status->addWidget(txt_sec_per_screen_);
  status->addWidget(new QLabel(
      latin1(model_.lb_sec_per_screen.caption.empty() ? "sec/screen"
                                                      : model_.lb_sec_per_screen.caption),
      central));
  cb_gridlines_ = new QCheckBox("Gridlines", central);
  connect(cb_gridlines_, &QCheckBox::toggled, this,
          [this](bool on) { model_.graph.cb_gridlines = on; });
  cb_dots_ = new QCheckBox("Graph with dots", central);
  connect(cb_dots_, &QCheckBox::toggled, this, [this](bool on) { model_.graph.cb_dots = on; });
  status->addWidget(cb_gridlines_);
  status->addWidget(cb_dots_);
  for (int n = 0; n < 8; ++n) {
    sh_io_[n] = new QLabel(central);
    sh_io_[n]->setFixedSize(10, 10);
    sh_io_[n]->setFrameShape(QFrame::Box);
    lb_io_[n] = new QLabel(central);
    status->addWidget(sh_io_[n]);
    status->addWidget(lb_io_[n]);
  }
  status->addStretch();
  lb_hz_ = new PressLabel(central);
  lb_hz_->setObjectName("lb_hz");
  lb_hz_->on_press = [this](int b, int s) { kst_on_mouse_down(model_, "lb_hz", 0, b, s); };
  lb_temperature_ = new PressLabel(central);
  lb_temperature_->on_press = [this](int b, int s) {
    kst_on_mouse_down(model_, "lb_temperature", 0, b, s);
  };
  lb_time_now_ = new PressLabel(central);
  // The rotor power drive and voltage: shown in technician mode only.
  lb_tech_pwm_ = new PressLabel(central);
  lb_tech_pwm_->setObjectName("lb_tech_pwm");
  lb_tech_pwm_->on_press = [this](int b, int s) {
    kst_on_mouse_down(model_, "lb_tech_pwm", 0, b, s);
  };
  lb_tech_rtr_ = new PressLabel(central);
  lb_tech_rtr_->setObjectName("lb_tech_rtr");
  lb_tech_rtr_->on_press = [this](int b, int s) {
    kst_on_mouse_down(model_, "lb_tech_rtr", 0, b, s);
  };
  status->addWidget(lb_tech_pwm_);
  status->addWidget(lb_tech_rtr_);
  status->addSpacing(12);
  status->addWidget(lb_temperature_);
  status->addSpacing(12);
  status->addWidget(lb_hz_);
  status->addSpacing(12);
  status->addWidget(lb_time_now_);
  outer->addLayout(status);
  setCentralWidget(central);

  model_.window_color = [this] {
    QColor c = palette().color(QPalette::Window);
    return static_cast<int32_t>(c.red() | (c.green() << 8) | (c.blue() << 16));
  }();
  model_.hooks.layout = [this] { graph_clear(model_.graph); };
  model_.hooks.unload = [this] { close(); };
  model_.hooks.show_splash = [](int ms) { (new SplashWindow(ms))->show(); };
  model_.hooks.session_ready = [this] { start_publishing(); };
  model_.hooks.round_end = [this] {
    if (publisher_) publish_round(*publisher_, model_, (now_ms() - publish_go_ms_) / 1000);
  };

  // The status bar: which instrument on which port, the rate, the data file being written.
  status_instrument_ = new QLabel(this);
  status_rate_ = new QLabel(this);
  status_file_ = new QLabel(this);
  status_instrument_->setObjectName("status_instrument");
  status_file_->setObjectName("status_file");
  status_publish_ = new QLabel(this);
  status_publish_->setObjectName("status_publish");
  statusBar()->addWidget(status_instrument_);
  statusBar()->addWidget(status_rate_);
  statusBar()->addWidget(status_file_, 1);
  statusBar()->addPermanentWidget(status_publish_);

  render_timer_.setInterval(100);
  connect(&render_timer_, &QTimer::timeout, this, &MainWindow::render);
  resize(1100, 720);
}

MainWindow::~MainWindow() {
  publish_end(publisher_);
  model_.graph.canvas = nullptr;
}

void MainWindow::start_publishing() {
  publish_end(publisher_);
  publish_error_.clear();
  PublishTarget target;
  if (!publish_stored_target(target)) return;
  publisher_ = publish_session(target, model_, publish_error_);
  publish_go_ms_ = now_ms();
}

void MainWindow::ask_publish() {
  PublishDialog dialog(this);
  if (dialog.exec() != QDialog::Accepted) return;
  if (in_session_) start_publishing();
}

QPushButton* MainWindow::add_button(KstControl& control, const std::string& name, int index) {
  auto* b = new QPushButton(centralWidget());
  b->setContextMenuPolicy(Qt::PreventContextMenu);
  b->installEventFilter(this);
  b->setObjectName(latin1(name) + QString::number(index));
  b->setProperty("ovn_name", latin1(name));
  b->setProperty("ovn_index", index);
  // A click, by the mouse or by the keyboard (Space on the focused button), is the left
  // button; the right button is taken on its press in the event filter.
  connect(b, &QPushButton::clicked, this, [this, name, index] {
    kst_on_button(model_, name, index, 1, shift_state(QGuiApplication::keyboardModifiers()));
  });
  buttons_.push_back({b, &control});
  return b;
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() != QEvent::MouseButtonPress) return QMainWindow::eventFilter(watched, event);
  auto* me = static_cast<QMouseEvent*>(event);
  int button = button_of(me->button());
  int shift = shift_state(me->modifiers());
  for (int i = 0; i < 6; ++i) {
    if (watched == txt_grlimits_[i] && shift != 0 && button) {
      kst_on_mouse_down(model_, "txt_grlimits", i, button, shift);
      return true;
    }
  }
  if (auto* b = qobject_cast<QPushButton*>(watched); b && button == 2 && b->isEnabled()) {
    kst_on_button(model_, latin1(b->property("ovn_name").toString()),
                  b->property("ovn_index").toInt(), button, shift);
  }
  return QMainWindow::eventFilter(watched, event);
}

void MainWindow::build_menus() {
  menuBar()->clear();
  actions_.clear();
  auto fill = [this](QMenu* menu, KstMenu& m) {
    for (size_t i = 0; i < m.entries.size(); ++i) {
      const KstMenuEntry& e = m.entries[i];
      if (e.separator()) {
        menu->addSeparator();
        continue;
      }
      QAction* a = menu->addAction(latin1(e.caption));
      if (!e.shortcut.empty()) a->setShortcut(QKeySequence(latin1(e.shortcut)));
      if (m.base + static_cast<int32_t>(i) == kCmdExit && e.shortcut.empty())
        a->setShortcut(QKeySequence::Quit);  // Ctrl+Q, as every desktop program quits
      int index = static_cast<int>(i);
      connect(a, &QAction::triggered, this, [this, &m, index] { kst_on_menu(model_, m, index); });
      actions_.push_back({a, {&m, index}});
    }
    menu->setToolTipsVisible(true);
  };
  // Each top menu gets the first letter of its caption not taken by an earlier one as
  // its Alt key (File, Setup, Adjustment, fIlter, ...); Help keeps H.
  QString taken = "H";
  auto mnemonic = [&taken](QString caption) {
    for (int k = 0; k < caption.size(); ++k) {
      const QChar c = caption[k].toUpper();
      if (c.isLetter() && !taken.contains(c)) {
        taken += c;
        return caption.insert(k, '&');
      }
    }
    return caption;
  };
  for (KstMenu* m : kst_menus(model_)) {
    if (m->caption.empty()) continue;
    QMenu* menu = menuBar()->addMenu(mnemonic(latin1(m->caption)));
    fill(menu, *m);
    if (m == &model_.mn_file && !menu->actions().isEmpty()) {
      // The picture of the chart is the window's own: it goes above the last entry (Exit).
      QAction* last = menu->actions().constLast();
      auto* save = new QAction("Save Chart Image...", menu);
      save->setObjectName("save_chart_image");
      connect(save, &QAction::triggered, this, &MainWindow::ask_save_chart_image);
      menu->insertAction(last, save);
      auto* publish = new QAction("Publish...", menu);
      publish->setObjectName("publish");
      connect(publish, &QAction::triggered, this, &MainWindow::ask_publish);
      menu->insertAction(save, publish);
      menu->insertSeparator(last);
    }
    if (m == &model_.mn_misc) {
      menu->addSeparator();  // mn_oihser
      fill(menu, model_.mn_temperature);
      menu->addSeparator();  // mn_oisher
      fill(menu, model_.mn_pwr);
    }
  }
  add_help_menu();
}

QString MainWindow::about_text() {
  return QString(
             "<h3>ovn-kst %1</h3>"
             "<p>The desktop companion of rotating-shaft torque meters: live monitor, data "
             "files, adjustment, tests and configuration of the KST and eight other "
             "instrument families.</p>"
             "<p>Built %2 %3 by %4, with Qt %5 (running on Qt %6).</p>"
             "<p>Licence: all rights reserved by its authors; no licence to copy or "
             "redistribute has been granted yet.</p>")
      .arg(QString::fromStdString(kw_version_text()), QString(__DATE__), QString(__TIME__),
           QString("GCC " __VERSION__), QString(QT_VERSION_STR), QString(qVersion()));
}

void MainWindow::add_help_menu() {
  QMenu* help = menuBar()->addMenu("&Help");
  help->setObjectName("mn_help");
  QAction* readme = help->addAction("ovn-kst &README");
  connect(readme, &QAction::triggered, this, [] {
    // The installed copy, else the one of the source tree the program was built from.
    QString path = QString(build::share_dir) + "/README.md";
    if (!QFileInfo::exists(path)) path = QString(build::source_dir) + "/README.md";
    QDesktopServices::openUrl(QUrl::fromLocalFile(path));
  });
  QAction* about = help->addAction("&About ovn-kst");
  about->setObjectName("about");
  connect(about, &QAction::triggered, this,
          [this] { QMessageBox::about(this, "About ovn-kst", about_text()); });
}

void MainWindow::start() {
  kst_load(model_);
  build_menus();
  render();
  render_timer_.start();
  if (model_.timer1_enabled) QTimer::singleShot(100, this, &MainWindow::run_session);
}

void MainWindow::run_session() {
  in_session_ = true;
  bool again = kst_timer1(model_);
  in_session_ = false;
  if (again) QTimer::singleShot(100, this, &MainWindow::run_session);
}

void MainWindow::render() {
  FrmKstMain& f = model_;
  QString title = latin1(f.caption);
  if (windowTitle() != title) setWindowTitle(title);
  for (int i = 0; i < 3; ++i) {
    // The value takes the channel's pen colour as its text colour, on the window's ground.
    KstControl data = f.lb_data[i];
    const int32_t pen = readable_color(data.back_color, f.window_color);
    data.back_color = -1;
    show_label(lb_data_[i], data,
               QString("color: #%1%2%3;")
                   .arg(pen & 0xFF, 2, 16, QChar('0'))
                   .arg((pen >> 8) & 0xFF, 2, 16, QChar('0'))
                   .arg((pen >> 16) & 0xFF, 2, 16, QChar('0')));
    show_label(lb_units_[i], f.lb_units[i]);
    show_label(lb_mxmn_[i], f.lb_mxmn[i]);
  }
  show_label(lb_hz_, f.lb_hz);
  show_label(lb_temperature_, f.lb_temperature);
  show_label(lb_tech_pwm_, f.lb_tech_pwm);
  show_label(lb_tech_rtr_, f.lb_tech_rtr);
  show_label(lb_time_now_, f.lb_time_now);
  show_label(lb_xy_, f.lb_xy);
  for (int n = 0; n < 8; ++n) {
    show_label(lb_io_[n], f.lb_io[n]);
    show_control(sh_io_[n], f.sh_io[n]);
  }
  for (auto& [b, c] : buttons_) {
    QString text = caption_text(c->caption);
    if (b->text() != text) b->setText(text);
    show_control(b, *c);
  }
  for (int i = 0; i < 6; ++i) {
    QString text = latin1(f.graph.txt_grlimits[i]);
    // A box the operator is typing in keeps the typing; one that merely holds the focus
    // (the first box has it from the start) shows the limit.
    if (!(txt_grlimits_[i]->hasFocus() && txt_grlimits_[i]->isModified()) &&
        txt_grlimits_[i]->text() != text)
      txt_grlimits_[i]->setText(text);
    txt_grlimits_[i]->setToolTip(latin1(f.txt_grlimits_tool_tip[i]));
    txt_grlimits_[i]->setVisible(i % 3 < f.session.channels);
  }
  if (!txt_sec_per_screen_->hasFocus())
    txt_sec_per_screen_->setText(latin1(f.graph.txt_sec_per_screen));
  if (cb_gridlines_->isChecked() != f.graph.cb_gridlines)
    cb_gridlines_->setChecked(f.graph.cb_gridlines);
  if (cb_dots_->isChecked() != f.graph.cb_dots) cb_dots_->setChecked(f.graph.cb_dots);
  chart_->setToolTip(caption_text(f.pic_graph.tool_tip));
  render_history_channels();
  render_status_bar();
  for (auto& [a, where] : actions_) {
    const KstMenuEntry& e = where.first->entries[static_cast<size_t>(where.second)];
    if (a->text() != latin1(e.caption)) a->setText(latin1(e.caption));
    a->setCheckable(e.checked || a->isCheckable());
    a->setChecked(e.checked);
    a->setEnabled(e.enabled);
    a->setVisible(e.visible);
    a->setToolTip(latin1(e.tool_tip.empty() ? e.caption : e.tool_tip));
  }
}

void MainWindow::showEvent(QShowEvent* event) {
  QMainWindow::showEvent(event);
  if (geometry_restored_) return;
  geometry_restored_ = true;
  const std::string saved = kw_setting_get(kGraphApp, "Window", "Geometry", "");
  if (!saved.empty()) restoreGeometry(QByteArray::fromBase64(QByteArray::fromStdString(saved)));
}

void MainWindow::closeEvent(QCloseEvent* event) {
  // Outside a session nothing stands between the operator and the end.
  if (!in_session_ || kst_query_unload(model_)) {
    render_timer_.stop();
    kw_setting_put(kGraphApp, "Window", "Geometry", saveGeometry().toBase64().toStdString());
    event->accept();
    return;
  }
  event->ignore();
}

void MainWindow::resizeEvent(QResizeEvent* event) {
  QMainWindow::resizeEvent(event);
  kst_on_resize(model_);
}

void MainWindow::render_history_channels() {
  static const char* const kNames[] = {"Torque", "Speed", "Power"};
  std::array<HistoryChart::Channel, 3> channels;
  QString key;
  for (size_t i = 0; i < 3; ++i) {
    // The chart's ground is white: each pen darkened where it would not read on it.
    const int32_t ink = readable_color(model_.graph.chn[i].color, 0xFFFFFF);
    channels[i] = {kNames[i], caption_text(model_.lb_units[i].caption).trimmed(),
                   QColor(ink & 0xFF, (ink >> 8) & 0xFF, (ink >> 16) & 0xFF)};
    key += channels[i].unit + channels[i].color.name();
  }
  key += QString::number(model_.session.channels);
  history_chart_->set_live_span(model_.graph.ms_per_screen / 1000.0);
  if (key == history_channels_) return;
  history_channels_ = key;
  history_chart_->set_channels(model_.session.channels, channels);
}

void MainWindow::render_status_bar() {
  const std::string& uid = tm_info_current_record().uid;
  const QString instrument = uid.empty() ? "No instrument" : latin1(uid);
  if (status_instrument_->text() != instrument) status_instrument_->setText(instrument);
  const QString rate = caption_text(model_.lb_hz.caption);
  if (status_rate_->text() != rate) status_rate_->setText(rate);
  const std::string& file = dtdr_file_name();
  const QString saving = file.empty() ? QString() : "Saving to " + latin1(file);
  if (status_file_->text() != saving) status_file_->setText(saving);
  QString publishing;
  if (publisher_) {
    publishing = publisher_->connected() ? "MQTT: publishing" : "MQTT: broker away";
    if (publisher_->dropped() > 0)
      publishing += ", " + QString::number(publisher_->dropped()) + " batches dropped";
  } else if (!publish_error_.empty()) {
    publishing = "MQTT: " + latin1(publish_error_);
  }
  if (status_publish_->text() != publishing) status_publish_->setText(publishing);
}

void MainWindow::show_chart_tab(int index) {
  charts_->setCurrentIndex(index);
}

bool MainWindow::save_chart_image(const QString& path) {
  if (charts_->currentWidget() == history_chart_) return history_chart_->save_image(path);
  if (!path.endsWith(".svg", Qt::CaseInsensitive)) return chart_->image().save(path, "PNG");
  // The strip chart is a picture already: the SVG holds it at the widget's size.
  QSvgGenerator svg;
  svg.setFileName(path);
  svg.setSize(chart_->size());
  svg.setViewBox(chart_->rect());
  svg.setTitle("ovn-kst strip chart");
  QPainter p;
  if (!p.begin(&svg)) return false;
  p.drawImage(chart_->rect(), chart_->image());
  return p.end();
}

void MainWindow::ask_save_chart_image() {
  const QString path = QFileDialog::getSaveFileName(
      this, "Save Chart Image", QString::fromStdString(kw_documents_dir()) + "/chart.png",
      "PNG image (*.png);;SVG drawing (*.svg)");
  if (path.isEmpty()) return;
  if (!save_chart_image(path))
    QMessageBox::warning(this, "Save Chart Image", "The picture could not be written to\n" + path);
}

void MainWindow::chart_context_menu(const QPoint& global) {
  QMenu menu(this);
  menu.addAction("Save Chart Image...", this, &MainWindow::ask_save_chart_image);
  QAction* live = menu.addAction("Live", history_chart_, &HistoryChart::go_live);
  live->setEnabled(!history_chart_->live());
  menu.exec(global);
}

}  // namespace ovn::qt
