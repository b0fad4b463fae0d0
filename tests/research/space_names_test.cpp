#include "app/research/space_names.h"

#include <gtest/gtest.h>

#include "app/store/store.h"
#include "app/store/watchlist_writer.h"

namespace tovra::research {
namespace {

TEST(SpaceNamesTest, ASpaceIsFoundByItsNameWhateverTheLetterCase) {
  asokit::VirtualClock clock;
  auto store = store::Store::inMemory();
  store::WatchlistWriter writer{*store, clock.wall()};
  const auto trips = writer.createSpace(store::randomUuid(), "Trips");
  writer.createSpace(store::randomUuid(), "İstanbul");
  writer.createSpace(store::randomUuid(), "");
  ASSERT_EQ(spacesNamed(*store, "  tRIPS ").size(), 1u);
  EXPECT_EQ(spacesNamed(*store, "trips").front().rowId, trips.rowId);
  // Root-locale lower-casing: the dotted capital I matches its own lower case, never a dotless one.
  EXPECT_EQ(spacesNamed(*store, "i̇stanbul").size(), 1u);
  EXPECT_TRUE(spacesNamed(*store, "trip").empty());
  // A blank name is stored as the default one, so a second blank name is taken too.
  EXPECT_EQ(spacesNamed(*store, spaceNameToStore("   ")).size(), 1u);
  EXPECT_EQ(spaceNameTakenText("Trips"),
            "A research space is already called “Trips”; choose another name, or use that one.");
}

}  // namespace
}  // namespace tovra::research
