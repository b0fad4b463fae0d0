#include "app/store/store_watcher.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

#include "AsoKit/clock.h"
#include "app/store/store.h"
#include "app/store/transaction.h"
#include "app/store/watchlist_writer.h"
#include "fixtures.h"
#include "temp_dir.h"

namespace tovra::store {
namespace {

using namespace std::chrono_literals;

constexpr const char* kSpaceId = "3b1f9c2e-7a4d-4e8b-9c0f-5d2a6b8e1f47";

class StoreWatcherTest : public ::testing::Test {
 protected:
  asokit::VirtualClock clock{testing::utc(2025, 1, 14, 9)};
  testing::TempDir dir;
  std::filesystem::path file = dir.path() / "default.store";
};

// Another Tovra process, writing to the same store file as this one. It is forked before this process
// opens the file, so it shares none of SQLite's state for it, and waits for the word to write.
class OtherProcess final {
 public:
  explicit OtherProcess(const std::filesystem::path& file) {
    int fds[2];
    if (::pipe(fds) != 0) {
      return;
    }
    pid_ = ::fork();
    if (pid_ == 0) {
      ::close(fds[1]);
      char go = 0;
      int status = 1;
      if (::read(fds[0], &go, 1) == 1) {
        try {
          auto store = Store::open(file);
          asokit::VirtualClock clock;
          WatchlistWriter(*store, clock.wall()).createSpace(kSpaceId, "Written elsewhere");
          status = 0;
        } catch (...) {
          status = 2;
        }
      }
      ::_exit(status);
    }
    ::close(fds[0]);
    go_ = fds[1];
  }
  ~OtherProcess() {
    if (go_ >= 0) {
      ::close(go_);
    }
    if (pid_ > 0 && !waited_) {
      ::waitpid(pid_, nullptr, 0);
    }
  }

  // Lets it write and waits until it has exited; returns its exit status.
  int writeAndExit() {
    const char go = 'w';
    if (pid_ <= 0 || ::write(go_, &go, 1) != 1) {
      return -1;
    }
    int status = 0;
    ::waitpid(pid_, &status, 0);
    waited_ = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t pid_ = -1;
  int go_ = -1;
  bool waited_ = false;
};

TEST_F(StoreWatcherTest, AnotherProcesssCommitIsPublishedOnce) {
  OtherProcess other(file);
  auto store = Store::open(file);
  StoreWatcher watcher(*store, clock.monotonic());
  int told = 0;
  const auto view = watcher.changes().subscribe([&] { ++told; });

  ASSERT_EQ(other.writeAndExit(), 0);
  clock.advance(StoreWatcher::kInterval);
  EXPECT_TRUE(watcher.poll());
  EXPECT_EQ(told, 1);
  EXPECT_EQ(store->spaces().count(), 1) << "the re-read view sees what the other process wrote";

  clock.advance(StoreWatcher::kInterval);
  EXPECT_FALSE(watcher.poll());
  EXPECT_EQ(told, 1);
}

TEST_F(StoreWatcherTest, ThisProcesssOwnCommitsArePublishedButReadsAndRollbacksAreNot) {
  auto store = Store::open(file);
  WatchlistWriter writer(*store, clock.wall());
  StoreWatcher watcher(*store, clock.monotonic());
  int told = 0;
  const auto view = watcher.changes().subscribe([&] { ++told; });

  {
    Transaction reading(*store, Transaction::Mode::read);
    (void)store->spaces().count();
    reading.commit();
  }
  {
    Transaction abandoned(*store);
    writer.createSpace(kSpaceId, "Never kept");
  }
  EXPECT_FALSE(watcher.check());

  writer.createSpace(kSpaceId, "Kept");
  EXPECT_TRUE(watcher.check());
  EXPECT_FALSE(watcher.check());
  EXPECT_EQ(told, 1);
}

TEST_F(StoreWatcherTest, PollsWithinTheIntervalDoNotLookAtTheStore) {
  auto store = Store::open(file);
  WatchlistWriter writer(*store, clock.wall());
  StoreWatcher watcher(*store, clock.monotonic(), 1000ms);
  writer.createSpace(kSpaceId, "Trips");

  clock.advance(999ms);
  EXPECT_FALSE(watcher.poll());
  clock.advance(1ms);
  EXPECT_TRUE(watcher.poll());
  // The look just made starts the next interval.
  writer.createSpace("9a7c5e3b-1d2f-4a6b-8c0e-2f4d6b8a0c1e", "Food");
  clock.advance(500ms);
  EXPECT_FALSE(watcher.poll());
  clock.advance(500ms);
  EXPECT_TRUE(watcher.poll());
}

TEST_F(StoreWatcherTest, ACommitInsideAnOpenTransactionIsNewsOnlyOnceItIsCommitted) {
  auto store = Store::open(file);
  WatchlistWriter writer(*store, clock.wall());
  StoreWatcher watcher(*store, clock.monotonic());
  Transaction edit(*store);
  writer.createSpace(kSpaceId, "Trips");
  EXPECT_FALSE(watcher.check());
  edit.commit();
  EXPECT_TRUE(watcher.check());
}

}  // namespace
}  // namespace tovra::store
