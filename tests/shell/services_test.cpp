#include "app/shell/services.h"

#include <date/tz.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "app/store/damage.h"
#include "app/store/session_marks.h"
#include "app/store/store.h"

namespace tovra::shell {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// Records what the client asks for and answers nothing useful: the wiring, not the parsing, is on test.
class RecordingTransport final : public asokit::HTTPTransport {
 public:
  explicit RecordingTransport(std::vector<std::string>& urls) : urls_(urls) {}
  asokit::HttpResponse fetch(const std::string& url, const asokit::Headers&, std::stop_token) override {
    urls_.push_back(url);
    return {"", 404};
  }

 private:
  std::vector<std::string>& urls_;
};

class ServicesTest : public ::testing::Test {
 protected:
  void TearDown() override { fs::remove_all(root); }

  Configuration configuration() const {
    Configuration c;
    c.endpoints = {"https://search.test", "https://lookup.test:8443"};
    c.extraCaFile = root / "fake-store.pem";
    c.dataDir = root / "data";
    c.stateDir = root / "state";
    c.timeZone = "Europe/Berlin";
    return c;
  }

  Services::Seams seams() {
    Services::Seams s;
    s.monotonic = &clock.monotonic();
    s.wall = &clock.wall();
    s.makeTransport = [this](asokit::CurlTransportOptions options) {
      transportOptions.push_back(options);
      return std::make_unique<RecordingTransport>(urls);
    };
    s.bootId = "boot-1";
    s.warn = [this](const std::string& text) { warnings.push_back(text); };
    return s;
  }

  fs::path root = fs::temp_directory_path() / ("tovra-services-" + std::to_string(::getpid()));
  asokit::VirtualClock clock;
  std::vector<asokit::CurlTransportOptions> transportOptions;
  std::vector<std::string> urls;
  std::vector<std::string> warnings;
};

TEST_F(ServicesTest, NothingIsOpenedUntilFirstUse) {
  Services services(configuration(), seams());
  EXPECT_FALSE(fs::exists(root / "data")) << "no store folder for a command that never reads the store";
  EXPECT_TRUE(transportOptions.empty()) << "no connection for a command that never asks the App Store";

  const auto& opening = services.openStore();
  ASSERT_NE(opening.store, nullptr);
  EXPECT_FALSE(opening.notice);
  EXPECT_TRUE(fs::exists(root / "data" / "default.store"));
  EXPECT_EQ(services.openStore().store, opening.store) << "one store per process";
}

TEST_F(ServicesTest, DamageMetWhileTheStoreWasOpenIsCheckedAtTheNextLaunchAfterACleanExit) {
  {
    Services services(configuration(), seams());
    store::noteDamage(*services.openStore().store);  // as a read that met a malformed page notes it
  }
  auto marks = store::SessionMarks::forThisProcess(root / "state", root / "data" / "default.store");
  EXPECT_TRUE(marks.damageNoted());
  EXPECT_TRUE(marks.checkDue());
}

TEST_F(ServicesTest, TheOneClientAsksTheConfiguredHostsWithTheExtraCertificate) {
  Services services(configuration(), seams());
  auto& client = services.client();
  EXPECT_EQ(&services.client(), &client);
  ASSERT_EQ(transportOptions.size(), 1u);
  EXPECT_EQ(transportOptions[0].extraCaFile, (root / "fake-store.pem").string());
  EXPECT_EQ(transportOptions[0].timeout, std::chrono::seconds(30));

  const auto start = clock.monoNow();
  EXPECT_ANY_THROW(client.search("chess", "us", 10));
  EXPECT_ANY_THROW(client.lookup({"284882215"}, "us"));
  ASSERT_EQ(urls.size(), 2u);
  EXPECT_THAT(urls[0], StartsWith("https://search.test/WebObjects/MZStore.woa/wa/search?"));
  EXPECT_THAT(urls[1], StartsWith("https://lookup.test:8443/lookup?"));
  EXPECT_EQ(clock.monoNow() - start, std::chrono::milliseconds(1200)) << "the client paces at 1.2 s whatever asked it";
  EXPECT_TRUE(warnings.empty());
}

TEST_F(ServicesTest, ARefusalHoldsEveryProcessSharingTheStateFolderOnce) {
  Services first(configuration(), seams());
  Services second(configuration(), seams());
  EXPECT_FALSE(second.requestGate().cooldownSecondsLeft());

  first.holdAfterRefusal();
  EXPECT_EQ(second.requestGate().cooldownSecondsLeft(), 900) << "the hold lives in the shared state folder";
  EXPECT_THAT(second.requestGate().hintsWaitReason().value_or(""), HasSubstr("15:00"));

  clock.advance(std::chrono::seconds(100));
  second.holdAfterRefusal();
  EXPECT_EQ(first.requestGate().cooldownSecondsLeft(), 800) << "a refusal during a hold does not extend it";
}

TEST_F(ServicesTest, ARunningMeasurementAnywhereHoldsResearchBack) {
  Services services(configuration(), seams());
  EXPECT_FALSE(services.requestGate().measurementRunning());
  const research::MeasurementPresence otherProcess(root / "state");
  const auto hold = otherProcess.hold();
  ASSERT_TRUE(hold);
  EXPECT_TRUE(services.presence().running());
  EXPECT_EQ(services.requestGate().hintsWaitReason(), std::string(research::waitText::kMeasurementRunning));
}

TEST_F(ServicesTest, AnUnusableStateFolderLeavesPacingToThisProcess) {
  fs::create_directories(root);
  std::ofstream(root / "state") << "a file where the folder should be";
  Services services(configuration(), seams());
  services.holdAfterRefusal();
  EXPECT_EQ(services.requestGate().cooldownSecondsLeft(), 900) << "the hold is still kept in this process";
  ASSERT_EQ(warnings.size(), 1u);
  EXPECT_THAT(warnings[0], HasSubstr("— this process paces only its own requests."));
}

struct ZoneCase {
  std::string name;
  std::optional<std::string> timeZone;
  std::string expected;  // empty: the system's own zone
};

class ServicesCalendar : public ::testing::TestWithParam<ZoneCase> {};

TEST_P(ServicesCalendar, IsTheUsersZoneWithFallbacks) {
  Configuration configuration;
  configuration.timeZone = GetParam().timeZone;
  configuration.stateDir = "/proc/no-such-folder";
  const Services services(configuration);
  const auto expected = GetParam().expected.empty() ? date::current_zone()->name() : GetParam().expected;
  EXPECT_EQ(services.calendar().zoneName(), expected);
  // The local stamps of backups and export names follow the same zone.
  const auto instant = asokit::WallTime{std::chrono::seconds{1'736'812'800}};  // 2025-01-14T00:00:00Z
  EXPECT_EQ(services.localTime().stamp(instant), store::LocalTimeFormat(expected).stamp(instant));
}

INSTANTIATE_TEST_SUITE_P(Cases, ServicesCalendar,
                         ::testing::Values(ZoneCase{"Named", "America/Sao_Paulo", "America/Sao_Paulo"},
                                           ZoneCase{"UnknownFallsBackToTheSystem", "Mars/Olympus", ""},
                                           ZoneCase{"Unset", std::nullopt, ""}),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace tovra::shell
