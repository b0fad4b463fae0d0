#include "app/store/table_columns.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Statement.h>
#include <gtest/gtest.h>

#include <ctime>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "app/store/export.h"
#include "app/store/store.h"
#include "fixtures.h"

// The description of each table against what reads and writes the table: the records' mappings must
// put every field into the column of its name, and the export must write every exported column under
// its key, with the column's value.
namespace tovra::store {
namespace {

using testing::utc;

const columns::Table& described(const std::string& name) {
  for (const auto& table : columns::kTables) {
    if (table.name == name) {
      return table;
    }
  }
  throw std::logic_error("no description of " + name);
}

// One record of every kind, every optional field present and every value distinct, each in row 1.
std::unique_ptr<Store> oneOfEach() {
  auto store = Store::inMemory();
  const auto app = store->apps().insert(TrackedApp{{},
                                                   "1000000001",
                                                   "Photo Lab",
                                                   "Lab Works",
                                                   "com.lab.photo",
                                                   "https://is1.example/a/512x512bb.jpg",
                                                   true,
                                                   utc(2025, 1, 2, 3, 4, 5)});
  store->localizations().insert(AppLocalization{{}, "de", "Fotolabor", "Lab Werke", utc(2025, 1, 3), app.rowId});
  const auto space = store->spaces().insert(ResearchSpace{{},
                                                          "6F9619FF-8B86-D011-B42D-00C04FC964FF",
                                                          "Travel ideas",
                                                          "for spring",
                                                          utc(2025, 1, 4),
                                                          "1000000002",
                                                          utc(2025, 1, 5)});
  TrackedQuery query{{}, "photo editor", "us", "carriedFromSearch", utc(2025, 1, 6), true, app.rowId, std::nullopt};
  query = store->queries().insert(query);
  store->queries().insert(
      TrackedQuery{{}, "hotel deals", "fr", "typedByUser", utc(2025, 1, 6, 1), false, std::nullopt, space.rowId});
  const auto reading = store->observations().insert(
      StoredObservation{{}, utc(2025, 1, 13, 23), utc(2025, 1, 14, 9), 4, 180, "run", query.rowId});
  const auto run =
      store->runs().insert(MeasurementRun{{}, utc(2025, 1, 14, 8), utc(2025, 1, 14, 9, 1), true, false, 3, 2});
  RunOutcome outcome{{}, "measured", "Measured at 09:00", run.rowId, query.rowId, reading.rowId};
  store->outcomes().insert(outcome);
  store->reviewMarks().insert(ReviewMark{{}, utc(2025, 1, 12, 23), utc(2025, 1, 15, 7), query.rowId});
  store->ladders().insertWithEntries(
      StoredLadder{{}, "photo editor", "us", utc(2025, 1, 14, 10), 7, 200, "discover"},
      {LadderEntry{{}, 1, "1000000003", "Rival", "Rival Inc", "https://is1.example/r/128x128bb.webp", 1200, 4.25, {}}});
  store->probes().insertWithHints(HintProbe{{}, "pho", "gb", utc(2025, 1, 14, 11), "hints", true},
                                  {StoreHint{{}, 2, "photo booth", 31, {}}});
  return store;
}

// What each record column of row 1 holds, as SQL's quote() writes it.
const std::map<std::string, std::map<std::string, std::string>> kStored{
    {"TrackedApp",
     {{"appStoreId", "'1000000001'"},
      {"displayName", "'Photo Lab'"},
      {"developer", "'Lab Works'"},
      {"bundleId", "'com.lab.photo'"},
      {"artworkUrl512", "'https://is1.example/a/512x512bb.jpg'"},
      {"isMine", "1"},
      {"addedAt", "1735787045000"}}},
    {"AppLocalization",
     {{"country", "'de'"},
      {"name", "'Fotolabor'"},
      {"developer", "'Lab Werke'"},
      {"fetchedAt", "1735862400000"},
      {"app", "1"}}},
    {"ResearchSpace",
     {{"id", "'6F9619FF-8B86-D011-B42D-00C04FC964FF'"},
      {"name", "'Travel ideas'"},
      {"note", "'for spring'"},
      {"createdAt", "1735948800000"},
      {"promotedToAppStoreId", "'1000000002'"},
      {"promotedAt", "1736035200000"}}},
    {"TrackedQuery",
     {{"keyword", "'photo editor'"},
      {"country", "'us'"},
      {"provenanceRaw", "'carriedFromSearch'"},
      {"addedAt", "1736121600000"},
      {"isPaused", "1"},
      {"app", "1"},
      {"space", "NULL"}}},
    {"StoredObservation",
     {{"day", "1736809200000"},
      {"measuredAt", "1736845200000"},
      {"rank", "4"},
      {"resultCount", "180"},
      {"source", "'run'"},
      {"query", "1"}}},
    {"MeasurementRun",
     {{"startedAt", "1736841600000"},
      {"finishedAt", "1736845260000"},
      {"halted", "1"},
      {"stopped", "0"},
      {"requestCount", "3"},
      {"queryCount", "2"}}},
    {"RunOutcome",
     {{"statusRaw", "'measured'"},
      {"message", "'Measured at 09:00'"},
      {"run", "1"},
      {"query", "1"},
      {"observation", "1"}}},
    {"ReviewMark", {{"day", "1736722800000"}, {"markedAt", "1736924400000"}, {"query", "1"}}},
    {"StoredLadder",
     {{"keyword", "'photo editor'"},
      {"country", "'us'"},
      {"fetchedAt", "1736848800000"},
      {"enrichedDepth", "7"},
      {"resultCount", "200"},
      {"source", "'discover'"}}},
    {"LadderEntry",
     {{"position", "1"},
      {"appStoreId", "'1000000003'"},
      {"name", "'Rival'"},
      {"developer", "'Rival Inc'"},
      {"iconUrl", "'https://is1.example/r/128x128bb.webp'"},
      {"ratingCount", "1200"},
      {"averageRating", "4.25"},
      {"ladder", "1"}}},
    {"HintProbe",
     {{"prefix", "'pho'"},
      {"country", "'gb'"},
      {"observedAt", "1736852400000"},
      {"source", "'hints'"},
      {"carriedPriority", "1"}}},
    {"StoreHint", {{"position", "2"}, {"term", "'photo booth'"}, {"priority", "31"}, {"probe", "1"}}},
};

TEST(TableColumnsTest, EveryRecordFieldLandsInTheColumnItsDescriptionNames) {
  auto store = oneOfEach();
  std::set<std::string> models;
  for (const auto& table : columns::kTables) {
    if (!table.model) {
      continue;
    }
    models.insert(std::string(table.name));
    const auto expected = kStored.find(std::string(table.name));
    ASSERT_NE(expected, kStored.end()) << table.name;
    std::set<std::string> described;
    for (const auto& column : table.columns) {
      if (!column.inRecord()) {
        continue;
      }
      described.insert(std::string(column.name));
      const auto value = expected->second.find(std::string(column.name));
      ASSERT_NE(value, expected->second.end()) << table.name << "." << column.name << " has no expected value";
      const auto stored = store->database()
                              .execAndGet("SELECT quote(" + std::string(column.name) + ") FROM " +
                                          std::string(table.name) + " WHERE pk = 1")
                              .getString();
      EXPECT_EQ(stored, value->second) << table.name << "." << column.name;
    }
    EXPECT_EQ(described.size(), expected->second.size()) << table.name << " has fields its description lacks";
  }
  EXPECT_EQ(models.size(), kStored.size());
}

std::string isoSeconds(std::int64_t millis) {
  const std::time_t seconds = millis / 1000;
  std::tm utcTime{};
  gmtime_r(&seconds, &utcTime);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utcTime);
  return text;
}

// Where the export writes each kind's record of row 1, and the keys it adds that are no column: the
// nested lists and what an outcome takes from its keyword.
struct ExportedCase {
  std::string table;
  std::string pointer;
  std::set<std::string> added;
};

const std::vector<ExportedCase> kExported{
    {"TrackedApp", "/apps/0", {"localizations", "queries"}},
    {"AppLocalization", "/apps/0/localizations/0", {}},
    {"TrackedQuery", "/apps/0/queries/0", {"observations", "reviewMarks"}},
    {"StoredObservation", "/apps/0/queries/0/observations/0", {}},
    {"ReviewMark", "/apps/0/queries/0/reviewMarks/0", {}},
    {"ResearchSpace", "/researchSpaces/0", {"queries"}},
    {"MeasurementRun", "/runs/0", {"outcomes"}},
    {"RunOutcome", "/runs/0/outcomes/0", {"keyword", "country", "appStoreId"}},
    {"StoredLadder", "/ladders/0", {"entries"}},
    {"LadderEntry", "/ladders/0/entries/0", {}},
    {"HintProbe", "/hintProbes/0", {"hints"}},
    {"StoreHint", "/hintProbes/0/hints/0", {}},
};

TEST(TableColumnsTest, TheExportWritesEveryExportedColumnUnderItsKeyWithItsValue) {
  auto store = oneOfEach();
  const auto exported = nlohmann::json::parse(exportStoreToString(*store, utc(2025, 2, 1)));
  std::set<std::string> covered;
  for (const auto& item : kExported) {
    SCOPED_TRACE(item.table);
    covered.insert(item.table);
    const auto& object = exported.at(nlohmann::json::json_pointer(item.pointer));
    std::set<std::string> keys;
    for (const auto& [key, value] : object.items()) {
      keys.insert(key);
    }
    auto expectedKeys = item.added;
    for (const auto& column : described(item.table).columns) {
      if (!column.exported()) {
        continue;
      }
      const std::string key(column.key());
      expectedKeys.insert(key);
      SQLite::Statement read(store->database(),
                             "SELECT " + std::string(column.name) + " FROM " + item.table + " WHERE pk = 1");
      ASSERT_TRUE(read.executeStep());
      const auto value = read.getColumn(0);
      const auto& written = object.value(key, nlohmann::json());
      if (value.isNull()) {
        EXPECT_TRUE(written.is_null()) << key;
      } else if (written.is_boolean()) {
        EXPECT_EQ(written.get<bool>(), value.getInt() != 0) << key;
      } else if (written.is_string() && value.isInteger()) {
        EXPECT_EQ(written.get<std::string>(), isoSeconds(value.getInt64())) << key << " is a time";
      } else if (written.is_string()) {
        EXPECT_EQ(written.get<std::string>(), value.getString()) << key;
      } else if (written.is_number_float()) {
        EXPECT_EQ(written.get<double>(), value.getDouble()) << key;
      } else {
        EXPECT_EQ(written, nlohmann::json(value.getInt64())) << key;
      }
    }
    EXPECT_EQ(keys, expectedKeys);
  }
  std::set<std::string> models;
  for (const auto& table : columns::kTables) {
    if (table.model) {
      models.insert(std::string(table.name));
    }
  }
  EXPECT_EQ(covered, models) << "every record kind is exported";
}

}  // namespace
}  // namespace tovra::store
