#include "app/shell/icon_cache.h"

#include <fmt/format.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <fstream>
#include <mutex>
#include <system_error>

namespace tovra::shell {

namespace fs = std::filesystem;

struct IconCache::Shared {
  base::Observable<std::string> arrived;
};

// What the worker uses, held by the worker as much as by the cache, so that a worker left to finish on its
// own after the cache is gone still has it.
struct IconCache::Worker {
  std::filesystem::path folder;
  std::unique_ptr<asokit::HTTPTransport> transport;
  std::optional<std::string> hostOverride;
  std::weak_ptr<Shared> shared;
  std::mutex mutex;
  std::condition_variable_any wake;
  std::deque<std::string> waiting;  // guarded by mutex
  base::MainQueue* queue;           // guarded by mutex; none once the cache is gone
  std::condition_variable finishedChanged;
  bool finished = false;  // guarded by mutex
};

namespace {

// FNV-1a: stable across runs and builds, unlike std::hash, so a cached file is found again next launch.
std::uint64_t fnv1a(std::string_view text) {
  std::uint64_t hash = 0xcbf29ce484222325ull;
  for (const unsigned char c : text) {
    hash ^= c;
    hash *= 0x100000001b3ull;
  }
  return hash;
}

std::string_view extensionOf(std::string_view url) {
  const auto path = url.substr(0, url.find_first_of("?#"));
  for (std::string_view known : {".png", ".jpg", ".jpeg", ".webp"}) {
    if (path.size() > known.size() && path.substr(path.size() - known.size()) == known) {
      return known;
    }
  }
  return ".img";
}

fs::path iconFile(const fs::path& folder, std::string_view url) {
  return folder / "icons" / fmt::format("{:016x}{}", fnv1a(url), extensionOf(url));
}

}  // namespace

// How long quitting waits for a fetch to end after cancelling it, before leaving it to end on its own.
constexpr std::chrono::milliseconds kQuitWait{250};

IconCache::IconCache(Options options, base::MainQueue& queue)
    : folder_(options.folder), shared_(std::make_shared<Shared>()) {
  if (options.transport) {
    worker_ = std::make_shared<Worker>();
    worker_->folder = std::move(options.folder);
    worker_->transport = std::move(options.transport);
    worker_->hostOverride = std::move(options.hostOverride);
    worker_->shared = shared_;
    worker_->queue = &queue;
    thread_ = std::jthread([worker = worker_](std::stop_token stop) { work(worker, stop); });
  }
}

IconCache::~IconCache() {
  if (!thread_.joinable()) {
    return;
  }
  std::unique_lock lock(worker_->mutex);
  worker_->queue = nullptr;
  thread_.request_stop();
  worker_->wake.notify_all();
  const bool finished = worker_->finishedChanged.wait_for(lock, kQuitWait, [this] { return worker_->finished; });
  lock.unlock();
  if (finished) {
    thread_.join();
  } else {
    thread_.detach();
  }
}

fs::path IconCache::fileFor(std::string_view url) const {
  return iconFile(folder_, url);
}

std::string IconCache::redirected(std::string_view url, const std::optional<std::string>& host) {
  if (!host) {
    return std::string(url);
  }
  const auto schemeEnd = url.find("://");
  if (schemeEnd == std::string_view::npos) {
    return std::string(url);
  }
  const auto pathStart = url.find('/', schemeEnd + 3);
  return *host + std::string(pathStart == std::string_view::npos ? std::string_view("/") : url.substr(pathStart));
}

std::optional<fs::path> IconCache::cached(const std::string& url) const {
  if (url.empty()) {
    return std::nullopt;
  }
  auto file = fileFor(url);
  std::error_code error;
  const auto size = fs::file_size(file, error);
  if (error || size == 0 || size > kMaxIconBytes) {
    return std::nullopt;
  }
  return file;
}

void IconCache::request(const std::string& url) {
  if (url.empty() || !worker_ || !asked_.insert(url).second || cached(url)) {
    return;
  }
  {
    std::lock_guard lock(worker_->mutex);
    worker_->waiting.push_back(url);
  }
  worker_->wake.notify_one();
}

const base::Observable<std::string>& IconCache::arrived() const {
  return shared_->arrived;
}

void IconCache::work(const std::shared_ptr<Worker>& worker, std::stop_token stop) {
  while (!stop.stop_requested()) {
    std::string url;
    {
      std::unique_lock lock(worker->mutex);
      if (!worker->wake.wait(lock, stop, [&] { return !worker->waiting.empty(); })) {
        break;
      }
      url = std::move(worker->waiting.front());
      worker->waiting.pop_front();
    }
    if (fetchOne(*worker, url, stop)) {
      std::lock_guard lock(worker->mutex);
      if (worker->queue) {
        worker->queue->post([shared = worker->shared, url] {
          if (const auto alive = shared.lock()) {
            alive->arrived.notify(url);
          }
        });
      }
    }
  }
  std::lock_guard lock(worker->mutex);
  worker->finished = true;
  worker->finishedChanged.notify_all();
}

bool IconCache::fetchOne(Worker& worker, const std::string& url, const std::stop_token& stop) {
  try {
    const auto response = worker.transport->fetch(redirected(url, worker.hostOverride), {}, stop);
    if (stop.stop_requested() || response.status != 200 || response.body.empty() ||
        response.body.size() > kMaxIconBytes) {
      return false;
    }
    const auto file = iconFile(worker.folder, url);
    fs::create_directories(file.parent_path());
    // Written beside and renamed into place, so a reader never meets half an icon.
    auto partial = file;
    partial += ".partial";
    {
      std::ofstream out(partial, std::ios::binary | std::ios::trunc);
      out.write(response.body.data(), static_cast<std::streamsize>(response.body.size()));
      if (!out.flush()) {
        fs::remove(partial);
        return false;
      }
    }
    fs::rename(partial, file);
    return true;
  } catch (const std::exception&) {
    // A failed icon is only a placeholder on screen, and is not asked for again this launch.
    return false;
  }
}

}  // namespace tovra::shell
