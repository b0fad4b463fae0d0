#include "tools/fakestore/store_server.h"

#include <fmt/format.h>
#include <httplib.h>

#include <memory>
#include <stdexcept>
#include <thread>

#include "AsoKit/storefront.h"
#include "AsoKit/text.h"
#include "tools/fakestore/answers.h"
#include "tools/fakestore/icons.h"
#include "tools/fakestore/wire_times.h"

namespace tovra::fakestore {
namespace {

constexpr const char* kJson = "application/json; charset=UTF-8";
// The store sends lookup answers as plain text.
constexpr const char* kLookupType = "text/plain; charset=UTF-8";
constexpr const char* kPlist = "application/xml; charset=UTF-8";
constexpr const char* kText = "text/plain; charset=UTF-8";

// What a request asks for, read before any fault is applied.
struct Asked {
  RequestFacts facts;
  std::string storefront;  // the header's value as sent
  std::string problem;     // why the request cannot be answered (400); empty when it can
};

// The country a store-front header names ("143441,29" → "us"); what follows the first comma or blank
// is ignored. None for a storefront the client's table does not know.
std::optional<std::string> countryOfHeader(std::string_view header) {
  const auto country = asokit::storefront::countryOfId(header.substr(0, header.find_first_of(", ")));
  return country ? std::optional<std::string>(*country) : std::nullopt;
}

Asked readRequest(Endpoint endpoint, const QueryItems& params, const httplib::Request& request) {
  Asked asked;
  asked.facts.endpoint = endpoint;
  if (endpoint == Endpoint::lookup) {
    const auto ids = queryValue(params, "id");
    const auto bundleId = queryValue(params, "bundleId");
    asked.facts.term = ids ? *ids : bundleId.value_or("");
    if (const auto country = queryValue(params, "country")) {
      asked.facts.country = asokit::text::asciiLower(*country);
    }
    if (!ids && !bundleId) {
      asked.problem = "a lookup needs \"id\" or \"bundleId\"";
    }
    return asked;
  }
  asked.facts.term = queryValue(params, "term").value_or("");
  if (!request.has_header("X-Apple-Store-Front")) {
    asked.problem = "the X-Apple-Store-Front header is missing";
    return asked;
  }
  asked.storefront = request.get_header_value("X-Apple-Store-Front");
  asked.facts.country = countryOfHeader(asked.storefront);
  if (!asked.facts.country) {
    asked.problem = fmt::format("unknown storefront \"{}\"", asked.storefront);
  } else if (!queryValue(params, "term")) {
    asked.problem = "the query has no \"term\"";
  }
  return asked;
}

std::vector<std::string> splitIds(const std::string& list) {
  std::vector<std::string> ids;
  std::size_t start = 0;
  while (start <= list.size()) {
    const std::size_t comma = std::min(list.find(',', start), list.size());
    ids.push_back(list.substr(start, comma - start));
    start = comma + 1;
  }
  return ids;
}

bool isPseudoHeader(const std::string& name) {
  // httplib files the peer's addresses among the request headers.
  return name == "REMOTE_ADDR" || name == "REMOTE_PORT" || name == "LOCAL_ADDR" || name == "LOCAL_PORT";
}

}  // namespace

struct StoreServer::Reply {
  int status = 200;
  std::string contentType;
  std::string body;
  bool hangUp = false;
};

StoreServer::StoreServer(Scenario scenario, RequestLog& log, bool https)
    : scenario_(std::move(scenario)), log_(log), faults_(scenario_) {
  if (https) {
    certificate_ = makeSelfSignedCertificate();
    server_ = makeTlsServer(certificate_);
    stampAccepts(*server_);
  } else {
    server_ = makeWireTimedServer();
  }
  // One long-lived connection per client, as the store keeps them.
  server_->set_keep_alive_max_count(100000);
  server_->set_payload_max_length(std::size_t{64} * 1024);
  const auto route = [this](std::optional<Endpoint> endpoint) {
    return [this, endpoint](const httplib::Request& request, httplib::Response& response) {
      answer(endpoint, request, response);
    };
  };
  server_->Get(R"(/WebObjects/MZStore\.woa/wa/search)", route(Endpoint::search));
  server_->Get(R"(/WebObjects/MZSearchHints\.woa/wa/hints)", route(Endpoint::hints));
  server_->Get("/lookup", route(Endpoint::lookup));
  // The demo's app artwork (TOVRA_ARTWORK_URL points the desktop here). Icons are not store requests:
  // they are neither paced nor logged.
  server_->Get(R"(/image/.*\.(png|jpg|jpeg))", [](const httplib::Request& request, httplib::Response& response) {
    response.set_content(iconPng(request.path), "image/png");
  });
  server_->Get(".*", route(std::nullopt));
}

StoreServer::~StoreServer() {
  stop();
}

int StoreServer::bind(int port) {
  const int bound =
      port == 0 ? server_->bind_to_any_port("127.0.0.1") : (server_->bind_to_port("127.0.0.1", port) ? port : -1);
  if (bound <= 0) {
    throw std::runtime_error(port == 0 ? std::string("cannot listen on 127.0.0.1")
                                       : fmt::format("cannot listen on 127.0.0.1 port {}", port));
  }
  return bound;
}

bool StoreServer::serve() {
  const bool served = server_->listen_after_bind();
  ended_ = true;
  return served;
}

void StoreServer::waitUntilServing() const {
  while (!server_->is_running() && !ended_) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

void StoreServer::stop() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  server_->stop();
}

bool StoreServer::pause(std::chrono::milliseconds delay) {
  std::unique_lock lock(mutex_);
  return !wake_.wait_for(lock, delay, [this] { return stopping_; });
}

StoreServer::Reply StoreServer::normalReply(Endpoint endpoint, const RequestFacts& facts, const std::string& storefront,
                                            const QueryItems& params, const std::string& reshape) const {
  const std::string country = facts.country.value_or("");
  switch (endpoint) {
    case Endpoint::search: {
      static const std::vector<std::string> none;
      const std::vector<std::string>* ids = findSearch(scenario_, country, facts.term);
      return {200, kJson, searchAnswer(scenario_, ids ? *ids : none, country, storefront, facts.term, reshape)};
    }
    case Endpoint::hints: {
      static const std::vector<Hint> none;
      const std::vector<Hint>* hints = findHints(scenario_, country, facts.term);
      return {200, kPlist, hintsAnswer(hints ? *hints : none, reshape)};
    }
    case Endpoint::lookup:
      break;
  }
  std::vector<const App*> apps;
  if (const auto ids = queryValue(params, "id")) {
    for (const std::string& id : splitIds(*ids)) {
      if (const auto found = scenario_.apps.find(id); found != scenario_.apps.end()) {
        apps.push_back(&found->second);
      }
    }
  } else if (const auto bundleId = queryValue(params, "bundleId")) {
    for (const auto& [id, app] : scenario_.apps) {
      if (app.bundleId == *bundleId) {
        apps.push_back(&app);
        break;
      }
    }
  }
  return {200, kLookupType, lookupAnswer(apps, country, reshape)};
}

void StoreServer::answer(std::optional<Endpoint> endpoint, const httplib::Request& request,
                         httplib::Response& response) {
  LogEntry entry;
  entry.time = std::chrono::system_clock::now();
  const RequestTimes times = currentRequestTimes();
  entry.accepted = times.accepted;
  entry.firstByte = times.firstByte;
  entry.firstByteRead = times.firstByteRead;
  entry.method = request.method;
  const std::size_t question = request.target.find('?');
  entry.path = request.target.substr(0, question);
  entry.query = question == std::string::npos ? "" : request.target.substr(question + 1);
  entry.params = parseQuery(entry.query);
  entry.remotePort = request.remote_port;
  for (const auto& [name, value] : request.headers) {
    if (!isPseudoHeader(name)) {
      entry.headers.emplace_back(name, value);
    }
  }

  Reply reply{404, kText, "the fake store does not serve this path\n"};
  std::chrono::milliseconds delay{0};
  if (endpoint) {
    entry.endpoint = endpointName(*endpoint);
    const Asked asked = readRequest(*endpoint, entry.params, request);
    entry.country = asked.facts.country;
    const Verdict verdict = faults_.judge(asked.facts);
    entry.number = verdict.number;
    if (verdict.storm) {
      entry.storm = true;
      reply = {403, "text/html; charset=UTF-8", "<html><body>Forbidden</body></html>\n"};
    } else if (!asked.problem.empty()) {
      reply = {400, kText, "fake store: " + asked.problem + "\n"};
    } else if (!verdict.fault) {
      reply = normalReply(*endpoint, asked.facts, asked.storefront, entry.params, "");
    } else {
      const Fault& fault = scenario_.faults[*verdict.fault];
      entry.fault = verdict.fault;
      const int status = fault.status.value_or(200);
      if (fault.body) {
        reply = {status, kText, *fault.body};
      } else if (status >= 200 && status < 300) {
        reply = normalReply(*endpoint, asked.facts, asked.storefront, entry.params, fault.reshape);
        reply.status = status;
      } else {
        reply = {status, kText, fmt::format("fake store: HTTP {}\n", status)};
      }
      if (fault.contentType) {
        reply.contentType = *fault.contentType;
      }
      if (fault.truncate) {
        reply.body.resize(reply.body.size() / 2);
      }
      reply.hangUp = fault.hangUp;
      delay = fault.delay;
    }
  }
  entry.status = reply.status;
  log_.write(entry);
  if (delay.count() > 0 && !pause(delay)) {
    // Shutting down: a held answer is cut off, never sent early as if the delay had passed.
    response.set_content_provider(1, "text/plain", [](std::size_t, std::size_t, httplib::DataSink&) { return false; });
    return;
  }

  response.status = reply.status;
  if (!reply.hangUp) {
    response.set_content(reply.body, reply.contentType);
    return;
  }
  // Announce the whole body, send half of it and give up: the client sees the connection close early.
  auto body = std::make_shared<std::string>(std::move(reply.body));
  response.set_content_provider(body->size(), reply.contentType,
                                [body](std::size_t, std::size_t, httplib::DataSink& sink) {
                                  sink.write(body->data(), body->size() / 2);
                                  return false;
                                });
}

}  // namespace tovra::fakestore
