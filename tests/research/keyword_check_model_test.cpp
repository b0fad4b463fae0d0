#include "app/research/keyword_check_model.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "support/held_requests.h"
#include "support/manual_queue.h"

namespace tovra::research {
namespace {

using Model = KeywordCheckModel;

asokit::RankQuery query() {
  return {"1234567890", "us", "photo editor"};
}

asokit::RankResult measured(std::optional<std::int64_t> rank, std::int64_t count = 180) {
  return {query(), asokit::RankStatus{asokit::RankStatus::Measured{{query(), rank, count, {}, "appstore"}}}};
}

asokit::RankResult failed(std::string message) {
  return {query(), asokit::RankStatus{asokit::RankStatus::Failed{std::move(message)}}};
}

asokit::RankResult skipped() {
  return {query(), asokit::RankStatus{asokit::RankStatus::Skipped{}}};
}

asokit::BatchOutcome outcome(std::vector<asokit::RankResult> results, bool halted = false, bool stopped = false,
                             std::vector<std::string> errors = {}) {
  asokit::BatchOutcome o;
  o.results = std::move(results);
  o.halted = halted;
  o.stopped = stopped;
  o.errors = std::move(errors);
  return o;
}

struct PhaseCase {
  std::string name;
  asokit::BatchOutcome outcome;
  Model::Phase phase;
  std::string text;
};

class CheckPhaseTest : public ::testing::TestWithParam<PhaseCase> {};

TEST_P(CheckPhaseTest, MapsTheOutcomeToItsPhaseAndText) {
  const auto phase = Model::phaseFor(GetParam().outcome);
  EXPECT_EQ(phase, GetParam().phase);
  EXPECT_EQ(Model::text(phase), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Outcomes, CheckPhaseTest,
    ::testing::Values(
        PhaseCase{"Found", outcome({measured(7)}), Model::Measured{7, 180, "appstore"},
                  "Rank 7 of the 180 results the store returned"},
        PhaseCase{"NotAmongTheResults", outcome({measured(std::nullopt)}), Model::NotInTopN{180, "appstore"},
                  "Not among the 180 results the store returned for this phrase"},
        PhaseCase{"NotAmongTheOneResult", outcome({measured(std::nullopt, 1)}), Model::NotInTopN{1, "appstore"},
                  "Not among the 1 result the store returned for this phrase"},
        PhaseCase{"StoppedEvenWithAResult", outcome({measured(3)}, false, true), Model::Stopped{},
                  "The check was stopped."},
        PhaseCase{"NoResultsNoErrors", outcome({}), Model::Failed{"No result returned"},
                  "The check failed: No result returned"},
        PhaseCase{"NoResultsFirstError", outcome({}, false, false, {"us/photo editor: HTTP 500", "second"}),
                  Model::Failed{"us/photo editor: HTTP 500"}, "The check failed: us/photo editor: HTTP 500"},
        PhaseCase{"NoResultsHalted", outcome({}, true), Model::Halted{}, "The provider guard halted the check."},
        PhaseCase{"FailedRequest", outcome({failed("HTTP 503")}), Model::Failed{"HTTP 503"},
                  "The check failed: HTTP 503"},
        PhaseCase{"SkippedInAHaltedOutcome", outcome({skipped()}, true), Model::Halted{},
                  "The provider guard halted the check."},
        PhaseCase{"Skipped", outcome({skipped()}), Model::Skipped{}, "The check was skipped."}),
    [](const auto& info) { return info.param.name; });

TEST(CheckPhaseNames, AreTheCaseNamesMachineOutputCarries) {
  const std::vector<std::pair<Model::Phase, std::string_view>> cases{
      {Model::Idle{}, "idle"},           {Model::Checking{}, "checking"}, {Model::Measured{}, "measured"},
      {Model::NotInTopN{}, "notInTopN"}, {Model::Failed{}, "failed"},     {Model::Skipped{}, "skipped"},
      {Model::Halted{}, "halted"},       {Model::Stopped{}, "stopped"},   {Model::Tracked{}, "tracked"}};
  ASSERT_EQ(cases.size(), std::variant_size_v<Model::Phase>) << "every phase has its name";
  for (const auto& [phase, name] : cases) {
    EXPECT_EQ(Model::phaseName(phase), name);
  }
}

class KeywordCheckModelTest : public ::testing::Test {
 protected:
  std::unique_ptr<Model> make() {
    return std::make_unique<Model>(
        [this](const std::vector<asokit::RankQuery>& queries, std::stop_token stop) {
          asked.push_back(queries);
          auto given = answer;
          if (holding) {
            stopsSeen.push_back(!held.hold(stop));  // stopped or not, the answer comes back
          }
          return given;
        },
        [this] { return running; }, [this] { return cooldown; },
        [this](const KeywordCheckRequest& request) {
          if (trackFails) {
            throw std::runtime_error("disk full");
          }
          tracked.push_back(request);
        },
        queue);
  }

  // Checks and turns the main thread until the answer has been shown.
  bool check(Model& model) {
    const bool started = model.check(request());
    queue.runUntil([&] { return !std::holds_alternative<Model::Checking>(model.phase()); });
    return started;
  }

  KeywordCheckRequest request() {
    store::TrackedApp app;
    app.appStoreId = "1234567890";
    app.displayName = "Lumen";
    return KeywordCheckRequest{"id-1", app, "photo editor", "us"};
  }

  asokit::BatchOutcome answer = outcome({measured(4)});
  bool running = false;
  std::optional<std::int64_t> cooldown;
  bool trackFails = false;
  std::vector<std::vector<asokit::RankQuery>> asked;
  std::vector<KeywordCheckRequest> tracked;
  tovra::testing::ManualQueue queue;
  tovra::testing::HeldRequests held;
  bool holding = false;
  std::vector<bool> stopsSeen;
};

TEST_F(KeywordCheckModelTest, AsksExactlyOneQuery) {
  auto model = make();
  EXPECT_TRUE(check(*model));
  ASSERT_EQ(asked.size(), 1u);
  EXPECT_EQ(asked[0], std::vector<asokit::RankQuery>{query()});
  EXPECT_EQ(model->phase(), (Model::Phase{Model::Measured{4, 180, "appstore"}}));
}

TEST_F(KeywordCheckModelTest, ACooldownAtTheStartOffersNoCheck) {
  cooldown = 840;
  running = true;
  auto model = make();
  EXPECT_EQ(model->unavailableReason(),
            "The rate-limit cooldown is active. Check once is unavailable until it clears.");
  EXPECT_FALSE(check(*model));
  EXPECT_TRUE(asked.empty());
  EXPECT_EQ(model->phase(), Model::Phase{Model::Idle{}});
}

TEST_F(KeywordCheckModelTest, ARunningMeasurementOffersNoCheck) {
  running = true;
  auto model = make();
  EXPECT_EQ(model->unavailableReason(), "A measurement run is active. Check once is unavailable until it finishes.");
  EXPECT_FALSE(check(*model));
  running = false;
  cooldown = 0;
  EXPECT_EQ(model->unavailableReason(), std::nullopt) << "a hold with nothing left is no hold";
}

TEST_F(KeywordCheckModelTest, TrackingAfterTheCheckWritesTheKeyword) {
  auto model = make();
  model->track();
  EXPECT_TRUE(tracked.empty()) << "nothing to track before a check";
  check(*model);
  ASSERT_TRUE(model->canTrack());
  model->track();
  ASSERT_EQ(tracked.size(), 1u);
  EXPECT_EQ(tracked[0], request());
  EXPECT_EQ(Model::text(model->phase()), "This keyword is now tracked.");
}

TEST_F(KeywordCheckModelTest, AFailedTrackLeavesTheResultShown) {
  trackFails = true;
  auto model = make();
  check(*model);
  EXPECT_THROW(model->track(), std::runtime_error);
  EXPECT_EQ(model->phase(), (Model::Phase{Model::Measured{4, 180, "appstore"}}));
}

// Tracking the checked keyword has no condition on the check's outcome: a check that failed, was skipped,
// halted or stopped still offers it; only a check not made yet, or one already tracked, does not.
TEST_F(KeywordCheckModelTest, EveryEndOfACheckOffersTracking) {
  struct Case {
    const char* name;
    asokit::BatchOutcome outcome;
  };
  for (const auto& c : std::vector<Case>{{"measured", outcome({measured(4)})},
                                         {"notInTopN", outcome({measured(std::nullopt)})},
                                         {"failed", outcome({failed("HTTP 404")})},
                                         {"noResult", outcome({})},
                                         {"skipped", outcome({skipped()})},
                                         {"halted", outcome({}, true)},
                                         {"stopped", outcome({measured(3)}, false, true)}}) {
    answer = c.outcome;
    tracked.clear();
    auto model = make();
    EXPECT_FALSE(model->canTrack()) << c.name;
    check(*model);
    EXPECT_TRUE(model->canTrack()) << c.name;
    model->track();
    ASSERT_EQ(tracked.size(), 1u) << c.name;
    EXPECT_EQ(model->phase(), Model::Phase{Model::Tracked{}}) << c.name;
    EXPECT_FALSE(model->canTrack()) << c.name << ": tracked once";
  }
}

TEST_F(KeywordCheckModelTest, TheMainThreadKeepsTurningWhileTheCheckIsInFlight) {
  holding = true;
  auto model = make();
  ASSERT_TRUE(model->check(request()));
  held.waitForArrivals(1);
  EXPECT_EQ(Model::text(model->phase()), "Checking one request…");
  EXPECT_FALSE(model->canTrack());
  held.release();
  queue.runUntil([&] { return !std::holds_alternative<Model::Checking>(model->phase()); });
  EXPECT_EQ(model->phase(), (Model::Phase{Model::Measured{4, 180, "appstore"}}));
}

TEST_F(KeywordCheckModelTest, ANewerCheckWinsOverOneStillInFlight) {
  holding = true;
  auto model = make();
  model->check(request());
  held.waitForArrivals(1);
  answer = outcome({measured(9)});
  auto second = request();
  second.id = "id-2";
  model->check(second);
  held.waitForArrivals(2);
  held.release(2);
  queue.runUntil([&] { return !std::holds_alternative<Model::Checking>(model->phase()); });
  queue.drain();
  EXPECT_EQ(model->phase(), (Model::Phase{Model::Measured{9, 180, "appstore"}}));
  EXPECT_EQ(model->request()->id, "id-2");
  EXPECT_EQ(stopsSeen, (std::vector<bool>{true, false})) << "the first request was cancelled";
}

TEST_F(KeywordCheckModelTest, DestroyingTheModelMidCheckStopsTheRequest) {
  holding = true;
  auto model = make();
  model->check(request());
  held.waitForArrivals(1);
  model.reset();
  queue.drain();
  EXPECT_EQ(stopsSeen, std::vector<bool>{true});
  EXPECT_TRUE(tracked.empty());
}

}  // namespace
}  // namespace tovra::research
