#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace tovra::research {

// A draft holds at most this many keywords, all countries together.
inline constexpr int kKeywordDraftLimit = 50;
// Longest keyword, in user-perceived characters.
inline constexpr std::size_t kKeywordMaxLength = 100;

// Turns typed or pasted text into keywords. Bad pieces are counted, never refused with an error.
class KeywordListParser final {
 public:
  struct Result {
    std::vector<std::string> keywords;  // accepted, input order, whitespace collapsed, case kept
    std::int64_t repeated = 0;          // key already seen earlier in the same input
    std::int64_t alreadyAdded = 0;      // key among `existing`
    std::int64_t tooLong = 0;           // over kKeywordMaxLength characters
    std::int64_t overLimit = 0;         // did not fit under the remaining limit
    bool operator==(const Result&) const = default;
  };

  // `existing` holds keyword keys (keywordKey) already present; `limit` is how many keywords may still be
  // accepted (a negative limit accepts none). Each piece is tested in this order: repeated, already
  // added, too long, over the limit, so a repeat of a rejected piece still counts as repeated.
  static Result parse(std::string_view text, const std::unordered_set<std::string>& existing, std::int64_t limit);
};

// The one-line notice of what a commit dropped: "2 already added · 1 repeated in what you pasted ·
// 1 longer than 100 characters · 3 over the 50-keyword limit", each part only when its count is at
// least 1, in that order. Absent when nothing was dropped; the accepted count is never part of it.
std::optional<std::string> noticeText(const KeywordListParser::Result& result);

// The pieces of `text` between separators, empty ones dropped, otherwise as they stand. The nine
// separators are , ; LF CR CR-LF TAB and the full-width comma, full-width semicolon and ideographic
// comma (U+FF0C, U+FF1B, U+3001); they are matched as whole characters, so CR LF is one separator and a
// comma carrying a combining mark is not a separator.
std::vector<std::string> splitAtSeparators(std::string_view text);

bool containsSeparator(std::string_view text);

// Whether a change of the entry field from `before` to `after` is a pasted list to commit at once: any
// text holding a line break, or text that grew by two or more characters and holds a separator.
// Typing one character at a time never commits, even a comma.
bool looksLikeList(std::string_view before, std::string_view after);

}  // namespace tovra::research
