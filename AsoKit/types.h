#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "AsoKit/clock.h"

namespace asokit {

// One thing to measure: where one app ranks for one keyword in one country.
struct RankQuery {
  std::string appId;
  std::string country;
  std::string keyword;
  bool operator==(const RankQuery&) const = default;
};

struct TopApp {
  std::string id;
  std::string name;  // "?" when the answer carried no name for the id
  bool operator==(const TopApp&) const = default;
};

struct RankObservation {
  RankQuery query;
  std::optional<std::int64_t> rank;  // 1-based; absent when the app is not among the results, never 0
  std::int64_t resultCount = 0;
  std::vector<TopApp> topApps;
  std::string source = "appstore";
  bool operator==(const RankObservation&) const = default;
};

// What became of one query of a batch.
struct RankStatus {
  struct Measured {
    RankObservation observation;
    bool operator==(const Measured&) const = default;
  };
  struct Failed {
    std::string description;
    bool operator==(const Failed&) const = default;
  };
  struct Skipped {
    bool operator==(const Skipped&) const = default;
  };
  std::variant<Measured, Failed, Skipped> value = Skipped{};

  bool isMeasured() const { return std::holds_alternative<Measured>(value); }
  bool isFailed() const { return std::holds_alternative<Failed>(value); }
  bool isSkipped() const { return std::holds_alternative<Skipped>(value); }
  const RankObservation* observation() const;
  const std::string* failure() const;
  bool operator==(const RankStatus&) const = default;
};

struct RankResult {
  RankQuery query;
  RankStatus status;
  bool operator==(const RankResult&) const = default;
};

struct RankProgress {
  std::int64_t completedRequests = 0;
  std::int64_t totalRequests = 0;
  std::string country;
  std::string keyword;
  bool succeeded = false;
  bool operator==(const RankProgress&) const = default;
};

struct BatchOutcome {
  std::vector<RankResult> results;
  std::vector<RankObservation> observations;
  std::vector<std::string> errors;
  bool halted = false;
  std::int64_t skipped = 0;
  bool stopped = false;
  std::int64_t requestCount = 0;
  // Whether the store refused a request (HTTP 403 after the retries, or a hold met on the way): whoever
  // ran the batch must hold every later request, whether or not the guard halted it.
  bool refused = false;
  // What the last failed request met, in a few words ("HTTP 500", the transport's message); whether that
  // was a refusal. Empty when no request failed. A halt is told by its last failure.
  std::string lastFailureCause;
  bool lastFailureRefused = false;
  bool operator==(const BatchOutcome&) const = default;
};

struct RankedApp {
  std::string id;
  std::int64_t position = 0;
  std::string name;
  std::string developer;
  std::optional<std::string> bundleId;
  // The small icon a result list shows (128 px, WebP), made by the client from the lookup's artwork.
  std::optional<std::string> iconURL;
  std::string source = "appstore";
  std::optional<std::int64_t> ratingCount;
  std::optional<double> averageRating;
  // The 512-pixel artwork exactly as the lookup answered it, kept beside the icon so that whoever stores
  // an app's artwork never has to undo the icon's rewrite. Not part of the result's JSON.
  std::optional<std::string> artworkUrl512;
  // The current version and the moment the store released it, as the lookup answered them; kept as the
  // app's releases. Not part of the result's JSON either.
  std::optional<std::string> version;
  std::optional<WallTime> versionReleasedAt;
  bool operator==(const RankedApp&) const = default;
};

struct SearchOutcome {
  std::string term;
  std::string country;
  std::int64_t resultCount = 0;
  std::vector<RankedApp> apps;
  std::string source = "appstore";
  bool operator==(const SearchOutcome&) const = default;
};

struct AppInfo {
  std::string id;
  std::string name;
  std::string developer;
  std::optional<std::string> bundleId;
  std::optional<std::string> artworkUrl512;  // the 512-pixel artwork, as the lookup answered it
  std::optional<std::int64_t> userRatingCount;
  std::optional<double> averageUserRating;
  // The current version and when the store released it ("currentVersionReleaseDate"); none when the
  // answer lacks either or the date does not read as an ISO 8601 UTC time.
  std::optional<std::string> version;
  std::optional<WallTime> versionReleasedAt;
  // The small icon made from the artwork (see lookup::iconUrl); none without artwork.
  std::optional<std::string> iconURL() const;
  bool operator==(const AppInfo&) const = default;
};

struct HintTerm {
  std::int64_t position = 0;  // the element's place in the answer's list, gaps kept
  std::string term;
  std::optional<std::int64_t> priority;
  bool operator==(const HintTerm&) const = default;
};

struct SearchHintsResult {
  std::vector<HintTerm> terms;
  bool operator==(const SearchHintsResult&) const = default;
};

struct HintsOutcome {
  std::string prefix;
  std::string country;
  std::vector<HintTerm> terms;
  bool carriesPriority = false;
  std::string source = "appstore-hints";
  bool operator==(const HintsOutcome&) const = default;
};

}  // namespace asokit
