#include "app/research/country_name.h"

#include <unicode/locid.h>

#include "app/research/keyword_key.h"
#include "app/research/unicode_text.h"

namespace tovra::research {

std::string countryDisplayName(std::string_view country, std::string_view language) {
  std::string region = normalizedCountry(country);
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
  return unicode::toUtf8(name);
}

}  // namespace tovra::research
