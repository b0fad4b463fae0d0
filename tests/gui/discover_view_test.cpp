// The Discover page driven offscreen over a scripted App Store: each state of a search on screen in the
// core's words, the results in the store's order with their ratings, the track panel of a tracked and an
// untracked app, where carried terms come from, and the hints and signals waiting for a run or a hold.
#include "app/gui/discover_view.h"

#include <SQLiteCpp/Database.h>

#include <QComboBox>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QTabWidget>

#include "app/gui/discover_check_sheet.h"
#include "app/gui/icons.h"
#include "app/gui/research_models.h"
#include "app/research/discover_texts.h"
#include "app/research/keyword_check_model.h"
#include "app/research/request_gate.h"
#include "app/research/track_draft.h"
#include "app/store/keyword_draft.h"
#include "app/store/watchlist_writer.h"
#include "gui/gui_harness.h"

using namespace tovra;
using namespace tovra::testing;
using gui::qs;

namespace {

enum class Setup { nothing, empty, failed, unchanged, saveFailed, paused };

template <class T>
T* named(const QWidget& parent, std::string_view name) {
  for (auto* child : parent.findChildren<T*>()) {
    if (child->accessibleName() == qs(name)) {
      return child;
    }
  }
  return nullptr;
}

bool anyStartsWith(const QStringList& texts, std::string_view prefix) {
  return std::any_of(texts.begin(), texts.end(), [&](const QString& text) { return text.startsWith(qs(prefix)); });
}

// One window on Discover, over a store that knows three apps for "photo editor", in this order.
struct DiscoverHarness {
  Harness harness;
  gui::DiscoverPage* page = nullptr;

  DiscoverHarness() {
    harness.services->core().client();
    harness.appStore->answer("photo editor", {"333", "111", "222"});
    harness.appStore->facts("333", {"Canvas", "Canvas Labs", 12'345, 4.62});
    harness.appStore->facts("111", {"Lumen", "Lumen Co", 950, std::nullopt});
    harness.appStore->facts("222", {"Rival", "", std::nullopt, std::nullopt});
    auto& window = harness.open();
    window.showPage(gui::MainWindow::Page::discover);
    page = qobject_cast<gui::DiscoverPage*>(window.pageWidget(gui::MainWindow::Page::discover));
  }

  void search(const QString& term) {
    auto* button = named<QPushButton>(*page, research::discoverLabel::kSearch);
    page->search(term, "us");
    QTRY_VERIFY(button->isEnabled());
  }

  QStringList texts() const { return textsOnPage(*page); }

  void showTab(std::string_view name) {
    auto* tabs = page->findChild<QTabWidget*>();
    for (int i = 0; i < tabs->count(); ++i) {
      if (tabs->tabText(i) == qs(name)) {
        tabs->setCurrentIndex(i);
      }
    }
  }

  void pick(int row) {
    auto* list = named<QListView>(*page, research::discoverLabel::kResults);
    list->setCurrentIndex(list->model()->index(row, 0));
  }

  std::vector<store::TrackedQuery> queries() { return harness.services->store().queries().all(); }
};

}  // namespace

class DiscoverViewTest final : public QObject {
  Q_OBJECT

 private slots:
  void initTestCase() { gui::initIcons(); }

  void eachStateShowsItsText_data() {
    QTest::addColumn<int>("setup");
    QTest::addColumn<QString>("shown");
    QTest::addColumn<bool>("rows");
    QTest::newRow("nothing searched") << int(Setup::nothing) << qs(research::discoverText::kTypeATerm) << false;
    QTest::newRow("no results") << int(Setup::empty) << qs(research::discoverText::kNoResults) << false;
    QTest::newRow("failed, never zero results")
        << int(Setup::failed) << qs(research::discoverText::kSearchFailed) << false;
    QTest::newRow("no change") << int(Setup::unchanged) << qs(research::discoverText::kNoChange) << true;
    QTest::newRow("save failed") << int(Setup::saveFailed) << qs(research::waitText::kSaveFailedPrefix) << true;
    QTest::newRow("paused") << int(Setup::paused) << qs(research::waitText::kApplePaused) << false;
  }

