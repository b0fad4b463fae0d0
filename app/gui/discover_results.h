#pragma once

#include <QAbstractListModel>
#include <QStyledItemDelegate>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/research/discovered_app.h"

class QComboBox;
class QLabel;

namespace tovra::gui {

class AppIcons;

// The store's results for the searched term, in the store's own order: nothing sorted, nothing scored.
// A row's text reads the whole row out (position, name, developer, ratings), for screen readers and tests.
class DiscoverResultsModel final : public QAbstractListModel {
  Q_OBJECT
 public:
  enum Role {
    positionRole = Qt::UserRole + 1,
    nameRole,
    developerRole,
    ratingCountRole,
    averageRole,
    artworkRole,
    trackedRole,
    idRole
  };

  explicit DiscoverResultsModel(QObject* parent = nullptr) : QAbstractListModel(parent) {}

  // `tracked` holds the App Store IDs of the apps already tracked, which their rows mark.
  void setResults(std::vector<research::DiscoveredApp> apps, std::set<std::string> tracked);
  const research::DiscoveredApp* app(int row) const;
  int rowOf(const std::string& appStoreId) const;

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;

 private:
  std::vector<research::DiscoveredApp> apps_;
  std::set<std::string> tracked_;
};

// Draws a result: the store's position, the app's icon, its name over its developer, and its rating count
// and average on the right, with a mark when the app is already tracked.
class DiscoverResultDelegate final : public QStyledItemDelegate {
  Q_OBJECT
 public:
  DiscoverResultDelegate(AppIcons& icons, QObject* parent);
  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

 private:
  AppIcons& icons_;
};

// A picker of the App Store's countries, each shown by its upper-case code and name, with `current`
// selected. The selected code is the item's data.
QComboBox* makeCountryBox(const QString& accessibleName, const std::string& current, QWidget* parent);
std::string countryOf(const QComboBox& box);
void selectCountry(QComboBox& box, const std::string& code);

// A line of the panels' text: it wraps and can be selected.
QLabel* textLine(QWidget* parent);
// Shows `text` on the line and to a screen reader; an empty text hides the line.
void showLine(QLabel& label, const QString& text);

}  // namespace tovra::gui

namespace tovra::store {
class Store;
struct ResearchSpace;
}  // namespace tovra::store

namespace tovra::gui {

// Lists the research spaces that still collect terms (not graduated onto an app), each by its name with
// its id as the item's data; keeps the selected one when it is still there.
void fillSpaces(QComboBox& box, store::Store& store);
// Whether the box lists a space (rather than saying there is none).
bool hasSpaces(const QComboBox& box);
std::optional<store::ResearchSpace> spaceOf(const QComboBox& box, store::Store& store);

}  // namespace tovra::gui
