#include "app/store/reading_periods.h"

#include <SQLiteCpp/Database.h>

#include "app/store/dates.h"
#include "app/store/sql.h"
#include "app/store/store.h"

namespace tovra::store::periods {

std::int64_t periodOf(Store& store, RecordId<TrackedQuery> query, WallTime day) {
  {
    Prepared find(store, "SELECT pk FROM ReadingPeriod WHERE query = ?1 AND span = ?2");
    find->bind(1, query.value);
    find->bind(2, spanOf(static_cast<std::int64_t>(toMillis(day))));
    if (find->executeStep()) {
      return find->getColumn(0).getInt64();
    }
  }
  return createPeriod(store, query, day);
}

std::int64_t createPeriod(Store& store, RecordId<TrackedQuery> query, WallTime day) {
  Prepared create(store, "INSERT INTO ReadingPeriod (span, query) VALUES (?1, ?2)");
  create->bind(1, spanOf(static_cast<std::int64_t>(toMillis(day))));
  create->bind(2, query.value);
  create->exec();
  return store.database().getLastInsertRowid();
}

}  // namespace tovra::store::periods
