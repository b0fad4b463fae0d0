#include "app/research/signals_texts.h"

#include <gtest/gtest.h>

namespace tovra::research {
namespace {

using Band = AutocompleteReach::Band;

TEST(SignalsTexts, DifficultyReadsBandMedianAndCountsOrTheEmDash) {
  EXPECT_EQ(difficultyLine(std::nullopt), "—") << "no difficulty is unknown, never easy";
  EXPECT_EQ(difficultyLine(KeywordDifficulty{1500, 8, 10, 0.4, KeywordDifficulty::Band::medium}),
            "Medium · median 1.5k ratings · 8 of 10 counts known");
  EXPECT_EQ(difficultyLine(KeywordDifficulty{1, 6, 10, 0, KeywordDifficulty::Band::easy}),
            "Easy · median 1 rating · 6 of 10 counts known");
}

TEST(SignalsTexts, ProgressNamesTheSearchFirstThenTheLatestProbe) {
  using Step = SignalsCheck::ProbeStep;
  struct Case {
    std::vector<Step> steps;
    std::string line;
  };
  for (const auto& c : std::vector<Case>{
           {{}, "reading the top 10 of the store's search for “photo editor” in US…"},
           {{Step{"photo", 5, std::nullopt}}, "hint probe 1 of at most 5 · “photo” · not listed"},
           {{Step{"photo", 5, std::nullopt}, Step{"pho", 3, 2, true}},
            "hint probe 2 of at most 5 · “pho” · listed at position 2 · from today's stored probe"},
       }) {
    EXPECT_EQ(signalsProgress("photo editor", "us", c.steps), c.line);
  }
}

TEST(SignalsTexts, ReachSaysWhereOnlyWhenListed) {
  struct Case {
    AutocompleteReach reach;
    std::string line;
  };
  for (const auto& c : std::vector<Case>{
           {{Band::strong, 4, 2, 9, {}}, "Strong · listed at 4 of 9 letters · position 2"},
           {{Band::moderate, 9, 7, 9, {}}, "Moderate · listed at 9 of 9 letters · position 7"},
           {{Band::none, std::nullopt, std::nullopt, 9, {}}, "None · not listed even for the full keyword"},
           {{Band::notAsked, std::nullopt, std::nullopt, 9, {}}, "Not asked"},
       }) {
    EXPECT_EQ(reachLine(c.reach), c.line);
  }
}

TEST(SignalsTexts, ProbeStepsAndTheirCount) {
  EXPECT_EQ(probeStepText({"pho", 3, 2, false, {}}), "listed at position 2");
  EXPECT_EQ(probeStepText({"ph", 2, std::nullopt, true, {}}), "not listed · from today's stored probe");

  SignalsCheck::Summary summary;
  summary.probesAsked = 1;
  EXPECT_EQ(probesLine(summary), "1 hint probe asked · not settled");
  summary.probesAsked = 0;
  summary.converged = true;
  EXPECT_EQ(probesLine(summary), "0 hint probes asked · the shortest listing prefix is settled");
}

struct ProblemCase {
  std::string name;
  std::int64_t failed;
  bool halted;
  std::optional<std::string> lastFailure;
  std::optional<std::string> saveFailure;
  std::vector<std::string> problems;
};

class SignalsProblems : public ::testing::TestWithParam<ProblemCase> {};

TEST_P(SignalsProblems, NameEachThingThatWentWrongOnce) {
  SignalsCheck::Summary summary;
  summary.failed = GetParam().failed;
  summary.halted = GetParam().halted;
  summary.lastFailure = GetParam().lastFailure;
  EXPECT_EQ(signalsProblems(summary, GetParam().saveFailure), GetParam().problems);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, SignalsProblems,
    ::testing::Values(
        ProblemCase{"Nothing", 0, false, std::nullopt, std::nullopt, {}},
        ProblemCase{"OneFailure", 1, false, "HTTP 500 — u", std::nullopt, {"1 request failed · HTTP 500 — u"}},
        ProblemCase{"ThreeFailuresHalt", 3, true, "HTTP 503 — u", std::nullopt, {"3 requests failed · HTTP 503 — u"}},
        // A hold met before any request is the refusal's own words, not "0 requests failed".
        ProblemCase{"RefusedByAHold",
                    0,
                    true,
                    "Apple paused requests · retry in 1:15",
                    std::nullopt,
                    {"Apple paused requests · retry in 1:15"}},
        ProblemCase{"SaveFailedOnly",
                    0,
                    false,
                    std::nullopt,
                    "the results could not be saved: disk full",
                    {"the results could not be saved: disk full"}},
        ProblemCase{"FailureThenSave",
                    2,
                    false,
                    "HTTP 500 — u",
                    "the results could not be saved: disk full",
                    {"2 requests failed · HTTP 500 — u", "the results could not be saved: disk full"}}),
    [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace tovra::research
