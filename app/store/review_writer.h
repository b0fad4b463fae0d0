#pragma once

#include <cstdint>

#include "AsoKit/calendar.h"
#include "app/store/records.h"

namespace tovra::store {

class Store;

// Marks a keyword's day as reviewed by the user. A day holds at most one mark: marking a day already
// marked returns that mark and writes nothing. `day` is any moment of that calendar day; the mark is
// stored at the day's start. Throws StoreError.
ReviewMark markDayReviewed(Store& store, RecordId<TrackedQuery> query, asokit::WallTime day, asokit::WallTime markedAt,
                           const asokit::Calendar& calendar);

// Takes back the keyword's marks of that calendar day; returns how many there were. Throws StoreError.
std::int64_t takeBackDayReview(Store& store, RecordId<TrackedQuery> query, asokit::WallTime day,
                               const asokit::Calendar& calendar);

}  // namespace tovra::store
