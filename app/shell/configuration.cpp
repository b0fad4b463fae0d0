#include "app/shell/configuration.h"

#include <fmt/format.h>

#include <algorithm>

#include "AsoKit/text.h"
#include "AsoKit/transport.h"

namespace tovra::shell {
namespace {

namespace fs = std::filesystem;

std::optional<std::string> variable(const EnvironmentLookup& environment, const std::string& name) {
  auto value = environment(name);
  if (value && value->empty()) {
    return std::nullopt;
  }
  return value;
}

// The XDG rules call a relative folder in these variables invalid, to be ignored.
std::optional<fs::path> absoluteFolder(const EnvironmentLookup& environment, const std::string& name) {
  const auto value = variable(environment, name);
  if (!value || !fs::path(*value).is_absolute()) {
    return std::nullopt;
  }
  return fs::path(*value);
}

fs::path userFolder(const EnvironmentLookup& environment, const std::string& ownName, const std::string& xdgName,
                    const fs::path& underHome) {
  if (!ownName.empty()) {
    if (const auto own = variable(environment, ownName)) {
      return *own;
    }
  }
  if (const auto xdg = absoluteFolder(environment, xdgName)) {
    return *xdg / Configuration::kFolderName;
  }
  const auto home = variable(environment, "HOME");
  return fs::path(home.value_or(".")) / underHome / Configuration::kFolderName;
}

std::string endpoint(const EnvironmentLookup& environment, const std::string& name, std::string fallback) {
  auto value = variable(environment, name);
  if (!value) {
    return fallback;
  }
  const std::string given = *value;
  auto fail = [&](const std::string& why) {
    return ConfigurationError(fmt::format("{} is set to “{}”, which {}.", name, given, why));
  };
  std::string url = std::move(*value);
  const auto schemeEnd = url.find("://");
  while (schemeEnd != std::string::npos && url.size() > schemeEnd + 3 && url.back() == '/') {
    url.pop_back();
  }
  const auto scheme =
      schemeEnd == std::string::npos ? std::string() : asokit::text::asciiLower(url.substr(0, schemeEnd));
  if (scheme != "https" && scheme != "http") {
    throw fail("is not an https address");
  }
  if (url.find_first_of("?#") != std::string::npos) {
    throw fail("must name only a scheme, a host and a port, without a query or fragment");
  }
  const auto authorityStart = schemeEnd + 3;
  const auto authority = url.substr(authorityStart, url.find('/', authorityStart) - authorityStart);
  std::string host;
  std::string port;
  if (!authority.empty() && authority.front() == '[') {
    const auto close = authority.find(']');
    host = authority.substr(0, close == std::string::npos ? std::string::npos : close + 1);
    const auto rest = close == std::string::npos ? std::string() : authority.substr(close + 1);
    if (!rest.empty() && rest.front() != ':') {
      throw fail("has no valid host");
    }
    port = rest.empty() ? "" : rest.substr(1);
  } else {
    const auto colon = authority.find(':');
    host = authority.substr(0, colon);
    port = colon == std::string::npos ? "" : authority.substr(colon + 1);
    if (colon != std::string::npos && port.empty()) {
      throw fail("has an empty port");
    }
  }
  if (host.empty() || host.find('@') != std::string::npos) {
    throw fail("has no valid host");
  }
  if (!std::all_of(port.begin(), port.end(), [](unsigned char c) { return c >= '0' && c <= '9'; })) {
    throw fail("has a port that is not a number");
  }
  if (scheme == "http" && !asokit::isLoopbackHost(host)) {
    // The transport's own words, so the refusal reads the same whichever step meets it first.
    throw ConfigurationError(fmt::format(
        "Refusing plain http to {} ({}): only https is allowed, except towards this computer (loopback)", host, name));
  }
  return url;
}

}  // namespace

Configuration Configuration::fromEnvironment(const EnvironmentLookup& environment) {
  Configuration configuration;
  configuration.endpoints.search = endpoint(environment, "TOVRA_SEARCH_URL", configuration.endpoints.search);
  configuration.endpoints.lookup = endpoint(environment, "TOVRA_LOOKUP_URL", configuration.endpoints.lookup);
  if (variable(environment, "TOVRA_ARTWORK_URL")) {
    configuration.artworkHost = endpoint(environment, "TOVRA_ARTWORK_URL", {});
  }
  if (const auto ca = variable(environment, "TOVRA_CA_FILE")) {
    configuration.extraCaFile = fs::path(*ca);
  }
  configuration.dataDir = userFolder(environment, "TOVRA_DATA_DIR", "XDG_DATA_HOME", fs::path(".local") / "share");
  configuration.stateDir = userFolder(environment, "TOVRA_STATE_DIR", "XDG_STATE_HOME", fs::path(".local") / "state");
  configuration.cacheDir = userFolder(environment, "", "XDG_CACHE_HOME", ".cache");
  configuration.configDir = userFolder(environment, "", "XDG_CONFIG_HOME", ".config");
  if (auto tz = variable(environment, "TZ")) {
    if (tz->front() == ':') {
      tz->erase(0, 1);
    }
    if (!tz->empty()) {
      configuration.timeZone = std::move(*tz);
    }
  }
  return configuration;
}

}  // namespace tovra::shell
