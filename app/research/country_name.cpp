#include "app/research/country_name.h"

#include <unicode/locid.h>

#include "app/base/keyword_key.h"
#include "app/base/unicode_text.h"

namespace tovra::research {

std::string countryDisplayName(std::string_view country, std::string_view language) {
  std::string region = base::normalizedCountry(country);
  for (auto& c : region) {
    if (c >= 'a' && c <= 'z') {
      c = static_cast<char>(c - 'a' + 'A');
    }
  }
  const icu::Locale place("", region.c_str());
  const icu::Locale reader(std::string(language).c_str());
  icu::UnicodeString name;
  place.getDisplayCountry(reader, name);
  if (name.isEmpty()) {
    return region;
  }
  return base::unicode::toUtf8(name);
}

}  // namespace tovra::research
