#include "app/store/schema.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>

#include <array>
#include <charconv>
#include <set>
#include <stdexcept>

#include "AsoKit/text.h"
#include "app/store/reading_periods.h"
#include "app/store/store_error.h"

namespace tovra::store {
namespace {

struct Column {
  std::string_view name;
  std::string_view type;
  std::string_view rest;  // constraints after the type
};

struct Table {
  std::string_view name;
  std::vector<Column> columns;
  std::string_view tableConstraints;
  // A table of the store's own bookkeeping rather than a model the rest of the system sees.
  bool internal = false;
};

// Relationships are foreign keys whose ON DELETE follows the delete rule of the owning side: cascade
// where a record owns the other, SET NULL where it only refers to it (and wherever no rule is declared).
const std::vector<Table>& tables() {
  static const std::vector<Table> all{
      {"TrackedApp",
       {{"pk", "INTEGER", "PRIMARY KEY"},
        {"appStoreId", "TEXT", "NOT NULL UNIQUE"},
        {"displayName", "TEXT", "NOT NULL"},
        {"developer", "TEXT", "NOT NULL"},
        {"bundleId", "TEXT", ""},
        {"artworkUrl512", "TEXT", ""},
        {"isMine", "INTEGER", "NOT NULL CHECK (isMine IN (0, 1))"},
        {"addedAt", "INTEGER", "NOT NULL"}},
       ""},
      {"AppLocalization",
       {{"pk", "INTEGER", "PRIMARY KEY"},
        {"country", "TEXT", "NOT NULL"},
        {"name", "TEXT", "NOT NULL"},
        {"developer", "TEXT", "NOT NULL"},
        {"fetchedAt", "INTEGER", "NOT NULL"},
        {"app", "INTEGER", "REFERENCES TrackedApp(pk) ON DELETE SET NULL"}},
       ""},
      {"TrackedQuery",
       {{"pk", "INTEGER", "PRIMARY KEY"},
        {"keyword", "TEXT", "NOT NULL"},
        {"country", "TEXT", "NOT NULL"},
        {"provenanceRaw", "TEXT", "NOT NULL"},
        {"addedAt", "INTEGER", "NOT NULL"},
        {"isPaused", "INTEGER", "NOT NULL CHECK (isPaused IN (0, 1))"},
        {"app", "INTEGER", "REFERENCES TrackedApp(pk) ON DELETE CASCADE"},
        {"space", "INTEGER", "REFERENCES ResearchSpace(pk) ON DELETE CASCADE"}},
       "CHECK (app IS NULL OR space IS NULL)"},
      // A keyword's readings of one period of days (app/store/reading_periods.h). A reading belongs to its keyword
      // through its period: the period carries the foreign key, so the readings' own index starts with
      // the period and a day's run adds its readings next to each other instead of one to every
      // keyword's stretch of the index.
      {"ReadingPeriod",
       {{"pk", "INTEGER", "PRIMARY KEY"},
        {"span", "INTEGER", "NOT NULL"},
        {"query", "INTEGER", "NOT NULL REFERENCES TrackedQuery(pk) ON DELETE CASCADE"}},
       "",
       true},
      // `query` repeats the period's keyword so a reading reads back on its own; only the store's
      // reading writer sets it, always together with `period`.
      {"StoredObservation",
       {{"pk", "INTEGER", "PRIMARY KEY"},
        {"day", "INTEGER", "NOT NULL"},
        {"measuredAt", "INTEGER", "NOT NULL"},
        {"rank", "INTEGER", "CHECK (rank IS NULL OR rank >= 1)"},
        {"resultCount", "INTEGER", "NOT NULL"},
        {"source", "TEXT", "NOT NULL"},
        {"query", "INTEGER", "NOT NULL"},
        {"period", "INTEGER", "NOT NULL REFERENCES ReadingPeriod(pk) ON DELETE CASCADE"}},
       ""},
      {"MeasurementRun",
       {{"pk", "INTEGER", "PRIMARY KEY"},
        {"startedAt", "INTEGER", "NOT NULL"},
        {"finishedAt", "INTEGER", ""},
        {"halted", "INTEGER", "NOT NULL CHECK (halted IN (0, 1))"},
        {"stopped", "INTEGER", "NOT NULL CHECK (stopped IN (0, 1))"},
        {"requestCount", "INTEGER", "NOT NULL"},
        {"queryCount", "INTEGER", "NOT NULL"}},
       ""},
      {"RunOutcome",
       {{"pk", "INTEGER", "PRIMARY KEY"},
        {"statusRaw", "TEXT", "NOT NULL"},
        {"message", "TEXT", ""},
        {"run", "INTEGER", "REFERENCES MeasurementRun(pk) ON DELETE CASCADE"},
        {"query", "INTEGER", ""},
        {"observation", "INTEGER", "REFERENCES StoredObservation(pk) ON DELETE SET NULL"},
        // The outcome's keyword is tied through the keyword's period of the run's day, for the reason
        // readings are (see ReadingPeriod); deleting the period clears `query` with it (see kTriggers).
        {"period", "INTEGER", "REFERENCES ReadingPeriod(pk) ON DELETE SET NULL"}},
       "CHECK (observation IS NULL OR statusRaw = 'measured')"},
      {"ReviewMark",
       {{"pk", "INTEGER", "PRIMARY KEY"},
        {"day", "INTEGER", "NOT NULL"},
        {"markedAt", "INTEGER", "NOT NULL"},
        {"query", "INTEGER", "REFERENCES TrackedQuery(pk) ON DELETE SET NULL"}},
       ""},
      {"StoredLadder",
       {{"pk", "INTEGER", "PRIMARY KEY"},
        {"keyword", "TEXT", "NOT NULL"},
        {"country", "TEXT", "NOT NULL"},
        {"fetchedAt", "INTEGER", "NOT NULL"},
        {"enrichedDepth", "INTEGER", "NOT NULL"},
        {"resultCount", "INTEGER", "NOT NULL"},
        {"source", "TEXT", "NOT NULL"}},
       ""},
      {"LadderEntry",
       {{"pk", "INTEGER", "PRIMARY KEY"},
        {"position", "INTEGER", "NOT NULL"},
        {"appStoreId", "TEXT", "NOT NULL"},
        {"name", "TEXT", "NOT NULL"},
        {"developer", "TEXT", "NOT NULL"},
        {"iconUrl", "TEXT", ""},
        {"ratingCount", "INTEGER", ""},
        {"averageRating", "REAL", ""},
        {"ladder", "INTEGER", "REFERENCES StoredLadder(pk) ON DELETE CASCADE"}},
       ""},
      {"HintProbe",
       {{"pk", "INTEGER", "PRIMARY KEY"},
        {"prefix", "TEXT", "NOT NULL"},
        {"country", "TEXT", "NOT NULL"},
        {"observedAt", "INTEGER", "NOT NULL"},
        {"source", "TEXT", "NOT NULL"},
        {"carriedPriority", "INTEGER", "NOT NULL CHECK (carriedPriority IN (0, 1))"}},
       ""},
      {"StoreHint",
       {{"pk", "INTEGER", "PRIMARY KEY"},
        {"position", "INTEGER", "NOT NULL"},
        {"term", "TEXT", "NOT NULL"},
        {"priority", "INTEGER", ""},
        {"probe", "INTEGER", "REFERENCES HintProbe(pk) ON DELETE CASCADE"}},
       ""},
      {"ResearchSpace",
       {{"pk", "INTEGER", "PRIMARY KEY"},
        {"id", "TEXT", "NOT NULL UNIQUE"},
        {"name", "TEXT", "NOT NULL"},
        {"note", "TEXT", ""},
        {"createdAt", "INTEGER", "NOT NULL"},
        {"promotedToAppStoreId", "TEXT", ""},
        {"promotedAt", "INTEGER", ""}},
       ""},
  };
  return all;
}

// Every foreign key has an index (SQLite needs one to apply ON DELETE without scanning the child
// table), plus what the today view, the runner and the export read in order: a keyword's periods, a
// period's readings by day, saved searches by keyword and country, hint probes by prefix and country,
// the top-level lists by their date. A period's readings carry their ranks in the index too, which is
// all a change needs of the reading before the newest.
constexpr std::array<std::string_view, 18> kIndexes{
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
    if (!column.rest.empty()) {
      sql += " " + std::string(column.rest);
    }
  }
  if (!table.tableConstraints.empty()) {
    sql += ", " + std::string(table.tableConstraints);
  }
  return sql + ") STRICT";
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

void checkShape(SQLite::Database& database, const Header& header) {
  if (header.applicationId != TovraSchemaV1::applicationId) {
    throw otherShape("it belongs to another program");
  }
  if (header.userVersion != TovraSchemaV1::userVersion) {
    throw otherShape("it was written with schema version " + std::to_string(header.userVersion / 10000) + "." +
                     std::to_string(header.userVersion / 100 % 100) + "." + std::to_string(header.userVersion % 100));
  }
  std::set<std::string> expected;
  for (const auto& table : tables()) {
    expected.insert(std::string(table.name));
    SQLite::Statement info(database, "SELECT name, type FROM pragma_table_info(?) ORDER BY cid");
    info.bind(1, std::string(table.name));
    std::size_t index = 0;
    while (info.executeStep()) {
      if (index >= table.columns.size() || info.getColumn(0).getString() != table.columns[index].name ||
          info.getColumn(1).getString() != table.columns[index].type) {
        throw otherShape("its table " + std::string(table.name) + " has other columns");
      }
      ++index;
    }
    if (index != table.columns.size()) {
      throw otherShape(index == 0 ? "its table " + std::string(table.name) + " is missing"
                                  : "its table " + std::string(table.name) + " has other columns");
    }
  }
  if (header.tables != expected) {
    throw otherShape("it holds other tables");
  }
  // Without its triggers the store would break its own delete rules.
  for (const auto& trigger : kTriggers) {
    SQLite::Statement found(database, "SELECT count(*) FROM sqlite_schema WHERE type = 'trigger' AND name = ?");
    found.bind(1, std::string(trigger.name));
    if (!found.executeStep() || found.getColumn(0).getInt() != 1) {
      throw otherShape("its trigger " + std::string(trigger.name) + " is missing");
    }
  }
}

void createSchema(SQLite::Database& database) {
  for (const auto& table : tables()) {
    database.exec(createStatement(table));
  }
  for (const auto index : kIndexes) {
    database.exec(std::string(index));
  }
  for (const auto& trigger : kTriggers) {
    database.exec("CREATE TRIGGER " + std::string(trigger.name) + " " + std::string(trigger.body));
  }
  database.exec("PRAGMA application_id = " + std::to_string(TovraSchemaV1::applicationId));
  database.exec("PRAGMA user_version = " + std::to_string(TovraSchemaV1::userVersion));
}

const Table& tableNamed(std::string_view name) {
  for (const auto& table : tables()) {
    if (table.name == name) {
      return table;
    }
  }
  throw std::logic_error("no table " + std::string(name));
}

std::vector<std::string> columnsOf(SQLite::Database& database, const std::string& table) {
  std::vector<std::string> names;
  SQLite::Statement info(database, "SELECT name FROM pragma_table_info(?) ORDER BY cid");
  info.bind(1, table);
  while (info.executeStep()) {
    names.push_back(info.getColumn(0).getString());
  }
  return names;
}

// The layout the first builds wrote: readings and outcomes tied to their keyword directly, without
// reading periods. Its records are the same, so such a store is brought to the current layout in place.
bool hasEarlierLayout(SQLite::Database& database, const Header& header) {
  if (header.applicationId != TovraSchemaV1::applicationId || header.userVersion != TovraSchemaV1::userVersion ||
      header.tables.contains("ReadingPeriod")) {
    return false;
  }
  std::set<std::string> expected;
  for (const auto& table : tables()) {
    if (table.name != "ReadingPeriod") {
      expected.insert(std::string(table.name));
    }
  }
  using Names = std::vector<std::string>;
  return header.tables == expected &&
         columnsOf(database, "StoredObservation") ==
             Names{"pk", "day", "measuredAt", "rank", "resultCount", "source", "query"} &&
         columnsOf(database, "RunOutcome") == Names{"pk", "statusRaw", "message", "run", "query", "observation"};
}

// A day's period in SQL, rounding down as periods::spanOf does.
std::string spanSql(const std::string& dayMillis) {
  const auto length = std::to_string(periods::kLengthMillis);
  return "((" + dayMillis + ") / " + length + " - ((" + dayMillis + ") % " + length + " < 0))";
}

// SQLite's way of changing a table's constraints: with foreign keys off, a new table is filled, the old
// one dropped and the new one renamed, all in one transaction, and the keys are checked before the
// commit. A failure leaves the store as it was.
void upgradeEarlierLayout(SQLite::Database& database) {
  database.exec("PRAGMA foreign_keys = OFF");
  try {
    database.exec("BEGIN IMMEDIATE");
    try {
      if (hasEarlierLayout(database, readHeader(database))) {
        database.exec(createStatement(tableNamed("ReadingPeriod")));
        const auto outcomeDay = spanSql("coalesce(r.finishedAt, r.startedAt, q.addedAt)");
        database.exec("CREATE UNIQUE INDEX ReadingPeriod_query_span ON ReadingPeriod(query, span)");
        database.exec("INSERT OR IGNORE INTO ReadingPeriod (span, query) SELECT DISTINCT " + spanSql("o.day") +
                      " AS span, q.pk FROM StoredObservation o JOIN TrackedQuery q ON q.pk = o.query "
                      "ORDER BY 1, 2");
        database.exec("INSERT OR IGNORE INTO ReadingPeriod (span, query) SELECT DISTINCT " + outcomeDay +
                      ", q.pk FROM RunOutcome o JOIN TrackedQuery q ON q.pk = o.query "
                      "LEFT JOIN MeasurementRun r ON r.pk = o.run ORDER BY 1, 2");

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

        // The dropped tables took their indexes with them.
        for (const auto index : kIndexes) {
          std::string sql(index);
          const auto at = sql.find("INDEX ");
          sql.insert(at + 6, "IF NOT EXISTS ");
          database.exec(sql);
        }
        for (const auto& trigger : kTriggers) {
          database.exec("CREATE TRIGGER " + std::string(trigger.name) + " " + std::string(trigger.body));
        }
        SQLite::Statement broken(database, "SELECT count(*) FROM pragma_foreign_key_check");
        if (!broken.executeStep() || broken.getColumn(0).getInt() != 0) {
          throw StoreError(StoreError::Kind::cannotOpen, "The store's records do not fit together after its upgrade.");
        }
      }
      database.exec("COMMIT");
    } catch (...) {
      database.tryExec("ROLLBACK");
      throw;
    }
  } catch (...) {
    database.tryExec("PRAGMA foreign_keys = ON");
    throw;
  }
  database.exec("PRAGMA foreign_keys = ON");
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
  static const std::vector<std::string_view> names = [] {
    std::vector<std::string_view> result;
    for (const auto& table : tables()) {
      if (!table.internal) {
        result.push_back(table.name);
      }
    }
    return result;
  }();
  return names;
}

std::vector<SchemaVersion> TovraMigrationPlan::schemas() {
  return {TovraSchemaV1::version};
}

std::vector<MigrationStage> TovraMigrationPlan::stages() {
  return {};
}

void prepareSchema(SQLite::Database& database) {
  const Header header = readHeader(database);
  if (!isEmpty(header)) {
    if (hasEarlierLayout(database, header)) {
      upgradeEarlierLayout(database);
      checkShape(database, readHeader(database));
      return;
    }
    checkShape(database, header);
    return;
  }
  // Two processes may create the same new store at once: the immediate transaction makes the second
  // wait, and it then finds the first one's schema instead of creating a second.
  database.exec("BEGIN IMMEDIATE");
  try {
    const Header locked = readHeader(database);
    if (isEmpty(locked)) {
      createSchema(database);
    } else {
      checkShape(database, locked);
    }
    database.exec("COMMIT");
  } catch (...) {
    database.tryExec("ROLLBACK");
    throw;
  }
}

}  // namespace tovra::store
