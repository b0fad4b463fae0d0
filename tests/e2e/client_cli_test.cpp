// search, hints and lookup run as the user runs them, over loopback HTTPS against the fake store: what
// goes out on the wire, what comes back on the screen, and how each failure reads.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <thread>

#include "AsoKit/shared_pacing.h"
#include "tests/e2e/harness.h"

namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using tovra::e2e::describe;
using tovra::e2e::Harness;
using tovra::e2e::RunResult;

json scenario() {
  return {{"apps",
           {{"6443120871",
             {{"name", "Lumen – Photo Editor"},
              {"developer", "Brightside Labs"},
              {"bundleId", "com.brightside.lumen"},
              {"ratingCount", 48210},
              {"averageRating", 4.7},
              {"artwork", "https://icons.invalid/a/512x512bb.jpg"}}},
            {"1584637209", {{"name", "Collage Studio"}, {"developer", "Tiles"}}}}},
          {"search",
           {{"us", {{"photo editor", {"6443120871", "1584637209", "999"}}, {"a&b=c#d%+1\nç", {"1584637209"}}}},
            {"tr", {{"fotoğraf", {"1584637209", "6443120871"}}}}}},
          {"hints",
           {{"us", {{"pho", {"photo editor", json{{"term", "photo booth"}, {"priority", 9000}}}}}},
            {"gb", {{"pho", {"photo editor", "photo collage"}}}}}},
          {"faults",
           {{{"path", "search"}, {"term", "gone"}, {"status", 404}},
            {{"path", "search"}, {"term", "odd"}, {"reshape", "no-bubbles"}},
            {{"path", "hints"}, {"term", "json"}, {"reshape", "not-plist"}},
            {{"path", "search"}, {"term", "slow"}, {"delayMs", 20000}}}}};
}

class ClientCliTest : public ::testing::Test {
 protected:
  Harness h{scenario(), {.https = true}};
};

TEST_F(ClientCliTest, SearchAsksOnceWithOnlyTheStorefrontHeaderThenLooksTheHeadUp) {
  const auto r = h.run({"--json", "search", "photo editor", "--country", "US", "--limit", "2"});
  ASSERT_EQ(r.exitCode, 0) << describe(r);
  const auto answer = json::parse(r.out);
  EXPECT_EQ(answer["resultCount"], 3);
  EXPECT_EQ(answer["country"], "US");
  ASSERT_EQ(answer["apps"].size(), 2u);
  EXPECT_EQ(answer["apps"][0]["name"], "Lumen – Photo Editor");
  EXPECT_EQ(answer["apps"][0]["iconURL"], "https://icons.invalid/a/128x128bb.webp");
  EXPECT_EQ(answer["apps"][0]["ratingCount"], 48210);
  EXPECT_EQ(answer["apps"][1]["ratingCount"], nullptr);  // unknown stays null, never 0
  for (const auto* key : {"bundleId", "iconURL", "averageRating"}) {
    ASSERT_TRUE(answer["apps"][1].contains(key)) << key;  // absent is written as null, never left out
    EXPECT_EQ(answer["apps"][1][key], nullptr) << key;
  }

  const auto requests = h.requests();
  ASSERT_EQ(requests.size(), 2u);
  const auto& search = requests[0];
  EXPECT_EQ(search.endpoint, "search");
  EXPECT_EQ(search.query, "clientApplication=Software&media=software&term=photo%20editor");
  EXPECT_EQ(search.header("X-Apple-Store-Front"), "143441,29");
  for (const auto& request : requests) {
    EXPECT_FALSE(request.header("User-Agent")) << request.path;
    EXPECT_FALSE(request.header("Accept")) << request.path;
    EXPECT_FALSE(request.header("Accept-Encoding")) << request.path;
  }
  EXPECT_EQ(requests[1].query, "id=6443120871,1584637209&country=us&lang=en_us");
  EXPECT_FALSE(requests[1].header("X-Apple-Store-Front"));
  // One process never asks faster than 1.2 s. The fake store stamps a request when it has read it, so a
  // first request read late on a loaded machine shortens the measured gap by a few milliseconds.
  EXPECT_GE(requests[1].time - requests[0].time, 1.2 - 0.02);
  EXPECT_EQ(requests[0].remotePort, requests[1].remotePort);  // one connection, reused
}

TEST_F(ClientCliTest, ATermIsSentPercentEncodedAndCannotAlterTheRequest) {
  const auto r = h.run({"search", "a&b=c#d%+1\nç", "--country", "us"});
  ASSERT_EQ(r.exitCode, 0) << describe(r);
  const auto search = h.requests("search");
  ASSERT_EQ(search.size(), 1u);
  EXPECT_EQ(search[0].query, "clientApplication=Software&media=software&term=a%26b%3Dc%23d%25%2B1%0A%C3%A7");
  EXPECT_EQ(search[0].param("term"), "a&b=c#d%+1\nç");
  EXPECT_THAT(r.out, HasSubstr("Collage Studio"));
}

