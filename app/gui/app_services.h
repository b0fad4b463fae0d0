#pragma once

#include <QObject>
#include <memory>
#include <optional>
#include <vector>

#include "app/base/observable.h"
#include "app/gui/app_icons.h"
#include "app/gui/qt_main_queue.h"
#include "app/gui/qt_settings.h"
#include "app/measure/measurement_runner.h"
#include "app/measure/tovra_notifier.h"
#include "app/shell/icon_cache.h"
#include "app/shell/services.h"
#include "app/store/bootstrap.h"
#include "app/store/store.h"

namespace tovra::gui {

// Tells every window about the runner as Qt signals, so widgets connect to it like to any other object.
class RunnerSignals final : public QObject {
  Q_OBJECT
 signals:
  void changed();
  void progressed();
  void reported();
};

// The long-lived objects of the desktop process, built once at launch and handed to every window: the
// core's services (store, the one App Store client, calendar, presence), and what the desktop adds: the
// GUI thread as main-thread queue, the settings, the runner and the notifier.
class AppServices final {
 public:
  struct Parts {
    shell::Configuration configuration;
    shell::Services::Seams seams;
    // A store made beforehand (the onboarding check's store in memory); none: the bootstrap opens the
    // one in the data folder, falling back to memory when nothing can be opened.
    std::unique_ptr<store::Store> store;
    std::unique_ptr<QtSettingsStore> settings;
    measure::TovraNotifier::CenterFactory makeCenter;
    // Fetches app icons into the cache folder; none: icons come only from what the folder holds.
    shell::Services::TransportFactory makeIconTransport;
  };

  // Throws std::runtime_error with the fatal text when not even a store in memory can be made.
  explicit AppServices(Parts parts);
  ~AppServices();
  AppServices(const AppServices&) = delete;
  AppServices& operator=(const AppServices&) = delete;

  store::Store& store() { return *store_; }
  // What opening the store must tell the user, once the main window is up.
  const std::optional<store::StoreOpenNotice>& notice() const { return notice_; }
  shell::Services& core() { return *core_; }
  QtSettingsStore& settings() { return *settings_; }
  base::MainQueue& queue() { return queue_; }
  measure::MeasurementRunner& runner() { return *runner_; }
  measure::TovraNotifier& notifier() { return *notifier_; }
  const base::ZonedCalendar& calendar() const { return core_->calendar(); }
  asokit::WallClock& wall() { return core_->wall(); }
  RunnerSignals& runnerSignals() { return signals_; }
  // The apps' icons, shared by every view.
  AppIcons& icons() { return *icons_; }
  // Whether a run holds the store in any Tovra process of the user (this one included).
  bool runningElsewhere() const { return core_->presence().running(); }

 private:
  QtMainQueue queue_;
  std::unique_ptr<shell::IconCache> iconCache_;
  std::unique_ptr<shell::Services> core_;
  std::unique_ptr<store::Store> ownStore_;
  store::Store* store_ = nullptr;
  std::optional<store::StoreOpenNotice> notice_;
  std::unique_ptr<QtSettingsStore> settings_;
  RunnerSignals signals_;
  std::unique_ptr<AppIcons> icons_;
  std::unique_ptr<measure::MeasurementRunner> runner_;
  std::unique_ptr<measure::TovraNotifier> notifier_;
  std::vector<base::Subscription> subscriptions_;
};

}  // namespace tovra::gui
