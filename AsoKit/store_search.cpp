#include "AsoKit/store_search.h"

#include <algorithm>

#include "AsoKit/aso_error.h"
#include "AsoKit/store_search_sax.h"
#include "AsoKit/url.h"

namespace asokit {
std::vector<TopApp> StoreSearchResult::topApps(std::int64_t count) const {
  std::vector<TopApp> top;
  if (count <= 0) {
    return top;
  }
  const auto n = std::min<std::size_t>(static_cast<std::size_t>(count), orderedIds.size());
  top.reserve(n);
  for (std::size_t i = 0; i < n; ++i) {
    const auto name = names.find(orderedIds[i]);
    top.push_back({orderedIds[i], name == names.end() ? "?" : name->second});
  }
  return top;
}

namespace store_search {

std::string url(std::string_view searchBase, std::string_view term) {
  return buildUrl(searchBase, "/WebObjects/MZStore.woa/wa/search",
                  {{"clientApplication", "Software"}, {"media", "software"}, {"term", std::string(term)}});
}

StoreSearchResult parse(std::string_view body) {
  store_search_detail::Scan scan;
  if (!store_search_detail::scan(body, scan) || !scan.rootIsObject) {
    throw AsoError::shapeChanged("kök JSON nesnesi değil");
  }
  auto& list = scan.pageDataHasBubbles ? scan.pageData : scan.topLevel;
  if (!list.present || !list.listOfObjects) {
    throw AsoError::shapeChanged("'bubbles' yok");
  }
  if (list.bubbles.empty()) {
    throw AsoError::shapeChanged("'bubbles[].results' yok");
  }
  auto chosen = std::find_if(list.bubbles.begin(), list.bubbles.end(),
                             [](const store_search_detail::Bubble& b) { return b.isSoftware; });
  if (chosen == list.bubbles.end()) {
    chosen = list.bubbles.begin();
  }
  if (chosen->results != store_search_detail::Bubble::Results::list) {
    throw AsoError::shapeChanged("'bubbles[].results' yok");
  }
  return {std::move(chosen->ids), std::move(scan.names)};
}

}  // namespace store_search
}  // namespace asokit
