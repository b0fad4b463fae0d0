#include "app/base/off_main.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/held_requests.h"
#include "support/manual_queue.h"

namespace tovra::base {
namespace {

using tovra::testing::HeldRequests;
using tovra::testing::ManualQueue;

// A model that asks one thing at a time, as the research models do.
struct Asker {
  explicit Asker(ManualQueue& queue) : requests(queue) {}

  void ask(std::string question) {
    requests.start<std::string>(
        [this, question](std::stop_token stop) {
          requestThreads.push_back(std::this_thread::get_id());
          const bool released = held.hold(stop);
          if (question == "bad") {
            throw std::runtime_error("the store said no");
          }
          // A request that was stopped still comes back, as a late answer would.
          return question + (released ? "!" : " (stopped)");
        },
        [this](Answer<std::string> answer) {
          finishThreads.push_back(std::this_thread::get_id());
          try {
            answers.push_back(answer.take());
          } catch (const std::exception& error) {
            answers.push_back(std::string("failed: ") + error.what());
          }
        });
  }

  HeldRequests held;
  std::vector<std::thread::id> requestThreads;
  std::vector<std::thread::id> finishThreads;
  std::vector<std::string> answers;
  OffMainRequests requests;  // last, so the worker stops before the rest goes
};

TEST(OffMainRequests, TheRequestRunsOnAWorkerWhileTheMainThreadTurnsAndItsAnswerComesBackThere) {
  ManualQueue queue;
  Asker asker(queue);
  asker.ask("rank?");
  asker.held.waitForArrivals(1);
  EXPECT_TRUE(asker.requests.busy());
  // The main thread is free: it runs other work while the request is held.
  bool ran = false;
  queue.post([&] { ran = true; });
  queue.drain();
  EXPECT_TRUE(ran);
  EXPECT_TRUE(asker.answers.empty());

  asker.held.release();
  queue.runUntil([&] { return !asker.answers.empty(); });
  EXPECT_EQ(asker.answers, std::vector<std::string>{"rank?!"});
  EXPECT_FALSE(asker.requests.busy());
  EXPECT_NE(asker.requestThreads.at(0), std::this_thread::get_id());
  EXPECT_EQ(asker.finishThreads.at(0), std::this_thread::get_id());
}

TEST(OffMainRequests, AFailureTravelsInTheAnswerToTheMainThread) {
  ManualQueue queue;
  Asker asker(queue);
  asker.held.release();
  asker.ask("bad");
  queue.runUntil([&] { return !asker.answers.empty(); });
  EXPECT_EQ(asker.answers, std::vector<std::string>{"failed: the store said no"});
}

TEST(OffMainRequests, ANewerRequestCancelsTheOneInFlightAndOnlyItsAnswerIsDelivered) {
  ManualQueue queue;
  Asker asker(queue);
  asker.ask("first");
  asker.held.waitForArrivals(1);
  asker.ask("second");  // stops the first, whose late answer must not land
  asker.held.waitForArrivals(2);
  asker.held.release(2);
  queue.runUntil([&] { return !asker.answers.empty(); });
  queue.drain();
  EXPECT_EQ(asker.answers, std::vector<std::string>{"second!"});
}

TEST(OffMainRequests, CancellingDropsTheAnswer) {
  ManualQueue queue;
  Asker asker(queue);
  asker.ask("first");
  asker.held.waitForArrivals(1);
  asker.requests.cancel();
  EXPECT_FALSE(asker.requests.busy());
  asker.ask("second");
  asker.held.waitForArrivals(2);
  asker.held.release(2);
  queue.runUntil([&] { return !asker.answers.empty(); });
  EXPECT_EQ(asker.answers, std::vector<std::string>{"second!"});
}

TEST(OffMainRequests, DestroyingItMidRequestStopsTheRequestAndDeliversNothing) {
  ManualQueue queue;
  auto asker = std::make_unique<Asker>(queue);
  bool delivered = false;
  asker->requests.start<int>(
      [&held = asker->held](std::stop_token stop) {
        EXPECT_FALSE(held.hold(stop)) << "the request was let go rather than stopped";
        return 1;
      },
      [&](Answer<int>) { delivered = true; });
  asker->held.waitForArrivals(1);
  asker.reset();  // returns only once the held request has seen its stop
  queue.drain();
  EXPECT_FALSE(delivered);
}

TEST(OffMainRequests, AnAnswerPostedBeforeTheOwnerWentIsDropped) {
  ManualQueue queue;
  auto asker = std::make_unique<Asker>(queue);
  asker->held.release();
  asker->ask("late");
  // Wait for the answer to be posted, without running it.
  while (queue.pending() == 0) {
    std::this_thread::yield();
  }
  asker.reset();
  EXPECT_EQ(queue.drain(), 1);  // the posted answer runs and finds no owner
}

}  // namespace
}  // namespace tovra::base
