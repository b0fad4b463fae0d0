#include "app/cli/watchlist_json.h"

#include "AsoKit/overloaded.h"
#include "app/store/dates.h"
#include "app/store/store.h"

namespace tovra::cli {
namespace {

using asokit::Overloaded;

nlohmann::json subjectJson(const store::DeletionPlan::Subject& subject) {
  using Plan = store::DeletionPlan;
  return std::visit(
      Overloaded{
          [](const Plan::AppSubject& s) {
            return nlohmann::json{{"kind", "app"}, {"name", s.name}};
          },
          [](const Plan::QuerySubject& s) {
            return nlohmann::json{{"kind", "query"}, {"keyword", s.keyword}, {"country", s.country}};
          },
          [](const Plan::SpaceSubject& s) {
            return nlohmann::json{{"kind", "space"}, {"name", s.name}, {"graduatedTo", orNull(s.graduatedTo)}};
          },
          [](const Plan::EverythingSubject&) {
            return nlohmann::json{{"kind", "everything"}};
          },
      },
      subject);
}

}  // namespace

nlohmann::json isoOrNull(const std::optional<store::WallTime>& time) {
  return time ? nlohmann::json(store::isoUtc(*time)) : nlohmann::json(nullptr);
}

nlohmann::json toJson(store::Store& store, const store::TrackedApp& app) {
  nlohmann::json localizations = nlohmann::json::array();
  for (const auto& localization : store.localizations().ofApp(app.rowId)) {
    localizations.push_back(toJson(localization));
  }
  nlohmann::json queries = nlohmann::json::array();
  for (const auto& query : store.queries().ofApp(app.rowId)) {
    queries.push_back(toJson(store, query));
  }
  return {{"appStoreId", app.appStoreId},
          {"displayName", app.displayName},
          {"developer", app.developer},
          {"bundleId", orNull(app.bundleId)},
          {"artworkUrl512", orNull(app.artworkUrl512)},
          {"isMine", app.isMine},
          {"addedAt", store::isoUtc(app.addedAt)},
          {"localizations", std::move(localizations)},
          {"queries", std::move(queries)}};
}

nlohmann::json toJson(const store::AppLocalization& localization) {
  return {{"country", localization.country},
          {"name", localization.name},
          {"developer", localization.developer},
          {"fetchedAt", store::isoUtc(localization.fetchedAt)}};
}

nlohmann::json toJson(const store::ResearchSpace& space) {
  return {{"id", space.id},
          {"name", space.name},
          {"note", orNull(space.note)},
          {"createdAt", store::isoUtc(space.createdAt)},
          {"promotedToAppStoreId", orNull(space.promotedToAppStoreId)},
          {"promotedAt", isoOrNull(space.promotedAt)}};
}

nlohmann::json toJson(store::Store& store, const store::TrackedQuery& query) {
  std::optional<std::string> app;
  if (query.app) {
    app = store.apps().get(*query.app).appStoreId;
  }
  std::optional<std::string> space;
  if (query.space) {
    space = store.spaces().get(*query.space).id;
  }
  return {{"keyword", query.keyword},
          {"country", query.country},
          {"provenance", query.provenanceRaw},
          {"addedAt", store::isoUtc(query.addedAt)},
          {"isPaused", query.isPaused},
          {"app", orNull(app)},
          {"space", orNull(space)}};
}

nlohmann::json toJson(const store::DeletionPlan& plan, bool deleted) {
  return {{"subject", subjectJson(plan.subject)},
          {"title", plan.title()},
          {"summary", plan.summary()},
          {"explanation", plan.explanation(store::DeletionPlan::Reader::commandLine)},
          {"warning", plan.warning()},
          {"apps", plan.apps.size()},
          {"localizations", plan.localizations.size()},
          {"spaces", plan.spaces.size()},
          {"queries", plan.queries.size()},
          {"observations", plan.observations.size()},
          {"reviewMarks", plan.reviewMarks.size()},
          {"outcomes", plan.outcomes.size()},
          {"runs", plan.runs.size()},
          {"ladders", plan.ladders.size()},
          {"ladderEntries", plan.ladderEntries.size()},
          {"probes", plan.probes.size()},
          {"hints", plan.hints.size()},
          {"keptLadders", plan.keptLadders},
          {"keptProbes", plan.keptProbes},
          {"keptRuns", plan.keptRuns},
          {"deleted", deleted}};
}

}  // namespace tovra::cli
