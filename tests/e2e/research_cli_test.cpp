// Keyword research run as the user runs it, against the fake store: signals that bisect the hint prefixes,
// discover in the store's order kept as saved searches, hints kept as probes and reused the same day,
// check once, and the waits for a run or a hold.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <map>

#include "AsoKit/shared_pacing.h"
#include "tests/e2e/harness.h"

namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using tovra::e2e::describe;
using tovra::e2e::Harness;
using tovra::e2e::RunResult;

constexpr const char* kKeyword = "photo editor";
// The length of the first prefix whose hints list the keyword: "photo ed".
constexpr std::size_t kListedFrom = 8;

// Twelve apps for the keyword, ten of them with rating counts; hints for every prefix of the keyword, the
// keyword itself listed second from kListedFrom letters on.
json scenario() {
  const std::vector<std::optional<int>> ratings{48210, 1200, 90,   5300, 700, std::nullopt,
                                                15000, 640,  2200, 40,   333, 12};
  json apps = json::object();
  json ids = json::array();
  for (std::size_t i = 0; i < ratings.size(); ++i) {
    const auto id = std::to_string(1000000100 + i);
    json app{{"name", "App " + std::to_string(i + 1)}, {"developer", "Dev " + std::to_string(i + 1)}};
    if (ratings[i]) {
      app["ratingCount"] = *ratings[i];
      app["averageRating"] = 4.25;
    }
    app["artwork"] = "https://icons.invalid/" + id + "/512x512bb.jpg";
    apps[id] = app;
    ids.push_back(id);
  }
  json hints = json::object();
  const std::string keyword = kKeyword;
  for (std::size_t n = 1; n <= keyword.size(); ++n) {
    const auto prefix = keyword.substr(0, n);
    hints[prefix] = n >= kListedFrom ? json{"photo editor pro", "photo editor", "photo editing"}
                                     : json{prefix + " pro", json{{"term", "photography"}, {"priority", 700}}};
  }
  return {
      {"apps", apps}, {"search", {{"us", {{kKeyword, ids}, {"nothing", json::array()}}}}}, {"hints", {{"us", hints}}}};
}

class ResearchCliTest : public ::testing::Test {
 protected:
  Harness h{scenario()};
};

TEST_F(ResearchCliTest, SignalsFindTheFirstListingPrefixInAtMostFiveProbes) {
  const auto answer = h.okJson({"signals", kKeyword, "--country", "us"});
  const auto& reach = answer["signals"]["reach"];
  EXPECT_EQ(reach["letters"], kListedFrom);
  EXPECT_EQ(reach["position"], 2);
  EXPECT_EQ(reach["keywordLength"], 12);
  EXPECT_EQ(reach["band"], "moderate");
  const auto& difficulty = answer["signals"]["difficulty"];
  EXPECT_EQ(difficulty["knownCount"], 9);
  EXPECT_EQ(difficulty["sampled"], 10);
  EXPECT_EQ(difficulty["medianRatings"], 1200);
  EXPECT_EQ(difficulty["band"], "medium");
  EXPECT_EQ(answer["summary"]["converged"], true);
  EXPECT_EQ(answer["summary"]["failed"], 0);

  const auto hints = h.requests("hints");
  EXPECT_LE(hints.size(), 5u);
  EXPECT_EQ(answer["summary"]["probesAsked"], hints.size());
  for (const auto& request : hints) {
    EXPECT_GE(request.param("term")->size(), 2u) << "no one-letter prefix for a longer keyword";
    EXPECT_NE(request.param("term")->back(), ' ') << "no prefix ending in a space";
  }
  EXPECT_EQ(h.requests("search").size(), 1u);
}

TEST_F(ResearchCliTest, SignalsInWordsWithTheHelpAndAReuseOfTodaysProbes) {
  h.ok({"signals", kKeyword, "--country", "us"});
  const auto asked = h.requests("hints").size();
  const auto r = h.ok({"signals", kKeyword, "--country", "US", "--explain"});
  EXPECT_EQ(h.requests("hints").size(), asked) << "today's probes answer again from the store";
  EXPECT_THAT(r.out, HasSubstr("Medium · median 1.2k ratings · 9 of 10 counts known"));
  EXPECT_THAT(r.out, HasSubstr("Moderate · listed at 8 of 12 letters · position 2"));
  EXPECT_THAT(r.out, HasSubstr("from today's stored probe"));
  EXPECT_THAT(r.out, HasSubstr("HOW SIGNALS ARE READ"));
  EXPECT_THAT(r.out, HasSubstr("Both come from Apple's own answers. They are never added to a rank."));
}

