#pragma once

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

namespace tovra::store {

class Store;

// The lowest rank each of the given keywords (by row) ever kept; none for a keyword whose readings were
// all outside the results, or that has none. A keyword's readings are read through its own periods, so a
// few keywords cost a few keywords' worth, whatever the store's size. Throws StoreError.
std::unordered_map<std::int64_t, std::optional<std::int64_t>> readBestRanks(Store& store,
                                                                            const std::vector<std::int64_t>& keywords);

}  // namespace tovra::store
