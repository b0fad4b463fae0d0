#include "app/cli/help_examples.h"

#include <CLI/CLI.hpp>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tovra::cli {
namespace {

// Examples by command path. They use the ids and words a first session would: an app tracked from its
// link, its keywords in one country, a research space with a plain name.
const std::map<std::string_view, std::vector<std::string_view>>& examples() {
  static const std::map<std::string_view, std::vector<std::string_view>> table{
      {"",
       {"tovra app add https://apps.apple.com/us/app/id1584637209 --country us --mine",
        "tovra --json today | jq '.pending[0]'"}},
      {"search", {"tovra search \"photo editor\" --country us", "tovra search maps --country gb --limit 25"}},
      {"hints", {"tovra hints pho --country us", "tovra hints pho --country us --keep 1584637209 --pick 2"}},
      {"lookup", {"tovra lookup 1584637209 --country us", "tovra lookup --bundle-id com.example.photo --country de"}},
      {"app", {"tovra app add \"Photo Lab\" --country us --mine", "tovra app list"}},
      {"app add",
       {"tovra app add https://apps.apple.com/us/app/photo-lab/id1584637209 --country us --mine",
        "tovra app add photo --country us --pick 2"}},
      {"app list", {"tovra app list", "tovra --json app list"}},
      {"app delete", {"tovra app delete 1584637209", "tovra app delete 1584637209 --yes"}},
      {"keywords", {"tovra keywords add 1584637209 --country us photo editor", "tovra keywords list"}},
      {"keywords add",
       {"tovra keywords add 1584637209 --country us photo editor, collage maker",
        "tovra keywords add 1584637209 --country de - < keywords.txt"}},
      {"keywords list", {"tovra keywords list", "tovra keywords list 1584637209"}},
      {"keywords pause", {"tovra keywords pause 1584637209 \"photo editor\" --country us"}},
      {"keywords resume", {"tovra keywords resume 1584637209 \"photo editor\" --country us"}},
      {"keywords delete",
       {"tovra keywords delete 1584637209 \"photo editor\" --country us",
        "tovra keywords delete space:ideas \"photo editor\" --country us --yes"}},
      {"space", {"tovra space create ideas", "tovra space park ideas --country us photo editor, retouch"}},
      {"space create", {"tovra space create ideas", "tovra space create \"winter launch\" --note \"for the sale\""}},
      {"space rename", {"tovra space rename ideas \"summer ideas\""}},
      {"space park",
       {"tovra space park ideas --country us photo editor, retouch", "pbpaste | tovra space park ideas --country us"}},
      {"space unpark", {"tovra space unpark ideas retouch --country us"}},
      {"space graduate",
       {"tovra space graduate ideas 1584637209 --country us --mine",
        "tovra space graduate ideas \"Photo Lab\" --country us"}},
      {"space list", {"tovra space list"}},
      {"space delete", {"tovra space delete ideas", "tovra space delete ideas --yes"}},
      {"measure", {"tovra measure", "tovra measure --quiet   # in a daily timer: one line of counts"}},
      {"today", {"tovra today", "tovra --json today"}},
      {"history", {"tovra history 1584637209 \"photo editor\" --country us"}},
      {"discover",
       {"tovra discover \"photo editor\" --country us", "tovra discover \"photo editor\" --country us --track 3"}},
      {"signals", {"tovra signals \"photo editor\" --country us", "tovra signals retouch --country de --explain"}},
      {"check",
       {"tovra check 1584637209 \"photo editor\" --country us", "tovra check 1584637209 retouch --country us --track"}},
      {"store", {"tovra store", "tovra store --check"}},
      {"export", {"tovra export", "tovra export -o backups/"}},
      {"delete-everything", {"tovra delete-everything", "tovra delete-everything --yes"}},
      {"countries", {"tovra countries", "tovra --json countries"}},
      {"help", {"tovra help", "tovra help keywords add"}},
      {"version", {"tovra version", "tovra -V"}},
      {"completion",
       {"tovra completion bash > ~/.local/share/bash-completion/completions/tovra",
        "tovra completion fish > ~/.config/fish/completions/tovra.fish"}},
  };
  return table;
}

void addTo(CLI::App& command, const std::string& path) {
  if (const auto found = examples().find(path); found != examples().end()) {
    std::string text = "Examples:";
    for (const auto example : found->second) {
      text += "\n  " + std::string(example);
    }
    const auto before = command.get_footer();
    command.footer(before.empty() ? text : before + "\n\n" + text);
  }
  for (auto* sub : command.get_subcommands({})) {
    addTo(*sub, path.empty() ? sub->get_name() : path + " " + sub->get_name());
  }
}

}  // namespace

void addHelpExamples(CLI::App& root) {
  addTo(root, "");
}

}  // namespace tovra::cli