TEST_F(ResearchCliTest, AKeywordWithTooFewResultsHasNoDifficulty) {
  const auto r = h.ok({"signals", "nothing", "--country", "us"});
  EXPECT_THAT(r.out, HasSubstr("Difficulty  —"));
  EXPECT_THAT(r.out, HasSubstr("None · not listed even for the full keyword"));
}

TEST_F(ResearchCliTest, DiscoverShowsTheStoresOrderAndKeepsItAsASavedSearch) {
  const auto first = h.ok({"discover", kKeyword, "--country", "us", "--limit", "4"});
  EXPECT_THAT(first.out, HasSubstr("“photo editor” in US · 12 results · store's position · no score added"));
  const auto one = first.out.find("App 1 ");
  const auto four = first.out.find("App 4 ");
  ASSERT_NE(one, std::string::npos) << first.out;
  ASSERT_NE(four, std::string::npos) << first.out;
  EXPECT_LT(one, four);
  EXPECT_THAT(first.out, HasSubstr("48210"));
  EXPECT_THAT(first.out, ::testing::Not(HasSubstr("no change since the last check")));

  const auto again = h.okJson({"discover", kKeyword, "--country", "us", "--limit", "4"});
  EXPECT_EQ(again["unchanged"], true);
  EXPECT_EQ(again["apps"].size(), 4u);
  EXPECT_EQ(again["apps"][3]["position"], 4);
  EXPECT_EQ(again["resultCount"], 12);
  const auto repeat = h.ok({"discover", kKeyword, "--country", "us", "--limit", "4"});
  EXPECT_THAT(repeat.out, HasSubstr("no change since the last check"));

  // One saved search of four rows: the repeats within the hour refreshed it in place.
  std::map<std::string, int> counts;
  const auto inventory = h.okJson({"store"});
  for (const auto& row : inventory["rows"]) {
    counts[row["kind"].get<std::string>()] = row["count"].get<int>();
  }
  EXPECT_EQ(counts["savedResults"], 1);
  EXPECT_EQ(counts["savedResultRows"], 4);
}

TEST_F(ResearchCliTest, DiscoverTracksTheTermCarriedFromTheSearch) {
  const auto r = h.ok({"discover", kKeyword, "--country", "us", "--limit", "3", "--track", "1000000102"});
  EXPECT_THAT(r.out, HasSubstr("App 3 is now tracked"));
  const auto apps = h.okJson({"app", "list"});
  ASSERT_EQ(apps.size(), 1u);
  EXPECT_EQ(apps[0]["appStoreId"], "1000000102");
  EXPECT_EQ(apps[0]["artworkUrl512"], "https://icons.invalid/1000000102/512x512bb.jpg");
  ASSERT_EQ(apps[0]["queries"].size(), 1u);
  EXPECT_EQ(apps[0]["queries"][0]["keyword"], kKeyword);
  EXPECT_EQ(apps[0]["queries"][0]["provenance"], "carriedFromSearch");

  const auto again = h.ok({"discover", kKeyword, "--country", "us", "--limit", "3", "--track", "1000000102"});
  EXPECT_THAT(again.out, HasSubstr("was already added to App 3"));

  const auto unknown = h.run({"discover", kKeyword, "--country", "us", "--limit", "3", "--track", "4242424"});
  EXPECT_EQ(unknown.exitCode, 1) << describe(unknown);
  EXPECT_THAT(unknown.err, HasSubstr("No tracked app has the App Store id “4242424”"));
}

TEST_F(ResearchCliTest, HintsAreKeptAndServedFromTheStoreTheSameDay) {
  const auto first = h.okJson({"hints", "photo ed", "--country", "us"});
  EXPECT_EQ(first["servedFromStore"], false);
  const auto second = h.okJson({"hints", "photo ed", "--country", "us"});
  EXPECT_EQ(second["servedFromStore"], true);
  EXPECT_EQ(second["observedAt"], first["observedAt"]);
  EXPECT_EQ(second["terms"], first["terms"]);
  EXPECT_EQ(h.requests("hints").size(), 1u);
  const auto human = h.ok({"hints", "photo ed", "--country", "us"});
  EXPECT_THAT(human.out, HasSubstr("served from today's stored probe · the store was not asked again"));
}

// Tracking the term for an app that is already yours keeps it yours: the draft starts from its own mark.
TEST_F(ResearchCliTest, TrackingFromDiscoverKeepsTheAppsMineMark) {
  h.ok({"app", "add", "1000000102", "--country", "us", "--mine"});
  h.ok({"discover", kKeyword, "--country", "us", "--limit", "3", "--track", "1000000102"});
  const auto apps = h.okJson({"app", "list"});
  ASSERT_EQ(apps.size(), 1u);
  EXPECT_EQ(apps[0]["isMine"], true);
  EXPECT_EQ(apps[0]["queries"].size(), 1u);
}

