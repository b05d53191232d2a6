#include "qt/grid_dialog.h"

#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPushButton>
#include <QSlider>
#include <QVBoxLayout>
#include <functional>
#include <utility>

#include "qt/qt_operator_dialogs.h"

namespace ovn::qt {

namespace {

// A button that tells which mouse button pressed it: 1 left, 2 right.
class CellButton : public QPushButton {
 public:
  CellButton(std::function<void(int)> pressed, QWidget* parent)
      : QPushButton(parent), pressed_(std::move(pressed)) {
    setAutoDefault(false);
    connect(this, &QPushButton::clicked, this, [this] { pressed_(1); });
  }

 protected:
  void mousePressEvent(QMouseEvent* event) override {
    if (event->button() == Qt::RightButton) {
      pressed_(2);
      return;
    }
    QPushButton::mousePressEvent(event);
  }

 private:
  std::function<void(int)> pressed_;
};

QColor color_of(int32_t bgr) {
  return QColor(bgr & 0xFF, (bgr >> 8) & 0xFF, (bgr >> 16) & 0xFF);
}

}  // namespace

GridDialog::GridDialog(GridForm& form, QWidget* parent) : QDialog(parent), form_(form) {
  setObjectName("grid");
  setWindowTitle(latin1(form.title));
  auto* layout = new QVBoxLayout(this);
  auto* grid = new QGridLayout();
  grid->addWidget(new QLabel(latin1(form.corner), this), 0, 0);
  for (size_t c = 0; c < form.column_labels.size(); ++c) {
    auto* label = new QLabel(latin1(form.column_labels[c]), this);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    grid->addWidget(label, 0, static_cast<int>(c) + 1);
  }
  cells_.resize(form.cells.size());
  for (size_t r = 0; r < form.cells.size(); ++r) {
    const int row = static_cast<int>(r);
    grid->addWidget(new QLabel(r < form.row_labels.size() ? latin1(form.row_labels[r]) : "", this),
                    row + 1, 0);
    for (size_t c = 0; c < form.cells[r].size(); ++c) {
      const int column = static_cast<int>(c);
      const GridCell& cell = form.cells[r][c];
      QWidget* w = nullptr;
      if (cell.button) {
        w = new CellButton(
            [this, row, column](int mouse) {
              if (form_.click) form_.click(row, column, mouse);
              refresh();
            },
            this);
      } else if (!cell.choices.empty()) {
        auto* list = new QComboBox(this);
        for (const std::string& choice : cell.choices) list->addItem(latin1(choice));
        connect(list, &QComboBox::currentTextChanged, this, [this, row, column](const QString& t) {
          if (refreshing_ || !form_.edit) return;
          form_.edit(row, column, latin1(t));
          refresh();
        });
        w = list;
      } else if (cell.slider) {
        auto* slider = new QSlider(Qt::Horizontal, this);
        slider->setRange(cell.minimum, cell.maximum);
        slider->setMinimumWidth(240);
        connect(slider, &QSlider::valueChanged, this, [this, row, column](int v) {
          if (refreshing_ || !form_.edit) return;
          form_.edit(row, column, std::to_string(v));
          refresh();
        });
        w = slider;
      } else {
        auto* edit = new QLineEdit(this);
        edit->setMaximumWidth(110);
        connect(edit, &QLineEdit::editingFinished, this, [this, row, column, edit] {
          if (refreshing_ || !form_.edit) return;
          form_.edit(row, column, latin1(edit->text()));
          refresh();
        });
        w = edit;
      }
      w->setObjectName(QString("cell_%1_%2").arg(row).arg(column));
      grid->addWidget(w, row + 1, column + 1);
      cells_[r].push_back(w);
    }
  }
  layout->addLayout(grid);
  info_ = new QLabel(this);
  info_->setObjectName("lb_info");
  info_->setWordWrap(true);
  layout->addWidget(info_);
  auto* buttons = new QHBoxLayout();
  buttons->addStretch(1);
  const GibButtonList list = gmb_parse_buttons(form.buttons);
  for (size_t i = 0; i < list.buttons.size(); ++i) {
    auto* b = new QPushButton(latin1(list.buttons[i].caption), this);
    b->setObjectName(QString("btn_%1").arg(i));
    b->setAutoDefault(false);
    connect(b, &QPushButton::clicked, this, [this, i] { press(static_cast<int>(i)); });
    buttons->addWidget(b);
  }
  layout->addLayout(buttons);
  refresh();
}

void GridDialog::press(int index) {
  choice_ = index;
  const bool closes = !form_.close || form_.close(index);
  refresh();
  if (closes) accept();
}

void GridDialog::reject() {
  press(gib_cautious_choice(gmb_parse_buttons(form_.buttons)));
}

void GridDialog::refresh() {
  refreshing_ = true;
  for (size_t r = 0; r < cells_.size() && r < form_.cells.size(); ++r) {
    for (size_t c = 0; c < cells_[r].size() && c < form_.cells[r].size(); ++c) {
      const GridCell& cell = form_.cells[r][c];
      QWidget* w = cells_[r][c];
      w->setVisible(cell.visible);
      w->setEnabled(cell.enabled);
      QPalette palette = w->palette();
      if (cell.back_color >= 0) {
        palette.setColor(QPalette::Button, color_of(cell.back_color));
        palette.setColor(QPalette::Base, color_of(cell.back_color));
        w->setAutoFillBackground(true);
      } else {
        palette = QPalette();
      }
      w->setPalette(palette);
      if (auto* b = qobject_cast<QPushButton*>(w)) b->setText(latin1(cell.text));
      if (auto* e = qobject_cast<QLineEdit*>(w)) e->setText(latin1(cell.text));
      if (auto* l = qobject_cast<QComboBox*>(w)) l->setCurrentText(latin1(cell.text));
      if (auto* s = qobject_cast<QSlider*>(w)) s->setValue(latin1(cell.text).toInt());
    }
  }
  info_->setText(latin1(form_.info).replace("\r\n", "\n"));
  refreshing_ = false;
}

}  // namespace ovn::qt
