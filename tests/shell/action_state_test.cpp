#include "app/shell/action_state.h"

#include <gtest/gtest.h>

namespace tovra::shell {
namespace {

struct GateCase {
  const char* name;
  MeasureGate gate;
  std::optional<std::string> reason;
};

class MeasureNowBlocked : public testing::TestWithParam<GateCase> {};

TEST_P(MeasureNowBlocked, SaysTheFirstThingInTheWay) {
  EXPECT_EQ(measureNowBlocked(GetParam().gate), GetParam().reason);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, MeasureNowBlocked,
    testing::Values(GateCase{"free", {.hasMeasurableKeywords = true}, std::nullopt},
                    GateCase{"liveBeatsEverything", {true, 75, true, false}, std::string(kRunLive)},
                    GateCase{"holdCountsDown", {false, 75, true, true}, "Apple paused requests · retry in 1:15"},
                    GateCase{"holdOverIsNoHold", {false, 0, false, true}, std::nullopt},
                    GateCase{"otherProcess", {false, std::nullopt, true, true}, std::string(kRunningElsewhere)},
                    GateCase{"nothingTracked", {false, std::nullopt, false, false}, std::string(kNothingToMeasure)}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(LinkFor, OnlyTheFourHelpActionsLeadOutOfTovra) {
  for (const auto& action : tovraActions()) {
    const bool help = action.id == TovraActionID::support || action.id == TovraActionID::privacyPolicy ||
                      action.id == TovraActionID::termsOfUse || action.id == TovraActionID::sendFeedback;
    EXPECT_EQ(linkFor(action.id).has_value(), help) << action.title;
  }
  EXPECT_TRUE(linkFor(TovraActionID::sendFeedback)->starts_with("mailto:"));
}

}  // namespace
}  // namespace tovra::shell
