#include "app/research/keyword_entry.h"

#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <string>
#include <vector>

#include "AsoKit/clock.h"
#include "app/base/keyword_key.h"

namespace tovra::research {
namespace {

using namespace std::chrono_literals;

std::vector<std::string> keywordsOf(const std::vector<store::KeywordDraft>& drafts) {
  std::vector<std::string> out;
  for (const auto& draft : drafts) {
    out.push_back(draft.keyword);
  }
  return out;
}

std::string numbered(const std::string& stem, int count) {
  std::string out;
  for (int i = 0; i < count; ++i) {
    out += stem + std::to_string(i) + ",";
  }
  return out;
}

class KeywordEntryTest : public ::testing::Test {
 protected:
  asokit::VirtualClock clock;
  KeywordEntry entry{clock.monotonic()};
};

TEST_F(KeywordEntryTest, CommitMakesTypedDraftsWithFreshIdsAndTheSheetsCountry) {
  EXPECT_EQ(entry.commit("photo editor, filters", "US"), CommitOutcome::committed);
  ASSERT_EQ(entry.drafts().size(), 2u);
  std::set<std::string> ids;
  for (const auto& draft : entry.drafts()) {
    EXPECT_EQ(draft.country, "US");
    EXPECT_EQ(draft.provenance, store::KeywordProvenance::typedByUser);
    EXPECT_EQ(draft.id.size(), 36u);
    ids.insert(draft.id);
  }
  EXPECT_EQ(ids.size(), 2u);
  EXPECT_EQ(entry.notice(), std::nullopt);
}

TEST_F(KeywordEntryTest, SameKeywordIsAlreadyAddedInItsCountryOnly) {
  entry.commit("Photo Editor", "us");
  clock.advance(2s);
  entry.commit("photo editor", " US ");
  EXPECT_EQ(entry.drafts().size(), 1u);
  EXPECT_EQ(entry.notice(), "1 already added");
  clock.advance(2s);
  entry.commit("photo editor", "de");
  EXPECT_EQ(keywordsOf(entry.drafts()), (std::vector<std::string>{"Photo Editor", "photo editor"}));
  EXPECT_EQ(entry.drafts().back().country, "de");
  EXPECT_EQ(entry.notice(), std::nullopt);
}

TEST_F(KeywordEntryTest, LimitCountsTheDraftsOfEveryCountry) {
  entry.commit(numbered("us", 30), "us");
  entry.commit(numbered("de", 18), "de");
  ASSERT_EQ(entry.drafts().size(), 48u);
  entry.commit("one, two, three, four, five", "fr");
  EXPECT_EQ(entry.drafts().size(), 50u);
  EXPECT_EQ(entry.drafts()[48].keyword, "one");
  EXPECT_EQ(entry.drafts()[49].keyword, "two");
  EXPECT_EQ(entry.notice(), "3 over the 50-keyword limit");
}

TEST_F(KeywordEntryTest, KeywordTwiceWithOneAlreadyThereNoticesBoth) {
  entry.commit("notes", "us");
  clock.advance(2s);
  entry.commit("journal, notes, Journal", "us");
  EXPECT_EQ(keywordsOf(entry.drafts()), (std::vector<std::string>{"notes", "journal"}));
  EXPECT_EQ(entry.notice(), "1 already added · 1 repeated in what you pasted");
}

TEST_F(KeywordEntryTest, CleanCommitClearsAnEarlierNoticeButWhiteSpaceLeavesIt) {
  entry.commit("a, a", "us");
  ASSERT_EQ(entry.notice(), "1 repeated in what you pasted");
  EXPECT_EQ(entry.commit(" \u3000\n ", "us"), CommitOutcome::nothingTyped);
  EXPECT_EQ(entry.notice(), "1 repeated in what you pasted");
  EXPECT_EQ(entry.drafts().size(), 1u);
  entry.commit("b", "us");
  EXPECT_EQ(entry.notice(), std::nullopt);
}

struct GuardCase {
  const char* name;
  std::chrono::milliseconds after;  // how long after the paste commit Return is pressed
  std::string text;                 // what the field holds then
  CommitOutcome outcome;
  std::optional<std::string> notice;
};

void PrintTo(const GuardCase& c, std::ostream* os) {
  *os << c.name;
}

class PasteGuardTest : public KeywordEntryTest, public ::testing::WithParamInterface<GuardCase> {};

TEST_P(PasteGuardTest, AReturnAfterAPasteDoesNotAddTheListTwice) {
  const auto& c = GetParam();
  ASSERT_EQ(entry.fieldChanged("", "a, b", "us"), CommitOutcome::committed);
  clock.advance(c.after);
  EXPECT_EQ(entry.commit(c.text, "us"), c.outcome);
  EXPECT_EQ(entry.drafts().size(), 2u);
  EXPECT_EQ(entry.notice(), c.notice);
  EXPECT_EQ(entry.pasteGuard().consumed->text, c.outcome == CommitOutcome::takenByPaste ? "a, b" : c.text);
}

INSTANTIATE_TEST_SUITE_P(
    Guard, PasteGuardTest,
    ::testing::Values(GuardCase{"SameTextWithinTheWindow", 1499ms, "a, b", CommitOutcome::takenByPaste, std::nullopt},
                      GuardCase{"SameTextAfterTheWindow", 1500ms, "a, b", CommitOutcome::committed, "2 already added"},
                      GuardCase{"OtherTextWithinTheWindow", 0ms, "a, b ", CommitOutcome::committed, "2 already added"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(KeywordEntryTest, TypingCharacterByCharacterNeverCommits) {
  std::string field;
  for (const char c : std::string("photo, editor")) {
    const auto before = field;
    field += c;
    EXPECT_EQ(entry.fieldChanged(before, field, "us"), std::nullopt) << field;
  }
  EXPECT_TRUE(entry.drafts().empty());
  EXPECT_EQ(entry.fieldChanged("photo", "photo\n", "us"), CommitOutcome::committed);
  EXPECT_EQ(keywordsOf(entry.drafts()), std::vector<std::string>{"photo"});
}

TEST_F(KeywordEntryTest, RemoveTakesEveryDraftWithTheIdAndKeepsTheRest) {
  entry.commit("a, b, c, c", "us");
  const auto middle = entry.drafts()[1].id;
  entry.remove(middle);
  EXPECT_EQ(keywordsOf(entry.drafts()), (std::vector<std::string>{"a", "c"}));
  EXPECT_EQ(entry.notice(), "1 repeated in what you pasted");
  EXPECT_TRUE(entry.pasteGuard().consumed.has_value());
}

struct StoredCase {
  const char* name;
  std::string typed;
  std::string country;
  std::vector<std::string> added;
  std::optional<std::string> notice;
};

void PrintTo(const StoredCase& c, std::ostream* os) {
  *os << c.name;
}

class StoredKeywordTest : public ::testing::TestWithParam<StoredCase> {};

// The app keeps "Photo Editor" in the US and "karten" in Germany.
TEST_P(StoredKeywordTest, AKeywordTheOwnerKeepsCountsAsAlreadyAdded) {
  const auto& c = GetParam();
  asokit::VirtualClock clock;
  KeywordEntry entry{clock.monotonic(), {base::queryKey("Photo Editor", "us"), base::queryKey("karten", "de")}};
  entry.commit(c.typed, c.country);
  EXPECT_EQ(keywordsOf(entry.drafts()), c.added);
  EXPECT_EQ(entry.notice(), c.notice);
}

INSTANTIATE_TEST_SUITE_P(
    Stored, StoredKeywordTest,
    ::testing::Values(StoredCase{"SameKeyInItsCountry", "photo  editor, maps", "US", {"maps"}, "1 already added"},
                      StoredCase{"OtherCountryIsNew", "photo editor", "de", {"photo editor"}, std::nullopt},
                      StoredCase{"RepeatOfAStoredOneIsRepeated",
                                 "karten\nKarten",
                                 "de",
                                 {},
                                 "1 already added · 1 repeated in what you pasted"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(KeywordEntryCost, AKeywordARunAlreadyAsksForCostsNothingExtra) {
  asokit::VirtualClock clock;
  KeywordEntry entry{clock.monotonic(), {}, {base::queryKey("maps", "us")}};
  entry.commit("Maps, filters", "us");
  entry.commit("maps", "de");
  ASSERT_EQ(entry.drafts().size(), 3u);
  EXPECT_EQ(entry.costLine(entry.drafts()[0]), "already measured · no extra time");
  EXPECT_EQ(entry.costLine(entry.drafts()[1]), "+1 request per run");
  EXPECT_EQ(entry.costLine(entry.drafts()[2]), "+1 request per run");
  EXPECT_EQ(entry.totalCostLine(), "2 new requests per run");
}

TEST(RandomUuid, IsAVersionFourUuidAndDiffersEachTime) {
  const auto a = store::randomUuid();
  const auto b = store::randomUuid();
  EXPECT_NE(a, b);
  ASSERT_EQ(a.size(), 36u);
  EXPECT_EQ(a[8], '-');
  EXPECT_EQ(a[14], '4');
  EXPECT_NE(std::string("89ab").find(a[19]), std::string::npos);
}

}  // namespace
}  // namespace tovra::research
