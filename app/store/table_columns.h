#pragma once

// Every table's columns, described once. The schema creates and checks its tables from these lists,
// each record kind's mapping takes its column list from them, and the export reads the columns they
// mark as exported. Included by app/store/*.cpp only.

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace tovra::store::columns {

// What a column is to the rest of the system.
enum class Role {
  row,           // the row itself (`pk`)
  field,         // a field of the record, exported under its name or `exportKey`
  unexported,    // a field of the record the export leaves out on purpose
  relationship,  // a to-one relationship of the record; the export nests the records instead
  bookkeeping,   // the store's own (reading periods): in no record and not exported
};

struct Column {
  std::string_view name;
  std::string_view type;  // INTEGER, TEXT or REAL: the tables are STRICT
  std::string_view constraints;
  Role role = Role::field;
  // The schema's major version that added the column, so the one list also tells an older layout.
  int since = 1;
  std::string_view exportKey{};

  constexpr bool inRecord() const {
    return role == Role::field || role == Role::unexported || role == Role::relationship;
  }
  constexpr bool exported() const { return role == Role::field; }
  constexpr std::string_view key() const { return exportKey.empty() ? name : exportKey; }
};

struct Table {
  std::string_view name;
  std::span<const Column> columns;
  std::string_view constraints;  // after the columns
  // A record kind the rest of the system sees, rather than the store's own bookkeeping.
  bool model = true;
  int since = 1;
};

using enum Role;

// Relationships are foreign keys whose ON DELETE follows the delete rule of the owning side: cascade
// where a record owns the other, SET NULL where it only refers to it (and wherever no rule is declared).

inline constexpr auto kTrackedApp = std::to_array<Column>({
    {"pk", "INTEGER", "PRIMARY KEY", row},
    {"appStoreId", "TEXT", "NOT NULL UNIQUE"},
    {"displayName", "TEXT", "NOT NULL"},
    {"developer", "TEXT", "NOT NULL"},
    {"bundleId", "TEXT", ""},
    {"artworkUrl512", "TEXT", ""},
    {"isMine", "INTEGER", "NOT NULL CHECK (isMine IN (0, 1))"},
    {"addedAt", "INTEGER", "NOT NULL"},
});

inline constexpr auto kAppLocalization = std::to_array<Column>({
    {"pk", "INTEGER", "PRIMARY KEY", row},
    {"country", "TEXT", "NOT NULL"},
    {"name", "TEXT", "NOT NULL"},
    {"developer", "TEXT", "NOT NULL"},
    {"fetchedAt", "INTEGER", "NOT NULL"},
    {"app", "INTEGER", "REFERENCES TrackedApp(pk) ON DELETE SET NULL", relationship},
});

inline constexpr auto kTrackedQuery = std::to_array<Column>({
    {"pk", "INTEGER", "PRIMARY KEY", row},
    {"keyword", "TEXT", "NOT NULL"},
    {"country", "TEXT", "NOT NULL"},
    {"provenanceRaw", "TEXT", "NOT NULL", field, 1, "provenance"},
    {"addedAt", "INTEGER", "NOT NULL"},
    {"isPaused", "INTEGER", "NOT NULL CHECK (isPaused IN (0, 1))"},
    {"app", "INTEGER", "REFERENCES TrackedApp(pk) ON DELETE CASCADE", relationship},
    {"space", "INTEGER", "REFERENCES ResearchSpace(pk) ON DELETE CASCADE", relationship},
});

// A keyword's readings of one period of days (app/store/reading_periods.h). A reading belongs to its
// keyword through its period: the period carries the foreign key, so the readings' own index starts with
// the period and a day's run adds its readings next to each other instead of one to every keyword's
// stretch of the index.
inline constexpr auto kReadingPeriod = std::to_array<Column>({
    {"pk", "INTEGER", "PRIMARY KEY", row, 2},
    {"span", "INTEGER", "NOT NULL", bookkeeping, 2},
    {"query", "INTEGER", "NOT NULL REFERENCES TrackedQuery(pk) ON DELETE CASCADE", bookkeeping, 2},
});

// `query` repeats the period's keyword so a reading reads back on its own; only the store's reading
// writer sets it, always together with `period`.
inline constexpr auto kStoredObservation = std::to_array<Column>({
    {"pk", "INTEGER", "PRIMARY KEY", row},
    {"day", "INTEGER", "NOT NULL"},
    {"measuredAt", "INTEGER", "NOT NULL"},
    {"rank", "INTEGER", "CHECK (rank IS NULL OR rank >= 1)"},
    {"resultCount", "INTEGER", "NOT NULL"},
    {"source", "TEXT", "NOT NULL"},
    {"query", "INTEGER", "NOT NULL", relationship},
    {"period", "INTEGER", "NOT NULL REFERENCES ReadingPeriod(pk) ON DELETE CASCADE", bookkeeping, 2},
});

inline constexpr auto kMeasurementRun = std::to_array<Column>({
    {"pk", "INTEGER", "PRIMARY KEY", row},
    {"startedAt", "INTEGER", "NOT NULL"},
    {"finishedAt", "INTEGER", ""},
    {"halted", "INTEGER", "NOT NULL CHECK (halted IN (0, 1))"},
    {"stopped", "INTEGER", "NOT NULL CHECK (stopped IN (0, 1))"},
    {"requestCount", "INTEGER", "NOT NULL"},
    {"queryCount", "INTEGER", "NOT NULL"},
});

inline constexpr auto kRunOutcome = std::to_array<Column>({
    {"pk", "INTEGER", "PRIMARY KEY", row},
    {"statusRaw", "TEXT", "NOT NULL", field, 1, "status"},
    {"message", "TEXT", ""},
    {"run", "INTEGER", "REFERENCES MeasurementRun(pk) ON DELETE CASCADE", relationship},
    {"query", "INTEGER", "", relationship},
    {"observation", "INTEGER", "REFERENCES StoredObservation(pk) ON DELETE SET NULL", relationship},
    // The outcome's keyword is tied through the keyword's period of the run's day, for the reason
    // readings are (see kReadingPeriod); deleting the period clears `query` with it (the schema's trigger).
    {"period", "INTEGER", "REFERENCES ReadingPeriod(pk) ON DELETE SET NULL", bookkeeping, 2},
});

inline constexpr auto kReviewMark = std::to_array<Column>({
    {"pk", "INTEGER", "PRIMARY KEY", row},
    {"day", "INTEGER", "NOT NULL"},
    {"markedAt", "INTEGER", "NOT NULL"},
    {"query", "INTEGER", "REFERENCES TrackedQuery(pk) ON DELETE SET NULL", relationship},
});

inline constexpr auto kStoredLadder = std::to_array<Column>({
    {"pk", "INTEGER", "PRIMARY KEY", row},
    {"keyword", "TEXT", "NOT NULL"},
    {"country", "TEXT", "NOT NULL"},
    {"fetchedAt", "INTEGER", "NOT NULL"},
    {"enrichedDepth", "INTEGER", "NOT NULL"},
    {"resultCount", "INTEGER", "NOT NULL"},
    {"source", "TEXT", "NOT NULL"},
});

inline constexpr auto kLadderEntry = std::to_array<Column>({
    {"pk", "INTEGER", "PRIMARY KEY", row},
    {"position", "INTEGER", "NOT NULL"},
    {"appStoreId", "TEXT", "NOT NULL"},
    {"name", "TEXT", "NOT NULL"},
    {"developer", "TEXT", "NOT NULL"},
    {"iconUrl", "TEXT", "", unexported},
    {"ratingCount", "INTEGER", ""},
    {"averageRating", "REAL", ""},
    {"ladder", "INTEGER", "REFERENCES StoredLadder(pk) ON DELETE CASCADE", relationship},
});

inline constexpr auto kHintProbe = std::to_array<Column>({
    {"pk", "INTEGER", "PRIMARY KEY", row},
    {"prefix", "TEXT", "NOT NULL"},
    {"country", "TEXT", "NOT NULL"},
    {"observedAt", "INTEGER", "NOT NULL"},
    {"source", "TEXT", "NOT NULL"},
    {"carriedPriority", "INTEGER", "NOT NULL CHECK (carriedPriority IN (0, 1))"},
});

inline constexpr auto kStoreHint = std::to_array<Column>({
    {"pk", "INTEGER", "PRIMARY KEY", row},
    {"position", "INTEGER", "NOT NULL"},
    {"term", "TEXT", "NOT NULL"},
    {"priority", "INTEGER", ""},
    {"probe", "INTEGER", "REFERENCES HintProbe(pk) ON DELETE CASCADE", relationship},
});

inline constexpr auto kResearchSpace = std::to_array<Column>({
    {"pk", "INTEGER", "PRIMARY KEY", row},
    {"id", "TEXT", "NOT NULL UNIQUE"},
    {"name", "TEXT", "NOT NULL"},
    {"note", "TEXT", ""},
    {"createdAt", "INTEGER", "NOT NULL"},
    {"promotedToAppStoreId", "TEXT", ""},
    {"promotedAt", "INTEGER", ""},
});

// The versions of apps the store's lookups showed (app/store/app_releases.h). They belong to an app id, not
// to a tracked app, so that a release seen once is still there when the app is tracked again.
inline constexpr auto kAppRelease = std::to_array<Column>({
    {"pk", "INTEGER", "PRIMARY KEY", row, 3},
    {"appStoreId", "TEXT", "NOT NULL", bookkeeping, 3},
    {"version", "TEXT", "NOT NULL", bookkeeping, 3},
    {"releasedAt", "INTEGER", "NOT NULL", bookkeeping, 3},
    {"seenAt", "INTEGER", "NOT NULL", bookkeeping, 3},
});

// The tables in schema order: the twelve record kinds as the schema lists them, with the readings'
// periods before the readings that refer to them, and the releases last.
inline constexpr std::array<Table, 14> kTables{{
    {"TrackedApp", kTrackedApp, ""},
    {"AppLocalization", kAppLocalization, ""},
    {"TrackedQuery", kTrackedQuery, "CHECK (app IS NULL OR space IS NULL)"},
    {"ReadingPeriod", kReadingPeriod, "", false, 2},
    {"StoredObservation", kStoredObservation, ""},
    {"MeasurementRun", kMeasurementRun, ""},
    {"RunOutcome", kRunOutcome, "CHECK (observation IS NULL OR statusRaw = 'measured')"},
    {"ReviewMark", kReviewMark, ""},
    {"StoredLadder", kStoredLadder, ""},
    {"LadderEntry", kLadderEntry, ""},
    {"HintProbe", kHintProbe, ""},
    {"StoreHint", kStoreHint, ""},
    {"ResearchSpace", kResearchSpace, ""},
    {"AppRelease", kAppRelease, "UNIQUE (appStoreId, version)", false, 3},
}};

// The columns a record kind's mapping binds and reads, after `pk`, in table order.
template <const auto& kColumns>
consteval auto recordColumns() {
  constexpr auto count = static_cast<std::size_t>(
      std::count_if(kColumns.begin(), kColumns.end(), [](const Column& c) { return c.inRecord(); }));
  std::array<std::string_view, count> names{};
  std::size_t at = 0;
  for (const auto& column : kColumns) {
    if (column.inRecord()) {
      names[at++] = column.name;
    }
  }
  return names;
}

// The exported columns joined for a SELECT, in table order, each behind `prefix` (a table alias).
std::string exportedList(std::span<const Column> columns, std::string_view prefix = {});

}  // namespace tovra::store::columns
