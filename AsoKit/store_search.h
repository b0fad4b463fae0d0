#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "AsoKit/types.h"

namespace asokit {

// A parsed search answer: the ordered ids (an id's place, counted from 1, is its rank) and the names
// the answer carried (usually for the first several ids only).
struct StoreSearchResult {
  std::vector<std::string> orderedIds;
  std::unordered_map<std::string, std::string> names;

  // The first `count` ids with their names, "?" where the answer named none.
  std::vector<TopApp> topApps(std::int64_t count) const;
};

namespace store_search {

std::string url(std::string_view searchBase, std::string_view term);
// Throws AsoError::shapeChanged; never turns an unreadable answer into an empty one.
StoreSearchResult parse(std::string_view body);

}  // namespace store_search
}  // namespace asokit
