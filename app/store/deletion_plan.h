#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "app/store/records.h"

namespace tovra::store {

class Store;

// Deleting is two steps: a plan lists every record that will go and counts what stays although it
// touches the subject; the user reads it and confirms; only then StoreDeletion carries it out. Saved
// searches and store hints belong to a keyword in a country, not to an app, so only "everything"
// lists them. A run is listed only when every one of its outcomes (at least one) is in the plan.
struct DeletionPlan {
  struct AppSubject {
    std::string name;
    bool operator==(const AppSubject&) const = default;
  };
  struct QuerySubject {
    std::string keyword;
    std::string country;
    bool operator==(const QuerySubject&) const = default;
  };
  struct SpaceSubject {
    std::string name;
    std::optional<std::string> graduatedTo;  // the name of the app the space graduated to
    bool operator==(const SpaceSubject&) const = default;
  };
  struct EverythingSubject {
    bool operator==(const EverythingSubject&) const = default;
  };
  using Subject = std::variant<AppSubject, QuerySubject, SpaceSubject, EverythingSubject>;

  Subject subject;
  std::vector<RecordId<TrackedApp>> apps;
  std::vector<RecordId<AppLocalization>> localizations;
  std::vector<RecordId<ResearchSpace>> spaces;
  std::vector<RecordId<TrackedQuery>> queries;
  std::vector<RecordId<StoredObservation>> observations;
  std::vector<RecordId<ReviewMark>> reviewMarks;
  std::vector<RecordId<RunOutcome>> outcomes;
  std::vector<RecordId<MeasurementRun>> runs;
  std::vector<RecordId<StoredLadder>> ladders;
  std::vector<RecordId<LadderEntry>> ladderEntries;
  std::vector<RecordId<HintProbe>> probes;
  std::vector<RecordId<StoreHint>> hints;
  std::int64_t keptLadders = 0;  // saved searches for the subject's keywords
  std::int64_t keptProbes = 0;   // store hint lists for them
  std::int64_t keptRuns = 0;     // runs that also covered other keywords or apps

  // Each reads the store in one snapshot. Saved searches and hint probes count as the subject's when
  // their keyword (a probe: its prefix) and country have the key of one of its keywords.
  static DeletionPlan forApp(Store& store, const TrackedApp& app);
  static DeletionPlan forQuery(Store& store, const TrackedQuery& query);
  static DeletionPlan forSpace(Store& store, const ResearchSpace& space);
  static DeletionPlan forEverything(Store& store);

  // The same subject read again from the store; throws StoreError(notFound) when the subject is gone.
  DeletionPlan reread(Store& store) const;
  // Whether both plans list exactly the same records (names and kept counts aside).
  bool listsSameRecords(const DeletionPlan& other) const;
  bool listsNothing() const;

  // Where the explanation is read: the command line has no Rivals view to point to.
  enum class Reader { desktop, commandLine };

  // The confirmation's texts: the title, the one-line summary, the explanation lines in order (the
  // subject's own lines, then the kept line) and the warning.
  std::string title() const;
  std::string summary() const;
  std::vector<std::string> explanation(Reader reader = Reader::desktop) const;
  std::string warning() const;

  bool operator==(const DeletionPlan&) const = default;
};

// Carries a confirmed plan out: deletes every listed record and nothing else, in one save. When the
// store no longer matches the plan (a run wrote a reading while the confirmation was open, the app was
// deleted elsewhere) nothing is deleted and StoreError(notFound) says so.
class StoreDeletion final {
 public:
  explicit StoreDeletion(Store& store) : store_(&store) {}
  void carryOut(const DeletionPlan& plan);

 private:
  Store* store_;
};

}  // namespace tovra::store
