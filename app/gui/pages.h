#pragma once

#include <QWidget>
#include <functional>

#include "AsoKit/clock.h"

class QLabel;
class QStandardItemModel;
class QTreeView;

namespace tovra::gui {

class AppServices;

// One page of the main window: a heading, a line that sums the page up, and its records in one
// model-based view. The page re-reads the store only when it is shown, or shown and told it changed.
class RecordsPage final : public QWidget {
  Q_OBJECT
 public:
  using Fill = std::function<void(AppServices&, RecordsPage&)>;
  RecordsPage(const QString& heading, AppServices& services, Fill fill, QWidget* parent = nullptr);

  // Marks the page as out of date; a visible page re-reads at once.
  void invalidate();
  // Reads the store now, whatever the page's state.
  void reload();

  QLabel* summary() const { return summary_; }
  QTreeView* view() const { return view_; }
  QStandardItemModel* model() const { return model_; }

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  AppServices& services_;
  Fill fill_;
  QLabel* heading_;
  QLabel* summary_;
  QTreeView* view_;
  QStandardItemModel* model_;
  bool stale_ = true;
};

RecordsPage* makeTodayPage(AppServices& services, QWidget* parent);
RecordsPage* makeAppsPage(AppServices& services, QWidget* parent);
RecordsPage* makeDiscoverPage(AppServices& services, QWidget* parent);
RecordsPage* makeArchivePage(AppServices& services, QWidget* parent);

// "2025-01-14 09:30" in the desktop's local time.
QString localMinute(asokit::WallTime time);

}  // namespace tovra::gui
