#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/fakestore/scenario.h"

namespace tovra::fakestore {

// The bodies the store would send, built from the scenario. `reshape` names a change of shape from
// reshapesOf() (empty for the normal shape).

// Store search: top-level "bubbles" with a "software" bubble of {"type":0,"id":"…","entity":"software"}
// and names in "storePlatformData" for the first `scenario.namedResults` ids the scenario knows.
std::string searchAnswer(const Scenario& scenario, const std::vector<std::string>& ids, std::string_view country,
                         std::string_view storefrontHeader, std::string_view term, std::string_view reshape);

// Search hints: an XML property list {title, hints: [{term, url, priority?}]}.
std::string hintsAnswer(const std::vector<Hint>& hints, std::string_view reshape);

// Lookup: {"resultCount": n, "results": [...]} padded with line feeds as the store pads it.
std::string lookupAnswer(const std::vector<const App*>& apps, std::string_view country, std::string_view reshape);

}  // namespace tovra::fakestore
