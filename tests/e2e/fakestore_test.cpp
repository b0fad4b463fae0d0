// The fake store checked through the client's own transport and parsers: if these disagree with the
// store's real shapes, every end-to-end test built on the fake would be measuring the fake.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include "AsoKit/aso_error.h"
#include "AsoKit/lookup.h"
#include "AsoKit/search_hints.h"
#include "AsoKit/store_search.h"
#include "AsoKit/transport.h"
#include "tests/e2e/harness.h"

namespace {

using asokit::AsoError;
using nlohmann::json;
using tovra::e2e::Harness;
using tovra::e2e::Process;
using namespace std::chrono_literals;

const asokit::Headers kUs{{"X-Apple-Store-Front", "143441,29"}};

json apps() {
  json apps = json::object();
  for (int i = 1; i <= 10; ++i) {
    apps[std::to_string(1000000000 + i)] = {{"name", "App " + std::to_string(i)},
                                            {"developer", "Maker " + std::to_string(i)},
                                            {"bundleId", "com.maker.app" + std::to_string(i)},
                                            {"ratingCount", 100 * i},
                                            {"averageRating", 4.5}};
  }
  apps["1000000099"] = {{"name", "Unrated"}, {"developer", "Nobody"}};
  return apps;
}

std::vector<std::string> tenIds() {
  std::vector<std::string> ids;
  for (int i = 1; i <= 10; ++i) {
    ids.push_back(std::to_string(1000000000 + i));
  }
  return ids;
}

json scenario(const json& extra = json::object()) {
  json s = {{"apps", apps()},
            {"search",
             {{"us", {{"photo editor", {{"ids", tenIds()}, {"padTo", 40}}}, {"café & co+", {"1000000003"}}}},
              {"gb", {{"photo editor", {"1000000005", "1000000004"}}}}}},
            {"hints", {{"us", {{"pho", {"photo editor", {{"term", "photo booth"}, {"priority", 7}}}}}}}}};
  s.update(extra);
  return s;
}

class FakeStoreTest : public ::testing::Test {
 protected:
  explicit FakeStoreTest(const json& extra = json::object()) : store_(scenario(extra)) {}

  asokit::HttpResponse get(const std::string& url, const asokit::Headers& headers = kUs) {
    return transport_->fetch(url, headers, {});
  }
  std::string searchUrl(std::string_view term) const { return asokit::store_search::url(store_.baseUrl(), term); }

