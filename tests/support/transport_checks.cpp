#include "tests/support/transport_checks.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include "AsoKit/aso_error.h"

namespace tovra::test {

using namespace std::chrono_literals;

std::string failureOf(asokit::HTTPTransport& transport, const std::string& url, const asokit::Headers& headers) {
  try {
    const auto response = transport.fetch(url, headers, {});
    ADD_FAILURE() << "expected a TransportError, got status " << response.status << " for " << url;
  } catch (const asokit::TransportError& error) {
    return error.what();
  }
  return {};
}

asokit::CurlTransportOptions timeouts(std::chrono::seconds inactivity, std::chrono::seconds whole) {
  asokit::CurlTransportOptions options;
  options.timeout = inactivity;
  options.requestTimeout = whole;
  return options;
}

asokit::CurlTransportOptions capped(std::size_t maxBodyBytes) {
  asokit::CurlTransportOptions options;
  options.maxBodyBytes = maxBodyBytes;
  return options;
}

asokit::CurlTransportOptions redirecting(int maxRedirects) {
  asokit::CurlTransportOptions options;
  options.maxRedirects = maxRedirects;
  return options;
}

asokit::CurlTransportOptions trusting(const std::filesystem::path& caFile) {
  asokit::CurlTransportOptions options;
  options.extraCaFile = caFile.string();
  return options;
}

std::string bytes(std::size_t count) {
  return std::string(count, 'x');
}

void addMisbehavingRoutes(LoopbackServer& server) {
  auto& routes = server.routes();
  routes.Get(R"(/status/(\d+))", [](const httplib::Request& request, httplib::Response& response) {
    response.status = std::stoi(request.matches[1]);
    response.set_content("answer " + std::string(request.matches[1]), "text/plain");
  });
  routes.Get(R"(/bytes/(\d+))", [](const httplib::Request& request, httplib::Response& response) {
    response.set_content(bytes(std::stoul(request.matches[1])), "text/plain");
  });
  routes.Get(R"(/chunked/(\d+))", [](const httplib::Request& request, httplib::Response& response) {
    const std::size_t total = std::stoul(request.matches[1]);
    response.set_chunked_content_provider("text/plain", [total](std::size_t offset, httplib::DataSink& sink) {
      if (offset >= total) {
        sink.done();
        return true;
      }
      const std::string piece = bytes(std::min<std::size_t>(512, total - offset));
      return sink.write(piece.data(), piece.size());
    });
  });
  // Announces 100 bytes, sends 10 and hangs up.
  routes.Get("/cut", [](const httplib::Request&, httplib::Response& response) {
    response.set_content_provider(100, "application/json", [](std::size_t, std::size_t, httplib::DataSink& sink) {
      sink.write(R"({"bubbles")", 10);
      return false;
    });
  });
  routes.Get("/stall-before-answer", [&server](const httplib::Request&, httplib::Response& response) {
    server.stall(20s);
    response.set_content("late", "text/plain");
  });
  routes.Get("/stall-mid-body", [&server](const httplib::Request&, httplib::Response& response) {
    response.set_chunked_content_provider("text/plain", [&server](std::size_t offset, httplib::DataSink& sink) {
      // A single byte: curl averages speed over a few seconds, so a burst would delay the verdict.
      if (offset == 0) {
        return sink.write("{", 1);
      }
      server.stall(20s);
      sink.done();
      return true;
    });
  });
  // One byte every 200 ms: never idle, never done within a second.
  routes.Get("/trickle", [&server](const httplib::Request&, httplib::Response& response) {
    response.set_chunked_content_provider("text/plain", [&server](std::size_t offset, httplib::DataSink& sink) {
      if (offset >= 50 || server.stopping()) {
        sink.done();
        return true;
      }
      server.stall(200ms);
      return sink.write("x", 1);
    });
  });
  routes.Get("/home",
             [](const httplib::Request&, httplib::Response& response) { response.set_redirect("/status/200"); });
  routes.Get("/loop", [](const httplib::Request&, httplib::Response& response) { response.set_redirect("/loop"); });
  routes.Get("/redirect", [](const httplib::Request& request, httplib::Response& response) {
    response.set_redirect(request.get_param_value("to"));
  });
}

int closedLoopbackPort() {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    ADD_FAILURE() << "could not find a free loopback port";
  }
  close(fd);
  return ntohs(address.sin_port);
}

}  // namespace tovra::test
