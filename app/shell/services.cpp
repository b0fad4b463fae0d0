#include "app/shell/services.h"

#include "app/store/damage.h"
#include "app/store/file_operations.h"

namespace tovra::shell {

Services::Services(Configuration configuration) : Services(std::move(configuration), Seams{}) {}

Services::Services(Configuration configuration, Seams seams)
    : configuration_(std::move(configuration)),
      seams_(std::move(seams)),
      ownMonotonic_(seams_.monotonic ? nullptr : std::make_unique<asokit::SystemMonotonicClock>()),
      ownWall_(seams_.wall ? nullptr : std::make_unique<asokit::SystemWallClock>()),
      monotonic_(seams_.monotonic ? seams_.monotonic : ownMonotonic_.get()),
      wall_(seams_.wall ? seams_.wall : ownWall_.get()),
      calendar_(base::ZonedCalendar::forUser(configuration_.timeZone)),
      localTime_(calendar_.zoneName()),
      presence_(configuration_.stateDir) {}

Services::~Services() {
  // Damage the engine met while the store was in use is dealt with at the next launch, even after a clean
  // exit: the damaged file is left as it was found, with its log beside it.
  if (storeDamaged()) {
    store::leaveLogOnClose(*store_);
    if (sessions_) {
      sessions_->noteDamage();
    }
  }
  // The store closes before its session mark goes, so a mark never outlives a store left open.
  store_.reset();
  if (sessions_) {
    sessions_->end();
  }
}

store::StoreBootstrap Services::bootstrap(store::FileOperations& files) {
  return store::StoreBootstrap(configuration_.dataDir, files, *wall_, localTime_,
                               seams_.makeContainer ? seams_.makeContainer : store::StoreBootstrap::diskContainer());
}

const Services::StoreOpening& Services::openStore() {
  if (!opening_) {
    store::SystemFileOperations files;
    auto bootstrap = this->bootstrap(files);
    sessions_.emplace(store::SessionMarks::forThisProcess(configuration_.stateDir, bootstrap.storeFile()));
    // Damage a full check found may be of the kind only a full check finds again.
    bootstrap.checkWhen([this]() -> std::optional<store::CheckDepth> {
      if (!sessions_->checkDue()) {
        return std::nullopt;
      }
      return sessions_->damageNoted() ? store::CheckDepth::full : store::CheckDepth::quick;
    });
    auto result = bootstrap.open();
    store_ = std::move(result.container);
    if (store_) {
      sessions_->begin();
      if (result.notice && result.notice->recovered()) {
        sessions_->clearDamage();
      }
    }
    opening_ = StoreOpening{store_.get(), std::move(result.notice)};
  }
  return *opening_;
}

bool Services::storeDamaged() const {
  return store_ && store::damageReported(*store_);
}

void Services::noteStoreDamage() {
  if (store_) {
    store::noteDamage(*store_);
  }
  if (sessions_) {
    sessions_->noteDamage();
  }
}

store::StoreOpenNotice Services::salvageDamagedStore(const std::string& why) {
  store::SystemFileOperations files;
  const auto bootstrap = this->bootstrap(files);
  if (store_) {
    store::leaveLogOnClose(*store_);
  }
  store_.reset();
  auto result = bootstrap.recoverDamaged(why);
  store_ = std::move(result.container);
  if (sessions_ && store_) {
    sessions_->clearDamage();
  }
  opening_ = StoreOpening{store_.get(), result.notice};
  return *result.notice;
}

asokit::AsoClient& Services::client() {
  std::call_once(clientOnce_, [this] {
    asokit::CurlTransportOptions options;
    if (configuration_.extraCaFile) {
      options.extraCaFile = configuration_.extraCaFile->string();
    }
    transport_ = seams_.makeTransport ? seams_.makeTransport(options) : asokit::makeCurlTransport(options);
    auto config = seams_.client;
    config.endpoints = configuration_.endpoints;
    try {
      config.sharedPacing = std::make_shared<asokit::SharedPacingFile>(configuration_.stateDir, seams_.bootId);
    } catch (const std::exception& error) {
      if (seams_.warn) {
        seams_.warn(std::string(error.what()) + " — this process paces only its own requests.");
      }
    }
    client_ = std::make_unique<asokit::AsoClient>(*transport_, *monotonic_, *wall_, config);
  });
  return *client_;
}

research::RequestGate Services::requestGate() {
  return research::RequestGate([this] { return presence_.running(); },
                               [this] { return client().cooldownSecondsLeft(); });
}

void Services::holdAfterRefusal() {
  research::holdAfterRefusal(client(), wall_->now());
}

}  // namespace tovra::shell
