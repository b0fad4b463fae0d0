#include "AsoKit/text.h"

#include <array>
#include <cstdint>

namespace asokit::text {
namespace {

// White_Space code points, encoded as UTF-8.
constexpr std::array<std::string_view, 25> kWhite{
    "\x09",         "\x0A",         "\x0B",         "\x0C",         "\x0D",         " ",
    "\xC2\x85",     "\xC2\xA0",     "\xE1\x9A\x80", "\xE2\x80\x80", "\xE2\x80\x81", "\xE2\x80\x82",
    "\xE2\x80\x83", "\xE2\x80\x84", "\xE2\x80\x85", "\xE2\x80\x86", "\xE2\x80\x87", "\xE2\x80\x88",
    "\xE2\x80\x89", "\xE2\x80\x8A", "\xE2\x80\xA8", "\xE2\x80\xA9", "\xE2\x80\xAF", "\xE2\x81\x9F",
    "\xE3\x80\x80"};

std::size_t whiteAtStart(std::string_view s) {
  for (const auto w : kWhite) {
    if (s.substr(0, w.size()) == w) {
      return w.size();
    }
  }
  return 0;
}

std::size_t whiteAtEnd(std::string_view s) {
  for (const auto w : kWhite) {
    if (s.size() >= w.size() && s.substr(s.size() - w.size()) == w) {
      return w.size();
    }
  }
  return 0;
}

}  // namespace

std::string_view trimWhitespace(std::string_view s) {
  while (const auto n = whiteAtStart(s)) {
    s.remove_prefix(n);
  }
  while (const auto n = whiteAtEnd(s)) {
    s.remove_suffix(n);
  }
  return s;
}

std::string asciiLower(std::string_view s) {
  std::string out(s);
  for (auto& c : out) {
    if (c >= 'A' && c <= 'Z') {
      c = static_cast<char>(c - 'A' + 'a');
    }
  }
  return out;
}

bool isValidUtf8(std::string_view s) {
  std::size_t i = 0;
  while (i < s.size()) {
    const auto c = static_cast<std::uint8_t>(s[i]);
    std::size_t len = 0;
    std::uint32_t cp = 0;
    if (c < 0x80) {
      ++i;
      continue;
    } else if ((c & 0xE0) == 0xC0) {
      len = 2;
      cp = c & 0x1F;
    } else if ((c & 0xF0) == 0xE0) {
      len = 3;
      cp = c & 0x0F;
    } else if ((c & 0xF8) == 0xF0) {
      len = 4;
      cp = c & 0x07;
    } else {
      return false;
    }
    if (i + len > s.size()) {
      return false;
    }
    for (std::size_t k = 1; k < len; ++k) {
      const auto cc = static_cast<std::uint8_t>(s[i + k]);
      if ((cc & 0xC0) != 0x80) {
        return false;
      }
      cp = (cp << 6) | (cc & 0x3F);
    }
    const bool overlong = (len == 2 && cp < 0x80) || (len == 3 && cp < 0x800) || (len == 4 && cp < 0x10000);
    if (overlong || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
      return false;
    }
    i += len;
  }
  return true;
}

}  // namespace asokit::text
