#include "app/store/ladder_writer.h"

#include <SQLiteCpp/Database.h>
#include <gtest/gtest.h>

#include "app/store/store.h"
#include "app/store/store_error.h"
#include "fixtures.h"

namespace tovra::store {
namespace {

using namespace std::chrono;
using testing::makeApp;
using testing::utc;

asokit::RankedApp ranked(std::string id, std::int64_t position, std::optional<std::int64_t> ratings = std::nullopt,
                         std::optional<std::string> icon = std::nullopt) {
  asokit::RankedApp app;
  app.id = std::move(id);
  app.position = position;
  app.name = "App " + app.id;
  app.developer = "Dev " + app.id;
  app.ratingCount = ratings;
  app.iconURL = std::move(icon);
  return app;
}

LadderReading reading(std::vector<asokit::RankedApp> apps, WallTime at, std::string keyword = "photo editor",
                      std::string country = "us") {
  LadderReading r;
  r.keyword = std::move(keyword);
  r.country = std::move(country);
  r.resultCount = 200;
  r.enrichedDepth = enrichedDepth(apps);
  r.apps = std::move(apps);
  r.source = "discover";
  r.fetchedAt = at;
  return r;
}

class LadderWriterTest : public ::testing::Test {
 protected:
  std::vector<LadderEntry> entriesOf(const StoredLadder& ladder) {
    return store->ladderEntries().ofLadder(ladder.rowId);
  }

  std::unique_ptr<Store> store = Store::inMemory();
  LadderWriter writer{*store};
  const WallTime t0 = utc(2025, 3, 10, 9);
};

TEST_F(LadderWriterTest, TheSameResultWithinTheHourRefreshesOneSavedSearch) {
  writer.write(reading({ranked("1", 1, 100), ranked("2", 2)}, t0));
  auto later = reading({ranked("2", 2, 70, "https://x/a/100x100bb.png"), ranked("1", 1, 150)}, t0 + minutes{10});
  later.resultCount = 180;
  later.source = "signals";
  const auto second = writer.write(later);

  EXPECT_TRUE(second.refreshed);
  EXPECT_TRUE(second.sameAsPrevious) << "the apps are ordered by position before they are compared";
  const auto ladders = store->ladders().all();
  ASSERT_EQ(ladders.size(), 1u);
  EXPECT_EQ(ladders[0].fetchedAt, t0 + minutes{10});
  EXPECT_EQ(ladders[0].resultCount, 180);
  EXPECT_EQ(ladders[0].source, "signals");
  EXPECT_EQ(ladders[0].enrichedDepth, 2);
  const auto entries = entriesOf(ladders[0]);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].ratingCount, 150);
  EXPECT_EQ(entries[1].ratingCount, 70);
  EXPECT_EQ(entries[1].iconUrl, "https://x/a/100x100bb.png");
}

TEST_F(LadderWriterTest, ARefreshKeepsWhatTheNewReadingDoesNotCarry) {
  writer.write(reading({ranked("1", 1, 100, "https://x/1/60x60bb.jpg")}, t0));
  writer.write(reading({ranked("1", 1)}, t0 + minutes{5}));
  const auto entries = entriesOf(store->ladders().all().at(0));
  EXPECT_EQ(entries.at(0).ratingCount, 100);
  EXPECT_EQ(entries.at(0).iconUrl, "https://x/1/60x60bb.jpg");
}

struct NewLadderCase {
  std::string name;
  std::vector<asokit::RankedApp> second;
  minutes gap;
  bool sameAsPrevious;
};

class NewLadderTest : public LadderWriterTest, public ::testing::WithParamInterface<NewLadderCase> {};

TEST_P(NewLadderTest, StartsASecondSavedSearch) {
  const auto& c = GetParam();
  writer.write(reading({ranked("1", 1), ranked("2", 2)}, t0));
  const auto second = writer.write(reading(c.second, t0 + c.gap));
  EXPECT_FALSE(second.refreshed);
  EXPECT_EQ(second.sameAsPrevious, c.sameAsPrevious);
  EXPECT_EQ(store->ladders().count(), 2);
  EXPECT_EQ(store->ladderEntries().count(), 2 + static_cast<std::int64_t>(c.second.size()));
}

INSTANTIATE_TEST_SUITE_P(
    Ladders, NewLadderTest,
    ::testing::Values(NewLadderCase{"SixtyOneMinutesLater", {ranked("1", 1), ranked("2", 2)}, minutes{61}, true},
                      NewLadderCase{"ExactlyAnHourLater", {ranked("1", 1), ranked("2", 2)}, minutes{60}, true},
                      NewLadderCase{"AnotherOrder", {ranked("2", 1), ranked("1", 2)}, minutes{10}, false},
                      NewLadderCase{"OneAppMore", {ranked("1", 1), ranked("2", 2), ranked("3", 3)}, minutes{10}, false},
                      NewLadderCase{"NoAppsAtAll", {}, minutes{10}, false}),
    [](const auto& info) { return info.param.name; });

