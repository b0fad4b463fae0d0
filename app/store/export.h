#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "AsoKit/clock.h"
#include "app/store/local_time.h"

// The whole store as one JSON file. Every record is read into one of the exported values below and
// written out at once, under one read transaction, so the file is one consistent snapshot and memory
// does not grow with the number of readings. Keys are sorted in every object, dates are ISO 8601 UTC
// texts in whole seconds, and an absent optional is written as null, never left out.
namespace tovra::store {

class Store;

// Shown beside the export action and written into every file.
inline constexpr std::string_view kExportNote =
    "rank: null means the query was measured and the app was not inside the depth the App Store returned. It never "
    "means 0, and it never means the measurement failed — a failed measurement writes no observation at all.";
inline constexpr std::string_view kExportLocalOnly =
    "Tovra writes the whole store as JSON. Nothing is requested from the App Store to produce this file.";
inline constexpr std::string_view kExportWhyJson =
    "JSON, not CSV: an unknown rank stays null — a spreadsheet would read an empty cell as 0. rank: null means the "
    "query was measured and the app was not inside the depth the App Store returned. It never means 0, and it never "
    "means the measurement failed — a failed measurement writes no observation at all.";

// The top-level object; its five lists (apps, researchSpaces, runs, ladders, hintProbes) are written as
// they are read rather than held.
struct ExportedStore {
  asokit::WallTime exportedAt;
  std::string generatedBy;
  std::string note;
};

struct ExportedApp {
  std::string appStoreId;
  std::string displayName;
  std::string developer;
  std::optional<std::string> bundleId;
  std::optional<std::string> artworkUrl512;
  bool isMine = false;
  asokit::WallTime addedAt;
};

struct ExportedLocalization {
  std::string country;
  std::string name;
  std::string developer;
  asokit::WallTime fetchedAt;
};

struct ExportedSpace {
  std::string id;
  std::string name;
  std::optional<std::string> note;
  asokit::WallTime createdAt;
  std::optional<std::string> promotedToAppStoreId;
  std::optional<asokit::WallTime> promotedAt;
};

struct ExportedQuery {
  std::string keyword;
  std::string country;
  std::string provenance;
  asokit::WallTime addedAt;
  bool isPaused = false;
};

struct ExportedObservation {
  asokit::WallTime day;
  asokit::WallTime measuredAt;
  std::optional<std::int64_t> rank;
  std::int64_t resultCount = 0;
  std::string source;
};

struct ExportedReviewMark {
  asokit::WallTime day;
  asokit::WallTime markedAt;
};

struct ExportedRun {
  asokit::WallTime startedAt;
  std::optional<asokit::WallTime> finishedAt;
  bool halted = false;
  bool stopped = false;
  std::int64_t requestCount = 0;
  std::int64_t queryCount = 0;
};

// `keyword` and `country` are null when the outcome lost its keyword; `appStoreId` when the keyword has
// no app.
struct ExportedOutcome {
  std::string status;
  std::optional<std::string> message;
  std::optional<std::string> keyword;
  std::optional<std::string> country;
  std::optional<std::string> appStoreId;
};

struct ExportedLadder {
  std::string keyword;
  std::string country;
  asokit::WallTime fetchedAt;
  std::int64_t enrichedDepth = 0;
  std::int64_t resultCount = 0;
  std::string source;
};

// The entry's icon address is deliberately not exported.
struct ExportedLadderEntry {
  std::int64_t position = 0;
  std::string appStoreId;
  std::string name;
  std::string developer;
  std::optional<std::int64_t> ratingCount;
  std::optional<double> averageRating;
};

struct ExportedProbe {
  std::string prefix;
  std::string country;
  asokit::WallTime observedAt;
  std::string source;
  bool carriedPriority = false;
};

struct ExportedHint {
  std::int64_t position = 0;
  std::string term;
  std::optional<std::int64_t> priority;
};

// "Tovra" and the application's version ("Tovra 0.1.0"); just "Tovra" when no version is known.
std::string exportGeneratedBy();

// "tovra-export-" + the local date of `now` ("2025-01-14") + ".json".
std::string proposedExportFileName(asokit::WallTime now, const LocalTimeFormat& localTime);

// The name of a further export into a folder that already holds the proposed one: "-" and `number`
// before ".json" ("tovra-export-2025-01-14-2.json"); number 1 is the proposed name itself.
std::string numberedExportFileName(std::string_view proposed, int number);

// Writes the whole store to `sink` in chunks. Throws StoreError when the store cannot be read; whatever
// the sink throws ends the export.
void exportStore(Store& store, asokit::WallTime exportedAt, const std::function<void(std::string_view)>& sink);

// The whole export as one text (tests and small stores).
std::string exportStoreToString(Store& store, asokit::WallTime exportedAt);

// Whether an export may replace a file of its name that is already there, or another program's file
// that appeared under that name while the export was being written.
enum class ExistingFile { replace, keep };

// What an export that keeps existing files throws when its name is taken; nothing was written.
class ExportNameTaken final : public std::runtime_error {
 public:
  explicit ExportNameTaken(const std::filesystem::path& target);
  std::string description() const { return what(); }
};

// Writes the export to `target`: first to a temporary file in the same folder, flushed to the disk, then
// renamed to `target`, so a failed export (a full disk, a read-only folder) leaves no half file under
// that name. With ExistingFile::keep the rename never replaces a file, even one made a moment before
// (ExportNameTaken). Throws StoreError in words.
void exportStoreToFile(Store& store, asokit::WallTime exportedAt, const std::filesystem::path& target,
                       ExistingFile existing = ExistingFile::replace);

}  // namespace tovra::store
