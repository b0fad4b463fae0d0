#include "app/base/keyword_key.h"

#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <cstdint>
#include <stdexcept>

#include "AsoKit/storefront.h"
#include "app/base/unicode_text.h"

namespace tovra::base {

std::string collapseWhitespace(std::string_view text) {
  if (text.size() > static_cast<std::size_t>(INT32_MAX)) {
    throw std::length_error("text too long");
  }
  // Works on the UTF-8 bytes so that everything but the white space is kept byte for byte.
  const auto length = static_cast<std::int32_t>(text.size());
  std::string out;
  out.reserve(text.size());
  bool gap = false;
  std::int32_t at = 0;
  while (at < length) {
    const auto start = at;
    UChar32 c = 0;
    U8_NEXT(text.data(), at, length, c);
    if (c >= 0 && u_isUWhiteSpace(c)) {
      gap = !out.empty();
      continue;
    }
    if (gap) {
      out += ' ';
      gap = false;
    }
    out.append(text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(at - start)));
  }
  return out;
}

std::string lowerCased(std::string_view text) {
  auto u = unicode::fromUtf8(text);
  u.toLower(icu::Locale::getRoot());
  return unicode::toUtf8(u);
}

std::string keywordKey(std::string_view keyword) {
  auto u = unicode::fromUtf8(collapseWhitespace(keyword));
  u.findAndReplace(icu::UnicodeString(static_cast<UChar32>(0x0130)), icu::UnicodeString(u'i'));
  u = unicode::composed(u);
  u.toLower(icu::Locale::getRoot());
  // Lower-casing a decomposed capital dotted I (or a dotted I that NFC could not compose) leaves
  // i + U+0307; the key wants the plain i the Turkish word is also written with.
  u.findAndReplace(icu::UnicodeString(u"i\u0307"), icu::UnicodeString(u'i'));
  return unicode::toUtf8(unicode::composed(u));
}

std::string normalizedCountry(std::string_view country) {
  return asokit::storefront::normalizeCountry(country);
}

std::string upperCountry(std::string_view country) {
  auto code = normalizedCountry(country);
  for (auto& c : code) {
    if (c >= 'a' && c <= 'z') {
      c = static_cast<char>(c - 'a' + 'A');
    }
  }
  return code;
}

std::string queryKey(std::string_view keyword, std::string_view country) {
  return keywordKey(keyword) + "|" + normalizedCountry(country);
}

std::size_t graphemeCount(std::string_view text) {
  if (text.empty()) {
    return 0;
  }
  return unicode::graphemeBounds(unicode::fromUtf8(text)).size() - 1;
}

}  // namespace tovra::base
