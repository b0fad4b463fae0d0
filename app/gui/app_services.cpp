#include "app/gui/app_services.h"

#include <cstdlib>

#include "AsoKit/shared_pacing.h"
#include "app/shell/configuration.h"

namespace tovra::gui {

const shell::Configuration& configuration() {
  static const shell::Configuration read =
      shell::Configuration::fromEnvironment([](const std::string& name) -> std::optional<std::string> {
        const char* value = std::getenv(name.c_str());
        return value && *value ? std::optional<std::string>(value) : std::nullopt;
      });
  return read;
}

shell::ZonedCalendar userCalendar() {
  return shell::ZonedCalendar::forUser(configuration().timeZone);
}

std::filesystem::path defaultDataDir() {
  return configuration().dataDir;
}

void useProductionClient(AppServices::Parts& parts) {
  asokit::CurlTransportOptions options;
  if (configuration().extraCaFile) {
    options.extraCaFile = configuration().extraCaFile->string();
  }
  parts.transport = asokit::makeCurlTransport(options);
  parts.clientConfig.endpoints = configuration().endpoints;
  try {
    const auto directory = configuration().stateDir;
    parts.clientConfig.sharedPacing = std::make_shared<asokit::SharedPacingFile>(directory);
    parts.presenceDirectory = directory;
  } catch (const std::exception&) {
    // Without the shared folder this process still paces its own requests.
  }
}

AppServices::AppServices(Parts parts)
    : store_(std::move(parts.store)),
      notice_(std::move(parts.notice)),
      dataDir_(std::move(parts.dataDir)),
      settings_(std::move(parts.settings)),
      calendar_(userCalendar()),
      transport_(std::move(parts.transport)) {
  client_ = std::make_unique<asokit::AsoClient>(*transport_, monotonic_, wall_, parts.clientConfig);
  if (parts.presenceDirectory) {
    presence_ = std::make_unique<research::MeasurementPresence>(*parts.presenceDirectory);
  }
  runner_ = std::make_unique<measure::MeasurementRunner>(
      measure::MeasurementRunner::Services{queue_, *client_, *store_, wall_, monotonic_, calendar_, presence_.get()});
  notifier_ = std::make_unique<measure::TovraNotifier>(queue_, *settings_, std::move(parts.makeCenter));
  subscriptions_.push_back(runner_->changes().subscribe([this] { emit signals_.changed(); }));
  subscriptions_.push_back(
      runner_->progress().subscribe([this](const measure::CompletedRequest&) { emit signals_.progressed(); }));
  subscriptions_.push_back(runner_->reports().subscribe(
      [this](const measure::RunReport& report, const std::vector<store::TrackedQuery>& queries) {
        notifier_->handle(report, queries);
        emit signals_.reported();
      }));
}

// The runner goes first: quitting during a run cancels its request and saves nothing of it.
AppServices::~AppServices() {
  subscriptions_.clear();
  runner_.reset();
  notifier_.reset();
}

bool AppServices::runningElsewhere() const {
  return presence_ && presence_->running();
}

}  // namespace tovra::gui
