#include "app/store/app_releases.h"

#include <SQLiteCpp/Database.h>
#include <gtest/gtest.h>

#include "app/store/schema.h"
#include "app/store/store.h"
#include "fixtures.h"
#include "temp_dir.h"

namespace tovra::store {
namespace {

using testing::makeApp;
using testing::utc;

asokit::RankedApp shown(const std::string& id, std::optional<std::string> version, std::optional<WallTime> released) {
  asokit::RankedApp app;
  app.id = id;
  app.name = "App " + id;
  app.version = std::move(version);
  app.versionReleasedAt = released;
  return app;
}

struct KeepCase {
  std::string name;
  std::vector<asokit::RankedApp> first;
  std::vector<asokit::RankedApp> second;  // a later answer
  std::int64_t keptFirst;
  std::int64_t keptSecond;
  std::vector<std::string> versionsOfTracked;  // of app 100, oldest release first
};

class KeepTrackedReleases : public ::testing::TestWithParam<KeepCase> {};

TEST_P(KeepTrackedReleases, KeepsEachVersionOfATrackedAppOnce) {
  const auto& c = GetParam();
  auto store = Store::inMemory();
  store->apps().insert(makeApp("100"));
  EXPECT_EQ(keepTrackedReleases(*store, c.first, utc(2025, 3, 1)), c.keptFirst);
  EXPECT_EQ(keepTrackedReleases(*store, c.second, utc(2025, 3, 2)), c.keptSecond);
  std::vector<std::string> versions;
  for (const auto& release : Releases(*store).ofApp("100")) {
    versions.push_back(release.version);
  }
  EXPECT_EQ(versions, c.versionsOfTracked);
  EXPECT_TRUE(Releases(*store).ofApp("200").empty()) << "an app Tovra does not track keeps no releases";
}

INSTANTIATE_TEST_SUITE_P(Answers, KeepTrackedReleases,
                         ::testing::Values(KeepCase{"sameVersionTwice",
                                                    {shown("100", "1.0", utc(2025, 1, 5))},
                                                    {shown("100", "1.0", utc(2025, 1, 5))},
                                                    1,
                                                    0,
                                                    {"1.0"}},
                                           KeepCase{"newVersionLater",
                                                    {shown("100", "1.0", utc(2025, 1, 5))},
                                                    {shown("100", "1.1", utc(2025, 2, 9))},
                                                    1,
                                                    1,
                                                    {"1.0", "1.1"}},
                                           KeepCase{"orderedByReleaseNotBySighting",
                                                    {shown("100", "2.0", utc(2025, 2, 9))},
                                                    {shown("100", "1.9", utc(2025, 1, 5))},
                                                    1,
                                                    1,
                                                    {"1.9", "2.0"}},
                                           KeepCase{
                                               "untrackedApp", {shown("200", "1.0", utc(2025, 1, 5))}, {}, 0, 0, {}},
                                           KeepCase{"versionWithoutDate",
                                                    {shown("100", "1.0", std::nullopt)},
                                                    {shown("100", std::nullopt, utc(2025, 1, 5))},
                                                    0,
                                                    0,
                                                    {}}),
                         [](const auto& info) { return info.param.name; });

TEST(AppReleasesTest, FirstSightingIsKeptWhenTheSameVersionIsSeenAgain) {
  auto store = Store::inMemory();
  store->apps().insert(makeApp("100"));
  keepTrackedReleases(*store, {shown("100", "1.0", utc(2025, 1, 5))}, utc(2025, 3, 1));
  keepTrackedReleases(*store, {shown("100", "1.0", utc(2025, 1, 6))}, utc(2025, 3, 2));
  EXPECT_EQ(Releases(*store).ofApp("100"),
            (std::vector<AppRelease>{AppRelease{"100", "1.0", utc(2025, 1, 5), utc(2025, 3, 1)}}));
}

TEST(AppReleasesTest, ReleasesOutliveTheAppsTracking) {
  auto store = Store::inMemory();
  const auto app = store->apps().insert(makeApp("100"));
  keepTrackedReleases(*store, {shown("100", "1.0", utc(2025, 1, 5))}, utc(2025, 3, 1));
  store->apps().remove(app.rowId);
  EXPECT_EQ(Releases(*store).count(), 1);
}

TEST(AppReleasesTest, AStoreOfSchemaTwoGainsAnEmptyReleaseTableAndKeepsItsRecords) {
  testing::TempDir dir;
  const auto file = dir.path() / "default.store";
  testing::Linked linked;
  {
    auto store = Store::open(file);
    linked = testing::insertLinked(*store);
  }
  {
    SQLite::Database db(file.string(), SQLite::OPEN_READWRITE);
    db.exec("DROP TABLE AppRelease; PRAGMA user_version = 20000");
  }
  auto store = Store::open(file);
  EXPECT_EQ(store->database().execAndGet("PRAGMA user_version").getInt(), TovraSchemaV3::userVersion);
  EXPECT_EQ(store->observations().ofQuery(linked.query.rowId), std::vector<StoredObservation>{linked.observation});
  EXPECT_EQ(Releases(*store).count(), 0);
  const auto app = store->apps().get(*linked.query.app);
  EXPECT_EQ(keepTrackedReleases(*store, {shown(app.appStoreId, "3.1", utc(2025, 1, 5))}, utc(2025, 3, 1)), 1);
  EXPECT_EQ(Releases(*store).ofApp(app.appStoreId).size(), 1u);
}

TEST(AppReleasesTest, AStoreOfSchemaTwoWithAnotherShapeIsNotUpgraded) {
  testing::TempDir dir;
  const auto file = dir.path() / "default.store";
  { Store::open(file); }
  {
    SQLite::Database db(file.string(), SQLite::OPEN_READWRITE);
    db.exec("DROP TABLE AppRelease; DROP TABLE HintProbe; PRAGMA user_version = 20000");
  }
  EXPECT_THROW(Store::open(file), StoreError);
  SQLite::Database db(file.string(), SQLite::OPEN_READONLY);
  EXPECT_EQ(db.execAndGet("PRAGMA user_version").getInt(), 20000);
}

}  // namespace
}  // namespace tovra::store
