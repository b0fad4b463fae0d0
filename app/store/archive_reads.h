#pragma once

#include <cstdint>
#include <vector>

#include "app/store/records.h"

namespace tovra::store {

class Store;

// A run with what became of its keywords, counted by the store: ranked (a reading with a rank), outside
// (a reading without one), failed and skipped. A measured outcome whose reading was deleted since counts
// in neither of the first two.
struct RunTally {
  MeasurementRun run;
  std::int64_t ranked = 0;
  std::int64_t outside = 0;
  std::int64_t failed = 0;
  std::int64_t skipped = 0;
};

// Every run, started last first, counted in one read. Throws StoreError.
std::vector<RunTally> readRunTallies(Store& store);

}  // namespace tovra::store
