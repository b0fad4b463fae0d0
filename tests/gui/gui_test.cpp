// The desktop windows driven offscreen: the palette from the keyboard, menus and palette reading one
// handler, the tray and title following a run on a scripted store, the launch alerts, the notifier's
// state in the settings, and the getting-started panel.
#include <SQLiteCpp/Database.h>

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QTreeView>

#include "AsoKit/shared_pacing.h"
#include "app/gui/action_menus.h"
#include "app/gui/app_services.h"
#include "app/gui/command_palette_widget.h"
#include "app/gui/icons.h"
#include "app/gui/launch.h"
#include "app/gui/launch_alert_dialog.h"
#include "app/gui/main_window.h"
#include "app/gui/run_sheet.h"
#include "app/gui/settings_dialog.h"
#include "app/gui/tray.h"
#include "app/measure/measure_texts.h"
#include "app/shell/action_state.h"
#include "app/store/damage.h"
#include "app/store/export.h"
#include "app/store/integrity.h"
#include "app/store/store_error.h"
#include "app/store/transaction.h"
#include "gui/gui_harness.h"

using namespace tovra;
using namespace tovra::testing;
using gui::qs;
using shell::TovraActionID;

class GuiTest final : public QObject {
  Q_OBJECT

 private slots:
  void initTestCase() { gui::initIcons(); }

  void firstLaunchOpensAtTheDefaultSizeOnToday() {
    Harness harness;
    auto& window = harness.open();
    QCOMPARE(window.size(), gui::MainWindow::kFirstSize);
    QCOMPARE(window.page(), gui::MainWindow::Page::today);
    QVERIFY(window.gettingStarted()->isVisible());
    QCOMPARE(window.windowTitle(), QStringLiteral("Tovra"));
  }

  void paletteRunsTheHighlightedMatchFromTheKeyboard() {
    Harness harness;
    auto& window = harness.open();
    QTest::keyClick(&window, Qt::Key_K, Qt::ControlModifier);
    auto& palette = window.palette();
    QVERIFY(palette.isVisible());
    QCOMPARE(QApplication::focusWidget(), palette.field());
    QTest::keyClicks(palette.field(), QStringLiteral("g t"));
    QCOMPARE(rowsOf(*palette.list()->model()).mid(0, 4),
             (QStringList{"Go to Today", "Go to Apps", "Go to Discover", "Go to Archive"}));
    QTest::keyClick(palette.field(), Qt::Key_Down);
    QTest::keyClick(palette.field(), Qt::Key_Down);
    QTest::keyClick(palette.field(), Qt::Key_Up);
    QTest::keyClick(palette.field(), Qt::Key_Down);
    QTest::keyClick(palette.field(), Qt::Key_Return);
    QCOMPARE(window.page(), gui::MainWindow::Page::discover);
    QVERIFY(!palette.isVisible());
  }

  void paletteSaysWhenNothingMatchesAndEscapeCloses() {
    Harness harness;
    auto& window = harness.open();
    QTest::keyClick(&window, Qt::Key_K, Qt::ControlModifier);
    auto& palette = window.palette();
    QVERIFY(palette.findChildren<QLabel*>().size() >= 2);
    QTest::keyClicks(palette.field(), QStringLiteral("zzq"));
    QStringList labels;
    for (auto* label : palette.findChildren<QLabel*>()) {
      if (label->isVisible()) {
        labels << label->text();
      }
    }
    QVERIFY(labels.contains(QString::fromUtf8("no command matches “zzq”")));
    QVERIFY(labels.contains(QString::fromUtf8("↑↓ move · ↩ run · esc close")));
    QTest::keyClick(palette.field(), Qt::Key_Escape);
    QVERIFY(!palette.isVisible());
    QCOMPARE(window.page(), gui::MainWindow::Page::today);
  }

