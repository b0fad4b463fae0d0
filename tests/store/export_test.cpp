#include "app/store/export.h"

#include <SQLiteCpp/Database.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "app/store/store.h"
#include "app/store/store_error.h"
#include "app/store/transaction.h"
#include "fixtures.h"
#include "temp_dir.h"

namespace tovra::store {
namespace {

namespace fs = std::filesystem;
using testing::makeApp;
using testing::makeQuery;
using testing::makeReading;
using testing::utc;

const WallTime kExportedAt = utc(2025, 1, 14, 9, 30, 12, 999);

std::string bytesOf(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

TEST(ExportTest, AnEmptyStoreIsTheTopLevelObjectWithFiveEmptyLists) {
  auto store = Store::inMemory();
  const std::string expected = std::string(R"({
  "apps": [],
  "exportedAt": "2025-01-14T09:30:12Z",
  "generatedBy": "Tovra )") + TOVRA_VERSION +
                               R"(",
  "hintProbes": [],
  "ladders": [],
  "note": "rank: null means the query was measured and the app was not inside the depth the App Store returned. It never means 0, and it never means the measurement failed — a failed measurement writes no observation at all.",
  "researchSpaces": [],
  "runs": []
}
)";
  EXPECT_EQ(exportStoreToString(*store, kExportedAt), expected);
}

class FilledExportTest : public ::testing::Test {
 protected:
  void SetUp() override {
    auto app = makeApp("1000000001");
    app.artworkUrl512 = "https://is1-ssl.mzstatic.com/image/thumb/a/b/512x512bb.jpg";
    app.rowId = store->apps().insert(app).rowId;
    // Inserted out of order, so the export's own sorting shows.
    const auto zebra = store->queries().insert(makeQuery("zebra", "us", app.rowId));
    const auto photo = store->queries().insert(makeQuery("photo editor", "us", app.rowId));
    store->observations().insert(makeReading(photo.rowId, utc(2025, 1, 13, 23), std::nullopt));
    store->observations().insert(makeReading(photo.rowId, utc(2025, 1, 12, 23), 3));
    store->observations().insert(makeReading(zebra.rowId, utc(2025, 1, 12, 23), 1));

    const auto run =
        store->runs().insert(MeasurementRun{{}, utc(2025, 1, 14, 9), utc(2025, 1, 14, 9, 2), true, false, 4, 3});
    RunOutcome kept;
    kept.setStatus(RunOutcomeStatus::failed);
    kept.message = "HTTP 503 — https://search.example/x";
    kept.run = run.rowId;
    kept.query = photo.rowId;
    store->outcomes().insert(kept);
    const auto doomed = store->queries().insert(makeQuery("doomed", "de", app.rowId));
    RunOutcome lost;
    lost.setStatus(RunOutcomeStatus::skipped);
    lost.run = run.rowId;
    lost.query = doomed.rowId;
    store->outcomes().insert(lost);
    store->queries().remove(doomed.rowId);

    const auto space = store->spaces().insert(testing::makeSpace("0E984725-C51C-4BF4-9960-E1C80E27ABA0"));
    const auto parked = store->queries().insert(testing::makeParkedQuery("hotel", "fr", space.rowId));
    RunOutcome parkedOutcome;
    parkedOutcome.setStatus(RunOutcomeStatus::skipped);
    parkedOutcome.run = run.rowId;
    parkedOutcome.query = parked.rowId;
    store->outcomes().insert(parkedOutcome);

    store->ladders().insertWithEntries(
        StoredLadder{{}, "photo editor", "us", utc(2025, 1, 14, 9, 5), 1, 200, "discover"},
        {LadderEntry{{}, 2, "2", "Second", "Dev/Two", "https://x/100x100bb.png", std::nullopt, std::nullopt, {}},
         LadderEntry{{}, 1, "1", "First", "Dev", std::nullopt, 1500, 4.0, {}}});
    store->probes().insertWithHints(HintProbe{{}, "pho", "us", utc(2025, 1, 14, 9, 6), "hints", false},
                                    {StoreHint{{}, 1, "photo editor", std::nullopt, {}}});
    text = exportStoreToString(*store, kExportedAt);
    json = nlohmann::json::parse(text);
  }

