#include "app/store/salvage.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <sqlite3.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <variant>
#include <vector>

#include "app/store/sql.h"
#include "app/store/table_columns.h"
#include "app/store/transaction.h"

namespace tovra::store {
namespace fs = std::filesystem;
namespace {

using columns::Column;
using columns::kTables;
using columns::Table;

// A reference from one column to the row of another table, and what losing that row does to the record.
struct Reference {
  std::size_t column;  // index into the table's columns
  std::string parent;
  bool dropsRecord;  // ON DELETE CASCADE, or a column that cannot be empty
};

// The keyword a reading or an outcome repeats is a plain column without a foreign key (see kStoredObservation
// and kRunOutcome); a salvaged record must still not point at a keyword that was lost.
constexpr std::string_view kPlainKeywordColumn = "query";
constexpr std::string_view kKeywordTable = "TrackedQuery";

std::vector<Reference> referencesOf(const Table& table) {
  std::vector<Reference> references;
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    const Column& column = table.columns[i];
    const bool required = column.constraints.find("NOT NULL") != std::string_view::npos;
    const auto at = column.constraints.find("REFERENCES ");
    if (at != std::string_view::npos) {
      const auto name = column.constraints.substr(at + 11);
      const auto parent = std::string(name.substr(0, name.find('(')));
      const bool cascade = column.constraints.find("ON DELETE CASCADE") != std::string_view::npos;
      references.push_back({i, parent, cascade || required});
    } else if ((column.role == columns::relationship || column.role == columns::bookkeeping) &&
               column.name == kPlainKeywordColumn) {
      references.push_back({i, std::string(kKeywordTable), required});
    }
  }
  return references;
}

// The tables with every table a record refers to before the records that refer to it.
std::vector<const Table*> parentsFirst() {
  std::vector<const Table*> order;
  std::vector<const Table*> left;
  for (const auto& table : kTables) {
    left.push_back(&table);
  }
  while (!left.empty()) {
    const auto ready = std::find_if(left.begin(), left.end(), [&](const Table* table) {
      for (const auto& reference : referencesOf(*table)) {
        const bool placed =
            std::any_of(order.begin(), order.end(), [&](const Table* done) { return done->name == reference.parent; });
        if (!placed && reference.parent != table->name) {
          return false;
        }
      }
      return true;
    });
    // The schema has no cycle; should one appear, the rest keep schema order rather than loop.
    const auto next = ready == left.end() ? left.begin() : ready;
    order.push_back(*next);
    left.erase(next);
  }
  return order;
}

using Value = std::variant<std::monostate, std::int64_t, double, std::string, std::vector<unsigned char>>;

Value valueOf(const SQLite::Column& column) {
  switch (column.getType()) {
    case SQLITE_INTEGER:
      return column.getInt64();
    case SQLITE_FLOAT:
      return column.getDouble();
    case SQLITE_TEXT:
      return column.getString();
    case SQLITE_BLOB: {
      const auto* bytes = static_cast<const unsigned char*>(column.getBlob());
      return std::vector<unsigned char>(bytes, bytes + column.getBytes());
    }
    default:
      return std::monostate{};
  }
}

void bindValue(SQLite::Statement& statement, int index, const Value& value) {
  if (const auto* integer = std::get_if<std::int64_t>(&value)) {
    statement.bind(index, *integer);
  } else if (const auto* real = std::get_if<double>(&value)) {
    statement.bind(index, *real);
  } else if (const auto* text = std::get_if<std::string>(&value)) {
    statement.bind(index, *text);
  } else if (const auto* blob = std::get_if<std::vector<unsigned char>>(&value)) {
    statement.bind(index, blob->data(), static_cast<int>(blob->size()));
  } else {
    statement.bind(index);
  }
}

std::string columnList(const Table& table) {
  std::string list;
  for (const auto& column : table.columns) {
    list += (list.empty() ? "" : ", ") + std::string(column.name);
  }
  return list;
}

// Whether the damaged file holds the table with exactly the current columns; only such a table's rows
// mean what the new store's rows mean.
bool sameLayout(SQLite::Database& source, const Table& table) {
  SQLite::Statement info(source, "SELECT name, type FROM pragma_table_info(?) ORDER BY cid");
  info.bind(1, std::string(table.name));
  for (const auto& column : table.columns) {
    if (!info.executeStep() || info.getColumn(0).getString() != column.name ||
        info.getColumn(1).getString() != column.type) {
      return false;
    }
  }
  return !info.executeStep();
}

// Copies one table's rows, in the order of their keys, from the damaged file into the new store.
class TableCopy final {
 public:
  TableCopy(SQLite::Database& source, SQLite::Database& target, const Table& table)
      : source_(source), target_(target), table_(table), references_(referencesOf(table)) {
    const std::string columns = columnList(table);
    std::string marks;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
      marks += i == 0 ? "?" : ", ?";
    }
    insert_ = std::make_unique<SQLite::Statement>(
        target_, "INSERT INTO " + std::string(table.name) + " (" + columns + ") VALUES (" + marks + ")");
    for (const auto& reference : references_) {
      parents_.push_back(
          std::make_unique<SQLite::Statement>(target_, "SELECT 1 FROM " + reference.parent + " WHERE pk = ?"));
    }
    // NOT INDEXED: an index of the damaged file may be what is damaged; the table itself is read in key order.
    const std::string from = " FROM " + std::string(table.name) + " NOT INDEXED ";
    scan_ = "SELECT " + columns + from + "WHERE pk >= ? ORDER BY pk";
    firstKey_ = "SELECT pk" + from + "WHERE pk >= ? ORDER BY pk LIMIT 1";
  }

