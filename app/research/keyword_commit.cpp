#include "app/research/keyword_commit.h"

#include <unordered_set>

#include "AsoKit/text.h"
#include "app/base/keyword_key.h"
#include "app/research/keyword_list_parser.h"

namespace tovra::research {

bool KeywordPasteGuard::alreadyTook(std::string_view typing, asokit::MonoTime now) const {
  return consumed && consumed->text == typing && now - consumed->at < kPasteGuardWindow;
}

CommitOutcome commitTyped(std::string_view typing, std::string_view country, asokit::MonoTime now,
                          std::vector<store::KeywordDraft>& drafts, std::optional<std::string>& notice,
                          KeywordPasteGuard& guard, const std::unordered_set<std::string>& stored) {
  if (asokit::text::trimWhitespace(typing).empty()) {
    return CommitOutcome::nothingTyped;
  }
  if (guard.alreadyTook(typing, now)) {
    return CommitOutcome::takenByPaste;
  }
  const auto wanted = base::normalizedCountry(country);
  std::unordered_set<std::string> existing;
  for (const auto& draft : drafts) {
    if (base::normalizedCountry(draft.country) == wanted) {
      existing.insert(base::keywordKey(draft.keyword));
    }
  }
  const auto suffix = "|" + wanted;
  for (const auto& key : stored) {
    if (key.size() > suffix.size() && key.ends_with(suffix)) {
      existing.insert(key.substr(0, key.size() - suffix.size()));
    }
  }
  const auto remaining = static_cast<std::int64_t>(kKeywordDraftLimit) - static_cast<std::int64_t>(drafts.size());
  const auto result = KeywordListParser::parse(typing, existing, remaining);
  for (const auto& keyword : result.keywords) {
    drafts.push_back(
        store::KeywordDraft{store::randomUuid(), keyword, std::string(country), store::KeywordProvenance::typedByUser});
  }
  notice = noticeText(result);
  guard.consumed = KeywordPasteGuard::Consumed{std::string(typing), now};
  return CommitOutcome::committed;
}

}  // namespace tovra::research
