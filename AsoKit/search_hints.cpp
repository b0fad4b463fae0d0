#include "AsoKit/search_hints.h"

#include <plist/plist.h>

#include <cstdint>
#include <limits>
#include <memory>

#include "AsoKit/aso_error.h"
#include "AsoKit/url.h"

namespace asokit::search_hints {
namespace {

struct PlistFree {
  void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistFree>;

std::optional<std::int64_t> integerOf(plist_t node) {
  if (node == nullptr) {
    return std::nullopt;
  }
  switch (plist_get_node_type(node)) {
    case PLIST_UINT: {
      std::uint64_t value = 0;
      plist_get_uint_val(node, &value);
      // Negative integers come back as their two's complement.
      return static_cast<std::int64_t>(value);
    }
    case PLIST_REAL: {
      double value = 0;
      plist_get_real_val(node, &value);
      if (value != value || value < -9.2e18 || value > 9.2e18) {
        return std::nullopt;
      }
      return static_cast<std::int64_t>(value);
    }
    default:
      return std::nullopt;
  }
}

}  // namespace

std::string url(std::string_view searchBase, std::string_view prefix) {
  return buildUrl(searchBase, "/WebObjects/MZSearchHints.woa/wa/hints",
                  {{"clientApplication", "Software"}, {"term", std::string(prefix)}});
}

SearchHintsResult parse(std::string_view body) {
  plist_t raw = nullptr;
  if (!body.empty() && body.size() < std::numeric_limits<std::uint32_t>::max()) {
    plist_from_memory(body.data(), static_cast<std::uint32_t>(body.size()), &raw);
  }
  const PlistPtr root(raw);
  if (!root || plist_get_node_type(root.get()) != PLIST_DICT) {
    throw AsoError::shapeChanged("hints: kök plist sözlüğü değil");
  }
  plist_t hints = plist_dict_get_item(root.get(), "hints");
  if (hints == nullptr || plist_get_node_type(hints) != PLIST_ARRAY) {
    throw AsoError::shapeChanged("hints: 'hints' anahtarı yok");
  }
  SearchHintsResult result;
  const auto count = plist_array_get_size(hints);
  for (std::uint32_t i = 0; i < count; ++i) {
    plist_t element = plist_array_get_item(hints, i);
    if (element == nullptr || plist_get_node_type(element) != PLIST_DICT) {
      continue;
    }
    plist_t term = plist_dict_get_item(element, "term");
    if (term == nullptr || plist_get_node_type(term) != PLIST_STRING) {
      continue;
    }
    std::uint64_t length = 0;
    const char* text = plist_get_string_ptr(term, &length);
    result.terms.push_back({static_cast<std::int64_t>(i) + 1, std::string(text ? text : "", text ? length : 0),
                            integerOf(plist_dict_get_item(element, "priority"))});
  }
  return result;
}

}  // namespace asokit::search_hints
