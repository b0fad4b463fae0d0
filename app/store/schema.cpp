#include "app/store/schema.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <set>
#include <stdexcept>

#include "AsoKit/text.h"
#include "app/store/reading_periods.h"
#include "app/store/store.h"
#include "app/store/store_error.h"
#include "app/store/table_columns.h"
#include "app/store/transaction.h"

namespace tovra::store {
namespace {

using columns::Column;
using columns::kTables;
using columns::Table;

// Every foreign key has an index (SQLite needs one to apply ON DELETE without scanning the child
// table), plus what the today view, the runner and the export read in order: a keyword's periods, a
// period's readings by day, saved searches by keyword and country, hint probes by prefix and country,
// the top-level lists by their date. A period's readings carry their ranks in the index too, which is
// all a change needs of the reading before the newest.
constexpr std::array<std::string_view, 19> kIndexes{
    "CREATE INDEX AppLocalization_app ON AppLocalization(app, country)",
    "CREATE INDEX TrackedApp_addedAt ON TrackedApp(addedAt)",
    "CREATE INDEX TrackedQuery_app ON TrackedQuery(app, keyword, country)",
    "CREATE INDEX TrackedQuery_space ON TrackedQuery(space, keyword, country)",
    "CREATE UNIQUE INDEX ReadingPeriod_query_span ON ReadingPeriod(query, span)",
    "CREATE INDEX StoredObservation_period_day ON StoredObservation(period, day, pk, rank)",
    "CREATE INDEX MeasurementRun_startedAt ON MeasurementRun(startedAt)",
    "CREATE INDEX RunOutcome_run ON RunOutcome(run)",
    "CREATE INDEX RunOutcome_period ON RunOutcome(period)",
    "CREATE INDEX RunOutcome_observation ON RunOutcome(observation)",
    "CREATE INDEX ReviewMark_query_day ON ReviewMark(query, day)",
    "CREATE INDEX StoredLadder_keyword_country ON StoredLadder(keyword, country, fetchedAt)",
    "CREATE INDEX StoredLadder_fetchedAt ON StoredLadder(fetchedAt)",
    "CREATE INDEX LadderEntry_ladder ON LadderEntry(ladder, position)",
    "CREATE INDEX HintProbe_prefix_country ON HintProbe(prefix, country, observedAt)",
    "CREATE INDEX HintProbe_observedAt ON HintProbe(observedAt)",
    "CREATE INDEX StoreHint_probe ON StoreHint(probe, position)",
    "CREATE INDEX ResearchSpace_createdAt ON ResearchSpace(createdAt)",
    "CREATE INDEX AppRelease_app ON AppRelease(appStoreId, releasedAt)",
};

// An outcome's keyword is a plain column: an index on it would take one page of every keyword's
// stretch per run, as the readings' did. The keyword's periods stand in for it: a period deleted with
// its keyword takes the keyword off the outcomes tied to it, as the outcomes of a deleted keyword lose it.
struct Trigger {
  std::string_view name;
  std::string_view body;  // after CREATE TRIGGER <name>
};
constexpr std::array<Trigger, 1> kTriggers{{
    {"ReadingPeriod_clearsOutcomes",
     "BEFORE DELETE ON ReadingPeriod BEGIN UPDATE RunOutcome SET query = NULL, period = NULL WHERE period = OLD.pk; "
     "END"},
}};

std::string createStatement(const Table& table, std::string_view name = {}) {
  std::string sql = "CREATE TABLE " + std::string(name.empty() ? table.name : name) + " (";
  bool first = true;
  for (const auto& column : table.columns) {
    sql += first ? "" : ", ";
    first = false;
    sql += std::string(column.name) + " " + std::string(column.type);
    if (!column.constraints.empty()) {
      sql += " " + std::string(column.constraints);
    }
  }
  if (!table.constraints.empty()) {
    sql += ", " + std::string(table.constraints);
  }
  return sql + ") STRICT";
}

constexpr std::int32_t userVersionOf(SchemaVersion version) {
  return version.major * 10000 + version.minor * 100 + version.patch;
}

std::string versionText(std::int32_t userVersion) {
  return SchemaVersion{userVersion / 10000, userVersion / 100 % 100, userVersion % 100}.text();
}

struct Header {
  std::int32_t applicationId = 0;
  std::int32_t userVersion = 0;
  std::set<std::string> tables;
};

Header readHeader(SQLite::Database& database) {
  Header header;
  header.applicationId = database.execAndGet("PRAGMA application_id").getInt();
  header.userVersion = database.execAndGet("PRAGMA user_version").getInt();
  SQLite::Statement list(database, "SELECT name FROM sqlite_schema WHERE type = 'table' AND name NOT LIKE 'sqlite_%'");
  while (list.executeStep()) {
    header.tables.insert(list.getColumn(0).getString());
  }
  return header;
}

bool isEmpty(const Header& header) {
  return header.applicationId == 0 && header.userVersion == 0 && header.tables.empty();
}

StoreError otherShape(const std::string& why) {
  return StoreError(StoreError::Kind::notATovraStore,
                    "The file is not a store of this version of Tovra (" + why + "); it is kept as it is.");
}

// Whether the tables are exactly the layout of schema `major`: the tables and columns of the
// description that were there in that version, by name and type, in order.
void checkTables(SQLite::Database& database, const Header& header, int major) {
  std::set<std::string> expected;
  for (const auto& table : kTables) {
    if (table.since > major) {
      continue;
    }
    expected.insert(std::string(table.name));
    SQLite::Statement info(database, "SELECT name, type FROM pragma_table_info(?) ORDER BY cid");
    info.bind(1, std::string(table.name));
    bool same = true;
    for (const auto& column : table.columns) {
      if (column.since > major) {
        continue;
      }
      same = same && info.executeStep() && info.getColumn(0).getString() == column.name &&
             info.getColumn(1).getString() == column.type;
    }
    const bool extra = same && info.executeStep();
    if (!same || extra) {
      const bool missing = !header.tables.contains(std::string(table.name));
      throw otherShape("its table " + std::string(table.name) + (missing ? " is missing" : " has other columns"));
    }
  }
  if (header.tables != expected) {
    throw otherShape("it holds other tables");
  }
}

void checkLayout(SQLite::Database& database, const Header& header, int major) {
  checkTables(database, header, major);
  // Without its triggers the store would break its own delete rules.
  for (const auto& trigger : kTriggers) {
    SQLite::Statement found(database, "SELECT count(*) FROM sqlite_schema WHERE type = 'trigger' AND name = ?");
    found.bind(1, std::string(trigger.name));
    if (!found.executeStep() || found.getColumn(0).getInt() != 1) {
      throw otherShape("its trigger " + std::string(trigger.name) + " is missing");
    }
  }
}

void checkCurrentLayout(SQLite::Database& database, const Header& header) {
  checkLayout(database, header, CurrentSchema::version.major);
}

void checkShape(SQLite::Database& database, const Header& header) {
  if (header.applicationId != CurrentSchema::applicationId) {
    throw otherShape("it belongs to another program");
  }
  if (header.userVersion != CurrentSchema::userVersion) {
    throw otherShape("it was written with schema version " + versionText(header.userVersion));
  }
  checkCurrentLayout(database, header);
}

void createSchema(SQLite::Database& database) {
  for (const auto& table : kTables) {
    database.exec(createStatement(table));
  }
  for (const auto index : kIndexes) {
    database.exec(std::string(index));
  }
  for (const auto& trigger : kTriggers) {
    database.exec("CREATE TRIGGER " + std::string(trigger.name) + " " + std::string(trigger.body));
  }
  database.exec("PRAGMA application_id = " + std::to_string(CurrentSchema::applicationId));
  database.exec("PRAGMA user_version = " + std::to_string(CurrentSchema::userVersion));
}

const Table& tableNamed(std::string_view name) {
  for (const auto& table : kTables) {
    if (table.name == name) {
      return table;
    }
  }
  throw std::logic_error("no table " + std::string(name));
}

// A day's period in SQL, rounding down as periods::spanOf does.
std::string spanSql(const std::string& dayMillis) {
  const auto length = std::to_string(periods::kLengthMillis);
  return "((" + dayMillis + ") / " + length + " - ((" + dayMillis + ") % " + length + " < 0))";
}

// 1.0.0 → 2.0.0: readings and outcomes move under reading periods. The records stay as they are, row
// for row; only the way they reach their keyword changes.
void readingsIntoPeriods(SQLite::Database& database) {
  const Header header = readHeader(database);
  // Builds made between the periods' arrival and their version number wrote this layout under 1.0.0:
  // such a store needs only its number, once every table of it has been read.
  if (header.tables.contains("ReadingPeriod")) {
    checkLayout(database, header, TovraSchemaV2::version.major);
    return;
  }
  checkTables(database, header, 1);
  const auto count = [&](const char* table) {
    return database.execAndGet("SELECT count(*) FROM " + std::string(table)).getInt64();
  };
  const auto readings = count("StoredObservation");
  const auto outcomes = count("RunOutcome");

  database.exec(createStatement(tableNamed("ReadingPeriod")));
  const auto outcomeDay = spanSql("coalesce(r.finishedAt, r.startedAt, q.addedAt)");
  database.exec("CREATE UNIQUE INDEX ReadingPeriod_query_span ON ReadingPeriod(query, span)");
  database.exec("INSERT OR IGNORE INTO ReadingPeriod (span, query) SELECT DISTINCT " + spanSql("o.day") +
                " AS span, q.pk FROM StoredObservation o JOIN TrackedQuery q ON q.pk = o.query ORDER BY 1, 2");
  database.exec("INSERT OR IGNORE INTO ReadingPeriod (span, query) SELECT DISTINCT " + outcomeDay +
                ", q.pk FROM RunOutcome o JOIN TrackedQuery q ON q.pk = o.query "
                "LEFT JOIN MeasurementRun r ON r.pk = o.run ORDER BY 1, 2");

  // SQLite's way of changing a table's constraints: a new table is filled, the old one dropped and the
  // new one renamed, with foreign keys off and checked before the commit.
  database.exec(createStatement(tableNamed("StoredObservation"), "StoredObservation_upgraded"));
  database.exec(
      "INSERT INTO StoredObservation_upgraded (pk, day, measuredAt, rank, resultCount, source, query, period) "
      "SELECT o.pk, o.day, o.measuredAt, o.rank, o.resultCount, o.source, p.query, p.pk "
      "FROM StoredObservation o JOIN ReadingPeriod p ON p.query = o.query AND p.span = " +
      spanSql("o.day") + " ORDER BY o.pk");
  database.exec("DROP TABLE StoredObservation");
  database.exec("ALTER TABLE StoredObservation_upgraded RENAME TO StoredObservation");

  database.exec(createStatement(tableNamed("RunOutcome"), "RunOutcome_upgraded"));
  database.exec(
      "INSERT INTO RunOutcome_upgraded (pk, statusRaw, message, run, query, observation, period) "
      "SELECT o.pk, o.statusRaw, o.message, o.run, q.pk, o.observation, p.pk FROM RunOutcome o "
      "LEFT JOIN TrackedQuery q ON q.pk = o.query LEFT JOIN MeasurementRun r ON r.pk = o.run "
      "LEFT JOIN ReadingPeriod p ON p.query = q.pk AND p.span = " +
      outcomeDay + " ORDER BY o.pk");
  database.exec("DROP TABLE RunOutcome");
  database.exec("ALTER TABLE RunOutcome_upgraded RENAME TO RunOutcome");

  // A reading without a keyword (only a damaged store has one) would find no period and be left behind.
  if (count("StoredObservation") != readings || count("RunOutcome") != outcomes) {
    throw otherShape("some of its readings belong to no keyword");
  }

  // The dropped tables took their indexes with them.
  for (const auto index : kIndexes) {
    if (index.find(" ON AppRelease(") != std::string_view::npos) {
      continue;  // the releases' table comes with the next stage
    }
    std::string sql(index);
    sql.insert(sql.find("INDEX ") + 6, "IF NOT EXISTS ");
    database.exec(sql);
  }
  for (const auto& trigger : kTriggers) {
    database.exec("CREATE TRIGGER " + std::string(trigger.name) + " " + std::string(trigger.body));
  }
}

// 2.0.0 → 3.0.0: the releases' table arrives empty; nothing else changes.
void releasesBesideRecords(SQLite::Database& database) {
  checkLayout(database, readHeader(database), TovraSchemaV2::version.major);
  database.exec(createStatement(tableNamed("AppRelease")));
  for (const auto index : kIndexes) {
    if (index.find(" ON AppRelease(") != std::string_view::npos) {
      database.exec(std::string(index));
    }
  }
}

struct Step {
  MigrationStage stage;
  void (*migrate)(SQLite::Database&);
};

// The migration plan, in order: each stage takes a store of its `from` version to its `to`.
constexpr std::array<Step, 2> kSteps{{
    {{TovraSchemaV1::version, TovraSchemaV2::version}, readingsIntoPeriods},
    {{TovraSchemaV2::version, TovraSchemaV3::version}, releasesBesideRecords},
}};

// Foreign keys cannot be switched inside a transaction, and a table cannot be rebuilt with them on; they
// are off for the one stage and on again afterwards, whatever happened.
class ForeignKeysOff final {
 public:
  explicit ForeignKeysOff(SQLite::Database& database) : database_(database) {
    database_.exec("PRAGMA foreign_keys = OFF");
  }
  ~ForeignKeysOff() {
    if (!restored_) {
      database_.tryExec("PRAGMA foreign_keys = ON");
    }
  }
  ForeignKeysOff(const ForeignKeysOff&) = delete;
  ForeignKeysOff& operator=(const ForeignKeysOff&) = delete;

