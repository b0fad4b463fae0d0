#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// The one comparison form of a keyword. Every duplicate test in the application (drafts, the
// watchlist writer, the cost line, ladder and probe matching) goes through these functions, so two
// places can never disagree on whether two keywords are the same.
namespace tovra::base {

// Splits at every Unicode White_Space character (U+00A0, U+3000, U+0085, U+2028 and U+2029 included),
// drops the empty pieces and joins the rest with one space: runs become one space, both ends are trimmed,
// and text of only white space becomes empty. Case and everything else are kept; this is the form in
// which a keyword is shown and stored.
std::string collapseWhitespace(std::string_view text);

// Full lower-casing with the root locale, never the user's (a Turkish locale would turn I into a
// dotless ı) and never byte-wise tolower.
std::string lowerCased(std::string_view text);

// The keyword key: whitespace collapsed, capital İ (U+0130) → i, NFC, root-locale lower-casing,
// i + U+0307 → i, NFC again. A Turkish city written with a capital dotted I meets its lower-case form.
std::string keywordKey(std::string_view keyword);

// A country as it is stored and compared: trimmed of white space and line breaks, lower-cased.
std::string normalizedCountry(std::string_view country);

// A country as it is shown: normalized, then upper-cased ("de " → "DE").
std::string upperCountry(std::string_view country);

// keywordKey(keyword) + "|" + normalizedCountry(country): the key of a keyword-and-country pair.
std::string queryKey(std::string_view keyword, std::string_view country);

// User-perceived characters (extended grapheme clusters): a family emoji joined by ZWJ is one, a
// letter with a combining accent is one, CR LF is one.
std::size_t graphemeCount(std::string_view text);

}  // namespace tovra::base
