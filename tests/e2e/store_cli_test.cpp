// The store commands as the user runs them: what the store holds, the export file, and a store that
// cannot be opened being moved aside (never deleted) with the user told where it went.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tests/e2e/harness.h"

namespace {

using nlohmann::json;
using ::testing::HasSubstr;
using tovra::e2e::describe;
using tovra::e2e::Harness;
using tovra::e2e::readAll;
using tovra::e2e::RunResult;
namespace fs = std::filesystem;

class StoreCliTest : public ::testing::Test {
 protected:
  Harness h{json{{"apps", {{"1000000001", {{"name", "Photo Lab"}, {"developer", "Lab Works"}}}}},
                 {"search", {{"us", {{"photo lab", {"1000000001"}}}}}}}};
};

TEST_F(StoreCliTest, StoreCountsWhatIsTrackedAndExportWritesTheWholeStore) {
  ASSERT_EQ(h.run({"app", "add", "1000000001", "--country", "us"}).exitCode, 0);
  ASSERT_EQ(h.run({"keywords", "add", "1000000001", "--country", "us", "photo lab"}).exitCode, 0);

  const auto store = h.run({"--json", "store"});
  ASSERT_EQ(store.exitCode, 0) << describe(store);
  const auto answer = json::parse(store.out);
  ASSERT_EQ(answer["rows"].size(), 12u);
  EXPECT_EQ(answer["rows"][0]["count"], 1);  // the app
  const auto human = h.run({"store"});
  EXPECT_THAT(human.out, ::testing::MatchesRegex("[0-9]+ KB on disk · 1 app · 1 keyword\n\n(.|\n)*"));
  EXPECT_THAT(human.out, HasSubstr("daily ranks"));

  const auto target = h.directory() / "out.json";
  const auto exported = h.run({"export", "-o", target.string()});
  ASSERT_EQ(exported.exitCode, 0) << describe(exported);
  EXPECT_EQ(exported.out, target.string() + "\n");
  const auto bytes = readAll(target);
  const auto whole = json::parse(bytes);
  EXPECT_EQ(whole["apps"].size(), 1u);
  EXPECT_EQ(whole["apps"][0]["displayName"], "Photo Lab");
  EXPECT_EQ(whole["apps"][0]["queries"][0]["keyword"], "photo lab");
  EXPECT_EQ(bytes.find("\\/"), std::string::npos);  // slashes are not escaped

  // Into a folder: the proposed name, dated.
  const auto intoFolder = h.run({"export", "-o", h.directory().string()});
  ASSERT_EQ(intoFolder.exitCode, 0) << describe(intoFolder);
  EXPECT_THAT(intoFolder.out, ::testing::MatchesRegex(".*/tovra-export-[0-9]{4}-[0-9]{2}-[0-9]{2}\\.json\n"));
}

// The export's two texts, shown beside the action: it is local only, and why it is JSON.
TEST_F(StoreCliTest, TheExportsHelpSaysItIsLocalAndWhyItIsJson) {
  const auto r = h.run({"export", "--help"});
  ASSERT_EQ(r.exitCode, 0) << describe(r);
  EXPECT_THAT(r.out, HasSubstr("Tovra writes the whole store as JSON. Nothing is requested from the App Store to "
                               "produce this file."));
  EXPECT_THAT(r.out, HasSubstr("JSON, not CSV: an unknown rank stays null — a spreadsheet would read an empty cell "
                               "as 0. rank: null means the query was measured and the app was not inside the depth "
                               "the App Store returned. It never means 0, and it never means the measurement failed "
                               "— a failed measurement writes no observation at all."));
  EXPECT_TRUE(h.requests().empty());
  EXPECT_FALSE(fs::exists(h.dataDir() / "default.store")) << "help opens no store";
}

TEST_F(StoreCliTest, AnExportThatCannotBeWrittenLeavesNoFileAndSaysWhy) {
  const auto target = h.directory() / "missing-folder" / "out.json";
  const auto r = h.run({"export", "-o", target.string()});
  EXPECT_EQ(r.exitCode, 1) << describe(r);
  EXPECT_FALSE(r.err.empty());
  EXPECT_FALSE(fs::exists(target));
}

TEST_F(StoreCliTest, AnUnreadableStoreIsMovedAsideAndTheCommandGoesOn) {
  fs::create_directories(h.dataDir());
  {
    std::ofstream garbage(h.dataDir() / "default.store", std::ios::binary);
    garbage << std::string(8192, 'x');
  }
  const auto r = h.run({"app", "list"});
  ASSERT_EQ(r.exitCode, 0) << describe(r);
  EXPECT_THAT(r.err, HasSubstr("Tovra could not open its data."));
  EXPECT_THAT(r.err, ::testing::Not(HasSubstr("Show in File Manager")));
  std::vector<fs::path> kept;
  for (const auto& entry : fs::recursive_directory_iterator(h.dataDir() / "Backups")) {
    // A copy is also taken before a store without a marker is opened; the recovered one is what moved.
    if (entry.path().filename() == "default.store" &&
        entry.path().parent_path().filename().string().rfind("Recovered-", 0) == 0) {
      kept.push_back(entry.path());
    }
  }
  ASSERT_EQ(kept.size(), 1u);
  EXPECT_EQ(readAll(kept[0]), std::string(8192, 'x'));  // the user's bytes, untouched
  EXPECT_THAT(r.err, HasSubstr(kept[0].parent_path().string()));

  // The next command opens the fresh store quietly.
  const auto again = h.run({"app", "list"});
  EXPECT_EQ(again.exitCode, 0) << describe(again);
  EXPECT_TRUE(again.err.empty()) << describe(again);
}

}  // namespace
