#include "app/store/bootstrap.h"

#include <SQLiteCpp/Database.h>
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <iterator>
#include <ostream>

#include "app/store/launch_alert.h"
#include "app/store/store_error.h"
#include "app/store/transaction.h"
#include "fixtures.h"
#include "temp_dir.h"

namespace tovra::store {
namespace {

namespace fs = std::filesystem;
using testing::makeApp;
using testing::utc;

std::string bytesOf(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void writeBytes(const fs::path& file, const std::string& bytes) {
  std::ofstream(file, std::ios::binary) << bytes;
}

// The real file operations, with the copy and the move able to fail on request.
class FlakyFiles final : public FileOperations {
 public:
  bool failCopy = false;
  bool failMove = false;
  void createDirectories(const fs::path& folder) override { real_.createDirectories(folder); }
  bool exists(const fs::path& path) override { return real_.exists(path); }
  std::optional<std::string> readFile(const fs::path& file) override { return real_.readFile(file); }
  void writeFile(const fs::path& file, std::string_view contents) override { real_.writeFile(file, contents); }
  void copy(const fs::path& from, const fs::path& to) override {
    if (failCopy) {
      throw std::runtime_error("copy refused");
    }
    real_.copy(from, to);
  }
  void move(const fs::path& from, const fs::path& to) override {
    if (failMove) {
      throw std::runtime_error("move refused");
    }
    real_.move(from, to);
  }

 private:
  SystemFileOperations real_;
};

class BootstrapTest : public ::testing::Test {
 protected:
  testing::TempDir temp;
  fs::path dir = temp.path() / "Tovra";
  fs::path storeFile = dir / "default.store";
  fs::path marker = dir / "TovraStore.version";
  fs::path backups = dir / "Backups";
  asokit::VirtualClock clock{utc(2025, 1, 14, 8, 30, 12)};  // 09:30:12 in Berlin
  FlakyFiles files;

  StoreOpenResult open(ContainerFactory factory = StoreBootstrap::diskContainer()) {
    return StoreBootstrap(dir, files, clock.wall(), LocalTimeFormat("Europe/Berlin"), std::move(factory)).open();
  }

  // A real store holding one app, closed again, with the given marker (none when absent).
  void makeStore(const std::optional<std::string>& markerText) {
    fs::create_directories(dir);
    Store::open(storeFile)->apps().insert(makeApp("777"));
    if (markerText) {
      writeBytes(marker, *markerText);
    }
  }
};

TEST_F(BootstrapTest, FirstLaunchMakesTheFolderTheStoreAndTheMarker) {
  auto result = open();
  ASSERT_TRUE(result.container);
  EXPECT_FALSE(result.notice);
  EXPECT_FALSE(result.backup);
  EXPECT_EQ(bytesOf(marker), "3.0.0");
  EXPECT_FALSE(fs::exists(backups));
  EXPECT_TRUE(fs::exists(storeFile));
  EXPECT_TRUE(fs::exists(dir / "default.store-wal"));
  EXPECT_TRUE(fs::exists(dir / "default.store-shm"));
  EXPECT_EQ(result.container->file(), storeFile);
}

TEST_F(BootstrapTest, AMissingMarkerTakesAnUnversionedCopyAndOpensTheStoreAsItIs) {
  makeStore(std::nullopt);
  const std::string original = bytesOf(storeFile);

  auto result = open();

  ASSERT_TRUE(result.container);
  EXPECT_FALSE(result.notice);
  EXPECT_EQ(result.backup, backups / "20250114-093012-vunversioned");
  EXPECT_EQ(bytesOf(backups / "20250114-093012-vunversioned" / "default.store"), original);
  EXPECT_TRUE(result.container->apps().findByAppStoreId("777"));
  EXPECT_EQ(bytesOf(marker), "3.0.0");
}

TEST_F(BootstrapTest, AMatchingMarkerTakesNoCopy) {
  makeStore("3.0.0");
  auto result = open();
  ASSERT_TRUE(result.container);
  EXPECT_FALSE(result.backup);
  EXPECT_FALSE(result.notice);
  EXPECT_FALSE(fs::exists(backups));
}

std::string repeated(const std::string& text, int times) {
  std::string out;
  for (int i = 0; i < times; ++i) {
    out += text;
  }
  return out;
}

struct MarkerCase {
  std::string marker;
  std::string folder;
};

class BootstrapMarkerTest : public BootstrapTest, public ::testing::WithParamInterface<MarkerCase> {};

TEST_P(BootstrapMarkerTest, ADifferentMarkerNamesTheCopyWithoutLeavingTheBackupsFolder) {
  makeStore(GetParam().marker);
  auto result = open();
  ASSERT_TRUE(result.container);
  ASSERT_TRUE(result.backup);
  EXPECT_EQ(*result.backup, backups / GetParam().folder);
  EXPECT_TRUE(fs::exists(backups / GetParam().folder / "default.store"));
}

INSTANTIATE_TEST_SUITE_P(
    Markers, BootstrapMarkerTest,
    // A store of the schema before (1.0.0) is kept as it was before its upgrade.
    ::testing::Values(MarkerCase{"1.0.0", "20250114-093012-v1.0.0"}, MarkerCase{"0.9.0", "20250114-093012-v0.9.0"},
                      MarkerCase{"1.0.0.1\n", "20250114-093012-v1.0.0.1"},
                      MarkerCase{"../../etc", "20250114-093012-v.._.._etc"},
                      MarkerCase{"", "20250114-093012-vunversioned"}, MarkerCase{" \n", "20250114-093012-vunversioned"},
                      // Not UTF-8 text: unreadable, so no version at all.
                      MarkerCase{"\xff\xfe"
                                 "1.0.0",
                                 "20250114-093012-vunversioned"},
                      // A long marker is cut between characters, never inside one.
                      MarkerCase{"x" + repeated("ğ", 30), "20250114-093012-vx" + repeated("ğ", 19)}));

// A failed copy is ignored, but the folder made for it is reported: it was made, and is never left behind
// unnamed.
TEST_F(BootstrapTest, AFailedCopyIsIgnoredAndItsFolderIsStillReported) {
  makeStore(std::nullopt);
  files.failCopy = true;
  auto result = open();
  ASSERT_TRUE(result.container);
  EXPECT_EQ(result.backup, backups / "20250114-093012-vunversioned");
  EXPECT_TRUE(fs::is_directory(backups / "20250114-093012-vunversioned"));
  EXPECT_FALSE(result.notice);
}

// When the move aside fails, the notice still names the folder that was made for it, never the data
// folder itself; and when both attempts fail, the failure names it too.
TEST_F(BootstrapTest, AFailedMoveStillNamesTheFolderThatWasMade) {
  const fs::path folder = backups / "Recovered-20250114-093012";
  {
    makeStore("1.0.0");
    files.failMove = true;
    int attempts = 0;
    auto result = open([&](const fs::path& file) -> std::unique_ptr<Store> {
      if (++attempts == 1) {
        throw StoreError(StoreError::Kind::damaged, "a passing reason.");
      }
      return Store::open(file);
    });
    ASSERT_TRUE(result.container);
    ASSERT_TRUE(result.notice && result.notice->recovered());
    EXPECT_EQ(result.notice->recovered()->folder, folder);
    EXPECT_TRUE(fs::is_directory(folder));
    EXPECT_TRUE(fs::exists(storeFile)) << "nothing was moved";
  }
  {
    auto result = open(
        [&](const fs::path&) -> std::unique_ptr<Store> { throw StoreError(StoreError::Kind::damaged, "no reason."); });
    EXPECT_FALSE(result.container);
    ASSERT_TRUE(result.notice && result.notice->failed());
    EXPECT_EQ(result.notice->failed()->folder, backups / "Recovered-20250114-093012-2");
  }
}

TEST_F(BootstrapTest, AGarbageStoreIsMovedAsideWithItsCompanionsAndANewOneIsMade) {
  fs::create_directories(dir);
  writeBytes(storeFile, std::string(4096, 'g'));
  writeBytes(dir / "default.store-wal", "wal bytes");
  writeBytes(dir / "default.store-shm", "shm bytes");
  writeBytes(marker, "3.0.0");

  auto result = open();

  ASSERT_TRUE(result.container);
  const fs::path folder = backups / "Recovered-20250114-093012";
  ASSERT_TRUE(result.notice);
  ASSERT_TRUE(result.notice->recovered());
  EXPECT_EQ(result.notice->recovered()->folder, folder);
  EXPECT_EQ(bytesOf(folder / "default.store"), std::string(4096, 'g'));
  EXPECT_EQ(bytesOf(folder / "default.store-wal"), "wal bytes");
  EXPECT_EQ(bytesOf(folder / "default.store-shm"), "shm bytes");
  EXPECT_EQ(result.container->apps().count(), 0);
  result.container->apps().insert(makeApp("1"));
  EXPECT_EQ(bytesOf(marker), "3.0.0");

  const auto alert = StoreLaunchAlert::from(*result.notice);
  EXPECT_EQ(alert.style, StoreLaunchAlert::Style::warning);
  EXPECT_EQ(alert.messageText, "Tovra could not open its data.");
  EXPECT_EQ(alert.informativeText, "Tovra could not open its data. Your old data was kept in " + folder.string() +
                                       ". Tovra has started with an empty store; nothing was deleted.");
  EXPECT_EQ(alert.buttons, (std::vector<std::string>{"OK", "Show in File Manager"}));
  EXPECT_EQ(alert.folder, folder);
  EXPECT_FALSE(alert.endsApplication);
}

TEST_F(BootstrapTest, AnEmptyStoreFileKeepsTheLogBesideIt) {
  // SQLite would delete the log of an empty database file; it is the user's and must move untouched.
  fs::create_directories(dir);
  writeBytes(storeFile, "");
  writeBytes(dir / "default.store-wal", "log bytes");
  writeBytes(marker, "3.0.0");

  auto result = open();

  ASSERT_TRUE(result.container);
  ASSERT_TRUE(result.notice && result.notice->recovered());
  EXPECT_EQ(bytesOf(result.notice->recovered()->folder / "default.store-wal"), "log bytes");
}

TEST_F(BootstrapTest, AStoreOfAnotherShapeIsCopiedThenMovedAsideNeverExtended) {
  fs::create_directories(dir);
  {
    SQLite::Database other(storeFile.string(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    other.exec("CREATE TABLE notes (body TEXT); INSERT INTO notes VALUES ('keep me')");
  }
  const std::string original = bytesOf(storeFile);

  auto result = open();

  ASSERT_TRUE(result.container);
  EXPECT_EQ(bytesOf(backups / "20250114-093012-vunversioned" / "default.store"), original);
  ASSERT_TRUE(result.notice && result.notice->recovered());
  EXPECT_EQ(bytesOf(result.notice->recovered()->folder / "default.store"), original);
  EXPECT_EQ(result.container->apps().count(), 0);
}

TEST_F(BootstrapTest, ATruncatedStoreIsMovedAside) {
  makeStore("3.0.0");
  {
    auto store = Store::open(storeFile);
    Transaction transaction(*store);
    for (int i = 0; i < 300; ++i) {
      store->apps().insert(makeApp(std::to_string(1000 + i), std::string(300, 'n')));
    }
    transaction.commit();
  }
  fs::resize_file(storeFile, fs::file_size(storeFile) / 3);
  const std::string truncated = bytesOf(storeFile);

  auto result = open();

  ASSERT_TRUE(result.container);
  ASSERT_TRUE(result.notice && result.notice->recovered());
  EXPECT_EQ(bytesOf(result.notice->recovered()->folder / "default.store"), truncated);
}

TEST_F(BootstrapTest, AFolderWhereTheStoreShouldBeIsMovedAsideWhole) {
  fs::create_directories(storeFile);
  writeBytes(storeFile / "inside.txt", "mine");
  writeBytes(marker, "3.0.0");

  auto result = open();

  ASSERT_TRUE(result.container);
  ASSERT_TRUE(result.notice && result.notice->recovered());
  EXPECT_EQ(bytesOf(result.notice->recovered()->folder / "default.store" / "inside.txt"), "mine");
}

TEST_F(BootstrapTest, TwoRecoveriesInOneSecondKeepBothFolders) {
  fs::create_directories(dir);
  writeBytes(storeFile, "first garbage");
  writeBytes(marker, "3.0.0");
  { auto result = open(); }
  fs::rename(storeFile, temp.path() / "fresh.store");  // out of the way, so the next garbage stands alone
  writeBytes(storeFile, "second garbage");
  auto result = open();
  ASSERT_TRUE(result.notice && result.notice->recovered());
  EXPECT_EQ(result.notice->recovered()->folder, backups / "Recovered-20250114-093012-2");
  EXPECT_EQ(bytesOf(backups / "Recovered-20250114-093012" / "default.store"), "first garbage");
  EXPECT_EQ(bytesOf(backups / "Recovered-20250114-093012-2" / "default.store"), "second garbage");
}

TEST_F(BootstrapTest, WhenBothAttemptsFailTheNoticeCarriesBothReasonsAndTheFolder) {
  fs::create_directories(dir);
  writeBytes(storeFile, "old data");
  int attempts = 0;
  auto result = open([&](const fs::path&) -> std::unique_ptr<Store> {
    ++attempts;
    // Only an unreadable store is moved aside; the new one may then fail for any reason, a full disk too.
    if (attempts == 1) {
      throw StoreError(StoreError::Kind::notATovraStore, "first reason.");
    }
    throw StoreError(StoreError::Kind::diskFull, "second reason.");
  });

  EXPECT_EQ(attempts, 2);
  EXPECT_FALSE(result.container);
  ASSERT_TRUE(result.notice && result.notice->failed());
  const fs::path folder = backups / "Recovered-20250114-093012";
  EXPECT_EQ(result.notice->failed()->detail,
            "Opening the existing data failed: first reason.\nCreating a new, empty store failed: second reason.");
  EXPECT_EQ(result.notice->failed()->folder, folder);
  EXPECT_EQ(bytesOf(folder / "default.store"), "old data");
  EXPECT_FALSE(fs::exists(marker)) << "a store that failed to open must be detected again next time";

  const auto alert = StoreLaunchAlert::from(*result.notice);
  EXPECT_EQ(alert.style, StoreLaunchAlert::Style::critical);
  EXPECT_EQ(alert.messageText, "Tovra cannot start.");
  EXPECT_EQ(alert.informativeText,
            "Tovra could not create a place to keep its data, so it has to quit. Your old data was kept in " +
                folder.string() +
                ".\n\nOpening the existing data failed: first reason.\nCreating a new, empty store failed: second "
                "reason.");
  EXPECT_EQ(alert.buttons, (std::vector<std::string>{"Quit", "Show in File Manager"}));
  EXPECT_TRUE(alert.endsApplication);
}

TEST_F(BootstrapTest, AFolderThatCannotBeMadeFailsWithoutAFolderButton) {
  writeBytes(temp.path() / "blocker", "a file, not a folder");
  dir = temp.path() / "blocker" / "Tovra";

  auto result = open();

  EXPECT_FALSE(result.container);
  ASSERT_TRUE(result.notice && result.notice->failed());
  EXPECT_FALSE(result.notice->failed()->folder);
  EXPECT_NE(result.notice->failed()->detail.find("Could not create the folder"), std::string::npos)
      << result.notice->failed()->detail;
  const auto alert = StoreLaunchAlert::from(*result.notice);
  EXPECT_EQ(alert.buttons, std::vector<std::string>{"Quit"});
  EXPECT_EQ(alert.informativeText, "Tovra could not create a place to keep its data, so it has to quit.\n\n" +
                                       result.notice->failed()->detail);
}

struct UntouchedCase {
  std::string name;
  std::function<void()> fail;
  bool inUse;
};

void PrintTo(const UntouchedCase& c, std::ostream* out) {
  *out << c.name;
}

class BootstrapUntouchedTest : public BootstrapTest, public ::testing::WithParamInterface<UntouchedCase> {};

// A lock held by another program, a full or failing disk, a permission the system refuses: none says
// anything about the store's contents, so the store stays where it is, whole, and nothing new is made.
TEST_P(BootstrapUntouchedTest, AStoreThatCannotBeReachedIsLeftInPlaceAndReportedAsWhatItIs) {
  makeStore("3.0.0");
  const std::string original = bytesOf(storeFile);
  int attempts = 0;
  std::string detail;
  auto result = open([&](const fs::path&) -> std::unique_ptr<Store> {
    ++attempts;
    try {
      GetParam().fail();
    } catch (const std::exception& error) {
      detail = error.what();
      throw;
    }
    return nullptr;
  });

  EXPECT_EQ(attempts, 1) << "no second store may be made in its place";
  EXPECT_FALSE(result.container);
  ASSERT_TRUE(result.notice);
  if (GetParam().inUse) {
    ASSERT_TRUE(result.notice->inUse());
    EXPECT_EQ(result.notice->inUse()->store, storeFile);
  } else {
    ASSERT_TRUE(result.notice->unavailable());
    EXPECT_EQ(result.notice->unavailable()->detail, detail);
    EXPECT_EQ(result.notice->unavailable()->store, storeFile);
  }
  EXPECT_EQ(bytesOf(storeFile), original);
  EXPECT_FALSE(fs::exists(backups));
  EXPECT_EQ(bytesOf(marker), "3.0.0");
}

INSTANTIATE_TEST_SUITE_P(
    Failures, BootstrapUntouchedTest,
    ::testing::Values(
        UntouchedCase{
            "Busy", [] { throw StoreError(StoreError::Kind::busy, "The store is in use by another program."); }, true},
        UntouchedCase{"DiskFull", [] { throw StoreError(StoreError::Kind::diskFull, "The disk is full."); }, false},
        UntouchedCase{"Io", [] { throw StoreError(StoreError::Kind::io, "disk I/O error."); }, false},
        UntouchedCase{"Forbidden", [] { throw StoreError(StoreError::Kind::forbidden, "Permission denied."); }, false},
        UntouchedCase{"ReadOnly", [] { throw StoreError(StoreError::Kind::readOnly, "Read-only file system."); },
                      false},
        UntouchedCase{"CannotOpen", [] { throw StoreError(StoreError::Kind::cannotOpen, "unable to open."); }, false},
        // An error that names no kind says nothing about the contents either.
        UntouchedCase{"Unclassified", [] { throw std::runtime_error("out of memory"); }, false}),
    [](const ::testing::TestParamInfo<UntouchedCase>& info) { return info.param.name; });

TEST_F(BootstrapTest, TheAlertsForAStoreLeftInPlaceSayNothingWasMoved) {
  const auto inUse = StoreLaunchAlert::from({StoreOpenNotice::InUse{"/data/default.store"}});
  EXPECT_EQ(inUse.style, StoreLaunchAlert::Style::warning);
  EXPECT_EQ(inUse.messageText, "Tovra's store is in use by another program.");
  EXPECT_EQ(inUse.informativeText,
            "Another program holds the store /data/default.store locked, so Tovra cannot open it now. Nothing was "
            "moved or changed: close the other program or wait for it to finish, then try again.");
  EXPECT_EQ(inUse.buttons, (std::vector<std::string>{"Try Again", "Quit"}));
  EXPECT_FALSE(inUse.folder);
  EXPECT_TRUE(inUse.endsApplication);

  const auto unavailable = StoreLaunchAlert::from({StoreOpenNotice::Unavailable{
      "The disk is full while opening the store; nothing was changed.", "/data/default.store"}});
  EXPECT_EQ(unavailable.style, StoreLaunchAlert::Style::critical);
  EXPECT_EQ(unavailable.messageText, "Tovra cannot reach its data.");
  EXPECT_EQ(unavailable.informativeText,
            "Tovra could not open its store /data/default.store, so it has to quit. Nothing was moved or changed."
            "\n\nThe disk is full while opening the store; nothing was changed.");
  EXPECT_EQ(unavailable.buttons, std::vector<std::string>{"Quit"});
  EXPECT_FALSE(unavailable.folder);
  EXPECT_TRUE(unavailable.endsApplication);
}

// SQLite leaves a file of no bytes behind when it could not write a new store's first page (a full disk).
// It holds nothing, so it is neither copied nor moved: it simply becomes the new store.
TEST_F(BootstrapTest, AnEmptyStoreFileLeftBehindIsNeitherCopiedNorMovedAside) {
  fs::create_directories(dir);
  writeBytes(storeFile, "");

  auto result = open();

  ASSERT_TRUE(result.container);
  EXPECT_FALSE(result.notice);
  EXPECT_FALSE(result.backup);
  EXPECT_FALSE(fs::exists(backups));
  EXPECT_EQ(bytesOf(marker), "3.0.0");
}

TEST_F(BootstrapTest, TheInMemoryFallbackKeepsNoFiles) {
  auto store = inMemoryFallback();
  EXPECT_FALSE(store->file());
  store->apps().insert(makeApp("1"));
  EXPECT_EQ(store->apps().count(), 1);
}

}  // namespace
}  // namespace tovra::store
