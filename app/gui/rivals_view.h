#pragma once

#include <memory>
#include <optional>
#include <string>

#include "app/base/observable.h"
#include "app/gui/view_page.h"
#include "app/research/rivals_board.h"

class QComboBox;
class QFrame;
class QLabel;
class QListView;
class QPushButton;
class QStandardItemModel;
class QTreeView;

namespace tovra::research {
class AppFactsModel;
}

namespace tovra::gui {

class AppServices;
class RankChartView;

// Rivals: for a keyword in a country, its saved searches over time as a board of who ranked where, who
// overtook whom since the saved search before, where the tracked apps stand; every tracked app's rank on
// the keyword side by side; and the facts of an app opened from the board, looked up off the main thread.
class RivalsView final : public ViewPage {
  Q_OBJECT
 public:
  RivalsView(AppServices& services, QWidget* parent = nullptr);
  ~RivalsView() override;

  QListView* keywords() const { return keywords_; }
  QComboBox* searches() const { return searches_; }
  QTreeView* board() const { return board_; }
  QListView* overtakes() const { return overtakes_; }
  QListView* standings() const { return standings_; }
  RankChartView* chart() const { return chart_; }
  QFrame* details() const { return details_; }
  QPushButton* lookUp() const { return lookUp_; }
  // Opens the facts of the board's row.
  void openRow(int row);

 protected:
  void refill() override;

 private:
  void showCurrentKeyword();
  void showSearch(int index);
  void renderFacts();

  QListView* keywords_;
  QStandardItemModel* keywordModel_;
  QComboBox* searches_;
  QTreeView* board_;
  QStandardItemModel* boardModel_;
  QListView* overtakes_;
  QStandardItemModel* overtakeModel_;
  QListView* standings_;
  QStandardItemModel* standingModel_;
  QLabel* compareHeading_;
  RankChartView* chart_;
  QFrame* details_;
  QLabel* detailsTitle_;
  QLabel* detailsLines_;
  QLabel* factsStatus_;
  QPushButton* lookUp_;
  std::vector<research::RivalKeyword> keywordList_;
  std::optional<research::RivalKeyword> shown_;
  research::RivalsBoard boardData_;
  std::optional<research::BoardRow> opened_;
  std::unique_ptr<research::AppFactsModel> facts_;
  base::Subscription factsChanged_;
};

ViewPage* makeRivalsView(AppServices& services, QWidget* parent);

}  // namespace tovra::gui
