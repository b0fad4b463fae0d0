#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "AsoKit/clock.h"
#include "app/base/observable.h"
#include "app/base/thread_affinity.h"
#include "app/research/discovered_app.h"
#include "app/research/keyword_commit.h"
#include "app/store/keyword_draft.h"

namespace tovra::research {

namespace trackText {
inline constexpr std::string_view kPlaceholder = "type a keyword, or several with commas";
inline constexpr std::string_view kAddHelp =
    "Add what is typed to the draft — commas, semicolons or new lines separate several keywords";
inline constexpr std::string_view kRemoveHelp = "Remove this keyword from the draft";
inline constexpr std::string_view kAlreadyMeasured = "already measured · no extra time";
inline constexpr std::string_view kOneMoreRequest = "+1 request per run";
inline constexpr std::string_view kNewRequestsSuffix = "new requests per run";
inline constexpr std::string_view kCostHint = "a keyword you already measure costs nothing extra";
inline constexpr std::string_view kAlreadyTracked = "already tracked · adding keywords only";
}  // namespace trackText

// The track panel's draft: one discovered app, the keywords to track it for, and the ownership claim.
// Lives on the main thread while the panel is open; every change is published to its subscribers.
class TrackDraft final {
 public:
  // `existingQueries` holds base::queryKey(keyword, country) of every keyword-and-country pair already measured.
  // A draft opened from a search starts with that term (carriedFromSearch) in the app's country, which is
  // also the country typed keywords get until it is changed. `isMine` is the mark the draft starts from:
  // a tracked app's own, so that confirming the draft keeps it unless the user changes it.
  TrackDraft(DiscoveredApp app, bool isAlreadyTracked, std::unordered_set<std::string> existingQueries,
             std::optional<std::string> foundFor, const asokit::MonotonicClock& clock, bool isMine = false);

  // Tells every subscriber after each change of what the model shows.
  const base::Observable<>& changes() const { return changes_; }

  const DiscoveredApp& app() const;
  bool isAlreadyTracked() const;
  const std::unordered_set<std::string>& existingQueries() const;
  const std::vector<store::KeywordDraft>& keywords() const;
  bool isMine() const;
  const std::string& typing() const;
  const std::string& typingCountry() const;
  const std::optional<std::string>& foundFor() const;
  const std::optional<std::string>& typingNotice() const;
  const KeywordPasteGuard& pasteGuard() const;

  // The field changed; a pasted list (see looksLikeList) commits at once, as Return would.
  void setTyping(std::string text);
  // Return or the add button: commit what is typed.
  CommitOutcome addTyped();
  void remove(std::string_view id);
  void setIsMine(bool isMine);
  void setTypingCountry(std::string country);
  // Adds one term taken from elsewhere (a store hint) in the typing country, unsplit. False when it is
  // empty, already a draft for that country, too long, or the draft is full.
  bool addCarried(std::string_view keyword, store::KeywordProvenance provenance);

  // The cost line: a keyword already measured in that country costs nothing, since one request serves
  // every app on the same keyword and country.
  bool isAlreadyMeasured(const store::KeywordDraft& draft) const;
  std::string_view costLine(const store::KeywordDraft& draft) const;
  std::int64_t newRequestCount() const;
  std::string totalCostLine() const;  // "3 new requests per run"
  std::optional<std::string_view> trackedNote() const;

 private:
  void assertMainThread() const { thread_.check(); }
  void changed();

  base::ThreadAffinity thread_;
  const asokit::MonotonicClock* clock_;
  base::Observable<> changes_;
  DiscoveredApp app_;
  bool isAlreadyTracked_;
  std::unordered_set<std::string> existingQueries_;
  std::vector<store::KeywordDraft> keywords_;
  bool isMine_ = false;
  std::string typing_;
  std::string typingCountry_;
  std::optional<std::string> foundFor_;
  std::optional<std::string> typingNotice_;
  KeywordPasteGuard pasteGuard_;
};

}  // namespace tovra::research