  Harness store_;
  std::unique_ptr<asokit::HTTPTransport> transport_ = asokit::makeCurlTransport({});
};

TEST_F(FakeStoreTest, SearchAnswersInStoreOrderWithNamesForTheHeadOnly) {
  const auto response = get(searchUrl("photo editor"));
  ASSERT_EQ(response.status, 200);
  const auto result = asokit::store_search::parse(response.body);
  ASSERT_EQ(result.orderedIds.size(), 40u);
  EXPECT_EQ(std::vector<std::string>(result.orderedIds.begin(), result.orderedIds.begin() + 10), tenIds());
  EXPECT_EQ(result.names.size(), 8u);
  EXPECT_EQ(result.names.at("1000000001"), "App 1");
  EXPECT_EQ(result.names.count("1000000009"), 0u);
}

TEST_F(FakeStoreTest, SearchIsKeyedByTheStorefrontHeader) {
  const auto gb =
      asokit::store_search::parse(get(searchUrl("photo editor"), {{"X-Apple-Store-Front", "143444,29"}}).body);
  EXPECT_EQ(gb.orderedIds, (std::vector<std::string>{"1000000005", "1000000004"}));
  const auto de = get(searchUrl("photo editor"), {{"X-Apple-Store-Front", "143443,29"}});
  EXPECT_EQ(de.status, 200);
  EXPECT_TRUE(asokit::store_search::parse(de.body).orderedIds.empty());
  EXPECT_EQ(get(searchUrl("photo editor"), {}).status, 400);
}

TEST_F(FakeStoreTest, HintsAreAPropertyListInOrder) {
  const auto result = asokit::search_hints::parse(get(asokit::search_hints::url(store_.baseUrl(), "pho")).body);
  ASSERT_EQ(result.terms.size(), 2u);
  EXPECT_EQ(result.terms[0].term, "photo editor");
  EXPECT_EQ(result.terms[0].priority, std::nullopt);
  EXPECT_EQ(result.terms[1].position, 2);
  EXPECT_EQ(result.terms[1].priority, 7);
}

TEST_F(FakeStoreTest, LookupAnswersKnownIdsInTheOrderAsked) {
  const auto url = asokit::lookup::idsUrl(store_.baseUrl(), {"1000000002", "5", "1000000099"}, "us");
  const auto found = asokit::lookup::parse(get(url, {}).body);
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(found[0].id, "1000000002");
  EXPECT_EQ(found[0].developer, "Maker 2");
  EXPECT_EQ(found[0].userRatingCount, 200);
  EXPECT_EQ(found[1].name, "Unrated");
  EXPECT_EQ(found[1].userRatingCount, std::nullopt);
  const auto byBundle =
      asokit::lookup::parse(get(asokit::lookup::bundleUrl(store_.baseUrl(), "com.maker.app7", "tr"), {}).body);
  ASSERT_EQ(byBundle.size(), 1u);
  EXPECT_EQ(byBundle[0].id, "1000000007");
}

// The offline demo's icons: a PNG per artwork address, the same one every time, and no store request.
TEST_F(FakeStoreTest, ArtworkAddressesAnswerWithAnIconOfTheirOwn) {
  const auto first = get(store_.baseUrl() + "/image/thumb/Purple/v4/1/512x512bb.jpg", {});
  const auto again = get(store_.baseUrl() + "/image/thumb/Purple/v4/1/512x512bb.jpg", {});
  const auto other = get(store_.baseUrl() + "/image/thumb/Purple/v4/2/512x512bb.png", {});
  EXPECT_EQ(first.status, 200);
  EXPECT_EQ(first.body.substr(0, 8), std::string("\x89PNG\r\n\x1a\n", 8));
  EXPECT_EQ(first.body.substr(12, 4), "IHDR");
  EXPECT_EQ(first.body.substr(first.body.size() - 8, 4), "IEND");
  EXPECT_EQ(first.body, again.body);
  EXPECT_NE(first.body, other.body);
  EXPECT_EQ(get(store_.baseUrl() + "/image/thumb/not-an-image", {}).status, 404);
  // Only the path that is not an icon reached the store's log.
  ASSERT_EQ(store_.requests().size(), 1u);
  EXPECT_EQ(store_.requests()[0].path, "/image/thumb/not-an-image");
}

TEST_F(FakeStoreTest, LogsEveryRequestAsItArrived) {
  const std::string url = searchUrl("café & co+");
  const double before = std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  EXPECT_EQ(asokit::store_search::parse(get(url).body).orderedIds, std::vector<std::string>{"1000000003"});
  get(asokit::lookup::idsUrl(store_.baseUrl(), {"1000000001"}, "us"), {});

  const auto log = store_.requests();
  ASSERT_EQ(log.size(), 2u);
  EXPECT_EQ(log[0].path, "/WebObjects/MZStore.woa/wa/search");
  EXPECT_EQ(log[0].query, url.substr(url.find('?') + 1));
  EXPECT_EQ(log[0].params, (std::vector<std::pair<std::string, std::string>>{
                               {"clientApplication", "Software"}, {"media", "software"}, {"term", "café & co+"}}));
  EXPECT_EQ(log[0].header("x-apple-store-front"), "143441,29");
  EXPECT_EQ(log[0].header("User-Agent"), std::nullopt);
  EXPECT_EQ(log[0].country, "us");
  EXPECT_EQ(log[0].number, 1);
  EXPECT_NEAR(log[0].time, before, 5.0);
  EXPECT_EQ(log[1].endpoint, "lookup");
  EXPECT_EQ(log[1].number, 2);
  EXPECT_GE(log[1].time, log[0].time);
  EXPECT_EQ(store_.requests("lookup").size(), 1u);
}

class FaultsTest : public FakeStoreTest {
 protected:
  FaultsTest()
      : FakeStoreTest({{"faults",
                        {{{"path", "search"}, {"term", "flaky"}, {"status", 503}, {"times", 1}},
                         {{"path", "search"}, {"term", "later"}, {"skip", 1}, {"status", 429}},
                         {{"path", "search"}, {"term", "half"}, {"truncate", true}},
                         {{"path", "search"}, {"term", "cut"}, {"hangUp", true}},
                         {{"path", "search"}, {"term", "reshaped"}, {"reshape", "no-bubbles"}},
                         {{"path", "search"}, {"term", "nested"}, {"reshape", "page-data"}},
                         {{"path", "hints"}, {"country", "gb"}, {"body", "{}"}, {"contentType", "application/json"}},
                         {{"path", "search"}, {"term", "slow"}, {"delayMs", 5000}}}}}) {}
};

TEST_F(FaultsTest, AStatusFaultFiresAsOftenAsAsked) {
  EXPECT_EQ(get(searchUrl("flaky")).status, 503);
  EXPECT_EQ(get(searchUrl("flaky")).status, 200);
  EXPECT_EQ(get(searchUrl("later")).status, 200);
  EXPECT_EQ(get(searchUrl("later")).status, 429);
  EXPECT_EQ(get(searchUrl("later")).status, 429);
  const auto log = store_.requests();
  EXPECT_EQ(log[0].fault, "0");
  EXPECT_EQ(log[1].fault, std::nullopt);
  EXPECT_EQ(log[3].fault, "1");
}

TEST_F(FaultsTest, BrokenBodiesReachTheParser) {
  const auto expectShape = [&](const std::string& term, const std::string& detail) {
    try {
      asokit::store_search::parse(get(searchUrl(term)).body);
      ADD_FAILURE() << term << " parsed";
    } catch (const AsoError& error) {
      EXPECT_EQ(error, AsoError::shapeChanged(detail)) << term;
    }
  };
  expectShape("half", "kök JSON nesnesi değil");
  expectShape("reshaped", "'bubbles' yok");
  EXPECT_EQ(asokit::store_search::parse(get(searchUrl("nested")).body).orderedIds, std::vector<std::string>{});
  EXPECT_THROW(
      asokit::search_hints::parse(
          get(asokit::search_hints::url(store_.baseUrl(), "pho"), {{"X-Apple-Store-Front", "143444,29"}}).body),
      AsoError);
}

TEST_F(FaultsTest, AHangUpIsATransportFailure) {
  EXPECT_THROW(get(searchUrl("cut")), asokit::TransportError);
}

TEST_F(FaultsTest, ADelayHoldsTheAnswerBack) {
  asokit::CurlTransportOptions options;
  options.timeout = 1s;
  EXPECT_THROW(asokit::makeCurlTransport(options)->fetch(searchUrl("slow"), kUs, {}), asokit::TransportError);
  EXPECT_EQ(store_.requests().size(), 1u);
}

class StormTest : public FakeStoreTest {
 protected:
  StormTest() : FakeStoreTest({{"storm403AfterRequests", 2}, {"stormLength", 2}}) {}
};

TEST_F(StormTest, AnswersForbiddenAfterTheGivenNumberOfRequests) {
  std::vector<long> statuses;
  statuses.reserve(5);
  for (int i = 0; i < 5; ++i) {
    statuses.push_back(get(i % 2 ? asokit::lookup::idsUrl(store_.baseUrl(), {"1"}, "us") : searchUrl("x"),
                           i % 2 ? asokit::Headers{} : kUs)
                           .status);
  }
  EXPECT_EQ(statuses, (std::vector<long>{200, 200, 403, 403, 200}));
  EXPECT_EQ(store_.requests().at(2).fault, "storm");
}

TEST(FakeStoreHttps, ServesWithTheCertificateItWrote) {
  Harness store(scenario(), {.https = true});
  ASSERT_THAT(store.baseUrl(), ::testing::StartsWith("https://127.0.0.1:"));
  asokit::CurlTransportOptions trusting;
  trusting.extraCaFile = store.caFile();
  const auto response =
      asokit::makeCurlTransport(trusting)->fetch(asokit::store_search::url(store.baseUrl(), "photo editor"), kUs, {});
  EXPECT_EQ(asokit::store_search::parse(response.body).orderedIds.size(), 40u);
  EXPECT_THROW(asokit::makeCurlTransport({})->fetch(store.baseUrl() + "/lookup?id=1", {}, {}), asokit::TransportError);
}

struct BadScenario {
  const char* name;
  const char* json;
  const char* message;
};

class ScenarioRefused : public ::testing::TestWithParam<BadScenario> {};

TEST_P(ScenarioRefused, WithWhereAndWhy) {
  const std::filesystem::path file = std::filesystem::temp_directory_path() / ("tovra-bad-" + std::to_string(getpid()));
  std::ofstream(file) << GetParam().json;
  Process check(Harness::fakestorePath(), {"--check", "--scenario", file.string()}, {});
  const auto result = check.wait(10s);
  std::filesystem::remove(file);
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.err, "tovra-fakestore: " + file.string() + ": " + GetParam().message + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Scenarios, ScenarioRefused,
    ::testing::Values(
        BadScenario{"NotJson", "{", "the scenario is not valid JSON"},
        BadScenario{"UnknownKey", R"({"fault": []})",
                    "scenario: unknown key \"fault\" (known keys: apps, search, hints, faults, storm403AfterRequests, "
                    "stormLength, namedResults, comment)"},
        BadScenario{"AppWithoutName", R"({"apps": {"123": {"developer": "x"}}})",
                    "apps.\"123\": an app needs a \"name\""},
        BadScenario{"UnknownCountry", R"({"search": {"uk": {}}})",
                    "search.uk: \"uk\" is not a storefront country (lower-case codes such as us, gb, de, tr)"},
        BadScenario{"IdNotDigits", R"({"search": {"us": {"a": ["12x"]}}})",
                    "search.us.\"a\"[0]: an app id is a string of digits"},
        BadScenario{"FaultDoingNothing", R"({"faults": [{"path": "search"}]})",
                    "faults[0]: does nothing: give a status, delayMs, body, truncate, hangUp or reshape"},
        BadScenario{"ReshapeOfAnotherEndpoint", R"({"faults": [{"path": "lookup", "reshape": "no-bubbles"}]})",
                    "faults[0].reshape: unknown reshape \"no-bubbles\" for lookup (known: not-object, no-results)"}),
    [](const auto& info) { return std::string(info.param.name); });

// A scratch folder for tests that run the store binary by hand.
class ScratchDir final {
 public:
  ScratchDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tovra-fakestore-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
      throw std::runtime_error("mkdtemp failed");
    }
    path_ = pattern;
  }
  ~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

