#include "app/cli/context.h"

#include <unistd.h>

#include <cstdlib>
#include <ostream>

#include "app/cli/command.h"
#include "app/store/bootstrap.h"
#include "app/store/launch_alert.h"

namespace tovra::cli {

store::LocalTimeFormat localTimeFormat() {
  try {
    return store::LocalTimeFormat();
  } catch (const std::exception&) {
    return store::LocalTimeFormat("UTC");
  }
}

namespace {

// The alert's words without its buttons. The informative text of a recovered store already begins with
// the message, which is then not repeated.
std::string noticeText(const store::StoreLaunchAlert& alert) {
  if (alert.informativeText.rfind(alert.messageText, 0) == 0) {
    return alert.informativeText;
  }
  return alert.messageText + "\n" + alert.informativeText;
}

}  // namespace

Context::Context(std::ostream& out, std::ostream& err) : out_(out), err_(err) {}

Context::~Context() = default;

std::stop_source& Context::userStop() {
  listensForStop_ = true;
  return userStop_;
}

bool Context::requestUserStop() {
  userStop_.request_stop();
  return listensForStop_;
}

bool Context::stderrIsTerminal() const {
  return isatty(STDERR_FILENO) == 1;
}

std::filesystem::path Context::dataDir() const {
  if (!dataDirOption.empty()) {
    return dataDirOption;
  }
  if (const char* dir = std::getenv("TOVRA_DATA_DIR"); dir && *dir) {
    return dir;
  }
  if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg && *xdg) {
    return std::filesystem::path(xdg) / "Tovra";
  }
  const char* home = std::getenv("HOME");
  return std::filesystem::path(home && *home ? home : ".") / ".local" / "share" / "Tovra";
}

asokit::AsoClient& Context::client() {
  if (!client_) {
    asokit::CurlTransportOptions options;
    if (const char* ca = std::getenv("TOVRA_CA_FILE"); ca && *ca) {
      options.extraCaFile = ca;
    }
    transport_ = asokit::makeCurlTransport(options);
    asokit::ClientConfig config;
    config.endpoints = asokit::Endpoints::fromEnvironment();
    // Pacing and the hold cover every Tovra process of the user, through one small file in the state
    // folder. Without it this process still paces its own requests.
    try {
      config.sharedPacing = std::make_shared<asokit::SharedPacingFile>(asokit::SharedPacingFile::defaultDirectory());
    } catch (const std::exception& error) {
      err_ << error.what() << " — this process paces only its own requests.\n";
    }
    client_ = std::make_unique<asokit::AsoClient>(*transport_, monotonic_, wall_, config);
  }
  return *client_;
}

store::Store& Context::store() {
  if (!store_) {
    store::SystemFileOperations files;
    const store::StoreBootstrap bootstrap(dataDir(), files, wall_, localTimeFormat(),
                                          store::StoreBootstrap::diskContainer());
    auto result = bootstrap.open();
    if (result.notice) {
      const std::string text = noticeText(store::StoreLaunchAlert::from(*result.notice));
      if (!result.container) {
        throw CommandError(Exit::failed, text);
      }
      err_ << text << "\n";
    }
    store_ = std::move(result.container);
  }
  return *store_;
}

}  // namespace tovra::cli
