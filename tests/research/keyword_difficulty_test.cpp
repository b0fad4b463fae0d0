#include "app/research/keyword_difficulty.h"

#include <gtest/gtest.h>

#include <cmath>

namespace tovra::research {
namespace {

using namespace std::chrono_literals;
using Band = KeywordDifficulty::Band;
using Counts = std::vector<std::optional<std::int64_t>>;

struct DifficultyCase {
  std::string name;
  Counts counts;
  std::optional<double> median;  // absent: no difficulty
  std::int64_t known = 0;
  std::int64_t sampled = 0;
  double z = 0;
  Band band = Band::easy;
};

class DifficultyTest : public ::testing::TestWithParam<DifficultyCase> {};

TEST_P(DifficultyTest, ReadsTheMedianOfTheTopTen) {
  const auto& c = GetParam();
  const auto difficulty = difficultyFromRatings(c.counts);
  if (!c.median) {
    EXPECT_FALSE(difficulty);
    return;
  }
  ASSERT_TRUE(difficulty);
  EXPECT_DOUBLE_EQ(difficulty->medianRatings, *c.median);
  EXPECT_EQ(difficulty->knownCount, c.known);
  EXPECT_EQ(difficulty->sampled, c.sampled);
  EXPECT_NEAR(difficulty->z, c.z, 1e-12);
  EXPECT_EQ(difficulty->band, c.band);
}

const auto none = std::nullopt;

INSTANTIATE_TEST_SUITE_P(
    Table, DifficultyTest,
    ::testing::Values(
        DifficultyCase{"EvenMedianIsTheMeanOfTheMiddleTwo", {10, 20, 30, 40, 50, 60}, 35, 6, 6, 0, Band::easy},
        DifficultyCase{"FiveKnownOfTenIsTooFew", {1, 2, 3, 4, 5, none, none, none, none, none}, none},
        DifficultyCase{"SixKnownOfTenIsEnough",
                       {600, none, 500, none, 400, none, 300, none, 200, 100},
                       350,
                       6,
                       10,
                       (std::log10(350.0) - 2) / 3,
                       Band::easy},
        DifficultyCase{"FewerThanTenResults",
                       {5000, 7000, 9000, 11000, 13000, 15000, 17000},
                       11000,
                       7,
                       7,
                       (std::log10(11000.0) - 2) / 3,
                       Band::hard},
        DifficultyCase{
            "AMedianOfExactly1000IsMedium", {1000, 1000, 1000, 1000, 1000, 1000}, 1000, 6, 6, 1.0 / 3, Band::medium},
        DifficultyCase{"AMedianOfZeroCountsAsOne", {0, 0, 0, 0, 0, 0, 0}, 0, 7, 7, 0, Band::easy},
        DifficultyCase{"NegativeCountsAreDropped", {-5, -1, 10, 20, 30, 40, 50}, none},
        DifficultyCase{"NegativeDroppedButSixRemain", {-5, 10, 20, 30, 40, 50, 60}, 35, 6, 7, 0, Band::easy},
        DifficultyCase{"AHundredThousandOrMoreScoresOne",
                       {2'000'000, 900'000, 500'000, 200'000, 100'000, 100'000},
                       350'000,
                       6,
                       6,
                       1,
                       Band::hard},
        DifficultyCase{"JustUnderTheHardLine",
                       {9'000, 9'000, 9'000, 9'000, 9'000, 9'000},
                       9000,
                       6,
                       6,
                       (std::log10(9000.0) - 2) / 3,
                       Band::medium},
        DifficultyCase{"JustOverTheHardLine",
                       {9'600, 9'600, 9'600, 9'600, 9'600, 9'600},
                       9600,
                       6,
                       6,
                       (std::log10(9600.0) - 2) / 3,
                       Band::hard},
        DifficultyCase{"FifteenResultsOnlyTheFirstTenCount",
                       {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 1'000'000, 1'000'000, 1'000'000, 1'000'000, 1'000'000},
                       5.5,
                       10,
                       10,
                       0,
                       Band::easy},
        DifficultyCase{
            "FifteenResultsWithTheKnownOnesLate", {none, none, none, none, none, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, none},
        DifficultyCase{"NothingAtAll", {}, none}),
    [](const auto& info) { return info.param.name; });

struct CountTextCase {
  double count;
  std::string text;
};

class RatingCountTextTest : public ::testing::TestWithParam<CountTextCase> {};

TEST_P(RatingCountTextTest, OneDecimalRoundedHalfAwayFromZeroWithoutPointZero) {
  EXPECT_EQ(ratingCountText(GetParam().count), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Counts, RatingCountTextTest,
                         ::testing::Values(CountTextCase{0, "0"}, CountTextCase{35, "35"}, CountTextCase{999, "999"},
                                           CountTextCase{1000, "1k"}, CountTextCase{1500, "1.5k"},
                                           CountTextCase{1250, "1.3k"}, CountTextCase{1249, "1.2k"},
                                           CountTextCase{12'000, "12k"}, CountTextCase{12'050, "12.1k"},
                                           CountTextCase{999'949, "999.9k"}, CountTextCase{1'000'000, "1M"},
                                           CountTextCase{2'350'000, "2.4M"}, CountTextCase{15'000'000, "15M"}));

TEST(DifficultyCaptionTest, SaysRatingInTheSingularOnlyForAMedianOfOne) {
  const auto of = [](Counts counts) { return difficultyCaption(*difficultyFromRatings(counts)); };
  EXPECT_EQ(of({1, 1, 1, 1, 1, 1}), "median 1 rating");
  EXPECT_EQ(of({0, 0, 0, 0, 0, 0}), "median 0 ratings");
  EXPECT_EQ(of({1, 1, 1, 2, 2, 2}), "median 2 ratings") << "1.5 is not exactly 1";
  EXPECT_EQ(of({1000, 1000, 1000, 2000, 2000, 2000}), "median 1.5k ratings");
}

TEST(LadderFreshnessTest, ASavedSearchCountsForSevenDaysExactly) {
  const asokit::WallTime fetched{std::chrono::seconds{1'700'000'000}};
  EXPECT_TRUE(isLadderFresh(fetched, fetched));
  EXPECT_TRUE(isLadderFresh(fetched, fetched + 604'800s));
  EXPECT_FALSE(isLadderFresh(fetched, fetched + 604'800s + 1ms));
  EXPECT_FALSE(isLadderFresh(fetched, fetched + std::chrono::hours{24 * 8}));
}

}  // namespace
}  // namespace tovra::research
