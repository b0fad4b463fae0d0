#include "app/store/byte_count.h"

#include <array>
#include <cmath>
#include <cstdio>

namespace tovra::store {

std::string formatByteCount(std::uint64_t bytes) {
  if (bytes == 0) {
    return "Zero KB";
  }
  if (bytes == 1) {
    return "1 byte";
  }
  if (bytes < 1000) {
    return std::to_string(bytes) + " bytes";
  }
  struct Unit {
    const char* name;
    int decimals;
  };
  constexpr std::array<Unit, 6> units{{{"KB", 0}, {"MB", 1}, {"GB", 2}, {"TB", 2}, {"PB", 2}, {"EB", 2}}};
  double value = static_cast<double>(bytes) / 1000.0;
  for (std::size_t i = 0; i < units.size(); ++i) {
    const double scale = std::pow(10.0, units[i].decimals);
    const double rounded = std::round(value * scale) / scale;
    // 999,999 bytes round to 1,000 KB, which the next unit says better: "1 MB".
    if (rounded < 1000.0 || i + 1 == units.size()) {
      char text[64];
      std::snprintf(text, sizeof text, "%.*f", units[i].decimals, rounded);
      std::string number = text;
      if (number.find('.') != std::string::npos) {
        while (number.back() == '0') {
          number.pop_back();
        }
        if (number.back() == '.') {
          number.pop_back();
        }
      }
      return number + " " + units[i].name;
    }
    value /= 1000.0;
  }
  return {};
}

}  // namespace tovra::store
