#include "app/store/rows.h"

#include "app/store/damage.h"
#include "app/store/dates.h"
#include "app/store/sql.h"

namespace tovra::store {
namespace {

constexpr const char* kDoing = "reading the store";

}  // namespace

void Rows::fail(int code) const {
  noteResult(store_, code);
  throw StoreError::fromSqlite(SQLite::Exception(database_, code), kDoing);
}

Rows::Rows(Store& store, const char* sql) : store_(store), database_(store.database().getHandle()) {
  const int code = sqlite3_prepare_v2(database_, sql, -1, &statement_, nullptr);
  if (code != SQLITE_OK) {
    sqlite3_finalize(statement_);
    fail(code);
  }
}

Rows::~Rows() {
  sqlite3_finalize(statement_);
}

void Rows::restart(std::int64_t parameter) {
  sqlite3_reset(statement_);
  sqlite3_bind_int64(statement_, 1, parameter);
}

bool Rows::next() {
  const int code = sqlite3_step(statement_);
  if (code == SQLITE_ROW) {
    return true;
  }
  if (code == SQLITE_DONE) {
    return false;
  }
  fail(code);
}

std::string_view Rows::text(int column) const {
  const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
  return bytes ? std::string_view(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)))
               : std::string_view();
}

std::optional<std::string> Rows::optionalText(int column) const {
  return isNull(column) ? std::nullopt : std::optional<std::string>(std::string(text(column)));
}

std::optional<std::int64_t> Rows::optionalInteger(int column) const {
  return isNull(column) ? std::nullopt : std::optional<std::int64_t>(integer(column));
}

std::optional<double> Rows::optionalReal(int column) const {
  return isNull(column) ? std::nullopt : std::optional<double>(sqlite3_column_double(statement_, column));
}

asokit::WallTime Rows::time(int column) const {
  return fromMillis(integer(column));
}

std::optional<asokit::WallTime> Rows::optionalTime(int column) const {
  return isNull(column) ? std::nullopt : std::optional<asokit::WallTime>(time(column));
}

}  // namespace tovra::store
