#include "app/store/sql.h"

#include "app/store/dates.h"

namespace tovra::store::sql {

void bind(SQLite::Statement& statement, int index, const std::optional<std::string>& value) {
  if (value) {
    statement.bind(index, *value);
  } else {
    statement.bind(index);
  }
}

void bind(SQLite::Statement& statement, int index, const std::optional<std::int64_t>& value) {
  if (value) {
    statement.bind(index, *value);
  } else {
    statement.bind(index);
  }
}

void bind(SQLite::Statement& statement, int index, const std::optional<double>& value) {
  if (value) {
    statement.bind(index, *value);
  } else {
    statement.bind(index);
  }
}

void bind(SQLite::Statement& statement, int index, WallTime value) {
  statement.bind(index, static_cast<std::int64_t>(toMillis(value)));
}

void bind(SQLite::Statement& statement, int index, const std::optional<WallTime>& value) {
  sql::bind(statement, index, value ? std::optional<std::int64_t>(toMillis(*value)) : std::nullopt);
}

std::optional<std::string> optionalText(const SQLite::Statement& statement, int index) {
  const auto column = statement.getColumn(index);
  return column.isNull() ? std::nullopt : std::optional<std::string>(column.getString());
}

std::optional<std::int64_t> optionalInteger(const SQLite::Statement& statement, int index) {
  const auto column = statement.getColumn(index);
  return column.isNull() ? std::nullopt : std::optional<std::int64_t>(column.getInt64());
}

std::optional<double> optionalReal(const SQLite::Statement& statement, int index) {
  const auto column = statement.getColumn(index);
  return column.isNull() ? std::nullopt : std::optional<double>(column.getDouble());
}

WallTime time(const SQLite::Statement& statement, int index) {
  return fromMillis(statement.getColumn(index).getInt64());
}

std::optional<WallTime> optionalTime(const SQLite::Statement& statement, int index) {
  const auto millis = optionalInteger(statement, index);
  return millis ? std::optional<WallTime>(fromMillis(*millis)) : std::nullopt;
}

}  // namespace tovra::store::sql
