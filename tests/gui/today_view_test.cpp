// Today: what each row shows for every kind of change, the review marks with their undo, the offer to
// measure, and the run sheet through a whole run; start-up's fatal words and its order.
#include "app/gui/today_view.h"

#include <QHeaderView>
#include <QListWidget>
#include <QProgressBar>
#include <QPushButton>
#include <QToolButton>
#include <QTreeView>

#include "app/gui/icons.h"
#include "app/gui/launch.h"
#include "app/gui/run_sheet.h"
#include "app/gui/today_model.h"
#include "app/measure/measure_texts.h"
#include "app/research/error_lead.h"
#include "app/shell/launch_texts.h"
#include "gui_harness.h"

namespace tovra::testing {
namespace {

using Ranks = std::vector<std::optional<std::int64_t>>;
namespace words = measure::today_texts;

// The child row of the list whose keyword cell reads `keyword`, and the heading above it.
QModelIndex rowOf(const QAbstractItemModel& model, const QString& keyword) {
  for (int group = 0; group < model.rowCount(); ++group) {
    const auto heading = model.index(group, 0);
    for (int row = 0; row < model.rowCount(heading); ++row) {
      if (model.index(row, gui::TodayModel::keywordColumn, heading).data().toString() == keyword) {
        return model.index(row, 0, heading);
      }
    }
  }
  return {};
}

QString cell(const QModelIndex& row, int column) {
  return row.sibling(row.row(), column).data().toString();
}

QString groupOf(const QModelIndex& row) {
  return row.parent().data().toString();
}

gui::TodayPage& todayOf(gui::MainWindow& window) {
  auto* page = qobject_cast<gui::TodayPage*>(window.pageWidget(gui::MainWindow::Page::today));
  if (!page) {
    qFatal("Today is not a TodayPage");
  }
  return *page;
}

}  // namespace

class TodayViewTest : public QObject {
  Q_OBJECT
 private slots:
  void initTestCase() { gui::initIcons(); }

  void eachChangeShowsItsWordsBadgeAndFacts() {
    struct Case {
      const char* keyword;
      Ranks ranks;
      measure::TodayChange::Kind kind;
      QString change;
      QString group;
      QString rank;
      QString best;
    };
    const std::vector<Case> cases = {
        {"dropped", {3, 3, 3, 3, 3, 4, 9}, measure::TodayChange::Kind::dropped, "dropped 5", "pending (4)", "9", "#3"},
        {"rose", {9, 9, 9, 9, 9, 9, 4}, measure::TodayChange::Kind::rose, "rose 5", "pending (4)", "4", "#4"},
        {"steady", {5, 5, 5, 5, 5, 5, 5}, measure::TodayChange::Kind::held, "held", "held (1)", "5", "#5"},
        {"lost",
         {5, 5, 5, 5, 5, 5, std::nullopt},
         measure::TodayChange::Kind::unknownChange,
         "change unknown",
         "pending (4)",
         "not in the top 200",
         "#5"},
        {"young",
         {12, 10},
         measure::TodayChange::Kind::accumulating,
         "accumulating · 2 of 7 readings",
         "pending (4)",
         "10",
         "#10"},
    };
    Harness harness;
    measure::testing::Seed seed(harness.services->store());
    const auto app = seed.app("111111", "Lumen");
    seed.localization(app, "us", "Lumen: Photo Editor");
    const auto zone = harness.services->calendar().zoneName();
    const auto now = harness.services->wall().now();
    for (const auto& c : cases) {
      seed.readings(seed.keyword(app, c.keyword, "us"), c.ranks, now, zone);
    }
    auto& window = harness.open();
    auto& today = todayOf(window);
    const auto& model = *today.model();
    for (const auto& c : cases) {
      const auto row = rowOf(model, QString::fromUtf8(c.keyword));
      QVERIFY2(row.isValid(), c.keyword);
      QCOMPARE(cell(row, gui::TodayModel::changeColumn), c.change);
      QCOMPARE(row.sibling(row.row(), gui::TodayModel::changeColumn).data(gui::TodayModel::changeKindRole).toInt(),
               static_cast<int>(c.kind));
      QCOMPARE(cell(row, gui::TodayModel::rankColumn), c.rank);
      QTRY_COMPARE(cell(rowOf(model, QString::fromUtf8(c.keyword)), gui::TodayModel::bestColumn), c.best);
      QCOMPARE(cell(row, gui::TodayModel::appColumn), QStringLiteral("Lumen: Photo Editor"));
      QCOMPARE(cell(row, gui::TodayModel::countryColumn), QStringLiteral("US"));
      QVERIFY(!row.data(Qt::DecorationRole).value<QPixmap>().isNull());
      QVERIFY2(row.data(Qt::AccessibleTextRole).toString().contains(c.change), c.keyword);
      QCOMPARE(groupOf(row), c.group);
    }
    // Seven days read of the 31 shown: the month's first day is missing, so no change over 30 days.
    const auto dropped = rowOf(model, QStringLiteral("dropped"));
    QCOMPARE(cell(dropped, gui::TodayModel::monthColumn), gui::kEmDash);
    QCOMPARE(cell(dropped, gui::TodayModel::historyColumn), QStringLiteral("7 of 31 days read · best #3 · latest #9"));
    QCOMPARE(today.summary()->text(), QStringLiteral("5 keywords · 2 moved · 1 change unknown · 1 held"));
  }

