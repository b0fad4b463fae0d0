#pragma once

#include <QAbstractItemModel>
#include <array>
#include <optional>
#include <string>
#include <vector>

#include "app/measure/today_queue.h"

namespace tovra::gui {

class AppIcons;

// The today queue as groups of rows: pending, reviewed, held, the keywords the last run missed with their
// reasons, the ones not measured yet and the paused ones. Every text, icon address and sparkline is made
// once when the queue is set, so painting and scrolling read prepared values and never the store.
class TodayModel final : public QAbstractItemModel {
  Q_OBJECT
 public:
  enum Column {
    appColumn,
    keywordColumn,
    countryColumn,
    rankColumn,
    changeColumn,
    historyColumn,
    bestColumn,
    monthColumn,
    measuredColumn,
    columnCount_
  };
  enum Role {
    // The change's kind as an int (TodayChange::Kind); absent on rows without a reading.
    changeKindRole = Qt::UserRole + 1,
    // The keyword's row in the store, on rows that can be marked reviewed.
    rowIdRole,
    // True on a row whose day is marked reviewed.
    reviewedRole,
    // True on a group heading.
    headingRole,
  };

  TodayModel(AppIcons& icons, int iconSize, QObject* parent = nullptr);

  void setQueue(const measure::TodayQueue& queue);
  // Shows the best ranks the queue's rows have read since it was set; the rows stay as they are.
  void updateBestRanks(const measure::TodayQueue& queue);

  // The slots of a row's sparkline; null on headings and rows without a reading.
  const std::vector<measure::DaySlot>* sparklineAt(const QModelIndex& index) const;
  // The first cell of the keyword's row, wherever it is listed; invalid when it is not.
  QModelIndex indexOfKeyword(std::int64_t rowId) const;

  QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
  QModelIndex parent(const QModelIndex& child) const override;
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;

 private:
  struct Line {
    std::int64_t id = 0;
    bool reviewable = false;
    bool reviewed = false;
    int changeKind = -1;
    std::array<QString, columnCount_> text;
    QString spoken;  // the whole row in words, for a screen reader
    std::optional<std::string> iconUrl;
    std::vector<measure::DaySlot> sparkline;
  };
  struct Group {
    QString heading;
    std::vector<Line> lines;
  };

  const Line* lineAt(const QModelIndex& index) const;

  AppIcons& icons_;
  int iconSize_;
  std::vector<Group> groups_;
};

}  // namespace tovra::gui
