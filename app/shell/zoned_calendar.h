#pragma once

#include <string>

#include "AsoKit/calendar.h"

namespace date {
class time_zone;
}

namespace tovra::shell {

// The calendar of a time zone from the system's time-zone database; by default the user's own zone
// (TZ, else /etc/localtime).
class ZonedCalendar final : public asokit::Calendar {
 public:
  ZonedCalendar();
  // Throws std::runtime_error for a zone the database does not know.
  explicit ZonedCalendar(const std::string& zoneName);

  asokit::WallTime startOfDay(asokit::WallTime moment) const override;
  asokit::WallTime addDays(asokit::WallTime moment, int days) const override;
  asokit::WallTime::duration clockTime(asokit::WallTime moment) const override;
  const std::string& zoneName() const;

 private:
  const date::time_zone* zone_;
};

}  // namespace tovra::shell
