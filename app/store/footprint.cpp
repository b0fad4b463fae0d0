#include "app/store/footprint.h"

#include <array>
#include <functional>
#include <limits>

#include "app/store/byte_count.h"
#include "app/store/retention.h"
#include "app/store/store.h"
#include "app/store/transaction.h"

namespace tovra::store {
namespace fs = std::filesystem;
namespace {

struct KindInfo {
  StoreInventory::Kind kind;
  std::string_view name;
  std::string_view label;
  std::string note;
  std::function<std::int64_t(Store&)> count;
};

const std::vector<KindInfo>& kinds() {
  using Kind = StoreInventory::Kind;
  const std::string depth = std::to_string(kRetentionDepth);
  static const std::vector<KindInfo> table{
      {Kind::apps, "apps", "apps", "yours and rivals · “mine” is your own choice, nothing is verified",
       [](Store& s) { return s.apps().count(); }},
      {Kind::appNames, "appNames", "names by country", "the name each country's App Store shows for an app",
       [](Store& s) { return s.localizations().count(); }},
      {Kind::researchSpaces, "researchSpaces", "research spaces",
       "keywords kept before there is an app · never measured", [](Store& s) { return s.spaces().count(); }},
      {Kind::keywords, "keywords", "keywords", "one keyword in one country · belongs to an app or a research space",
       [](Store& s) { return s.queries().count(); }},
      {Kind::dailyRanks, "dailyRanks", "daily ranks", "one per keyword per day · an unknown rank still counts",
       [](Store& s) { return s.observations().count(); }},
      {Kind::measurements, "measurements", "measurements", "each one records how many requests it actually made",
       [](Store& s) { return s.runs().count(); }},
      {Kind::missedDayReasons, "missedDayReasons", "missed-day notes", "why a day has no rank",
       [](Store& s) { return s.outcomes().count(); }},
      {Kind::reviewMarks, "reviewMarks", "reviewed marks", "your own reading marks · not measurements",
       [](Store& s) { return s.reviewMarks().count(); }},
      {Kind::savedResults, "savedResults", "saved searches",
       "who ranked for a keyword at one moment · last " + depth + " per keyword",
       [](Store& s) { return s.ladders().count(); }},
      {Kind::savedResultRows, "savedResultRows", "apps in saved searches", "one app at one position",
       [](Store& s) { return s.ladderEntries().count(); }},
      {Kind::hintLookups, "hintLookups", "hint lookups",
       "what App Store search completed for a prefix · last " + depth + " per prefix",
       [](Store& s) { return s.probes().count(); }},
      {Kind::hints, "hints", "hints", "one completion, in the store's own order",
       [](Store& s) { return s.hints().count(); }},
  };
  return table;
}

std::string counted(std::int64_t count, std::string_view word) {
  return std::to_string(count) + " " + std::string(word) + (count == 1 ? "" : "s");
}

}  // namespace

std::uint64_t StoreFootprint::totalBytes() const {
  std::uint64_t total = 0;
  for (const auto& file : files) {
    if (file.bytes) {
      const auto room = std::numeric_limits<std::uint64_t>::max() - total;
      total = *file.bytes > room ? std::numeric_limits<std::uint64_t>::max() : total + *file.bytes;
    }
  }
  return total;
}

StoreFootprint StoreFootprint::measure(const std::optional<fs::path>& storeFile) {
  StoreFootprint footprint;
  if (!storeFile || *storeFile == "/dev/null") {
    return footprint;
  }
  const std::array<fs::path, 3> paths{*storeFile, fs::path(storeFile->string() + "-wal"),
                                      fs::path(storeFile->string() + "-shm")};
  for (const auto& path : paths) {
    std::error_code error;
    const auto status = fs::status(path, error);
    if (status.type() == fs::file_type::not_found) {
      continue;
    }
    File file{path.filename().string(), std::nullopt};
    if (!error) {
      const auto size = fs::file_size(path, error);
      if (!error) {
        file.bytes = size;
      }
    }
    footprint.files.push_back(std::move(file));
  }
  return footprint;
}

StoreFootprint StoreFootprint::measure(const Store& store) {
  return measure(store.file());
}

StoreInventory StoreInventory::count(Store& store) {
  StoreInventory inventory;
  Transaction snapshot(store, Transaction::Mode::read);
  for (const auto& info : kinds()) {
    inventory.rows.push_back(Row{info.kind, std::string(info.label), info.count(store), info.note});
  }
  snapshot.commit();
  return inventory;
}

std::int64_t StoreInventory::countOf(Kind kind) const {
  for (const auto& row : rows) {
    if (row.kind == kind) {
      return row.count;
    }
  }
  return 0;
}

std::string_view kindName(StoreInventory::Kind kind) {
  for (const auto& info : kinds()) {
    if (info.kind == kind) {
      return info.name;
    }
  }
  return {};
}

std::string storeSummary(const StoreFootprint& footprint, const StoreInventory& inventory) {
  const std::string disk =
      footprint.files.empty() ? std::string("not saved to disk") : formatByteCount(footprint.totalBytes()) + " on disk";
  return disk + " · " + counted(inventory.countOf(StoreInventory::Kind::apps), "app") + " · " +
         counted(inventory.countOf(StoreInventory::Kind::keywords), "keyword");
}

}  // namespace tovra::store
