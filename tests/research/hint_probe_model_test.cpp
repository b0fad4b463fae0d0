#include "app/research/hint_probe_model.h"

#include <SQLiteCpp/Database.h>
#include <gtest/gtest.h>

#include "AsoKit/aso_error.h"
#include "app/base/zoned_calendar.h"
#include "app/store/hint_probe_store.h"
#include "app/store/store.h"
#include "support/held_requests.h"
#include "support/manual_queue.h"

namespace tovra::research {
namespace {

using namespace std::chrono;
using namespace std::chrono_literals;

class HintProbeModelTest : public ::testing::Test {
 protected:
  std::unique_ptr<HintProbeModel> make(RequestGate gate = {}) {
    auto model = std::make_unique<HintProbeModel>(
        [this](const std::string& prefix, const std::string& country, std::stop_token stop) {
          ++asks;
          if (holding) {
            held.hold(stop);  // stopped or not, the answer comes back: a late answer must not land
          }
          if (fault) {
            std::rethrow_exception(fault);
          }
          return asokit::HintsOutcome{prefix, country, terms, false, "appstore-hints"};
        },
        probes, std::move(gate), clock.wall(), calendar, queue);
    model->setOnForbidden([this] { ++forbidden; });
    return model;
  }

  // Asks and turns the main thread until the answer has been shown.
  void ask(HintProbeModel& model, const std::string& prefix, const std::string& country) {
    model.ask(prefix, country);
    queue.runUntil([&] { return !model.isProbing(); });
  }

  tovra::testing::ManualQueue queue;
  tovra::testing::HeldRequests held;
  bool holding = false;

  // 23:59 local time in Tokyo (UTC+9) on 3 March 2025.
  asokit::VirtualClock clock{asokit::WallTime{sys_days{March / 3 / 2025} + 14h + 59min}};
  base::ZonedCalendar calendar{"Asia/Tokyo"};
  std::unique_ptr<store::Store> store = store::Store::inMemory();
  store::HintProbeStore probes{*store};
  std::vector<asokit::HintTerm> terms{{1, "photo editor", std::nullopt}, {2, "photo collage", std::nullopt}};
  std::exception_ptr fault;
  int asks = 0;
  int forbidden = 0;
};

TEST_F(HintProbeModelTest, AProbeOfTheSameDayIsServedFromTheStoreAndNotAfterMidnight) {
  auto model = make();
  ask(*model, "pho", "us");
  EXPECT_FALSE(model->servedFromStore());
  EXPECT_EQ(model->storeNote(), std::nullopt);
  EXPECT_EQ(store->probes().count(), 1);

  clock.advance(30s);  // still 23:59
  ask(*model, "pho", "US");
  EXPECT_EQ(asks, 1);
  EXPECT_TRUE(model->servedFromStore());
  EXPECT_EQ(model->observedAt(), clock.wallNow() - 30s) << "the stored probe's own time";
  EXPECT_EQ(model->storeNote(), std::string(probeText::kServedFromStore));
  EXPECT_EQ(model->saveFailure(), std::nullopt) << "an answer from the store is no failed save";
  ASSERT_TRUE(model->outcome());
  EXPECT_EQ(model->outcome()->terms, terms);

  clock.advance(90s);  // 00:01 the next day
  ask(*model, "pho", "us");
  EXPECT_EQ(asks, 2);
  EXPECT_FALSE(model->servedFromStore());
  EXPECT_EQ(store->probes().count(), 2);
  EXPECT_EQ(model->trail().size(), 3u);
}

TEST_F(HintProbeModelTest, WaitsForARunAndForAHold) {
  auto duringRun = make(RequestGate([] { return true; }, [] { return std::optional<std::int64_t>(75); }));
  ask(*duringRun, "pho", "us");
  EXPECT_EQ(duringRun->failure(), "A measurement is running — store hints wait for it.");
  EXPECT_TRUE(duringRun->waited());

  auto duringHold = make(RequestGate([] { return false; }, [] { return std::optional<std::int64_t>(75); }));
  ask(*duringHold, "pho", "us");
  EXPECT_EQ(duringHold->failure(), "Apple paused requests · retry in 1:15");
  EXPECT_EQ(asks, 0);
  EXPECT_FALSE(duringHold->outcome());
}

TEST_F(HintProbeModelTest, AForbiddenAnswerHandsOverTheHold) {
  fault = std::make_exception_ptr(asokit::AsoError::http(403, "https://x/hints"));
  auto model = make();
  ask(*model, "pho", "us");
  EXPECT_TRUE(model->refused());
  EXPECT_EQ(forbidden, 1);
  EXPECT_EQ(model->failure(), asokit::AsoError::http(403, "https://x/hints").description());
  EXPECT_FALSE(model->isProbing());
  EXPECT_EQ(store->probes().count(), 0);
}

TEST_F(HintProbeModelTest, OtherFailuresAreShownWithTheirOwnWords) {
  fault = std::make_exception_ptr(asokit::AsoError::shapeChanged("hints: 'hints' anahtarı yok"));
  auto model = make();
  ask(*model, "pho", "us");
  EXPECT_FALSE(model->refused());
  EXPECT_EQ(forbidden, 0);
  EXPECT_EQ(model->failure(), asokit::AsoError::shapeChanged("hints: 'hints' anahtarı yok").description());
}

TEST_F(HintProbeModelTest, AFailedSaveStillShowsTheAnswer) {
  store->database().exec("CREATE TRIGGER refuse BEFORE INSERT ON StoreHint BEGIN SELECT RAISE(ABORT, 'full'); END");
  auto model = make();
  ask(*model, "pho", "us");
  ASSERT_TRUE(model->outcome());
  ASSERT_TRUE(model->storeNote());
  EXPECT_EQ(model->storeNote()->rfind("the results could not be saved: ", 0), 0u) << *model->storeNote();
  EXPECT_EQ(model->saveFailure(), model->storeNote());
  EXPECT_EQ(store->probes().count(), 0) << "the probe and its hints are saved together or not at all";
}

TEST_F(HintProbeModelTest, TheMainThreadKeepsTurningWhileTheProbeIsInFlight) {
  holding = true;
  auto model = make();
  model->ask("pho", "us");
  held.waitForArrivals(1);
  EXPECT_TRUE(model->isProbing());
  EXPECT_FALSE(model->outcome());
  EXPECT_EQ(store->probes().count(), 0) << "the answer is kept on the main thread, once it is there";
  held.release();
  queue.runUntil([&] { return !model->isProbing(); });
  EXPECT_EQ(model->outcome()->prefix, "pho");
  EXPECT_EQ(store->probes().count(), 1);
}

TEST_F(HintProbeModelTest, ANewerAskWinsOverOneStillInFlight) {
  holding = true;
  auto model = make();
  model->ask("pho", "us");
  held.waitForArrivals(1);
  model->ask("phot", "us");
  held.waitForArrivals(2);
  held.release(2);
  queue.runUntil([&] { return !model->isProbing(); });
  queue.drain();
  EXPECT_EQ(model->outcome()->prefix, "phot");
  EXPECT_EQ(model->trail(), (std::vector<HintProbeModel::HintStep>{{"phot", "us"}}));
  EXPECT_EQ(store->probes().count(), 1) << "the older answer was dropped, not kept";
}

TEST_F(HintProbeModelTest, DestroyingTheModelMidProbeStopsItAndWritesNothing) {
  holding = true;
  auto model = make();
  model->ask("pho", "us");
  held.waitForArrivals(1);
  model.reset();
  queue.drain();
  EXPECT_EQ(store->probes().count(), 0);
}

}  // namespace
}  // namespace tovra::research
