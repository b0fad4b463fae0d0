#pragma once

#include <string>
#include <string_view>

#include "AsoKit/types.h"

namespace asokit::search_hints {

std::string url(std::string_view searchBase, std::string_view prefix);
// Reads an XML or binary property list. Throws AsoError::shapeChanged; an empty "hints" list is a valid
// answer with no terms.
SearchHintsResult parse(std::string_view body);

}  // namespace asokit::search_hints
