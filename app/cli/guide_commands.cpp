// The commands that answer questions about the command line itself: help, version and the countries.
#include <CLI/CLI.hpp>

#include "app/cli/command.h"
#include "app/cli/context.h"
#include "app/cli/output.h"
#include "app/cli/usage.h"
#include "app/research/country_choice.h"

namespace tovra::cli {

std::string versionText() {
  return std::string("tovra ") + TOVRA_VERSION;
}

namespace {

// The help of the command that `names` leads to from `root`, as `--help` after it prints it.
void runHelp(Context& context, const CLI::App& root, const std::vector<std::string>& names) {
  std::vector<const char*> argv{"tovra"};
  for (const auto& name : names) {
    argv.push_back(name.c_str());
  }
  if (const auto unknown = unknownCommandIn(root, static_cast<int>(argv.size()), argv.data())) {
    throw CommandError(Exit::usage, *unknown);
  }
  const CLI::App* command = &root;
  std::string prefix;
  for (const auto& name : names) {
    const auto commands = command->get_subcommands([&](const CLI::App* c) { return c->check_name(name); });
    if (commands.empty()) {
      throw CommandError(Exit::usage, "'" + prefix + command->get_name() + "' has no command '" + name + "'.");
    }
    prefix += command->get_name() + " ";
    command = commands.front();
  }
  // Through the formatter: App::help() of a command whose own subcommand ran (help itself) shows that one.
  context.out() << command->get_formatter()->make_help(command, prefix + command->get_name(),
                                                       CLI::AppFormatMode::Normal);
}

void runCountries(Context& context) {
  const auto countries = research::storefrontCountries();
  if (context.json) {
    nlohmann::json list = nlohmann::json::array();
    for (const auto& country : countries) {
      list.push_back({{"code", country.code}, {"name", country.name}});
    }
    printJson(context.out(), list);
    return;
  }
  Table table({"Code", "Country"});
  for (const auto& country : countries) {
    table.add({upperCountry(country.code), country.name});
  }
  table.print(context.out(), context.tableWidth());
}

const bool registered = [] {
  registerCommand({"countries",
                   [](CLI::App& app, Context& context) {
                     auto* sub = app.add_subcommand("countries", "The 27 App Store countries --country takes");
                     sub->callback([&context] { runCountries(context); });
                   },
                   13});
  registerCommand({"help",
                   [](CLI::App& app, Context& context) {
                     auto* sub = app.add_subcommand("help", "Help on the commands, or on one: tovra help [COMMAND]");
                     // Everything after `help` names the command to explain, never a command to run.
                     sub->prefix_command();
                     sub->fallthrough(false);
                     sub->callback([sub, &app, &context] { runHelp(context, app, sub->remaining()); });
                   },
                   95});
  registerCommand({"version",
                   [](CLI::App& app, Context& context) {
                     auto* sub = app.add_subcommand("version", "Print Tovra's version");
                     sub->callback([&context] { context.out() << versionText() << "\n"; });
                   },
                   96});
  return true;
}();

}  // namespace
}  // namespace tovra::cli