  std::unique_ptr<Store> store = Store::inMemory();
  std::string text;
  nlohmann::json json;
};

TEST_F(FilledExportTest, KeysAreSortedAtEveryLevelAndTheLayoutIsThePrettyPrintedOne) {
  // The library's objects are sorted maps: re-encoding the parsed file gives back the same bytes only
  // when every object was written with sorted keys in the standard pretty layout.
  EXPECT_EQ(text, json.dump(2) + "\n");
}

TEST_F(FilledExportTest, SlashesAreNotEscaped) {
  EXPECT_NE(text.find(R"("artworkUrl512": "https://is1-ssl.mzstatic.com/image/thumb/a/b/512x512bb.jpg")"),
            std::string::npos);
  EXPECT_NE(text.find(R"("developer": "Dev/Two")"), std::string::npos);
  EXPECT_EQ(text.find("\\/"), std::string::npos);
}

TEST_F(FilledExportTest, AnUnknownRankIsNullNeverZero) {
  const auto& observations = json["apps"][0]["queries"][0]["observations"];
  ASSERT_EQ(json["apps"][0]["queries"][0]["keyword"], "photo editor");
  ASSERT_EQ(observations.size(), 2u);
  EXPECT_EQ(observations[0]["rank"], 3);
  EXPECT_TRUE(observations[1].contains("rank"));
  EXPECT_TRUE(observations[1]["rank"].is_null());
  EXPECT_NE(text.find("\"rank\": null"), std::string::npos);
}

TEST_F(FilledExportTest, DaysAreTheInstantOfLocalMidnightInWholeSeconds) {
  const auto& observation = json["apps"][0]["queries"][0]["observations"][1];
  EXPECT_EQ(observation["day"], "2025-01-13T23:00:00Z");
  EXPECT_EQ(observation["measuredAt"], "2025-01-14T09:00:00Z");
  EXPECT_EQ(json["exportedAt"], "2025-01-14T09:30:12Z") << "milliseconds are dropped, not rounded up";
}

TEST_F(FilledExportTest, ATimeBeyondWhatTheClockHoldsReadsAsItsNearestEndNotAsAFailedRead) {
  // Only a garbled or foreign file holds such values; the rest of the store must still read.
  store->database().exec("UPDATE StoredObservation SET measuredAt = -9223372036854775807");
  store->database().exec("UPDATE MeasurementRun SET startedAt = 9223372036854775807");
  const auto garbled = nlohmann::json::parse(exportStoreToString(*store, kExportedAt));
  EXPECT_EQ(garbled["apps"][0]["queries"][0]["observations"][0]["measuredAt"], "1677-09-21T00:12:43Z");
  EXPECT_EQ(garbled["apps"][0]["queries"][0]["observations"][0]["rank"], 3);
  EXPECT_EQ(garbled["runs"][0]["startedAt"], "2262-04-11T23:47:16Z");
}

TEST_F(FilledExportTest, AnOutcomeThatLostItsKeywordHasNullKeywordCountryAndApp) {
  const auto& outcomes = json["runs"][0]["outcomes"];
  ASSERT_EQ(outcomes.size(), 3u);
  EXPECT_EQ(outcomes[0], (nlohmann::json{{"appStoreId", "1000000001"},
                                         {"country", "us"},
                                         {"keyword", "photo editor"},
                                         {"message", "HTTP 503 — https://search.example/x"},
                                         {"status", "failed"}}));
  EXPECT_EQ(outcomes[1], (nlohmann::json{{"appStoreId", nullptr},
                                         {"country", nullptr},
                                         {"keyword", nullptr},
                                         {"message", nullptr},
                                         {"status", "skipped"}}));
  EXPECT_EQ(outcomes[2]["keyword"], "hotel");
  EXPECT_TRUE(outcomes[2]["appStoreId"].is_null()) << "a parked keyword has no app";
}

TEST_F(FilledExportTest, AbsentOptionalsAreWrittenAsNull) {
  const auto& app = json["apps"][0];
  EXPECT_TRUE(app.contains("bundleId") && app["bundleId"].is_null());
  const auto& space = json["researchSpaces"][0];
  EXPECT_EQ(space["id"], "0E984725-C51C-4BF4-9960-E1C80E27ABA0");
  for (const auto* key : {"note", "promotedAt", "promotedToAppStoreId"}) {
    EXPECT_TRUE(space.contains(key) && space[key].is_null()) << key;
  }
  EXPECT_TRUE(json["hintProbes"][0]["hints"][0]["priority"].is_null());
  EXPECT_TRUE(json["ladders"][0]["entries"][1]["ratingCount"].is_null());
}

TEST_F(FilledExportTest, NestedListsAreSortedAndTheIconAddressIsLeftOut) {
  const auto& queries = json["apps"][0]["queries"];
  ASSERT_EQ(queries.size(), 2u);
  EXPECT_EQ(queries[1]["keyword"], "zebra");
  const auto& entries = json["ladders"][0]["entries"];
  EXPECT_EQ(entries[0]["position"], 1);
  EXPECT_EQ(entries[0]["averageRating"], 4.0);
  EXPECT_NE(text.find("\"averageRating\": 4.0"), std::string::npos);
  EXPECT_FALSE(entries[1].contains("iconUrl"));
  EXPECT_EQ(json["researchSpaces"][0]["queries"][0]["provenance"], "typedByUser");
}

TEST(ExportTextTest, ControlCharactersAreEscapedAndBrokenBytesReplaced) {
  auto store = Store::inMemory();
  auto app = makeApp("1", std::string("Tab\there \"quoted\" \\ \x01 ünïcödé ") + "\xff");
  store->apps().insert(app);
  const std::string text = exportStoreToString(*store, kExportedAt);
  EXPECT_NE(text.find(R"("displayName": "Tab\there \"quoted\" \\ \u0001 ünïcödé )"
                      "\xEF\xBF\xBD"
                      "\""),
            std::string::npos)
      << text;
}

TEST(ExportNameTest, TheProposedNameUsesTheLocalDate) {
  // 23:30 UTC on 13 January is already the 14th in Berlin.
  EXPECT_EQ(proposedExportFileName(utc(2025, 1, 13, 23, 30), LocalTimeFormat("Europe/Berlin")),
            "tovra-export-2025-01-14.json");
  EXPECT_EQ(proposedExportFileName(utc(2025, 1, 13, 23, 30), LocalTimeFormat("America/New_York")),
            "tovra-export-2025-01-13.json");
}

TEST(ExportNameTest, AFurtherExportOfTheDayIsNumberedBeforeTheExtension) {
  EXPECT_EQ(numberedExportFileName("tovra-export-2025-01-14.json", 1), "tovra-export-2025-01-14.json");
  EXPECT_EQ(numberedExportFileName("tovra-export-2025-01-14.json", 2), "tovra-export-2025-01-14-2.json");
  EXPECT_EQ(numberedExportFileName("tovra-export-2025-01-14.json", 12), "tovra-export-2025-01-14-12.json");
}

class ExportFileTest : public ::testing::Test {
 protected:
  testing::TempDir dir;
  std::unique_ptr<Store> store = Store::inMemory();

  std::vector<std::string> namesInDir() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir.path())) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
};

