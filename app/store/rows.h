#pragma once

// A forward-only cursor over a prepared statement on the raw SQLite handle, for the store's bulk readers
// (the export walks millions of rows; this skips the per-column objects of the C++ wrapper). Included
// by app/store/*.cpp only.

#include <sqlite3.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "AsoKit/clock.h"

namespace tovra::store {

class Store;

class Rows final {
 public:
  Rows(Store& store, const char* sql);
  Rows(Store& store, const std::string& sql) : Rows(store, sql.c_str()) {}
  ~Rows();
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;

  // Starts over with `parameter` bound as ?1.
  void restart(std::int64_t parameter);
  // Moves to the next row; false after the last. Throws StoreError on a read failure.
  bool next();

  std::int64_t integer(int column) const { return sqlite3_column_int64(statement_, column); }
  bool flag(int column) const { return sqlite3_column_int(statement_, column) != 0; }
  bool isNull(int column) const { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }
  std::string_view text(int column) const;
  std::optional<std::string> optionalText(int column) const;
  std::optional<std::int64_t> optionalInteger(int column) const;
  std::optional<double> optionalReal(int column) const;
  asokit::WallTime time(int column) const;
  std::optional<asokit::WallTime> optionalTime(int column) const;

 private:
  [[noreturn]] void fail(int code) const;

  Store& store_;
  sqlite3* database_;
  sqlite3_stmt* statement_ = nullptr;
};

}  // namespace tovra::store
