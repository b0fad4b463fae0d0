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
#include "tests/support/transport_checks.h"

namespace {

using asokit::CurlTransportOptions;
using asokit::Headers;
using asokit::HTTPTransport;
using tovra::test::LoopbackServer;
using namespace tovra::test;
using namespace std::chrono_literals;

class CurlTransportTest : public ::testing::Test {
 protected:
  CurlTransportTest() {
    addMisbehavingRoutes(server_);
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
    if (bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(fd_, 4) != 0 ||
        getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
      ADD_FAILURE() << "could not set up a silent listener";
    }
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

TEST_F(CurlTransportTest, ConnectionRefusedSaysWhereAndWhy) {
  const int port = closedLoopbackPort();
  EXPECT_EQ(failureOf(*transport(), "http://127.0.0.1:" + std::to_string(port) + "/"),
            "Could not connect to 127.0.0.1 port " + std::to_string(port) + ": Connection refused");
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
