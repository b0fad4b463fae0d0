#pragma once

#include <QAbstractItemModel>
#include <optional>
#include <variant>
#include <vector>

#include "app/store/records.h"

namespace tovra::gui {

class AppServices;

// The watchlist board as a tree: each tracked app, then each research space, with its keywords beneath.
// A keyword of an app carries its pause switch (checked while measured) and its latest rank; a parked
// keyword has neither, and its space says it never enters a run. Every cell says its words to a screen
// reader. The model reads the store in reload() only.
class AppsModel final : public QAbstractItemModel {
  Q_OBJECT
 public:
  enum Column { name, country, rank, measured, details, kColumns };

  struct Keyword {
    store::TrackedQuery query;
    std::optional<store::StoredObservation> latest;
  };
  struct Owner {
    std::variant<store::TrackedApp, store::ResearchSpace> record;
    std::vector<Keyword> keywords;
    bool isApp() const { return std::holds_alternative<store::TrackedApp>(record); }
  };

  explicit AppsModel(AppServices& services, QObject* parent = nullptr);

  void reload();
  const std::vector<Owner>& owners() const { return owners_; }
  // The owner of a row (an owner row or one of its keywords), and the keyword of a keyword row.
  const Owner* ownerAt(const QModelIndex& index) const;
  const Keyword* keywordAt(const QModelIndex& index) const;
  QModelIndex indexOfOwner(std::size_t owner) const;

  QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
  QModelIndex parent(const QModelIndex& child) const override;
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  // Unchecking a keyword's switch pauses it; the page does the writing (see pauseRequested).
  bool setData(const QModelIndex& index, const QVariant& value, int role) override;

 signals:
  void pauseRequested(const store::TrackedQuery& query, bool paused);

 private:
  QString text(const Owner& owner, int column) const;
  QString text(const Keyword& keyword, int column) const;

  AppServices& services_;
  std::vector<Owner> owners_;
};

}  // namespace tovra::gui
