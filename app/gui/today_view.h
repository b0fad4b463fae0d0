#pragma once

#include <cstdint>
#include <memory>

#include "app/base/observable.h"
#include "app/gui/view_page.h"

class QLabel;
class QModelIndex;
class QPushButton;
class QTimer;
class QToolButton;
class QTreeView;

namespace tovra::measure {
class TodayBoard;
}

namespace tovra::gui {

class TodayModel;

ViewPage* makeTodayView(AppServices& services, QWidget* parent);

// Today: what the last run found, keyword by keyword, with review marks the user works through, and the
// offer to measure again. Rows come from the core's today board; the page only lays them out.
class TodayPage final : public ViewPage {
  Q_OBJECT
 public:
  TodayPage(AppServices& services, QWidget* parent = nullptr);
  ~TodayPage() override;

  QTreeView* view() const { return view_; }
  TodayModel* model() const { return model_; }
  QLabel* offerLabel() const { return offer_; }
  QPushButton* reviewButton() const { return review_; }
  QPushButton* undoButton() const { return undo_; }
  QToolButton* measureButton() const { return measure_; }

  // Marks the current row's day reviewed and moves on to the next row of its group.
  void reviewCurrent();
  // Takes the last mark back.
  void undoReview();

 protected:
  void refill() override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void showQueue();
  void showOffer();
  void updateButtons();
  void runOnBoard(const std::function<void()>& change);
  void readBestRanks();

  std::unique_ptr<measure::TodayBoard> board_;
  base::Subscription boardChanged_;
  TodayModel* model_;
  QTreeView* view_;
  QLabel* offer_;
  QToolButton* measure_;
  QPushButton* review_;
  QPushButton* undo_;
  QTimer* bestRanks_;
};

}  // namespace tovra::gui
