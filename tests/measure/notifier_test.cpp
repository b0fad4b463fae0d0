#include <gtest/gtest.h>

#include <map>
#include <thread>

#include "app/measure/tovra_notifier.h"
#include "measure/fakes.h"

namespace tovra::measure {
namespace {

using Kind = TovraNotifier::Availability::Kind;
using Authorization = NotificationCentering::Authorization;

class MemorySettings final : public SettingsStore {
 public:
  std::optional<bool> boolValue(std::string_view key) const override {
    const auto found = values.find(std::string(key));
    return found == values.end() ? std::nullopt : std::optional(found->second);
  }
  void setBool(std::string_view key, bool value) override { values[std::string(key)] = value; }
  std::map<std::string, bool> values;
};

// Keeps the notifier's questions until the test answers them, as the platform answers later.
class FakeCenter final : public NotificationCentering {
 public:
  void authorization(AuthorizationFn done) override { authorizationAsked.push_back(std::move(done)); }
  void requestAuthorization(RequestFn done) override { permissionAsked.push_back(std::move(done)); }
  void post(const NotificationContent& content, PostFn done) override {
    posted.push_back(content);
    postDone.push_back(std::move(done));
  }

  std::vector<AuthorizationFn> authorizationAsked;
  std::vector<RequestFn> permissionAsked;
  std::vector<NotificationContent> posted;
  std::vector<PostFn> postDone;
};

struct NotifierRig {
  testing::ManualQueue queue;
  MemorySettings settings;
  FakeCenter* center = nullptr;
  int made = 0;
  std::unique_ptr<TovraNotifier> notifier;

