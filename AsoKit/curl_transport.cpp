#include <arpa/inet.h>
#include <curl/curl.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <mutex>
#include <optional>
#include <system_error>

#include "AsoKit/aso_error.h"
#include "AsoKit/text.h"
#include "AsoKit/transport.h"

namespace asokit {
namespace {

using Clock = std::chrono::steady_clock;
using Easy = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;
using UrlHandle = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;
using HeaderList = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

void startCurlOnce() {
  // curl_global_init is not thread-safe; a function-local static runs it exactly once.
  static const CURLcode started = curl_global_init(CURL_GLOBAL_DEFAULT);
  if (started != CURLE_OK) {
    throw TransportError(fmt::format("Could not start the network library: {}", curl_easy_strerror(started)));
  }
}

bool sameName(const std::string& a, const std::string& b) {
  return text::asciiLower(a) == text::asciiLower(b);
}

// What the transport needs to know about a URL before it sends anything to it.
struct Target {
  std::string url;     // exactly as given: curl sends its path and query unchanged
  std::string scheme;  // "http" or "https"
  std::string host;    // as the URL writes it (an IPv6 address in brackets)
  long port = 0;
  bool loopback = false;
};

std::string urlPart(CURLU* url, CURLUPart part, unsigned int flags) {
  char* value = nullptr;
  if (curl_url_get(url, part, &value, flags) != CURLUE_OK || value == nullptr) {
    return {};
  }
  std::string text(value);
  curl_free(value);
  return text;
}

Target inspect(const std::string& url) {
  UrlHandle parsed(curl_url(), &curl_url_cleanup);
  if (!parsed || curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK) {
    throw TransportError(fmt::format("Not a valid URL: {}", url));
  }
  Target target;
  target.url = url;
  target.scheme = text::asciiLower(urlPart(parsed.get(), CURLUPART_SCHEME, 0));
  if (target.scheme != "http" && target.scheme != "https") {
    throw TransportError(fmt::format("Refusing {}: only https addresses can be fetched", url));
  }
  target.host = urlPart(parsed.get(), CURLUPART_HOST, 0);
  const std::string port = urlPart(parsed.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT);
  target.port = port.empty() ? 0 : std::stol(port);
  target.loopback = isLoopbackHost(target.host);
  return target;
}

void refusePlainHttpAbroad(const Target& target) {
  if (target.scheme == "http" && !target.loopback) {
    throw TransportError(fmt::format(
        "Refusing plain http to {}: only https is allowed, except towards this computer (loopback)", target.host));
  }
}

void refuseRedirect(const Target& from, const Target& to) {
  if (to.scheme != "http") {
    return;
  }
  if (from.scheme == "https") {
    throw TransportError(
        fmt::format("Refusing a redirect from {} to {}: it would drop https for plain http", from.url, to.url));
  }
  if (!from.loopback || !to.loopback) {
    throw TransportError(
        fmt::format("Refusing a redirect from {} to {}: plain http is allowed only towards this computer (loopback)",
                    from.url, to.url));
  }
}

// Header names are tokens and values single lines: anything else would let a value smuggle in a
// header of its own.
void checkHeader(const std::string& name, const std::string& value) {
  const bool nameOk = !name.empty() && std::all_of(name.begin(), name.end(), [](unsigned char c) {
    return c > 32 && c < 127 && c != ':' && c != '(' && c != ')' && c != ',' && c != ';' && c != '"';
  });
  const bool valueOk =
      std::none_of(value.begin(), value.end(), [](char c) { return c == '\r' || c == '\n' || c == '\0'; });
  if (!nameOk || !valueOk) {
    throw TransportError(
        fmt::format("Refusing the request header \"{}\": its name or value is not a valid single header line", name));
  }
}

HeaderList headerList(const Headers& headers) {
  HeaderList list(nullptr, &curl_slist_free_all);
  const auto append = [&list](const std::string& line) {
    curl_slist* head = curl_slist_append(list.get(), line.c_str());
    if (head == nullptr) {
      throw TransportError("Out of memory while preparing a request");
    }
    static_cast<void>(list.release());
    list.reset(head);
  };
  bool callerAccept = false;
  for (const auto& [name, value] : headers) {
    checkHeader(name, value);
    callerAccept = callerAccept || sameName(name, "Accept");
    // curl drops a header written "Name:" and sends an empty one for "Name;".
    append(value.empty() ? name + ";" : fmt::format("{}: {}", name, value));
  }
  // curl would send "Accept: */*" of its own accord; the store hears only the caller's headers.
  if (!callerAccept) {
    append("Accept:");
  }
  return list;
}

std::optional<std::string> readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    return std::nullopt;
  }
  std::string content((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) {
    return std::nullopt;
  }
  return content;
}

// Setting a CA file would replace the system's trust store; the extra certificate must add to it, so
// both are handed to curl as one bundle in memory.
std::string trustedCertificates(CURL* handle, const std::string& extraFile, const std::string& systemFile) {
  errno = 0;
  const std::optional<std::string> extra = readFile(extraFile);
  if (!extra) {
    const std::string reason = errno != 0 ? std::generic_category().message(errno) : "unreadable";
    throw TransportError(fmt::format("Could not read the extra CA certificate file {}: {}", extraFile, reason));
  }
  if (extra->find("-----BEGIN CERTIFICATE-----") == std::string::npos) {
    throw TransportError(fmt::format("The extra CA certificate file {} holds no PEM certificate", extraFile));
  }
  std::optional<std::string> system;
  char* builtIn = nullptr;
  if (!systemFile.empty()) {
    system = readFile(systemFile);
  } else if (curl_easy_getinfo(handle, CURLINFO_CAINFO, &builtIn) == CURLE_OK && builtIn != nullptr) {
    system = readFile(builtIn);
  }
  if (!system) {
    system = readFile("/etc/ssl/certs/ca-certificates.crt");
  }
  return system.value_or("") + "\n" + *extra;
}

// State of one transfer, reached by curl's callbacks.
struct Transfer {
  std::string body;
  std::size_t cap = 0;
  std::stop_token stop;
  bool tooLarge = false;
  bool cancelled = false;
  bool connected = false;
  std::optional<Clock::time_point> sentBy;
};

// A maximum file size only checks a declared Content-Length; the cap must hold for chunked and
// undeclared bodies too, so it is enforced here.
std::size_t onBody(char* data, std::size_t size, std::size_t count, void* user) {
  auto& transfer = *static_cast<Transfer*>(user);
  const std::size_t bytes = size * count;
  if (bytes > transfer.cap - transfer.body.size()) {
    transfer.tooLarge = true;
    return 0;
  }
  transfer.body.append(data, bytes);
  return bytes;
}

int onProgress(void* user, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
  auto& transfer = *static_cast<Transfer*>(user);
  transfer.cancelled = transfer.stop.stop_requested();
  return transfer.cancelled ? 1 : 0;
}

// Called once a connection (new or reused, TLS included) is ready, so a timeout can tell a host that
// never answered the connection from one that stalled in the middle of its answer.
int onConnected(void* user, char*, char*, int, int) {
  static_cast<Transfer*>(user)->connected = true;
  return CURL_PREREQFUNC_OK;
}

// curl reports the request's bytes once their write has returned: the clock read here is no earlier than
// the moment they reached the network, which is what the next request's slot must count from.
int onDebug(CURL*, curl_infotype type, char*, std::size_t, void* user) {
  if (type == CURLINFO_HEADER_OUT || type == CURLINFO_DATA_OUT) {
    static_cast<Transfer*>(user)->sentBy = Clock::now();
  }
  return 0;
}

bool isTlsFailure(CURLcode code) {
  switch (code) {
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_SSL_SHUTDOWN_FAILED:
    case CURLE_SSL_CLIENTCERT:
      return true;
    default:
      return false;
  }
}

struct Hop {
  HttpResponse response;
  std::optional<std::string> redirect;
};

class CurlTransport final : public HTTPTransport {
 public:
  explicit CurlTransport(CurlTransportOptions options);
  HttpResponse fetch(const std::string& url, const Headers& headers, std::stop_token stop) override;

