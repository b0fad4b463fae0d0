#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace SQLite {
class Database;
}

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

// The one schema of the store: twelve tables, one per record kind, in this order.
struct TovraSchemaV1 {
  static constexpr SchemaVersion version{1, 0, 0};
  static const std::vector<std::string_view>& models();

  // Written into the database header so that a file of another program or another schema version is
  // recognised without guessing from its tables.
  static constexpr std::int32_t applicationId = 0x546f7672;  // "Tovr"
  static constexpr std::int32_t userVersion = 10000;         // major * 10000 + minor * 100 + patch
};

// A migration step between two schema versions. There are none yet: a store of another version is
// not migrated but set aside by the bootstrap and replaced with a fresh one.
struct MigrationStage {
  SchemaVersion from;
  SchemaVersion to;
};

struct TovraMigrationPlan {
  static std::vector<SchemaVersion> schemas();
  static std::vector<MigrationStage> stages();
};

// Reads the schema of an open connection: creates it in an empty database, accepts a database of
// exactly this shape and version, and throws StoreError(notATovraStore) for anything else without
// writing to it.
void prepareSchema(SQLite::Database& database);

}  // namespace tovra::store
