#include "app/research/app_facts_model.h"

#include <gtest/gtest.h>

#include "AsoKit/aso_error.h"
#include "app/store/app_releases.h"
#include "app/store/store.h"
#include "support/manual_queue.h"

namespace tovra::research {
namespace {

using namespace std::chrono_literals;
using State = AppFactsModel::State;

asokit::AppInfo answered(const std::string& id) {
  asokit::AppInfo app;
  app.id = id;
  app.name = "Lumen Photo";
  app.developer = "Lumen Labs";
  app.bundleId = "com.lumen.photo";
  app.userRatingCount = 1500;
  app.averageUserRating = 4.56;
  app.version = "2.3";
  app.versionReleasedAt = std::chrono::sys_days{2025y / 1 / 14} + 9h;
  return app;
}

struct FactsCase {
  std::string name;
  bool tracked;
  std::vector<asokit::AppInfo> answer;
  std::exception_ptr fault;
  State state;
  std::string status;
  std::vector<std::string> lines;
  std::int64_t releasesKept;
  int forbidden;
};

class AppFactsModelTest : public ::testing::TestWithParam<FactsCase> {};

TEST_P(AppFactsModelTest, ShowsWhatTheLookupAnsweredAndKeepsATrackedAppsRelease) {
  const auto& c = GetParam();
  tovra::testing::ManualQueue queue;
  asokit::VirtualClock clock;
  auto store = store::Store::inMemory();
  if (c.tracked) {
    store->apps().insert({{}, "100", "Lumen", "Lumen Labs", {}, {}, true, clock.wall().now()});
  }
  std::vector<std::string> asked;
  int forbidden = 0;
  AppFactsModel model(
      [&](const std::string& id, const std::string& country, std::stop_token) {
        asked.push_back(id + "|" + country);
        if (c.fault) {
          std::rethrow_exception(c.fault);
        }
        return c.answer;
      },
      *store, clock.wall(), queue);
  model.setOnForbidden([&] { ++forbidden; });
  EXPECT_EQ(model.statusLine(), factsText::kFromSavedSearch);

  model.lookUp("100", "us");
  EXPECT_EQ(model.state(), State::lookingUp) << "the answer comes back through the main-thread queue";
  EXPECT_EQ(model.statusLine(), factsText::kLookingUp);
  queue.runUntil([&] { return model.state() != State::lookingUp; });

  EXPECT_EQ(asked, std::vector<std::string>{"100|us"});
  EXPECT_EQ(model.state(), c.state);
  EXPECT_EQ(model.statusLine(), c.status);
  EXPECT_EQ(model.factLines(store::LocalTimeFormat("Europe/Berlin")), c.lines);
  EXPECT_EQ(store::Releases(*store).count(), c.releasesKept);
  EXPECT_EQ(forbidden, c.forbidden);
}

const std::vector<std::string> kFoundLines{"Lumen Photo · Lumen Labs", "Bundle id com.lumen.photo",
                                           "Version 2.3 · released 2025-01-14", "Rating 4.6 from 1.5k ratings"};

INSTANTIATE_TEST_SUITE_P(
    Answers, AppFactsModelTest,
    ::testing::Values(
        FactsCase{"trackedApp", true, {answered("100")}, nullptr, State::found, "", kFoundLines, 1, 0},
        FactsCase{"rivalNotTracked", false, {answered("100")}, nullptr, State::found, "", kFoundLines, 0, 0},
        FactsCase{"otherAppOnly",
                  true,
                  {answered("999")},
                  nullptr,
                  State::notInStore,
                  std::string(factsText::kNotInStore),
                  {},
                  0,
                  0},
        FactsCase{"nothing", true, {}, nullptr, State::notInStore, std::string(factsText::kNotInStore), {}, 0, 0},
        FactsCase{"serverError",
                  true,
                  {},
                  std::make_exception_ptr(asokit::AsoError::http(500, "https://x/lookup")),
                  State::failed,
                  asokit::AsoError::http(500, "https://x/lookup").description(),
                  {},
                  0,
                  0},
        FactsCase{"refused",
                  true,
                  {},
                  std::make_exception_ptr(asokit::AsoError::http(403, "https://x/lookup")),
                  State::failed,
                  asokit::AsoError::http(403, "https://x/lookup").description(),
                  {},
                  0,
                  1},
        FactsCase{"coolingDown",
                  true,
                  {},
                  std::make_exception_ptr(asokit::AsoError::coolingDown(75)),
                  State::failed,
                  "Apple paused requests · retry in 1:15",
                  {},
                  0,
                  0}),
    [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace tovra::research
