#include "app/store/store.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <mutex>
#include <set>
#include <stdexcept>
#include <system_error>

#include "app/store/damage.h"
#include "app/store/schema.h"
#include "app/store/sql.h"

namespace tovra::store {
namespace {

std::unique_ptr<SQLite::Database> openConnection(const std::string& name) {
  return std::make_unique<SQLite::Database>(name, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE | SQLite::OPEN_NOMUTEX,
                                            static_cast<int>(Store::busyTimeout.count()));
}

// The first statement already reads the schema, so on a store file this is where a lock held by another
// program, a full disk or a failing one first shows.
void configure(SQLite::Database& database) {
  // Off by default in SQLite and per connection: without it the delete rules silently do nothing.
  database.exec("PRAGMA foreign_keys = ON");
  // The today queue and a run's finishing step walk a few thousand index and table pages at a time; with
  // SQLite's default 2 MB cache they would be read from the file again on every refresh.
  database.exec("PRAGMA cache_size = -16384");
  if (database.execAndGet("PRAGMA foreign_keys").getInt() != 1) {
    throw StoreError(StoreError::Kind::cannotOpen, "The store engine cannot enforce relationships (foreign keys).");
  }
}

std::int32_t bigEndian(const std::array<unsigned char, 100>& header, std::size_t offset) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(header[offset]) << 24 |
                                   static_cast<std::uint32_t>(header[offset + 1]) << 16 |
                                   static_cast<std::uint32_t>(header[offset + 2]) << 8 | header[offset + 3]);
}

// Why the system refused Tovra the store file or its folder, in the user's words. A refusal is never a
// reason to move the store aside: the file may be perfectly good.
StoreError refused(int error, const std::string& action, const std::filesystem::path& path) {
  const std::string reason = std::generic_category().message(error);
  switch (error) {
    case EACCES:
    case EPERM:
      return StoreError(StoreError::Kind::forbidden,
                        "Tovra is not allowed to " + action + " " + path.string() + " (" + reason + ").");
    case EROFS:
      return StoreError(StoreError::Kind::readOnly, "Tovra cannot " + action + " " + path.string() +
                                                        ": it is on a read-only disk (" + reason + ").");
    case ENOSPC:
    case EDQUOT:
      return StoreError(StoreError::Kind::diskFull,
                        "Tovra cannot " + action + " " + path.string() + ": the disk is full (" + reason + ").");
    default:
      return StoreError(StoreError::Kind::io, "Tovra could not " + action + " " + path.string() + " (" + reason + ").");
  }
}

// SQLite keeps its log, its shared-memory index and, while creating the schema, a journal beside the
// store; without the right to create them it reports a read-only database, which would hide the cause.
void checkFolder(const std::filesystem::path& folder) {
  if (::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
    throw refused(errno, "create files in the folder", folder);
  }
}

// The first bytes of the file, or what the system said when they could not be read.
std::size_t readFirstBytes(const std::filesystem::path& file, std::array<unsigned char, 100>& header) {
  const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    throw refused(errno, "read the store", file);
  }
  std::size_t length = 0;
  while (length < header.size()) {
    const ssize_t n = ::read(fd, header.data() + length, header.size() - length);
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n < 0) {
      const int error = errno;
      ::close(fd);
      throw refused(error, "read the store", file);
    }
    if (n == 0) {
      break;
    }
    length += static_cast<std::size_t>(n);
  }
  ::close(fd);
  return length;
}

