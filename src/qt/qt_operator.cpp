#include "qt/qt_operator.h"

#include <QApplication>
#include <QColorDialog>
#include <QFile>
#include <QFileDialog>
#include <QInputDialog>
#include <QMessageBox>
#include <QPushButton>
#include <cstdio>

#include "build_info.h"
#include "qt/grid_dialog.h"
#include "qt/histogram_dialog.h"
#include "qt/password_dialog.h"
#include "qt/qt_operator_dialogs.h"
#include "qt/selcom_dialog.h"

namespace ovn::qt {

namespace {

// Whether a window that stays on top (an open non-modal box) is showing.
bool window_on_top() {
  for (QWidget* window : QApplication::topLevelWidgets())
    if (window->isVisible() && (window->windowFlags() & Qt::WindowStaysOnTopHint)) return true;
  return false;
}

// Runs a dialog in its own event loop and hands it to `read` afterwards. The dialog lives
// on the heap so that the loss of its parent during the loop cannot delete it twice.
template <typename Dialog, typename Read>
auto run_modal(Dialog* dialog, Read read) {
  // A question must not open hidden under the box that announces the work in progress.
  if (window_on_top()) dialog->setWindowFlag(Qt::WindowStaysOnTopHint, true);
  QPointer<Dialog> guard(dialog);
  int code = dialog->exec();
  auto result = read(guard.isNull() ? nullptr : dialog, code);
  delete guard.data();
  return result;
}

}  // namespace

QtOperator::QtOperator(OperatorTiming timing) : timing_(timing) {}

QtOperator::~QtOperator() {
  delete open_box_.data();
}

QWidget* QtOperator::owner() const {
  QWidget* active = QApplication::activeWindow();
  return active == open_box_.data() ? nullptr : active;
}

int QtOperator::show_gib(const GibBox& box) {
  if (box.non_modal()) {
    close_gib();
    auto* dialog = new GibDialog(box, timing_.countdown_ms, nullptr);
    dialog->setWindowFlag(Qt::WindowStaysOnTopHint, true);
    dialog->show();
    dialog->raise();
    open_box_ = dialog;
    return -1;
  }
  return run_modal(new GibDialog(box, timing_.countdown_ms, owner()),
                   [](GibDialog* d, int) { return d ? d->choice() : -1; });
}

void QtOperator::close_gib() {
  if (!open_box_) return;
  // Deleted now: the program may not return to the main event loop for a long while.
  delete open_box_.data();
}

int QtOperator::non_modal_choice() {
  return open_box_ ? open_box_->choice() : -1;
}

void QtOperator::set_gib_title(const std::string& title) {
  if (open_box_) open_box_->set_title(title);
}

int QtOperator::show_gibcb(const GibcbRequest& request, std::vector<bool>& checked) {
  return run_modal(new GibcbDialog(request, owner()), [&checked](GibcbDialog* d, int) {
    if (!d) return -1;
    checked = d->checked();
    return d->choice();
  });
}

int QtOperator::show_display_data(const DisplayDataRequest& request) {
  return run_modal(new DisplayDataDialog(request, timing_.refresh_ms, owner()),
                   [](DisplayDataDialog* d, int) { return d ? d->code() : 4; });
}

bool QtOperator::show_user_input(const UserInputForm& form, std::vector<std::string>& typed) {
  return run_modal(new UserInputDialog(form, typed, owner()),
                   [&typed](UserInputDialog* d, int code) {
                     if (d) typed = d->typed();
                     return d != nullptr && code == QDialog::Accepted;
                   });
}

std::optional<std::string> QtOperator::show_input_box(const std::string& prompt,
                                                      const std::string& title,
                                                      const std::string& default_text) {
  auto* dialog = new QInputDialog(owner());
  dialog->setWindowTitle(latin1(title));
  dialog->setLabelText(message_text(prompt));
  dialog->setTextValue(latin1(default_text));
  return run_modal(dialog, [](QInputDialog* d, int code) -> std::optional<std::string> {
    if (!d || code != QDialog::Accepted) return std::nullopt;
    return latin1(d->textValue());
  });
}

MsgAnswer QtOperator::show_msg_box(const std::string& text, MsgButtons buttons,
                                   const std::string& title) {
  using SB = QMessageBox::StandardButton;
  static const std::pair<SB, MsgAnswer> kAnswers[] = {
      {QMessageBox::Ok, MsgAnswer::Ok},       {QMessageBox::Cancel, MsgAnswer::Cancel},
      {QMessageBox::Yes, MsgAnswer::Yes},     {QMessageBox::No, MsgAnswer::No},
      {QMessageBox::Retry, MsgAnswer::Retry},
  };
  QMessageBox::StandardButtons offered;
  switch (buttons) {
    case MsgButtons::Ok:
      offered = QMessageBox::Ok;
      break;
    case MsgButtons::OkCancel:
      offered = QMessageBox::Ok | QMessageBox::Cancel;
      break;
    case MsgButtons::YesNo:
      offered = QMessageBox::Yes | QMessageBox::No;
      break;
    case MsgButtons::YesNoCancel:
      offered = QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
      break;
    case MsgButtons::RetryCancel:
      offered = QMessageBox::Retry | QMessageBox::Cancel;
      break;
  }
  auto* box =
      new QMessageBox(QMessageBox::NoIcon, latin1(title), message_text(text), offered, owner());
  box->setTextFormat(Qt::PlainText);
  // Yes/No boxes have no escape of their own; the window's close means No.
  if (buttons == MsgButtons::YesNo) box->setEscapeButton(QMessageBox::No);
  return run_modal(box, [offered](QMessageBox* d, int) {
    SB pressed = d ? d->standardButton(d->clickedButton()) : QMessageBox::NoButton;
    for (const auto& [button, answer] : kAnswers)
      if (button == pressed) return answer;
    // Closed some other way: the most cautious answer offered.
    if (offered & QMessageBox::Cancel) return MsgAnswer::Cancel;
    if (offered & QMessageBox::No) return MsgAnswer::No;
    return MsgAnswer::Ok;
  });
}

FileDialogResult QtOperator::show_file_dialog(const FileDialogRequest& request) {
  auto* dialog =
      new QFileDialog(owner(), latin1(request.title), QFile::decodeName(request.folder.c_str()));
  QStringList filters;
  for (const FileFilter& filter : request.filters)
    filters << latin1(filter.description) + " (" + latin1(filter.pattern) + ")";
  if (!filters.isEmpty()) dialog->setNameFilters(filters);
  dialog->setAcceptMode(request.save ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen);
  dialog->setFileMode(request.save ? QFileDialog::AnyFile : QFileDialog::ExistingFile);
  // A name typed without an extension gets the one of the first filter ("*.611"), as the
  // technician means a configuration file when saving one.
  if (request.save && !request.filters.empty()) {
    const std::string& pattern = request.filters.front().pattern;
    if (pattern.size() > 2 && pattern.compare(0, 2, "*.") == 0 &&
        pattern.find_first_of("*?;", 2) == std::string::npos)
      dialog->setDefaultSuffix(latin1(pattern.substr(2)));
  }
  if (!request.file_name.empty()) dialog->selectFile(QFile::decodeName(request.file_name.c_str()));
  return run_modal(dialog, [](QFileDialog* d, int code) {
    FileDialogResult result;
    if (!d || code != QDialog::Accepted || d->selectedFiles().isEmpty()) return result;
    result.chosen = true;
    result.path = QFile::encodeName(d->selectedFiles().first()).toStdString();
    return result;
  });
}

std::optional<int32_t> QtOperator::show_color_dialog(int32_t color) {
  QColor start = color_from_bgr(color);
  auto* dialog = new QColorDialog(start.isValid() ? start : QColor(Qt::white), owner());
  return run_modal(dialog, [](QColorDialog* d, int code) -> std::optional<int32_t> {
    if (!d || code != QDialog::Accepted) return std::nullopt;
    return bgr_from_color(d->currentColor());
  });
}

SelcomChoice QtOperator::show_selcom(FrmSelcom& form) {
  return run_modal(new SelcomDialog(form, owner()),
                   [](SelcomDialog* d, int) { return d ? d->choice() : SelcomChoice::Closed; });
}

bool QtOperator::show_password(FrmPassword& form) {
  return run_modal(new PasswordDialog(form, owner()),
                   [&form](PasswordDialog* d, int) { return d && form.accepted; });
}

void QtOperator::show_histogram(FrmTmHistogram& form) {
  run_modal(new HistogramDialog(form, owner()), [](HistogramDialog*, int) { return 0; });
}

int QtOperator::show_grid(GridForm& form) {
  return run_modal(new GridDialog(form, owner()),
                   [](GridDialog* d, int) { return d ? d->choice() : -1; });
}

bool QtOperator::active_window_title(std::string& title) {
  QWidget* window = QApplication::activeWindow();
  if (!window) return false;
  title = latin1(window->windowTitle());
  return true;
}

void QtOperator::set_active_window_title(const std::string& title) {
  if (QWidget* window = QApplication::activeWindow()) window->setWindowTitle(latin1(title));
}

void QtOperator::flash_active_window() {
  // An active window needs no flashing; otherwise the program's windows ask for attention.
  if (QApplication::activeWindow()) return;
  for (QWidget* window : QApplication::topLevelWidgets())
    if (window->isVisible()) QApplication::alert(window);
}

void report_fatal(const std::string& text) {
  if (current_operator() == nullptr) {
    std::fprintf(stderr, "%s\n", text.c_str());
    return;
  }
  msg_box(text, MsgButtons::Ok, build::program_name);
}

}  // namespace ovn::qt
