#include "AsoKit/json_values.h"

#include <fmt/format.h>

#include <cmath>
#include <limits>

namespace asokit::json_values {

std::optional<std::string> numberText(const nlohmann::json& value) {
  if (value.is_number_unsigned()) {
    return std::to_string(value.get<std::uint64_t>());
  }
  if (value.is_number_integer()) {
    return std::to_string(value.get<std::int64_t>());
  }
  if (value.is_number_float()) {
    const double number = value.get<double>();
    if (!std::isfinite(number)) {
      return std::nullopt;
    }
    if (number == std::floor(number) && std::fabs(number) < 9.0e15) {
      return std::to_string(static_cast<std::int64_t>(number));
    }
    return fmt::format("{}", number);
  }
  return std::nullopt;
}

std::optional<std::string> idText(const nlohmann::json& value) {
  if (value.is_string()) {
    return value.get<std::string>();
  }
  return numberText(value);
}

nlohmann::json parseOrDiscard(std::string_view bytes) {
  return nlohmann::json::parse(bytes.begin(), bytes.end(), nullptr, /*allow_exceptions=*/false);
}

}  // namespace asokit::json_values
