// The watchlist commands run as the user runs them, against the fake store: tracking apps by every kind of
// input, keyword pastes, research spaces, and deletions that are listed before anything goes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/e2e/harness.h"

namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using tovra::e2e::describe;
using tovra::e2e::Harness;
using tovra::e2e::RunResult;

json scenario() {
  return {{"apps",
           {{"1000000001",
             {{"name", "Photo Lab"},
              {"developer", "Lab Works"},
              {"bundleId", "com.labworks.photo"},
              {"artwork", "https://icons.example/photo-lab.png"}}},
            {"1000000002", {{"name", "Photo Lab Lite"}, {"developer", "Other Co"}, {"bundleId", "com.other.lite"}}},
            {"1000000003", {{"name", "Snapper"}, {"developer", "Snap Inc"}}}}},
          {"search",
           {{"us",
             {{"photo lab", {"1000000001", "1000000002"}},
              {"photo", {"1000000002", "1000000001", "1000000003"}},
              {"snapper", {"1000000003"}}}}}}};
}

class WatchlistCliTest : public ::testing::Test {
 protected:
  Harness h{scenario()};

  RunResult tovra(const std::vector<std::string>& args) const { return h.run(args); }
  // Everything the watchlist commands can change, as the user can read it.
  json state() const { return {{"apps", h.okJson({"app", "list"})}, {"spaces", h.okJson({"space", "list"})}}; }
  std::vector<std::string> trackedIds() const {
    std::vector<std::string> ids;
    for (const auto& app : h.okJson({"app", "list"})) {
      ids.push_back(app["appStoreId"]);
    }
    return ids;
  }
};

struct AddCase {
  const char* name;
  std::string input;
  std::string endpoint;  // the first request it makes
  std::string tracked;
};
void PrintTo(const AddCase& c, std::ostream* os) {
  *os << c.name;
}

class AppAddTest : public WatchlistCliTest, public ::testing::WithParamInterface<AddCase> {};

