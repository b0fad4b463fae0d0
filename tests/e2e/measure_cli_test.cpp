// Measurement runs as the user runs them, against the fake store: the shared plan, the report and its
// notification, the today queue and a keyword's history, a user's stop, a halt and the hold every Tovra
// process keeps, one pacing for several processes, and a store that survives a run killed at any moment.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <thread>

#include "tests/e2e/harness.h"

namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::Not;
using tovra::e2e::describe;
using tovra::e2e::Harness;
using tovra::e2e::RunResult;
using namespace std::chrono_literals;

constexpr const char* kLab = "1000000001";
constexpr const char* kSnap = "1000000002";

json scenario(json faults = json::array()) {
  return {{"apps", {{kLab, {{"name", "Photo Lab"}, {"developer", "Lab Works"}}}, {kSnap, {{"name", "Snap Studio"}}}}},
          {"search",
           {{"us",
             {{"photo lab", {kLab}},
              {"snap studio", {kSnap}},
              {"photo editor", {kSnap, "999", kLab}},
              {"collage maker", {{"ids", {"998", kLab}}, {"padTo", 40}}},
              {"selfie", {"997"}}}},
            {"gb", {{"photo editor", {kLab}}}}}},
          {"faults", faults}};
}

class MeasureCliTest : public ::testing::Test {
 protected:
  explicit MeasureCliTest(json faults = json::array()) : h(scenario(std::move(faults))) {}

  // Two apps: Photo Lab with three keywords in US and one in GB, Snap Studio sharing "photo editor" in US.
  void track() const {
    h.ok({"app", "add", kLab, "--country", "us"});
    h.ok({"app", "add", kSnap, "--country", "us"});
    h.ok({"keywords", "add", kLab, "--country", "us", "photo editor", "collage maker", "selfie"});
    h.ok({"keywords", "add", kLab, "--country", "gb", "photo editor"});
    h.ok({"keywords", "add", kSnap, "--country", "us", "photo editor"});
  }
  std::vector<tovra::e2e::LoggedRequest> searches() const { return h.requests("search"); }

  Harness h;
};

TEST_F(MeasureCliTest, OneRequestAnswersEveryAppOnTheSameKeywordAndCountry) {
  track();
  const auto before = searches().size();
  const auto r = h.ok({"--json", "measure"});
  const auto report = json::parse(r.out);
  EXPECT_EQ(report["ending"], "finished");
  EXPECT_EQ(report["queryCount"], 5);
  EXPECT_EQ(report["requestCount"], 4);
  EXPECT_EQ(report["measured"], 5);
  EXPECT_EQ(report["hadNoEarlierObservations"], true);
  EXPECT_EQ(report["isFirstMeasurement"], true);
  ASSERT_EQ(report["ranked"].size(), 4u);
  EXPECT_EQ(report["ranked"][0]["label"], "Photo Lab · photo editor · US");
  EXPECT_EQ(report["ranked"][0]["rank"], 3);
  EXPECT_EQ(report["ranked"][1]["label"], "Photo Lab · collage maker · US");
  EXPECT_EQ(report["ranked"][1]["rank"], 2);
  ASSERT_EQ(report["outside"].size(), 1u);
  EXPECT_EQ(report["outside"][0]["depth"], 1);
  EXPECT_EQ(report["measuredZero"][0], "Photo Lab · selfie · US · not in the top 1");

  const auto sent = searches();
  ASSERT_EQ(sent.size() - before, 4u);
  for (auto i = before + 1; i < sent.size(); ++i) {
    ASSERT_TRUE(sent[i].firstByte && sent[i - 1].firstByte);
    EXPECT_GE(*sent[i].firstByte - *sent[i - 1].firstByte, 1.2) << "requests " << i - 1 << " and " << i;
  }
}

