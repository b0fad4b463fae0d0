#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>

#include "AsoKit/transport.h"
#include "app/base/main_queue.h"
#include "app/base/observable.h"

namespace tovra::shell {

// App icons kept on disk in the user's cache folder, each fetched once. Fetching happens on a worker of
// its own, one icon at a time and in the order asked, so a board of fifty apps never holds up the App
// Store client or the main thread. An icon that cannot be fetched is not asked for again until the next
// launch; nothing about icons is ever an error the user sees.
class IconCache final {
 public:
  // An icon is a few tens of kilobytes; anything past this is not an icon, and is neither kept nor read.
  static constexpr std::size_t kMaxIconBytes = 1024u * 1024u;

  struct Options {
    std::filesystem::path folder;
    // Fetches an icon's bytes; none: icons come only from what the folder already holds.
    std::unique_ptr<asokit::HTTPTransport> transport;
    // Scheme and host used instead of the one in an icon's address.
    std::optional<std::string> hostOverride;
  };

  IconCache(Options options, base::MainQueue& queue);
  // Stops the worker; an icon being fetched is cancelled and its answer dropped. A fetch that cannot be
  // cancelled at once (the system's name lookup is waited out even by a cancelled transfer) does not hold
  // up quitting: the worker finishes on its own, with what it uses, and neither writes nor announces.
  ~IconCache();
  IconCache(const IconCache&) = delete;
  IconCache& operator=(const IconCache&) = delete;

  // The file holding the icon at `url`, once it is on disk.
  std::optional<std::filesystem::path> cached(const std::string& url) const;
  // Asks for the icon at `url` to be fetched, unless it is on disk, asked for already, or failed before.
  // Main thread.
  void request(const std::string& url);
  // Tells the main thread that the icon at the given address is now on disk.
  const base::Observable<std::string>& arrived() const;

  // Where the icon at `url` is kept: a name made from the address, so different sizes and versions of
  // an artwork never share a file.
  std::filesystem::path fileFor(std::string_view url) const;
  // `url` with its scheme and host replaced by `host` (nothing replaced when `host` is none).
  static std::string redirected(std::string_view url, const std::optional<std::string>& host);

 private:
  struct Shared;
  struct Worker;
  static void work(const std::shared_ptr<Worker>& worker, std::stop_token stop);
  static bool fetchOne(Worker& worker, const std::string& url, const std::stop_token& stop);

  std::filesystem::path folder_;
  std::shared_ptr<Shared> shared_;
  std::set<std::string> asked_;  // main thread
  std::shared_ptr<Worker> worker_;
  std::jthread thread_;
};

}  // namespace tovra::shell
