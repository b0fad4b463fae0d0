#include "app/shell/watchlist_board.h"

#include "app/base/keyword_key.h"

namespace tovra::shell::board {
namespace {

constexpr std::string_view kJoin = " · ";
constexpr std::string_view kEmDash = "—";

std::string counted(std::int64_t count, std::string_view singular, std::string_view plural) {
  return std::to_string(count) + " " + std::string(count == 1 ? singular : plural);
}

}  // namespace

std::string appDetails(std::string_view developer, bool isMine) {
  std::string line(developer.empty() ? kEmDash : developer);
  if (isMine) {
    line += std::string(kJoin) + std::string(kMine);
  }
  return line;
}

std::string graduatedTo(std::string_view appName) {
  return "graduated to " + std::string(appName);
}

std::string trackedLine(std::string_view appName, bool created) {
  return (created ? "Tracking " : "Already tracked: ") + std::string(appName);
}

std::string graduatedLine(std::string_view appName, std::int64_t moved, std::int64_t kept) {
  auto line =
      std::string(appName) + " now holds the space's keywords" + std::string(kJoin) + std::to_string(moved) + " moved";
  if (kept > 0) {
    line += std::string(kJoin) + std::to_string(kept) + " stayed in the space (" + std::string(appName) +
            " already had " + (kept == 1 ? "it" : "them") + ")";
  }
  return line;
}

std::string addKeywordsTitle(std::string_view ownerName, bool isSpace) {
  return isSpace ? "Park keywords in the research space “" + std::string(ownerName) + "”"
                 : "Add keywords to " + std::string(ownerName);
}

std::string confirmAdd(std::int64_t count, bool isSpace) {
  return std::string(isSpace ? "Park " : "Add ") + counted(count, "keyword", "keywords");
}

std::string graduateTitle(std::string_view spaceName) {
  return "Graduate the research space “" + std::string(spaceName) + "” to an app";
}

std::string keywordLabel(std::string_view keyword, std::string_view country, std::string_view state) {
  return std::string(keyword) + std::string(kJoin) + base::upperCountry(country) + std::string(kJoin) +
         std::string(state);
}

}  // namespace tovra::shell::board
