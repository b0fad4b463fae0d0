#include "app/store/store_error.h"

#include <SQLiteCpp/Exception.h>
#include <sqlite3.h>

#include <cerrno>
#include <system_error>

namespace tovra::store {

StoreError StoreError::fromSqlite(const SQLite::Exception& error, const std::string& doing, int systemError) {
  const std::string engine = error.what();
  const std::string context = doing.empty() ? "" : " while " + doing;
  const int code = error.getErrorCode() & 0xff;
  // Only a failure of the disk or of opening a file can stem from the system; the errno of a busy or
  // corrupt store may be left over from an earlier, harmless call.
  if (systemError != 0 && (code == SQLITE_IOERR || code == SQLITE_CANTOPEN || code == SQLITE_FULL ||
                           code == SQLITE_READONLY || code == SQLITE_PERM)) {
    const std::string reason = std::generic_category().message(systemError);
    switch (systemError) {
      case ENOSPC:
      case EDQUOT:
        return StoreError(Kind::diskFull, "The disk is full" + context + "; nothing was changed.");
      case EACCES:
      case EPERM:
        return StoreError(Kind::forbidden, "Tovra is not allowed to read or write the store" + context + " (" + reason +
                                               "); nothing was changed.");
      case EROFS:
        return StoreError(Kind::readOnly,
                          "The store is on a read-only disk" + context + " (" + reason + "); nothing was changed.");
      default:
        break;
    }
  }
  switch (code) {
    case SQLITE_FULL:
      return StoreError(Kind::diskFull, "The disk is full" + context + "; nothing was changed.");
    case SQLITE_READONLY:
      return StoreError(Kind::readOnly,
                        "The store cannot be written" + context + " (" + engine + "); nothing was changed.");
    case SQLITE_PERM:
      return StoreError(Kind::forbidden, "Tovra is not allowed to read or write the store" + context + " (" + engine +
                                             "); nothing was changed.");
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return StoreError(Kind::busy, "The store is in use by another program" + context +
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
    case SQLITE_IOERR:
      return StoreError(Kind::io, "The disk failed to read or write the store" + context + " (" + engine + ").");
    default:
      return StoreError(Kind::io, "The store reported an error" + context + ": " + engine + ".");
  }
}

}  // namespace tovra::store