TEST_F(MeasureCliTest, TheHumanReportEndsWithTheNotification) {
  track();
  const auto r = h.ok({"--wide", "measure"});
  EXPECT_THAT(r.out, HasSubstr("5 tracked keywords · 4 requests to Apple\n"));
  EXPECT_THAT(r.out, HasSubstr(" s · a 403 back-off can make it longer · ranks land when the run ends\n"));
  EXPECT_THAT(r.out, HasSubstr("Photo Lab · selfie · US  Not among the 1 result the store returned for this phrase"));
  EXPECT_THAT(r.out, HasSubstr("source of these numbers: appstore\n"));
  EXPECT_THAT(r.out, HasSubstr("\nMeasurement finished\n5 of 5 measured · source: appstore\n"));
}

TEST_F(MeasureCliTest, TodayListsRowsGroupsAndReviewMarks) {
  track();
  h.ok({"keywords", "add", kLab, "--country", "us", "retouch"});
  h.ok({"measure"});
  h.ok({"keywords", "add", kLab, "--country", "us", "vintage"});  // after the run: not measured yet
  h.ok({"keywords", "pause", kSnap, "photo editor", "--country", "us"});

  auto queue = h.okJson({"today"});
  std::vector<std::string> pending;
  for (const auto& row : queue["pending"]) {
    pending.push_back(row["keyword"].get<std::string>() + "/" + row["country"].get<std::string>());
  }
  // All accumulating with one reading: rank ascending, no rank last, then keyword and country.
  EXPECT_EQ(pending, (std::vector<std::string>{"photo editor/gb", "collage maker/us", "photo editor/us", "retouch/us",
                                               "selfie/us"}));
  EXPECT_EQ(queue["pending"][0]["change"], (json{{"kind", "accumulating"}, {"days", 1}}));
  ASSERT_EQ(queue["notMeasuredYet"].size(), 1u);
  EXPECT_EQ(queue["notMeasuredYet"][0]["keyword"], "vintage");
  ASSERT_EQ(queue["paused"].size(), 1u);
  EXPECT_EQ(queue["paused"][0]["appStoreId"], kSnap);
  EXPECT_EQ(queue["summary"], "5 keywords");

  queue = h.okJson({"today", "--review", kLab, "Photo  Editor", "--country", "US"});
  ASSERT_EQ(queue["reviewed"].size(), 1u);
  EXPECT_EQ(queue["reviewed"][0]["country"], "us");
  EXPECT_EQ(queue["pending"].size(), 4u);
  EXPECT_NE(queue["undoableMark"], nullptr);

  const auto human = h.ok({"--wide", "today"}).out;
  EXPECT_THAT(human, HasSubstr("\nReviewed (1)\n"));
  EXPECT_THAT(human, HasSubstr("\nNot measured yet (1)\n"));
  EXPECT_THAT(human, HasSubstr("\nPaused (1)\n"));
  EXPECT_THAT(human, HasSubstr("not in the top 1"));

  queue = h.okJson({"today", "--unreview", kLab, "photo editor", "--country", "us"});
  EXPECT_TRUE(queue["reviewed"].empty());
  const auto unknown = h.run({"today", "--review", kLab, "vintage", "--country", "us"});
  EXPECT_EQ(unknown.exitCode, 1) << describe(unknown);
  EXPECT_THAT(unknown.err, HasSubstr("no reading yet"));
}

TEST_F(MeasureCliTest, HistoryShowsTheDaySeriesAndItsRuns) {
  track();
  h.ok({"measure"});
  h.ok({"measure"});  // the same day: one reading, updated in place
  const auto history = h.okJson({"history", kLab, "photo editor", "--country", "us"});
  EXPECT_EQ(history["readingCount"], 1);
  ASSERT_EQ(history["points"].size(), 1u);
  EXPECT_EQ(history["points"][0]["rank"], 3);
  EXPECT_EQ(history["dayRuns"].size(), 1u);
  EXPECT_EQ(history["change"], nullptr);
  EXPECT_EQ(history["todayChange"], (json{{"kind", "accumulating"}, {"days", 1}}));
  const auto text = h.ok({"history", kLab, "photo editor", "--country", "us"}).out;
  EXPECT_THAT(text, HasSubstr("Photo Lab · photo editor · US · 1 reading · accumulating · 1 of 7 readings\n"));
  EXPECT_THAT(text, HasSubstr("Day runs: "));
}

