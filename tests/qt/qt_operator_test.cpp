// The operator's windows driven as an operator would: clicks and keys on the real dialogs,
// through the program's own service calls, checking what the program gets back.

#include "qt/qt_operator.h"

#include <QApplication>
#include <QCheckBox>
#include <QColorDialog>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QFontInfo>
#include <QInputDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>
#include <deque>
#include <functional>

#include "support/qt_application.h"
#include "support/seams.h"

namespace ovn::qt {
namespace {

using test::child;

// Sends a key press and release to the widget with the focus (or the top dialog).
void key(int code, const QString& text = QString()) {
  QWidget* target = QApplication::focusWidget();
  if (!target) target = QApplication::activeModalWidget();
  ASSERT_NE(target, nullptr);
  QKeyEvent press(QEvent::KeyPress, code, Qt::NoModifier, text);
  QApplication::sendEvent(target, &press);
  QKeyEvent release(QEvent::KeyRelease, code, Qt::NoModifier, text);
  QApplication::sendEvent(target, &release);
}

void type(const QString& text) {
  for (QChar ch : text) key(ch.unicode(), QString(ch));
}

// Lets the event loop run until `done` holds or two seconds pass.
bool run_until(const std::function<bool()>& done) {
  QElapsedTimer waited;
  waited.start();
  while (!done() && waited.elapsed() < 2000) QApplication::processEvents(QEventLoop::AllEvents, 5);
  return done();
}

class QtOperatorTest : public test::SeamsTest {
 protected:
  QtOperatorTest() {
    test::qt_application();
    set_operator(&op);
    set_event_pump([] { QApplication::processEvents(); });
    connect_poll();
  }
  ~QtOperatorTest() override {
    EXPECT_TRUE(steps_.empty()) << steps_.size() << " dialog(s) expected but never shown";
    set_operator(nullptr);
    QApplication::processEvents();
  }

  // Acts on the next dialog named `name` (empty: any) once it is the top modal window.
  // Steps run in order; a dialog nobody answers fails the test after two seconds and is
  // closed.
  void when_shown(const QString& name, std::function<void(QWidget*)> act) {
    steps_.push_back({name, std::move(act)});
  }

  QtOperator op{OperatorTiming{1, 1}};

 private:
  struct Step {
    QString name;
    std::function<void(QWidget*)> act;
  };

  void connect_poll() {
    waited_.start();
    QObject::connect(&poll_, &QTimer::timeout, [this] {
      QWidget* top = QApplication::activeModalWidget();
      if (!steps_.empty() && top && top->isVisible() &&
          (steps_.front().name.isEmpty() || top->objectName() == steps_.front().name)) {
        auto act = std::move(steps_.front().act);
        steps_.pop_front();
        waited_.restart();
        // Run outside this slot: the act may open a nested dialog that needs the poll.
        QTimer::singleShot(0, top, [act, top] { act(top); });
      } else if (top && waited_.elapsed() > 2000) {
        ADD_FAILURE() << "a dialog \"" << top->objectName().toStdString()
                      << "\" waited with nothing to answer it";
        waited_.restart();
        if (auto* dialog = qobject_cast<QDialog*>(top)) dialog->done(-99);
      }
    });
    poll_.start(2);
  }

