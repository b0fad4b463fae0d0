#include "app/gui/app_services.h"

namespace tovra::gui {

namespace {

shell::IconCache::Options iconOptions(const AppServices::Parts& parts) {
  shell::IconCache::Options options;
  options.folder = parts.configuration.cacheDir;
  options.hostOverride = parts.configuration.artworkHost;
  if (parts.makeIconTransport) {
    asokit::CurlTransportOptions transport;
    transport.maxBodyBytes = shell::IconCache::kMaxIconBytes;
    transport.extraCaFile = parts.configuration.extraCaFile.value_or(std::filesystem::path()).string();
    options.transport = parts.makeIconTransport(transport);
  }
  return options;
}

}  // namespace

AppServices::AppServices(Parts parts)
    : iconCache_(std::make_unique<shell::IconCache>(iconOptions(parts), queue_)),
      core_(std::make_unique<shell::Services>(std::move(parts.configuration), std::move(parts.seams))),
      ownStore_(std::move(parts.store)),
      settings_(std::move(parts.settings)) {
  if (!ownStore_) {
    const auto& opening = core_->openStore();
    notice_ = opening.notice;
    store_ = opening.store;
    if (!store_) {
      // The window still comes up, long enough to say why the store could not be opened.
      ownStore_ = store::inMemoryFallback();
    }
  }
  if (ownStore_) {
    store_ = ownStore_.get();
  }
  runner_ = std::make_unique<measure::MeasurementRunner>(measure::MeasurementRunner::Services{
      queue_, core_->client(), *store_, core_->wall(), core_->monotonic(), core_->calendar(), &core_->presence()});
  icons_ = std::make_unique<AppIcons>(*iconCache_);
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
  icons_.reset();
  iconCache_.reset();
}

}  // namespace tovra::gui
