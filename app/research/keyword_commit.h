#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "AsoKit/clock.h"
#include "app/store/keyword_draft.h"

namespace tovra::research {

// How long after a commit the same text is taken to be that commit's own echo.
inline constexpr std::chrono::milliseconds kPasteGuardWindow{1500};

// A paste commits at once; a Return pressed right after it still sees the pasted text and must not
// add the list a second time. The guard remembers what the last commit took and when.
struct KeywordPasteGuard {
  struct Consumed {
    std::string text;  // exactly as it stood in the field, untrimmed
    asokit::MonoTime at;
    bool operator==(const Consumed&) const = default;
  };
  std::optional<Consumed> consumed;

  // True when `typing` is exactly the text last committed, less than 1.5 s before `now`.
  bool alreadyTook(std::string_view typing, asokit::MonoTime now) const;
  bool operator==(const KeywordPasteGuard&) const = default;
};

enum class CommitOutcome {
  nothingTyped,  // only white space: nothing changes, the field keeps its text
  takenByPaste,  // the paste guard caught a repeat: nothing added, the field is cleared
  committed,     // parsed and appended; the field is cleared
};

// The commit both draft holders share. Duplicates are looked for among the drafts of the same country
// (trimmed, lower-cased), and among `stored`, the base::queryKey of every keyword the owner already
// keeps: a keyword already there counts as already added, as it does on the command line. The
// 50-keyword limit counts the drafts of every country. Accepted keywords are appended as typedByUser
// drafts with fresh ids and `country` as given; `notice` becomes the result's notice (cleared when
// nothing was dropped); the guard records `typing` and `now`.
CommitOutcome commitTyped(std::string_view typing, std::string_view country, asokit::MonoTime now,
                          std::vector<store::KeywordDraft>& drafts, std::optional<std::string>& notice,
                          KeywordPasteGuard& guard, const std::unordered_set<std::string>& stored = {});

}  // namespace tovra::research
