#include "app/research/track_draft.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "AsoKit/clock.h"
#include "app/base/keyword_key.h"

namespace tovra::research {
namespace {

using namespace std::chrono_literals;

DiscoveredApp app() {
  return DiscoveredApp{"1234567890", "Lumen Photo", "Lumen Labs", "com.lumen.photo", std::nullopt, "us", 3, 1200, 4.5};
}

std::vector<std::string> keywordsOf(const TrackDraft& draft) {
  std::vector<std::string> out;
  for (const auto& keyword : draft.keywords()) {
    out.push_back(keyword.keyword + "/" + keyword.country);
  }
  return out;
}

class TrackDraftTest : public ::testing::Test {
 protected:
  TrackDraft make(std::optional<std::string> foundFor = std::nullopt, bool tracked = false,
                  std::unordered_set<std::string> existing = {}) {
    return TrackDraft(app(), tracked, std::move(existing), std::move(foundFor), clock.monotonic());
  }

  asokit::VirtualClock clock;
};

TEST_F(TrackDraftTest, OpensWithTheSearchTermCarriedFromTheSearch) {
  auto draft = make("  photo   editor ");
  ASSERT_EQ(draft.keywords().size(), 1u);
  EXPECT_EQ(draft.keywords()[0].keyword, "photo editor");
  EXPECT_EQ(draft.keywords()[0].country, "us");
  EXPECT_EQ(draft.keywords()[0].provenance, store::KeywordProvenance::carriedFromSearch);
  EXPECT_EQ(draft.typingCountry(), "us");
  EXPECT_EQ(draft.foundFor(), "  photo   editor ");
  EXPECT_TRUE(make().keywords().empty());
  EXPECT_TRUE(make(" \n").keywords().empty());
}

TEST_F(TrackDraftTest, TypingCommitsOnlyAPastedList) {
  auto draft = make();
  int changes = 0;
  const auto watching = draft.changes().subscribe([&] { ++changes; });
  draft.setTyping("f");
  draft.setTyping("fi");
  draft.setTyping("fi,");
  EXPECT_TRUE(draft.keywords().empty());
  EXPECT_EQ(draft.typing(), "fi,");
  EXPECT_EQ(changes, 3);
  draft.setTyping("fi, filters, lens");
  EXPECT_EQ(keywordsOf(draft), (std::vector<std::string>{"fi/us", "filters/us", "lens/us"}));
  EXPECT_EQ(draft.typing(), "");
  EXPECT_GT(changes, 3);
}

TEST_F(TrackDraftTest, ReturnRightAfterAPasteAddsNothingAndClearsTheField) {
  auto draft = make();
  draft.setTyping("filters, lens");
  ASSERT_EQ(draft.keywords().size(), 2u);
  clock.advance(1s);
  // The field still shows the pasted text to the Return handler.
  draft.setTyping("filters, lens");
  EXPECT_EQ(draft.keywords().size(), 2u);
  EXPECT_EQ(draft.typing(), "");
  EXPECT_EQ(draft.typingNotice(), std::nullopt);
  clock.advance(600ms);
  draft.setTyping("filters, lens");
  EXPECT_EQ(draft.keywords().size(), 2u);
  EXPECT_EQ(draft.typingNotice(), "2 already added");
}

TEST_F(TrackDraftTest, AddTypedCommitsWhatIsTypedAndIgnoresWhiteSpace) {
  auto draft = make();
  draft.setTyping("   ");
  EXPECT_EQ(draft.addTyped(), CommitOutcome::nothingTyped);
  EXPECT_EQ(draft.typing(), "   ");
  draft.setTyping("Foto Düzenleme");
  EXPECT_EQ(draft.addTyped(), CommitOutcome::committed);
  EXPECT_EQ(keywordsOf(draft), std::vector<std::string>{"Foto Düzenleme/us"});
  EXPECT_EQ(draft.keywords()[0].provenance, store::KeywordProvenance::typedByUser);
}

TEST_F(TrackDraftTest, DuplicatesAreTestedPerTypingCountry) {
  auto draft = make("İstanbul");
  draft.setTyping("ISTANBUL");
  draft.addTyped();
  EXPECT_EQ(draft.typingNotice(), "1 already added");
  draft.setTypingCountry("tr");
  draft.setTyping("ISTANBUL");
  clock.advance(2s);
  draft.addTyped();
  EXPECT_EQ(keywordsOf(draft), (std::vector<std::string>{"İstanbul/us", "ISTANBUL/tr"}));
}

TEST_F(TrackDraftTest, CostLineTellsMeasuredKeywordsApart) {
  auto draft = make("photo editor", false, {base::queryKey("Photo Editor", "us"), base::queryKey("istanbul", "tr")});
  draft.setTyping("filters");
  draft.addTyped();
  draft.setTypingCountry("TR");
  draft.setTyping("İSTANBUL");
  draft.addTyped();
  ASSERT_EQ(draft.keywords().size(), 3u);
  EXPECT_EQ(draft.costLine(draft.keywords()[0]), "already measured · no extra time");
  EXPECT_EQ(draft.costLine(draft.keywords()[1]), "+1 request per run");
  EXPECT_EQ(draft.costLine(draft.keywords()[2]), "already measured · no extra time");
  EXPECT_EQ(draft.newRequestCount(), 1);
  EXPECT_EQ(draft.totalCostLine(), "1 new requests per run");
  EXPECT_EQ(draft.trackedNote(), std::nullopt);
  EXPECT_EQ(make(std::nullopt, true).trackedNote(), "already tracked · adding keywords only");
}

TEST_F(TrackDraftTest, RemoveAndOwnershipPublishChanges) {
  auto draft = make("a");
  draft.setTyping("b, c");
  int changes = 0;
  const auto watching = draft.changes().subscribe([&] { ++changes; });
  draft.remove(draft.keywords()[1].id);
  EXPECT_EQ(keywordsOf(draft), (std::vector<std::string>{"a/us", "c/us"}));
  draft.setIsMine(true);
  EXPECT_TRUE(draft.isMine());
  EXPECT_EQ(changes, 2);
  draft.setIsMine(true);
  draft.remove("no such id");
  EXPECT_EQ(changes, 2);
}

TEST_F(TrackDraftTest, CarriedTermIsAddedWholeUnlessDuplicateOrFull) {
  auto draft = make();
  EXPECT_TRUE(draft.addCarried("photo, editor", store::KeywordProvenance::carriedFromStoreHint));
  EXPECT_EQ(draft.keywords()[0].keyword, "photo, editor");
  EXPECT_EQ(draft.keywords()[0].provenance, store::KeywordProvenance::carriedFromStoreHint);
  EXPECT_FALSE(draft.addCarried("PHOTO,  EDITOR", store::KeywordProvenance::carriedFromStoreHint));
  EXPECT_FALSE(draft.addCarried(" ", store::KeywordProvenance::carriedFromStoreHint));
  EXPECT_FALSE(draft.addCarried(std::string(101, 'x'), store::KeywordProvenance::carriedFromStoreHint));
  for (int i = 1; i < 50; ++i) {
    ASSERT_TRUE(draft.addCarried("hint " + std::to_string(i), store::KeywordProvenance::carriedFromStoreHint));
  }
  EXPECT_FALSE(draft.addCarried("one too many", store::KeywordProvenance::carriedFromStoreHint));
  draft.setTyping("typed, too");
  EXPECT_EQ(draft.keywords().size(), 50u);
  EXPECT_EQ(draft.typingNotice(), "2 over the 50-keyword limit");
}

}  // namespace
}  // namespace tovra::research