  std::deque<Step> steps_;
  QTimer poll_;
  QElapsedTimer waited_;
};

// ---- gib -------------------------------------------------------------------------------

TEST_F(QtOperatorTest, GibButtonsAnswerWithTheirIndexEnterPressesTheDefaultEscapeTheCancel) {
  enum class Act { Click2, Enter, Escape, EscapeThenClick0, CloseWindow };
  struct Case {
    const char* buttons;
    Act act;
    int expected;
  } cases[] = {{"Yes|No|Maybe", Act::Click2, 2},
               {"OK|?!Retry|Cancel", Act::Enter, 1},  // "?!" beats an earlier "OK"
               {"Cancel|OK", Act::Enter, 1},
               {"OK|Cancel", Act::Escape, 1},
               {"Yes|No", Act::EscapeThenClick0, 0},  // no "Cancel": Escape is not an answer
               {"Stop|Cancel", Act::CloseWindow, 1}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.buttons);
    bool still_open_after_escape = false;
    when_shown("gib", [&](QWidget* box) {
      switch (c.act) {
        case Act::Click2:
          child<QPushButton>(box, "btn_2")->click();
          break;
        case Act::Enter:
          key(Qt::Key_Return);
          break;
        case Act::Escape:
          key(Qt::Key_Escape);
          break;
        case Act::EscapeThenClick0:
          key(Qt::Key_Escape);
          still_open_after_escape = box->isVisible();
          child<QPushButton>(box, "btn_0")->click();
          break;
        case Act::CloseWindow:
          box->close();
          break;
      }
    });
    EXPECT_EQ(gib("Go on?", c.buttons, kGibInfo, "Question"), c.expected);
    EXPECT_EQ(gmb_ret(), c.expected);
    if (c.act == Act::EscapeThenClick0) {
      EXPECT_TRUE(still_open_after_escape);
    }
  }
}

TEST_F(QtOperatorTest, GibShowsThePreparedTextInAFixedFontAndLaysOutTheButtonRows) {
  when_shown("gib", [](QWidget* box) {
    EXPECT_EQ(box->windowTitle(), "10:00:00 Zero adjust");
    auto* text = child<QLabel>(box, "lb_text");
    EXPECT_EQ(text->text(), "Torque\tspan\nSave & exit?\nNow");  // "\n" is CR: a line break
    EXPECT_TRUE(text->alignment() & Qt::AlignHCenter);
    EXPECT_TRUE(QFontInfo(text->font()).fixedPitch());
    EXPECT_EQ(child<QFrame>(box, "msg_area")->frameShape(), QFrame::Box);

    QPushButton* b[5];
    for (int i = 0; i < 5; ++i) b[i] = child<QPushButton>(box, QString("btn_%1").arg(i));
    EXPECT_EQ(b[0]->text(), "Save && Exit");  // shown as "Save & Exit", no shortcut
    EXPECT_EQ(b[1]->text(), "Go");
    EXPECT_EQ(b[1]->toolTip(), "Starts the run");
    // Colours arrive as 0xBBGGRR.
    EXPECT_EQ(b[1]->palette().color(QPalette::Button), QColor(0, 255, 0));
    EXPECT_EQ(b[2]->palette().color(QPalette::Button), QColor(0, 0, 255));
    EXPECT_EQ(b[3]->palette().color(QPalette::Button), QColor(255, 0, 0));
    EXPECT_EQ(b[4]->palette().color(QPalette::Button), QColor(255, 255, 0));
    EXPECT_TRUE(b[2]->font().bold());
    EXPECT_FALSE(b[1]->font().bold());

    auto at = [box](QWidget* w) { return QRect(w->mapTo(box, QPoint(0, 0)), w->size()); };
    EXPECT_GT(at(b[1]).top(), at(b[0]).bottom());                  // "?." opens a new row
    EXPECT_GT(at(b[2]).top(), at(b[1]).bottom());                  // "?<" another
    EXPECT_EQ(at(b[3]).top(), at(b[2]).top());                     // "?_" stays in that row...
    EXPECT_GE(at(b[3]).left() - at(b[2]).right(), b[3]->width());  // ...a button's width on
    EXPECT_LT(at(b[2]).left(), at(b[1]).left());  // the flush-left row starts left of "Go"
    EXPECT_GT(at(b[4]).top() - at(b[3]).bottom(), b[4]->height());  // "? ": a blank row
    b[3]->click();
  });
  EXPECT_EQ(gib("Torque\\tspan\\nSave & exit?\r\nNow\r\n",
                "Save & Exit|?.?gGo?:Starts the run|?<?/?bBold|?_?rRed|? ?yLast",
                kGibStop | kGibCentred | kGibBorder, "Zero adjust"),
            3);
}

TEST_F(QtOperatorTest, EachMessageStyleHasItsOwnTintAndOnlyThePlainNoticeHasNoIcon) {
  struct Case {
    int32_t style;
    bool icon;
  } cases[] = {{kGibStop, true}, {kGibWarning, true}, {kGibInfo, true}, {kGibNotice, false}};
  std::vector<QColor> tints;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.style);
    when_shown("gib", [&](QWidget* box) {
      auto* area = child<QFrame>(box, "msg_area");
      EXPECT_EQ(area->findChild<QLabel*>("lb_icon") != nullptr, c.icon);
      EXPECT_EQ(area->frameShape(), QFrame::NoFrame);
      EXPECT_FALSE(child<QLabel>(box, "lb_text")->alignment() & Qt::AlignHCenter);
      tints.push_back(area->palette().color(QPalette::Window));
      key(Qt::Key_Return);
    });
    EXPECT_EQ(gib("Noted", "OK", c.style, ""), 0);
  }
  ASSERT_EQ(tints.size(), 4u);
  for (size_t i = 0; i < tints.size(); ++i)
    for (size_t j = i + 1; j < tints.size(); ++j) EXPECT_NE(tints[i], tints[j]);
}

