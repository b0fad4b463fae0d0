#pragma once

#include <string>
#include <string_view>

// Byte-level text helpers the client needs without a Unicode library.
namespace asokit::text {

// Trims Unicode white space and line breaks (as UTF-8) from both ends.
std::string_view trimWhitespace(std::string_view s);

// Lower-cases ASCII letters only; other bytes pass unchanged.
std::string asciiLower(std::string_view s);

// True when the bytes are well-formed UTF-8.
bool isValidUtf8(std::string_view s);

}  // namespace asokit::text
