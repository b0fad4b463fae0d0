#include "app/store/archive_reads.h"

#include "app/store/sql.h"

namespace tovra::store {

std::vector<RunTally> readRunTallies(Store& store) {
  return guarded("reading the store", [&] {
    // The counts come from a grouped join rather than a read per run: the archive lists every run.
    Prepared statement(store,
                       "SELECT r.pk, r.startedAt, r.finishedAt, r.halted, r.stopped, r.requestCount, r.queryCount, "
                       "coalesce(sum(o.statusRaw = 'measured' AND ob.pk IS NOT NULL AND ob.rank IS NOT NULL), 0), "
                       "coalesce(sum(o.statusRaw = 'measured' AND ob.pk IS NOT NULL AND ob.rank IS NULL), 0), "
                       "coalesce(sum(o.statusRaw = 'failed'), 0), coalesce(sum(o.statusRaw = 'skipped'), 0) "
                       "FROM MeasurementRun r LEFT JOIN RunOutcome o ON o.run = r.pk "
                       "LEFT JOIN StoredObservation ob ON ob.pk = o.observation "
                       "GROUP BY r.pk ORDER BY r.startedAt DESC, r.pk DESC");
    std::vector<RunTally> tallies;
    while (statement->executeStep()) {
      auto& s = *statement;
      RunTally tally;
      tally.run = MeasurementRun{RecordId<MeasurementRun>{s.getColumn(0).getInt64()},
                                 sql::time(s, 1),
                                 sql::optionalTime(s, 2),
                                 s.getColumn(3).getInt() != 0,
                                 s.getColumn(4).getInt() != 0,
                                 s.getColumn(5).getInt64(),
                                 s.getColumn(6).getInt64()};
      tally.ranked = s.getColumn(7).getInt64();
      tally.outside = s.getColumn(8).getInt64();
      tally.failed = s.getColumn(9).getInt64();
      tally.skipped = s.getColumn(10).getInt64();
      tallies.push_back(std::move(tally));
    }
    return tallies;
  });
}

}  // namespace tovra::store
