#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tovra::cli {

class Context;

// Exit statuses of every command. notAllMeasured: a run that went to its end but could not measure some
// keywords, so a scheduler sees it without reading the report (which is printed and saved first).
enum class Exit : int { done = 0, failed = 1, usage = 2, refused = 3, stoppedByUser = 4, notAllMeasured = 5 };

// What each status means, in order, for the manual and the README.
struct ExitStatusMeaning {
  Exit status;
  std::string meaning;
};
const std::vector<ExitStatusMeaning>& exitStatuses();

// Thrown by a command to end with a status and a message for stderr (the error's own text).
class CommandError final : public std::runtime_error {
 public:
  CommandError(Exit status, const std::string& message) : std::runtime_error(message), status_(status) {}
  // The store refused a request (HTTP 403 after the retries): the command exits as refused, and the
  // entry starts the shared hold unless one already counts down.
  static CommandError storeRefused(const std::string& message) {
    CommandError error(Exit::refused, message);
    error.storeRefused_ = true;
    return error;
  }
  Exit status() const { return status_; }
  bool isStoreRefusal() const { return storeRefused_; }

 private:
  Exit status_;
  bool storeRefused_ = false;
};

// Each command file registers its subcommands once at start-up; `setup` declares the options on the
// subcommand and installs its callback, which runs with the shared context.
struct CommandRegistration {
  std::string name;
  std::function<void(CLI::App& app, Context& context)> setup;
  int order = 100;  // where it appears in --help
};

bool registerCommand(CommandRegistration registration);
const std::vector<CommandRegistration>& registeredCommands();

}  // namespace tovra::cli
