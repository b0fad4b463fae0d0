#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "AsoKit/clock.h"
#include "AsoKit/types.h"

namespace tovra::research {

// Strong reach: listed within half the letters (rounded up) and at this place or better.
inline constexpr std::int64_t kStrongReachPosition = 3;
// The most hint probes a signals check asks for one keyword.
inline constexpr std::int64_t kMaxProbes = 5;

// The form of a keyword that reach and planning work on: whitespace collapsed, lower-cased.
std::string reachForm(std::string_view keyword);

// One probe's answer: what the store's search hints completed a prefix to.
struct HintSnapshot {
  struct Term {
    std::int64_t position = 0;  // the place in the answer's list
    std::string term;
    bool operator==(const Term&) const = default;
  };

  std::string prefix;
  std::string country;
  asokit::WallTime observedAt;
  std::vector<Term> terms;

  static HintSnapshot from(const asokit::HintsOutcome& outcome, asokit::WallTime observedAt);

  // The position of the first term that is the keyword, compared with whitespace collapsed and case and
  // diacritics folded (so "Café" is listed as "cafe", but full-width "ｃａｆｅ" is another term); none when
  // no term is.
  std::optional<std::int64_t> positionOf(std::string_view keyword) const;
  bool operator==(const HintSnapshot&) const = default;
};

// How few letters it takes before the store's search suggests the whole keyword, and where.
struct AutocompleteReach {
  enum class Band { strong, moderate, none, notAsked };

  Band band = Band::notAsked;
  std::optional<std::int64_t> letters;   // the shortest prefix length that lists the keyword
  std::optional<std::int64_t> position;  // its place among the hints at that length
  std::int64_t keywordLength = 0;        // characters of the reach form
  std::optional<asokit::WallTime> asOf;  // when the probe the reach rests on was asked
  bool operator==(const AutocompleteReach&) const = default;
};

// "Strong", "Moderate", "None", "Not asked".
std::string_view bandName(AutocompleteReach::Band band);
// The case names, for machine output.
std::string_view bandRaw(AutocompleteReach::Band band);

// Which prefix lengths of a keyword are worth asking, and in what order. A prefix that lists the keyword
// means every longer one does too, and one that misses it means every shorter one misses it, so
// bisection over the candidate lengths finds the shortest listing prefix in few probes.
class PrefixPlanner final {
 public:
  struct Observation {
    std::optional<std::int64_t> position;  // listed at this place; absent when not listed
    asokit::WallTime observedAt;
    static Observation listed(std::int64_t position, asokit::WallTime at = {}) { return {position, at}; }
    static Observation absent(asokit::WallTime at = {}) { return {std::nullopt, at}; }
    bool isListed() const { return position.has_value(); }
    bool operator==(const Observation&) const = default;
  };

  explicit PrefixPlanner(std::string_view keyword);

  const std::string& keyword() const { return keyword_; }  // the reach form
  std::int64_t keywordLength() const { return length_; }
  // Lengths from min(n, 2) to n in increasing order, without those whose prefix ends in a space. A
  // one-letter prefix is asked only for a one-letter keyword.
  const std::vector<std::int64_t>& candidates() const { return candidates_; }
  // The first `length` characters of the reach form.
  std::string prefix(std::int64_t length) const;

  // Records what a probe of the prefix of `length` characters saw (a later observation replaces one of
  // the same length).
  void observe(std::int64_t length, Observation observation);
  // Reads a probe's answer for the prefix of `length` characters.
  void observe(std::int64_t length, const HintSnapshot& snapshot);
  const std::map<std::int64_t, Observation>& observations() const { return observations_; }

  // The halvings still needed to settle the shortest listing prefix, at most five.
  std::int64_t probesNeeded() const;
  // The length to ask next; none once the plan has converged.
  std::optional<std::int64_t> nextLength() const;
  bool converged() const;
  AutocompleteReach reach() const;

 private:
  struct Bounds {
    std::size_t lo = 0;
    std::size_t hi = 0;
  };
  Bounds bounds() const;

  std::string keyword_;
  std::vector<std::string> characters_;  // the reach form split into user-perceived characters
  std::int64_t length_ = 0;
  std::vector<std::int64_t> candidates_;
  std::map<std::int64_t, Observation> observations_;
};

}  // namespace tovra::research