  void menusPaletteAndShortcutsReadTheSameHandler() {
    Harness harness;
    auto& window = harness.open();
    auto* measure = window.menus().action(TovraActionID::measureNow);
    QVERIFY(!measure->isEnabled());
    QCOMPARE(measure->toolTip(), qs(shell::kNothingToMeasure));
    QCOMPARE(measure->shortcut(), QKeySequence(Qt::ControlModifier | Qt::Key_R));
    QCOMPARE(window.menus().action(TovraActionID::addKeywords)->shortcut(),
             QKeySequence(Qt::ControlModifier | Qt::ShiftModifier | Qt::Key_N));
    // The palette shows the same reason on the row of the disabled action.
    window.palette().open();
    QTest::keyClicks(window.palette().field(), QStringLiteral("measure"));
    const auto row = window.palette().list()->model()->index(0, 0).data().toString();
    QVERIFY2(row.contains(qs(shell::kNothingToMeasure)), qPrintable(row));
    QTest::keyClick(window.palette().field(), Qt::Key_Return);
    QVERIFY(!harness.services->runner().isLive());
    QVERIFY(window.palette().isVisible());

    harness.track();
    window.reloadFromStore();
    QVERIFY(measure->isEnabled());
    QCOMPARE(measure->toolTip(), QStringLiteral("Measure now"));
    // Ctrl+2 reaches the page through the same action.
    window.palette().close();
    QTest::keyClick(&window, Qt::Key_2, Qt::ControlModifier);
    QCOMPARE(window.page(), gui::MainWindow::Page::apps);
  }

  void pagesShowTheStoresRecordsInTheCoresWords() {
    Harness harness;
    harness.track();
    measure::testing::Seed seed(harness.services->store());
    const auto app = harness.services->store().apps().findByAppStoreId("111111");
    seed.keyword(*app, "film filters", "de", true);
    auto& window = harness.open();
    const auto today = textsOnPage(*window.pageWidget(gui::MainWindow::Page::today));
    QVERIFY(today.contains(QStringLiteral("not measured yet (2)")));
    QVERIFY(today.contains(QStringLiteral("paused (1)")));
    QVERIFY(today.contains(QStringLiteral("DE")));
    window.showPage(gui::MainWindow::Page::apps);
    auto* apps = window.pageWidget(gui::MainWindow::Page::apps);
    const auto listed = textsOnPage(*apps);
    QVERIFY(listed.contains(QStringLiteral("Lumen")));
    QVERIFY(listed.contains(QStringLiteral("photo editor")));
    QVERIFY2(apps->summary()->text().contains(QStringLiteral("2 apps")), qPrintable(apps->summary()->text()));
  }

  void aRunFollowsInTheSheetTitleAndTrayAndStops() {
    Harness harness;
    harness.track();
    measure::testing::ScriptedStore& appStore = *harness.appStore;
    appStore.answer("film filters", {"111111"});
    measure::testing::Seed seed(harness.services->store());
    seed.keyword(*harness.services->store().apps().findByAppStoreId("111111"), "film filters", "us");
    measure::testing::Gate gate;
    appStore.beforeAnswer = [&gate](int request) {
      if (request == 1) {
        gate.arriveAndWait();
      }
    };
    auto& window = harness.open();
    QTest::keyClick(&window, Qt::Key_R, Qt::ControlModifier);
    // Checked before waiting, so a run that never started fails instead of hanging.
    QVERIFY(harness.services->runner().isLive());
    gate.waitForArrival();
    QVERIFY(harness.services->runner().isLive());
    auto& sheet = window.runSheet();
    QVERIFY(sheet.isVisible());
    QVERIFY2(sheet.planLabel()->text().contains(qs(measure::texts::kRanksLand)), qPrintable(sheet.planLabel()->text()));
    QVERIFY(sheet.planLabel()->text().contains(QString::fromStdString(measure::texts::planSummary(3, 2))));
    QCOMPARE(window.tray().toolTip(), QStringLiteral("Tovra, measuring"));
    QCOMPARE(window.windowTitle(), QStringLiteral("Tovra · request 0 of 2"));
    QVERIFY(!window.menus().action(TovraActionID::measureNow)->isEnabled());
    QCOMPARE(window.menus().action(TovraActionID::measureNow)->toolTip(), qs(shell::kRunLive));

    QTest::mouseClick(sheet.stopButton(), Qt::LeftButton);
    QVERIFY(sheet.statusLabel()->text().contains(qs(measure::texts::kStopping)));
    gate.open();
    QTRY_VERIFY(!harness.services->runner().isLive());
    QCOMPARE(appStore.requests().size(), std::size_t{1});
    QCOMPARE(window.tray().toolTip(), QStringLiteral("Tovra"));
    QCOMPARE(window.windowTitle(), QStringLiteral("Tovra"));
    QVERIFY2(sheet.reportLabel()->text().startsWith(QStringLiteral("Measurement stopped")),
             qPrintable(sheet.reportLabel()->text()));
    QVERIFY(sheet.askedList()->count() == 1);
    // The stopped run's reading is kept and shows on Today.
    const auto today = textsOnPage(*window.pageWidget(gui::MainWindow::Page::today));
    QVERIFY2(today.contains(QStringLiteral("accumulating · 1 of 7 readings")), qPrintable(today.join('|')));
  }

