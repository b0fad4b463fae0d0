#pragma once

// The store's own helpers for talking to SQLite; included by app/store/*.cpp only.

#include <SQLiteCpp/Column.h>
#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>

#include <cstdint>
#include <optional>
#include <string>

#include "app/store/records.h"
#include "app/store/store.h"
#include "app/store/store_error.h"

namespace tovra::store {

// A prepared statement from the store's cache. Bindings start cleared, and the statement is reset when
// the lease ends, so a finished read holds no snapshot open. One lease per statement at a time.
class Prepared final {
 public:
  Prepared(Store& store, const std::string& sql);
  ~Prepared();
  Prepared(const Prepared&) = delete;
  Prepared& operator=(const Prepared&) = delete;

  SQLite::Statement& operator*() const { return *entry_.statement; }
  SQLite::Statement* operator->() const { return entry_.statement.get(); }

 private:
  Store& store_;
  Store::CachedStatement& entry_;
};

namespace sql {

void bind(SQLite::Statement& statement, int index, const std::optional<std::string>& value);
void bind(SQLite::Statement& statement, int index, const std::optional<std::int64_t>& value);
void bind(SQLite::Statement& statement, int index, const std::optional<double>& value);
void bind(SQLite::Statement& statement, int index, WallTime value);
void bind(SQLite::Statement& statement, int index, const std::optional<WallTime>& value);
template <class Record>
void bind(SQLite::Statement& statement, int index, const std::optional<RecordId<Record>>& id) {
  sql::bind(statement, index, id ? std::optional<std::int64_t>(id->value) : std::nullopt);
}

std::optional<std::string> optionalText(const SQLite::Statement& statement, int index);
std::optional<std::int64_t> optionalInteger(const SQLite::Statement& statement, int index);
std::optional<double> optionalReal(const SQLite::Statement& statement, int index);
WallTime time(const SQLite::Statement& statement, int index);
std::optional<WallTime> optionalTime(const SQLite::Statement& statement, int index);
template <class Record>
std::optional<RecordId<Record>> optionalId(const SQLite::Statement& statement, int index) {
  const auto value = optionalInteger(statement, index);
  return value ? std::optional<RecordId<Record>>(RecordId<Record>{*value}) : std::nullopt;
}

}  // namespace sql

// Runs `work`, turning any database failure into a StoreError that says what was being done.
template <class Work>
auto guarded(const char* doing, Work&& work) -> decltype(work()) {
  try {
    return work();
  } catch (const SQLite::Exception& error) {
    throw StoreError::fromSqlite(error, doing);
  }
}

}  // namespace tovra::store
