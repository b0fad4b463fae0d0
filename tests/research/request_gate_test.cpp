#include "app/research/request_gate.h"

#include <gtest/gtest.h>

#include "AsoKit/aso_error.h"
#include "app/base/zoned_calendar.h"
#include "app/research/signals_check.h"
#include "app/store/store.h"
#include "support/manual_queue.h"

namespace tovra::research {
namespace {

using namespace std::chrono_literals;

struct RefusalCase {
  std::string name;
  std::exception_ptr error;
  bool refusal;
};

class RefusalTest : public ::testing::TestWithParam<RefusalCase> {};

TEST_P(RefusalTest, OnlyAForbiddenAnswerAHoldOrTheGuardsHaltIsARefusal) {
  try {
    std::rethrow_exception(GetParam().error);
  } catch (const std::exception& error) {
    EXPECT_EQ(isRefusal(error), GetParam().refusal);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Errors, RefusalTest,
    ::testing::Values(RefusalCase{"Forbidden", std::make_exception_ptr(asokit::AsoError::http(403, "u")), true},
                      RefusalCase{"Cooling", std::make_exception_ptr(asokit::AsoError::coolingDown(12)), true},
                      RefusalCase{"GuardHalt", std::make_exception_ptr(asokit::AsoError::halted(3, 2)), true},
                      RefusalCase{"NotFound", std::make_exception_ptr(asokit::AsoError::http(404, "u")), false},
                      RefusalCase{"TooMany", std::make_exception_ptr(asokit::AsoError::http(429, "u")), false},
                      RefusalCase{"ServerError", std::make_exception_ptr(asokit::AsoError::http(503, "u")), false},
                      RefusalCase{"Shape", std::make_exception_ptr(asokit::AsoError::shapeChanged("x")), false},
                      RefusalCase{"Transport", std::make_exception_ptr(asokit::TransportError("down")), false}),
    [](const auto& info) { return info.param.name; });

TEST(RequestGateTest, ARunComesBeforeAHoldAndASpentHoldIsNone) {
  EXPECT_EQ(RequestGate().hintsWaitReason(), std::nullopt);
  EXPECT_EQ(RequestGate([] { return true; }, [] { return std::optional<std::int64_t>(5); }).hintsWaitReason(),
            "A measurement is running — store hints wait for it.");
  EXPECT_EQ(RequestGate([] { return false; }, [] { return std::optional<std::int64_t>(5); }).hintsWaitReason(),
            "Apple paused requests · retry in 0:05");
  EXPECT_EQ(RequestGate([] { return false; }, [] { return std::optional<std::int64_t>(0); }).hintsWaitReason(),
            std::nullopt);
}

// A store that forbids everything, as it does when it blocks an address.
class ForbiddingTransport final : public asokit::HTTPTransport {
 public:
  asokit::HttpResponse fetch(const std::string&, const asokit::Headers&, std::stop_token) override {
    ++requests;
    return {"", 403, {}};
  }
  int requests = 0;
};

TEST(RequestGateTest, ARefusalInASignalsCheckHoldsEveryRequestForFifteenMinutes) {
  asokit::VirtualClock clock;
  ForbiddingTransport transport;
  asokit::AsoClient client(transport, clock.monotonic(), clock.wall());
  auto store = store::Store::inMemory();
  const base::ZonedCalendar calendar("UTC");
  tovra::testing::ManualQueue queue;
  SignalsCheck check(
      [&](const std::string& t, const std::string& c, std::stop_token stop) { return client.search(t, c, 10, stop); },
      [&](const std::string& p, const std::string& c, std::stop_token stop) { return client.hints(p, c, stop); },
      *store, RequestGate([] { return false; }, [&] { return client.cooldownSecondsLeft(); }), clock.wall(), calendar,
      queue);
  check.setOnForbidden([&] { holdAfterRefusal(client, clock.wallNow()); });

  check.start("photo editor", "us");
  queue.runUntil([&] { return !std::holds_alternative<SignalsCheck::Running>(check.phase()); });
  EXPECT_EQ(transport.requests, 3) << "the search's own three attempts, then nothing";
  const auto& summary = std::get<SignalsCheck::Finished>(check.phase()).summary;
  EXPECT_TRUE(summary.halted);
  EXPECT_EQ(client.cooldownSecondsLeft(), 900);

  clock.advance(100s);
  holdAfterRefusal(client, clock.wallNow());
  EXPECT_EQ(client.cooldownSecondsLeft(), 800) << "a refusal during the hold does not push its end out";
  EXPECT_EQ(check.start("photo editor", "us"), SignalsCheck::Start::waiting);
  EXPECT_EQ(check.waitReason(), "Apple paused requests · retry in 13:20");
  EXPECT_EQ(transport.requests, 3);
}

}  // namespace
}  // namespace tovra::research