TEST_F(QtOperatorTest, ATimedBoxCountsDownInItsTitleShowsNoButtonsAndReturnsZero) {
  // The timer is held back so that the test fires the count-down itself, tick by tick.
  QtOperator held(OperatorTiming{3600000, 1});
  set_operator(&held);
  std::vector<QString> titles;
  std::vector<double> bar;
  when_shown("gib", [&](QWidget* w) {
    auto* box = static_cast<GibDialog*>(w);
    EXPECT_TRUE(box->findChildren<QPushButton*>().isEmpty());
    auto* timeline = child<TimelineBar>(box, "pic_timeline");
    key(Qt::Key_Escape);  // a timed box is not the operator's to end
    titles.push_back(box->windowTitle());
    while (box->isVisible() && titles.size() < 10) {
      box->fire();
      titles.push_back(box->windowTitle());
      bar.push_back(timeline->fraction());
    }
  });
  EXPECT_EQ(gib("Please wait for the zero", "OK", 0, "", "Courier New", 0.4), 0);
  std::vector<QString> expected = {"10:00:00 <= .4 seconds left", "10:00:00 <= .3 seconds left",
                                   "10:00:00 <= .2 seconds left", "10:00:00 <= .1 seconds left",
                                   "10:00:00 <= .0 seconds left"};
  EXPECT_EQ(titles, expected);
  EXPECT_EQ(bar, std::vector<double>({0.25, 0.5, 0.75, 1.0}));

  // On its own timer the box runs out too.
  set_operator(&op);
  EXPECT_EQ(gib("Please wait", "", 0, "Settling", "Courier New", 0.3), 0);
}

TEST_F(QtOperatorTest, ABusyBoxStaysOnTopSweepsAndGoesOnlyWhenTheCallerClosesIt) {
  EXPECT_EQ(gib("Uploading the configuration", "", kGibNonModal, "", "Courier New", -1), -1);
  QPointer<GibDialog> box = op.open_box();
  ASSERT_TRUE(box);
  EXPECT_TRUE(box->isVisible());
  EXPECT_FALSE(box->isModal());
  EXPECT_TRUE(box->windowFlags() & Qt::WindowStaysOnTopHint);
  // The sweep fills, turns hollow in its second half and starts again.
  auto* bar = child<TimelineBar>(box, "pic_timeline");
  bool hollow_seen = false, wrapped = false;
  double previous = 0;
  EXPECT_TRUE(run_until([&] {
    hollow_seen = hollow_seen || bar->hollow();
    wrapped = wrapped || (hollow_seen && bar->fraction() < previous);
    previous = bar->fraction();
    return wrapped;
  }));
  EXPECT_TRUE(box->isVisible());

  gib_set_title("Block 3 of 7");
  EXPECT_EQ(box->windowTitle(), "10:00:00 Block 3 of 7");

  // A question asked meanwhile opens above the box, and leaves it open.
  when_shown("display_data", [](QWidget* dialog) {
    EXPECT_TRUE(dialog->windowFlags() & Qt::WindowStaysOnTopHint);
    key(Qt::Key_Escape);
  });
  EXPECT_EQ(display_data("Remove the load", "N", 0b10000, "Zero", "", "", ""), 4);
  EXPECT_TRUE(box->isVisible());

  // A new box takes the place of the open one.
  gib("Writing to flash", "", kGibNonModal | kGibWarning, "", "Courier New", -1);
  QPointer<GibDialog> second = op.open_box();
  EXPECT_TRUE(run_until([&] { return box.isNull(); }));
  ASSERT_TRUE(second);
  EXPECT_TRUE(second->isVisible());
  gib_close();
  EXPECT_TRUE(run_until([&] { return second.isNull(); }));
  gib_close();  // nothing open: nothing happens
  EXPECT_EQ(op.open_box(), nullptr);
}

