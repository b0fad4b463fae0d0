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
    readOnly,        // the file or its folder cannot be written
    busy,            // another process kept the store locked past the busy timeout
    constraint,      // a change broke a rule of the schema
    notFound,        // the record to change no longer exists
    io,              // any other read or write failure
  };

  StoreError(Kind kind, const std::string& description) : std::runtime_error(description), kind_(kind) {}

  Kind kind() const { return kind_; }
  std::string description() const { return what(); }

  // Words for a failure the database engine reported while `doing` something ("saving the change").
  static StoreError fromSqlite(const SQLite::Exception& error, const std::string& doing);

 private:
  Kind kind_;
};

}  // namespace tovra::store
