#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <future>
#include <set>
#include <string>
#include <thread>

#include "AsoKit/aso_error.h"
#include "AsoKit/transport.h"
#include "tests/support/loopback_server.h"

namespace {

using asokit::CurlTransportOptions;
using asokit::Headers;
using asokit::HTTPTransport;
using asokit::TransportError;
using tovra::test::LoopbackServer;
using namespace std::chrono_literals;

std::string failureOf(HTTPTransport& transport, const std::string& url, const Headers& headers = {}) {
  try {
    const auto response = transport.fetch(url, headers, {});
    ADD_FAILURE() << "expected a TransportError, got status " << response.status << " for " << url;
  } catch (const TransportError& error) {
    return error.what();
  }
  return {};
}

// Designated initializers would leave the other fields to -Wmissing-field-initializers.
CurlTransportOptions timeouts(std::chrono::seconds inactivity, std::chrono::seconds whole) {
  CurlTransportOptions options;
  options.timeout = inactivity;
  options.requestTimeout = whole;
  return options;
}

CurlTransportOptions capped(std::size_t maxBodyBytes) {
  CurlTransportOptions options;
  options.maxBodyBytes = maxBodyBytes;
  return options;
}

CurlTransportOptions redirecting(int maxRedirects) {
  CurlTransportOptions options;
  options.maxRedirects = maxRedirects;
  return options;
}

CurlTransportOptions trusting(const std::filesystem::path& caFile) {
  CurlTransportOptions options;
  options.extraCaFile = caFile.string();
  return options;
}

std::string bytes(std::size_t count) {
  return std::string(count, 'x');
}

// Routes that misbehave the way stores and networks do.
void addRoutes(LoopbackServer& server) {
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

class CurlTransportTest : public ::testing::Test {
 protected:
  CurlTransportTest() {
    addRoutes(server_);
    server_.start();
  }

  std::unique_ptr<HTTPTransport> transport(CurlTransportOptions options = {}) {
    return asokit::makeCurlTransport(std::move(options));
  }

  LoopbackServer server_;
};

class StatusPassesThrough : public CurlTransportTest, public ::testing::WithParamInterface<int> {};

// Status handling belongs to the rank client: the transport hands every status over with its body.
TEST_P(StatusPassesThrough, WithItsBody) {
  const int status = GetParam();
  const auto response = transport()->fetch(server_.url("/status/" + std::to_string(status)), {}, {});
  EXPECT_EQ(response.status, status);
  EXPECT_EQ(response.body, "answer " + std::to_string(status));
}

INSTANTIATE_TEST_SUITE_P(Statuses, StatusPassesThrough, ::testing::Values(200, 403, 404, 429, 500, 503));

TEST_F(CurlTransportTest, SendsOnlyTheCallersHeaders) {
  transport()->fetch(server_.url("/status/200"), {{"X-Apple-Store-Front", "143441,29"}}, {});

  const auto seen = server_.seen();
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].header("X-Apple-Store-Front"), "143441,29");
  EXPECT_EQ(seen[0].header("User-Agent"), std::nullopt);
  EXPECT_EQ(seen[0].header("Accept"), std::nullopt);
  EXPECT_EQ(seen[0].header("Accept-Encoding"), std::nullopt);
  std::set<std::string> names;
  for (const auto& [name, value] : seen[0].headers) {
    // httplib files the peer's addresses among the headers.
    if (name != "REMOTE_ADDR" && name != "REMOTE_PORT" && name != "LOCAL_ADDR" && name != "LOCAL_PORT") {
      names.insert(name);
    }
  }
  EXPECT_EQ(names, (std::set<std::string>{"Host", "X-Apple-Store-Front"}));
}

TEST_F(CurlTransportTest, ACallersOwnAcceptHeaderIsSent) {
  transport()->fetch(server_.url("/status/200"), {{"Accept", "application/json"}}, {});
  EXPECT_EQ(server_.seen().at(0).header("Accept"), "application/json");
}

TEST_F(CurlTransportTest, APercentEncodedUrlArrivesUnchanged) {
  const std::string target =
      "/status/200?clientApplication=Software&media=software&term=caf%C3%A9%20au%20lait%2B%26%3D%23%25%0A~%2F";
  transport()->fetch(server_.url(target), {}, {});
  EXPECT_EQ(server_.seen().at(0).target, target);
}