  void restore() {
    restored_ = true;
    database_.exec("PRAGMA foreign_keys = ON");
    if (database_.execAndGet("PRAGMA foreign_keys").getInt() != 1) {
      throw StoreError(StoreError::Kind::cannotOpen, "The store engine cannot enforce relationships (foreign keys).");
    }
  }

 private:
  SQLite::Database& database_;
  bool restored_ = false;
};

void runStage(Store& store, const Step& step) {
  auto& database = store.database();
  ForeignKeysOff keysOff(database);
  {
    Transaction transaction(store);
    // Another process may have run the stage while this one waited for the write lock.
    if (readHeader(database).userVersion == userVersionOf(step.stage.from)) {
      step.migrate(database);
      SQLite::Statement broken(database, "SELECT count(*) FROM pragma_foreign_key_check");
      if (!broken.executeStep() || broken.getColumn(0).getInt() != 0) {
        throw StoreError(StoreError::Kind::damaged, "The store's records do not fit together after its upgrade.");
      }
      database.exec("PRAGMA user_version = " + std::to_string(userVersionOf(step.stage.to)));
    }
    transaction.commit();
  }
  keysOff.restore();
}

void upgrade(Store& store, const Header& header) {
  if (header.applicationId != CurrentSchema::applicationId) {
    throw otherShape("it belongs to another program");
  }
  std::int32_t version = header.userVersion;
  for (const auto& step : kSteps) {
    if (version == userVersionOf(step.stage.from)) {
      runStage(store, step);
      version = userVersionOf(step.stage.to);
    }
  }
}

const std::vector<std::string_view>& modelsOf(int major) {
  static const auto names = [] {
    std::array<std::vector<std::string_view>, CurrentSchema::version.major + 1> all;
    for (int version = 1; version < static_cast<int>(all.size()); ++version) {
      for (const auto& table : kTables) {
        if (table.model && table.since <= version) {
          all[static_cast<std::size_t>(version)].push_back(table.name);
        }
      }
    }
    return all;
  }();
  return names.at(static_cast<std::size_t>(major));
}

}  // namespace

std::string SchemaVersion::text() const {
  return std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch);
}

