#include "app/store/transaction.h"

#include <SQLiteCpp/Database.h>
#include <sqlite3.h>

#include <stdexcept>

#include "app/store/damage.h"
#include "app/store/sql.h"
#include "app/store/store.h"

namespace tovra::store {
namespace {

std::string savepointName(int depth) {
  return "tovra_" + std::to_string(depth);
}

}  // namespace

Transaction::Transaction(Store& store, Mode mode) : store_(store), depth_(store.transactionDepth_) {
  if (mode == Mode::write && damageReported(store_)) {
    throw StoreError(StoreError::Kind::damaged,
                     "The store file is damaged, so Tovra no longer writes to it; nothing was changed.");
  }
  guarded("starting a change", [&] {
    if (depth_ == 0) {
      store_.database().exec(mode == Mode::write ? "BEGIN IMMEDIATE" : "BEGIN DEFERRED");
    } else {
      store_.database().exec("SAVEPOINT " + savepointName(depth_));
    }
  });
  ++store_.transactionDepth_;
}

std::optional<Transaction> Transaction::unlessOpen(Store& store) {
  if (store.inTransaction()) {
    return std::nullopt;
  }
  return std::optional<Transaction>(std::in_place, store);
}

Transaction::~Transaction() {
  if (open_) {
    rollback();
  }
}

void Transaction::commit() {
  if (!open_) {
    throw std::logic_error("transaction already finished");
  }
  if (store_.transactionDepth_ != depth_ + 1) {
    throw std::logic_error("an inner transaction is still open");
  }
  try {
    store_.database().exec(depth_ == 0 ? std::string("COMMIT") : "RELEASE " + savepointName(depth_));
  } catch (const SQLite::Exception& error) {
    noteResult(store_, error.getErrorCode());
    throw StoreError::fromSqlite(error, "saving the change");
  }
  open_ = false;
  --store_.transactionDepth_;
}

void Transaction::rollback() noexcept {
  auto& database = store_.database();
  // After a full disk or an I/O error SQLite may already have rolled the whole transaction back; the
  // statements below then fail harmlessly.
  if (depth_ == 0) {
    if (sqlite3_get_autocommit(database.getHandle()) == 0) {
      database.tryExec("ROLLBACK");
    }
  } else {
    database.tryExec("ROLLBACK TO " + savepointName(depth_));
    database.tryExec("RELEASE " + savepointName(depth_));
  }
  open_ = false;
  --store_.transactionDepth_;
}

}  // namespace tovra::store
