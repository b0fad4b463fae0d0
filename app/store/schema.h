#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tovra::store {

// A schema version: three numbers written joined by dots ("1.0.0").
struct SchemaVersion {
  int major = 0;
  int minor = 0;
  int patch = 0;

  std::string text() const;
  // Exactly three dot-separated decimal numbers; surrounding white space is ignored. Anything else is
  // no version.
  static std::optional<SchemaVersion> parse(std::string_view text);
  auto operator<=>(const SchemaVersion&) const = default;
};

// The store's schemas. Each version names exactly one layout of the tables; the twelve record kinds,
// in this order, are the same in each. Which tables and columns each one has is told by their
// descriptions (app/store/table_columns.h).

// The first layout: readings and outcomes refer to their keyword directly.
struct TovraSchemaV1 {
  static constexpr SchemaVersion version{1, 0, 0};
  static const std::vector<std::string_view>& models();

  // Written into the database header so that a file of another program or another schema version is
  // recognised without guessing from its tables.
  static constexpr std::int32_t applicationId = 0x546f7672;  // "Tovr"
  static constexpr std::int32_t userVersion = 10000;         // major * 10000 + minor * 100 + patch
};

// Readings and outcomes reach their keyword through reading periods (app/store/reading_periods.h).
struct TovraSchemaV2 {
  static constexpr SchemaVersion version{2, 0, 0};
  static const std::vector<std::string_view>& models();

  static constexpr std::int32_t applicationId = TovraSchemaV1::applicationId;
  static constexpr std::int32_t userVersion = 20000;
};

// Adds the releases of apps (app/store/app_releases.h) beside the records.
struct TovraSchemaV3 {
  static constexpr SchemaVersion version{3, 0, 0};
  static const std::vector<std::string_view>& models();

  static constexpr std::int32_t applicationId = TovraSchemaV1::applicationId;
  static constexpr std::int32_t userVersion = 30000;
};

// The schema this build writes.
using CurrentSchema = TovraSchemaV3;

// A step between two schema versions, run in place when a store of `from` is opened.
struct MigrationStage {
  SchemaVersion from;
  SchemaVersion to;
  bool operator==(const MigrationStage&) const = default;
};

struct TovraMigrationPlan {
  static std::vector<SchemaVersion> schemas();
  static std::vector<MigrationStage> stages();
  // Whether a store whose header carries this version can be opened, as it is or after its stages.
  static bool canOpen(std::int32_t userVersion);
};

class Store;

// Reads the schema of a freshly opened store: creates it in an empty database, brings a store of an
// earlier version of the plan to the current one (each stage one transaction; a failed stage leaves the
// store as it was), accepts a store of exactly the current shape, and throws StoreError(notATovraStore)
// for anything else without writing to it.
void prepareSchema(Store& store);

}  // namespace tovra::store
