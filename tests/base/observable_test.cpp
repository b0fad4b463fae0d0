#include "app/base/observable.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tovra::base {
namespace {

TEST(Observable, EverySubscriberHearsEachChangeInTheOrderTheySubscribed) {
  Observable<std::string, int> changes;
  std::vector<std::string> heard;
  const auto first =
      changes.subscribe([&](const std::string& what, int n) { heard.push_back("a:" + what + std::to_string(n)); });
  const auto second =
      changes.subscribe([&](const std::string& what, int n) { heard.push_back("b:" + what + std::to_string(n)); });
  changes.notify("x", 1);
  changes.notify("y", 2);
  EXPECT_EQ(heard, (std::vector<std::string>{"a:x1", "b:x1", "a:y2", "b:y2"}));
}

TEST(Observable, ADroppedSubscriptionHearsNothingMoreAndTheOthersGoOn) {
  Observable<> changes;
  int a = 0;
  int b = 0;
  auto first = std::make_optional(changes.subscribe([&] { ++a; }));
  const auto second = changes.subscribe([&] { ++b; });
  changes.notify();
  first.reset();
  changes.notify();
  EXPECT_EQ(a, 1);
  EXPECT_EQ(b, 2);
  EXPECT_EQ(changes.subscriberCount(), 1U);
}

TEST(Observable, AMovedSubscriptionKeepsListeningAndAnAssignedOneEndsTheOldOne) {
  Observable<> changes;
  int a = 0;
  int b = 0;
  Subscription held = changes.subscribe([&] { ++a; });
  Subscription moved = std::move(held);
  changes.notify();
  moved = changes.subscribe([&] { ++b; });  // the first subscription ends here
  changes.notify();
  EXPECT_EQ(a, 1);
  EXPECT_EQ(b, 1);
  EXPECT_EQ(changes.subscriberCount(), 1U);
}

TEST(Observable, ASubscriptionEndedDuringANotificationIsNotCalledLaterInThatRound) {
  Observable<> changes;
  std::vector<std::string> heard;
  Subscription second;
  const auto first = changes.subscribe([&] {
    heard.emplace_back("first");
    second.reset();
  });
  second = changes.subscribe([&] { heard.emplace_back("second"); });
  changes.notify();
  EXPECT_EQ(heard, std::vector<std::string>{"first"});
}

TEST(Observable, ASubscriberMayEndItsOwnSubscriptionWhileItIsCalled) {
  Observable<> changes;
  int calls = 0;
  Subscription self;
  self = changes.subscribe([&] {
    ++calls;
    self.reset();
  });
  changes.notify();
  changes.notify();
  EXPECT_EQ(calls, 1);
}

TEST(Observable, ASubscriptionMadeDuringANotificationIsFirstCalledAtTheNextOne) {
  Observable<> changes;
  std::vector<std::string> heard;
  std::vector<Subscription> late;
  const auto first = changes.subscribe([&] {
    heard.emplace_back("first");
    if (late.empty()) {
      late.push_back(changes.subscribe([&] { heard.emplace_back("late"); }));
    }
  });
  changes.notify();
  changes.notify();
  EXPECT_EQ(heard, (std::vector<std::string>{"first", "first", "late"}));
}

// A view that closes the model it watches, from inside the model's notification.
struct Model {
  Observable<> changes;
};

TEST(Observable, ASubscriberMayDestroyTheModelItWatches) {
  auto model = std::make_unique<Model>();
  int later = 0;
  const auto closing = model->changes.subscribe([&] { model.reset(); });
  const auto after = model->changes.subscribe([&] { ++later; });
  model->changes.notify();
  EXPECT_EQ(model, nullptr);
  EXPECT_EQ(later, 1);  // subscribed when the round began and never ended
}

TEST(Observable, ASubscriptionMayOutliveWhatItWatches) {
  Subscription outliving;
  {
    Observable<> changes;
    outliving = changes.subscribe([] {});
  }
  outliving.reset();
  outliving.reset();
  SUCCEED();
}

#ifndef NDEBUG
TEST(ObservableDeathTest, NotifyingFromAnotherThreadIsCaught) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  Observable<> changes;
  const auto watching = changes.subscribe([] {});
  EXPECT_DEATH(std::thread([&] { changes.notify(); }).join(), "");
  EXPECT_DEATH(std::thread([&] { (void)changes.subscribe([] {}); }).join(), "");
}
#endif

}  // namespace
}  // namespace tovra::base
