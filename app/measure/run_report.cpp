#include "app/measure/run_report.h"

#include <algorithm>

#include "app/measure/measure_texts.h"

namespace tovra::measure {
namespace {

// " · not in the top 40"; an empty answer has no top to be outside of.
std::string notInTheTop(std::int64_t resultCount) {
  return resultCount == 0 ? std::string(texts::kJoin) + std::string(research::kNoResults)
                          : " · not in the top " + std::to_string(resultCount);
}

std::string lowerAscii(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c); });
  return text;
}

std::string upperAscii(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c); });
  return text;
}

}  // namespace

std::string_view endingName(RunReport::Ending ending) {
  switch (ending) {
    case RunReport::Ending::halted:
      return "halted";
    case RunReport::Ending::stopped:
      return "stopped";
    case RunReport::Ending::finished:
      break;
  }
  return "finished";
}

MeasureOffer measureOffer(bool hasMeasurableKeywords, bool canStart, std::optional<asokit::WallTime> lastFinishedAt) {
  if (!hasMeasurableKeywords || !canStart) {
    return MeasureOffer::none();
  }
  return lastFinishedAt ? MeasureOffer::due(*lastFinishedAt) : MeasureOffer::never();
}

std::string appLabel(const store::TrackedQuery& query, const std::optional<store::TrackedApp>& app,
                     const std::vector<store::AppLocalization>& localizations) {
  if (!app) {
    return "unknown app";
  }
  const auto country = lowerAscii(query.country);
  for (const auto& localization : localizations) {
    if (localization.app == app->rowId && lowerAscii(localization.country) == country) {
      return localization.name;
    }
  }
  return app->displayName + " — name in " + upperAscii(query.country) + " not read yet";
}

std::string lineLabel(const std::string& appLabel, const store::TrackedQuery& query) {
  return appLabel + std::string(texts::kJoin) + query.keyword + std::string(texts::kJoin) + upperAscii(query.country);
}

std::vector<RunReport::Failure> failureRows(const RunReport& report) {
  auto rows = report.failures;
  if (report.saveFailure) {
    rows.push_back({-1, "local store", {"—", "save"}, *report.saveFailure});
  }
  return rows;
}

std::string countsLine(const RunReport& report) {
  const std::string join(texts::kJoin);
  return std::to_string(report.measured) + " measured" + join + std::to_string(report.failed) + " failed" + join +
         std::to_string(report.skipped) + " skipped" + join + std::to_string(report.requestCount) +
         (report.requestCount == 1 ? " request" : " requests");
}

std::string saveFailedText(const RunReport& report) {
  return "Tovra could not save this run: " + report.saveFailure.value_or("");
}

RunReport buildReport(const ReportInput& input) {
  const auto& entries = *input.entries;
  const auto& outcome = *input.outcome;
  RunReport report;
  // A halt matters more than a stop: it starts the cooldown.
  report.ending = outcome.halted    ? RunReport::Ending::halted
                  : outcome.stopped ? RunReport::Ending::stopped
                                    : RunReport::Ending::finished;
  report.startedAt = input.startedAt;
  report.finishedAt = input.finishedAt;
  report.requestCount = outcome.requestCount;
  report.queryCount = static_cast<std::int64_t>(entries.size());
  report.refused = outcome.refused;
  if (outcome.halted && !outcome.lastFailureRefused && !outcome.lastFailureCause.empty()) {
    report.haltCause = outcome.lastFailureCause;
  }

  bool sourceTaken = false;
  for (std::size_t i = 0; i < entries.size() && i < outcome.results.size(); ++i) {
    const auto id = static_cast<std::int64_t>(i);
    const auto& status = outcome.results[i].status;
    const auto& label = (*input.appLabels)[i];
    if (const auto* observation = status.observation()) {
      ++report.measured;
      if (!sourceTaken) {
        report.source = observation->source;
        sourceTaken = true;
      }
      const auto line = lineLabel(label, entries[i].query);
      if (observation->rank) {
        report.ranked.push_back({id, line, *observation->rank, observation->source});
      } else {
        report.outside.push_back({id, line, observation->resultCount, observation->source});
        report.measuredZero.push_back(line + notInTheTop(observation->resultCount));
      }
    } else if (const auto* failure = status.failure()) {
      ++report.failed;
      report.failures.push_back({id, label, {entries[i].query.country, entries[i].query.keyword}, *failure});
    } else {
      ++report.skipped;
    }
  }
  report.saveFailure = input.saveFailure;
  report.hadNoEarlierObservations = input.hadEarlierReadings.has_value() && !*input.hadEarlierReadings;
  report.isFirstMeasurement = report.hadNoEarlierObservations && !report.ranked.empty();
  return report;
}

}  // namespace tovra::measure