// The prefix is the store's question exactly as typed: a stored probe answers only that same prefix, so
// a trailing blank, a capital or doubled blanks are asked of the store and shown as typed.
TEST_F(ResearchCliTest, AStoredProbeAnswersOnlyThePrefixAsTyped) {
  h.ok({"hints", "pho", "--country", "us"});
  ASSERT_EQ(h.requests("hints").size(), 1u);
  std::size_t asked = 1;
  for (const std::string prefix : {"pho ", "Pho", "p  ho"}) {
    const auto first = h.okJson({"hints", prefix, "--country", "us"});
    EXPECT_EQ(first["prefix"], prefix);
    EXPECT_EQ(first["servedFromStore"], false) << "“" << prefix << "”";
    const auto requests = h.requests("hints");
    ASSERT_EQ(requests.size(), ++asked) << "“" << prefix << "”";
    EXPECT_EQ(requests.back().param("term"), prefix) << "sent exactly as typed";

    const auto again = h.okJson({"hints", prefix, "--country", "us"});
    EXPECT_EQ(again["prefix"], prefix);
    EXPECT_EQ(again["servedFromStore"], true) << "“" << prefix << "”";
    EXPECT_EQ(h.requests("hints").size(), asked);
  }
  const auto human = h.ok({"hints", "pho ", "--country", "us"});
  EXPECT_THAT(human.out, HasSubstr("Store hints for “pho ” in US"));
}

TEST_F(ResearchCliTest, AHintKeptInASpaceOrForAnAppIsCarriedFromAStoreHint) {
  h.ok({"space", "create", "Ideas"});
  const auto r = h.ok({"hints", "photo ed", "--country", "us", "--keep", "space:Ideas", "--pick", "2"});
  EXPECT_THAT(r.out, HasSubstr("“photo editor” in US is now kept in Ideas"));
  const auto spaces = h.okJson({"space", "list"});
  ASSERT_EQ(spaces.at(0)["queries"].size(), 1u);
  EXPECT_EQ(spaces[0]["queries"][0]["keyword"], kKeyword);
  EXPECT_EQ(spaces[0]["queries"][0]["provenance"], "carriedFromStoreHint");

  h.ok({"app", "add", "1000000100", "--country", "us"});
  h.ok({"hints", "phot", "--country", "us", "--keep", "1000000100"});
  const auto apps = h.okJson({"app", "list"});
  ASSERT_EQ(apps.at(0)["queries"].size(), 1u);
  EXPECT_EQ(apps[0]["queries"][0]["keyword"], "phot pro");
  EXPECT_EQ(apps[0]["queries"][0]["provenance"], "carriedFromStoreHint");

  const auto missing = h.run({"hints", "phot", "--country", "us", "--keep", "1000000100", "--pick", "9"});
  EXPECT_EQ(missing.exitCode, 2) << describe(missing);
  EXPECT_THAT(missing.err, HasSubstr("There is no hint at position 9 to keep."));
}

TEST_F(ResearchCliTest, CheckOnceReadsOneRankAndTracksOnRequest) {
  h.ok({"app", "add", "1000000103", "--country", "us"});
  const auto before = h.requests("search").size();
  const auto r = h.ok({"check", "1000000103", kKeyword, "--country", "us", "--track"});
  EXPECT_EQ(h.requests("search").size(), before + 1) << "one request";
  EXPECT_THAT(r.out, HasSubstr("Rank 4 of the 12 results the store returned"));
  EXPECT_THAT(r.out, HasSubstr("This keyword is now tracked."));
  const auto apps = h.okJson({"app", "list"});
  ASSERT_EQ(apps.at(0)["queries"].size(), 1u);
  EXPECT_EQ(apps[0]["queries"][0]["provenance"], "typedByUser");

  const auto absent = h.okJson({"check", "1000000103", "nothing", "--country", "us"});
  EXPECT_EQ(absent["phase"], "notInTopN");
  EXPECT_EQ(absent["rank"], nullptr);
  EXPECT_EQ(absent["text"], "No results — the App Store returned nothing for this term");
}

