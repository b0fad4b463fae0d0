#include "app/store/local_time.h"

#include <date/tz.h>

namespace tovra::store {

LocalTimeFormat::LocalTimeFormat(const std::string& zoneName) : zone_(date::locate_zone(zoneName)) {}

std::string LocalTimeFormat::stamp(asokit::WallTime time) const {
  const auto local = zone_->to_local(std::chrono::floor<std::chrono::seconds>(time));
  return date::format("%Y%m%d-%H%M%S", local);
}

std::string LocalTimeFormat::date(asokit::WallTime time) const {
  const auto local = zone_->to_local(std::chrono::floor<std::chrono::seconds>(time));
  return date::format("%Y-%m-%d", local);
}

std::string LocalTimeFormat::minute(asokit::WallTime time) const {
  const auto local = zone_->to_local(std::chrono::floor<std::chrono::seconds>(time));
  return date::format("%Y-%m-%d %H:%M", local);
}

}  // namespace tovra::store
