#include "app/research/space_names.h"

#include "AsoKit/text.h"
#include "app/base/keyword_key.h"
#include "app/store/store.h"
#include "app/store/watchlist_writer.h"

namespace tovra::research {

std::vector<store::ResearchSpace> spacesNamed(store::Store& store, std::string_view name) {
  const auto wanted = base::lowerCased(asokit::text::trimWhitespace(name));
  std::vector<store::ResearchSpace> named;
  for (auto& space : store.spaces().all()) {
    if (base::lowerCased(asokit::text::trimWhitespace(space.name)) == wanted) {
      named.push_back(std::move(space));
    }
  }
  return named;
}

std::string spaceNameToStore(std::string_view name) {
  const auto trimmed = asokit::text::trimWhitespace(name);
  return trimmed.empty() ? std::string(store::WatchlistWriter::kDefaultSpaceName) : std::string(trimmed);
}

std::string spaceNameTakenText(std::string_view existingName) {
  return "A research space is already called “" + std::string(existingName) +
         "”; choose another name, or use that one.";
}

}  // namespace tovra::research
