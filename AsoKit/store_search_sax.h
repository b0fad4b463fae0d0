#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "AsoKit/store_search.h"

namespace asokit::store_search_detail {

// What one streaming pass over a search answer saw, before the rules pick the bubble.
struct Bubble {
  bool isSoftware = false;
  enum class Results { missing, list, notList } results = Results::missing;
  std::vector<std::string> ids;
};

struct BubbleList {
  bool present = false;
  bool listOfObjects = true;
  std::vector<Bubble> bubbles;
};

struct Scan {
  bool rootIsObject = false;
  BubbleList topLevel;
  bool pageDataHasBubbles = false;
  BubbleList pageData;
  std::unordered_map<std::string, std::string> names;
};

// Reads the answer in one pass without building a document: a search answer is mostly ids and
// details the client never reads, and building them all cost more than the parse itself.
// Returns false when the bytes are not JSON.
bool scan(std::string_view body, Scan& out);

}  // namespace asokit::store_search_detail
