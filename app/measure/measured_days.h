#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "app/measure/run_report.h"
#include "app/store/archive_reads.h"

namespace tovra::store {
class Store;
}

namespace tovra::measure {

namespace archiveText {
inline constexpr std::string_view kHeading = "Archive";
inline constexpr std::array<std::string_view, 4> kDayColumns{"Started", "Requests", "Keywords", "Ending"};
inline constexpr std::array<std::string_view, 4> kReadingColumns{"Day", "Rank", "Results", "Source"};
inline constexpr std::string_view kMeasuredDays = "Measured days";
inline constexpr std::string_view kNoRunsYet = "No run yet: Measure now keeps the first day of ranks.";
inline constexpr std::string_view kStillRunning = "still running";
inline constexpr std::string_view kKeywords = "Keywords";
inline constexpr std::string_view kReadings = "Readings";
inline constexpr std::string_view kReleases = "Releases";
inline constexpr std::string_view kNoReleases =
    "No release seen yet: versions are kept when a search or lookup shows this app.";
}  // namespace archiveText

// One run as the archive lists it.
struct MeasuredDay {
  store::RunTally tally;
  RunReport::Ending ending = RunReport::Ending::finished;
};

// Every run, started last first. Throws StoreError.
std::vector<MeasuredDay> measuredDays(store::Store& store);

// "12 requests", "1 request"
std::string requestsText(std::int64_t requests);
// "9 ranked · 2 outside · 1 failed", with "· 3 skipped" only when the run skipped keywords
std::string tallyText(const store::RunTally& tally);
// "14 runs · 3 halted", "1 run", or the no-run text
std::string archiveSummary(const std::vector<MeasuredDay>& days);

}  // namespace tovra::measure