TEST_F(QtOperatorTest, TheOperatorCannotDismissABoxThatOnlyTheCallerCloses) {
  for (double seconds : {0.0, -1.0}) {
    gib("Saving the configuration", "", kGibNonModal, "", "Courier New", seconds);
    QPointer<GibDialog> box = op.open_box();
    ASSERT_TRUE(box);
    box->activateWindow();
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QApplication::sendEvent(box, &escape);
    box->close();
    QApplication::processEvents();
    EXPECT_TRUE(box && box->isVisible()) << "seconds " << seconds;
    gib_close();
    EXPECT_TRUE(run_until([&] { return box.isNull(); }));
  }
}

// ---- gibcb -----------------------------------------------------------------------------

TEST_F(QtOperatorTest, GibcbShowsEachSettingInItsStateAndRewritesTheValueWordFromTheToggles) {
  int32_t value = 0b010 | 0x100;  // bit 8 belongs to no setting shown
  when_shown("gibcb", [](QWidget* box) {
    EXPECT_EQ(box->windowTitle(), "Info Box");
    auto* termination = child<QCheckBox>(box, "cb_0");
    auto* echo = child<QCheckBox>(box, "cb_1");
    auto* units = child<QCheckBox>(box, "cb_2");
    EXPECT_EQ(termination->text(), "RS485 Termination Off");
    EXPECT_FALSE(termination->isChecked());
    EXPECT_EQ(echo->text(), "Echo on");
    EXPECT_TRUE(echo->isChecked());
    EXPECT_EQ(units->text(), "Units N mode");
    EXPECT_EQ(termination->toolTip(), "Other setting is \"RS485 Termination On\"");
    termination->click();
    EXPECT_EQ(termination->text(), "RS485 Termination On");
    EXPECT_EQ(box->toolTip(), "Other setting is \"RS485 Termination Off\"");
    echo->click();
    EXPECT_EQ(echo->text(), "Echo off");
    EXPECT_EQ(box->toolTip(), "Other setting is \"Echo on\"");
    child<QPushButton>(box, "btn_0")->click();
  });
  EXPECT_EQ(
      gibcb(value, "RS485 Termination ^Off^On^|Echo^ off^ on|Units ^N^lbf^ mode", "OK|Cancel", ""),
      0);
  EXPECT_EQ(value, 0b001 | 0x100);
}

// ---- display_data ----------------------------------------------------------------------

