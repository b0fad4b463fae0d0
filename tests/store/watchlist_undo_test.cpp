#include <gtest/gtest.h>

#include <functional>

#include "AsoKit/clock.h"
#include "app/store/store.h"
#include "app/store/watchlist_writer.h"
#include "fixtures.h"

namespace tovra::store {
namespace {

using Receipt = WatchlistWriter::Receipt;

store::KeywordDraft draft(std::string keyword, std::string country) {
  return store::KeywordDraft{store::randomUuid(), std::move(keyword), std::move(country),
                             store::KeywordProvenance::typedByUser};
}

AppFacts facts(std::string id) {
  return AppFacts{std::move(id), "Photo Lab", "Lab Works", std::nullopt, std::nullopt};
}

// A store with one app already tracked (not claimed as the user's, named in the US store, one keyword)
// that every undo must leave alone unless the receipt says otherwise.
struct World {
  asokit::VirtualClock clock{testing::utc(2025, 1, 14, 9)};
  std::unique_ptr<Store> store = Store::inMemory();
  WatchlistWriter writer{*store, clock.wall()};
  TrackedApp bystander = writer.trackApp(facts("1000000009"), "us", false).app;
  TrackedApp tracked = writer.trackApp(facts("1000000001"), "us", false).app;
  TrackedQuery trackedKeyword = writer.addKeywords(tracked, {draft("maps", "us")}).front();
};

struct UndoCase {
  const char* name;
  std::function<Receipt(World&)> edit;
  std::function<void(World&, const Receipt&)> expectAfterUndo;
};

class UndoTest : public ::testing::TestWithParam<UndoCase> {};

TEST_P(UndoTest, TakesBackWhatTheReceiptSaysAndNothingElse) {
  World world;
  const auto receipt = GetParam().edit(world);
  world.writer.undo(receipt);
  GetParam().expectAfterUndo(world, receipt);
  // The untouched app survives every undo.
  EXPECT_TRUE(world.store->apps().find(world.bystander.rowId));
  EXPECT_EQ(world.store->localizations().ofApp(world.bystander.rowId).size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(
    Receipts, UndoTest,
    ::testing::Values(
        UndoCase{
            "NewAppWithKeywords",
            [](World& w) {
              auto receipt = w.writer.trackApp(facts("1000000002"), "de", true);
              // The track panel adds the draft's keywords as part of the same edit.
              receipt.createdQueries = w.writer.addKeywords(receipt.app, {draft("karten", "de"), draft("x", "de")});
              return receipt;
            },
            [](World& w, const Receipt& r) {
              EXPECT_FALSE(w.store->apps().find(r.app.rowId));
              EXPECT_FALSE(w.store->localizations().find(r.createdLocalization->rowId))
                  << "a country name is only detached by the app's deletion; undo removes it";
              EXPECT_EQ(w.store->queries().count(), 1) << "only the other app's keyword is left";
              EXPECT_EQ(w.store->localizations().count(), 2);
            }},
        UndoCase{"ClaimedATrackedAppInANewCountry",
                 [](World& w) {
                   auto receipt = w.writer.trackApp(facts("1000000001"), "gb", true);
                   receipt.createdQueries = w.writer.addKeywords(receipt.app, {draft("maps", "gb")});
                   return receipt;
                 },
                 [](World& w, const Receipt& r) {
                   const auto app = w.store->apps().get(w.tracked.rowId);
                   EXPECT_FALSE(app.isMine) << "the claim before the edit is back";
                   EXPECT_EQ(r.previousIsMine, false);
                   EXPECT_FALSE(w.store->localizations().find(r.createdLocalization->rowId));
                   EXPECT_EQ(w.store->localizations().ofApp(app.rowId).size(), 1u);
                   const auto keywords = w.store->queries().ofApp(app.rowId);
                   ASSERT_EQ(keywords.size(), 1u);
                   EXPECT_EQ(keywords[0].rowId, w.trackedKeyword.rowId) << "keywords from before stay";
                 }},
        UndoCase{"RefreshedCountryNameStays",
                 [](World& w) {
                   w.writer.setPaused(w.trackedKeyword, true);
                   return w.writer.trackApp(facts("1000000001"), "us", true);
                 },
                 [](World& w, const Receipt& r) {
                   EXPECT_EQ(r.createdLocalization, std::nullopt);
                   EXPECT_EQ(w.store->localizations().ofApp(w.tracked.rowId).size(), 1u);
                   EXPECT_FALSE(w.store->apps().get(w.tracked.rowId).isMine);
                   EXPECT_TRUE(w.store->queries().get(w.trackedKeyword.rowId).isPaused)
                       << "undo touches only what the edit did";
                 }},
        UndoCase{"GraduationThatMovedKeywordsStays",
                 [](World& w) {
                   const auto space = w.writer.createSpace("7d0c1b8e-3f5a-4c2e-9b1d-2a6f4e8c0d13", "Trips");
                   w.writer.parkKeyword(space, "hiking", "us", KeywordProvenance::typedByUser);
                   return w.writer.graduateSpace(space, facts("1000000003"), "us", true);
                 },
                 [](World& w, const Receipt& r) {
                   ASSERT_EQ(r.movedQueries.size(), 1u);
                   EXPECT_TRUE(w.store->apps().find(r.app.rowId));
                   EXPECT_EQ(w.store->queries().get(r.movedQueries[0].rowId).app, r.app.rowId);
                   EXPECT_TRUE(w.store->localizations().find(r.createdLocalization->rowId));
                   EXPECT_EQ(w.store->spaces().all().front().promotedToAppStoreId, "1000000003");
                 }},
        UndoCase{"GraduationThatKeptEverythingInTheSpace",
                 [](World& w) {
                   const auto space = w.writer.createSpace("7d0c1b8e-3f5a-4c2e-9b1d-2a6f4e8c0d13", "Trips");
                   w.writer.parkKeyword(space, "Maps", "us", KeywordProvenance::typedByUser);
                   return w.writer.graduateSpace(space, facts("1000000001"), "us", true);
                 },
                 [](World& w, const Receipt& r) {
                   ASSERT_EQ(r.keptInSpace.size(), 1u);
                   const auto space = w.store->spaces().all().front();
                   EXPECT_EQ(space.promotedToAppStoreId, std::nullopt) << "the space is no longer marked graduated";
                   EXPECT_EQ(space.promotedAt, std::nullopt);
                   EXPECT_FALSE(w.store->apps().get(w.tracked.rowId).isMine);
                   EXPECT_EQ(w.store->queries().ofSpace(space.rowId).size(), 1u);
                 }},
        UndoCase{"GraduationOfAnEmptySpaceOntoANewApp",
                 [](World& w) {
                   const auto space = w.writer.createSpace("7d0c1b8e-3f5a-4c2e-9b1d-2a6f4e8c0d13", "Trips");
                   return w.writer.graduateSpace(space, facts("1000000003"), "us", false);
                 },
                 [](World& w, const Receipt& r) {
                   EXPECT_FALSE(w.store->apps().find(r.app.rowId));
                   EXPECT_EQ(w.store->spaces().all().front().promotedToAppStoreId, std::nullopt)
                       << "it must not name the app the undo deleted";
                 }}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(UndoAfterTheFactTest, AReceiptWhoseRecordsAreAlreadyGoneUndoesWithoutComplaint) {
  World world;
  const auto receipt = world.writer.trackApp(facts("1000000001"), "fr", true);
  world.store->apps().remove(world.tracked.rowId);
  EXPECT_NO_THROW(world.writer.undo(receipt));
  EXPECT_FALSE(world.store->apps().find(world.tracked.rowId));
}

}  // namespace
}  // namespace tovra::store
