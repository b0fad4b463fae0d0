#include "app/research/country_choice.h"

#include <gtest/gtest.h>

namespace tovra::research {
namespace {

struct NearCase {
  const char* name;
  std::string typed;
  std::vector<std::string> nearest;
};

class NearestCountriesTest : public ::testing::TestWithParam<NearCase> {};

TEST_P(NearestCountriesTest, SuggestsWhatWasMostLikelyMeant) {
  EXPECT_EQ(nearestCountries(GetParam().typed), GetParam().nearest);
}

INSTANTIATE_TEST_SUITE_P(Mistakes, NearestCountriesTest,
                         ::testing::Values(NearCase{"BritainsOtherCode", "uk", {"gb"}},
                                           NearCase{"ThreeLetterCode", "USA", {"us"}},
                                           NearCase{"ThreeLetterCodeUnlikeTheTwo", "deu", {"de"}},
                                           NearCase{"CountryName", "Germany", {"de"}},
                                           NearCase{"NameCutShort", "swed", {"se"}},
                                           NearCase{"OneLetterOff", "fx", {"fr", "mx", "fi"}},
                                           NearCase{"NothingNear", "qq", {}}, NearCase{"Blank", "  ", {}}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(CountryChoiceTest, OnlyTheTwentySevenAreKnownAndTheRestAreToldWithTheirNearest) {
  EXPECT_EQ(storefrontCountries().size(), 27u);
  EXPECT_EQ(storefrontCountries().front().code, "us");
  EXPECT_EQ(storefrontCountries().front().name, "United States");
  EXPECT_FALSE(unknownCountryText(" DE\n"));
  EXPECT_EQ(unknownCountryText("uk"), "unknown country 'uk' — did you mean gb?");
  EXPECT_EQ(unknownCountryText("fx"), "unknown country 'fx' — did you mean fr, mx or fi?");
  EXPECT_EQ(unknownCountryText("zz"), "unknown country 'zz' — not one of the 27 App Store countries");
  EXPECT_EQ(unknownCountryText(""), "unknown country '' — not one of the 27 App Store countries");
}

}  // namespace
}  // namespace tovra::research
