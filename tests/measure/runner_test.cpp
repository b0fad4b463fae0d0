#include <SQLiteCpp/Database.h>
#include <gtest/gtest.h>

#include "app/measure/measure_texts.h"
#include "app/store/dates.h"
#include "app/store/store.h"
#include "measure/runner_fixture.h"
#include "store/temp_dir.h"

namespace tovra::measure {
namespace {

using namespace std::chrono_literals;
using testing::localTime;
using testing::Rig;
using Start = MeasurementRunner::StartResult;
using store::RunOutcomeStatus;

std::vector<store::RunOutcome> outcomesOf(store::Store& store) {
  return store.outcomes().all();
}

TEST(MeasurementRunner, KeywordsWatchedBySeveralAppsShareOneRequest) {
  Rig rig;
  const auto a = rig.seed.app("100");
  const auto b = rig.seed.app("200");
  const auto c = rig.seed.app("300");
  const auto d = rig.seed.app("400");
  rig.seed.keyword(a, "photo editor", "us");
  rig.seed.keyword(b, "photo editor", "us");
  rig.seed.keyword(c, "photo editor", "us");
  rig.seed.keyword(d, "photo editor", "gb");
  rig.transport.answer("photo editor", {"200", "900", "100", "400"});

  ASSERT_EQ(rig.runner->start(rig.store->queries().measurable()), Start::started);
  ASSERT_TRUE(rig.runner->live());
  EXPECT_EQ(rig.runner->live()->plan, (std::vector<RequestTarget>{{"us", "photo editor"}, {"gb", "photo editor"}}));
  EXPECT_EQ(rig.runner->live()->queryCount, 4);
  rig.queue.runUntil([&] { return !rig.runner->isLive(); });

  EXPECT_EQ(rig.transport.requests().size(), 2u);
  const auto runs = rig.store->runs().all();
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].requestCount, 2);
  EXPECT_EQ(runs[0].queryCount, 4);
  std::vector<std::optional<std::int64_t>> ranks;
  for (const auto& query : rig.store->queries().measurable()) {
    const auto readings = rig.store->observations().ofQuery(query.rowId);
    ASSERT_EQ(readings.size(), 1u);
    ranks.push_back(readings[0].rank);
  }
  EXPECT_EQ(ranks, (std::vector<std::optional<std::int64_t>>{3, 1, std::nullopt, 4}));
  EXPECT_EQ(rig.progress,
            (std::vector<CompletedRequest>{{1, {"us", "photo editor"}, true}, {2, {"gb", "photo editor"}, true}}));
  ASSERT_EQ(rig.reports.size(), 1u);
  EXPECT_EQ(rig.reports[0].measured, 4);
  EXPECT_EQ(rig.reports[0].ranked.size(), 3u);
  EXPECT_EQ(rig.reports[0].outside.size(), 1u);
  EXPECT_EQ(rig.reportedQueries.size(), 4u);
}

TEST(MeasurementRunner, ResearchSpaceKeywordsNeverEnterARun) {
  Rig rig;
  const auto parked = rig.seed.parked("travel journal", "us");
  EXPECT_EQ(rig.runner->start({parked}), Start::nothingToMeasure);
  EXPECT_FALSE(rig.runner->live());
  EXPECT_EQ(rig.store->runs().count(), 0);

  const auto app = rig.seed.app("100");
  const auto tracked = rig.seed.keyword(app, "travel journal", "us");
  rig.transport.answer("travel journal", {"100"});
  EXPECT_EQ(rig.measure({parked, tracked}), Start::started);
  EXPECT_EQ(rig.store->runs().all().at(0).queryCount, 1);
  EXPECT_TRUE(rig.store->observations().ofQuery(parked.rowId).empty());
  EXPECT_EQ(rig.transport.requests().size(), 1u);
}