  // Returns whether the whole table could be read.
  bool run(std::int64_t& copied, std::int64_t& dropped) {
    bool whole = true;
    std::int64_t from = std::numeric_limits<std::int64_t>::min();
    while (true) {
      const auto failure = scanFrom(from, copied, dropped);
      if (!failure) {
        return whole;
      }
      whole = false;
      // Every turn starts further on than the one before: at the next row that can be found, past a row
      // that cannot be read, or past damage that hides where the next row is. A table damaged row after
      // row ends in about twice as many turns as it has rows, not in as many as there are keys.
      const auto next = skipPast(failure->readUpTo, from);
      if (!next || *next <= from) {
        return whole;
      }
      from = *next;
    }
  }

 private:
  struct ScanFailure {
    std::int64_t readUpTo;  // the last key read, or the key before the scan's start
  };

  // Reads on from `from`; none when the table ended normally.
  std::optional<ScanFailure> scanFrom(std::int64_t from, std::int64_t& copied, std::int64_t& dropped) {
    std::optional<std::int64_t> last;
    try {
      SQLite::Statement scan(source_, scan_);
      scan.bind(1, from);
      while (scan.executeStep()) {
        last = scan.getColumn(0).getInt64();
        keep(scan, copied, dropped);
      }
      return std::nullopt;
    } catch (const SQLite::Exception&) {
      // Keys start at 1: from the table's very start, the search past the damage starts there too.
      return ScanFailure{last ? *last : std::max<std::int64_t>(from, 1) - 1};
    }
  }

  // Where to scan on after a scan from `from` failed after `readUpTo`; none when nothing further can be
  // read. When the next key can still be found, the scan goes on from it, and when it already started
  // there, that row is the one that cannot be read and is left out. Otherwise the damage hides the keys
  // themselves and the search goes past it.
  std::optional<std::int64_t> skipPast(std::int64_t readUpTo, std::int64_t from) {
    const auto max = std::numeric_limits<std::int64_t>::max();
    if (readUpTo == max) {
      return std::nullopt;
    }
    const auto next = firstKeyFrom(readUpTo + 1);
    if (!next) {
      return resumeAfter(readUpTo);
    }
    if (!*next) {
      return std::nullopt;
    }
    if (**next > from) {
      return **next;
    }
    return **next == max ? std::nullopt : std::optional<std::int64_t>(**next + 1);
  }

