#include "app/research/argument_keywords.h"

#include <fmt/format.h>

#include "app/base/keyword_key.h"
#include "app/research/keyword_list_parser.h"

namespace tovra::research {
namespace {

// A word the shell split off: no white space anywhere in it.
bool isBareWord(const std::string& argument) {
  const auto collapsed = base::collapseWhitespace(argument);
  return !collapsed.empty() && collapsed == argument && collapsed.find(' ') == std::string::npos;
}

// Follows one run of bare words through the separators, to find the keywords that span a blank the
// shell took out.
class RunReader final {
 public:
  explicit RunReader(std::vector<std::string>& joined) : joined_(joined) {}

  void read(const std::string& word) {
    const auto pieces = splitAtSeparators(word);
    if (pieces.empty()) {
      flush();
      return;
    }
    if (!word.starts_with(pieces.front())) {
      flush();
    }
    for (std::size_t i = 0; i < pieces.size(); ++i) {
      if (i > 0) {
        flush();
      }
      if (current_.empty()) {
        current_ = pieces[i];
      } else {
        current_ += " " + pieces[i];
        spansWords_ = true;
      }
    }
    if (!word.ends_with(pieces.back())) {
      flush();
    }
  }

  void flush() {
    if (spansWords_) {
      joined_.push_back(base::collapseWhitespace(current_));
    }
    current_.clear();
    spansWords_ = false;
  }

 private:
  std::vector<std::string>& joined_;
  std::string current_;
  bool spansWords_ = false;
};

}  // namespace

ArgumentPaste pasteFromArguments(const std::vector<std::string>& arguments) {
  ArgumentPaste paste;
  RunReader run(paste.joined);
  bool previousBare = false;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const auto& argument = arguments[i];
    const bool bare = isBareWord(argument);
    if (i > 0) {
      paste.text += bare && previousBare ? " " : "\n";
    }
    paste.text += argument;
    if (!bare || !previousBare) {
      run.flush();
    }
    if (bare) {
      run.read(argument);
    }
    previousBare = bare;
  }
  run.flush();
  return paste;
}

std::optional<std::string> joinedWarning(const std::vector<std::string>& joined) {
  if (joined.empty()) {
    return std::nullopt;
  }
  std::string names;
  for (const auto& keyword : joined) {
    names += (names.empty() ? "" : " · ") + ("“" + keyword + "”");
  }
  return fmt::format("Read as one keyword{}: {}. To add several, separate them with commas or quote each one.",
                     joined.size() == 1 ? "" : " each", names);
}

}  // namespace tovra::research
