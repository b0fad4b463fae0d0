#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "app/store/records.h"

namespace tovra::store {
class Store;
}

// Research spaces are named by people, so a name finds its space whatever the letter case, and a second
// space is not given a name already in use: the name then always says which space is meant.
namespace tovra::research {

// The spaces whose name is `name` once both are trimmed and lower-cased (root locale), oldest first.
std::vector<store::ResearchSpace> spacesNamed(store::Store& store, std::string_view name);

// The name a new space would be stored under: trimmed, a blank one "research space".
std::string spaceNameToStore(std::string_view name);

// "A research space is already called “Trips”; choose another name, or use that one."
std::string spaceNameTakenText(std::string_view existingName);

}  // namespace tovra::research
