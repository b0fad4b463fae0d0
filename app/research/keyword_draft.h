#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tovra::research {

// Where a keyword came from. Stored by its raw text, which is the case's own name.
enum class KeywordProvenance { carriedFromSearch, typedByUser, carriedFromStoreHint };

std::string_view rawValue(KeywordProvenance provenance);
// None for a text that names no case.
std::optional<KeywordProvenance> provenanceFromRaw(std::string_view raw);

// A keyword not yet written to the store.
struct KeywordDraft {
  std::string id;       // a fresh UUID per draft, so two drafts of one keyword stay apart
  std::string keyword;  // as typed, whitespace collapsed, case kept
  std::string country;  // the storefront code as the entry had it; compared trimmed and lower-cased
  KeywordProvenance provenance = KeywordProvenance::typedByUser;
  bool operator==(const KeywordDraft&) const = default;
};

// A random (version 4) UUID in its lower-case 8-4-4-4-12 text form.
std::string randomUuid();

}  // namespace tovra::research

template <>
struct std::hash<tovra::research::KeywordDraft> {
  std::size_t operator()(const tovra::research::KeywordDraft& draft) const noexcept;
};
