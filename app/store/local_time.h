#pragma once

#include <string>

#include "AsoKit/clock.h"

namespace date {
class time_zone;
}

namespace tovra::store {

// Writes instants in the local time of a time zone, with the Gregorian calendar and ASCII digits
// whatever the desktop's locale: backup folder stamps and the export's proposed file name.
class LocalTimeFormat final {
 public:
  // Throws std::runtime_error for a zone the time-zone database does not know.
  explicit LocalTimeFormat(const std::string& zoneName);

  // "yyyyMMdd-HHmmss", e.g. "20250114-093012".
  std::string stamp(asokit::WallTime time) const;
  // "yyyy-MM-dd", e.g. "2025-01-14".
  std::string date(asokit::WallTime time) const;
  // "yyyy-MM-dd HH:mm", e.g. "2025-01-14 09:30".
  std::string minute(asokit::WallTime time) const;

 private:
  const date::time_zone* zone_;
};

}  // namespace tovra::store
