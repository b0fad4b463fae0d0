#pragma once

#include <optional>
#include <string_view>

namespace tovra::store {

// Where a keyword came from; stored by its raw text, which equals the case name. Drafts carry it before
// the keyword is written, so this header stays small enough for them to include.
enum class KeywordProvenance { carriedFromSearch, typedByUser, carriedFromStoreHint };
std::string_view rawValue(KeywordProvenance provenance);
// None for a text that names no case.
std::optional<KeywordProvenance> keywordProvenance(std::string_view raw);

}  // namespace tovra::store
