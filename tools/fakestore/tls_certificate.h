#pragma once

#include <memory>
#include <string>

namespace httplib {
class SSLServer;
}

namespace tovra::fakestore {

struct Certificate {
  std::string certificatePem;
  std::string privateKeyPem;
};

// A fresh self-signed certificate for this computer only (subjectAltName IP:127.0.0.1, IP:::1 and
// DNS:localhost), valid from an hour ago for 30 days. A client that trusts the certificate itself can
// then speak verified TLS to a loopback server.
Certificate makeSelfSignedCertificate();

// An HTTPS server presenting `certificate`. Throws std::runtime_error when OpenSSL refuses it.
std::unique_ptr<httplib::SSLServer> makeTlsServer(const Certificate& certificate);

}  // namespace tovra::fakestore
