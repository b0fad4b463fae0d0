#include <gtest/gtest.h>

#include "app/measure/run_notification.h"
#include "app/measure/run_report.h"
#include "app/measure/today_queue.h"
#include "measure/runner_fixture.h"

namespace tovra::measure {
namespace {

using Start = MeasurementRunner::StartResult;

TEST(RunReport, RankedAndOutsideLinesCarryLabelsDepthAndTheNotInTheTopText) {
  testing::Rig rig;
  const auto named = rig.seed.app("100", "Photo Lab");
  rig.seed.localization(named, "de", "Fotolabor");
  const auto unnamed = rig.seed.app("200", "Snap Studio");
  rig.seed.keyword(named, "fotobearbeitung", "de");
  rig.seed.keyword(unnamed, "fotobearbeitung", "de");
  std::vector<std::string> forty;
  for (int i = 0; i < 40; ++i) {
    forty.push_back(std::to_string(9000 + i));
  }
  forty[2] = "100";
  rig.transport.answer("fotobearbeitung", forty);
  ASSERT_EQ(rig.measure(), Start::started);

  const auto& report = rig.reports.at(0);
  EXPECT_EQ(report.ranked,
            (std::vector<RunReport::RankedLine>{{0, "Fotolabor · fotobearbeitung · DE", 3, "appstore"}}));
  EXPECT_EQ(report.outside, (std::vector<RunReport::OutsideLine>{
                                {1, "Snap Studio — name in DE not read yet · fotobearbeitung · DE", 40, "appstore"}}));
  EXPECT_EQ(
      report.measuredZero,
      (std::vector<std::string>{"Snap Studio — name in DE not read yet · fotobearbeitung · DE · not in the top 40"}));
  EXPECT_EQ(report.measured, 2);
  EXPECT_EQ(report.failed + report.skipped, 0);
  EXPECT_EQ(report.requestCount, 1);
  EXPECT_EQ(report.queryCount, 2);
  EXPECT_EQ(report.source, "appstore");
  EXPECT_EQ(report.ending, RunReport::Ending::finished);
}

TEST(RunReport, AnEmptyAnswerIsToldAsNoResultsNeverAsTheTopZero) {
  testing::Rig rig;
  const auto app = rig.seed.app("100", "Photo Lab");
  rig.seed.keyword(app, "qzxv", "us");
  rig.transport.answer("qzxv", {});
  ASSERT_EQ(rig.measure(), Start::started);

  const auto& report = rig.reports.at(0);
  ASSERT_EQ(report.outside.size(), 1u);
  EXPECT_EQ(report.outside[0].depth, 0);
  EXPECT_EQ(report.measuredZero, (std::vector<std::string>{"Photo Lab — name in US not read yet · qzxv · US · No "
                                                           "results — the App Store returned nothing for this term"}));
  EXPECT_EQ(rankText(std::nullopt, 0), "No results — the App Store returned nothing for this term");
  EXPECT_EQ(rankText(std::nullopt, 40), "not in the top 40");
}

TEST(RunReport, AppLabels) {
  store::TrackedApp app;
  app.rowId = store::RecordId<store::TrackedApp>{7};
  app.displayName = "Photo Lab";
  store::TrackedQuery query;
  query.keyword = "photo editor";
  query.country = "us";
  store::AppLocalization otherCountry{{}, "gb", "Photo Lab UK", "", {}, app.rowId};
  store::AppLocalization otherApp{{}, "us", "Someone Else", "", {}, store::RecordId<store::TrackedApp>{8}};
  store::AppLocalization match{{}, "US", "Photo Lab: Editor", "", {}, app.rowId};

  EXPECT_EQ(appLabel(query, app, {otherCountry, otherApp}), "Photo Lab — name in US not read yet");
  EXPECT_EQ(appLabel(query, app, {otherCountry, match}), "Photo Lab: Editor");
  EXPECT_EQ(appLabel(query, std::nullopt, {match}), "unknown app");
  EXPECT_EQ(lineLabel("Photo Lab: Editor", query), "Photo Lab: Editor · photo editor · US");
}

// The report of a batch, built directly: the flags and the save failure line.
struct Built {
  std::vector<RunEntry> entries;
  std::vector<std::string> labels;
  asokit::BatchOutcome outcome;

