#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/store/records.h"
#include "app/store/store_error.h"

namespace SQLite {
class Statement;
}

namespace tovra::store {

class Store;

// The operations every record kind has: insert, read by row, list, count, update and delete. Each call
// is one transaction of its own, or part of the caller's Transaction when one is open. Failures throw
// StoreError. The kinds' own finders live in the derived classes (app/store/repositories.h).
template <class Record>
class Table {
 public:
  explicit Table(Store& store) : store_(&store) {}

  // Stores a new record and returns it with its row. For a kind with a unique field (an app's
  // `appStoreId`, a research space's `id`) inserting a value already stored returns the stored record
  // unchanged instead.
  Record insert(const Record& record);
  std::optional<Record> find(RecordId<Record> id) const;
  // Like find, but a missing record is a StoreError(notFound).
  Record get(RecordId<Record> id) const;
  // Every record of the kind, in its natural order (by its date where it has one).
  std::vector<Record> all() const;
  std::vector<RecordId<Record>> allIds() const;
  // A count query; no record is loaded.
  std::int64_t count() const;
  // Writes every field of a stored record. A record that no longer exists is a StoreError(notFound).
  void update(const Record& record);
  // Deletes records; owned records go with them and references to them are cleared, as the schema's
  // delete rules say. Deleting a record that is already gone does nothing.
  void remove(RecordId<Record> id);
  void remove(const std::vector<RecordId<Record>>& ids);
  void removeAll();

 protected:
  using Binder = std::function<void(SQLite::Statement&)>;
  // Reads the records matching `clause` (the text after FROM <table>, e.g. "WHERE app = ? ORDER BY
  // country"), with its parameters bound by `bind`.
  std::vector<Record> select(const std::string& clause, const Binder& bind) const;
  std::optional<Record> selectOne(const std::string& clause, const Binder& bind) const;
  Store& store() const { return *store_; }

 private:
  Store* store_;
};

// What an update of a record that is no longer there throws.
StoreError missingRecord();

extern template class Table<TrackedApp>;
extern template class Table<AppLocalization>;
extern template class Table<ResearchSpace>;
extern template class Table<TrackedQuery>;
extern template class Table<StoredObservation>;
extern template class Table<MeasurementRun>;
extern template class Table<RunOutcome>;
extern template class Table<ReviewMark>;
extern template class Table<StoredLadder>;
extern template class Table<LadderEntry>;
extern template class Table<HintProbe>;
extern template class Table<StoreHint>;

}  // namespace tovra::store
