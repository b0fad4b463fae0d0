#include "app/cli/measure_output.h"

#include "app/measure/measure_texts.h"
#include "app/store/dates.h"

namespace tovra::cli {
namespace {

using nlohmann::json;

json optionalTime(const std::optional<asokit::WallTime>& time) {
  return time ? json(store::isoUtc(*time)) : json(nullptr);
}

json optionalNumber(const std::optional<std::int64_t>& value) {
  return value ? json(*value) : json(nullptr);
}

json rowJson(const measure::TodayRow& row) {
  json points = json::array();
  for (const auto& point : row.history.points()) {
    points.push_back(toJson(point));
  }
  return {{"id", row.id},
          {"keyword", row.keyword},
          {"country", row.country},
          {"appStoreId", row.appStoreId},
          {"appLabel", row.appLabel},
          {"iconURL", row.iconURL ? json(*row.iconURL) : json(nullptr)},
          {"rank", optionalNumber(row.rank)},
          {"resultCount", row.resultCount},
          {"source", row.source},
          {"measuredAt", store::isoUtc(row.measuredAt)},
          {"day", store::isoUtc(row.day)},
          {"history", points},
          {"change", toJson(row.change)},
          {"isReviewed", row.isReviewed}};
}

json waitingJson(const measure::WaitingRow& row) {
  return {{"id", row.id},
          {"keyword", row.keyword},
          {"country", row.country},
          {"appStoreId", row.appStoreId},
          {"appLabel", row.appLabel}};
}

template <class T, class F>
json listOf(const std::vector<T>& items, F convert) {
  json list = json::array();
  for (const auto& item : items) {
    list.push_back(convert(item));
  }
  return list;
}

}  // namespace

json toJson(const measure::RunReport& report) {
  return {
      {"ending", std::string(measure::endingName(report.ending))},
      {"startedAt", store::isoUtc(report.startedAt)},
      {"finishedAt", store::isoUtc(report.finishedAt)},
      {"requestCount", report.requestCount},
      {"queryCount", report.queryCount},
      {"measured", report.measured},
      {"failed", report.failed},
      {"skipped", report.skipped},
      {"failures", listOf(measure::failureRows(report),
                          [](const measure::RunReport::Failure& f) {
                            return json{{"id", f.id},
                                        {"app", f.app},
                                        {"target", {{"country", f.target.country}, {"keyword", f.target.keyword}}},
                                        {"message", f.message}};
                          })},
      {"measuredZero", report.measuredZero},
      {"source", report.source},
      {"ranked",
       listOf(report.ranked,
              [](const measure::RunReport::RankedLine& line) {
                return json{{"id", line.id}, {"label", line.label}, {"rank", line.rank}, {"source", line.source}};
              })},
      {"isFirstMeasurement", report.isFirstMeasurement},
      {"outside",
       listOf(report.outside,
              [](const measure::RunReport::OutsideLine& line) {
                return json{{"id", line.id}, {"label", line.label}, {"depth", line.depth}, {"source", line.source}};
              })},
      {"hadNoEarlierObservations", report.hadNoEarlierObservations},
  };
}

json toJson(const measure::TodayChange& change) {
  json value{{"kind", std::string(measure::changeKindName(change.kind))}};
  switch (change.kind) {
    case measure::TodayChange::Kind::dropped:
    case measure::TodayChange::Kind::rose:
      value["places"] = change.amount;
      break;
    case measure::TodayChange::Kind::accumulating:
      value["days"] = change.amount;
      break;
    case measure::TodayChange::Kind::held:
    case measure::TodayChange::Kind::unknownChange:
      break;
  }
  return value;
}

json toJson(const asokit::RankPoint& point) {
  return {{"day", store::isoUtc(point.day)}, {"rank", optionalNumber(point.rank)}};
}

json toJson(const measure::TodayQueue& queue) {
  return {
      {"day", optionalTime(queue.day)},
      {"finishedAt", optionalTime(queue.finishedAt)},
      {"halted", queue.halted},
      {"queryCount", queue.queryCount},
      {"requestCount", queue.requestCount},
      {"pending", listOf(queue.pending, rowJson)},
      {"reviewed", listOf(queue.reviewed, rowJson)},
      {"held", listOf(queue.held, rowJson)},
      {"notMeasured", listOf(queue.notMeasured,
                             [](const measure::NotMeasuredRow& row) {
                               return json{{"id", row.id},
                                           {"keyword", row.keyword},
                                           {"country", row.country},
                                           {"appStoreId", row.appStoreId},
                                           {"appLabel", row.appLabel},
                                           {"status", std::string(store::rawValue(row.status))},
                                           {"reason", row.reason}};
                             })},
      {"notMeasuredYet", listOf(queue.notMeasuredYet, waitingJson)},
      {"paused", listOf(queue.paused, waitingJson)},
      {"undoableMark",
       queue.undoableMark
           ? json{{"day", store::isoUtc(queue.undoableMark->day)},
                  {"markedAt", store::isoUtc(queue.undoableMark->markedAt)},
                  {"query", queue.undoableMark->query ? json(queue.undoableMark->query->value) : json(nullptr)}}
           : json(nullptr)},
      {"summary", measure::summaryLine(queue)},
  };
}

}  // namespace tovra::cli