  void theSparklineLeavesAMissingDayOutAndTheMonthChangeNeedsBothEnds() {
    Harness harness;
    measure::testing::Seed seed(harness.services->store());
    const auto app = seed.app("111111", "Lumen");
    const auto zone = harness.services->calendar().zoneName();
    const base::ZonedCalendar calendar(zone);
    const auto now = harness.services->wall().now();
    const auto full = seed.keyword(app, "full month", "us");
    Ranks month(31, 8);
    month.front() = 20;
    month.back() = 6;
    seed.readings(full, month, now, zone);
    const auto gap = seed.keyword(app, "gap", "us");
    seed.readings(gap, Ranks(20, 4), now, zone);
    seed.readings(gap, Ranks(10, 7), calendar.addDays(now, -21), zone);  // day -20 has no reading

    auto& window = harness.open();
    const auto& model = *todayOf(window).model();
    const auto fullRow = rowOf(model, QStringLiteral("full month"));
    QCOMPARE(cell(fullRow, gui::TodayModel::monthColumn), QStringLiteral("up 14"));
    const auto gapRow = rowOf(model, QStringLiteral("gap"));
    const auto* days = model.sparklineAt(gapRow);
    QVERIFY(days);
    QCOMPARE(days->size(), std::size_t{31});
    QCOMPARE((*days)[10].kind, measure::DaySlot::Kind::missing);
    QCOMPARE((*days)[9].rank, 7);
    QCOMPARE((*days)[11].rank, 4);
    QCOMPARE(cell(gapRow, gui::TodayModel::monthColumn), QStringLiteral("up 3"));
  }

  void aRowIsMarkedReviewedByKeyOrButtonAndTheMarkCanBeTakenBack() {
    Harness harness;
    measure::testing::Seed seed(harness.services->store());
    const auto app = seed.app("111111", "Lumen");
    const auto zone = harness.services->calendar().zoneName();
    const auto now = harness.services->wall().now();
    seed.readings(seed.keyword(app, "first", "us"), {3, 3, 3, 3, 3, 4, 9}, now, zone);
    seed.readings(seed.keyword(app, "second", "us"), {9, 9, 9, 9, 9, 9, 4}, now, zone);
    auto& window = harness.open();
    auto& today = todayOf(window);
    const auto& model = *today.model();
    QVERIFY(!today.undoButton()->isEnabled());

    today.view()->setFocus();
    today.view()->setCurrentIndex(rowOf(model, QStringLiteral("first")));
    QVERIFY(today.reviewButton()->isEnabled());
    QTest::keyClick(today.view(), Qt::Key_Space);
    QCOMPARE(groupOf(rowOf(model, QStringLiteral("first"))), qs(words::groupHeading(words::kReviewed, 1)));
    QCOMPARE(groupOf(rowOf(model, QStringLiteral("second"))), qs(words::groupHeading(words::kPending, 1)));
    // The next pending row is current, so the keyboard goes on through the queue.
    QCOMPARE(cell(today.view()->currentIndex(), gui::TodayModel::keywordColumn), QStringLiteral("second"));
    QVERIFY(today.undoButton()->isEnabled());

    QTest::mouseClick(today.reviewButton(), Qt::LeftButton);
    QCOMPARE(groupOf(rowOf(model, QStringLiteral("second"))), qs(words::groupHeading(words::kReviewed, 2)));
    QVERIFY2(!textsOnPage(today).contains(qs(words::groupHeading(words::kPending, 0))), "an empty group is left out");

    // Undo takes back the last mark only.
    QTest::keyClick(today.view(), Qt::Key_Z, Qt::ControlModifier);
    QCOMPARE(groupOf(rowOf(model, QStringLiteral("second"))), qs(words::groupHeading(words::kPending, 1)));
    QCOMPARE(groupOf(rowOf(model, QStringLiteral("first"))), qs(words::groupHeading(words::kReviewed, 1)));
    QVERIFY(!today.undoButton()->isEnabled());
    QCOMPARE(cell(today.view()->currentIndex(), gui::TodayModel::keywordColumn), QStringLiteral("second"));
  }

