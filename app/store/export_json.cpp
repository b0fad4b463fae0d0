#include "app/store/export_json.h"

namespace tovra::store {

void write(JsonStream& json, const ExportedStore& store, const ListWriter& apps, const ListWriter& hintProbes,
           const ListWriter& ladders, const ListWriter& researchSpaces, const ListWriter& runs) {
  json.beginObject();
  json.key("apps"), apps();
  json.key("exportedAt"), json.time(store.exportedAt);
  json.key("generatedBy"), json.text(store.generatedBy);
  json.key("hintProbes"), hintProbes();
  json.key("ladders"), ladders();
  json.key("note"), json.text(store.note);
  json.key("researchSpaces"), researchSpaces();
  json.key("runs"), runs();
  json.endObject();
}

void write(JsonStream& json, const ExportedApp& app, const ListWriter& localizations, const ListWriter& queries) {
  json.beginObject();
  json.key("addedAt"), json.time(app.addedAt);
  json.key("appStoreId"), json.text(app.appStoreId);
  json.key("artworkUrl512"), json.text(app.artworkUrl512);
  json.key("bundleId"), json.text(app.bundleId);
  json.key("developer"), json.text(app.developer);
  json.key("displayName"), json.text(app.displayName);
  json.key("isMine"), json.boolean(app.isMine);
  json.key("localizations"), localizations();
  json.key("queries"), queries();
  json.endObject();
}

void write(JsonStream& json, const ExportedLocalization& localization) {
  json.beginObject();
  json.key("country"), json.text(localization.country);
  json.key("developer"), json.text(localization.developer);
  json.key("fetchedAt"), json.time(localization.fetchedAt);
  json.key("name"), json.text(localization.name);
  json.endObject();
}

void write(JsonStream& json, const ExportedSpace& space, const ListWriter& queries) {
  json.beginObject();
  json.key("createdAt"), json.time(space.createdAt);
  json.key("id"), json.text(space.id);
  json.key("name"), json.text(space.name);
  json.key("note"), json.text(space.note);
  json.key("promotedAt"), json.time(space.promotedAt);
  json.key("promotedToAppStoreId"), json.text(space.promotedToAppStoreId);
  json.key("queries"), queries();
  json.endObject();
}

void write(JsonStream& json, const ExportedQuery& query, const ListWriter& observations,
           const ListWriter& reviewMarks) {
  json.beginObject();
  json.key("addedAt"), json.time(query.addedAt);
  json.key("country"), json.text(query.country);
  json.key("isPaused"), json.boolean(query.isPaused);
  json.key("keyword"), json.text(query.keyword);
  json.key("observations"), observations();
  json.key("provenance"), json.text(query.provenance);
  json.key("reviewMarks"), reviewMarks();
  json.endObject();
}

void write(JsonStream& json, const ExportedObservation& observation) {
  json.beginObject();
  json.key("day"), json.time(observation.day);
  json.key("measuredAt"), json.time(observation.measuredAt);
  json.key("rank"), json.integer(observation.rank);
  json.key("resultCount"), json.integer(observation.resultCount);
  json.key("source"), json.text(observation.source);
  json.endObject();
}

void write(JsonStream& json, const ExportedReviewMark& mark) {
  json.beginObject();
  json.key("day"), json.time(mark.day);
  json.key("markedAt"), json.time(mark.markedAt);
  json.endObject();
}

void write(JsonStream& json, const ExportedRun& run, const ListWriter& outcomes) {
  json.beginObject();
  json.key("finishedAt"), json.time(run.finishedAt);
  json.key("halted"), json.boolean(run.halted);
  json.key("outcomes"), outcomes();
  json.key("queryCount"), json.integer(run.queryCount);
  json.key("requestCount"), json.integer(run.requestCount);
  json.key("startedAt"), json.time(run.startedAt);
  json.key("stopped"), json.boolean(run.stopped);
  json.endObject();
}

void write(JsonStream& json, const ExportedOutcome& outcome) {
  json.beginObject();
  json.key("appStoreId"), json.text(outcome.appStoreId);
  json.key("country"), json.text(outcome.country);
  json.key("keyword"), json.text(outcome.keyword);
  json.key("message"), json.text(outcome.message);
  json.key("status"), json.text(outcome.status);
  json.endObject();
}

void write(JsonStream& json, const ExportedLadder& ladder, const ListWriter& entries) {
  json.beginObject();
  json.key("country"), json.text(ladder.country);
  json.key("enrichedDepth"), json.integer(ladder.enrichedDepth);
  json.key("entries"), entries();
  json.key("fetchedAt"), json.time(ladder.fetchedAt);
  json.key("keyword"), json.text(ladder.keyword);
  json.key("resultCount"), json.integer(ladder.resultCount);
  json.key("source"), json.text(ladder.source);
  json.endObject();
}

void write(JsonStream& json, const ExportedLadderEntry& entry) {
  json.beginObject();
  json.key("appStoreId"), json.text(entry.appStoreId);
  json.key("averageRating"), json.number(entry.averageRating);
  json.key("developer"), json.text(entry.developer);
  json.key("name"), json.text(entry.name);
  json.key("position"), json.integer(entry.position);
  json.key("ratingCount"), json.integer(entry.ratingCount);
  json.endObject();
}

void write(JsonStream& json, const ExportedProbe& probe, const ListWriter& hints) {
  json.beginObject();
  json.key("carriedPriority"), json.boolean(probe.carriedPriority);
  json.key("country"), json.text(probe.country);
  json.key("hints"), hints();
  json.key("observedAt"), json.time(probe.observedAt);
  json.key("prefix"), json.text(probe.prefix);
  json.key("source"), json.text(probe.source);
  json.endObject();
}

void write(JsonStream& json, const ExportedHint& hint) {
  json.beginObject();
  json.key("position"), json.integer(hint.position);
  json.key("priority"), json.integer(hint.priority);
  json.key("term"), json.text(hint.term);
  json.endObject();
}

}  // namespace tovra::store
