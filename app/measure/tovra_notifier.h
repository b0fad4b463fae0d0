#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/base/main_queue.h"
#include "app/base/observable.h"
#include "app/measure/run_notification.h"
#include "app/measure/run_report.h"
#include "app/store/records.h"

namespace tovra::measure {

// The seam to the desktop's notification service, so the notifier runs without it. Answers may arrive
// on any thread; the notifier brings them to the main thread.
class NotificationCentering {
 public:
  enum class Authorization { notDetermined, authorized, denied };
  using AuthorizationFn = std::function<void(Authorization)>;
  // Whether the permission was granted, and the platform's words when asking failed.
  using RequestFn = std::function<void(bool granted, std::optional<std::string> error)>;
  // The platform's words when posting failed.
  using PostFn = std::function<void(std::optional<std::string> error)>;

  virtual ~NotificationCentering() = default;
  virtual void authorization(AuthorizationFn done) = 0;
  virtual void requestAuthorization(RequestFn done) = 0;
  virtual void post(const NotificationContent& content, PostFn done) = 0;
};

// The user's settings that outlive the process (QSettings in the desktop application).
class SettingsStore {
 public:
  virtual ~SettingsStore() = default;
  virtual std::optional<bool> boolValue(std::string_view key) const = 0;
  virtual void setBool(std::string_view key, bool value) = 0;
};

// Tells the user how a run ended with a desktop notification: owns the user's switch, the permission
// state and the text. Main thread only.
class TovraNotifier final {
 public:
  static constexpr std::string_view kEnabledKey = "notifications.enabled";
  static constexpr std::string_view kNotInThisBuild = "Not available in this build of Tovra yet.";

  struct Availability {
    enum class Kind { unavailable, unknown, available, denied };
    Kind kind = Kind::unknown;
    std::string reason;  // for `unavailable`, shown as it stands
    bool operator==(const Availability&) const = default;
  };

  // Makes the center on the main thread, on first use; none means notifications cannot be used here.
  using CenterFactory = std::function<std::unique_ptr<NotificationCentering>()>;

  TovraNotifier(base::MainQueue& queue, SettingsStore& settings, CenterFactory makeCenter);
  ~TovraNotifier();
  TovraNotifier(const TovraNotifier&) = delete;
  TovraNotifier& operator=(const TovraNotifier&) = delete;

  bool isEnabled() const { return isEnabled_; }
  // Keeps the switch; turning it on asks for permission when it was never asked.
  void setEnabled(bool enabled);
  const Availability& availability() const { return availability_; }
  // The state beside the settings' switch: what the platform allows, its reason, a request on its way,
  // and the last error, joined by " · ".
  std::string stateLine() const;
  bool isRequesting() const { return isRequesting_; }
  const std::optional<std::string>& lastErrorDetail() const { return lastErrorDetail_; }

  // Asks the center what the platform allows now.
  void refreshAvailability();
  // Asks the user for permission; nothing while a request is in flight or when it cannot be asked.
  void requestPermission();
  // The runner's report callback: posts the run's end when the switch is on and permission granted.
  void handle(const RunReport& report, const std::vector<store::TrackedQuery>& queries);

  // After every change of the observable state.
  const base::Observable<>& changes() const { return changes_; }

 private:
  struct Token {
    TovraNotifier* notifier;
  };

  NotificationCentering* center();
  void post(const NotificationContent& content);
  void changed();
  template <class F>
  auto onMain(F apply);

  base::MainQueue& queue_;
  SettingsStore& settings_;
  CenterFactory makeCenter_;
  std::unique_ptr<NotificationCentering> centerStorage_;
  bool centerMade_ = false;
  bool isEnabled_ = false;
  Availability availability_;
  bool isRequesting_ = false;
  std::optional<std::string> lastErrorDetail_;
  std::optional<NotificationContent> waitingForPermission_;
  base::Observable<> changes_;
  std::shared_ptr<Token> token_;
};

}  // namespace tovra::measure
