#include "app/shell/configuration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

namespace tovra::shell {
namespace {

using Variables = std::map<std::string, std::string>;

Configuration read(const Variables& variables) {
  return Configuration::fromEnvironment([&](const std::string& name) -> std::optional<std::string> {
    const auto found = variables.find(name);
    return found == variables.end() ? std::nullopt : std::optional(found->second);
  });
}

struct Folders {
  std::string data;
  std::string state;
  std::string cache;
  std::string config;
};

struct FolderCase {
  std::string name;
  Variables variables;
  Folders expected;
};

class ConfigurationFolders : public ::testing::TestWithParam<FolderCase> {};

TEST_P(ConfigurationFolders, FollowTheOverridesThenXdgThenHome) {
  const auto configuration = read(GetParam().variables);
  EXPECT_EQ(configuration.dataDir, GetParam().expected.data);
  EXPECT_EQ(configuration.stateDir, GetParam().expected.state);
  EXPECT_EQ(configuration.cacheDir, GetParam().expected.cache);
  EXPECT_EQ(configuration.configDir, GetParam().expected.config);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ConfigurationFolders,
    ::testing::Values(
        FolderCase{"UnderHome",
                   {{"HOME", "/home/ada"}},
                   {"/home/ada/.local/share/Tovra", "/home/ada/.local/state/Tovra", "/home/ada/.cache/Tovra",
                    "/home/ada/.config/Tovra"}},
        FolderCase{"Xdg",
                   {{"HOME", "/home/ada"},
                    {"XDG_DATA_HOME", "/x/data"},
                    {"XDG_STATE_HOME", "/x/state"},
                    {"XDG_CACHE_HOME", "/x/cache"},
                    {"XDG_CONFIG_HOME", "/x/config"}},
                   {"/x/data/Tovra", "/x/state/Tovra", "/x/cache/Tovra", "/x/config/Tovra"}},
        // Tovra's own variables name the folder itself, without a sub-folder.
        FolderCase{"OwnOverridesWinOverXdg",
                   {{"HOME", "/home/ada"},
                    {"XDG_DATA_HOME", "/x/data"},
                    {"XDG_STATE_HOME", "/x/state"},
                    {"TOVRA_DATA_DIR", "/srv/tovra"},
                    {"TOVRA_STATE_DIR", "relative/state"}},
                   {"/srv/tovra", "relative/state", "/home/ada/.cache/Tovra", "/home/ada/.config/Tovra"}},
        FolderCase{"RelativeXdgFoldersAreIgnored",
                   {{"HOME", "/home/ada"}, {"XDG_DATA_HOME", "x/data"}, {"XDG_CACHE_HOME", "."}},
                   {"/home/ada/.local/share/Tovra", "/home/ada/.local/state/Tovra", "/home/ada/.cache/Tovra",
                    "/home/ada/.config/Tovra"}},
        FolderCase{"EmptyValuesCountAsUnset",
                   {{"HOME", "/home/ada"}, {"TOVRA_DATA_DIR", ""}, {"XDG_STATE_HOME", ""}},
                   {"/home/ada/.local/share/Tovra", "/home/ada/.local/state/Tovra", "/home/ada/.cache/Tovra",
                    "/home/ada/.config/Tovra"}},
        FolderCase{
            "NoHome", {}, {"./.local/share/Tovra", "./.local/state/Tovra", "./.cache/Tovra", "./.config/Tovra"}}),
    [](const auto& info) { return info.param.name; });

struct EndpointCase {
  std::string name;
  Variables variables;
  std::string search;
  std::string lookup;
};

class ConfigurationEndpoints : public ::testing::TestWithParam<EndpointCase> {};

TEST_P(ConfigurationEndpoints, AreTakenWithoutTrailingSlashes) {
  const auto configuration = read(GetParam().variables);
  EXPECT_EQ(configuration.endpoints.search, GetParam().search);
  EXPECT_EQ(configuration.endpoints.lookup, GetParam().lookup);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ConfigurationEndpoints,
    ::testing::Values(
        EndpointCase{"RealHosts", {}, "https://search.itunes.apple.com", "https://itunes.apple.com"},
        EndpointCase{
            "HttpsElsewhere",
            {{"TOVRA_SEARCH_URL", "https://search.example.org//"}, {"TOVRA_LOOKUP_URL", "HTTPS://Lookup:8443"}},
            "https://search.example.org",
            "HTTPS://Lookup:8443"},
        EndpointCase{"PlainHttpTowardsLoopback",
                     {{"TOVRA_SEARCH_URL", "http://127.0.0.1:8080/"}, {"TOVRA_LOOKUP_URL", "http://[::1]:9"}},
                     "http://127.0.0.1:8080",
                     "http://[::1]:9"},
        EndpointCase{"LocalhostByName",
                     {{"TOVRA_SEARCH_URL", "http://localhost"}},
                     "http://localhost",
                     "https://itunes.apple.com"},
        EndpointCase{
            "EmptyIsUnset", {{"TOVRA_SEARCH_URL", ""}}, "https://search.itunes.apple.com", "https://itunes.apple.com"}),
    [](const auto& info) { return info.param.name; });

struct BadCase {
  std::string name;
  std::string variable;
  std::string value;
  std::string message;
};

class ConfigurationRefuses : public ::testing::TestWithParam<BadCase> {};

TEST_P(ConfigurationRefuses, AnUnusableEndpointInWords) {
  try {
    read({{GetParam().variable, GetParam().value}});
    FAIL() << "accepted " << GetParam().value;
  } catch (const ConfigurationError& error) {
    EXPECT_EQ(error.what(), GetParam().message);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ConfigurationRefuses,
    ::testing::Values(
        BadCase{"PlainHttpAbroad", "TOVRA_SEARCH_URL", "http://search.invalid",
                "Refusing plain http to search.invalid (TOVRA_SEARCH_URL): only https is allowed, except towards "
                "this computer (loopback)"},
        // A name that merely begins like a loopback address is somewhere else.
        BadCase{"LoopbackLookalike", "TOVRA_LOOKUP_URL", "http://127.0.0.1.example.com/",
                "Refusing plain http to 127.0.0.1.example.com (TOVRA_LOOKUP_URL): only https is allowed, except "
                "towards this computer (loopback)"},
        BadCase{"OtherScheme", "TOVRA_SEARCH_URL", "ftp://127.0.0.1",
                "TOVRA_SEARCH_URL is set to “ftp://127.0.0.1”, which is not an https address."},
        BadCase{"NoScheme", "TOVRA_LOOKUP_URL", "itunes.apple.com",
                "TOVRA_LOOKUP_URL is set to “itunes.apple.com”, which is not an https address."},
        BadCase{"NoHost", "TOVRA_SEARCH_URL", "https://",
                "TOVRA_SEARCH_URL is set to “https://”, which has no valid host."},
        BadCase{"Credentials", "TOVRA_SEARCH_URL", "https://user@host",
                "TOVRA_SEARCH_URL is set to “https://user@host”, which has no valid host."},
        BadCase{"PortNotANumber", "TOVRA_SEARCH_URL", "https://host:80a",
                "TOVRA_SEARCH_URL is set to “https://host:80a”, which has a port that is not a number."},
        BadCase{"EmptyPort", "TOVRA_SEARCH_URL",
                "https://host:", "TOVRA_SEARCH_URL is set to “https://host:”, which has an empty port."},
        BadCase{"Query", "TOVRA_LOOKUP_URL", "https://host/?country=us",
                "TOVRA_LOOKUP_URL is set to “https://host/?country=us”, which must name only a scheme, a host and a "
                "port, without a query or fragment."}),
    [](const auto& info) { return info.param.name; });

TEST(Configuration, CaFileAndTimeZone) {
  const auto plain = read({});
  EXPECT_FALSE(plain.extraCaFile);
  EXPECT_FALSE(plain.timeZone);

  const auto set = read({{"TOVRA_CA_FILE", "/tmp/fake-store.pem"}, {"TZ", ":Europe/Berlin"}});
  EXPECT_EQ(set.extraCaFile, std::filesystem::path("/tmp/fake-store.pem"));
  EXPECT_EQ(set.timeZone, "Europe/Berlin") << "the C library's leading colon is not part of the name";

  EXPECT_FALSE(read({{"TZ", ":"}}).timeZone) << "a bare colon names the system's zone";
}

}  // namespace
}  // namespace tovra::shell
