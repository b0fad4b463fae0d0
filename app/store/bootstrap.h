#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "AsoKit/clock.h"
#include "app/store/file_operations.h"
#include "app/store/integrity.h"
#include "app/store/local_time.h"
#include "app/store/salvage.h"
#include "app/store/store.h"

namespace tovra::store {

// What the user must be told after opening the store. Only one exists per launch.
struct StoreOpenNotice {
  // The old store could not be opened; it was moved into `folder` and a new empty store is in use.
  struct Recovered {
    std::filesystem::path folder;
    // When the engine reported the old store as damaged (rather than as no Tovra store at all): what could
    // still be read of it and now is in the new store.
    std::optional<SalvageReport> salvaged;
    bool operator==(const Recovered&) const = default;
  };
  // No store could be opened or created. `folder` is the folder made to keep the old data aside, when one
  // was made.
  struct Failed {
    std::string detail;
    std::optional<std::filesystem::path> folder;
    bool operator==(const Failed&) const = default;
  };

  // Another program holds the store locked. Nothing was moved or changed; opening it again once the other
  // program lets go will work, so a front end may offer to try again.
  struct InUse {
    std::filesystem::path store;
    bool operator==(const InUse&) const = default;
  };
  // The store could not be reached: the disk is full or failed, or the system does not allow Tovra to
  // read or write it. Nothing was moved or changed; `detail` says what the system reported.
  struct Unavailable {
    std::string detail;
    std::filesystem::path store;
    bool operator==(const Unavailable&) const = default;
  };

  std::variant<Recovered, Failed, InUse, Unavailable> value;

  const Recovered* recovered() const { return std::get_if<Recovered>(&value); }
  const Failed* failed() const { return std::get_if<Failed>(&value); }
  const InUse* inUse() const { return std::get_if<InUse>(&value); }
  const Unavailable* unavailable() const { return std::get_if<Unavailable>(&value); }
  bool operator==(const StoreOpenNotice&) const = default;
};

struct StoreOpenResult {
  std::unique_ptr<Store> container;  // absent when nothing could be opened
  std::optional<StoreOpenNotice> notice;
  // The folder made for a copy because the marker did not match (reported even when the copy failed).
  std::optional<std::filesystem::path> backup;
};

// Builds the container for the store file at the given path, or throws.
using ContainerFactory = std::function<std::unique_ptr<Store>(const std::filesystem::path& storeFile)>;

// Opens the store at launch, or starts an empty one without losing the old data, or says plainly why it
// cannot. Nothing is ever deleted: a store written by another schema version is copied aside before it
// is opened, and one that cannot be read as a Tovra store is moved aside into a dated folder under
// "Backups". A store that is locked by another program, on a full or failing disk, or out of Tovra's
// permissions is left exactly where it is, and the notice says which.
class StoreBootstrap final {
 public:
  static constexpr std::string_view storeFileName = "default.store";
  static constexpr std::string_view markerFileName = "TovraStore.version";
  static constexpr std::string_view backupsFolderName = "Backups";

  // `directory` is used as it is (no sub-folder is added); `now` stamps the backup folders in the local
  // time of `localTime`.
  StoreBootstrap(std::filesystem::path directory, FileOperations& fileManager, const asokit::WallClock& now,
                 LocalTimeFormat localTime, ContainerFactory makeContainer);

  // The production factory: the store file in WAL mode with the current schema (Store::open).
  static ContainerFactory diskContainer();

  // Asked after the store opened: whether it is due for an integrity check, and how deep (quick when the
  // last process that used it ended without closing it; full when a check found damage that was not yet
  // dealt with). A store that fails the check is treated as one the engine reported damaged at open.
  using CheckDue = std::function<std::optional<CheckDepth>()>;
  void checkWhen(CheckDue due) { checkDue_ = std::move(due); }

  // Runs once per launch, before any view comes up. Never throws.
  StoreOpenResult open() const;

  // For a store found damaged after it opened (a read or a write the engine refused, a check): the store
  // must be closed already. Moves it aside whole, starts a new store and salvages into it what can still
  // be read; the notice is `recovered` with the salvage, or `failed`. `why` is what was found. Never throws.
  StoreOpenResult recoverDamaged(const std::string& why) const;

  const std::filesystem::path& directory() const { return directory_; }
  std::filesystem::path storeFile() const { return directory_ / storeFileName; }

 private:
  enum class Mode { copy, move };
  std::optional<std::filesystem::path> setAside(Mode mode, const std::string& folderName) const;
  void writeMarker() const;
  void replace(StoreOpenResult& result, const std::string& firstError, bool damaged, const std::string& stamp) const;

  std::filesystem::path directory_;
  FileOperations& fileManager_;
  const asokit::WallClock& now_;
  LocalTimeFormat localTime_;
  ContainerFactory makeContainer_;
  CheckDue checkDue_;
};

// The launch fallback when the bootstrap yields no container: a store in memory, so that the interface
// can come up long enough to show the notice. Throws std::runtime_error with the fatal text ("Tovra could
// not create even an in-memory store: " and the reason) when even that fails.
// The words the process ends with when even that fails, before the error's description.
inline constexpr std::string_view kNoStoreAtAll = "Tovra could not create even an in-memory store: ";
std::unique_ptr<Store> inMemoryFallback();

}  // namespace tovra::store
