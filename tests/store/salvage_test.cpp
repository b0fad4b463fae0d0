#include "app/store/salvage.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <ostream>

#include "app/store/bootstrap.h"
#include "app/store/damage.h"
#include "app/store/integrity.h"
#include "app/store/launch_alert.h"
#include "app/store/store_error.h"
#include "app/store/transaction.h"
#include "fixtures.h"
#include "temp_dir.h"
#include "tools/storegen/storegen.h"

namespace tovra::store {
namespace {

namespace fs = std::filesystem;

std::string bytesOf(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

std::int64_t countOf(SQLite::Database& database, const std::string& table) {
  return database.execAndGet("SELECT count(*) FROM " + table).getInt64();
}

// Every reading as the tuple a user would see, by key.
std::map<std::int64_t, std::string> readingsOf(SQLite::Database& database) {
  std::map<std::int64_t, std::string> rows;
  SQLite::Statement all(database,
                        "SELECT pk, day, measuredAt, coalesce(rank, -1), resultCount, source, query, period "
                        "FROM StoredObservation");
  while (all.executeStep()) {
    std::string row;
    for (int i = 1; i < 8; ++i) {
      row += all.getColumn(i).getString() + "|";
    }
    rows[all.getColumn(0).getInt64()] = row;
  }
  return rows;
}

class SalvageTest : public ::testing::Test {
 protected:
  testing::TempDir temp;
  fs::path file = temp.path() / "default.store";
  fs::path work = temp.path() / "work";
  storegen::GeneratedCounts generated;
  std::map<std::int64_t, std::string> originalReadings;
  std::int64_t originalOutcomes = 0;

  void SetUp() override {
    storegen::GeneratorOptions options;
    // Enough keywords for their table to span several pages, so one of them can be lost on its own.
    options.apps = 4;
    options.keywordsPerApp = 45;
    options.days = 12;
    generated = storegen::generateStore(*Store::open(file), options);
    SQLite::Database database(file.string());
    originalReadings = readingsOf(database);
    originalOutcomes = countOf(database, "RunOutcome");
  }

  // Overwrites a leaf page from the middle of a table or index with bytes no page of the engine has.
  void damageLeafOf(const std::string& name) {
    std::int64_t page = 0;
    {
      SQLite::Database database(file.string(), SQLite::OPEN_READWRITE);
      SQLite::Statement leaves(database,
                               "SELECT pageno FROM dbstat WHERE name = ? AND pagetype = 'leaf' ORDER BY pageno");
      leaves.bind(1, name);
      std::vector<std::int64_t> pages;
      while (leaves.executeStep()) {
        pages.push_back(leaves.getColumn(0).getInt64());
      }
      ASSERT_GE(pages.size(), 3u) << name << " is too small to damage in its middle";
      page = pages[pages.size() / 2];
    }
    std::fstream out(file, std::ios::in | std::ios::out | std::ios::binary);
    out.seekp((page - 1) * 4096);
    const std::string garbage(4096, '\x5A');
    out.write(garbage.data(), static_cast<std::streamsize>(garbage.size()));
  }
};

struct DamageCase {
  std::string name;
  std::string damaged;  // the table or index whose middle leaf is overwritten; empty for none
  bool allKeywords;
  bool allReadings;
  bool whole;
};

void PrintTo(const DamageCase& c, std::ostream* out) {
  *out << c.name;
}

class SalvageDamageTest : public SalvageTest, public ::testing::WithParamInterface<DamageCase> {};

TEST_P(SalvageDamageTest, WhatCanBeReadComesBackUnchangedAndEveryRecordStillHasItsOwner) {
  const auto& c = GetParam();
  if (!c.damaged.empty()) {
    damageLeafOf(c.damaged);
  }
  const std::string before = bytesOf(file);
  auto into = Store::inMemory();

  const auto report = salvageStore(file, *into, work);

  EXPECT_TRUE(report.opened);
  EXPECT_TRUE(report.failure.empty()) << report.failure;
  EXPECT_EQ(report.whole, c.whole);
  EXPECT_EQ(report.apps, generated.apps);
  auto& database = into->database();
  EXPECT_EQ(countOf(database, "TrackedApp"), report.apps);
  EXPECT_EQ(countOf(database, "TrackedQuery"), report.keywords);
  EXPECT_EQ(countOf(database, "StoredObservation"), report.readings);
  if (c.allKeywords) {
    EXPECT_EQ(report.keywords, generated.queries);
  } else {
    EXPECT_LT(report.keywords, generated.queries);
    EXPECT_GT(report.keywords, 0);
  }
  if (c.allReadings) {
    EXPECT_EQ(report.readings, generated.observations);
  } else {
    EXPECT_LT(report.readings, generated.observations);
    EXPECT_GT(report.readings, generated.observations / 2) << "the rows past the damaged page must be found again";
  }
  // Nothing salvaged is altered, whichever part of the file it came from.
  for (const auto& [key, row] : readingsOf(database)) {
    ASSERT_TRUE(originalReadings.contains(key)) << key;
    EXPECT_EQ(row, originalReadings.at(key)) << key;
  }
  // An outcome that lost its reading keeps its status and loses only the link, as deleting the reading does;
  // it goes only with its run or, through the keyword's periods, never silently.
  EXPECT_TRUE(database.execAndGet("SELECT count(*) FROM pragma_foreign_key_check").getInt() == 0);
  if (c.allKeywords) {
    EXPECT_EQ(countOf(database, "RunOutcome"), originalOutcomes);
  }
  EXPECT_EQ(countOf(database, "StoredObservation o LEFT JOIN TrackedQuery q ON q.pk = o.query WHERE q.pk IS NULL"), 0);
  EXPECT_EQ(bytesOf(file), before) << "the damaged file itself is never written";
  EXPECT_FALSE(fs::exists(work)) << "the working copy is removed";
  EXPECT_EQ(checkStoreFile(file, CheckDepth::full).verdict,
            c.damaged.empty() ? StoreCheckResult::Verdict::sound : StoreCheckResult::Verdict::damaged);
}

INSTANTIATE_TEST_SUITE_P(Damage, SalvageDamageTest,
                         ::testing::Values(DamageCase{"Intact", "", true, true, true},
                                           DamageCase{"ReadingLeaf", "StoredObservation", true, false, false},
                                           // An index holds no record of its own: the tables are read past it.
                                           DamageCase{"ReadingIndexLeaf", "StoredObservation_period_day", true, true,
                                                      true},
                                           // Readings of a lost keyword go with it, as deleting the keyword takes them.
                                           DamageCase{"KeywordLeaf", "TrackedQuery", false, false, false}),
                         [](const ::testing::TestParamInfo<DamageCase>& info) { return info.param.name; });

TEST_F(SalvageTest, AFileThatIsNoDatabaseSalvagesNothingAndSaysSo) {
  std::ofstream(file, std::ios::binary | std::ios::trunc) << std::string(8192, 'x');
  auto into = Store::inMemory();
  const auto report = salvageStore(file, *into, work);
  EXPECT_FALSE(report.opened);
  EXPECT_EQ(countOf(into->database(), "TrackedApp"), 0);
  EXPECT_EQ(salvageSummary(report), "Nothing could be salvaged: the old file can no longer be read as a database.");
}

// Keys are not dense: a row far past the others that cannot be read must be stepped over in one go, not
// by searching every key up to it.
TEST(SalvageSparseKeysTest, AnUnreadableRowFarPastTheOthersIsLeftOutAndTheRowsAfterItAreRead) {
  testing::TempDir temp;
  const fs::path sparse = temp.path() / "sparse.store";
  constexpr std::int64_t kFar = 1'000'000'000'000'000;
  {
    auto store = Store::open(sparse);
    store->apps().insert(testing::makeApp("1", "First"));
    store->apps().insert(testing::makeApp("2", "Second"));
    // Long enough to spill over several overflow pages, whose chain is then cut.
    store->apps().insert(testing::makeApp("3", std::string(20'000, 'Q')));
    store->apps().insert(testing::makeApp("4", "Fourth"));
    store->database().exec("UPDATE TrackedApp SET pk = " + std::to_string(kFar + 1) + " WHERE pk = 4");
    store->database().exec("UPDATE TrackedApp SET pk = " + std::to_string(kFar) + " WHERE pk = 3");
  }
  std::vector<std::int64_t> overflow;
  {
    SQLite::Database database(sparse.string());
    SQLite::Statement pages(database, "SELECT pageno FROM dbstat WHERE name = 'TrackedApp' AND pagetype = 'overflow'");
    while (pages.executeStep()) {
      overflow.push_back(pages.getColumn(0).getInt64());
    }
  }
  ASSERT_GT(overflow.size(), 1u);
  {
    // Every page of the chain now says it is the last, so the chain ends before the value does.
    std::fstream out(sparse, std::ios::in | std::ios::out | std::ios::binary);
    for (const auto page : overflow) {
      out.seekp((page - 1) * 4096);
      out.write("\0\0\0\0", 4);
    }
  }

  auto into = Store::inMemory();
  const auto report = salvageStore(sparse, *into, temp.path() / "work");
  EXPECT_TRUE(report.opened);
  EXPECT_FALSE(report.whole);
  EXPECT_EQ(report.apps, 3);
  std::vector<std::string> names;
  for (const auto& app : into->apps().all()) {
    names.push_back(app.displayName.substr(0, 20));
  }
  EXPECT_EQ(names, (std::vector<std::string>{"First", "Second", "Fourth"}));
}

TEST(SalvageSummaryTest, CountsAreSpelledForOneAndManyAndAPartialSalvageSaysSo) {
  SalvageReport one{true, true, 1, 1, 1, 3, 0, ""};
  EXPECT_EQ(salvageSummary(one),
            "Tovra salvaged what could still be read into the new store: 1 app, 1 keyword and 1 reading.");
  SalvageReport partly{true, false, 2, 0, 40, 42, 5, ""};
  EXPECT_EQ(salvageSummary(partly),
            "Tovra salvaged what could still be read into the new store: 2 apps, 0 keywords and 40 readings. Some "
            "records lay on damaged parts of the file and could not be read; they are still in the old file.");
}

struct LaunchCheckCase {
  std::string name;
  bool due;
  bool movedAside;
};

void PrintTo(const LaunchCheckCase& c, std::ostream* out) {
  *out << c.name;
}

class BootstrapLaunchCheckTest : public SalvageTest, public ::testing::WithParamInterface<LaunchCheckCase> {};

TEST_P(BootstrapLaunchCheckTest, ADamagedStoreIsFoundAtLaunchOnlyWhenACheckIsDue) {
  damageLeafOf("StoredObservation");
  const std::string damaged = bytesOf(file);
  SystemFileOperations files;
  asokit::VirtualClock clock{testing::utc(2025, 1, 14, 8, 30, 12)};
  StoreBootstrap bootstrap(temp.path(), files, clock.wall(), LocalTimeFormat("Europe/Berlin"),
                           StoreBootstrap::diskContainer());
  bootstrap.checkWhen([due = GetParam().due]() -> std::optional<CheckDepth> {
    return due ? std::optional(CheckDepth::quick) : std::nullopt;
  });

  const auto result = bootstrap.open();

  ASSERT_TRUE(result.container);
  if (!GetParam().movedAside) {
    EXPECT_FALSE(result.notice);
    return;
  }
  ASSERT_TRUE(result.notice && result.notice->recovered());
  const auto& recovered = *result.notice->recovered();
  EXPECT_EQ(recovered.folder, temp.path() / "Backups" / "Recovered-20250114-093012");
  EXPECT_EQ(bytesOf(recovered.folder / "default.store"), damaged);
  ASSERT_TRUE(recovered.salvaged);
  EXPECT_EQ(recovered.salvaged->apps, generated.apps);
  EXPECT_EQ(result.container->apps().count(), generated.apps);
  const auto alert = StoreLaunchAlert::from(*result.notice);
  EXPECT_NE(alert.informativeText.find(salvageSummary(*recovered.salvaged)), std::string::npos)
      << alert.informativeText;
  EXPECT_EQ(checkStoreFile(file, CheckDepth::full).verdict, StoreCheckResult::Verdict::sound);
}

INSTANTIATE_TEST_SUITE_P(Launch, BootstrapLaunchCheckTest,
                         ::testing::Values(LaunchCheckCase{"NotDue", false, false},
                                           LaunchCheckCase{"DueAfterAnUncleanExit", true, true}),
                         [](const ::testing::TestParamInfo<LaunchCheckCase>& info) { return info.param.name; });

TEST_F(SalvageTest, AStoreThatMetDamageInAReadRefusesEveryLaterChange) {
  damageLeafOf("StoredObservation");
  auto store = Store::open(file);
  ASSERT_FALSE(damageReported(*store)) << "opening reads only the schema";
  bool failed = false;
  for (std::int64_t keyword = 1; keyword <= generated.queries && !failed; ++keyword) {
    try {
      (void)store->observations().ofQuery(RecordId<TrackedQuery>{keyword});
    } catch (const StoreError& error) {
      EXPECT_EQ(error.kind(), StoreError::Kind::damaged) << error.description();
      failed = true;
    }
  }
  ASSERT_TRUE(failed) << "no keyword's readings lay on the damaged page";
  EXPECT_TRUE(damageReported(*store));
  try {
    Transaction change(*store);
    FAIL() << "a change was started in a damaged store";
  } catch (const StoreError& error) {
    EXPECT_EQ(error.kind(), StoreError::Kind::damaged);
  }
}

}  // namespace
}  // namespace tovra::store
