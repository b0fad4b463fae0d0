#include "app/store/watchlist_writer.h"

#include <SQLiteCpp/Database.h>
#include <gtest/gtest.h>

#include "AsoKit/clock.h"
#include "app/store/app_releases.h"
#include "app/store/keyword_draft.h"
#include "app/store/store.h"
#include "app/store/store_error.h"
#include "fixtures.h"
#include "temp_dir.h"

namespace tovra::store {
namespace {

using namespace std::chrono;
using EditError = WatchlistWriter::EditError;
using store::KeywordDraft;

constexpr const char* kSpaceId = "7d0c1b8e-3f5a-4c2e-9b1d-2a6f4e8c0d13";

KeywordDraft draft(std::string keyword, std::string country,
                   store::KeywordProvenance provenance = store::KeywordProvenance::typedByUser) {
  return KeywordDraft{store::randomUuid(), std::move(keyword), std::move(country), provenance};
}

AppFacts facts(std::string id, std::string name = "Photo Lab") {
  return AppFacts{std::move(id), std::move(name), "Lab Works", "com.labworks.photo", "https://icons.example/512.png"};
}

std::vector<std::string> keywordsOf(const std::vector<TrackedQuery>& queries) {
  std::vector<std::string> keywords;
  for (const auto& query : queries) {
    keywords.push_back(query.keyword + "|" + query.country);
  }
  return keywords;
}

class WatchlistWriterTest : public ::testing::Test {
 protected:
  asokit::VirtualClock clock{testing::utc(2025, 1, 14, 9)};
  std::unique_ptr<Store> store = Store::inMemory();
  WatchlistWriter writer{*store, clock.wall()};
};

// Two connections on one file: the observer's data version moves only when the writer really commits.
class WatchlistWriterSaveTest : public ::testing::Test {
 protected:
  testing::TempDir dir;
  asokit::VirtualClock clock{testing::utc(2025, 1, 14, 9)};
  std::unique_ptr<Store> store = Store::open(dir.path() / "default.store");
  std::unique_ptr<Store> observer = Store::open(dir.path() / "default.store");
  WatchlistWriter writer{*store, clock.wall()};

