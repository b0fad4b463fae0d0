#include "app/gui/main_window.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDesktopServices>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QStackedWidget>
#include <QStandardItemModel>
#include <QStatusBar>
#include <QTimer>
#include <QToolBar>
#include <QUrl>
#include <QVBoxLayout>

#include "app/gui/action_menus.h"
#include "app/gui/app_services.h"
#include "app/gui/apps_view.h"
#include "app/gui/archive_view.h"
#include "app/gui/command_palette_widget.h"
#include "app/gui/discover_view.h"
#include "app/gui/gui_text.h"
#include "app/gui/icons.h"
#include "app/gui/qt_settings.h"
#include "app/gui/run_sheet.h"
#include "app/gui/settings_dialog.h"
#include "app/gui/today_view.h"
#include "app/gui/tray.h"
#include "app/gui/view_page.h"
#include "app/shell/action_state.h"
#include "app/shell/run_glance.h"
#include "app/shell/watchlist_board.h"
#include "app/store/store_error.h"

namespace tovra::gui {

namespace {

using shell::TovraActionID;

constexpr std::array<TovraActionID, 4> kPageActions{TovraActionID::goToday, TovraActionID::goApps,
                                                    TovraActionID::goDiscover, TovraActionID::goArchive};
constexpr std::array<const char*, 4> kPageNames{"Today", "Apps", "Discover", "Archive"};

// How often the window looks for writes (its own and another process's) and the shared hold.
constexpr auto kStoreWatchMs = static_cast<int>(store::StoreWatcher::kInterval.count());

}  // namespace

MainWindow::MainWindow(AppServices& services, bool restore) : services_(services), restore_(restore) {
  setWindowIcon(symbolIcon("tovra"));
  setAccessibleName(QStringLiteral("Tovra"));
  menus_ = new ActionMenus(*this);

  sidebarModel_ = new QStandardItemModel(this);
  for (std::size_t i = 0; i < kPageActions.size(); ++i) {
    auto* item = new QStandardItem(symbolIcon(shell::tovraAction(kPageActions[i]).symbol), kPageNames[i]);
    item->setEditable(false);
    item->setAccessibleText(kPageNames[i]);
    sidebarModel_->appendRow(item);
  }
  sidebar_ = new QListView(this);
  sidebar_->setModel(sidebarModel_);
  sidebar_->setAccessibleName(QStringLiteral("Sidebar"));
  sidebar_->setFixedWidth(190);
  sidebar_->setIconSize(QSize(20, 20));
  sidebar_->setSpacing(2);
  sidebar_->setFrameShape(QFrame::NoFrame);
  sidebar_->setStyleSheet(
      QStringLiteral("QListView { background: palette(window); padding: 8px; }"
                     "QListView::item { padding: 6px 8px; border-radius: 6px; }"
                     "QListView::item:selected { background: palette(highlight); "
                     "color: palette(highlighted-text); }"));

  stack_ = new QStackedWidget(this);
  appsPage_ = makeAppsView(services, stack_);
  pages_ = {makeTodayView(services, stack_), appsPage_, makeDiscoverView(services, stack_),
            makeArchiveView(services, stack_)};
  for (auto* page : pages_) {
    stack_->addWidget(page);
  }
  gettingStarted_ = makeGettingStarted();
  connect(appsPage_, &AppsPage::storeEmptied, this, &MainWindow::showFirstScreen);

  auto* content = new QWidget(this);
  auto* right = new QVBoxLayout;
  right->setContentsMargins(0, 0, 0, 0);
  right->addWidget(gettingStarted_);
  right->addWidget(stack_, 1);
  auto* row = new QHBoxLayout(content);
  row->setContentsMargins(0, 0, 0, 0);
  row->setSpacing(0);
  row->addWidget(sidebar_);
  row->addLayout(right, 1);
  setCentralWidget(content);

  auto* toolbar = addToolBar(QStringLiteral("Actions"));
  toolbar->setObjectName(QStringLiteral("actions"));
  toolbar->setAccessibleName(QStringLiteral("Actions"));
  toolbar->setMovable(false);
  toolbar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  for (auto id : {TovraActionID::measureNow, TovraActionID::commandPalette, TovraActionID::openSettings}) {
    toolbar->addAction(menus_->action(id));
  }

  runStatus_ = new QLabel(this);
  runStatus_->setAccessibleName(QStringLiteral("Run status"));
  statusBar()->addWidget(runStatus_, 1);

  palette_ =
      new CommandPaletteWidget(*this, [this]() -> const shell::TovraActionHandler& { return menus_->handler(); });
  runSheet_ = new RunSheet(services, this);
  tray_ = new Tray(services, *menus_->action(TovraActionID::measureNow), this);
  connect(tray_, &Tray::openRequested, this, [this] {
    showNormal();
    raise();
    activateWindow();
  });

  connect(sidebar_->selectionModel(), &QItemSelectionModel::currentChanged, this,
          [this](const QModelIndex& index) { stack_->setCurrentIndex(index.row()); });
  auto& runSignals = services.runnerSignals();
  connect(&runSignals, &RunnerSignals::changed, this, &MainWindow::followRun);
  connect(&runSignals, &RunnerSignals::progressed, this, &MainWindow::followRun);
  connect(&runSignals, &RunnerSignals::reported, this, &MainWindow::reloadFromStore);

  storeWatch_ = new QTimer(this);
  connect(storeWatch_, &QTimer::timeout, this, &MainWindow::watchStore);
  storeWatch_->start(kStoreWatchMs);

  resize(kFirstSize);
  int page = 0;
  auto& settings = services.settings().qsettings();
  if (restore_) {
    if (const auto geometry = settings.value(kGeometryKey).toByteArray(); !geometry.isEmpty()) {
      restoreGeometry(geometry);
    }
    page = std::clamp(settings.value(kLastPageKey, 0).toInt(), 0, 3);
  }
  showPage(static_cast<Page>(page));
  watcher_ = std::make_unique<store::StoreWatcher>(services.store(), services.core().monotonic());
  watched_ = watcher_->changes().subscribe([this] { reloadFromStore(); });
  reloadFromStore();
}

MainWindow::~MainWindow() = default;

QFrame* MainWindow::makeGettingStarted() {
  auto* panel = new QFrame(this);
  panel->setObjectName(QStringLiteral("gettingStarted"));
  panel->setAccessibleName(qs(shell::kGettingStartedTitle));
  panel->setStyleSheet(QStringLiteral("#gettingStarted { background: palette(alternate-base); border-radius: 8px; }"));
  auto* layout = new QVBoxLayout(panel);
  auto* title = new QLabel(qs(shell::kGettingStartedTitle), panel);
  auto font = title->font();
  font.setBold(true);
  title->setFont(font);
  title->setAccessibleName(title->text());
  layout->addWidget(title);
  for (const auto step : shell::kGettingStartedSteps) {
    auto* line = new QLabel(qs(step), panel);
    line->setWordWrap(true);
    line->setAccessibleName(line->text());
    layout->addWidget(line);
  }
  auto* dismiss = new QPushButton(qs(shell::kGettingStartedDismiss), panel);
  dismiss->setAccessibleName(QStringLiteral("Dismiss getting started"));
  layout->addWidget(dismiss, 0, Qt::AlignRight);
  connect(dismiss, &QPushButton::clicked, this, &MainWindow::dismissGettingStarted);
  const bool dismissed = services_.settings().boolValue(kGettingStartedDismissedKey).value_or(false);
  panel->setVisible(!dismissed);
  return panel;
}

void MainWindow::dismissGettingStarted() {
  services_.settings().setBool(kGettingStartedDismissedKey, true);
  gettingStarted_->hide();
  sidebar_->setFocus();
}

MainWindow::Page MainWindow::page() const {
  return static_cast<Page>(stack_->currentIndex());
}

void MainWindow::showPage(Page page) {
  const auto index = static_cast<int>(page);
  sidebar_->setCurrentIndex(sidebarModel_->index(index, 0));
  stack_->setCurrentIndex(index);
}

SettingsDialog& MainWindow::settingsDialog() {
  if (!settings_) {
    settings_ = new SettingsDialog(services_, this);
    connect(settings_, &SettingsDialog::storeEmptied, this, &MainWindow::showFirstScreen);
  }
  return *settings_;
}

void MainWindow::showFirstScreen() {
  gettingStarted_->show();
  showPage(Page::today);
  reloadFromStore();
}

void MainWindow::reloadFromStore() {
  try {
    auto& store = services_.store();
    hasMeasurable_ = !store.queries().measurable().empty();
    hasOwners_ = store.apps().count() > 0 || store.spaces().count() > 0;
  } catch (const store::StoreError&) {
    hasMeasurable_ = false;
    hasOwners_ = false;
  }
  for (auto* page : pages_) {
    page->invalidate();
  }
  if (settings_ && settings_->isVisible()) {
    settings_->render();
  }
  followRun();
}

void MainWindow::watchStore() {
  watcher_->poll();
  // Another process's hold counts here too: a `tovra measure` halted in a terminal holds this window.
  if (!services_.runner().isLive()) {
    services_.runner().refreshCooldown();
  }
  publishHandler();
}

void MainWindow::followRun() {
  const auto glance = glanceOf(services_);
  setWindowTitle(QString::fromStdString(shell::windowTitle(glance)));
  const auto line = shell::runLine(glance);
  runStatus_->setText(line ? QString::fromStdString(*line) : QString());
  publishHandler();
}

void MainWindow::publishHandler() {
  shell::TovraActionHandler handler;
  const shell::MeasureGate gate{services_.runner().isLive(), services_.runner().cooldownSecondsLeft(),
                                services_.runningElsewhere(), hasMeasurable_};
  const auto measureBlocked = shell::measureNowBlocked(gate);
  for (const auto& action : shell::tovraActions()) {
    if ((action.id == TovraActionID::measureNow && measureBlocked) ||
        (action.id == TovraActionID::addKeywords && !hasOwners_)) {
      continue;
    }
    handler.enabled.insert(action.id);
  }
  handler.disabledReason = [measureBlocked, hasOwners = hasOwners_](TovraActionID id) -> std::optional<std::string> {
    if (id == TovraActionID::measureNow) {
      return measureBlocked;
    }
    if (id == TovraActionID::addKeywords && !hasOwners) {
      return std::string(shell::board::kNoOwner);
    }
    return std::nullopt;
  };
  handler.perform = [this](TovraActionID id) { perform(id); };
  menus_->publish(std::move(handler));
}

void MainWindow::perform(TovraActionID id) {
  switch (id) {
    case TovraActionID::measureNow:
      measureNow();
      return;
    case TovraActionID::goToday:
      showPage(Page::today);
      return;
    case TovraActionID::goApps:
      showPage(Page::apps);
      return;
    case TovraActionID::goDiscover:
      showPage(Page::discover);
      return;
    case TovraActionID::goArchive:
      showPage(Page::archive);
      return;
    case TovraActionID::openSettings:
      settingsDialog().show();
      settingsDialog().raise();
      return;
    case TovraActionID::commandPalette:
      palette_->open();
      return;
    case TovraActionID::support:
    case TovraActionID::privacyPolicy:
    case TovraActionID::termsOfUse:
    case TovraActionID::sendFeedback:
      if (const auto link = shell::linkFor(id)) {
        QDesktopServices::openUrl(QUrl(qs(*link)));
      }
      return;
    case TovraActionID::addApp:
      showPage(Page::apps);
      appsPage_->openAddApp();
      return;
    case TovraActionID::addKeywords:
      showPage(Page::apps);
      appsPage_->openAddKeywords();
      return;
  }
}

void MainWindow::measureNow() {
  auto& runner = services_.runner();
  // The shared hold is read again first: another process may have been halted a moment ago.
  runner.refreshCooldown();
  try {
    const auto result = runner.start(services_.store().queries().measurable());
    if (result == measure::MeasurementRunner::StartResult::started) {
      runSheet_->showPlan();
    } else {
      runSheet_->render();
    }
  } catch (const store::StoreError& error) {
    runSheet_->statusLabel()->setText(QString::fromStdString(error.description()));
  }
  runSheet_->show();
  runSheet_->raise();
  followRun();
}

void MainWindow::closeEvent(QCloseEvent* event) {
  if (restore_) {
    auto& settings = services_.settings().qsettings();
    settings.setValue(kGeometryKey, saveGeometry());
    settings.setValue(kLastPageKey, stack_->currentIndex());
    settings.sync();
  }
  // With a tray, Tovra stays there; without one, closing the window is quitting.
  if (tray_->isShown()) {
    hide();
    event->ignore();
    return;
  }
  event->accept();
  emit quitRequested();
}

}  // namespace tovra::gui
