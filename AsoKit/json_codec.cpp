#include "AsoKit/json_codec.h"

namespace asokit {
namespace {

template <class T>
nlohmann::json optional(const std::optional<T>& value) {
  return value ? nlohmann::json(*value) : nlohmann::json(nullptr);
}

template <class T>
std::optional<T> optionalAt(const nlohmann::json& j, const char* key) {
  const auto found = j.find(key);
  if (found == j.end() || found->is_null()) {
    return std::nullopt;
  }
  return found->get<T>();
}

}  // namespace

void to_json(nlohmann::json& j, const RankQuery& v) {
  j = {{"appId", v.appId}, {"country", v.country}, {"keyword", v.keyword}};
}

void to_json(nlohmann::json& j, const TopApp& v) {
  j = {{"id", v.id}, {"name", v.name}};
}

void to_json(nlohmann::json& j, const RankObservation& v) {
  j = {{"query", v.query},
       {"rank", optional(v.rank)},
       {"resultCount", v.resultCount},
       {"topApps", v.topApps},
       {"source", v.source}};
}

void to_json(nlohmann::json& j, const RankStatus& v) {
  if (const auto* observation = v.observation()) {
    j = {{"status", "measured"}, {"observation", *observation}};
  } else if (const auto* failure = v.failure()) {
    j = {{"status", "failed"}, {"error", *failure}};
  } else {
    j = {{"status", "skipped"}};
  }
}

void to_json(nlohmann::json& j, const RankResult& v) {
  j = {{"query", v.query}, {"status", v.status}};
}

void to_json(nlohmann::json& j, const RankProgress& v) {
  j = {{"completedRequests", v.completedRequests},
       {"totalRequests", v.totalRequests},
       {"country", v.country},
       {"keyword", v.keyword},
       {"succeeded", v.succeeded}};
}

void to_json(nlohmann::json& j, const BatchOutcome& v) {
  j = {{"results", v.results},
       {"observations", v.observations},
       {"errors", v.errors},
       {"halted", v.halted},
       {"skipped", v.skipped},
       {"stopped", v.stopped},
       {"requestCount", v.requestCount}};
}

void to_json(nlohmann::json& j, const RankedApp& v) {
  j = {{"id", v.id},
       {"position", v.position},
       {"name", v.name},
       {"developer", v.developer},
       {"bundleId", optional(v.bundleId)},
       {"iconURL", optional(v.iconURL)},
       {"source", v.source},
       {"ratingCount", optional(v.ratingCount)},
       {"averageRating", optional(v.averageRating)}};
}

void to_json(nlohmann::json& j, const SearchOutcome& v) {
  j = {
      {"term", v.term}, {"country", v.country}, {"resultCount", v.resultCount}, {"apps", v.apps}, {"source", v.source}};
}

void to_json(nlohmann::json& j, const AppInfo& v) {
  j = {{"id", v.id},
       {"name", v.name},
       {"developer", v.developer},
       {"bundleId", optional(v.bundleId)},
       {"artworkUrl512", optional(v.artworkUrl512)},
       {"userRatingCount", optional(v.userRatingCount)},
       {"averageUserRating", optional(v.averageUserRating)}};
}

void from_json(const nlohmann::json& j, AppInfo& v) {
  v.id = j.at("id").get<std::string>();
  v.name = j.at("name").get<std::string>();
  v.developer = j.at("developer").get<std::string>();
  v.bundleId = optionalAt<std::string>(j, "bundleId");
  v.artworkUrl512 = optionalAt<std::string>(j, "artworkUrl512");
  v.userRatingCount = optionalAt<std::int64_t>(j, "userRatingCount");
  v.averageUserRating = optionalAt<double>(j, "averageUserRating");
}

void to_json(nlohmann::json& j, const HintTerm& v) {
  j = {{"position", v.position}, {"term", v.term}, {"priority", optional(v.priority)}};
}

void to_json(nlohmann::json& j, const HintsOutcome& v) {
  j = {{"prefix", v.prefix},
       {"country", v.country},
       {"terms", v.terms},
       {"carriesPriority", v.carriesPriority},
       {"source", v.source}};
}

}  // namespace asokit
