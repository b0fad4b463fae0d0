#pragma once

#include <optional>
#include <string>
#include <string_view>
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
  explicit KeywordEntry(const asokit::MonotonicClock& clock) : clock_(&clock) {}

  // Return in the field: commit its text for the sheet's storefront.
  CommitOutcome commit(std::string_view typed, std::string_view country);
  // Every change of the field; commits at once, as Return would, when the change is a pasted list.
  std::optional<CommitOutcome> fieldChanged(std::string_view before, std::string_view after, std::string_view country);
  // Removes every draft with this id, keeping the order of the rest; the notice and guard stay.
  void remove(std::string_view id);

  const std::vector<store::KeywordDraft>& drafts() const { return drafts_; }
  const std::optional<std::string>& notice() const { return notice_; }
  const KeywordPasteGuard& pasteGuard() const { return pasteGuard_; }

 private:
  const asokit::MonotonicClock* clock_;
  std::vector<store::KeywordDraft> drafts_;
  std::optional<std::string> notice_;
  KeywordPasteGuard pasteGuard_;
};

}  // namespace tovra::research
