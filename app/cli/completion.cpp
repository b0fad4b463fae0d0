// Shell completion, written out from the command tree: `tovra completion bash|zsh|fish`.
#include "app/cli/completion.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <set>

#include "AsoKit/storefront.h"
#include "app/cli/command.h"
#include "app/cli/context.h"
#include "app/research/country_name.h"
#include "app/store/bootstrap.h"
#include "app/store/store.h"

namespace tovra::cli {
namespace {

constexpr std::string_view kTrackedAppsFlag = "--tracked-apps";
constexpr std::string_view kShells = "bash zsh fish";

std::string countryCodes() {
  std::string codes;
  for (const auto code : asokit::storefront::knownCodes()) {
    codes += (codes.empty() ? "" : " ") + std::string(code);
  }
  return codes;
}

// Words in single quotes for any of the three shells: a quote inside becomes '\''.
std::string shellQuoted(std::string_view text) {
  std::string out = "'";
  for (const char c : text) {
    if (c == '\'') {
      out += "'\\''";
    } else if (c != '\n') {
      out += c;
    }
  }
  return out + "'";
}

// The first line of a description, for the short help a shell shows beside a word.
std::string summary(const std::string& description) {
  return description.substr(0, description.find('\n'));
}

std::string optionWords(const CommandEntry& command, const CommandEntry& root) {
  std::string words;
  std::vector<OptionEntry> options = command.options;
  // The program's own options are taken after any subcommand too.
  if (&command != &root) {
    for (const auto& option : root.options) {
      if (std::ranges::find(option.names, "--help") == option.names.end()) {
        options.push_back(option);
      }
    }
  }
  for (const auto& option : options) {
    if (option.positional) {
      continue;
    }
    for (const auto& name : option.names) {
      words += (words.empty() ? "" : " ") + name;
    }
  }
  return words;
}

std::string subcommandWords(const CommandEntry& command) {
  std::string words;
  for (const auto& sub : command.subcommands) {
    words += (words.empty() ? "" : " ") + sub.path.back();
  }
  return words;
}

// The arguments of a command in order; the last one that repeats takes every word after it.
ValueKind positionalKind(const CommandEntry& command, std::size_t index) {
  std::size_t seen = 0;
  ValueKind last = ValueKind::none;
  for (const auto& option : command.options) {
    if (!option.positional) {
      continue;
    }
    last = option.repeats ? option.kind : ValueKind::none;
    if (seen++ == index) {
      return option.kind;
    }
  }
  return last;
}

std::string_view kindName(ValueKind kind) {
  switch (kind) {
    case ValueKind::app:
      return "app";
    case ValueKind::shell:
      return "shell";
    case ValueKind::file:
      return "file";
    case ValueKind::country:
      return "country";
    case ValueKind::directory:
      return "directory";
    case ValueKind::none:
    case ValueKind::other:
      break;
  }
  return "none";
}

// Options that take a value, by what the value is; a shell offers nothing for an option of kind other.
std::map<ValueKind, std::set<std::string>> valueOptions(const std::vector<const CommandEntry*>& commands) {
  std::map<ValueKind, std::set<std::string>> byKind;
  for (const auto* command : commands) {
    for (const auto& option : command->options) {
      if (!option.positional && option.kind != ValueKind::none) {
        byKind[option.kind].insert(option.names.begin(), option.names.end());
      }
    }
  }
  return byKind;
}

std::string joinedNames(const std::set<std::string>& names, std::string_view separator) {
  std::string out;
  for (const auto& name : names) {
    out += (out.empty() ? "" : std::string(separator)) + name;
  }
  return out;
}

// Each shell finds where the cursor stands the same way: the words before it that name subcommands make
// the command's path; the rest count as its arguments, except options and the value after an option that
// takes one.
// clang-format off
constexpr std::string_view kBash = R"SCRIPT(# bash completion for tovra, written by `tovra completion bash`.
_tovra_apps() {
  tovra completion --tracked-apps 2>/dev/null | cut -f1
}

_tovra() {
  local cur="${COMP_WORDS[COMP_CWORD]}" prev="${COMP_WORDS[COMP_CWORD-1]}"
  local cmdpath="" args=0 i word skip=0
  for ((i = 1; i < COMP_CWORD; i++)); do
    word="${COMP_WORDS[i]}"
    if ((skip)); then skip=0; continue; fi
    case "$word" in
      {VALUE_OPTIONS}) skip=1; continue ;;
      -*) continue ;;
    esac
    if ((args == 0)) && _tovra_is_command "$cmdpath $word"; then
      cmdpath="$cmdpath $word"
    else
      args=$((args + 1))
    fi
  done
  case "$prev" in
{PREV_CASES}
  esac
  local opts="" subs="" kind=none
  case "$cmdpath" in
{PATH_CASES}
  esac
  if [[ "$cur" == -* ]]; then
    COMPREPLY=($(compgen -W "$opts" -- "$cur"))
    return
  fi
  case "$kind" in
    app) COMPREPLY=($(compgen -W "$subs $(_tovra_apps)" -- "$cur")) ;;
    shell) COMPREPLY=($(compgen -W "{SHELLS}" -- "$cur")) ;;
    file) COMPREPLY=($(compgen -f -- "$cur")) ;;
    *) COMPREPLY=($(compgen -W "$subs" -- "$cur")) ;;
  esac
}

