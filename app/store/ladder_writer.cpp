#include "app/store/ladder_writer.h"

#include <algorithm>

#include "AsoKit/rank_history.h"
#include "app/base/keyword_key.h"
#include "app/store/app_releases.h"
#include "app/store/retention.h"
#include "app/store/store.h"
#include "app/store/transaction.h"

namespace tovra::store {
namespace {

std::vector<asokit::RankedApp> inPositionOrder(std::vector<asokit::RankedApp> apps) {
  std::stable_sort(apps.begin(), apps.end(),
                   [](const asokit::RankedApp& a, const asokit::RankedApp& b) { return a.position < b.position; });
  return apps;
}

bool sameAppsInOrder(const std::vector<LadderEntry>& entries, const std::vector<asokit::RankedApp>& apps) {
  return std::equal(entries.begin(), entries.end(), apps.begin(), apps.end(),
                    [](const LadderEntry& entry, const asokit::RankedApp& app) { return entry.appStoreId == app.id; });
}

bool withinRefreshWindow(WallTime earlier, WallTime later) {
  const auto gap = later - earlier;
  return gap >= WallTime::duration::zero() && gap < kLadderRefreshWindow;
}

LadderEntry entryOf(const asokit::RankedApp& app) {
  LadderEntry entry;
  entry.position = app.position;
  entry.appStoreId = app.id;
  entry.name = app.name;
  entry.developer = app.developer;
  entry.iconUrl = app.iconURL;
  entry.ratingCount = app.ratingCount;
  entry.averageRating = app.averageRating;
  return entry;
}

// Takes what the new reading carries and keeps what it does not.
void refreshEntry(LadderEntry& entry, const std::vector<asokit::RankedApp>& apps) {
  const auto app = std::find_if(apps.begin(), apps.end(), [&](const auto& a) { return a.id == entry.appStoreId; });
  if (app == apps.end()) {
    return;
  }
  if (app->ratingCount) {
    entry.ratingCount = app->ratingCount;
  }
  if (app->averageRating) {
    entry.averageRating = app->averageRating;
  }
  if (app->iconURL) {
    entry.iconUrl = app->iconURL;
  }
}

// The artwork comes from the reading, never from the stored entries: an entry keeps only the small icon,
// and the 512-pixel address cannot be told from it.
std::vector<RecordId<TrackedApp>> fillArtwork(Store& store, const std::vector<asokit::RankedApp>& apps) {
  std::vector<RecordId<TrackedApp>> filled;
  for (const auto& result : apps) {
    if (!result.artworkUrl512 || result.artworkUrl512->empty()) {
      continue;
    }
    auto app = store.apps().findByAppStoreId(result.id);
    if (!app || (app->artworkUrl512 && !app->artworkUrl512->empty())) {
      continue;
    }
    app->artworkUrl512 = result.artworkUrl512;
    store.apps().update(*app);
    filled.push_back(app->rowId);
  }
  return filled;
}

}  // namespace

std::vector<StoredLadder> LadderWriter::savedFor(std::string_view keyword, std::string_view country) const {
  const auto key = base::keywordKey(keyword);
  auto ladders = store_->ladders().inCountry(base::normalizedCountry(country));
  std::erase_if(ladders, [&](const StoredLadder& ladder) { return base::keywordKey(ladder.keyword) != key; });
  return ladders;
}

LadderWrite LadderWriter::write(const LadderReading& reading) {
  const auto apps = inPositionOrder(reading.apps);
  LadderWrite result;
  Transaction transaction(*store_);

  const auto saved = savedFor(reading.keyword, reading.country);
  if (!saved.empty()) {
    const auto& newest = saved.front();
    auto entries = store_->ladderEntries().ofLadder(newest.rowId);
    result.sameAsPrevious = sameAppsInOrder(entries, apps);
    if (result.sameAsPrevious && withinRefreshWindow(newest.fetchedAt, reading.fetchedAt)) {
      auto ladder = newest;
      ladder.fetchedAt = reading.fetchedAt;
      ladder.enrichedDepth = reading.enrichedDepth;
      ladder.resultCount = reading.resultCount;
      ladder.source = reading.source;
      store_->ladders().update(ladder);
      for (auto& entry : entries) {
        refreshEntry(entry, apps);
        store_->ladderEntries().update(entry);
      }
      result.saved = SavedLadder{std::move(ladder), std::move(entries)};
      result.refreshed = true;
    }
  }

  if (!result.refreshed) {
    StoredLadder ladder;
    ladder.keyword = base::collapseWhitespace(reading.keyword);
    ladder.country = base::normalizedCountry(reading.country);
    ladder.fetchedAt = reading.fetchedAt;
    ladder.enrichedDepth = reading.enrichedDepth;
    ladder.resultCount = reading.resultCount;
    ladder.source = reading.source;
    std::vector<LadderEntry> entries;
    entries.reserve(apps.size());
    std::transform(apps.begin(), apps.end(), std::back_inserter(entries), entryOf);
    result.saved = store_->ladders().insertWithEntries(ladder, entries);

    auto all = saved;
    all.insert(all.begin(), result.saved.ladder);
    std::vector<WallTime> dates;
    dates.reserve(all.size());
    std::transform(all.begin(), all.end(), std::back_inserter(dates), [](const auto& l) { return l.fetchedAt; });
    for (const auto index : asokit::ladder_retention::indicesToDelete(dates, kRetentionDepth)) {
      store_->ladders().remove(all[index].rowId);
      ++result.removedByRetention;
    }
  }

  result.artworkFilled = fillArtwork(*store_, apps);
  result.releasesKept = keepTrackedReleases(*store_, apps, reading.fetchedAt);
  transaction.commit();
  return result;
}

std::int64_t enrichedDepth(const std::vector<asokit::RankedApp>& apps) {
  return std::count_if(apps.begin(), apps.end(),
                       [](const asokit::RankedApp& app) { return app.ratingCount.has_value(); });
}

}  // namespace tovra::store
