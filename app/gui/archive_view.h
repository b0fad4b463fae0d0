#pragma once

#include <QModelIndex>
#include <optional>

#include "app/gui/view_page.h"
#include "app/store/records.h"

class QLabel;
class QListView;
class QStandardItemModel;
class QTreeView;

namespace tovra::gui {

class AppServices;
class RankChartView;

// The archive: every measured day (each run with its requests and what became of its keywords), and for
// the keyword picked beside it, the rank chart of its whole series with the readings listed and the app's
// releases marked on the days they came out.
class ArchiveView final : public ViewPage {
  Q_OBJECT
 public:
  ArchiveView(AppServices& services, QWidget* parent = nullptr);

  QListView* keywords() const { return keywords_; }
  QTreeView* days() const { return days_; }
  QTreeView* readings() const { return readings_; }
  QListView* releases() const { return releases_; }
  RankChartView* chart() const { return chart_; }
  // Shows the keyword of this row; false when no listed keyword has it.
  bool showKeyword(store::RecordId<store::TrackedQuery> query);

 protected:
  void refill() override;

 private:
  void fillDays();
  void fillKeywords();
  void showCurrentKeyword();
  void showNoKeyword(const QString& text);

  QListView* keywords_;
  QStandardItemModel* keywordModel_;
  QTreeView* days_;
  QStandardItemModel* dayModel_;
  QLabel* headline_;
  QLabel* dayRuns_;
  RankChartView* chart_;
  QTreeView* readings_;
  QStandardItemModel* readingModel_;
  QListView* releases_;
  QStandardItemModel* releaseModel_;
  std::optional<store::RecordId<store::TrackedQuery>> shown_;
};

ViewPage* makeArchiveView(AppServices& services, QWidget* parent);

}  // namespace tovra::gui
