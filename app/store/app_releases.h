#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "AsoKit/types.h"
#include "app/store/records.h"

namespace tovra::store {

class Store;

// A version of an app as the store's lookup showed it: the version text and when the store released it.
// Releases are kept by app id, like saved searches, so they outlive the app's tracking; one per app and
// version, the first sighting kept.
struct AppRelease {
  std::string appStoreId;
  std::string version;
  WallTime releasedAt;
  WallTime seenAt;  // when Tovra first saw it
  bool operator==(const AppRelease&) const = default;
};

class Releases final {
 public:
  explicit Releases(Store& store) : store_(&store) {}

  // Keeps a release unless its app already has that version; returns whether it was new. Throws
  // StoreError.
  bool record(const AppRelease& release);
  // Oldest release first.
  std::vector<AppRelease> ofApp(std::string_view appStoreId) const;
  std::int64_t count() const;
  void removeAll();

 private:
  Store* store_;
};

// Keeps the releases an answer shows for apps Tovra tracks, in one transaction; other apps' versions are
// not kept. Returns how many were new. Throws StoreError.
std::int64_t keepTrackedReleases(Store& store, const std::vector<asokit::RankedApp>& apps, WallTime seenAt);
std::int64_t keepTrackedReleases(Store& store, const std::vector<asokit::AppInfo>& apps, WallTime seenAt);

}  // namespace tovra::store