_tovra_is_command() {
  case "$1" in
    {COMMANDS}) return 0 ;;
  esac
  return 1
}

complete -F _tovra tovra
)SCRIPT";
// clang-format on

// clang-format off
constexpr std::string_view kZsh = R"SCRIPT(#compdef tovra
# zsh completion for tovra, written by `tovra completion zsh`.
_tovra_apps() {
  local -a apps
  apps=(${(f)"$(tovra completion --tracked-apps 2>/dev/null | sed -e 's/:/\\:/g' -e 's/\t/:/')"})
  _describe 'tracked app' apps
}

_tovra() {
  local cmdpath="" args=0 i word skip=0
  for ((i = 2; i < CURRENT; i++)); do
    word="${words[i]}"
    if ((skip)); then skip=0; continue; fi
    case "$word" in
      {VALUE_OPTIONS}) skip=1; continue ;;
      -*) continue ;;
    esac
    if ((args == 0)) && _tovra_is_command "$cmdpath $word"; then
      cmdpath="$cmdpath $word"
    else
      args=$((args + 1))
    fi
  done
  local cur="${words[CURRENT]}" prev="${words[CURRENT-1]}"
  local -a countries
  countries=({COUNTRIES})
  case "$prev" in
{PREV_CASES}
  esac
  local -a opts subs
  local kind=none
  case "$cmdpath" in
{PATH_CASES}
  esac
  if [[ "$cur" == -* ]]; then
    _describe option opts
    return
  fi
  case "$kind" in
    app) _describe command subs; _tovra_apps ;;
    shell) compadd {SHELLS} ;;
    file) _files ;;
    *) _describe command subs ;;
  esac
}

_tovra_is_command() {
  case "$1" in
    {COMMANDS}) return 0 ;;
  esac
  return 1
}

if [[ "${zsh_eval_context[-1]}" == loadautofunc ]]; then
  _tovra "$@"
else
  compdef _tovra tovra
fi
)SCRIPT";
// clang-format on

std::string describedWords(const std::vector<std::pair<std::string, std::string>>& words) {
  std::string out;
  for (const auto& [word, description] : words) {
    out += (out.empty() ? "" : " ") + shellQuoted(word + ":" + summary(description));
  }
  return out;
}

std::vector<std::pair<std::string, std::string>> describedOptions(const CommandEntry& command,
                                                                  const CommandEntry& root) {
  std::vector<std::pair<std::string, std::string>> out;
  const auto add = [&](const CommandEntry& from, bool skipHelp) {
    for (const auto& option : from.options) {
      for (const auto& name : option.names) {
        if (!option.positional && !(skipHelp && name == "--help") && !(skipHelp && name == "-h")) {
          out.emplace_back(name, option.description);
        }
      }
    }
  };
  add(command, false);
  if (&command != &root) {
    add(root, true);
  }
  return out;
}

std::vector<std::pair<std::string, std::string>> describedSubcommands(const CommandEntry& command) {
  std::vector<std::pair<std::string, std::string>> out;
  for (const auto& sub : command.subcommands) {
    out.emplace_back(sub.path.back(), sub.description);
  }
  return out;
}

std::string countryWords() {
  std::vector<std::pair<std::string, std::string>> countries;
  for (const auto code : asokit::storefront::knownCodes()) {
    countries.emplace_back(std::string(code), research::countryDisplayName(code));
  }
  return describedWords(countries);
}

// The bash and zsh scripts differ only in what they offer: after an option that takes a value, and as a
// command's options and subcommands. Both take the same cases.
using ValueAction = std::string (*)(ValueKind kind);
using CommandWords = std::string (*)(const CommandEntry& command, const CommandEntry& root);

