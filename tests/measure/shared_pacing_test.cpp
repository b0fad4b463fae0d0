#include "AsoKit/shared_pacing.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>

#include "AsoKit/aso_client.h"
#include "AsoKit/aso_error.h"
#include "AsoKit/rate_limiter.h"
#include "measure/fakes.h"
#include "store/temp_dir.h"

namespace tovra::measure {
namespace {

using namespace std::chrono_literals;
using asokit::RateLimiter;
using asokit::SharedPacingFile;
using asokit::VirtualClock;
using store::testing::TempDir;

// Two limiters on one file stand for two processes: the virtual clock is their common monotonic clock,
// as the system's is for real processes.
TEST(SharedPacing, ASecondProcessWaitsItsTurn) {
  TempDir dir;
  VirtualClock clock;
  SharedPacingFile gui(dir.path(), "boot-a");
  SharedPacingFile cli(dir.path(), "boot-a");
  RateLimiter guiLimiter(clock.monotonic(), 1200ms, &gui);
  RateLimiter cliLimiter(clock.monotonic(), 1200ms, &cli);

  const auto start = clock.monoNow();
  guiLimiter.wait();
  EXPECT_EQ(clock.monoNow(), start);  // the first request of the machine goes at once
  guiLimiter.markSent(clock.monoNow());
  clock.advance(300ms);
  cliLimiter.wait();
  EXPECT_EQ(clock.monoNow(), start + 1200ms);  // the other process's slot is waited out
  cliLimiter.markSent(clock.monoNow());
  guiLimiter.wait();
  EXPECT_EQ(clock.monoNow(), start + 2400ms);  // and the first one now waits for the second
}

// A request's moment on the wire is known only after it was written. Until its process says when, the
// others wait, however long connecting takes; then they count from that moment, not from the booking.
TEST(SharedPacing, AProcessBetweenBookingAndSendingHoldsTheOthersUntilItTellsWhenItSent) {
  TempDir dir;
  VirtualClock clock;
  SharedPacingFile sending(dir.path(), "boot-a");
  SharedPacingFile waiting(dir.path(), "boot-a");
  const auto booked = clock.monoNow();
  ASSERT_EQ(sending.claimSlot(booked, 1200ms), std::nullopt);

  clock.advance(2s);  // still connecting, long past the booking's interval
  EXPECT_EQ(waiting.claimSlot(clock.monoNow(), 1200ms), clock.monoNow() + SharedPacingFile::kSendingPoll);
  sending.markSent(booked + 1900ms);
  EXPECT_EQ(waiting.claimSlot(clock.monoNow(), 1200ms), booked + 1900ms + 1200ms);
  clock.advance(1100ms);
  EXPECT_EQ(waiting.claimSlot(clock.monoNow(), 1200ms), std::nullopt);
}

// A clock that lets the other process act whenever this one has slept.
class ClockWithNeighbour final : public asokit::MonotonicClock {
 public:
  ClockWithNeighbour(VirtualClock& clock, std::function<void(asokit::MonoTime)> neighbour)
      : clock_(clock), neighbour_(std::move(neighbour)) {}
  asokit::MonoTime now() const override { return clock_.monoNow(); }
  bool sleepUntil(asokit::MonoTime deadline, std::stop_token stop) override {
    const bool woke = clock_.monotonic().sleepUntil(deadline, stop);
    neighbour_(clock_.monoNow());
    return woke;
  }

