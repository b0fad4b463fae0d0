#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

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
  bool operator==(const BatchOutcome&) const = default;
};

struct RankedApp {
  std::string id;
  std::int64_t position = 0;
  std::string name;
  std::string developer;
  std::optional<std::string> bundleId;
  std::optional<std::string> iconURL;
  std::string source = "appstore";
  std::optional<std::int64_t> ratingCount;
  std::optional<double> averageRating;
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
  std::optional<std::string> artworkUrl512;
  std::optional<std::int64_t> userRatingCount;
  std::optional<double> averageUserRating;
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