TEST(MeasurementRunner, AStartWhileLiveChangesNothing) {
  Rig rig;
  const auto app = rig.seed.app("100");
  rig.seed.keyword(app, "habit tracker", "us");
  rig.seed.keyword(app, "sleep sounds", "us");
  ASSERT_EQ(rig.runner->start(rig.store->queries().measurable()), Start::started);
  const auto live = *rig.runner->live();
  EXPECT_EQ(rig.runner->start({rig.store->queries().measurable().front()}), Start::alreadyLive);
  EXPECT_EQ(*rig.runner->live(), live);
  rig.queue.runUntil([&] { return !rig.runner->isLive(); });
  EXPECT_EQ(rig.store->runs().count(), 1);
  EXPECT_EQ(rig.transport.requests().size(), 2u);
}

TEST(MeasurementRunner, AUserStopAfterTwoOfFiveRequestsKeepsWhatWasMeasured) {
  Rig rig;
  const auto app = rig.seed.app("100");
  for (const auto* keyword : {"one", "two", "three", "four", "five"}) {
    rig.seed.keyword(app, keyword, "us");
    rig.transport.answer(keyword, {"100"});
  }
  testing::Gate atSecond;
  rig.transport.beforeAnswer = [&](int request) {
    if (request == 2) {
      atSecond.arriveAndWait();
    }
  };
  ASSERT_EQ(rig.runner->start(rig.store->queries().measurable()), Start::started);
  atSecond.waitForArrival();
  rig.runner->stop();
  EXPECT_TRUE(rig.runner->live()->stopRequested);
  atSecond.open();
  rig.queue.runUntil([&] { return !rig.runner->isLive(); });

  const auto runs = rig.store->runs().all();
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_TRUE(runs[0].stopped);
  EXPECT_FALSE(runs[0].halted);
  EXPECT_EQ(runs[0].requestCount, 2);
  EXPECT_EQ(rig.store->observations().count(), 2);
  const auto outcomes = outcomesOf(*rig.store);
  ASSERT_EQ(outcomes.size(), 5u);
  for (std::size_t i = 2; i < 5; ++i) {
    EXPECT_EQ(outcomes[i].status(), RunOutcomeStatus::skipped);
    EXPECT_EQ(outcomes[i].message, "you stopped the run before this query");
  }
  EXPECT_EQ(rig.reports.at(0).ending, RunReport::Ending::stopped);
  EXPECT_EQ(rig.reports.at(0).skipped, 3);
  EXPECT_EQ(rig.runner->cooldownSecondsLeft(), std::nullopt);  // a stop is no refusal
}

TEST(MeasurementRunner, AStormOfRefusalsHaltsAfterThreeRequestsAndHoldsFor900Seconds) {
  Rig rig;
  const auto app = rig.seed.app("100");
  for (const auto* keyword : {"one", "two", "three", "four", "five"}) {
    rig.seed.keyword(app, keyword, "us");
  }
  rig.transport.failEverythingWith(403);
  ASSERT_EQ(rig.measure(), Start::started);

  EXPECT_EQ(rig.transport.requests().size(), 9u);  // three requests, each tried three times
  const auto run = rig.store->runs().all().at(0);
  EXPECT_TRUE(run.halted);
  EXPECT_EQ(run.requestCount, 3);
  const auto outcomes = outcomesOf(*rig.store);
  ASSERT_EQ(outcomes.size(), 5u);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(outcomes[i].status(), RunOutcomeStatus::failed);
    EXPECT_NE(outcomes[i].message->find("HTTP 403"), std::string::npos);
  }
  for (std::size_t i = 3; i < 5; ++i) {
    EXPECT_EQ(outcomes[i].status(), RunOutcomeStatus::skipped);
    EXPECT_EQ(outcomes[i].message, "the failure guard stopped the run before this query");
  }
  const auto& report = rig.reports.at(0);
  EXPECT_EQ(report.ending, RunReport::Ending::halted);
  EXPECT_EQ(report.failures.size(), 3u);

  ASSERT_EQ(rig.runner->cooldownSecondsLeft(), 900);
  EXPECT_EQ(texts::cooldownShort(*rig.runner->cooldownSecondsLeft()), "Apple paused requests · retry in 15:00");
  EXPECT_EQ(rig.client.cooldownSecondsLeft(), 900);  // every sheet asking the store is held too

  EXPECT_EQ(rig.measure(), Start::coolingDown);
  EXPECT_EQ(rig.transport.requests().size(), 9u);
  EXPECT_EQ(rig.store->runs().count(), 1);
}

