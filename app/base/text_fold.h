#pragma once

#include <string>
#include <string_view>

namespace tovra::base {

// Case-, diacritic- and width-insensitive folding with the root locale, so two texts a user would call
// "the same name" fold equal: "Café", "CAFE" and full-width "ＣＡＦＥ" all become "cafe". The capital
// dotted I folds to a plain i and the dotless ı stays itself, whatever the desktop's locale.
// For equality tests only; the result is not meant to be shown.
std::string foldCaseDiacriticsWidth(std::string_view text);

// The same without the width folding: "Café" and "CAFE" fold equal, full-width "ＣＡＦＥ" does not. Store
// hints are matched this way.
std::string foldCaseDiacritics(std::string_view text);

}  // namespace tovra::base
