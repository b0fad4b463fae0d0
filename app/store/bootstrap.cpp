#include "app/store/bootstrap.h"

#include <algorithm>
#include <array>
#include <system_error>

#include "AsoKit/text.h"
#include "app/store/damage.h"
#include "app/store/integrity.h"
#include "app/store/schema.h"
#include "app/store/store_error.h"

namespace tovra::store {
namespace fs = std::filesystem;
namespace {

// A marker is the user's file and may hold anything; its text becomes part of a folder name, so
// anything that could leave the folder or confuse a file manager is replaced, and a long one is cut
// between characters, never inside one.
std::string labelFrom(const std::string& marker) {
  constexpr std::size_t maxLength = 40;
  std::size_t end = std::min(marker.size(), maxLength);
  while (end > 0 && end < marker.size() && (static_cast<unsigned char>(marker[end]) & 0xC0) == 0x80) {
    --end;
  }
  std::string label;
  for (const char c : marker.substr(0, end)) {
    const auto byte = static_cast<unsigned char>(c);
    label.push_back(byte < 0x20 || byte == 0x7f || c == '/' || c == '\\' || c == ':' ? '_' : c);
  }
  return label;
}

std::string describe(const std::exception& error) {
  if (const auto* storeError = dynamic_cast<const StoreError*>(&error)) {
    return storeError->description();
  }
  return error.what();
}

// Only a failure about the file's contents justifies moving it aside. Anything else, an error that is
// no StoreError included, may pass once the disk, the permissions or the other program change, and the
// store must then still be where the user left it.
bool contentsAreUnreadable(const std::exception& error) {
  const auto* storeError = dynamic_cast<const StoreError*>(&error);
  return storeError && storeError->concernsTheContents();
}

bool isDamaged(const std::exception& error) {
  const auto* storeError = dynamic_cast<const StoreError*>(&error);
  return storeError && storeError->kind() == StoreError::Kind::damaged;
}

bool isBusy(const std::exception& error) {
  const auto* storeError = dynamic_cast<const StoreError*>(&error);
  return storeError && storeError->kind() == StoreError::Kind::busy;
}

// A store file of no bytes with no log beside it holds nothing to keep: SQLite leaves one behind when it
// could not write a new store's first page, and copying it at every launch would only add empty folders.
bool holdsNothing(FileOperations& files, const fs::path& store) {
  std::error_code error;
  const auto size = fs::file_size(store, error);
  return !error && size == 0 && !files.exists(fs::path(store.string() + "-wal"));
}

}  // namespace

StoreBootstrap::StoreBootstrap(fs::path directory, FileOperations& fileManager, const asokit::WallClock& now,
                               LocalTimeFormat localTime, ContainerFactory makeContainer)
    : directory_(std::move(directory)),
      fileManager_(fileManager),
      now_(now),
      localTime_(std::move(localTime)),
      makeContainer_(std::move(makeContainer)) {}

ContainerFactory StoreBootstrap::diskContainer() {
  return [](const fs::path& storeFile) { return Store::open(storeFile); };
}

StoreOpenResult StoreBootstrap::open() const {
  StoreOpenResult result;
  try {
    fileManager_.createDirectories(directory_);
  } catch (const std::exception& error) {
    result.notice = StoreOpenNotice{StoreOpenNotice::Failed{describe(error), std::nullopt}};
    return result;
  }

  const fs::path store = storeFile();
  const bool storeExists = fileManager_.exists(store);
  const auto markerText = fileManager_.readFile(directory_ / markerFileName);
  // A marker that is not UTF-8 text is unreadable: there was no version.
  const bool readable = markerText && asokit::text::isValidUtf8(*markerText);
  const std::string stored = readable ? std::string(asokit::text::trimWhitespace(*markerText)) : std::string();
  const auto storedVersion = SchemaVersion::parse(stored);
  const std::string stamp = localTime_.stamp(now_.now());

  if (storeExists && storedVersion != CurrentSchema::version && !holdsNothing(fileManager_, store)) {
    const std::string label = "-v" + (stored.empty() ? std::string("unversioned") : labelFrom(stored));
    result.backup = setAside(Mode::copy, stamp + label);
  }

  std::string firstError;
  bool damaged = false;
  try {
    result.container = makeContainer_(store);
    if (const auto depth = checkDue_ ? checkDue_() : std::nullopt) {
      const auto check = checkStoreFile(store, *depth);
      damaged = check.damaged();
      if (damaged) {
        // Closed before it is moved, without folding its log into the damaged file: the engine must not
        // write into the file once it is set aside.
        leaveLogOnClose(*result.container);
        result.container.reset();
        firstError = checkSummary(check);
      }
    }
    if (!damaged) {
      writeMarker();
      return result;
    }
  } catch (const std::exception& error) {
    if (isBusy(error)) {
      result.notice = StoreOpenNotice{StoreOpenNotice::InUse{store}};
      return result;
    }
    if (!contentsAreUnreadable(error)) {
      result.notice = StoreOpenNotice{StoreOpenNotice::Unavailable{describe(error), store}};
      return result;
    }
    firstError = describe(error);
    damaged = isDamaged(error);
  }
  replace(result, firstError, damaged, stamp);
  return result;
}

StoreOpenResult StoreBootstrap::recoverDamaged(const std::string& why) const {
  StoreOpenResult result;
  replace(result, why, true, localTime_.stamp(now_.now()));
  return result;
}

void StoreBootstrap::replace(StoreOpenResult& result, const std::string& firstError, bool damaged,
                             const std::string& stamp) const {
  const fs::path store = storeFile();
  const auto folder = setAside(Mode::move, "Recovered-" + stamp);
  try {
    result.container = makeContainer_(store);
    writeMarker();
    // With no folder made there was no store file to move, or no place to move it to: the old file, if
    // any, is then still in the data folder itself.
    StoreOpenNotice::Recovered recovered{folder.value_or(directory_), std::nullopt};
    const fs::path moved = folder ? *folder / storeFileName : fs::path();
    if (damaged && folder && fileManager_.exists(moved)) {
      recovered.salvaged = salvageStore(moved, *result.container, directory_ / (".salvage-" + stamp));
    }
    result.notice = StoreOpenNotice{std::move(recovered)};
  } catch (const std::exception& error) {
    result.container.reset();
    result.notice = StoreOpenNotice{StoreOpenNotice::Failed{
        "Opening the existing data failed: " + firstError + "\nCreating a new, empty store failed: " + describe(error),
        folder}};
  }
}

std::optional<fs::path> StoreBootstrap::setAside(Mode mode, const std::string& folderName) const {
  const fs::path store = storeFile();
  const std::array<fs::path, 3> files{store, fs::path(store.string() + "-wal"), fs::path(store.string() + "-shm")};
  bool anyFile = false;
  for (const auto& file : files) {
    anyFile = anyFile || fileManager_.exists(file);
  }
  if (!anyFile) {
    return std::nullopt;
  }
  try {
    const fs::path backups = directory_ / backupsFolderName;
    // Two launches within one second would meet the same name; an older backup is never written into.
    fs::path folder = backups / folderName;
    for (int attempt = 2; fileManager_.exists(folder); ++attempt) {
      folder = backups / (folderName + "-" + std::to_string(attempt));
    }
    fileManager_.createDirectories(folder);
    for (const auto& file : files) {
      if (!fileManager_.exists(file)) {
        continue;
      }
      try {
        if (mode == Mode::copy) {
          fileManager_.copy(file, folder / file.filename());
        } else {
          fileManager_.move(file, folder / file.filename());
        }
      } catch (const std::exception&) {
        // A file that cannot be copied or moved stays where it is; the others are still kept.
      }
    }
    // The folder is reported once it exists, even when no file made it in: it is never left behind
    // unnamed.
    return folder;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

void StoreBootstrap::writeMarker() const {
  try {
    fileManager_.writeFile(directory_ / markerFileName, CurrentSchema::version.text());
  } catch (const std::exception&) {
    // Without the marker the next launch takes one more backup copy; the store itself is fine.
  }
}

std::unique_ptr<Store> inMemoryFallback() {
  try {
    return Store::inMemory();
  } catch (const std::exception& error) {
    throw std::runtime_error(std::string(kNoStoreAtAll) + describe(error));
  }
}

}  // namespace tovra::store
