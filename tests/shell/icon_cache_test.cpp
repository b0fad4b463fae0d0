// App icons: fetched once, off the main thread, kept on disk, never retried after a failure within a
// launch, and never more than the size limit.
#include "app/shell/icon_cache.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>

#include "support/held_requests.h"
#include "support/manual_queue.h"

namespace tovra::shell {
namespace {

namespace fs = std::filesystem;

struct Answer {
  std::int64_t status = 200;
  std::string body = "\x89PNG-bytes";
  bool fail = false;  // no answer at all
};

class IconTransport final : public asokit::HTTPTransport {
 public:
  explicit IconTransport(Answer answer, testing::HeldRequests* held = nullptr) : answer_(answer), held_(held) {}
  asokit::HttpResponse fetch(const std::string& url, const asokit::Headers&, std::stop_token stop) override {
    ++fetches;
    {
      std::lock_guard lock(mutex_);
      lastUrl_ = url;
    }
    if (held_ && !held_->hold(stop)) {
      throw std::runtime_error("cancelled");
    }
    if (answer_.fail) {
      throw std::runtime_error("no route to host");
    }
    return {answer_.body, answer_.status};
  }
  std::string lastUrl() {
    std::lock_guard lock(mutex_);
    return lastUrl_;
  }
  std::atomic<int> fetches{0};

 private:
  Answer answer_;
  testing::HeldRequests* held_;
  std::mutex mutex_;
  std::string lastUrl_;
};

class IconCacheTest : public ::testing::Test {
 protected:
  void SetUp() override {
    folder = fs::temp_directory_path() / ("tovra-icons-" + std::to_string(::getpid()) + "-" +
                                          ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(folder);
  }
  void TearDown() override { fs::remove_all(folder); }

  std::unique_ptr<IconCache> make(Answer answer, std::optional<std::string> host = {},
                                  testing::HeldRequests* held = nullptr) {
    auto owned = std::make_unique<IconTransport>(answer, held);
    transport = owned.get();
    return std::make_unique<IconCache>(IconCache::Options{folder, std::move(owned), std::move(host)}, queue);
  }

  fs::path folder;
  testing::ManualQueue queue;
  IconTransport* transport = nullptr;
};

constexpr const char* kArtwork = "https://is1-ssl.mzstatic.com/image/thumb/Purple/v4/42/512x512bb.jpg";

TEST_F(IconCacheTest, AnIconIsFetchedOnceAndAnnouncedOnTheMainThread) {
  auto cache = make({});
  std::vector<std::string> arrived;
  auto subscription = cache->arrived().subscribe([&](const std::string& url) { arrived.push_back(url); });
  EXPECT_FALSE(cache->cached(kArtwork));
  cache->request(kArtwork);
  cache->request(kArtwork);
  queue.runUntil([&] { return !arrived.empty(); });
  EXPECT_EQ(arrived, std::vector<std::string>{kArtwork});
  EXPECT_EQ(transport->fetches.load(), 1);
  const auto file = cache->cached(kArtwork);
  ASSERT_TRUE(file);
  std::ifstream in(*file, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "\x89PNG-bytes");
  EXPECT_EQ(file->extension(), ".jpg");

  // The next launch finds it on disk and asks nobody.
  cache.reset();
  auto next = make({});
  next->request(kArtwork);
  EXPECT_TRUE(next->cached(kArtwork));
  EXPECT_EQ(queue.pending(), 0u);
  EXPECT_EQ(transport->fetches.load(), 0);
}

TEST_F(IconCacheTest, AFailedIconIsNotKeptAndNotAskedForAgain) {
  const std::vector<std::pair<const char*, Answer>> failures{
      {"not found", {404, "missing", false}},
      {"no answer", {200, "", true}},
      {"empty", {200, "", false}},
      {"too big", {200, std::string(IconCache::kMaxIconBytes + 1, 'x'), false}},
  };
  for (const auto& [name, answer] : failures) {
    SCOPED_TRACE(name);
    fs::remove_all(folder);
    testing::HeldRequests held;
    auto cache = make(answer, std::nullopt, &held);
    int arrivals = 0;
    auto subscription = cache->arrived().subscribe([&](const std::string&) { ++arrivals; });
    cache->request(kArtwork);
    cache->request(kArtwork);
    // A second, different icon proves the worker is done with the first.
    cache->request(std::string(kArtwork) + "?v=2");
    held.waitForArrivals(1);
    held.release();
    held.waitForArrivals(2);
    EXPECT_EQ(transport->fetches.load(), 2);
    held.release();
    cache.reset();  // joins the worker, so nothing more can be posted
    queue.drain();
    EXPECT_EQ(arrivals, 0);
    EXPECT_FALSE(fs::exists(folder / "icons") && !fs::is_empty(folder / "icons"));
  }
}

TEST_F(IconCacheTest, AFileOnDiskPastTheLimitIsNotAnIcon) {
  auto cache = make({});
  const auto file = cache->fileFor(kArtwork);
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << std::string(IconCache::kMaxIconBytes + 1, 'x');
  EXPECT_FALSE(cache->cached(kArtwork));
  std::ofstream(file, std::ios::binary | std::ios::trunc).flush();
  EXPECT_FALSE(cache->cached(kArtwork));
}

TEST_F(IconCacheTest, TheArtworkHostCanBePointedElsewhere) {
  const std::vector<std::tuple<std::string, std::optional<std::string>, std::string>> cases{
      {kArtwork, std::nullopt, kArtwork},
      {kArtwork, "http://127.0.0.1:8123", "http://127.0.0.1:8123/image/thumb/Purple/v4/42/512x512bb.jpg"},
      {"https://example.invalid", "http://127.0.0.1:9", "http://127.0.0.1:9/"},
      {"not a url", "http://127.0.0.1:9", "not a url"},
  };
  for (const auto& [url, host, expected] : cases) {
    EXPECT_EQ(IconCache::redirected(url, host), expected) << url;
  }
  auto cache = make({}, "http://127.0.0.1:8123");
  bool arrived = false;
  auto subscription = cache->arrived().subscribe([&](const std::string&) { arrived = true; });
  cache->request(kArtwork);
  queue.runUntil([&] { return arrived; });
  EXPECT_EQ(transport->lastUrl(), "http://127.0.0.1:8123/image/thumb/Purple/v4/42/512x512bb.jpg");
  // Kept under the store's own address, so pointing the host back finds it still.
  EXPECT_TRUE(cache->cached(kArtwork));
}

TEST_F(IconCacheTest, ClosingWhileAnIconIsOnItsWayNeitherWaitsNorAnnounces) {
  testing::HeldRequests held;
  auto cache = make({}, std::nullopt, &held);
  int arrivals = 0;
  auto subscription = cache->arrived().subscribe([&](const std::string&) { ++arrivals; });
  const auto file = cache->fileFor(kArtwork);
  cache->request(kArtwork);
  held.waitForArrivals(1);
  cache.reset();
  queue.drain();
  EXPECT_EQ(arrivals, 0);
  EXPECT_FALSE(fs::exists(file));
}

// The system's name lookup, which a cancelled transfer still waits out: the fetch ignores the stop.
struct StuckLookup {
  std::mutex mutex;
  std::condition_variable changed;
  bool arrived = false;
  bool open = false;
  bool transportGone = false;
};

class StuckTransport final : public asokit::HTTPTransport {
 public:
  explicit StuckTransport(std::shared_ptr<StuckLookup> lookup) : lookup_(std::move(lookup)) {}
  ~StuckTransport() override {
    std::lock_guard lock(lookup_->mutex);
    lookup_->transportGone = true;
    lookup_->changed.notify_all();
  }
  asokit::HttpResponse fetch(const std::string&, const asokit::Headers&, std::stop_token) override {
    std::unique_lock lock(lookup_->mutex);
    lookup_->arrived = true;
    lookup_->changed.notify_all();
    lookup_->changed.wait(lock, [this] { return lookup_->open; });
    return {"\x89PNG-bytes", 200};
  }

