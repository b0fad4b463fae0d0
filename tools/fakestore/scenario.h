#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tovra::fakestore {

enum class Endpoint { search, hints, lookup };

std::string_view endpointName(Endpoint endpoint);

struct App {
  std::string id;
  std::string name;
  std::string developer;
  std::optional<std::string> bundleId;
  std::optional<std::string> artwork;  // the 512-pixel artwork URL
  std::optional<std::int64_t> ratingCount;
  std::optional<double> averageRating;
};

struct Hint {
  std::string term;
  std::optional<std::int64_t> priority;
};

// One way for the store to misbehave. A request meets the first fault in scenario order whose
// filters match and that is not spent.
struct Fault {
  std::optional<Endpoint> endpoint;  // none: every endpoint
  std::optional<std::string> term;   // search term, hints prefix, or the lookup's id list or bundle id
  std::optional<std::string> country;
  std::int64_t skip = 0;               // matching requests let through before the fault starts
  std::optional<std::int64_t> times;   // how often it fires; none: forever
  std::optional<int> status;           // none: the normal status (200)
  std::chrono::milliseconds delay{0};  // before answering
  std::optional<std::string> body;     // replaces the normal body
  std::optional<std::string> contentType;
  bool truncate = false;  // send the first half of the body as a complete answer
  bool hangUp = false;    // announce the whole body, send half of it, close the connection
  std::string reshape;    // a named change of the normal answer's shape; empty: none
};

// After `afterRequests` requests the store answers 403 to everything, for `length` requests or
// for good.
struct Storm {
  std::int64_t afterRequests = 0;
  std::optional<std::int64_t> length;
};

struct Scenario {
  std::map<std::string, App> apps;
  // country → term → ordered ids
  std::map<std::string, std::map<std::string, std::vector<std::string>>> search;
  // country → prefix → hints in order
  std::map<std::string, std::map<std::string, std::vector<Hint>>> hints;
  std::vector<Fault> faults;
  std::optional<Storm> storm;
  // The store names only the head of a result list; the rest are bare ids.
  std::size_t namedResults = 8;
};

// A scenario file that cannot be used; the text says where and why.
class ScenarioError final : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

Scenario parseScenario(std::string_view json);
Scenario loadScenario(const std::filesystem::path& file);

// The reshapes each endpoint knows.
const std::vector<std::string_view>& reshapesOf(Endpoint endpoint);

// A term's entry for a country: the exact term first, else the one equal after folding ASCII case
// and collapsing blanks. None when the scenario has no entry.
const std::vector<std::string>* findSearch(const Scenario& scenario, const std::string& country,
                                           const std::string& term);
const std::vector<Hint>* findHints(const Scenario& scenario, const std::string& country, const std::string& prefix);

}  // namespace tovra::fakestore