  // The damaged part begins after `last`. Seeks ever further past it until a seek lands on a readable
  // page, then narrows down between the last failed seek and that one, so that the rows between the
  // damage and the landing point are read too. Returns where to scan on from; none when no seek past the
  // damage can be read.
  std::optional<std::int64_t> resumeAfter(std::int64_t last) {
    const auto max = std::numeric_limits<std::int64_t>::max();
    std::int64_t failed = last;
    for (std::int64_t gap = 1; last <= max - gap; gap = gap <= max / 2 ? gap * 2 : max) {
      const std::int64_t probe = last + gap;
      if (!seeks(probe)) {
        failed = probe;
        if (gap == max) {
          break;
        }
        continue;
      }
      std::int64_t readable = probe;
      while (readable - failed > 1) {
        const std::int64_t middle = failed + (readable - failed) / 2;
        (seeks(middle) ? readable : failed) = middle;
      }
      return readable;
    }
    return std::nullopt;
  }

  bool seeks(std::int64_t key) { return firstKeyFrom(key).has_value(); }

  // The first key at or after `key`: none when the search fails, an empty key when the table ends first.
  std::optional<std::optional<std::int64_t>> firstKeyFrom(std::int64_t key) {
    try {
      SQLite::Statement seek(source_, firstKey_);
      seek.bind(1, key);
      if (seek.executeStep()) {
        return std::optional<std::int64_t>(seek.getColumn(0).getInt64());
      }
      return std::optional<std::int64_t>();
    } catch (const SQLite::Exception&) {
      return std::nullopt;
    }
  }

  void keep(SQLite::Statement& row, std::int64_t& copied, std::int64_t& dropped) {
    std::vector<Value> values;
    values.reserve(table_.columns.size());
    for (int i = 0; i < static_cast<int>(table_.columns.size()); ++i) {
      values.push_back(valueOf(row.getColumn(i)));
    }
    for (std::size_t r = 0; r < references_.size(); ++r) {
      const auto& reference = references_[r];
      const auto* key = std::get_if<std::int64_t>(&values[reference.column]);
      if (!key) {
        continue;
      }
      auto& parent = *parents_[r];
      parent.reset();
      parent.bind(1, *key);
      if (parent.executeStep()) {
        continue;
      }
      if (reference.dropsRecord) {
        ++dropped;
        return;
      }
      values[reference.column] = std::monostate{};
    }
    insert_->reset();
    insert_->clearBindings();
    for (std::size_t i = 0; i < values.size(); ++i) {
      bindValue(*insert_, static_cast<int>(i) + 1, values[i]);
    }
    try {
      insert_->exec();
      ++copied;
    } catch (const SQLite::Exception& error) {
      // A record that breaks a rule of the schema (a garbled value, a duplicate) is left out; a full disk
      // or any other failure of the new store ends the salvage.
      if ((error.getErrorCode() & 0xff) != SQLITE_CONSTRAINT && (error.getErrorCode() & 0xff) != SQLITE_MISMATCH) {
        throw;
      }
      ++dropped;
    }
  }

  SQLite::Database& source_;
  SQLite::Database& target_;
  const Table& table_;
  std::vector<Reference> references_;
  std::unique_ptr<SQLite::Statement> insert_;
  std::vector<std::unique_ptr<SQLite::Statement>> parents_;
  std::string scan_;
  std::string firstKey_;
};

