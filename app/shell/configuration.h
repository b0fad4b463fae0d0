#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

#include "AsoKit/url.h"

namespace tovra::shell {

// A variable of the process's environment by name; none when it is unset. Empty values count as unset,
// as they do for the shell's own tools. Front ends pass the real environment, tests a table.
using EnvironmentLookup = std::function<std::optional<std::string>(const std::string& name)>;

// A variable whose value cannot be used, in the words the user reads before the command ends.
class ConfigurationError final : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Where a process finds the App Store and keeps its files, read once from the environment. Nothing else
// in the core reads the environment.
struct Configuration {
  static constexpr const char* kFolderName = "Tovra";

  // TOVRA_SEARCH_URL and TOVRA_LOOKUP_URL, else the real hosts.
  asokit::Endpoints endpoints;
  // TOVRA_ARTWORK_URL: scheme and host that app artwork is fetched from instead of the one in its
  // address (the fake store serves the demo's icons); none: the address as the store gave it.
  std::optional<std::string> artworkHost;
  // TOVRA_CA_FILE: a certificate trusted besides the system's (loopback test servers).
  std::optional<std::filesystem::path> extraCaFile;
  // TOVRA_DATA_DIR, else $XDG_DATA_HOME/Tovra, else ~/.local/share/Tovra: where the store lives.
  std::filesystem::path dataDir;
  // TOVRA_STATE_DIR, else $XDG_STATE_HOME/Tovra, else ~/.local/state/Tovra: the shared pacing slot and
  // hold, and the mark of a running measurement.
  std::filesystem::path stateDir;
  // $XDG_CACHE_HOME/Tovra, else ~/.cache/Tovra: what can be fetched again (app icons).
  std::filesystem::path cacheDir;
  // $XDG_CONFIG_HOME/Tovra, else ~/.config/Tovra: the desktop's settings.
  std::filesystem::path configDir;
  // TZ without its leading ':'; none: the system's zone.
  std::optional<std::string> timeZone;

  // Throws ConfigurationError naming the variable and its value when an endpoint is not an https
  // address (plain http only towards this computer). Relative XDG folders are ignored, as the XDG rules
  // ask; HOME unset leaves the folders relative to the working directory.
  static Configuration fromEnvironment(const EnvironmentLookup& environment);
};

}  // namespace tovra::shell
