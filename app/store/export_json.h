#pragma once

// Writes each exported value as a JSON object, its keys in sorted order. A nested list is written by
// the given function at its key's place, so the caller can stream it. Included by app/store/*.cpp only.

#include <functional>

#include "app/store/export.h"
#include "app/store/json_stream.h"

namespace tovra::store {

using ListWriter = std::function<void()>;

void write(JsonStream& json, const ExportedStore& store, const ListWriter& apps, const ListWriter& hintProbes,
           const ListWriter& ladders, const ListWriter& researchSpaces, const ListWriter& runs);
void write(JsonStream& json, const ExportedApp& app, const ListWriter& localizations, const ListWriter& queries);
void write(JsonStream& json, const ExportedLocalization& localization);
void write(JsonStream& json, const ExportedSpace& space, const ListWriter& queries);
void write(JsonStream& json, const ExportedQuery& query, const ListWriter& observations, const ListWriter& reviewMarks);
void write(JsonStream& json, const ExportedObservation& observation);
void write(JsonStream& json, const ExportedReviewMark& mark);
void write(JsonStream& json, const ExportedRun& run, const ListWriter& outcomes);
void write(JsonStream& json, const ExportedOutcome& outcome);
void write(JsonStream& json, const ExportedLadder& ladder, const ListWriter& entries);
void write(JsonStream& json, const ExportedLadderEntry& entry);
void write(JsonStream& json, const ExportedProbe& probe, const ListWriter& hints);
void write(JsonStream& json, const ExportedHint& hint);

}  // namespace tovra::store
