#include "app/measure/tovra_notifier.h"

namespace tovra::measure {

TovraNotifier::TovraNotifier(base::MainQueue& queue, SettingsStore& settings, CenterFactory makeCenter)
    : queue_(queue),
      settings_(settings),
      makeCenter_(std::move(makeCenter)),
      isEnabled_(settings.boolValue(kEnabledKey).value_or(false)),
      token_(std::make_shared<Token>(Token{this})) {}

TovraNotifier::~TovraNotifier() = default;

// Wraps `apply` so that an answer from any thread runs on the main thread, and only while the notifier
// still exists.
template <class F>
auto TovraNotifier::onMain(F apply) {
  return [weak = std::weak_ptr<Token>(token_), &queue = queue_, apply](auto... args) {
    queue.post([weak, apply, args...] {
      if (const auto token = weak.lock()) {
        apply(*token->notifier, args...);
      }
    });
  };
}

NotificationCentering* TovraNotifier::center() {
  if (!centerMade_) {
    centerMade_ = true;
    try {
      centerStorage_ = makeCenter_ ? makeCenter_() : nullptr;
    } catch (const std::exception& error) {
      lastErrorDetail_ = error.what();
    }
    if (!centerStorage_) {
      // A desktop without a notification service says so; only a build with no center at all is "not in
      // this build".
      availability_ = {Availability::Kind::unavailable,
                       lastErrorDetail_ && makeCenter_ ? *lastErrorDetail_ : std::string(kNotInThisBuild)};
      changed();
    }
  }
  return centerStorage_.get();
}

void TovraNotifier::setEnabled(bool enabled) {
  if (enabled != isEnabled_) {
    isEnabled_ = enabled;
    settings_.setBool(kEnabledKey, enabled);
    changed();
  }
  if (enabled && availability_.kind == Availability::Kind::unknown) {
    requestPermission();
  }
}

void TovraNotifier::refreshAvailability() {
  auto* notifications = center();
  if (!notifications) {
    return;
  }
  notifications->authorization(onMain([](TovraNotifier& self, NotificationCentering::Authorization answer) {
    using Kind = Availability::Kind;
    const auto kind = answer == NotificationCentering::Authorization::authorized ? Kind::available
                      : answer == NotificationCentering::Authorization::denied   ? Kind::denied
                                                                                 : Kind::unknown;
    if (self.availability_.kind != kind) {
      self.availability_ = {kind, {}};
      self.changed();
    }
  }));
}

void TovraNotifier::requestPermission() {
  auto* notifications = center();
  if (!notifications || isRequesting_ || availability_.kind == Availability::Kind::unavailable) {
    return;
  }
  isRequesting_ = true;
  changed();
  notifications->requestAuthorization(onMain([](TovraNotifier& self, bool granted, std::optional<std::string> error) {
    self.isRequesting_ = false;
    if (error) {
      // Asking failed: the permission stays unknown, so it can be asked again.
      self.lastErrorDetail_ = error;
    } else {
      self.availability_ = {granted ? Availability::Kind::available : Availability::Kind::denied, {}};
    }
    auto waiting = std::move(self.waitingForPermission_);
    self.waitingForPermission_.reset();
    self.changed();
    if (waiting && self.isEnabled_ && self.availability_.kind == Availability::Kind::available) {
      self.post(*waiting);
    }
  }));
}

void TovraNotifier::handle(const RunReport& report, const std::vector<store::TrackedQuery>&) {
  if (!isEnabled_) {
    return;
  }
  const auto content = notificationFor(report);
  switch (availability_.kind) {
    case Availability::Kind::available:
      post(content);
      break;
    case Availability::Kind::unknown:
      // The first run's end after the switch was turned on: asked once, posted when granted.
      waitingForPermission_ = content;
      requestPermission();
      break;
    case Availability::Kind::unavailable:
    case Availability::Kind::denied:
      break;
  }
}

void TovraNotifier::post(const NotificationContent& content) {
  auto* notifications = center();
  if (!notifications) {
    return;
  }
  notifications->post(content, onMain([](TovraNotifier& self, std::optional<std::string> error) {
                        if (error) {
                          self.lastErrorDetail_ = error;
                          self.changed();
                        }
                      }));
}

void TovraNotifier::changed() {
  changes_.notify();
}

std::string TovraNotifier::stateLine() const {
  std::string line;
  switch (availability_.kind) {
    case Availability::Kind::unavailable:
      line = "unavailable";
      break;
    case Availability::Kind::unknown:
      line = "unknown";
      break;
    case Availability::Kind::available:
      line = "available";
      break;
    case Availability::Kind::denied:
      line = "denied";
      break;
  }
  const auto add = [&line](std::string_view part) { (line += " · ") += part; };
  if (!availability_.reason.empty()) {
    add(availability_.reason);
  }
  if (isRequesting_) {
    add("asking…");
  }
  if (lastErrorDetail_ && *lastErrorDetail_ != availability_.reason) {
    add(*lastErrorDetail_);
  }
  return line;
}

}  // namespace tovra::measure
