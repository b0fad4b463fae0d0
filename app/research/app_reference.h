#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/store/records.h"

namespace tovra::store {
class Store;
}

// Naming an app the user already has, the way they have it at hand: its App Store id, an App Store link
// copied from anywhere (with or without its scheme, the web page or the store app's own form, a
// country-less link), "id" and the digits as the store writes them, its bundle id, or its name.
namespace tovra::research {

// The App Store id that `text` carries by itself: five or more ASCII digits; "id" followed by them; a
// link on apps.apple.com or itunes.apple.com, with a scheme (https, http, itms-apps, itms) or without,
// whose path has an id<digits> part (the last one wins; a query or fragment is ignored). None otherwise.
std::optional<std::string> appStoreIdIn(std::string_view text);

// What the front ends hand the resolver for `raw`: the id when `raw` carries one by itself in a form the
// resolver reads as a name (a link without its scheme, the store app's link, "id123…"), else `raw`.
std::string resolverTextFor(std::string_view raw);

// The tracked app that `text` names.
struct TrackedAppMatch {
  std::optional<store::TrackedApp> app;  // the one app named
  std::vector<store::TrackedApp> named;  // several apps share the name: none is picked
  bool byId = false;                     // `text` was an id or link, so no other way could name the app
  std::string id;                        // that id
};

// In this order: an id (any run of ASCII digits, or what appStoreIdIn finds) names the app with that
// App Store id; a bundle id the app with that bundle id, ignoring letter case; anything else the apps
// whose name, or whose name in one of its countries, is that text folded (case, accents, width).
TrackedAppMatch findTrackedApp(store::Store& store, std::string_view text);

// "2 tracked apps are called “Lumen”; name one by its App Store id: 1234567 (Lumen – Photo), 7654321 (Lumen)"
std::string ambiguousAppText(std::string_view text, const std::vector<store::TrackedApp>& apps);

}  // namespace tovra::research
