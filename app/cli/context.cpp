#include "app/cli/context.h"

#include <unistd.h>

#include <cstdlib>
#include <ostream>

#include "app/cli/command.h"
#include "app/store/launch_alert.h"
#include "app/store/store_error.h"

namespace tovra::cli {
namespace {

// The alert's words without its buttons. The informative text of a recovered store already begins with
// the message, which is then not repeated.
std::string alertText(const store::StoreLaunchAlert& alert) {
  if (alert.informativeText.rfind(alert.messageText, 0) == 0) {
    return alert.informativeText;
  }
  return alert.messageText + "\n" + alert.informativeText;
}

std::optional<std::string> processVariable(const std::string& name) {
  if (const char* value = std::getenv(name.c_str())) {
    return std::string(value);
  }
  return std::nullopt;
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

shell::Services& Context::services() {
  if (!services_) {
    auto configuration = shell::Configuration::fromEnvironment(processVariable);
    if (!dataDirOption.empty()) {
      configuration.dataDir = dataDirOption;
    }
    shell::Services::Seams seams;
    seams.warn = [this](const std::string& text) { err_ << text << "\n"; };
    services_ = std::make_unique<shell::Services>(std::move(configuration), std::move(seams));
  }
  return *services_;
}

store::Store& Context::store() {
  const auto& opening = services().openStore();
  // The bootstrap yields a store or a notice saying why there is none.
  if (opening.notice && (!opening.store || !storeNoticeShown_)) {
    const std::string text = noticeText(*opening.notice);
    if (!opening.store) {
      throw CommandError(Exit::failed, text);
    }
    err_ << text << "\n";
    storeNoticeShown_ = true;
  }
  return *opening.store;
}

std::string Context::noticeText(const store::StoreOpenNotice& notice) {
  return alertText(store::StoreLaunchAlert::from(notice));
}

bool Context::salvageIfDamaged(const std::exception* error) {
  if (!services_ || !services_->storeIsOpen()) {
    return false;
  }
  const auto* storeError = dynamic_cast<const store::StoreError*>(error);
  const bool reported = storeError && storeError->kind() == store::StoreError::Kind::damaged;
  if (!reported && !services_->storeDamaged()) {
    return false;
  }
  err_ << noticeText(
              services_->salvageDamagedStore(error ? error->what() : "The engine reported the store file as damaged."))
       << "\n";
  return true;
}

}  // namespace tovra::cli
