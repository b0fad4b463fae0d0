#include "app/base/nearest_names.h"

#include <gtest/gtest.h>

namespace tovra::base {
namespace {

const std::vector<std::string_view> kCommands{"search",   "hints",   "lookup", "app",     "keywords",
                                              "space",    "measure", "today",  "history", "check",
                                              "discover", "signals", "export", "store",   "delete-everything"};

struct Case {
  const char* name;
  std::string typed;
  std::vector<std::string> nearest;
};

class NearestNamesTest : public ::testing::TestWithParam<Case> {};

TEST_P(NearestNamesTest, SuggestsTheCommandsATypoMeant) {
  EXPECT_EQ(nearestNames(GetParam().typed, kCommands, 2, 3), GetParam().nearest);
}

INSTANTIATE_TEST_SUITE_P(Typos, NearestNamesTest,
                         ::testing::Values(Case{"SwappedLetters", "serach", {"search"}},
                                           Case{"MissingLetter", "mesure", {"measure"}},
                                           Case{"CutShort", "disc", {"discover"}},
                                           Case{"NothingNear", "frobnicate", {}},
                                           Case{"ShortWordsAreNotAllNear", "xy", {}}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(EditDistanceTest, CountsASwapOfNeighboursAsOneEdit) {
  EXPECT_EQ(editDistance("search", "serach"), 1u);
  EXPECT_EQ(editDistance("", "abc"), 3u);
  EXPECT_EQ(editDistance("kitten", "sitting"), 3u);
}

}  // namespace
}  // namespace tovra::base
