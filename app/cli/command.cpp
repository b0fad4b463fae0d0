#include "app/cli/command.h"

#include <algorithm>

namespace tovra::cli {
namespace {

std::vector<CommandRegistration>& registry() {
  static std::vector<CommandRegistration> commands;
  return commands;
}

}  // namespace

const std::vector<ExitStatusMeaning>& exitStatuses() {
  static const std::vector<ExitStatusMeaning> statuses{
      {Exit::done, "Done."},
      {Exit::failed,
       "Failed: the error's own text is on standard error (a lookup of an app the store does not have "
       "included). Also measure while another Tovra process is measuring, which starts no hold."},
      {Exit::usage,
       "Usage: an unknown command, option or country, a missing argument, an empty --data-dir, keyword "
       "text given together with -."},
      {Exit::refused,
       "Refused by the store (an HTTP 403 after the retries, met by any command, starts the 900 s "
       "hold every Tovra process keeps), held by its cooldown, or halted by the failure guard."},
      {Exit::stoppedByUser, "Stopped by the user (Ctrl-C); what was measured before is kept."},
      {Exit::notAllMeasured,
       "Measure went to its end but some keywords were not measured; the report is printed and saved "
       "first, and says why."},
  };
  return statuses;
}

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
