#include "app/store/app_releases.h"

#include "app/store/sql.h"
#include "app/store/transaction.h"

namespace tovra::store {
namespace {

struct Shown {
  const std::string& id;
  const std::optional<std::string>& version;
  const std::optional<WallTime>& releasedAt;
};

template <class Answer, class ShownOf>
std::int64_t keepReleases(Store& store, const std::vector<Answer>& answers, WallTime seenAt, ShownOf shownOf) {
  Transaction transaction(store);
  std::int64_t kept = 0;
  Releases releases(store);
  for (const auto& answer : answers) {
    const Shown shown = shownOf(answer);
    if (!shown.version || !shown.releasedAt || !store.apps().findByAppStoreId(shown.id)) {
      continue;
    }
    kept += releases.record(AppRelease{shown.id, *shown.version, *shown.releasedAt, seenAt}) ? 1 : 0;
  }
  transaction.commit();
  return kept;
}

}  // namespace

bool Releases::record(const AppRelease& release) {
  Transaction transaction(*store_);
  const int changes = guarded("saving the change", [&] {
    Prepared statement(*store_,
                       "INSERT INTO AppRelease (appStoreId, version, releasedAt, seenAt) VALUES (?, ?, ?, ?) "
                       "ON CONFLICT (appStoreId, version) DO NOTHING");
    statement->bind(1, release.appStoreId);
    statement->bind(2, release.version);
    sql::bind(*statement, 3, release.releasedAt);
    sql::bind(*statement, 4, release.seenAt);
    return statement->exec();
  });
  transaction.commit();
  return changes > 0;
}

std::vector<AppRelease> Releases::ofApp(std::string_view appStoreId) const {
  return guarded("reading the store", [&] {
    Prepared statement(*store_,
                       "SELECT appStoreId, version, releasedAt, seenAt FROM AppRelease WHERE appStoreId = ? "
                       "ORDER BY releasedAt, pk");
    statement->bind(1, std::string(appStoreId));
    std::vector<AppRelease> releases;
    while (statement->executeStep()) {
      releases.push_back(AppRelease{statement->getColumn(0).getString(), statement->getColumn(1).getString(),
                                    sql::time(*statement, 2), sql::time(*statement, 3)});
    }
    return releases;
  });
}

std::int64_t Releases::count() const {
  return guarded("reading the store", [&] {
    Prepared statement(*store_, "SELECT count(*) FROM AppRelease");
    statement->executeStep();
    return statement->getColumn(0).getInt64();
  });
}

void Releases::removeAll() {
  Transaction transaction(*store_);
  guarded("saving the change", [&] { store_->database().exec("DELETE FROM AppRelease"); });
  transaction.commit();
}

std::int64_t keepTrackedReleases(Store& store, const std::vector<asokit::RankedApp>& apps, WallTime seenAt) {
  return keepReleases(store, apps, seenAt, [](const asokit::RankedApp& app) {
    return Shown{app.id, app.version, app.versionReleasedAt};
  });
}

std::int64_t keepTrackedReleases(Store& store, const std::vector<asokit::AppInfo>& apps, WallTime seenAt) {
  return keepReleases(store, apps, seenAt, [](const asokit::AppInfo& app) {
    return Shown{app.id, app.version, app.versionReleasedAt};
  });
}

}  // namespace tovra::store
