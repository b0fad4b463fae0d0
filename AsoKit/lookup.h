#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "AsoKit/types.h"

namespace asokit::lookup {

inline constexpr std::size_t kChunkSize = 50;

// The "lang" value for a country (trimmed, lower-cased first), none outside the table.
std::optional<std::string_view> language(std::string_view country);

std::string idsUrl(std::string_view lookupBase, const std::vector<std::string>& ids, std::string_view country);
std::string bundleUrl(std::string_view lookupBase, std::string_view bundleId, std::string_view country);

// Throws AsoError::shapeChanged. Elements without an id or a name are left out; odd values degrade
// field by field.
std::vector<AppInfo> parse(std::string_view body);

// ".../512x512bb.jpg" → ".../128x128bb.webp"; other strings unchanged; none when not a URL.
std::optional<std::string> iconUrl(std::string_view artworkUrl);

}  // namespace asokit::lookup
