#include "app/store/footprint.h"

#include <gtest/gtest.h>

#include <fstream>
#include <limits>

#include "app/store/byte_count.h"
#include "app/store/store.h"
#include "fixtures.h"
#include "temp_dir.h"

namespace tovra::store {
namespace {

namespace fs = std::filesystem;
using testing::makeApp;
using testing::makeQuery;

TEST(FootprintTest, AStoreInMemoryHasNoFilesAndSaysSo) {
  auto store = Store::inMemory();
  const auto footprint = StoreFootprint::measure(*store);
  EXPECT_TRUE(footprint.files.empty());
  EXPECT_EQ(storeSummary(footprint, StoreInventory::count(*store)), "not saved to disk · 0 apps · 0 keywords");
  EXPECT_TRUE(StoreFootprint::measure(fs::path("/dev/null")).files.empty());
}

TEST(FootprintTest, AnOpenStoreListsItsFileAndBothCompanions) {
  testing::TempDir dir;
  auto store = Store::open(dir.path() / "default.store");
  const auto app = store->apps().insert(makeApp("1"));
  store->queries().insert(makeQuery("maps", "us", app.rowId));

  const auto footprint = StoreFootprint::measure(*store);
  ASSERT_EQ(footprint.files.size(), 3u);
  EXPECT_EQ(footprint.files[0].name, "default.store");
  EXPECT_EQ(footprint.files[1].name, "default.store-wal");
  EXPECT_EQ(footprint.files[2].name, "default.store-shm");
  std::uint64_t sum = 0;
  for (const auto& file : footprint.files) {
    ASSERT_TRUE(file.bytes);
    EXPECT_EQ(*file.bytes, fs::file_size(dir.path() / file.name));
    sum += *file.bytes;
  }
  EXPECT_EQ(footprint.totalBytes(), sum);
  EXPECT_EQ(storeSummary(footprint, StoreInventory::count(*store)),
            formatByteCount(sum) + " on disk · 1 app · 1 keyword");
}

TEST(FootprintTest, AStoreWithoutCompanionsListsOnlyItsFile) {
  testing::TempDir dir;
  std::ofstream(dir.path() / "default.store") << std::string(1234, 'x');
  const auto footprint = StoreFootprint::measure(dir.path() / "default.store");
  EXPECT_EQ(footprint.files, (std::vector<StoreFootprint::File>{{"default.store", 1234}}));
}

TEST(FootprintTest, TheTotalStopsAtTheLargestValueInsteadOfWrapping) {
  StoreFootprint footprint;
  footprint.files = {{"a", std::numeric_limits<std::uint64_t>::max() - 1}, {"b", std::nullopt}, {"c", 5}};
  EXPECT_EQ(footprint.totalBytes(), std::numeric_limits<std::uint64_t>::max());
}

struct ByteCase {
  std::uint64_t bytes;
  std::string text;
};

class ByteCountTest : public ::testing::TestWithParam<ByteCase> {};

TEST_P(ByteCountTest, FollowsTheDecimalFileStyle) {
  EXPECT_EQ(formatByteCount(GetParam().bytes), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Sizes, ByteCountTest,
                         ::testing::Values(ByteCase{0, "Zero KB"}, ByteCase{1, "1 byte"}, ByteCase{2, "2 bytes"},
                                           ByteCase{999, "999 bytes"}, ByteCase{1000, "1 KB"}, ByteCase{1499, "1 KB"},
                                           ByteCase{1500, "2 KB"}, ByteCase{999'499, "999 KB"},
                                           ByteCase{999'500, "1 MB"}, ByteCase{1'500'000, "1.5 MB"},
                                           ByteCase{2'000'000, "2 MB"}, ByteCase{12'345'678, "12.3 MB"},
                                           ByteCase{999'960'000, "1 GB"}, ByteCase{1'234'567'890, "1.23 GB"},
                                           ByteCase{1'200'000'000, "1.2 GB"}, ByteCase{3'000'000'000'000, "3 TB"},
                                           ByteCase{std::numeric_limits<std::uint64_t>::max(), "18.45 EB"}));

TEST(InventoryTest, CountsEveryKindInTableOrderWithItsLabelAndNote) {
  auto store = Store::inMemory();
  testing::insertLinked(*store);
  store->apps().insert(makeApp("2"));

  const auto inventory = StoreInventory::count(*store);
  using Kind = StoreInventory::Kind;
  const std::vector<StoreInventory::Row> expected{
      {Kind::apps, "apps", 2, "yours and rivals · “mine” is your own choice, nothing is verified"},
      {Kind::appNames, "names by country", 1, "the name each country's App Store shows for an app"},
      {Kind::researchSpaces, "research spaces", 0, "keywords kept before there is an app · never measured"},
      {Kind::keywords, "keywords", 1, "one keyword in one country · belongs to an app or a research space"},
      {Kind::dailyRanks, "daily ranks", 1, "one per keyword per day · an unknown rank still counts"},
      {Kind::measurements, "measurements", 1, "each one records how many requests it actually made"},
      {Kind::missedDayReasons, "missed-day notes", 1, "why a day has no rank"},
      {Kind::reviewMarks, "reviewed marks", 1, "your own reading marks · not measurements"},
      {Kind::savedResults, "saved searches", 1, "who ranked for a keyword at one moment · last 30 per keyword"},
      {Kind::savedResultRows, "apps in saved searches", 1, "one app at one position"},
      {Kind::hintLookups, "hint lookups", 1, "what App Store search completed for a prefix · last 30 per prefix"},
      {Kind::hints, "hints", 1, "one completion, in the store's own order"},
  };
  EXPECT_EQ(inventory.rows, expected);
  EXPECT_EQ(kindName(Kind::missedDayReasons), "missedDayReasons");
  EXPECT_EQ(storeSummary(StoreFootprint{}, inventory), "not saved to disk · 2 apps · 1 keyword");
}

}  // namespace
}  // namespace tovra::store
