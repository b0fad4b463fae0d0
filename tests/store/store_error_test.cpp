#include "app/store/store_error.h"

#include <SQLiteCpp/Exception.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cerrno>
#include <ostream>

namespace tovra::store {
namespace {

struct EngineCase {
  std::string name;
  int code;  // SQLite's extended result code
  int systemError;
  StoreError::Kind kind;
  std::string description;
};

void PrintTo(const EngineCase& c, std::ostream* out) {
  *out << c.name;
}

class StoreErrorTest : public ::testing::TestWithParam<EngineCase> {};

// The line between "the store is broken" and "the disk is full, forbidden or busy" decides whether a store
// is moved aside, so every engine failure must land on the right side of it, in words that say which.
TEST_P(StoreErrorTest, AnEngineFailureIsNamedForWhatItIs) {
  const SQLite::Exception engine("engine words", GetParam().code);
  const auto error = StoreError::fromSqlite(engine, "opening the store", GetParam().systemError);
  EXPECT_EQ(error.kind(), GetParam().kind);
  EXPECT_EQ(error.description(), GetParam().description);
}

INSTANTIATE_TEST_SUITE_P(
    Codes, StoreErrorTest,
    ::testing::Values(
        // SQLite reports a full disk met while growing its shared-memory index as a plain I/O error.
        EngineCase{"ShmSizeOnAFullDisk", SQLITE_IOERR_SHMSIZE, ENOSPC, StoreError::Kind::diskFull,
                   "The disk is full while opening the store; nothing was changed."},
        EngineCase{"WriteOverQuota", SQLITE_IOERR_WRITE, EDQUOT, StoreError::Kind::diskFull,
                   "The disk is full while opening the store; nothing was changed."},
        EngineCase{"FullWithoutErrno", SQLITE_FULL, 0, StoreError::Kind::diskFull,
                   "The disk is full while opening the store; nothing was changed."},
        EngineCase{"CompanionRefused", SQLITE_CANTOPEN, EACCES, StoreError::Kind::forbidden,
                   "Tovra is not allowed to read or write the store while opening the store (Permission denied); "
                   "nothing was changed."},
        EngineCase{"ReadOnlyDisk", SQLITE_READONLY, EROFS, StoreError::Kind::readOnly,
                   "The store is on a read-only disk while opening the store (Read-only file system); nothing was "
                   "changed."},
        EngineCase{"ReadFailed", SQLITE_IOERR_READ, EIO, StoreError::Kind::io,
                   "The disk failed to read or write the store while opening the store (engine words)."},
        EngineCase{"CannotOpen", SQLITE_CANTOPEN, 0, StoreError::Kind::cannotOpen,
                   "The store file could not be opened (engine words)."},
        // A lock is never a broken store, and an errno left over from an earlier call does not change that.
        EngineCase{"Busy", SQLITE_BUSY, ENOSPC, StoreError::Kind::busy,
                   "The store is in use by another program while opening the store; nothing was changed. Try "
                   "again in a moment."},
        EngineCase{"Locked", SQLITE_LOCKED_SHAREDCACHE, 0, StoreError::Kind::busy,
                   "The store is in use by another program while opening the store; nothing was changed. Try "
                   "again in a moment."},
        EngineCase{"Corrupt", SQLITE_CORRUPT, EIO, StoreError::Kind::damaged,
                   "The store file is damaged (engine words) while opening the store."},
        EngineCase{"NotADatabase", SQLITE_NOTADB, EACCES, StoreError::Kind::notATovraStore,
                   "The store file is not a database (engine words)."}),
    [](const ::testing::TestParamInfo<EngineCase>& info) { return info.param.name; });

}  // namespace
}  // namespace tovra::store