 private:
  std::shared_ptr<StuckLookup> lookup_;
};

TEST_F(IconCacheTest, QuittingDuringAFetchThatCannotBeCancelledNeitherWaitsForItNorKeepsItsAnswer) {
  auto lookup = std::make_shared<StuckLookup>();
  auto cache = std::make_unique<IconCache>(IconCache::Options{folder, std::make_unique<StuckTransport>(lookup)}, queue);
  int arrivals = 0;
  auto subscription = cache->arrived().subscribe([&](const std::string&) { ++arrivals; });
  const auto file = cache->fileFor(kArtwork);
  cache->request(kArtwork);
  {
    std::unique_lock lock(lookup->mutex);
    lookup->changed.wait(lock, [&] { return lookup->arrived; });
  }
  cache.reset();  // returns with the fetch still stuck; joining would wait here for ever
  {
    std::unique_lock lock(lookup->mutex);
    lookup->open = true;
    lookup->changed.notify_all();
    // The worker ends on its own and lets go of the transport.
    lookup->changed.wait(lock, [&] { return lookup->transportGone; });
  }
  queue.drain();
  EXPECT_EQ(arrivals, 0);
  EXPECT_FALSE(fs::exists(file));
}

TEST_F(IconCacheTest, WithoutATransportOnlyTheFolderAnswers) {
  IconCache cache(IconCache::Options{folder}, queue);
  cache.request(kArtwork);
  EXPECT_EQ(queue.pending(), 0u);
  EXPECT_FALSE(cache.cached(kArtwork));
  const auto file = cache.fileFor(kArtwork);
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << "png";
  EXPECT_TRUE(cache.cached(kArtwork));
  EXPECT_NE(cache.fileFor(kArtwork), cache.fileFor(std::string(kArtwork) + "?v=2"));
}

}  // namespace
}  // namespace tovra::shell
