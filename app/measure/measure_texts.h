#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "AsoKit/calendar.h"
#include "AsoKit/clock.h"
#include "app/measure/run_plan.h"
#include "app/research/request_gate.h"

// The words of a measurement run, decided once here so that every front end says the same thing.
namespace tovra::measure::texts {

inline constexpr std::string_view kJoin = " · ";
// The run sheet's own controls, named the same way for the eye and for a screen reader.
inline constexpr std::string_view kSheetTitle = "Measure now";
inline constexpr std::string_view kSheetProgress = "Run progress";
inline constexpr std::string_view kSheetStop = "Stop";
inline constexpr std::string_view kSheetClose = "Close";
inline constexpr std::string_view kSheetStatus = "Run status";
inline constexpr std::string_view kSheetReport = "Run report";
inline constexpr std::string_view kAskedOnce = "a keyword watched by several apps is asked once";
inline constexpr std::string_view kAskedSoFar = "ASKED SO FAR";
inline constexpr std::string_view kRanksLand = "ranks land when the run ends";
inline constexpr std::string_view kStopping = "stopping after the current keyword · everything measured so far is kept";
inline constexpr std::string_view kUserSkipped = "you stopped the run before this query";
inline constexpr std::string_view kGuardSkipped = "the failure guard stopped the run before this query";
inline constexpr std::string_view kSourcePrefix = "source of these numbers: ";
inline constexpr std::string_view kOfferExplanation =
    "One request answers every app on the same keyword and country, so a run can be fewer requests than keywords.";
inline constexpr std::string_view kResearchSpaceNotMeasured =
    "no app is tracked · a research space never enters a measurement run";
inline constexpr std::string_view kPacingEnding = " s · a 403 back-off can make it longer";
inline constexpr std::string_view kRunningElsewhere = "A measurement is already running in another Tovra process.";
inline constexpr std::string_view kNothingToMeasure =
    "Nothing to measure: no tracked app has a keyword that is not paused.";
inline constexpr std::string_view kFirstRanks = "The first ranks of this store.";

// Research shows the same hold and the same miss, so their words live below both.
using research::cooldownShort;
using research::countdown;
using research::notFound;

// "Apple returned HTTP 403 and the guard stopped the last run. The block is per-IP; Tovra waits 1:15
// before asking again." Only refusals earn that sentence: a halt on other failures names the last of them,
// "The App Store did not answer (HTTP 500) and the guard stopped the last run. Tovra waits 1:15 before
// asking again."
std::string cooldownLong(std::int64_t seconds, const std::optional<std::string>& haltCause = std::nullopt);

// "12 tracked keywords · 9 requests to Apple — a keyword watched by several apps is asked once"
std::string planSummary(std::int64_t keywords, std::int64_t requests);
// "12 tracked keywords · 9 requests to Apple": the plan summary's counts without its explanation, for a
// front end that has just given the explanation once in full.
std::string planCounts(std::int64_t keywords, std::int64_t requests);
// "3 keywords · a keyword watched by several apps is asked once"; "1 keyword · …"
std::string keywordCount(std::int64_t keywords);
// "3 keywords"; "1 keyword"
std::string keywordTally(std::int64_t keywords);
// How long a run of `requests` takes at least: "9 requests go 1.2 s apart · about 10 s · a 403
// back-off can make it longer".
std::string pacingNote(std::int64_t requests);
// "request 3 of 9 · photo editor · US · ok", or "failed" for a request that did not get an answer.
std::string progressLine(const CompletedRequest& request, std::int64_t requests);
// A tracked keyword's state as a list shows it: "paused"; "measured" once a run has read it; before that,
// "not measured yet".
std::string_view keywordState(bool isPaused, bool hasReading);
// Where a live run stands: "request 3 of 9 · photo editor · US", the search it asks now named after the
// count; the count alone once every search is answered. Stopping adds a second line with kStopping.
std::string liveLine(const LiveRun& live);
// "source of these numbers: appstore"
std::string sourceLine(std::string_view source);
// "Last measured 3 hours ago." From the last run's end to `now`: hours floored; above 47 hours, the
// calendar's whole days.
std::string lastMeasured(asokit::WallTime lastFinishedAt, asokit::WallTime now, const asokit::Calendar& calendar);

}  // namespace tovra::measure::texts
