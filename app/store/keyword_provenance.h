#pragma once

#include <optional>
#include <string_view>

namespace tovra::store {

// Where a keyword came from; stored by its raw text, which equals the case name. Drafts carry it before
// the keyword is written, so this header stays small enough for them to include.
enum class KeywordProvenance { carriedFromSearch, typedByUser, carriedFromStoreHint };
std::string_view rawValue(KeywordProvenance provenance);
// Where a keyword came from, in the user's words: "typed", "from a search", "from a store hint".
std::string_view provenanceText(KeywordProvenance provenance);
// None for a text that names no case.
std::optional<KeywordProvenance> keywordProvenance(std::string_view raw);

}  // namespace tovra::store
