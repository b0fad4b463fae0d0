#include "app/store/mapping.h"

#include <cctype>

#include "app/store/sql.h"

namespace tovra::store {
namespace {

using SQLite::Statement;

std::string text(const Statement& statement, int index) {
  return statement.getColumn(index).getString();
}
std::int64_t integer(const Statement& statement, int index) {
  return statement.getColumn(index).getInt64();
}
bool flag(const Statement& statement, int index) {
  return statement.getColumn(index).getInt() != 0;
}

template <class Record>
RecordId<Record> rowOf(const Statement& statement) {
  return RecordId<Record>{statement.getColumn(0).getInt64()};
}

StoreError broken(const std::string& rule) {
  return StoreError(StoreError::Kind::constraint, rule);
}

bool isUuidText(const std::string& id) {
  if (id.size() != 36) {
    return false;
  }
  for (std::size_t i = 0; i < id.size(); ++i) {
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    if (dash ? id[i] != '-' : !std::isxdigit(static_cast<unsigned char>(id[i]))) {
      return false;
    }
  }
  return true;
}

}  // namespace

void Mapping<TrackedApp>::bind(Statement& s, const TrackedApp& r) {
  s.bind(1, r.appStoreId);
  s.bind(2, r.displayName);
  s.bind(3, r.developer);
  sql::bind(s, 4, r.bundleId);
  sql::bind(s, 5, r.artworkUrl512);
  s.bind(6, r.isMine ? 1 : 0);
  sql::bind(s, 7, r.addedAt);
}

TrackedApp Mapping<TrackedApp>::read(const Statement& s) {
  return TrackedApp{rowOf<TrackedApp>(s),    text(s, 1), text(s, 2),     text(s, 3), sql::optionalText(s, 4),
                    sql::optionalText(s, 5), flag(s, 6), sql::time(s, 7)};
}

void Mapping<TrackedApp>::validate(const TrackedApp& r) {
  if (r.appStoreId.empty()) {
    throw broken("An app needs its App Store identifier.");
  }
}

void Mapping<AppLocalization>::bind(Statement& s, const AppLocalization& r) {
  s.bind(1, r.country);
  s.bind(2, r.name);
  s.bind(3, r.developer);
  sql::bind(s, 4, r.fetchedAt);
  sql::bind(s, 5, r.app);
}

AppLocalization Mapping<AppLocalization>::read(const Statement& s) {
  return AppLocalization{rowOf<AppLocalization>(s),        text(s, 1), text(s, 2), text(s, 3), sql::time(s, 4),
                         sql::optionalId<TrackedApp>(s, 5)};
}

void Mapping<AppLocalization>::validate(const AppLocalization&) {}

void Mapping<ResearchSpace>::bind(Statement& s, const ResearchSpace& r) {
  s.bind(1, r.id);
  s.bind(2, r.name);
  sql::bind(s, 3, r.note);
  sql::bind(s, 4, r.createdAt);
  sql::bind(s, 5, r.promotedToAppStoreId);
  sql::bind(s, 6, r.promotedAt);
}

ResearchSpace Mapping<ResearchSpace>::read(const Statement& s) {
  return ResearchSpace{rowOf<ResearchSpace>(s), text(s, 1),      text(s, 2),
                       sql::optionalText(s, 3), sql::time(s, 4), sql::optionalText(s, 5),
                       sql::optionalTime(s, 6)};
}

void Mapping<ResearchSpace>::validate(const ResearchSpace& r) {
  if (!isUuidText(r.id)) {
    throw broken("A research space's identifier must be a UUID in its 36-character form, not \"" + r.id + "\".");
  }
}

void Mapping<TrackedQuery>::bind(Statement& s, const TrackedQuery& r) {
  s.bind(1, r.keyword);
  s.bind(2, r.country);
  s.bind(3, r.provenanceRaw);
  sql::bind(s, 4, r.addedAt);
  s.bind(5, r.isPaused ? 1 : 0);
  sql::bind(s, 6, r.app);
  sql::bind(s, 7, r.space);
}

TrackedQuery Mapping<TrackedQuery>::read(const Statement& s) {
  return TrackedQuery{rowOf<TrackedQuery>(s),
                      text(s, 1),
                      text(s, 2),
                      text(s, 3),
                      sql::time(s, 4),
                      flag(s, 5),
                      sql::optionalId<TrackedApp>(s, 6),
                      sql::optionalId<ResearchSpace>(s, 7)};
}

void Mapping<TrackedQuery>::validate(const TrackedQuery& r) {
  if (r.app && r.space) {
    throw broken("A keyword belongs to an app or to a research space, never to both.");
  }
}

void Mapping<StoredObservation>::bind(Statement& s, const StoredObservation& r) {
  sql::bind(s, 1, r.day);
  sql::bind(s, 2, r.measuredAt);
  sql::bind(s, 3, r.rank);
  s.bind(4, r.resultCount);
  s.bind(5, r.source);
  sql::bind(s, 6, r.query);
}

StoredObservation Mapping<StoredObservation>::read(const Statement& s) {
  return StoredObservation{rowOf<StoredObservation>(s),        sql::time(s, 1), sql::time(s, 2),
                           sql::optionalInteger(s, 3),         integer(s, 4),   text(s, 5),
                           sql::optionalId<TrackedQuery>(s, 6)};
}

void Mapping<StoredObservation>::validate(const StoredObservation& r) {
  if (r.rank && *r.rank < 1) {
    throw broken("A rank starts at 1; an app outside the results has no rank, never " + std::to_string(*r.rank) + ".");
  }
}

void Mapping<MeasurementRun>::bind(Statement& s, const MeasurementRun& r) {
  sql::bind(s, 1, r.startedAt);
  sql::bind(s, 2, r.finishedAt);
  s.bind(3, r.halted ? 1 : 0);
  s.bind(4, r.stopped ? 1 : 0);
  s.bind(5, r.requestCount);
  s.bind(6, r.queryCount);
}

MeasurementRun Mapping<MeasurementRun>::read(const Statement& s) {
  return MeasurementRun{rowOf<MeasurementRun>(s),
                        sql::time(s, 1),
                        sql::optionalTime(s, 2),
                        flag(s, 3),
                        flag(s, 4),
                        integer(s, 5),
                        integer(s, 6)};
}

void Mapping<MeasurementRun>::validate(const MeasurementRun&) {}

void Mapping<RunOutcome>::bind(Statement& s, const RunOutcome& r) {
  s.bind(1, r.statusRaw);
  sql::bind(s, 2, r.message);
  sql::bind(s, 3, r.run);
  sql::bind(s, 4, r.query);
  sql::bind(s, 5, r.observation);
}

RunOutcome Mapping<RunOutcome>::read(const Statement& s) {
  return RunOutcome{rowOf<RunOutcome>(s),
                    text(s, 1),
                    sql::optionalText(s, 2),
                    sql::optionalId<MeasurementRun>(s, 3),
                    sql::optionalId<TrackedQuery>(s, 4),
                    sql::optionalId<StoredObservation>(s, 5)};
}

void Mapping<RunOutcome>::validate(const RunOutcome& r) {
  if (r.observation && r.status() != RunOutcomeStatus::measured) {
    throw broken("Only a measured outcome links a reading.");
  }
}

void Mapping<ReviewMark>::bind(Statement& s, const ReviewMark& r) {
  sql::bind(s, 1, r.day);
  sql::bind(s, 2, r.markedAt);
  sql::bind(s, 3, r.query);
}

ReviewMark Mapping<ReviewMark>::read(const Statement& s) {
  return ReviewMark{rowOf<ReviewMark>(s), sql::time(s, 1), sql::time(s, 2), sql::optionalId<TrackedQuery>(s, 3)};
}

void Mapping<ReviewMark>::validate(const ReviewMark&) {}

void Mapping<StoredLadder>::bind(Statement& s, const StoredLadder& r) {
  s.bind(1, r.keyword);
  s.bind(2, r.country);
  sql::bind(s, 3, r.fetchedAt);
  s.bind(4, r.enrichedDepth);
  s.bind(5, r.resultCount);
  s.bind(6, r.source);
}

StoredLadder Mapping<StoredLadder>::read(const Statement& s) {
  return StoredLadder{rowOf<StoredLadder>(s), text(s, 1),    text(s, 2), sql::time(s, 3),
                      integer(s, 4),          integer(s, 5), text(s, 6)};
}

void Mapping<StoredLadder>::validate(const StoredLadder&) {}

void Mapping<LadderEntry>::bind(Statement& s, const LadderEntry& r) {
  s.bind(1, r.position);
  s.bind(2, r.appStoreId);
  s.bind(3, r.name);
  s.bind(4, r.developer);
  sql::bind(s, 5, r.iconUrl);
  sql::bind(s, 6, r.ratingCount);
  sql::bind(s, 7, r.averageRating);
  sql::bind(s, 8, r.ladder);
}

LadderEntry Mapping<LadderEntry>::read(const Statement& s) {
  return LadderEntry{rowOf<LadderEntry>(s),
                     integer(s, 1),
                     text(s, 2),
                     text(s, 3),
                     text(s, 4),
                     sql::optionalText(s, 5),
                     sql::optionalInteger(s, 6),
                     sql::optionalReal(s, 7),
                     sql::optionalId<StoredLadder>(s, 8)};
}

void Mapping<LadderEntry>::validate(const LadderEntry&) {}

void Mapping<HintProbe>::bind(Statement& s, const HintProbe& r) {
  s.bind(1, r.prefix);
  s.bind(2, r.country);
  sql::bind(s, 3, r.observedAt);
  s.bind(4, r.source);
  s.bind(5, r.carriedPriority ? 1 : 0);
}

HintProbe Mapping<HintProbe>::read(const Statement& s) {
  return HintProbe{rowOf<HintProbe>(s), text(s, 1), text(s, 2), sql::time(s, 3), text(s, 4), flag(s, 5)};
}

void Mapping<HintProbe>::validate(const HintProbe&) {}

void Mapping<StoreHint>::bind(Statement& s, const StoreHint& r) {
  s.bind(1, r.position);
  s.bind(2, r.term);
  sql::bind(s, 3, r.priority);
  sql::bind(s, 4, r.probe);
}

StoreHint Mapping<StoreHint>::read(const Statement& s) {
  return StoreHint{rowOf<StoreHint>(s), integer(s, 1), text(s, 2), sql::optionalInteger(s, 3),
                   sql::optionalId<HintProbe>(s, 4)};
}

void Mapping<StoreHint>::validate(const StoreHint&) {}

}  // namespace tovra::store
