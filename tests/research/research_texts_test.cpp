#include "app/research/research_texts.h"

#include <gtest/gtest.h>

namespace tovra::research {
namespace {

TEST(ResearchTexts, HeadlinesNameTheTermAsGivenAndTheStorefrontInCapitals) {
  EXPECT_EQ(termInCountry("photo  editor", " us"), "“photo  editor” in US") << "the term is shown as given";
  EXPECT_EQ(checkHeadline("Lumen Photo", "photo editor", "de"), "Lumen Photo for “photo editor” in DE");
}

TEST(ResearchTexts, CountsAreSingularOnlyForExactlyOne) {
  struct Case {
    std::int64_t count;
    std::string results;
    std::string hints;
  };
  for (const auto& c : std::vector<Case>{
           {0, "“chess” in US · No results — the App Store returned nothing for this term",
            "Store hints for “chess” in US · 0 hints"},
           {1, "“chess” in US · 1 result", "Store hints for “chess” in US · 1 hint"},
           {2, "“chess” in US · 2 results", "Store hints for “chess” in US · 2 hints"},
           {200, "“chess” in US · 200 results", "Store hints for “chess” in US · 200 hints"},
       }) {
    EXPECT_EQ(resultsHeadline("chess", "us", c.count), c.results);
    EXPECT_EQ(hintsHeadline("chess", "us", c.count), c.hints);
  }
  EXPECT_EQ(discoverHeadline("chess", "us", 1), "“chess” in US · 1 result · store's position · no score added");
  EXPECT_EQ(discoverHeadline("chess", "us", 0), "“chess” in US") << "never an order of zero results";
}

}  // namespace
}  // namespace tovra::research
