#include "app/store/deletion_plan.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

#include "app/store/store.h"
#include "app/store/store_error.h"
#include "fixtures.h"

namespace tovra::store {
namespace {

using testing::makeApp;
using testing::makeParkedQuery;
using testing::makeQuery;
using testing::makeReading;
using testing::makeSpace;
using testing::utc;

constexpr const char* kSpaceId = "7d0c1b8e-3f5a-4c2e-9b1d-2a6f4e8c0d13";

// Two apps, a graduated research space, two runs (one shared by both apps), readings, a review mark,
// saved searches and hint probes, some for the keywords' keys and some not.
struct World {
  std::unique_ptr<Store> store = Store::inMemory();
  TrackedApp photo, trail;
  TrackedQuery editor, collage, maps, hiking;
  ResearchSpace space;
  MeasurementRun shared, photoOnly;

  World() {
    photo = store->apps().insert(makeApp("1000000001", "Photo Lab"));
    trail = store->apps().insert(makeApp("1000000002", "Trail Maps"));
    store->localizations().insert(AppLocalization{{}, "us", "Photo Lab", "Lab Works", utc(2025, 1, 2), photo.rowId});
    store->localizations().insert(AppLocalization{{}, "de", "Fotolabor", "Lab Works", utc(2025, 1, 2), photo.rowId});
    store->localizations().insert(AppLocalization{{}, "us", "Trail Maps", "Trail Co", utc(2025, 1, 2), trail.rowId});
    editor = store->queries().insert(makeQuery("photo editor", "us", photo.rowId));
    collage = store->queries().insert(makeQuery("collage", "us", photo.rowId));
    maps = store->queries().insert(makeQuery("maps", "us", trail.rowId));
    auto graduated = makeSpace(kSpaceId, "Trips");
    graduated.promotedToAppStoreId = trail.appStoreId;
    graduated.promotedAt = utc(2025, 1, 5);
    space = store->spaces().insert(graduated);
    hiking = store->queries().insert(makeParkedQuery("hiking", "us", space.rowId));

    shared = store->runs().insert(MeasurementRun{{}, utc(2025, 1, 13, 9), utc(2025, 1, 13, 9, 1), false, false, 3, 3});
    photoOnly =
        store->runs().insert(MeasurementRun{{}, utc(2025, 1, 14, 9), utc(2025, 1, 14, 9, 1), false, false, 1, 1});
    measured(shared, editor, utc(2025, 1, 13), 4);
    measured(shared, collage, utc(2025, 1, 13), std::nullopt);
    failed(shared, maps);
    measured(photoOnly, editor, utc(2025, 1, 14), 3);
    store->reviewMarks().insert(ReviewMark{{}, utc(2025, 1, 14), utc(2025, 1, 14, 10), editor.rowId});

    ladder("photo editor", "us");
    ladder("Photo  Editor", "us");  // another spelling of the same key
    ladder("photo editor", "de");   // another country
    ladder("maps", "us");
    ladder("hiking", "us");
    probe("photo editor", "us");
    probe("pho", "us");  // a prefix is not the keyword
    probe("maps", "us");
  }