std::string caseScript(const CommandEntry& root, std::string_view text, ValueAction actionAfter, CommandWords wordsOf) {
  const auto commands = flatten(root);
  std::set<std::string> allValueOptions;
  std::string prevCases;
  for (const auto& [kind, names] : valueOptions(commands)) {
    allValueOptions.insert(names.begin(), names.end());
    prevCases += fmt::format("    {}) {}; return ;;\n", joinedNames(names, "|"), actionAfter(kind));
  }
  std::string pathCases;
  std::set<std::string> commandPaths;
  for (const auto* command : commands) {
    const auto path = command->joinedPath();
    if (!path.empty()) {
      commandPaths.insert("\" " + path + "\"");
    }
    // Only the first argument's kind is offered: later ones are keywords and other free text, except for
    // a command whose arguments all name the same kind of thing.
    std::string kindCase;
    for (std::size_t index = 0; index < 3; ++index) {
      kindCase +=
          fmt::format("{}{}) kind={} ;;", index == 0 ? "" : " ", index, kindName(positionalKind(*command, index)));
    }
    pathCases += fmt::format("    {}) {}; case $args in {} esac ;;\n", shellQuoted(path.empty() ? "" : " " + path),
                             wordsOf(*command, root), kindCase);
  }
  std::string script(text);
  const auto replace = [&](std::string_view key, const std::string& value) {
    if (const auto at = script.find(key); at != std::string::npos) {
      script.replace(at, key.size(), value);
    }
  };
  replace("{VALUE_OPTIONS}", allValueOptions.empty() ? "--" : joinedNames(allValueOptions, "|"));
  replace("{COUNTRIES}", countryWords());
  replace("{PREV_CASES}", prevCases.empty() ? "" : prevCases.substr(0, prevCases.size() - 1));
  replace("{PATH_CASES}", pathCases.substr(0, pathCases.size() - 1));
  replace("{SHELLS}", std::string(kShells));
  replace("{COMMANDS}", joinedNames(commandPaths, "|"));
  return script;
}

std::string bashAction(ValueKind kind) {
  switch (kind) {
    case ValueKind::country:
      return fmt::format("COMPREPLY=($(compgen -W \"{}\" -- \"$cur\"))", countryCodes());
    case ValueKind::app:
      return "COMPREPLY=($(compgen -W \"$(_tovra_apps)\" -- \"$cur\"))";
    case ValueKind::directory:
      return "COMPREPLY=($(compgen -d -- \"$cur\"))";
    case ValueKind::file:
      return "COMPREPLY=($(compgen -f -- \"$cur\"))";
    case ValueKind::shell:
      return fmt::format("COMPREPLY=($(compgen -W \"{}\" -- \"$cur\"))", kShells);
    case ValueKind::none:
    case ValueKind::other:
      break;
  }
  return "COMPREPLY=()";
}

std::string bashWords(const CommandEntry& command, const CommandEntry& root) {
  return fmt::format("opts={}; subs={}", shellQuoted(optionWords(command, root)),
                     shellQuoted(subcommandWords(command)));
}

std::string bashScript(const CommandEntry& root) {
  return caseScript(root, kBash, bashAction, bashWords);
}

std::string zshAction(ValueKind kind) {
  switch (kind) {
    case ValueKind::country:
      return "_describe country countries";
    case ValueKind::app:
      return "_tovra_apps";
    case ValueKind::directory:
      return "_directories";
    case ValueKind::file:
      return "_files";
    case ValueKind::shell:
      return fmt::format("compadd {}", kShells);
    case ValueKind::none:
    case ValueKind::other:
      break;
  }
  return "_message value";
}

std::string zshWords(const CommandEntry& command, const CommandEntry& root) {
  return fmt::format("opts=({}); subs=({})", describedWords(describedOptions(command, root)),
                     describedWords(describedSubcommands(command)));
}

std::string zshScript(const CommandEntry& root) {
  return caseScript(root, kZsh, zshAction, zshWords);
}

// clang-format off
constexpr std::string_view kFish = R"SCRIPT(# fish completion for tovra, written by `tovra completion fish`.
set -g __tovra_commands {COMMANDS}

# Where the cursor stands: the command's path (" keywords add"), then how many arguments precede it.
function __tovra_where
  set -l cmdpath ""
  set -l args 0
  set -l skip 0
  set -l words (commandline -opc)
  set -e words[1]
  for word in $words
    if test $skip -eq 1
      set skip 0
      continue
    end
    switch $word
      case {VALUE_OPTIONS}
        set skip 1
        continue
      case '-*'
        continue
    end
    if test $args -eq 0; and contains -- "$cmdpath $word" $__tovra_commands
      set cmdpath "$cmdpath $word"
    else
      set args (math $args + 1)
    end
  end
  echo "path:$cmdpath"
  echo $args
end

# At this command's path, and at this argument when one is named.
function __tovra_at
  set -l where (__tovra_where)
  test "$where[1]" = "path:$argv[1]"; or return 1
  test (count $argv) -lt 2; or test "$where[2]" = "$argv[2]"
end

function __tovra_apps
  tovra completion --tracked-apps 2>/dev/null
end

complete -c tovra -f
)SCRIPT";
// clang-format on

