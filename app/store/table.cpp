#include "app/store/table.h"

#include "app/store/mapping.h"
#include "app/store/sql.h"
#include "app/store/transaction.h"

namespace tovra::store {
namespace {

constexpr const char* kReading = "reading the store";
constexpr const char* kSaving = "saving the change";
constexpr const char* kDeleting = "deleting";

// The SQL of the generic operations of one kind, built once from its mapping.
template <class Record>
struct Statements {
  using M = Mapping<Record>;

  static std::string columnList() {
    std::string list;
    for (const auto column : M::columns) {
      list += list.empty() ? "" : ", ";
      list += column;
    }
    return list;
  }

  static const std::string& insert() {
    static const std::string sql = [] {
      std::string placeholders;
      for (std::size_t i = 0; i < M::columns.size(); ++i) {
        placeholders += i == 0 ? "?" : ", ?";
      }
      std::string text =
          "INSERT INTO " + std::string(M::table) + " (" + columnList() + ") VALUES (" + placeholders + ")";
      if (!M::unique.empty()) {
        text += " ON CONFLICT(" + std::string(M::unique) + ") DO NOTHING";
      }
      return text;
    }();
    return sql;
  }

  static const std::string& select() {
    static const std::string sql = "SELECT pk, " + columnList() + " FROM " + std::string(M::table) + " ";
    return sql;
  }

  static const std::string& update() {
    static const std::string sql = [] {
      std::string text = "UPDATE " + std::string(M::table) + " SET ";
      for (std::size_t i = 0; i < M::columns.size(); ++i) {
        text += (i == 0 ? "" : ", ") + std::string(M::columns[i]) + " = ?";
      }
      return text + " WHERE pk = ?";
    }();
    return sql;
  }

  static std::string table() { return std::string(M::table); }
};

}  // namespace

StoreError missingRecord() {
  return StoreError(StoreError::Kind::notFound, "The record to change is no longer in the store; nothing was changed.");
}

template <class Record>
Record Table<Record>::insert(const Record& record) {
  using M = Mapping<Record>;
  M::validate(record);
  return guarded(kSaving, [&] {
    std::int64_t changes = 0;
    {
      Prepared statement(store(), Statements<Record>::insert());
      M::bind(*statement, record);
      changes = statement->exec();
    }
    if constexpr (!M::unique.empty()) {
      if (changes == 0) {
        const auto value = M::uniqueValue(record);
        auto existing =
            selectOne("WHERE " + std::string(M::unique) + " = ?", [&](SQLite::Statement& s) { s.bind(1, value); });
        if (existing) {
          return *existing;
        }
      }
    }
    Record stored = record;
    stored.rowId = RecordId<Record>{store().database().getLastInsertRowid()};
    return stored;
  });
}

template <class Record>
std::optional<Record> Table<Record>::find(RecordId<Record> id) const {
  return selectOne("WHERE pk = ?", [&](SQLite::Statement& s) { s.bind(1, id.value); });
}

template <class Record>
Record Table<Record>::get(RecordId<Record> id) const {
  auto found = find(id);
  if (!found) {
    throw StoreError(StoreError::Kind::notFound, "The record is no longer in the store.");
  }
  return *found;
}

template <class Record>
std::vector<Record> Table<Record>::all() const {
  return select("ORDER BY " + std::string(Mapping<Record>::order), [](SQLite::Statement&) {});
}

template <class Record>
std::vector<RecordId<Record>> Table<Record>::allIds() const {
  return guarded(kReading, [&] {
    std::vector<RecordId<Record>> ids;
    Prepared statement(
        store(), "SELECT pk FROM " + Statements<Record>::table() + " ORDER BY " + std::string(Mapping<Record>::order));
    while (statement->executeStep()) {
      ids.push_back(RecordId<Record>{statement->getColumn(0).getInt64()});
    }
    return ids;
  });
}

template <class Record>
std::int64_t Table<Record>::count() const {
  return guarded(kReading, [&] {
    Prepared statement(store(), "SELECT count(*) FROM " + Statements<Record>::table());
    statement->executeStep();
    return statement->getColumn(0).getInt64();
  });
}

template <class Record>
void Table<Record>::update(const Record& record) {
  using M = Mapping<Record>;
  M::validate(record);
  const int changes = guarded(kSaving, [&] {
    Prepared statement(store(), Statements<Record>::update());
    M::bind(*statement, record);
    statement->bind(static_cast<int>(M::columns.size()) + 1, record.rowId.value);
    return statement->exec();
  });
  if (changes == 0) {
    throw missingRecord();
  }
}

template <class Record>
void Table<Record>::remove(RecordId<Record> id) {
  guarded(kDeleting, [&] {
    Prepared statement(store(), "DELETE FROM " + Statements<Record>::table() + " WHERE pk = ?");
    statement->bind(1, id.value);
    statement->exec();
  });
}

template <class Record>
void Table<Record>::remove(const std::vector<RecordId<Record>>& ids) {
  Transaction transaction(store());
  for (const auto id : ids) {
    remove(id);
  }
  transaction.commit();
}

template <class Record>
void Table<Record>::removeAll() {
  guarded(kDeleting, [&] {
    Prepared statement(store(), "DELETE FROM " + Statements<Record>::table());
    statement->exec();
  });
}

template <class Record>
std::vector<Record> Table<Record>::select(const std::string& clause, const Binder& bind) const {
  return guarded(kReading, [&] {
    std::vector<Record> records;
    Prepared statement(store(), Statements<Record>::select() + clause);
    bind(*statement);
    while (statement->executeStep()) {
      records.push_back(Mapping<Record>::read(*statement));
    }
    return records;
  });
}

template <class Record>
std::optional<Record> Table<Record>::selectOne(const std::string& clause, const Binder& bind) const {
  return guarded(kReading, [&]() -> std::optional<Record> {
    Prepared statement(store(), Statements<Record>::select() + clause);
    bind(*statement);
    if (!statement->executeStep()) {
      return std::nullopt;
    }
    return Mapping<Record>::read(*statement);
  });
}

template class Table<TrackedApp>;
template class Table<AppLocalization>;
template class Table<ResearchSpace>;
template class Table<TrackedQuery>;
template class Table<StoredObservation>;
template class Table<MeasurementRun>;
template class Table<RunOutcome>;
template class Table<ReviewMark>;
template class Table<StoredLadder>;
template class Table<LadderEntry>;
template class Table<HintProbe>;
template class Table<StoreHint>;

}  // namespace tovra::store
