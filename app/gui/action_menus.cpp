#include "app/gui/action_menus.h"

#include <QApplication>
#include <QMenuBar>

#include "app/gui/icons.h"

namespace tovra::gui {

namespace {

using shell::TovraActionID;

QString text(std::string_view view) {
  return QString::fromUtf8(view.data(), static_cast<qsizetype>(view.size()));
}

}  // namespace

QKeySequence shortcutOf(const shell::TovraAction& action) {
  if (!action.key) {
    return {};
  }
  using shell::KeyModifier;
  QKeyCombination combination(Qt::NoModifier, static_cast<Qt::Key>(*action.key));
  Qt::KeyboardModifiers modifiers;
  if (action.modifiers.contains(KeyModifier::command)) {
    modifiers |= Qt::ControlModifier;
  }
  if (action.modifiers.contains(KeyModifier::shift)) {
    modifiers |= Qt::ShiftModifier;
  }
  if (action.modifiers.contains(KeyModifier::option)) {
    modifiers |= Qt::AltModifier;
  }
  if (action.modifiers.contains(KeyModifier::control)) {
    modifiers |= Qt::MetaModifier;
  }
  return QKeySequence(QKeyCombination(modifiers, combination.key()));
}

ActionMenus::ActionMenus(QMainWindow& window) : QObject(&window) {
  for (const auto& entry : shell::tovraActions()) {
    auto* action = new QAction(symbolIcon(entry.symbol), text(entry.title), &window);
    action->setShortcut(shortcutOf(entry));
    action->setShortcutContext(Qt::ApplicationShortcut);
    action->setEnabled(false);
    const auto id = entry.id;
    connect(action, &QAction::triggered, this, [this, id] { handler_.run(id); });
    // Shortcuts work with the menu bar hidden too.
    window.addAction(action);
    actions_[static_cast<std::size_t>(id)] = action;
  }
  quit_ = new QAction(QStringLiteral("Quit"), &window);
  quit_->setShortcut(QKeySequence::Quit);
  connect(quit_, &QAction::triggered, qApp, &QApplication::quit);

  auto* bar = window.menuBar();
  const auto menu = [&](const QString& title, std::initializer_list<TovraActionID> ids) {
    auto* m = bar->addMenu(title);
    m->setToolTipsVisible(true);
    for (auto id : ids) {
      m->addAction(action(id));
    }
    return m;
  };
  auto* file =
      menu(QStringLiteral("&File"), {TovraActionID::addApp, TovraActionID::addKeywords, TovraActionID::measureNow});
  file->addSeparator();
  file->addAction(action(TovraActionID::openSettings));
  file->addSeparator();
  file->addAction(quit_);
  menu(QStringLiteral("&Go"), {TovraActionID::goToday, TovraActionID::goApps, TovraActionID::goDiscover,
                               TovraActionID::goArchive, TovraActionID::goRivals, TovraActionID::commandPalette});
  menu(QStringLiteral("&Help"),
       {TovraActionID::support, TovraActionID::privacyPolicy, TovraActionID::termsOfUse, TovraActionID::sendFeedback});
}

void ActionMenus::publish(shell::TovraActionHandler handler) {
  handler_ = std::move(handler);
  for (const auto& entry : shell::tovraActions()) {
    auto* qaction = action(entry.id);
    const bool enabled = handler_.isEnabled(entry.id);
    qaction->setEnabled(enabled);
    const auto reason = handler_.reasonFor(entry.id);
    qaction->setToolTip(reason ? QString::fromStdString(*reason) : text(entry.title));
    qaction->setStatusTip(reason ? QString::fromStdString(*reason) : QString());
  }
}

}  // namespace tovra::gui
