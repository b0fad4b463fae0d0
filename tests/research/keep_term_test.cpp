#include "app/research/keep_term.h"

#include <gtest/gtest.h>

#include "app/store/store.h"
#include "app/store/watchlist_writer.h"

namespace tovra::research {
namespace {

class KeepTermTest : public ::testing::Test {
 protected:
  KeepTermTest() {
    app = writer.trackApp(store::AppFacts{"1234567890", "Lumen Photo", "Lumen Labs", {}, {}}, "us", true).app;
    space = writer.createSpace(store::randomUuid(), "Travel ideas");
  }

  asokit::VirtualClock clock;
  std::unique_ptr<store::Store> store = store::Store::inMemory();
  store::WatchlistWriter writer{*store, clock.wall()};
  store::TrackedApp app;
  store::ResearchSpace space;
};

TEST_F(KeepTermTest, AHintKeptForAnAppIsTrackedAsCarriedFromAStoreHint) {
  const KeepTarget target{app};
  const auto kept =
      keepTerm(writer, target, "  Photo  Collage ", " US", store::KeywordProvenance::carriedFromStoreHint);
  ASSERT_TRUE(kept.inserted);
  EXPECT_EQ(kept.inserted->keyword, "Photo Collage");
  EXPECT_EQ(kept.inserted->country, "us");
  EXPECT_EQ(kept.inserted->provenanceRaw, "carriedFromStoreHint");
  EXPECT_EQ(kept.inserted->app, app.rowId);
  EXPECT_EQ(keptText(kept, target), "“Photo Collage” in US is now tracked for Lumen Photo");

  const auto again = keepTerm(writer, target, "photo collage", "us", store::KeywordProvenance::carriedFromStoreHint);
  EXPECT_TRUE(again.alreadyThere) << "already there counts as already added";
  EXPECT_EQ(keptText(again, target), "“photo collage” in US was already added to Lumen Photo");
  EXPECT_EQ(store->queries().count(), 1);
}

TEST_F(KeepTermTest, AHintKeptInASpaceIsParkedThere) {
  const KeepTarget target{space};
  const auto kept = keepTerm(writer, target, "photo collage", "de", store::KeywordProvenance::carriedFromStoreHint);
  ASSERT_TRUE(kept.inserted);
  EXPECT_EQ(kept.inserted->space, space.rowId);
  EXPECT_FALSE(kept.inserted->app);
  EXPECT_EQ(keptText(kept, target), "“photo collage” in DE is now kept in Travel ideas");
  EXPECT_THROW(keepTerm(writer, target, "   ", "de", store::KeywordProvenance::carriedFromStoreHint), KeepTargetError);
}

TEST_F(KeepTermTest, ATrackDraftsTermIsToldWithTheAppWhenTheDraftStartedTrackingIt) {
  store::TrackedQuery query;
  query.keyword = "photo editor";
  query.country = "us";
  struct Case {
    std::string name;
    bool createdApp;
    bool addedTheTerm;
    std::string text;
  };
  for (const auto& c : std::vector<Case>{
           {"new app", true, true, "Lumen Photo is now tracked · “photo editor” in US is now tracked for Lumen Photo"},
           {"tracked app, new term", false, true, "“photo editor” in US is now tracked for Lumen Photo"},
           {"tracked app with the term", false, false, "“photo editor” in US was already added to Lumen Photo"},
       }) {
    store::WatchlistWriter::Receipt receipt;
    receipt.app = app;
    receipt.createdApp = c.createdApp;
    if (c.addedTheTerm) {
      receipt.createdQueries.push_back(query);
    }
    const auto kept = keptByTrackDraft(receipt, "photo editor", "us");
    EXPECT_EQ(kept.alreadyThere, !c.addedTheTerm) << c.name;
    EXPECT_EQ(kept.inserted.has_value(), c.addedTheTerm) << c.name;
    EXPECT_EQ(trackedText(receipt, kept), c.text) << c.name;
  }
}

TEST_F(KeepTermTest, TrackingACheckedKeywordSaysWhetherTheAppHadItAlready) {
  const auto kept = keepTerm(writer, KeepTarget{app}, "photo editor", "us", store::KeywordProvenance::typedByUser);
  EXPECT_EQ(checkTrackedText(kept, app), "This keyword is now tracked.");
  const auto again = keepTerm(writer, KeepTarget{app}, "Photo Editor", "us", store::KeywordProvenance::typedByUser);
  EXPECT_EQ(checkTrackedText(again, app), "“Photo Editor” in US was already added to Lumen Photo");
}

}  // namespace
}  // namespace tovra::research