TEST_F(LadderWriterTest, KeywordsMeetByTheirKeyAndCountriesTrimmedAndLowerCased) {
  writer.write(reading({ranked("1", 1)}, t0, "Photo  Editor", " US"));
  const auto second = writer.write(reading({ranked("1", 1)}, t0 + minutes{1}, "photo editor", "us"));
  EXPECT_TRUE(second.refreshed);
  const auto ladders = store->ladders().all();
  ASSERT_EQ(ladders.size(), 1u);
  EXPECT_EQ(ladders[0].keyword, "Photo Editor") << "stored with its white space collapsed, case kept";
  EXPECT_EQ(ladders[0].country, "us");

  EXPECT_FALSE(writer.write(reading({ranked("1", 1)}, t0 + minutes{2}, "photo editor", "de")).refreshed);
  EXPECT_FALSE(writer.write(reading({ranked("1", 1)}, t0 + minutes{3}, "photo editors", "us")).refreshed);
}

TEST_F(LadderWriterTest, TheThirtyFirstSavedSearchRemovesTheOldest) {
  // Alternating orders, so that no write refreshes the one before.
  for (int i = 0; i < 30; ++i) {
    const bool odd = i % 2 == 1;
    writer.write(reading({ranked(odd ? "2" : "1", 1), ranked(odd ? "1" : "2", 2)}, t0 + minutes{i}));
  }
  writer.write(reading({ranked("9", 1)}, t0 + hours{5}, "other", "us"));
  ASSERT_EQ(store->ladders().count(), 31);

  const auto thirtyFirst = writer.write(reading({ranked("3", 1)}, t0 + hours{2}));
  EXPECT_EQ(thirtyFirst.removedByRetention, 1);
  const auto kept = writer.savedFor("photo editor", "us");
  ASSERT_EQ(kept.size(), 30u);
  EXPECT_EQ(kept.front().fetchedAt, t0 + hours{2});
  EXPECT_EQ(kept.back().fetchedAt, t0 + minutes{1}) << "the oldest, from t0, is the one removed";
  EXPECT_EQ(writer.savedFor("other", "us").size(), 1u) << "another keyword keeps its own";
  EXPECT_EQ(store->ladderEntries().count(), 29 * 2 + 1 + 1) << "the removed search's entries went with it";
}

TEST_F(LadderWriterTest, TheResultsArtworkFillsMissingArtworkOfTrackedAppsAsTheLookupGaveIt) {
  const auto bare = store->apps().insert(makeApp("1"));
  auto emptyArt = makeApp("2");
  emptyArt.artworkUrl512 = "";
  store->apps().insert(emptyArt);
  auto withArt = makeApp("3");
  withArt.artworkUrl512 = "https://x/3/512x512bb.jpg";
  store->apps().insert(withArt);
  store->apps().insert(makeApp("4"));

  auto art = [](asokit::RankedApp app, std::optional<std::string> artwork) {
    app.artworkUrl512 = std::move(artwork);
    return app;
  };
  // The artwork's address is not the icon's with another size: it is kept exactly as it came.
  const auto written = writer.write(reading(
      {art(ranked("1", 1, 10, "https://is1.example/a/b/128x128bb.webp"), "https://is1.example/a/b/512x512bb.png"),
       art(ranked("2", 2, 10, "https://is1.example/c/128x128bb.webp"), "https://is1.example/c/Icon.jpg"),
       art(ranked("3", 3, 10, "https://is1.example/d/128x128bb.webp"), "https://is1.example/d/512x512bb.jpg"),
       art(ranked("4", 4, 10, "https://is1.example/e/128x128bb.webp"), std::nullopt),
       art(ranked("5", 5, 10, "https://is1.example/f/128x128bb.webp"), "https://is1.example/f/512x512bb.jpg")},
      t0));

  EXPECT_EQ(store->apps().findByAppStoreId("1")->artworkUrl512, "https://is1.example/a/b/512x512bb.png");
  EXPECT_EQ(store->apps().findByAppStoreId("2")->artworkUrl512, "https://is1.example/c/Icon.jpg");
  EXPECT_EQ(store->apps().findByAppStoreId("3")->artworkUrl512, "https://x/3/512x512bb.jpg") << "kept, not replaced";
  EXPECT_EQ(store->apps().findByAppStoreId("4")->artworkUrl512, std::nullopt) << "an icon alone is not artwork";
  EXPECT_EQ(written.artworkFilled.size(), 2u);
  EXPECT_EQ(written.artworkFilled.front(), bare.rowId);
  EXPECT_FALSE(store->apps().findByAppStoreId("5")) << "an untracked app is not created";
  EXPECT_EQ(written.saved.entries[0].iconUrl, "https://is1.example/a/b/128x128bb.webp") << "entries keep the icon";
}

TEST_F(LadderWriterTest, AFailedSaveLeavesTheStoreAsItWas) {
  writer.write(reading({ranked("1", 1)}, t0));
  // A ladder whose entries break the schema's rules cannot be written; nothing of it stays.
  store->database().exec("CREATE TRIGGER refuse BEFORE INSERT ON LadderEntry BEGIN SELECT RAISE(ABORT, 'no'); END");
  EXPECT_THROW(writer.write(reading({ranked("2", 1)}, t0 + hours{2})), StoreError);
  EXPECT_EQ(store->ladders().count(), 1);
}

}  // namespace
}  // namespace tovra::store
