#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/fakestore/scenario.h"

namespace tovra::fakestore {

// Appends invented apps to `ids` until it holds `padTo` ids, like the long tail of a real result,
// and adds them to `scenario.apps` so lookup knows them. The same seed gives the same apps every run.
void padWithInventedApps(std::vector<std::string>& ids, std::size_t padTo, const std::string& seed, Scenario& scenario);

}  // namespace tovra::fakestore