  void waitingKeywordsAndTheOfferSayWhyAndWhatARunCosts() {
    Harness harness;
    harness.track();
    measure::testing::Seed seed(harness.services->store());
    const auto app = *harness.services->store().apps().findByAppStoreId("111111");
    seed.keyword(app, "film filters", "de", true);
    auto& window = harness.open();
    auto& today = todayOf(window);
    const auto texts = textsOnPage(today);
    QVERIFY(texts.contains(QStringLiteral("not measured yet (2)")));
    QVERIFY(texts.contains(QStringLiteral("paused (1)")));
    QVERIFY2(!texts.join('|').contains(QStringLiteral("failed")), "paused is not a failure");
    const auto offer = today.offerLabel()->text();
    QVERIFY2(offer.contains(QString::fromStdString(measure::texts::keywordCount(2))), qPrintable(offer));
    QVERIFY(offer.contains(qs(measure::texts::kOfferExplanation)));
    QVERIFY(today.measureButton()->isVisible());
    QCOMPARE(today.measureButton()->text(), QStringLiteral("Measure now"));
    QVERIFY(!offer.contains(QStringLiteral("Last measured")));

    // A whole run from Today's own button: the sheet shows its plan, then the report; Today shows ranks.
    QTest::mouseClick(today.measureButton(), Qt::LeftButton);
    auto& sheet = window.runSheet();
    QVERIFY(sheet.isVisible());
    QVERIFY2(sheet.planLabel()->text().contains(qs(measure::texts::kOfferExplanation)),
             qPrintable(sheet.planLabel()->text()));
    QVERIFY(sheet.planLabel()->text().contains(qs(measure::texts::kPacingEnding)));
    QVERIFY(today.offerLabel()->text().contains(qs(measure::texts::kRanksLand)));
    QTRY_VERIFY(!harness.services->runner().isLive());
    QVERIFY(sheet.reportLabel()->text().contains(QStringLiteral("source of these numbers: ")));
    QCOMPARE(sheet.askedList()->count(), 1);
    QTRY_VERIFY2(today.offerLabel()->text().contains(QStringLiteral("Last measured 1 hour ago.")),
                 qPrintable(today.offerLabel()->text()));
    const auto rows = textsOnPage(today);
    QVERIFY2(rows.contains(QStringLiteral("accumulating · 1 of 7 readings")), qPrintable(rows.join('|')));
    QVERIFY(rows.contains(QStringLiteral("2")));
  }

