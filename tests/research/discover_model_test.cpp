#include "app/research/discover_model.h"

#include <SQLiteCpp/Database.h>
#include <gtest/gtest.h>

#include "AsoKit/aso_error.h"
#include "app/store/ladder_writer.h"
#include "app/store/store.h"
#include "support/held_requests.h"
#include "support/manual_queue.h"

namespace tovra::research {
namespace {

using namespace std::chrono_literals;

asokit::RankedApp ranked(std::string id, std::int64_t position) {
  asokit::RankedApp app;
  app.id = std::move(id);
  app.position = position;
  app.name = "App " + app.id;
  app.developer = "Dev " + app.id;
  app.iconURL = "https://is1.example/" + app.id + "/128x128bb.webp";
  app.artworkUrl512 = "https://is1.example/" + app.id + "/512x512bb.png";
  app.ratingCount = 100 * position;
  app.averageRating = 4.5;
  return app;
}

class DiscoverModelTest : public ::testing::Test {
 protected:
  std::unique_ptr<DiscoverModel> make() {
    auto model = std::make_unique<DiscoverModel>(
        [this](const std::string& term, const std::string& country, std::stop_token stop) {
          searched.push_back(term + "|" + country);
          if (holding) {
            held.hold(stop);  // stopped or not, the answer comes back: a late answer must not land
          }
          if (fault) {
            std::rethrow_exception(fault);
          }
          return asokit::SearchOutcome{term, country, static_cast<std::int64_t>(apps.size()) + 100, apps, "appstore"};
        },
        *store, clock.wall(), queue);
    model->setOnForbidden([this] { ++forbidden; });
    model->setCountry("us");
    return model;
  }

  // Searches and turns the main thread until the answer has been shown.
  bool search(DiscoverModel& model) {
    const bool started = model.search();
    queue.runUntil([&] { return !model.isSearching(); });
    return started;
  }

  tovra::testing::ManualQueue queue;
  tovra::testing::HeldRequests held;
  bool holding = false;

  asokit::VirtualClock clock;
  std::unique_ptr<store::Store> store = store::Store::inMemory();
  store::WatchlistWriter writer{*store, clock.wall()};
  std::vector<asokit::RankedApp> apps{ranked("11", 1), ranked("22", 2), ranked("33", 3)};
  std::exception_ptr fault;
  std::vector<std::string> searched;
  int forbidden = 0;
};

TEST_F(DiscoverModelTest, BeforeAnySearchItInvitesATerm) {
  auto model = make();
  EXPECT_EQ(model->statusLines(),
            (std::vector<std::string>{"Nothing searched yet.",
                                      "Type a term to see the App Store's own results, in its order."}));
  model->setTerm("   ");
  EXPECT_FALSE(search(*model));
  EXPECT_TRUE(searched.empty());
}

TEST_F(DiscoverModelTest, ShowsTheStoresOrderAndKeepsItAsASavedSearch) {
  auto model = make();
  model->setTerm("  photo   editor ");
  ASSERT_TRUE(search(*model));
  EXPECT_EQ(searched, std::vector<std::string>{"photo editor|us"});
  EXPECT_EQ(model->searchedTerm(), "photo editor");
  EXPECT_EQ(model->resultCount(), 103);
  EXPECT_TRUE(model->hasSearched());
  EXPECT_EQ(model->lastSearchAt(), clock.wallNow());
  EXPECT_TRUE(model->statusLines().empty());
  const auto rows = model->discovered();
  ASSERT_EQ(rows.size(), 3u);
  EXPECT_EQ(rows[0].id, "11");
  EXPECT_EQ(rows[2].position, 3);
  EXPECT_EQ(rows[1].ratingCount, 200);

  const auto saved = store::LadderWriter(*store).savedFor("photo editor", "us");
  ASSERT_EQ(saved.size(), 1u);
  EXPECT_EQ(saved[0].source, "discover");
  EXPECT_EQ(saved[0].resultCount, 103);
  EXPECT_EQ(saved[0].enrichedDepth, 3);
}

TEST_F(DiscoverModelTest, ARepeatWithTheSameResultsSaysNoChange) {
  auto model = make();
  model->setTerm("photo editor");
  search(*model);
  clock.advance(2h);
  search(*model);
  EXPECT_EQ(model->statusLines(), std::vector<std::string>{"no change since the last check"});
  std::swap(apps[0], apps[1]);
  apps[0].position = 1;
  apps[1].position = 2;
  search(*model);
  EXPECT_FALSE(model->unchanged());
  EXPECT_TRUE(model->statusLines().empty());
}

TEST_F(DiscoverModelTest, AnEmptyAnswerIsNotAFailure) {
  apps.clear();
  auto model = make();
  model->setTerm("zzqx");
  search(*model);
  EXPECT_EQ(model->statusLines(),
            std::vector<std::string>{"No results — the App Store returned nothing for this term"});
  EXPECT_FALSE(model->failure());
}

TEST_F(DiscoverModelTest, AFailedSearchIsNeverShownAsZeroResults) {
  auto model = make();
  model->setTerm("photo editor");
  search(*model);
  model->select("22");
  fault = std::make_exception_ptr(asokit::AsoError::http(500, "https://x/search"));
  search(*model);
  EXPECT_TRUE(model->results().empty());
  EXPECT_EQ(model->resultCount(), std::nullopt);
  EXPECT_EQ(model->selectedId(), std::nullopt);
  const auto lines = model->statusLines();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], "The search failed — not a zero result");
  EXPECT_EQ(lines[1], "The App Store had a problem answering; try again later.");
  EXPECT_EQ(lines[2], asokit::AsoError::http(500, "https://x/search").description());
  EXPECT_EQ(forbidden, 0);
}