TEST_P(AppAddTest, TracksTheAppAndItsNameInTheCountry) {
  const auto& c = GetParam();
  const auto r = h.ok({"--json", "app", "add", c.input, "--country", "US"});
  const auto answer = json::parse(r.out);
  EXPECT_EQ(answer["app"]["appStoreId"], c.tracked);
  EXPECT_EQ(answer["createdApp"], true);
  EXPECT_EQ(answer["createdLocalization"]["country"], "us");
  EXPECT_EQ(answer["app"]["isMine"], false);
  EXPECT_THAT(answer["app"]["addedAt"].get<std::string>(),
              ::testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z"));
  EXPECT_EQ(trackedIds(), std::vector<std::string>{c.tracked});
  const auto requests = h.requests();
  ASSERT_FALSE(requests.empty());
  EXPECT_EQ(requests.front().endpoint, c.endpoint) << "an id or bundle id is looked up, a name is searched";
}

INSTANTIATE_TEST_SUITE_P(Inputs, AppAddTest,
                         ::testing::Values(AddCase{"Id", "1000000001", "lookup", "1000000001"},
                                           AddCase{"Link", "https://apps.apple.com/us/app/photo-lab/id1000000001?mt=8",
                                                   "lookup", "1000000001"},
                                           AddCase{"BundleId", "com.labworks.photo", "lookup", "1000000001"},
                                           AddCase{"SingleResultName", "snapper", "search", "1000000003"},
                                           AddCase{"NameMatchingTheFirstOfSeveral", "PHOTO LAB", "search",
                                                   "1000000001"}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(WatchlistCliTest, AHumanAddSaysWhatWasTrackedAndWhyItWasPicked) {
  auto r = h.ok({"app", "add", "Photo Lab", "--country", "us", "--mine"});
  EXPECT_EQ(r.out,
            "Tracking Photo Lab (1000000001) · Lab Works · US\nMarked as your app.\n"
            "Picked because the name matches — check the developer.\n");
  // Tracking it again without --mine keeps the claim.
  r = h.ok({"app", "add", "1000000001", "--country", "us"});
  EXPECT_THAT(r.out, HasSubstr("Already tracked: Photo Lab (1000000001)"));
  EXPECT_EQ(h.okJson({"app", "list"})[0]["isMine"], true);
}

TEST_F(WatchlistCliTest, SeveralResultsAreListedInStoreOrderUntilOneIsPicked) {
  auto r = tovra({"app", "add", "photo", "--country", "us"});
  EXPECT_EQ(r.exitCode, 1) << describe(r);
  EXPECT_EQ(r.out,
            "#  App             Developer  Id\n"
            "1  Photo Lab Lite  Other Co   1000000002\n"
            "2  Photo Lab       Lab Works  1000000001\n"
            "3  Snapper         Snap Inc   1000000003\n");
  EXPECT_THAT(r.err, HasSubstr("--pick"));
  EXPECT_TRUE(trackedIds().empty());

  r = h.ok({"app", "add", "photo", "--country", "us", "--pick", "2"});
  EXPECT_EQ(trackedIds(), std::vector<std::string>{"1000000001"});
  r = tovra({"app", "add", "photo", "--country", "us", "--pick", "4"});
  EXPECT_EQ(r.exitCode, 2) << describe(r);
}

TEST_F(WatchlistCliTest, ANameTheStoreDoesNotKnowOffersTheCountryRetry) {
  const auto r = tovra({"app", "add", "Nothing Like It", "--country", "us"});
  EXPECT_EQ(r.exitCode, 1);
  EXPECT_EQ(r.err,
            "No matching app was found in the United States\nNames differ per country. Try another country, or paste "
            "the App Store link or bundle ID — they find the app whatever its local name.\n");
}

TEST_F(WatchlistCliTest, KeywordsFromAPastedListWithTheNotice) {
  h.ok({"app", "add", "1000000001", "--country", "us"});
  auto r =
      h.ok({"keywords", "add", "1000000001", "--country", "us", "photo editor, collage\nPhoto  Editor", "filters"});
  EXPECT_EQ(r.out,
            "Added 3 keywords to Photo Lab in US:\n  photo editor\n  collage\n  filters\n"
            "1 repeated in what you pasted\n");
  r = h.ok({"--json", "keywords", "add", "1000000001", "--country", "US", "COLLAGE;stickers;stickers"});
  const auto answer = json::parse(r.out);
  EXPECT_EQ(answer["notice"], "1 already added · 1 repeated in what you pasted");
  ASSERT_EQ(answer["added"].size(), 1u);
  EXPECT_EQ(answer["added"][0]["keyword"], "stickers");
  EXPECT_EQ(answer["added"][0]["provenance"], "typedByUser");
  EXPECT_EQ(answer["added"][0]["space"], nullptr);
  EXPECT_EQ(h.okJson({"keywords", "list", "1000000001"}).size(), 4u);
}

const std::string kLong(101, 'a');

// `count` keywords separated by commas, then `extra`.
std::string keywordList(int count, const std::string& extra = "") {
  std::string text;
  for (int i = 0; i < count; ++i) {
    text += "keyword " + std::to_string(i) + ",";
  }
  return text + extra;
}

struct PartialPasteCase {
  const char* name;
  std::vector<std::string> command;  // up to the keyword text
  std::string text;
  std::string heading;
  std::string notice;
};
void PrintTo(const PartialPasteCase& c, std::ostream* os) {
  *os << c.name;
}

class PartialPasteTest : public WatchlistCliTest, public ::testing::WithParamInterface<PartialPasteCase> {};

// A paste follows keyword entry: what is accepted is added, what was dropped is told in the notice, and
// only a paste of which nothing could be added fails.
TEST_P(PartialPasteTest, AddsWhatIsAcceptedAndReportsWhatWasDropped) {
  h.ok({"app", "add", "1000000001", "--country", "us"});
  h.ok({"space", "create", "Trips"});
  const auto& c = GetParam();
  auto args = c.command;
  args.push_back(c.text);
  const auto r = h.ok(args);
  EXPECT_TRUE(r.out.starts_with(c.heading + "\n  keyword 0\n")) << r.out;
  EXPECT_TRUE(r.out.ends_with("\n" + c.notice + "\n")) << r.out;
  EXPECT_EQ(r.err, "");
}

INSTANTIATE_TEST_SUITE_P(Pastes, PartialPasteTest,
                         ::testing::Values(PartialPasteCase{"TwelveWithOneTooLong",
                                                            {"keywords", "add", "1000000001", "--country", "us"},
                                                            keywordList(11, kLong),
                                                            "Added 11 keywords to Photo Lab in US:",
                                                            "1 longer than 100 characters"},
                                           PartialPasteCase{"SixtyOverTheLimit",
                                                            {"keywords", "add", "1000000001", "--country", "us"},
                                                            keywordList(60),
                                                            "Added 50 keywords to Photo Lab in US:",
                                                            "10 over the 50-keyword limit"},
                                           PartialPasteCase{"ParkedInASpace",
                                                            {"space", "park", "Trips", "--country", "us"},
                                                            keywordList(2, kLong),
                                                            "Added 2 keywords to the research space “Trips” in US:",
                                                            "1 longer than 100 characters"}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(WatchlistCliTest, APartialPasteInJsonCountsWhatWasDropped) {
  h.ok({"app", "add", "1000000001", "--country", "us"});
  const auto answer =
      h.okJson({"keywords", "add", "1000000001", "--country", "us", keywordList(11, kLong + ",keyword 3")});
  EXPECT_EQ(answer["added"].size(), 11u);
  EXPECT_EQ(answer["tooLong"], 1);
  EXPECT_EQ(answer["repeated"], 1);
  EXPECT_EQ(answer["notice"], "1 repeated in what you pasted · 1 longer than 100 characters");
  EXPECT_EQ(h.okJson({"keywords", "list", "1000000001"}).size(), 11u);
}

TEST_F(WatchlistCliTest, PauseResumeAndKeywordsList) {
  h.ok({"app", "add", "1000000001", "--country", "us"});
  h.ok({"keywords", "add", "1000000001", "--country", "us", "collage"});
  EXPECT_EQ(h.ok({"keywords", "pause", "1000000001", " Collage ", "--country", "us"}).out,
            "Paused “collage” in US for Photo Lab.\n");
  EXPECT_EQ(h.okJson({"keywords", "list"})[0]["isPaused"], true);
  EXPECT_EQ(h.ok({"keywords", "resume", "1000000001", "collage", "--country", "us"}).out,
            "Measuring “collage” in US for Photo Lab.\n");
  EXPECT_EQ(h.okJson({"keywords", "list"})[0]["isPaused"], false);
}

TEST_F(WatchlistCliTest, ASpaceParksKeywordsAndGraduatesKeepingTheAppsDuplicate) {
  h.ok({"app", "add", "1000000001", "--country", "us"});
  h.ok({"keywords", "add", "1000000001", "--country", "us", "maps"});
  h.ok({"space", "create", "  Trips  ", "--note", "for May"});
  h.ok({"space", "rename", "Trips", " Travel "});
  auto r = h.ok({"space", "park", "Travel", "--country", "us", "Maps, hiking"});
  r = h.ok({"space", "park", "Travel", "--country", "us", "hiking\ntrails"});
  EXPECT_THAT(r.out, HasSubstr("1 already added"));
  r = h.ok({"space", "graduate", "Travel", "1000000001", "--country", "us"});
  EXPECT_EQ(r.out,
            "Graduated the research space “Travel” to Photo Lab (1000000001) · 2 moved · 1 kept in the space\n"
            "  kept: “Maps” in US — Photo Lab already has it\n");
  const auto spaces = h.okJson({"space", "list"});
  ASSERT_EQ(spaces.size(), 1u);
  EXPECT_EQ(spaces[0]["name"], "Travel");
  EXPECT_EQ(spaces[0]["note"], "for May");
  EXPECT_EQ(spaces[0]["promotedToAppStoreId"], "1000000001");
  ASSERT_EQ(spaces[0]["queries"].size(), 1u);
  EXPECT_EQ(spaces[0]["queries"][0]["keyword"], "Maps");
  EXPECT_EQ(h.okJson({"keywords", "list", "1000000001"}).size(), 3u);
  EXPECT_THAT(h.ok({"space", "list"}).out,
              HasSubstr("no app is tracked · a research space never enters a measurement run"));
}

TEST_F(WatchlistCliTest, DeletionsAreListedAndCarriedOutOnlyWithYes) {
  h.ok({"app", "add", "1000000001", "--country", "us"});
  h.ok({"keywords", "add", "1000000001", "--country", "us", "collage, maps"});
  const auto before = state();
  const std::string plan =
      "Delete Photo Lab and its history\n"
      "1 app · 1 country name · 2 keywords\n"
      "Search results and store hints belong to a keyword in a country, not to your app — they stay, and signals "
      "keeps reading them. Delete everything clears them.\n"
      "This cannot be undone — there is no server copy.\n";
  auto r = h.ok({"app", "delete", "1000000001"});
  EXPECT_EQ(r.out, plan + "Nothing was deleted. Run the command again with --yes to delete.\n");
  EXPECT_EQ(state(), before);

  r = h.ok({"keywords", "delete", "1000000001", "maps", "--country", "us"});
  EXPECT_THAT(r.out, HasSubstr("Delete “maps” in US and its history\n1 keyword\n"));
  EXPECT_EQ(state(), before);
  h.ok({"keywords", "delete", "1000000001", "maps", "--country", "us", "--yes"});
  EXPECT_EQ(h.okJson({"keywords", "list"}).size(), 1u);

  r = h.ok({"app", "delete", "1000000001", "--yes"});
  EXPECT_THAT(r.out, HasSubstr("1 app · 1 country name · 1 keyword\n"));
  EXPECT_THAT(r.out, HasSubstr("Deleted.\n"));
  EXPECT_TRUE(trackedIds().empty());
}

TEST_F(WatchlistCliTest, DeleteEverythingInJson) {
  h.ok({"app", "add", "1000000001", "--country", "us"});
  h.ok({"space", "create", "Trips"});
  auto answer = h.okJson({"delete-everything"});
  EXPECT_EQ(answer["deleted"], false);
  EXPECT_EQ(answer["summary"], "1 app · 1 research space · 1 country name");
  EXPECT_EQ(answer["subject"]["kind"], "everything");
  EXPECT_EQ(answer["title"], "Delete everything");
  answer = h.okJson({"delete-everything", "--yes"});
  EXPECT_EQ(answer["deleted"], true);
  EXPECT_EQ(state(), (json{{"apps", json::array()}, {"spaces", json::array()}}));
  EXPECT_EQ(h.okJson({"delete-everything"})["summary"], "nothing to delete");
}

struct BadCase {
  const char* name;
  std::vector<std::string> args;
  int exitCode;
  std::string message;  // a part of stderr
};
void PrintTo(const BadCase& c, std::ostream* os) {
  *os << c.name;
}

class BadInputTest : public WatchlistCliTest, public ::testing::WithParamInterface<BadCase> {};

// A tracked app with one keyword and a space that graduated onto it, where every refusal is tried.
TEST_P(BadInputTest, GetsTheSystemsOwnWordsAndChangesNothing) {
  h.ok({"app", "add", "1000000001", "--country", "us"});
  h.ok({"keywords", "add", "1000000001", "--country", "us", "collage"});
  h.ok({"space", "create", "Trips"});
  h.ok({"space", "park", "Trips", "--country", "us", "hiking"});
  h.ok({"space", "create", "Moved"});
  h.ok({"space", "park", "Moved", "--country", "us", "maps"});
  h.ok({"space", "graduate", "Moved", "1000000001", "--country", "us"});
  const auto before = state();
  const auto& c = GetParam();
  const auto r = tovra(c.args);
  EXPECT_EQ(r.exitCode, c.exitCode) << describe(r);
  EXPECT_THAT(r.err, HasSubstr(c.message));
  EXPECT_EQ(state(), before);
}

INSTANTIATE_TEST_SUITE_P(
    Refusals, BadInputTest,
    ::testing::Values(
        BadCase{"BlankKeyword", {"keywords", "add", "1000000001", "--country", "us", " , \n "}, 1, "no keyword"},
        BadCase{"LongKeyword",
                {"keywords", "add", "1000000001", "--country", "us", kLong},
                1,
                "1 longer than 100 characters"},
        BadCase{"LongKeywordAlreadyAdded",
                {"keywords", "add", "1000000001", "--country", "us", "collage," + kLong},
                1,
                "1 already added · 1 longer than 100 characters\nNothing was added."},
        BadCase{
            "UnknownCountry", {"keywords", "add", "1000000001", "--country", "zz", "maps"}, 2, "unknown country 'zz'"},
        BadCase{"UnknownAppId", {"app", "add", "999999999", "--country", "us"}, 1, "no app with the id 999999999"},
        BadCase{"UntrackedAppId",
                {"keywords", "add", "1000000003", "--country", "us", "maps"},
                1,
                "No tracked app has the App Store id “1000000003”"},
        BadCase{"LinkToAnotherHost",
                {"app", "add", "https://example.com/app/id1000000001", "--country", "us"},
                1,
                "No matching app was found in the United States"},
        BadCase{"BlankInput",
                {"app", "add", "  ", "--country", "us"},
                1,
                "Enter an app name, App Store URL, numeric App Store ID, or bundle ID."},
        BadCase{"BlankRename", {"space", "rename", "Trips", "   "}, 1, "A research space needs a name."},
        BadCase{"PauseParked",
                {"keywords", "pause", "space:Trips", "hiking", "--country", "us"},
                1,
                "Only a measured keyword can be paused."},
        BadCase{"UnparkMeasured",
                {"space", "unpark", "Moved", "maps", "--country", "us"},
                1,
                "Only a keyword parked in a research space can be removed this way."},
        BadCase{"DeleteUnknownApp", {"app", "delete", "1000000002", "--yes"}, 1, "No tracked app"},
        BadCase{"DeleteUnknownSpace",
                {"space", "delete", "Nowhere", "--yes"},
                1,
                "There is no research space called “Nowhere”."},
        BadCase{"DeleteUnknownKeyword",
                {"keywords", "delete", "1000000001", "nope", "--country", "us", "--yes"},
                1,
                "“nope” in US is not a keyword of Photo Lab."},
        BadCase{"InvalidUtf8", {"space", "create", "Tr\xC3ps"}, 2, "not valid UTF-8"}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
