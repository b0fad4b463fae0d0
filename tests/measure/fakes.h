#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "AsoKit/clock.h"
#include "AsoKit/transport.h"
#include "support/manual_queue.h"

namespace tovra::measure::testing {

using ManualQueue = tovra::testing::ManualQueue;

// A search answer listing the ids in store order.
std::string searchAnswer(const std::vector<std::string>& ids);

// The store's answers by search term, from any thread; records each request with its term, country
// header and (virtual) time. `beforeAnswer` runs inside a fetch, on the batch's thread, with the
// request's 1-based number: tests use it to move time or to hold the batch at a chosen request.
class ScriptedStore final : public asokit::HTTPTransport {
 public:
  struct Request {
    std::string term;
    std::string storefront;
    asokit::MonoTime at;
  };

  explicit ScriptedStore(asokit::MonotonicClock& clock) : clock_(clock) {}

  void answer(const std::string& term, std::vector<std::string> ids);
  // What a lookup of the app tells: a search then shows these facts for it. Without them a lookup knows
  // nothing of the app and the row keeps the search's own name.
  struct Facts {
    std::string name;
    std::string developer;
    std::optional<std::int64_t> ratingCount;
    std::optional<double> averageRating;
  };
  void facts(const std::string& id, Facts facts);
  // The store's search hints for a prefix, in order.
  void hints(const std::string& prefix, std::vector<std::string> terms);
  // Every request for any term fails with this status from now on (a 403 storm).
  void failEverythingWith(std::int64_t status);
  // Every request fails below HTTP with these words from now on (no connection, a timeout).
  void failEverythingBelowHttp(std::string message);
  std::function<void(int request)> beforeAnswer;

  asokit::HttpResponse fetch(const std::string& url, const asokit::Headers& headers, std::stop_token stop) override;
  std::vector<Request> requests() const;

 private:
  asokit::MonotonicClock& clock_;
  mutable std::mutex mutex_;
  std::map<std::string, std::vector<std::string>> answers_;
  std::map<std::string, Facts> facts_;
  std::map<std::string, std::vector<std::string>> hints_;
  std::int64_t failStatus_ = 0;
  std::string transportFailure_;
  std::vector<Request> requests_;
};

// A monotonic clock for a ticker that must never tick by itself: its sleeps end only when stopped.
class ParkedClock final : public asokit::MonotonicClock {
 public:
  asokit::MonoTime now() const override { return asokit::MonoTime{}; }
  bool sleepUntil(asokit::MonoTime deadline, std::stop_token stop) override;
};

// Blocks a thread at a chosen point until the test lets it go.
class Gate final {
 public:
  void arriveAndWait();
  void waitForArrival();
  void open();

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool arrived_ = false;
  bool open_ = false;
};

}  // namespace tovra::measure::testing