std::string fishName(const std::string& name) {
  return name.starts_with("--") ? "-l " + name.substr(2) : "-s " + name.substr(1);
}

std::string fishScript(const CommandEntry& root) {
  const auto commands = flatten(root);
  const auto byKind = valueOptions(commands);
  std::set<std::string> allValueOptions;
  for (const auto& [kind, names] : byKind) {
    allValueOptions.insert(names.begin(), names.end());
  }
  std::string countries;
  for (const auto code : asokit::storefront::knownCodes()) {
    countries +=
        (countries.empty() ? "" : " ") + shellQuoted(std::string(code) + "\t" + research::countryDisplayName(code));
  }
  const auto valueArguments = [&](ValueKind kind) -> std::string {
    switch (kind) {
      case ValueKind::country:
        return " -x -a \"" + countries + "\"";
      case ValueKind::app:
        return " -x -a '(__tovra_apps)'";
      case ValueKind::directory:
        return " -x -a '(__fish_complete_directories)'";
      case ValueKind::file:
        return " -r -F";
      case ValueKind::shell:
        return fmt::format(" -x -a '{}'", kShells);
      case ValueKind::other:
        return " -x";
      case ValueKind::none:
        break;
    }
    return "";
  };
  std::string lines;
  std::set<std::string> commandPaths;
  for (const auto* command : commands) {
    const auto path = command->joinedPath();
    const auto at = shellQuoted(path.empty() ? "" : " " + path);
    if (!path.empty()) {
      commandPaths.insert(shellQuoted(" " + path));
    }
    for (const auto& sub : command->subcommands) {
      lines += fmt::format("complete -c tovra -n \"__tovra_at {} 0\" -a {} -d {}\n", at, shellQuoted(sub.path.back()),
                           shellQuoted(summary(sub.description)));
    }
    std::size_t index = 0;
    for (const auto& option : command->options) {
      if (option.positional) {
        const auto kind = option.kind;
        if (kind == ValueKind::app || kind == ValueKind::shell || kind == ValueKind::file) {
          lines +=
              fmt::format("complete -c tovra -n \"__tovra_at {} {}\"{}\n", at, index, valueArguments(kind).substr(3));
        }
        ++index;
        continue;
      }
      std::string names;
      for (const auto& name : option.names) {
        names += " " + fishName(name);
      }
      // The program's own options hold after any subcommand too.
      const auto condition = path.empty() ? std::string() : fmt::format(" -n \"__tovra_at {}\"", at);
      lines += fmt::format("complete -c tovra{}{} -d {}{}\n", condition, names,
                           shellQuoted(summary(option.description)), valueArguments(option.kind));
    }
  }
  std::string script(kFish);
  const auto replace = [&](std::string_view key, const std::string& value) {
    script.replace(script.find(key), key.size(), value);
  };
  replace("{COMMANDS}", joinedNames(commandPaths, " "));
  replace("{VALUE_OPTIONS}", allValueOptions.empty() ? "--" : joinedNames(allValueOptions, " "));
  return script + lines;
}

void printTrackedApps(Context& context) {
  // Completing a word must not create a store where there is none.
  const auto file = context.services().configuration().dataDir / std::string(store::StoreBootstrap::storeFileName);
  if (!std::filesystem::exists(file)) {
    return;
  }
  for (const auto& app : context.store().apps().all()) {
    context.out() << app.appStoreId << "\t" << app.displayName << "\n";
  }
}

}  // namespace

std::string completionScript(std::string_view shell, const CommandEntry& root) {
  if (shell == "bash") {
    return bashScript(root);
  }
  if (shell == "zsh") {
    return zshScript(root);
  }
  if (shell == "fish") {
    return fishScript(root);
  }
  return {};
}

namespace {

const bool registered =
    registerCommand({"completion",
                     [](CLI::App& root, Context& context) {
                       auto* command =
                           root.add_subcommand("completion", "Print a shell completion script: bash, zsh or fish");
                       auto shell = std::make_shared<std::string>();
                       auto trackedApps = std::make_shared<bool>(false);
                       command->add_option("shell", *shell, "The shell the script is for")
                           ->check(CLI::IsMember({"bash", "zsh", "fish"}));
                       // What the scripts ask while completing: the tracked apps' ids, a tab, their names.
                       command->add_flag(std::string(kTrackedAppsFlag), *trackedApps)->group("");
                       command->callback([&root, &context, shell, trackedApps] {
                         if (*trackedApps) {
                           printTrackedApps(context);
                           return;
                         }
                         if (shell->empty()) {
                           throw CommandError(Exit::usage, "Name the shell: tovra completion bash, zsh or fish.");
                         }
                         context.out() << completionScript(*shell, describeCommands(root));
                       });
                     },
                     90});

}  // namespace

}  // namespace tovra::cli
