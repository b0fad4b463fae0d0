#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tovra::base {

// Edits (insert, delete, replace, swap two neighbours) that turn `a` into `b`, counted on bytes: the names
// compared here (commands, country codes) are ASCII.
std::size_t editDistance(std::string_view a, std::string_view b);

// The candidates a mistyped `input` most likely meant, nearest first and in the candidates' order among
// equals: those within `maxDistance` edits, and those `input` begins (a command cut short). At most `limit`.
std::vector<std::string> nearestNames(std::string_view input, const std::vector<std::string_view>& candidates,
                                      std::size_t maxDistance, std::size_t limit);

}  // namespace tovra::base
