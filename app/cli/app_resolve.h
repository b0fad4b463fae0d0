#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "app/research/discovered_app.h"
#include "app/store/watchlist_writer.h"

namespace tovra::cli {

class Context;

// Resolves a name, link, id or bundle id to one app in `country` as the add-app sheet does. Several
// results without a pick are listed (store order) and end the command asking for --pick; none ends it
// with the country-retry words. `pickNote` receives the automatic pick's note when there is one.
research::DiscoveredApp resolveApp(Context& context, const std::string& input, const std::string& country,
                                   std::optional<std::int64_t> pick, std::optional<std::string>& pickNote);

}  // namespace tovra::cli