// The hold is the same whatever halted the run, but its long form names what really failed: the store's
// refusal only when the failures were 403s.
struct HaltCase {
  std::string name;
  std::int64_t status;    // every request answers this, or
  std::string belowHttp;  // every request fails with these words before any status
  std::optional<std::string> cause;
  std::string longForm;
};

class RunnerHalt : public ::testing::TestWithParam<HaltCase> {};

TEST_P(RunnerHalt, NamesTheLastFailure) {
  const auto& c = GetParam();
  Rig rig;
  const auto app = rig.seed.app("100");
  for (const auto* keyword : {"one", "two", "three", "four"}) {
    rig.seed.keyword(app, keyword, "us");
  }
  if (c.belowHttp.empty()) {
    rig.transport.failEverythingWith(c.status);
  } else {
    rig.transport.failEverythingBelowHttp(c.belowHttp);
  }
  ASSERT_EQ(rig.measure(), Start::started);
  const auto& report = rig.reports.at(0);
  EXPECT_EQ(report.ending, RunReport::Ending::halted);
  EXPECT_EQ(report.haltCause, c.cause);
  EXPECT_EQ(report.refused, !c.cause.has_value());
  ASSERT_EQ(rig.runner->cooldownSecondsLeft(), 900);
  EXPECT_EQ(texts::cooldownLong(900, report.haltCause), c.longForm);
}

INSTANTIATE_TEST_SUITE_P(
    Failures, RunnerHalt,
    ::testing::Values(
        HaltCase{"Refusals", 403, "", std::nullopt,
                 "Apple returned HTTP 403 and the guard stopped the last run. The block is per-IP; Tovra waits 15:00 "
                 "before asking again."},
        HaltCase{"ServerErrors", 500, "", "HTTP 500",
                 "The App Store did not answer (HTTP 500) and the guard stopped the last run. Tovra waits 15:00 before "
                 "asking again."},
        HaltCase{"NotFound", 404, "", "HTTP 404",
                 "The App Store did not answer (HTTP 404) and the guard stopped the last run. Tovra waits 15:00 before "
                 "asking again."},
        HaltCase{"ConnectionRefused", 0, "Could not connect to 127.0.0.1:443: Connection refused",
                 "Could not connect to 127.0.0.1:443: Connection refused",
                 "The App Store did not answer (Could not connect to 127.0.0.1:443: Connection refused) and the guard "
                 "stopped the last run. Tovra waits 15:00 before asking again."}),
    [](const auto& info) { return info.param.name; });

// The store's block is per address: one refused request holds every later one, though three in a row are
// needed to halt the run.
TEST(MeasurementRunner, ASingleRefusalHoldsWithoutAHalt) {
  Rig rig;
  const auto app = rig.seed.app("100");
  rig.seed.keyword(app, "one", "us");
  rig.transport.failEverythingWith(403);
  ASSERT_EQ(rig.measure(), Start::started);
  const auto& report = rig.reports.at(0);
  EXPECT_EQ(report.ending, RunReport::Ending::finished);
  EXPECT_TRUE(report.refused);
  EXPECT_EQ(rig.runner->cooldownSecondsLeft(), 900);
  EXPECT_EQ(rig.client.cooldownSecondsLeft(), 900);
}

