#include "app/research/track_draft.h"

#include <algorithm>
#include <utility>

#include "app/base/keyword_key.h"
#include "app/research/keyword_list_parser.h"

namespace tovra::research {

TrackDraft::TrackDraft(DiscoveredApp app, bool isAlreadyTracked, std::unordered_set<std::string> existingQueries,
                       std::optional<std::string> foundFor, const asokit::MonotonicClock& clock, bool isMine)
    : clock_(&clock),
      app_(std::move(app)),
      isAlreadyTracked_(isAlreadyTracked),
      existingQueries_(std::move(existingQueries)),
      isMine_(isMine),
      typingCountry_(app_.country),
      foundFor_(std::move(foundFor)) {
  if (foundFor_) {
    auto term = base::collapseWhitespace(*foundFor_);
    if (!term.empty()) {
      keywords_.push_back(store::KeywordDraft{store::randomUuid(), std::move(term), typingCountry_,
                                              store::KeywordProvenance::carriedFromSearch});
    }
  }
}

const DiscoveredApp& TrackDraft::app() const {
  assertMainThread();
  return app_;
}

bool TrackDraft::isAlreadyTracked() const {
  assertMainThread();
  return isAlreadyTracked_;
}

const std::unordered_set<std::string>& TrackDraft::existingQueries() const {
  assertMainThread();
  return existingQueries_;
}

const std::vector<store::KeywordDraft>& TrackDraft::keywords() const {
  assertMainThread();
  return keywords_;
}

bool TrackDraft::isMine() const {
  assertMainThread();
  return isMine_;
}

const std::string& TrackDraft::typing() const {
  assertMainThread();
  return typing_;
}

const std::string& TrackDraft::typingCountry() const {
  assertMainThread();
  return typingCountry_;
}

const std::optional<std::string>& TrackDraft::foundFor() const {
  assertMainThread();
  return foundFor_;
}

const std::optional<std::string>& TrackDraft::typingNotice() const {
  assertMainThread();
  return typingNotice_;
}

const KeywordPasteGuard& TrackDraft::pasteGuard() const {
  assertMainThread();
  return pasteGuard_;
}

void TrackDraft::setTyping(std::string text) {
  assertMainThread();
  const auto before = std::exchange(typing_, std::move(text));
  changed();
  if (looksLikeList(before, typing_)) {
    addTyped();
  }
}

CommitOutcome TrackDraft::addTyped() {
  assertMainThread();
  const auto outcome = commitTyped(typing_, typingCountry_, clock_->now(), keywords_, typingNotice_, pasteGuard_);
  if (outcome != CommitOutcome::nothingTyped) {
    typing_.clear();
    changed();
  }
  return outcome;
}

void TrackDraft::remove(std::string_view id) {
  assertMainThread();
  if (std::erase_if(keywords_, [&](const store::KeywordDraft& draft) { return draft.id == id; }) > 0) {
    changed();
  }
}

void TrackDraft::setIsMine(bool isMine) {
  assertMainThread();
  if (isMine_ != isMine) {
    isMine_ = isMine;
    changed();
  }
}

void TrackDraft::setTypingCountry(std::string country) {
  assertMainThread();
  if (typingCountry_ != country) {
    typingCountry_ = std::move(country);
    changed();
  }
}

bool TrackDraft::addCarried(std::string_view keyword, store::KeywordProvenance provenance) {
  assertMainThread();
  auto term = base::collapseWhitespace(keyword);
  if (term.empty() || keywords_.size() >= static_cast<std::size_t>(kKeywordDraftLimit) ||
      base::graphemeCount(term) > kKeywordMaxLength) {
    return false;
  }
  const auto key = base::queryKey(term, typingCountry_);
  const bool duplicate = std::any_of(keywords_.begin(), keywords_.end(), [&](const store::KeywordDraft& draft) {
    return base::queryKey(draft.keyword, draft.country) == key;
  });
  if (duplicate) {
    return false;
  }
  keywords_.push_back(store::KeywordDraft{store::randomUuid(), std::move(term), typingCountry_, provenance});
  changed();
  return true;
}

bool TrackDraft::isAlreadyMeasured(const store::KeywordDraft& draft) const {
  assertMainThread();
  return existingQueries_.contains(base::queryKey(draft.keyword, draft.country));
}

std::string_view TrackDraft::costLine(const store::KeywordDraft& draft) const {
  return isAlreadyMeasured(draft) ? trackText::kAlreadyMeasured : trackText::kOneMoreRequest;
}

std::int64_t TrackDraft::newRequestCount() const {
  assertMainThread();
  return std::count_if(keywords_.begin(), keywords_.end(),
                       [&](const store::KeywordDraft& draft) { return !isAlreadyMeasured(draft); });
}

std::string TrackDraft::totalCostLine() const {
  return std::to_string(newRequestCount()) + " " + std::string(trackText::kNewRequestsSuffix);
}

std::optional<std::string_view> TrackDraft::trackedNote() const {
  assertMainThread();
  if (!isAlreadyTracked_) {
    return std::nullopt;
  }
  return trackText::kAlreadyTracked;
}

void TrackDraft::changed() {
  changes_.notify();
}

}  // namespace tovra::research
