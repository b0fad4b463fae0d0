#pragma once

#include <atomic>
#include <filesystem>
#include <iosfwd>
#include <memory>
#include <string>

#include "AsoKit/aso_client.h"
#include "AsoKit/clock.h"
#include "AsoKit/transport.h"
#include "app/store/local_time.h"

namespace tovra::store {
class Store;
}

namespace tovra::cli {

// Backup folders and the export's proposed file name are stamped in the user's local time; a system
// whose zone cannot be found still gets them, in UTC.
store::LocalTimeFormat localTimeFormat();

// What every command shares: output choice, the data directory, the one App Store client of the
// process (built on first use, so commands that never ask the store open no connection), the clocks.
class Context final {
 public:
  Context(std::ostream& out, std::ostream& err);
  ~Context();

  bool json = false;
  std::string dataDirOption;  // --data-dir as given

  std::ostream& out() { return out_; }
  std::ostream& err() { return err_; }
  bool stderrIsTerminal() const;

  // --data-dir, else TOVRA_DATA_DIR, else $XDG_DATA_HOME/Tovra (~/.local/share/Tovra).
  std::filesystem::path dataDir() const;

  asokit::AsoClient& client();
  // The store in dataDir(), opened through the store bootstrap on first use (so commands that never
  // read it create nothing). A recovered store's notice is printed once on stderr and the command goes
  // on with the new empty store; a store that cannot be opened ends the command with exit status 1.
  tovra::store::Store& store();
  asokit::MonotonicClock& monotonic() { return monotonic_; }
  asokit::WallClock& wall() { return wall_; }
  // Requested on the first Ctrl-C: a run finishes the request in flight and keeps what was measured.
  // A command that asks for it listens, so the first Ctrl-C waits for it; any other command quits at once.
  std::stop_source& userStop();
  bool listensForStop() const { return listensForStop_; }
  // The first Ctrl-C, for the interrupt watcher: true when a command listens and will stop by itself.
  bool requestUserStop();
  // Requested on the second Ctrl-C: waits and requests in flight end at once.
  std::stop_source& cancel() { return cancel_; }

 private:
  std::ostream& out_;
  std::ostream& err_;
  asokit::SystemMonotonicClock monotonic_;
  asokit::SystemWallClock wall_;
  std::unique_ptr<asokit::HTTPTransport> transport_;
  std::unique_ptr<asokit::AsoClient> client_;
  std::unique_ptr<tovra::store::Store> store_;
  std::stop_source userStop_;
  std::atomic<bool> listensForStop_{false};
  std::stop_source cancel_;
};

}  // namespace tovra::cli
