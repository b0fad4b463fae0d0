#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Keywords given as command-line arguments. The shell has already split the line at blanks, so
// `tovra keywords add … photo editor` arrives as two words that the user meant as one keyword; an
// argument holding a blank was quoted on purpose and stands as it was given.
namespace tovra::research {

// The argument that reads the keyword list from standard input instead.
inline constexpr std::string_view kStandardInputArgument = "-";

struct ArgumentPaste {
  // What the keyword list parser reads: runs of single-word arguments joined by a blank, every other
  // boundary a line break.
  std::string text;
  // The keywords that were made of several arguments, whitespace collapsed, in order.
  std::vector<std::string> joined;
};

ArgumentPaste pasteFromArguments(const std::vector<std::string>& arguments);

// "Read as one keyword: “photo editor”. To add several, separate them with commas or quote each one."
// Absent when no keyword was made of several arguments.
std::optional<std::string> joinedWarning(const std::vector<std::string>& joined);

inline constexpr std::string_view kStandardInputMixed =
    "“-” reads the keywords from standard input; give it alone, without keywords after it.";
inline constexpr std::string_view kNoKeywordGiven =
    "Give the keywords after the options, or - to read them from standard input.";

inline constexpr std::string_view kStandardInputUnreadable = "Standard input could not be read.";

}  // namespace tovra::research
