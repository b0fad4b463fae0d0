#include "app/store/records.h"

#include <array>
#include <utility>

namespace tovra::store {
namespace {

constexpr std::array<std::pair<KeywordProvenance, std::string_view>, 3> kProvenances{{
    {KeywordProvenance::carriedFromSearch, "carriedFromSearch"},
    {KeywordProvenance::typedByUser, "typedByUser"},
    {KeywordProvenance::carriedFromStoreHint, "carriedFromStoreHint"},
}};

constexpr std::array<std::pair<RunOutcomeStatus, std::string_view>, 3> kStatuses{{
    {RunOutcomeStatus::measured, "measured"},
    {RunOutcomeStatus::failed, "failed"},
    {RunOutcomeStatus::skipped, "skipped"},
}};

template <class Enum, std::size_t N>
std::string_view rawOf(const std::array<std::pair<Enum, std::string_view>, N>& table, Enum value) {
  for (const auto& [candidate, raw] : table) {
    if (candidate == value) {
      return raw;
    }
  }
  return {};
}

template <class Enum, std::size_t N>
std::optional<Enum> parseRaw(const std::array<std::pair<Enum, std::string_view>, N>& table, std::string_view raw) {
  for (const auto& [candidate, text] : table) {
    if (text == raw) {
      return candidate;
    }
  }
  return std::nullopt;
}

}  // namespace

std::string_view rawValue(KeywordProvenance provenance) {
  return rawOf(kProvenances, provenance);
}

std::string_view provenanceText(KeywordProvenance provenance) {
  switch (provenance) {
    case KeywordProvenance::carriedFromSearch:
      return "from a search";
    case KeywordProvenance::typedByUser:
      return "typed";
    case KeywordProvenance::carriedFromStoreHint:
      return "from a store hint";
  }
  return "typed";
}

std::optional<KeywordProvenance> keywordProvenance(std::string_view raw) {
  return parseRaw(kProvenances, raw);
}

std::string_view rawValue(RunOutcomeStatus status) {
  return rawOf(kStatuses, status);
}

std::optional<RunOutcomeStatus> runOutcomeStatus(std::string_view raw) {
  return parseRaw(kStatuses, raw);
}

}  // namespace tovra::store