  void eachStateShowsItsText() {
    QFETCH(int, setup);
    QFETCH(QString, shown);
    QFETCH(bool, rows);
    DiscoverHarness d;
    auto term = QStringLiteral("photo editor");
    switch (static_cast<Setup>(setup)) {
      case Setup::nothing:
        QVERIFY(d.texts().join('\n').split('\n').contains(qs(research::discoverText::kNothingYet)));
        break;
      case Setup::empty:
        term = QStringLiteral("nothing like it");
        d.search(term);
        break;
      case Setup::failed:
        d.harness.appStore->failEverythingBelowHttp("connection refused");
        d.search(term);
        break;
      case Setup::unchanged:
        d.search(term);
        QVERIFY(!d.texts().join('\n').contains(shown));
        d.search(term);
        break;
      case Setup::saveFailed:
        d.harness.services->store().database().exec(
            "CREATE TRIGGER refuse BEFORE INSERT ON StoredLadder BEGIN SELECT RAISE(ABORT, 'full'); END");
        d.search(term);
        break;
      case Setup::paused:
        d.harness.services->core().holdAfterRefusal();
        d.search(term);
        break;
    }
    const auto lines = d.texts().join('\n').split('\n');
    QVERIFY2(anyStartsWith(lines, shown.toStdString()), qPrintable(lines.join(" | ")));
    auto* list = named<QListView>(*d.page, research::discoverLabel::kResults);
    QCOMPARE(list->model()->rowCount() > 0, rows);
  }

  void resultsKeepTheStoresOrderWithRatingsAndUnknownsAsDashes() {
    DiscoverHarness d;
    d.search(QStringLiteral("photo editor"));
    auto* list = named<QListView>(*d.page, research::discoverLabel::kResults);
    QCOMPARE(textsOf(*list->model()),
             (QStringList{QStringLiteral("#1 · Canvas · Canvas Labs · 12.3k ratings · average 4.6"),
                          QStringLiteral("#2 · Lumen · Lumen Co · 950 ratings · average —"),
                          QStringLiteral("#3 · Rival · — · — ratings · average —")}));
    QVERIFY(d.page->summary()->text().startsWith(QStringLiteral("“photo editor” in US · 3 results")));
  }

  void theTrackPanelSaysWhenTheAppIsAlreadyTracked() {
    DiscoverHarness d;
    measure::testing::Seed seed(d.harness.services->store());
    seed.keyword(seed.app("111", "Lumen"), "photo editor", "us");
    d.search(QStringLiteral("photo editor"));
    d.showTab(research::discoverLabel::kTrackTab);

    d.pick(0);
    auto texts = d.texts();
    QVERIFY(!texts.contains(qs(research::trackText::kAlreadyTracked)));
    QVERIFY(!texts.contains(qs(research::discoverText::kAppKnown)));
    QVERIFY2(texts.contains(QStringLiteral("photo editor · US · already measured · no extra time")),
             qPrintable(texts.join(" | ")));

    d.pick(1);
    texts = d.texts();
    QVERIFY(texts.contains(qs(research::trackText::kAlreadyTracked)));
    QVERIFY(texts.contains(qs(research::discoverText::kAppKnown)));
    QVERIFY(texts.contains(QStringLiteral("#2 · Lumen · Lumen Co · 950 ratings · average — · ") +
                           qs(research::trackText::kAlreadyTracked)));

    auto* typing = named<QLineEdit>(*d.page, research::discoverLabel::kKeywordField);
    QTest::keyClicks(typing, QStringLiteral("photo filter"));
    QTest::keyClick(typing, Qt::Key_Return);
    texts = d.texts();
    QVERIFY(texts.contains(QStringLiteral("photo filter · US · +1 request per run")));
    QVERIFY(texts.contains(QStringLiteral("1 new requests per run")));
  }

