#include "app/research/signals_check.h"

#include <SQLiteCpp/Database.h>
#include <gtest/gtest.h>

#include <map>

#include "AsoKit/aso_error.h"
#include "app/base/zoned_calendar.h"
#include "app/store/hint_probe_store.h"
#include "app/store/ladder_writer.h"
#include "app/store/store.h"
#include "support/held_requests.h"
#include "support/manual_queue.h"

namespace tovra::research {
namespace {

using namespace std::chrono_literals;

asokit::SearchOutcome topApps(const std::string& term, const std::string& country,
                              std::vector<std::optional<std::int64_t>> ratings) {
  asokit::SearchOutcome outcome{term, country, 200, {}, "appstore"};
  std::int64_t position = 0;
  for (const auto& count : ratings) {
    ++position;
    asokit::RankedApp app;
    app.id = std::to_string(1000 + position);
    app.position = position;
    app.name = "App " + app.id;
    app.ratingCount = count;
    outcome.apps.push_back(app);
  }
  return outcome;
}

// A store whose hints first list `keyword` (at place 2) once the prefix is `listedFrom` characters long.
class FakeHints {
 public:
  FakeHints(std::string keyword, std::size_t listedFrom) : keyword_(std::move(keyword)), listedFrom_(listedFrom) {}

  asokit::HintsOutcome operator()(const std::string& prefix, const std::string& country, std::stop_token) {
    asks.push_back(prefix);
    if (const auto fault = faults.find(asks.size()); fault != faults.end()) {
      std::rethrow_exception(fault->second);
    }
    asokit::HintsOutcome outcome{prefix, country, {{1, prefix + " pro", std::nullopt}}, false, "appstore-hints"};
    if (prefix.size() >= listedFrom_) {
      outcome.terms.push_back({2, keyword_, std::nullopt});
    }
    return outcome;
  }

  std::vector<std::string> asks;
  std::map<std::size_t, std::exception_ptr> faults;  // by the 1-based number of the ask

 private:
  std::string keyword_;
  std::size_t listedFrom_;
};

class SignalsCheckTest : public ::testing::Test {
 protected:
  std::unique_ptr<SignalsCheck> make(RequestGate gate = {}) {
    auto check = std::make_unique<SignalsCheck>(
        [this](const std::string& term, const std::string& country, std::stop_token stop) {
          ++searches;
          if (holding) {
            held.hold(stop);  // stopped or not, the answer comes back: a late answer must not land
          }
          if (searchFault) {
            std::rethrow_exception(searchFault);
          }
          return topApps(term, country, ratings);
        },
        [this](const std::string& prefix, const std::string& country, std::stop_token stop) {
          return hints(prefix, country, stop);
        },
        *store, std::move(gate), clock.wall(), calendar, queue);
    check->setOnForbidden([this] { ++forbidden; });
    return check;
  }

  // Starts the check and turns the main thread until it has finished.
  SignalsCheck::Start start(SignalsCheck& check, std::string_view keyword, std::string_view country) {
    const auto started = check.start(keyword, country);
    queue.runUntil([&] { return !std::holds_alternative<SignalsCheck::Running>(check.phase()); });
    return started;
  }

  const SignalsCheck::Summary& summaryOf(const SignalsCheck& check) {
    return std::get<SignalsCheck::Finished>(check.phase()).summary;
  }

