#include "app/research/app_reference.h"

#include <fmt/format.h>

#include <algorithm>
#include <regex>

#include "AsoKit/text.h"
#include "app/base/text_fold.h"
#include "app/research/app_resolver_input.h"
#include "app/store/store.h"

namespace tovra::research {
namespace {

bool allDigits(std::string_view s) {
  return !s.empty() && std::all_of(s.begin(), s.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::string asciiLower(std::string_view s) {
  std::string lower(s);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return lower;
}

std::optional<std::string> idPart(std::string_view part) {
  static const std::regex id("^id([0-9]{5,})$");
  std::match_results<std::string_view::const_iterator> match;
  if (std::regex_match(part.begin(), part.end(), match, id)) {
    return match[1].str();
  }
  return std::nullopt;
}

std::optional<std::string> idInLink(std::string_view text) {
  // The web page's scheme, or the links the store app opens; a link copied from a chat often has none.
  for (const std::string_view scheme : {"https://", "http://", "itms-apps://", "itms-appss://", "itms://"}) {
    if (asciiLower(text.substr(0, scheme.size())) == scheme) {
      text.remove_prefix(scheme.size());
      break;
    }
  }
  text = text.substr(0, text.find_first_of("?#"));
  const auto slash = text.find('/');
  if (slash == std::string_view::npos) {
    return std::nullopt;
  }
  const auto host = asciiLower(text.substr(0, slash));
  if (host != kAppPageHost && host != "itunes.apple.com") {
    return std::nullopt;
  }
  std::vector<std::string_view> parts;
  for (std::size_t start = slash + 1; start <= text.size();) {
    const auto end = std::min(text.find('/', start), text.size());
    if (end > start) {
      parts.push_back(text.substr(start, end - start));
    }
    start = end + 1;
  }
  for (auto part = parts.rbegin(); part != parts.rend(); ++part) {
    if (auto id = idPart(*part)) {
      return id;
    }
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> appStoreIdIn(std::string_view text) {
  const auto trimmed = asokit::text::trimWhitespace(text);
  if (trimmed.size() >= 5 && allDigits(trimmed)) {
    return std::string(trimmed);
  }
  if (auto id = idPart(trimmed)) {
    return id;
  }
  return idInLink(trimmed);
}

std::string resolverTextFor(std::string_view raw) {
  if (AppResolverInput::classify(raw).kind == AppResolverInput::Kind::name) {
    if (auto id = appStoreIdIn(raw)) {
      return *id;
    }
  }
  return std::string(raw);
}

TrackedAppMatch findTrackedApp(store::Store& store, std::string_view text) {
  const std::string wanted(asokit::text::trimWhitespace(text));
  TrackedAppMatch match;
  // Store ids of the fake store and of old apps can be short, so any number names an app by its id.
  const auto id = allDigits(wanted) ? std::optional(wanted) : appStoreIdIn(wanted);
  if (id) {
    match.byId = true;
    match.id = *id;
    match.app = store.apps().findByAppStoreId(*id);
    return match;
  }
  const auto apps = store.apps().all();
  if (AppResolverInput::classify(wanted).kind == AppResolverInput::Kind::bundleId) {
    const auto bundle = asciiLower(wanted);
    for (const auto& app : apps) {
      if (app.bundleId && asciiLower(*app.bundleId) == bundle) {
        match.app = app;
        return match;
      }
    }
  }
  const auto folded = base::foldCaseDiacriticsWidth(wanted);
  if (folded.empty()) {
    return match;
  }
  for (const auto& app : apps) {
    bool named = base::foldCaseDiacriticsWidth(app.displayName) == folded;
    for (const auto& localization :
         named ? std::vector<store::AppLocalization>{} : store.localizations().ofApp(app.rowId)) {
      named = named || base::foldCaseDiacriticsWidth(localization.name) == folded;
    }
    if (named) {
      match.named.push_back(app);
    }
  }
  if (match.named.size() == 1) {
    match.app = match.named.front();
    match.named.clear();
  }
  return match;
}

std::string ambiguousAppText(std::string_view text, const std::vector<store::TrackedApp>& apps) {
  std::string ids;
  for (const auto& app : apps) {
    ids += fmt::format("{}{} ({})", ids.empty() ? "" : ", ", app.appStoreId, app.displayName);
  }
  return fmt::format("{} tracked apps are called “{}”; name one by its App Store id: {}", apps.size(),
                     asokit::text::trimWhitespace(text), ids);
}

}  // namespace tovra::research