  void aHaltedRunShowsBothFormsOfTheCooldown() {
    Harness harness;
    measure::testing::Seed seed(harness.services->store());
    const auto app = seed.app("111111", "Lumen");
    for (const char* keyword : {"one", "two", "three", "four"}) {
      seed.keyword(app, keyword, "us");
    }
    harness.appStore->failEverythingBelowHttp("connection refused");
    auto& window = harness.open();
    auto& today = todayOf(window);
    QTest::keyClick(&window, Qt::Key_R, Qt::ControlModifier);
    QTRY_VERIFY(!harness.services->runner().isLive());
    const auto& runner = harness.services->runner();
    QVERIFY(runner.cooldownSecondsLeft());
    auto& sheet = window.runSheet();
    // The ticker may move on a second between reading and comparing; both sides follow it.
    QTRY_COMPARE(sheet.statusLabel()->text(),
                 QString::fromStdString(measure::texts::cooldownLong(runner.cooldownSecondsLeft().value_or(0),
                                                                     runner.report()->haltCause)));
    QTRY_VERIFY2(today.offerLabel()->text().startsWith(
                     QString::fromStdString(measure::texts::cooldownShort(runner.cooldownSecondsLeft().value_or(0)))),
                 qPrintable(today.offerLabel()->text()));
    QVERIFY(today.offerLabel()->text().startsWith(QStringLiteral("Apple paused requests · retry in 1")));
    QVERIFY(textsOnPage(today).contains(qs(words::groupHeading(words::kNotMeasured, 4))));
  }

  void aFailedKeywordsReasonIsLedByThePlainLineOnHoverAndForAScreenReader() {
    Harness harness;
    measure::testing::Seed seed(harness.services->store());
    seed.keyword(seed.app("111111", "Lumen"), "photo editor", "us");
    harness.appStore->failEverythingWith(404);  // not asked again, so the run ends at once
    auto& window = harness.open();
    auto& today = todayOf(window);
    QTest::keyClick(&window, Qt::Key_R, Qt::ControlModifier);
    QTRY_VERIFY(!harness.services->runner().isLive());
    QTRY_VERIFY(rowOf(*today.model(), QStringLiteral("photo editor")).isValid());
    const auto row = rowOf(*today.model(), QStringLiteral("photo editor"));
    const auto reason = cell(row, gui::TodayModel::changeColumn);
    QVERIFY2(reason.startsWith(QStringLiteral("HTTP 404")), qPrintable(reason));
    const auto lead = qs(research::leadText::kHttpError);
    QCOMPARE(row.sibling(row.row(), gui::TodayModel::changeColumn).data(Qt::ToolTipRole).toString(),
             lead + QLatin1Char('\n') + reason);
    QVERIFY(row.data(Qt::AccessibleTextRole).toString().startsWith(lead));
  }

  void aFatalLaunchIsSaidInAnAlert() {
    const std::vector<std::string> fatal = {
        std::string(shell::launch_texts::kQaDefaultsFailed),
        std::string(shell::launch_texts::kQaStoreFailed) + "out of memory",
        std::string(shell::launch_texts::kNoStoreAtAll) + "out of memory",
    };
    for (const auto& message : fatal) {
      AlertAnswer answer;
      answer.clickWhenShown(QStringLiteral("Close"));
      gui::presentFatalLaunch({message});
      QCOMPARE(answer.text, QString::fromStdString(message));
      QCOMPARE(answer.icon, QMessageBox::Critical);
    }
  }

  void theMainWindowIsUpBeforeTheStoresAlert() {
    Harness harness;
    gui::MainWindow window(*harness.services, false);
    bool windowWasUp = false;
    bool overTheWindow = false;
    QTimer poll;
    poll.setInterval(5);
    QObject::connect(&poll, &QTimer::timeout, [&] {
      auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
      if (!box) {
        return;
      }
      poll.stop();
      windowWasUp = window.isVisible();
      overTheWindow = box->parentWidget() == &window;
      for (auto* button : box->buttons()) {
        if (button->text() == QStringLiteral("OK")) {
          button->click();
        }
      }
    });
    poll.start();
    bool quit = false;
    QVERIFY(!window.isVisible());
    gui::presentMainWindow(window, store::StoreOpenNotice{store::StoreOpenNotice::Recovered{"/data/Backups/x"}},
                           [&] { quit = true; });
    QVERIFY(window.isVisible());
    QTRY_VERIFY(windowWasUp);
    QVERIFY(overTheWindow);
    QVERIFY(!quit);
  }
};

}  // namespace tovra::testing

QTEST_MAIN(tovra::testing::TodayViewTest)
#include "today_view_test.moc"