TEST_F(QtOperatorTest, DisplayDataRefusesANonNumericEntryKeepsTheDialogAndTakesANumber) {
  int reads = 0;
  set_display_data_reader([&reads] { return 1000.0 + ++reads; });
  QString first_live;
  when_shown("display_data", [&](QWidget* dialog) {
    EXPECT_EQ(dialog->windowTitle(), "Load step");
    EXPECT_EQ(child<QLabel>(dialog, "lb_text")->text(), "Apply the full load");
    auto* live = child<QLineEdit>(dialog, "txt_live");
    EXPECT_EQ(live->toolTip(), "Current channel data");
    EXPECT_GE(live->width(), live->fontMetrics().horizontalAdvance("+0.00000000"));
    first_live = live->text();
    auto* back = child<QPushButton>(dialog, "btn_code_0");
    EXPECT_EQ(back->text(), "<< Back");
    EXPECT_EQ(back->toolTip(), "Go back to previous step");
    EXPECT_EQ(child<QPushButton>(dialog, "btn_code_3")->text(), "Continue");
    EXPECT_EQ(child<QPushButton>(dialog, "btn_code_4")->toolTip(), "Cancel this Adjustment");
    EXPECT_EQ(dialog->findChild<QPushButton*>("btn_code_1"), nullptr);
    auto* input = child<QLineEdit>(dialog, "txt_input");
    EXPECT_EQ(input->text(), "100");
    input->setText("12a");
    child<QPushButton>(dialog, "btn_code_3")->click();
  });
  when_shown("gib", [](QWidget* box) {
    EXPECT_EQ(child<QLabel>(box, "lb_text")->text(), "Load must be numeric");
    key(Qt::Key_Return);
  });
  when_shown("display_data", [&](QWidget* dialog) {
    auto* live = child<QLineEdit>(dialog, "txt_live");
    EXPECT_TRUE(run_until([&] { return live->text() != first_live; }));  // kept refreshing
    auto* input = child<QLineEdit>(dialog, "txt_input");
    EXPECT_EQ(input->text(), "12a");  // what the operator typed stays for mending
    input->setText("250.5");
    key(Qt::Key_Return);
  });
  EXPECT_EQ(display_data("Apply the full load", "N", 0b11001, "Load step", "100", "Load", ""), 3);
  EXPECT_EQ(display_data_input(), "250.5");
  EXPECT_TRUE(first_live.startsWith("10"));
}

TEST_F(QtOperatorTest, DisplayDataEndsOnEscapeAsCancelAndOnEnterAsOkWithoutAnEntry) {
  when_shown("display_data", [](QWidget* dialog) {
    EXPECT_EQ(dialog->findChild<QLineEdit*>("txt_input"), nullptr);
    EXPECT_EQ(child<QPushButton>(dialog, "btn_code_3")->text(), "OK");
    key(Qt::Key_Escape);
  });
  EXPECT_EQ(display_data("Remove the load", "N", 0b11000, "Zero", "", "", ""), 4);
  when_shown("display_data", [](QWidget*) { key(Qt::Key_Enter); });
  EXPECT_EQ(display_data("Remove the load", "N", 0b11000, "Zero", "", "", ""), 3);
  // With no Cancel offered, Escape is not an answer.
  when_shown("display_data", [](QWidget* dialog) {
    key(Qt::Key_Escape);
    EXPECT_TRUE(dialog->isVisible());
    child<QPushButton>(dialog, "btn_code_1")->click();
  });
  EXPECT_EQ(display_data("Shunt", "", 0b01010, "Shunt", "", "", ""), 1);
  // Enter is never the override "Continue Anyway".
  when_shown("display_data", [](QWidget* dialog) {
    key(Qt::Key_Return);
    EXPECT_TRUE(dialog->isVisible());
    child<QPushButton>(dialog, "btn_code_3")->click();
  });
  EXPECT_EQ(display_data("Noise too high", "", 0b10100, "Zero", "", "", ""), 3);
}

// ---- user_input ------------------------------------------------------------------------

