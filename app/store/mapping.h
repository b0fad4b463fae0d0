#pragma once

// How each record kind maps to its table; included by app/store/*.cpp only. `columns` lists the
// record's fields after the row column `pk`, in table order, as the table's description has them
// (app/store/table_columns.h); `bind` binds them as parameters 1…N and `read` reads a row selected as
// "pk, <columns>".

#include <array>
#include <string>
#include <string_view>

#include "app/store/records.h"
#include "app/store/table_columns.h"

namespace SQLite {
class Statement;
}

namespace tovra::store {

template <class Record>
struct Mapping;

#define TOVRA_MAPPING_FUNCTIONS(Record)                                 \
  static void bind(SQLite::Statement& statement, const Record& record); \
  static Record read(const SQLite::Statement& statement);               \
  static void validate(const Record& record)

template <>
struct Mapping<TrackedApp> {
  static constexpr std::string_view table = "TrackedApp";
  static constexpr auto columns = store::columns::recordColumns<store::columns::kTrackedApp>();
  static constexpr std::string_view order = "addedAt, pk";
  static constexpr std::string_view unique = "appStoreId";
  static std::string uniqueValue(const TrackedApp& app) { return app.appStoreId; }
  TOVRA_MAPPING_FUNCTIONS(TrackedApp);
};

template <>
struct Mapping<AppLocalization> {
  static constexpr std::string_view table = "AppLocalization";
  static constexpr auto columns = store::columns::recordColumns<store::columns::kAppLocalization>();
  static constexpr std::string_view order = "fetchedAt, pk";
  static constexpr std::string_view unique{};
  TOVRA_MAPPING_FUNCTIONS(AppLocalization);
};

template <>
struct Mapping<ResearchSpace> {
  static constexpr std::string_view table = "ResearchSpace";
  static constexpr auto columns = store::columns::recordColumns<store::columns::kResearchSpace>();
  static constexpr std::string_view order = "createdAt, pk";
  static constexpr std::string_view unique = "id";
  static std::string uniqueValue(const ResearchSpace& space) { return space.id; }
  TOVRA_MAPPING_FUNCTIONS(ResearchSpace);
};

template <>
struct Mapping<TrackedQuery> {
  static constexpr std::string_view table = "TrackedQuery";
  static constexpr auto columns = store::columns::recordColumns<store::columns::kTrackedQuery>();
  static constexpr std::string_view order = "addedAt, pk";
  static constexpr std::string_view unique{};
  TOVRA_MAPPING_FUNCTIONS(TrackedQuery);
};

template <>
struct Mapping<StoredObservation> {
  static constexpr std::string_view table = "StoredObservation";
  static constexpr auto columns = store::columns::recordColumns<store::columns::kStoredObservation>();
  static constexpr std::string_view order = "day, pk";
  static constexpr std::string_view unique{};
  TOVRA_MAPPING_FUNCTIONS(StoredObservation);
};

template <>
struct Mapping<MeasurementRun> {
  static constexpr std::string_view table = "MeasurementRun";
  static constexpr auto columns = store::columns::recordColumns<store::columns::kMeasurementRun>();
  static constexpr std::string_view order = "startedAt, pk";
  static constexpr std::string_view unique{};
  TOVRA_MAPPING_FUNCTIONS(MeasurementRun);
};

template <>
struct Mapping<RunOutcome> {
  static constexpr std::string_view table = "RunOutcome";
  static constexpr auto columns = store::columns::recordColumns<store::columns::kRunOutcome>();
  static constexpr std::string_view order = "pk";
  static constexpr std::string_view unique{};
  TOVRA_MAPPING_FUNCTIONS(RunOutcome);
};

template <>
struct Mapping<ReviewMark> {
  static constexpr std::string_view table = "ReviewMark";
  static constexpr auto columns = store::columns::recordColumns<store::columns::kReviewMark>();
  static constexpr std::string_view order = "day, pk";
  static constexpr std::string_view unique{};
  TOVRA_MAPPING_FUNCTIONS(ReviewMark);
};

template <>
struct Mapping<StoredLadder> {
  static constexpr std::string_view table = "StoredLadder";
  static constexpr auto columns = store::columns::recordColumns<store::columns::kStoredLadder>();
  static constexpr std::string_view order = "fetchedAt, pk";
  static constexpr std::string_view unique{};
  TOVRA_MAPPING_FUNCTIONS(StoredLadder);
};

template <>
struct Mapping<LadderEntry> {
  static constexpr std::string_view table = "LadderEntry";
  static constexpr auto columns = store::columns::recordColumns<store::columns::kLadderEntry>();
  static constexpr std::string_view order = "ladder, position, pk";
  static constexpr std::string_view unique{};
  TOVRA_MAPPING_FUNCTIONS(LadderEntry);
};

template <>
struct Mapping<HintProbe> {
  static constexpr std::string_view table = "HintProbe";
  static constexpr auto columns = store::columns::recordColumns<store::columns::kHintProbe>();
  static constexpr std::string_view order = "observedAt, pk";
  static constexpr std::string_view unique{};
  TOVRA_MAPPING_FUNCTIONS(HintProbe);
};

template <>
struct Mapping<StoreHint> {
  static constexpr std::string_view table = "StoreHint";
  static constexpr auto columns = store::columns::recordColumns<store::columns::kStoreHint>();
  static constexpr std::string_view order = "probe, position, pk";
  static constexpr std::string_view unique{};
  TOVRA_MAPPING_FUNCTIONS(StoreHint);
};

#undef TOVRA_MAPPING_FUNCTIONS

}  // namespace tovra::store