 private:
  template <class Value>
  void set(CURLoption option, Value value);
  Hop perform(const Target& target, curl_slist* headers, const std::stop_token& stop, Clock::time_point deadline);
  [[noreturn]] void fail(CURLcode code, const Target& target, const Transfer& transfer, bool pastDeadline);

  CurlTransportOptions options_;
  Easy handle_{nullptr, &curl_easy_cleanup};
  char errorText_[CURL_ERROR_SIZE] = {};
  std::mutex mutex_;  // one request at a time on the one handle
};

template <class Value>
void CurlTransport::set(CURLoption option, Value value) {
  if (const CURLcode code = curl_easy_setopt(handle_.get(), option, value); code != CURLE_OK) {
    throw TransportError(fmt::format("Could not configure the network library: {}", curl_easy_strerror(code)));
  }
}

CurlTransport::CurlTransport(CurlTransportOptions options) : options_(std::move(options)) {
  startCurlOnce();
  handle_.reset(curl_easy_init());
  if (!handle_) {
    throw TransportError("Could not create a network handle");
  }
  using std::chrono::milliseconds;
  const long inactivity = std::max<long>(1, static_cast<long>(options_.timeout.count()));
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_ERRORBUFFER, errorText_);
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_FOLLOWLOCATION, 0L);
  set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(milliseconds(options_.timeout).count()));
  set(CURLOPT_LOW_SPEED_LIMIT, 1L);
  set(CURLOPT_LOW_SPEED_TIME, inactivity);
  set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(options_.maxBodyBytes));
  set(CURLOPT_WRITEFUNCTION, &onBody);
  set(CURLOPT_XFERINFOFUNCTION, &onProgress);
  set(CURLOPT_NOPROGRESS, 0L);
  set(CURLOPT_PREREQFUNCTION, &onConnected);
  // Verbose only so that the debug callback hears when the request was written; it prints nothing.
  set(CURLOPT_DEBUGFUNCTION, &onDebug);
  set(CURLOPT_VERBOSE, 1L);
  if (!options_.extraCaFile.empty()) {
    std::string trusted = trustedCertificates(handle_.get(), options_.extraCaFile, options_.systemCaFile);
    curl_blob blob{trusted.data(), trusted.size(), CURL_BLOB_COPY};
    set(CURLOPT_CAINFO_BLOB, &blob);
  }
}

