// A store that cannot be reached is not a broken store: locked by another program, on a full disk or
// out of Tovra's permissions, it stays exactly where it is, the command says why and exits 1. Only a
// file that cannot be read as a Tovra store is moved aside.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <ostream>
#include <sstream>

#include "tests/e2e/harness.h"

namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::Not;
using tovra::e2e::describe;
using tovra::e2e::Harness;
using tovra::e2e::Process;
using tovra::e2e::readAll;
using tovra::e2e::RunResult;
namespace fs = std::filesystem;

std::optional<std::string> onPath(const std::string& program) {
  const char* path = std::getenv("PATH");
  std::istringstream folders(path ? path : "/usr/bin:/bin");
  for (std::string folder; std::getline(folders, folder, ':');) {
    const fs::path candidate = fs::path(folder) / program;
    if (::access(candidate.c_str(), X_OK) == 0) {
      return candidate.string();
    }
  }
  return std::nullopt;
}

class StoreBootstrapCliTest : public ::testing::Test {
 protected:
  Harness h{json{{"apps", json::object()}}};

  fs::path store() const { return h.dataDir() / "default.store"; }

  // A healthy store with one tracked keyword's worth of schema, made by Tovra itself.
  void makeStore() {
    const auto made = h.run({"app", "list"});
    ASSERT_EQ(made.exitCode, 0) << describe(made);
    ASSERT_TRUE(fs::exists(store()));
  }

  void expectLeftInPlace(const std::string& before) const {
    EXPECT_EQ(readAll(store()), before) << "the store must stay where it is, byte for byte";
    EXPECT_FALSE(fs::exists(h.dataDir() / "Backups")) << "nothing may be moved or copied aside";
  }
};

TEST_F(StoreBootstrapCliTest, AStoreLockedByAnotherProgramIsLeftInPlaceAndTheCommandSaysItIsInUse) {
  makeStore();
  const std::string before = readAll(store());
  const fs::path ready = h.directory() / "lock-held";
  Process holder(TOVRA_BIN_DIR "/tests/test_store_lock_holder", {store().string(), ready.string()}, h.environment());
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
  while (!fs::exists(ready)) {
    ASSERT_FALSE(holder.ended()) << holder.wait(std::chrono::seconds(1)).err;
    ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the lock holder never took the lock";
  }

  const auto r = h.run({"app", "list"});

  EXPECT_EQ(r.exitCode, 1) << describe(r);
  EXPECT_THAT(r.err, HasSubstr("Tovra's store is in use by another program."));
  EXPECT_THAT(r.err, HasSubstr("Nothing was moved or changed"));
  EXPECT_THAT(r.err, Not(HasSubstr("Recovered-")));
  EXPECT_EQ(readAll(store()), before);
  EXPECT_FALSE(fs::exists(h.dataDir() / "Backups"));

  // Once the other program lets go, the same store opens as it was.
  holder.signal(SIGKILL);
  holder.wait(std::chrono::seconds(10));
  const auto again = h.run({"app", "list"});
  EXPECT_EQ(again.exitCode, 0) << describe(again);
  EXPECT_TRUE(again.err.empty()) << describe(again);
  EXPECT_FALSE(fs::exists(h.dataDir() / "Backups"));
}

struct PermissionCase {
  std::string name;
  fs::perms storeMode;
  fs::perms folderMode;
  std::string says;
};

void PrintTo(const PermissionCase& c, std::ostream* out) {
  *out << c.name;
}

class StoreBootstrapPermissionTest : public StoreBootstrapCliTest,
                                     public ::testing::WithParamInterface<PermissionCase> {
 protected:
  void TearDown() override {
    std::error_code ignored;
    fs::permissions(h.dataDir(), fs::perms::owner_all, ignored);
    fs::permissions(store(), fs::perms::owner_read | fs::perms::owner_write, ignored);
  }
};

TEST_P(StoreBootstrapPermissionTest, AStoreTovraMayNotUseIsReportedAndLeftInPlace) {
  // Root reads and writes whatever the permission bits say; without its two file-access capabilities it
  // meets them like any user. setpriv drops them for the one command.
  std::vector<std::string> command;
  std::string program = Harness::tovraPath();
  if (::geteuid() == 0) {
    const auto setpriv = onPath("setpriv");
    if (!setpriv) {
      GTEST_SKIP() << "Running as root and setpriv is not installed, so permission bits cannot be made to bite; "
                      "the permission cases are not checked.";
    }
    program = *setpriv;
    command = {"--bounding-set", "-dac_override,-dac_read_search", "--", Harness::tovraPath()};
  }
  command.insert(command.end(), {"app", "list"});
  makeStore();
  const std::string before = readAll(store());
  fs::permissions(store(), GetParam().storeMode);
  fs::permissions(h.dataDir(), GetParam().folderMode);

  const auto r = h.runProgram(program, command);
  if (r.err.rfind("setpriv:", 0) == 0) {
    GTEST_SKIP() << "Running as root and the capabilities cannot be dropped here (" << r.err
                 << "), so permission bits cannot be made to bite; the permission cases are not checked.";
  }

  EXPECT_EQ(r.exitCode, 1) << describe(r);
  EXPECT_THAT(r.err, HasSubstr("Tovra cannot reach its data."));
  EXPECT_THAT(r.err, HasSubstr(GetParam().says));
  fs::permissions(h.dataDir(), fs::perms::owner_all);
  fs::permissions(store(), fs::perms::owner_read | fs::perms::owner_write);
  expectLeftInPlace(before);
}

