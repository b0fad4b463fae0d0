#include "app/gui/today_delegate.h"

#include <QApplication>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>

#include "app/gui/today_model.h"

namespace tovra::gui {

namespace {

using Kind = measure::TodayChange::Kind;

// The two semantic colours, chosen to read on light and dark backgrounds alike.
const QColor kDropped(0xd6, 0x45, 0x45);
const QColor kRose(0x2f, 0xa0, 0x5f);

void paintBackground(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) {
  QStyleOptionViewItem plain = option;
  plain.text.clear();
  plain.icon = QIcon();
  plain.features &= ~QStyleOptionViewItem::HasDisplay;
  plain.index = index;
  const auto* style = option.widget ? option.widget->style() : QApplication::style();
  style->drawControl(QStyle::CE_ItemViewItem, &plain, painter, option.widget);
}

}  // namespace

void TodayDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
  if (index.column() == TodayModel::changeColumn && index.data(TodayModel::changeKindRole).isValid()) {
    paintBadge(painter, option, index);
    return;
  }
  if (index.column() == TodayModel::historyColumn && !index.data(TodayModel::headingRole).toBool()) {
    paintSparkline(painter, option, index);
    return;
  }
  QStyledItemDelegate::paint(painter, option, index);
}

QSize TodayDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
  auto size = QStyledItemDelegate::sizeHint(option, index);
  if (index.column() == TodayModel::historyColumn && !index.data(TodayModel::headingRole).toBool()) {
    size.setWidth(kSparkWidth);
  }
  if (index.column() == TodayModel::changeColumn) {
    size.setWidth(size.width() + 16);
  }
  size.setHeight(std::max(size.height(), 30));
  return size;
}

void TodayDelegate::paintBadge(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
  QStyleOptionViewItem opt = option;
  initStyleOption(&opt, index);
  paintBackground(painter, opt, index);
  const auto kind = static_cast<Kind>(index.data(TodayModel::changeKindRole).toInt());
  const auto text = index.data(Qt::DisplayRole).toString();
  QColor accent = opt.palette.color(QPalette::Text);
  QColor fill = opt.palette.color(QPalette::Mid);
  fill.setAlpha(60);
  if (kind == Kind::dropped || kind == Kind::rose) {
    accent = kind == Kind::dropped ? kDropped : kRose;
    fill = accent;
    fill.setAlpha(48);
  } else if (kind == Kind::accumulating || kind == Kind::unknownChange) {
    accent = opt.palette.color(QPalette::PlaceholderText);
  }
  const QFontMetrics metrics(opt.font);
  const int width = std::min(metrics.horizontalAdvance(text) + 16, opt.rect.width() - 8);
  const QRect pill(opt.rect.left() + 4, opt.rect.center().y() - metrics.height() / 2 - 2, width, metrics.height() + 4);
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  painter->setPen(Qt::NoPen);
  painter->setBrush(fill);
  painter->drawRoundedRect(pill, pill.height() / 2.0, pill.height() / 2.0);
  painter->setPen(opt.state & QStyle::State_Selected && kind != Kind::dropped && kind != Kind::rose
                      ? opt.palette.color(QPalette::HighlightedText)
                      : accent);
  painter->drawText(pill, Qt::AlignCenter, metrics.elidedText(text, Qt::ElideRight, pill.width() - 8));
  painter->restore();
}

void TodayDelegate::paintSparkline(QPainter* painter, const QStyleOptionViewItem& option,
                                   const QModelIndex& index) const {
  QStyleOptionViewItem opt = option;
  initStyleOption(&opt, index);
  paintBackground(painter, opt, index);
  const auto* model = qobject_cast<const TodayModel*>(index.model());
  const auto* days = model ? model->sparklineAt(index) : nullptr;
  if (!days || days->empty()) {
    painter->save();
    painter->setPen(opt.palette.color(QPalette::PlaceholderText));
    painter->drawText(opt.rect.adjusted(6, 0, -4, 0), Qt::AlignVCenter | Qt::AlignLeft,
                      index.data(Qt::DisplayRole).toString());
    painter->restore();
    return;
  }
  std::int64_t best = 0;
  std::int64_t worst = 0;
  bool any = false;
  for (const auto& slot : *days) {
    if (slot.kind == measure::DaySlot::Kind::ranked) {
      best = any ? std::min(best, slot.rank) : slot.rank;
      worst = any ? std::max(worst, slot.rank) : slot.rank;
      any = true;
    }
  }
  const QRectF area = QRectF(opt.rect).adjusted(6, 6, -6, -7);
  const double step = days->size() > 1 ? area.width() / static_cast<double>(days->size() - 1) : 0.0;
  // Rank 1 is at the top; a flat series sits in the middle.
  const auto yOf = [&](std::int64_t rank) {
    if (worst == best) {
      return area.center().y();
    }
    return area.top() + area.height() * static_cast<double>(rank - best) / static_cast<double>(worst - best);
  };
  const bool selected = opt.state & QStyle::State_Selected;
  QColor line = selected ? opt.palette.color(QPalette::HighlightedText) : opt.palette.color(QPalette::Highlight);
  QColor quiet = selected ? opt.palette.color(QPalette::HighlightedText) : opt.palette.color(QPalette::PlaceholderText);
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  QPainterPath path;
  bool open = false;
  for (std::size_t i = 0; i < days->size(); ++i) {
    const auto& slot = (*days)[i];
    const double x = area.left() + step * static_cast<double>(i);
    if (slot.kind != measure::DaySlot::Kind::ranked) {
      open = false;  // a day without a rank breaks the line; nothing is drawn across it
      continue;
    }
    const QPointF point(x, yOf(slot.rank));
    if (open) {
      path.lineTo(point);
    } else {
      path.moveTo(point);
      open = true;
    }
  }
  painter->setPen(QPen(line, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
  painter->setBrush(Qt::NoBrush);
  painter->drawPath(path);
  painter->setPen(Qt::NoPen);
  painter->setBrush(line);
  for (std::size_t i = 0; i < days->size(); ++i) {
    const auto& slot = (*days)[i];
    const double x = area.left() + step * static_cast<double>(i);
    const bool alone = slot.kind == measure::DaySlot::Kind::ranked &&
                       (i == 0 || (*days)[i - 1].kind != measure::DaySlot::Kind::ranked) &&
                       (i + 1 == days->size() || (*days)[i + 1].kind != measure::DaySlot::Kind::ranked);
    if (alone || (slot.kind == measure::DaySlot::Kind::ranked && i + 1 == days->size())) {
      painter->drawEllipse(QPointF(x, yOf(slot.rank)), 2.0, 2.0);
    } else if (slot.kind == measure::DaySlot::Kind::outside) {
      painter->setBrush(quiet);
      painter->drawRect(QRectF(x - 1.5, area.bottom() + 2, 3, 3));
      painter->setBrush(line);
    }
  }
  painter->restore();
}

}  // namespace tovra::gui
