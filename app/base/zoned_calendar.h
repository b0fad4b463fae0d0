#pragma once

#include <optional>
#include <string>

#include "AsoKit/calendar.h"

namespace date {
class time_zone;
}

namespace tovra::base {

// The calendar of a time zone from the system's time-zone database.
class ZonedCalendar final : public asokit::Calendar {
 public:
  // The user's calendar: the zone named by TZ when the database knows it, else the system's own zone
  // (/etc/localtime), as the C library does; UTC when neither can be found, so a bare container still
  // gets days and stamps.
  static ZonedCalendar forUser(const std::optional<std::string>& zoneName);

  // Throws std::runtime_error for a zone the database does not know.
  explicit ZonedCalendar(const std::string& zoneName);

  asokit::WallTime startOfDay(asokit::WallTime moment) const override;
  asokit::WallTime addDays(asokit::WallTime moment, int days) const override;
  asokit::WallTime::duration clockTime(asokit::WallTime moment) const override;
  const std::string& zoneName() const;

 private:
  const date::time_zone* zone_;
};

}  // namespace tovra::base
