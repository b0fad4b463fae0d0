#include "app/store/export.h"

#include "app/store/export_json.h"
#include "app/store/json_stream.h"
#include "app/store/reading_periods.h"
#include "app/store/rows.h"
#include "app/store/sql.h"
#include "app/store/store.h"
#include "app/store/table_columns.h"
#include "app/store/transaction.h"

namespace tovra::store {
namespace {

using columns::Column;
using columns::exportedList;
using columns::kAppLocalization;
using columns::kHintProbe;
using columns::kLadderEntry;
using columns::kMeasurementRun;
using columns::kResearchSpace;
using columns::kReviewMark;
using columns::kRunOutcome;
using columns::kStoredLadder;
using columns::kStoredObservation;
using columns::kStoreHint;
using columns::kTrackedApp;
using columns::kTrackedQuery;

// "SELECT <before><the table's exported columns, in table order> <after>": the values each exported
// object is read from come in the order of its description.
std::string select(std::string_view before, std::span<const Column> table, std::string_view alias,
                   const std::string& after) {
  const std::string rest = after.starts_with(",") ? after : " " + after;
  return "SELECT " + std::string(before) + exportedList(table, alias) + rest;
}

// Walks the store in export order. Top-level lists are sorted by their date; nested lists by country
// (localizations), keyword and country (keywords), day (readings and marks), write order (outcomes) and
// position (entries and hints). The row is the last tie-break everywhere, so the order is total.
class Walker final {
 public:
  Walker(Store& store, JsonStream& json)
      : json_(json),
        apps_(store, select("pk, ", kTrackedApp, "", "FROM TrackedApp ORDER BY addedAt, pk")),
        localizations_(store,
                       select("", kAppLocalization, "", "FROM AppLocalization WHERE app = ?1 ORDER BY country, pk")),
        appQueries_(
            store, select("pk, ", kTrackedQuery, "", "FROM TrackedQuery WHERE app = ?1 ORDER BY keyword, country, pk")),
        spaceQueries_(store, select("pk, ", kTrackedQuery, "",
                                    "FROM TrackedQuery WHERE space = ?1 ORDER BY keyword, country, pk")),
        observations_(store,
                      select("", kStoredObservation, "o.",
                             "FROM " + std::string(periods::kReadingsOfQuery) + std::string(periods::kOldestFirst))),
        reviewMarks_(store, select("", kReviewMark, "", "FROM ReviewMark WHERE query = ?1 ORDER BY day, pk")),
        spaces_(store, select("", kResearchSpace, "", ", pk FROM ResearchSpace ORDER BY createdAt, pk")),
        runs_(store, select("pk, ", kMeasurementRun, "", "FROM MeasurementRun ORDER BY startedAt, pk")),
        // An outcome names its keyword, country and app, taken from its keyword and that keyword's app.
        outcomes_(store, select("", kRunOutcome, "o.",
                                ", q.keyword, q.country, a.appStoreId FROM RunOutcome o "
                                "LEFT JOIN TrackedQuery q ON q.pk = o.query LEFT JOIN TrackedApp a ON a.pk = q.app "
                                "WHERE o.run = ?1 ORDER BY o.pk")),
        ladders_(store, select("pk, ", kStoredLadder, "", "FROM StoredLadder ORDER BY fetchedAt, pk")),
        entries_(store, select("", kLadderEntry, "", "FROM LadderEntry WHERE ladder = ?1 ORDER BY position, pk")),
        probes_(store, select("pk, ", kHintProbe, "", "FROM HintProbe ORDER BY observedAt, pk")),
        hints_(store, select("", kStoreHint, "", "FROM StoreHint WHERE probe = ?1 ORDER BY position, pk")) {}

  void apps();
  void spaces();
  void runs();
  void ladders();
  void probes();

 private:
  void queries(Rows& rows, std::int64_t owner);
  void observations(std::int64_t query);
  void reviewMarks(std::int64_t query);

