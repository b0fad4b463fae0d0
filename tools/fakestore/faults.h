#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tools/fakestore/scenario.h"

namespace tovra::fakestore {

// What a request is, for the faults to match against.
struct RequestFacts {
  Endpoint endpoint = Endpoint::search;
  std::string term;                    // search term, hints prefix, lookup id list or bundle id
  std::optional<std::string> country;  // none when the request named no known country
};

struct Verdict {
  std::int64_t number = 0;           // the request's place among all requests served, from 1
  bool storm = false;                // answered 403 by the storm
  std::optional<std::size_t> fault;  // index into Scenario::faults
};

// Counts requests and decides which fault, if any, each one meets. Safe to call from the server's
// worker threads.
class FaultBook final {
 public:
  explicit FaultBook(const Scenario& scenario);
  Verdict judge(const RequestFacts& facts);

 private:
  const Scenario& scenario_;
  std::mutex mutex_;
  std::int64_t served_ = 0;
  std::vector<std::int64_t> matched_;
  std::vector<std::int64_t> fired_;
};

}  // namespace tovra::fakestore
