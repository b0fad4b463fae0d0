#include "app/measure/measure_texts.h"

#include <fmt/format.h>

#include <algorithm>

#include "app/base/keyword_key.h"

namespace tovra::measure::texts {

std::string cooldownLong(std::int64_t seconds, const std::optional<std::string>& haltCause) {
  if (haltCause) {
    return "The App Store did not answer (" + *haltCause + ") and the guard stopped the last run. Tovra waits " +
           countdown(seconds) + " before asking again.";
  }
  return "Apple returned HTTP 403 and the guard stopped the last run. The block is per-IP; Tovra waits " +
         countdown(seconds) + " before asking again.";
}

std::string planSummary(std::int64_t keywords, std::int64_t requests) {
  return fmt::format("{} — {}", planCounts(keywords, requests), kAskedOnce);
}

std::string planCounts(std::int64_t keywords, std::int64_t requests) {
  return fmt::format("{} tracked keywords · {} requests to Apple", keywords, requests);
}

std::string keywordCount(std::int64_t keywords) {
  return fmt::format("{}{}{}", keywordTally(keywords), kJoin, kAskedOnce);
}

std::string keywordTally(std::int64_t keywords) {
  return fmt::format("{} keyword{}", keywords, keywords == 1 ? "" : "s");
}

std::string pacingNote(std::int64_t requests) {
  // The first request goes at once and each further one 1.2 s after the one before: (n − 1) × 1.2 s,
  // rounded up to whole seconds in integers.
  const auto gaps = std::max<std::int64_t>(requests - 1, 0);
  const auto seconds = (gaps * 12 + 9) / 10;
  return fmt::format("requests go 1.2 s apart · at least {}{}", seconds, kPacingEnding);
}

std::string progressLine(const CompletedRequest& request, std::int64_t requests) {
  auto country = request.target.country;
  std::transform(country.begin(), country.end(), country.begin(),
                 [](unsigned char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  return fmt::format("request {} of {}{}{}{}{}{}{}", request.index, requests, kJoin, request.target.keyword, kJoin,
                     country, kJoin, request.succeeded ? "ok" : "failed");
}

std::string_view keywordState(bool isPaused, bool hasReading) {
  if (isPaused) {
    return "paused";
  }
  return hasReading ? "measured" : "not measured yet";
}

std::string liveLine(const LiveRun& live) {
  const auto total = static_cast<std::int64_t>(live.plan.size());
  auto line = fmt::format("request {} of {}", live.completedRequests, total);
  if (live.completedRequests >= 0 && live.completedRequests < total) {
    const auto& next = live.plan[static_cast<std::size_t>(live.completedRequests)];
    line += std::string(kJoin) + next.keyword + std::string(kJoin) + base::upperCountry(next.country);
  }
  if (live.stopRequested) {
    line += "\n" + std::string(kStopping);
  }
  return line;
}

std::string sourceLine(std::string_view source) {
  return std::string(kSourcePrefix) + std::string(source);
}

namespace {

// Whole calendar days from `from` to `to`, as a calendar counts them: the local dates apart, one less when
// the clock reads earlier at `to` than it did at `from`. Elapsed time would be an hour off on the days
// the clocks move.
std::int64_t wholeDays(asokit::WallTime from, asokit::WallTime to, const asokit::Calendar& calendar) {
  const auto last = calendar.startOfDay(to);
  // The days' starts lie whole days apart, give or take the clock changes between them.
  auto dates = static_cast<int>(std::chrono::round<std::chrono::days>(last - calendar.startOfDay(from)).count());
  while (calendar.addDays(from, dates) > last) {
    --dates;
  }
  while (calendar.addDays(from, dates) < last) {
    ++dates;
  }
  return dates - (calendar.clockTime(to) < calendar.clockTime(from) ? 1 : 0);
}

}  // namespace

std::string lastMeasured(asokit::WallTime lastFinishedAt, asokit::WallTime now, const asokit::Calendar& calendar) {
  const auto hours = std::chrono::duration_cast<std::chrono::seconds>(now - lastFinishedAt).count() / 3600;
  if (hours > 47) {
    auto days = wholeDays(lastFinishedAt, now, calendar);
    if (days < 1) {
      days = 2;
    }
    return fmt::format("Last measured {} days ago.", days);
  }
  const auto shown = std::max<std::int64_t>(hours, 1);
  return fmt::format("Last measured {} hour{} ago.", shown, hours < 2 ? "" : "s");
}

}  // namespace tovra::measure::texts
