#pragma once

#include <unicode/unistr.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// ICU plumbing shared by the research text functions; not part of their public face.
namespace tovra::base::unicode {

// Ill-formed UTF-8 becomes U+FFFD.
icu::UnicodeString fromUtf8(std::string_view text);
std::string toUtf8(const icu::UnicodeString& text);

// Canonical composition (NFC) and decomposition (NFD).
icu::UnicodeString composed(const icu::UnicodeString& text);
icu::UnicodeString decomposed(const icu::UnicodeString& text);

// The offsets at which the text's extended grapheme clusters start, plus its length at the end
// (so cluster i spans [bounds[i], bounds[i + 1])). Empty text gives {0}.
std::vector<std::int32_t> graphemeBounds(const icu::UnicodeString& text);

// Throws std::runtime_error naming `what` when ICU reports a failure (missing data, out of memory).
void check(int errorCode, const char* what);

}  // namespace tovra::base::unicode
