#include "app/research/keyword_check_model.h"

#include <gtest/gtest.h>

#include <stdexcept>

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
  Model make() {
    return Model(
        [this](const std::vector<asokit::RankQuery>& queries) {
          asked.push_back(queries);
          return answer;
        },
        [this] { return running; }, [this] { return cooldown; },
        [this](const KeywordCheckRequest& request) {
          if (trackFails) {
            throw std::runtime_error("disk full");
          }
          tracked.push_back(request);
        });
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
};

TEST_F(KeywordCheckModelTest, AsksExactlyOneQuery) {
  auto model = make();
  EXPECT_TRUE(model.check(request()));
  ASSERT_EQ(asked.size(), 1u);
  EXPECT_EQ(asked[0], std::vector<asokit::RankQuery>{query()});
  EXPECT_EQ(model.phase(), (Model::Phase{Model::Measured{4, 180, "appstore"}}));
}

TEST_F(KeywordCheckModelTest, ACooldownAtTheStartOffersNoCheck) {
  cooldown = 840;
  running = true;
  auto model = make();
  EXPECT_EQ(model.unavailableReason(), "The rate-limit cooldown is active. Check once is unavailable until it clears.");
  EXPECT_FALSE(model.check(request()));
  EXPECT_TRUE(asked.empty());
  EXPECT_EQ(model.phase(), Model::Phase{Model::Idle{}});
}

TEST_F(KeywordCheckModelTest, ARunningMeasurementOffersNoCheck) {
  running = true;
  auto model = make();
  EXPECT_EQ(model.unavailableReason(), "A measurement run is active. Check once is unavailable until it finishes.");
  EXPECT_FALSE(model.check(request()));
  running = false;
  cooldown = 0;
  EXPECT_EQ(model.unavailableReason(), std::nullopt) << "a hold with nothing left is no hold";
}

TEST_F(KeywordCheckModelTest, TrackingAfterTheCheckWritesTheKeyword) {
  auto model = make();
  model.track();
  EXPECT_TRUE(tracked.empty()) << "nothing to track before a check";
  model.check(request());
  ASSERT_TRUE(model.canTrack());
  model.track();
  ASSERT_EQ(tracked.size(), 1u);
  EXPECT_EQ(tracked[0], request());
  EXPECT_EQ(Model::text(model.phase()), "This keyword is now tracked.");
}

TEST_F(KeywordCheckModelTest, AFailedTrackLeavesTheResultShown) {
  trackFails = true;
  auto model = make();
  model.check(request());
  EXPECT_THROW(model.track(), std::runtime_error);
  EXPECT_EQ(model.phase(), (Model::Phase{Model::Measured{4, 180, "appstore"}}));
}

TEST_F(KeywordCheckModelTest, AFailedCheckOffersNoTracking) {
  answer = outcome({failed("HTTP 404")});
  auto model = make();
  model.check(request());
  EXPECT_FALSE(model.canTrack());
}

}  // namespace
}  // namespace tovra::research
