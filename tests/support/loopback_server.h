#pragma once

#include <httplib.h>

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace tovra::test {

// What the server saw of one request, recorded before any route answers it.
struct SeenRequest {
  std::string target;  // path and query exactly as they arrived
  httplib::Headers headers;

  std::optional<std::string> header(const std::string& name) const;
};

// An HTTP or HTTPS server on 127.0.0.1 with a free port, for tests of clients. Add routes through
// routes(), then start(). The destructor releases stalled handlers and joins the server thread.
class LoopbackServer final {
 public:
  enum class Scheme { http, https };

  explicit LoopbackServer(Scheme scheme = Scheme::http);
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  httplib::Server& routes() { return *server_; }
  void start();

  int port() const { return port_; }
  // "http(s)://127.0.0.1:<port>" followed by `pathAndQuery`.
  std::string url(std::string_view pathAndQuery) const;
  // The PEM file of the server's self-signed certificate (https only), to trust as an extra CA.
  std::filesystem::path certificateFile() const;

  std::vector<SeenRequest> seen() const;

  // Holds a route's handler until the server shuts down or `limit` passes, so a stalling route never
  // keeps a test waiting on its own server.
  void stall(std::chrono::milliseconds limit);
  // Whether the server is shutting down; a streaming route stops feeding when it is.
  bool stopping() const;

 private:
  Scheme scheme_;
  std::unique_ptr<httplib::Server> server_;
  std::filesystem::path directory_;
  std::thread thread_;
  int port_ = 0;
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  bool stopping_ = false;
  std::vector<SeenRequest> seen_;
};

}  // namespace tovra::test
