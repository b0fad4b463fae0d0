#pragma once

#include <QPointer>
#include <optional>

#include "app/base/observable.h"
#include "app/gui/view_page.h"
#include "app/research/app_resolver_model.h"
#include "app/store/watchlist_editor.h"
#include "app/store/watchlist_writer.h"

class QLabel;
class QLineEdit;
class QPushButton;
class QTreeView;
class QWidget;

namespace tovra::gui {

class AddAppSheet;
class AddKeywordsSheet;
class AppsModel;

// The Apps page, the watchlist board: tracked apps with their keywords per country, pause switches and
// latest ranks, and research spaces with their parked keywords. Every change goes through the writer and
// the board's WatchlistEditor: a refused edit or a failed save shows in the failure line under the board,
// every deletion is planned and confirmed first, and a track can be taken back while its line shows.
class AppsPage final : public ViewPage {
  Q_OBJECT
 public:
  AppsPage(AppServices& services, QWidget* parent);
  ~AppsPage() override;

  // The add-app sheet (the Add app… action), the add-keywords sheet for the selected app or space (Add
  // keywords…), and the graduation of the selected research space to an app.
  void openAddApp();
  void openAddKeywords();
  void openGraduate();
  void openRename();
  void newSpace();
  // Plans the deletion of the selected row (app, keyword or space), or of everything, and asks first.
  void deleteSelected();
  void deleteEverything();
  // Pauses a measured keyword, or measures a paused one again.
  void togglePause();
  void undoTrack();

  // Where the resolver asks; the App Store client unless a test puts a scripted store in its place.
  void setResolver(research::ResolverLookup lookup, research::ResolverSearch search);

  QTreeView* view() const { return view_; }
  AppsModel& model() const { return *model_; }
  const store::WatchlistEditor& editor() const { return editor_; }
  AddAppSheet* addAppSheet() const;
  AddKeywordsSheet* addKeywordsSheet() const;
  QLineEdit* renameField() const { return renameField_; }
  QLabel* failureLine() const { return failure_; }
  QLabel* undoLine() const { return undoLine_; }

 signals:
  // Everything was deleted: the window goes back to its first screen.
  void storeEmptied();

 protected:
  void refill() override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void edited();
  void render();
  void track(const research::DiscoveredApp& app, bool isMine);
  void graduate(const store::ResearchSpace& space, const research::DiscoveredApp& app, bool isMine);
  bool confirmDeletion(const store::DeletionPlan& plan);
  // The open add-app sheet shows why its app could not be written.
  void sheetFailed();
  AddAppSheet* makeResolverSheet(const QString& title, const QString& confirm);
  QModelIndex selectedRow() const;
  void selectOwner(bool isApp, std::int64_t rowId);

  store::WatchlistWriter writer_;
  store::WatchlistEditor editor_;
  base::Subscription editorChanges_;
  research::ResolverLookup lookup_;
  research::ResolverSearch search_;
  std::optional<store::WatchlistWriter::Receipt> lastTrack_;

  AppsModel* model_;
  QTreeView* view_;
  QLabel* empty_;
  QPushButton* addAppButton_;
  QPushButton* addKeywordsButton_;
  QPushButton* newSpaceButton_;
  QPushButton* pauseButton_;
  QPushButton* renameButton_;
  QPushButton* graduateButton_;
  QPushButton* deleteButton_;
  QPushButton* deleteEverythingButton_;
  QWidget* renameBar_;
  QLineEdit* renameField_;
  QWidget* failureBar_;
  QLabel* failure_;
  QWidget* undoBar_;
  QLabel* undoLine_;
  QPushButton* undoButton_;
  QPointer<AddAppSheet> addApp_;
  QPointer<AddKeywordsSheet> addKeywords_;
};

// The main window's entry to the page.
AppsPage* makeAppsView(AppServices& services, QWidget* parent);

}  // namespace tovra::gui
