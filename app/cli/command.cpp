#include "app/cli/command.h"

#include <algorithm>

namespace tovra::cli {
namespace {

std::vector<CommandRegistration>& registry() {
  static std::vector<CommandRegistration> commands;
  return commands;
}

}  // namespace

bool registerCommand(CommandRegistration registration) {
  auto& commands = registry();
  const auto at = std::upper_bound(commands.begin(), commands.end(), registration.order,
                                   [](int order, const CommandRegistration& r) { return order < r.order; });
  commands.insert(at, std::move(registration));
  return true;
}

const std::vector<CommandRegistration>& registeredCommands() {
  return registry();
}

}  // namespace tovra::cli