  void termsCarryWhereTheyCameFrom() {
    DiscoverHarness d;
    d.harness.appStore->hints("photo", {"photo editor", "photo collage"});
    store::WatchlistWriter writer(d.harness.services->store(), d.harness.services->wall());
    writer.createSpace(store::randomUuid(), "Travel ideas");
    d.page->reload();
    d.search(QStringLiteral("photo editor"));
    d.pick(0);
    auto* draft = d.page->trackDraft();
    QVERIFY(draft);
    QCOMPARE(draft->keywords().size(), std::size_t{1});
    QCOMPARE(draft->keywords()[0].keyword, std::string("photo editor"));
    QCOMPARE(draft->keywords()[0].provenance, store::KeywordProvenance::carriedFromSearch);

    d.showTab(research::discoverLabel::kHintsTab);
    auto* prefix = named<QLineEdit>(*d.page, research::discoverLabel::kHintPrefix);
    prefix->setText(QStringLiteral("photo"));
    named<QPushButton>(*d.page, research::discoverLabel::kAskHints)->click();
    QTRY_VERIFY(d.texts().contains(QStringLiteral("2 · photo collage")));
    auto* hints = named<QListView>(*d.page, research::discoverLabel::kHints);
    hints->setCurrentIndex(hints->model()->index(1, 0));
    named<QPushButton>(*d.page, research::discoverLabel::kAddHintToDraft)->click();
    QCOMPARE(draft->keywords().size(), std::size_t{2});
    QCOMPARE(draft->keywords()[1].keyword, std::string("photo collage"));
    QCOMPARE(draft->keywords()[1].provenance, store::KeywordProvenance::carriedFromStoreHint);

    d.showTab(research::discoverLabel::kHintsTab);
    named<QPushButton>(*d.page, research::discoverLabel::kKeepHint)->click();
    d.showTab(research::discoverLabel::kTrackTab);
    named<QPushButton>(*d.page, research::discoverLabel::kConfirmTrack)->click();
    // The picked app is tracked now, and stays picked as one.
    QVERIFY2(d.texts().contains(qs(research::trackText::kAlreadyTracked)), qPrintable(d.texts().join(" | ")));
    QVERIFY(anyStartsWith(d.texts(), "Canvas is now tracked"));

    std::map<std::string, std::vector<std::string>> provenance;  // keyword → where each copy came from
    for (const auto& query : d.queries()) {
      provenance[query.keyword].push_back((query.space ? "space:" : "app:") + query.provenanceRaw);
    }
    QCOMPARE(provenance["photo editor"], std::vector<std::string>{"app:carriedFromSearch"});
    auto collage = provenance["photo collage"];
    std::sort(collage.begin(), collage.end());
    QCOMPARE(collage, (std::vector<std::string>{"app:carriedFromStoreHint", "space:carriedFromStoreHint"}));
  }

  void theKeyboardReachesAResultAndItsDraft() {
    DiscoverHarness d;
    d.search(QStringLiteral("photo editor"));
    auto* term = named<QLineEdit>(*d.page, research::discoverLabel::kSearchField);
    auto* list = named<QListView>(*d.page, research::discoverLabel::kResults);
    QTest::keyClick(d.harness.window.get(), Qt::Key_F, Qt::ControlModifier);
    QCOMPARE(QApplication::focusWidget(), term);
    for (int i = 0; i < 4 && QApplication::focusWidget() != list; ++i) {
      QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    }
    QCOMPARE(QApplication::focusWidget(), list);
    QTest::keyClick(list, Qt::Key_Down);
    QVERIFY(d.page->trackDraft());
    QTest::keyClick(list, Qt::Key_Return);
    QCOMPARE(QApplication::focusWidget(), named<QLineEdit>(*d.page, research::discoverLabel::kKeywordField));
  }

  void aSecondAskOnTheSameDayIsServedFromTheStoredProbe() {
    DiscoverHarness d;
    d.harness.appStore->hints("pho", {"photo editor"});
    d.showTab(research::discoverLabel::kHintsTab);
    auto* prefix = named<QLineEdit>(*d.page, research::discoverLabel::kHintPrefix);
    auto* ask = named<QPushButton>(*d.page, research::discoverLabel::kAskHints);
    prefix->setText(QStringLiteral("pho"));
    ask->click();
    QTRY_VERIFY(d.texts().contains(QStringLiteral("1 · photo editor")));
    QVERIFY(!anyStartsWith(d.texts(), research::probeText::kServedFromStore));
    const auto asked = d.harness.appStore->requests().size();

    ask->click();
    QTRY_VERIFY(anyStartsWith(d.texts(), research::probeText::kServedFromStore));
    QCOMPARE(d.harness.appStore->requests().size(), asked);
    QVERIFY(d.texts().contains(QStringLiteral("Asked: “pho” in US → “pho” in US")));
  }