  asokit::VirtualClock clock{asokit::WallTime{std::chrono::sys_days{std::chrono::March / 3 / 2025} + 9h}};
  base::ZonedCalendar calendar{"UTC"};
  std::unique_ptr<store::Store> store = store::Store::inMemory();
  std::vector<std::optional<std::int64_t>> ratings{500, 800, 1200, 90, 4000, 30000, 700, 650, 2100, 100};
  std::exception_ptr searchFault;
  int searches = 0;
  int forbidden = 0;
  // "photo editor" (12 characters, candidates 2…5 and 7…12) is first listed at 8 letters: "photo ed".
  FakeHints hints{"photo editor", 8};
  tovra::testing::ManualQueue queue;
  tovra::testing::HeldRequests held;
  bool holding = false;
};

TEST_F(SignalsCheckTest, FindsTheReachInAtMostFiveProbesAndKeepsWhatItSaw) {
  auto check = make();
  ASSERT_EQ(start(*check, "  photo   editor ", "US"), SignalsCheck::Start::started);

  const auto& summary = summaryOf(*check);
  EXPECT_TRUE(summary.ladderFetched);
  EXPECT_TRUE(summary.converged);
  EXPECT_FALSE(summary.halted);
  EXPECT_EQ(summary.failed, 0);
  EXPECT_LE(summary.probesAsked, 5);
  EXPECT_EQ(summary.probesAsked, static_cast<std::int64_t>(hints.asks.size()));
  EXPECT_EQ(check->target(), "photo editor");

  const auto& signals = *check->signals();
  EXPECT_EQ(signals.reach.letters, 8);
  EXPECT_EQ(signals.reach.position, 2);
  EXPECT_EQ(signals.reach.band, AutocompleteReach::Band::moderate) << "8 letters is more than half of 12";
  ASSERT_TRUE(signals.difficulty);
  EXPECT_DOUBLE_EQ(signals.difficulty->medianRatings, 750);
  EXPECT_EQ(signals.difficultyAsOf, clock.wallNow());

  EXPECT_EQ(store::LadderWriter(*store).savedFor("photo editor", "us").size(), 1u) << "the search is kept";
  EXPECT_EQ(store->probes().count(), summary.probesAsked) << "every probe is kept";
}

TEST_F(SignalsCheckTest, ASecondCheckTheSameDayServesItsProbesFromTheStore) {
  start(*make(), "photo editor", "us");
  const auto asked = hints.asks.size();
  clock.advance(14h);  // 23:00, still the same day

  auto again = make();
  start(*again, "photo editor", "us");
  EXPECT_EQ(hints.asks.size(), asked) << "no hint was asked of the store again";
  ASSERT_FALSE(again->steps().empty());
  for (const auto& step : again->steps()) {
    EXPECT_TRUE(step.servedFromStore) << step.prefix;
  }
  EXPECT_EQ(again->signals()->reach.letters, 8);

  clock.advance(2h);  // 01:00 the next day
  start(*make(), "photo editor", "us");
  EXPECT_EQ(hints.asks.size(), 2 * asked) << "yesterday's probes are asked again";
}

TEST_F(SignalsCheckTest, AForbiddenAnswerInTheMiddleStopsTheCheckAndHandsOverTheHold) {
  hints.faults[2] = std::make_exception_ptr(asokit::AsoError::http(403, "https://store.example/hints?term=ph"));
  auto check = make();
  start(*check, "photo editor", "us");

  const auto& summary = summaryOf(*check);
  EXPECT_TRUE(summary.halted);
  EXPECT_EQ(summary.probesAsked, 2);
  EXPECT_EQ(summary.failed, 1);
  EXPECT_EQ(summary.lastFailure, asokit::AsoError::http(403, "https://store.example/hints?term=ph").description());
  EXPECT_FALSE(summary.converged);
  EXPECT_EQ(forbidden, 1);
  EXPECT_EQ(hints.asks.size(), 2u) << "nothing more is asked after a refusal";
  EXPECT_TRUE(check->signals()->difficulty) << "what was read before the refusal stays";
}

TEST_F(SignalsCheckTest, AHoldThatStartsBeforeTheSearchIsARefusalToo) {
  searchFault = std::make_exception_ptr(asokit::AsoError::coolingDown(840));
  auto check = make();
  start(*check, "photo editor", "us");
  const auto& summary = summaryOf(*check);
  EXPECT_TRUE(summary.halted);
  EXPECT_FALSE(summary.ladderFetched);
  EXPECT_EQ(summary.probesAsked, 0);
  EXPECT_EQ(forbidden, 1);
}

TEST_F(SignalsCheckTest, OtherFailuresAreCountedAndTheCheckGoesOn) {
  searchFault = std::make_exception_ptr(asokit::TransportError("connection refused"));
  hints.faults[1] = std::make_exception_ptr(asokit::AsoError::http(503, "https://store.example/hints"));
  auto check = make();
  start(*check, "photo editor", "us");
  const auto& summary = summaryOf(*check);
  EXPECT_FALSE(summary.halted) << "two failures in a row are not three";
  EXPECT_EQ(summary.failed, 2);
  EXPECT_EQ(summary.lastFailure, asokit::AsoError::http(503, "https://store.example/hints").description());
  EXPECT_TRUE(summary.converged);
  EXPECT_EQ(check->signals()->reach.letters, 8) << "the failed prefix was asked again";
  EXPECT_EQ(forbidden, 0);
}

TEST_F(SignalsCheckTest, ThreeFailuresInARowHaltTheCheck) {
  searchFault = std::make_exception_ptr(asokit::TransportError("timed out"));
  hints.faults[1] = std::make_exception_ptr(asokit::TransportError("timed out"));
  hints.faults[2] = std::make_exception_ptr(asokit::TransportError("timed out"));
  auto check = make();
  start(*check, "photo editor", "us");
  const auto& summary = summaryOf(*check);
  EXPECT_TRUE(summary.halted);
  EXPECT_EQ(summary.failed, 3);
  EXPECT_EQ(summary.probesAsked, 2);
  EXPECT_EQ(forbidden, 1);
}

TEST_F(SignalsCheckTest, WaitsForARunOrAHoldWithoutAskingAnything) {
  auto duringRun = make(RequestGate([] { return true; }, [] { return std::nullopt; }));
  EXPECT_EQ(start(*duringRun, "photo editor", "us"), SignalsCheck::Start::waiting);
  EXPECT_EQ(duringRun->waitReason(), "A measurement is running — store hints wait for it.");
  EXPECT_TRUE(std::holds_alternative<SignalsCheck::Idle>(duringRun->phase()));

  auto duringHold = make(RequestGate([] { return false; }, [] { return std::optional<std::int64_t>(900); }));
  EXPECT_EQ(start(*duringHold, "photo editor", "us"), SignalsCheck::Start::waiting);
  EXPECT_EQ(duringHold->waitReason(), "Apple paused requests · retry in 15:00");
  EXPECT_EQ(searches, 0);
  EXPECT_TRUE(hints.asks.empty());
  EXPECT_EQ(forbidden, 0) << "an existing hold is not started again";
}

TEST_F(SignalsCheckTest, ARunThatStartsDuringTheCheckStopsTheProbes) {
  int gateAsks = 0;
  auto check = make(RequestGate([&] { return ++gateAsks > 2; }, [] { return std::nullopt; }));
  start(*check, "photo editor", "us");
  const auto& summary = summaryOf(*check);
  EXPECT_TRUE(summary.halted);
  EXPECT_EQ(summary.probesAsked, 1);
  EXPECT_EQ(summary.lastFailure, "A measurement is running — store hints wait for it.");
}

TEST_F(SignalsCheckTest, TooFewKnownRatingCountsGiveNoDifficulty) {
  ratings = {500, std::nullopt, 1200, std::nullopt, 4000, -3, 700, std::nullopt};
  auto check = make();
  start(*check, "photo editor", "us");
  EXPECT_TRUE(summaryOf(*check).ladderFetched);
  EXPECT_FALSE(check->signals()->difficulty);
  EXPECT_FALSE(check->signals()->difficultyAsOf);
}

TEST_F(SignalsCheckTest, AFailedSearchFallsBackToASavedSearchOfTheWeek) {
  store::LadderWriter(*store).write(store::LadderReading{"photo editor", "us",
                                                         topApps("photo editor", "us", ratings).apps, 200, 10,
                                                         "discover", clock.wallNow() - 24h * 7});
  searchFault = std::make_exception_ptr(asokit::TransportError("offline"));
  auto check = make();
  start(*check, "photo editor", "us");
  ASSERT_TRUE(check->signals()->difficulty);
  EXPECT_EQ(check->signals()->difficultyAsOf, clock.wallNow() - 24h * 7);
}

TEST_F(SignalsCheckTest, AFailedSaveIsToldAndTheSignalsStillShow) {
  store->database().exec("CREATE TRIGGER refuse BEFORE INSERT ON HintProbe BEGIN SELECT RAISE(ABORT, 'disk'); END");
  auto check = make();
  start(*check, "photo editor", "us");
  ASSERT_TRUE(check->saveFailure());
  EXPECT_EQ(check->saveFailure()->rfind("the results could not be saved: ", 0), 0u) << *check->saveFailure();
  EXPECT_EQ(check->signals()->reach.letters, 8);
}

TEST_F(SignalsCheckTest, TheMainThreadKeepsTurningWhileTheSearchIsInFlight) {
  holding = true;
  auto check = make();
  ASSERT_EQ(check->start("photo editor", "us"), SignalsCheck::Start::started);
  held.waitForArrivals(1);
  EXPECT_TRUE(std::holds_alternative<SignalsCheck::Running>(check->phase()));
  EXPECT_EQ(check->target(), "photo editor");
  EXPECT_EQ(store->ladders().count(), 0) << "the answer is kept on the main thread, once it is there";
  held.release();
  queue.runUntil([&] { return !std::holds_alternative<SignalsCheck::Running>(check->phase()); });
  EXPECT_TRUE(summaryOf(*check).ladderFetched);
  EXPECT_EQ(check->signals()->reach.letters, 8);
  EXPECT_EQ(store::LadderWriter(*store).savedFor("photo editor", "us").size(), 1u);
}

TEST_F(SignalsCheckTest, ANewerCheckWinsOverOneStillInFlight) {
  holding = true;
  auto check = make();
  check->start("photo editor", "us");
  held.waitForArrivals(1);
  check->start("collage maker", "us");
  held.waitForArrivals(2);
  held.release(2);
  queue.runUntil([&] { return !std::holds_alternative<SignalsCheck::Running>(check->phase()); });
  queue.drain();
  EXPECT_EQ(check->target(), "collage maker");
  EXPECT_EQ(check->signals()->keyword, "collage maker");
  EXPECT_TRUE(store::LadderWriter(*store).savedFor("photo editor", "us").empty()) << "the older answer was dropped";
  EXPECT_EQ(store::LadderWriter(*store).savedFor("collage maker", "us").size(), 1u);
  for (const auto& prefix : hints.asks) {
    EXPECT_EQ(prefix.rfind("co", 0), 0u) << prefix << " was probed for the older check";
  }
}

TEST_F(SignalsCheckTest, DestroyingTheCheckMidRequestStopsItAndWritesNothing) {
  holding = true;
  auto check = make();
  check->start("photo editor", "us");
  held.waitForArrivals(1);
  check.reset();
  queue.drain();
  EXPECT_EQ(store->ladders().count(), 0);
  EXPECT_EQ(store->probes().count(), 0);
  EXPECT_TRUE(hints.asks.empty());
}

struct KeywordShapeCase {
  std::string name;
  std::string keyword;
  SignalsCheck::Start start;
  std::optional<std::int64_t> letters;
};

class SignalsKeywordShapeTest : public SignalsCheckTest, public ::testing::WithParamInterface<KeywordShapeCase> {};

TEST_P(SignalsKeywordShapeTest, HandlesOddKeywords) {
  hints = FakeHints(GetParam().keyword, 0);  // listed at every prefix
  auto check = make();
  EXPECT_EQ(start(*check, GetParam().keyword, "us"), GetParam().start);
  if (GetParam().start != SignalsCheck::Start::started) {
    EXPECT_EQ(searches, 0);
    return;
  }
  EXPECT_EQ(check->signals()->reach.letters, GetParam().letters);
  EXPECT_LE(hints.asks.size(), 5u);
}

INSTANTIATE_TEST_SUITE_P(Shapes, SignalsKeywordShapeTest,
                         ::testing::Values(KeywordShapeCase{"OneLetter", "a", SignalsCheck::Start::started, 1},
                                           KeywordShapeCase{"OnlySpaces", "   ", SignalsCheck::Start::nothing, {}},
                                           KeywordShapeCase{"SeveralSpaces", "go   to", SignalsCheck::Start::started,
                                                            2},
                                           KeywordShapeCase{"Diacritics", "Çilek", SignalsCheck::Start::started, 2},
                                           KeywordShapeCase{"FullWidth", "ＣＡＦＥ", SignalsCheck::Start::started, 2}),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace tovra::research