  RunReport build(std::optional<bool> hadEarlier, std::optional<std::string> saveFailure = std::nullopt) {
    ReportInput input;
    input.entries = &entries;
    input.appLabels = &labels;
    input.outcome = &outcome;
    input.hadEarlierReadings = hadEarlier;
    input.saveFailure = std::move(saveFailure);
    return buildReport(input);
  }
  void add(const std::string& keyword, asokit::RankStatus status) {
    RunEntry entry;
    entry.query.keyword = keyword;
    entry.query.country = "us";
    entry.app.appStoreId = "100";
    entries.push_back(entry);
    labels.emplace_back("Photo Lab");
    outcome.results.push_back({entry.rankQuery(), std::move(status)});
  }
};

asokit::RankStatus ranked(std::optional<std::int64_t> rank) {
  asokit::RankObservation observation;
  observation.rank = rank;
  observation.resultCount = 50;
  return {asokit::RankStatus::Measured{observation}};
}

TEST(RunReport, FirstMeasurementFlags) {
  struct Case {
    std::string name;
    std::optional<bool> hadEarlier;
    std::optional<std::int64_t> rank;
    bool first;
    bool noEarlier;
  };
  for (const auto& c : std::vector<Case>{{"first run with a rank", false, 4, true, true},
                                         {"first run, nothing ranked", false, std::nullopt, false, true},
                                         {"later run", true, 4, false, false},
                                         {"count unreadable", std::nullopt, 4, false, false}}) {
    Built built;
    built.add("photo editor", ranked(c.rank));
    const auto report = built.build(c.hadEarlier);
    EXPECT_EQ(report.isFirstMeasurement, c.first) << c.name;
    EXPECT_EQ(report.hadNoEarlierObservations, c.noEarlier) << c.name;
  }
}

TEST(RunReport, FailuresKeepEntryOrderAndASaveFailureIsListedLastEvenWhenAllSucceeded) {
  Built built;
  built.add("one", asokit::RankStatus{asokit::RankStatus::Failed{"HTTP 500 — https://x"}});
  built.add("two", ranked(1));
  built.add("three", asokit::RankStatus{asokit::RankStatus::Skipped{}});
  const auto report = built.build(true, "database or disk is full");
  const RunReport::Failure queryFailure{0, "Photo Lab", {"us", "one"}, "HTTP 500 — https://x"};
  EXPECT_EQ(report.failures, std::vector<RunReport::Failure>{queryFailure}) << "the save is not a query";
  EXPECT_EQ(report.saveFailure, "database or disk is full");
  EXPECT_EQ(failureRows(report), (std::vector<RunReport::Failure>{
                                     queryFailure, {-1, "local store", {"—", "save"}, "database or disk is full"}}));
  EXPECT_EQ(saveFailedText(report), "Tovra could not save this run: database or disk is full");
  EXPECT_EQ(report.measured, 1);
  EXPECT_EQ(report.failed, 1);
  EXPECT_EQ(report.skipped, 1);
  EXPECT_EQ(countsLine(report), "1 measured · 1 failed · 1 skipped · 0 requests");

  Built clean;
  clean.add("one", ranked(2));
  const auto saved = clean.build(true, "disk I/O error");
  EXPECT_TRUE(saved.failures.empty());
  ASSERT_EQ(failureRows(saved).size(), 1u);
  EXPECT_EQ(failureRows(saved)[0].id, -1);
  EXPECT_EQ(saved.failed, 0) << "a failed save counts no query as failed";
  auto one = saved;
  one.requestCount = 1;
  EXPECT_EQ(countsLine(one), "1 measured · 0 failed · 0 skipped · 1 request");

  Built unsaved;
  unsaved.add("one", ranked(2));
  EXPECT_TRUE(failureRows(unsaved.build(true)).empty());
}

TEST(RunReport, AHaltWinsOverAStop) {
  Built built;
  built.add("one", ranked(1));
  built.outcome.halted = true;
  built.outcome.stopped = true;
  EXPECT_EQ(built.build(true).ending, RunReport::Ending::halted);
}

TEST(MeasureOffer, ChoosesBetweenDueNeverAndNone) {
  const asokit::WallTime last{std::chrono::seconds{1'736'850'000}};
  EXPECT_EQ(measureOffer(true, true, last), MeasureOffer::due(last));
  EXPECT_EQ(measureOffer(true, true, std::nullopt), MeasureOffer::never());
  EXPECT_EQ(measureOffer(false, true, last), MeasureOffer::none());
  EXPECT_EQ(measureOffer(true, false, last), MeasureOffer::none());
  EXPECT_NE(MeasureOffer::due(last), MeasureOffer::due(last + std::chrono::seconds{1}));
}

TEST(RunNotification, TitleAndBody) {
  struct Case {
    std::string name;
    RunReport::Ending ending;
    std::int64_t measured, queries, failed, skipped;
    std::string title;
    std::string body;
    std::optional<std::string> saveFailure{};
  };
  for (const auto& c :
       std::vector<Case>{{"all measured", RunReport::Ending::finished, 5, 5, 0, 0, "Measurement finished",
                          "5 of 5 measured · source: appstore"},
                         {"halted", RunReport::Ending::halted, 2, 5, 3, 0, "Measurement halted",
                          "2 of 5 measured · 3 not measured · Apple paused requests · source: appstore"},
                         {"halted with skips", RunReport::Ending::halted, 2, 5, 1, 2, "Measurement halted",
                          "2 of 5 measured · 3 not measured · Apple paused requests · source: appstore"},
                         {"stopped", RunReport::Ending::stopped, 1, 4, 0, 3, "Measurement stopped",
                          "1 of 4 measured · 3 not measured · source: appstore"},
                         {"one not measured has no plural form", RunReport::Ending::finished, 1, 2, 1, 0,
                          "Measurement finished", "1 of 2 measured · 1 not measured · source: appstore"},
                         // Every request answered, but nothing of it reached the store.
                         {"save failed", RunReport::Ending::finished, 5, 5, 0, 0, "Measurement not saved",
                          "Nothing of this run was saved · database or disk is full", "database or disk is full"},
                         {"halted and not saved", RunReport::Ending::halted, 2, 5, 3, 0, "Measurement not saved",
                          "Nothing of this run was saved · disk I/O error", "disk I/O error"}}) {
    RunReport report;
    report.ending = c.ending;
    report.measured = c.measured;
    report.queryCount = c.queries;
    report.failed = c.failed;
    report.skipped = c.skipped;
    report.source = "appstore";
    report.saveFailure = c.saveFailure;
    EXPECT_EQ(notificationTitle(report), c.title) << c.name;
    EXPECT_EQ(notificationBody(report), c.body) << c.name;
  }
}

}  // namespace
}  // namespace tovra::measure
