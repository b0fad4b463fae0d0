#pragma once

#include <QWidget>
#include <string>

#include "app/base/observable.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QListView;
class QPushButton;
class QStandardItemModel;

namespace tovra::research {
class HintProbeModel;
}

namespace tovra::gui {

class AppServices;

// The store hints panel: the store's completions for a prefix, answered from today's stored probe when
// there is one, with the trail of prefixes asked. A hint can go into the open track draft or be kept in a
// research space, carried from a store hint. Asks nothing while a measurement runs or the store holds.
class DiscoverHintsPanel final : public QWidget {
  Q_OBJECT
 public:
  DiscoverHintsPanel(AppServices& services, research::HintProbeModel& model, QWidget* parent);

  void setPrefix(const std::string& prefix, const std::string& country);
  // Whether a track draft is open for "Add to the track draft".
  void setDraftOpen(bool open);
  void refill();
  // Says why nothing may be asked now (a run, a hold), or clears that when it is over.
  void refreshWait();
  void ask();

 signals:
  void addToDraft(const QString& term);
  void wrote();

 private:
  void sync();
  std::string selectedHint() const;
  void keepHint();
  void showResult(const QString& text);

  AppServices& services_;
  research::HintProbeModel& model_;
  base::Subscription subscription_;
  bool draftOpen_ = false;
  QLineEdit* prefix_;
  QComboBox* country_;
  QPushButton* ask_;
  QLabel* status_;
  QLabel* headline_;
  QLabel* note_;
  QListView* hints_;
  QStandardItemModel* hintModel_;
  QLabel* trail_;
  QPushButton* addToDraft_;
  QComboBox* space_;
  QPushButton* keep_;
  QLabel* result_;
};

}  // namespace tovra::gui
