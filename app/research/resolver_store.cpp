#include "app/research/resolver_store.h"

namespace tovra::research {

ResolverLookup clientLookup(asokit::AsoClient& client) {
  return [&client](const AppResolverInput& input, const std::string& country,
                   std::stop_token cancel) -> std::optional<asokit::AppInfo> {
    if (input.kind == AppResolverInput::Kind::bundleId) {
      return client.lookupBundle(input.text, country, cancel);
    }
    auto apps = client.lookup({input.text}, country, cancel);
    if (apps.empty()) {
      return std::nullopt;
    }
    return std::move(apps.front());
  };
}

ResolverSearch clientSearch(asokit::AsoClient& client, std::int64_t limit) {
  return [&client, limit](const std::string& term, const std::string& country, std::stop_token cancel) {
    return client.search(term, country, limit, cancel);
  };
}

}  // namespace tovra::research
