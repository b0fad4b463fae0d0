#pragma once

#include <QWidget>
#include <optional>
#include <string>

#include "app/base/observable.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListView;
class QPushButton;
class QStandardItemModel;

namespace tovra::research {
class DiscoverModel;
class TrackDraft;
}  // namespace tovra::research

namespace tovra::gui {

class AppServices;

// The track panel: the picked result's draft (its keywords with what each costs a run, the "mine" mark),
// tracking it, and keeping the searched term in a research space instead. It shows the draft the page
// holds and writes through the watchlist writer when the user confirms.
class DiscoverTrackPanel final : public QWidget {
  Q_OBJECT
 public:
  DiscoverTrackPanel(AppServices& services, const research::DiscoverModel& discover, QWidget* parent);

  // The draft to show; none when no result is picked. The page owns it and outlives the panel's use of it.
  void setDraft(research::TrackDraft* draft);
  // Re-reads the research spaces.
  void refill();
  // Forgets what the last confirmation said, when another result is picked.
  void clearResult();
  // Puts the keyboard in the keyword field.
  void focusEntry();

 signals:
  // The store changed: an app or a keyword was tracked, or a term kept.
  void wrote();

 private:
  void sync();
  void confirm();
  void keepTerm();
  void removeSelected();
  void showResult(const std::string& text);

  AppServices& services_;
  const research::DiscoverModel& discover_;
  research::TrackDraft* draft_ = nullptr;
  base::Subscription subscription_;
  QLabel* empty_;
  QWidget* content_;
  QLabel* app_;
  QLabel* foundFor_;
  QLabel* tracked_;
  QLabel* known_;
  QCheckBox* mine_;
  QLineEdit* typing_;
  QComboBox* typingCountry_;
  QPushButton* add_;
  QListView* drafts_;
  QStandardItemModel* draftModel_;
  QPushButton* remove_;
  QLabel* notice_;
  QLabel* total_;
  QLabel* hint_;
  QPushButton* track_;
  QComboBox* space_;
  QPushButton* keep_;
  QLabel* result_;
};

}  // namespace tovra::gui
