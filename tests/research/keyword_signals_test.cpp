#include "app/research/keyword_signals.h"

#include <gtest/gtest.h>

#include "app/store/hint_probe_store.h"
#include "app/store/ladder_writer.h"
#include "app/store/store.h"

namespace tovra::research {
namespace {

using namespace std::chrono_literals;

std::vector<asokit::RankedApp> appsRated(std::vector<std::optional<std::int64_t>> counts) {
  std::vector<asokit::RankedApp> apps;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    asokit::RankedApp app;
    app.id = std::to_string(100 + i);
    app.position = static_cast<std::int64_t>(i + 1);
    app.ratingCount = counts[i];
    apps.push_back(app);
  }
  return apps;
}

class StoredSignalsTest : public ::testing::Test {
 protected:
  void saveLadder(asokit::WallTime at, std::vector<std::optional<std::int64_t>> counts) {
    store::LadderWriter(*store).write({"Photo Editor", "us", appsRated(std::move(counts)), 200, 10, "discover", at});
  }

  std::unique_ptr<store::Store> store = store::Store::inMemory();
  const asokit::WallTime now{std::chrono::seconds{1'750'000'000}};
};

TEST_F(StoredSignalsTest, DifficultyComesFromTheNewestSavedSearchOfTheWeek) {
  saveLadder(now - 24h * 7, {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 5'000'000});
  const auto signals = storedSignals(*store, "photo  editor", "US", now);
  EXPECT_EQ(signals.keyword, "photo editor");
  EXPECT_EQ(signals.country, "us");
  ASSERT_TRUE(signals.difficulty);
  EXPECT_DOUBLE_EQ(signals.difficulty->medianRatings, 55);
  EXPECT_EQ(signals.difficulty->sampled, 10);
  EXPECT_EQ(signals.difficultyAsOf, now - 24h * 7);
  EXPECT_EQ(signals.difficultySource, "top 10 of the store's search · saved search from discover");
}

TEST_F(StoredSignalsTest, ASavedSearchOfEightDaysAgoGivesNoDifficulty) {
  saveLadder(now - 24h * 8, {10, 20, 30, 40, 50, 60});
  const auto signals = storedSignals(*store, "photo editor", "us", now);
  EXPECT_FALSE(signals.difficulty);
  EXPECT_FALSE(signals.difficultyAsOf);
}

TEST_F(StoredSignalsTest, ReachIsReadFromTheStoredProbesOfTheKeywordsPrefixes) {
  store::HintProbeStore probes(*store);
  probes.keep({"photo ed", "us", {{1, "photo editor", std::nullopt}}, false, "appstore-hints"}, now - 2h);
  probes.keep({"photo e", "us", {{1, "photo effects", std::nullopt}}, false, "appstore-hints"}, now - 1h);
  probes.keep({"ph", "de", {{1, "photo editor", std::nullopt}}, false, "appstore-hints"}, now - 1h);
  const auto reach = storedSignals(*store, "Photo Editor", "us", now).reach;
  EXPECT_EQ(reach.letters, 8);
  EXPECT_EQ(reach.position, 1);
  EXPECT_EQ(reach.asOf, now - 2h);
  EXPECT_EQ(reach.band, AutocompleteReach::Band::moderate);
  EXPECT_EQ(storedSignals(*store, "photo editor", "gb", now).reach.band, AutocompleteReach::Band::notAsked);
}

TEST(SignalsHelpTest, ExplainsBothSignalsInTheirOwnWords) {
  const auto help = signalsHelp();
  ASSERT_EQ(help.size(), 5u);
  EXPECT_EQ(help[0], "HOW SIGNALS ARE READ");
  EXPECT_EQ(help[1],
            "Difficulty: the median rating count of the top 10 apps for this keyword. Under about 1k is Easy, under "
            "about 10k is Medium, more is Hard. Needs counts for 6 of the 10.");
  EXPECT_EQ(help[2],
            "Autocomplete reach: how few letters it takes before App Store search lists the whole keyword, and where. "
            "Strong is within half the letters and in the top 3; Moderate is listed later; None is not listed even "
            "for the full keyword. A prefix not asked yet is never None.");
  EXPECT_EQ(help[3], "“—” means unknown. It is never counted as 0.");
  EXPECT_EQ(help[4], "Both come from Apple's own answers. They are never added to a rank.");
}

}  // namespace
}  // namespace tovra::research