HttpResponse CurlTransport::fetch(const std::string& url, const Headers& headers, std::stop_token stop) {
  Target target = inspect(url);
  refusePlainHttpAbroad(target);
  const HeaderList list = headerList(headers);
  const std::lock_guard lock(mutex_);
  const Clock::time_point deadline = Clock::now() + options_.requestTimeout;
  for (int redirects = 0;; ++redirects) {
    Hop hop = perform(target, list.get(), stop, deadline);
    if (!hop.redirect) {
      return std::move(hop.response);
    }
    if (redirects >= options_.maxRedirects) {
      throw TransportError(
          fmt::format("Too many redirects (more than {}) starting from {}", options_.maxRedirects, url));
    }
    Target next = inspect(*hop.redirect);
    refuseRedirect(target, next);
    target = std::move(next);
  }
}

Hop CurlTransport::perform(const Target& target, curl_slist* headers, const std::stop_token& stop,
                           Clock::time_point deadline) {
  if (stop.stop_requested()) {
    throw Cancelled();
  }
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
  Transfer transfer;
  transfer.cap = options_.maxBodyBytes;
  transfer.stop = stop;
  if (left.count() <= 0) {
    fail(CURLE_OPERATION_TIMEDOUT, target, transfer, true);
  }
  errorText_[0] = '\0';
  set(CURLOPT_URL, target.url.c_str());
  set(CURLOPT_HTTPGET, 1L);
  set(CURLOPT_HTTPHEADER, headers);
  set(CURLOPT_WRITEDATA, &transfer);
  set(CURLOPT_XFERINFODATA, &transfer);
  set(CURLOPT_PREREQDATA, &transfer);
  set(CURLOPT_DEBUGDATA, &transfer);
  set(CURLOPT_TIMEOUT_MS, static_cast<long>(left.count()));
  // A proxy from the environment must never see loopback traffic; elsewhere it is the user's choice.
  set(CURLOPT_PROXY, target.loopback ? "" : static_cast<const char*>(nullptr));
  const CURLcode code = curl_easy_perform(handle_.get());
  if (code != CURLE_OK) {
    // curl's clock may fire its limit a hair before ours reads the deadline.
    fail(code, target, transfer, Clock::now() + std::chrono::milliseconds(50) >= deadline);
  }
  long status = 0;
  curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
  Hop hop;
  hop.response.sentBy = transfer.sentBy;
  hop.response.status = status;
  hop.response.body = std::move(transfer.body);
  if (status == 301 || status == 302 || status == 303 || status == 307 || status == 308) {
    char* location = nullptr;
    if (curl_easy_getinfo(handle_.get(), CURLINFO_REDIRECT_URL, &location) == CURLE_OK && location != nullptr) {
      hop.redirect = location;
    }
  }
  return hop;
}

