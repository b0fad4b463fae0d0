#include "app/cli/usage.h"

#include "app/base/nearest_names.h"
#include "app/cli/context.h"
#include "app/cli/output.h"
#include "app/research/country_choice.h"
#include "app/shell/command_line_texts.h"

namespace tovra::cli {

WatchedOutput::WatchedOutput(std::ostream& target) : std::ostream(nullptr), buffer_(target.rdbuf()) {
  rdbuf(&buffer_);
}

WatchedOutput::Buffer::int_type WatchedOutput::Buffer::overflow(int_type c) {
  if (traits_type::eq_int_type(c, traits_type::eof())) {
    return traits_type::not_eof(c);
  }
  written = true;
  return target->sputc(traits_type::to_char_type(c));
}

std::streamsize WatchedOutput::Buffer::xsputn(const char* s, std::streamsize n) {
  written = written || n > 0;
  return target->sputn(s, n);
}

CLI::Validator countryCheck() {
  return CLI::Validator(
      [](std::string& country) -> std::string {
        const auto unknown = research::unknownCountryText(country);
        return unknown ? *unknown + "\n" + std::string(shell::commandLineText::kCountriesHint) : std::string();
      },
      "");
}

namespace {

// An option of `app` or of the commands above it, as the parser would find it.
const CLI::Option* optionNamed(const CLI::App* app, const std::string& name) {
  for (; app != nullptr; app = app->get_parent()) {
    if (const auto* option = app->get_option_no_throw(name)) {
      return option;
    }
  }
  return nullptr;
}

}  // namespace

std::optional<std::string> unknownCommandIn(const CLI::App& root, int argc, const char* const* argv) {
  const CLI::App* current = &root;
  std::string path;
  for (int i = 1; i < argc; ++i) {
    const std::string token = argv[i];
    if (token == "--") {
      return std::nullopt;
    }
    if (token.size() > 1 && token.front() == '-') {
      // An option's value is not a command word: skip it when the option takes one and it is not glued on.
      const auto* option = token.find('=') == std::string::npos ? optionNamed(current, token) : nullptr;
      if (option && option->get_items_expected_min() > 0) {
        ++i;
      }
      continue;
    }
    const auto commands = current->get_subcommands([](const CLI::App*) { return true; });
    if (commands.empty() || current->get_prefix_command()) {
      return std::nullopt;
    }
    const auto found =
        std::find_if(commands.begin(), commands.end(), [&](const CLI::App* c) { return c->check_name(token); });
    if (found != commands.end()) {
      current = *found;
      path += token + " ";
      continue;
    }
    if (current->get_require_subcommand_min() == 0) {
      return std::nullopt;  // a command that has commands of its own but also takes words
    }
    std::vector<std::string> names;
    for (const auto* command : commands) {
      names.push_back(command->get_name());
    }
    const std::vector<std::string_view> candidates(names.begin(), names.end());
    auto nearest = base::nearestNames(token, candidates, 2, 3);
    for (auto& name : nearest) {
      name = path + name;
    }
    return shell::commandLineText::unknownCommand(path + token, nearest);
  }
  return std::nullopt;
}

bool asksForJson(int argc, const char* const* argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view token = argv[i];
    if (token == "--") {
      return false;
    }
    if (token == "--json") {
      return true;
    }
  }
  return false;
}

int endWithError(Context& context, bool json, const WatchedOutput& out, Exit status, const std::string& message,
                 const std::string& stderrHint) {
  if (!message.empty()) {
    context.err() << message << "\n";
  }
  if (!stderrHint.empty()) {
    context.err() << stderrHint << "\n";
  }
  const int code = static_cast<int>(status);
  if (json && !out.written()) {
    const std::string text = message.empty() ? std::string(shell::commandLineText::exitStatusMeaning(code)) : message;
    printJson(context.out(), {{"error", text}, {"exitStatus", code}});
  }
  return code;
}

}  // namespace tovra::cli