std::optional<SchemaVersion> SchemaVersion::parse(std::string_view text) {
  text = asokit::text::trimWhitespace(text);
  std::array<int, 3> parts{};
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const char* begin = text.data();
    const char* end = text.data() + text.size();
    if (begin == end || *begin < '0' || *begin > '9') {
      return std::nullopt;
    }
    const auto [next, error] = std::from_chars(begin, end, parts[i]);
    if (error != std::errc{}) {
      return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(next - begin));
    if (i + 1 < parts.size()) {
      if (text.empty() || text.front() != '.') {
        return std::nullopt;
      }
      text.remove_prefix(1);
    }
  }
  if (!text.empty()) {
    return std::nullopt;
  }
  return SchemaVersion{parts[0], parts[1], parts[2]};
}

const std::vector<std::string_view>& TovraSchemaV1::models() {
  return modelsOf(version.major);
}

const std::vector<std::string_view>& TovraSchemaV2::models() {
  return modelsOf(version.major);
}

const std::vector<std::string_view>& TovraSchemaV3::models() {
  return modelsOf(version.major);
}

std::vector<SchemaVersion> TovraMigrationPlan::schemas() {
  return {TovraSchemaV1::version, TovraSchemaV2::version, TovraSchemaV3::version};
}

std::vector<MigrationStage> TovraMigrationPlan::stages() {
  std::vector<MigrationStage> stages;
  for (const auto& step : kSteps) {
    stages.push_back(step.stage);
  }
  return stages;
}

bool TovraMigrationPlan::canOpen(std::int32_t userVersion) {
  const auto known = schemas();
  return std::any_of(known.begin(), known.end(),
                     [&](const SchemaVersion& version) { return userVersionOf(version) == userVersion; });
}

void prepareSchema(Store& store) {
  auto& database = store.database();
  Header header = readHeader(database);
  if (isEmpty(header)) {
    // Two processes may create the same new store at once: the write transaction makes the second wait,
    // and it then finds the first one's schema instead of creating a second.
    Transaction creation(store);
    header = readHeader(database);
    if (isEmpty(header)) {
      createSchema(database);
    }
    creation.commit();
    header = readHeader(database);
  }
  upgrade(store, header);
  checkShape(database, readHeader(database));
}

}  // namespace tovra::store