// The first line of `file` once one has been written in full.
std::string waitForLine(const std::string& file) {
  for (int i = 0; i < 2000; ++i) {
    std::ifstream in(file);
    std::string line;
    if (std::getline(in, line) && !in.eof()) {
      return line;
    }
    std::this_thread::sleep_for(5ms);
  }
  return {};
}

// A signal must end the store at once, even with an answer held back by a long delay.
TEST(FakeStoreLifecycle, StopsCleanlyOnASignalWithAnAnswerHeldBack) {
  const ScratchDir dir;
  std::ofstream(dir / "scenario.json") << scenario({{"faults", {{{"path", "lookup"}, {"delayMs", 60000}}}}}).dump();
  Process fake(Harness::fakestorePath(),
               {"--scenario", dir / "scenario.json", "--port-file", dir / "port", "--log", dir / "log"}, {});
  const std::string port = waitForLine(dir / "port");
  ASSERT_FALSE(port.empty());
  auto held = std::async(std::launch::async, [&] {
    try {
      asokit::makeCurlTransport({})->fetch("http://127.0.0.1:" + port + "/lookup?id=1", {}, {});
      return false;
    } catch (const asokit::TransportError&) {
      return true;
    }
  });
  ASSERT_FALSE(waitForLine(dir / "log").empty());

  fake.signal(SIGTERM);
  const auto result = fake.wait(5s);
  EXPECT_FALSE(result.timedOut);
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.err, ::testing::HasSubstr("stopped (TERM)"));
  ASSERT_EQ(held.wait_for(5s), std::future_status::ready);
  EXPECT_TRUE(held.get()) << "the held request was answered instead of cut off";
}

}  // namespace
