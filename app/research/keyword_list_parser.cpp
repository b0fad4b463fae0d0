#include "app/research/keyword_list_parser.h"

#include <string>
#include <unordered_set>

#include "app/base/keyword_key.h"
#include "app/base/unicode_text.h"

namespace tovra::research {
namespace {

// Separators are whole characters (grapheme clusters): CR LF is a single one, so it is listed as such.
const std::unordered_set<std::u16string>& separators() {
  static const std::unordered_set<std::u16string> set{u",",  u";",      u"\n",     u"\r",    u"\r\n",
                                                      u"\t", u"\uFF0C", u"\uFF1B", u"\u3001"};
  return set;
}

bool isSeparator(const icu::UnicodeString& text, std::int32_t start, std::int32_t end) {
  // No separator is longer than two UTF-16 units; longer clusters are never looked up.
  if (end - start > 2) {
    return false;
  }
  return separators().contains(std::u16string(text.getBuffer() + start, static_cast<std::size_t>(end - start)));
}

bool holdsLineBreak(const icu::UnicodeString& text) {
  return text.indexOf(u'\n') >= 0 || text.indexOf(u'\r') >= 0;
}

bool holdsSeparator(const icu::UnicodeString& text) {
  const auto bounds = base::unicode::graphemeBounds(text);
  for (std::size_t i = 0; i + 1 < bounds.size(); ++i) {
    if (isSeparator(text, bounds[i], bounds[i + 1])) {
      return true;
    }
  }
  return false;
}

}  // namespace

std::vector<std::string> splitAtSeparators(std::string_view text) {
  const auto u = base::unicode::fromUtf8(text);
  const auto bounds = base::unicode::graphemeBounds(u);
  std::vector<std::string> pieces;
  std::int32_t pieceStart = 0;
  const auto flush = [&](std::int32_t end) {
    if (end > pieceStart) {
      pieces.push_back(base::unicode::toUtf8(icu::UnicodeString(u, pieceStart, end - pieceStart)));
    }
  };
  for (std::size_t i = 0; i + 1 < bounds.size(); ++i) {
    if (isSeparator(u, bounds[i], bounds[i + 1])) {
      flush(bounds[i]);
      pieceStart = bounds[i + 1];
    }
  }
  flush(u.length());
  return pieces;
}

bool containsSeparator(std::string_view text) {
  return holdsSeparator(base::unicode::fromUtf8(text));
}

bool looksLikeList(std::string_view before, std::string_view after) {
  const auto u = base::unicode::fromUtf8(after);
  // A line break is itself a separator, so any multi-line text counts, however it arrived.
  if (holdsLineBreak(u)) {
    return true;
  }
  if (base::graphemeCount(after) < base::graphemeCount(before) + 2) {
    return false;
  }
  return holdsSeparator(u);
}

KeywordListParser::Result KeywordListParser::parse(std::string_view text,
                                                   const std::unordered_set<std::string>& existing,
                                                   std::int64_t limit) {
  Result result;
  std::unordered_set<std::string> seen;
  std::int64_t accepted = 0;
  for (const auto& piece : splitAtSeparators(text)) {
    auto collapsed = base::collapseWhitespace(piece);
    if (collapsed.empty()) {
      continue;
    }
    const auto key = base::keywordKey(collapsed);
    if (!seen.insert(key).second) {
      ++result.repeated;
    } else if (existing.contains(key)) {
      ++result.alreadyAdded;
    } else if (base::graphemeCount(collapsed) > kKeywordMaxLength) {
      ++result.tooLong;
    } else if (limit >= 0 && accepted < limit) {
      result.keywords.push_back(std::move(collapsed));
      ++accepted;
    } else {
      ++result.overLimit;
    }
  }
  return result;
}

std::optional<std::string> noticeText(const KeywordListParser::Result& result) {
  std::string notice;
  const auto add = [&](std::int64_t count, const std::string& words) {
    if (count < 1) {
      return;
    }
    if (!notice.empty()) {
      notice += " · ";
    }
    notice += std::to_string(count) + words;
  };
  add(result.alreadyAdded, " already added");
  add(result.repeated, " repeated in what you pasted");
  add(result.tooLong, " longer than " + std::to_string(kKeywordMaxLength) + " characters");
  add(result.overLimit, " over the " + std::to_string(kKeywordDraftLimit) + "-keyword limit");
  if (notice.empty()) {
    return std::nullopt;
  }
  return notice;
}

}  // namespace tovra::research