TEST_F(DiscoverModelTest, ARefusalHandsOverTheHoldAndAHoldSaysAppleIsPausing) {
  auto model = make();
  model->setTerm("photo editor");
  fault = std::make_exception_ptr(asokit::AsoError::http(403, "https://x/search"));
  search(*model);
  EXPECT_TRUE(model->refused());
  EXPECT_EQ(forbidden, 1);

  fault = std::make_exception_ptr(asokit::AsoError::coolingDown(899));
  search(*model);
  EXPECT_TRUE(model->refused());
  EXPECT_EQ(forbidden, 1) << "a hold already counting is not started again";
  EXPECT_EQ(model->failure(), "Apple paused requests · retry in 14:59");
}

TEST_F(DiscoverModelTest, AFailedSaveStillShowsTheResults) {
  store->database().exec("CREATE TRIGGER refuse BEFORE INSERT ON StoredLadder BEGIN SELECT RAISE(ABORT, 'full'); END");
  auto model = make();
  model->setTerm("photo editor");
  search(*model);
  EXPECT_EQ(model->results().size(), 3u);
  const auto lines = model->statusLines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].rfind("the results could not be saved: ", 0), 0u) << lines[0];
}

TEST_F(DiscoverModelTest, ATrackDraftCarriesTheSearchedTerm) {
  auto model = make();
  model->setTerm("photo editor");
  search(*model);
  EXPECT_FALSE(model->openTrackDraft("99", clock.monotonic()));

  auto draft = model->openTrackDraft("22", clock.monotonic());
  ASSERT_TRUE(draft);
  EXPECT_FALSE(draft->isAlreadyTracked());
  ASSERT_EQ(draft->keywords().size(), 1u);
  EXPECT_EQ(draft->keywords()[0].keyword, "photo editor");
  EXPECT_EQ(draft->keywords()[0].provenance, store::KeywordProvenance::carriedFromSearch);

  const auto receipt = confirmTrackDraft(*store, writer, *draft);
  EXPECT_TRUE(receipt.createdApp);
  EXPECT_EQ(receipt.app.appStoreId, "22");
  EXPECT_EQ(receipt.app.artworkUrl512, "https://is1.example/22/512x512bb.png");
  ASSERT_EQ(receipt.createdQueries.size(), 1u);
  EXPECT_EQ(receipt.createdQueries[0].provenanceRaw, "carriedFromSearch");
  EXPECT_EQ(receipt.createdQueries[0].country, "us");

  auto again = model->openTrackDraft("22", clock.monotonic());
  EXPECT_TRUE(again->isAlreadyTracked());
  EXPECT_TRUE(again->isAlreadyMeasured(again->keywords().at(0))) << "the term is measured now: no extra request";
  EXPECT_TRUE(confirmTrackDraft(*store, writer, *again).createdQueries.empty());
}

