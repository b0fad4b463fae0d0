// The finishing step of a run of 10,000 queries (one transaction: the run, 10,000 outcomes and readings,
// then the report), on a store file with one earlier day of readings and on one with 400 days of them and
// of the runs' outcomes, as a year of daily runs leaves it.
// Goal: under 150 ms, and with 400 days of history no slower than 1.5 × that.
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "app/base/zoned_calendar.h"
#include "app/measure/measurement_runner.h"
#include "app/measure/run_finish.h"
#include "app/store/store.h"
#include "bench/timing.h"
#include "tools/storegen/storegen.h"

namespace {

using namespace std::chrono;
namespace fs = std::filesystem;
using tovra::measure::RunEntry;

constexpr int kRounds = 7;

struct Fixture {
  fs::path folder;
  std::unique_ptr<tovra::store::Store> store;
  std::vector<RunEntry> entries;
  asokit::BatchOutcome outcome;
};

// 100 apps × 100 keywords whose readings end `gap` days before the first run day measured here.
Fixture makeStore(const fs::path& folder, std::int64_t days, asokit::WallTime firstRunDay,
                  const tovra::base::ZonedCalendar& calendar) {
  fs::remove_all(folder);
  fs::create_directories(folder);
  Fixture fixture{folder, tovra::store::Store::open(folder / "default.store"), {}, {}};
  tovra::storegen::GeneratorOptions options;
  options.apps = 100;
  options.keywordsPerApp = 100;
  options.days = days;
  options.lastDay = calendar.addDays(firstRunDay, -1);
  options.outcomeDays = 0;  // every earlier run's outcomes
  options.laddersPerKeyword = 0;
  options.researchSpaces = 0;
  const auto counts = tovra::storegen::generateStore(*fixture.store, options);
  std::printf("  generated %lld keywords, %lld readings, %lld outcomes\n", static_cast<long long>(counts.queries),
              static_cast<long long>(counts.observations), static_cast<long long>(counts.outcomes));

  // Every keyword of an app, paused or not, so the run covers all 10,000.
  fixture.entries = tovra::measure::runEntries(*fixture.store, fixture.store->queries().all());
  for (std::size_t i = 0; i < fixture.entries.size(); ++i) {
    asokit::RankObservation observation;
    observation.query = fixture.entries[i].rankQuery();
    if (i % 8 != 0) {
      observation.rank = static_cast<std::int64_t>(i % 200) + 1;
    }
    observation.resultCount = 200;
    fixture.outcome.results.push_back({observation.query, {asokit::RankStatus::Measured{observation}}});
  }
  fixture.outcome.requestCount = static_cast<std::int64_t>(fixture.entries.size());
  return fixture;
}

// Each round finishes a run on a day of its own, so every round inserts its readings afresh.
double finishSeconds(Fixture& fixture, asokit::WallTime firstRunDay, const tovra::base::ZonedCalendar& calendar,
                     int& round) {
  return tovra::bench::medianSeconds(kRounds, [&] {
    const auto finishedAt = calendar.addDays(firstRunDay, round++) + hours{9};
    const auto report = tovra::measure::finishRun(*fixture.store, calendar, fixture.entries, fixture.outcome,
                                                  finishedAt - minutes{5}, finishedAt);
    if (!report.failures.empty()) {
      std::fprintf(stderr, "save failed: %s\n", report.failures.back().message.c_str());
      std::exit(1);
    }
    tovra::bench::keep(report);
  });
}

}  // namespace

int main() {
  const tovra::base::ZonedCalendar calendar("Europe/Berlin");
  const auto firstRunDay = calendar.startOfDay(asokit::WallTime{seconds{1'736'848'800}});
  char pattern[] = "/tmp/tovra-bench-finish-XXXXXX";
  const fs::path root = ::mkdtemp(pattern);

  std::printf("store with 1 earlier day of readings:\n");
  auto shallow = makeStore(root / "shallow", 1, firstRunDay, calendar);
  std::printf("  %zu queries\n", shallow.entries.size());
  int shallowRound = 0;
  const auto base = finishSeconds(shallow, firstRunDay, calendar, shallowRound);
  shallow.store.reset();

  std::printf("store with 400 earlier days of readings and outcomes:\n");
  auto deep = makeStore(root / "deep", 400, firstRunDay, calendar);
  int deepRound = 0;
  const auto deepTime = finishSeconds(deep, firstRunDay, calendar, deepRound);

  // A second run on a day already measured updates each reading in place.
  const auto again = tovra::bench::medianSeconds(kRounds, [&] {
    const auto finishedAt = firstRunDay + hours{18};
    tovra::bench::keep(
        tovra::measure::finishRun(*deep.store, calendar, deep.entries, deep.outcome, finishedAt, finishedAt));
  });
  deep.store.reset();
  fs::remove_all(root);

  std::printf("finishing step, %zu queries, 1 earlier day:     %7.1f ms (goal < 150 ms)\n", deep.entries.size(),
              base * 1e3);
  std::printf("finishing step, %zu queries, 400 earlier days:  %7.1f ms, ratio %.2f (goal <= 1.5)\n",
              deep.entries.size(), deepTime * 1e3, deepTime / base);
  std::printf("second run of a day (updates in place), 400 days: %7.1f ms, ratio %.2f\n", again * 1e3, again / base);
  return 0;
}