TEST_F(CurlTransportTest, RefusesAHeaderThatWouldSmuggleAnotherIn) {
  const auto message =
      failureOf(*transport(), server_.url("/status/200"), {{"X-Apple-Store-Front", "143441,29\r\nCookie: a=b"}});
  EXPECT_THAT(message, ::testing::HasSubstr("Refusing the request header \"X-Apple-Store-Front\""));
  EXPECT_TRUE(server_.seen().empty());
}

TEST_F(CurlTransportTest, KeepsOneConnectionForSuccessiveRequests) {
  const auto transport = this->transport();
  transport->fetch(server_.url("/status/200"), {}, {});
  transport->fetch(server_.url("/status/503"), {}, {});
  transport->fetch(server_.url("/status/200"), {}, {});
  const auto seen = server_.seen();
  ASSERT_EQ(seen.size(), 3u);
  EXPECT_EQ(seen[0].header("REMOTE_PORT"), seen[1].header("REMOTE_PORT"));
  EXPECT_EQ(seen[1].header("REMOTE_PORT"), seen[2].header("REMOTE_PORT"));
}

TEST_F(CurlTransportTest, AnAnswerCutShortIsAFailureNotABody) {
  EXPECT_EQ(
      failureOf(*transport(), server_.url("/cut")),
      "The connection to 127.0.0.1 port " + std::to_string(server_.port()) + " closed before the whole answer arrived");
}

struct SizeCase {
  const char* name;
  const char* path;
  bool fits;
};

class BodyCap : public CurlTransportTest, public ::testing::WithParamInterface<SizeCase> {};

// The cap holds whether or not the server declares the length up front.
TEST_P(BodyCap, RefusesAnswersAboveTheCap) {
  const auto transport = this->transport(capped(1000));
  const std::string url = server_.url(GetParam().path);
  if (GetParam().fits) {
    EXPECT_EQ(transport->fetch(url, {}, {}).body, bytes(1000));
  } else {
    EXPECT_EQ(failureOf(*transport, url), "The answer from 127.0.0.1 port " + std::to_string(server_.port()) +
                                              " was too large (more than 1000 bytes) and was not read");
  }
  // The handle stays usable after a refused answer.
  EXPECT_EQ(transport->fetch(server_.url("/status/200"), {}, {}).status, 200);
}

INSTANTIATE_TEST_SUITE_P(Bodies, BodyCap,
                         ::testing::Values(SizeCase{"DeclaredAtTheCap", "/bytes/1000", true},
                                           SizeCase{"ChunkedAtTheCap", "/chunked/1000", true},
                                           SizeCase{"DeclaredAboveTheCap", "/bytes/1001", false},
                                           SizeCase{"ChunkedAboveTheCap", "/chunked/5000", false}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(CurlTransportTest, AServerSilentBeforeItsAnswerTimesOutOnInactivity) {
  const auto transport = this->transport(timeouts(1s, 30s));
  EXPECT_EQ(failureOf(*transport, server_.url("/stall-before-answer")),
            "127.0.0.1 port " + std::to_string(server_.port()) + " stopped answering: nothing received for 1 s");
}

TEST_F(CurlTransportTest, AServerStallingMidBodyTimesOutOnInactivity) {
  const auto transport = this->transport(timeouts(1s, 30s));
  EXPECT_EQ(failureOf(*transport, server_.url("/stall-mid-body")),
            "127.0.0.1 port " + std::to_string(server_.port()) + " stopped answering: nothing received for 1 s");
}

// A server that keeps sending a byte now and then is never idle; only the whole request's limit ends it.
TEST_F(CurlTransportTest, ATrickleIsEndedByTheWholeRequestLimit) {
  const auto transport = this->transport(timeouts(5s, 1s));
  EXPECT_EQ(failureOf(*transport, server_.url("/trickle")),
            "127.0.0.1 port " + std::to_string(server_.port()) +
                " did not finish answering within 1 s; the request was abandoned");
}

// A socket that listens but never accepts: the kernel completes the TCP handshake and then nothing
// answers, neither TLS nor HTTP.
class SilentListener final {
 public:
  SilentListener() : fd_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address);
    listen(fd_, 4);
    getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
  }
  ~SilentListener() { close(fd_); }
  SilentListener(const SilentListener&) = delete;
  SilentListener& operator=(const SilentListener&) = delete;
  int port() const { return port_; }

 private:
  int fd_;
  int port_ = 0;
};