TEST_F(MeasureCliTest, ACtrlCStopsAfterTheRequestInFlightAndKeepsWhatWasMeasured) {
  track();
  const auto before = searches().size();
  auto process = h.start({"--json", "measure"});
  const auto deadline = std::chrono::steady_clock::now() + 20s;
  while (searches().size() < before + 1 && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(5ms);
  }
  process->signal(SIGINT);
  const auto r = process->wait(30s);
  EXPECT_EQ(r.exitCode, 4) << describe(r);
  const auto report = json::parse(r.out);
  EXPECT_EQ(report["ending"], "stopped");
  EXPECT_GE(report["measured"].get<int>(), 1);
  EXPECT_GE(report["skipped"].get<int>(), 1);
  EXPECT_LT(searches().size() - before, 4u);

  const auto queue = h.okJson({"today"});
  ASSERT_FALSE(queue["notMeasured"].empty());
  EXPECT_EQ(queue["notMeasured"][0]["reason"], "you stopped the run before this query");
  EXPECT_EQ(queue["notMeasured"][0]["status"], "skipped");
}

// Every search fails at once (a status that is not retried), so the guard halts after three requests
// without the 8 and 16 s back-offs of a 403.
class HaltedRunTest : public MeasureCliTest {
 protected:
  HaltedRunTest() : MeasureCliTest(json::array({{{"path", "search"}, {"status", 404}}})) {}
};

TEST_F(HaltedRunTest, AHaltExitsThreeAndHoldsEveryTovraProcess) {
  track();
  const auto before = searches().size();
  const auto r = h.run({"measure"});
  EXPECT_EQ(r.exitCode, 3) << describe(r);
  EXPECT_EQ(searches().size() - before, 3u);
  EXPECT_THAT(r.out, HasSubstr("\nMeasurement halted\n0 of 5 measured · 5 not measured · Apple paused requests"));
  // Not a refusal: the sentence names what really failed, and the hold is the same.
  EXPECT_THAT(r.err, HasSubstr("The App Store did not answer (HTTP 404) and the guard stopped the last run. "
                               "Tovra waits 15:00 before asking again."));
  EXPECT_THAT(r.err, Not(HasSubstr("403")));

  const auto again = h.run({"measure"});
  EXPECT_EQ(again.exitCode, 3) << describe(again);
  EXPECT_THAT(again.err, HasSubstr("Apple paused requests · retry in 1"));
  const auto search = h.run({"search", "photo editor", "--country", "us"});
  EXPECT_EQ(search.exitCode, 3) << describe(search);
  const auto hints = h.run({"hints", "pho", "--country", "us"});
  EXPECT_EQ(hints.exitCode, 3) << describe(hints);
  EXPECT_EQ(searches().size() - before, 3u);  // none of them asked
  EXPECT_TRUE(h.requests("hints").empty());

  const auto queue = h.okJson({"today"});
  EXPECT_EQ(queue["halted"], true);
  EXPECT_EQ(queue["notMeasured"].size(), 5u);
}