TEST_F(ExportFileTest, WritesTheWholeFileAndLeavesNoTemporaryBehind) {
  store->apps().insert(makeApp("1"));
  const fs::path target = dir.path() / "tovra-export-2025-01-14.json";
  exportStoreToFile(*store, kExportedAt, target);
  EXPECT_EQ(bytesOf(target), exportStoreToString(*store, kExportedAt));
  EXPECT_EQ(namesInDir(), std::vector<std::string>{"tovra-export-2025-01-14.json"});
}

TEST_F(ExportFileTest, KeepingExistingFilesNeverReplacesOneAndLeavesNoTemporaryBehind) {
  store->apps().insert(makeApp("1"));
  const fs::path target = dir.path() / "export.json";
  std::ofstream(target) << "another program's file";
  EXPECT_THROW(exportStoreToFile(*store, kExportedAt, target, ExistingFile::keep), ExportNameTaken);
  EXPECT_EQ(bytesOf(target), "another program's file");
  EXPECT_EQ(namesInDir(), std::vector<std::string>{"export.json"});

  const fs::path free = dir.path() / "export-2.json";
  exportStoreToFile(*store, kExportedAt, free, ExistingFile::keep);
  EXPECT_EQ(bytesOf(free), exportStoreToString(*store, kExportedAt));
}

