#include "app/measure/rank_chart.h"

#include <algorithm>

#include "app/base/keyword_key.h"
#include "app/measure/keyword_history.h"
#include "app/measure/run_report.h"
#include "app/store/store.h"

namespace tovra::measure {

RankChart rankChart(const std::vector<std::vector<asokit::RankPoint>>& dayRuns,
                    const std::vector<store::AppRelease>& releases, const asokit::Calendar& calendar) {
  RankChart chart;
  for (const auto& run : dayRuns) {
    std::vector<ChartPoint> line;
    for (const auto& point : run) {
      if (point.rank) {
        line.push_back({point.day, *point.rank});
        chart.deepestRank = std::max(chart.deepestRank, *point.rank);
        continue;
      }
      chart.outsideDays.push_back(point.day);
      if (!line.empty()) {
        chart.lines.push_back(std::move(line));
        line.clear();
      }
    }
    if (!line.empty()) {
      chart.lines.push_back(std::move(line));
    }
  }
  if (dayRuns.empty()) {
    return chart;
  }
  chart.firstDay = calendar.startOfDay(dayRuns.front().front().day);
  chart.lastDay = calendar.startOfDay(dayRuns.back().back().day);
  const auto end = calendar.addDays(*chart.lastDay, 1);
  for (const auto& release : releases) {
    if (release.releasedAt >= *chart.firstDay && release.releasedAt < end) {
      chart.releases.push_back(release);
    }
  }
  std::stable_sort(chart.releases.begin(), chart.releases.end(),
                   [](const auto& a, const auto& b) { return a.releasedAt < b.releasedAt; });
  return chart;
}

std::int64_t rankAxisBottom(std::int64_t deepestRank) {
  std::int64_t bottom = 10;
  for (int step = 0; bottom < deepestRank; ++step) {
    // 10, 20, 50, 100, 200, 500, …
    bottom = step % 3 == 1 ? bottom / 2 * 5 : bottom * 2;
  }
  return bottom;
}

std::string releaseLabel(const store::AppRelease& release, std::string_view date) {
  return release.version + " released " + std::string(date);
}

std::vector<ComparedApp> compareOnKeyword(store::Store& store, std::string_view keyword, std::string_view country,
                                          const asokit::Calendar& calendar) {
  const auto key = base::keywordKey(keyword);
  const auto code = base::normalizedCountry(country);
  std::vector<ComparedApp> compared;
  for (const auto& app : store.apps().all()) {
    for (const auto& query : store.queries().ofApp(app.rowId)) {
      if (query.country != code || base::keywordKey(query.keyword) != key) {
        continue;
      }
      const auto history = keywordHistory(store, app, query, calendar);
      ComparedApp entry{app, query, appLabel(query, app, store.localizations().ofApp(app.rowId)), {}, {}, false};
      entry.chart = rankChart(history.dayRuns, store::Releases(store).ofApp(app.appStoreId), calendar);
      entry.measured = !history.readings.empty();
      if (entry.measured) {
        entry.latestRank = history.readings.back().observation.rank;
      }
      compared.push_back(std::move(entry));
    }
  }
  std::stable_sort(compared.begin(), compared.end(), [](const ComparedApp& a, const ComparedApp& b) {
    return a.app.isMine != b.app.isMine ? a.app.isMine : a.label < b.label;
  });
  return compared;
}

}  // namespace tovra::measure
