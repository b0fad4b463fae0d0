#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "app/store/keyword_provenance.h"

namespace tovra::store {

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

}  // namespace tovra::store

template <>
struct std::hash<tovra::store::KeywordDraft> {
  std::size_t operator()(const tovra::store::KeywordDraft& draft) const noexcept;
};