  void anotherProcesssWritesShowUpInTheOpenWindow() {
    Harness harness({}, true);
    auto& window = harness.open();
    auto* apps = window.pageWidget(gui::MainWindow::Page::apps);
    window.showPage(gui::MainWindow::Page::apps);
    QVERIFY(!textsOnPage(*apps).contains(QStringLiteral("Written elsewhere")));
    {
      // A second connection, as `tovra app add` in a terminal would hold it.
      auto other = store::Store::open(harness.folder.filePath(QStringLiteral("default.store")).toStdString());
      measure::testing::Seed(*other).app("333333", "Written elsewhere");
    }
    QTRY_VERIFY_WITH_TIMEOUT(textsOnPage(*apps).contains(QStringLiteral("Written elsewhere")), 5000);
  }

  void anotherProcesssHoldRefusesMeasureNowWithTheCountdown() {
    Harness harness;
    harness.track();
    auto& window = harness.open();
    auto* measure = window.menus().action(TovraActionID::measureNow);
    QVERIFY(measure->isEnabled());
    asokit::SharedPacingFile shared(harness.folder.filePath(QStringLiteral("state")).toStdString());
    QVERIFY(shared.hold(asokit::SystemWallClock().now() + std::chrono::seconds{600}));
    QTRY_VERIFY_WITH_TIMEOUT(!measure->isEnabled(), 5000);
    QVERIFY2(measure->toolTip().startsWith(QStringLiteral("Apple paused requests · retry in ")),
             qPrintable(measure->toolTip()));
    QVERIFY(window.windowTitle().startsWith(QStringLiteral("Tovra · Apple paused requests · retry in ")));
    // The shortcut is refused too: no run starts and no request goes out.
    QTest::keyClick(&window, Qt::Key_R, Qt::ControlModifier);
    QVERIFY(!harness.services->runner().isLive());
    QVERIFY(harness.appStore->requests().empty());
  }

  void aRunsEndIsPostedWhenTheSwitchIsOn() {
    Harness harness;
    harness.track();
    auto& window = harness.open();
    auto& settings = window.settingsDialog();
    settings.notificationSwitch()->click();
    QTRY_VERIFY(settings.notificationState()->text().startsWith(QStringLiteral("available")));
    QTest::keyClick(&window, Qt::Key_R, Qt::ControlModifier);
    QTRY_VERIFY(!harness.services->runner().isLive() && harness.services->runner().report());
    QTRY_COMPARE(harness.posted.size(), std::size_t{1});
    QCOMPARE(harness.posted.front().title, std::string("Measurement finished"));
  }

  void noNotificationServiceIsSaidBesideTheSwitch() {
    Harness harness([]() -> std::unique_ptr<measure::NotificationCentering> {
      throw std::runtime_error("No session bus: not connected");
    });
    auto& window = harness.open();
    auto& settings = window.settingsDialog();
    QTRY_VERIFY(settings.notificationState()->text().startsWith(QStringLiteral("unavailable")));
    QVERIFY(settings.notificationState()->text().contains(QStringLiteral("No session bus: not connected")));
  }

