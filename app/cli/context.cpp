#include "app/cli/context.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <ostream>

#include "app/cli/command.h"
#include "app/research/argument_keywords.h"
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

std::optional<std::size_t> Context::tableWidth() const {
  constexpr std::size_t kWithoutTerminal = 80;
  if (wide) {
    return std::nullopt;
  }
  if (const auto columns = processVariable("COLUMNS")) {
    std::size_t value = 0;
    const auto* end = columns->data() + columns->size();
    if (const auto [at, error] = std::from_chars(columns->data(), end, value);
        error == std::errc() && at == end && value > 0) {
      return value;
    }
  }
  winsize size{};
  if (isatty(STDOUT_FILENO) == 1 && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    return size.ws_col;
  }
  return kWithoutTerminal;
}

bool Context::stdinIsTerminal() const {
  return isatty(STDIN_FILENO) == 1;
}

std::string Context::readInput() {
  std::string text{std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
  if (std::cin.bad()) {
    throw CommandError(Exit::failed, std::string(research::kStandardInputUnreadable));
  }
  return text;
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
