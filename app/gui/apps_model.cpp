#include "app/gui/apps_model.h"

#include <QFont>
#include <QGuiApplication>
#include <QPalette>
#include <unordered_map>

#include "app/gui/app_services.h"
#include "app/gui/gui_text.h"
#include "app/measure/measure_texts.h"
#include "app/measure/today_queue.h"
#include "app/shell/watchlist_board.h"

namespace tovra::gui {

namespace board = shell::board;

namespace {

constexpr int kIconSize = 28;
constexpr quintptr kOwnerRow = 0;

QString joined(const QStringList& parts) {
  return parts.join(QString::fromUtf8(" · "));
}

}  // namespace

AppsModel::AppsModel(AppServices& services, QObject* parent) : QAbstractItemModel(parent), services_(services) {
  connect(&services.icons(), &AppIcons::arrived, this, [this] {
    if (!owners_.empty()) {
      emit dataChanged(index(0, name), index(static_cast<int>(owners_.size()) - 1, name), {Qt::DecorationRole});
    }
  });
}

void AppsModel::reload() {
  auto& store = services_.store();
  std::unordered_map<std::int64_t, store::StoredObservation> latest;
  for (auto& reading : store.observations().latestPerQuery()) {
    if (reading.query) {
      latest.emplace(reading.query->value, std::move(reading));
    }
  }
  const auto keywordsOf = [&](const std::vector<store::TrackedQuery>& queries) {
    std::vector<Keyword> keywords;
    for (const auto& query : queries) {
      const auto found = latest.find(query.rowId.value);
      keywords.push_back({query, found == latest.end() ? std::nullopt : std::optional(found->second)});
    }
    return keywords;
  };
  std::vector<Owner> owners;
  for (const auto& app : store.apps().all()) {
    owners.push_back({app, keywordsOf(store.queries().ofApp(app.rowId))});
  }
  for (const auto& space : store.spaces().all()) {
    owners.push_back({space, keywordsOf(store.queries().ofSpace(space.rowId))});
  }
  beginResetModel();
  owners_ = std::move(owners);
  endResetModel();
}

const AppsModel::Owner* AppsModel::ownerAt(const QModelIndex& index) const {
  if (!index.isValid()) {
    return nullptr;
  }
  const auto owner = index.internalId() == kOwnerRow ? static_cast<std::size_t>(index.row())
                                                     : static_cast<std::size_t>(index.internalId() - 1);
  return owner < owners_.size() ? &owners_[owner] : nullptr;
}

const AppsModel::Keyword* AppsModel::keywordAt(const QModelIndex& index) const {
  if (!index.isValid() || index.internalId() == kOwnerRow) {
    return nullptr;
  }
  const auto* owner = ownerAt(index);
  const auto row = static_cast<std::size_t>(index.row());
  return owner && row < owner->keywords.size() ? &owner->keywords[row] : nullptr;
}

QModelIndex AppsModel::indexOfOwner(std::size_t owner) const {
  return owner < owners_.size() ? createIndex(static_cast<int>(owner), 0, kOwnerRow) : QModelIndex();
}

QModelIndex AppsModel::index(int row, int column, const QModelIndex& parent) const {
  if (row < 0 || column < 0 || column >= kColumns) {
    return {};
  }
  if (!parent.isValid()) {
    return row < static_cast<int>(owners_.size()) ? createIndex(row, column, kOwnerRow) : QModelIndex();
  }
  if (parent.internalId() != kOwnerRow || row >= static_cast<int>(owners_[parent.row()].keywords.size())) {
    return {};
  }
  return createIndex(row, column, static_cast<quintptr>(parent.row()) + 1);
}

QModelIndex AppsModel::parent(const QModelIndex& child) const {
  if (!child.isValid() || child.internalId() == kOwnerRow) {
    return {};
  }
  return createIndex(static_cast<int>(child.internalId() - 1), 0, kOwnerRow);
}

int AppsModel::rowCount(const QModelIndex& parent) const {
  if (!parent.isValid()) {
    return static_cast<int>(owners_.size());
  }
  if (parent.internalId() != kOwnerRow || parent.column() != 0) {
    return 0;
  }
  return static_cast<int>(owners_[static_cast<std::size_t>(parent.row())].keywords.size());
}

int AppsModel::columnCount(const QModelIndex&) const {
  return kColumns;
}

QString AppsModel::text(const Owner& owner, int column) const {
  if (const auto* app = std::get_if<store::TrackedApp>(&owner.record)) {
    switch (column) {
      case name:
        return QString::fromStdString(app->displayName);
      case details:
        return QString::fromStdString(board::appDetails(app->developer, app->isMine));
      default:
        return {};
    }
  }
  const auto& space = std::get<store::ResearchSpace>(owner.record);
  switch (column) {
    case name:
      return QString::fromStdString(space.name);
    case details: {
      QStringList parts{qs(measure::texts::kResearchSpaceNotMeasured)};
      if (space.promotedToAppStoreId) {
        for (const auto& other : owners_) {
          const auto* app = std::get_if<store::TrackedApp>(&other.record);
          if (app && app->appStoreId == *space.promotedToAppStoreId) {
            parts << QString::fromStdString(board::graduatedTo(app->displayName));
          }
        }
      }
      return joined(parts);
    }
    default:
      return {};
  }
}

QString AppsModel::text(const Keyword& keyword, int column) const {
  const auto& query = keyword.query;
  const bool parked = !query.app;
  switch (column) {
    case name:
      return QString::fromStdString(query.keyword);
    case country:
      return countryCode(query.country);
    case rank:
      if (parked) {
        return {};
      }
      return keyword.latest
                 ? QString::fromStdString(measure::rankText(keyword.latest->rank, keyword.latest->resultCount))
                 : kEmDash;
    case measured:
      return {};
    case details:
      if (parked) {
        return qs(board::kParked);
      }
      if (query.isPaused) {
        return qs(measure::kPaused);
      }
      return keyword.latest ? qs(board::kMeasured) : qs(board::kNotMeasuredYet);
    default:
      return {};
  }
}

QVariant AppsModel::data(const QModelIndex& index, int role) const {
  const auto* owner = ownerAt(index);
  if (!owner) {
    return {};
  }
  const auto* keyword = keywordAt(index);
  if (index.internalId() != kOwnerRow && !keyword) {
    return {};
  }
  switch (role) {
    case Qt::DisplayRole:
      return keyword ? text(*keyword, index.column()) : text(*owner, index.column());
    case Qt::AccessibleTextRole: {
      if (keyword) {
        if (index.column() == measured) {
          return keyword->query.app ? qs(keyword->query.isPaused ? measure::kPaused : board::kMeasured) : QString();
        }
        const auto label = QString::fromStdString(
            board::keywordLabel(keyword->query.keyword, keyword->query.country, text(*keyword, details).toStdString()));
        const auto own = text(*keyword, index.column());
        return index.column() == name || own.isEmpty() ? label : own;
      }
      // An owner row's empty cells say whose row it is, so that no cell is silent.
      const auto own = text(*owner, index.column());
      return index.column() == name || own.isEmpty() ? joined({text(*owner, name), text(*owner, details)}) : own;
    }
    case Qt::ToolTipRole:
      if (keyword && index.column() == measured && keyword->query.app) {
        return qs(board::kPauseHelp);
      }
      if (keyword && index.column() == rank && keyword->latest) {
        return joined({localMinute(keyword->latest->measuredAt),
                       QString::fromStdString(measure::texts::sourceLine(keyword->latest->source))});
      }
      return {};
    case Qt::CheckStateRole:
      if (keyword && index.column() == measured && keyword->query.app) {
        return keyword->query.isPaused ? Qt::Unchecked : Qt::Checked;
      }
      return {};
    case Qt::DecorationRole:
      if (!keyword && index.column() == name) {
        if (const auto* app = std::get_if<store::TrackedApp>(&owner->record)) {
          return services_.icons().pixmap(app->artworkUrl512, kIconSize);
        }
      }
      return {};
    case Qt::FontRole:
      if (!keyword && index.column() == name) {
        QFont font;
        font.setBold(true);
        return font;
      }
      return {};
    case Qt::ForegroundRole:
      if ((keyword && keyword->query.isPaused) || (!keyword && index.column() == details)) {
        return QGuiApplication::palette().brush(QPalette::PlaceholderText);
      }
      return {};
    default:
      return {};
  }
}

QVariant AppsModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || (role != Qt::DisplayRole && role != Qt::AccessibleTextRole)) {
    return {};
  }
  switch (section) {
    case name:
      return qs(board::kColumnName);
    case country:
      return qs(board::kColumnCountry);
    case rank:
      return qs(board::kColumnRank);
    case measured:
      return qs(board::kColumnMeasured);
    case details:
      return qs(board::kColumnDetails);
    default:
      return {};
  }
}

Qt::ItemFlags AppsModel::flags(const QModelIndex& index) const {
  auto flags = QAbstractItemModel::flags(index);
  if (const auto* keyword = keywordAt(index); keyword && index.column() == measured && keyword->query.app) {
    flags |= Qt::ItemIsUserCheckable;
  }
  return flags;
}

bool AppsModel::setData(const QModelIndex& index, const QVariant& value, int role) {
  const auto* keyword = keywordAt(index);
  if (role != Qt::CheckStateRole || !keyword || index.column() != measured || !keyword->query.app) {
    return false;
  }
  const bool paused = value.value<Qt::CheckState>() == Qt::Unchecked;
  if (paused != keyword->query.isPaused) {
    emit pauseRequested(keyword->query, paused);
  }
  return true;
}

}  // namespace tovra::gui
