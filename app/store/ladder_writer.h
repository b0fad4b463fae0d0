#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "AsoKit/types.h"
#include "app/store/repositories.h"

namespace tovra::store {

class Store;

// Copies of one result taken within this time of each other, with the same apps in the same order, are
// one saved search.
inline constexpr std::chrono::seconds kLadderRefreshWindow{3600};

// A full App Store search result for a keyword in a country, as the client returned it.
struct LadderReading {
  std::string keyword;
  std::string country;
  std::vector<asokit::RankedApp> apps;  // any order; the writer orders them by position
  std::int64_t resultCount = 0;
  std::int64_t enrichedDepth = 0;
  std::string source;
  WallTime fetchedAt;
};

struct LadderWrite {
  SavedLadder saved;                                // the saved search now holding the reading, with its entries
  bool refreshed = false;                           // an existing saved search was refreshed in place
  bool sameAsPrevious = false;                      // the newest earlier saved search named the same apps in this order
  std::int64_t removedByRetention = 0;              // older saved searches deleted to keep the newest 30
  std::vector<RecordId<TrackedApp>> artworkFilled;  // tracked apps whose missing artwork was filled
  std::int64_t releasesKept = 0;                    // versions of tracked apps seen for the first time
};

// Keeps what a search saw as saved searches: one per keyword (by its keyword key) and country, refreshed
// in place rather than piled up when the same result is read again within the hour, the newest 30 kept.
// The artwork it sees fills in tracked apps' missing artwork, and the versions it sees of tracked apps are
// kept as their releases. Main thread only; one transaction per write.
class LadderWriter final {
 public:
  explicit LadderWriter(Store& store) : store_(&store) {}

  // Throws StoreError when the change cannot be saved; the store is then as it was.
  LadderWrite write(const LadderReading& reading);

  // The saved searches of a keyword (compared by its keyword key) and a country, newest first.
  std::vector<StoredLadder> savedFor(std::string_view keyword, std::string_view country) const;

 private:
  Store* store_;
};

// How many apps of a result carry rating data.
std::int64_t enrichedDepth(const std::vector<asokit::RankedApp>& apps);

}  // namespace tovra::store
