#include "app/shell/command_line_texts.h"

namespace tovra::shell::commandLineText {

std::string unknownCommand(std::string_view typed, const std::vector<std::string>& nearest) {
  std::string text = "unknown command '" + std::string(typed) + "'";
  if (nearest.empty()) {
    return text + " — " + std::string(kCommandsHint);
  }
  text += " — did you mean ";
  for (std::size_t i = 0; i < nearest.size(); ++i) {
    text += (i == 0 ? "" : i + 1 == nearest.size() ? " or " : ", ") + ("'" + nearest[i] + "'");
  }
  return text + "?";
}

std::string_view exitStatusMeaning(int status) {
  switch (status) {
    case 0:
      return "";
    case 2:
      return "usage error";
    case 3:
      return "refused or halted by the App Store";
    case 4:
      return "stopped by the user";
    case 5:
      return "some keywords were not measured";
    default:
      return "failed";
  }
}

std::string notAllMeasured(long long keywords) {
  return std::to_string(keywords) + (keywords == 1 ? " keyword was" : " keywords were") +
         " not measured; the report says why.";
}

}  // namespace tovra::shell::commandLineText
