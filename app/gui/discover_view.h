#pragma once

#include <memory>
#include <optional>
#include <string>

#include "app/base/observable.h"
#include "app/gui/view_page.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QListView;
class QPushButton;
class QStandardItemModel;
class QTabWidget;
class QTreeView;

namespace tovra::research {
class DiscoverModel;
class HintProbeModel;
class SignalsCheck;
class TrackDraft;
}  // namespace tovra::research

namespace tovra::store {
class HintProbeStore;
}

namespace tovra::gui {

class AppServices;
class DiscoverCheckSheet;
class DiscoverHintsPanel;
class DiscoverResultsModel;
class DiscoverSignalsPanel;
class DiscoverTrackPanel;

// Discover: the App Store's own results for a term, in its order, with the panels that act on them —
// track a result, read the term's signals, ask the store's hints — and check once. Every search is kept
// as a saved search; the saved searches are listed in their own tab.
class DiscoverPage final : public ViewPage {
  Q_OBJECT
 public:
  DiscoverPage(AppServices& services, QWidget* parent);
  ~DiscoverPage() override;

  // Types the term and starts the search, as Return in the search field does.
  void search(const QString& term, const std::string& country);
  // The track draft of the picked result; none when no result is picked.
  research::TrackDraft* trackDraft() const { return draft_.get(); }
  DiscoverCheckSheet* openCheckOnce();

 protected:
  void refill() override;

 private:
  void sync();
  // Reads the rows again, keeping the picked one.
  void showRows();
  void picked();
  void refreshWaits();
  void fillSaved();

  std::unique_ptr<store::HintProbeStore> probes_;
  std::unique_ptr<research::DiscoverModel> model_;
  std::unique_ptr<research::SignalsCheck> signals_;
  std::unique_ptr<research::HintProbeModel> hints_;
  std::unique_ptr<research::TrackDraft> draft_;
  std::optional<std::string> shownSearch_;
  base::Subscription subscription_;
  QLineEdit* term_;
  QComboBox* country_;
  QPushButton* search_;
  QPushButton* checkOnce_;
  QLabel* status_;
  DiscoverResultsModel* results_;
  QListView* list_;
  QTabWidget* tabs_;
  DiscoverTrackPanel* track_;
  DiscoverSignalsPanel* signalsPanel_;
  DiscoverHintsPanel* hintsPanel_;
  QStandardItemModel* savedModel_;
  QTreeView* saved_;
};

ViewPage* makeDiscoverView(AppServices& services, QWidget* parent);

}  // namespace tovra::gui
