#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <string>

#include "AsoKit/transport.h"
#include "tests/support/loopback_server.h"

namespace tovra::test {

// The TransportError text a fetch of `url` fails with; a test failure when it does not fail.
std::string failureOf(asokit::HTTPTransport& transport, const std::string& url, const asokit::Headers& headers = {});

// Options with one thing changed (designated initializers would trip -Wmissing-field-initializers).
asokit::CurlTransportOptions timeouts(std::chrono::seconds inactivity, std::chrono::seconds whole);
asokit::CurlTransportOptions capped(std::size_t maxBodyBytes);
asokit::CurlTransportOptions redirecting(int maxRedirects);
asokit::CurlTransportOptions trusting(const std::filesystem::path& caFile);

std::string bytes(std::size_t count);

// A loopback port where nothing listens (bound a moment ago, then closed).
int closedLoopbackPort();

// Routes that misbehave the way stores and networks do:
//   /status/N             status N with the body "answer N"
//   /bytes/N, /chunked/N  N bytes with and without a Content-Length
//   /cut                  announces 100 bytes, sends 10, hangs up
//   /stall-before-answer  says nothing for 20 s (or until the server stops)
//   /stall-mid-body       sends one byte, then nothing for 20 s
//   /trickle              one byte every 200 ms, 50 in all
//   /home                 redirects to /status/200
//   /loop                 redirects to itself
//   /redirect?to=URL      redirects to URL
void addMisbehavingRoutes(LoopbackServer& server);

}  // namespace tovra::test
