#include "app/research/autocomplete_reach.h"

#include <algorithm>

#include "app/base/keyword_key.h"
#include "app/base/text_fold.h"
#include "app/base/unicode_text.h"

namespace tovra::research {
namespace {

std::vector<std::string> characters(const std::string& text) {
  const auto u = base::unicode::fromUtf8(text);
  const auto bounds = base::unicode::graphemeBounds(u);
  std::vector<std::string> out;
  for (std::size_t i = 0; i + 1 < bounds.size(); ++i) {
    out.push_back(base::unicode::toUtf8(u.tempSubString(bounds[i], bounds[i + 1] - bounds[i])));
  }
  return out;
}

// Case and diacritics, not width: the store's hints are compared as a case- and diacritic-insensitive
// search compares them.
std::string folded(std::string_view text) {
  return base::foldCaseDiacritics(base::collapseWhitespace(text));
}

// The number of halvings that narrow `outcomes` possibilities to one: ⌈log2(outcomes)⌉ in integers.
std::int64_t halvings(std::int64_t outcomes) {
  std::int64_t count = 0;
  for (std::int64_t reach = 1; reach < outcomes; reach *= 2) {
    ++count;
  }
  return count;
}

}  // namespace

std::string reachForm(std::string_view keyword) {
  return base::lowerCased(base::collapseWhitespace(keyword));
}

HintSnapshot HintSnapshot::from(const asokit::HintsOutcome& outcome, asokit::WallTime observedAt) {
  HintSnapshot snapshot{outcome.prefix, outcome.country, observedAt, {}};
  snapshot.terms.reserve(outcome.terms.size());
  for (const auto& term : outcome.terms) {
    snapshot.terms.push_back(Term{term.position, term.term});
  }
  return snapshot;
}

std::optional<std::int64_t> HintSnapshot::positionOf(std::string_view keyword) const {
  const auto wanted = folded(keyword);
  if (wanted.empty()) {
    return std::nullopt;
  }
  for (const auto& term : terms) {
    if (folded(term.term) == wanted) {
      return term.position;
    }
  }
  return std::nullopt;
}

std::string_view bandName(AutocompleteReach::Band band) {
  switch (band) {
    case AutocompleteReach::Band::strong:
      return "Strong";
    case AutocompleteReach::Band::moderate:
      return "Moderate";
    case AutocompleteReach::Band::none:
      return "None";
    case AutocompleteReach::Band::notAsked:
      return "Not asked";
  }
  return "Not asked";
}

std::string_view bandRaw(AutocompleteReach::Band band) {
  switch (band) {
    case AutocompleteReach::Band::strong:
      return "strong";
    case AutocompleteReach::Band::moderate:
      return "moderate";
    case AutocompleteReach::Band::none:
      return "none";
    case AutocompleteReach::Band::notAsked:
      return "notAsked";
  }
  return "notAsked";
}

PrefixPlanner::PrefixPlanner(std::string_view keyword)
    : keyword_(reachForm(keyword)),
      characters_(characters(keyword_)),
      length_(static_cast<std::int64_t>(characters_.size())) {
  for (auto length = std::min<std::int64_t>(length_, 2); length >= 1 && length <= length_; ++length) {
    // The reach form has single spaces only, so a prefix ending in white space ends in " ".
    if (characters_[static_cast<std::size_t>(length - 1)] != " ") {
      candidates_.push_back(length);
    }
  }
}

std::string PrefixPlanner::prefix(std::int64_t length) const {
  std::string out;
  for (std::int64_t i = 0; i < std::min(length, length_); ++i) {
    out += characters_[static_cast<std::size_t>(i)];
  }
  return out;
}

void PrefixPlanner::observe(std::int64_t length, Observation observation) {
  observations_.insert_or_assign(length, observation);
}

void PrefixPlanner::observe(std::int64_t length, const HintSnapshot& snapshot) {
  const auto position = snapshot.positionOf(keyword_);
  observe(length, Observation{position, snapshot.observedAt});
}

PrefixPlanner::Bounds PrefixPlanner::bounds() const {
  Bounds b{0, candidates_.size()};
  bool listedSeen = false;
  for (std::size_t i = 0; i < candidates_.size(); ++i) {
    const auto found = observations_.find(candidates_[i]);
    if (found == observations_.end()) {
      continue;
    }
    if (found->second.isListed()) {
      if (!listedSeen) {
        b.hi = i;
        listedSeen = true;
      }
    } else {
      b.lo = i + 1;
    }
  }
  return b;
}

std::int64_t PrefixPlanner::probesNeeded() const {
  const auto [lo, hi] = bounds();
  if (hi <= lo) {
    return 0;
  }
  const auto gap = static_cast<std::int64_t>(hi - lo);
  return std::min(halvings(gap + 1), kMaxProbes);
}

std::optional<std::int64_t> PrefixPlanner::nextLength() const {
  const auto [lo, hi] = bounds();
  if (hi <= lo) {
    return std::nullopt;
  }
  return candidates_[(lo + hi) / 2];
}

bool PrefixPlanner::converged() const {
  const auto [lo, hi] = bounds();
  return hi <= lo;
}

AutocompleteReach PrefixPlanner::reach() const {
  AutocompleteReach reach;
  reach.keywordLength = length_;
  for (const auto& [length, observation] : observations_) {
    if (observation.isListed()) {
      reach.letters = length;
      reach.position = observation.position;
      reach.asOf = observation.observedAt;
      const bool withinHalf = length <= (length_ + 1) / 2;
      reach.band = withinHalf && *observation.position <= kStrongReachPosition ? AutocompleteReach::Band::strong
                                                                               : AutocompleteReach::Band::moderate;
      return reach;
    }
  }
  const auto full = observations_.find(length_);
  if (length_ > 0 && full != observations_.end() && !full->second.isListed()) {
    reach.band = AutocompleteReach::Band::none;
    reach.asOf = full->second.observedAt;
  }
  return reach;
}

}  // namespace tovra::research
