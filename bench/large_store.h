#pragma once

#include <cstdio>
#include <filesystem>

#include "app/store/store.h"
#include "tools/storegen/storegen.h"

namespace tovra::bench {

// The store every large-store benchmark measures against, so their figures compare: 100 apps × 20
// keywords × 400 days of readings, one run's outcomes, no saved searches. Written to `file`; the options
// it was made with say where its days fall (zone, last day).
inline storegen::GeneratorOptions generateLargeStore(const std::filesystem::path& file) {
  storegen::GeneratorOptions options;
  options.apps = 100;
  options.keywordsPerApp = 20;
  options.days = 400;
  options.outcomeDays = 1;
  options.laddersPerKeyword = 0;
  auto store = store::Store::open(file);
  const auto counts = storegen::generateStore(*store, options);
  std::printf("generated %lld keywords, %lld readings\n", static_cast<long long>(counts.queries),
              static_cast<long long>(counts.observations));
  return options;
}

}  // namespace tovra::bench
