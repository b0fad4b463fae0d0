#pragma once

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "AsoKit/clock.h"
#include "AsoKit/transport.h"

namespace asokit::testing {

// Answers from a script and records every request with the (virtual) time it was sent.
class FakeTransport final : public HTTPTransport {
 public:
  struct Request {
    std::string url;
    Headers headers;
    MonoTime at;
  };
  using Responder = std::function<HttpResponse(const std::string& url)>;

  explicit FakeTransport(MonotonicClock& clock, Responder responder = {})
      : clock_(clock), responder_(std::move(responder)) {}

  // Queued answers are used first, one per request; then the responder.
  void queue(HttpResponse response) { queued_.push_back(std::move(response)); }
  void respondWith(Responder responder) { responder_ = std::move(responder); }

  HttpResponse fetch(const std::string& url, const Headers& headers, std::stop_token) override {
    requests.push_back({url, headers, clock_.now()});
    if (!queued_.empty()) {
      auto next = std::move(queued_.front());
      queued_.pop_front();
      return next;
    }
    return responder_ ? responder_(url) : HttpResponse{"", 404};
  }

  std::vector<Request> requests;

 private:
  MonotonicClock& clock_;
  Responder responder_;
  std::deque<HttpResponse> queued_;
};

// A search answer listing the ids in order, naming the first `named` of them "App <id>".
std::string searchAnswer(const std::vector<std::string>& ids, std::size_t named = 8);

}  // namespace asokit::testing
