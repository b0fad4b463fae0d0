#pragma once

#include <optional>
#include <string>

namespace tovra::store {

class Store;

// One unit of change. Everything done through the store while it is alive commits together or not at
// all: the destructor rolls back unless commit() was called, and never throws. A transaction opened
// inside another becomes a savepoint of it, so an operation that groups its own writes can also run
// inside a caller's larger transaction.
class Transaction final {
 public:
  enum class Mode {
    // Takes the write lock at once, so a second process waits here (up to the busy timeout) rather than
    // failing half-way.
    write,
    // A consistent snapshot for several reads (the export reads the whole store under one).
    read,
  };

  explicit Transaction(Store& store, Mode mode = Mode::write);
  // A write transaction of its own only when the caller has none open: writes made inside the caller's
  // transaction (a run's thousands of readings) then pay for no savepoint each.
  static std::optional<Transaction> unlessOpen(Store& store);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  // Throws StoreError when the change cannot be saved (a full disk, a read-only file); the store is
  // then left as it was before the transaction.
  void commit();

 private:
  void rollback() noexcept;

  Store& store_;
  int depth_;
  bool open_ = true;
};

}  // namespace tovra::store
