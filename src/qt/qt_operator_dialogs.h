#pragma once
// The windows behind the operator services: the gib box, the gibcb settings box, the
// display_data step and the user_input form. Each draws a request the core has fully
// prepared and reports what the operator did; none parses anything of its own.
//
// Widgets carry object names so that a test (or a screen reader) can find them:
//   gib / gibcb / display_data / user_input    the dialogs
//   lb_text, pic_timeline                      gib message and count-down bar
//   btn_<i>                                    button i of a gib or gibcb button list
//   cb_<i>                                     gibcb setting i
//   txt_live, txt_input, btn_code_<n>          display_data value, entry, button of code n
//   txt_field_<i>, btn_accept, btn_cancel      user_input field i and its two buttons
//
// Rendering choices: the style bit ("?/") makes a button's caption bold; a spaced button
// ("?_") has one button's width of blank space on its left; "Courier New" (or any font the
// machine lacks) falls back to the system's fixed-pitch font.

#include <QDialog>
#include <QTimer>
#include <functional>
#include <string>
#include <vector>

#include "foundation/operator.h"

class QLabel;
class QLineEdit;
class QCheckBox;
class QPushButton;
class QVBoxLayout;

namespace ovn::qt {

// Latin-1 at the edge: the core's texts are single bytes as on the wire.
QString latin1(const std::string& text);
std::string latin1(const QString& text);
// A message for the screen: Latin-1, with CR LF, a lone CR or a lone LF each one line break
// (the program's texts end their lines the instrument's way, CR LF).
QString message_text(const std::string& text);
// 0x00BBGGRR to a colour and back; -1 (inherit) gives an invalid colour.
QColor color_from_bgr(int32_t bgr);
int32_t bgr_from_color(const QColor& color);
// The font of a request; a family the machine lacks becomes the system's fixed font.
QFont operator_font(const std::string& family, int point_size);

// The count-down bar: filled up to the fraction given; a hollow bar is drawn as an outline.
class TimelineBar : public QWidget {
 public:
  explicit TimelineBar(QWidget* parent = nullptr);
  void set(double fraction, bool hollow);
  double fraction() const { return fraction_; }
  bool hollow() const { return hollow_; }
  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  double fraction_ = 0;
  bool hollow_ = false;
};

// A dialog that ends with the index of a pressed button. Enter presses the default button
// only: with none, Enter is no answer (Space presses the focused one), so that a stray
// Enter never picks "Abort". Escape and the window's close press the "Cancel" button when
// there is one; otherwise they are ignored, except that a box with no buttons at all and
// no count-down may be closed (it answers -1).
class ButtonDialog : public QDialog {
 public:
  explicit ButtonDialog(QWidget* parent);
  int choice() const { return choice_; }
  void reject() override;

 protected:
  // Adds the button rows of `list` in `font` to `layout`; buttons are named btn_<i>.
  void add_buttons(QVBoxLayout* layout, const GibButtonList& list, const QFont& font);
  // Ends the dialog with `index`. A modal dialog leaves its loop; a non-modal one hides
  // and goes away.
  virtual void press(int index);
  std::vector<QPushButton*> buttons_;
  int cancel_ = -1;
  bool closable_without_buttons_ = true;

 private:
  int choice_ = -1;
};

class GibDialog : public ButtonDialog {
 public:
  GibDialog(const GibBox& box, int countdown_ms, QWidget* parent);
  // The caller's new title; shown behind the time like any title.
  void set_title(const std::string& title);
  // One firing of the count-down (the timer's work; a timed box closes on its last).
  void fire();

 protected:
  void press(int index) override;

 private:
  std::string title_;
  GibCountdown countdown_;
  TimelineBar* bar_ = nullptr;
  QTimer timer_;
};

class GibcbDialog : public ButtonDialog {
 public:
  GibcbDialog(const GibcbRequest& request, QWidget* parent);
  std::vector<bool> checked() const;

 private:
  std::vector<QCheckBox*> boxes_;
};

class DisplayDataDialog : public QDialog {
 public:
  DisplayDataDialog(const DisplayDataRequest& request, int refresh_ms, QWidget* parent);
  int code() const { return code_; }
  void reject() override;

 private:
  void press(int code);
  void refresh();
  const DisplayDataRequest& request_;
  QLineEdit* live_ = nullptr;
  QLineEdit* input_ = nullptr;
  QPushButton* cancel_ = nullptr;
  int code_ = 4;
  QTimer timer_;
};

class UserInputDialog : public QDialog {
 public:
  UserInputDialog(const UserInputForm& form, const std::vector<std::string>& typed,
                  QWidget* parent);
  // What the fields hold now, one per field (read-only ones as given).
  std::vector<std::string> typed() const;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  // The next (step +1) or previous (-1) enabled field after field `from`; -1 for none.
  int neighbour(int from, int step) const;
  void enter(int index);
  std::vector<QLineEdit*> fields_;
  std::vector<bool> enabled_;
  QPushButton* accept_ = nullptr;
};

}  // namespace ovn::qt
