// Opening one keyword's rank chart in the Archive on a generated store of 2,000 keywords × 400 days:
// reading its whole series, building the chart (day runs, outside days, releases) and drawing it into a
// picture, against SQLite alone reading the same keyword's readings on the same store. Goal: under 100 ms.
#include <sqlite3.h>

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <cstdio>
#include <filesystem>

#include "app/base/zoned_calendar.h"
#include "app/gui/rank_chart_view.h"
#include "app/measure/keyword_history.h"
#include "app/measure/rank_chart.h"
#include "app/store/app_releases.h"
#include "app/store/local_time.h"
#include "app/store/store.h"
#include "bench/large_store.h"
#include "bench/timing.h"

namespace {

namespace fs = std::filesystem;

constexpr int kRounds = 31;

// The keyword's readings by day through its periods, as the store's own index has them.
constexpr const char* kSeries =
    "SELECT o.day, o.rank, o.resultCount FROM ReadingPeriod p CROSS JOIN StoredObservation o ON o.period = p.pk "
    "WHERE p.query = ?1 ORDER BY o.day";

}  // namespace

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  char pattern[] = "/tmp/tovra-bench-chart-XXXXXX";
  const fs::path folder = ::mkdtemp(pattern);
  const auto file = folder / "default.store";
  const auto options = tovra::bench::generateLargeStore(file);

  auto store = tovra::store::Store::open(file);
  const tovra::base::ZonedCalendar calendar(options.zone);
  const tovra::store::LocalTimeFormat localTime(options.zone);
  // A keyword in the middle of the store, with a release every 40 days of its app.
  const auto queries = store->queries().measurable();
  const auto query = queries.at(queries.size() / 2);
  const auto app = store->apps().get(*query.app);
  for (int i = 0; i < 10; ++i) {
    tovra::store::Releases(*store).record(
        {app.appStoreId, "1." + std::to_string(i), options.lastDay - std::chrono::hours(24 * 40 * i), options.lastDay});
  }

  sqlite3* db = nullptr;
  sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(db, kSeries, -1, &statement, nullptr);
  long rows = 0;
  const auto query_ = tovra::bench::medianSeconds(kRounds, [&] {
    sqlite3_reset(statement);
    sqlite3_bind_int64(statement, 1, query.rowId.value);
    rows = 0;
    while (sqlite3_step(statement) == SQLITE_ROW) {
      tovra::bench::keep(sqlite3_column_int64(statement, 0));
      ++rows;
    }
  });

  tovra::measure::RankChart built;
  const auto read = tovra::bench::medianSeconds(kRounds, [&] {
    const auto history = tovra::measure::keywordHistory(*store, app, query, calendar);
    built = tovra::measure::rankChart(history.dayRuns, tovra::store::Releases(*store).ofApp(app.appStoreId), calendar);
  });

  tovra::gui::RankChartView view;
  view.resize(900, 360);
  QImage picture(view.size(), QImage::Format_ARGB32_Premultiplied);
  const auto drawn = tovra::bench::medianSeconds(kRounds, [&] {
    view.draw({{QStringLiteral("keyword"), built}}, localTime, QString());
    QPainter painter(&picture);
    view.render(&painter);
  });

  const auto whole = tovra::bench::medianSeconds(kRounds, [&] {
    const auto history = tovra::measure::keywordHistory(*store, app, query, calendar);
    const auto chart =
        tovra::measure::rankChart(history.dayRuns, tovra::store::Releases(*store).ofApp(app.appStoreId), calendar);
    view.draw({{QStringLiteral("keyword"), chart}}, localTime, QString());
    QPainter painter(&picture);
    view.render(&painter);
  });
  sqlite3_finalize(statement);
  sqlite3_close(db);
  store.reset();
  fs::remove_all(folder);

  std::printf("SQLite, one keyword's readings (%ld rows):           median %7.2f ms\n", rows, query_ * 1e3);
  std::printf("series read and chart built (%zu lines, %zu outside, %zu releases): median %7.2f ms\n",
              built.lines.size(), built.outsideDays.size(), built.releases.size(), read * 1e3);
  std::printf("chart drawn into a picture:                          median %7.2f ms\n", drawn * 1e3);
  std::printf("opening the chart, read to picture:                  median %7.2f ms (goal < 100 ms)\n", whole * 1e3);
  std::printf("ratio of the read and build to the query: %.2f; of the whole to the query: %.2f\n", read / query_,
              whole / query_);
  return 0;
}
