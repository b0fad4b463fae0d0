#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace tovra::store {

class Store;

// What could still be read out of a damaged store and was written into the new one.
struct SalvageReport {
  // Whether the old file could be opened as a database at all; when not, nothing was read.
  bool opened = false;
  // Every table of the old file was read to its end; false when damaged parts had to be skipped.
  bool whole = false;
  std::int64_t apps = 0;
  std::int64_t keywords = 0;
  std::int64_t readings = 0;
  // Every record copied, of any kind.
  std::int64_t records = 0;
  // Records that were read but did not fit the new store (their app or keyword was lost with the
  // damage, or they broke a rule of the schema).
  std::int64_t dropped = 0;
  // Why nothing could be written into the new store; empty when the salvage got that far.
  std::string failure;

  bool operator==(const SalvageReport&) const = default;
};

// Reads what can still be read of the damaged store file `damaged` (with its "-wal" log, when one lies
// beside it) into `into`, which should be a new, empty store. The damaged file and its companions are not
// touched: they are copied into `workFolder`, a folder of the salvage's own (whatever it holds is
// replaced), read there, and the copy is removed afterwards. Tables are read in order of their rows; where a read fails
// midway, the rows past the damaged part are found again and read on. A record whose app, keyword or other owner was
// lost is dropped as deleting that owner would have dropped it, and a reference it only held is cleared. Everything is
// written in one transaction. Never throws.
SalvageReport salvageStore(const std::filesystem::path& damaged, Store& into, const std::filesystem::path& workFolder);

// The sentence the user reads about a salvage ("… 3 apps, 12 keywords and 840 readings.").
std::string salvageSummary(const SalvageReport& report);

}  // namespace tovra::store
