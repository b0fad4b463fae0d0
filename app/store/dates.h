#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "AsoKit/clock.h"

// How the store keeps time: integer milliseconds since the epoch, UTC. Milliseconds, not seconds,
// so that two writes within one second keep their order (retention and "within 3600 s" need it).
namespace tovra::store {

std::int64_t toMillis(asokit::WallTime time);
asokit::WallTime fromMillis(std::int64_t millis);

// "2025-01-14T09:30:12Z": UTC, whole seconds (the fraction is dropped, never rounded up).
std::string isoUtc(asokit::WallTime time);
// Writes the same text into `out`, which holds kIsoUtcLength characters (the export writes millions).
inline constexpr std::size_t kIsoUtcLength = 20;
void writeIsoUtc(char* out, asokit::WallTime time);

}  // namespace tovra::store
