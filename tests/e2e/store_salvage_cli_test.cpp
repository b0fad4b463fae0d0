// A store with a damaged page: once the engine reports the damage (a full check, a read that meets it,
// the quick check after an unclean exit), the whole file is moved aside byte for byte, a new store is
// made, and what can still be read is salvaged into it with its counts told.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>

#include <chrono>
#include <fstream>
#include <regex>
#include <thread>

#include "tests/e2e/harness.h"

namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using ::testing::Not;
using tovra::e2e::describe;
using tovra::e2e::Harness;
using tovra::e2e::readAll;
using tovra::e2e::RunResult;
namespace fs = std::filesystem;

struct Generated {
  long apps = 0;
  long keywords = 0;
  long readings = 0;
};

// What a salvage told: its three counts and whether it said some records could not be read.
struct Told {
  long apps = -1;
  long keywords = -1;
  long readings = -1;
  bool partly = false;
};

Told toldIn(const std::string& text) {
  static const std::regex counts(R"(salvaged what could still be read into the new store: (\d+) apps?, (\d+) )"
                                 R"(keywords? and (\d+) readings?\.)");
  Told told;
  std::smatch match;
  if (std::regex_search(text, match, counts)) {
    told = {std::stol(match[1]), std::stol(match[2]), std::stol(match[3]), false};
  }
  told.partly = text.find("could not be read; they are still in the old file") != std::string::npos;
  return told;
}

// Which page of the store a case overwrites, read from the engine's own page statistics.
enum class Page { first, table, index, last };

// What must come back of the readings.
enum class Back {
  nothing,  // the file was only moved aside: nothing is salvaged from what is no database
  all,      // every reading: an index holds no record of its own
  some,     // those before and past the damaged page, and the salvage says some could not be read
  any,      // the page holds what it happens to hold; the apps and some readings must come back
};

struct DamageCase {
  std::string name;
  Page page;
  std::vector<std::string> command;  // "{dir}" stands for the test's own folder
  int exitCode;
  Back back;
};

void PrintTo(const DamageCase& c, std::ostream* out) {
  *out << c.name;
}

class StoreSalvageCliTest : public ::testing::TestWithParam<DamageCase> {
 protected:
  Harness h{json{{"apps", json::object()}}};
  Generated generated;

  fs::path store() const { return h.dataDir() / "default.store"; }

  void SetUp() override {
    const auto made = h.runProgram(TOVRA_BIN_DIR "/tools/storegen/tovra-storegen",
                                   {h.dataDir().string(), "--apps", "3", "--keywords", "8", "--days", "40"});
    ASSERT_EQ(made.exitCode, 0) << describe(made);
    std::smatch match;
    ASSERT_TRUE(std::regex_search(made.out, match, std::regex(R"((\d+) apps, (\d+) keywords, (\d+) readings)")))
        << made.out;
    generated = {std::stol(match[1]), std::stol(match[2]), std::stol(match[3])};
    ASSERT_FALSE(fs::exists(store().string() + "-wal")) << "the generator left its log behind";
  }

