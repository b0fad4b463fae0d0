#include "tools/fakestore/tls_certificate.h"

#include <httplib.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <functional>
#include <stdexcept>

namespace tovra::fakestore {
namespace {

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Cert = std::unique_ptr<X509, decltype(&X509_free)>;
using Bio = std::unique_ptr<BIO, decltype(&BIO_free)>;
using Extension = std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)>;

[[noreturn]] void fail(const std::string& what) {
  char reason[256] = "unknown reason";
  if (const unsigned long code = ERR_get_error(); code != 0) {
    ERR_error_string_n(code, reason, sizeof reason);
  }
  throw std::runtime_error("Could not " + what + ": " + reason);
}

void check(int result, const std::string& what) {
  if (result <= 0) {
    fail(what);
  }
}

void addExtension(X509* certificate, int nid, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value), &X509_EXTENSION_free);
  if (!extension) {
    fail(std::string("build the certificate extension ") + value);
  }
  check(X509_add_ext(certificate, extension.get(), -1), "add a certificate extension");
}

std::string pem(const std::function<int(BIO*)>& write, const std::string& what) {
  const Bio bio(BIO_new(BIO_s_mem()), &BIO_free);
  if (!bio) {
    fail("allocate memory for " + what);
  }
  check(write(bio.get()), "write " + what);
  char* data = nullptr;
  const long size = BIO_get_mem_data(bio.get(), &data);
  return std::string(data, static_cast<std::size_t>(size));
}

}  // namespace

Certificate makeSelfSignedCertificate() {
  // P-256 keys are generated in microseconds where RSA takes a noticeable share of a test's time.
  const Key key(EVP_EC_gen("P-256"), &EVP_PKEY_free);
  if (!key) {
    fail("generate a private key");
  }
  const Cert certificate(X509_new(), &X509_free);
  if (!certificate) {
    fail("allocate a certificate");
  }
  check(X509_set_version(certificate.get(), 2), "set the certificate version");
  unsigned char serial[16];
  check(RAND_bytes(serial, sizeof serial), "draw a serial number");
  serial[0] &= 0x7F;  // a positive serial
  BIGNUM* number = BN_bin2bn(serial, sizeof serial, nullptr);
  const bool serialSet = number != nullptr && BN_to_ASN1_INTEGER(number, X509_get_serialNumber(certificate.get()));
  BN_free(number);
  if (!serialSet) {
    fail("set the serial number");
  }
  // Starting an hour early tolerates a client clock that runs slightly behind.
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 30L * 24 * 3600);
  X509_NAME* name = X509_get_subject_name(certificate.get());
  const auto text = [](const char* s) { return reinterpret_cast<const unsigned char*>(s); };
  check(X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC, text("Tovra fake store"), -1, -1, 0), "name the owner");
  check(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, text("localhost"), -1, -1, 0), "name the host");
  check(X509_set_issuer_name(certificate.get(), name), "set the issuer");
  check(X509_set_pubkey(certificate.get(), key.get()), "attach the public key");
  // The certificate is its own trust anchor, so it is marked as a CA that may also serve TLS.
  addExtension(certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
  addExtension(certificate.get(), NID_key_usage, "critical,digitalSignature,keyCertSign");
  addExtension(certificate.get(), NID_ext_key_usage, "serverAuth");
  addExtension(certificate.get(), NID_subject_key_identifier, "hash");
  addExtension(certificate.get(), NID_subject_alt_name, "IP:127.0.0.1,IP:::1,DNS:localhost");
  check(X509_sign(certificate.get(), key.get(), EVP_sha256()), "sign the certificate");

  Certificate out;
  out.certificatePem = pem([&](BIO* bio) { return PEM_write_bio_X509(bio, certificate.get()); }, "the certificate");
  out.privateKeyPem =
      pem([&](BIO* bio) { return PEM_write_bio_PrivateKey(bio, key.get(), nullptr, nullptr, 0, nullptr, nullptr); },
          "the private key");
  return out;
}

std::unique_ptr<httplib::SSLServer> makeTlsServer(const Certificate& certificate) {
  const Bio certificateBio(
      BIO_new_mem_buf(certificate.certificatePem.data(), static_cast<int>(certificate.certificatePem.size())),
      &BIO_free);
  const Bio keyBio(
      BIO_new_mem_buf(certificate.privateKeyPem.data(), static_cast<int>(certificate.privateKeyPem.size())), &BIO_free);
  if (!certificateBio || !keyBio) {
    fail("read the certificate");
  }
  const Cert x509(PEM_read_bio_X509(certificateBio.get(), nullptr, nullptr, nullptr), &X509_free);
  const Key key(PEM_read_bio_PrivateKey(keyBio.get(), nullptr, nullptr, nullptr), &EVP_PKEY_free);
  if (!x509 || !key) {
    fail("read the certificate or its key");
  }
  // The server takes its own references to both objects.
  auto server = std::make_unique<httplib::SSLServer>(x509.get(), key.get());
  if (!server->is_valid()) {
    fail("set up the TLS server");
  }
  return server;
}

}  // namespace tovra::fakestore