  JsonStream& json_;
  Rows apps_, localizations_, appQueries_, spaceQueries_, observations_, reviewMarks_, spaces_, runs_, outcomes_,
      ladders_, entries_, probes_, hints_;
};

void Walker::apps() {
  json_.beginArray();
  ExportedApp app;
  while (apps_.next()) {
    const std::int64_t row = apps_.integer(0);
    app = ExportedApp{std::string(apps_.text(1)),
                      std::string(apps_.text(2)),
                      std::string(apps_.text(3)),
                      apps_.optionalText(4),
                      apps_.optionalText(5),
                      apps_.flag(6),
                      apps_.time(7)};
    const std::function<void()> localizations = [&] {
      json_.beginArray();
      localizations_.restart(row);
      while (localizations_.next()) {
        write(json_, ExportedLocalization{std::string(localizations_.text(0)), std::string(localizations_.text(1)),
                                          std::string(localizations_.text(2)), localizations_.time(3)});
      }
      json_.endArray();
    };
    const std::function<void()> queryList = [&] { queries(appQueries_, row); };
    write(json_, app, localizations, queryList);
  }
  json_.endArray();
}

void Walker::queries(Rows& rows, std::int64_t owner) {
  json_.beginArray();
  rows.restart(owner);
  ExportedQuery query;
  while (rows.next()) {
    const std::int64_t row = rows.integer(0);
    query.keyword.assign(rows.text(1));
    query.country.assign(rows.text(2));
    query.provenance.assign(rows.text(3));
    query.addedAt = rows.time(4);
    query.isPaused = rows.flag(5);
    const std::function<void()> readings = [&] { observations(row); };
    const std::function<void()> marks = [&] { reviewMarks(row); };
    write(json_, query, readings, marks);
  }
  json_.endArray();
}

void Walker::observations(std::int64_t query) {
  json_.beginArray();
  observations_.restart(query);
  ExportedObservation observation;
  while (observations_.next()) {
    observation.day = observations_.time(0);
    observation.measuredAt = observations_.time(1);
    observation.rank = observations_.optionalInteger(2);
    observation.resultCount = observations_.integer(3);
    observation.source.assign(observations_.text(4));
    write(json_, observation);
  }
  json_.endArray();
}

void Walker::reviewMarks(std::int64_t query) {
  json_.beginArray();
  reviewMarks_.restart(query);
  while (reviewMarks_.next()) {
    write(json_, ExportedReviewMark{reviewMarks_.time(0), reviewMarks_.time(1)});
  }
  json_.endArray();
}

void Walker::spaces() {
  json_.beginArray();
  while (spaces_.next()) {
    const ExportedSpace space{std::string(spaces_.text(0)), std::string(spaces_.text(1)),
                              spaces_.optionalText(2),      spaces_.time(3),
                              spaces_.optionalText(4),      spaces_.optionalTime(5)};
    const std::int64_t row = spaces_.integer(6);
    write(json_, space, [&] { queries(spaceQueries_, row); });
  }
  json_.endArray();
}

void Walker::runs() {
  json_.beginArray();
  while (runs_.next()) {
    const std::int64_t row = runs_.integer(0);
    const ExportedRun run{runs_.time(1), runs_.optionalTime(2), runs_.flag(3),
                          runs_.flag(4), runs_.integer(5),      runs_.integer(6)};
    write(json_, run, [&] {
      json_.beginArray();
      outcomes_.restart(row);
      while (outcomes_.next()) {
        write(json_, ExportedOutcome{std::string(outcomes_.text(0)), outcomes_.optionalText(1),
                                     outcomes_.optionalText(2), outcomes_.optionalText(3), outcomes_.optionalText(4)});
      }
      json_.endArray();
    });
  }
  json_.endArray();
}

void Walker::ladders() {
  json_.beginArray();
  while (ladders_.next()) {
    const std::int64_t row = ladders_.integer(0);
    const ExportedLadder ladder{
        std::string(ladders_.text(1)), std::string(ladders_.text(2)), ladders_.time(3),
        ladders_.integer(4),           ladders_.integer(5),           std::string(ladders_.text(6))};
    write(json_, ladder, [&] {
      json_.beginArray();
      entries_.restart(row);
      while (entries_.next()) {
        write(json_, ExportedLadderEntry{entries_.integer(0), std::string(entries_.text(1)),
                                         std::string(entries_.text(2)), std::string(entries_.text(3)),
                                         entries_.optionalInteger(4), entries_.optionalReal(5)});
      }
      json_.endArray();
    });
  }
  json_.endArray();
}

void Walker::probes() {
  json_.beginArray();
  while (probes_.next()) {
    const std::int64_t row = probes_.integer(0);
    const ExportedProbe probe{std::string(probes_.text(1)), std::string(probes_.text(2)), probes_.time(3),
                              std::string(probes_.text(4)), probes_.flag(5)};
    write(json_, probe, [&] {
      json_.beginArray();
      hints_.restart(row);
      while (hints_.next()) {
        write(json_, ExportedHint{hints_.integer(0), std::string(hints_.text(1)), hints_.optionalInteger(2)});
      }
      json_.endArray();
    });
  }
  json_.endArray();
}

// The export walks each keyword's readings in day order, while the rows lie in the order they were
// written (day by day across every keyword). Walking keyword after keyword then needs one page per day
// again and again; a page cache that holds a keyword's days turns the re-reads into hits. 32 MiB holds
// about 8,000 days' pages. The connection's own size comes back afterwards.
class LargerPageCache final {
 public:
  explicit LargerPageCache(Store& store) : store_(store) {
    guarded("reading the store", [&] {
      previous_ = store_.database().execAndGet("PRAGMA cache_size").getInt();
      store_.database().exec("PRAGMA cache_size = -32768");
    });
  }
  ~LargerPageCache() { store_.database().tryExec("PRAGMA cache_size = " + std::to_string(previous_)); }
  LargerPageCache(const LargerPageCache&) = delete;
  LargerPageCache& operator=(const LargerPageCache&) = delete;

