#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// The words of the watchlist board (the Apps page) and of its two sheets, add app and add keywords,
// decided here so that the desktop shows nothing it made up. The resolver's, the entry's and the deletion
// plan's own texts stay with their models.
namespace tovra::shell::board {

inline constexpr std::string_view kHeading = "Apps";
inline constexpr std::string_view kColumnName = "App or keyword";
inline constexpr std::string_view kColumnCountry = "Country";
inline constexpr std::string_view kColumnRank = "Latest rank";
inline constexpr std::string_view kColumnMeasured = "Measured";
inline constexpr std::string_view kColumnDetails = "Developer or state";
inline constexpr std::string_view kBoardName = "Tracked apps and research spaces";

inline constexpr std::string_view kMine = "mine";
inline constexpr std::string_view kMeasured = "measured";
inline constexpr std::string_view kParked = "parked";
inline constexpr std::string_view kNotMeasuredYet = "not measured yet";
inline constexpr std::string_view kNothingTracked =
    "No app is tracked yet. Add one with Add app…, or keep keywords in a new research space.";

inline constexpr std::string_view kNewSpace = "New research space";
inline constexpr std::string_view kRename = "Rename…";
inline constexpr std::string_view kGraduate = "Graduate…";
inline constexpr std::string_view kDelete = "Delete…";
inline constexpr std::string_view kDeleteEverything = "Delete everything…";
inline constexpr std::string_view kPause = "Pause";
inline constexpr std::string_view kResume = "Resume";
inline constexpr std::string_view kPauseHelp =
    "A paused keyword stays out of measurement runs; its history stays. Space switches the selected keyword.";
inline constexpr std::string_view kUndo = "Undo";
inline constexpr std::string_view kDismiss = "Dismiss";
inline constexpr std::string_view kSave = "Save";
inline constexpr std::string_view kCancel = "Cancel";
inline constexpr std::string_view kRenameLabel = "Name of the research space";

// The add-app sheet (also the graduation of a research space).
inline constexpr std::string_view kAddAppTitle = "Add app";
inline constexpr std::string_view kResolve = "Resolve";
inline constexpr std::string_view kTrack = "Track app";
inline constexpr std::string_view kGraduateButton = "Graduate";
inline constexpr std::string_view kMineClaim = "This is my app";
inline constexpr std::string_view kCountry = "Country";
inline constexpr std::string_view kFound = "Apps found";

// The add-keywords sheet.
inline constexpr std::string_view kAddToDraft = "Add to the draft";
inline constexpr std::string_view kRemove = "Remove";
inline constexpr std::string_view kOwner = "For";
inline constexpr std::string_view kDrafts = "Keywords to add";
inline constexpr std::string_view kNoOwner = "Add an app or a research space first: keywords belong to one of them.";

// "Lumen · mine" or "Lumen"; the developer, or an em dash when the store named none.
std::string appDetails(std::string_view developer, bool isMine);
// "graduated to Lumen"
std::string graduatedTo(std::string_view appName);
// "Tracking Lumen" after the add-app sheet created the app; "Already tracked: Lumen" when it was.
std::string trackedLine(std::string_view appName, bool created);
// "Lumen now holds the space's keywords · 3 moved · 1 stayed in the space (Lumen already had it)"
std::string graduatedLine(std::string_view appName, std::int64_t moved, std::int64_t kept);
// "Add keywords to Lumen" / "Park keywords in the research space “Trips”"
std::string addKeywordsTitle(std::string_view ownerName, bool isSpace);
// "Add 3 keywords", "Park 1 keyword"
std::string confirmAdd(std::int64_t count, bool isSpace);
// "Graduate the research space “Trips” to an app"
std::string graduateTitle(std::string_view spaceName);
// "photo editor · US · paused": what a screen reader says for a keyword row.
std::string keywordLabel(std::string_view keyword, std::string_view country, std::string_view state);

}  // namespace tovra::shell::board