// Tracking the checked keyword has no condition on the check's outcome: a failed check still tracks it
// with --track, and still ends as a failed check.
TEST(ResearchCliFailedCheck, AFailedCheckStillTracksOnRequest) {
  auto withFault = scenario();
  withFault["faults"] = json::array({{{"path", "search"}, {"term", kKeyword}, {"status", 404}}});
  Harness h{withFault};
  ASSERT_EQ(h.run({"app", "add", "1000000103", "--country", "us"}).exitCode, 0);

  const auto r = h.run({"check", "1000000103", kKeyword, "--country", "us", "--track"});
  EXPECT_EQ(r.exitCode, 1) << describe(r);
  EXPECT_THAT(r.out, HasSubstr("The check failed: "));
  EXPECT_THAT(r.out, HasSubstr("This keyword is now tracked."));
  EXPECT_THAT(r.err, ::testing::Not(HasSubstr("not tracked")));
  const auto apps = json::parse(h.run({"--json", "app", "list"}).out);
  ASSERT_EQ(apps.at(0)["queries"].size(), 1u);
  EXPECT_EQ(apps[0]["queries"][0]["keyword"], kKeyword);
  EXPECT_EQ(apps[0]["queries"][0]["provenance"], "typedByUser");

  const auto again = h.run({"--json", "check", "1000000103", kKeyword, "--country", "us", "--track"});
  EXPECT_EQ(again.exitCode, 1) << describe(again);
  const auto answer = json::parse(again.out);
  EXPECT_EQ(answer["phase"], "failed");
  EXPECT_EQ(answer["tracked"], true);
  EXPECT_EQ(answer["alreadyAdded"], true);
}

TEST_F(ResearchCliTest, DuringAHoldNothingIsAskedAndTheExitIsThree) {
  asokit::SharedPacingFile(h.stateDir()).hold(std::chrono::system_clock::now() + std::chrono::seconds{900});
  h.ok({"app", "list"});
  const auto hints = h.run({"hints", "photo", "--country", "us"});
  EXPECT_EQ(hints.exitCode, 3) << describe(hints);
  EXPECT_THAT(hints.err, HasSubstr("Apple paused requests · retry in 1"));
  const auto signals = h.run({"signals", kKeyword, "--country", "us"});
  EXPECT_EQ(signals.exitCode, 3) << describe(signals);
  EXPECT_THAT(signals.err, HasSubstr("Apple paused requests"));
  const auto discover = h.run({"discover", kKeyword, "--country", "us"});
  EXPECT_EQ(discover.exitCode, 3) << describe(discover);
  EXPECT_THAT(discover.err, HasSubstr("The search failed — not a zero result"));
  EXPECT_TRUE(h.requests().empty());
}

TEST_F(ResearchCliTest, WhileAMeasurementRunsHintsAndChecksWait) {
  h.ok({"app", "add", "1000000103", "--country", "us"});
  const auto asked = h.requests().size();
  std::filesystem::create_directories(h.stateDir());
  const auto lockFile = (h.stateDir() / "measurement.lock").string();
  const int fd = ::open(lockFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(::flock(fd, LOCK_EX), 0);

  const auto hints = h.run({"hints", "photo", "--country", "us"});
  EXPECT_EQ(hints.exitCode, 3) << describe(hints);
  EXPECT_EQ(hints.err, "A measurement is running — store hints wait for it.\n");
  const auto signals = h.run({"signals", kKeyword, "--country", "us"});
  EXPECT_EQ(signals.exitCode, 3) << describe(signals);
  EXPECT_EQ(signals.err, "A measurement is running — store hints wait for it.\n");
  const auto check = h.run({"check", "1000000103", kKeyword, "--country", "us"});
  EXPECT_EQ(check.exitCode, 3) << describe(check);
  EXPECT_EQ(check.err, "A measurement run is active. Check once is unavailable until it finishes.\n");
  EXPECT_EQ(h.requests().size(), asked);

  ::close(fd);
  h.ok({"hints", "photo", "--country", "us"});
}

struct BadKeywordCase {
  const char* name;
  std::vector<std::string> args;
  int exitCode;
  std::string err;
};

class ResearchCliBadInput : public ResearchCliTest, public ::testing::WithParamInterface<BadKeywordCase> {};

TEST_P(ResearchCliBadInput, IsRefusedBeforeAnyRequest) {
  const auto r = h.run(GetParam().args);
  EXPECT_EQ(r.exitCode, GetParam().exitCode) << describe(r);
  EXPECT_THAT(r.err, HasSubstr(GetParam().err));
  EXPECT_TRUE(h.requests().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ResearchCliBadInput,
    ::testing::Values(BadKeywordCase{"BlankSignals", {"signals", "   ", "--country", "us"}, 2, "The keyword is blank."},
                      BadKeywordCase{"BlankDiscover", {"discover", " \t", "--country", "us"}, 2, "The term is blank."},
                      BadKeywordCase{"UnknownCountry", {"signals", "x", "--country", "xx"}, 2, "unknown country 'xx'"},
                      BadKeywordCase{"CheckUntrackedApp",
                                     {"check", "555", "x", "--country", "us"},
                                     1,
                                     "No tracked app has the App Store id “555”"},
                      BadKeywordCase{"InvalidUtf8", {"discover", "\xff", "--country", "us"}, 2, "not valid UTF-8"}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
