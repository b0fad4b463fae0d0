#include "app/store/watchlist_writer.h"

#include <functional>
#include <unordered_set>

#include "AsoKit/text.h"
#include "app/base/keyword_key.h"
#include "app/store/app_releases.h"
#include "app/store/store.h"
#include "app/store/transaction.h"

namespace tovra::store {
namespace {

std::string_view editErrorText(WatchlistWriter::EditError::Kind kind) {
  switch (kind) {
    case WatchlistWriter::EditError::Kind::emptyName:
      return "A research space needs a name.";
    case WatchlistWriter::EditError::Kind::notWatched:
      return "Only a measured keyword can be paused.";
    case WatchlistWriter::EditError::Kind::notParked:
      return "Only a keyword parked in a research space can be removed this way.";
  }
  return {};
}

std::string trimmed(std::string_view text) {
  return std::string(asokit::text::trimWhitespace(text));
}

std::unordered_set<std::string> keysOf(const std::vector<TrackedQuery>& queries) {
  std::unordered_set<std::string> keys;
  for (const auto& query : queries) {
    keys.insert(base::queryKey(query.keyword, query.country));
  }
  return keys;
}

TrackedQuery newQuery(std::string keyword, std::string_view country, KeywordProvenance provenance, WallTime now) {
  TrackedQuery query;
  query.keyword = std::move(keyword);
  query.country = base::normalizedCountry(country);
  query.setProvenance(provenance);
  query.addedAt = now;
  query.isPaused = false;
  return query;
}

// Inserts the drafts in order, skipping blank ones and any whose key is among `keys` or was inserted
// earlier in the batch; `attach` gives each its owner.
std::vector<TrackedQuery> insertDrafts(Store& store, std::unordered_set<std::string> keys,
                                       const std::vector<store::KeywordDraft>& drafts, WallTime now,
                                       const std::function<void(TrackedQuery&)>& attach) {
  std::vector<TrackedQuery> inserted;
  for (const auto& draft : drafts) {
    auto text = trimmed(draft.keyword);
    if (text.empty() || !keys.insert(base::queryKey(text, draft.country)).second) {
      continue;
    }
    auto query = newQuery(std::move(text), draft.country, draft.provenance, now);
    attach(query);
    inserted.push_back(store.queries().insert(query));
  }
  return inserted;
}

}  // namespace

WatchlistWriter::EditError::EditError(Kind kind) : std::runtime_error(std::string(editErrorText(kind))), kind_(kind) {}

WatchlistWriter::WatchlistWriter(Store& store, const asokit::WallClock& clock) : store_(&store), clock_(&clock) {}

ResearchSpace WatchlistWriter::createSpace(std::string_view id, std::string_view name,
                                           const std::optional<std::string>& note) {
  ResearchSpace space;
  space.id = std::string(id);
  space.name = trimmed(name);
  if (space.name.empty()) {
    space.name = std::string(kDefaultSpaceName);
  }
  if (note) {
    if (auto text = trimmed(*note); !text.empty()) {
      space.note = std::move(text);
    }
  }
  space.createdAt = clock_->now();
  Transaction change(*store_);
  auto stored = store_->spaces().insert(space);
  change.commit();
  return stored;
}

ResearchSpace WatchlistWriter::renameSpace(const ResearchSpace& space, std::string_view newName) {
  auto name = trimmed(newName);
  if (name.empty()) {
    throw EditError(EditError::Kind::emptyName);
  }
  Transaction change(*store_);
  auto stored = store_->spaces().get(space.rowId);
  if (stored.name == name) {
    return stored;
  }
  stored.name = std::move(name);
  store_->spaces().update(stored);
  change.commit();
  return stored;
}

std::optional<TrackedQuery> WatchlistWriter::parkKeyword(const ResearchSpace& space, std::string_view keyword,
                                                         std::string_view country, KeywordProvenance provenance) {
  auto text = trimmed(keyword);
  if (text.empty()) {
    return std::nullopt;
  }
  Transaction change(*store_);
  const auto stored = store_->spaces().get(space.rowId);
  const auto key = base::queryKey(text, country);
  for (const auto& parked : store_->queries().ofSpace(stored.rowId)) {
    if (base::queryKey(parked.keyword, parked.country) == key) {
      return parked;
    }
  }
  auto query = newQuery(std::move(text), country, provenance, clock_->now());
  query.space = stored.rowId;
  auto inserted = store_->queries().insert(query);
  change.commit();
  return inserted;
}

std::vector<TrackedQuery> WatchlistWriter::parkKeywords(const ResearchSpace& space,
                                                        const std::vector<store::KeywordDraft>& drafts) {
  Transaction change(*store_);
  const auto stored = store_->spaces().get(space.rowId);
  auto inserted = insertDrafts(*store_, keysOf(store_->queries().ofSpace(stored.rowId)), drafts, clock_->now(),
                               [&](TrackedQuery& query) { query.space = stored.rowId; });
  change.commit();
  return inserted;
}

void WatchlistWriter::removeParkedKeyword(const TrackedQuery& query) {
  Transaction change(*store_);
  const auto stored = store_->queries().get(query.rowId);
  if (!stored.space || stored.app) {
    throw EditError(EditError::Kind::notParked);
  }
  store_->queries().remove(stored.rowId);
  change.commit();
}

TrackedQuery WatchlistWriter::setPaused(const TrackedQuery& query, bool paused) {
  Transaction change(*store_);
  auto stored = store_->queries().get(query.rowId);
  if (!stored.app) {
    throw EditError(EditError::Kind::notWatched);
  }
  if (stored.isPaused == paused) {
    return stored;
  }
  stored.isPaused = paused;
  store_->queries().update(stored);
  change.commit();
  return stored;
}

std::optional<TrackedApp> WatchlistWriter::findApp(std::string_view appStoreId) const {
  return store_->apps().findByAppStoreId(appStoreId);
}

std::optional<AppLocalization> WatchlistWriter::recordLocalization(const TrackedApp& app, std::string_view country,
                                                                   std::string_view name, std::string_view developer) {
  const auto code = base::normalizedCountry(country);
  Transaction change(*store_);
  for (auto localization : store_->localizations().ofApp(app.rowId)) {
    if (base::normalizedCountry(localization.country) == code) {
      localization.name = std::string(name);
      localization.developer = std::string(developer);
      localization.fetchedAt = clock_->now();
      store_->localizations().update(localization);
      change.commit();
      return std::nullopt;
    }
  }
  auto created = store_->localizations().insert(
      AppLocalization{{}, code, std::string(name), std::string(developer), clock_->now(), app.rowId});
  change.commit();
  return created;
}

WatchlistWriter::Receipt WatchlistWriter::trackApp(const AppFacts& facts, std::string_view country, bool isMine) {
  Transaction change(*store_);
  Receipt receipt;
  if (auto existing = findApp(facts.appStoreId)) {
    receipt.previousIsMine = existing->isMine;
    existing->isMine = isMine;
    existing->displayName = facts.name;
    existing->developer = facts.developer;
    if (facts.bundleId) {
      existing->bundleId = facts.bundleId;
    }
    if (facts.artworkUrl512) {
      existing->artworkUrl512 = facts.artworkUrl512;
    }
    store_->apps().update(*existing);
    receipt.app = *existing;
  } else {
    receipt.app = store_->apps().insert(TrackedApp{
        {}, facts.appStoreId, facts.name, facts.developer, facts.bundleId, facts.artworkUrl512, isMine, clock_->now()});
    receipt.createdApp = true;
  }
  receipt.createdLocalization = recordLocalization(receipt.app, country, facts.name, facts.developer);
  if (facts.version && facts.versionReleasedAt) {
    Releases(*store_).record(AppRelease{facts.appStoreId, *facts.version, *facts.versionReleasedAt, clock_->now()});
  }
  change.commit();
  return receipt;
}

std::vector<TrackedQuery> WatchlistWriter::addKeywords(const TrackedApp& app,
                                                       const std::vector<store::KeywordDraft>& drafts) {
  Transaction change(*store_);
  const auto stored = store_->apps().get(app.rowId);
  auto inserted = insertDrafts(*store_, keysOf(store_->queries().ofApp(stored.rowId)), drafts, clock_->now(),
                               [&](TrackedQuery& query) { query.app = stored.rowId; });
  change.commit();
  return inserted;
}

WatchlistWriter::Receipt WatchlistWriter::graduateSpace(const ResearchSpace& space, const AppFacts& facts,
                                                        std::string_view country, bool isMine) {
  Transaction change(*store_);
  auto stored = store_->spaces().get(space.rowId);
  auto receipt = trackApp(facts, country, isMine);
  receipt.graduatedSpace = stored;
  auto appKeys = keysOf(store_->queries().ofApp(receipt.app.rowId));
  for (auto query : store_->queries().ofSpace(stored.rowId)) {
    // The key joins the app's keys as soon as one moves, so a second parked copy of it stays behind too.
    if (!appKeys.insert(base::queryKey(query.keyword, query.country)).second) {
      receipt.keptInSpace.push_back(query);
      continue;
    }
    query.space.reset();
    query.app = receipt.app.rowId;
    store_->queries().update(query);
    receipt.movedQueries.push_back(query);
  }
  stored.promotedToAppStoreId = receipt.app.appStoreId;
  stored.promotedAt = clock_->now();
  store_->spaces().update(stored);
  change.commit();
  return receipt;
}

void WatchlistWriter::undo(const Receipt& receipt) {
  // Moved keywords carry history that belonged to the space before; putting them back is not an undo
  // this writer can promise, so such an edit stays.
  if (!receipt.movedQueries.empty()) {
    return;
  }
  Transaction change(*store_);
  for (const auto& query : receipt.createdQueries) {
    store_->queries().remove(query.rowId);
  }
  if (receipt.createdLocalization) {
    store_->localizations().remove(receipt.createdLocalization->rowId);
  }
  if (receipt.createdApp) {
    store_->apps().remove(receipt.app.rowId);
  } else if (receipt.previousIsMine) {
    if (auto app = store_->apps().find(receipt.app.rowId); app && app->isMine != *receipt.previousIsMine) {
      app->isMine = *receipt.previousIsMine;
      store_->apps().update(*app);
    }
  }
  // A graduation that moved nothing still marked the space as graduated; without the mark taken back
  // the space would name an app the undo may just have deleted.
  if (receipt.graduatedSpace) {
    if (auto space = store_->spaces().find(receipt.graduatedSpace->rowId)) {
      space->promotedToAppStoreId = receipt.graduatedSpace->promotedToAppStoreId;
      space->promotedAt = receipt.graduatedSpace->promotedAt;
      store_->spaces().update(*space);
    }
  }
  change.commit();
}

}  // namespace tovra::store
