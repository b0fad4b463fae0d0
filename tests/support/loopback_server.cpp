#include "tests/support/loopback_server.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "tools/fakestore/tls_certificate.h"

namespace tovra::test {
namespace {

std::filesystem::path makeTemporaryDirectory() {
  std::string pattern = (std::filesystem::temp_directory_path() / "tovra-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::runtime_error("could not create a temporary directory under " + pattern);
  }
  return pattern;
}

}  // namespace

std::optional<std::string> SeenRequest::header(const std::string& name) const {
  // httplib compares header names without regard to case.
  const auto found = headers.find(name);
  if (found == headers.end()) {
    return std::nullopt;
  }
  return found->second;
}

LoopbackServer::LoopbackServer(Scheme scheme) : scheme_(scheme), directory_(makeTemporaryDirectory()) {
  if (scheme_ == Scheme::https) {
    const fakestore::Certificate certificate = fakestore::makeSelfSignedCertificate();
    std::ofstream(directory_ / "server.pem") << certificate.certificatePem;
    server_ = fakestore::makeTlsServer(certificate);
  } else {
    server_ = std::make_unique<httplib::Server>();
  }
  server_->set_pre_routing_handler([this](const httplib::Request& request, httplib::Response&) {
    const std::lock_guard lock(mutex_);
    seen_.push_back({request.target, request.headers});
    return httplib::Server::HandlerResponse::Unhandled;
  });
}

LoopbackServer::~LoopbackServer() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  server_->stop();
  if (thread_.joinable()) {
    thread_.join();
  }
  std::error_code ignored;
  std::filesystem::remove_all(directory_, ignored);
}

void LoopbackServer::start() {
  port_ = server_->bind_to_any_port("127.0.0.1");
  if (port_ <= 0) {
    throw std::runtime_error("the loopback server could not bind a port on 127.0.0.1");
  }
  thread_ = std::thread([this] { server_->listen_after_bind(); });
  // A stop() that comes before the accept loop runs is ignored by httplib, so start() returns only
  // once the loop is running.
  while (!server_->is_running()) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

std::string LoopbackServer::url(std::string_view pathAndQuery) const {
  const char* scheme = scheme_ == Scheme::https ? "https" : "http";
  return std::string(scheme) + "://127.0.0.1:" + std::to_string(port_) + std::string(pathAndQuery);
}

std::filesystem::path LoopbackServer::certificateFile() const {
  if (scheme_ != Scheme::https) {
    throw std::logic_error("a plain http server has no certificate");
  }
  return directory_ / "server.pem";
}

std::vector<SeenRequest> LoopbackServer::seen() const {
  const std::lock_guard lock(mutex_);
  return seen_;
}

void LoopbackServer::stall(std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex_);
  wake_.wait_for(lock, limit, [this] { return stopping_; });
}

bool LoopbackServer::stopping() const {
  const std::lock_guard lock(mutex_);
  return stopping_;
}

}  // namespace tovra::test
