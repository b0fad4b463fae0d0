#include "app/store/schema.h"

#include <SQLiteCpp/Database.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "app/store/store.h"
#include "app/store/store_error.h"
#include "app/store/transaction.h"
#include "fixtures.h"
#include "temp_dir.h"

namespace tovra::store {
namespace {

using testing::insertLinked;
using testing::Linked;
using testing::makeApp;
using testing::makeParkedQuery;
using testing::makeQuery;
using testing::makeSpace;
using testing::TempDir;

std::string bytesOf(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

TEST(SchemaTest, EveryVersionListsTheTwelveModelsInSchemaOrderAndThePlanStepsFromOneToTheNext) {
  const std::vector<std::string_view> expected{"TrackedApp",     "AppLocalization", "TrackedQuery", "StoredObservation",
                                               "MeasurementRun", "RunOutcome",      "ReviewMark",   "StoredLadder",
                                               "LadderEntry",    "HintProbe",       "StoreHint",    "ResearchSpace"};
  EXPECT_EQ(TovraSchemaV1::models(), expected);
  EXPECT_EQ(TovraSchemaV2::models(), expected);
  EXPECT_EQ(TovraSchemaV3::models(), expected);
  EXPECT_EQ(TovraMigrationPlan::schemas(), (std::vector<SchemaVersion>{{1, 0, 0}, {2, 0, 0}, {3, 0, 0}}));
  EXPECT_EQ(TovraMigrationPlan::stages(),
            (std::vector<MigrationStage>{{{1, 0, 0}, {2, 0, 0}}, {{2, 0, 0}, {3, 0, 0}}}));
  EXPECT_EQ(CurrentSchema::version, TovraMigrationPlan::schemas().back());
}

struct VersionCase {
  std::string text;
  std::optional<SchemaVersion> expected;
};

class SchemaVersionParseTest : public ::testing::TestWithParam<VersionCase> {};

TEST_P(SchemaVersionParseTest, ReadsOnlyThreeDottedNumbers) {
  EXPECT_EQ(SchemaVersion::parse(GetParam().text), GetParam().expected) << "\"" << GetParam().text << "\"";
}

INSTANTIATE_TEST_SUITE_P(Markers, SchemaVersionParseTest,
                         ::testing::Values(VersionCase{"1.0.0", SchemaVersion{1, 0, 0}},
                                           VersionCase{" 1.0.0\n", SchemaVersion{1, 0, 0}},
                                           VersionCase{"2.10.3", SchemaVersion{2, 10, 3}},
                                           VersionCase{"1.0", std::nullopt}, VersionCase{"1.0.0.0", std::nullopt},
                                           VersionCase{"1..0", std::nullopt}, VersionCase{"-1.0.0", std::nullopt},
                                           VersionCase{"1.0.0x", std::nullopt}, VersionCase{"a.b.c", std::nullopt},
                                           VersionCase{"", std::nullopt},
                                           VersionCase{"99999999999.0.0", std::nullopt}));

TEST(DeleteRulesTest, DeletingAnAppTakesItsKeywordsAndReadingsAndLeavesEverythingElse) {
  auto store = Store::inMemory();
  const auto linked = insertLinked(*store);

  store->apps().remove(linked.app.rowId);

  EXPECT_EQ(store->queries().count(), 0);
  EXPECT_EQ(store->observations().count(), 0);
  // Nullified, not deleted: a deletion that wants them gone lists them itself.
  const auto localization = store->localizations().find(linked.localization.rowId);
  ASSERT_TRUE(localization);
  EXPECT_FALSE(localization->app);
  const auto mark = store->reviewMarks().find(linked.mark.rowId);
  ASSERT_TRUE(mark);
  EXPECT_FALSE(mark->query);
  // The run keeps its outcome, which lost its keyword and its reading.
  const auto outcome = store->outcomes().find(linked.outcome.rowId);
  ASSERT_TRUE(outcome);
  EXPECT_FALSE(outcome->query);
  EXPECT_FALSE(outcome->observation);
  EXPECT_EQ(store->runs().count(), 1);
  // Saved searches and hints belong to the keyword in a country, not to the app.
  EXPECT_EQ(store->ladders().count(), 1);
  EXPECT_EQ(store->ladderEntries().count(), 1);
  EXPECT_EQ(store->probes().count(), 1);
  EXPECT_EQ(store->hints().count(), 1);
}

TEST(DeleteRulesTest, OwnersTakeWhatTheyOwn) {
  auto store = Store::inMemory();
  const auto linked = insertLinked(*store);

  store->runs().remove(linked.run.rowId);
  EXPECT_EQ(store->outcomes().count(), 0);
  EXPECT_EQ(store->observations().count(), 1) << "a reading outlives the run that wrote it";

  store->ladders().remove(linked.ladder.ladder.rowId);
  EXPECT_EQ(store->ladderEntries().count(), 0);

  store->probes().remove(linked.probe.probe.rowId);
  EXPECT_EQ(store->hints().count(), 0);

  store->queries().remove(linked.query.rowId);
  EXPECT_EQ(store->observations().count(), 0);
  EXPECT_EQ(store->database().execAndGet("SELECT count(*) FROM ReadingPeriod").getInt(), 0)
      << "the keyword's periods go with it";
  EXPECT_EQ(store->reviewMarks().count(), 1);
  EXPECT_EQ(store->apps().count(), 1);
}

TEST(DeleteRulesTest, DeletingASpaceTakesTheKeywordsParkedInIt) {
  auto store = Store::inMemory();
  const auto space = store->spaces().insert(makeSpace("6F9619FF-8B86-D011-B42D-00C04FC964FF"));
  const auto parked = store->queries().insert(makeParkedQuery("hotel deals", "de", space.rowId));
  store->observations().insert(testing::makeReading(parked.rowId, testing::utc(2025, 1, 5), std::nullopt));

  store->spaces().remove(space.rowId);

  EXPECT_EQ(store->queries().count(), 0);
  EXPECT_EQ(store->observations().count(), 0);
}

TEST(UniqueTest, ASecondAppWithTheSameStoreIdentifierIsTheStoredOne) {
  auto store = Store::inMemory();
  const auto first = store->apps().insert(makeApp("284882215", "First name"));
  const auto second = store->apps().insert(makeApp("284882215", "Second name"));

  EXPECT_EQ(second, first);
  EXPECT_EQ(store->apps().count(), 1);
  EXPECT_EQ(store->apps().findByAppStoreId("284882215")->displayName, "First name");
}

TEST(UniqueTest, ASecondSpaceWithTheSameIdentifierIsTheStoredOne) {
  auto store = Store::inMemory();
  const auto first = store->spaces().insert(makeSpace("6F9619FF-8B86-D011-B42D-00C04FC964FF", "One"));
  const auto second = store->spaces().insert(makeSpace("6F9619FF-8B86-D011-B42D-00C04FC964FF", "Two"));
  EXPECT_EQ(second, first);
  EXPECT_EQ(store->spaces().count(), 1);
}

TEST(UniqueTest, ChangingAnAppToAnotherAppsIdentifierIsRefusedInWords) {
  auto store = Store::inMemory();
  store->apps().insert(makeApp("111111"));
  auto other = store->apps().insert(makeApp("222222"));
  other.appStoreId = "111111";
  try {
    store->apps().update(other);
    FAIL() << "a duplicate identifier was stored";
  } catch (const StoreError& error) {
    EXPECT_EQ(error.kind(), StoreError::Kind::constraint);
    EXPECT_NE(error.description().find("nothing was changed"), std::string::npos) << error.description();
  }
  EXPECT_EQ(store->apps().findByAppStoreId("222222")->rowId, other.rowId);
}

TEST(RulesTest, AKeywordHasAtMostOneOwner) {
  auto store = Store::inMemory();
  const auto app = store->apps().insert(makeApp("1"));
  const auto space = store->spaces().insert(makeSpace("6F9619FF-8B86-D011-B42D-00C04FC964FF"));
  auto query = makeQuery("maps", "us", app.rowId);
  query.space = space.rowId;
  EXPECT_THROW(store->queries().insert(query), StoreError);

  auto stored = store->queries().insert(makeQuery("maps", "us", app.rowId));
  stored.space = space.rowId;
  EXPECT_THROW(store->queries().update(stored), StoreError);
  // Even a write that skips the typed checks meets the table's own rule.
  EXPECT_THROW(store->database().exec("UPDATE TrackedQuery SET space = " + std::to_string(space.rowId.value)),
               SQLite::Exception);
}

TEST(RulesTest, ARankIsNeverZeroAndOnlyAMeasuredOutcomeLinksAReading) {
  auto store = Store::inMemory();
  const auto linked = insertLinked(*store);
  EXPECT_THROW(store->observations().insert(testing::makeReading(linked.query.rowId, testing::utc(2025, 2, 1), 0)),
               StoreError);

  RunOutcome failed = linked.outcome;
  failed.setStatus(RunOutcomeStatus::failed);
  EXPECT_THROW(store->outcomes().update(failed), StoreError);
  EXPECT_THROW(store->database().exec("UPDATE RunOutcome SET statusRaw = 'failed'"), SQLite::Exception);
}

TEST(RulesTest, EnumsAreStoredByTheirRawText) {
  auto store = Store::inMemory();
  const auto linked = insertLinked(*store);
  EXPECT_EQ(store->database().execAndGet("SELECT provenanceRaw FROM TrackedQuery").getString(), "typedByUser");
  EXPECT_EQ(store->database().execAndGet("SELECT statusRaw FROM RunOutcome").getString(), "measured");

  auto query = linked.query;
  query.provenanceRaw = "somethingNewer";
  store->queries().update(query);
  EXPECT_EQ(store->queries().get(query.rowId).provenance(), std::nullopt);
  EXPECT_EQ(keywordProvenance("carriedFromStoreHint"), KeywordProvenance::carriedFromStoreHint);
  EXPECT_EQ(rawValue(RunOutcomeStatus::skipped), "skipped");
}

TEST(RulesTest, TimesKeepTheirMilliseconds) {
  auto store = Store::inMemory();
  auto app = makeApp("42");
  app.addedAt = testing::utc(2025, 1, 14, 9, 30, 12, 345);
  const auto stored = store->apps().insert(app);
  EXPECT_EQ(store->apps().get(stored.rowId).addedAt, app.addedAt);
  EXPECT_EQ(store->database().execAndGet("SELECT addedAt FROM TrackedApp").getInt64(), 1736847012345);
}

class ContainerCheckTest : public ::testing::Test {
 protected:
  TempDir dir;
  std::filesystem::path file = dir.path() / "default.store";

  void expectRefusedUntouched(StoreError::Kind kind) {
    const std::string before = bytesOf(file);
    try {
      Store::open(file);
      FAIL() << "opened a file that is not this store";
    } catch (const StoreError& error) {
      EXPECT_EQ(error.kind(), kind) << error.description();
      EXPECT_FALSE(error.description().empty());
    }
    EXPECT_EQ(bytesOf(file), before) << "the refused file was written to";
  }
};

TEST_F(ContainerCheckTest, ANewStoreIsCreatedInWalModeWithItsHeaderAndForeignKeys) {
  auto store = Store::open(file);
  EXPECT_TRUE(std::filesystem::exists(dir.path() / "default.store-wal"));
  EXPECT_TRUE(std::filesystem::exists(dir.path() / "default.store-shm"));
  auto& db = store->database();
  EXPECT_EQ(db.execAndGet("PRAGMA journal_mode").getString(), "wal");
  EXPECT_EQ(db.execAndGet("PRAGMA foreign_keys").getInt(), 1);
  EXPECT_EQ(db.execAndGet("PRAGMA application_id").getInt(), CurrentSchema::applicationId);
  EXPECT_EQ(db.execAndGet("PRAGMA user_version").getInt(), CurrentSchema::userVersion);
  EXPECT_EQ(db.execAndGet("PRAGMA busy_timeout").getInt(), 5000);
}

TEST_F(ContainerCheckTest, AReopenedStoreKeepsItsRecords) {
  Store::open(file)->apps().insert(makeApp("555"));
  auto reopened = Store::open(file);
  EXPECT_TRUE(reopened->apps().findByAppStoreId("555"));
  EXPECT_EQ(reopened->database().execAndGet("PRAGMA foreign_keys").getInt(), 1);
}

TEST_F(ContainerCheckTest, AnotherProgramsDatabaseIsRefused) {
  {
    SQLite::Database other(file.string(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    other.exec("CREATE TABLE notes (id INTEGER PRIMARY KEY, body TEXT)");
  }
  expectRefusedUntouched(StoreError::Kind::notATovraStore);
}

TEST_F(ContainerCheckTest, AnotherSchemaVersionIsRefused) {
  { Store::open(file); }
  {
    SQLite::Database db(file.string(), SQLite::OPEN_READWRITE);
    db.exec("PRAGMA user_version = 40000");
  }
  expectRefusedUntouched(StoreError::Kind::notATovraStore);
}

TEST_F(ContainerCheckTest, AStoreWithAnotherTableShapeIsRefused) {
  { Store::open(file); }
  {
    SQLite::Database db(file.string(), SQLite::OPEN_READWRITE);
    db.exec("ALTER TABLE TrackedApp ADD COLUMN extra TEXT");
  }
  expectRefusedUntouched(StoreError::Kind::notATovraStore);
}

void runScript(const std::filesystem::path& file, const std::string& sql) {
  SQLite::Database db(file.string(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
  db.exec(sql);
}

std::string earlierLayout() {
  return bytesOf(std::filesystem::path(TOVRA_TEST_DATA) / "store" / "schema-1.0.0.sql");
}

std::vector<std::optional<std::int64_t>> ranksOf(const std::vector<StoredObservation>& readings) {
  std::vector<std::optional<std::int64_t>> ranks;
  for (const auto& reading : readings) {
    ranks.push_back(reading.rank);
  }
  return ranks;
}

TEST_F(ContainerCheckTest, AStoreOfSchemaOneIsUpgradedInPlaceWithEveryReadingAndOutcome) {
  runScript(file, earlierLayout());

  auto store = Store::open(file);
  auto& db = store->database();
  EXPECT_EQ(db.execAndGet("PRAGMA user_version").getInt(), CurrentSchema::userVersion);
  EXPECT_EQ(db.execAndGet("PRAGMA integrity_check").getString(), "ok");
  EXPECT_EQ(db.execAndGet("PRAGMA foreign_keys").getInt(), 1);
  EXPECT_EQ(db.execAndGet("SELECT count(*) FROM ReadingPeriod").getInt(), 3)
      << "two periods of one keyword, one of the other";

  const RecordId<TrackedQuery> photo{1};
  const RecordId<TrackedQuery> collage{2};
  const auto readings = store->observations().ofQuery(photo);
  ASSERT_EQ(readings.size(), 3u);
  EXPECT_EQ(ranksOf(readings), (std::vector<std::optional<std::int64_t>>{12, 4, std::nullopt}));
  EXPECT_EQ(readings[1].day, testing::utc(2025, 1, 13, 23));
  EXPECT_EQ(readings[1].measuredAt, testing::utc(2025, 1, 14, 9, 1));
  EXPECT_EQ(readings[1].resultCount, 180);
  EXPECT_EQ(store->observations().latestOf(photo)->rowId, RecordId<StoredObservation>{4});
  EXPECT_EQ(ranksOf(store->observations().ofQuery(collage)), (std::vector<std::optional<std::int64_t>>{std::nullopt}));

  EXPECT_EQ(store->outcomes().count(), 5);
  EXPECT_EQ(store->outcomes().ofQuery(photo).size(), 2u);
  const auto failed = store->outcomes().get(RecordId<RunOutcome>{4});
  EXPECT_EQ(failed.query, collage);
  EXPECT_EQ(failed.message, "HTTP 500 — https://search.example/x");
  EXPECT_EQ(store->outcomes().get(RecordId<RunOutcome>{3}).observation, RecordId<StoredObservation>{4});
  EXPECT_FALSE(store->outcomes().get(RecordId<RunOutcome>{5}).query);

  // The delete rules of the new layout hold for the moved records.
  store->queries().remove(photo);
  EXPECT_EQ(store->observations().count(), 1);
  EXPECT_EQ(store->outcomes().count(), 5);
  EXPECT_FALSE(store->outcomes().get(RecordId<RunOutcome>{1}).query);
  EXPECT_FALSE(store->outcomes().get(RecordId<RunOutcome>{1}).observation);
  EXPECT_EQ(store->outcomes().get(RecordId<RunOutcome>{4}).query, collage);
  EXPECT_FALSE(store->reviewMarks().get(RecordId<ReviewMark>{1}).query);
}

TEST_F(ContainerCheckTest, AReopenedUpgradedStoreIsNotUpgradedAgain) {
  runScript(file, earlierLayout());
  { Store::open(file); }
  auto store = Store::open(file);
  EXPECT_EQ(store->observations().count(), 4);
  EXPECT_EQ(store->database().execAndGet("SELECT count(*) FROM ReadingPeriod").getInt(), 3);
}

// Builds between the periods' arrival and their version number wrote the new layout as 1.0.0.
TEST_F(ContainerCheckTest, TheCurrentLayoutMarkedOneIsOnlyRenumbered) {
  Linked linked;
  {
    auto store = Store::open(file);
    linked = insertLinked(*store);
  }
  runScript(file, "DROP TABLE AppRelease; PRAGMA user_version = 10000");
  auto store = Store::open(file);
  EXPECT_EQ(store->database().execAndGet("PRAGMA user_version").getInt(), CurrentSchema::userVersion);
  EXPECT_EQ(store->observations().ofQuery(linked.query.rowId), std::vector<StoredObservation>{linked.observation});
  EXPECT_EQ(store->outcomes().get(linked.outcome.rowId), linked.outcome);
}

TEST_F(ContainerCheckTest, TheCurrentLayoutMarkedOneWithAnotherShapeIsRefusedAndNotRenumbered) {
  { Store::open(file); }
  runScript(file, "PRAGMA user_version = 10000; DROP TRIGGER ReadingPeriod_clearsOutcomes;");
  expectRefusedUntouched(StoreError::Kind::notATovraStore);
}

struct BrokenOneCase {
  std::string name;
  std::string change;  // applied to a store of schema 1.0.0
};

class BrokenSchemaOneTest : public ContainerCheckTest, public ::testing::WithParamInterface<BrokenOneCase> {};

TEST_P(BrokenSchemaOneTest, IsRefusedAndLeftAsItWas) {
  runScript(file, earlierLayout() + GetParam().change);
  expectRefusedUntouched(StoreError::Kind::notATovraStore);
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, BrokenSchemaOneTest,
    ::testing::Values(BrokenOneCase{"ExtraTable", "CREATE TABLE notes (pk INTEGER PRIMARY KEY) STRICT;"},
                      BrokenOneCase{"ExtraColumn", "ALTER TABLE StoredObservation ADD COLUMN extra TEXT;"},
                      BrokenOneCase{"MissingTable", "DROP TABLE ReviewMark;"},
                      // A reading whose keyword is gone fits no keyword's period; it is not dropped.
                      BrokenOneCase{"OrphanReading",
                                    "PRAGMA foreign_keys = OFF; INSERT INTO StoredObservation VALUES "
                                    "(9, 1736809200000, 1736845260000, 1, 1, 'run', 77);"}),
    [](const auto& info) { return info.param.name; });

TEST_F(ContainerCheckTest, AStoreWithoutItsTriggerIsRefused) {
  { Store::open(file); }
  {
    SQLite::Database db(file.string(), SQLite::OPEN_READWRITE);
    db.exec("DROP TRIGGER ReadingPeriod_clearsOutcomes");
  }
  expectRefusedUntouched(StoreError::Kind::notATovraStore);
}

TEST_F(ContainerCheckTest, GarbageIsRefused) {
  std::ofstream(file, std::ios::binary) << std::string(5000, 'x');
  expectRefusedUntouched(StoreError::Kind::notATovraStore);
}

TEST_F(ContainerCheckTest, ATruncatedStoreIsRefused) {
  {
    auto store = Store::open(file);
    Transaction transaction(*store);
    for (int i = 0; i < 300; ++i) {
      store->apps().insert(makeApp(std::to_string(1000 + i), std::string(200, 'n')));
    }
    transaction.commit();
  }
  std::filesystem::resize_file(file, std::filesystem::file_size(file) / 2);
  expectRefusedUntouched(StoreError::Kind::damaged);
}

TEST_F(ContainerCheckTest, AFolderWhereTheFileShouldBeIsRefused) {
  std::filesystem::create_directory(file);
  EXPECT_THROW(Store::open(file), StoreError);
}

}  // namespace
}  // namespace tovra::store
