#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// How much room a text takes in a terminal, so that columns of names in any script line up.
namespace tovra::base {

// Terminal cells: a user-perceived character takes two when it is wide (East Asian wide or full-width,
// or an emoji shown as a picture), none when it is a control character, one otherwise.
std::size_t terminalColumns(std::string_view text);

// The text whole when it fits in `columns` cells; else as many whole characters as leave room for an
// ellipsis (U+2026), then the ellipsis. Never splits a character; zero columns give empty text.
std::string cutToColumns(std::string_view text, std::size_t columns);

}  // namespace tovra::base