TEST_F(QtOperatorTest, UserInputWalksTheEnabledFieldsSelectingEachAndReturnsWhatWasTyped) {
  std::vector<QString> selected;
  when_shown("user_input", [&](QWidget* form) {
    EXPECT_EQ(form->windowTitle(), "Identity");
    QLineEdit* f[3];
    for (int i = 0; i < 3; ++i) f[i] = child<QLineEdit>(form, QString("txt_field_%1").arg(i));
    EXPECT_TRUE(f[1]->isReadOnly());
    EXPECT_EQ(f[1]->text(), "ZQVD52002V(2-3 lbf-in)");
    // Every field is as wide as the longest text, which shows whole.
    EXPECT_GE(f[0]->width(), f[0]->fontMetrics().horizontalAdvance(f[1]->text()));
    EXPECT_EQ(child<QPushButton>(form, "btn_accept")->text(), "Ok");
    auto focus_and_selection = [&] {
      QApplication::processEvents();
      selected.push_back(QApplication::focusWidget()->objectName() + "=" +
                         static_cast<QLineEdit*>(QApplication::focusWidget())->selectedText());
    };
    focus_and_selection();
    key(Qt::Key_Down);  // over the read-only field
    focus_and_selection();
    key(Qt::Key_Up);
    focus_and_selection();
    type("9876");  // replaces the selection
    key(Qt::Key_Return);
    focus_and_selection();
    type("750");
    key(Qt::Key_Return);  // after the last field: to the accept button
    EXPECT_EQ(QApplication::focusWidget()->objectName(), "btn_accept");
    key(Qt::Key_Return);
  });
  EXPECT_TRUE(user_input_text(
      "|", "Serial|1234|on the label||Model|)ZQVD52002V(2-3 lbf-in) |read only|Range|500|N",
      "Identity"));
  std::vector<QString> expected = {"txt_field_0=1234", "txt_field_2=500", "txt_field_0=1234",
                                   "txt_field_2=500"};
  EXPECT_EQ(selected, expected);
  EXPECT_EQ(user_input_data(0), "9876");
  EXPECT_EQ(user_input_data(1), "ZQVD52002V(2-3 lbf-in)");
  EXPECT_EQ(user_input_data(2), "750");
}

TEST_F(QtOperatorTest, UserInputCancelsOnEscapeAndShowsTheCallersCaptions) {
  when_shown("user_input", [](QWidget* form) {
    EXPECT_EQ(child<QPushButton>(form, "btn_accept")->text(), "Apply");
    EXPECT_EQ(child<QPushButton>(form, "btn_cancel")->text(), "Leave");
    type("7");
    key(Qt::Key_Escape);
  });
  EXPECT_FALSE(user_input(",", "Filter,Rate", "3,100", "Filters", "taps,Hz", "Apply|Leave"));
  EXPECT_EQ(user_input_data(0), "7");  // kept as typed for a showing again
  when_shown("user_input", [](QWidget* form) {
    EXPECT_EQ(child<QLineEdit>(form, "txt_field_0")->text(), "7");
    child<QPushButton>(form, "btn_accept")->click();
  });
  EXPECT_TRUE(user_input_again());
}

// ---- plain dialogs ---------------------------------------------------------------------

TEST_F(QtOperatorTest, PlainDialogsReportTheOperatorsAnswer) {
  when_shown("", [](QWidget* w) {
    auto* box = qobject_cast<QInputDialog*>(w);
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->labelText(), "Password");
    EXPECT_EQ(box->textValue(), "abc");
    box->setTextValue(QString::fromLatin1("s\xE9same"));
    box->accept();
  });
  EXPECT_EQ(input_box("Password", "Lock", "abc"), std::optional<std::string>("s\xE9same"));
  when_shown("", [](QWidget* w) { qobject_cast<QDialog*>(w)->reject(); });
  EXPECT_EQ(input_box("Password", "Lock"), std::nullopt);

  struct Case {
    MsgButtons buttons;
    QMessageBox::StandardButton click;  // NoButton: Escape
    MsgAnswer expected;
  } cases[] = {{MsgButtons::YesNo, QMessageBox::No, MsgAnswer::No},
               {MsgButtons::YesNoCancel, QMessageBox::Yes, MsgAnswer::Yes},
               {MsgButtons::RetryCancel, QMessageBox::NoButton, MsgAnswer::Cancel},
               {MsgButtons::YesNo, QMessageBox::NoButton, MsgAnswer::No},
               {MsgButtons::Ok, QMessageBox::NoButton, MsgAnswer::Ok},
               {MsgButtons::OkCancel, QMessageBox::Ok, MsgAnswer::Ok}};
  for (const Case& c : cases) {
    when_shown("", [&c](QWidget* w) {
      auto* box = qobject_cast<QMessageBox*>(w);
      ASSERT_NE(box, nullptr);
      EXPECT_EQ(box->text(), "Save <the> changes?");
      if (c.click == QMessageBox::NoButton)
        key(Qt::Key_Escape);
      else
        box->button(c.click)->click();
    });
    EXPECT_EQ(msg_box("Save <the> changes?", c.buttons, "KST"), c.expected);
  }
}

