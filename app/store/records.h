#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "AsoKit/clock.h"
#include "app/store/keyword_provenance.h"

// The twelve kinds of record the store keeps. Records are plain values: reading one copies it out of the
// store, and a change reaches the store only through the store's own operations (app/store/*.h).
// To-many relationships are not held in the values; they are read through the owning kind's finders
// (for example `Queries::ofApp`).
namespace tovra::store {

using asokit::WallTime;

// The store's own identity of a record: the row it lives in. Zero means "not stored yet". Typed by the
// record kind so that an app's row can never be passed where a keyword's is expected.
template <class Record>
struct RecordId {
  std::int64_t value = 0;
  bool isStored() const { return value != 0; }
  auto operator<=>(const RecordId&) const = default;
};

struct TrackedApp;
struct AppLocalization;
struct ResearchSpace;
struct TrackedQuery;
struct StoredObservation;
struct MeasurementRun;
struct RunOutcome;
struct ReviewMark;
struct StoredLadder;
struct LadderEntry;
struct HintProbe;
struct StoreHint;

// What became of one keyword in one run; stored by its raw text, which equals the case name.
enum class RunOutcomeStatus { measured, failed, skipped };
std::string_view rawValue(RunOutcomeStatus status);
std::optional<RunOutcomeStatus> runOutcomeStatus(std::string_view raw);

// An app the user follows (their own or a rival). `appStoreId` is unique: inserting a second app with
// the same identifier yields the stored one. Owns its keywords (deleted with it); its localizations
// are only detached.
struct TrackedApp {
  RecordId<TrackedApp> rowId;
  std::string appStoreId;
  std::string displayName;
  std::string developer;
  std::optional<std::string> bundleId;
  std::optional<std::string> artworkUrl512;
  bool isMine = false;
  WallTime addedAt;
  bool operator==(const TrackedApp&) const = default;
};

// The name one country's App Store shows for an app.
struct AppLocalization {
  RecordId<AppLocalization> rowId;
  std::string country;
  std::string name;
  std::string developer;
  WallTime fetchedAt;
  std::optional<RecordId<TrackedApp>> app;
  bool operator==(const AppLocalization&) const = default;
};

// Keywords kept before there is an app; never measured. `id` is a UUID in its 36-character text form,
// unique across spaces. Owns the keywords parked in it.
struct ResearchSpace {
  RecordId<ResearchSpace> rowId;
  std::string id;
  std::string name;
  std::optional<std::string> note;
  WallTime createdAt;
  std::optional<std::string> promotedToAppStoreId;
  std::optional<WallTime> promotedAt;
  bool operator==(const ResearchSpace&) const = default;
};

// One keyword in one country, belonging to an app or to a research space (never both). Owns its
// readings; its review marks are only detached.
struct TrackedQuery {
  RecordId<TrackedQuery> rowId;
  std::string keyword;
  std::string country;
  std::string provenanceRaw;
  WallTime addedAt;
  bool isPaused = false;
  std::optional<RecordId<TrackedApp>> app;
  std::optional<RecordId<ResearchSpace>> space;

  // Absent when the raw text names no known provenance.
  std::optional<KeywordProvenance> provenance() const { return keywordProvenance(provenanceRaw); }
  void setProvenance(KeywordProvenance provenance) { provenanceRaw = std::string(rawValue(provenance)); }
  bool operator==(const TrackedQuery&) const = default;
};

// One measured rank reading: one per keyword per day. An absent rank means measured and outside the
// returned results, never 0 and never a failure (a failure writes no reading).
struct StoredObservation {
  RecordId<StoredObservation> rowId;
  WallTime day;  // the instant the local calendar day started
  WallTime measuredAt;
  std::optional<std::int64_t> rank;
  std::int64_t resultCount = 0;
  std::string source;
  std::optional<RecordId<TrackedQuery>> query;
  bool operator==(const StoredObservation&) const = default;
};

// One run of the measurement runner. Owns its outcomes.
struct MeasurementRun {
  RecordId<MeasurementRun> rowId;
  WallTime startedAt;
  std::optional<WallTime> finishedAt;
  bool halted = false;
  bool stopped = false;
  std::int64_t requestCount = 0;
  std::int64_t queryCount = 0;
  bool operator==(const MeasurementRun&) const = default;
};

// What became of one keyword in one run. Only a `measured` outcome links a reading.
struct RunOutcome {
  RecordId<RunOutcome> rowId;
  std::string statusRaw;
  std::optional<std::string> message;
  std::optional<RecordId<MeasurementRun>> run;
  std::optional<RecordId<TrackedQuery>> query;
  std::optional<RecordId<StoredObservation>> observation;

  std::optional<RunOutcomeStatus> status() const { return runOutcomeStatus(statusRaw); }
  void setStatus(RunOutcomeStatus status) { statusRaw = std::string(rawValue(status)); }
  bool operator==(const RunOutcome&) const = default;
};

// The user's own reading mark for a keyword on a day; not a measurement.
struct ReviewMark {
  RecordId<ReviewMark> rowId;
  WallTime day;
  WallTime markedAt;
  std::optional<RecordId<TrackedQuery>> query;
  bool operator==(const ReviewMark&) const = default;
};

// A saved search: who ranked for a keyword in a country at one moment. Belongs to the keyword and
// country, not to an app. Owns its entries.
struct StoredLadder {
  RecordId<StoredLadder> rowId;
  std::string keyword;
  std::string country;
  WallTime fetchedAt;
  std::int64_t enrichedDepth = 0;
  std::int64_t resultCount = 0;
  std::string source;
  bool operator==(const StoredLadder&) const = default;
};

// One app at one (1-based) position of a saved search.
struct LadderEntry {
  RecordId<LadderEntry> rowId;
  std::int64_t position = 0;
  std::string appStoreId;
  std::string name;
  std::string developer;
  std::optional<std::string> iconUrl;
  std::optional<std::int64_t> ratingCount;
  std::optional<double> averageRating;
  std::optional<RecordId<StoredLadder>> ladder;
  bool operator==(const LadderEntry&) const = default;
};

// What App Store search completed for a prefix in a country at one moment. Owns its hints.
struct HintProbe {
  RecordId<HintProbe> rowId;
  std::string prefix;
  std::string country;
  WallTime observedAt;
  std::string source;
  bool carriedPriority = false;
  bool operator==(const HintProbe&) const = default;
};

// One completion, in the store's own order.
struct StoreHint {
  RecordId<StoreHint> rowId;
  std::int64_t position = 0;
  std::string term;
  std::optional<std::int64_t> priority;
  std::optional<RecordId<HintProbe>> probe;
  bool operator==(const StoreHint&) const = default;
};

}  // namespace tovra::store

template <class Record>
struct std::hash<tovra::store::RecordId<Record>> {
  std::size_t operator()(const tovra::store::RecordId<Record>& id) const noexcept {
    return std::hash<std::int64_t>{}(id.value);
  }
};