// A tracked app's draft starts from the app's own "mine" mark, so confirming it never changes a mark the
// user did not touch; an app not tracked yet starts as nobody's.
TEST_F(DiscoverModelTest, ATrackDraftStartsFromTheTrackedAppsOwnMark) {
  writer.trackApp(store::AppFacts{"11", "App 11", "Dev 11", std::nullopt, std::nullopt}, "us", false);
  writer.trackApp(store::AppFacts{"22", "App 22", "Dev 22", std::nullopt, std::nullopt}, "us", true);
  auto model = make();
  model->setTerm("film filters");
  search(*model);

  const std::vector<std::pair<std::string, bool>> cases{{"11", false}, {"22", true}, {"33", false}};
  for (const auto& [id, mine] : cases) {
    auto draft = model->openTrackDraft(id, clock.monotonic());
    ASSERT_TRUE(draft) << id;
    EXPECT_EQ(draft->isMine(), mine) << id;
    confirmTrackDraft(*store, writer, *draft);
    EXPECT_EQ(store->apps().findByAppStoreId(id)->isMine, mine) << id;
  }
}

TEST_F(DiscoverModelTest, KeepsTheTermInAResearchSpace) {
  auto model = make();
  const auto space = writer.createSpace(store::randomUuid(), "Travel ideas");
  EXPECT_THROW(model->keepInSpace(writer, space), KeepTargetError);
  model->setTerm("photo editor");
  search(*model);
  const auto kept = model->keepInSpace(writer, space);
  ASSERT_TRUE(kept.inserted);
  EXPECT_EQ(kept.inserted->provenanceRaw, "carriedFromSearch");
  EXPECT_EQ(kept.inserted->space, space.rowId);
  EXPECT_TRUE(model->keepInSpace(writer, space).alreadyThere);
}

TEST_F(DiscoverModelTest, TheMainThreadKeepsTurningWhileTheSearchIsInFlight) {
  holding = true;
  auto model = make();
  model->setTerm("photo editor");
  ASSERT_TRUE(model->search());
  held.waitForArrivals(1);
  EXPECT_TRUE(model->isSearching());
  model->setTerm("collage");  // the user types on while the store is asked
  EXPECT_FALSE(model->hasSearched());
  EXPECT_TRUE(store::LadderWriter(*store).savedFor("photo editor", "us").empty());

  held.release();
  queue.runUntil([&] { return !model->isSearching(); });
  EXPECT_EQ(model->searchedTerm(), "photo editor") << "the answer belongs to the term that was asked";
  EXPECT_EQ(model->term(), "collage");
  EXPECT_EQ(store::LadderWriter(*store).savedFor("photo editor", "us").size(), 1u);
}

TEST_F(DiscoverModelTest, ANewerSearchWinsOverOneStillInFlight) {
  holding = true;
  auto model = make();
  model->setTerm("photo editor");
  model->search();
  held.waitForArrivals(1);
  model->setTerm("collage");
  model->search();
  held.waitForArrivals(2);
  held.release(2);
  queue.runUntil([&] { return !model->isSearching(); });
  queue.drain();
  EXPECT_EQ(searched, (std::vector<std::string>{"photo editor|us", "collage|us"}));
  EXPECT_EQ(model->searchedTerm(), "collage");
  EXPECT_TRUE(store::LadderWriter(*store).savedFor("photo editor", "us").empty()) << "the older answer was dropped";
  EXPECT_EQ(store::LadderWriter(*store).savedFor("collage", "us").size(), 1u);
}

TEST_F(DiscoverModelTest, DestroyingTheModelMidSearchStopsItAndWritesNothing) {
  holding = true;
  auto model = make();
  model->setTerm("photo editor");
  model->search();
  held.waitForArrivals(1);
  model.reset();
  queue.drain();
  EXPECT_TRUE(store::LadderWriter(*store).savedFor("photo editor", "us").empty());
  EXPECT_EQ(store->ladders().count(), 0);
}

}  // namespace
}  // namespace tovra::research