TEST(MeasurementRunner, AFailureThatIsNoRefusalStartsNoHold) {
  Rig rig;
  const auto app = rig.seed.app("100");
  rig.seed.keyword(app, "one", "us");
  rig.transport.failEverythingWith(500);
  ASSERT_EQ(rig.measure(), Start::started);
  EXPECT_FALSE(rig.reports.at(0).refused);
  EXPECT_EQ(rig.runner->cooldownSecondsLeft(), std::nullopt);
}

TEST(MeasurementRunner, TheCountdownTicksDownAndEnds) {
  Rig rig;
  const auto app = rig.seed.app("100");
  rig.seed.keyword(app, "one", "us");
  rig.transport.failEverythingWith(403);
  // A single request halts only with three in a row, so the hold is started as a halted run does.
  rig.client.hold(rig.clock.wallNow() + 900s);
  rig.runner->refreshCooldown();
  ASSERT_EQ(rig.runner->cooldownSecondsLeft(), 900);

  struct Step {
    std::chrono::milliseconds advance;
    std::optional<std::int64_t> left;
    std::string shown;
  };
  for (const auto& step : std::vector<Step>{{825s, 75, "1:15"},
                                            {69500ms, 6, "0:06"},
                                            {500ms, 5, "0:05"},
                                            {4999ms, 1, "0:01"},
                                            {1ms, std::nullopt, ""}}) {
    rig.clock.advance(step.advance);
    rig.runner->refreshCooldown();
    EXPECT_EQ(rig.runner->cooldownSecondsLeft(), step.left);
    if (step.left) {
      EXPECT_EQ(texts::countdown(*step.left), step.shown);
    }
  }
  rig.transport.failEverythingWith(0);
  rig.transport.answer("one", {"100"});
  EXPECT_EQ(rig.measure(), Start::started);
}

struct MidnightCase {
  std::string name;
  std::string zone;
  asokit::WallTime startedAt;
  asokit::WallTime expectedDay;
  friend void PrintTo(const MidnightCase& c, std::ostream* out) { *out << c.name; }
};

class RunDay : public ::testing::TestWithParam<MidnightCase> {};

// The batch's answer takes seven seconds, so the run starts on one day and finishes on the next.
TEST_P(RunDay, ARunFinishingJustAfterMidnightWritesTheNewDay) {
  const auto& c = GetParam();
  Rig rig(c.startedAt, c.zone);
  const auto app = rig.seed.app("100");
  rig.seed.keyword(app, "photo editor", "us");
  rig.transport.answer("photo editor", {"100"});
  rig.transport.beforeAnswer = [&](int) { rig.clock.advance(7s); };
  ASSERT_EQ(rig.measure(), Start::started);

  const auto reading = rig.store->observations().all().at(0);
  EXPECT_EQ(store::isoUtc(reading.day), store::isoUtc(c.expectedDay));
  EXPECT_EQ(reading.measuredAt, c.startedAt + 7s);
  EXPECT_EQ(rig.store->runs().all().at(0).finishedAt, c.startedAt + 7s);
}

INSTANTIATE_TEST_SUITE_P(
    Zones, RunDay,
    ::testing::Values(
        MidnightCase{"Berlin", "Europe/Berlin", localTime("Europe/Berlin", 2025, 1, 14, 23, 59, 58),
                     localTime("Europe/Berlin", 2025, 1, 15)},
        // The 23-hour day on which Berlin moves to summer time.
        MidnightCase{"BerlinSpringForward", "Europe/Berlin", localTime("Europe/Berlin", 2024, 3, 30, 23, 59, 58),
                     localTime("Europe/Berlin", 2024, 3, 31)},
        // Midnight does not exist: the clocks jump from 00:00 to 01:00, where the day begins.
        MidnightCase{"SantiagoNoMidnight", "America/Santiago", localTime("America/Santiago", 2023, 9, 2, 23, 59, 58),
                     localTime("America/Santiago", 2023, 9, 3, 1, 0, 0)},
        MidnightCase{"SaoPauloNoMidnight", "America/Sao_Paulo", localTime("America/Sao_Paulo", 2018, 11, 3, 23, 59, 58),
                     localTime("America/Sao_Paulo", 2018, 11, 4, 1, 0, 0)}),
    [](const auto& info) { return info.param.name; });