  void make() {
    notifier = std::make_unique<TovraNotifier>(queue, settings, [this] {
      ++made;
      auto owned = std::make_unique<FakeCenter>();
      center = owned.get();
      return owned;
    });
  }
};

RunReport haltedReport() {
  RunReport report;
  report.ending = RunReport::Ending::halted;
  report.measured = 2;
  report.queryCount = 5;
  report.failed = 3;
  report.source = "appstore";
  return report;
}

TEST(TovraNotifier, TheSwitchIsKeptInTheSettings) {
  NotifierRig rig;
  rig.make();
  EXPECT_FALSE(rig.notifier->isEnabled());
  EXPECT_EQ(rig.made, 0);  // the center is made on first use only
  rig.notifier->setEnabled(true);
  EXPECT_EQ(rig.settings.values.at("notifications.enabled"), true);

  rig.make();
  EXPECT_TRUE(rig.notifier->isEnabled());
}

TEST(TovraNotifier, TurningOnAsksOnceAndAGrantLetsRunsBePosted) {
  NotifierRig rig;
  rig.make();
  rig.notifier->setEnabled(true);
  ASSERT_EQ(rig.center->permissionAsked.size(), 1u);
  EXPECT_TRUE(rig.notifier->isRequesting());
  rig.notifier->requestPermission();  // a second ask while one is in flight does nothing
  EXPECT_EQ(rig.center->permissionAsked.size(), 1u);

  // The platform answers from its own thread; the state changes only on the main thread.
  std::thread([&] { rig.center->permissionAsked[0](true, std::nullopt); }).join();
  EXPECT_TRUE(rig.notifier->isRequesting());
  rig.queue.drain();
  EXPECT_FALSE(rig.notifier->isRequesting());
  EXPECT_EQ(rig.notifier->availability().kind, Kind::available);

  rig.notifier->handle(haltedReport(), {});
  ASSERT_EQ(rig.center->posted.size(), 1u);
  EXPECT_EQ(rig.center->posted[0].title, "Measurement halted");
  EXPECT_EQ(rig.center->posted[0].body, "2 of 5 measured · 3 not measured · Apple paused requests · source: appstore");
}

TEST(TovraNotifier, NothingIsPostedWhenSwitchedOffOrDenied) {
  NotifierRig rig;
  rig.make();
  rig.notifier->handle(haltedReport(), {});
  EXPECT_EQ(rig.made, 0);

  rig.notifier->setEnabled(true);
  rig.center->permissionAsked[0](false, std::nullopt);
  rig.queue.drain();
  EXPECT_EQ(rig.notifier->availability().kind, Kind::denied);
  rig.notifier->handle(haltedReport(), {});
  EXPECT_TRUE(rig.center->posted.empty());
}

TEST(TovraNotifier, TheFirstReportAfterSwitchingOnWaitsForThePermission) {
  NotifierRig rig;
  rig.settings.values["notifications.enabled"] = true;
  rig.make();
  rig.notifier->handle(haltedReport(), {});
  ASSERT_EQ(rig.center->permissionAsked.size(), 1u);
  EXPECT_TRUE(rig.center->posted.empty());
  rig.center->permissionAsked[0](true, std::nullopt);
  rig.queue.drain();
  EXPECT_EQ(rig.center->posted.size(), 1u);
}

TEST(TovraNotifier, FailuresAreKeptAsText) {
  NotifierRig rig;
  rig.make();
  rig.notifier->setEnabled(true);
  EXPECT_EQ(rig.notifier->stateLine(), "unknown · asking…");
  rig.center->permissionAsked[0](false, std::string("The notification service did not answer."));
  rig.queue.drain();
  EXPECT_EQ(rig.notifier->availability().kind, Kind::unknown);  // may be asked again
  EXPECT_EQ(rig.notifier->lastErrorDetail(), "The notification service did not answer.");
  EXPECT_EQ(rig.notifier->stateLine(), "unknown · The notification service did not answer.");

  rig.notifier->requestPermission();
  rig.center->permissionAsked[1](true, std::nullopt);
  rig.queue.drain();
  rig.notifier->handle(haltedReport(), {});
  rig.center->postDone[0](std::string("org.freedesktop.Notifications is not running"));
  rig.queue.drain();
  EXPECT_EQ(rig.notifier->lastErrorDetail(), "org.freedesktop.Notifications is not running");
}

TEST(TovraNotifier, WithoutACenterNotificationsAreUnavailable) {
  testing::ManualQueue queue;
  MemorySettings settings;
  TovraNotifier notifier(queue, settings, [] { return std::unique_ptr<NotificationCentering>(); });
  notifier.setEnabled(true);
  EXPECT_EQ(notifier.availability(),
            (TovraNotifier::Availability{Kind::unavailable, "Not available in this build of Tovra yet."}));
  EXPECT_FALSE(notifier.isRequesting());
  notifier.handle(haltedReport(), {});  // and nothing breaks
}

// A desktop whose notification service cannot be reached gives that as the reason, not a missing build.
TEST(TovraNotifier, ACenterThatCannotBeMadeGivesItsOwnReason) {
  testing::ManualQueue queue;
  MemorySettings settings;
  TovraNotifier notifier(queue, settings, []() -> std::unique_ptr<NotificationCentering> {
    throw std::runtime_error("No session bus: not connected");
  });
  notifier.setEnabled(true);
  EXPECT_EQ(notifier.availability(), (TovraNotifier::Availability{Kind::unavailable, "No session bus: not connected"}));
  EXPECT_EQ(notifier.lastErrorDetail(), "No session bus: not connected");
  EXPECT_EQ(notifier.stateLine(), "unavailable · No session bus: not connected");
  notifier.handle(haltedReport(), {});
}

TEST(TovraNotifier, AvailabilityFollowsThePlatform) {
  NotifierRig rig;
  rig.make();
  rig.notifier->refreshAvailability();
  rig.center->authorizationAsked[0](Authorization::authorized);
  rig.queue.drain();
  EXPECT_EQ(rig.notifier->availability().kind, Kind::available);
  rig.notifier->refreshAvailability();
  rig.center->authorizationAsked[1](Authorization::denied);
  rig.queue.drain();
  EXPECT_EQ(rig.notifier->availability().kind, Kind::denied);
}

TEST(TovraNotifier, AnAnswerAfterTheNotifierIsGoneIsDropped) {
  NotifierRig rig;
  rig.make();
  rig.notifier->setEnabled(true);
  auto answer = rig.center->permissionAsked[0];
  answer(true, std::nullopt);
  rig.notifier.reset();
  EXPECT_EQ(rig.queue.drain(), 1);  // ran, and touched nothing
}

}  // namespace
}  // namespace tovra::measure
