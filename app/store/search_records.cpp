// Finders of what the store's searches left behind: saved searches with their entries, hint probes with
// their hints. They belong to a keyword (a prefix) in a country, not to an app.

#include "app/store/repositories.h"
#include "app/store/sql.h"
#include "app/store/transaction.h"

namespace tovra::store {

std::vector<StoredLadder> Ladders::forKeyword(std::string_view keyword, std::string_view country) const {
  return select("WHERE keyword = ? AND country = ? ORDER BY fetchedAt DESC, pk DESC", [&](SQLite::Statement& s) {
    s.bind(1, std::string(keyword));
    s.bind(2, std::string(country));
  });
}

std::vector<StoredLadder> Ladders::inCountry(std::string_view country) const {
  return select("WHERE country = ? ORDER BY fetchedAt DESC, pk DESC",
                [&](SQLite::Statement& s) { s.bind(1, std::string(country)); });
}

SavedLadder Ladders::insertWithEntries(const StoredLadder& ladder, const std::vector<LadderEntry>& entries) {
  Transaction transaction(store());
  SavedLadder saved{insert(ladder), {}};
  LadderEntries table(store());
  for (auto entry : entries) {
    entry.ladder = saved.ladder.rowId;
    saved.entries.push_back(table.insert(entry));
  }
  transaction.commit();
  return saved;
}

std::vector<LadderEntry> LadderEntries::ofLadder(RecordId<StoredLadder> ladder) const {
  return select("WHERE ladder = ? ORDER BY position, pk", [&](SQLite::Statement& s) { s.bind(1, ladder.value); });
}

std::vector<HintProbe> Probes::forPrefix(std::string_view prefix, std::string_view country) const {
  return select("WHERE prefix = ? AND country = ? ORDER BY observedAt DESC, pk DESC", [&](SQLite::Statement& s) {
    s.bind(1, std::string(prefix));
    s.bind(2, std::string(country));
  });
}

std::vector<HintProbe> Probes::inCountry(std::string_view country) const {
  return select("WHERE country = ? ORDER BY observedAt DESC, pk DESC",
                [&](SQLite::Statement& s) { s.bind(1, std::string(country)); });
}

SavedProbe Probes::insertWithHints(const HintProbe& probe, const std::vector<StoreHint>& hints) {
  Transaction transaction(store());
  SavedProbe saved{insert(probe), {}};
  Hints table(store());
  for (auto hint : hints) {
    hint.probe = saved.probe.rowId;
    saved.hints.push_back(table.insert(hint));
  }
  transaction.commit();
  return saved;
}

std::vector<StoreHint> Hints::ofProbe(RecordId<HintProbe> probe) const {
  return select("WHERE probe = ? ORDER BY position, pk", [&](SQLite::Statement& s) { s.bind(1, probe.value); });
}

}  // namespace tovra::store
