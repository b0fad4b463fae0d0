#include "app/gui/command_palette_widget.h"

#include <QGraphicsDropShadowEffect>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QStandardItemModel>
#include <QTreeView>
#include <QVBoxLayout>

#include "app/gui/action_menus.h"
#include "app/gui/icons.h"

namespace tovra::gui {

namespace {

QString text(std::string_view view) {
  return QString::fromUtf8(view.data(), static_cast<qsizetype>(view.size()));
}

}  // namespace

CommandPaletteWidget::CommandPaletteWidget(QWidget& window, HandlerSource handler)
    : QFrame(&window), handler_(std::move(handler)) {
  setObjectName(QStringLiteral("commandPalette"));
  setAccessibleName(text(shell::tovraAction(shell::TovraActionID::commandPalette).title));
  setFrameShape(QFrame::StyledPanel);
  setAutoFillBackground(true);
  setStyleSheet(QStringLiteral(
      "#commandPalette { background: palette(window); border: 1px solid palette(mid); border-radius: 10px; }"));
  field_ = new QLineEdit(this);
  field_->setPlaceholderText(text(shell::tovraAction(shell::TovraActionID::commandPalette).title));
  field_->setAccessibleName(field_->placeholderText());
  field_->installEventFilter(this);
  rows_ = new QStandardItemModel(this);
  list_ = new QTreeView(this);
  list_->setModel(rows_);
  list_->setRootIsDecorated(false);
  list_->setHeaderHidden(true);
  list_->setIconSize(QSize(18, 18));
  list_->setFrameShape(QFrame::NoFrame);
  list_->setAccessibleName(QStringLiteral("Commands"));
  list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  list_->setFocusPolicy(Qt::NoFocus);
  list_->setUniformRowHeights(true);
  empty_ = new QLabel(this);
  empty_->setAccessibleName(QStringLiteral("No match"));
  footer_ = new QLabel(text(shell::kPaletteFooter), this);
  footer_->setAccessibleName(footer_->text());
  footer_->setForegroundRole(QPalette::PlaceholderText);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(field_);
  layout->addWidget(list_, 1);
  layout->addWidget(empty_);
  layout->addWidget(footer_);
  connect(field_, &QLineEdit::textChanged, this, [this](const QString& query) {
    model_.setQuery(query.toStdString());
    render();
  });
  connect(list_, &QTreeView::clicked, this, [this](const QModelIndex& index) {
    model_.move(index.row() - model_.selection());
    model_.runSelected(handler_());
    // The action may have opened the palette again.
    setVisible(model_.isOpen());
  });
  auto* shadow = new QGraphicsDropShadowEffect(this);
  shadow->setBlurRadius(24);
  shadow->setOffset(0, 6);
  setGraphicsEffect(shadow);
  hide();
}

void CommandPaletteWidget::open() {
  model_.open();
  field_->blockSignals(true);
  field_->clear();
  field_->blockSignals(false);
  render();
  place();
  // Shown at once: there is no animation to reduce when the desktop asks for reduced motion.
  show();
  raise();
  field_->setFocus();
}

void CommandPaletteWidget::close() {
  model_.close();
  hide();
  if (parentWidget()) {
    parentWidget()->setFocus();
  }
}

void CommandPaletteWidget::place() {
  auto* window = parentWidget();
  const int width = std::min(560, window->width() - 40);
  // As tall as its matches need, so a short list does not leave an empty box over the page.
  const int rowHeight = std::max(list_->sizeHintForRow(0), 24);
  const int rows = std::max(1, static_cast<int>(model_.matches().size()));
  const int chrome = field_->sizeHint().height() + footer_->sizeHint().height() + 48;
  const int height = std::min(chrome + rows * rowHeight, window->height() - 80);
  setGeometry((window->width() - width) / 2, 60, width, height);
}

void CommandPaletteWidget::render() {
  rows_->clear();
  const auto& handler = handler_();
  for (const auto& match : model_.matches()) {
    const auto& action = shell::tovraAction(match.id);
    auto* row = new QStandardItem(symbolIcon(action.symbol), text(action.title));
    row->setAccessibleText(text(action.title));
    const auto shortcut = shortcutOf(action).toString(QKeySequence::NativeText);
    auto* keys = new QStandardItem(shortcut);
    keys->setAccessibleText(shortcut.isEmpty() ? QStringLiteral("no shortcut") : shortcut);
    keys->setForeground(palette().brush(QPalette::PlaceholderText));
    keys->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
    if (const auto reason = handler.reasonFor(match.id)) {
      row->setText(text(action.title) + QStringLiteral(" — ") + QString::fromStdString(*reason));
      row->setForeground(palette().brush(QPalette::Disabled, QPalette::Text));
      row->setToolTip(QString::fromStdString(*reason));
    }
    rows_->appendRow({row, keys});
  }
  list_->header()->setStretchLastSection(false);
  list_->header()->setSectionResizeMode(0, QHeaderView::Stretch);
  list_->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
  const bool none = model_.matches().empty();
  empty_->setText(none ? QString::fromStdString(shell::noCommandMatches(model_.query())) : QString());
  empty_->setVisible(none);
  list_->setVisible(!none);
  if (!none) {
    list_->setCurrentIndex(rows_->index(model_.selection(), 0));
  }
  place();
}

bool CommandPaletteWidget::eventFilter(QObject* watched, QEvent* event) {
  if (watched == field_ && event->type() == QEvent::KeyPress) {
    const auto* key = static_cast<QKeyEvent*>(event);
    switch (key->key()) {
      case Qt::Key_Up:
      case Qt::Key_Down:
        model_.move(key->key() == Qt::Key_Up ? -1 : 1);
        list_->setCurrentIndex(rows_->index(model_.selection(), 0));
        return true;
      case Qt::Key_Return:
      case Qt::Key_Enter:
        model_.runSelected(handler_());
        setVisible(model_.isOpen());
        return true;
      case Qt::Key_Escape:
        close();
        return true;
      default:
        break;
    }
  }
  return QFrame::eventFilter(watched, event);
}

}  // namespace tovra::gui