TEST(MeasurementRunner, TwoRunsOnOneDayLeaveOneReadingHoldingTheSecond) {
  Rig rig;
  const auto app = rig.seed.app("100");
  const auto query = rig.seed.keyword(app, "photo editor", "us");
  rig.transport.answer("photo editor", {"900", "901", "902", "903", "100"});
  ASSERT_EQ(rig.measure(), Start::started);
  const auto firstOutcome = outcomesOf(*rig.store).at(0);

  rig.clock.advance(9h);  // 18:30 the same day
  rig.transport.answer("photo editor", {"900", "901", "100"});
  ASSERT_EQ(rig.measure(), Start::started);

  const auto readings = rig.store->observations().ofQuery(query.rowId);
  ASSERT_EQ(readings.size(), 1u);
  EXPECT_EQ(readings[0].rank, 3);
  EXPECT_EQ(readings[0].resultCount, 3);
  EXPECT_EQ(readings[0].measuredAt, rig.clock.wallNow());
  const auto outcomes = outcomesOf(*rig.store);
  ASSERT_EQ(outcomes.size(), 2u);
  EXPECT_EQ(outcomes[0].rowId, firstOutcome.rowId);
  EXPECT_EQ(outcomes[0].observation, readings[0].rowId);  // the first run's outcome still links it
  EXPECT_EQ(outcomes[1].observation, readings[0].rowId);
}

TEST(MeasurementRunner, AFailedSaveKeepsTheStoreAsItWasAndSaysSo) {
  Rig rig;
  const auto app = rig.seed.app("100");
  const auto first = rig.seed.keyword(app, "one", "us");
  rig.seed.keyword(app, "two", "us");
  rig.seed.readings(first, {7}, rig.clock.wallNow());  // today's earlier reading
  rig.transport.answer("one", {"100"});
  rig.transport.answer("two", {"100"});
  // The second outcome cannot be written, after the run, a reading and an outcome already were.
  rig.store->database().exec(
      "CREATE TEMP TRIGGER refuse BEFORE INSERT ON RunOutcome "
      "WHEN (SELECT count(*) FROM RunOutcome) >= 1 BEGIN SELECT RAISE(ABORT, 'database or disk is full'); END");
  ASSERT_EQ(rig.measure(), Start::started);

  EXPECT_EQ(rig.store->runs().count(), 0);
  EXPECT_EQ(rig.store->outcomes().count(), 0);
  const auto readings = rig.store->observations().all();
  ASSERT_EQ(readings.size(), 1u);
  EXPECT_EQ(readings[0].rank, 7);
  const auto& report = rig.reports.at(0);
  EXPECT_EQ(report.measured, 2);
  EXPECT_TRUE(report.failures.empty());
  ASSERT_TRUE(report.saveFailure);
  EXPECT_NE(report.saveFailure->find("full"), std::string::npos);
}

TEST(MeasurementRunner, AKeywordDeletedDuringTheRunDoesNotSinkTheSave) {
  Rig rig;
  const auto app = rig.seed.app("100");
  const auto doomed = rig.seed.keyword(app, "one", "us");
  const auto kept = rig.seed.keyword(app, "two", "us");
  rig.transport.answer("one", {"100"});
  rig.transport.answer("two", {"100"});
  testing::Gate atFirst;
  rig.transport.beforeAnswer = [&](int request) {
    if (request == 1) {
      atFirst.arriveAndWait();
    }
  };
  ASSERT_EQ(rig.runner->start(rig.store->queries().measurable()), Start::started);
  atFirst.waitForArrival();
  rig.store->queries().remove(doomed.rowId);
  atFirst.open();
  rig.queue.runUntil([&] { return !rig.runner->isLive(); });

  EXPECT_EQ(rig.store->runs().count(), 1);
  EXPECT_EQ(rig.store->observations().ofQuery(kept.rowId).size(), 1u);
  const auto outcomes = outcomesOf(*rig.store);
  ASSERT_EQ(outcomes.size(), 2u);
  EXPECT_EQ(outcomes[0].query, std::nullopt);
  EXPECT_EQ(outcomes[0].observation, std::nullopt);
  EXPECT_EQ(outcomes[1].query, kept.rowId);
}

