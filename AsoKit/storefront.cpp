#include "AsoKit/storefront.h"

#include <algorithm>
#include <array>
#include <utility>

#include "AsoKit/aso_error.h"
#include "AsoKit/text.h"

namespace asokit::storefront {
namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 27> kTable{{
    {"us", "143441"}, {"gb", "143444"}, {"ca", "143455"}, {"au", "143460"}, {"jp", "143462"}, {"de", "143443"},
    {"fr", "143442"}, {"it", "143450"}, {"es", "143454"}, {"tr", "143480"}, {"br", "143503"}, {"mx", "143468"},
    {"pl", "143478"}, {"sa", "143479"}, {"in", "143467"}, {"id", "143476"}, {"ph", "143474"}, {"vn", "143471"},
    {"eg", "143516"}, {"gr", "143448"}, {"no", "143457"}, {"dk", "143458"}, {"fi", "143447"}, {"nl", "143452"},
    {"se", "143456"}, {"kr", "143466"}, {"pt", "143453"},
}};

}  // namespace

std::string normalizeCountry(std::string_view country) {
  return text::asciiLower(text::trimWhitespace(country));
}

std::optional<std::string_view> storefrontId(std::string_view normalizedCode) {
  const auto* found =
      std::find_if(kTable.begin(), kTable.end(), [&](const auto& row) { return row.first == normalizedCode; });
  if (found == kTable.end()) {
    return std::nullopt;
  }
  return found->second;
}

std::optional<std::string_view> countryOfId(std::string_view storefrontId) {
  const auto* found =
      std::find_if(kTable.begin(), kTable.end(), [&](const auto& row) { return row.second == storefrontId; });
  if (found == kTable.end()) {
    return std::nullopt;
  }
  return found->first;
}

std::string headerValue(std::string_view country) {
  const auto id = storefrontId(normalizeCountry(country));
  if (!id) {
    throw AsoError::unknownStorefront(std::string(country));
  }
  return std::string(*id) + ",29";
}

const std::vector<std::string_view>& knownCodes() {
  static const std::vector<std::string_view> codes = [] {
    std::vector<std::string_view> out;
    for (const auto& [code, id] : kTable) {
      out.push_back(code);
    }
    return out;
  }();
  return codes;
}

}  // namespace asokit::storefront
