#include "app/store/hint_probe_store.h"

#include <gtest/gtest.h>

#include "app/base/zoned_calendar.h"
#include "app/store/store.h"
#include "fixtures.h"

namespace tovra::store {
namespace {

using namespace std::chrono;
using testing::utc;

asokit::HintsOutcome answer(std::string prefix, std::vector<asokit::HintTerm> terms, std::string country = "us") {
  asokit::HintsOutcome outcome;
  outcome.prefix = std::move(prefix);
  outcome.country = std::move(country);
  outcome.carriesPriority =
      std::any_of(terms.begin(), terms.end(), [](const asokit::HintTerm& t) { return t.priority.has_value(); });
  outcome.terms = std::move(terms);
  return outcome;
}

class HintProbeStoreTest : public ::testing::Test {
 protected:
  std::unique_ptr<Store> store = Store::inMemory();
  HintProbeStore probes{*store};
  const base::ZonedCalendar berlin{"Europe/Berlin"};
};

TEST_F(HintProbeStoreTest, KeepsTheHintsInTheStoresOrderWithTheirGapsAndPriorities) {
  const auto kept =
      probes.keep(answer("pho", {{1, "photo editor", 40}, {3, "photo", std::nullopt}}, " US"), utc(2025, 3, 1, 10));
  EXPECT_EQ(kept.saved.probe.country, "us");
  EXPECT_TRUE(kept.saved.probe.carriedPriority);
  EXPECT_EQ(kept.saved.probe.source, "appstore-hints");

  const auto read = probes.newest("pho", "us");
  ASSERT_TRUE(read);
  const auto outcome = outcomeOf(*read);
  ASSERT_EQ(outcome.terms.size(), 2u);
  EXPECT_EQ(outcome.terms[0], (asokit::HintTerm{1, "photo editor", 40}));
  EXPECT_EQ(outcome.terms[1], (asokit::HintTerm{3, "photo", std::nullopt}));
  EXPECT_TRUE(outcome.carriesPriority);
}

TEST_F(HintProbeStoreTest, AnAnswerWithoutPrioritiesIsKeptAsSuch) {
  probes.keep(answer("ca", {{1, "camera", std::nullopt}}), utc(2025, 3, 1, 10));
  const auto outcome = outcomeOf(*probes.newest("ca", "us"));
  EXPECT_FALSE(outcome.carriesPriority);
  EXPECT_EQ(outcome.terms.at(0).priority, std::nullopt);
}

struct SameDayCase {
  std::string name;
  WallTime stored;
  WallTime now;
  bool reused;
};

class SameDayTest : public HintProbeStoreTest, public ::testing::WithParamInterface<SameDayCase> {};

TEST_P(SameDayTest, OnlyAProbeOfTheSameCalendarDayIsReused) {
  probes.keep(answer("pho", {{1, "photo", std::nullopt}}), GetParam().stored);
  EXPECT_EQ(probes.fromSameDay("pho", "us", GetParam().now, berlin).has_value(), GetParam().reused);
}

// Berlin is UTC+1 in March before the change: 22:59 UTC is 23:59 local.
INSTANTIATE_TEST_SUITE_P(
    Days, SameDayTest,
    ::testing::Values(SameDayCase{"At2359ThatDay", utc(2025, 3, 1, 22, 59), utc(2025, 3, 1, 22, 59, 30), true},
                      SameDayCase{"At0001TheNextDay", utc(2025, 3, 1, 22, 59), utc(2025, 3, 1, 23, 1), false},
                      SameDayCase{"MorningToEvening", utc(2025, 3, 1, 0, 5), utc(2025, 3, 1, 22, 50), true},
                      SameDayCase{"YesterdayWithin24Hours", utc(2025, 3, 1, 12), utc(2025, 3, 2, 8), false}),
    [](const auto& info) { return info.param.name; });

struct PrefixCase {
  std::string name;
  std::string asked;
  std::string country;
  bool reused;
};
void PrintTo(const PrefixCase& c, std::ostream* os) {
  *os << c.name;
}

class PrefixTest : public HintProbeStoreTest, public ::testing::WithParamInterface<PrefixCase> {};

// A prefix is the store's own question: a trailing blank or a capital asks for other completions, so only
// the prefix exactly as typed meets a stored probe. Countries meet by their trimmed, lower-cased code.
TEST_P(PrefixTest, OnlyThePrefixAsTypedMeetsAStoredProbe) {
  probes.keep(answer("pho", {{1, "photo", std::nullopt}}), utc(2025, 3, 1, 10));
  const auto found = probes.fromSameDay(GetParam().asked, GetParam().country, utc(2025, 3, 1, 11), berlin);
  EXPECT_EQ(found.has_value(), GetParam().reused);
  EXPECT_EQ(probes.newest(GetParam().asked, GetParam().country).has_value(), GetParam().reused);
  if (found) {
    EXPECT_EQ(found->probe.prefix, "pho");
  }
}

INSTANTIATE_TEST_SUITE_P(
    Prefixes, PrefixTest,
    ::testing::Values(PrefixCase{"Same", "pho", "us", true}, PrefixCase{"CountryCode", "pho", " US ", true},
                      PrefixCase{"OtherCountry", "pho", "de", false}, PrefixCase{"Longer", "phot", "us", false},
                      PrefixCase{"TrailingBlank", "pho ", "us", false}, PrefixCase{"LeadingBlank", " pho", "us", false},
                      PrefixCase{"Capital", "Pho", "us", false}, PrefixCase{"InnerBlanks", "p  ho", "us", false}),
    [](const auto& info) { return info.param.name; });

TEST_F(HintProbeStoreTest, RetentionCountsTheProbesOfThePrefixAsTyped) {
  for (int i = 0; i < 30; ++i) {
    probes.keep(answer("pho", {{1, "photo", std::nullopt}}), utc(2025, 3, 1) + hours{i});
  }
  const auto kept = probes.keep(answer("Pho", {{1, "photo", std::nullopt}}), utc(2025, 3, 5));
  EXPECT_EQ(kept.removedByRetention, 0) << "another prefix's probes are not this one's to trim";
  EXPECT_EQ(probes.probesFor("pho", "us").size(), 30u);
  EXPECT_EQ(probes.probesFor("Pho", "us").size(), 1u);
}

TEST_F(HintProbeStoreTest, TheNewestSameDayProbeAnswers) {
  probes.keep(answer("pho", {{1, "photo", std::nullopt}}), utc(2025, 3, 1, 8));
  probes.keep(answer("pho", {{1, "phone", std::nullopt}}), utc(2025, 3, 1, 9));
  const auto found = probes.fromSameDay("pho", "us", utc(2025, 3, 1, 10), berlin);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->hints.at(0).term, "phone");
}

TEST_F(HintProbeStoreTest, KeepsTheNewestThirtyProbesPerPrefixAndCountry) {
  for (int i = 0; i < 30; ++i) {
    probes.keep(answer("pho", {{1, "photo", std::nullopt}, {2, "phone", std::nullopt}}), utc(2025, 3, 1) + hours{i});
  }
  probes.keep(answer("pho", {{1, "photo", std::nullopt}}, "de"), utc(2025, 2, 1));
  const auto kept = probes.keep(answer("pho", {{1, "photo", std::nullopt}}), utc(2025, 3, 5));
  EXPECT_EQ(kept.removedByRetention, 1);
  const auto left = probes.probesFor("pho", "us");
  ASSERT_EQ(left.size(), 30u);
  EXPECT_EQ(left.back().observedAt, utc(2025, 3, 1) + hours{1});
  EXPECT_EQ(probes.probesFor("pho", "de").size(), 1u);
  EXPECT_EQ(store->hints().count(), 29 * 2 + 1 + 1) << "the removed probe's hints went with it";
}

}  // namespace
}  // namespace tovra::store
