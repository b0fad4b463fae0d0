// The Apps page: the watchlist board, its pause switches and rename, the add-keywords sheet's paste flow,
// the add-app sheet's phases on a scripted store, the deletion confirmations and the failure line.
#include "app/gui/apps_view.h"

#include <SQLiteCpp/Database.h>

#include <QAction>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QPushButton>
#include <QToolButton>
#include <QTreeView>

#include "AsoKit/aso_error.h"
#include "app/gui/action_menus.h"
#include "app/gui/add_app_sheet.h"
#include "app/gui/add_keywords_sheet.h"
#include "app/gui/apps_model.h"
#include "app/store/store.h"
#include "app/store/watchlist_writer.h"
#include "gui_harness.h"

using namespace tovra;
using namespace tovra::testing;

namespace {

QString u(const char* text) {
  return QString::fromUtf8(text);
}

// An App Store that answers the resolver from a script, on the resolver's worker. A held answer waits
// until the test lets it go, so the page can be read while the request is under way.
struct ScriptedResolver {
  std::map<std::string, std::vector<asokit::RankedApp>> byName;  // by "term|country"
  std::map<std::string, asokit::AppInfo> byId;
  std::optional<std::string> failure;
  std::vector<std::pair<std::string, std::string>> asked;  // term or id, country
  measure::testing::Gate* hold = nullptr;
  std::mutex mutex;

  research::ResolverLookup lookup() {
    return [this](const research::AppResolverInput& input, const std::string& country,
                  std::stop_token) -> std::optional<asokit::AppInfo> {
      answerAfterHold(input.text, country);
      std::lock_guard lock(mutex);
      const auto found = byId.find(input.text);
      return found == byId.end() ? std::nullopt : std::optional(found->second);
    };
  }
  research::ResolverSearch search() {
    return [this](const std::string& term, const std::string& country, std::stop_token) {
      answerAfterHold(term, country);
      std::lock_guard lock(mutex);
      asokit::SearchOutcome outcome{term, country, 0, {}, "appstore"};
      if (const auto found = byName.find(term + "|" + country); found != byName.end()) {
        outcome.apps = found->second;
      }
      outcome.resultCount = static_cast<std::int64_t>(outcome.apps.size());
      return outcome;
    };
  }

 private:
  void answerAfterHold(const std::string& asking, const std::string& country) {
    {
      std::lock_guard lock(mutex);
      asked.emplace_back(asking, country);
    }
    if (hold) {
      hold->arriveAndWait();
    }
    std::lock_guard lock(mutex);
    if (failure) {
      throw asokit::TransportError(*failure);
    }
  }
};

asokit::RankedApp ranked(const std::string& id, const std::string& name, std::int64_t position,
                         std::optional<std::string> bundleId = std::nullopt) {
  asokit::RankedApp app;
  app.id = id;
  app.name = name;
  app.developer = "Lumen Labs";
  app.position = position;
  app.bundleId = std::move(bundleId);
  return app;
}

gui::AppsPage& appsPage(gui::MainWindow& window) {
  window.showPage(gui::MainWindow::Page::apps);
  return *qobject_cast<gui::AppsPage*>(window.pageWidget(gui::MainWindow::Page::apps));
}

// Puts the board's cursor on the row whose first cell reads `text`.
void select(gui::AppsPage& page, const QString& text) {
  auto& model = page.model();
  for (int row = 0; row < model.rowCount(); ++row) {
    const auto owner = model.index(row, 0);
    if (owner.data().toString() == text) {
      page.view()->setCurrentIndex(owner);
      return;
    }
    for (int child = 0; child < model.rowCount(owner); ++child) {
      if (model.index(child, 0, owner).data().toString() == text) {
        page.view()->setCurrentIndex(model.index(child, 0, owner));
        return;
      }
    }
  }
  QFAIL(qPrintable(QStringLiteral("no row reads ") + text));
}

void paste(QLineEdit& field, const QString& text) {
  QGuiApplication::clipboard()->setText(text);
  field.setFocus();
  QTest::keySequence(&field, QKeySequence::Paste);
}

QStringList draftsOf(const gui::AddKeywordsSheet& sheet) {
  QStringList drafts;
  for (int row = 0; row < sheet.draftList()->model()->rowCount(); ++row) {
    drafts << sheet.draftList()->model()->index(row, 0).data().toString();
  }
  return drafts;
}

}  // namespace

