#include "app/shell/watchlist_board.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace tovra::shell::board {
namespace {

struct TextCase {
  const char* name;
  std::function<std::string()> make;
  std::string expected;
};

void PrintTo(const TextCase& c, std::ostream* os) {
  *os << c.name;
}

class BoardTextTest : public ::testing::TestWithParam<TextCase> {};

TEST_P(BoardTextTest, SaysWhatTheBoardShows) {
  EXPECT_EQ(GetParam().make(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Board, BoardTextTest,
    ::testing::Values(
        TextCase{"MineAfterTheDeveloper", [] { return appDetails("Lumen Labs", true); }, "Lumen Labs · mine"},
        TextCase{"NoDeveloperIsUnknown", [] { return appDetails("", false); }, "—"},
        TextCase{"OneKeywordIsSingular", [] { return confirmAdd(1, false); }, "Add 1 keyword"},
        TextCase{"ASpaceParks", [] { return confirmAdd(3, true); }, "Park 3 keywords"},
        TextCase{"NoneIsPlural", [] { return confirmAdd(0, false); }, "Add 0 keywords"},
        TextCase{"TrackedAnew", [] { return trackedLine("Lumen", true); }, "Tracking Lumen"},
        TextCase{"TrackedBefore", [] { return trackedLine("Lumen", false); }, "Already tracked: Lumen"},
        TextCase{"GraduatedWithoutKept", [] { return graduatedLine("Lumen", 3, 0); },
                 "Lumen now holds the space's keywords · 3 moved"},
        TextCase{"GraduatedWithOneKept", [] { return graduatedLine("Lumen", 2, 1); },
                 "Lumen now holds the space's keywords · 2 moved · 1 stayed in the space (Lumen already had it)"},
        TextCase{"GraduatedWithTwoKept", [] { return graduatedLine("Lumen", 0, 2); },
                 "Lumen now holds the space's keywords · 0 moved · 2 stayed in the space (Lumen already had them)"},
        TextCase{"SpaceSheetTitleQuotesTheName", [] { return addKeywordsTitle("Trips", true); },
                 "Park keywords in the research space “Trips”"},
        TextCase{"AppSheetTitle", [] { return addKeywordsTitle("Lumen", false); }, "Add keywords to Lumen"},
        TextCase{"KeywordLabelShowsTheCountryInCapitals", [] { return keywordLabel("maps", " de ", "paused"); },
                 "maps · DE · paused"}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace tovra::shell::board
