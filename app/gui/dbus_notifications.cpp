#include "app/gui/dbus_notifications.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <stdexcept>

namespace tovra::gui {

namespace {

const QString kService = QStringLiteral("org.freedesktop.Notifications");
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");

// Calls a method of the notification service; `done` gets the service's error text, or none.
void call(const QString& method, const QVariantList& arguments,
          std::function<void(std::optional<std::string>, const QDBusMessage&)> done) {
  auto message = QDBusMessage::createMethodCall(kService, kPath, kService, method);
  message.setArguments(arguments);
  auto* watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(message));
  QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                   [done = std::move(done)](QDBusPendingCallWatcher* finished) {
                     const auto reply = finished->reply();
                     finished->deleteLater();
                     if (finished->isError()) {
                       const auto error = finished->error();
                       done((error.name() + QStringLiteral(": ") + error.message()).toStdString(), reply);
                     } else {
                       done(std::nullopt, reply);
                     }
                   });
}

}  // namespace

void DBusNotificationCenter::authorization(AuthorizationFn done) {
  call(QStringLiteral("GetCapabilities"), {},
       [done = std::move(done)](std::optional<std::string> error, const QDBusMessage&) {
         done(error ? Authorization::notDetermined : Authorization::authorized);
       });
}

void DBusNotificationCenter::requestAuthorization(RequestFn done) {
  call(QStringLiteral("GetCapabilities"), {},
       [done = std::move(done)](std::optional<std::string> error, const QDBusMessage&) {
         done(!error, std::move(error));
       });
}

void DBusNotificationCenter::post(const measure::NotificationContent& content, PostFn done) {
  const QVariantList arguments{QStringLiteral("Tovra"),
                               0u,
                               QStringLiteral("tovra"),
                               QString::fromStdString(content.title),
                               QString::fromStdString(content.body),
                               QStringList{},
                               QVariantMap{},
                               -1};
  call(QStringLiteral("Notify"), arguments,
       [done = std::move(done)](std::optional<std::string> error, const QDBusMessage&) { done(std::move(error)); });
}

std::unique_ptr<measure::NotificationCentering> makeDBusNotificationCenter() {
  auto bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) {
    throw std::runtime_error("No session bus: " + bus.lastError().message().toStdString());
  }
  // A service that is neither running nor started on demand would only fail every post.
  auto* names = bus.interface();
  const auto activatable = bus.call(
      QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                     QStringLiteral("org.freedesktop.DBus"), QStringLiteral("ListActivatableNames")));
  const bool running = names && names->isServiceRegistered(kService).value();
  const bool startable = activatable.type() == QDBusMessage::ReplyMessage && !activatable.arguments().isEmpty() &&
                         activatable.arguments().constFirst().toStringList().contains(kService);
  if (!running && !startable) {
    throw std::runtime_error("No notification service on the session bus (" + kService.toStdString() + ")");
  }
  return std::make_unique<DBusNotificationCenter>();
}

}  // namespace tovra::gui
