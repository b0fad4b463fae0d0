#pragma once

#include <string>

#include "AsoKit/clock.h"
#include "app/store/records.h"
#include "app/store/store.h"

namespace tovra::measure::testing {

// An instant given as a local wall time of a time zone (the first one when it occurs twice).
asokit::WallTime localTime(const std::string& zone, int year, unsigned month, unsigned day, int hour = 0,
                           int minute = 0, int second = 0);

// Writes the records a test starts from, the way the watchlist leaves them.
class Seed final {
 public:
  explicit Seed(store::Store& store) : store_(store) {}

  store::TrackedApp app(const std::string& appStoreId, const std::string& name = "");
  void localization(const store::TrackedApp& app, const std::string& country, const std::string& name);
  store::TrackedQuery keyword(const store::TrackedApp& app, const std::string& keyword, const std::string& country,
                              bool paused = false);
  store::TrackedQuery parked(const std::string& keyword, const std::string& country);
  // One reading per rank, on consecutive days ending on the day of `lastDay` (an absent rank: outside
  // the results).
  void readings(const store::TrackedQuery& query, const std::vector<std::optional<std::int64_t>>& ranks,
                asokit::WallTime lastDay, const std::string& zone = "Europe/Berlin");

 private:
  store::Store& store_;
  int spaces_ = 0;
};

}  // namespace tovra::measure::testing
