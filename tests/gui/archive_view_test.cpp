#include "app/gui/archive_view.h"

#include <QAbstractAxis>
#include <QChart>
#include <QListView>
#include <QRegularExpression>
#include <QStandardItemModel>
#include <QTreeView>

#include "app/gui/rank_chart_view.h"
#include "app/measure/measured_days.h"
#include "app/store/app_releases.h"
#include "app/store/store.h"
#include "gui/gui_harness.h"

namespace tovra::testing {

using measure::testing::localTime;

// Readings written as stretches of consecutive days separated by a missing day ("|"); "-" is a day
// measured outside the results.
void seedStretches(measure::testing::Seed& seed, const store::TrackedQuery& query, const QString& stretches,
                   const std::string& zone) {
  const auto parts = stretches.split(QLatin1Char('|'));
  unsigned lastDay = 1;
  for (const auto& part : parts) {
    std::vector<std::optional<std::int64_t>> ranks;
    for (const auto& token : part.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
      ranks.push_back(token == QStringLiteral("-") ? std::nullopt : std::optional<std::int64_t>(token.toLongLong()));
    }
    lastDay += static_cast<unsigned>(ranks.size());
    seed.readings(query, ranks, localTime(zone, 2025, 3, lastDay - 1, 9), zone);
    ++lastDay;  // the missing day
  }
}

class ArchiveViewTest final : public QObject {
  Q_OBJECT

  gui::ArchiveView& archiveOf(gui::MainWindow& window) {
    window.showPage(gui::MainWindow::Page::archive);
    return *qobject_cast<gui::ArchiveView*>(window.pageWidget(gui::MainWindow::Page::archive));
  }

 private slots:
  void theChartSplitsItsLinesAtGapsAndOutsideDays_data() {
    QTest::addColumn<QString>("stretches");
    QTest::addColumn<int>("lines");
    QTest::addColumn<int>("outside");
    QTest::addRow("one stretch") << "9 8 7" << 1 << 0;
    QTest::addRow("a missing day") << "9 8 | 7 6" << 2 << 0;
    QTest::addRow("two missing days") << "9 | 8 | 7" << 3 << 0;
    QTest::addRow("a day outside the results") << "9 - 7" << 2 << 1;
    QTest::addRow("outside at the ends") << "- 9 8 -" << 1 << 2;
    QTest::addRow("only outside") << "- -" << 0 << 2;
  }

  void theChartSplitsItsLinesAtGapsAndOutsideDays() {
    QFETCH(QString, stretches);
    QFETCH(int, lines);
    QFETCH(int, outside);
    Harness harness;
    measure::testing::Seed seed(harness.services->store());
    const auto app = seed.app("111111", "Lumen");
    const auto query = seed.keyword(app, "photo editor", "us");
    seedStretches(seed, query, stretches, harness.services->calendar().zoneName());
    auto& archive = archiveOf(harness.open());

    QCOMPARE(archive.chart()->lineCount(), lines);
    QCOMPARE(archive.chart()->outsideCount(), outside);
    // Each painted line is one stretch of consecutive days, so a gap is never bridged by a segment: no
    // line spans more than a day and a half between two of its points.
    QCOMPARE(static_cast<int>(archive.chart()->stretches().size()), lines);
    for (const auto& [colour, stretch] : archive.chart()->stretches()) {
      for (qsizetype i = 1; i < stretch.size(); ++i) {
        QVERIFY(stretch[i].x() - stretch[i - 1].x() < 36 * 3600 * 1000.0);
      }
    }
    // Every reading is listed, and a day outside the results says so in words, never as a rank.
    const auto days = stretches.split(QRegularExpression(QStringLiteral("[ |]")), Qt::SkipEmptyParts).size();
    QCOMPARE(archive.readings()->model()->rowCount(), static_cast<int>(days));
    int outsideRows = 0;
    for (int row = 0; row < archive.readings()->model()->rowCount(); ++row) {
      outsideRows +=
          archive.readings()->model()->index(row, 1).data().toString().startsWith(QStringLiteral("not in the top"));
    }
    QCOMPARE(outsideRows, outside);
  }

