#pragma once

#include <cstdint>
#include <string>

#include "AsoKit/clock.h"
#include "app/store/store.h"

// Builds a realistic store for tests and benchmarks: tracked apps with their names by country, keywords
// in several countries (some in research spaces), one run per day with a reading per keyword (some
// outside the results, some days missing with a failed or skipped outcome), review marks, saved searches
// and hint probes, and the apps' releases. The same options and seed always give the same records.
namespace tovra::storegen {

struct GeneratorOptions {
  std::int64_t apps = 10;
  std::int64_t keywordsPerApp = 20;
  std::int64_t days = 90;
  std::uint64_t seed = 1;
  // Readings end on the local day holding this instant; days are counted in this zone's calendar.
  asokit::WallTime lastDay = asokit::WallTime{std::chrono::seconds{1'736'848'800}};  // 2025-01-14 10:00 UTC
  std::string zone = "Europe/Berlin";
  // Of all keyword-days, how many have no reading (a failed request or a run that ended early).
  double missingShare = 0.05;
  // Of the readings, how many have no rank (the app was outside the returned results).
  double unrankedShare = 0.12;
  // Outcomes are written for the runs of this many most recent days (all days when 0 or above `days`).
  std::int64_t outcomeDays = 0;
  std::int64_t laddersPerKeyword = 3;
  std::int64_t researchSpaces = 2;
};

struct GeneratedCounts {
  std::int64_t apps = 0;
  std::int64_t localizations = 0;
  std::int64_t spaces = 0;
  std::int64_t queries = 0;
  std::int64_t observations = 0;
  std::int64_t runs = 0;
  std::int64_t outcomes = 0;
  std::int64_t reviewMarks = 0;
  std::int64_t ladders = 0;
  std::int64_t ladderEntries = 0;
  std::int64_t probes = 0;
  std::int64_t hints = 0;
  std::int64_t releases = 0;
};

// Writes everything in one transaction. Throws StoreError when the store refuses a write.
GeneratedCounts generateStore(store::Store& store, const GeneratorOptions& options);

}  // namespace tovra::storegen
