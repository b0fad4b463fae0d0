#include "app/base/unicode_text.h"

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/utypes.h>

#include <memory>
#include <stdexcept>

namespace tovra::base::unicode {

icu::UnicodeString fromUtf8(std::string_view text) {
  if (text.size() > static_cast<std::size_t>(INT32_MAX)) {
    throw std::length_error("text too long");
  }
  return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

std::string toUtf8(const icu::UnicodeString& text) {
  std::string out;
  text.toUTF8String(out);
  return out;
}

icu::UnicodeString composed(const icu::UnicodeString& text) {
  UErrorCode status = U_ZERO_ERROR;
  const auto* nfc = icu::Normalizer2::getNFCInstance(status);
  check(status, "NFC");
  auto out = nfc->normalize(text, status);
  check(status, "NFC");
  return out;
}

icu::UnicodeString decomposed(const icu::UnicodeString& text) {
  UErrorCode status = U_ZERO_ERROR;
  const auto* nfd = icu::Normalizer2::getNFDInstance(status);
  check(status, "NFD");
  auto out = nfd->normalize(text, status);
  check(status, "NFD");
  return out;
}

std::vector<std::int32_t> graphemeBounds(const icu::UnicodeString& text) {
  // Making a break iterator loads rule data; one per thread is kept and re-pointed at each text.
  thread_local std::unique_ptr<icu::BreakIterator> breaks = [] {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::BreakIterator> made(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    check(status, "grapheme break iterator");
    return made;
  }();
  breaks->setText(text);
  std::vector<std::int32_t> bounds{breaks->first()};
  for (auto at = breaks->next(); at != icu::BreakIterator::DONE; at = breaks->next()) {
    bounds.push_back(at);
  }
  return bounds;
}

void check(int errorCode, const char* what) {
  const auto status = static_cast<UErrorCode>(errorCode);
  if (U_FAILURE(status)) {
    throw std::runtime_error(std::string("Unicode support failed (") + what + "): " + u_errorName(status));
  }
}

}  // namespace tovra::base::unicode
