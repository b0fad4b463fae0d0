#include "app/shell/tovra_action.h"

namespace tovra::shell {

namespace {

using enum TovraActionID;
using M = KeyModifier;

// The ellipsis in the two titles is the single character U+2026, as menus write it.
constexpr std::array<TovraAction, kActionCount> kActions{{
    {addApp, "Add app…", "plus.app", 'N', {M::command}},
    {addKeywords, "Add keywords…", "text.badge.plus", 'N', {M::shift, M::command}},
    {measureNow, "Measure now", "play", 'R', {M::command}},
    {goToday, "Go to Today", "checklist", '1', {M::command}},
    {goApps, "Go to Apps", "square.grid.2x2", '2', {M::command}},
    {goDiscover, "Go to Discover", "binoculars", '3', {M::command}},
    {goArchive, "Go to Archive", "books.vertical", '4', {M::command}},
    {goRivals, "Go to Rivals", "person.2", '5', {M::command}},
    {openSettings, "Open Settings", "gearshape", std::nullopt, {}},
    {commandPalette, "Command palette", "command", 'K', {M::command}},
    {support, "Tovra Support", "envelope", std::nullopt, {}},
    {privacyPolicy, "Privacy Policy", "hand.raised", std::nullopt, {}},
    {termsOfUse, "Terms of Use", "doc.text", std::nullopt, {}},
    {sendFeedback, "Send Feedback", "bubble.left", std::nullopt, {}},
}};

constexpr std::array<std::string_view, kActionCount> kNames{
    "addApp",   "addKeywords",  "measureNow",     "goToday", "goApps",        "goDiscover", "goArchive",
    "goRivals", "openSettings", "commandPalette", "support", "privacyPolicy", "termsOfUse", "sendFeedback",
};

}  // namespace

const std::array<TovraAction, kActionCount>& tovraActions() {
  return kActions;
}

const TovraAction& tovraAction(TovraActionID id) {
  return kActions.at(static_cast<std::size_t>(id));
}

std::string_view actionName(TovraActionID id) {
  return kNames.at(static_cast<std::size_t>(id));
}

std::optional<std::string> TovraActionHandler::reasonFor(TovraActionID id) const {
  if (isEnabled(id) || !disabledReason) {
    return std::nullopt;
  }
  return disabledReason(id);
}

bool TovraActionHandler::run(TovraActionID id) const {
  if (!isEnabled(id) || !perform) {
    return false;
  }
  perform(id);
  return true;
}

}  // namespace tovra::shell
