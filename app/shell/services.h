#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "AsoKit/aso_client.h"
#include "AsoKit/clock.h"
#include "AsoKit/transport.h"
#include "app/base/zoned_calendar.h"
#include "app/research/measurement_presence.h"
#include "app/research/request_gate.h"
#include "app/shell/configuration.h"
#include "app/store/bootstrap.h"
#include "app/store/local_time.h"
#include "app/store/session_marks.h"

namespace tovra::shell {

// The services one process shares, wired in one place from its configuration: the store (through the
// bootstrap), the one App Store client, the user's calendar, the mark of a running measurement and what a
// refusal does. Front ends add only what is their own (main-thread queue, settings, notifications).
// The store and the client are made on first use, so a command that never asks the App Store opens no
// connection and one that never reads the store creates nothing. Lives on the main thread.
class Services final {
 public:
  using TransportFactory = std::function<std::unique_ptr<asokit::HTTPTransport>(asokit::CurlTransportOptions)>;

  // What tests replace; the defaults are the real ones.
  struct Seams {
    asokit::MonotonicClock* monotonic = nullptr;  // none: the system's monotonic clock
    asokit::WallClock* wall = nullptr;            // none: the system's clock
    TransportFactory makeTransport;               // none: libcurl
    store::ContainerFactory makeContainer;        // none: the store file on disk
    asokit::ClientConfig client;                  // pacing and retries; endpoints and sharing are set here
    std::string bootId = asokit::SharedPacingFile::currentBootId();
    // Told what the user should know that does not stop anything (pacing kept to this process).
    std::function<void(const std::string&)> warn;
  };

  // How opening the store went: the store, unless nothing could be opened, and what the user must be
  // told (a recovered or a failed store).
  struct StoreOpening {
    store::Store* store = nullptr;
    std::optional<store::StoreOpenNotice> notice;
  };

  explicit Services(Configuration configuration);
  Services(Configuration configuration, Seams seams);
  ~Services();
  Services(const Services&) = delete;
  Services& operator=(const Services&) = delete;

  const Configuration& configuration() const { return configuration_; }

  asokit::MonotonicClock& monotonic() { return *monotonic_; }
  asokit::WallClock& wall() { return *wall_; }
  const base::ZonedCalendar& calendar() const { return calendar_; }
  // Backup folders and the export's proposed file name, in the calendar's zone.
  const store::LocalTimeFormat& localTime() const { return localTime_; }

  // Opens the store in the configuration's data folder on the first call; later calls give the same
  // outcome. After an unclean exit of a process that used the store, or once damage was found in it,
  // the store is checked first, and a damaged one is moved aside and salvaged.
  const StoreOpening& openStore();
  bool storeIsOpen() const { return store_ != nullptr; }
  // Whether the open store was reported damaged since it opened (a read or write the engine refused).
  bool storeDamaged() const;
  // Remembers that a check found the open store damaged: the store refuses changes from now on, and
  // the next opening (this process's or the next launch's) moves it aside and salvages it.
  void noteStoreDamage();
  // Closes the damaged store, moves it aside whole and salvages it into a new one, which the next
  // openStore() gives. `why` is what was found. Returns the notice to show.
  store::StoreOpenNotice salvageDamagedStore(const std::string& why);
  // The one App Store client of the process. Its pacing and hold are shared with the user's other Tovra
  // processes through the state folder; when that cannot be used, `warn` hears why and this process paces
  // only its own requests. Safe to call first from a worker: a request may be what needs it first.
  asokit::AsoClient& client();

  // Whether a run holds the store in any Tovra process of the user (this one included).
  const research::MeasurementPresence& presence() const { return presence_; }
  // What the research tools ask before a request: a run anywhere, then the client's hold.
  research::RequestGate requestGate();
  // What a refusal does: the 900 s hold every process keeps, unless one already counts down.
  void holdAfterRefusal();

 private:
  Configuration configuration_;
  Seams seams_;
  std::unique_ptr<asokit::MonotonicClock> ownMonotonic_;
  std::unique_ptr<asokit::WallClock> ownWall_;
  asokit::MonotonicClock* monotonic_;
  asokit::WallClock* wall_;
  base::ZonedCalendar calendar_;
  store::LocalTimeFormat localTime_;
  research::MeasurementPresence presence_;
  store::StoreBootstrap bootstrap(store::FileOperations& files);

  std::optional<StoreOpening> opening_;
  std::unique_ptr<store::Store> store_;
  std::optional<store::SessionMarks> sessions_;
  std::once_flag clientOnce_;
  std::unique_ptr<asokit::HTTPTransport> transport_;
  std::unique_ptr<asokit::AsoClient> client_;
};

}  // namespace tovra::shell