  long pageNumber(Page page) const {
    sqlite3* db = nullptr;
    EXPECT_EQ(sqlite3_open_v2(store().c_str(), &db, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
    const auto one = [&](const std::string& sql) {
      sqlite3_stmt* statement = nullptr;
      EXPECT_EQ(sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
      long value = -1;
      if (sqlite3_step(statement) == SQLITE_ROW) {
        value = sqlite3_column_int64(statement, 0);
      }
      sqlite3_finalize(statement);
      return value;
    };
    // A leaf from the middle of the object, so that records lie on both sides of the damage.
    const auto middleLeaf = [&](const std::string& name) {
      return one("SELECT pageno FROM dbstat WHERE name = '" + name +
                 "' AND pagetype = 'leaf' ORDER BY pageno LIMIT 1 OFFSET "
                 "(SELECT count(*) / 2 FROM dbstat WHERE name = '" +
                 name + "' AND pagetype = 'leaf')");
    };
    long number = -1;
    switch (page) {
      case Page::first:
        number = 1;
        break;
      case Page::table:
        number = middleLeaf("StoredObservation");
        break;
      case Page::index:
        number = middleLeaf("StoredObservation_period_day");
        break;
      case Page::last:
        number = one("PRAGMA page_count");
        break;
    }
    sqlite3_close(db);
    return number;
  }

  // Overwrites one whole page with bytes no page of the engine has, as a failing disk sector would.
  void overwrite(long page) const {
    ASSERT_GT(page, 0);
    std::fstream file(store(), std::ios::in | std::ios::out | std::ios::binary);
    file.seekp((page - 1) * 4096);
    const std::string garbage(4096, '\xA5');
    file.write(garbage.data(), static_cast<std::streamsize>(garbage.size()));
    ASSERT_TRUE(file.good());
  }

  std::vector<fs::path> recoveredFolders() const {
    std::vector<fs::path> folders;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(h.dataDir() / "Backups", error)) {
      if (entry.path().filename().string().rfind("Recovered-", 0) == 0) {
        folders.push_back(entry.path());
      }
    }
    return folders;
  }
};

TEST_P(StoreSalvageCliTest, TheDamagedFileIsMovedAsideWholeAndWhatCanBeReadIsSalvaged) {
  const auto& c = GetParam();
  overwrite(pageNumber(c.page));
  const std::string damaged = readAll(store());

  std::vector<std::string> command = c.command;
  for (auto& argument : command) {
    if (const auto at = argument.find("{dir}"); at != std::string::npos) {
      argument.replace(at, 5, h.directory().string());
    }
  }

  const auto r = h.run(command);

  EXPECT_EQ(r.exitCode, c.exitCode) << describe(r);
  EXPECT_THAT(r.err, HasSubstr("Your old data was kept in")) << describe(r);
  const auto folders = recoveredFolders();
  ASSERT_EQ(folders.size(), 1u) << describe(r);
  EXPECT_THAT(r.err, HasSubstr(folders.front().string()));
  EXPECT_TRUE(readAll(folders.front() / "default.store") == damaged) << "the damaged file must be kept byte for byte";
  for (const auto& entry : fs::directory_iterator(h.dataDir())) {
    EXPECT_THAT(entry.path().filename().string(), Not(HasSubstr(".salvage"))) << "the working copy must be gone";
  }

  const Told told = toldIn(r.err);
  if (c.back == Back::nothing) {
    EXPECT_EQ(told.apps, -1) << describe(r);
  } else {
    EXPECT_EQ(told.apps, generated.apps) << describe(r);
    EXPECT_GT(told.readings, 0) << describe(r);
  }
  if (c.back == Back::all) {
    EXPECT_EQ(told.keywords, generated.keywords) << describe(r);
    EXPECT_EQ(told.readings, generated.readings) << describe(r);
    EXPECT_FALSE(told.partly) << describe(r);
  }
  if (c.back == Back::some) {
    EXPECT_EQ(told.keywords, generated.keywords) << describe(r);
    EXPECT_LT(told.readings, generated.readings) << describe(r);
    EXPECT_GT(told.readings, generated.readings / 2) << "the readings past the damaged page must come back";
    EXPECT_TRUE(told.partly) << describe(r);
  }

  // The new store is sound and holds exactly what was told.
  const auto check = h.run({"store", "--check"});
  EXPECT_EQ(check.exitCode, 0) << describe(check);
  EXPECT_THAT(check.out, HasSubstr("The store passed its check"));
  const auto inventory = h.run({"store", "--json"});
  ASSERT_EQ(inventory.exitCode, 0) << describe(inventory);
  if (c.back != Back::nothing) {
    const auto rows = json::parse(inventory.out)["rows"];
    long readings = -1;
    for (const auto& row : rows) {
      if (row["kind"] == "dailyRanks") {
        readings = row["count"];
      }
    }
    EXPECT_EQ(readings, told.readings) << inventory.out;
  }
  EXPECT_EQ(recoveredFolders().size(), 1u) << "a sound new store is never moved aside again";
}

INSTANTIATE_TEST_SUITE_P(
    Pages, StoreSalvageCliTest,
    ::testing::Values(
        // The first page holds the file's header and the list of tables: without it the file is no
        // database, it is moved aside like any foreign file, and there is nothing to salvage from.
        DamageCase{"FirstPageOnOpening", Page::first, {"app", "list"}, 0, Back::nothing},
        DamageCase{"TablePageOnCheck", Page::table, {"store", "--check"}, 1, Back::some},
        DamageCase{"TablePageMetByARead", Page::table, {"export", "-o", "{dir}/export.json"}, 1, Back::some},
        DamageCase{"IndexPageOnCheck", Page::index, {"store", "--check"}, 1, Back::all},
        DamageCase{"LastPageOnCheck", Page::last, {"store", "--check"}, 1, Back::any}),
    [](const ::testing::TestParamInfo<DamageCase>& info) { return info.param.name; });

class StoreUncleanExitTest : public StoreSalvageCliTest {};

// Without an unclean exit, opening reads no more than the schema: a command that does not touch the
// damaged page works, and the store stays where it is.
TEST_F(StoreUncleanExitTest, AfterACleanExitTheStoreIsNotCheckedAtLaunch) {
  overwrite(pageNumber(Page::table));
  const auto r = h.run({"space", "list"});
  EXPECT_EQ(r.exitCode, 0) << describe(r);
  EXPECT_THAT(r.err, Not(HasSubstr("Your old data was kept in")));
  EXPECT_TRUE(recoveredFolders().empty());
}

// A process killed while it had the store open leaves its mark; the next launch checks the store
// quickly, finds the damage and salvages before the command goes on.
TEST_F(StoreUncleanExitTest, AfterAKilledProcessTheNextLaunchChecksAndSalvages) {
  auto run = h.start({"measure"});
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (h.requests().empty()) {
    ASSERT_FALSE(run->ended()) << run->wait(std::chrono::seconds(1)).err;
    ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the run never asked the fake store";
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  run->signal(SIGKILL);
  const auto killed = run->wait(std::chrono::seconds(10));
  ASSERT_EQ(killed.signal, SIGKILL) << describe(killed);
  // Reading the page numbers folds the killed run's log into the file first, so the damage is not
  // written over by it.
  overwrite(pageNumber(Page::table));

  const auto r = h.run({"app", "list"});

  EXPECT_EQ(r.exitCode, 0) << describe(r);
  EXPECT_THAT(r.err, HasSubstr("Your old data was kept in"));
  EXPECT_EQ(recoveredFolders().size(), 1u);
  const Told told = toldIn(r.err);
  EXPECT_EQ(told.apps, generated.apps) << describe(r);
  EXPECT_TRUE(told.partly) << describe(r);
  EXPECT_GE(std::count(r.out.begin(), r.out.end(), '\n'), generated.apps) << "the salvaged apps are listed";
}

}  // namespace
