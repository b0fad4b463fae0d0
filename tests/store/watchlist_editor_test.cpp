#include "app/store/watchlist_editor.h"

#include <gtest/gtest.h>

#include "AsoKit/clock.h"
#include "app/store/integrity.h"
#include "app/store/store.h"
#include "app/store/store_error.h"
#include "fixtures.h"

namespace tovra::store {
namespace {

constexpr const char* kSpaceId = "7d0c1b8e-3f5a-4c2e-9b1d-2a6f4e8c0d13";

class WatchlistEditorTest : public ::testing::Test {
 protected:
  asokit::VirtualClock clock{testing::utc(2025, 1, 14, 9)};
  std::unique_ptr<Store> store = Store::inMemory();
  WatchlistWriter writer{*store, clock.wall()};
  WatchlistEditor editor{*store, writer};
  int changes = 0;
  base::Subscription watching = editor.changes().subscribe([this] { ++changes; });
  ResearchSpace space = writer.createSpace(kSpaceId, "Trips");
};

TEST_F(WatchlistEditorTest, ARenameStartsFromTheCurrentNameAndClosesWhenSaved) {
  editor.beginRename(space);
  EXPECT_TRUE(editor.isRenaming());
  EXPECT_EQ(editor.draftName(), "Trips");
  editor.setDraftName("  Travel ");
  EXPECT_TRUE(editor.commitRename());
  EXPECT_FALSE(editor.isRenaming());
  EXPECT_EQ(editor.renaming(), std::nullopt);
  EXPECT_EQ(editor.failure(), std::nullopt);
  EXPECT_EQ(store->spaces().get(space.rowId).name, "Travel");
  EXPECT_EQ(changes, 3);
}

TEST_F(WatchlistEditorTest, ABlankNameStaysOpenWithTheRefusalInTheFailureLine) {
  editor.beginRename(space);
  editor.setDraftName(" ");
  EXPECT_FALSE(editor.commitRename());
  EXPECT_TRUE(editor.isRenaming()) << "the user can still correct the name";
  EXPECT_EQ(editor.failure(), "A research space needs a name.");
  EXPECT_EQ(store->spaces().get(space.rowId).name, "Trips");

  editor.setDraftName("Travel");
  EXPECT_TRUE(editor.commitRename());
  EXPECT_EQ(editor.failure(), std::nullopt) << "a saved change clears the failure line";
}

TEST_F(WatchlistEditorTest, AFailedSaveSaysSoWithTheStoresOwnWords) {
  editor.beginRename(space);
  store->spaces().remove(space.rowId);  // deleted by another window meanwhile
  editor.setDraftName("Travel");
  EXPECT_FALSE(editor.commitRename());
  EXPECT_EQ(editor.failure(), "Tovra could not save this change: The record is no longer in the store.");
}

TEST(SaveFailureTextTest, ADamagedStoreAlsoSaysWhatHappensNext) {
  const StoreError damaged(StoreError::Kind::damaged, "The store file is damaged (database disk image is malformed)");
  EXPECT_EQ(saveFailureText(damaged),
            "Tovra could not save this change: The store file is damaged (database disk image is malformed)\n" +
                std::string(kSalvageAtNextLaunch));
  const StoreError full(StoreError::Kind::diskFull, "The disk is full");
  EXPECT_EQ(saveFailureText(full), "Tovra could not save this change: The disk is full");
}

TEST_F(WatchlistEditorTest, AConfirmedDeletionIsCarriedOutAndTheConfirmationCloses) {
  writer.parkKeyword(space, "maps", "us", KeywordProvenance::typedByUser);
  editor.askToDelete(DeletionPlan::forSpace(*store, space));
  ASSERT_TRUE(editor.pendingDeletion());
  EXPECT_TRUE(editor.confirmDeletion());
  EXPECT_EQ(editor.pendingDeletion(), std::nullopt);
  EXPECT_EQ(store->spaces().count(), 0);
  EXPECT_EQ(store->queries().count(), 0);
  EXPECT_FALSE(editor.confirmDeletion()) << "nothing pending, nothing deleted";
}

TEST_F(WatchlistEditorTest, ACancelledDeletionDeletesNothing) {
  editor.askToDelete(DeletionPlan::forSpace(*store, space));
  editor.cancelDeletion();
  EXPECT_EQ(editor.pendingDeletion(), std::nullopt);
  EXPECT_EQ(store->spaces().count(), 1);
}

TEST_F(WatchlistEditorTest, AStaleDeletionFailsIntoTheFailureLine) {
  editor.askToDelete(DeletionPlan::forSpace(*store, space));
  writer.parkKeyword(space, "maps", "us", KeywordProvenance::typedByUser);
  EXPECT_FALSE(editor.confirmDeletion());
  ASSERT_TRUE(editor.failure());
  EXPECT_EQ(editor.failure()->rfind("Tovra could not save this change: ", 0), 0u) << *editor.failure();
  EXPECT_EQ(store->spaces().count(), 1);
  EXPECT_EQ(store->queries().count(), 1);
}

TEST_F(WatchlistEditorTest, ARefusedEditShowsItsOwnText) {
  const auto parked = *writer.parkKeyword(space, "maps", "us", KeywordProvenance::typedByUser);
  EXPECT_FALSE(editor.apply([&] { writer.setPaused(parked, true); }));
  EXPECT_EQ(editor.failure(), "Only a measured keyword can be paused.");
  editor.dismissFailure();
  EXPECT_EQ(editor.failure(), std::nullopt);
}

}  // namespace
}  // namespace tovra::store