  void measured(const MeasurementRun& run, const TrackedQuery& query, WallTime day, std::optional<std::int64_t> rank) {
    const auto reading = store->observations().insert(makeReading(query.rowId, day, rank));
    RunOutcome outcome;
    outcome.setStatus(RunOutcomeStatus::measured);
    outcome.run = run.rowId;
    outcome.query = query.rowId;
    outcome.observation = reading.rowId;
    store->outcomes().insert(outcome);
  }
  void failed(const MeasurementRun& run, const TrackedQuery& query) {
    RunOutcome outcome;
    outcome.setStatus(RunOutcomeStatus::failed);
    outcome.message = "HTTP 503";
    outcome.run = run.rowId;
    outcome.query = query.rowId;
    store->outcomes().insert(outcome);
  }
  void ladder(const std::string& keyword, const std::string& country) {
    store->ladders().insertWithEntries(
        StoredLadder{{}, keyword, country, utc(2025, 1, 14, 12), 10, 2, "discover"},
        {LadderEntry{{}, 1, "1000000001", "Photo Lab", "Lab Works", std::nullopt, 10, 4.0, std::nullopt},
         LadderEntry{{}, 2, "1000000003", "Snapper", "Snap Inc", std::nullopt, 5, 3.5, std::nullopt}});
  }
  void probe(const std::string& prefix, const std::string& country) {
    store->probes().insertWithHints(HintProbe{{}, prefix, country, utc(2025, 1, 14, 12), "hints", false},
                                    {StoreHint{{}, 1, prefix + " app", std::nullopt, std::nullopt}});
  }
};

TEST(DeletionPlanTest, AKeywordListsItsHistoryAndKeepsWhatBelongsToItsKey) {
  World w;
  const auto plan = DeletionPlan::forQuery(*w.store, w.editor);
  EXPECT_EQ(plan.subject, DeletionPlan::Subject(DeletionPlan::QuerySubject{"photo editor", "us"}));
  EXPECT_EQ(plan.summary(), "1 keyword · 2 observations · 1 review mark · 1 run · 2 run outcomes");
  EXPECT_EQ(plan.runs, std::vector{w.photoOnly.rowId}) << "the shared run keeps the other keywords' outcomes";
  EXPECT_EQ(plan.keptRuns, 1);
  EXPECT_EQ(plan.keptLadders, 2);
  EXPECT_EQ(plan.keptProbes, 1);
  EXPECT_EQ(plan.explanation().back(),
            "kept: 2 search results · 1 store hint list · 1 run that also covered other keywords");
}

TEST(DeletionPlanTest, AnAppListsItsCountryNamesKeywordsAndTheirHistory) {
  World w;
  const auto plan = DeletionPlan::forApp(*w.store, w.photo);
  EXPECT_EQ(plan.subject, DeletionPlan::Subject(DeletionPlan::AppSubject{"Photo Lab"}));
  EXPECT_EQ(plan.summary(),
            "1 app · 2 country names · 2 keywords · 3 observations · 1 review mark · 1 run · "
            "3 run outcomes");
  EXPECT_EQ(plan.keptRuns, 1) << "the shared run also covered the other app's keyword";
  EXPECT_EQ(plan.keptLadders, 2);
  EXPECT_EQ(plan.keptProbes, 1);
}

TEST(DeletionPlanTest, WhenEveryKeywordOfARunGoesTheRunGoesToo) {
  World w;
  w.store->queries().remove(w.maps.rowId);  // the shared run's third outcome now has no keyword…
  w.store->outcomes().removeAll();          // …so start over with outcomes of the photo app only
  w.measured(w.shared, w.editor, utc(2025, 1, 12), 9);
  w.measured(w.shared, w.collage, utc(2025, 1, 12), 8);
  const auto plan = DeletionPlan::forApp(*w.store, w.photo);
  EXPECT_EQ(plan.runs, std::vector{w.shared.rowId});
  EXPECT_EQ(plan.keptRuns, 0);
  EXPECT_EQ(plan.explanation().size(), 2u) << "kept: the searches and hints only";
}

TEST(DeletionPlanTest, AGraduatedSpaceNamesTheAppItGraduatedTo) {
  World w;
  const auto plan = DeletionPlan::forSpace(*w.store, w.space);
  EXPECT_EQ(plan.subject, DeletionPlan::Subject(DeletionPlan::SpaceSubject{"Trips", "Trail Maps"}));
  EXPECT_EQ(plan.summary(), "1 research space · 1 keyword");
  EXPECT_EQ(plan.keptLadders, 1);
  EXPECT_EQ(plan.keptProbes + plan.keptRuns, 0);
}

TEST(DeletionPlanTest, EverythingListsEveryRecordAndKeepsNothing) {
  World w;
  const auto plan = DeletionPlan::forEverything(*w.store);
  EXPECT_EQ(plan.summary(),
            "2 apps · 1 research space · 3 country names · 4 keywords · 3 observations · 1 review mark · 2 runs · "
            "4 run outcomes · 5 search results · 10 result rows · 3 store hint lists · 3 hints");
  EXPECT_EQ(plan.keptLadders + plan.keptProbes + plan.keptRuns, 0);
  EXPECT_EQ(DeletionPlan::forEverything(*Store::inMemory()).summary(), "nothing to delete");
}

TEST(DeletionPlanTest, OneReadingAndOneMarkSummariseAsThreeEntries) {
  auto store = Store::inMemory();
  const auto app = store->apps().insert(makeApp("1"));
  const auto query = store->queries().insert(makeQuery("maps", "us", app.rowId));
  store->observations().insert(makeReading(query.rowId, utc(2025, 1, 13), 2));
  store->reviewMarks().insert(ReviewMark{{}, utc(2025, 1, 13), utc(2025, 1, 13, 8), query.rowId});
  EXPECT_EQ(DeletionPlan::forQuery(*store, query).summary(), "1 keyword · 1 observation · 1 review mark");
}

TEST(DeletionPlanTest, PlanningForARecordThatIsGoneFailsInWords) {
  World w;
  w.store->apps().remove(w.trail.rowId);
  try {
    DeletionPlan::forApp(*w.store, w.trail);
    FAIL() << "planned the deletion of an app that is not there";
  } catch (const StoreError& error) {
    EXPECT_EQ(error.kind(), StoreError::Kind::notFound);
  }
  // The space no longer names an app that is not tracked any more.
  EXPECT_EQ(std::get<DeletionPlan::SpaceSubject>(DeletionPlan::forSpace(*w.store, w.space).subject).graduatedTo,
            std::nullopt);
}

// Every row of every table, by kind.
struct Rows {
  std::map<std::string, std::set<std::int64_t>> byKind;

