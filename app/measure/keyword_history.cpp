#include "app/measure/keyword_history.h"

#include <fmt/format.h>

#include "app/measure/measure_texts.h"
#include "app/measure/run_report.h"
#include "app/store/store.h"

namespace tovra::measure {

KeywordHistory keywordHistory(store::Store& store, const store::TrackedApp& app, const store::TrackedQuery& query,
                              const asokit::Calendar& calendar) {
  KeywordHistory series;
  series.label = lineLabel(appLabel(query, app, store.localizations().ofApp(app.rowId)), query);
  std::vector<asokit::RankPoint> points;
  for (auto& observation : store.observations().ofQuery(query.rowId)) {
    const auto day = calendar.startOfDay(observation.day);
    points.push_back({day, observation.rank});
    series.readings.push_back({day, std::move(observation)});
  }
  series.history = asokit::RankHistory(std::move(points));
  series.change = changeOf(series.history);
  series.dayRuns = series.history.dayRuns(calendar);
  return series;
}

std::string historyHeadline(const KeywordHistory& history) {
  const auto count = history.readings.size();
  return fmt::format("{}{}{} {}{}{}", history.label, texts::kJoin, count, count == 1 ? "reading" : "readings",
                     texts::kJoin, changeText(history.change));
}

std::string dayRunsLine(const KeywordHistory& history, const store::LocalTimeFormat& localTime) {
  std::string stretches;
  for (const auto& run : history.dayRuns) {
    stretches += stretches.empty() ? "" : std::string(texts::kJoin);
    stretches += localTime.date(run.front().day);
    if (run.size() > 1) {
      stretches += " – " + localTime.date(run.back().day);
    }
    stretches += fmt::format(" ({} {})", run.size(), run.size() == 1 ? "day" : "days");
  }
  return "Day runs: " + stretches;
}

}  // namespace tovra::measure
