#pragma once

#include <memory>

#include "app/measure/tovra_notifier.h"

namespace tovra::gui {

// Desktop notifications through org.freedesktop.Notifications on the session bus. The service counts
// as allowing notifications once it answers; there is no separate permission to ask for on this desktop.
class DBusNotificationCenter final : public measure::NotificationCentering {
 public:
  void authorization(AuthorizationFn done) override;
  void requestAuthorization(RequestFn done) override;
  void post(const measure::NotificationContent& content, PostFn done) override;
};

// The notifier's center factory: throws with the reason when there is no session bus, so the notifier
// says notifications are unavailable and keeps the reason as its last error.
std::unique_ptr<measure::NotificationCentering> makeDBusNotificationCenter();

}  // namespace tovra::gui
