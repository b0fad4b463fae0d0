#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tovra::research {

// The only host whose links name an app (the App Store's public web pages).
inline constexpr std::string_view kAppPageHost = "apps.apple.com";

// What the user typed or pasted into "App name, URL, ID, or bundle ID", classified.
struct AppResolverInput {
  enum class Kind {
    appStoreId,  // text: the numeric ID, typed as a number or taken from a link
    bundleId,    // text: the bundle ID as entered, trimmed
    name,        // text: the name as entered, trimmed
    invalid,     // empty after trimming; text is empty
  };
  Kind kind = Kind::invalid;
  std::string text;

  // Trims white space and line breaks, then: five or more ASCII digits, or an apps.apple.com link with
  // an id<digits> path part, is an ID; three or more dot-separated parts, each a letter followed by
  // letters, digits or hyphens, is a bundle ID; anything else is a name. Full-width digits, a four-digit
  // number, a link without a scheme or to another host are names.
  static AppResolverInput classify(std::string_view raw);
  bool operator==(const AppResolverInput&) const = default;
};

// "The App Store has no app with the id 284882215 in the United States." after an ID or bundle ID lookup
// that found nothing in `country`.
std::string noAppText(const AppResolverInput& input, std::string_view country);

// The input's kind as captions tell it, in this order; a link and a typed number are both appStoreId
// inputs but read differently.
enum class AppInputKind { appStoreLink, numericId, bundleId, name, invalid };
AppInputKind inputKind(std::string_view raw);

// The ID an App Store app link carries: the link must parse with a scheme and the host apps.apple.com
// (any letter case); the last path part of the form id<five or more digits> gives it.
std::optional<std::string> appStoreIdFromLink(std::string_view text);

// Whether trimmed `text` is an App Store link that yields an ID (a bare number is not a link).
bool isAppStoreLink(std::string_view text);

// "Use the copied link": the trimmed pasteboard text when it is an App Store link, else none (the sheet
// then shows kNotAnAppStoreLink).
std::optional<std::string> copiedAppStoreLink(std::string_view pasteboard);

}  // namespace tovra::research
