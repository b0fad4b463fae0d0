#include "app/store/store.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <stdexcept>

#include "app/store/schema.h"
#include "app/store/sql.h"

namespace tovra::store {
namespace {

std::unique_ptr<SQLite::Database> connect(const std::string& name) {
  auto database =
      std::make_unique<SQLite::Database>(name, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE | SQLite::OPEN_NOMUTEX,
                                         static_cast<int>(Store::busyTimeout.count()));
  // Off by default in SQLite and per connection: without it the delete rules silently do nothing.
  database->exec("PRAGMA foreign_keys = ON");
  // The today queue and a run's finishing step walk a few thousand index and table pages at a time; with
  // SQLite's default 2 MB cache they would be read from the file again on every refresh.
  database->exec("PRAGMA cache_size = -16384");
  if (database->execAndGet("PRAGMA foreign_keys").getInt() != 1) {
    throw StoreError(StoreError::Kind::cannotOpen, "The store engine cannot enforce relationships (foreign keys).");
  }
  return database;
}

std::int32_t bigEndian(const std::array<unsigned char, 100>& header, std::size_t offset) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(header[offset]) << 24 |
                                   static_cast<std::uint32_t>(header[offset + 1]) << 16 |
                                   static_cast<std::uint32_t>(header[offset + 2]) << 8 | header[offset + 3]);
}

// Reads the file's header before SQLite ever opens it. SQLite repairs what it opens: it resets the
// "-shm" index, checkpoints or deletes a "-wal" log, and removes the log of an empty file. For a file
// that is not this store those are the user's bytes, so such a file is refused here, untouched, and the
// bootstrap moves it aside with its companions exactly as they were.
void checkHeader(const std::filesystem::path& file) {
  std::error_code error;
  const auto status = std::filesystem::status(file, error);
  if (status.type() == std::filesystem::file_type::not_found) {
    return;
  }
  if (status.type() != std::filesystem::file_type::regular) {
    throw StoreError(StoreError::Kind::cannotOpen, "The store " + file.string() + " is not a file.");
  }
  std::ifstream in(file, std::ios::binary);
  std::array<unsigned char, 100> header{};
  in.read(reinterpret_cast<char*>(header.data()), header.size());
  const auto length = in.gcount();
  if (!in && !in.eof()) {
    throw StoreError(StoreError::Kind::cannotOpen, "The store " + file.string() + " could not be read.");
  }
  if (length == 0) {
    if (std::filesystem::exists(file.string() + "-wal", error)) {
      throw StoreError(StoreError::Kind::notATovraStore,
                       "The store file is empty but its log is not; both are kept as they are.");
    }
    return;
  }
  static constexpr char magic[] = "SQLite format 3";  // with its terminating zero: 16 bytes
  if (length < static_cast<std::streamsize>(header.size()) ||
      !std::equal(std::begin(magic), std::end(magic), header.begin())) {
    throw StoreError(StoreError::Kind::notATovraStore, "The store file is not a database; it is kept as it is.");
  }
  if (bigEndian(header, 68) != TovraSchemaV1::applicationId) {
    throw StoreError(StoreError::Kind::notATovraStore,
                     "The store file is a database of another program; it is kept as it is.");
  }
  if (bigEndian(header, 60) != TovraSchemaV1::userVersion) {
    throw StoreError(StoreError::Kind::notATovraStore,
                     "The store file was written by another version of Tovra's schema; it is kept as it is.");
  }
}

}  // namespace

Store::Store(std::unique_ptr<SQLite::Database> database, std::optional<std::filesystem::path> file)
    : database_(std::move(database)), file_(std::move(file)) {
  // Every commit of this connection passes here, whether a Transaction or a single statement made it;
  // SQLite calls the hook only for transactions that wrote.
  sqlite3_commit_hook(
      database_->getHandle(),
      [](void* store) {
        ++static_cast<Store*>(store)->commitCount_;
        return 0;
      },
      this);
}

Store::~Store() {
  sqlite3_commit_hook(database_->getHandle(), nullptr, nullptr);
  statements_.clear();
  database_.reset();
}

std::unique_ptr<Store> Store::open(const std::filesystem::path& file) {
  return guarded("opening the store", [&] {
    checkHeader(file);
    auto database = connect(file.string());
    // The schema is read before anything is written, so a file of another shape is left untouched.
    prepareSchema(*database);
    const std::string mode = database->execAndGet("PRAGMA journal_mode = WAL").getString();
    if (mode != "wal") {
      throw StoreError(StoreError::Kind::cannotOpen,
                       "The store could not switch to write-ahead logging (journal mode " + mode + ").");
    }
    // The log and its index are opened by the first read; doing it now makes them exist for as long as
    // the store is open, whatever the caller does first.
    database->execAndGet("SELECT count(*) FROM sqlite_schema");
    return std::unique_ptr<Store>(new Store(std::move(database), file));
  });
}

std::unique_ptr<Store> Store::inMemory() {
  return guarded("creating a store in memory", [&] {
    auto database = connect(":memory:");
    prepareSchema(*database);
    return std::unique_ptr<Store>(new Store(std::move(database), std::nullopt));
  });
}

std::int64_t Store::dataVersion() {
  return guarded("reading the store", [&] { return database_->execAndGet("PRAGMA data_version").getInt64(); });
}

Store::CachedStatement& Store::cached(const std::string& sql) {
  auto found = statements_.find(sql);
  if (found == statements_.end()) {
    auto statement = std::make_unique<SQLite::Statement>(*database_, sql);
    found = statements_.emplace(sql, CachedStatement{std::move(statement), false}).first;
  }
  return found->second;
}

Prepared::Prepared(Store& store, const std::string& sql) : entry_(store.cached(sql)) {
  if (entry_.inUse) {
    throw std::logic_error("statement already in use: " + sql);
  }
  entry_.inUse = true;
  entry_.statement->tryReset();
  entry_.statement->clearBindings();
}

Prepared::~Prepared() {
  entry_.statement->tryReset();
  entry_.inUse = false;
}

}  // namespace tovra::store
