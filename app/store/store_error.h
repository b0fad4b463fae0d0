#pragma once

#include <stdexcept>
#include <string>

namespace SQLite {
class Exception;
}

namespace tovra::store {

// The store's one error type. Its description is the text the user reads, so every database or file
// failure reaches the user in words, never as a crash.
class StoreError final : public std::runtime_error {
 public:
  enum class Kind {
    cannotOpen,      // the file or its folder could not be opened or created
    notATovraStore,  // the file is no database, or a database of another shape or schema version
    damaged,         // the database is malformed
    diskFull,        // no space left to save
    readOnly,        // the file or its folder cannot be written (a read-only disk, a read-only database)
    forbidden,       // the system does not allow Tovra to read or write the file or its folder
    busy,            // another program kept the store locked past the busy timeout
    constraint,      // a change broke a rule of the schema
    notFound,        // the record to change no longer exists
    io,              // any other read or write failure
  };

  StoreError(Kind kind, const std::string& description) : std::runtime_error(description), kind_(kind) {}

  Kind kind() const { return kind_; }
  std::string description() const { return what(); }

  // Whether the failure says something about the file's contents (it is not a Tovra store, or it is
  // damaged), rather than about the disk, the system's permissions or another program holding it.
  bool concernsTheContents() const { return kind_ == Kind::notATovraStore || kind_ == Kind::damaged; }

  // Words for a failure the database engine reported while `doing` something ("saving the change").
  // `systemError` is the engine's last errno, when known: SQLite reports a full disk met while growing
  // its shared-memory index, or a permission refused on a companion file, only as a generic I/O or
  // open failure, and the errno tells what really happened.
  static StoreError fromSqlite(const SQLite::Exception& error, const std::string& doing, int systemError = 0);

 private:
  Kind kind_;
};

}  // namespace tovra::store
