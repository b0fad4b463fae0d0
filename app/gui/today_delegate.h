#pragma once

#include <QStyledItemDelegate>

namespace tovra::gui {

// Draws a today row's change as a badge (dropped in red, rose in green, the rest in the palette's quiet
// colours) and its history as a sparkline with one step per day: a missing day is a gap, a reading
// outside the results a mark along the bottom. It reads only what the model prepared.
class TodayDelegate final : public QStyledItemDelegate {
  Q_OBJECT
 public:
  using QStyledItemDelegate::QStyledItemDelegate;

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

  static constexpr int kSparkWidth = 124;

 private:
  void paintBadge(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const;
  void paintSparkline(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const;
};

}  // namespace tovra::gui
