#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tovra::store {

class Store;

// What the store takes on disk: the store file and its "-wal" and "-shm" companions.
struct StoreFootprint {
  struct File {
    std::string name;                    // the file's last path component
    std::optional<std::uint64_t> bytes;  // absent when the size could not be read
    bool operator==(const File&) const = default;
  };

  std::vector<File> files;  // empty for a store kept in memory

  // The sum of the known sizes (stops at the largest value rather than wrapping).
  std::uint64_t totalBytes() const;

  // Files that do not exist are left out; a store in memory (or at "/dev/null") has none.
  static StoreFootprint measure(const std::optional<std::filesystem::path>& storeFile);
  static StoreFootprint measure(const Store& store);
};

// How many records of each kind the store holds, with a line saying what each kind is.
struct StoreInventory {
  enum class Kind {
    apps,
    appNames,
    researchSpaces,
    keywords,
    dailyRanks,
    measurements,
    missedDayReasons,
    reviewMarks,
    savedResults,
    savedResultRows,
    hintLookups,
    hints,
  };

  struct Row {
    Kind kind = Kind::apps;
    std::string label;
    std::int64_t count = 0;
    std::string note;
    bool operator==(const Row&) const = default;
  };

  std::vector<Row> rows;  // one per kind, in the order of Kind

  // Count queries under one read snapshot; no record is loaded.
  static StoreInventory count(Store& store);
  std::int64_t countOf(Kind kind) const;
};

// The case name of a kind ("dailyRanks"), for machine output.
std::string_view kindName(StoreInventory::Kind kind);

// "12.3 MB on disk · 3 apps · 41 keywords"; "not saved to disk · …" for a store in memory.
std::string storeSummary(const StoreFootprint& footprint, const StoreInventory& inventory);

}  // namespace tovra::store