TEST(MeasurementRunner, TheFirstMeasurementEverIsToldApart) {
  Rig rig;
  const auto app = rig.seed.app("100");
  rig.seed.keyword(app, "one", "us");
  rig.transport.answer("one", {"900"});  // not among the results
  ASSERT_EQ(rig.measure(), Start::started);
  EXPECT_TRUE(rig.reports.at(0).hadNoEarlierObservations);
  EXPECT_FALSE(rig.reports.at(0).isFirstMeasurement);  // nothing ranked

  Rig fresh;
  fresh.seed.keyword(fresh.seed.app("100"), "one", "us");
  fresh.transport.answer("one", {"100"});
  ASSERT_EQ(fresh.measure(), Start::started);
  EXPECT_TRUE(fresh.reports.at(0).hadNoEarlierObservations);
  EXPECT_TRUE(fresh.reports.at(0).isFirstMeasurement);
  ASSERT_EQ(fresh.measure(), Start::started);
  EXPECT_FALSE(fresh.reports.at(1).hadNoEarlierObservations);
  EXPECT_FALSE(fresh.reports.at(1).isFirstMeasurement);
}

}  // namespace
}  // namespace tovra::measure

namespace tovra::measure {
namespace {

using namespace std::chrono_literals;

TEST(MeasurementRunner, ARunnerMadeDuringAHoldCountsItDownAtOnce) {
  testing::Rig rig;
  rig.client.hold(rig.clock.wallNow() + 75s);
  MeasurementRunner late({rig.queue, rig.client, *rig.store, rig.clock.wall(), rig.ticker, rig.calendar});
  EXPECT_EQ(late.cooldownSecondsLeft(), 75);
  EXPECT_EQ(late.start({}), MeasurementRunner::StartResult::coolingDown);
}

TEST(MeasurementRunner, ARunIsKnownToTheUsersOtherProcessesWhileItLasts) {
  store::testing::TempDir state;
  const research::MeasurementPresence presence(state.path());
  testing::Rig rig;
  rig.runner = std::make_unique<MeasurementRunner>(MeasurementRunner::Services{
      rig.queue, rig.client, *rig.store, rig.clock.wall(), rig.ticker, rig.calendar, &presence});
  rig.seed.keyword(rig.seed.app("100"), "one", "us");
  rig.transport.answer("one", {"100"});
  testing::Gate inFlight;
  rig.transport.beforeAnswer = [&](int) { inFlight.arriveAndWait(); };
  ASSERT_EQ(rig.runner->start(rig.store->queries().measurable()), MeasurementRunner::StartResult::started);
  inFlight.waitForArrival();
  EXPECT_TRUE(presence.running());

  // Another process's runner, on the same state folder, does not start a second run.
  testing::Rig other;
  other.runner = std::make_unique<MeasurementRunner>(MeasurementRunner::Services{
      other.queue, other.client, *other.store, other.clock.wall(), other.ticker, other.calendar, &presence});
  other.seed.keyword(other.seed.app("100"), "one", "us");
  EXPECT_EQ(other.runner->start(other.store->queries().measurable()), MeasurementRunner::StartResult::runningElsewhere);
  EXPECT_FALSE(other.runner->isLive());

  inFlight.open();
  rig.queue.runUntil([&] { return !rig.runner->isLive(); });
  EXPECT_FALSE(presence.running());
  EXPECT_EQ(other.measure(), MeasurementRunner::StartResult::started);
}

}  // namespace
}  // namespace tovra::measure
