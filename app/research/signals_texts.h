#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/research/autocomplete_reach.h"
#include "app/research/keyword_difficulty.h"
#include "app/research/signals_check.h"

// The lines that read a keyword's signals out, decided once so that every front end says the same.
namespace tovra::research {

// "Medium · median 1.5k ratings · 8 of 10 counts known"; the em dash when no difficulty could be read.
std::string difficultyLine(const std::optional<KeywordDifficulty>& difficulty);
// "Strong · listed at 4 of 9 letters · position 2", "None · not listed even for the full keyword",
// "Not asked".
std::string reachLine(const AutocompleteReach& reach);
// "listed at position 2" or "not listed", then " · from today's stored probe" when no request was made.
std::string probeStepText(const SignalsCheck::ProbeStep& step);
// Where a running check stands, for a progress line: "reading the top 10 of the store's search for
// “maps” in US…" until its first probe, then "hint probe 2 of at most 5 · “ma” · listed at position 2".
std::string signalsProgress(std::string_view keyword, std::string_view country,
                            const std::vector<SignalsCheck::ProbeStep>& steps);
// "3 hint probes asked · the shortest listing prefix is settled"; "1 hint probe asked · not settled".
std::string probesLine(const SignalsCheck::Summary& summary);
// What went wrong in a finished check, a line each: the failed requests with the last failure's words, a
// refusal that ended the check before any request failed, a save that failed. Empty when nothing did.
std::vector<std::string> signalsProblems(const SignalsCheck::Summary& summary,
                                         const std::optional<std::string>& saveFailure);

}  // namespace tovra::research
