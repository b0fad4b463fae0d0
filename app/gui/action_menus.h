#pragma once

#include <QAction>
#include <QMainWindow>
#include <array>

#include "app/shell/tovra_action.h"

namespace tovra::gui {

// One QAction per action of the table, each with its title, icon and shortcut (Command maps to Ctrl),
// placed in the window's menus. They read the published handler only: enabled when the handler lists
// the id, the reason as the tooltip otherwise, and a trigger runs the handler's perform.
class ActionMenus final : public QObject {
  Q_OBJECT
 public:
  explicit ActionMenus(QMainWindow& window);

  void publish(shell::TovraActionHandler handler);
  const shell::TovraActionHandler& handler() const { return handler_; }
  QAction* action(shell::TovraActionID id) const { return actions_.at(static_cast<std::size_t>(id)); }
  // Adds "Quit" at the end of the File menu.
  QAction* quitAction() const { return quit_; }

 private:
  std::array<QAction*, shell::kActionCount> actions_{};
  QAction* quit_ = nullptr;
  shell::TovraActionHandler handler_;
};

// The shortcut of an action, with Command as Ctrl; empty when it has none.
QKeySequence shortcutOf(const shell::TovraAction& action);

}  // namespace tovra::gui
