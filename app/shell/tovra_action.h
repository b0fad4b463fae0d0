#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace tovra::shell {

// Every command a user can give, from a menu, a shortcut or the command palette, in table order.
enum class TovraActionID {
  addApp,
  addKeywords,
  measureNow,
  goToday,
  goApps,
  goDiscover,
  goArchive,
  goRivals,
  openSettings,
  commandPalette,
  support,
  privacyPolicy,
  termsOfUse,
  sendFeedback,
};

// The keys held with a shortcut's key. `command` is the platform's main shortcut modifier (Ctrl on
// Linux); front ends map it.
enum class KeyModifier : std::uint8_t { command = 1, shift = 2, option = 4, control = 8 };

class KeyModifiers final {
 public:
  constexpr KeyModifiers() = default;
  constexpr KeyModifiers(std::initializer_list<KeyModifier> modifiers) {
    for (auto modifier : modifiers) {
      bits_ |= static_cast<std::uint8_t>(modifier);
    }
  }
  constexpr bool contains(KeyModifier modifier) const { return (bits_ & static_cast<std::uint8_t>(modifier)) != 0; }
  constexpr bool empty() const { return bits_ == 0; }
  constexpr bool operator==(const KeyModifiers&) const = default;

 private:
  std::uint8_t bits_ = 0;
};

struct TovraAction {
  TovraActionID id;
  std::string_view title;
  std::string_view symbol;  // names a bundled icon
  std::optional<char> key;  // the shortcut's key; none: no shortcut
  KeyModifiers modifiers;
};

inline constexpr std::size_t kActionCount = 14;

// The one table of actions, in the order menus and the palette list them.
const std::array<TovraAction, kActionCount>& tovraActions();
const TovraAction& tovraAction(TovraActionID id);
// The id's name as written in code ("measureNow"), for logs and machine output.
std::string_view actionName(TovraActionID id);

// What the window that owns the state publishes: which actions can run now, why the others cannot,
// and how to run one. Menus, shortcuts and the palette read only this, so they never disagree.
struct TovraActionHandler {
  std::set<TovraActionID> enabled;
  // Why an action cannot run now; none when there is nothing to say.
  std::function<std::optional<std::string>(TovraActionID)> disabledReason;
  std::function<void(TovraActionID)> perform;

  bool isEnabled(TovraActionID id) const { return enabled.contains(id); }
  // The reason for a disabled action; none for an enabled one.
  std::optional<std::string> reasonFor(TovraActionID id) const;
  // Runs the action when it is enabled; returns whether it ran.
  bool run(TovraActionID id) const;
};

}  // namespace tovra::shell
