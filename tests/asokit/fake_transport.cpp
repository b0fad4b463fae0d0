#include "asokit/fake_transport.h"

#include <nlohmann/json.hpp>

namespace asokit::testing {

std::string searchAnswer(const std::vector<std::string>& ids, std::size_t named) {
  nlohmann::json results = nlohmann::json::array();
  nlohmann::json names = nlohmann::json::object();
  for (std::size_t i = 0; i < ids.size(); ++i) {
    results.push_back({{"id", ids[i]}, {"type", 0}});
    if (i < named) {
      names[ids[i]] = {{"id", ids[i]}, {"name", "App " + ids[i]}};
    }
  }
  return nlohmann::json{{"bubbles", {{{"name", "software"}, {"results", results}}}},
                        {"storePlatformData", {{"native-search-lockup-search", {{"results", names}}}}}}
      .dump();
}

}  // namespace asokit::testing
