#pragma once

#include <string>
#include <string_view>

namespace tovra::research {

// The name of a storefront's country in a language ("de" → "Germany" in English), from ICU's locale
// data. A code ICU does not know comes back upper-cased as it is.
std::string countryDisplayName(std::string_view country, std::string_view language = "en");

}  // namespace tovra::research
