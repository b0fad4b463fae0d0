#include "tools/fakestore/answers.h"

#include <plist/plist.h>

#include <memory>
#include <nlohmann/json.hpp>

#include "AsoKit/storefront.h"
#include "AsoKit/url.h"

namespace tovra::fakestore {
namespace {

using nlohmann::json;
using Plist = std::unique_ptr<std::remove_pointer_t<plist_t>, decltype(&plist_free)>;

const App* appOf(const Scenario& scenario, const std::string& id) {
  const auto found = scenario.apps.find(id);
  return found == scenario.apps.end() ? nullptr : &found->second;
}

json lockup(const App& app) {
  json entry = {{"id", app.id}, {"name", app.name}, {"artistName", app.developer}, {"kind", "iosSoftware"}};
  if (app.artwork) {
    entry["artwork"] = json::array({{{"width", 512}, {"height", 512}, {"url", *app.artwork}}});
  }
  if (app.ratingCount || app.averageRating) {
    entry["userRating"] = {{"value", app.averageRating.value_or(0.0)}, {"ratingCount", app.ratingCount.value_or(0)}};
  }
  return entry;
}

json bubble(const std::string& name, const std::vector<std::string>& ids, bool numericIds) {
  json results = json::array();
  for (const std::string& id : ids) {
    results.push_back({{"type", 0},
                       {"id", numericIds ? json(std::stoull(id)) : json(id)},
                       {"entity", name == "software" ? "software" : "messagesSoftware"}});
  }
  return {{"results", std::move(results)}, {"name", name}, {"totalCount", ids.size()}};
}

std::string hintUrl(const std::string& term) {
  return asokit::buildUrl("https://search.itunes.apple.com", "/WebObjects/MZStore.woa/wa/search",
                          {{"clientApplication", "Software"}, {"src", "hint"}, {"submit", "edit"}, {"term", term}});
}

}  // namespace

std::string searchAnswer(const Scenario& scenario, const std::vector<std::string>& ids, std::string_view country,
                         std::string_view storefrontHeader, std::string_view term, std::string_view reshape) {
  json named = json::object();
  for (std::size_t i = 0; i < ids.size() && i < scenario.namedResults; ++i) {
    if (const App* app = appOf(scenario, ids[i])) {
      named[ids[i]] = lockup(*app);
    }
  }
  json bubbles = json::array({bubble("software", ids, reshape == "numeric-ids")});
  if (reshape == "software-second") {
    bubbles.insert(bubbles.begin(), bubble("messagesSoftware", {"674064590"}, false));
  } else if (reshape == "results-not-list") {
    bubbles[0]["results"] = named;
  } else if (reshape == "empty-bubbles") {
    bubbles = json::array();
  }
  if (reshape == "not-object") {
    return bubbles.dump();
  }
  json answer = {
      {"metricsBase",
       {{"pageType", "Search"},
        {"storeFrontHeader", storefrontHeader},
        {"language", "1"},
        {"storeFront", std::string(asokit::storefront::storefrontId(country).value_or(""))}}},
      {"pageType", "search"},
      {"term", term},
      {"metrics", {{"config", json::object()}, {"fields", {{"searchTerm", term}}}}},
  };
  if (reshape != "no-names") {
    answer["storePlatformData"] = {{"native-search-lockup-search", {{"results", std::move(named)}}}};
  }
  if (reshape == "page-data") {
    answer["pageData"] = {{"bubbles", std::move(bubbles)}};
  } else if (reshape != "no-bubbles") {
    answer["bubbles"] = std::move(bubbles);
  }
  return answer.dump();
}

std::string hintsAnswer(const std::vector<Hint>& hints, std::string_view reshape) {
  if (reshape == "not-plist") {
    json list = json::array();
    for (const Hint& hint : hints) {
      list.push_back({{"term", hint.term}, {"url", hintUrl(hint.term)}});
    }
    return json{{"title", "Suggestions"}, {"hints", std::move(list)}}.dump();
  }
  Plist root(plist_new_dict(), &plist_free);
  plist_dict_set_item(root.get(), "title", plist_new_string("Suggestions"));
  if (reshape != "no-hints") {
    plist_t list = reshape == "hints-not-list" ? plist_new_dict() : plist_new_array();
    for (const Hint& hint : hints) {
      plist_t item = plist_new_dict();
      plist_dict_set_item(item, "term", plist_new_string(hint.term.c_str()));
      plist_dict_set_item(item, "url", plist_new_string(hintUrl(hint.term).c_str()));
      if (hint.priority) {
        plist_dict_set_item(item, "priority", plist_new_uint(static_cast<std::uint64_t>(*hint.priority)));
      }
      if (reshape == "hints-not-list") {
        plist_dict_set_item(list, hint.term.c_str(), item);
      } else {
        plist_array_append_item(list, item);
      }
    }
    plist_dict_set_item(root.get(), "hints", list);
  }
  char* data = nullptr;
  std::uint32_t length = 0;
  std::string out;
  if (reshape == "binary") {
    plist_to_bin(root.get(), &data, &length);
    out.assign(data, length);
    plist_to_bin_free(data);
  } else {
    plist_to_xml(root.get(), &data, &length);
    out.assign(data, length);
    plist_to_xml_free(data);
  }
  return out;
}

std::string lookupAnswer(const std::vector<const App*>& apps, std::string_view country, std::string_view reshape) {
  json results = json::array();
  for (const App* app : apps) {
    json entry = {{"kind", "software"},
                  {"trackId", std::stoull(app->id)},
                  {"trackName", app->name},
                  {"artistName", app->developer},
                  {"trackViewUrl", "https://apps.apple.com/" + std::string(country) + "/app/id" + app->id + "?uo=4"}};
    if (app->bundleId) {
      entry["bundleId"] = *app->bundleId;
    }
    if (app->artwork) {
      entry["artworkUrl512"] = *app->artwork;
    }
    // Unrated apps come without the rating keys at all, as the store sends them.
    if (app->ratingCount) {
      entry["userRatingCount"] = *app->ratingCount;
    }
    if (app->averageRating) {
      entry["averageUserRating"] = *app->averageRating;
    }
    results.push_back(std::move(entry));
  }
  if (reshape == "not-object") {
    return "\n\n\n" + results.dump() + "\n\n\n";
  }
  json answer = {{"resultCount", results.size()}};
  if (reshape != "no-results") {
    answer["results"] = std::move(results);
  }
  return "\n\n\n" + answer.dump(1) + "\n\n\n";
}

}  // namespace tovra::fakestore
