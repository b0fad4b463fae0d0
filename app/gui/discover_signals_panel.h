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
class QToolButton;

namespace tovra::research {
class SignalsCheck;
struct KeywordSignals;
}  // namespace tovra::research

namespace tovra::gui {

class AppServices;

// The signals panel: a keyword's difficulty (band and median) and autocomplete reach (band, letters and
// position), first as the store holds them, then fresh from one search and a few hint probes, with the
// trail of probes asked and how signals are read. Asks nothing while a measurement runs or the store holds.
class DiscoverSignalsPanel final : public QWidget {
  Q_OBJECT
 public:
  DiscoverSignalsPanel(AppServices& services, research::SignalsCheck& check, QWidget* parent);

  // The keyword and country to read: shows what the store already holds for them.
  void setTarget(const std::string& keyword, const std::string& country);
  // Says why nothing may be asked now (a run, a hold), or clears that when it is over.
  void refreshWait();
  void start();

 private:
  void sync();
  void showSignals(const research::KeywordSignals& read);

  AppServices& services_;
  research::SignalsCheck& check_;
  base::Subscription subscription_;
  QLineEdit* keyword_;
  QComboBox* country_;
  QPushButton* read_;
  QLabel* status_;
  QLabel* difficulty_;
  QLabel* source_;
  QLabel* reach_;
  QLabel* probes_;
  QListView* trail_;
  QStandardItemModel* trailModel_;
  QLabel* problems_;
  QToolButton* helpToggle_;
  QLabel* help_;
};

}  // namespace tovra::gui
