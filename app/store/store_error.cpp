#include "app/store/store_error.h"

#include <SQLiteCpp/Exception.h>
#include <sqlite3.h>

namespace tovra::store {

StoreError StoreError::fromSqlite(const SQLite::Exception& error, const std::string& doing) {
  const std::string engine = error.what();
  const std::string context = doing.empty() ? "" : " while " + doing;
  switch (error.getErrorCode() & 0xff) {
    case SQLITE_FULL:
      return StoreError(Kind::diskFull, "The disk is full" + context + "; nothing was changed.");
    case SQLITE_READONLY:
      return StoreError(Kind::readOnly,
                        "The store cannot be written" + context + " (" + engine + "); nothing was changed.");
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return StoreError(Kind::busy, "Another Tovra process kept the store busy" + context +
                                        "; nothing was changed. Try again in a moment.");
    case SQLITE_NOTADB:
      return StoreError(Kind::notATovraStore, "The store file is not a database (" + engine + ").");
    case SQLITE_CORRUPT:
      return StoreError(Kind::damaged, "The store file is damaged (" + engine + ")" + context + ".");
    case SQLITE_CANTOPEN:
      return StoreError(Kind::cannotOpen, "The store file could not be opened (" + engine + ").");
    case SQLITE_CONSTRAINT:
      return StoreError(Kind::constraint,
                        "The change breaks a rule of the store (" + engine + "); nothing was changed.");
    default:
      return StoreError(Kind::io, "The store reported an error" + context + ": " + engine + ".");
  }
}

}  // namespace tovra::store
