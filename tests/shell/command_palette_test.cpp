#include "app/shell/command_palette.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace tovra::shell {
namespace {

using enum TovraActionID;

TEST(ActionTable, HasTheFourteenActionsInOrderWithTheirShortcuts) {
  const auto& actions = tovraActions();
  ASSERT_EQ(actions.size(), 14u);
  for (std::size_t i = 0; i < actions.size(); ++i) {
    EXPECT_EQ(static_cast<std::size_t>(actions[i].id), i) << actions[i].title;
  }
  EXPECT_EQ(tovraAction(addApp).title, "Add app\u2026");
  EXPECT_EQ(tovraAction(addKeywords).title, "Add keywords\u2026");
  EXPECT_EQ(tovraAction(addKeywords).modifiers, (KeyModifiers{KeyModifier::command, KeyModifier::shift}));
  EXPECT_EQ(tovraAction(measureNow).key, 'R');
  EXPECT_EQ(tovraAction(commandPalette).key, 'K');
  EXPECT_EQ(tovraAction(goArchive).symbol, "books.vertical");
  EXPECT_EQ(tovraAction(goRivals).key, '5');
  EXPECT_EQ(tovraAction(goRivals).modifiers, KeyModifiers{KeyModifier::command});
  for (auto id : {openSettings, support, privacyPolicy, termsOfUse, sendFeedback}) {
    EXPECT_FALSE(tovraAction(id).key) << actionName(id);
    EXPECT_TRUE(tovraAction(id).modifiers.empty()) << actionName(id);
  }
}

struct ScoreCase {
  const char* name;
  const char* query;
  const char* title;
  std::optional<int> score;
};

class PaletteScore : public testing::TestWithParam<ScoreCase> {};

TEST_P(PaletteScore, ScoresAsTheRulesSay) {
  EXPECT_EQ(paletteScore(GetParam().query, GetParam().title), GetParam().score);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, PaletteScore,
    testing::Values(
        // G at a word start (+8 +1), then the t of "to" at a word start after skipping two (+8 −2 +1).
        ScoreCase{"gAndTOfGoTo", "g t", "Go to Today", 16}, ScoreCase{"gAndTOfGoToApps", "gt", "Go to Apps", 16},
        ScoreCase{"onlySpaces", "   ", "Measure now", 0}, ScoreCase{"emptyQuery", "", "Measure now", 0},
        // m +8 +1, e adjacent +5 +1, a adjacent +5 +1.
        ScoreCase{"adjacentLetters", "mea", "Measure now", 21},
        // The first match skips ten characters, counted as six.
        ScoreCase{"firstSkipCapped", "w", "Measure now", 1 - 6},
        ScoreCase{"otherCase", "MEASURE", "Measure now", 9 + 6 * 6},
        ScoreCase{"accentInQuery", "mé", "Measure now", 15}, ScoreCase{"accentInTitle", "ca", "Café", 15},
        ScoreCase{"decomposedAccent", "me\u0301", "Measure now", 15},
        // After "…" a letter counts as a word start: the ellipsis is not a letter.
        ScoreCase{"afterEllipsis", "x", "a…x", 8 - 2 + 1}, ScoreCase{"missingLetter", "q", "Measure now", std::nullopt},
        ScoreCase{"wrongOrder", "wm", "Measure now", std::nullopt},
        // A Turkish desktop locale must not change how I folds.
        ScoreCase{"capitalI", "I", "ink", 9}, ScoreCase{"laterLetterAfterGap", "mn", "Measure now", 9 + 8 - 6 + 1}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(PaletteMatches, GoToQueryListsTheFiveGoToTitlesInTableOrder) {
  const auto matches = paletteMatches("g t");
  std::vector<PaletteMatch> goTo(matches.begin(), matches.begin() + 5);
  EXPECT_EQ(goTo, (std::vector<PaletteMatch>{
                      {goToday, 16}, {goApps, 16}, {goDiscover, 16}, {goArchive, 16}, {goRivals, 16}}));
  for (std::size_t i = 5; i < matches.size(); ++i) {
    EXPECT_LT(matches[i].score, 16);
  }
}

TEST(PaletteMatches, SpacesListEveryActionInTableOrder) {
  const auto matches = paletteMatches(" \t ");
  ASSERT_EQ(matches.size(), 14u);
  EXPECT_TRUE(std::all_of(matches.begin(), matches.end(), [](const auto& m) { return m.score == 0; }));
  EXPECT_EQ(matches.front().id, addApp);
  EXPECT_EQ(matches.back().id, sendFeedback);
}

TEST(PaletteMatches, HigherScoresComeFirst) {
  // "set" is a word start in "Open Settings"; elsewhere its letters lie scattered.
  const auto matches = paletteMatches("set");
  ASSERT_FALSE(matches.empty());
  EXPECT_EQ(matches.front().id, openSettings);
  EXPECT_TRUE(std::is_sorted(matches.begin(), matches.end(), [](auto& a, auto& b) { return a.score > b.score; }));
}

TEST(PaletteTexts, AreTheSystemsOwn) {
  EXPECT_EQ(noCommandMatches("zz"), "no command matches \u201czz\u201d");
  EXPECT_EQ(kPaletteFooter, "\u2191\u2193 move \u00b7 \u21a9 run \u00b7 esc close");
}

struct Recorder {
  std::vector<TovraActionID> performed;
  TovraActionHandler handler(std::set<TovraActionID> enabled) {
    return {std::move(enabled), [](TovraActionID) { return std::optional<std::string>("a run is live"); },
            [this](TovraActionID id) { performed.push_back(id); }};
  }
};

TEST(CommandPaletteModel, ArrowsStayWithinTheMatchesAndReturnRunsTheHighlightedOne) {
  Recorder recorder;
  CommandPaletteModel model;
  model.open();
  EXPECT_TRUE(model.isOpen());
  model.setQuery("g t");
  model.move(-1);
  EXPECT_EQ(model.selection(), 0);
  model.move(1);
  model.move(1);
  EXPECT_EQ(model.selected(), goDiscover);
  model.move(100);
  EXPECT_EQ(model.selection(), static_cast<int>(model.matches().size()) - 1);
  model.setQuery("g t");
  model.move(1);
  EXPECT_TRUE(model.runSelected(recorder.handler({goApps})));
  EXPECT_EQ(recorder.performed, std::vector<TovraActionID>{goApps});
  EXPECT_FALSE(model.isOpen());
}

TEST(CommandPaletteModel, DisabledOrMissingSelectionRunsNothingAndStaysOpen) {
  Recorder recorder;
  CommandPaletteModel model;
  model.open();
  model.setQuery("measure");
  EXPECT_FALSE(model.runSelected(recorder.handler({goToday})));
  EXPECT_TRUE(model.isOpen());
  model.setQuery("qqq");
  EXPECT_FALSE(model.selected());
  model.move(1);
  EXPECT_FALSE(model.runSelected(recorder.handler({measureNow})));
  EXPECT_TRUE(recorder.performed.empty());
}

TEST(TovraActionHandler, ReasonOnlyForDisabledActions) {
  Recorder recorder;
  const auto handler = recorder.handler({measureNow});
  EXPECT_FALSE(handler.reasonFor(measureNow));
  EXPECT_EQ(handler.reasonFor(goToday), "a run is live");
  EXPECT_FALSE(handler.run(goToday));
  EXPECT_TRUE(handler.run(measureNow));
  EXPECT_EQ(recorder.performed, std::vector<TovraActionID>{measureNow});
}

}  // namespace
}  // namespace tovra::shell