TEST(CurlTransportTimeouts, ATlsHandshakeThatNeverCompletesIsAConnectionFailure) {
  const SilentListener silent;
  const auto transport = asokit::makeCurlTransport(timeouts(1s, 30s));
  EXPECT_EQ(failureOf(*transport, "https://127.0.0.1:" + std::to_string(silent.port()) + "/"),
            "Could not connect to 127.0.0.1 port " + std::to_string(silent.port()) + ": no connection within 1 s");
}

TEST(CurlTransportTimeouts, AConnectedServerThatNeverAnswersIsInactive) {
  const SilentListener silent;
  const auto transport = asokit::makeCurlTransport(timeouts(1s, 30s));
  EXPECT_EQ(failureOf(*transport, "http://127.0.0.1:" + std::to_string(silent.port()) + "/"),
            "127.0.0.1 port " + std::to_string(silent.port()) + " stopped answering: nothing received for 1 s");
}

int closedPort() {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
  getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  close(fd);
  return ntohs(address.sin_port);
}

TEST_F(CurlTransportTest, ConnectionRefusedSaysWhereAndWhy) {
  const int port = closedPort();
  EXPECT_EQ(failureOf(*transport(), "http://127.0.0.1:" + std::to_string(port) + "/"),
            "Could not connect to 127.0.0.1 port " + std::to_string(port) + ": Connection refused");
}

struct PlainHttpCase {
  const char* name;
  const char* host;
  bool allowed;
};

class PlainHttp : public ::testing::TestWithParam<PlainHttpCase> {};

// Refused hosts fail before any name is resolved; allowed loopback hosts get as far as connecting to
// a port where nothing listens.
TEST_P(PlainHttp, OnlyTowardsThisComputer) {
  const auto transport = asokit::makeCurlTransport({});
  const std::string message = failureOf(
      *transport, std::string("http://") + GetParam().host + ":" + std::to_string(closedPort()) + "/lookup?id=1");
  if (GetParam().allowed) {
    EXPECT_THAT(message, ::testing::StartsWith("Could not connect to "));
  } else {
    EXPECT_THAT(message, ::testing::StartsWith("Refusing plain http to "));
  }
}

