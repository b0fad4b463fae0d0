#include "AsoKit/lookup.h"

#include <array>
#include <chrono>
#include <cmath>
#include <regex>
#include <utility>

#include "AsoKit/aso_error.h"
#include "AsoKit/json_values.h"
#include "AsoKit/storefront.h"
#include "AsoKit/text.h"
#include "AsoKit/url.h"

namespace asokit::lookup {
namespace {

using nlohmann::json;

constexpr std::array<std::pair<std::string_view, std::string_view>, 27> kLanguages{{
    {"us", "en_us"}, {"gb", "en_gb"}, {"ca", "en_ca"}, {"au", "en_au"}, {"jp", "ja_jp"}, {"de", "de_de"},
    {"fr", "fr_fr"}, {"it", "it_it"}, {"es", "es_es"}, {"tr", "tr_tr"}, {"br", "pt_br"}, {"mx", "es_mx"},
    {"pl", "pl_pl"}, {"sa", "ar_sa"}, {"in", "en_in"}, {"id", "id_id"}, {"ph", "en_ph"}, {"vn", "vi_vn"},
    {"eg", "ar_eg"}, {"gr", "el_gr"}, {"no", "nb_no"}, {"dk", "da_dk"}, {"fi", "fi_fi"}, {"nl", "nl_nl"},
    {"se", "sv_se"}, {"kr", "ko_kr"}, {"pt", "pt_pt"},
}};

QueryItems withCountry(QueryItems items, std::string_view country) {
  // The country goes out lower-cased as passed in; only the language look-up trims it.
  items.emplace_back("country", text::asciiLower(country));
  if (const auto lang = language(country)) {
    items.emplace_back("lang", std::string(*lang));
  }
  return items;
}

std::optional<std::string> stringAt(const json& object, const char* key) {
  const auto value = object.find(key);
  if (value == object.end() || !value->is_string()) {
    return std::nullopt;
  }
  return value->get<std::string>();
}

std::optional<std::int64_t> wholeCount(const json& object, const char* key) {
  const auto value = object.find(key);
  if (value == object.end() || value->is_boolean()) {
    return std::nullopt;
  }
  if (value->is_number_integer()) {
    if (value->is_number_unsigned() &&
        value->get<std::uint64_t>() > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
      return std::nullopt;
    }
    return value->get<std::int64_t>();
  }
  if (value->is_number_float()) {
    const double number = value->get<double>();
    // 2^63 itself is out of range; every double below it converts exactly.
    if (std::isfinite(number) && number == std::floor(number) && number >= -9223372036854775808.0 &&
        number < 9223372036854775808.0) {
      return static_cast<std::int64_t>(number);
    }
  }
  return std::nullopt;
}

std::optional<double> rating(const json& object) {
  const auto value = object.find("averageUserRating");
  if (value == object.end() || value->is_boolean() || !value->is_number()) {
    return std::nullopt;
  }
  const double number = value->get<double>();
  if (!std::isfinite(number) || number < 0.0 || number > 5.0) {
    return std::nullopt;
  }
  return number;
}

// "2025-05-15T00:06:01Z", the one form the lookup writes its dates in; anything else is no date rather than
// a guess.
std::optional<WallTime> utcTime(const json& object, const char* key) {
  const auto text = stringAt(object, key);
  if (!text || text->size() != 20 || (*text)[4] != '-' || (*text)[7] != '-' || (*text)[10] != 'T' ||
      (*text)[13] != ':' || (*text)[16] != ':' || (*text)[19] != 'Z') {
    return std::nullopt;
  }
  const auto number = [&](std::size_t at, std::size_t length) -> std::optional<int> {
    int value = 0;
    for (std::size_t i = at; i < at + length; ++i) {
      const char c = (*text)[i];
      if (c < '0' || c > '9') {
        return std::nullopt;
      }
      value = value * 10 + (c - '0');
    }
    return value;
  };
  const auto year = number(0, 4);
  const auto month = number(5, 2);
  const auto day = number(8, 2);
  const auto hour = number(11, 2);
  const auto minute = number(14, 2);
  const auto second = number(17, 2);
  if (!year || !month || !day || !hour || !minute || !second || *hour > 23 || *minute > 59 || *second > 59) {
    return std::nullopt;
  }
  const std::chrono::year_month_day date{std::chrono::year{*year}, std::chrono::month{static_cast<unsigned>(*month)},
                                         std::chrono::day{static_cast<unsigned>(*day)}};
  if (!date.ok()) {
    return std::nullopt;
  }
  const auto at = std::chrono::sys_days{date} + std::chrono::hours{*hour} + std::chrono::minutes{*minute} +
                  std::chrono::seconds{*second};
  // The clock holds about 292 years either side of 1970; a date it cannot hold is no release date.
  using std::chrono::duration_cast;
  using Ticks = WallTime::duration;
  if (at.time_since_epoch() > duration_cast<std::chrono::seconds>(Ticks::max()) ||
      at.time_since_epoch() < duration_cast<std::chrono::seconds>(Ticks::min())) {
    return std::nullopt;
  }
  return at;
}

}  // namespace

std::optional<std::string_view> language(std::string_view country) {
  const auto code = storefront::normalizeCountry(country);
  for (const auto& [key, lang] : kLanguages) {
    if (key == code) {
      return lang;
    }
  }
  return std::nullopt;
}

std::string idsUrl(std::string_view lookupBase, const std::vector<std::string>& ids, std::string_view country) {
  std::string joined;
  for (const auto& id : ids) {
    if (!joined.empty()) {
      joined += ',';
    }
    joined += id;
  }
  return buildUrl(lookupBase, "/lookup", withCountry({{"id", joined}}, country));
}

std::string bundleUrl(std::string_view lookupBase, std::string_view bundleId, std::string_view country) {
  return buildUrl(lookupBase, "/lookup", withCountry({{"bundleId", std::string(bundleId)}}, country));
}

std::vector<AppInfo> parse(std::string_view body) {
  const json root = json_values::parseOrDiscard(body);
  if (!root.is_object()) {
    throw AsoError::shapeChanged("lookup: kök JSON nesnesi değil");
  }
  const auto results = root.find("results");
  if (results == root.end() || !results->is_array()) {
    throw AsoError::shapeChanged("lookup: 'results' yok");
  }
  for (const auto& element : *results) {
    if (!element.is_object()) {
      throw AsoError::shapeChanged("lookup: 'results' yok");
    }
  }
  std::vector<AppInfo> apps;
  apps.reserve(results->size());
  for (const auto& element : *results) {
    const auto trackId = element.find("trackId");
    auto id = trackId == element.end() ? std::nullopt : json_values::idText(*trackId);
    auto name = stringAt(element, "trackName");
    if (!id || !name) {
      continue;
    }
    AppInfo app;
    app.id = std::move(*id);
    app.name = std::move(*name);
    app.developer = stringAt(element, "artistName").value_or("");
    app.bundleId = stringAt(element, "bundleId");
    app.artworkUrl512 = stringAt(element, "artworkUrl512");
    app.userRatingCount = wholeCount(element, "userRatingCount");
    app.averageUserRating = rating(element);
    // A version is a release only with its date: one without the other is left out whole.
    app.version = stringAt(element, "version");
    app.versionReleasedAt = utcTime(element, "currentVersionReleaseDate");
    if (!app.version || app.version->empty() || !app.versionReleasedAt) {
      app.version.reset();
      app.versionReleasedAt.reset();
    }
    apps.push_back(std::move(app));
  }
  return apps;
}

std::optional<std::string> iconUrl(std::string_view artworkUrl) {
  static const std::regex sizeSegment(R"(/\d+x\d+bb\.(jpg|png|webp)$)");
  std::string url(artworkUrl);
  std::smatch match;
  if (std::regex_search(url, match, sizeSegment)) {
    url = match.prefix().str() + "/128x128bb.webp";
  }
  // A URL needs at least a scheme followed by ':' and no white space.
  const auto colon = url.find(':');
  if (url.empty() || colon == std::string::npos || colon == 0 || url.find_first_of(" \t\r\n") != std::string::npos) {
    return std::nullopt;
  }
  return url;
}

}  // namespace asokit::lookup
