#pragma once

#include <chrono>
#include <memory>
#include <optional>

namespace httplib {
class Server;
}

namespace tovra::fakestore {

using WallInstant = std::chrono::system_clock::time_point;

// When a request reached the store, seen three ways. On a loaded machine the server's own threads can
// run late, so the time a handler starts says little about when the client sent its request; the
// kernel's receive stamp does not wait for the server to be scheduled.
struct RequestTimes {
  std::optional<WallInstant> accepted;       // the connection's accept() returned (listening thread)
  std::optional<WallInstant> firstByte;      // the kernel received the request's first byte
  std::optional<WallInstant> firstByteRead;  // a server thread read that byte
};

// The times of the request being handled on the calling thread (the server answers a request on the
// thread that read it).
RequestTimes currentRequestTimes();

// A plain-HTTP server that notes every request's times.
std::unique_ptr<httplib::Server> makeWireTimedServer();

// Notes when each connection was accepted; for a server whose reading is its own (TLS), this is all
// that can be known.
void stampAccepts(httplib::Server& server);

}  // namespace tovra::fakestore