  void releasesAreListedAndMarkedOnTheirDays() {
    Harness harness;
    measure::testing::Seed seed(harness.services->store());
    const auto app = seed.app("111111", "Lumen");
    const auto query = seed.keyword(app, "photo editor", "us");
    const auto zone = harness.services->calendar().zoneName();
    seed.readings(query, {9, 8, 7, 6, 5}, localTime(zone, 2025, 3, 10, 9), zone);
    auto& store = harness.services->store();
    store::Releases releases(store);
    releases.record({"111111", "2.0", localTime(zone, 2025, 3, 8, 15), localTime(zone, 2025, 3, 9)});
    releases.record({"111111", "1.0", localTime(zone, 2024, 12, 1), localTime(zone, 2025, 3, 9)});
    releases.record({"222222", "9.0", localTime(zone, 2025, 3, 8), localTime(zone, 2025, 3, 9)});
    auto& archive = archiveOf(harness.open());

    QCOMPARE(archive.chart()->releaseCount(), 1);  // 1.0 came out before the first charted day
    QCOMPARE(textsOf(*archive.releases()->model()),
             (QStringList{"2.0 released 2025-03-08", "1.0 released 2024-12-01"}));
  }

  void theFirstKeywordWithReadingsOpensFirst() {
    Harness harness;
    measure::testing::Seed seed(harness.services->store());
    const auto app = seed.app("111111", "Lumen");
    seed.keyword(app, "not measured", "us");
    const auto measured = seed.keyword(app, "photo editor", "us");
    const auto zone = harness.services->calendar().zoneName();
    seed.readings(measured, {9, 8, 7}, localTime(zone, 2025, 3, 10, 9), zone);
    auto& archive = archiveOf(harness.open());
    QCOMPARE(archive.keywords()->currentIndex().row(), 1);
    QVERIFY(archive.chart()->lineCount() > 0);
  }

  void aKeywordWithoutReadingsAndAStoreWithoutRunsSayWhy() {
    Harness harness;
    measure::testing::Seed seed(harness.services->store());
    seed.keyword(seed.app("111111", "Lumen"), "photo editor", "us");
    auto& archive = archiveOf(harness.open());
    QCOMPARE(archive.summary()->text(), qs(measure::archiveText::kNoRunsYet));
    QCOMPARE(archive.chart()->lineCount(), 0);
    QVERIFY(textsOnPage(archive).contains(qs(measure::chartText::kNoReadings)));
    QCOMPARE(textsOf(*archive.releases()->model()), QStringList{qs(measure::archiveText::kNoReleases)});
  }

  void aRunLandsAsAMeasuredDayWithItsCounts() {
    Harness harness;
    harness.track();
    auto& window = harness.open();
    auto& archive = archiveOf(window);
    QTest::keyClick(&window, Qt::Key_R, Qt::ControlModifier);
    QVERIFY(harness.services->runner().isLive());
    QTRY_VERIFY(!harness.services->runner().isLive());
    QCOMPARE(archive.days()->model()->rowCount(), 1);
    const auto row = textsOf(*archive.days()->model());
    QCOMPARE(row.at(1), QStringLiteral("1 request"));
    QCOMPARE(row.at(2), QStringLiteral("2 ranked · 0 outside · 0 failed"));
    QCOMPARE(archive.summary()->text(), QStringLiteral("1 run"));
    QCOMPARE(archive.chart()->lineCount(), 1);
  }

  void aShortChartLabelsFewerRanksAndDropsItsSideTitle() {
    measure::RankChart chart;
    const asokit::WallTime day{std::chrono::hours(24 * 20'000)};
    chart.lines = {{{day, 3}, {day + std::chrono::hours(24), 40}}};
    chart.firstDay = day;
    chart.lastDay = day + std::chrono::hours(24);
    chart.deepestRank = 40;
    gui::RankChartView view;
    view.resize(600, 420);
    view.draw({{QStringLiteral("Lumen"), chart}}, store::LocalTimeFormat("UTC"), QString());
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    QTRY_COMPARE(view.rankLabelCount(), 5);
    QVERIFY(view.chart()->axes(Qt::Vertical).front()->isTitleVisible());
    view.resize(600, 150);
    QTRY_VERIFY(view.rankLabelCount() < 5);
    QVERIFY(!view.chart()->axes(Qt::Vertical).front()->isTitleVisible());
    const int lineHeight = view.fontMetrics().height();
    QVERIFY(view.chart()->plotArea().height() / (view.rankLabelCount() + 2) >= lineHeight);
  }

  void ctrlFiveOpensRivals() {
    Harness harness;
    auto& window = harness.open();
    QTest::keyClick(&window, Qt::Key_5, Qt::ControlModifier);
    QCOMPARE(window.page(), gui::MainWindow::Page::rivals);
  }
};

}  // namespace tovra::testing

QTEST_MAIN(tovra::testing::ArchiveViewTest)
#include "archive_view_test.moc"