// The damaged file is read from a copy: opening it, even to read, lets the engine replay and rewrite its
// log and index, and the moved-aside files are to stay exactly as they were found.
std::optional<fs::path> workingCopy(const fs::path& damaged, const fs::path& workFolder) {
  std::error_code error;
  // Only a salvage that was itself cut short leaves this folder behind: it holds nothing but its copy.
  fs::remove_all(workFolder, error);
  if (!fs::create_directory(workFolder, error) || error) {
    return std::nullopt;
  }
  const fs::path copy = workFolder / damaged.filename();
  if (!fs::copy_file(damaged, copy, error)) {
    return std::nullopt;
  }
  const fs::path log(damaged.string() + "-wal");
  if (fs::exists(log, error)) {
    fs::copy_file(log, fs::path(copy.string() + "-wal"), error);
  }
  return copy;
}

void salvageInto(SQLite::Database& source, Store& into, SalvageReport& report) {
  // Debian's SQLite library is built without the engine's recovery extension and without the page-level
  // virtual table, so the salvage reads through plain queries, table by table.
  source.exec("PRAGMA query_only = ON");
  // A garbled entry in the table list then hides that table only, not every table.
  source.exec("PRAGMA writable_schema = ON");
  // The first read: a file that is no database fails here, before anything counts as opened.
  (void)source.execAndGet("SELECT count(*) FROM sqlite_schema");
  std::vector<std::pair<const Table*, bool>> readable;
  for (const Table* table : parentsFirst()) {
    bool same = false;
    try {
      same = sameLayout(source, *table);
    } catch (const SQLite::Exception&) {
    }
    readable.emplace_back(table, same);
  }
  report.opened = true;
  report.whole = std::all_of(readable.begin(), readable.end(), [](const auto& entry) { return entry.second; });

  Transaction transaction(into);
  for (const auto& [table, same] : readable) {
    if (!same) {
      continue;
    }
    std::int64_t copied = 0;
    TableCopy copy(source, into.database(), *table);
    report.whole = copy.run(copied, report.dropped) && report.whole;
    report.records += copied;
    if (table->name == "TrackedApp") {
      report.apps = copied;
    } else if (table->name == "TrackedQuery") {
      report.keywords = copied;
    } else if (table->name == "StoredObservation") {
      report.readings = copied;
    }
  }
  transaction.commit();
}

std::string counted(std::int64_t count, std::string_view one, std::string_view many) {
  return std::to_string(count) + " " + std::string(count == 1 ? one : many);
}

}  // namespace

SalvageReport salvageStore(const fs::path& damaged, Store& into, const fs::path& workFolder) {
  SalvageReport report;
  const auto copy = workingCopy(damaged, workFolder);
  if (copy) {
    try {
      SQLite::Database source(copy->string(), SQLite::OPEN_READWRITE | SQLite::OPEN_NOMUTEX);
      salvageInto(source, into, report);
    } catch (const StoreError& error) {
      report = SalvageReport{true, false, 0, 0, 0, 0, 0, error.description()};
    } catch (const SQLite::Exception& error) {
      // Before the table list was read the old file is no database to read from; after, the new store
      // failed.
      if (report.opened) {
        report = SalvageReport{true, false, 0, 0, 0, 0, 0, StoreError::fromSqlite(error, "salvaging").description()};
      } else {
        report = SalvageReport{};
      }
    } catch (const std::exception& error) {
      report = SalvageReport{report.opened, false, 0, 0, 0, 0, 0, error.what()};
    }
  }
  std::error_code ignored;
  fs::remove_all(workFolder, ignored);
  return report;
}

std::string salvageSummary(const SalvageReport& report) {
  if (!report.opened) {
    return "Nothing could be salvaged: the old file can no longer be read as a database.";
  }
  if (!report.failure.empty()) {
    return "Nothing could be salvaged into the new store: " + report.failure;
  }
  std::string text =
      "Tovra salvaged what could still be read into the new store: " + counted(report.apps, "app", "apps") + ", " +
      counted(report.keywords, "keyword", "keywords") + " and " + counted(report.readings, "reading", "readings") + ".";
  if (!report.whole) {
    text += " Some records lay on damaged parts of the file and could not be read; they are still in the old file.";
  }
  return text;
}

}  // namespace tovra::store
