#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

// The commands and options as declared, read back from the parser so that the shell completions and the
// manual page follow every command that is added without a list of their own.
namespace tovra::cli {

// What a value of an option or argument is, so a shell can offer the right words for it.
enum class ValueKind { none, country, app, file, directory, shell, other };

struct OptionEntry {
  std::vector<std::string> names;  // "--country", "-o"; empty for an argument
  std::string argument;            // the argument's name ("app-id"), or the option's value name
  std::string description;
  std::string defaultText;  // as --help shows it; empty when there is none
  bool positional = false;
  bool required = false;
  bool repeats = false;  // takes any number of values
  ValueKind kind = ValueKind::none;
};

struct CommandEntry {
  std::vector<std::string> path;  // {"keywords", "add"}; empty for the program itself
  std::string description;
  std::string footer;  // the examples --help shows under the options
  std::vector<OptionEntry> options;
  std::vector<CommandEntry> subcommands;  // in --help order, hidden ones left out

  std::string joinedPath() const;  // "keywords add"
};

// The tree under `app`, hidden commands and options (those in no group) left out.
CommandEntry describeCommands(const CLI::App& app);

// Every command in the tree, depth first, the program itself first.
std::vector<const CommandEntry*> flatten(const CommandEntry& root);

}  // namespace tovra::cli
