#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The words of the desktop's Discover page that are not a model's own state: its controls, its panels'
// titles and the lines that read a result row out. Decided here so the desktop holds no wording of its own.
namespace tovra::research {

namespace discoverLabel {
inline constexpr std::string_view kSearchPlaceholder = "Search the App Store for a term";
inline constexpr std::string_view kSearchField = "Search term";
inline constexpr std::string_view kSearch = "Search";
inline constexpr std::string_view kSearching = "Searching the App Store…";
inline constexpr std::string_view kCountry = "Country";
inline constexpr std::string_view kResults = "Results in the store's order";
inline constexpr std::string_view kPanels = "Discover panels";
inline constexpr std::string_view kResultsAndPanels = "Results and panels";
inline constexpr std::string_view kTrackTab = "Track";
inline constexpr std::string_view kSignalsTab = "Signals";
inline constexpr std::string_view kHintsTab = "Store hints";
inline constexpr std::string_view kSavedTab = "Saved searches";
inline constexpr std::string_view kPickRow = "Pick a result to track it, or to keep the searched term.";
inline constexpr std::string_view kMine = "This app is mine";
inline constexpr std::string_view kTypingCountry = "Country of typed keywords";
inline constexpr std::string_view kKeywordField = "Keywords to track";
inline constexpr std::string_view kAdd = "Add";
inline constexpr std::string_view kRemove = "Remove";
inline constexpr std::string_view kDrafts = "Keywords in the draft";
inline constexpr std::string_view kConfirmTrack = "Track";
inline constexpr std::string_view kSpace = "Research space";
inline constexpr std::string_view kKeepTerm = "Keep the term in the space";
inline constexpr std::string_view kNoSpace = "No research space yet — make one on the Apps page to keep terms in it.";
inline constexpr std::string_view kCheckOnce = "Check once…";
inline constexpr std::string_view kCheckTitle = "Check once";
inline constexpr std::string_view kCheckApp = "Tracked app";
inline constexpr std::string_view kCheckKeyword = "Keyword";
inline constexpr std::string_view kCheck = "Check";
inline constexpr std::string_view kClose = "Close";
inline constexpr std::string_view kNoTrackedApp =
    "No app is tracked yet: check once measures a keyword for a tracked app.";
inline constexpr std::string_view kSignalsKeyword = "Keyword to read";
inline constexpr std::string_view kReadSignals = "Read signals";
inline constexpr std::string_view kReadingSignals = "Reading signals…";
inline constexpr std::string_view kStoredSignals = "As the store holds them · read them again to refresh";
inline constexpr std::string_view kDifficulty = "Difficulty";
inline constexpr std::string_view kReach = "Reach";
inline constexpr std::string_view kProbeTrail = "Probe trail";
inline constexpr std::string_view kShowHelp = "How signals are read";
inline constexpr std::string_view kHintPrefix = "Prefix to ask";
inline constexpr std::string_view kAskHints = "Ask the store";
inline constexpr std::string_view kAskingHints = "Asking the store for hints…";
inline constexpr std::string_view kHints = "Hints in the store's order";
inline constexpr std::string_view kAddHintToDraft = "Add to the track draft";
inline constexpr std::string_view kKeepHint = "Keep the hint in the space";
inline constexpr std::string_view kNoDraftOpen = "Pick a result first to add hints to its track draft.";
}  // namespace discoverLabel

// How many of a search's results Discover shows, with their details looked up.
inline constexpr std::int64_t kDiscoverShown = 25;

// "12.3k ratings", "1 rating"; an unknown count is an em dash, never 0.
std::string ratingCountLabel(const std::optional<std::int64_t>& ratingCount);
// "average 4.6"; "average —" when the store gave none.
std::string averageLabel(const std::optional<double>& averageRating);
// Both: "12.3k ratings · average 4.6".
std::string ratingLine(const std::optional<std::int64_t>& ratingCount, const std::optional<double>& averageRating);
// "#3"; the em dash when the store gave no position.
std::string positionText(const std::optional<std::int64_t>& position);
// "Found for “photo editor”".
std::string foundForText(std::string_view term);
// "Asked: “p” in US → “ph” in US"; empty when nothing was asked.
std::string hintTrailText(const std::vector<std::pair<std::string, std::string>>& steps);
// "“ph” · 2 letters · listed at position 3 · from today's stored probe".
std::string probeTrailLine(std::string_view prefix, std::int64_t letters, std::string_view stepText);

}  // namespace tovra::research
