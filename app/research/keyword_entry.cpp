#include "app/research/keyword_entry.h"

#include <algorithm>

#include "app/research/keyword_list_parser.h"

namespace tovra::research {

CommitOutcome KeywordEntry::commit(std::string_view typed, std::string_view country) {
  return commitTyped(typed, country, clock_->now(), drafts_, notice_, pasteGuard_);
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

}  // namespace tovra::research
