// Pacing between processes as the store's side of the wire sees it: a request whose answer is slow still
// holds the other processes until its process knows when it went out, and they count from then.

#include <gtest/gtest.h>

#include <thread>

#include "tests/e2e/harness.h"

namespace {

using nlohmann::json;
using tovra::e2e::describe;
using tovra::e2e::Harness;
using namespace std::chrono_literals;

TEST(PacingCli, AnotherProcessCountsFromWhenASlowlyAnsweredRequestWentOut) {
  Harness h(json{{"search", {{"us", {{"slow", {"1000000001"}}, {"quick", {"1000000002"}}}}}},
                 {"faults", {{{"path", "search"}, {"term", "slow"}, {"delayMs", 2500}}}}});
  auto slow = h.start({"search", "slow", "--country", "us", "--limit", "0"});
  // The second process starts once the store holds the first request's answer back.
  const auto deadline = std::chrono::steady_clock::now() + 20s;
  while (h.requests().empty() && std::chrono::steady_clock::now() < deadline && !slow->ended()) {
    std::this_thread::sleep_for(2ms);
  }
  const auto quick = h.run({"search", "quick", "--country", "us", "--limit", "0"});
  EXPECT_EQ(quick.exitCode, 0) << describe(quick);
  const auto first = slow->wait(30s);
  EXPECT_EQ(first.exitCode, 0) << describe(first);

  const auto requests = h.requests();
  ASSERT_EQ(requests.size(), 2u);
  EXPECT_EQ(requests[0].param("term"), "slow");
  ASSERT_TRUE(requests[0].firstByte && requests[1].firstByte);
  EXPECT_GE(*requests[1].firstByte - *requests[0].firstByte, 1.2);
}

}  // namespace
