#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "AsoKit/clock.h"
#include "AsoKit/types.h"
#include "app/store/records.h"

namespace tovra::measure {

// One distinct search of a run: the storefront code and the keyword as stored on the query. Two targets
// are the same search when both are equal.
struct RequestTarget {
  std::string country;
  std::string keyword;
  bool operator==(const RequestTarget&) const = default;
};

// One finished request of a live run, in completion order. `index` is the rank client's count of
// completed requests when it finished.
struct CompletedRequest {
  std::int64_t index = 0;
  RequestTarget target;
  bool succeeded = false;
  bool operator==(const CompletedRequest&) const = default;
};

// The run in progress, as the interface shows it.
struct LiveRun {
  asokit::WallTime startedAt;
  std::vector<RequestTarget> plan;  // the distinct searches, in request order
  std::int64_t queryCount = 0;      // the tracked queries answered; may exceed the plan's length
  std::int64_t completedRequests = 0;
  std::vector<CompletedRequest> done;
  bool stopRequested = false;
  bool operator==(const LiveRun&) const = default;
};

// One tracked query that a run measures, with the app it belongs to.
struct RunEntry {
  store::TrackedQuery query;
  store::TrackedApp app;
  asokit::RankQuery rankQuery() const { return {app.appStoreId, query.country, query.keyword}; }
};

// The user's stop, shared by the main thread (which raises it) and the batch's thread (which reads it
// between requests).
class StopFlag final {
 public:
  void raise();
  bool isRaised() const;

 private:
  mutable std::mutex mutex_;
  bool raised_ = false;
};

// The searches that answer `entries`: one per (country, keyword) pair, in the order the pairs first
// occur, so one request answers every app that watches the same keyword in the same country.
std::vector<RequestTarget> planFor(const std::vector<RunEntry>& entries);

}  // namespace tovra::measure