  void settingsShowTheInventoryAndExportWrites() {
    Harness harness;
    harness.track();
    auto& window = harness.open();
    auto& settings = window.settingsDialog();
    QVERIFY2(settings.storeSummary()->text().startsWith(QStringLiteral("not saved to disk")),
             qPrintable(settings.storeSummary()->text()));
    QVERIFY(settings.inventory()->rowCount() == 12);
    // What an export is and why it is JSON stand beside the action, in the store's own words.
    QStringList shown;
    for (auto* label : settings.findChildren<QLabel*>()) {
      shown << label->text();
    }
    const auto texts = shown.join(QStringLiteral("\n"));
    QVERIFY2(texts.contains(qs(store::kExportLocalOnly)), qPrintable(texts));
    QVERIFY2(texts.contains(qs(store::kExportWhyJson)), qPrintable(texts));
    const auto target = harness.folder.filePath(QStringLiteral("out.json"));
    QSignalSpy finished(&settings, &gui::SettingsDialog::exportFinished);
    settings.exportTo(target);
    QTRY_COMPARE(finished.count(), 1);
    QCOMPARE(settings.exportStatus()->text(), target);
    QFile file(target);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.readAll().contains("\"photo editor\""));
    settings.exportTo(harness.folder.filePath(QStringLiteral("missing/folder/out.json")));
    QTRY_COMPARE(finished.count(), 2);
    QVERIFY(settings.exportStatus()->text() != harness.folder.filePath(QStringLiteral("missing/folder/out.json")));
  }

  void exportOfAStoreOnDiskRunsOffTheWindow() {
    Harness harness({}, true);
    harness.track();
    auto& window = harness.open();
    auto& settings = window.settingsDialog();
    settings.show();
    QVERIFY2(settings.storeSummary()->text().contains(QStringLiteral("on disk")),
             qPrintable(settings.storeSummary()->text()));
    QSignalSpy finished(&settings, &gui::SettingsDialog::exportFinished);
    const auto target = harness.folder.filePath(QStringLiteral("export.json"));
    settings.exportTo(target);
    // The window is free while the worker writes: the busy bar shows until the result comes back.
    QVERIFY(settings.isExporting());
    QVERIFY(settings.exportProgress()->isVisible());
    QTRY_COMPARE(finished.count(), 1);
    QVERIFY(!settings.exportProgress()->isVisible());
    QCOMPARE(settings.exportStatus()->text(), target);
    QFile file(target);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.readAll().contains("\"222222\""));
  }

  void checkingTheStoreRunsOffTheWindowAndADamagedStoreIsWrittenNoMore() {
    Harness harness({}, true);
    harness.track();
    auto& window = harness.open();
    auto& settings = window.settingsDialog();
    settings.show();
    QSignalSpy finished(&settings, &gui::SettingsDialog::checkFinished);
    settings.checkButton()->click();
    QVERIFY(!settings.checkButton()->isEnabled());
    QTRY_COMPARE(finished.count(), 1);
    QVERIFY(settings.checkButton()->isEnabled());
    QCOMPARE(settings.checkStatus()->text(),
             QStringLiteral("The store passed its check: the engine found nothing damaged."));

    // Everything into the file, then its second page overwritten, as a failing disk would.
    auto& store = harness.services->store();
    store.database().exec("PRAGMA wal_checkpoint(TRUNCATE)");
    {
      QFile file(QString::fromStdString(store.file()->string()));
      QVERIFY(file.open(QIODevice::ReadWrite));
      QVERIFY(file.seek(4096));
      QVERIFY(file.write(QByteArray(4096, char(0xA5))) == 4096);
    }
    settings.checkButton()->click();
    QTRY_COMPARE(finished.count(), 2);
    const auto status = settings.checkStatus()->text();
    QVERIFY2(status.startsWith(QStringLiteral("The store file is damaged.")), qPrintable(status));
    QVERIFY2(status.contains(QString::fromUtf8(store::kSalvageAtNextLaunch.data())), qPrintable(status));
    QVERIFY(store::damageReported(store));
    QVERIFY_THROWS_EXCEPTION(store::StoreError, (void)store::Transaction(store));
  }

  void deletingEverythingBringsGettingStartedBack() {
    Harness harness;
    harness.track();
    auto& window = harness.open();
    QTest::mouseClick(window.gettingStarted()->findChild<QPushButton*>(), Qt::LeftButton);
    QVERIFY(!window.gettingStarted()->isVisible());
    QCOMPARE(harness.services->settings().boolValue(gui::kGettingStartedDismissedKey), std::optional<bool>(true));
    window.showPage(gui::MainWindow::Page::archive);
    auto& settings = window.settingsDialog();
    AlertAnswer answer;
    answer.clickWhenShown(QStringLiteral("Delete everything"));
    for (auto* button : settings.findChildren<QPushButton*>()) {
      if (button->text() == QString::fromUtf8("Delete everything…")) {
        button->click();
      }
    }
    QCOMPARE(answer.text, QStringLiteral("Delete everything"));
    QCOMPARE(harness.services->store().apps().count(), 0);
    QVERIFY(window.gettingStarted()->isVisible());
    QCOMPARE(window.page(), gui::MainWindow::Page::today);
    QCOMPARE(harness.services->settings().boolValue(gui::kGettingStartedDismissedKey), std::optional<bool>(false));
  }

  void launchAlertsSayTheStoresNoticeAndQuitWhenTheyMust() {
    QWidget parent;
    const auto recovered = store::StoreLaunchAlert::from({store::StoreOpenNotice::Recovered{"/data/Backups/x"}});
    AlertAnswer warning;
    warning.clickWhenShown(QStringLiteral("OK"));
    QCOMPARE(gui::presentLaunchAlert(&parent, recovered), gui::LaunchAlertChoice::goOn);
    QCOMPARE(warning.icon, QMessageBox::Warning);
    QCOMPARE(warning.text, QString::fromStdString(recovered.messageText));
    QCOMPARE(warning.informative, QString::fromStdString(recovered.informativeText));
    QCOMPARE(warning.buttons, (QStringList{"OK", "Show in File Manager"}));

    const auto failed = store::StoreLaunchAlert::from({store::StoreOpenNotice::Failed{"disk full", std::nullopt}});
    AlertAnswer critical;
    critical.clickWhenShown(QStringLiteral("Quit"));
    QCOMPARE(gui::presentLaunchAlert(&parent, failed), gui::LaunchAlertChoice::quit);
    QCOMPARE(critical.icon, QMessageBox::Critical);
    QCOMPARE(critical.text, QString::fromStdString(failed.messageText));
    QCOMPARE(critical.buttons, QStringList{"Quit"});

    // A store another program holds is offered again; quitting is still one click away.
    const auto inUse = store::StoreLaunchAlert::from({store::StoreOpenNotice::InUse{"/data/default.store"}});
    AlertAnswer retry;
    retry.clickWhenShown(QStringLiteral("Try Again"));
    QCOMPARE(gui::presentLaunchAlert(&parent, inUse), gui::LaunchAlertChoice::tryAgain);
    QCOMPARE(retry.buttons, (QStringList{"Try Again", "Quit"}));
    AlertAnswer giveUp;
    giveUp.clickWhenShown(QStringLiteral("Quit"));
    QCOMPARE(gui::presentLaunchAlert(&parent, inUse), gui::LaunchAlertChoice::quit);
  }

  void geometryAndPageComeBackOnTheNextLaunch() {
    Harness harness;
    {
      auto& window = harness.open();
      window.resize(900, 600);
      window.showPage(gui::MainWindow::Page::archive);
      window.close();
    }
    gui::MainWindow again(*harness.services, true);
    again.show();
    QCOMPARE(again.page(), gui::MainWindow::Page::archive);
    QCOMPARE(again.size(), QSize(900, 600));
    // The onboarding check always starts fresh.
    gui::MainWindow fresh(*harness.services, false);
    QCOMPARE(fresh.page(), gui::MainWindow::Page::today);
  }

  void onboardingArgumentIsRead() {
    QVERIFY(!gui::onboardingFrom({"tovra-gui"}));
    QVERIFY(gui::onboardingFrom({"tovra-gui", "--onboarding-qa"}));
    QCOMPARE(gui::onboardingFrom({"tovra-gui", "--onboarding-qa=1280x800"})->windowSize, QSize(1280, 800));
  }
};

QTEST_MAIN(GuiTest)
#include "gui_test.moc"
