#pragma once

#include <cstdint>
#include <unordered_map>

namespace tovra::store {

class Store;

// The lowest rank each keyword of an app ever kept, by the keyword's row. A keyword whose readings were
// all outside the results, or that has none, is not listed. Throws StoreError.
std::unordered_map<std::int64_t, std::int64_t> readBestRanks(Store& store);

}  // namespace tovra::store
