#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "app/store/repositories.h"

namespace SQLite {
class Database;
class Statement;
}  // namespace SQLite

namespace tovra::store {

// The persistent container: one SQLite connection, used from the main thread only. On disk it is one
// file in WAL mode (so "-wal" and "-shm" sit beside it while it is open) with foreign keys on and a
// busy timeout that lets a second Tovra process (the GUI and the CLI) wait out a short write.
// Records are read and written through the typed operations returned by apps(), queries(), …; every
// change is one transaction (see Transaction for grouping several).
class Store final {
 public:
  // How long a write waits for another process's transaction before failing with `busy`.
  static constexpr std::chrono::milliseconds busyTimeout{5000};

  // Opens the store file, creating it (and its schema) when it does not exist. Throws StoreError when
  // the file cannot be opened or is not a store of this schema; such a file is not written to.
  static std::unique_ptr<Store> open(const std::filesystem::path& file);
  // A store that keeps its data in memory only: the launch fallback, tests and benchmarks.
  static std::unique_ptr<Store> inMemory();

  ~Store();
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  // The store file; absent for a store kept in memory.
  const std::optional<std::filesystem::path>& file() const { return file_; }
  // Changes when another connection commits, so a view can tell that it must re-read.
  std::int64_t dataVersion();
  // How many write transactions this connection has committed, which dataVersion() does not count.
  std::int64_t commitCount() const { return commitCount_; }
  bool inTransaction() const { return transactionDepth_ > 0; }

  Apps apps() { return Apps(*this); }
  Localizations localizations() { return Localizations(*this); }
  Spaces spaces() { return Spaces(*this); }
  Queries queries() { return Queries(*this); }
  Observations observations() { return Observations(*this); }
  Runs runs() { return Runs(*this); }
  Outcomes outcomes() { return Outcomes(*this); }
  ReviewMarks reviewMarks() { return ReviewMarks(*this); }
  Ladders ladders() { return Ladders(*this); }
  LadderEntries ladderEntries() { return LadderEntries(*this); }
  Probes probes() { return Probes(*this); }
  Hints hints() { return Hints(*this); }

  // For the store's own operations (app/store/ only): the connection and its prepared statements.
  SQLite::Database& database() { return *database_; }

 private:
  friend class Transaction;
  friend class Prepared;

  struct CachedStatement {
    std::unique_ptr<SQLite::Statement> statement;
    bool inUse = false;
  };

  Store(std::unique_ptr<SQLite::Database> database, std::optional<std::filesystem::path> file);
  CachedStatement& cached(const std::string& sql);

  std::unique_ptr<SQLite::Database> database_;
  std::optional<std::filesystem::path> file_;
  std::unordered_map<std::string, CachedStatement> statements_;
  int transactionDepth_ = 0;
  std::int64_t commitCount_ = 0;
};

}  // namespace tovra::store
