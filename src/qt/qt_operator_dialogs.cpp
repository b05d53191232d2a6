#include "qt/qt_operator_dialogs.h"

#include <QCheckBox>
#include <QFontDatabase>
#include <QGridLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QStyle>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

namespace ovn::qt {

QString latin1(const std::string& text) {
  return QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size()));
}

std::string latin1(const QString& text) {
  return text.toLatin1().toStdString();
}

QString message_text(const std::string& text) {
  QString shown = latin1(text);
  shown.replace("\r\n", "\n");
  shown.replace('\r', '\n');
  return shown;
}

QColor color_from_bgr(int32_t bgr) {
  if (bgr < 0) return {};
  return QColor(bgr & 0xFF, (bgr >> 8) & 0xFF, (bgr >> 16) & 0xFF);
}

int32_t bgr_from_color(const QColor& color) {
  return color.red() | (color.green() << 8) | (color.blue() << 16);
}

QFont operator_font(const std::string& family, int point_size) {
  QString name = latin1(family);
  QFont font = QFontDatabase::hasFamily(name) ? QFont(name)
                                              : QFontDatabase::systemFont(QFontDatabase::FixedFont);
  font.setPointSize(point_size);
  return font;
}

namespace {

// A caption shows every character as given; "&" is not a shortcut mark here.
QString caption(const std::string& text) {
  return latin1(text).replace('&', "&&");
}

// The largest part of the screen a box may take before its message scrolls.
QSize screen_room() {
  QScreen* screen = QGuiApplication::primaryScreen();
  QSize size = screen ? screen->availableGeometry().size() : QSize(1024, 768);
  return {size.width() * 9 / 10, size.height() * 6 / 10};
}

// `content` as it is when it fits the screen's room, else in a scroll area that takes
// as much of the room as the content needs.
QWidget* scroll_to_fit(QWidget* content) {
  QSize want = content->sizeHint();
  QSize room = screen_room();
  if (want.width() <= room.width() && want.height() <= room.height()) return content;
  auto* area = new QScrollArea;
  area->setWidget(content);
  area->setWidgetResizable(true);
  area->setFrameShape(QFrame::NoFrame);
  int bar = area->style()->pixelMetric(QStyle::PM_ScrollBarExtent);
  int width = want.width() + (want.height() > room.height() ? bar : 0);
  int height = want.height() + (want.width() > room.width() ? bar : 0);
  area->setMinimumSize(std::min(width, room.width()), std::min(height, room.height()));
  return area;
}

// The tint and icon of the four message styles.
struct AreaStyle {
  QColor tint;
  QStyle::StandardPixmap icon;
  bool has_icon;
};

AreaStyle area_style(int32_t style) {
  switch (style) {
    case kGibStop:
      return {QColor(0xFF, 0xE4, 0xE1), QStyle::SP_MessageBoxCritical, true};
    case kGibWarning:
      return {QColor(0xFF, 0xF5, 0xCC), QStyle::SP_MessageBoxWarning, true};
    case kGibInfo:
      return {QColor(0xE3, 0xEE, 0xFB), QStyle::SP_MessageBoxInformation, true};
    case kGibNotice:
      return {QColor(0xF4, 0xF4, 0xF0), QStyle::SP_CustomBase, false};
    default:
      return {QColor(), QStyle::SP_CustomBase, false};
  }
}

// The frame around a message or the settings: tinted by style, boxed by the border flag.
QFrame* message_area(int32_t flags, QWidget* content) {
  auto* frame = new QFrame;
  frame->setObjectName("msg_area");
  auto* row = new QHBoxLayout(frame);
  AreaStyle look = area_style(flags & kGibStyleMask);
  if (look.tint.isValid()) {
    frame->setAutoFillBackground(true);
    QPalette palette = frame->palette();
    palette.setColor(QPalette::Window, look.tint);
    frame->setPalette(palette);
  }
  if (look.has_icon) {
    auto* icon = new QLabel;
    icon->setObjectName("lb_icon");
    int size = frame->style()->pixelMetric(QStyle::PM_MessageBoxIconSize);
    icon->setPixmap(frame->style()->standardIcon(look.icon).pixmap(size, size));
    icon->setAlignment(Qt::AlignTop);
    row->addWidget(icon, 0, Qt::AlignTop);
  }
  row->addWidget(content, 1);
  if (flags & kGibBorder) {
    frame->setFrameShape(QFrame::Box);
    frame->setLineWidth(1);
  }
  return frame;
}

void set_title_line(QWidget* window, const std::string& line) {
  window->setWindowTitle(latin1(line));
}

}  // namespace

