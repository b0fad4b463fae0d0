#include "app/research/rivals_board.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <unordered_map>

#include "app/base/keyword_key.h"
#include "app/research/keyword_difficulty.h"
#include "app/store/ladder_writer.h"
#include "app/store/store.h"
#include "app/store/transaction.h"

namespace tovra::research {
namespace {

constexpr std::string_view kJoin = " · ";

bool worthAnOvertake(const BoardRow& winner, const BoardRow& loser) {
  return winner.tracked || loser.tracked ||
         (winner.entry.position <= kOvertakeDepth && loser.entry.position <= kOvertakeDepth);
}

}  // namespace

RivalsBoard rivalsBoard(const std::vector<store::SavedLadder>& newestFirst,
                        const std::vector<store::TrackedApp>& trackedApps) {
  std::unordered_map<std::string, const store::TrackedApp*> tracked;
  for (const auto& app : trackedApps) {
    tracked.emplace(app.appStoreId, &app);
  }
  RivalsBoard board;
  for (std::size_t i = 0; i < newestFirst.size(); ++i) {
    const auto& saved = newestFirst[i];
    BoardSearch search;
    search.ladder = saved.ladder;
    search.hasPrevious = i + 1 < newestFirst.size();
    std::unordered_map<std::string, std::int64_t> previous;
    if (search.hasPrevious) {
      for (const auto& entry : newestFirst[i + 1].entries) {
        previous.try_emplace(entry.appStoreId, entry.position);
      }
    }
    for (const auto& entry : saved.entries) {
      BoardRow row{entry, std::nullopt, false, false};
      if (const auto was = previous.find(entry.appStoreId); was != previous.end()) {
        row.previousPosition = was->second;
      }
      if (const auto app = tracked.find(entry.appStoreId); app != tracked.end()) {
        row.tracked = true;
        row.mine = app->second->isMine;
      }
      search.rows.push_back(std::move(row));
    }
    std::stable_sort(search.rows.begin(), search.rows.end(),
                     [](const BoardRow& a, const BoardRow& b) { return a.entry.position < b.entry.position; });

    // Rows are by position, so each winner is looked for among the rows below it.
    for (std::size_t w = 0; w < search.rows.size(); ++w) {
      const auto& winner = search.rows[w];
      if (!winner.previousPosition) {
        continue;
      }
      for (std::size_t l = w + 1; l < search.rows.size(); ++l) {
        const auto& loser = search.rows[l];
        if (loser.previousPosition && *loser.previousPosition < *winner.previousPosition &&
            loser.entry.position > winner.entry.position && worthAnOvertake(winner, loser)) {
          search.overtakes.push_back(Overtake{winner, loser});
        }
      }
    }

    std::unordered_map<std::string, std::int64_t> positions;
    for (const auto& row : search.rows) {
      positions.try_emplace(row.entry.appStoreId, row.entry.position);
    }
    for (const auto& app : trackedApps) {
      Standing standing{app, std::nullopt, std::nullopt};
      if (const auto at = positions.find(app.appStoreId); at != positions.end()) {
        standing.position = at->second;
      }
      if (const auto was = previous.find(app.appStoreId); was != previous.end()) {
        standing.previousPosition = was->second;
      }
      search.standings.push_back(std::move(standing));
    }
    std::stable_sort(search.standings.begin(), search.standings.end(), [](const Standing& a, const Standing& b) {
      return a.app.isMine != b.app.isMine ? a.app.isMine : a.app.displayName < b.app.displayName;
    });
    board.searches.push_back(std::move(search));
  }
  return board;
}

RivalsBoard readRivalsBoard(store::Store& store, std::string_view keyword, std::string_view country) {
  const store::Transaction snapshot(store, store::Transaction::Mode::read);
  std::vector<store::SavedLadder> saved;
  for (auto& ladder : store::LadderWriter(store).savedFor(keyword, country)) {
    auto entries = store.ladderEntries().ofLadder(ladder.rowId);
    saved.push_back(store::SavedLadder{std::move(ladder), std::move(entries)});
  }
  // Standings name the apps that track this keyword here, and every app marked as yours.
  const auto key = base::keywordKey(keyword);
  const auto code = base::normalizedCountry(country);
  std::vector<store::TrackedApp> apps;
  for (const auto& app : store.apps().all()) {
    const auto queries = store.queries().ofApp(app.rowId);
    const bool here = std::any_of(queries.begin(), queries.end(), [&](const store::TrackedQuery& query) {
      return query.country == code && base::keywordKey(query.keyword) == key;
    });
    if (here || app.isMine) {
      apps.push_back(app);
    }
  }
  return rivalsBoard(saved, apps);
}

std::vector<RivalKeyword> rivalKeywords(store::Store& store) {
  const store::Transaction snapshot(store, store::Transaction::Mode::read);
  std::map<std::string, RivalKeyword> byKey;
  const auto keyOf = [](const std::string& keyword, const std::string& country) {
    return base::keywordKey(keyword) + "|" + base::normalizedCountry(country);
  };
  // all() lists saved searches oldest first, so the newest one's spelling wins.
  for (const auto& ladder : store.ladders().all()) {
    auto& entry = byKey[keyOf(ladder.keyword, ladder.country)];
    entry.keyword = ladder.keyword;
    entry.country = base::normalizedCountry(ladder.country);
    ++entry.savedSearches;
  }
  for (const auto& query : store.queries().all()) {
    if (!query.app) {
      continue;
    }
    auto& entry = byKey[keyOf(query.keyword, query.country)];
    if (entry.keyword.empty()) {
      entry.keyword = query.keyword;
      entry.country = base::normalizedCountry(query.country);
    }
    ++entry.trackedApps;
  }
  std::vector<RivalKeyword> keywords;
  keywords.reserve(byKey.size());
  for (auto& [key, entry] : byKey) {
    keywords.push_back(std::move(entry));
  }
  return keywords;
}

std::string movementText(const BoardRow& row, bool hasPrevious) {
  if (!hasPrevious) {
    return "—";
  }
  if (!row.previousPosition) {
    return std::string(rivalsText::kNew);
  }
  const auto moved = *row.previousPosition - row.entry.position;
  if (moved == 0) {
    return std::string(rivalsText::kHeld);
  }
  return fmt::format("{} {}", moved > 0 ? "▲" : "▼", moved > 0 ? moved : -moved);
}

std::string overtakeText(const Overtake& overtake) {
  return fmt::format("{} ({} → {}) overtook {} ({} → {})", overtake.winner.entry.name,
                     *overtake.winner.previousPosition, overtake.winner.entry.position, overtake.loser.entry.name,
                     *overtake.loser.previousPosition, overtake.loser.entry.position);
}

std::string standingText(const Standing& standing, std::int64_t resultCount) {
  auto text = standing.app.displayName + std::string(kJoin);
  if (!standing.position) {
    return text + fmt::format("not in the top {}", resultCount);
  }
  text += std::to_string(*standing.position);
  if (standing.previousPosition && *standing.previousPosition != *standing.position) {
    text += fmt::format(" (was {})", *standing.previousPosition);
  }
  return text;
}

std::string savedSearchLabel(const store::StoredLadder& ladder, std::string_view time) {
  return fmt::format("{}{}{} {}", time, kJoin, ladder.resultCount, ladder.resultCount == 1 ? "result" : "results");
}

std::string positionLine(const BoardRow& row, std::int64_t resultCount) {
  return fmt::format("Position {} of {}{}App Store id {}", row.entry.position, resultCount, kJoin,
                     row.entry.appStoreId);
}

std::string rivalKeywordLabel(const RivalKeyword& keyword) {
  auto country = keyword.country;
  std::transform(country.begin(), country.end(), country.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return fmt::format("{}{}{}{}{} {}{}{} {}", keyword.keyword, kJoin, country, kJoin, keyword.savedSearches,
                     keyword.savedSearches == 1 ? "saved search" : "saved searches", kJoin, keyword.trackedApps,
                     keyword.trackedApps == 1 ? "tracked app" : "tracked apps");
}

std::string ratingText(const store::LadderEntry& entry) {
  if (!entry.averageRating || !entry.ratingCount) {
    return "—";
  }
  return fmt::format("Rating {:.1f} from {} {}", *entry.averageRating,
                     ratingCountText(static_cast<double>(*entry.ratingCount)),
                     *entry.ratingCount == 1 ? "rating" : "ratings");
}

}  // namespace tovra::research
