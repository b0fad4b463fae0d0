#include "app/gui/launch_alert_dialog.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QMessageBox>
#include <QPushButton>
#include <QUrl>

namespace tovra::gui {

void revealInFileManager(const std::filesystem::path& folder) {
  const auto url = QUrl::fromLocalFile(QString::fromStdString(folder.string()));
  auto bus = QDBusConnection::sessionBus();
  if (bus.isConnected()) {
    auto message = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    message << QStringList{url.toString()} << QString();
    // A short wait: a file manager that is D-Bus activated answers quickly or not at all.
    const auto reply = bus.call(message, QDBus::Block, 3000);
    if (reply.type() == QDBusMessage::ReplyMessage) {
      return;
    }
  }
  QDesktopServices::openUrl(url);
}

LaunchAlertChoice presentLaunchAlert(QWidget* parent, const store::StoreLaunchAlert& alert) {
  QMessageBox box(parent);
  box.setIcon(alert.style == store::StoreLaunchAlert::Style::critical ? QMessageBox::Critical : QMessageBox::Warning);
  box.setWindowTitle(QStringLiteral("Tovra"));
  box.setText(QString::fromStdString(alert.messageText));
  box.setInformativeText(QString::fromStdString(alert.informativeText));
  box.setAccessibleName(QString::fromStdString(alert.messageText));
  std::vector<std::pair<QPushButton*, std::string>> buttons;
  for (const auto& text : alert.buttons) {
    auto* button = box.addButton(QString::fromStdString(text), QMessageBox::AcceptRole);
    button->setAccessibleName(QString::fromStdString(text));
    buttons.emplace_back(button, text);
  }
  if (!buttons.empty()) {
    box.setDefaultButton(buttons.front().first);
  }
  box.exec();
  const auto* clicked = box.clickedButton();
  for (const auto& [button, text] : buttons) {
    if (button != clicked) {
      continue;
    }
    if (text == store::StoreLaunchAlert::showFolderButton && alert.folder) {
      revealInFileManager(*alert.folder);
    }
    if (text == store::StoreLaunchAlert::quitButton) {
      return LaunchAlertChoice::quit;
    }
    if (text == store::StoreLaunchAlert::tryAgainButton) {
      return LaunchAlertChoice::tryAgain;
    }
  }
  return alert.endsApplication ? LaunchAlertChoice::quit : LaunchAlertChoice::goOn;
}

}  // namespace tovra::gui