INSTANTIATE_TEST_SUITE_P(Hosts, PlainHttp,
                         ::testing::Values(PlainHttpCase{"Loopback", "127.0.0.1", true},
                                           PlainHttpCase{"AnotherLoopbackAddress", "127.0.0.2", true},
                                           PlainHttpCase{"IPv6Loopback", "[::1]", true},
                                           PlainHttpCase{"PrivateNetwork", "10.0.0.1", false},
                                           PlainHttpCase{"NameStartingLikeLoopback", "127.0.0.1.example.com", false},
                                           PlainHttpCase{"NameStartingWithLocalhost", "localhost.example.com", false},
                                           PlainHttpCase{"MappedForeignAddress", "[::ffff:10.0.0.1]", false},
                                           PlainHttpCase{"StoreHost", "search.itunes.apple.com", false}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(CurlTransportUrls, RefusesSchemesOtherThanHttp) {
  const auto transport = asokit::makeCurlTransport({});
  EXPECT_EQ(failureOf(*transport, "file:///etc/passwd"),
            "Refusing file:///etc/passwd: only https addresses can be fetched");
  EXPECT_EQ(failureOf(*transport, "no url at all"), "Not a valid URL: no url at all");
}

TEST_F(CurlTransportTest, FollowsARedirectWithinLoopback) {
  const auto response = transport()->fetch(server_.url("/home"), {{"X-Apple-Store-Front", "143444,29"}}, {});
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(response.body, "answer 200");
  const auto seen = server_.seen();
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[1].target, "/status/200");
  EXPECT_EQ(seen[1].header("X-Apple-Store-Front"), "143444,29");
}

TEST_F(CurlTransportTest, GivesUpOnARedirectLoop) {
  EXPECT_EQ(failureOf(*transport(redirecting(3)), server_.url("/loop")),
            "Too many redirects (more than 3) starting from " + server_.url("/loop"));
  EXPECT_EQ(server_.seen().size(), 4u);
}

TEST_F(CurlTransportTest, RefusesARedirectToPlainHttpAbroad) {
  const std::string url = server_.url("/redirect?to=http%3A%2F%2Fexample.com%2Fsearch");
  EXPECT_EQ(failureOf(*transport(), url),
            "Refusing a redirect from " + url +
                " to http://example.com/search: plain http is allowed only towards this computer (loopback)");
}

class TlsTransportTest : public ::testing::Test {
 protected:
  TlsTransportTest() {
    addRoutes(tls_);
    tls_.start();
  }
  LoopbackServer tls_{LoopbackServer::Scheme::https};
};

TEST_F(TlsTransportTest, AnUntrustedCertificateFails) {
  const std::string message = failureOf(*asokit::makeCurlTransport({}), tls_.url("/status/200"));
  EXPECT_THAT(message, ::testing::StartsWith("The TLS certificate of 127.0.0.1 port " + std::to_string(tls_.port()) +
                                             " could not be verified: "));
  EXPECT_TRUE(tls_.seen().empty());
}

TEST_F(TlsTransportTest, AnExtraCaFileIsTrusted) {
  const auto transport = asokit::makeCurlTransport(trusting(tls_.certificateFile()));
  const auto response = transport->fetch(tls_.url("/status/200"), {{"X-Apple-Store-Front", "143480,29"}}, {});
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(tls_.seen().at(0).header("X-Apple-Store-Front"), "143480,29");
  EXPECT_EQ(tls_.seen().at(0).header("Accept"), std::nullopt);
}

TEST_F(TlsTransportTest, AnotherServersCertificateIsNotEnough) {
  LoopbackServer other(LoopbackServer::Scheme::https);
  other.start();
  const auto transport = asokit::makeCurlTransport(trusting(other.certificateFile()));
  EXPECT_THAT(failureOf(*transport, tls_.url("/status/200")), ::testing::HasSubstr("could not be verified"));
}

TEST(CurlTransportCa, AnUnreadableExtraCaFileIsRefusedAtOnce) {
  try {
    asokit::makeCurlTransport(trusting("/nonexistent/tovra-ca.pem"));
    ADD_FAILURE() << "a missing CA file was accepted";
  } catch (const TransportError& error) {
    EXPECT_STREQ(error.what(),
                 "Could not read the extra CA certificate file /nonexistent/tovra-ca.pem: No such file or directory");
  }
}

TEST_F(TlsTransportTest, RefusesARedirectFromHttpsToHttp) {
  LoopbackServer plain;
  addRoutes(plain);
  plain.start();
  const auto transport = asokit::makeCurlTransport(trusting(tls_.certificateFile()));
  const std::string target = plain.url("/status/200");
  const std::string url = tls_.url("/redirect?to=" + httplib::detail::encode_query_param(target));
  EXPECT_EQ(failureOf(*transport, url),
            "Refusing a redirect from " + url + " to " + target + ": it would drop https for plain http");
  EXPECT_TRUE(plain.seen().empty());
}

TEST_F(TlsTransportTest, FollowsARedirectFromLoopbackHttpToHttps) {
  LoopbackServer plain;
  addRoutes(plain);
  plain.start();
  const auto transport = asokit::makeCurlTransport(trusting(tls_.certificateFile()));
  const std::string url = plain.url("/redirect?to=" + httplib::detail::encode_query_param(tls_.url("/status/429")));
  const auto response = transport->fetch(url, {}, {});
  EXPECT_EQ(response.status, 429);
  EXPECT_EQ(tls_.seen().size(), 1u);
}

TEST_F(CurlTransportTest, AStopRequestedBeforehandSendsNothing) {
  std::stop_source stop;
  stop.request_stop();
  EXPECT_THROW(transport()->fetch(server_.url("/status/200"), {}, stop.get_token()), asokit::Cancelled);
  EXPECT_TRUE(server_.seen().empty());
}

TEST_F(CurlTransportTest, AStopEndsARequestInFlight) {
  const auto transport = this->transport();
  std::stop_source stop;
  auto pending = std::async(
      std::launch::async, [&] { return transport->fetch(server_.url("/stall-before-answer"), {}, stop.get_token()); });
  for (int i = 0; i < 500 && server_.seen().empty(); ++i) {
    std::this_thread::sleep_for(10ms);
  }
  ASSERT_EQ(server_.seen().size(), 1u);
  stop.request_stop();
  EXPECT_THROW(pending.get(), asokit::Cancelled);
}

}  // namespace