TEST_F(ClientCliTest, HumanSearchOutputListsStoreOrderWithDashesForUnknowns) {
  const auto r = h.run({"search", "fotoğraf", "--country", "tr"});
  ASSERT_EQ(r.exitCode, 0) << describe(r);
  EXPECT_THAT(r.out, HasSubstr("“fotoğraf” in TR · 2 results"));
  const auto collage = r.out.find("Collage Studio");
  const auto lumen = r.out.find("Lumen – Photo Editor");
  ASSERT_NE(collage, std::string::npos);
  EXPECT_LT(collage, lumen);
  EXPECT_THAT(r.out, HasSubstr("—"));
}

TEST_F(ClientCliTest, HintsKeepTheStoreOrderAndPriorities) {
  const auto r = h.run({"--json", "hints", "pho", "--country", "us"});
  ASSERT_EQ(r.exitCode, 0) << describe(r);
  const auto answer = json::parse(r.out);
  EXPECT_EQ(answer["carriesPriority"], true);
  EXPECT_EQ(answer["terms"][0], (json{{"position", 1}, {"term", "photo editor"}, {"priority", nullptr}}));
  EXPECT_EQ(answer["terms"][1]["priority"], 9000);
  EXPECT_THAT(answer["observedAt"].get<std::string>(),
              ::testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z"));
  const auto hints = h.requests("hints");
  ASSERT_EQ(hints.size(), 1u);
  EXPECT_EQ(hints[0].query, "clientApplication=Software&term=pho");
  EXPECT_EQ(hints[0].header("X-Apple-Store-Front"), "143441,29");

  const auto human = h.run({"hints", "pho", "--country", "gb"});
  ASSERT_EQ(human.exitCode, 0) << describe(human);
  EXPECT_THAT(human.out, HasSubstr("photo collage"));
}

TEST_F(ClientCliTest, LookupByIdsAndByBundleId) {
  const auto byIds = h.run({"--json", "lookup", "1584637209", "6443120871", "--country", "de"});
  ASSERT_EQ(byIds.exitCode, 0) << describe(byIds);
  const auto apps = json::parse(byIds.out);
  ASSERT_EQ(apps.size(), 2u);
  EXPECT_EQ(apps[1]["bundleId"], "com.brightside.lumen");
  EXPECT_EQ(h.requests("lookup")[0].query, "id=1584637209,6443120871&country=de&lang=de_de");

  const auto byBundle = h.run({"--json", "lookup", "--bundle-id", "com.brightside.lumen", "--country", "us"});
  ASSERT_EQ(byBundle.exitCode, 0) << describe(byBundle);
  EXPECT_EQ(json::parse(byBundle.out)["id"], "6443120871");  // one app, not a list
  EXPECT_EQ(h.requests("lookup")[1].query, "bundleId=com.brightside.lumen&country=us&lang=en_us");
  const auto noBundle = h.run({"--json", "lookup", "--bundle-id", "com.nobody.here", "--country", "us"});
  ASSERT_EQ(noBundle.exitCode, 1) << describe(noBundle);
  EXPECT_EQ(json::parse(noBundle.out)["exitStatus"], 1);

  const auto unknown = h.run({"lookup", "42424242", "--country", "us"});
  EXPECT_EQ(unknown.exitCode, 1) << describe(unknown);
  EXPECT_THAT(unknown.err, HasSubstr("The App Store has no app with the id 42424242"));
}

struct FailureCase {
  const char* name;
  std::vector<std::string> args;
  int exitCode;
  std::string stderrStart;
  std::size_t requests;
};

class ClientCliFailure : public ClientCliTest, public ::testing::WithParamInterface<FailureCase> {};

TEST_P(ClientCliFailure, PrintsTheErrorsOwnTextAndExits) {
  const auto& c = GetParam();
  const auto r = h.run(c.args);
  EXPECT_EQ(r.exitCode, c.exitCode) << describe(r);
  EXPECT_THAT(r.err, StartsWith(c.stderrStart)) << describe(r);
  EXPECT_TRUE(r.out.empty()) << describe(r);
  EXPECT_EQ(h.requests().size(), c.requests);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ClientCliFailure,
    ::testing::Values(
        FailureCase{"UnknownStorefront",
                    {"search", "x", "--country", "uk"},
                    2,
                    "--country: unknown country 'uk' — did you mean gb?\ntovra countries lists the 27 codes",
                    0},
        FailureCase{"EmptyStorefront",
                    {"hints", "x", "--country", ""},
                    2,
                    "--country: unknown country '' — not one of the 27 App Store countries",
                    0},
        // The client's own words follow one plain line that says what happened and what to do.
        FailureCase{"NotFoundIsNotRetried",
                    {"search", "gone", "--country", "us"},
                    1,
                    "The App Store answered with an error; try again later.\nHTTP 404 — https://127.0.0.1:",
                    1},
        FailureCase{"ReshapedSearch",
                    {"search", "odd", "--country", "us"},
                    1,
                    "The App Store's answer could not be read; try again later.\ncevap şekli tanınmadı: 'bubbles' yok "
                    "(uç değişmiş olabilir — sessiz sıfır döndürmüyorum)",
                    1},
        FailureCase{"JsonWhereAPlistBelongs",
                    {"hints", "json", "--country", "us"},
                    1,
                    "The App Store's answer could not be read; try again later.\n"
                    "cevap şekli tanınmadı: hints: kök plist sözlüğü değil",
                    1},
        FailureCase{"MissingCountryIsUsage", {"search", "x"}, 2, "--country is required", 0},
        FailureCase{"IdsAndBundleTogether",
                    {"lookup", "1", "--bundle-id", "a.b.c", "--country", "us"},
                    2,
                    "Give app ids or --bundle-id, not both.",
                    0},
        FailureCase{"NotAnId", {"lookup", "12x", "--country", "us"}, 1, "No tracked app is called “12x”", 0},
        FailureCase{
            "LookupWithoutIds", {"lookup", "--country", "us"}, 2, "Give the app ids to look up, or --bundle-id.\n", 0},
        FailureCase{"PickZero",
                    {"hints", "pho", "--country", "us", "--keep", "6443120871", "--pick", "0"},
                    2,
                    "--pick: “0” is not a hint's position: positions start at 1.\n",
                    0},
        FailureCase{"EmptyDataDir",
                    {"--data-dir", "", "search", "photo editor", "--country", "us"},
                    2,
                    "--data-dir: the folder name is empty: give a folder, or leave --data-dir out.\n",
                    0},
        FailureCase{"InvalidUtf8", {"search", "\xff\xfe", "--country", "us"}, 2, "The term is not valid UTF-8", 0}),
    [](const auto& info) { return std::string(info.param.name); });

// While the store holds requests back, every command that would ask it is refused with exit status 3
// and asks nothing.
class ClientCliDuringAHold : public ClientCliTest, public ::testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(ClientCliDuringAHold, ExitsThreeWithoutARequest) {
  asokit::SharedPacingFile(h.stateDir()).hold(std::chrono::system_clock::now() + std::chrono::seconds{900});
  for (const bool machine : {false, true}) {
    auto args = GetParam();
    if (machine) {
      args.insert(args.begin(), "--json");
    }
    const auto r = h.run(args);
    EXPECT_EQ(r.exitCode, 3) << describe(r);
    // A script that asked for JSON reads the error as JSON; a person reads it on stderr either way.
    if (machine) {
      EXPECT_EQ(json::parse(r.out)["exitStatus"], 3) << describe(r);
    } else {
      EXPECT_TRUE(r.out.empty()) << describe(r);
    }
    EXPECT_FALSE(r.err.empty()) << describe(r);
  }
  EXPECT_TRUE(h.requests().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Commands, ClientCliDuringAHold,
    ::testing::Values(std::vector<std::string>{"search", "photo editor", "--country", "us"},
                      std::vector<std::string>{"hints", "pho", "--country", "us"},
                      std::vector<std::string>{"lookup", "6443120871", "--country", "us"},
                      std::vector<std::string>{"lookup", "--bundle-id", "com.brightside.lumen", "--country", "us"}),
    [](const auto& info) { return info.param[0] + (info.param[1] == "--bundle-id" ? "Bundle" : ""); });

TEST_F(ClientCliTest, OneCtrlCEndsAOneOffSearchAtOnce) {
  // A search has nothing to keep, so it does not wait for the request in flight as a run does.
  auto search = h.start({"search", "slow", "--country", "us"});
  for (int i = 0; i < 200 && h.requests("search").empty(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(25));
  }
  ASSERT_EQ(h.requests("search").size(), 1u);
  search->signal(SIGINT);
  const auto r = search->wait(std::chrono::seconds(5));  // the fake store holds its answer for 20 s
  EXPECT_FALSE(r.timedOut);
  EXPECT_EQ(r.exitCode, 4) << describe(r);
}

TEST_F(ClientCliTest, NetworkFailuresReadClearly) {
  // Nothing listens on port 1 of loopback.
  const auto refused = h.run({"search", "x", "--country", "us"}, {.env = {{"TOVRA_SEARCH_URL", "http://127.0.0.1:1"}}});
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_THAT(refused.err, HasSubstr("Could not connect to 127.0.0.1 port 1"));

  // Plain http leaves this computer for nobody: refused before any traffic (not even a name look-up).
  const auto plain =
      h.run({"search", "x", "--country", "us"}, {.env = {{"TOVRA_SEARCH_URL", "http://search.invalid"}}});
  EXPECT_EQ(plain.exitCode, 1);
  EXPECT_THAT(plain.err, HasSubstr("Refusing plain http to search.invalid"));

  // Without the fake store's certificate the TLS handshake fails.
  const auto untrusted = h.run({"search", "x", "--country", "us"}, {.env = {{"TOVRA_CA_FILE", std::nullopt}}});
  EXPECT_EQ(untrusted.exitCode, 1);
  EXPECT_THAT(untrusted.err, HasSubstr("TLS"));
  EXPECT_TRUE(h.requests().empty());
}

}  // namespace
