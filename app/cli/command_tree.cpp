#include "app/cli/command_tree.h"

#include <CLI/CLI.hpp>

namespace tovra::cli {
namespace {

ValueKind kindOf(const std::string& name, bool takesValue) {
  if (!takesValue) {
    return ValueKind::none;
  }
  if (name == "--country") {
    return ValueKind::country;
  }
  if (name == "--data-dir") {
    return ValueKind::directory;
  }
  if (name == "-o" || name == "--output") {
    return ValueKind::file;
  }
  if (name == "shell") {
    return ValueKind::shell;
  }
  // An app is named where an argument or option says so; a keyword's owner is an app or space:NAME.
  if (name.find("app") != std::string::npos || name == "owner") {
    return ValueKind::app;
  }
  return ValueKind::other;
}

OptionEntry describeOption(const CLI::Option& option) {
  OptionEntry entry;
  entry.positional = !option.nonpositional();
  for (const auto& name : option.get_lnames()) {
    entry.names.push_back("--" + name);
  }
  for (const auto& name : option.get_snames()) {
    entry.names.push_back("-" + name);
  }
  entry.argument = entry.positional ? option.get_name(true, false) : option.get_type_name();
  entry.description = option.get_description();
  entry.defaultText = option.get_default_str();
  entry.required = option.get_required();
  entry.repeats = option.get_expected_max() > 1;
  // A flag expects no value at all.
  const bool takesValue = option.get_expected_max() > 0 && option.get_type_size_max() > 0;
  entry.kind = kindOf(entry.positional ? entry.argument : (entry.names.empty() ? "" : entry.names.front()), takesValue);
  return entry;
}

CommandEntry describe(const CLI::App& app, std::vector<std::string> path) {
  CommandEntry entry;
  entry.path = path;
  entry.description = app.get_description();
  entry.footer = app.get_footer();
  for (const auto* option : app.get_options([](const CLI::Option* o) { return !o->get_group().empty(); })) {
    entry.options.push_back(describeOption(*option));
  }
  for (const auto* sub : app.get_subcommands([](const CLI::App* s) { return !s->get_group().empty(); })) {
    auto subPath = path;
    subPath.push_back(sub->get_name());
    entry.subcommands.push_back(describe(*sub, std::move(subPath)));
  }
  return entry;
}

void collect(const CommandEntry& entry, std::vector<const CommandEntry*>& out) {
  out.push_back(&entry);
  for (const auto& sub : entry.subcommands) {
    collect(sub, out);
  }
}

}  // namespace

std::string CommandEntry::joinedPath() const {
  std::string joined;
  for (const auto& part : path) {
    joined += (joined.empty() ? "" : " ") + part;
  }
  return joined;
}

CommandEntry describeCommands(const CLI::App& app) {
  return describe(app, {});
}

std::vector<const CommandEntry*> flatten(const CommandEntry& root) {
  std::vector<const CommandEntry*> out;
  collect(root, out);
  return out;
}

}  // namespace tovra::cli