 private:
  VirtualClock& clock_;
  std::function<void(asokit::MonoTime)> neighbour_;
};

TEST(SharedPacing, ALimiterWaitsOutAnotherProcessStillSending) {
  TempDir dir;
  VirtualClock clock;
  SharedPacingFile other(dir.path(), "boot-a");
  SharedPacingFile mine(dir.path(), "boot-a");
  const auto booked = clock.monoNow();
  ASSERT_EQ(other.claimSlot(booked, 1200ms), std::nullopt);
  // The other process gets its request out 1.5 s after booking, while this one keeps asking.
  bool sent = false;
  ClockWithNeighbour withOther(clock, [&](asokit::MonoTime now) {
    if (!sent && now >= booked + 1500ms) {
      other.markSent(booked + 1500ms);
      sent = true;
    }
  });
  RateLimiter limiter(withOther, 1200ms, &mine);
  limiter.wait();
  EXPECT_EQ(clock.monoNow(), booked + 2700ms);
}

// The kernel drops the sending lock with its process; closing the file is what a kill does to it.
TEST(SharedPacing, AProcessKilledBetweenBookingAndSendingHoldsNobodyBack) {
  TempDir dir;
  VirtualClock clock;
  SharedPacingFile waiting(dir.path(), "boot-a");
  {
    SharedPacingFile killed(dir.path(), "boot-a");
    ASSERT_EQ(killed.claimSlot(clock.monoNow(), 1200ms), std::nullopt);
  }
  clock.advance(1200ms);
  EXPECT_EQ(waiting.claimSlot(clock.monoNow(), 1200ms), std::nullopt);
}

TEST(SharedPacing, AProcessStartedLongAfterTheLastRequestGoesAtOnce) {
  TempDir dir;
  VirtualClock clock;
  SharedPacingFile earlier(dir.path(), "boot-a");
  RateLimiter earlierLimiter(clock.monotonic(), 1200ms, &earlier);
  earlierLimiter.wait();
  earlierLimiter.markSent(clock.monoNow());
  clock.advance(5s);

  SharedPacingFile later(dir.path(), "boot-a");
  RateLimiter limiter(clock.monotonic(), 1200ms, &later);
  const auto asked = clock.monoNow();
  limiter.wait();
  EXPECT_EQ(clock.monoNow(), asked);
  EXPECT_EQ(*limiter.earliestNext(), asked + 1200ms);
}

TEST(SharedPacing, ASlotFromAnotherBootIsForgotten) {
  TempDir dir;
  VirtualClock clock;
  SharedPacingFile beforeReboot(dir.path(), "boot-a");
  ASSERT_EQ(beforeReboot.claimSlot(clock.monoNow(), 1200ms), std::nullopt);
  beforeReboot.markSent(clock.monoNow());

  SharedPacingFile afterReboot(dir.path(), "boot-b");
  EXPECT_EQ(afterReboot.claimSlot(clock.monoNow(), 1200ms), std::nullopt);
  // The new boot's slot now counts for everyone of that boot.
  SharedPacingFile sameBoot(dir.path(), "boot-b");
  EXPECT_EQ(sameBoot.claimSlot(clock.monoNow(), 1200ms), clock.monoNow() + 1200ms);
}

TEST(SharedPacing, ASlotBookedAfterWeReadTheClockIsWaitedOut) {
  TempDir dir;
  VirtualClock clock;
  const auto readBeforeTheLock = clock.monoNow();
  clock.advance(3ms);
  SharedPacingFile other(dir.path(), "boot-a");
  ASSERT_EQ(other.claimSlot(clock.monoNow(), 1200ms), std::nullopt);
  other.markSent(clock.monoNow());

  SharedPacingFile mine(dir.path(), "boot-a");
  EXPECT_EQ(mine.claimSlot(readBeforeTheLock, 1200ms), clock.monoNow() + 1200ms);
  // Far ahead of this clock, a slot is no booking of this boot and is taken over.
  EXPECT_EQ(mine.claimSlot(readBeforeTheLock - 10s, 1200ms), std::nullopt);
}

TEST(SharedPacing, ADamagedFileReadsAsEmptyAndIsRewritten) {
  TempDir dir;
  VirtualClock clock;
  SharedPacingFile pacing(dir.path(), "boot-a");
  std::ofstream(pacing.file(), std::ios::trunc) << "not a pacing record";
  EXPECT_EQ(pacing.heldUntil(), std::nullopt);
  EXPECT_EQ(pacing.claimSlot(clock.monoNow(), 1200ms), std::nullopt);
  EXPECT_EQ(pacing.claimSlot(clock.monoNow(), 1200ms), clock.monoNow() + 1200ms);
}

TEST(SharedPacing, ACancelledWaitForAnotherProcessLeavesTheBookingAsItWas) {
  TempDir dir;
  VirtualClock clock;
  SharedPacingFile other(dir.path(), "boot-a");
  SharedPacingFile mine(dir.path(), "boot-a");
  ASSERT_EQ(other.claimSlot(clock.monoNow(), 1200ms), std::nullopt);
  RateLimiter limiter(clock.monotonic(), 1200ms, &mine);
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THROW(limiter.wait(stop.get_token()), asokit::Cancelled);
  EXPECT_EQ(limiter.earliestNext(), std::nullopt);
}

struct HoldFixture : ::testing::Test {
  TempDir dir;
  VirtualClock clock;
  testing::ScriptedStore transport{clock.monotonic()};
  asokit::ClientConfig configFor() {
    asokit::ClientConfig config;
    config.sharedPacing = std::make_shared<SharedPacingFile>(dir.path(), "boot-a");
    return config;
  }
};

TEST_F(HoldFixture, AHoldStartedByOneProcessRefusesAnotherWithoutTraffic) {
  asokit::AsoClient first(transport, clock.monotonic(), clock.wall(), configFor());
  first.hold(clock.wallNow() + 900s);

  // A process started during the hold.
  asokit::AsoClient second(transport, clock.monotonic(), clock.wall(), configFor());
  clock.advance(100s);
  EXPECT_EQ(second.cooldownSecondsLeft(), 800);
  try {
    second.search("photo editor", "us", 10);
    ADD_FAILURE() << "a search went out during the hold";
  } catch (const asokit::AsoError& error) {
    ASSERT_NE(error.as<asokit::AsoError::CoolingDown>(), nullptr);
    EXPECT_EQ(error.as<asokit::AsoError::CoolingDown>()->secondsLeft, 800);
  }
  EXPECT_TRUE(transport.requests().empty());

  second.releaseHold();  // a release is shared too
  EXPECT_EQ(first.cooldownSecondsLeft(), std::nullopt);
}

TEST_F(HoldFixture, TheSharedDeadlineIsExactSoSecondsLeftRoundUpAsInOneProcess) {
  asokit::AsoClient client(transport, clock.monotonic(), clock.wall(), configFor());
  client.hold(clock.wallNow() + 42300ms);
  asokit::AsoClient other(transport, clock.monotonic(), clock.wall(), configFor());
  EXPECT_EQ(other.cooldownSecondsLeft(), 43);
  // Written and read back, a hold of exactly 900 s still shows 15:00, not 15:01.
  client.hold(clock.wallNow() + 900s + 1ns);
  clock.advance(1ns);
  EXPECT_EQ(other.cooldownSecondsLeft(), 900);
  clock.advance(900s - 42300ms);
  EXPECT_EQ(other.cooldownSecondsLeft(), 43);
  clock.advance(42300ms);
  EXPECT_EQ(other.cooldownSecondsLeft(), std::nullopt);
}

}  // namespace
}  // namespace tovra::measure
