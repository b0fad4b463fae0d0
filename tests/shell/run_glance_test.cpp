#include "app/shell/run_glance.h"

#include <gtest/gtest.h>

namespace tovra::shell {
namespace {

struct GlanceCase {
  const char* name;
  RunGlance glance;
  std::string_view symbol;
  std::string_view label;
  std::string title;
};

class RunGlanceTexts : public testing::TestWithParam<GlanceCase> {};

TEST_P(RunGlanceTexts, TitleAndTrayFollowTheRun) {
  const auto& c = GetParam();
  EXPECT_EQ(traySymbol(c.glance), c.symbol);
  EXPECT_EQ(trayLabel(c.glance), c.label);
  EXPECT_EQ(windowTitle(c.glance), c.title);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, RunGlanceTexts,
    testing::Values(
        GlanceCase{"idle", {}, "laurel.leading", "Tovra", "Tovra"},
        GlanceCase{
            "live", {true, 3, 12, std::nullopt}, "laurel.trailing", "Tovra, measuring", "Tovra · request 3 of 12"},
        // A live run wins over a hold read a moment earlier.
        GlanceCase{"liveDuringHold", {true, 0, 5, 30}, "laurel.trailing", "Tovra, measuring", "Tovra · request 0 of 5"},
        GlanceCase{"cooldown",
                   {false, 0, 0, 899},
                   "laurel.leading",
                   "Tovra",
                   "Tovra · Apple paused requests · retry in 14:59"},
        GlanceCase{"holdOver", {false, 0, 0, 0}, "laurel.leading", "Tovra", "Tovra"}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace tovra::shell
