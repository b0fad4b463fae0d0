#pragma once

#include <QDialog>
#include <memory>

#include "app/base/observable.h"
#include "app/research/app_resolver_model.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QListView;
class QPushButton;
class QStandardItemModel;
class QToolButton;

namespace tovra::gui {

class AppServices;

// The add-app sheet: what the user typed or pasted (a name, an App Store link, an ID or a bundle ID)
// becomes one App Store app through the resolver, which asks the store off the main thread. Every phase
// shows the resolver's own words: resolving, the results to click, the automatic pick's note, a name
// that found nothing with the retry in another country, a failure with the store's message. The same
// sheet graduates a research space: only its title and its button differ.
class AddAppSheet final : public QDialog {
  Q_OBJECT
 public:
  AddAppSheet(AppServices& services, research::ResolverLookup lookup, research::ResolverSearch search,
              const QString& title, const QString& confirmText, QWidget* parent);

  const research::AppResolverModel& model() const { return *model_; }
  QLineEdit* field() const { return field_; }
  QComboBox* countryBox() const { return country_; }
  QListView* results() const { return results_; }
  QToolButton* retryButton() const { return retry_; }
  QPushButton* copiedLinkButton() const { return copiedLink_; }
  QPushButton* confirmButton() const { return confirm_; }
  QCheckBox* mineBox() const { return mine_; }

  // Resolves what the field holds in the chosen country (the Resolve button, Return).
  void resolve();
  // "Use the copied link": resolves the clipboard's App Store link, or says it is not one.
  void useCopiedLink();
  // The board could not track the chosen app: the sheet stays open and says why.
  void showFailure(const QString& text);

 signals:
  // The user chose the app: track it (or graduate the space to it) in the country it was found in.
  void chosen(const research::DiscoveredApp& app, bool isMine);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void returnPressed();
  void render();
  void fillResults(const std::vector<research::DiscoveredApp>& apps);
  void confirm();

  AppServices& services_;
  std::unique_ptr<research::AppResolverModel> model_;
  base::Subscription subscription_;
  QLineEdit* field_;
  QComboBox* country_;
  QPushButton* resolve_;
  QPushButton* copiedLink_;
  QLabel* copiedNote_;
  QLabel* status_;
  QLabel* namesDiffer_;
  QToolButton* retry_;
  QListView* results_;
  QStandardItemModel* resultModel_;
  QLabel* clickYourApp_;
  QLabel* returnAdds_;
  QLabel* pickNote_;
  QLabel* failure_;
  QCheckBox* mine_;
  QPushButton* confirm_;
  std::int64_t shownRequest_ = -1;
  bool following_ = false;  // the request whose results the list shows
};

}  // namespace tovra::gui
