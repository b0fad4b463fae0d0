#include "app/research/discover_model.h"

#include "AsoKit/aso_error.h"
#include "app/base/keyword_key.h"
#include "app/research/error_lead.h"
#include "app/research/request_gate.h"
#include "app/store/ladder_writer.h"
#include "app/store/store.h"
#include "app/store/store_error.h"
#include "app/store/transaction.h"

namespace tovra::research {

DiscoverModel::DiscoverModel(SignalsSearch search, store::Store& store, const asokit::WallClock& clock,
                             base::MainQueue& queue)
    : search_(std::move(search)), store_(&store), clock_(&clock), requests_(queue) {}

void DiscoverModel::setOnForbidden(std::function<void()> onForbidden) {
  thread_.check();
  onForbidden_ = std::move(onForbidden);
}

void DiscoverModel::changed() {
  changes_.notify();
}

void DiscoverModel::setTerm(std::string term) {
  thread_.check();
  term_ = std::move(term);
  changed();
}

void DiscoverModel::setCountry(std::string country) {
  thread_.check();
  country_ = std::move(country);
  changed();
}

void DiscoverModel::select(std::optional<std::string> appStoreId) {
  thread_.check();
  selectedId_ = std::move(appStoreId);
  changed();
}

bool DiscoverModel::search() {
  thread_.check();
  auto term = base::collapseWhitespace(term_);
  if (term.empty()) {
    return false;
  }
  isSearching_ = true;
  failure_.reset();
  saveFailure_.reset();
  refused_ = false;
  unchanged_ = false;
  changed();
  requests_.start<asokit::SearchOutcome>(
      [this, term, country = country_](std::stop_token stop) { return search_(term, country, stop); },
      [this, term, country = country_](base::Answer<asokit::SearchOutcome> answer) {
        finishSearch(term, country, std::move(answer));
      });
  return true;
}

void DiscoverModel::finishSearch(const std::string& term, const std::string& country,
                                 base::Answer<asokit::SearchOutcome> answer) {
  try {
    auto outcome = answer.take();
    const auto now = clock_->now();
    // Shown results always answer the term and country they were asked for.
    results_ = std::move(outcome.apps);
    resultCount_ = outcome.resultCount;
    source_ = outcome.source;
    searchedTerm_ = term;
    searchedCountry_ = base::normalizedCountry(country);
    lastSearchAt_ = now;
    hasSearched_ = true;
    if (selectedId_ && !discoveredApp(*selectedId_)) {
      selectedId_.reset();
    }
    try {
      const auto written = store::LadderWriter(*store_).write(
          store::LadderReading{term, country, results_, outcome.resultCount, store::enrichedDepth(results_),
                               std::string(kDiscoverLadderSource), now});
      unchanged_ = written.sameAsPrevious;
    } catch (const store::StoreError& error) {
      saveFailure_ = saveFailedText(error.description());
    }
  } catch (const asokit::Cancelled&) {
    // Quitting: nothing was answered, so nothing is shown as an answer.
  } catch (const std::exception& error) {
    // A failed search clears the rows: its failure must never read as an empty answer.
    results_.clear();
    resultCount_.reset();
    source_.reset();
    searchedTerm_ = term;
    searchedCountry_ = base::normalizedCountry(country);
    hasSearched_ = true;
    selectedId_.reset();
    const auto* aso = dynamic_cast<const asokit::AsoError*>(&error);
    const auto* cooling = aso ? aso->as<asokit::AsoError::CoolingDown>() : nullptr;
    failure_ = cooling ? cooldownShort(cooling->secondsLeft) : asokit::describe(error);
    if (isRefusal(error)) {
      refused_ = true;
      if (!cooling && onForbidden_) {
        onForbidden_();
      }
    }
  }
  isSearching_ = false;
  changed();
}

std::vector<std::string> DiscoverModel::statusLines() const {
  if (!hasSearched_) {
    return {std::string(discoverText::kNothingYet), std::string(discoverText::kTypeATerm)};
  }
  std::vector<std::string> lines;
  if (failure_) {
    lines.emplace_back(discoverText::kSearchFailed);
    if (const auto lead = errorLead(*failure_)) {
      lines.emplace_back(*lead);
    }
    lines.push_back(*failure_);
    return lines;
  }
  if (results_.empty()) {
    lines.emplace_back(discoverText::kNoResults);
  } else if (unchanged_) {
    lines.emplace_back(discoverText::kNoChange);
  }
  if (saveFailure_) {
    lines.push_back(*saveFailure_);
  }
  return lines;
}

std::vector<DiscoveredApp> DiscoverModel::discovered() const {
  std::vector<DiscoveredApp> apps;
  apps.reserve(results_.size());
  for (const auto& app : results_) {
    apps.push_back(discoveredFromSearch(app, searchedCountry_.value_or(country_)));
  }
  return apps;
}

std::optional<DiscoveredApp> DiscoverModel::discoveredApp(std::string_view appStoreId) const {
  for (const auto& app : results_) {
    if (app.id == appStoreId) {
      return discoveredFromSearch(app, searchedCountry_.value_or(country_));
    }
  }
  return std::nullopt;
}

std::unique_ptr<TrackDraft> DiscoverModel::openTrackDraft(std::string_view appStoreId,
                                                          const asokit::MonotonicClock& clock) const {
  thread_.check();
  auto app = discoveredApp(appStoreId);
  if (!app) {
    return nullptr;
  }
  // An app already tracked keeps its own "mine" mark until the user changes it in the draft.
  const auto tracked = store_->apps().findByAppStoreId(app->id);
  return std::make_unique<TrackDraft>(std::move(*app), tracked.has_value(), measuredQueryKeys(*store_), searchedTerm_,
                                      clock, tracked && tracked->isMine);
}

KeptTerm DiscoverModel::keepInSpace(store::WatchlistWriter& writer, const store::ResearchSpace& space) const {
  thread_.check();
  if (!searchedTerm_ || !searchedCountry_) {
    throw KeepTargetError("Nothing was searched yet, so there is no term to keep.");
  }
  return keepTerm(writer, KeepTarget{space}, *searchedTerm_, *searchedCountry_,
                  store::KeywordProvenance::carriedFromSearch);
}

std::unordered_set<std::string> measuredQueryKeys(store::Store& store) {
  std::unordered_set<std::string> keys;
  for (const auto& query : store.queries().all()) {
    if (query.app && !query.isPaused) {
      keys.insert(base::queryKey(query.keyword, query.country));
    }
  }
  return keys;
}

store::WatchlistWriter::Receipt confirmTrackDraft(store::Store& store, store::WatchlistWriter& writer,
                                                  const TrackDraft& draft) {
  const auto& app = draft.app();
  store::Transaction edit(store);
  auto receipt = writer.trackApp(trackedFacts(app), app.country, draft.isMine());
  receipt.createdQueries = writer.addKeywords(receipt.app, draft.keywords());
  edit.commit();
  return receipt;
}

}  // namespace tovra::research
