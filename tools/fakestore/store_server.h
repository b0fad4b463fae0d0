#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "tools/fakestore/faults.h"
#include "tools/fakestore/request_log.h"
#include "tools/fakestore/scenario.h"
#include "tools/fakestore/tls_certificate.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace tovra::fakestore {

// The three store endpoints on 127.0.0.1, answered from a scenario.
class StoreServer final {
 public:
  StoreServer(Scenario scenario, RequestLog& log, bool https);
  ~StoreServer();
  StoreServer(const StoreServer&) = delete;
  StoreServer& operator=(const StoreServer&) = delete;

  // Binds 127.0.0.1:`port` (0: a free port) and returns the port. Throws std::runtime_error.
  int bind(int port);
  // Serves until stop(); false when serving failed.
  bool serve();
  // Returns once serve() accepts connections: a stop() that came earlier would go unnoticed.
  void waitUntilServing() const;
  // Ends serve() and cuts every pending delay short. Callable from any thread.
  void stop();

  // The self-signed certificate's PEM (https only).
  const std::string& certificatePem() const { return certificate_.certificatePem; }

 private:
  struct Reply;
  void answer(std::optional<Endpoint> endpoint, const httplib::Request& request, httplib::Response& response);
  Reply normalReply(Endpoint endpoint, const RequestFacts& facts, const std::string& storefront,
                    const QueryItems& params, const std::string& reshape) const;
  // False when cut short by stop().
  bool pause(std::chrono::milliseconds delay);

  Scenario scenario_;
  RequestLog& log_;
  FaultBook faults_;
  Certificate certificate_;
  std::unique_ptr<httplib::Server> server_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool stopping_ = false;
  std::atomic<bool> ended_{false};
};

}  // namespace tovra::fakestore
