#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

// Readings of loosely typed answer values shared by the parsers.
namespace asokit::json_values {

// The decimal text of a JSON number (integers without a fraction; 1234.0 → "1234"), none otherwise.
std::optional<std::string> numberText(const nlohmann::json& value);

// An id given as a string (as it stands) or a number (its decimal text).
std::optional<std::string> idText(const nlohmann::json& value);

// Parses bytes as JSON without throwing; a discarded value when they are not JSON.
nlohmann::json parseOrDiscard(std::string_view bytes);

}  // namespace asokit::json_values
