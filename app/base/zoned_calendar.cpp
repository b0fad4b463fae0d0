#include "app/base/zoned_calendar.h"

#include <date/tz.h>

namespace tovra::base {
namespace {

using namespace std::chrono;

// The first instant of a local calendar day. Where local midnight does not exist (a forward jump at
// 00:00) the day starts at the jump; where it exists twice, at the earlier one.
asokit::WallTime firstInstantOf(const date::time_zone* zone, date::local_days day) {
  const auto info = zone->get_info(date::local_seconds{day.time_since_epoch()});
  switch (info.result) {
    case date::local_info::unique:
      return asokit::WallTime{duration_cast<asokit::WallTime::duration>(day.time_since_epoch() - info.first.offset)};
    case date::local_info::ambiguous:
      return asokit::WallTime{duration_cast<asokit::WallTime::duration>(day.time_since_epoch() - info.first.offset)};
    case date::local_info::nonexistent:
    default:
      return asokit::WallTime{duration_cast<asokit::WallTime::duration>(info.second.begin.time_since_epoch())};
  }
}

}  // namespace

ZonedCalendar ZonedCalendar::forUser(const std::optional<std::string>& zoneName) {
  if (zoneName) {
    try {
      return ZonedCalendar(*zoneName);
    } catch (const std::exception&) {
      // An unusable TZ falls back to the system's zone.
    }
  }
  try {
    return ZonedCalendar(date::current_zone()->name());
  } catch (const std::exception&) {
    return ZonedCalendar("UTC");
  }
}

ZonedCalendar::ZonedCalendar(const std::string& zoneName) : zone_(date::locate_zone(zoneName)) {}

asokit::WallTime ZonedCalendar::startOfDay(asokit::WallTime moment) const {
  const auto local = zone_->to_local(time_point_cast<seconds>(moment));
  return firstInstantOf(zone_, date::floor<date::days>(local));
}

asokit::WallTime ZonedCalendar::addDays(asokit::WallTime moment, int days) const {
  const auto local = zone_->to_local(time_point_cast<seconds>(moment));
  return firstInstantOf(zone_, date::floor<date::days>(local) + date::days{days});
}

asokit::WallTime::duration ZonedCalendar::clockTime(asokit::WallTime moment) const {
  const auto local = zone_->to_local(moment);
  return local - date::floor<date::days>(local);
}

const std::string& ZonedCalendar::zoneName() const {
  return zone_->name();
}

}  // namespace tovra::base
