#include "app/store/review_writer.h"

#include "app/store/dates.h"
#include "app/store/sql.h"
#include "app/store/store.h"
#include "app/store/transaction.h"

namespace tovra::store {
namespace {

// A calendar day as a range of stored instants, so a mark made under another time-zone rule for that
// day is still found.
struct DayRange {
  std::int64_t from;
  std::int64_t to;
};

DayRange rangeOf(asokit::WallTime day, const asokit::Calendar& calendar) {
  return {toMillis(calendar.startOfDay(day)), toMillis(calendar.addDays(day, 1))};
}

}  // namespace

ReviewMark markDayReviewed(Store& store, RecordId<TrackedQuery> query, asokit::WallTime day, asokit::WallTime markedAt,
                           const asokit::Calendar& calendar) {
  const auto range = rangeOf(day, calendar);
  Transaction transaction(store);
  const auto existing = guarded("reading the store", [&]() -> std::optional<ReviewMark> {
    Prepared statement(store,
                       "SELECT pk, day, markedAt FROM ReviewMark WHERE query = ? AND day >= ? AND day < ? "
                       "ORDER BY day, pk LIMIT 1");
    statement->bind(1, query.value);
    statement->bind(2, static_cast<std::int64_t>(range.from));
    statement->bind(3, static_cast<std::int64_t>(range.to));
    if (!statement->executeStep()) {
      return std::nullopt;
    }
    return ReviewMark{RecordId<ReviewMark>{statement->getColumn(0).getInt64()}, sql::time(*statement, 1),
                      sql::time(*statement, 2), query};
  });
  if (existing) {
    return *existing;
  }
  const auto mark = store.reviewMarks().insert(ReviewMark{{}, calendar.startOfDay(day), markedAt, query});
  transaction.commit();
  return mark;
}

std::int64_t takeBackDayReview(Store& store, RecordId<TrackedQuery> query, asokit::WallTime day,
                               const asokit::Calendar& calendar) {
  const auto range = rangeOf(day, calendar);
  return guarded("deleting", [&] {
    Prepared statement(store, "DELETE FROM ReviewMark WHERE query = ? AND day >= ? AND day < ?");
    statement->bind(1, query.value);
    statement->bind(2, static_cast<std::int64_t>(range.from));
    statement->bind(3, static_cast<std::int64_t>(range.to));
    return static_cast<std::int64_t>(statement->exec());
  });
}

}  // namespace tovra::store