TEST_F(QtOperatorTest, FileDialogsStartInTheFolderWithTheFiltersAndReturnThePath) {
  QTemporaryDir folder;
  ASSERT_TRUE(folder.isValid());
  FileDialogRequest request;
  request.save = true;
  request.title = "Save configuration";
  request.filters = {{"Configurations for KST", "*.611"}, {"All files", "*.*"}};
  request.folder = QFile::encodeName(folder.path()).toStdString();
  request.file_name = "stator.611";
  when_shown("", [&](QWidget* w) {
    auto* dialog = qobject_cast<QFileDialog*>(w);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->windowTitle(), "Save configuration");
    EXPECT_EQ(dialog->nameFilters(),
              QStringList({"Configurations for KST (*.611)", "All files (*.*)"}));
    EXPECT_EQ(dialog->directory().absolutePath(), QDir(folder.path()).absolutePath());
    EXPECT_EQ(dialog->acceptMode(), QFileDialog::AcceptSave);
    static_cast<QDialog*>(dialog)->accept();  // as its Save button does
  });
  FileDialogResult saved = file_dialog(request);
  EXPECT_TRUE(saved.chosen);
  EXPECT_EQ(saved.path, request.folder + "/stator.611");

  // A name typed without its extension gets the first filter's.
  when_shown("", [](QWidget* w) {
    auto* dialog = qobject_cast<QFileDialog*>(w);
    ASSERT_NE(dialog, nullptr);
    child<QLineEdit>(dialog, "fileNameEdit")->setText("spare");  // typed by the operator
    static_cast<QDialog*>(dialog)->accept();
  });
  EXPECT_EQ(file_dialog(request).path, request.folder + "/spare.611");

  request.save = false;
  when_shown("", [](QWidget* w) {
    auto* dialog = qobject_cast<QFileDialog*>(w);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->fileMode(), QFileDialog::ExistingFile);
    dialog->reject();
  });
  EXPECT_FALSE(file_dialog(request).chosen);
}

TEST_F(QtOperatorTest, TheColourDialogSpeaksBlueGreenRed) {
  when_shown("", [](QWidget* w) {
    auto* dialog = qobject_cast<QColorDialog*>(w);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->currentColor(), QColor(0x99, 0x66, 0x33));
    dialog->setCurrentColor(QColor(0x01, 0x02, 0x03));
    dialog->accept();
  });
  EXPECT_EQ(color_dialog(0x336699), std::optional<int32_t>(0x030201));
  when_shown("", [](QWidget* w) { qobject_cast<QDialog*>(w)->reject(); });
  EXPECT_EQ(color_dialog(0), std::nullopt);
}

// ---- the active window and fatal errors ------------------------------------------------

TEST_F(QtOperatorTest, TheActiveWindowsTitleIsReadAndSetForTheSerialRetries) {
  QWidget window;
  window.setWindowTitle("KST on COM3");
  window.show();
  QApplication::setActiveWindow(&window);
  ASSERT_TRUE(run_until([&] { return QApplication::activeWindow() == &window; }));
  std::string title;
  EXPECT_TRUE(active_window_title(title));
  EXPECT_EQ(title, "KST on COM3");
  set_active_window_title("Retry 2 on COM3");
  EXPECT_EQ(window.windowTitle(), "Retry 2 on COM3");
  window.hide();
  EXPECT_TRUE(run_until([] { return QApplication::activeWindow() == nullptr; }));
  EXPECT_FALSE(active_window_title(title));
}

TEST_F(QtOperatorTest, AFatalErrorIsShownInTheMessageBox) {
  when_shown("", [](QWidget* w) {
    auto* box = qobject_cast<QMessageBox*>(w);
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->text(), "Unknown family 1110 in tmi_get_data_ini");
    box->button(QMessageBox::Ok)->click();
  });
  report_fatal("Unknown family 1110 in tmi_get_data_ini");
}

}  // namespace
}  // namespace ovn::qt
