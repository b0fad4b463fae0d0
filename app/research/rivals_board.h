#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/store/repositories.h"

namespace tovra::store {
class Store;
}

namespace tovra::research {

namespace rivalsText {
inline constexpr std::string_view kHeading = "Rivals";
inline constexpr std::array<std::string_view, 6> kBoardColumns{"Position",  "Move",   "App",
                                                               "Developer", "Rating", "Tracked"};
inline constexpr std::string_view kKeywords = "Keywords and countries";
inline constexpr std::string_view kSavedSearch = "Saved search";
inline constexpr std::string_view kBoard = "Who ranked where";
inline constexpr std::string_view kOvertakes = "Who overtook whom";
inline constexpr std::string_view kStandings = "Where your tracked apps stand";
inline constexpr std::string_view kDetails = "App details";
inline constexpr std::string_view kPickRow = "Open a row of the board to see the app's facts.";
inline constexpr std::string_view kNoSavedSearch =
    "No saved search of this keyword yet: a search in Discover or a signals check keeps one.";
inline constexpr std::string_view kPickKeyword = "Pick a keyword to see who ranked where.";
inline constexpr std::string_view kNoKeywords =
    "Nothing to compare yet: track a keyword or search one in Discover, and its saved searches appear here.";
inline constexpr std::string_view kFirstSearch = "the first saved search of this keyword: nothing to compare with";
inline constexpr std::string_view kNoOvertakes = "nobody overtook anybody since the previous saved search";
inline constexpr std::string_view kNew = "new";
inline constexpr std::string_view kHeld = "held";
inline constexpr std::string_view kYours = "yours";
inline constexpr std::string_view kTracked = "tracked";
inline constexpr std::string_view kSideBySide = "Every tracked app on this keyword, day by day";
inline constexpr std::string_view kNoTrackedApp = "No tracked app measures this keyword in this country.";
}  // namespace rivalsText

// Overtakes are looked for among the top of each saved search (and around your tracked apps anywhere):
// deeper down a long result reshuffles too much to be worth a line each.
inline constexpr std::int64_t kOvertakeDepth = 25;

// A keyword and country with saved searches or tracked apps, as the rivals board lists them.
struct RivalKeyword {
  std::string keyword;  // as the newest saved search (or the tracked keyword) wrote it
  std::string country;
  std::int64_t savedSearches = 0;
  std::int64_t trackedApps = 0;
};

// One app of a saved search, beside where it stood in the previous one.
struct BoardRow {
  store::LadderEntry entry;
  std::optional<std::int64_t> previousPosition;  // none: not in the previous one, or there was none
  bool tracked = false;
  bool mine = false;
};

// `winner` moved above `loser` since the previous saved search; both were in both.
struct Overtake {
  BoardRow winner;
  BoardRow loser;
};

// Where a tracked app stands in a saved search: its position, or none when it was not among the results.
struct Standing {
  store::TrackedApp app;
  std::optional<std::int64_t> position;
  std::optional<std::int64_t> previousPosition;
};

struct BoardSearch {
  store::StoredLadder ladder;
  bool hasPrevious = false;
  std::vector<BoardRow> rows;  // by position
  std::vector<Overtake> overtakes;
  std::vector<Standing> standings;  // yours first, then by name
};

// The saved searches of one keyword and country, newest first, each against the one before it.
struct RivalsBoard {
  std::vector<BoardSearch> searches;
};

// Builds the board from saved searches given newest first, and the apps Tovra tracks.
RivalsBoard rivalsBoard(const std::vector<store::SavedLadder>& newestFirst,
                        const std::vector<store::TrackedApp>& trackedApps);

// Reads the board of a keyword (by its keyword key) and country. Throws StoreError.
RivalsBoard readRivalsBoard(store::Store& store, std::string_view keyword, std::string_view country);
// Every keyword and country with a saved search or a tracked app, by keyword, then country. Throws StoreError.
std::vector<RivalKeyword> rivalKeywords(store::Store& store);

// "▲ 3", "▼ 2", "held", "new"; an em dash on the first saved search
std::string movementText(const BoardRow& row, bool hasPrevious);
// "Snapseed (4 → 2) overtook Lumen Photo (2 → 3)"
std::string overtakeText(const Overtake& overtake);
// "Lumen Photo · 4 (was 6)" or "Lumen Photo · not in the top 200"
std::string standingText(const Standing& standing, std::int64_t resultCount);
// "2025-01-14 09:30 · 200 results", the time as the caller writes it
std::string savedSearchLabel(const store::StoredLadder& ladder, std::string_view time);
// "Position 4 of 200 · App Store id 284882215"
std::string positionLine(const BoardRow& row, std::int64_t resultCount);
// "photo editor · US · 12 saved searches · 2 tracked apps"
std::string rivalKeywordLabel(const RivalKeyword& keyword);
// "Rating 4.6 from 12.3k ratings" or an em dash for what the search did not carry
std::string ratingText(const store::LadderEntry& entry);

}  // namespace tovra::research
