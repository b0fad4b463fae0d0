#include "app/base/text_fold.h"

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/uniset.h>

#include <memory>

#include "app/base/unicode_text.h"

namespace tovra::base {
namespace {

// Compatibility composition restricted to the half- and full-width forms (and the ideographic space):
// it maps "Ａ" to "A" and half-width katakana to the ordinary ones, without the rest of NFKC's
// rewriting (ligatures, superscripts, fractions) that a width-insensitive compare does not ask for.
class WidthFolder final {
 public:
  WidthFolder() {
    UErrorCode status = U_ZERO_ERROR;
    const auto* nfkc = icu::Normalizer2::getNFKCInstance(status);
    unicode::check(status, "NFKC");
    set_ = std::make_unique<icu::UnicodeSet>(icu::UnicodeString(u"[\\u3000\\uFF00-\\uFFEF]"), status);
    unicode::check(status, "width set");
    set_->freeze();
    filtered_ = std::make_unique<icu::FilteredNormalizer2>(*nfkc, *set_);
  }

  icu::UnicodeString fold(const icu::UnicodeString& text) const {
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString out;
    filtered_->normalize(text, out, status);
    unicode::check(status, "width folding");
    return out;
  }

 private:
  std::unique_ptr<icu::UnicodeSet> set_;
  std::unique_ptr<icu::FilteredNormalizer2> filtered_;
};

std::string foldedCaseAndMarks(icu::UnicodeString u) {
  // Default full case folding is the same in every locale: İ becomes i + U+0307, whose dot then goes
  // with the other marks below.
  u.foldCase();
  const auto decomposed = unicode::decomposed(u);
  icu::UnicodeString bare;
  for (std::int32_t at = 0; at < decomposed.length();) {
    const auto c = decomposed.char32At(at);
    if (u_charType(c) != U_NON_SPACING_MARK) {
      bare.append(c);
    }
    at += U16_LENGTH(c);
  }
  return unicode::toUtf8(unicode::composed(bare));
}

}  // namespace

std::string foldCaseDiacriticsWidth(std::string_view text) {
  static const WidthFolder width;
  return foldedCaseAndMarks(width.fold(unicode::fromUtf8(text)));
}

std::string foldCaseDiacritics(std::string_view text) {
  return foldedCaseAndMarks(unicode::fromUtf8(text));
}

}  // namespace tovra::base