// Another process's run is no refusal by the store: the command fails plainly (status 1), starts no hold,
// and asks nothing.
TEST_F(MeasureCliTest, ARunInAnotherProcessFailsWithoutAHold) {
  track();
  const auto before = h.requests().size();
  std::filesystem::create_directories(h.stateDir());
  const auto lockFile = (h.stateDir() / "measurement.lock").string();
  const int fd = ::open(lockFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(::flock(fd, LOCK_EX), 0);
  const auto r = h.run({"measure"});
  ::close(fd);
  EXPECT_EQ(r.exitCode, 1) << describe(r);
  EXPECT_EQ(r.err, "A measurement is already running in another Tovra process.\n");
  EXPECT_EQ(h.requests().size(), before);
  EXPECT_EQ(h.ok({"measure"}).exitCode, 0);  // nothing holds once the other run is over
}

TEST_F(MeasureCliTest, TwoProcessesAskingAtOnceKeepOnePace) {
  const auto before = h.requests().size();
  auto first = h.start({"search", "photo editor", "--country", "us", "--limit", "0"});
  auto second = h.start({"search", "collage maker", "--country", "us", "--limit", "0"});
  auto third = h.start({"search", "selfie", "--country", "us", "--limit", "0"});
  for (auto* process : {first.get(), second.get(), third.get()}) {
    const auto r = process->wait(30s);
    EXPECT_EQ(r.exitCode, 0) << describe(r);
  }
  auto sent = h.requests();
  ASSERT_EQ(sent.size() - before, 3u);
  std::vector<double> times;
  for (auto i = before; i < sent.size(); ++i) {
    ASSERT_TRUE(sent[i].firstByte);
    times.push_back(*sent[i].firstByte);
  }
  std::sort(times.begin(), times.end());
  EXPECT_GE(times[1] - times[0], 1.2);
  EXPECT_GE(times[2] - times[1], 1.2);
}

// The store after a killed run: openable, intact, and holding each run whole or not at all.
json storeFacts(const Harness& h) {
  const auto file = (h.dataDir() / "default.store").string();
  const auto r =
      h.runProgram("/usr/bin/sqlite3", {"-json", file,
                                        "SELECT (SELECT group_concat(integrity_check) FROM "
                                        "pragma_integrity_check) AS integrity, "
                                        "(SELECT count(*) FROM MeasurementRun) AS runs, "
                                        "(SELECT count(*) FROM MeasurementRun r WHERE r.queryCount <> "
                                        "(SELECT count(*) FROM RunOutcome o WHERE o.run = r.pk)) AS partial, "
                                        "(SELECT count(*) FROM StoredObservation s WHERE NOT EXISTS "
                                        "(SELECT 1 FROM RunOutcome o WHERE o.observation = s.pk)) AS orphans"});
  EXPECT_EQ(r.exitCode, 0) << describe(r);
  const auto rows = json::parse(r.out.empty() ? "[{}]" : r.out);
  return rows.at(0);
}

TEST_F(MeasureCliTest, ARunKilledAtAnyMomentLeavesTheStoreWholeAndTheRunWholeOrAbsent) {
  ASSERT_TRUE(std::filesystem::exists("/usr/bin/sqlite3")) << "the integrity check needs the sqlite3 program";
  track();
  std::mt19937 random(20250114);
  int completed = 0;
  for (int kill = 0; kill < 20; ++kill) {
    const auto before = searches().size();
    auto process = h.start({"measure"});
    if (kill % 2 == 0) {
      // Anywhere in the run: starting, waiting for its turn, between requests, writing.
      std::this_thread::sleep_for(std::chrono::milliseconds(std::uniform_int_distribution<int>(0, 4500)(random)));
    } else {
      // Just after the last answer, when the finishing step writes: some kills land before its commit,
      // some after.
      const auto deadline = std::chrono::steady_clock::now() + 20s;
      while (searches().size() < before + 4 && std::chrono::steady_clock::now() < deadline && !process->ended()) {
        std::this_thread::sleep_for(1ms);
      }
      std::this_thread::sleep_for(std::chrono::microseconds(std::uniform_int_distribution<int>(0, 6000)(random)));
    }
    process->signal(SIGKILL);
    const auto r = process->wait(10s);
    completed += r.exitCode == 0 ? 1 : 0;

    const auto facts = storeFacts(h);
    if (facts.contains("integrity")) {  // a kill before the store was first opened leaves none
      EXPECT_EQ(facts["integrity"], "ok") << "kill " << kill;
      EXPECT_EQ(facts["partial"], 0) << "kill " << kill;
      EXPECT_EQ(facts["orphans"], 0) << "kill " << kill;
    }
    // Tovra itself still opens the store without recovering it.
    const auto today = h.run({"--json", "today"});
    ASSERT_EQ(today.exitCode, 0) << describe(today);
    EXPECT_EQ(today.err, "") << "kill " << kill;
  }
  const auto runs = storeFacts(h)["runs"].get<int>();
  EXPECT_GE(runs, completed);
  EXPECT_LE(runs, 20);
}

}  // namespace
