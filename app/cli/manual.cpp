// The manual page tovra.1, written at build time from the same help texts --help shows: `tovra manual`.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <ostream>

#include "app/cli/command.h"
#include "app/cli/command_tree.h"
#include "app/cli/context.h"

namespace tovra::cli {
namespace {

// roff takes a backslash as an escape, and a line that starts with a dot or a quote as a request.
std::string escaped(std::string_view text) {
  std::string out;
  bool lineStart = true;
  for (const char c : text) {
    if (lineStart && (c == '.' || c == '\'')) {
      out += "\\&";
    }
    if (c == '\\') {
      out += "\\e";
    } else if (c == '-') {
      out += "\\-";
    } else {
      out += c;
    }
    lineStart = c == '\n';
  }
  return out;
}

std::string usageLine(const CommandEntry& command) {
  std::string line = "\\fBtovra " + escaped(command.joinedPath()) + "\\fR";
  for (const auto& option : command.options) {
    if (option.positional) {
      const auto name = "\\fI" + escaped(option.argument) + "\\fR" + (option.repeats ? "..." : "");
      line += " " + (option.required ? name : "[" + name + "]");
    }
  }
  if (!command.subcommands.empty()) {
    line += " \\fICOMMAND\\fR";
  }
  return line;
}

// Every command takes --help; the manual says so once, under the program's own options.
bool isHelp(const OptionEntry& option) {
  return std::ranges::find(option.names, "--help") != option.names.end();
}

void printOptions(std::ostream& out, const CommandEntry& command, bool withHelp) {
  for (const auto& option : command.options) {
    if (!withHelp && isHelp(option)) {
      continue;
    }
    out << ".TP\n";
    if (option.positional) {
      out << "\\fI" << escaped(option.argument) << "\\fR\n";
    } else {
      std::string names;
      for (const auto& name : option.names) {
        names += (names.empty() ? "" : ", ") + ("\\fB" + escaped(name) + "\\fR");
      }
      if (!option.argument.empty()) {
        names += " \\fI" + escaped(option.argument) + "\\fR";
      }
      out << names << "\n";
    }
    out << escaped(option.description);
    if (!option.defaultText.empty()) {
      out << " (default: " << escaped(option.defaultText) << ")";
    }
    out << "\n";
  }
}

void printFooter(std::ostream& out, const std::string& footer) {
  if (footer.empty()) {
    return;
  }
  out << ".PP\n.nf\n" << escaped(footer) << "\n.fi\n";
}

void printManual(std::ostream& out, const CommandEntry& root) {
  out << ".TH TOVRA 1 \"\" \"tovra " << TOVRA_VERSION << "\" \"User Commands\"\n";
  out << ".SH NAME\ntovra \\- " << escaped(root.description) << "\n";
  out << ".SH SYNOPSIS\n\\fBtovra\\fR [\\fIOPTIONS\\fR] \\fICOMMAND\\fR [\\fIARGUMENTS\\fR]\n";
  out << ".SH DESCRIPTION\n"
         "Tovra measures where apps rank in App Store search and keeps one reading per tracked keyword and day "
         "in a local store. A rank is the store's own order; an app outside the results has no rank, a failed "
         "request is a failure, and a day with no reading stays unknown.\n"
         ".PP\nHuman output is for people: tables fit the terminal, cut with an ellipsis where they would wrap. "
         "\\fB\\-\\-json\\fR prints machine output on standard output.\n";
  out << ".SH OPTIONS\n";
  printOptions(out, root, true);
  printFooter(out, root.footer);
  out << ".SH COMMANDS\n";
  for (const auto* command : flatten(root)) {
    if (command == &root) {
      continue;
    }
    out << ".SS \"" << usageLine(*command) << "\"\n" << escaped(command->description) << "\n";
    printOptions(out, *command, false);
    printFooter(out, command->footer);
  }
  out << ".SH EXIT STATUS\n";
  for (const auto& status : exitStatuses()) {
    out << ".TP\n.B " << static_cast<int>(status.status) << "\n" << escaped(status.meaning) << "\n";
  }
  out << ".SH ENVIRONMENT\n";
  for (const auto& [name, meaning] : std::vector<std::pair<std::string_view, std::string_view>>{
           {"TOVRA_DATA_DIR", "Where the store lives (default: $XDG_DATA_HOME/Tovra)."},
           {"TOVRA_STATE_DIR",
            "Where the pacing slot and the hold shared by every Tovra process live (default: $XDG_STATE_HOME/Tovra)."},
           {"TOVRA_SEARCH_URL",
            "Scheme and host of store search and hints (default: https://search.itunes.apple.com)."},
           {"TOVRA_LOOKUP_URL", "Scheme and host of lookup (default: https://itunes.apple.com)."},
           {"TOVRA_CA_FILE", "An extra CA certificate to trust."},
           {"COLUMNS", "How wide tables may be (default: the terminal's width, 80 when not a terminal)."},
       }) {
    out << ".TP\n.B " << name << "\n" << escaped(meaning) << "\n";
  }
  out << ".SH FILES\n.TP\n.I $XDG_DATA_HOME/Tovra/default.store\n"
         "The store, with its \\-wal and \\-shm companions and the Backups folder.\n";
}

const bool registered =
    registerCommand({"manual",
                     [](CLI::App& root, Context& context) {
                       // For the build, not for people: no group keeps it out of --help.
                       auto* command = root.add_subcommand("manual", "Print the manual page");
                       command->group("");
                       command->callback([&root, &context] { printManual(context.out(), describeCommands(root)); });
                     },
                     990});

}  // namespace
}  // namespace tovra::cli
