#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "AsoKit/clock.h"
#include "app/research/keyword_commit.h"
#include "app/store/keyword_draft.h"

namespace tovra::research {

inline constexpr std::string_view kKeywordEntryPlaceholder = "Keyword, or several separated by commas";

// The drafts of the add-keywords sheet (for an app or a research space). The sheet owns the text
// field; it hands the field's text in and clears the field unless the outcome is nothingTyped.
class KeywordEntry final {
 public:
  // `stored`: base::queryKey of every keyword the app or space already keeps; typing one of them again
  // counts as already added. `measured`: base::queryKey of every keyword-and-country pair a run already
  // asks for, whichever app it belongs to; adding one of those costs no extra request.
  explicit KeywordEntry(const asokit::MonotonicClock& clock, std::unordered_set<std::string> stored = {},
                        std::unordered_set<std::string> measured = {})
      : clock_(&clock), stored_(std::move(stored)), measured_(std::move(measured)) {}

  // Return in the field: commit its text for the sheet's storefront.
  CommitOutcome commit(std::string_view typed, std::string_view country);
  // Every change of the field; commits at once, as Return would, when the change is a pasted list.
  std::optional<CommitOutcome> fieldChanged(std::string_view before, std::string_view after, std::string_view country);
  // Removes every draft with this id, keeping the order of the rest; the notice and guard stay.
  void remove(std::string_view id);

  const std::vector<store::KeywordDraft>& drafts() const { return drafts_; }
  const std::optional<std::string>& notice() const { return notice_; }
  const KeywordPasteGuard& pasteGuard() const { return pasteGuard_; }

  // The cost line of an app's draft, as in the track panel: one request serves every app on the same
  // keyword and country, so a keyword a run already asks for costs nothing extra.
  bool isAlreadyMeasured(const store::KeywordDraft& draft) const;
  std::string_view costLine(const store::KeywordDraft& draft) const;
  std::int64_t newRequestCount() const;
  std::string totalCostLine() const;  // "3 new requests per run"

 private:
  const asokit::MonotonicClock* clock_;
  std::unordered_set<std::string> stored_;
  std::unordered_set<std::string> measured_;
  std::vector<store::KeywordDraft> drafts_;
  std::optional<std::string> notice_;
  KeywordPasteGuard pasteGuard_;
};

}  // namespace tovra::research
