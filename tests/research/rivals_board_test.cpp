#include "app/research/rivals_board.h"

#include <gtest/gtest.h>

#include "app/store/ladder_writer.h"
#include "app/store/store.h"

namespace tovra::research {
namespace {

using namespace std::chrono_literals;

store::SavedLadder ladder(const std::vector<std::string>& ids, int hour) {
  store::SavedLadder saved;
  saved.ladder.keyword = "photo editor";
  saved.ladder.country = "us";
  saved.ladder.fetchedAt = asokit::WallTime{} + std::chrono::hours(hour);
  saved.ladder.resultCount = static_cast<std::int64_t>(ids.size());
  for (std::size_t i = 0; i < ids.size(); ++i) {
    store::LadderEntry entry;
    entry.position = static_cast<std::int64_t>(i) + 1;
    entry.appStoreId = ids[i];
    entry.name = "App " + ids[i];
    saved.entries.push_back(entry);
  }
  return saved;
}

store::TrackedApp tracked(const std::string& id, bool mine) {
  store::TrackedApp app;
  app.appStoreId = id;
  app.displayName = "App " + id;
  app.isMine = mine;
  return app;
}

std::vector<std::string> depthOf(int count, const std::string& prefix) {
  std::vector<std::string> ids;
  for (int i = 1; i <= count; ++i) {
    ids.push_back(prefix + std::to_string(i));
  }
  return ids;
}

struct OvertakeCase {
  std::string name;
  std::vector<std::string> previous;  // empty: no previous saved search
  std::vector<std::string> current;
  std::vector<std::string> tracked;
  std::vector<std::string> overtakes;
};

class RivalsOvertakes : public ::testing::TestWithParam<OvertakeCase> {};

TEST_P(RivalsOvertakes, NamesWhoMovedAboveWhomSinceThePreviousSavedSearch) {
  const auto& c = GetParam();
  std::vector<store::SavedLadder> newestFirst{ladder(c.current, 2)};
  if (!c.previous.empty()) {
    newestFirst.push_back(ladder(c.previous, 1));
  }
  std::vector<store::TrackedApp> apps;
  for (const auto& id : c.tracked) {
    apps.push_back(tracked(id, false));
  }
  const auto board = rivalsBoard(newestFirst, apps);
  ASSERT_EQ(board.searches.size(), newestFirst.size());
  std::vector<std::string> lines;
  for (const auto& overtake : board.searches.front().overtakes) {
    lines.push_back(overtakeText(overtake));
  }
  EXPECT_EQ(lines, c.overtakes);
  if (board.searches.size() == 2) {
    EXPECT_TRUE(board.searches.back().overtakes.empty()) << "the oldest saved search has nothing before it";
  }
}

std::vector<std::string> deepSwap() {
  auto ids = depthOf(40, "x");
  std::swap(ids[33], ids[34]);
  return ids;
}

INSTANTIATE_TEST_SUITE_P(
    Ladders, RivalsOvertakes,
    ::testing::Values(OvertakeCase{"firstSavedSearch", {}, {"a", "b"}, {}, {}},
                      OvertakeCase{"sameOrder", {"a", "b", "c"}, {"a", "b", "c"}, {}, {}},
                      OvertakeCase{
                          "swap", {"a", "b", "c"}, {"b", "a", "c"}, {}, {"App b (2 → 1) overtook App a (1 → 2)"}},
                      OvertakeCase{"climbPastTwo",
                                   {"a", "b", "c"},
                                   {"c", "a", "b"},
                                   {},
                                   {"App c (3 → 1) overtook App a (1 → 2)", "App c (3 → 1) overtook App b (2 → 3)"}},
                      // A newcomer pushing everyone down overtook nobody: it was not there to pass them.
                      OvertakeCase{"newcomer", {"a", "b"}, {"n", "a", "b"}, {}, {}},
                      OvertakeCase{"leaverLetsOthersUpWithoutOvertaking", {"a", "b", "c"}, {"b", "c"}, {}, {}},
                      OvertakeCase{"deepReshuffleIsLeftOut", depthOf(40, "x"), deepSwap(), {}, {}},
                      OvertakeCase{"deepReshuffleAroundATrackedAppIsKept",
                                   depthOf(40, "x"),
                                   deepSwap(),
                                   {"x35"},
                                   {"App x35 (35 → 34) overtook App x34 (34 → 35)"}}),
    [](const auto& info) { return info.param.name; });

TEST(RivalsBoard, RowsCarryTheirMovementAndStandingsPlaceTrackedAppsYoursFirst) {
  const std::vector<store::SavedLadder> newestFirst{ladder({"b", "a", "n"}, 2), ladder({"a", "b", "c", "m"}, 1)};
  const auto board = rivalsBoard(newestFirst, {tracked("c", false), tracked("m", false), tracked("a", true)});
  const auto& newest = board.searches.front();
  std::vector<std::string> moves;
  for (const auto& row : newest.rows) {
    moves.push_back(movementText(row, newest.hasPrevious));
  }
  EXPECT_EQ(moves, (std::vector<std::string>{"▲ 1", "▼ 1", "new"}));
  EXPECT_TRUE(newest.rows[1].mine);
  EXPECT_FALSE(newest.rows[0].tracked);

  std::vector<std::string> standings;
  for (const auto& standing : newest.standings) {
    standings.push_back(standingText(standing, newest.ladder.resultCount));
  }
  EXPECT_EQ(standings,
            (std::vector<std::string>{"App a · 2 (was 1)", "App c · not in the top 3", "App m · not in the top 3"}));
  EXPECT_EQ(movementText(board.searches.back().rows.front(), board.searches.back().hasPrevious), "—");
}

TEST(RivalsBoard, ReadsTheSavedSearchesOfAKeywordByItsKeyAndTheAppsTrackingIt) {
  auto store = store::Store::inMemory();
  const auto mine = store->apps().insert({{}, "a", "App a", "Dev", {}, {}, true, asokit::WallTime{}});
  const auto rival = store->apps().insert({{}, "c", "App c", "Dev", {}, {}, false, asokit::WallTime{}});
  store->apps().insert({{}, "z", "App z", "Dev", {}, {}, false, asokit::WallTime{}});
  store->queries().insert({{}, "Photo Editor", "us", "typedByUser", asokit::WallTime{}, false, rival.rowId, {}});
  store->queries().insert({{}, "photo editor", "de", "typedByUser", asokit::WallTime{}, false, mine.rowId, {}});
  store::LadderWriter writer(*store);
  const auto write = [&](const std::vector<std::string>& ids, int hour) {
    store::LadderReading reading{"photo  editor",
                                 "US",
                                 {},
                                 static_cast<std::int64_t>(ids.size()),
                                 0,
                                 "rivals",
                                 asokit::WallTime{} + std::chrono::hours(hour)};
    for (std::size_t i = 0; i < ids.size(); ++i) {
      reading.apps.push_back({ids[i], static_cast<std::int64_t>(i) + 1, "App " + ids[i], "Dev"});
    }
    writer.write(reading);
  };
  write({"a", "c"}, 1);
  write({"c", "a"}, 3);

  const auto board = readRivalsBoard(*store, "PHOTO EDITOR", "us");
  ASSERT_EQ(board.searches.size(), 2u);
  ASSERT_EQ(board.searches.front().overtakes.size(), 1u);
  EXPECT_EQ(overtakeText(board.searches.front().overtakes.front()), "App c (2 → 1) overtook App a (1 → 2)");
  std::vector<std::string> standing;
  for (const auto& s : board.searches.front().standings) {
    standing.push_back(s.app.appStoreId);
  }
  EXPECT_EQ(standing, (std::vector<std::string>{"a", "c"})) << "yours, and the apps tracking the keyword here";

  const auto keywords = rivalKeywords(*store);
  std::vector<std::string> labels;
  for (const auto& keyword : keywords) {
    labels.push_back(rivalKeywordLabel(keyword));
  }
  EXPECT_EQ(labels, (std::vector<std::string>{"photo editor · DE · 0 saved searches · 1 tracked app",
                                              "photo editor · US · 2 saved searches · 1 tracked app"}));
}

}  // namespace
}  // namespace tovra::research
