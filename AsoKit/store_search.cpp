#include "AsoKit/store_search.h"

#include "AsoKit/aso_error.h"
#include "AsoKit/json_values.h"
#include "AsoKit/url.h"

namespace asokit {
namespace {

using nlohmann::json;

bool isListOfObjects(const json& value) {
  if (!value.is_array()) {
    return false;
  }
  for (const auto& element : value) {
    if (!element.is_object()) {
      return false;
    }
  }
  return true;
}

const json* bubblesOf(const json& root) {
  if (const auto pageData = root.find("pageData"); pageData != root.end() && pageData->is_object()) {
    if (const auto bubbles = pageData->find("bubbles"); bubbles != pageData->end()) {
      return &*bubbles;
    }
  }
  if (const auto bubbles = root.find("bubbles"); bubbles != root.end()) {
    return &*bubbles;
  }
  return nullptr;
}

std::optional<std::string> resultId(const json& element) {
  if (element.is_object()) {
    const auto id = element.find("id");
    return id == element.end() ? std::nullopt : json_values::idText(*id);
  }
  return json_values::idText(element);
}

void readNames(const json& root, std::unordered_map<std::string, std::string>& names) {
  const auto platform = root.find("storePlatformData");
  if (platform == root.end() || !platform->is_object()) {
    return;
  }
  for (const auto& section : *platform) {
    if (!section.is_object()) {
      continue;
    }
    const auto results = section.find("results");
    if (results == section.end() || !results->is_object()) {
      continue;
    }
    for (const auto& [key, entry] : results->items()) {
      if (!entry.is_object()) {
        continue;
      }
      if (const auto name = entry.find("name"); name != entry.end() && name->is_string()) {
        names.insert_or_assign(key, name->get<std::string>());
      }
    }
  }
}

}  // namespace

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
  const json root = json_values::parseOrDiscard(body);
  if (!root.is_object()) {
    throw AsoError::shapeChanged("kök JSON nesnesi değil");
  }
  const json* bubbles = bubblesOf(root);
  if (bubbles == nullptr || !isListOfObjects(*bubbles)) {
    throw AsoError::shapeChanged("'bubbles' yok");
  }
  if (bubbles->empty()) {
    throw AsoError::shapeChanged("'bubbles[].results' yok");
  }
  const json* chosen = &bubbles->front();
  for (const auto& bubble : *bubbles) {
    if (const auto name = bubble.find("name"); name != bubble.end() && *name == "software") {
      chosen = &bubble;
      break;
    }
  }
  const auto results = chosen->find("results");
  if (results == chosen->end() || !results->is_array()) {
    throw AsoError::shapeChanged("'bubbles[].results' yok");
  }

  StoreSearchResult result;
  result.orderedIds.reserve(results->size());
  for (const auto& element : *results) {
    if (auto id = resultId(element)) {
      result.orderedIds.push_back(std::move(*id));
    }
  }
  readNames(root, result.names);
  return result;
}

}  // namespace store_search
}  // namespace asokit
