#include "app/shell/icon_cache.h"

#include <fmt/format.h>

#include <cstdint>
#include <fstream>
#include <system_error>

namespace tovra::shell {

namespace fs = std::filesystem;

struct IconCache::Shared {
  base::Observable<std::string> arrived;
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

}  // namespace

IconCache::IconCache(Options options, base::MainQueue& queue)
    : folder_(std::move(options.folder)),
      transport_(std::move(options.transport)),
      hostOverride_(std::move(options.hostOverride)),
      queue_(queue),
      shared_(std::make_shared<Shared>()) {
  if (transport_) {
    worker_ = std::jthread([this](std::stop_token stop) { work(stop); });
  }
}

IconCache::~IconCache() {
  if (worker_.joinable()) {
    worker_.request_stop();
    wake_.notify_all();
  }
}

fs::path IconCache::fileFor(std::string_view url) const {
  return folder_ / "icons" / fmt::format("{:016x}{}", fnv1a(url), extensionOf(url));
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
  if (url.empty() || !transport_ || !asked_.insert(url).second || cached(url)) {
    return;
  }
  {
    std::lock_guard lock(mutex_);
    waiting_.push_back(url);
  }
  wake_.notify_one();
}

const base::Observable<std::string>& IconCache::arrived() const {
  return shared_->arrived;
}

void IconCache::work(std::stop_token stop) {
  const std::weak_ptr<Shared> shared = shared_;
  while (!stop.stop_requested()) {
    std::string url;
    {
      std::unique_lock lock(mutex_);
      if (!wake_.wait(lock, stop, [this] { return !waiting_.empty(); })) {
        return;
      }
      url = std::move(waiting_.front());
      waiting_.pop_front();
    }
    if (fetchOne(url, stop)) {
      queue_.post([shared, url] {
        if (const auto alive = shared.lock()) {
          alive->arrived.notify(url);
        }
      });
    }
  }
}

bool IconCache::fetchOne(const std::string& url, std::stop_token stop) {
  try {
    const auto response = transport_->fetch(redirected(url, hostOverride_), {}, stop);
    if (response.status != 200 || response.body.empty() || response.body.size() > kMaxIconBytes) {
      return false;
    }
    const auto file = fileFor(url);
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