void CurlTransport::fail(CURLcode code, const Target& target, const Transfer& transfer, bool pastDeadline) {
  if (transfer.cancelled || code == CURLE_ABORTED_BY_CALLBACK) {
    throw Cancelled();
  }
  const std::string detail = errorText_[0] != '\0' ? std::string(errorText_) : curl_easy_strerror(code);
  const std::string where = fmt::format("{} port {}", target.host, target.port);
  if (transfer.tooLarge || code == CURLE_FILESIZE_EXCEEDED) {
    throw TransportError(fmt::format("The answer from {} was too large (more than {} bytes) and was not read", where,
                                     options_.maxBodyBytes));
  }
  if (isTlsFailure(code)) {
    throw TransportError(fmt::format("The TLS handshake with {} failed: {}", where, detail));
  }
  switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
      throw TransportError(fmt::format("Could not resolve host name {}", target.host));
    case CURLE_COULDNT_RESOLVE_PROXY:
      throw TransportError(fmt::format("Could not resolve the proxy for {}: {}", where, detail));
    case CURLE_COULDNT_CONNECT: {
      long osError = 0;
      curl_easy_getinfo(handle_.get(), CURLINFO_OS_ERRNO, &osError);
      const std::string reason =
          osError != 0 ? std::generic_category().message(static_cast<int>(osError)) : std::string(detail);
      throw TransportError(fmt::format("Could not connect to {}: {}", where, reason));
    }
    case CURLE_OPERATION_TIMEDOUT:
      if (pastDeadline) {
        throw TransportError(fmt::format("{} did not finish answering within {} s; the request was abandoned", where,
                                         options_.requestTimeout.count()));
      }
      if (!transfer.connected) {
        throw TransportError(
            fmt::format("Could not connect to {}: no connection within {} s", where, options_.timeout.count()));
      }
      throw TransportError(fmt::format("{} stopped answering: nothing received for {} s", where,
                                       std::max<long>(1, static_cast<long>(options_.timeout.count()))));
    case CURLE_PEER_FAILED_VERIFICATION:
      throw TransportError(fmt::format("The TLS certificate of {} could not be verified: {}", where, detail));
    case CURLE_SSL_CACERT_BADFILE:
      throw TransportError(fmt::format("Could not load the trusted CA certificates: {}", detail));
    case CURLE_PARTIAL_FILE:
      throw TransportError(fmt::format("The connection to {} closed before the whole answer arrived", where));
    case CURLE_GOT_NOTHING:
      throw TransportError(fmt::format("{} closed the connection without answering", where));
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
      throw TransportError(fmt::format("The connection to {} broke: {}", where, detail));
    default:
      throw TransportError(fmt::format("The request to {} failed: {}", where, detail));
  }
}

}  // namespace

bool isLoopbackHost(std::string host) {
  host = text::asciiLower(host);
  if (!host.empty() && host.back() == '.') {
    host.pop_back();
  }
  if (host == "localhost") {
    return true;
  }
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    in6_addr address{};
    if (inet_pton(AF_INET6, host.substr(1, host.size() - 2).c_str(), &address) != 1) {
      return false;
    }
    if (IN6_IS_ADDR_LOOPBACK(&address)) {
      return true;
    }
    return IN6_IS_ADDR_V4MAPPED(&address) && address.s6_addr[12] == 127;
  }
  in_addr address{};
  return inet_pton(AF_INET, host.c_str(), &address) == 1 && (ntohl(address.s_addr) >> 24) == 127;
}

std::unique_ptr<HTTPTransport> makeCurlTransport(CurlTransportOptions options) {
  return std::make_unique<CurlTransport>(std::move(options));
}

}  // namespace asokit
