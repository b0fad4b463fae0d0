#include <gtest/gtest.h>

#include "app/store/deletion_plan.h"

namespace tovra::store {
namespace {

using Plan = DeletionPlan;

template <class Record>
std::vector<RecordId<Record>> rows(std::size_t count) {
  std::vector<RecordId<Record>> ids;
  for (std::size_t i = 1; i <= count; ++i) {
    ids.push_back(RecordId<Record>{static_cast<std::int64_t>(i)});
  }
  return ids;
}

Plan withEveryList(std::size_t n) {
  Plan plan{Plan::EverythingSubject{}};
  plan.apps = rows<TrackedApp>(n);
  plan.localizations = rows<AppLocalization>(n);
  plan.spaces = rows<ResearchSpace>(n);
  plan.queries = rows<TrackedQuery>(n);
  plan.observations = rows<StoredObservation>(n);
  plan.reviewMarks = rows<ReviewMark>(n);
  plan.outcomes = rows<RunOutcome>(n);
  plan.runs = rows<MeasurementRun>(n);
  plan.ladders = rows<StoredLadder>(n);
  plan.ladderEntries = rows<LadderEntry>(n);
  plan.probes = rows<HintProbe>(n);
  plan.hints = rows<StoreHint>(n);
  return plan;
}

TEST(DeletionTextsTest, TheSummaryFollowsTheWordTableWithSingularOnlyForOne) {
  EXPECT_EQ(withEveryList(1).summary(),
            "1 app · 1 research space · 1 country name · 1 keyword · 1 observation · 1 review mark · 1 run · "
            "1 run outcome · 1 search result · 1 result row · 1 store hint list · 1 hint");
  EXPECT_EQ(withEveryList(2).summary(),
            "2 apps · 2 research spaces · 2 country names · 2 keywords · 2 observations · 2 review marks · 2 runs · "
            "2 run outcomes · 2 search results · 2 result rows · 2 store hint lists · 2 hints");
  EXPECT_EQ(withEveryList(0).summary(), "nothing to delete");

  Plan some{Plan::QuerySubject{"maps", "us"}};
  some.queries = rows<TrackedQuery>(1);
  some.outcomes = rows<RunOutcome>(12);
  some.hints = rows<StoreHint>(1);
  EXPECT_EQ(some.summary(), "1 keyword · 12 run outcomes · 1 hint") << "zero counts leave no entry";
}

struct TitleCase {
  const char* name;
  Plan::Subject subject;
  std::string title;
};

class DeletionTitleTest : public ::testing::TestWithParam<TitleCase> {};

TEST_P(DeletionTitleTest, NamesTheSubject) {
  EXPECT_EQ(Plan{GetParam().subject}.title(), GetParam().title);
}

INSTANTIATE_TEST_SUITE_P(
    Subjects, DeletionTitleTest,
    ::testing::Values(
        TitleCase{"App", Plan::AppSubject{"Photo Lab"}, "Delete Photo Lab and its history"},
        TitleCase{"Keyword", Plan::QuerySubject{"photo editor", "us"}, "Delete “photo editor” in US and its history"},
        TitleCase{"KeywordStoredInOddCase", Plan::QuerySubject{"Karten", " De"},
                  "Delete “Karten” in DE and its history"},
        TitleCase{"Space", Plan::SpaceSubject{"Trips", std::nullopt}, "Delete the research space “Trips”"},
        TitleCase{"GraduatedSpace", Plan::SpaceSubject{"Trips", "Trail Maps"}, "Delete the research space “Trips”"},
        TitleCase{"Everything", Plan::EverythingSubject{}, "Delete everything"}),
    [](const auto& info) { return std::string(info.param.name); });

struct ExplanationCase {
  const char* name;
  Plan::Subject subject;
  std::size_t keywords;
  std::int64_t keptLadders, keptProbes, keptRuns;
  std::vector<std::string> lines;
};

class DeletionExplanationTest : public ::testing::TestWithParam<ExplanationCase> {};

TEST_P(DeletionExplanationTest, SaysWhatStaysInOrder) {
  const auto& c = GetParam();
  Plan plan{c.subject};
  plan.queries = rows<TrackedQuery>(c.keywords);
  plan.keptLadders = c.keptLadders;
  plan.keptProbes = c.keptProbes;
  plan.keptRuns = c.keptRuns;
  EXPECT_EQ(plan.explanation(), c.lines);
}

const std::string kAppLine =
    "Search results and store hints belong to a keyword in a country, not to your app — they stay, and Rivals keeps "
    "showing them. Delete everything clears them.";
const std::string kQueryLine = "Search results and store hints for this keyword stay; adding it again reuses them.";
const std::string kSpaceKeywordsLine =
    "Search results and store hints for these keywords stay; adding them again reuses them.";

INSTANTIATE_TEST_SUITE_P(
    Subjects, DeletionExplanationTest,
    ::testing::Values(
        ExplanationCase{"AppKeepsNothing", Plan::AppSubject{"Photo Lab"}, 2, 0, 0, 0, {kAppLine}},
        ExplanationCase{"AppKeepsOneRun",
                        Plan::AppSubject{"Photo Lab"},
                        2,
                        0,
                        0,
                        1,
                        {kAppLine, "kept: 1 run that also covered other keywords"}},
        ExplanationCase{"KeywordKeepsSearchesAndHints",
                        Plan::QuerySubject{"maps", "us"},
                        1,
                        2,
                        1,
                        0,
                        {kQueryLine, "kept: 2 search results · 1 store hint list"}},
        ExplanationCase{
            "KeywordKeepsAllThree",
            Plan::QuerySubject{"maps", "us"},
            1,
            1,
            3,
            2,
            {kQueryLine, "kept: 1 search result · 3 store hint lists · 2 runs that also covered other keywords"}},
        ExplanationCase{"GraduatedSpaceWithKeywords",
                        Plan::SpaceSubject{"Trips", "Trail Maps"},
                        1,
                        0,
                        0,
                        2,
                        {"This space graduated to Trail Maps. Its moved keywords stay with that app, but this space is "
                         "the only record of where they came from — that origin goes with it.",
                         kSpaceKeywordsLine, "kept: 2 runs that also covered other apps"}},
        ExplanationCase{"EmptySpace", Plan::SpaceSubject{"Trips", std::nullopt}, 0, 0, 0, 0, {}},
        ExplanationCase{"SpaceWithKeywords",
                        Plan::SpaceSubject{"Trips", std::nullopt},
                        3,
                        1,
                        0,
                        0,
                        {kSpaceKeywordsLine, "kept: 1 search result"}},
        ExplanationCase{"Everything",
                        Plan::EverythingSubject{},
                        5,
                        0,
                        0,
                        0,
                        {"Every table goes back to zero · Tovra returns to its first screen."}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(DeletionTextsTest, TheCommandLineIsNotPointedToAViewItDoesNotHave) {
  Plan plan{Plan::AppSubject{"Photo Lab"}};
  plan.queries = rows<TrackedQuery>(2);
  plan.keptRuns = 1;
  const auto lines = plan.explanation(Plan::Reader::commandLine);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0],
            "Search results and store hints belong to a keyword in a country, not to your app — they stay, and "
            "signals keeps reading them. Delete everything clears them.");
  EXPECT_EQ(lines[1], "kept: 1 run that also covered other keywords") << "the rest reads as on the desktop";
}

TEST(DeletionTextsTest, OnlyDeletingEverythingCarriesTheLongWarning) {
  EXPECT_EQ(Plan{Plan::EverythingSubject{}}.warning(),
            "This cannot be undone. Tovra is local-first: there is no copy on a server to restore from and no account "
            "to sign back into. When these rows are gone they are gone — Tovra cannot measure the past.");
  for (const Plan::Subject& subject :
       {Plan::Subject{Plan::AppSubject{"A"}}, Plan::Subject{Plan::QuerySubject{"k", "us"}},
        Plan::Subject{Plan::SpaceSubject{"S", std::nullopt}}}) {
    EXPECT_EQ(Plan{subject}.warning(), "This cannot be undone — there is no server copy.");
  }
}

}  // namespace
}  // namespace tovra::store