class AppsViewTest : public QObject {
  Q_OBJECT

 private slots:
  void theBoardShowsAppsTheirKeywordsAndResearchSpaces() {
    Harness harness;
    measure::testing::Seed seed(harness.services->store());
    auto lumen = seed.app("111111", "Lumen");
    lumen.isMine = true;
    harness.services->store().apps().update(lumen);
    const auto editor = seed.keyword(lumen, "photo editor", "us");
    seed.keyword(lumen, "filters", "de", true);
    seed.readings(editor, {4, 3}, asokit::WallTime{std::chrono::seconds{1'700'000'000}});
    seed.parked("trip planner", "gb");
    auto& page = appsPage(harness.open());
    const auto texts = textsOnPage(page);
    for (const auto& expected :
         {u("Lumen"), u("Developer · mine"), u("photo editor"), u("US"), u("3"), u("measured"), u("filters"), u("DE"),
          u("paused"), u("Ideas"), u("no app is tracked · a research space never enters a measurement run"),
          u("trip planner"), u("parked")}) {
      QVERIFY2(texts.contains(expected), qPrintable(expected));
    }
    select(page, u("filters"));
    QCOMPARE(page.view()->currentIndex().data(Qt::AccessibleTextRole).toString(), u("filters · DE · paused"));
  }

  void spaceSwitchesAKeywordsPauseBothWays() {
    Harness harness;
    harness.track();
    auto& page = appsPage(harness.open());
    auto& store = harness.services->store();
    const auto lumen = store.apps().findByAppStoreId("111111").value();
    const auto isPaused = [&] { return store.queries().ofApp(lumen.rowId).front().isPaused; };
    select(page, u("Lumen"));
    page.view()->setCurrentIndex(page.model().index(0, 0, page.view()->currentIndex()));
    QTest::keyClick(page.view(), Qt::Key_Space);
    QVERIFY(isPaused());
    QVERIFY(textsOnPage(page).contains(u("paused")));
    QCOMPARE(page.view()->currentIndex().data().toString(), u("photo editor"));
    QTest::keyClick(page.view(), Qt::Key_Space);
    QVERIFY(!isPaused());
    QVERIFY(!textsOnPage(page).contains(u("paused")));
  }

  void pastingIntoTheAddKeywordsSheet_data() {
    QTest::addColumn<QString>("pasted");
    QTest::addColumn<QStringList>("drafts");
    QTest::addColumn<QString>("notice");
    QTest::addColumn<QString>("cost");
    // Lumen keeps "photo editor" in the US; Rival measures "maps" there, so maps costs no extra request.
    QTest::newRow("a list commits at once")
        << u("maps, filters")
        << QStringList{u("maps · US · already measured · no extra time"), u("filters · US · +1 request per run")}
        << QString() << u("1 new requests per run");
    QTest::newRow("already there counts as already added")
        << u("Photo Editor\nfilters\nFILTERS") << QStringList{u("filters · US · +1 request per run")}
        << u("1 already added · 1 repeated in what you pasted") << u("1 new requests per run");
    QString many;
    for (int i = 0; i < 52; ++i) {
      many += QStringLiteral("word%1,").arg(i);
    }
    QTest::newRow("fifty at most") << many << QStringList() << u("2 over the 50-keyword limit")
                                   << u("50 new requests per run");
  }

  void pastingIntoTheAddKeywordsSheet() {
    QFETCH(QString, pasted);
    QFETCH(QStringList, drafts);
    QFETCH(QString, notice);
    QFETCH(QString, cost);
    Harness harness;
    measure::testing::Seed seed(harness.services->store());
    const auto lumen = seed.app("111111", "Lumen");
    seed.keyword(lumen, "photo editor", "us");
    seed.keyword(seed.app("222222", "Rival"), "maps", "us");
    auto& window = harness.open();
    auto& page = appsPage(window);
    select(page, u("Lumen"));
    window.menus().action(shell::TovraActionID::addKeywords)->trigger();
    auto* sheet = page.addKeywordsSheet();
    QVERIFY(sheet);
    QCOMPARE(sheet->field()->placeholderText(), u("Keyword, or several separated by commas"));
    QCOMPARE(sheet->ownerBox()->currentText(), u("Lumen"));
    paste(*sheet->field(), pasted);
    QVERIFY2(sheet->field()->text().isEmpty(), "a pasted list is taken at once");
    if (!drafts.isEmpty()) {
      QCOMPARE(draftsOf(*sheet), drafts);
    }
    QCOMPARE(sheet->noticeLabel()->isVisible() ? sheet->noticeLabel()->text() : QString(), notice);
    QCOMPARE(sheet->costLabel()->text(), cost);
    QVERIFY(textsOnPage(*sheet).contains(u("a keyword you already measure costs nothing extra")));

    const auto count = sheet->entry().drafts().size();
    sheet->confirmButton()->click();
    QTRY_VERIFY(!page.addKeywordsSheet());
    QCOMPARE(harness.services->store().queries().ofApp(lumen.rowId).size(), count + 1);
  }

  void aReturnRightAfterAPasteAddsNothingTwice() {
    Harness harness;
    measure::testing::Seed seed(harness.services->store());
    seed.app("111111", "Lumen");
    auto& page = appsPage(harness.open());
    page.openAddKeywords();
    auto* sheet = page.addKeywordsSheet();
    QTest::keyClicks(sheet->field(), u("maps,"));
    QVERIFY2(sheet->entry().drafts().empty(), "typing a comma one key at a time does not commit");
    QTest::keyClick(sheet->field(), Qt::Key_Return);
    QCOMPARE(draftsOf(*sheet), QStringList{u("maps · US · +1 request per run")});
    QTest::keyClick(sheet->field(), Qt::Key_Return);
    QCOMPARE(sheet->entry().drafts().size(), std::size_t{1});
    QVERIFY2(page.addKeywordsSheet() && sheet->isVisible(), "Return commits; it does not add the drafts");
    QCOMPARE(harness.services->store().queries().count(), 0);
    QStringList help;
    for (auto* button : sheet->findChildren<QPushButton*>()) {
      help << button->toolTip();
    }
    QVERIFY(
        help.contains(u("Add what is typed to the draft — commas, semicolons or new lines separate several keywords")));
    QVERIFY(help.contains(u("Remove this keyword from the draft")));
    sheet->draftList()->setCurrentIndex(sheet->draftList()->model()->index(0, 0));
    QTest::keyClick(sheet->draftList(), Qt::Key_Delete);
    QVERIFY(sheet->entry().drafts().empty());
    QVERIFY(!sheet->confirmButton()->isEnabled());
  }

  void aFullStoreKeepsTheSheetOpenWithItsDraftsAndSaysWhy() {
    Harness harness;
    auto& store = harness.services->store();
    measure::testing::Seed seed(store);
    const auto lumen = seed.app("111111", "Lumen");
    auto& page = appsPage(harness.open());
    page.openAddKeywords();
    auto* sheet = page.addKeywordsSheet();
    QString many;
    for (int i = 0; i < 50; ++i) {
      many += QStringLiteral("keyword %1 %2\n").arg(i).arg(QString(80, QLatin1Char('k')));
    }
    paste(*sheet->field(), many);
    QCOMPARE(sheet->entry().drafts().size(), std::size_t{50});
    const auto pages = store.database().execAndGet("PRAGMA page_count").getInt();
    store.database().exec("PRAGMA max_page_count = " + std::to_string(pages + 1));
    sheet->confirmButton()->click();
    QVERIFY(page.addKeywordsSheet());
    QCOMPARE(sheet->entry().drafts().size(), std::size_t{50});
    const auto texts = textsOnPage(*sheet).filter(u("Tovra could not save this change: "));
    QCOMPARE(texts.size(), 1);
    QCOMPARE(store.queries().ofApp(lumen.rowId).size(), std::size_t{0});
  }

  void theResolverSheetShowsEachPhase() {
    Harness harness;
    auto& window = harness.open();
    auto& page = appsPage(window);
    ScriptedResolver store;
    measure::testing::Gate gate;
    store.hold = &gate;
    store.byName["lumen|us"] = {ranked("111111", "Lumen", 1, "com.lumen.photo"), ranked("222222", "Lumen Pro", 2)};
    page.setResolver(store.lookup(), store.search());
    window.menus().action(shell::TovraActionID::addApp)->trigger();
    auto* sheet = page.addAppSheet();
    QVERIFY(sheet);
    auto texts = textsOnPage(*sheet);
    for (const auto& expected :
         {u("Enter an app name, App Store URL, numeric App Store ID, or bundle ID."), u("Return also resolves."),
          u("Each country has its own App Store — names and rankings differ. A link or bundle "
            "ID finds the app anywhere; a name is searched in this country only."),
          u("Use the copied link")}) {
      QVERIFY2(texts.contains(expected), qPrintable(expected));
    }
    QCOMPARE(sheet->field()->placeholderText(), u("App name, URL, ID, or bundle ID"));

    QTest::keyClicks(sheet->field(), u("lumen"));
    QTest::keyClick(sheet->field(), Qt::Key_Return);
    gate.waitForArrival();
    QVERIFY(textsOnPage(*sheet).contains(u("Resolving App Store match…")));
    gate.open();
    QTRY_VERIFY(std::holds_alternative<research::AppResolverModel::Results>(sheet->model().phase()));
    texts = textsOnPage(*sheet);
    for (const auto& expected :
         {u("Click your app in the list above."), u("Return also adds the selected app."),
          u("Picked because the name matches — check the developer."), u("Lumen\nLumen Labs · com.lumen.photo"),
          u("Lumen Pro\nLumen Labs · No bundle ID returned")}) {
      QVERIFY2(texts.contains(expected), qPrintable(expected));
    }
    QVERIFY(!texts.contains(u("Resolving App Store match…")));
    QCOMPARE(sheet->results()->currentIndex().row(), 0);

    sheet->mineBox()->setChecked(true);
    QTest::keyClick(sheet->field(), Qt::Key_Return);
    QTRY_VERIFY(!page.addAppSheet());
    const auto tracked = harness.services->store().apps().findByAppStoreId("111111");
    QVERIFY(tracked);
    QVERIFY(tracked->isMine);
    QCOMPARE(page.undoLine()->text(), u("Tracking Lumen"));
    QVERIFY(page.undoLine()->isVisible());

    for (auto* button : page.findChildren<QPushButton*>()) {
      if (button->text() == u("Undo")) {
        button->click();
      }
    }
    QCOMPARE(harness.services->store().apps().count(), 0);
  }

  void aNameThatFindsNothingOffersAnotherCountry() {
    Harness harness;
    auto& page = appsPage(harness.open());
    ScriptedResolver store;
    store.byName["Kartenwelt|de"] = {ranked("333333", "Kartenwelt", 1)};
    page.setResolver(store.lookup(), store.search());
    page.openAddApp();
    auto* sheet = page.addAppSheet();
    QTest::keyClicks(sheet->field(), u("Kartenwelt"));
    QTest::keyClick(sheet->field(), Qt::Key_Return);
    QTRY_VERIFY(std::holds_alternative<research::AppResolverModel::Absent>(sheet->model().phase()));
    auto texts = textsOnPage(*sheet);
    QVERIFY2(texts.contains(u("No matching app was found in the United States")), qPrintable(texts.join('|')));
    QVERIFY(
        texts.contains(u("Names differ per country. Try another country, or paste the App Store link or bundle "
                         "ID — they find the app whatever its local name.")));
    QVERIFY(texts.contains(u("Try another country")));
    QCOMPARE(sheet->retryButton()->toolTip(), u("Looks up the same input in the country you pick."));
    for (auto* action : sheet->retryButton()->menu()->actions()) {
      if (action->text() == u("Germany (DE)")) {
        action->trigger();
      }
    }
    QTRY_VERIFY(std::holds_alternative<research::AppResolverModel::Results>(sheet->model().phase()));
    QCOMPARE(store.asked.back(), (std::pair<std::string, std::string>{"Kartenwelt", "de"}));
    texts = textsOnPage(*sheet);
    QVERIFY(!texts.contains(u("Picked because the name matches — check the developer.")));
    QVERIFY(!texts.contains(u("Click your app in the list above.")));
    QVERIFY(sheet->confirmButton()->isEnabled());
  }

  void aFailedRequestAndANonLinkSayWhy() {
    Harness harness;
    auto& page = appsPage(harness.open());
    ScriptedResolver store;
    store.failure = "The network connection was lost.";
    page.setResolver(store.lookup(), store.search());
    page.openAddApp();
    auto* sheet = page.addAppSheet();
    QGuiApplication::clipboard()->setText(u("just some words"));
    sheet->copiedLinkButton()->click();
    QVERIFY(textsOnPage(*sheet).contains(u("The copied text is not an App Store link.")));
    QVERIFY(store.asked.empty());
    QTest::keyClicks(sheet->field(), u("123456789"));
    QTest::keyClick(sheet->field(), Qt::Key_Return);
    QTRY_VERIFY(std::holds_alternative<research::AppResolverModel::Failed>(sheet->model().phase()));
    QVERIFY2(textsOnPage(*sheet).filter(u("The network connection was lost.")).size() == 1,
             qPrintable(textsOnPage(*sheet).join('|')));
    QVERIFY(!sheet->confirmButton()->isEnabled());
  }

  void aDeletionIsConfirmedWithThePlansTexts_data() {
    QTest::addColumn<QString>("row");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("summary");
    QTest::addColumn<QString>("warning");
    QTest::newRow("keyword") << u("photo editor") << u("Delete “photo editor” in US and its history")
                             << u("1 keyword · 2 observations")
                             << u("This cannot be undone — there is no server copy.");
    QTest::newRow("app") << u("Lumen") << u("Delete Lumen and its history") << u("1 app · 1 keyword · 2 observations")
                         << u("This cannot be undone — there is no server copy.");
    QTest::newRow("space") << u("Ideas") << u("Delete the research space “Ideas”") << u("1 research space · 1 keyword")
                           << u("This cannot be undone — there is no server copy.");
  }

  void aDeletionIsConfirmedWithThePlansTexts() {
    QFETCH(QString, row);
    QFETCH(QString, title);
    QFETCH(QString, summary);
    QFETCH(QString, warning);
    Harness harness;
    auto& store = harness.services->store();
    measure::testing::Seed seed(store);
    const auto editor = seed.keyword(seed.app("111111", "Lumen"), "photo editor", "us");
    seed.readings(editor, {4, 3}, asokit::WallTime{std::chrono::seconds{1'700'000'000}});
    seed.parked("trip planner", "gb");
    auto& page = appsPage(harness.open());
    const auto before = store.queries().count();

    select(page, row);
    AlertAnswer cancel;
    cancel.clickWhenShown(u("Cancel"));
    QTest::keyClick(page.view(), Qt::Key_Delete);
    QCOMPARE(cancel.text, title);
    QVERIFY2(cancel.informative.startsWith(summary), qPrintable(cancel.informative));
    QVERIFY(cancel.informative.endsWith(warning));
    QVERIFY(cancel.buttons.contains(title));
    QCOMPARE(store.queries().count(), before);
    QVERIFY(!page.editor().pendingDeletion());

    AlertAnswer confirm;
    confirm.clickWhenShown(title);
    QTest::keyClick(page.view(), Qt::Key_Delete);
    QCOMPARE(store.queries().count(), before - 1);
    QVERIFY(!textsOnPage(page).contains(row));
  }

  void deletingEverythingFromTheBoardShowsTheFirstScreen() {
    Harness harness;
    harness.track();
    auto& window = harness.open();
    QTest::mouseClick(window.gettingStarted()->findChild<QPushButton*>(), Qt::LeftButton);
    auto& page = appsPage(window);
    AlertAnswer answer;
    answer.clickWhenShown(u("Delete everything"));
    for (auto* button : page.findChildren<QPushButton*>()) {
      if (button->text() == u("Delete everything…")) {
        button->click();
      }
    }
    QVERIFY(answer.informative.contains(u("Every table goes back to zero · Tovra returns to its first screen.")));
    QCOMPARE(harness.services->store().apps().count(), 0);
    QCOMPARE(window.page(), gui::MainWindow::Page::today);
    QVERIFY(window.gettingStarted()->isVisible());
    window.showPage(gui::MainWindow::Page::apps);
    QVERIFY(textsOnPage(page).contains(
        u("No app is tracked yet. Add one with Add app…, or keep keywords in a new research space.")));
  }

  void aRenameSavesOrSaysWhyNot_data() {
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("goneMeanwhile");
    QTest::addColumn<QString>("failure");
    QTest::addColumn<QString>("stored");
    QTest::newRow("saved, trimmed") << u("  Travel  ") << false << QString() << u("Travel");
    QTest::newRow("blank") << u("   ") << false << u("A research space needs a name.") << u("Ideas");
    QTest::newRow("deleted elsewhere meanwhile")
        << u("Travel") << true << u("Tovra could not save this change: The record is no longer in the store.")
        << QString();
  }

  void aRenameSavesOrSaysWhyNot() {
    QFETCH(QString, name);
    QFETCH(bool, goneMeanwhile);
    QFETCH(QString, failure);
    QFETCH(QString, stored);
    Harness harness;
    auto& store = harness.services->store();
    measure::testing::Seed seed(store);
    const auto parked = seed.parked("trip planner", "gb");
    auto& page = appsPage(harness.open());
    select(page, u("Ideas"));
    QTest::keyClick(page.view(), Qt::Key_F2);
    QVERIFY(page.editor().isRenaming());
    QVERIFY(page.renameField()->isVisible());
    QCOMPARE(page.renameField()->text(), u("Ideas"));
    if (goneMeanwhile) {
      store.spaces().remove(*parked.space);
    }
    page.renameField()->selectAll();
    QTest::keyClicks(page.renameField(), name);
    QTest::keyClick(page.renameField(), Qt::Key_Return);
    QCOMPARE(page.failureLine()->isVisible() ? page.failureLine()->text() : QString(), failure);
    QCOMPARE(page.editor().isRenaming(), !failure.isEmpty());
    if (!stored.isEmpty()) {
      QCOMPARE(QString::fromStdString(store.spaces().get(*parked.space).name), stored);
    }
  }

  void graduatingASpaceMovesItsKeywordsToTheApp() {
    Harness harness;
    auto& store = harness.services->store();
    measure::testing::Seed seed(store);
    seed.parked("trip planner", "us");
    auto& page = appsPage(harness.open());
    ScriptedResolver resolver;
    asokit::AppInfo info;
    info.id = "444444";
    info.name = "Wayfare";
    info.developer = "Wayfare Ltd";
    resolver.byId["444444"] = info;
    page.setResolver(resolver.lookup(), resolver.search());
    select(page, u("Ideas"));
    for (auto* button : page.findChildren<QPushButton*>()) {
      if (button->text() == u("Graduate…")) {
        button->click();
      }
    }
    auto* sheet = page.addAppSheet();
    QVERIFY(sheet);
    QCOMPARE(sheet->windowTitle(), u("Graduate the research space “Ideas” to an app"));
    QTest::keyClicks(sheet->field(), u("444444"));
    QTest::keyClick(sheet->field(), Qt::Key_Return);
    QTRY_VERIFY(sheet->confirmButton()->isEnabled());
    QVERIFY(textsOnPage(*sheet).contains(u("Wayfare\nWayfare Ltd · No bundle ID returned")));
    QTest::keyClick(sheet->field(), Qt::Key_Return);
    QTRY_VERIFY(!page.addAppSheet());
    const auto app = store.apps().findByAppStoreId("444444");
    QVERIFY(app);
    QCOMPARE(store.queries().ofApp(app->rowId).size(), std::size_t{1});
    QCOMPARE(page.undoLine()->text(), u("Wayfare now holds the space's keywords · 1 moved"));
    QVERIFY(textsOnPage(page).contains(
        u("no app is tracked · a research space never enters a measurement run · graduated to Wayfare")));
    for (auto* button : page.findChildren<QPushButton*>()) {
      QVERIFY2(button->text() != u("Undo") || !button->isVisible(), "moved keywords are not taken back");
    }
  }

  void aNewResearchSpaceStartsWithItsNameToType() {
    Harness harness;
    auto& page = appsPage(harness.open());
    for (auto* button : page.findChildren<QPushButton*>()) {
      if (button->text() == u("New research space")) {
        button->click();
      }
    }
    QCOMPARE(harness.services->store().spaces().count(), 1);
    QVERIFY(page.renameField()->hasFocus());
    QCOMPARE(page.renameField()->selectedText(), u("research space"));
    QTest::keyClicks(page.renameField(), u("Trips"));
    QTest::keyClick(page.renameField(), Qt::Key_Return);
    QCOMPARE(QString::fromStdString(harness.services->store().spaces().all().front().name), u("Trips"));
    QVERIFY(textsOnPage(page).contains(u("Trips")));
  }
};

QTEST_MAIN(AppsViewTest)
#include "apps_view_test.moc"
