#pragma once

#include <QMainWindow>
#include <array>
#include <cstdint>

#include "app/base/observable.h"
#include "app/shell/tovra_action.h"
#include "app/store/store_watcher.h"

class QFrame;
class QLabel;
class QListView;
class QStackedWidget;
class QStandardItemModel;
class QTimer;

namespace tovra::gui {

class ActionMenus;
class AppServices;
class AppsPage;
class CommandPaletteWidget;
class ViewPage;
class RunSheet;
class SettingsDialog;
class Tray;

// The main window: the sidebar with Today, Apps, Discover and Archive, the page shown, the getting-started
// panel on a first launch, and the one action handler that menus, shortcuts, the palette and the tray read.
class MainWindow final : public QMainWindow {
  Q_OBJECT
 public:
  enum class Page { today, apps, discover, archive };
  static constexpr QSize kFirstSize{1180, 720};

  // `restore`: the geometry and the last page come back from the settings (none under the onboarding
  // configuration, which always starts fresh).
  MainWindow(AppServices& services, bool restore);
  ~MainWindow() override;

  Page page() const;
  void showPage(Page page);
  ViewPage* pageWidget(Page page) const { return pages_.at(static_cast<std::size_t>(page)); }
  ActionMenus& menus() const { return *menus_; }
  CommandPaletteWidget& palette() const { return *palette_; }
  RunSheet& runSheet() const { return *runSheet_; }
  SettingsDialog& settingsDialog();
  Tray& tray() const { return *tray_; }
  QFrame* gettingStarted() const { return gettingStarted_; }

  // Re-reads the pages and the handler; also when another Tovra process wrote to the store.
  void reloadFromStore();
  // Publishes the handler again from the runner's and the store's state.
  void publishHandler();

 signals:
  // The window was closed with no tray to keep Tovra in: closing is quitting.
  void quitRequested();

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void perform(shell::TovraActionID id);
  void measureNow();
  void followRun();
  void watchStore();
  void dismissGettingStarted();
  // After everything was deleted: Today with the getting-started panel, as on a first launch.
  void showFirstScreen();
  QFrame* makeGettingStarted();

  AppServices& services_;
  bool restore_;
  ActionMenus* menus_;
  QListView* sidebar_;
  QStandardItemModel* sidebarModel_;
  QStackedWidget* stack_;
  std::array<ViewPage*, 4> pages_{};
  AppsPage* appsPage_;
  QFrame* gettingStarted_;
  QLabel* runStatus_;
  CommandPaletteWidget* palette_;
  RunSheet* runSheet_;
  SettingsDialog* settings_ = nullptr;
  Tray* tray_;
  QTimer* storeWatch_;
  std::unique_ptr<store::StoreWatcher> watcher_;
  base::Subscription watched_;
  bool hasMeasurable_ = false;
  bool hasOwners_ = false;
};

}  // namespace tovra::gui