  template <class Record>
  void take(const char* kind, const std::vector<RecordId<Record>>& ids) {
    auto& set = byKind[kind];
    for (const auto id : ids) {
      set.insert(id.value);
    }
  }
  static Rows of(Store& store) {
    Rows rows;
    rows.take("apps", store.apps().allIds());
    rows.take("localizations", store.localizations().allIds());
    rows.take("spaces", store.spaces().allIds());
    rows.take("queries", store.queries().allIds());
    rows.take("observations", store.observations().allIds());
    rows.take("reviewMarks", store.reviewMarks().allIds());
    rows.take("outcomes", store.outcomes().allIds());
    rows.take("runs", store.runs().allIds());
    rows.take("ladders", store.ladders().allIds());
    rows.take("ladderEntries", store.ladderEntries().allIds());
    rows.take("probes", store.probes().allIds());
    rows.take("hints", store.hints().allIds());
    return rows;
  }
  static Rows listed(const DeletionPlan& plan) {
    Rows rows;
    rows.take("apps", plan.apps);
    rows.take("localizations", plan.localizations);
    rows.take("spaces", plan.spaces);
    rows.take("queries", plan.queries);
    rows.take("observations", plan.observations);
    rows.take("reviewMarks", plan.reviewMarks);
    rows.take("outcomes", plan.outcomes);
    rows.take("runs", plan.runs);
    rows.take("ladders", plan.ladders);
    rows.take("ladderEntries", plan.ladderEntries);
    rows.take("probes", plan.probes);
    rows.take("hints", plan.hints);
    return rows;
  }
};

struct CarryOutCase {
  const char* name;
  std::function<DeletionPlan(World&)> plan;
};

class CarryOutTest : public ::testing::TestWithParam<CarryOutCase> {};

TEST_P(CarryOutTest, NothingListedSurvivesAndNothingUnlistedIsGone) {
  World w;
  const auto plan = GetParam().plan(w);
  const auto before = Rows::of(*w.store);
  const auto listed = Rows::listed(plan);
  StoreDeletion(*w.store).carryOut(plan);
  const auto after = Rows::of(*w.store);
  for (const auto& [kind, rows] : before.byKind) {
    std::set<std::int64_t> expected;
    for (const auto row : rows) {
      if (!listed.byKind.at(kind).contains(row)) {
        expected.insert(row);
      }
    }
    EXPECT_EQ(after.byKind.at(kind), expected) << kind;
    EXPECT_EQ(rows.size() - after.byKind.at(kind).size(), listed.byKind.at(kind).size())
        << kind << ": the plan's count is what went";
  }
}

INSTANTIATE_TEST_SUITE_P(
    Subjects, CarryOutTest,
    ::testing::Values(CarryOutCase{"Keyword", [](World& w) { return DeletionPlan::forQuery(*w.store, w.editor); }},
                      CarryOutCase{"FailedKeyword", [](World& w) { return DeletionPlan::forQuery(*w.store, w.maps); }},
                      CarryOutCase{"App", [](World& w) { return DeletionPlan::forApp(*w.store, w.photo); }},
                      CarryOutCase{"OtherApp", [](World& w) { return DeletionPlan::forApp(*w.store, w.trail); }},
                      CarryOutCase{"Space", [](World& w) { return DeletionPlan::forSpace(*w.store, w.space); }},
                      CarryOutCase{"Everything", [](World& w) { return DeletionPlan::forEverything(*w.store); }}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(CarryOutTest, AReadingWrittenAfterThePlanWasMadeStopsTheDeletion) {
  World w;
  const auto plan = DeletionPlan::forApp(*w.store, w.photo);
  w.store->observations().insert(makeReading(w.collage.rowId, utc(2025, 1, 15), 1));
  const auto before = Rows::of(*w.store);
  try {
    StoreDeletion(*w.store).carryOut(plan);
    FAIL() << "deleted a reading the user never saw listed";
  } catch (const StoreError& error) {
    EXPECT_EQ(error.kind(), StoreError::Kind::notFound);
  }
  EXPECT_EQ(Rows::of(*w.store).byKind, before.byKind) << "nothing was deleted";
  EXPECT_FALSE(w.store->inTransaction());
}

TEST(CarryOutTest, AnAppDeletedElsewhereCannotBeDeletedAgain) {
  World w;
  const auto plan = DeletionPlan::forApp(*w.store, w.trail);
  StoreDeletion(*w.store).carryOut(plan);
  EXPECT_THROW(StoreDeletion(*w.store).carryOut(plan), StoreError);
}

}  // namespace
}  // namespace tovra::store
