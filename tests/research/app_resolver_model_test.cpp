#include "app/research/app_resolver_model.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "AsoKit/aso_error.h"

namespace tovra::research {
namespace {

asokit::RankedApp ranked(std::string id, std::int64_t position, std::string name) {
  asokit::RankedApp app;
  app.id = std::move(id);
  app.position = position;
  app.name = std::move(name);
  app.developer = "Dev " + app.name;
  app.iconURL = "https://is1.example/" + app.id + "/128x128bb.webp";
  return app;
}

asokit::AppInfo info(std::string id, std::string name) {
  return asokit::AppInfo{
      std::move(id), std::move(name), "Lumen Labs", "com.lumen.photo", "https://is1.example/512x512bb.jpg", 1200, 4.5};
}

// Stands in for the store: answers by a function the test sets and records what was asked.
struct FakeStore {
  std::function<std::optional<asokit::AppInfo>(const AppResolverInput&)> lookupAnswer = [](const auto&) {
    return std::nullopt;
  };
  std::function<std::vector<asokit::RankedApp>(const std::string&)> searchAnswer = [](const auto&) {
    return std::vector<asokit::RankedApp>{};
  };
  std::vector<std::string> calls;
  std::vector<std::vector<std::string>> prefetched;

  AppResolverModel model() {
    return AppResolverModel(
        [this](const AppResolverInput& input, const std::string& country) {
          calls.push_back("lookup " + input.text + " " + country);
          return lookupAnswer(input);
        },
        [this](const std::string& term, const std::string& country) {
          calls.push_back("search " + term + " " + country);
          asokit::SearchOutcome outcome;
          outcome.term = term;
          outcome.country = country;
          outcome.apps = searchAnswer(term);
          outcome.resultCount = static_cast<std::int64_t>(outcome.apps.size());
          return outcome;
        },
        [this](const std::vector<std::string>& artwork) { prefetched.push_back(artwork); });
  }
};

template <class T>
bool is(const AppResolverModel& model) {
  return std::holds_alternative<T>(model.phase());
}

std::vector<std::string> idsOf(const AppResolverModel& model) {
  std::vector<std::string> ids;
  for (const auto& app : std::get<AppResolverModel::Results>(model.phase()).apps) {
    ids.push_back(app.id);
  }
  return ids;
}

TEST(AppResolverModel, StartsIdleAndIgnoresBlankInput) {
  FakeStore store;
  auto model = store.model();
  model.resolve(" \n\u3000", "us");
  EXPECT_TRUE(is<AppResolverModel::Idle>(model));
  EXPECT_EQ(model.requestCount(), 0);
  EXPECT_EQ(model.resolved(), std::nullopt);
  EXPECT_TRUE(store.calls.empty());
}

TEST(AppResolverModel, LinkIsLookedUpByItsIdAndTheOneAppIsSelected) {
  FakeStore store;
  store.lookupAnswer = [](const AppResolverInput& input) { return info(input.text, "Lumen Photo"); };
  auto model = store.model();
  std::vector<std::string> phases;
  const auto watching = model.changes().subscribe([&] { phases.push_back(std::to_string(model.phase().index())); });
  model.resolve("https://apps.apple.com/us/app/lumen/id1234567890", "DE");
  EXPECT_EQ(store.calls, std::vector<std::string>{"lookup 1234567890 DE"});
  EXPECT_EQ(phases, (std::vector<std::string>{"1", "2"}));  // resolving, then results
  EXPECT_EQ(idsOf(model), std::vector<std::string>{"1234567890"});
  ASSERT_TRUE(model.selected().has_value());
  EXPECT_EQ(model.selected()->country, "de");
  EXPECT_EQ(model.selected()->position, std::nullopt);
  EXPECT_EQ(model.selected()->artworkUrl512, "https://is1.example/512x512bb.jpg");
  EXPECT_FALSE(model.pickedByNameAmongSeveral());
  EXPECT_EQ(model.pickNote(), std::nullopt);
  EXPECT_EQ(store.prefetched, std::vector<std::vector<std::string>>{{"https://is1.example/512x512bb.jpg"}});
  EXPECT_EQ(model.resolved(), (AppResolverModel::Resolved{"https://apps.apple.com/us/app/lumen/id1234567890", "DE"}));
  EXPECT_EQ(model.requestCount(), 1);
}

TEST(AppResolverModel, BundleIdIsLookedUp) {
  FakeStore store;
  auto model = store.model();
  model.resolve(" com.lumen.photo ", "us");
  EXPECT_EQ(store.calls, std::vector<std::string>{"lookup com.lumen.photo us"});
}

TEST(AppResolverModel, UnknownIdIsAbsentWithoutTheCountryAdvice) {
  FakeStore store;
  auto model = store.model();
  model.resolve("99999999", "us");
  EXPECT_TRUE(is<AppResolverModel::Absent>(model));
  EXPECT_EQ(model.selected(), std::nullopt);
  EXPECT_EQ(model.noMatchText(), std::nullopt);
  EXPECT_TRUE(store.prefetched.empty());
}

TEST(AppResolverModel, NameFindingNothingOffersAnotherCountry) {
  FakeStore store;
  auto model = store.model();
  model.resolve("  Lumen Photo\n", "de");
  EXPECT_EQ(store.calls, std::vector<std::string>{"search Lumen Photo de"});
  EXPECT_TRUE(is<AppResolverModel::Absent>(model));
  EXPECT_EQ(model.noMatchText(), "No matching app was found in the Germany");

  store.searchAnswer = [](const std::string&) { return std::vector{ranked("111111", 1, "Lumen Foto")}; };
  model.retryInCountry("tr");
  EXPECT_EQ(store.calls.back(), "search Lumen Photo tr");
  EXPECT_EQ(model.resolved(), (AppResolverModel::Resolved{"  Lumen Photo\n", "tr"}));
  EXPECT_EQ(idsOf(model), std::vector<std::string>{"111111"});
  EXPECT_EQ(model.noMatchText(), std::nullopt);
  EXPECT_EQ(model.requestCount(), 2);
}

struct PickCase {
  const char* name;
  std::string input;
  std::vector<std::string> resultNames;
  bool picked;
};

void PrintTo(const PickCase& c, std::ostream* os) {
  *os << c.name;
}

class AutomaticPickTest : public ::testing::TestWithParam<PickCase> {};

TEST_P(AutomaticPickTest, PicksTheFirstResultOnlyWhenItsNameMatches) {
  const auto& c = GetParam();
  FakeStore store;
  store.searchAnswer = [&](const std::string&) {
    std::vector<asokit::RankedApp> apps;
    for (std::size_t i = 0; i < c.resultNames.size(); ++i) {
      apps.push_back(ranked(std::to_string(100000 + i), static_cast<std::int64_t>(i + 1), c.resultNames[i]));
    }
    return apps;
  };
  auto model = store.model();
  model.resolve(c.input, "us");
  if (c.picked) {
    ASSERT_TRUE(model.selected().has_value());
    EXPECT_EQ(model.selected()->id, "100000");
    EXPECT_EQ(model.selected()->position, 1);
    EXPECT_TRUE(model.pickedByNameAmongSeveral());
    EXPECT_EQ(model.pickNote(), "Picked because the name matches — check the developer.");
  } else {
    EXPECT_EQ(model.selected(), std::nullopt);
    EXPECT_FALSE(model.pickedByNameAmongSeveral());
    EXPECT_EQ(model.pickNote(), std::nullopt);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Resolver, AutomaticPickTest,
    ::testing::Values(PickCase{"same_name_other_case", "lumen photo", {"Lumen Photo", "Lumen Photo Pro"}, true},
                      PickCase{"accents_differ", "Ölçü Aleti", {"Olcu Aleti", "Cetvel"}, true},
                      PickCase{"width_differs", "ＬＵＭＥＮ", {"Lumen", "Lumen Lite"}, true},
                      PickCase{"turkish_capital_dotted_i", "İSTANBUL REHBERİ", {"istanbul rehberi", "x"}, true},
                      PickCase{"first_name_padded_by_store", "Lumen", {"  Lumen ", "Lumen Lite"}, true},
                      PickCase{"only_the_second_matches", "Lumen Photo", {"Lumen Photo Pro", "Lumen Photo"}, false},
                      PickCase{"first_differs_in_a_letter", "Lumen Photo", {"Lumen Photos", "Lumen Photo"}, false},
                      PickCase{"dotless_i_is_another_letter", "ılık", {"ilik", "x"}, false}));

TEST(AppResolverModel, OneResultForANameIsSelectedWithoutTheNote) {
  FakeStore store;
  store.searchAnswer = [](const std::string&) { return std::vector{ranked("222222", 1, "Something Else")}; };
  auto model = store.model();
  model.resolve("Lumen", "us");
  ASSERT_TRUE(model.selected().has_value());
  EXPECT_EQ(model.selected()->id, "222222");
  EXPECT_EQ(model.pickNote(), std::nullopt);
}

TEST(AppResolverModel, SeveralAppsForAnIdAreNeverPicked) {
  FakeStore store;
  auto model = store.model();
  const auto request = model.begin("12345", "us");
  ASSERT_TRUE(request.has_value());
  model.finish(*request, std::vector<DiscoveredApp>{{"12345", "A"}, {"67890", "B"}});
  EXPECT_EQ(idsOf(model), (std::vector<std::string>{"12345", "67890"}));
  EXPECT_EQ(model.selected(), std::nullopt);
}

TEST(AppResolverModel, StoreErrorFailsWithItsTextAndKeepsTheInput) {
  FakeStore store;
  store.lookupAnswer = [](const AppResolverInput&) -> std::optional<asokit::AppInfo> {
    throw asokit::AsoError::http(500, "https://itunes.apple.com/lookup?id=12345&country=us");
  };
  auto model = store.model();
  model.resolve("12345", "us");
  EXPECT_EQ(model.phase(), AppResolverModel::Phase{AppResolverModel::Failed{
                               "HTTP 500 — https://itunes.apple.com/lookup?id=12345&country=us"}});
  EXPECT_EQ(model.resolved(), (AppResolverModel::Resolved{"12345", "us"}));

  store.lookupAnswer = [](const AppResolverInput&) -> std::optional<asokit::AppInfo> {
    throw asokit::TransportError("Could not connect to the server.");
  };
  model.retryInCountry("us");
  EXPECT_EQ(model.phase(), AppResolverModel::Phase{AppResolverModel::Failed{"Could not connect to the server."}});

  store.lookupAnswer = [](const AppResolverInput& input) { return info(input.text, "Lumen"); };
  model.resolve("12345", "us");
  EXPECT_EQ(idsOf(model), std::vector<std::string>{"12345"});
}

TEST(AppResolverModel, CancelledRequestLeavesTheModelIdleAndGoesToTheCaller) {
  FakeStore store;
  store.searchAnswer = [](const std::string&) -> std::vector<asokit::RankedApp> { throw asokit::Cancelled(); };
  auto model = store.model();
  EXPECT_THROW(model.resolve("Lumen", "us"), asokit::Cancelled);
  EXPECT_TRUE(is<AppResolverModel::Idle>(model));
}

TEST(AppResolverModel, AnswerOvertakenByANewerResolveIsDropped) {
  FakeStore store;
  auto model = store.model();
  const auto first = model.begin("Lumen", "us");
  const auto second = model.begin("Lumen Photo", "us");
  ASSERT_TRUE(first && second);
  model.finish(*first, std::vector<DiscoveredApp>{{"111111", "Lumen"}});
  EXPECT_TRUE(is<AppResolverModel::Resolving>(model));
  model.finish(*second, ResolveFailure{"HTTP 404 — x"});
  EXPECT_EQ(model.phase(), AppResolverModel::Phase{AppResolverModel::Failed{"HTTP 404 — x"}});
}

TEST(AppResolverModel, ChoosingAResultReplacesTheAutomaticPick) {
  FakeStore store;
  store.searchAnswer = [](const std::string&) {
    return std::vector{ranked("111111", 1, "Lumen"), ranked("222222", 2, "Lumen Pro")};
  };
  auto model = store.model();
  model.resolve("lumen", "us");
  ASSERT_TRUE(model.pickedByNameAmongSeveral());
  const auto second = std::get<AppResolverModel::Results>(model.phase()).apps[1];
  model.select(second);
  EXPECT_EQ(model.selected(), second);
  EXPECT_FALSE(model.pickedByNameAmongSeveral());
  EXPECT_EQ(second.artworkUrl512, "https://is1.example/222222/128x128bb.webp");
  EXPECT_EQ(store.prefetched.back(), (std::vector<std::string>{"https://is1.example/111111/128x128bb.webp",
                                                               "https://is1.example/222222/128x128bb.webp"}));
  // A new resolve forgets the earlier choice.
  model.resolve("nothing", "us");
  EXPECT_EQ(model.selected(), std::nullopt);
}

TEST(AppResolverModel, CopiedTextResolvesOnlyWhenItIsAnAppStoreLink) {
  FakeStore store;
  auto model = store.model();
  EXPECT_EQ(model.useCopiedLink("Lumen Photo", "us"), "The copied text is not an App Store link.");
  EXPECT_EQ(model.useCopiedLink("1234567890", "us"), "The copied text is not an App Store link.");
  EXPECT_TRUE(is<AppResolverModel::Idle>(model));
  EXPECT_TRUE(store.calls.empty());
  EXPECT_EQ(model.useCopiedLink(" https://apps.apple.com/us/app/lumen/id1234567890\n", "us"), std::nullopt);
  EXPECT_EQ(store.calls, std::vector<std::string>{"lookup 1234567890 us"});
  EXPECT_EQ(model.resolved()->raw, "https://apps.apple.com/us/app/lumen/id1234567890");
}

TEST(AppResolverModel, RetryBeforeAnyResolveDoesNothing) {
  FakeStore store;
  auto model = store.model();
  model.retryInCountry("de");
  EXPECT_TRUE(store.calls.empty());
  EXPECT_EQ(model.requestCount(), 0);
}

}  // namespace
}  // namespace tovra::research
