#include "app/gui/today_model.h"

#include <QHash>

#include "app/gui/app_icons.h"
#include "app/gui/gui_text.h"
#include "app/research/error_lead.h"

namespace tovra::gui {

namespace {

namespace words = measure::today_texts;

// Headings carry no group in their internal id; rows carry their group's position plus one.
constexpr quintptr kHeadingId = 0;

QString spokenRow(const std::array<QString, TodayModel::columnCount_>& text) {
  QStringList parts;
  for (std::size_t column = 0; column < text.size(); ++column) {
    if (!text[column].isEmpty()) {
      parts << qs(words::kColumns[column]) + QStringLiteral(": ") + text[column];
    }
  }
  return parts.join(QStringLiteral(", "));
}

}  // namespace

TodayModel::TodayModel(AppIcons& icons, int iconSize, QObject* parent)
    : QAbstractItemModel(parent), icons_(icons), iconSize_(iconSize) {}

namespace {

QString bestText(const measure::TodayRow& row) {
  return row.bestRankRead ? qs(measure::bestRankText(row.bestRank)) : kEmDash;
}

}  // namespace

void TodayModel::setQueue(const measure::TodayQueue& queue) {
  std::vector<Group> groups;
  // The readings of one run share their time, so each time is put in words once.
  QHash<qint64, QString> minutes;
  const auto minuteOf = [&](asokit::WallTime time) {
    const auto key = static_cast<qint64>(time.time_since_epoch().count());
    auto found = minutes.find(key);
    if (found == minutes.end()) {
      found = minutes.insert(key, localMinute(time));
    }
    return *found;
  };
  const auto addRows = [&](std::string_view heading, const std::vector<measure::TodayRow>& rows) {
    if (rows.empty()) {
      return;
    }
    Group group{qs(words::groupHeading(heading, rows.size())), {}};
    group.lines.reserve(rows.size());
    for (const auto& row : rows) {
      Line line;
      line.id = row.id;
      line.reviewable = true;
      line.reviewed = row.isReviewed;
      line.changeKind = static_cast<int>(row.change.kind);
      line.iconUrl = row.iconURL;
      line.sparkline = row.sparkline;
      line.text = {qs(row.appLabel),
                   qs(row.keyword),
                   countryCode(row.country),
                   qs(measure::rankText(row.rank, row.resultCount)),
                   qs(measure::changeText(row.change)),
                   qs(measure::spanSummary(row.sparkline)),
                   bestText(row),
                   qs(measure::monthChangeText(row.monthChange)),
                   minuteOf(row.measuredAt)};
      line.spoken = spokenRow(line.text);
      group.lines.push_back(std::move(line));
    }
    groups.push_back(std::move(group));
  };
  addRows(words::kPending, queue.pending);
  addRows(words::kReviewed, queue.reviewed);
  addRows(words::kHeld, queue.held);
  if (!queue.notMeasured.empty()) {
    Group group{qs(words::groupHeading(words::kNotMeasured, queue.notMeasured.size())), {}};
    for (const auto& row : queue.notMeasured) {
      Line line;
      line.id = row.id;
      line.text = {qs(row.appLabel), qs(row.keyword), countryCode(row.country),
                   kEmDash,          qs(row.reason),  kEmDash,
                   kEmDash,          kEmDash,         kEmDash};
      line.spoken = spokenRow(line.text);
      // The reason is the client's terse error text; a screen reader hears the plain line first, and
      // hovering the reason shows both.
      if (const auto lead = research::errorLead(row.reason)) {
        line.spoken = qs(*lead) + QStringLiteral(" · ") + line.spoken;
      }
      group.lines.push_back(std::move(line));
    }
    groups.push_back(std::move(group));
  }
  const auto addWaiting = [&](std::string_view heading, const std::vector<measure::WaitingRow>& rows) {
    if (rows.empty()) {
      return;
    }
    Group group{qs(words::groupHeading(heading, rows.size())), {}};
    for (const auto& row : rows) {
      Line line;
      line.id = row.id;
      line.text = {qs(row.appLabel), qs(row.keyword), countryCode(row.country), kEmDash, qs(heading), kEmDash, kEmDash,
                   kEmDash,          kEmDash};
      line.spoken = spokenRow(line.text);
      group.lines.push_back(std::move(line));
    }
    groups.push_back(std::move(group));
  };
  addWaiting(measure::kNotMeasuredYet, queue.notMeasuredYet);
  addWaiting(measure::kPaused, queue.paused);

  beginResetModel();
  groups_ = std::move(groups);
  endResetModel();
}

void TodayModel::updateBestRanks(const measure::TodayQueue& queue) {
  QHash<qint64, const measure::TodayRow*> rows;
  for (const auto* list : {&queue.pending, &queue.reviewed, &queue.held}) {
    for (const auto& row : *list) {
      rows.insert(row.id, &row);
    }
  }
  for (std::size_t g = 0; g < groups_.size(); ++g) {
    bool changed = false;
    for (auto& line : groups_[g].lines) {
      const auto* row = line.reviewable ? rows.value(line.id) : nullptr;
      if (!row) {
        continue;
      }
      auto text = bestText(*row);
      if (text != line.text[bestColumn]) {
        line.text[bestColumn] = std::move(text);
        line.spoken = spokenRow(line.text);
        changed = true;
      }
    }
    if (changed) {
      const auto heading = index(static_cast<int>(g), 0);
      const auto last = rowCount(heading) - 1;
      emit dataChanged(index(0, 0, heading), index(last, bestColumn, heading));
    }
  }
}

const TodayModel::Line* TodayModel::lineAt(const QModelIndex& index) const {
  if (!index.isValid() || index.internalId() == kHeadingId) {
    return nullptr;
  }
  return &groups_[index.internalId() - 1].lines[static_cast<std::size_t>(index.row())];
}

const std::vector<measure::DaySlot>* TodayModel::sparklineAt(const QModelIndex& index) const {
  const auto* line = lineAt(index);
  return line && !line->sparkline.empty() ? &line->sparkline : nullptr;
}

QModelIndex TodayModel::indexOfKeyword(std::int64_t rowId) const {
  for (std::size_t g = 0; g < groups_.size(); ++g) {
    const auto& lines = groups_[g].lines;
    for (std::size_t r = 0; r < lines.size(); ++r) {
      if (lines[r].id == rowId && lines[r].reviewable) {
        return createIndex(static_cast<int>(r), 0, static_cast<quintptr>(g + 1));
      }
    }
  }
  return {};
}

QModelIndex TodayModel::index(int row, int column, const QModelIndex& parent) const {
  if (row < 0 || column < 0 || column >= columnCount_) {
    return {};
  }
  if (!parent.isValid()) {
    return row < static_cast<int>(groups_.size()) ? createIndex(row, column, kHeadingId) : QModelIndex();
  }
  if (parent.internalId() != kHeadingId || parent.row() >= static_cast<int>(groups_.size())) {
    return {};
  }
  const auto& group = groups_[static_cast<std::size_t>(parent.row())];
  return row < static_cast<int>(group.lines.size()) ? createIndex(row, column, static_cast<quintptr>(parent.row()) + 1)
                                                    : QModelIndex();
}

QModelIndex TodayModel::parent(const QModelIndex& child) const {
  if (!child.isValid() || child.internalId() == kHeadingId) {
    return {};
  }
  return createIndex(static_cast<int>(child.internalId() - 1), 0, kHeadingId);
}

int TodayModel::rowCount(const QModelIndex& parent) const {
  if (!parent.isValid()) {
    return static_cast<int>(groups_.size());
  }
  if (parent.internalId() != kHeadingId || parent.column() != 0) {
    return 0;
  }
  return static_cast<int>(groups_[static_cast<std::size_t>(parent.row())].lines.size());
}

int TodayModel::columnCount(const QModelIndex&) const {
  return columnCount_;
}

QVariant TodayModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid()) {
    return {};
  }
  if (index.internalId() == kHeadingId) {
    const auto& heading = groups_[static_cast<std::size_t>(index.row())].heading;
    switch (role) {
      case Qt::DisplayRole:
        return index.column() == 0 ? QVariant(heading) : QVariant();
      case Qt::AccessibleTextRole:
        // The heading spans the row; a reader that walks its cells still hears the group.
        return heading;
      case headingRole:
        return true;
      default:
        return {};
    }
  }
  const auto& line = *lineAt(index);
  const auto column = static_cast<std::size_t>(index.column());
  switch (role) {
    case Qt::DisplayRole:
      return line.text[column];
    case Qt::AccessibleTextRole:
      return column == 0 ? line.spoken : qs(words::kColumns[column]) + QStringLiteral(": ") + line.text[column];
    case Qt::ToolTipRole:
      return qs(research::withErrorLead(line.text[column].toStdString()));
    case Qt::DecorationRole:
      return column == appColumn ? QVariant(icons_.pixmap(line.iconUrl, iconSize_)) : QVariant();
    case changeKindRole:
      return line.changeKind >= 0 ? QVariant(line.changeKind) : QVariant();
    case rowIdRole:
      return line.reviewable ? QVariant(static_cast<qlonglong>(line.id)) : QVariant();
    case reviewedRole:
      return line.reviewed;
    case headingRole:
      return false;
    default:
      return {};
  }
}

QVariant TodayModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || section < 0 || section >= columnCount_ ||
      (role != Qt::DisplayRole && role != Qt::AccessibleTextRole)) {
    return {};
  }
  return qs(words::kColumns[static_cast<std::size_t>(section)]);
}

Qt::ItemFlags TodayModel::flags(const QModelIndex& index) const {
  if (!index.isValid()) {
    return Qt::NoItemFlags;
  }
  return Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}

}  // namespace tovra::gui