TEST_F(ExportFileTest, AFailedWriteKeepsTheEarlierFileAndLeavesNoHalfFile) {
  const auto app = store->apps().insert(makeApp("1"));
  const auto query = store->queries().insert(makeQuery("maps", "us", app.rowId));
  for (int day = 1; day <= 28; ++day) {
    store->observations().insert(makeReading(query.rowId, utc(2025, 2, day), day));
  }
  const fs::path target = dir.path() / "export.json";
  std::ofstream(target) << "the earlier export";

  // A file size limit makes writes fail part-way, as a full disk does.
  struct rlimit before {};
  getrlimit(RLIMIT_FSIZE, &before);
  const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
  struct rlimit limited = before;
  limited.rlim_cur = 2000;
  setrlimit(RLIMIT_FSIZE, &limited);
  std::optional<StoreError> failure;
  try {
    exportStoreToFile(*store, kExportedAt, target);
  } catch (const StoreError& error) {
    failure = error;
  }
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, previousHandler);

  ASSERT_TRUE(failure) << "the export reported success";
  EXPECT_NE(failure->description().find("could not be written"), std::string::npos) << failure->description();
  EXPECT_EQ(bytesOf(target), "the earlier export");
  EXPECT_EQ(namesInDir(), std::vector<std::string>{"export.json"});
}

TEST(ExportSnapshotTest, ARunWrittenByAnotherProcessDuringTheExportIsNotInTheFile) {
  testing::TempDir dir;
  const auto file = dir.path() / "default.store";
  auto store = Store::open(file);
  {
    // Enough readings that the file goes out in several pieces before the runs are read.
    Transaction bulk(*store);
    const auto app = store->apps().insert(makeApp("1"));
    const auto query = store->queries().insert(makeQuery("maps", "us", app.rowId));
    for (int day = 0; day < 8000; ++day) {
      store->observations().insert(makeReading(query.rowId, utc(2000, 1, 1) + std::chrono::days{day}, day % 50 + 1));
    }
    bulk.commit();
  }
  auto otherProcess = Store::open(file);
  int pieces = 0;
  std::string text;
  exportStore(*store, kExportedAt, [&](std::string_view piece) {
    if (pieces++ == 0) {
      otherProcess->runs().insert(MeasurementRun{{}, utc(2025, 1, 14, 9), utc(2025, 1, 14, 9, 2), false, false, 1, 1});
    }
    text.append(piece);
  });
  ASSERT_GT(pieces, 1);
  EXPECT_EQ(otherProcess->runs().count(), 1);
  const auto whole = nlohmann::json::parse(text);
  EXPECT_TRUE(whole["runs"].empty()) << "one snapshot for the whole file";
  EXPECT_EQ(whole["apps"][0]["queries"][0]["observations"].size(), 8000u);
}

TEST_F(ExportFileTest, AFolderAsTargetIsRefusedInWords) {
  EXPECT_THROW(exportStoreToFile(*store, kExportedAt, dir.path()), StoreError);
}

TEST_F(ExportFileTest, AMissingFolderIsRefusedInWords) {
  try {
    exportStoreToFile(*store, kExportedAt, dir.path() / "missing" / "x.json");
    FAIL();
  } catch (const StoreError& error) {
    EXPECT_NE(error.description().find("could not be written"), std::string::npos) << error.description();
  }
}

}  // namespace
}  // namespace tovra::store
