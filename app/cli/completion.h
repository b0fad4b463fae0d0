#pragma once

#include <string>
#include <string_view>

#include "app/cli/command_tree.h"

namespace tovra::cli {

// A completion script for `shell` ("bash", "zsh" or "fish") that offers the subcommands and options of
// `root`, the 27 country codes after --country, and the tracked apps' ids (asked of `tovra completion
// --tracked-apps` while completing) where a command takes an app. Empty for another shell.
std::string completionScript(std::string_view shell, const CommandEntry& root);

}  // namespace tovra::cli
