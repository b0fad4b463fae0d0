#pragma once

#include <cstdint>
#include <string>

namespace tovra::store {

// A file size the way the desktop's file manager writes it: decimal units (1 KB = 1,000 bytes), whole
// kilobytes, one decimal for megabytes, two above, trailing zeros dropped, and zero spelled out
// ("Zero KB", "1 byte", "532 bytes", "2 KB", "1.5 MB", "3.07 GB").
std::string formatByteCount(std::uint64_t bytes);

}  // namespace tovra::store
