#pragma once

#include <cstdint>

namespace tovra::store {

// How many saved searches are kept per keyword and country, and how many hint probes per prefix and
// country: the newest ones; older ones are deleted with their entries or hints.
inline constexpr std::int64_t kRetentionDepth = 30;

}  // namespace tovra::store