// ---- TimelineBar -----------------------------------------------------------------------

TimelineBar::TimelineBar(QWidget* parent) : QWidget(parent) {
  setObjectName("pic_timeline");
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void TimelineBar::set(double fraction, bool hollow) {
  fraction_ = std::clamp(fraction, 0.0, 1.0);
  hollow_ = hollow;
  update();
}

QSize TimelineBar::sizeHint() const {
  return {100, fontMetrics().height() / 2 + 2};
}

void TimelineBar::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.fillRect(rect(), palette().color(QPalette::Base));
  QRect done(0, 0, static_cast<int>(std::lround(width() * fraction_)), height());
  QColor ink = palette().color(QPalette::Highlight);
  if (hollow_) {
    painter.setPen(QPen(ink, 2));
    painter.drawRect(done.adjusted(1, 1, -1, -1));
  } else {
    painter.fillRect(done, ink);
  }
  painter.setPen(palette().color(QPalette::Mid));
  painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

// ---- ButtonDialog ----------------------------------------------------------------------

ButtonDialog::ButtonDialog(QWidget* parent) : QDialog(parent) {
  setWindowFlag(Qt::WindowContextHelpButtonHint, false);
}

void ButtonDialog::reject() {
  if (cancel_ >= 0)
    buttons_[cancel_]->click();
  else if (buttons_.empty() && closable_without_buttons_)
    press(-1);
}

void ButtonDialog::press(int index) {
  choice_ = index;
  if (isModal()) {
    done(index);
  } else {
    hide();  // the operator's QtOperator deletes it at the next box or close
  }
}

void ButtonDialog::add_buttons(QVBoxLayout* layout, const GibButtonList& list, const QFont& font) {
  cancel_ = list.cancel_button;
  std::vector<QHBoxLayout*> rows;
  for (const GibRow& row : list.rows) {
    if (row.blank_before) layout->addSpacing(QFontMetrics(font).height() * 2);
    auto* line = new QHBoxLayout;
    if (row.align != RowAlign::Left) line->addStretch(1);
    layout->addLayout(line);
    rows.push_back(line);
  }
  for (size_t i = 0; i < list.buttons.size(); ++i) {
    const GibButton& def = list.buttons[i];
    auto* button = new QPushButton(caption(def.caption));
    button->setObjectName(QString("btn_%1").arg(i));
    QFont face = font;
    face.setBold(def.style);
    button->setFont(face);
    if (!def.tool_tip.empty()) button->setToolTip(latin1(def.tool_tip));
    if (QColor colour = color_from_bgr(def.color); colour.isValid()) {
      QPalette palette = button->palette();
      palette.setColor(QPalette::Button, colour);
      // Light captions on dark colours (blue); the others stay black.
      int luma = (299 * colour.red() + 587 * colour.green() + 114 * colour.blue()) / 1000;
      palette.setColor(QPalette::ButtonText, luma < 64 ? Qt::white : Qt::black);
      button->setPalette(palette);
    }
    bool is_default = static_cast<int>(i) == list.default_button;
    button->setAutoDefault(is_default);
    button->setDefault(is_default);
    QHBoxLayout* line = rows[def.row];
    if (def.spaced) line->addSpacing(button->sizeHint().width());
    line->addWidget(button);
    connect(button, &QPushButton::clicked, this, [this, i] { press(static_cast<int>(i)); });
    buttons_.push_back(button);
  }
  for (size_t r = 0; r < rows.size(); ++r)
    if (list.rows[r].align != RowAlign::Right) rows[r]->addStretch(1);
  if (list.default_button >= 0)
    buttons_[list.default_button]->setFocus();
  else if (!buttons_.empty())
    buttons_.front()->setFocus();
}

// ---- GibDialog -------------------------------------------------------------------------

GibDialog::GibDialog(const GibBox& box, int countdown_ms, QWidget* parent)
    : ButtonDialog(parent), title_(box.title), countdown_(gmb_countdown_start(box.ticks)) {
  setObjectName("gib");
  // A timed box ends by itself and a non-modal one is the caller's to close: the operator
  // cannot cut either short. A modal box without buttons may be closed, or it would hang.
  closable_without_buttons_ = box.ticks <= 0 && !box.non_modal();
  QFont font = operator_font(box.font, box.size);

  auto* text = new QLabel(message_text(box.text));
  text->setObjectName("lb_text");
  text->setTextFormat(Qt::PlainText);
  text->setFont(font);
  text->setTextInteractionFlags(Qt::TextSelectableByMouse);
  text->setAlignment(Qt::AlignTop | ((box.flags & kGibCentred) ? Qt::AlignHCenter : Qt::AlignLeft));
  // The message is `width` characters wide, or as wide as its widest line (tables in a
  // fixed font must not wrap) while the screen has room; beyond that it wraps.
  QFontMetrics metrics(font);
  int chars = metrics.horizontalAdvance("MM") / 2 * box.width;
  int widest = 0;
  for (const QString& line : text->text().split('\n'))
    widest = std::max(widest, metrics.horizontalAdvance(line));
  int room = screen_room().width() - 80;
  text->setWordWrap(widest > room);
  text->setMinimumWidth(std::min(std::max(chars, widest), room));

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(message_area(box.flags, scroll_to_fit(text)), 1);
  if (box.ticks != 0) {
    bar_ = new TimelineBar;
    layout->addWidget(bar_);
  }
  add_buttons(layout, box.buttons, font);
  set_title_line(this, gmb_title_line(title_, countdown_, kw_now()));

  if (box.ticks != 0) {
    connect(&timer_, &QTimer::timeout, this, [this] { fire(); });
    timer_.start(countdown_ms);
  }
}

void GibDialog::set_title(const std::string& title) {
  title_ = title;
  set_title_line(this, gmb_title_line(title_, countdown_, kw_now()));
}

void GibDialog::fire() {
  GibTimerView view = gmb_countdown_fire(countdown_, title_, kw_now());
  bar_->set(view.bar, view.hollow);
  set_title_line(this, view.title_line);
  if (view.finished) press(0);
}

void GibDialog::press(int index) {
  timer_.stop();  // a non-modal box only hides; its sweep must not run on unseen
  ButtonDialog::press(index);
}

// ---- GibcbDialog -----------------------------------------------------------------------

GibcbDialog::GibcbDialog(const GibcbRequest& request, QWidget* parent) : ButtonDialog(parent) {
  setObjectName("gibcb");
  setWindowTitle(latin1(request.title));
  QFont font = operator_font(request.font, 8);
  auto* list = new QWidget;
  auto* column = new QVBoxLayout(list);
  for (size_t i = 0; i < request.settings.size(); ++i) {
    const GibcbSetting setting = request.settings[i];
    bool on = request.checked[i];
    auto* box = new QCheckBox(caption(gibcb_caption(setting, on)));
    box->setObjectName(QString("cb_%1").arg(i));
    box->setFont(font);
    box->setChecked(on);
    box->setToolTip(latin1(gibcb_tool_tip(setting, on)));
    connect(box, &QCheckBox::toggled, this, [this, box, setting](bool now) {
      box->setText(caption(gibcb_caption(setting, now)));
      QString tip = latin1(gibcb_tool_tip(setting, now));
      box->setToolTip(tip);
      setToolTip(tip);
    });
    column->addWidget(box);
    boxes_.push_back(box);
  }
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(message_area(request.flags, scroll_to_fit(list)), 1);
  add_buttons(layout, request.buttons, font);
}

std::vector<bool> GibcbDialog::checked() const {
  std::vector<bool> out;
  for (QCheckBox* box : boxes_) out.push_back(box->isChecked());
  return out;
}

// ---- DisplayDataDialog -----------------------------------------------------------------

namespace {

QLineEdit* sized_field(const char* name, const char* widest, const QFont& font) {
  auto* field = new QLineEdit;
  field->setObjectName(name);
  field->setFont(font);
  QMargins margins = field->textMargins() + field->contentsMargins();
  field->setFixedWidth(QFontMetrics(font).horizontalAdvance(widest) + margins.left() +
                       margins.right() + 12);
  return field;
}

}  // namespace

DisplayDataDialog::DisplayDataDialog(const DisplayDataRequest& request, int refresh_ms,
                                     QWidget* parent)
    : QDialog(parent), request_(request) {
  setObjectName("display_data");
  setWindowFlag(Qt::WindowContextHelpButtonHint, false);
  setWindowTitle(latin1(request.title));
  QFont fixed = operator_font("Courier New", 10);

  auto* layout = new QVBoxLayout(this);
  auto* text = new QLabel(message_text(request.text));
  text->setObjectName("lb_text");
  text->setTextFormat(Qt::PlainText);
  text->setWordWrap(true);
  layout->addWidget(text);

  auto* grid = new QGridLayout;
  live_ = sized_field("txt_live", "+0.00000000", fixed);
  live_->setReadOnly(true);
  live_->setFocusPolicy(Qt::NoFocus);
  live_->setAlignment(Qt::AlignRight);
  live_->setToolTip(latin1(request.live_tool_tip));
  grid->addWidget(live_, 0, 1);
  grid->addWidget(new QLabel(latin1(request.units)), 0, 2);
  if (!request.input_label.empty()) {
    input_ = sized_field("txt_input", "-1000000.0", fixed);
    input_->setAlignment(Qt::AlignRight);
    input_->setText(latin1(request.input_value));
    auto* label = new QLabel(latin1(request.input_label));
    label->setBuddy(input_);
    grid->addWidget(label, 1, 0, Qt::AlignRight);
    grid->addWidget(input_, 1, 1);
    grid->addWidget(new QLabel(latin1(request.units)), 1, 2);
  }
  grid->setColumnStretch(3, 1);
  layout->addLayout(grid);

  auto* row = new QHBoxLayout;
  row->addStretch(1);
  QPushButton* proceed = nullptr;
  for (const DisplayDataButton& def : request.buttons) {
    auto* button = new QPushButton(caption(def.caption));
    button->setObjectName(QString("btn_code_%1").arg(def.code));
    if (!def.tool_tip.empty()) button->setToolTip(latin1(def.tool_tip));
    button->setAutoDefault(false);
    connect(button, &QPushButton::clicked, this, [this, code = def.code] { press(code); });
    row->addWidget(button);
    // Enter means "Continue"/"OK", never the override "Continue Anyway".
    if (def.code == 3 && def.caption != "Continue Anyway") proceed = button;
    if (def.code == 4) cancel_ = button;
  }
  row->addStretch(1);
  layout->addLayout(row);
  if (proceed) proceed->setDefault(true);
  if (input_) {
    input_->setFocus();
    input_->selectAll();
  }

  refresh();
  connect(&timer_, &QTimer::timeout, this, [this] { refresh(); });
  timer_.start(refresh_ms);
}

void DisplayDataDialog::refresh() {
  if (request_.live_text) live_->setText(latin1(request_.live_text()));
}

void DisplayDataDialog::press(int code) {
  std::string typed = input_ ? latin1(input_->text()) : std::string();
  if (request_.press && !request_.press(code, typed)) {
    if (input_) {
      input_->setFocus();
      input_->selectAll();
    }
    return;
  }
  code_ = code;
  timer_.stop();
  done(code);
}

void DisplayDataDialog::reject() {
  if (cancel_) cancel_->click();
}

// ---- UserInputDialog -------------------------------------------------------------------

UserInputDialog::UserInputDialog(const UserInputForm& form, const std::vector<std::string>& typed,
                                 QWidget* parent)
    : QDialog(parent) {
  setObjectName("user_input");
  setWindowFlag(Qt::WindowContextHelpButtonHint, false);
  setWindowTitle(latin1(form.title));
  QFont fixed = operator_font("Courier New", 10);
  // Ten characters at least, and room for the longest text shown (a model name such as
  // "ZQVD52002V(2-3 lbf-in)") up to forty.
  size_t chars = 10;
  for (size_t i = 0; i < form.fields.size(); ++i)
    chars = std::max(chars, (i < typed.size() ? typed[i] : form.fields[i].data).size() + 1);
  int width = QFontMetrics(fixed).horizontalAdvance(
      QString(static_cast<int>(std::min<size_t>(chars, 40)), '0'));

  auto* list = new QWidget;
  auto* grid = new QGridLayout(list);
  for (size_t i = 0; i < form.fields.size(); ++i) {
    const UserInputField& def = form.fields[i];
    int r = static_cast<int>(i);
    auto* field = new QLineEdit(latin1(i < typed.size() ? typed[i] : def.data));
    field->setObjectName(QString("txt_field_%1").arg(i));
    field->setFont(fixed);
    QMargins margins = field->textMargins() + field->contentsMargins();
    field->setMinimumWidth(width + margins.left() + margins.right() + 12);
    if (!def.enabled) {
      // Shown and copyable, but not the operator's to change.
      field->setReadOnly(true);
      field->setFocusPolicy(Qt::ClickFocus);
      QPalette palette = field->palette();
      palette.setColor(QPalette::Base, palette.color(QPalette::Window));
      field->setPalette(palette);
    }
    field->installEventFilter(this);
    auto* label = new QLabel(latin1(def.label));
    label->setTextFormat(Qt::PlainText);
    label->setBuddy(field);
    auto* comment = new QLabel(latin1(def.comment));
    comment->setTextFormat(Qt::PlainText);
    grid->addWidget(label, r, 0, Qt::AlignRight);
    grid->addWidget(field, r, 1);
    grid->addWidget(comment, r, 2);
    fields_.push_back(field);
  }
  grid->setColumnStretch(1, 1);
  defs_ = form.fields;

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(scroll_to_fit(list), 1);
  auto* row = new QHBoxLayout;
  row->addStretch(1);
  accept_ = new QPushButton(caption(form.accept_caption));
  accept_->setObjectName("btn_accept");
  accept_->setDefault(true);
  auto* cancel = new QPushButton(caption(form.cancel_caption));
  cancel->setObjectName("btn_cancel");
  cancel->setAutoDefault(false);
  cancel->setVisible(!form.cancel_caption.empty());
  row->addWidget(accept_);
  row->addWidget(cancel);
  row->addStretch(1);
  layout->addLayout(row);
  connect(accept_, &QPushButton::clicked, this, &QDialog::accept);
  connect(cancel, &QPushButton::clicked, this, &QDialog::reject);

  if (int first = user_input_move(defs_, -1, +1); first >= 0) enter(first);
}

std::vector<std::string> UserInputDialog::typed() const {
  std::vector<std::string> out;
  for (QLineEdit* field : fields_) out.push_back(latin1(field->text()));
  return out;
}

void UserInputDialog::enter(int index) {
  fields_[index]->setFocus(Qt::OtherFocusReason);
  fields_[index]->selectAll();
}

bool UserInputDialog::eventFilter(QObject* watched, QEvent* event) {
  auto at = std::find(fields_.begin(), fields_.end(), watched);
  if (at == fields_.end()) return QDialog::eventFilter(watched, event);
  int index = static_cast<int>(at - fields_.begin());
  if (event->type() == QEvent::FocusIn) {
    // A click places the cursor; any other way into a field selects its whole text.
    if (static_cast<QFocusEvent*>(event)->reason() != Qt::MouseFocusReason)
      QTimer::singleShot(0, *at, [field = *at] { field->selectAll(); });
  } else if (event->type() == QEvent::KeyPress) {
    int key = static_cast<QKeyEvent*>(event)->key();
    bool forward = key == Qt::Key_Down || key == Qt::Key_Return || key == Qt::Key_Enter;
    if (forward || key == Qt::Key_Up) {
      int next = user_input_move(defs_, index, forward ? +1 : -1);
      if (next >= 0)
        enter(next);
      else if (key != Qt::Key_Up && key != Qt::Key_Down)
        accept_->setFocus(Qt::TabFocusReason);  // Enter after the last field: to the button
      return true;
    }
  }
  return QDialog::eventFilter(watched, event);
}

}  // namespace ovn::qt
