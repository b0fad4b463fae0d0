#include "tools/fakestore/storefronts.h"

#include <array>
#include <utility>

namespace tovra::fakestore {
namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 27> kStorefronts{{
    {"us", "143441"}, {"gb", "143444"}, {"ca", "143455"}, {"au", "143460"}, {"jp", "143462"}, {"de", "143443"},
    {"fr", "143442"}, {"it", "143450"}, {"es", "143454"}, {"tr", "143480"}, {"br", "143503"}, {"mx", "143468"},
    {"pl", "143478"}, {"sa", "143479"}, {"in", "143467"}, {"id", "143476"}, {"ph", "143474"}, {"vn", "143471"},
    {"eg", "143516"}, {"gr", "143448"}, {"no", "143457"}, {"dk", "143458"}, {"fi", "143447"}, {"nl", "143452"},
    {"se", "143456"}, {"kr", "143466"}, {"pt", "143453"},
}};

}  // namespace

std::optional<std::string> countryOfStorefront(std::string_view header) {
  const std::string_view id = header.substr(0, header.find_first_of(", "));
  for (const auto& [country, storefront] : kStorefronts) {
    if (storefront == id) {
      return std::string(country);
    }
  }
  return std::nullopt;
}

std::optional<std::string> storefrontOfCountry(std::string_view country) {
  for (const auto& [code, storefront] : kStorefronts) {
    if (code == country) {
      return std::string(storefront);
    }
  }
  return std::nullopt;
}

}  // namespace tovra::fakestore
