#include "app/research/autocomplete_reach.h"

#include <gtest/gtest.h>

namespace tovra::research {
namespace {

using Band = AutocompleteReach::Band;
using Observation = PrefixPlanner::Observation;

HintSnapshot snapshot(std::vector<std::string> terms) {
  HintSnapshot s{"pre", "us", asokit::WallTime{}, {}};
  std::int64_t position = 0;
  for (auto& term : terms) {
    ++position;
    if (!term.empty()) {  // an empty entry stands for an unreadable element: its place stays a gap
      s.terms.push_back({position, std::move(term)});
    }
  }
  return s;
}

struct MatchCase {
  std::string name;
  std::string keyword;
  std::vector<std::string> terms;
  std::optional<std::int64_t> position;
};

class HintMatchTest : public ::testing::TestWithParam<MatchCase> {};

TEST_P(HintMatchTest, FindsTheKeywordAmongTheHints) {
  EXPECT_EQ(snapshot(GetParam().terms).positionOf(GetParam().keyword), GetParam().position);
}

INSTANTIATE_TEST_SUITE_P(
    Matching, HintMatchTest,
    ::testing::Values(MatchCase{"Exact", "photo editor", {"photo", "photo editor"}, 2},
                      MatchCase{"CaseFolded", "Photo Editor", {"PHOTO EDITOR"}, 1},
                      MatchCase{"DiacriticsFolded", "cafe", {"caffè", "Café"}, 2},
                      MatchCase{"FullWidthLettersAreOtherLetters", "cafe", {"ｃａｆｅ", "CAFÉ"}, 2},
                      MatchCase{"FullWidthKeywordMeetsItsCapitals", "ｃａｆｅ", {"cafe", "ＣＡＦＥ"}, 2},
                      MatchCase{"WhiteSpaceCollapsed", "  photo   editor ", {"photo\u00a0editor"}, 1},
                      MatchCase{"PositionsKeepTheAnswersGaps", "camera", {"cam", "", "camera"}, 3},
                      MatchCase{"FirstEqualTermWins", "cafe", {"café", "cafe"}, 1},
                      MatchCase{"APrefixIsNotTheKeyword", "photo editor", {"photo", "photo editor pro"}, std::nullopt},
                      MatchCase{"TurkishDottedCapitalMeetsI", "istanbul", {"İstanbul"}, 1},
                      MatchCase{"OnlySpacesMatchesNothing", "   ", {"", " "}, std::nullopt}),
    [](const auto& info) { return info.param.name; });

struct CandidateCase {
  std::string name;
  std::string keyword;
  std::int64_t length;
  std::vector<std::int64_t> candidates;
};

class CandidateTest : public ::testing::TestWithParam<CandidateCase> {};

TEST_P(CandidateTest, RunFromTwoLettersToTheWholeKeywordSkippingPrefixesEndingInASpace) {
  const PrefixPlanner planner(GetParam().keyword);
  EXPECT_EQ(planner.keywordLength(), GetParam().length);
  EXPECT_EQ(planner.candidates(), GetParam().candidates);
}

INSTANTIATE_TEST_SUITE_P(
    Candidates, CandidateTest,
    ::testing::Values(CandidateCase{"OneLetter", "a", 1, {1}}, CandidateCase{"TwoLetters", "ab", 2, {2}},
                      CandidateCase{"OnlySpaces", "    ", 0, {}}, CandidateCase{"Empty", "", 0, {}},
                      CandidateCase{"SpaceAtTheFifthPlace", "game tips", 9, {2, 3, 4, 6, 7, 8, 9}},
                      CandidateCase{"SeveralSpacesCollapse", "  game    tips ", 9, {2, 3, 4, 6, 7, 8, 9}},
                      CandidateCase{"DiacriticsAreOneCharacterEach", "cafe\u0301 au", 7, {2, 3, 4, 6, 7}},
                      CandidateCase{"FullWidthLetters", "ＣＡＦＥ", 4, {2, 3, 4}},
                      CandidateCase{"AOneLetterWordFirst", "a b", 3, {3}}),
    [](const auto& info) { return info.param.name; });

TEST(PrefixPlannerTest, PrefixesAreTheLowerCasedCollapsedKeywordsFirstCharacters) {
  const PrefixPlanner planner("  Café   AU Lait");
  EXPECT_EQ(planner.keyword(), "café au lait");
  EXPECT_EQ(planner.prefix(2), "ca");
  EXPECT_EQ(planner.prefix(4), "café");
  EXPECT_EQ(planner.prefix(7), "café au");
  EXPECT_EQ(planner.prefix(99), "café au lait");
}

struct NeededCase {
  std::string name;
  std::string keyword;
  std::vector<std::pair<std::int64_t, Observation>> seen;
  std::int64_t needed;
  std::optional<std::int64_t> next;
};

class ProbesNeededTest : public ::testing::TestWithParam<NeededCase> {};

TEST_P(ProbesNeededTest, CountsTheHalvingsLeft) {
  PrefixPlanner planner(GetParam().keyword);
  for (const auto& [length, observation] : GetParam().seen) {
    planner.observe(length, observation);
  }
  EXPECT_EQ(planner.probesNeeded(), GetParam().needed);
  EXPECT_EQ(planner.nextLength(), GetParam().next);
  EXPECT_EQ(planner.converged(), GetParam().needed == 0);
}

// "abcdefghij" has the nine candidates 2…10.
INSTANTIATE_TEST_SUITE_P(
    Plans, ProbesNeededTest,
    ::testing::Values(NeededCase{"NineCandidatesNoneAsked", "abcdefghij", {}, 4, 6},
                      NeededCase{"AbsentThenListedNextToIt",
                                 "abcdefghij",
                                 {{4, Observation::absent()}, {5, Observation::listed(2)}},
                                 0,
                                 std::nullopt},
                      NeededCase{"ListedAtTheShortest", "abcdefghij", {{2, Observation::listed(1)}}, 0, std::nullopt},
                      NeededCase{"AbsentAtTheFullLength", "abcdefghij", {{10, Observation::absent()}}, 0, std::nullopt},
                      NeededCase{"ListedInTheMiddle", "abcdefghij", {{6, Observation::listed(4)}}, 3, 4},
                      NeededCase{"AbsentInTheMiddle", "abcdefghij", {{6, Observation::absent()}}, 3, 9},
                      NeededCase{"OneCandidate", "ab", {}, 1, 2},
                      NeededCase{"NoCandidates", "   ", {}, 0, std::nullopt},
                      NeededCase{"NeverMoreThanFive", "abcdefghijklmnopqrstuvwxyzabcdefghijklmnop", {}, 5, 22},
                      NeededCase{"ThirtyOneOpenNeedFive", "abcdefghijklmnopqrstuvwxyzabcdef", {}, 5, 17}),
    [](const auto& info) { return info.param.name; });

// Bisection against a store that first lists the keyword at `listedFrom` letters finds exactly that length
// in at most five probes.
TEST(PrefixPlannerTest, BisectionFindsTheFirstListingLengthInAtMostFiveProbes) {
  const std::string keyword = "photo editor for instagram";  // 26 characters, spaces at 6, 13 and 17
  const PrefixPlanner reference(keyword);
  for (const auto listedFrom : reference.candidates()) {
    PrefixPlanner planner(keyword);
    int probes = 0;
    while (const auto length = planner.nextLength()) {
      ++probes;
      planner.observe(*length, *length >= listedFrom ? Observation::listed(2) : Observation::absent());
    }
    EXPECT_LE(probes, 5) << "listed from " << listedFrom;
    EXPECT_EQ(planner.reach().letters, listedFrom);
  }
  PrefixPlanner never(keyword);
  int probes = 0;
  while (const auto length = never.nextLength()) {
    ++probes;
    never.observe(*length, Observation::absent());
  }
  EXPECT_LE(probes, 5);
  EXPECT_EQ(never.reach().band, Band::none) << "the full keyword was asked last";
}

struct ReachCase {
  std::string name;
  std::string keyword;
  std::vector<std::pair<std::int64_t, Observation>> seen;
  Band band;
  std::optional<std::int64_t> letters;
  std::optional<std::int64_t> position;
};

class ReachTest : public ::testing::TestWithParam<ReachCase> {};

TEST_P(ReachTest, BandsFollowTheLettersAndThePlace) {
  PrefixPlanner planner(GetParam().keyword);
  for (const auto& [length, observation] : GetParam().seen) {
    planner.observe(length, observation);
  }
  const auto reach = planner.reach();
  EXPECT_EQ(reach.band, GetParam().band);
  EXPECT_EQ(reach.letters, GetParam().letters);
  EXPECT_EQ(reach.position, GetParam().position);
  EXPECT_EQ(reach.keywordLength, planner.keywordLength());
}

const asokit::WallTime at{std::chrono::seconds{1'700'000'000}};

INSTANTIATE_TEST_SUITE_P(
    Bands, ReachTest,
    ::testing::Values(
        ReachCase{"NineLettersListedAtFiveThird", "abcdefghi", {{5, Observation::listed(3)}}, Band::strong, 5, 3},
        ReachCase{"NineLettersListedAtSix", "abcdefghi", {{6, Observation::listed(3)}}, Band::moderate, 6, 3},
        ReachCase{"NineLettersListedAtFiveFourth", "abcdefghi", {{5, Observation::listed(4)}}, Band::moderate, 5, 4},
        ReachCase{"FourLettersListedAtTwoFirst", "abcd", {{2, Observation::listed(1)}}, Band::strong, 2, 1},
        ReachCase{"TheShortestListingPrefixCounts",
                  "abcdefghi",
                  {{7, Observation::listed(1)}, {4, Observation::listed(5)}, {3, Observation::absent()}},
                  Band::moderate,
                  4,
                  5},
        ReachCase{"FullKeywordAskedAndNotListed",
                  "abcdefghi",
                  {{9, Observation::absent()}, {5, Observation::absent()}},
                  Band::none,
                  std::nullopt,
                  std::nullopt},
        ReachCase{
            "NeverAskedInFull", "abcdefghi", {{5, Observation::absent()}}, Band::notAsked, std::nullopt, std::nullopt},
        ReachCase{"NothingAsked", "abcdefghi", {}, Band::notAsked, std::nullopt, std::nullopt},
        ReachCase{"OneLetterListed", "a", {{1, Observation::listed(3)}}, Band::strong, 1, 3}),
    [](const auto& info) { return info.param.name; });

TEST(ReachTest, RestsOnTheTimeOfTheProbeThatListedIt) {
  PrefixPlanner planner("photo");
  planner.observe(3, HintSnapshot{"pho", "us", at, {{1, "phone"}, {2, "Photo"}}});
  planner.observe(2, HintSnapshot{"ph", "us", at + std::chrono::hours{1}, {{1, "phone"}}});
  const auto reach = planner.reach();
  EXPECT_EQ(reach.letters, 3);
  EXPECT_EQ(reach.position, 2);
  EXPECT_EQ(reach.asOf, at);
  EXPECT_EQ(reach.band, Band::strong);
}

}  // namespace
}  // namespace tovra::research
