#pragma once

#include <string>
#include <string_view>
#include <vector>

// The words of the command line's own frame: mistakes in naming a command, and what each exit status
// means (the status a scheduler reads).
namespace tovra::shell::commandLineText {

// "unknown command 'serach' — did you mean 'search'?"; with nothing near, the pointer to the list.
std::string unknownCommand(std::string_view typed, const std::vector<std::string>& nearest);

inline constexpr std::string_view kCommandsHint = "tovra help lists the commands.";
inline constexpr std::string_view kCountriesHint = "tovra countries lists the 27 codes with their names.";

// What an exit status means, for an error that has no words of its own (a JSON error object always says
// something): "failed", "usage error", and so on; empty for 0.
std::string_view exitStatusMeaning(int status);

// "5 keywords were not measured; the report above says why."
std::string notAllMeasured(long long keywords);

}  // namespace tovra::shell::commandLineText
