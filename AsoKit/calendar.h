#pragma once

#include "AsoKit/clock.h"

namespace asokit {

// The user's calendar and time zone, supplied by the caller: days start at local midnight (or the
// first moment after it when midnight does not exist), and a day is not always 86,400 s long.
class Calendar {
 public:
  virtual ~Calendar() = default;
  virtual WallTime startOfDay(WallTime moment) const = 0;
  // The start of the day `days` calendar days after the one holding `moment`.
  virtual WallTime addDays(WallTime moment, int days) const = 0;
  virtual bool isSameDay(WallTime a, WallTime b) const { return startOfDay(a) == startOfDay(b); }
  // What the local clock reads at `moment`, counted from the midnight of its day: 10:00 is 10 hours even
  // on a day whose clocks moved before it. By default the time since the day started.
  virtual WallTime::duration clockTime(WallTime moment) const { return moment - startOfDay(moment); }
};

}  // namespace asokit
