// The command line as people and scripts use it, against the fake store: mistakes answered before anything
// runs, one way to name an app in every command, exit statuses a scheduler can trust, JSON errors, and
// export and today as scripts use them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "tests/e2e/harness.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::Not;
using tovra::e2e::describe;
using tovra::e2e::Harness;
using tovra::e2e::RunResult;

constexpr const char* kLab = "1000000001";
constexpr const char* kSnap = "1000000002";

json scenario() {
  return {{"apps",
           {{kLab, {{"name", "Photo Lab"}, {"developer", "Lab Works"}, {"bundleId", "com.labworks.photo"}}},
            {kSnap, {{"name", "Snap Studio"}, {"developer", "Snap Co"}, {"bundleId", "com.snap.studio"}}}}},
          {"search",
           {{"us", {{"photo lab", {kLab}}, {"photo editor", {kSnap, kLab}}, {"broken", {kLab}}}},
            {"gb", {{"photo editor", {kLab, kSnap}}}}}},
          {"hints", {{"us", {{"pho", {"photo editor", "photo booth"}}}}}},
          {"faults", {{{"path", "search"}, {"term", "broken"}, {"status", 404}}}}};
}

class CommandLineTest : public ::testing::Test {
 protected:
  void trackLab() const {
    h.ok({"app", "add", kLab, "--country", "us"});
    h.ok({"keywords", "add", kLab, "--country", "us", "photo editor"});
  }

  Harness h{scenario()};
};

// ---- a country that is not a storefront ----

class UnknownCountryTest : public CommandLineTest, public ::testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(UnknownCountryTest, IsAUsageErrorBeforeAnythingRuns) {
  auto args = GetParam();
  args.insert(args.begin(), "--json");
  const auto r = h.run(args);
  EXPECT_EQ(r.exitCode, 2) << describe(r);
  EXPECT_THAT(r.err, HasSubstr("unknown country 'uk' — did you mean gb?")) << describe(r);
  EXPECT_THAT(r.err, HasSubstr("tovra countries lists the 27 codes")) << describe(r);
  const auto error = json::parse(r.out);
  EXPECT_THAT(error["error"].get<std::string>(), HasSubstr("did you mean gb?"));
  EXPECT_EQ(error["exitStatus"], 2);
  EXPECT_TRUE(h.requests().empty()) << "nothing is asked of the store";
  EXPECT_FALSE(fs::exists(h.dataDir() / "default.store")) << "not even the store is opened";
}

INSTANTIATE_TEST_SUITE_P(
    EveryCommandTakingACountry, UnknownCountryTest,
    ::testing::Values(std::vector<std::string>{"search", "photo", "--country", "uk"},
                      std::vector<std::string>{"hints", "pho", "--country", "uk"},
                      std::vector<std::string>{"lookup", kLab, "--country", "uk"},
                      std::vector<std::string>{"app", "add", kLab, "--country", "uk"},
                      std::vector<std::string>{"keywords", "add", kLab, "--country", "uk", "maps"},
                      std::vector<std::string>{"keywords", "pause", kLab, "maps", "--country", "uk"},
                      std::vector<std::string>{"keywords", "resume", kLab, "maps", "--country", "uk"},
                      std::vector<std::string>{"keywords", "delete", kLab, "maps", "--country", "uk"},
                      std::vector<std::string>{"space", "park", "Trips", "--country", "uk", "maps"},
                      std::vector<std::string>{"space", "unpark", "Trips", "maps", "--country", "uk"},
                      std::vector<std::string>{"space", "graduate", "Trips", kLab, "--country", "uk"},
                      std::vector<std::string>{"history", kLab, "maps", "--country", "uk"},
                      std::vector<std::string>{"check", kLab, "maps", "--country", "uk"},
                      std::vector<std::string>{"discover", "maps", "--country", "uk"},
                      std::vector<std::string>{"signals", "maps", "--country", "uk"},
                      std::vector<std::string>{"today", "--country", "uk"}),
    [](const auto& info) {
      std::string name;
      for (const auto& word : info.param) {
        if (word.starts_with("-")) {
          break;
        }
        if (std::isalpha(static_cast<unsigned char>(word[0]))) {
          name += static_cast<char>(std::toupper(static_cast<unsigned char>(word[0])));
          name += word.substr(1);
        }
      }
      return name;
    });

// ---- commands, help, version, countries ----

