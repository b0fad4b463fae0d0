#include "tools/fakestore/scenario.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "AsoKit/storefront.h"
#include "tools/fakestore/fillers.h"

namespace tovra::fakestore {
namespace {

using nlohmann::json;

[[noreturn]] void refuse(const std::string& where, const std::string& what) {
  throw ScenarioError(fmt::format("{}: {}", where, what));
}

void onlyKeys(const json& object, const std::string& where, std::initializer_list<std::string_view> allowed) {
  for (const auto& [key, value] : object.items()) {
    if (std::find(allowed.begin(), allowed.end(), key) == allowed.end()) {
      std::string known;
      for (const std::string_view name : allowed) {
        known += known.empty() ? "" : ", ";
        known += name;
      }
      refuse(where, fmt::format("unknown key \"{}\" (known keys: {})", key, known));
    }
  }
}

const json& objectAt(const json& value, const std::string& where) {
  if (!value.is_object()) {
    refuse(where, "must be an object");
  }
  return value;
}

std::string stringAt(const json& value, const std::string& where) {
  if (!value.is_string()) {
    refuse(where, "must be a string");
  }
  return value.get<std::string>();
}

std::int64_t integerAt(const json& value, const std::string& where, std::int64_t minimum) {
  if (!value.is_number_integer() || value.get<std::int64_t>() < minimum) {
    refuse(where, fmt::format("must be a whole number of at least {}", minimum));
  }
  return value.get<std::int64_t>();
}

bool booleanAt(const json& value, const std::string& where) {
  if (!value.is_boolean()) {
    refuse(where, "must be true or false");
  }
  return value.get<bool>();
}

bool isAppId(const std::string& id) {
  return !id.empty() && std::all_of(id.begin(), id.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::string appIdAt(const json& value, const std::string& where) {
  std::string id = value.is_number_unsigned() ? std::to_string(value.get<std::uint64_t>())
                   : value.is_string()        ? value.get<std::string>()
                                              : std::string();
  if (!isAppId(id)) {
    refuse(where, "an app id is a string of digits");
  }
  return id;
}

std::string countryAt(const std::string& code, const std::string& where) {
  if (!asokit::storefront::storefrontId(code)) {
    refuse(where, fmt::format("\"{}\" is not a storefront country (lower-case codes such as us, gb, de, tr)", code));
  }
  return code;
}

App readApp(const std::string& id, const json& value, const std::string& where) {
  objectAt(value, where);
  onlyKeys(value, where, {"name", "developer", "bundleId", "artwork", "ratingCount", "averageRating"});
  if (!isAppId(id)) {
    refuse(where, "an app id is a string of digits");
  }
  App app;
  app.id = id;
  if (!value.contains("name")) {
    refuse(where, "an app needs a \"name\"");
  }
  app.name = stringAt(value["name"], where + ".name");
  if (value.contains("developer")) {
    app.developer = stringAt(value["developer"], where + ".developer");
  }
  if (value.contains("bundleId")) {
    app.bundleId = stringAt(value["bundleId"], where + ".bundleId");
  }
  if (value.contains("artwork")) {
    app.artwork = stringAt(value["artwork"], where + ".artwork");
  }
  if (value.contains("ratingCount")) {
    app.ratingCount = integerAt(value["ratingCount"], where + ".ratingCount", 0);
  }
  if (value.contains("averageRating")) {
    const json& rating = value["averageRating"];
    if (!rating.is_number() || rating.get<double>() < 0 || rating.get<double>() > 5) {
      refuse(where + ".averageRating", "must be a number from 0 to 5");
    }
    app.averageRating = rating.get<double>();
  }
  return app;
}

std::vector<std::string> readResult(const json& value, const std::string& where, const std::string& seed,
                                    Scenario& scenario) {
  const json* list = &value;
  std::size_t padTo = 0;
  if (value.is_object()) {
    onlyKeys(value, where, {"ids", "padTo"});
    if (!value.contains("ids")) {
      refuse(where, "needs \"ids\"");
    }
    list = &value["ids"];
    if (value.contains("padTo")) {
      padTo = static_cast<std::size_t>(integerAt(value["padTo"], where + ".padTo", 0));
    }
  }
  if (!list->is_array()) {
    refuse(where, "must be a list of app ids or {\"ids\": [...], \"padTo\": n}");
  }
  std::vector<std::string> ids;
  for (std::size_t i = 0; i < list->size(); ++i) {
    ids.push_back(appIdAt((*list)[i], fmt::format("{}[{}]", where, i)));
  }
  padWithInventedApps(ids, padTo, seed, scenario);
  return ids;
}

std::vector<Hint> readHints(const json& value, const std::string& where) {
  if (!value.is_array()) {
    refuse(where, "must be a list of terms");
  }
  std::vector<Hint> hints;
  for (std::size_t i = 0; i < value.size(); ++i) {
    const std::string at = fmt::format("{}[{}]", where, i);
    const json& item = value[i];
    if (item.is_string()) {
      hints.push_back({item.get<std::string>(), std::nullopt});
      continue;
    }
    objectAt(item, at);
    onlyKeys(item, at, {"term", "priority"});
    Hint hint{stringAt(item.value("term", json()), at + ".term"), std::nullopt};
    if (item.contains("priority")) {
      hint.priority = integerAt(item["priority"], at + ".priority", 0);
    }
    hints.push_back(std::move(hint));
  }
  return hints;
}

Fault readFault(const json& value, const std::string& where) {
  objectAt(value, where);
  onlyKeys(value, where,
           {"path", "term", "country", "skip", "times", "status", "delayMs", "body", "contentType", "truncate",
            "hangUp", "reshape"});
  Fault fault;
  const std::string path = value.contains("path") ? stringAt(value["path"], where + ".path") : "*";
  if (path == "search") {
    fault.endpoint = Endpoint::search;
  } else if (path == "hints") {
    fault.endpoint = Endpoint::hints;
  } else if (path == "lookup") {
    fault.endpoint = Endpoint::lookup;
  } else if (path != "*") {
    refuse(where + ".path", "must be \"search\", \"hints\", \"lookup\" or \"*\"");
  }
  if (value.contains("term")) {
    fault.term = stringAt(value["term"], where + ".term");
  }
  if (value.contains("country")) {
    fault.country = countryAt(stringAt(value["country"], where + ".country"), where + ".country");
  }
  if (value.contains("skip")) {
    fault.skip = integerAt(value["skip"], where + ".skip", 0);
  }
  if (value.contains("times") && !(value["times"].is_string() && value["times"] == "forever")) {
    fault.times = integerAt(value["times"], where + ".times", 1);
  }
  if (value.contains("status")) {
    fault.status = static_cast<int>(integerAt(value["status"], where + ".status", 100));
    if (*fault.status > 599) {
      refuse(where + ".status", "must be an HTTP status from 100 to 599");
    }
  }
  if (value.contains("delayMs")) {
    fault.delay = std::chrono::milliseconds(integerAt(value["delayMs"], where + ".delayMs", 0));
  }
  if (value.contains("body")) {
    fault.body = stringAt(value["body"], where + ".body");
  }
  if (value.contains("contentType")) {
    fault.contentType = stringAt(value["contentType"], where + ".contentType");
  }
  fault.truncate = value.contains("truncate") && booleanAt(value["truncate"], where + ".truncate");
  fault.hangUp = value.contains("hangUp") && booleanAt(value["hangUp"], where + ".hangUp");
  if (value.contains("reshape")) {
    fault.reshape = stringAt(value["reshape"], where + ".reshape");
    if (!fault.endpoint) {
      refuse(where + ".reshape", "a reshape needs a \"path\" (search, hints or lookup)");
    }
    const auto& known = reshapesOf(*fault.endpoint);
    if (std::find(known.begin(), known.end(), fault.reshape) == known.end()) {
      std::string names;
      for (const std::string_view name : known) {
        names += names.empty() ? "" : ", ";
        names += name;
      }
      refuse(where + ".reshape", fmt::format("unknown reshape \"{}\" for {} (known: {})", fault.reshape, path, names));
    }
  }
  if (!fault.status && fault.delay.count() == 0 && !fault.body && !fault.truncate && !fault.hangUp &&
      fault.reshape.empty()) {
    refuse(where, "does nothing: give a status, delayMs, body, truncate, hangUp or reshape");
  }
  return fault;
}

std::string folded(const std::string& text) {
  std::string out;
  bool blank = false;
  for (const char ch : text) {
    if (ch == ' ' || ch == '\t' || ch == '\n' || ch == '\r') {
      blank = !out.empty();
      continue;
    }
    if (blank) {
      out.push_back(' ');
      blank = false;
    }
    out.push_back(ch >= 'A' && ch <= 'Z' ? static_cast<char>(ch - 'A' + 'a') : ch);
  }
  return out;
}

template <class Value>
const Value* findTerm(const std::map<std::string, std::map<std::string, Value>>& table, const std::string& country,
                      const std::string& term) {
  const auto byCountry = table.find(country);
  if (byCountry == table.end()) {
    return nullptr;
  }
  if (const auto exact = byCountry->second.find(term); exact != byCountry->second.end()) {
    return &exact->second;
  }
  const std::string key = folded(term);
  for (const auto& [candidate, value] : byCountry->second) {
    if (folded(candidate) == key) {
      return &value;
    }
  }
  return nullptr;
}

}  // namespace

std::string_view endpointName(Endpoint endpoint) {
  switch (endpoint) {
    case Endpoint::search:
      return "search";
    case Endpoint::hints:
      return "hints";
    case Endpoint::lookup:
      return "lookup";
  }
  return "?";
}

const std::vector<std::string_view>& reshapesOf(Endpoint endpoint) {
  static const std::vector<std::string_view> search{"not-object",       "no-bubbles", "empty-bubbles",
                                                    "results-not-list", "page-data",  "software-second",
                                                    "no-names",         "numeric-ids"};
  static const std::vector<std::string_view> hints{"not-plist", "no-hints", "hints-not-list", "binary"};
  static const std::vector<std::string_view> lookup{"not-object", "no-results"};
  switch (endpoint) {
    case Endpoint::search:
      return search;
    case Endpoint::hints:
      return hints;
    case Endpoint::lookup:
      break;
  }
  return lookup;
}

Scenario parseScenario(std::string_view text) {
  const json root = json::parse(text, nullptr, false);
  if (root.is_discarded()) {
    throw ScenarioError("the scenario is not valid JSON");
  }
  objectAt(root, "scenario");
  onlyKeys(root, "scenario",
           {"apps", "search", "hints", "faults", "storm403AfterRequests", "stormLength", "namedResults", "comment"});
  Scenario scenario;
  if (root.contains("apps")) {
    for (const auto& [id, value] : objectAt(root["apps"], "apps").items()) {
      scenario.apps.emplace(id, readApp(id, value, fmt::format("apps.\"{}\"", id)));
    }
  }
  if (root.contains("search")) {
    for (const auto& [country, terms] : objectAt(root["search"], "search").items()) {
      const std::string where = fmt::format("search.{}", countryAt(country, "search." + country));
      for (const auto& [term, value] : objectAt(terms, where).items()) {
        scenario.search[country][term] =
            readResult(value, fmt::format("{}.\"{}\"", where, term), fmt::format("{}|{}", country, term), scenario);
      }
    }
  }
  if (root.contains("hints")) {
    for (const auto& [country, prefixes] : objectAt(root["hints"], "hints").items()) {
      const std::string where = fmt::format("hints.{}", countryAt(country, "hints." + country));
      for (const auto& [prefix, value] : objectAt(prefixes, where).items()) {
        scenario.hints[country][prefix] = readHints(value, fmt::format("{}.\"{}\"", where, prefix));
      }
    }
  }
  if (root.contains("faults")) {
    const json& faults = root["faults"];
    if (!faults.is_array()) {
      refuse("faults", "must be a list");
    }
    for (std::size_t i = 0; i < faults.size(); ++i) {
      scenario.faults.push_back(readFault(faults[i], fmt::format("faults[{}]", i)));
    }
  }
  if (root.contains("storm403AfterRequests")) {
    scenario.storm = Storm{integerAt(root["storm403AfterRequests"], "storm403AfterRequests", 0), std::nullopt};
    if (root.contains("stormLength")) {
      scenario.storm->length = integerAt(root["stormLength"], "stormLength", 1);
    }
  } else if (root.contains("stormLength")) {
    refuse("stormLength", "needs storm403AfterRequests");
  }
  if (root.contains("namedResults")) {
    scenario.namedResults = static_cast<std::size_t>(integerAt(root["namedResults"], "namedResults", 0));
  }
  return scenario;
}

Scenario loadScenario(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    throw ScenarioError(fmt::format("cannot read the scenario file {}", file.string()));
  }
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  try {
    return parseScenario(text);
  } catch (const ScenarioError& error) {
    throw ScenarioError(fmt::format("{}: {}", file.string(), error.what()));
  }
}

const std::vector<std::string>* findSearch(const Scenario& scenario, const std::string& country,
                                           const std::string& term) {
  return findTerm(scenario.search, country, term);
}

const std::vector<Hint>* findHints(const Scenario& scenario, const std::string& country, const std::string& prefix) {
  return findTerm(scenario.hints, country, prefix);
}

}  // namespace tovra::fakestore
