#include "app/store/transaction.h"

#include <SQLiteCpp/Database.h>
#include <gtest/gtest.h>

#include "app/store/store.h"
#include "app/store/store_error.h"
#include "fixtures.h"
#include "temp_dir.h"

namespace tovra::store {
namespace {

using testing::makeApp;

TEST(TransactionTest, ATransactionLeftWithoutCommitTakesItsChangesBack) {
  auto store = Store::inMemory();
  {
    Transaction transaction(*store);
    store->apps().insert(makeApp("1"));
    store->apps().insert(makeApp("2"));
  }
  EXPECT_EQ(store->apps().count(), 0);
  EXPECT_FALSE(store->inTransaction());
}

TEST(TransactionTest, AnInnerTransactionRollsBackAloneAndTheOuterOneStillCommits) {
  auto store = Store::inMemory();
  {
    Transaction outer(*store);
    store->apps().insert(makeApp("kept"));
    {
      Transaction inner(*store);
      store->apps().insert(makeApp("dropped"));
    }
    outer.commit();
  }
  EXPECT_TRUE(store->apps().findByAppStoreId("kept"));
  EXPECT_FALSE(store->apps().findByAppStoreId("dropped"));
}

TEST(TransactionTest, AnOperationThatFailsInsideACallersTransactionLeavesItUsable) {
  auto store = Store::inMemory();
  Transaction transaction(*store);
  store->apps().insert(makeApp("1"));
  const auto app = store->apps().insert(makeApp("2"));
  // A ladder with an entry that breaks a rule: the whole insert-with-entries goes, the rest stays.
  auto query = testing::makeQuery("maps", "us", app.rowId);
  query.space = RecordId<ResearchSpace>{12345};
  EXPECT_THROW(store->queries().insert(query), StoreError);
  transaction.commit();
  EXPECT_EQ(store->apps().count(), 2);
}

TEST(TransactionTest, AFullDiskFailsTheSaveInWordsAndKeepsWhatWasSaved) {
  testing::TempDir dir;
  auto store = Store::open(dir.path() / "default.store");
  store->apps().insert(makeApp("before"));
  const auto pages = store->database().execAndGet("PRAGMA page_count").getInt();
  store->database().exec("PRAGMA max_page_count = " + std::to_string(pages + 2));

  try {
    Transaction transaction(*store);
    for (int i = 0; i < 200; ++i) {
      store->apps().insert(makeApp(std::to_string(i), std::string(500, 'n')));
    }
    transaction.commit();
    FAIL() << "the store grew past its limit";
  } catch (const StoreError& error) {
    EXPECT_EQ(error.kind(), StoreError::Kind::diskFull);
    EXPECT_EQ(error.description(), "The disk is full while saving the change; nothing was changed.");
  }
  EXPECT_FALSE(store->inTransaction());
  EXPECT_EQ(store->apps().count(), 1);
  EXPECT_TRUE(store->apps().findByAppStoreId("before"));
  // Still usable for a change that fits.
  store->apps().insert(makeApp("after"));
  EXPECT_EQ(store->apps().count(), 2);
}

TEST(TransactionTest, ASecondProcessSeesOnlyCommittedChanges) {
  testing::TempDir dir;
  auto writer = Store::open(dir.path() / "default.store");
  auto reader = Store::open(dir.path() / "default.store");
  const auto versionBefore = reader->dataVersion();
  {
    Transaction transaction(*writer);
    writer->apps().insert(makeApp("1"));
    EXPECT_EQ(reader->apps().count(), 0);
    transaction.commit();
  }
  EXPECT_EQ(reader->apps().count(), 1);
  EXPECT_NE(reader->dataVersion(), versionBefore) << "a view could not tell that it must re-read";
}

TEST(TransactionTest, AWriteWhileAnotherConnectionHoldsTheLockFailsAsBusyInWords) {
  testing::TempDir dir;
  auto holder = Store::open(dir.path() / "default.store");
  auto other = Store::open(dir.path() / "default.store");
  other->database().setBusyTimeout(10);  // the real timeout is 5 s; the wording is what matters here
  Transaction held(*holder);
  try {
    other->apps().insert(makeApp("1"));
    FAIL() << "two writers at once";
  } catch (const StoreError& error) {
    EXPECT_EQ(error.kind(), StoreError::Kind::busy);
    EXPECT_EQ(error.description(),
              "The store is in use by another program while saving the change; nothing was changed. Try again in a "
              "moment.");
  }
}

}  // namespace
}  // namespace tovra::store