 private:
  Store& store_;
  int previous_ = 0;
};

}  // namespace

std::string exportGeneratedBy() {
  const std::string version = TOVRA_VERSION;
  return version.empty() ? std::string("Tovra") : "Tovra " + version;
}

std::string proposedExportFileName(asokit::WallTime now, const LocalTimeFormat& localTime) {
  return "tovra-export-" + localTime.date(now) + ".json";
}

std::string numberedExportFileName(std::string_view proposed, int number) {
  if (number <= 1) {
    return std::string(proposed);
  }
  constexpr std::string_view kExtension = ".json";
  const auto stem = proposed.ends_with(kExtension) ? proposed.substr(0, proposed.size() - kExtension.size()) : proposed;
  return std::string(stem) + "-" + std::to_string(number) + std::string(kExtension);
}

void exportStore(Store& store, asokit::WallTime exportedAt, const std::function<void(std::string_view)>& sink) {
  // One snapshot for the whole file: a run that another process writes meanwhile is either entirely in
  // the file or not at all.
  const LargerPageCache cache(store);
  Transaction snapshot(store, Transaction::Mode::read);
  JsonStream json(sink);
  Walker walker(store, json);
  const ExportedStore header{exportedAt, exportGeneratedBy(), std::string(kExportNote)};
  write(
      json, header, [&] { walker.apps(); }, [&] { walker.probes(); }, [&] { walker.ladders(); },
      [&] { walker.spaces(); }, [&] { walker.runs(); });
  json.finish();
  snapshot.commit();
}

std::string exportStoreToString(Store& store, asokit::WallTime exportedAt) {
  std::string text;
  exportStore(store, exportedAt, [&](std::string_view chunk) { text.append(chunk); });
  return text;
}

}  // namespace tovra::store
