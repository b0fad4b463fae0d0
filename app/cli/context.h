#pragma once

#include <atomic>
#include <filesystem>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

#include "AsoKit/aso_client.h"
#include "AsoKit/clock.h"
#include "app/shell/services.h"

namespace tovra::store {
class Store;
}

namespace tovra::cli {

// What every command shares: output choice and the process's services, built from the environment
// (and --data-dir) when a command first needs them.
class Context final {
 public:
  Context(std::ostream& out, std::ostream& err);
  ~Context();

  bool json = false;
  bool wide = false;          // --wide: tables print every cell whole
  std::string dataDirOption;  // --data-dir as given

  std::ostream& out() { return out_; }
  std::ostream& err() { return err_; }
  bool stderrIsTerminal() const;
  bool stdinIsTerminal() const;
  // How wide a table may be: COLUMNS, else the terminal's width, else 80 cells; none with --wide.
  std::optional<std::size_t> tableWidth() const;
  // Everything on standard input, up to its end.
  std::string readInput();

  // Throws shell::ConfigurationError when the environment names an unusable endpoint.
  shell::Services& services();
  asokit::AsoClient& client() { return services().client(); }
  // The store in the data folder (--data-dir, else the configuration's), opened through the store
  // bootstrap on first use. A recovered store's notice is printed once on stderr and the command goes
  // on with the new empty store; a store that cannot be opened ends the command with exit status 1.
  tovra::store::Store& store();
  // After a command, when it failed with `error` or the engine reported the open store as damaged on
  // the way (a read the command could do without): the store is moved aside, what can still be read is
  // salvaged into a new one, and the user is told on stderr. Returns whether that happened.
  bool salvageIfDamaged(const std::exception* error = nullptr);
  // The notice's words as the command line prints them.
  static std::string noticeText(const tovra::store::StoreOpenNotice& notice);
  asokit::MonotonicClock& monotonic() { return services().monotonic(); }
  asokit::WallClock& wall() { return services().wall(); }
  const base::ZonedCalendar& calendar() { return services().calendar(); }
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
  std::unique_ptr<shell::Services> services_;
  bool storeNoticeShown_ = false;
  std::stop_source userStop_;
  std::atomic<bool> listensForStop_{false};
  std::stop_source cancel_;
};

}  // namespace tovra::cli
