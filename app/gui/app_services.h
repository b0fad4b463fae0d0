#pragma once

#include <QObject>
#include <filesystem>
#include <memory>
#include <optional>

#include "AsoKit/aso_client.h"
#include "AsoKit/clock.h"
#include "AsoKit/transport.h"
#include "app/base/observable.h"
#include "app/gui/qt_main_queue.h"
#include "app/gui/qt_settings.h"
#include "app/measure/measurement_runner.h"
#include "app/measure/tovra_notifier.h"
#include "app/research/measurement_presence.h"
#include "app/shell/zoned_calendar.h"
#include "app/store/bootstrap.h"
#include "app/store/store.h"

namespace tovra::gui {

// Tells every window about the runner: the core's runner takes one callback of each kind, the windows
// (main window, tray, run sheet) each subscribe here.
class RunnerSignals final : public QObject {
  Q_OBJECT
 signals:
  void changed();
  void progressed();
  void reported();
};

// The long-lived objects of the process, built once at launch and handed to every window: the store, the
// one App Store client, the runner, the notifier and the settings.
class AppServices final {
 public:
  struct Parts {
    std::unique_ptr<store::Store> store;
    std::optional<store::StoreOpenNotice> notice;
    std::filesystem::path dataDir;
    std::unique_ptr<QtSettingsStore> settings;
    // The transport behind the client; the curl one in the application, a fake one in tests.
    std::unique_ptr<asokit::HTTPTransport> transport;
    asokit::ClientConfig clientConfig;
    // Where the mark of a live run is shared with the user's other Tovra processes; none: not shared.
    std::optional<std::filesystem::path> presenceDirectory;
    measure::TovraNotifier::CenterFactory makeCenter;
  };

  explicit AppServices(Parts parts);
  ~AppServices();
  AppServices(const AppServices&) = delete;
  AppServices& operator=(const AppServices&) = delete;

  store::Store& store() { return *store_; }
  // Swapped after "Delete everything…" or in tests; windows re-read from it.
  const std::optional<store::StoreOpenNotice>& notice() const { return notice_; }
  const std::filesystem::path& dataDir() const { return dataDir_; }
  QtSettingsStore& settings() { return *settings_; }
  base::MainQueue& queue() { return queue_; }
  asokit::AsoClient& client() { return *client_; }
  measure::MeasurementRunner& runner() { return *runner_; }
  measure::TovraNotifier& notifier() { return *notifier_; }
  const research::MeasurementPresence* presence() const { return presence_.get(); }
  const shell::ZonedCalendar& calendar() const { return calendar_; }
  asokit::WallClock& wall() { return wall_; }
  RunnerSignals& runnerSignals() { return signals_; }
  // Whether another Tovra process is measuring now (this process's own run counts too).
  bool runningElsewhere() const;

 private:
  std::unique_ptr<store::Store> store_;
  std::optional<store::StoreOpenNotice> notice_;
  std::filesystem::path dataDir_;
  std::unique_ptr<QtSettingsStore> settings_;
  QtMainQueue queue_;
  asokit::SystemMonotonicClock monotonic_;
  asokit::SystemWallClock wall_;
  shell::ZonedCalendar calendar_;
  std::unique_ptr<asokit::HTTPTransport> transport_;
  std::unique_ptr<asokit::AsoClient> client_;
  std::unique_ptr<research::MeasurementPresence> presence_;
  RunnerSignals signals_;
  std::unique_ptr<measure::MeasurementRunner> runner_;
  std::unique_ptr<measure::TovraNotifier> notifier_;
  std::vector<base::Subscription> subscriptions_;
};

// The user's calendar, else UTC on a system whose zone cannot be found.
shell::ZonedCalendar userCalendar();
// TOVRA_DATA_DIR, else $XDG_DATA_HOME/Tovra (~/.local/share/Tovra).
std::filesystem::path defaultDataDir();
// The production transport and client settings: curl, the endpoints and CA file from the environment,
// pacing shared with the user's other Tovra processes when its folder can be made.
void useProductionClient(AppServices::Parts& parts);

}  // namespace tovra::gui
