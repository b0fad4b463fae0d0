#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "AsoKit/clock.h"

namespace asokit {

using Headers = std::map<std::string, std::string>;

struct HttpResponse {
  std::string body;
  std::int64_t status = 0;  // 0 when the answer was not an HTTP answer
  // A moment of the system's monotonic clock by which the request had been handed to the network, read
  // after its last write returned (connecting and a TLS handshake come before it); none when the
  // transport cannot tell.
  std::optional<MonoTime> sentBy;
};

// The client's one door to the network. A non-2xx status is not an error here; a failure to get an
// answer at all (no connection, timeout, TLS) throws TransportError, a cancellation throws Cancelled.
class HTTPTransport {
 public:
  virtual ~HTTPTransport() = default;
  virtual HttpResponse fetch(const std::string& url, const Headers& headers, std::stop_token stop) = 0;
};

struct CurlTransportOptions {
  // An inactivity limit: connecting, and any 30 s below 1 byte/s, fail the request.
  std::chrono::seconds timeout{30};
  // The whole request's limit.
  std::chrono::seconds requestTimeout{60};
  // An extra CA certificate trusted besides the system's (loopback test servers).
  std::string extraCaFile;
  // The system's CA bundle that an extra certificate is added to; empty: the one libcurl was built with.
  std::string systemCaFile;
  std::size_t maxBodyBytes = 32u * 1024u * 1024u;
  int maxRedirects = 5;
};

// Whether a URL's host (as written in it, an IPv6 address in brackets) never leaves this computer: only
// such hosts may be spoken to in plain http.
bool isLoopbackHost(std::string host);

// The libcurl transport: ephemeral (no cookies, cache or credentials), one connection per host, TLS
// verification always on, no header of its own, plain http only towards loopback hosts.
std::unique_ptr<HTTPTransport> makeCurlTransport(CurlTransportOptions options);

}  // namespace asokit
