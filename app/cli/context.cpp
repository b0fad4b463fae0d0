#include "app/cli/context.h"

#include <unistd.h>

#include <cstdlib>
#include <ostream>

namespace tovra::cli {

Context::Context(std::ostream& out, std::ostream& err) : out_(out), err_(err) {}

Context::~Context() = default;

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
    client_ = std::make_unique<asokit::AsoClient>(*transport_, monotonic_, wall_, config);
  }
  return *client_;
}

}  // namespace tovra::cli
