#include "app/gui/rivals_view.h"

#include <QComboBox>
#include <QFrame>
#include <QListView>
#include <QPushButton>
#include <QTreeView>

#include "app/gui/rank_chart_view.h"
#include "app/research/app_facts_model.h"
#include "app/store/ladder_writer.h"
#include "app/store/store.h"
#include "gui/gui_harness.h"

namespace tovra::testing {

using gui::kEmDash;
using measure::testing::localTime;

class RivalsViewTest final : public QObject {
  Q_OBJECT

  // Lumen (yours) and Rival track "photo editor" in the US; two saved searches an hour and a half apart,
  // in which Rival passed Lumen.
  static void seedBoard(Harness& harness) {
    auto& store = harness.services->store();
    measure::testing::Seed seed(store);
    auto mine = seed.app("111111", "Lumen");
    mine.isMine = true;
    store.apps().update(mine);
    const auto rival = seed.app("222222", "Rival");
    const auto zone = harness.services->calendar().zoneName();
    seed.readings(seed.keyword(mine, "photo editor", "us"), {3, 2, 1, 2}, localTime(zone, 2025, 3, 10, 9), zone);
    seed.readings(seed.keyword(rival, "photo editor", "us"), {1, std::nullopt, 3, 1}, localTime(zone, 2025, 3, 10, 9),
                  zone);
    store::LadderWriter writer(store);
    const auto write = [&](const std::vector<std::pair<std::string, std::string>>& apps, int hour) {
      store::LadderReading reading{"photo editor", "us", {}, 180, 0, "discover", localTime(zone, 2025, 3, 10, hour)};
      for (const auto& [id, name] : apps) {
        reading.apps.push_back({id, static_cast<std::int64_t>(reading.apps.size()) + 1, name, "Dev " + name});
      }
      writer.write(reading);
    };
    write({{"111111", "Lumen"}, {"222222", "Rival"}, {"333333", "Other"}}, 8);
    write({{"222222", "Rival"}, {"111111", "Lumen"}, {"333333", "Other"}}, 11);
  }

  gui::RivalsView& rivalsOf(gui::MainWindow& window) {
    window.showPage(gui::MainWindow::Page::rivals);
    return *qobject_cast<gui::RivalsView*>(window.pageWidget(gui::MainWindow::Page::rivals));
  }

 private slots:
  void theBoardShowsWhoRankedWhereAndWhoOvertookWhom() {
    Harness harness;
    seedBoard(harness);
    auto& rivals = rivalsOf(harness.open());

    QCOMPARE(textsOf(*rivals.keywords()->model()),
             QStringList{QStringLiteral("photo editor · US · 2 saved searches · 2 tracked apps")});
    QCOMPARE(rivals.searches()->count(), 2);
    const auto board = textsOf(*rivals.board()->model());
    QCOMPARE(board.mid(0, 6), (QStringList{"1", "▲ 1", "Rival", "Dev Rival", kEmDash, "tracked"}));
    QCOMPARE(board.mid(6, 6), (QStringList{"2", "▼ 1", "Lumen", "Dev Lumen", kEmDash, "yours"}));
    QCOMPARE(board.mid(12, 6), (QStringList{"3", "held", "Other", "Dev Other", kEmDash, kEmDash}));
    QCOMPARE(textsOf(*rivals.overtakes()->model()),
             QStringList{QStringLiteral("Rival (2 → 1) overtook Lumen (1 → 2)")});
    QCOMPARE(textsOf(*rivals.standings()->model()),
             (QStringList{QStringLiteral("Lumen · 2 (was 1)"), QStringLiteral("Rival · 1 (was 2)")}));

    // The older saved search has nothing before it to compare with.
    rivals.searches()->setCurrentIndex(1);
    QCOMPARE(textsOf(*rivals.overtakes()->model()), QStringList{qs(research::rivalsText::kFirstSearch)});
    QCOMPARE(textsOf(*rivals.board()->model()).at(1), kEmDash);
  }

  void everyTrackedAppIsDrawnSideBySideWithItsOwnBreaks() {
    Harness harness;
    seedBoard(harness);
    auto& rivals = rivalsOf(harness.open());
    // Lumen: one line of four days; Rival: a day outside splits its four days into two lines.
    QCOMPARE(rivals.chart()->lineCount(), 3);
    QCOMPARE(rivals.chart()->outsideCount(), 1);
  }

  void openingARowShowsItsStoredFactsAndOffersALookup() {
    Harness harness;
    seedBoard(harness);
    auto& rivals = rivalsOf(harness.open());
    rivals.board()->setFocus();
    rivals.board()->setCurrentIndex(rivals.board()->model()->index(2, 0));
    QVERIFY(textsOnPage(*rivals.details()).contains(QStringLiteral("Other")));
    const auto lines = textsOnPage(*rivals.details()).join(QLatin1Char('\n'));
    QVERIFY2(lines.contains(QStringLiteral("Position 3 of 180 · App Store id 333333")), qPrintable(lines));
    QVERIFY(lines.contains(qs(research::factsText::kFromSavedSearch)));
    QVERIFY(rivals.lookUp()->isEnabled());
    QVERIFY(!rivals.lookUp()->accessibleName().isEmpty());
  }

  void withoutSavedSearchesItSaysWhereTheyComeFrom() {
    Harness harness;
    auto& store = harness.services->store();
    measure::testing::Seed seed(store);
    seed.keyword(seed.app("111111", "Lumen"), "photo editor", "us");
    auto& rivals = rivalsOf(harness.open());
    QCOMPARE(textsOf(*rivals.overtakes()->model()), QStringList{qs(research::rivalsText::kNoSavedSearch)});
    QVERIFY(!rivals.searches()->isEnabled());
  }

  void anEmptyStoreSaysWhatToDo() {
    Harness harness;
    auto& rivals = rivalsOf(harness.open());
    QCOMPARE(rivals.summary()->text(), qs(research::rivalsText::kNoKeywords));
  }
};

}  // namespace tovra::testing

QTEST_MAIN(tovra::testing::RivalsViewTest)
#include "rivals_view_test.moc"
