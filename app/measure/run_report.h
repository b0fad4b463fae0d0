#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "AsoKit/clock.h"
#include "AsoKit/types.h"
#include "app/measure/run_plan.h"
#include "app/store/records.h"

namespace tovra::measure {

// The summary of one finished run: how it ended, what it asked, what ranked where, what failed.
struct RunReport {
  enum class Ending { finished, halted, stopped };

  struct Failure {
    std::int64_t id = 0;  // the query's place in the run
    std::string app;
    RequestTarget target;
    std::string message;
    bool operator==(const Failure&) const = default;
  };
  struct RankedLine {
    std::int64_t id = 0;
    std::string label;
    std::int64_t rank = 0;
    std::string source;
    bool operator==(const RankedLine&) const = default;
  };
  struct OutsideLine {
    std::int64_t id = 0;
    std::string label;
    std::int64_t depth = 0;  // how many results the store returned
    std::string source;
    bool operator==(const OutsideLine&) const = default;
  };

  Ending ending = Ending::finished;
  asokit::WallTime startedAt;
  asokit::WallTime finishedAt;
  std::int64_t requestCount = 0;
  std::int64_t queryCount = 0;
  std::int64_t measured = 0;
  std::int64_t failed = 0;
  std::int64_t skipped = 0;
  std::vector<Failure> failures;  // one per failed query
  // The store's words when the run's finishing step could not be saved; the readings are then lost.
  std::optional<std::string> saveFailure;
  std::vector<std::string> measuredZero;
  std::string source = "appstore";
  std::vector<RankedLine> ranked;
  bool isFirstMeasurement = false;
  std::vector<OutsideLine> outside;
  bool hadNoEarlierObservations = false;
  // The store refused a request (HTTP 403 after the retries): every process holds for 900 s, halted or not.
  bool refused = false;
  // What stopped a halted run when it was not a refusal ("HTTP 500", "Could not connect to …"); none
  // when refusals caused the halt, or the run did not halt.
  std::optional<std::string> haltCause;

  bool operator==(const RunReport&) const = default;
};

std::string_view endingName(RunReport::Ending ending);

// The failures as a list of them shows them: one per failed query, then the save, when it failed, as a
// row of its own (id -1, app "local store", country "—", keyword "save").
std::vector<RunReport::Failure> failureRows(const RunReport& report);
// "3 measured · 1 failed · 0 skipped · 4 requests"
std::string countsLine(const RunReport& report);
// "Tovra could not save this run: " and the store's words.
std::string saveFailedText(const RunReport& report);

// Whether to offer a run, and when the last one finished.
struct MeasureOffer {
  enum class Kind { due, never, none };
  Kind kind = Kind::none;
  std::optional<asokit::WallTime> lastFinishedAt;  // set for `due` only

  static MeasureOffer due(asokit::WallTime lastFinishedAt) { return {Kind::due, lastFinishedAt}; }
  static MeasureOffer never() { return {Kind::never, std::nullopt}; }
  static MeasureOffer none() { return {Kind::none, std::nullopt}; }
  bool operator==(const MeasureOffer&) const = default;
};

// No offer while nothing can be measured or a run cannot start (live, cooling down); `never` before
// the first finished run; otherwise `due` with the last run's end.
MeasureOffer measureOffer(bool hasMeasurableKeywords, bool canStart, std::optional<asokit::WallTime> lastFinishedAt);

// The app's name in the query's storefront when it was read, else its display name with " — name in
// XX not read yet"; "unknown app" without an app.
std::string appLabel(const store::TrackedQuery& query, const std::optional<store::TrackedApp>& app,
                     const std::vector<store::AppLocalization>& localizations);
// "<app label> · <keyword> · <COUNTRY>"
std::string lineLabel(const std::string& appLabel, const store::TrackedQuery& query);

// What the report is built from, besides the batch: the run's entries with their app labels, and what
// the finishing step knows of the store.
struct ReportInput {
  const std::vector<RunEntry>* entries = nullptr;
  const std::vector<std::string>* appLabels = nullptr;  // one per entry
  const asokit::BatchOutcome* outcome = nullptr;
  asokit::WallTime startedAt;
  asokit::WallTime finishedAt;
  // Whether the store held any reading before the run; unknown counts as holding some.
  std::optional<bool> hadEarlierReadings;
  std::optional<std::string> saveFailure;  // the store's error text when the save failed
};

RunReport buildReport(const ReportInput& input);

}  // namespace tovra::measure