  bool saves(const std::function<void()>& edit) {
    const auto before = observer->dataVersion();
    edit();
    return observer->dataVersion() != before;
  }
};

struct RenameCase {
  const char* name;
  std::string newName;
  std::optional<std::string> stored;  // absent: refused with emptyName
  bool saves;
};

class RenameTest : public WatchlistWriterSaveTest, public ::testing::WithParamInterface<RenameCase> {};

TEST_P(RenameTest, TrimsRefusesBlankAndSkipsTheSameName) {
  const auto space = writer.createSpace(kSpaceId, "Trips");
  const auto& c = GetParam();
  bool refused = false;
  const bool saved = saves([&] {
    try {
      writer.renameSpace(space, c.newName);
    } catch (const EditError& error) {
      refused = true;
      EXPECT_EQ(error.kind(), EditError::Kind::emptyName);
      EXPECT_EQ(error.description(), "A research space needs a name.");
    }
  });
  EXPECT_EQ(refused, !c.stored.has_value());
  EXPECT_EQ(store->spaces().get(space.rowId).name, c.stored.value_or("Trips"));
  EXPECT_EQ(saved, c.saves);
}

INSTANTIATE_TEST_SUITE_P(Names, RenameTest,
                         ::testing::Values(RenameCase{"Padded", "  Travel  ", "Travel", true},
                                           RenameCase{"OnlySpaces", "    ", std::nullopt, false},
                                           RenameCase{"LineBreaks", "\n\t \n", std::nullopt, false},
                                           RenameCase{"SameName", "Trips", "Trips", false},
                                           RenameCase{"SameNamePadded", " Trips\n", "Trips", false},
                                           RenameCase{"OtherCase", "trips", "trips", true}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(WatchlistWriterSaveTest, PausingToTheStateItHasWritesNothing) {
  const auto app = writer.trackApp(facts("1000000001"), "us", false).app;
  const auto query = writer.addKeywords(app, {draft("maps", "us")}).front();
  EXPECT_FALSE(saves([&] { writer.setPaused(query, false); }));
  EXPECT_TRUE(saves([&] { EXPECT_TRUE(writer.setPaused(query, true).isPaused); }));
  EXPECT_FALSE(saves([&] { writer.setPaused(query, true); }));
  EXPECT_TRUE(store->queries().get(query.rowId).isPaused);
}

TEST_F(WatchlistWriterSaveTest, ParkingAKeywordTheSpaceHoldsReturnsItAndWritesNothing) {
  const auto space = writer.createSpace(kSpaceId, "Trips");
  const auto first = writer.parkKeyword(space, " City Maps ", "US", KeywordProvenance::typedByUser);
  ASSERT_TRUE(first);
  EXPECT_EQ(first->keyword, "City Maps");
  EXPECT_EQ(first->country, "us") << "countries are stored lower-cased";
  std::optional<TrackedQuery> again;
  EXPECT_FALSE(
      saves([&] { again = writer.parkKeyword(space, "city  maps", "us", KeywordProvenance::carriedFromSearch); }));
  ASSERT_TRUE(again);
  EXPECT_EQ(again->rowId, first->rowId);
  EXPECT_EQ(again->provenance(), KeywordProvenance::typedByUser);
  EXPECT_FALSE(saves([&] { EXPECT_FALSE(writer.parkKeyword(space, " \n ", "us", KeywordProvenance::typedByUser)); }));
  EXPECT_EQ(store->queries().count(), 1);
}

TEST_F(WatchlistWriterSaveTest, AFullDiskAddsNoneOfTheBatch) {
  const auto app = writer.trackApp(facts("1000000001"), "us", false).app;
  const auto pages = store->database().execAndGet("PRAGMA page_count").getInt();
  store->database().exec("PRAGMA max_page_count = " + std::to_string(pages + 1));
  std::vector<KeywordDraft> drafts;
  for (int i = 0; i < 200; ++i) {
    drafts.push_back(draft("keyword " + std::to_string(i) + std::string(80, 'k'), "us"));
  }
  EXPECT_THROW(writer.addKeywords(app, drafts), StoreError);
  EXPECT_EQ(store->queries().count(), 0) << "one save per operation: all or nothing";
}

TEST_F(WatchlistWriterTest, ASpaceWithABlankNameIsCalledResearchSpaceAndABlankNoteIsAbsent) {
  const auto blank = writer.createSpace(kSpaceId, " \t ", std::string("  "));
  EXPECT_EQ(blank.name, "research space");
  EXPECT_EQ(blank.note, std::nullopt);
  EXPECT_EQ(blank.createdAt, clock.wallNow());
  EXPECT_EQ(blank.promotedToAppStoreId, std::nullopt);
  const auto named = writer.createSpace("0b9f6a51-1c3e-4d7a-8e2f-5a4b3c2d1e0f", " Travel ", std::string(" for May "));
  EXPECT_EQ(named.name, "Travel");
  EXPECT_EQ(named.note, "for May");
  EXPECT_EQ(store->spaces().count(), 2);
}

TEST_F(WatchlistWriterTest, PausingAParkedKeywordAndUnparkingAMeasuredOneAreRefused) {
  const auto space = writer.createSpace(kSpaceId, "Trips");
  const auto parked = *writer.parkKeyword(space, "maps", "us", KeywordProvenance::typedByUser);
  const auto app = writer.trackApp(facts("1000000001"), "us", false).app;
  const auto measured = writer.addKeywords(app, {draft("maps", "us")}).front();

  try {
    writer.setPaused(parked, true);
    FAIL() << "a parked keyword was paused";
  } catch (const EditError& error) {
    EXPECT_EQ(error.kind(), EditError::Kind::notWatched);
    EXPECT_EQ(error.description(), "Only a measured keyword can be paused.");
  }
  try {
    writer.removeParkedKeyword(measured);
    FAIL() << "a measured keyword was removed as if parked";
  } catch (const EditError& error) {
    EXPECT_EQ(error.kind(), EditError::Kind::notParked);
    EXPECT_EQ(error.description(), "Only a keyword parked in a research space can be removed this way.");
  }
  EXPECT_FALSE(store->queries().get(parked.rowId).isPaused);
  EXPECT_TRUE(store->queries().find(measured.rowId));

  store->observations().insert(testing::makeReading(parked.rowId, testing::utc(2025, 1, 13), 3));
  writer.removeParkedKeyword(parked);
  EXPECT_FALSE(store->queries().find(parked.rowId));
  EXPECT_EQ(store->observations().count(), 0) << "its readings go with it";
}

struct BatchCase {
  const char* name;
  std::vector<std::pair<std::string, std::string>> drafts;  // keyword, country
  std::vector<std::string> added;                           // keyword|country as stored
};

class AddKeywordsTest : public WatchlistWriterTest, public ::testing::WithParamInterface<BatchCase> {};

TEST_P(AddKeywordsTest, SkipsBlanksAndEveryKeywordWithAKeyAlreadySeen) {
  const auto app = writer.trackApp(facts("1000000001"), "us", false).app;
  writer.addKeywords(app, {draft("Weather Radar", "us")});
  std::vector<KeywordDraft> drafts;
  for (const auto& [keyword, country] : GetParam().drafts) {
    drafts.push_back(draft(keyword, country));
  }
  const auto added = writer.addKeywords(app, drafts);
  EXPECT_EQ(keywordsOf(added), GetParam().added);
  EXPECT_EQ(store->queries().count(), static_cast<std::int64_t>(1 + GetParam().added.size()));
  for (const auto& query : added) {
    EXPECT_EQ(query.app, app.rowId);
    EXPECT_EQ(query.space, std::nullopt);
    EXPECT_FALSE(query.isPaused);
    EXPECT_EQ(query.addedAt, clock.wallNow());
  }
}

INSTANTIATE_TEST_SUITE_P(
    Batches, AddKeywordsTest,
    ::testing::Values(
        BatchCase{"CaseOnlyDifference", {{"Photo Editor", "us"}, {"photo editor", "us"}}, {"Photo Editor|us"}},
        BatchCase{"OtherCountryIsAnotherKeyword",
                  {{"Photo Editor", "us"}, {"photo editor", "DE"}},
                  {"Photo Editor|us", "photo editor|de"}},
        BatchCase{"CountryCaseAndPadding", {{"maps", "us"}, {"maps", " US\n"}}, {"maps|us"}},
        BatchCase{"AlreadyOnTheApp", {{"weather  radar", "US"}, {"radar", "us"}}, {"radar|us"}},
        BatchCase{"TrimmedBeforeUse", {{"  maps\n", "us"}}, {"maps|us"}},
        BatchCase{"BlankSkipped", {{" ", "us"}, {"", "us"}, {"maps", "us"}}, {"maps|us"}},
        // A capital dotted I, and an i with a combining dot above, meet the plain i.
        BatchCase{"TurkishDottedI",
                  {{"\xC4\xB0stanbul", "tr"}, {"istanbul", "tr"}, {"i\xCC\x87stanbul", "tr"}},
                  {"\xC4\xB0stanbul|tr"}},
        // U+00E9 composed and e + U+0301 decomposed are one keyword.
        BatchCase{"Nfc", {{"caf\xC3\xA9", "fr"}, {"cafe\xCC\x81", "fr"}}, {"caf\xC3\xA9|fr"}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(WatchlistWriterTest, KeywordsKeepTheProvenanceOfTheirDraft) {
  const auto app = writer.trackApp(facts("1000000001"), "us", false).app;
  const auto added = writer.addKeywords(app, {draft("maps", "us", store::KeywordProvenance::carriedFromSearch),
                                              draft("radar", "us", store::KeywordProvenance::carriedFromStoreHint)});
  ASSERT_EQ(added.size(), 2u);
  EXPECT_EQ(store->queries().get(added[0].rowId).provenanceRaw, "carriedFromSearch");
  EXPECT_EQ(store->queries().get(added[1].rowId).provenanceRaw, "carriedFromStoreHint");
}

TEST_F(WatchlistWriterTest, TrackingAnAppTwiceKeepsOneRecordAndRefreshesIt) {
  const auto first = writer.trackApp(facts("1000000001", "Photo Lab"), "us", true);
  EXPECT_TRUE(first.createdApp);
  EXPECT_EQ(first.previousIsMine, std::nullopt);
  ASSERT_TRUE(first.createdLocalization);
  EXPECT_EQ(first.createdLocalization->country, "us");
  EXPECT_EQ(first.app.addedAt, clock.wallNow());

  clock.advance(hours{30});
  auto later = facts("1000000001", "Photo Lab Pro");
  later.bundleId.reset();  // a search result carries no bundle id: the stored one stays
  const auto second = writer.trackApp(later, " US", false);
  EXPECT_FALSE(second.createdApp);
  EXPECT_EQ(second.previousIsMine, true);
  EXPECT_EQ(second.createdLocalization, std::nullopt) << "the country's name was refreshed, not added";

  const auto app = store->apps().get(first.app.rowId);
  EXPECT_EQ(store->apps().count(), 1);
  EXPECT_EQ(app.displayName, "Photo Lab Pro");
  EXPECT_EQ(app.bundleId, "com.labworks.photo");
  EXPECT_FALSE(app.isMine);
  EXPECT_EQ(app.addedAt, first.app.addedAt) << "first tracked, not last";
  const auto names = store->localizations().ofApp(app.rowId);
  ASSERT_EQ(names.size(), 1u);
  EXPECT_EQ(names[0].name, "Photo Lab Pro");
  EXPECT_EQ(names[0].fetchedAt, clock.wallNow());

  EXPECT_TRUE(writer.trackApp(facts("1000000001", "Fotolabor"), "de", false).createdLocalization);
  EXPECT_EQ(store->localizations().ofApp(app.rowId).size(), 2u);
}

TEST_F(WatchlistWriterTest, TrackingKeepsTheCurrentVersionAsAReleaseOnceAndOnlyWhenItsDateIsKnown) {
  auto withVersion = facts("1000000001");
  withVersion.version = "2.3";
  withVersion.versionReleasedAt = testing::utc(2025, 1, 2, 8);
  writer.trackApp(withVersion, "us", false);
  writer.trackApp(withVersion, "de", false);
  auto undated = facts("1000000002");
  undated.version = "1.0";
  writer.trackApp(undated, "us", false);

  EXPECT_EQ(Releases(*store).ofApp("1000000001"),
            (std::vector<AppRelease>{{"1000000001", "2.3", testing::utc(2025, 1, 2, 8), clock.wallNow()}}));
  EXPECT_TRUE(Releases(*store).ofApp("1000000002").empty()) << "a version without its date is not a release";
}

TEST_F(WatchlistWriterTest, GraduationMovesKeywordsAndKeepsTheAppsDuplicateInTheSpace) {
  const auto app = writer.trackApp(facts("1000000001"), "us", false).app;
  const auto existing = writer.addKeywords(app, {draft("maps", "us")}).front();
  const auto space = writer.createSpace(kSpaceId, "Trips");
  clock.advance(hours{1});
  const auto dup = *writer.parkKeyword(space, "Maps", "us", KeywordProvenance::typedByUser);
  const auto moved = *writer.parkKeyword(space, "hiking trails", "us", KeywordProvenance::carriedFromStoreHint);
  const auto otherCountry = *writer.parkKeyword(space, "maps", "de", KeywordProvenance::typedByUser);
  store->observations().insert(testing::makeReading(moved.rowId, testing::utc(2025, 1, 13), 7));
  clock.advance(hours{1});

  const auto receipt = writer.graduateSpace(space, facts("1000000001"), "us", false);

  EXPECT_FALSE(receipt.createdApp);
  EXPECT_EQ(receipt.app.rowId, app.rowId);
  EXPECT_EQ(keywordsOf(receipt.keptInSpace), std::vector<std::string>{"Maps|us"});
  EXPECT_EQ(keywordsOf(receipt.movedQueries), (std::vector<std::string>{"hiking trails|us", "maps|de"}));
  EXPECT_TRUE(receipt.createdQueries.empty());

  const auto stayed = store->queries().get(dup.rowId);
  EXPECT_EQ(stayed.space, space.rowId);
  EXPECT_EQ(stayed.app, std::nullopt);
  const auto carried = store->queries().get(moved.rowId);
  EXPECT_EQ(carried.app, app.rowId);
  EXPECT_EQ(carried.space, std::nullopt);
  EXPECT_EQ(carried.provenanceRaw, "carriedFromStoreHint");
  EXPECT_EQ(carried.addedAt, moved.addedAt);
  EXPECT_EQ(store->observations().ofQuery(moved.rowId).size(), 1u) << "history moves with the keyword";
  EXPECT_EQ(store->queries().get(otherCountry.rowId).app, app.rowId);
  EXPECT_EQ(store->queries().ofApp(app.rowId).size(), 3u);
  EXPECT_EQ(store->queries().get(existing.rowId).app, app.rowId);

  const auto promoted = store->spaces().get(space.rowId);
  EXPECT_EQ(promoted.promotedToAppStoreId, "1000000001");
  EXPECT_EQ(promoted.promotedAt, clock.wallNow());
}

TEST_F(WatchlistWriterTest, GraduatingOntoANewAppCreatesItAndItsCountryName) {
  const auto space = writer.createSpace(kSpaceId, "Trips");
  writer.parkKeyword(space, "maps", "us", KeywordProvenance::typedByUser);
  const auto receipt = writer.graduateSpace(space, facts("1000000002", "Trail Maps"), "us", true);
  EXPECT_TRUE(receipt.createdApp);
  EXPECT_TRUE(receipt.createdLocalization);
  EXPECT_EQ(receipt.movedQueries.size(), 1u);
  EXPECT_TRUE(store->apps().get(receipt.app.rowId).isMine);
  EXPECT_TRUE(store->queries().ofSpace(space.rowId).empty());
}

}  // namespace
}  // namespace tovra::store