INSTANTIATE_TEST_SUITE_P(Refusals, StoreBootstrapPermissionTest,
                         ::testing::Values(PermissionCase{"UnreadableStore", fs::perms::none, fs::perms::owner_all,
                                                          "Tovra is not allowed to read the store"},
                                           PermissionCase{"ReadOnlyStore", fs::perms::owner_read, fs::perms::owner_all,
                                                          "Tovra is not allowed to write the store"},
                                           PermissionCase{"ReadOnlyFolder",
                                                          fs::perms::owner_read | fs::perms::owner_write,
                                                          fs::perms::owner_read | fs::perms::owner_exec,
                                                          "Tovra is not allowed to create files in the folder"}),
                         [](const ::testing::TestParamInfo<PermissionCase>& info) { return info.param.name; });

// A small tmpfs, filled to the last byte, holds the data folder.
class StoreBootstrapFullDiskTest : public StoreBootstrapCliTest {
 protected:
  fs::path disk = h.directory() / "disk";
  fs::path dataDir = disk / "data";
  bool mounted = false;

  void SetUp() override {
    fs::create_directories(disk);
    if (::mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=2m") != 0) {
      GTEST_SKIP() << "Mounting a 2 MiB tmpfs is not allowed here (" << std::strerror(errno)
                   << "); the full-disk cases are not checked.";
    }
    mounted = true;
  }

  void TearDown() override {
    if (mounted) {
      ::umount2(disk.c_str(), MNT_DETACH);
    }
  }

  RunResult run(const std::vector<std::string>& args) const {
    return h.run(args, {.env = {{"TOVRA_DATA_DIR", dataDir.string()}}});
  }

  void fill() const {
    std::ofstream filler(disk / "filler", std::ios::binary);
    const std::string block(4096, 'f');
    while (filler.write(block.data(), static_cast<std::streamsize>(block.size()))) {
    }
  }

  // However often a command is tried on the full disk, it says so, and nothing is moved aside.
  void expectEveryTryReportsAFullDisk() const {
    for (int attempt = 0; attempt < 3; ++attempt) {
      const auto r = run({"app", "list"});
      EXPECT_EQ(r.exitCode, 1) << describe(r);
      EXPECT_THAT(r.err, HasSubstr("The disk is full")) << describe(r);
      EXPECT_THAT(r.err, Not(HasSubstr("Recovered-")));
    }
    EXPECT_FALSE(fs::exists(dataDir / "Backups"));
  }

  // Once there is room again, the next command works on the store as it stands.
  void expectTheStoreOpensOnceFreed() const {
    fs::remove(disk / "filler");
    const auto freed = run({"app", "list"});
    EXPECT_EQ(freed.exitCode, 0) << describe(freed);
    EXPECT_TRUE(freed.err.empty()) << describe(freed);
    EXPECT_FALSE(fs::exists(dataDir / "Backups"));
  }
};

TEST_F(StoreBootstrapFullDiskTest, AHealthyStoreOnAFullDiskIsReportedAsAFullDiskAndNeverMoved) {
  const auto made = run({"app", "list"});
  ASSERT_EQ(made.exitCode, 0) << describe(made);
  fill();
  const std::string before = readAll(dataDir / "default.store");

  expectEveryTryReportsAFullDisk();
  EXPECT_EQ(readAll(dataDir / "default.store"), before);
  expectTheStoreOpensOnceFreed();
}

TEST_F(StoreBootstrapFullDiskTest, AStoreThatCouldNotBeCreatedOnAFullDiskIsNeverMovedAsideLater) {
  fs::create_directories(dataDir);
  fill();
  expectEveryTryReportsAFullDisk();
  // Whatever the failed attempts left behind becomes the new store once there is room.
  expectTheStoreOpensOnceFreed();
}

// The line runs both ways: a database of another program is still moved aside, whole, and the command
// goes on with a new store.
TEST_F(StoreBootstrapCliTest, ADatabaseOfAnotherProgramIsStillMovedAside) {
  fs::create_directories(h.dataDir());
  std::string header = "SQLite format 3";
  header.push_back('\0');
  const std::string bytes = header + std::string(4096 - header.size(), 'o');
  std::ofstream(store(), std::ios::binary) << bytes;

  const auto r = h.run({"app", "list"});

  ASSERT_EQ(r.exitCode, 0) << describe(r);
  EXPECT_THAT(r.err, HasSubstr("Tovra could not open its data."));
  std::vector<fs::path> moved;
  for (const auto& entry : fs::directory_iterator(h.dataDir() / "Backups")) {
    if (entry.path().filename().string().rfind("Recovered-", 0) == 0) {
      moved.push_back(entry.path() / "default.store");
    }
  }
  ASSERT_EQ(moved.size(), 1u);
  EXPECT_EQ(readAll(moved[0]), bytes);
}

}  // namespace
