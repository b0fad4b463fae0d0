// Where the transport may go: plain http only towards this computer, redirects that never drop
// https, and TLS that trusts the system's CAs plus an extra one.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "AsoKit/aso_error.h"
#include "AsoKit/transport.h"
#include "tests/support/loopback_server.h"
#include "tests/support/transport_checks.h"

namespace {

using asokit::HTTPTransport;
using asokit::TransportError;
using tovra::test::LoopbackServer;
using namespace tovra::test;

class RedirectTest : public ::testing::Test {
 protected:
  RedirectTest() {
    addMisbehavingRoutes(server_);
    server_.start();
  }

  std::unique_ptr<HTTPTransport> transport(asokit::CurlTransportOptions options = {}) {
    return asokit::makeCurlTransport(std::move(options));
  }

  LoopbackServer server_;
};

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
  const std::string message = failureOf(*transport, std::string("http://") + GetParam().host + ":" +
                                                        std::to_string(closedLoopbackPort()) + "/lookup?id=1");
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

TEST_F(RedirectTest, FollowsARedirectWithinLoopback) {
  const auto response = transport()->fetch(server_.url("/home"), {{"X-Apple-Store-Front", "143444,29"}}, {});
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(response.body, "answer 200");
  const auto seen = server_.seen();
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[1].target, "/status/200");
  EXPECT_EQ(seen[1].header("X-Apple-Store-Front"), "143444,29");
}

TEST_F(RedirectTest, GivesUpOnARedirectLoop) {
  EXPECT_EQ(failureOf(*transport(redirecting(3)), server_.url("/loop")),
            "Too many redirects (more than 3) starting from " + server_.url("/loop"));
  EXPECT_EQ(server_.seen().size(), 4u);
}

TEST_F(RedirectTest, RefusesARedirectToPlainHttpAbroad) {
  const std::string url = server_.url("/redirect?to=http%3A%2F%2Fexample.com%2Fsearch");
  EXPECT_EQ(failureOf(*transport(), url),
            "Refusing a redirect from " + url +
                " to http://example.com/search: plain http is allowed only towards this computer (loopback)");
}

class TlsTransportTest : public ::testing::Test {
 protected:
  TlsTransportTest() {
    addMisbehavingRoutes(tls_);
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

TEST_F(TlsTransportTest, AnExtraCaFileAddsToTheSystemsCertificatesInsteadOfReplacingThem) {
  LoopbackServer other(LoopbackServer::Scheme::https);
  addMisbehavingRoutes(other);
  other.start();
  // This server's certificate stands in for the system's bundle; the other server's is the extra one.
  auto options = trusting(other.certificateFile());
  options.systemCaFile = tls_.certificateFile().string();
  const auto transport = asokit::makeCurlTransport(options);
  EXPECT_EQ(transport->fetch(tls_.url("/status/200"), {}, {}).status, 200);
  EXPECT_EQ(transport->fetch(other.url("/status/200"), {}, {}).status, 200);
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
  addMisbehavingRoutes(plain);
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
  addMisbehavingRoutes(plain);
  plain.start();
  const auto transport = asokit::makeCurlTransport(trusting(tls_.certificateFile()));
  const std::string url = plain.url("/redirect?to=" + httplib::detail::encode_query_param(tls_.url("/status/429")));
  const auto response = transport->fetch(url, {}, {});
  EXPECT_EQ(response.status, 429);
  EXPECT_EQ(tls_.seen().size(), 1u);
}

}  // namespace