struct FrameCase {
  const char* name;
  std::vector<std::string> args;
  int exitCode;
  std::string out;
  std::string err;
};
void PrintTo(const FrameCase& c, std::ostream* os) {
  *os << c.name;
}

class FrameTest : public CommandLineTest, public ::testing::WithParamInterface<FrameCase> {};

TEST_P(FrameTest, AnswersWhatWasTyped) {
  const auto& c = GetParam();
  const auto r = h.run(c.args);
  EXPECT_EQ(r.exitCode, c.exitCode) << describe(r);
  EXPECT_THAT(r.out, HasSubstr(c.out)) << describe(r);
  EXPECT_THAT(r.err, HasSubstr(c.err)) << describe(r);
  EXPECT_TRUE(h.requests().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FrameTest,
    ::testing::Values(
        FrameCase{"MisspeltCommand", {"serach", "photo"}, 2, "", "unknown command 'serach' — did you mean 'search'?"},
        FrameCase{
            "MisspeltSubcommand", {"app", "ad", kLab}, 2, "", "unknown command 'app ad' — did you mean 'app add'?"},
        FrameCase{"AfterAGlobalOption", {"--data-dir", "/tmp/x", "mesure"}, 2, "", "did you mean 'measure'?"},
        FrameCase{
            "NothingNear", {"frobnicate"}, 2, "", "unknown command 'frobnicate' — tovra help lists the commands."},
        FrameCase{"JsonError", {"--json", "serach"}, 2, "\"exitStatus\": 2", "did you mean 'search'?"},
        FrameCase{"Help", {"help"}, 0, "discover", ""},
        FrameCase{"HelpOnACommand", {"help", "discover"}, 0, "--track", ""},
        FrameCase{"HelpOnASubcommand", {"help", "app", "add"}, 0, "tovra app add", ""},
        FrameCase{"HelpOnAMisspeltCommand", {"help", "serach"}, 2, "", "did you mean 'search'?"},
        FrameCase{"Version", {"version"}, 0, "tovra ", ""}, FrameCase{"ShortVersion", {"-V"}, 0, "tovra ", ""},
        FrameCase{"Countries", {"countries"}, 0, "GB    United Kingdom", ""},
        FrameCase{"CountriesAsJson",
                  {"--json", "countries"},
                  0,
                  "{\n    \"code\": \"us\",\n    \"name\": \"United States\"\n  }",
                  ""}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(CommandLineTest, CountriesListsTheTwentySeven) {
  const auto countries = h.okJson({"countries"});
  ASSERT_EQ(countries.size(), 27u);
  EXPECT_EQ(countries[26]["code"], "pt");
}

// ---- one way to name an app ----

struct NamingCase {
  const char* name;
  std::string app;
};
void PrintTo(const NamingCase& c, std::ostream* os) {
  *os << c.name;
}

class AppNamingTest : public CommandLineTest, public ::testing::WithParamInterface<NamingCase> {};

TEST_P(AppNamingTest, EveryCommandTakingAnAppAcceptsIt) {
  trackLab();
  const auto& app = GetParam().app;
  const std::vector<std::vector<std::string>> commands{
      {"keywords", "add", app, "--country", "us", "photo lab"},
      {"keywords", "list", app},
      {"keywords", "pause", app, "photo lab", "--country", "us"},
      {"keywords", "resume", app, "photo lab", "--country", "us"},
      {"keywords", "delete", app, "photo lab", "--country", "us"},
      {"history", app, "photo editor", "--country", "us"},
      {"today", "--app", app},
      {"app", "delete", app},
      {"app", "add", app, "--country", "us"},
      {"check", app, "photo lab", "--country", "us"},
      {"lookup", app, "--country", "us"},
      {"hints", "pho", "--country", "us", "--keep", app},
      {"discover", "photo lab", "--country", "us", "--track", app},
  };
  for (const auto& command : commands) {
    auto args = command;
    args.insert(args.begin(), "--json");
    const auto r = h.run(args);
    ASSERT_EQ(r.exitCode, 0) << describe(r);
  }
  const auto apps = h.okJson({"app", "list"});
  ASSERT_EQ(apps.size(), 1u) << "nothing but Photo Lab was ever tracked";
  EXPECT_EQ(apps[0]["appStoreId"], kLab);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, AppNamingTest,
    ::testing::Values(NamingCase{"Id", kLab}, NamingCase{"IdPrefix", "id1000000001"},
                      NamingCase{"Link", "https://apps.apple.com/us/app/photo-lab/id1000000001"},
                      NamingCase{"LinkWithoutScheme", "apps.apple.com/us/app/photo-lab/id1000000001?l=de"},
                      NamingCase{"StoreAppLink", "itms-apps://itunes.apple.com/app/id1000000001"},
                      NamingCase{"BundleId", "com.labworks.photo"}, NamingCase{"NameInAnyCase", "PHOTO LAB"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(CommandLineTest, ANameNoTrackedAppHasIsToldAsSuch) {
  trackLab();
  const auto r = h.run({"keywords", "list", "Lumen"});
  EXPECT_EQ(r.exitCode, 1) << describe(r);
  EXPECT_THAT(r.err, HasSubstr("No tracked app is called “Lumen”"));
}

TEST_F(CommandLineTest, DiscoverTracksARowByItsNumberAndChangesMineOnlyWhenAsked) {
  h.ok({"app", "add", kLab, "--country", "us", "--mine"});
  const auto lab = h.okJson({"discover", "photo editor", "--country", "us", "--track", "2"});
  EXPECT_EQ(lab["tracked"]["app"]["appStoreId"], kLab);
  EXPECT_EQ(lab["tracked"]["app"]["isMine"], true) << "tracking a term never takes the mark away";

  const auto snap = h.okJson({"discover", "photo editor", "--country", "us", "--track", "1", "--mine"});
  EXPECT_EQ(snap["tracked"]["app"]["appStoreId"], kSnap);
  EXPECT_EQ(snap["tracked"]["createdApp"], true);
  EXPECT_EQ(snap["tracked"]["app"]["isMine"], true);

  const auto beyond = h.run({"discover", "photo editor", "--country", "us", "--track", "3"});
  EXPECT_EQ(beyond.exitCode, 2) << describe(beyond);
  EXPECT_THAT(beyond.err, HasSubstr("There is no row 3 to track: the results have 2 rows."));
}

TEST_F(CommandLineTest, ASpaceIsNamedInAnyCaseAndNoTwoShareAName) {
  h.ok({"space", "create", "Trips"});
  const auto again = h.run({"space", "create", " trips "});
  EXPECT_EQ(again.exitCode, 1) << describe(again);
  EXPECT_THAT(again.err, HasSubstr("A research space is already called “Trips”"));
  h.ok({"space", "park", "TRIPS", "--country", "us", "hiking"});
  h.ok({"space", "rename", "tRiPs", "Ideas"});
  h.ok({"space", "create", "Other"});
  const auto rename = h.run({"space", "rename", "other", "IDEAS"});
  EXPECT_EQ(rename.exitCode, 1) << describe(rename);
  EXPECT_THAT(rename.err, HasSubstr("A research space is already called “Ideas”"));
  const auto spaces = h.okJson({"space", "list"});
  ASSERT_EQ(spaces.size(), 2u);
  EXPECT_EQ(spaces[0]["name"], "Ideas");
  EXPECT_EQ(spaces[0]["queries"].size(), 1u);
}

// ---- exit statuses ----

TEST_F(CommandLineTest, ARunThatCouldNotMeasureSomeKeywordsExitsFiveAfterItsReport) {
  trackLab();
  h.ok({"keywords", "add", kLab, "--country", "us", "broken"});
  const auto r = h.run({"measure"});
  EXPECT_EQ(r.exitCode, 5) << describe(r);
  EXPECT_THAT(r.out, HasSubstr("Not measured\nThe App Store answered with an error; try again later.\n"));
  EXPECT_THAT(r.out, HasSubstr("HTTP 404 — "));
  EXPECT_THAT(r.err, HasSubstr("1 keyword was not measured; the report says why."));

  const auto asJson = h.run({"--json", "measure"});
  EXPECT_EQ(asJson.exitCode, 5) << describe(asJson);
  const auto report = json::parse(asJson.out);  // the report is the one document on stdout
  EXPECT_EQ(report["failed"], 1);
  EXPECT_EQ(report["measured"], 1);
  EXPECT_THAT(h.ok({"today"}).out, HasSubstr("The App Store answered with an error; try again later."));
}

TEST_F(CommandLineTest, ALookupOfAnAppTheStoreDoesNotHaveSaysSoAndFails) {
  const auto none = h.run({"lookup", "4242424242", "--country", "us"});
  EXPECT_EQ(none.exitCode, 1) << describe(none);
  EXPECT_EQ(none.err, "The App Store has no app with the id 4242424242 in the United States.\n");

  const auto asJson = h.run({"--json", "lookup", "--bundle-id", "com.nobody.here", "--country", "us"});
  EXPECT_EQ(asJson.exitCode, 1) << describe(asJson);
  EXPECT_EQ(json::parse(asJson.out),
            (json{{"error", "The App Store has no app with the bundle id com.nobody.here in the United States."},
                  {"exitStatus", 1}}));

  const auto some = h.run({"lookup", kLab, "4242424242", "--country", "us"});
  EXPECT_EQ(some.exitCode, 1) << describe(some);
  EXPECT_THAT(some.out, HasSubstr("Photo Lab"));
  EXPECT_THAT(some.err, HasSubstr("no app with the id 4242424242"));
}

TEST_F(CommandLineTest, AnErrorAskedForAsJsonIsAnObjectOnStdoutBesidesTheTextOnStderr) {
  const auto r = h.run({"keywords", "list", "999999999", "--json"});
  EXPECT_EQ(r.exitCode, 1) << describe(r);
  const auto error = json::parse(r.out);
  EXPECT_EQ(error["exitStatus"], 1);
  EXPECT_EQ(error["error"].get<std::string>() + "\n", r.err);
}

// ---- export and today ----

TEST_F(CommandLineTest, ExportWritesToStdoutAndNeverReplacesAFileUnasked) {
  trackLab();
  const auto piped = h.okJson({"export", "-o", "-"});
  EXPECT_EQ(piped["apps"][0]["appStoreId"], kLab);

  const auto folder = h.directory() / "exports";
  fs::create_directory(folder);
  const auto first = h.okJson({"export", "-o", folder.string()});
  const auto second = h.okJson({"export", "-o", folder.string()});
  const std::string firstPath = first["path"], secondPath = second["path"];
  EXPECT_THAT(firstPath, ::testing::MatchesRegex(".*/tovra-export-[0-9-]{10}\\.json"));
  EXPECT_EQ(secondPath, firstPath.substr(0, firstPath.size() - 5) + "-2.json");

  const auto named = (folder / "mine.json").string();
  h.ok({"export", "-o", named});
  fs::resize_file(named, 3);
  const auto refused = h.run({"export", "-o", named});
  EXPECT_EQ(refused.exitCode, 1) << describe(refused);
  EXPECT_THAT(refused.err, HasSubstr("already exists; nothing was written. Add --force to replace it."));
  EXPECT_EQ(fs::file_size(named), 3u) << "the file is left as it was";
  h.ok({"export", "-o", named, "--force"});
  EXPECT_GT(fs::file_size(named), 3u);
}

TEST_F(CommandLineTest, TodayShowsOnlyTheCountryAndTheAppAskedFor) {
  trackLab();
  h.ok({"keywords", "add", kLab, "--country", "gb", "photo editor"});
  h.ok({"app", "add", kSnap, "--country", "us"});
  h.ok({"keywords", "add", kSnap, "--country", "us", "photo editor"});
  h.ok({"measure"});
  const auto rowsOf = [](const json& queue) {
    std::vector<std::pair<std::string, std::string>> rows;
    for (const auto* list : {"pending", "reviewed", "held"}) {
      for (const auto& row : queue[list]) {
        rows.emplace_back(row["appStoreId"], row["country"]);
      }
    }
    std::sort(rows.begin(), rows.end());
    return rows;
  };
  using Rows = std::vector<std::pair<std::string, std::string>>;
  EXPECT_EQ(rowsOf(h.okJson({"today"})).size(), 3u);
  EXPECT_EQ(rowsOf(h.okJson({"today", "--country", "GB"})), (Rows{{kLab, "gb"}}));
  EXPECT_EQ(rowsOf(h.okJson({"today", "--app", "Snap Studio"})), (Rows{{kSnap, "us"}}));
  EXPECT_EQ(rowsOf(h.okJson({"today", "--app", kLab, "--country", "us"})), (Rows{{kLab, "us"}}));
  EXPECT_THAT(h.ok({"today", "--country", "gb"}).out, HasSubstr("\n1 keyword"));
}

}  // namespace