  void hintsAndSignalsWaitForARunAndForAHold_data() {
    QTest::addColumn<bool>("run");
    QTest::addColumn<QString>("shown");
    QTest::newRow("a run in any process") << true << qs(research::waitText::kMeasurementRunning);
    QTest::newRow("a hold") << false << qs(research::waitText::kApplePaused);
  }

  void hintsAndSignalsWaitForARunAndForAHold() {
    QFETCH(bool, run);
    QFETCH(QString, shown);
    DiscoverHarness d;
    d.search(QStringLiteral("photo editor"));
    const auto asked = d.harness.appStore->requests().size();
    // The mark another Tovra process holds while it measures.
    const auto mark = run ? d.harness.services->core().presence().hold() : nullptr;
    if (!run) {
      d.harness.services->core().holdAfterRefusal();
    }

    d.showTab(research::discoverLabel::kHintsTab);
    named<QPushButton>(*d.page, research::discoverLabel::kAskHints)->click();
    QVERIFY2(anyStartsWith(d.texts(), shown.toStdString()), qPrintable(d.texts().join(" | ")));

    d.showTab(research::discoverLabel::kSignalsTab);
    named<QPushButton>(*d.page, research::discoverLabel::kReadSignals)->click();
    QVERIFY2(anyStartsWith(d.texts(), shown.toStdString()), qPrintable(d.texts().join(" | ")));
    QCoreApplication::processEvents();
    QCOMPARE(d.harness.appStore->requests().size(), asked);
  }

  void signalsShowDifficultyReachTheProbeTrailAndHowTheyAreRead() {
    DiscoverHarness d;
    for (int i = 1; i <= 6; ++i) {
      const auto id = std::to_string(500 + i);
      d.harness.appStore->facts(id, {"App " + id, "Dev", 2'000 * i, 4.0});
    }
    d.harness.appStore->answer("map", {"501", "502", "503", "504", "505", "506"});
    d.harness.appStore->hints("ma", {"maps", "map"});
    d.harness.appStore->hints("map", {"map"});
    d.search(QStringLiteral("map"));
    d.showTab(research::discoverLabel::kSignalsTab);
    named<QPushButton>(*d.page, research::discoverLabel::kReadSignals)->click();
    QTRY_VERIFY2(anyStartsWith(d.texts(), "2 hint probes asked"), qPrintable(d.texts().join(" | ")));
    const auto texts = d.texts();
    QVERIFY2(texts.contains(QStringLiteral("Medium · median 7k ratings · 6 of 6 counts known")),
             qPrintable(texts.join(" | ")));
    QVERIFY(texts.contains(QStringLiteral("Strong · listed at 2 of 3 letters · position 2")));
    QVERIFY(texts.contains(QStringLiteral("“map” · 3 letters · listed at position 1")));
    QVERIFY(texts.contains(QStringLiteral("“ma” · 2 letters · listed at position 2")));
    QVERIFY(texts.join('\n').contains(qs(research::signalsText::kHelpTitle)));
    QVERIFY(texts.join('\n').contains(qs(research::signalsText::kUnknown)));
  }

  void checkOnceShowsItsPhaseAndWhyItIsUnavailable() {
    DiscoverHarness d;
    measure::testing::Seed seed(d.harness.services->store());
    seed.app("111", "Lumen");
    d.search(QStringLiteral("photo editor"));
    d.pick(1);
    std::unique_ptr<gui::DiscoverCheckSheet> sheet(d.page->openCheckOnce());
    sheet->setAttribute(Qt::WA_DeleteOnClose, false);
    sheet->show();
    sheet->check();
    QTRY_VERIFY(textsOnPage(*sheet).contains(QStringLiteral("Rank 2 of the 3 results the store returned")));
    named<QPushButton>(*sheet, research::checkText::kTrackThis)->click();
    QVERIFY(textsOnPage(*sheet).contains(qs(research::checkText::kTracked)));

    const auto mark = d.harness.services->core().presence().hold();
    std::unique_ptr<gui::DiscoverCheckSheet> blocked(d.page->openCheckOnce());
    blocked->setAttribute(Qt::WA_DeleteOnClose, false);
    blocked->show();
    QVERIFY(textsOnPage(*blocked).contains(qs(research::checkText::kRunActive)));
    QVERIFY(!named<QPushButton>(*blocked, research::discoverLabel::kCheck)->isEnabled());
  }
};

QTEST_MAIN(DiscoverViewTest)
#include "discover_view_test.moc"