// Reads the file's header before SQLite ever opens it. SQLite repairs what it opens: it resets the
// "-shm" index, checkpoints or deletes a "-wal" log, and removes the log of an empty file. For a file
// that is not this store those are the user's bytes, so such a file is refused here, untouched, and the
// bootstrap moves it aside with its companions exactly as they were. A file the system will not let
// Tovra read or write is refused too, in words that say so, and is not taken for a broken store.
void checkHeader(const std::filesystem::path& file) {
  std::error_code error;
  const auto status = std::filesystem::status(file, error);
  if (status.type() == std::filesystem::file_type::not_found) {
    checkFolder(file.parent_path());
    return;
  }
  if (status.type() != std::filesystem::file_type::regular) {
    if (error) {
      throw refused(error.value(), "read the store", file);
    }
    throw StoreError(StoreError::Kind::notATovraStore, "The store " + file.string() + " is not a file.");
  }
  std::array<unsigned char, 100> header{};
  const auto length = readFirstBytes(file, header);
  if (::faccessat(AT_FDCWD, file.c_str(), W_OK, AT_EACCESS) != 0) {
    throw refused(errno, "write the store", file);
  }
  checkFolder(file.parent_path());
  if (length == 0) {
    if (std::filesystem::exists(file.string() + "-wal", error)) {
      throw StoreError(StoreError::Kind::notATovraStore,
                       "The store file is empty but its log is not; both are kept as they are.");
    }
    return;
  }
  static constexpr char magic[] = "SQLite format 3";  // with its terminating zero: 16 bytes
  if (length < header.size() || !std::equal(std::begin(magic), std::end(magic), header.begin())) {
    throw StoreError(StoreError::Kind::notATovraStore, "The store file is not a database; it is kept as it is.");
  }
  if (bigEndian(header, 68) != CurrentSchema::applicationId) {
    throw StoreError(StoreError::Kind::notATovraStore,
                     "The store file is a database of another program; it is kept as it is.");
  }
  if (!TovraMigrationPlan::canOpen(bigEndian(header, 60))) {
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

namespace {

std::mutex damagedLock;
std::set<const Store*>& damagedStores() {
  static std::set<const Store*> stores;
  return stores;
}

}  // namespace

bool damageReported(const Store& store) {
  const std::lock_guard lock(damagedLock);
  return damagedStores().contains(&store);
}

void noteDamage(const Store& store) {
  const std::lock_guard lock(damagedLock);
  damagedStores().insert(&store);
}

void noteResult(const Store& store, int resultCode) {
  const int primary = resultCode & 0xff;
  if (primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB) {
    noteDamage(store);
  }
}

void leaveLogOnClose(Store& store) {
  sqlite3_db_config(store.database().getHandle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

Store::~Store() {
  {
    // A later store at the same address starts undamaged.
    const std::lock_guard lock(damagedLock);
    damagedStores().erase(this);
  }
  sqlite3_commit_hook(database_->getHandle(), nullptr, nullptr);
  statements_.clear();
  database_.reset();
}

std::unique_ptr<Store> Store::open(const std::filesystem::path& file) {
  checkHeader(file);
  std::unique_ptr<SQLite::Database> connection;
  std::unique_ptr<Store> store;
  try {
    connection = openConnection(file.string());
    configure(*connection);
    store.reset(new Store(std::move(connection), file));
    auto& database = store->database();
    // The schema is read before anything is written, so a file of another shape is left untouched.
    prepareSchema(*store);
    const std::string mode = database.execAndGet("PRAGMA journal_mode = WAL").getString();
    if (mode != "wal") {
      throw StoreError(StoreError::Kind::cannotOpen,
                       "The store could not switch to write-ahead logging (journal mode " + mode + ").");
    }
    // The log and its index are opened by the first read; doing it now makes them exist for as long as
    // the store is open, whatever the caller does first.
    database.execAndGet("SELECT count(*) FROM sqlite_schema");
    return store;
  } catch (const SQLite::Exception& error) {
    const SQLite::Database* database = store ? &store->database() : connection.get();
    const int systemError = database ? sqlite3_system_errno(database->getHandle()) : 0;
    throw StoreError::fromSqlite(error, "opening the store", systemError);
  }
}

std::unique_ptr<Store> Store::inMemory() {
  return guarded("creating a store in memory", [&] {
    auto database = openConnection(":memory:");
    configure(*database);
    auto store = std::unique_ptr<Store>(new Store(std::move(database), std::nullopt));
    prepareSchema(*store);
    return store;
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

Prepared::Prepared(Store& store, const std::string& sql) : store_(store), entry_(store.cached(sql)) {
  if (entry_.inUse) {
    throw std::logic_error("statement already in use: " + sql);
  }
  entry_.inUse = true;
  entry_.statement->tryReset();
  entry_.statement->clearBindings();
}

Prepared::~Prepared() {
  // Resetting a statement whose last step failed gives that failure again: every read and write made
  // through the cache passes here, so this is where the engine's report of a damaged file is noticed.
  noteResult(store_, entry_.statement->tryReset());
  entry_.inUse = false;
}

}  // namespace tovra::store
