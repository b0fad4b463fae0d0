#include "tools/storegen/storegen.h"

#include <SQLiteCpp/Database.h>
#include <gtest/gtest.h>

#include "app/store/export.h"
#include "app/store/footprint.h"
#include "fixtures.h"

namespace tovra::store {
namespace {

storegen::GeneratorOptions smallOptions(std::uint64_t seed) {
  storegen::GeneratorOptions options;
  options.apps = 3;
  options.keywordsPerApp = 6;
  options.days = 20;
  options.seed = seed;
  return options;
}

TEST(StoreGeneratorTest, TheSameSeedGivesTheSameStoreAndAnotherSeedAnother) {
  const auto exportedAt = testing::utc(2025, 2, 1);
  auto first = Store::inMemory();
  auto second = Store::inMemory();
  auto third = Store::inMemory();
  storegen::generateStore(*first, smallOptions(7));
  storegen::generateStore(*second, smallOptions(7));
  storegen::generateStore(*third, smallOptions(8));
  EXPECT_EQ(exportStoreToString(*first, exportedAt), exportStoreToString(*second, exportedAt));
  EXPECT_NE(exportStoreToString(*first, exportedAt), exportStoreToString(*third, exportedAt));
}

TEST(StoreGeneratorTest, CountsWhatItWroteWithOneReadingPerKeywordAndDayAtMost) {
  auto store = Store::inMemory();
  const auto counts = storegen::generateStore(*store, smallOptions(3));
  const auto inventory = StoreInventory::count(*store);
  using Kind = StoreInventory::Kind;
  EXPECT_EQ(inventory.countOf(Kind::apps), counts.apps);
  EXPECT_EQ(inventory.countOf(Kind::keywords), counts.queries);
  EXPECT_EQ(inventory.countOf(Kind::dailyRanks), counts.observations);
  EXPECT_EQ(inventory.countOf(Kind::missedDayReasons), counts.outcomes);
  EXPECT_EQ(inventory.countOf(Kind::hints), counts.hints);
  EXPECT_LE(counts.observations, 3 * 6 * 20);
  EXPECT_GT(counts.observations, 3 * 6 * 20 / 2);
  EXPECT_EQ(
      store->database()
          .execAndGet("SELECT count(*) FROM (SELECT 1 FROM StoredObservation GROUP BY query, day HAVING count(*) > 1)")
          .getInt(),
      0);
  EXPECT_GT(store->database().execAndGet("SELECT count(*) FROM StoredObservation WHERE rank IS NULL").getInt(), 0)
      << "some readings must be outside the results";
}

}  // namespace
}  // namespace tovra::store
