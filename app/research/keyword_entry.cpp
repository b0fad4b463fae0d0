#include "app/research/keyword_entry.h"

#include <algorithm>

#include "app/base/keyword_key.h"
#include "app/research/keyword_list_parser.h"
#include "app/research/track_draft.h"

namespace tovra::research {

CommitOutcome KeywordEntry::commit(std::string_view typed, std::string_view country) {
  return commitTyped(typed, country, clock_->now(), drafts_, notice_, pasteGuard_, stored_);
}

std::optional<CommitOutcome> KeywordEntry::fieldChanged(std::string_view before, std::string_view after,
                                                        std::string_view country) {
  if (!looksLikeList(before, after)) {
    return std::nullopt;
  }
  return commit(after, country);
}

void KeywordEntry::remove(std::string_view id) {
  std::erase_if(drafts_, [&](const store::KeywordDraft& draft) { return draft.id == id; });
}

bool KeywordEntry::isAlreadyMeasured(const store::KeywordDraft& draft) const {
  return measured_.contains(base::queryKey(draft.keyword, draft.country));
}

std::string_view KeywordEntry::costLine(const store::KeywordDraft& draft) const {
  return isAlreadyMeasured(draft) ? trackText::kAlreadyMeasured : trackText::kOneMoreRequest;
}

std::int64_t KeywordEntry::newRequestCount() const {
  return std::count_if(drafts_.begin(), drafts_.end(),
                       [&](const store::KeywordDraft& draft) { return !isAlreadyMeasured(draft); });
}

std::string KeywordEntry::totalCostLine() const {
  return std::to_string(newRequestCount()) + " " + std::string(trackText::kNewRequestsSuffix);
}

}  // namespace tovra::research
