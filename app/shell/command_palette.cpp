#include "app/shell/command_palette.h"

#include <unicode/uchar.h>

#include <algorithm>

#include "app/base/text_fold.h"
#include "app/base/unicode_text.h"

namespace tovra::shell {

namespace {

namespace unicode = base::unicode;

// One user-perceived character of a text, folded for comparison, and whether it begins a word.
struct Character {
  std::string folded;
  bool isLetterOrDigit = false;
};

std::vector<Character> characters(const icu::UnicodeString& text) {
  const auto bounds = base::unicode::graphemeBounds(text);
  std::vector<Character> out;
  for (std::size_t i = 0; i + 1 < bounds.size(); ++i) {
    const auto cluster = text.tempSubStringBetween(bounds[i], bounds[i + 1]);
    const auto first = cluster.char32At(0);
    out.push_back({base::foldCaseDiacritics(base::unicode::toUtf8(cluster)), u_isalnum(first) != 0});
  }
  return out;
}

icu::UnicodeString withoutWhiteSpace(std::string_view text) {
  const auto source = base::unicode::fromUtf8(text);
  icu::UnicodeString out;
  for (std::int32_t at = 0; at < source.length();) {
    const auto c = source.char32At(at);
    if (!u_hasBinaryProperty(c, UCHAR_WHITE_SPACE)) {
      out.append(c);
    }
    at += U16_LENGTH(c);
  }
  return out;
}

constexpr int kWordStart = 8;
constexpr int kAdjacent = 5;
constexpr int kMaxSkipPenalty = 6;

}  // namespace

std::string noCommandMatches(std::string_view query) {
  return "no command matches “" + std::string(query) + "”";
}

std::optional<int> paletteScore(std::string_view query, std::string_view title) {
  const auto wanted = characters(withoutWhiteSpace(query));
  if (wanted.empty()) {
    return 0;
  }
  const auto letters = characters(base::unicode::fromUtf8(title));
  int score = 0;
  std::optional<std::size_t> previous;
  std::size_t next = 0;
  for (const auto& character : wanted) {
    // A character the folding removes whole (a lone combining mark) asks for nothing.
    if (character.folded.empty()) {
      continue;
    }
    auto at = next;
    while (at < letters.size() && letters[at].folded != character.folded) {
      ++at;
    }
    if (at == letters.size()) {
      return std::nullopt;
    }
    if (at == 0 || !letters[at - 1].isLetterOrDigit) {
      score += kWordStart;
    }
    if (!previous) {
      score -= std::min(static_cast<int>(at), kMaxSkipPenalty);
    } else if (at == *previous + 1) {
      score += kAdjacent;
    } else {
      score -= std::min(static_cast<int>(at - *previous - 1), kMaxSkipPenalty);
    }
    score += 1;
    previous = at;
    next = at + 1;
  }
  return score;
}

std::vector<PaletteMatch> paletteMatches(std::string_view query) {
  std::vector<PaletteMatch> matches;
  for (const auto& action : tovraActions()) {
    if (const auto score = paletteScore(query, action.title)) {
      matches.push_back({action.id, *score});
    }
  }
  std::stable_sort(matches.begin(), matches.end(),
                   [](const PaletteMatch& a, const PaletteMatch& b) { return a.score > b.score; });
  return matches;
}

void CommandPaletteModel::open() {
  isOpen_ = true;
  setQuery("");
}

void CommandPaletteModel::close() {
  isOpen_ = false;
}

void CommandPaletteModel::setQuery(std::string query) {
  query_ = std::move(query);
  matches_ = paletteMatches(query_);
  selection_ = 0;
}

void CommandPaletteModel::move(int step) {
  if (matches_.empty()) {
    selection_ = 0;
    return;
  }
  selection_ = std::clamp(selection_ + step, 0, static_cast<int>(matches_.size()) - 1);
}

std::optional<TovraActionID> CommandPaletteModel::selected() const {
  if (selection_ < 0 || selection_ >= static_cast<int>(matches_.size())) {
    return std::nullopt;
  }
  return matches_[static_cast<std::size_t>(selection_)].id;
}

bool CommandPaletteModel::runSelected(const TovraActionHandler& handler) {
  const auto id = selected();
  if (!id || !handler.isEnabled(*id)) {
    return false;
  }
  // Closed first: the action may open a sheet or the palette itself.
  close();
  return handler.run(*id);
}

}  // namespace tovra::shell
