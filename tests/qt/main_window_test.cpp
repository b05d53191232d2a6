// The main window on screen renders the model and turns presses into the model's commands.

#include "qt/main_window.h"

#include <gtest/gtest.h>

#include <QChart>
#include <QCloseEvent>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPushButton>

#include "foundation/version_notice.h"
#include "monitor/data_dir.h"
#include "monitor/gestures.h"
#include "qt/history_chart.h"
#include "support/qt_application.h"
#include "support/scripted_operator.h"
#include "support/seams.h"
#include "support/temp_dir.h"

namespace ovn::qt {
namespace {

void press(QWidget* w, Qt::MouseButton button, Qt::KeyboardModifiers mods) {
  ASSERT_NE(w, nullptr);
  QPointF at(3, 3);
  QMouseEvent event(QEvent::MouseButtonPress, at, w->mapToGlobal(at), button, button, mods);
  QCoreApplication::sendEvent(w, &event);
}

class MainWindowTest : public test::SeamsTest {
 protected:
  MainWindowTest() {
    test::qt_application();
    seams.settings.put("KST", kDtdrSection, kDtdrKeyDir, dir.path());
    window = std::make_unique<MainWindow>();
    window->start();  // the load event; the session would start 100 ms later
  }
  ~MainWindowTest() override { window.reset(); }
  template <class W>
  W* child(const char* name) {
    return window->findChild<W*>(name);
  }
  test::TempDir dir;
  test::ScriptedOperator op;
  std::unique_ptr<MainWindow> window;
};

TEST_F(MainWindowTest, MenusShowTheModelsEntriesAndHideTheTechniciansOwn) {
  QStringList titles;
  for (QAction* a : window->menuBar()->actions()) titles << a->text();
  // Each with its own Alt key.
  EXPECT_EQ(titles, (QStringList{"&File", "&Setup", "&Adjustment", "F&ilter", "&Units", "&Misc",
                                 "&View", "&Help"}));
  QMenu* misc = window->menuBar()->actions()[5]->menu();
  ASSERT_NE(misc, nullptr);
  QStringList entries;
  for (QAction* a : misc->actions())
    if (!a->isSeparator()) entries << a->text();
  EXPECT_TRUE(entries.contains("Zero Temperature Compensation..."));
  EXPECT_TRUE(entries.contains("Power Frequency vs URV"));
  QMenu* file = window->menuBar()->actions()[0]->menu();
  QAction* save = file->actions()[0];
  EXPECT_EQ(save->text(), "Save Configuration...");
  EXPECT_TRUE(save->isEnabled());
  QAction* setup = nullptr;
  for (QAction* a : window->menuBar()->actions()[1]->menu()->actions())
    if (a->text() == "Technician's Setup...") setup = a;
  ASSERT_NE(setup, nullptr);
  EXPECT_FALSE(setup->isVisible()) << "a technician's entry";
  QAction* exit = file->actions().back();
  EXPECT_EQ(exit->text(), "Exit");
  EXPECT_EQ(exit->shortcut(), QKeySequence(QKeySequence::Quit));
  // The picture of the chart, the window's own entry, stands above Exit.
  const auto& all = file->actions();
  ASSERT_GE(all.size(), 3);
  EXPECT_EQ(all[all.size() - 3]->text(), "Save Chart Image...");
  EXPECT_TRUE(all[all.size() - 2]->isSeparator());
  exit->trigger();
  EXPECT_EQ(window->model().command, 109);
}

TEST_F(MainWindowTest, PressesWithModifiersBecomeCommands) {
  FrmKstMain& f = window->model();
  press(child<QLabel>("lb_data0"), Qt::LeftButton, Qt::ShiftModifier | Qt::ControlModifier);
  EXPECT_EQ(f.command, gesture_to_command({1, 1, 3}));
  press(child<QLabel>("lb_data2"), Qt::RightButton,
        Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier);
  EXPECT_EQ(f.command, 60);
  press(child<QLabel>("lb_mxmn1"), Qt::RightButton, Qt::NoModifier);
  EXPECT_EQ(f.command, 38);
  press(child<QLineEdit>("txt_grlimits4"), Qt::LeftButton, Qt::AltModifier);
  EXPECT_EQ(f.command, gesture_to_command({2, 1, 4}));
  // Buttons act on a click, whether of the mouse or of the keyboard on the focused one;
  // a right press means nothing outside technician mode.
  child<QPushButton>("btn_cal2")->click();
  EXPECT_EQ(f.command, 3002);
  QPushButton* tare = child<QPushButton>("btn_cmd1");
  tare->setFocus();
  QKeyEvent space_down(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier, " ");
  QKeyEvent space_up(QEvent::KeyRelease, Qt::Key_Space, Qt::NoModifier, " ");
  QCoreApplication::sendEvent(tare, &space_down);
  QCoreApplication::sendEvent(tare, &space_up);
  EXPECT_EQ(f.command, 401);
  f.command = 0;
  press(child<QPushButton>("btn_cmd0"), Qt::RightButton, Qt::NoModifier);
  EXPECT_EQ(f.command, 0);
  f.technician = true;
  press(child<QPushButton>("btn_cal1"), Qt::RightButton, Qt::ControlModifier);
  EXPECT_EQ(f.command, 3003);
  f.technician = false;
  // The rate label's toggle acts at once on the readout period.
  press(child<QLabel>("lb_hz"), Qt::LeftButton,
        Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier);
  EXPECT_EQ(f.text_period_ms, 100000000);
}

TEST_F(MainWindowTest, RenderCopiesCaptionsAndBreaksLinesAtTheModelsLineEnds) {
  FrmKstMain& f = window->model();
  f.lb_data[1].caption = "2538";
  f.lb_mxmn[0].caption = "1.0 - -1.0 = 2.0\r\nTare=0.0";
  f.btn_pause.caption = "Resume Graphing";
  f.graph.txt_grlimits[2] = "476.2";
  f.lb_data[2].visible = false;
  window->render();
  EXPECT_EQ(child<QLabel>("lb_data1")->text(), "2538");
  EXPECT_EQ(child<QLabel>("lb_mxmn0")->text(), "1.0 - -1.0 = 2.0\nTare=0.0");
  EXPECT_EQ(child<QPushButton>("btn_pause0")->text(), "Resume Graphing");
  EXPECT_EQ(child<QLineEdit>("txt_grlimits2")->text(), "476.2");
  EXPECT_TRUE(child<QLabel>("lb_data2")->isHidden());
  // An edit of a limit box goes back into the model and is stored.
  QLineEdit* upper = child<QLineEdit>("txt_grlimits0");
  upper->setText("");
  upper->insert("150");
  EXPECT_EQ(f.graph.txt_grlimits[0], "150");
  EXPECT_EQ(seams.settings.get("KST", "Graphing", "Limits CHN1 UPPER"), "150");
}

TEST_F(MainWindowTest, TheFocusedLimitBoxShowsItsLimitUntilTheOperatorTypes) {
  window->show();
  QApplication::setActiveWindow(window.get());
  QLineEdit* upper = child<QLineEdit>("txt_grlimits0");
  upper->setFocus();
  QApplication::processEvents();
  ASSERT_TRUE(upper->hasFocus());
  FrmKstMain& f = window->model();
  f.graph.txt_grlimits[0] = "2200";
  window->render();
  EXPECT_EQ(upper->text(), "2200");
  upper->end(false);
  upper->insert("5");  // typing: the box keeps what is typed while it has the focus
  f.graph.txt_grlimits[0] = "300";
  window->render();
  EXPECT_EQ(upper->text(), "22005");
}

TEST_F(MainWindowTest, ThePensFeedTheHistoryAndEitherChartSavesAsAPicture) {
  FrmKstMain& f = window->model();
  f.session.channels = 3;
  graph_pen(f.graph, 1, 12.5);
  graph_pen(f.graph, 3, 2.0);
  EXPECT_EQ(window->history().size(1), 1u);
  EXPECT_EQ(window->history().size(2), 0u);
  EXPECT_EQ(window->history().size(3), 1u);
  window->render();
  EXPECT_EQ(window->history_chart()->chart()->series().at(0)->name().left(6), "Torque");
  for (int tab : {0, 1}) {
    window->show_chart_tab(tab);
    for (const char* name : {"chart.png", "chart.svg"}) {
      const QString path = QString::fromStdString(dir.path()) + "/" + QString::number(tab) + name;
      ASSERT_TRUE(window->save_chart_image(path)) << path.toStdString();
      EXPECT_GT(QFileInfo(path).size(), 100) << path.toStdString();
    }
  }
}

TEST_F(MainWindowTest, AboutNamesVersionAndBuildAndTheWindowComesBackWhereItWas) {
  const QString about = MainWindow::about_text();
  EXPECT_TRUE(about.contains(QString::fromStdString(kw_version_text()))) << about.toStdString();
  EXPECT_TRUE(about.contains("Licence")) << about.toStdString();
  if (const char* docs = std::getenv("OVN_SCREENSHOT_DIR")) {  // scripts/screenshots
    QMessageBox box(QMessageBox::Information, "About ovn-kst", about, QMessageBox::Ok);
    box.show();
    box.grab().save(QString(docs) + "/about.png");
  }
  EXPECT_EQ(child<QLabel>("status_instrument")->text(), "No instrument");
  window->show();
  window->resize(1000, 650);
  QApplication::processEvents();
  window->close();
  EXPECT_TRUE(seams.settings.get("KST", "Window", "Geometry").has_value());
  MainWindow again;
  again.show();
  QApplication::processEvents();
  EXPECT_EQ(again.size(), QSize(1000, 650));
}

TEST_F(MainWindowTest, ACloseOutsideTheSessionGoesThroughAtOnce) {
  QCloseEvent event;
  QCoreApplication::sendEvent(window.get(), &event);
  EXPECT_TRUE(event.isAccepted());
}

}  // namespace
}  // namespace ovn::qt
