// A large rank batch against a zero-latency transport on the virtual clock: the request count and the
// pacing must be exact, and the client's own work per request small.
#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "AsoKit/aso_client.h"
#include "AsoKit/storefront.h"
#include "bench/timing.h"

namespace {

class InstantTransport final : public asokit::HTTPTransport {
 public:
  explicit InstantTransport(std::string body) : body_(std::move(body)) {}
  asokit::HttpResponse fetch(const std::string&, const asokit::Headers&, std::stop_token) override {
    ++requests;
    return {body_, 200};
  }
  long requests = 0;

 private:
  std::string body_;
};

std::string answer() {
  nlohmann::json results = nlohmann::json::array();
  nlohmann::json names = nlohmann::json::object();
  for (int i = 0; i < 200; ++i) {
    const auto id = std::to_string(5'000'000 + i);
    results.push_back({{"id", id}, {"type", 0}});
    if (i < 8) {
      names[id] = {{"name", fmt::format("App {}", i)}};
    }
  }
  return nlohmann::json{{"bubbles", {{{"name", "software"}, {"results", results}}}},
                        {"storePlatformData", {{"lockup", {{"results", names}}}}}}
      .dump();
}

}  // namespace

int main() {
  const auto countries = asokit::storefront::knownCodes();
  std::vector<asokit::RankQuery> queries;
  // 2,000 distinct keyword–country pairs, asked for 5,000 queries in all.
  for (int i = 0; i < 5000; ++i) {
    const int pair = i % 2000;
    queries.push_back({std::to_string(5'000'000 + (i * 37) % 400), std::string(countries[pair % 20]),
                       fmt::format("keyword {}", pair / 20)});
  }
  asokit::VirtualClock clock;
  InstantTransport transport(answer());
  asokit::AsoClient client(transport, clock.monotonic(), clock.wall());
  const auto startVirtual = clock.monoNow();
  const double cpuStart = tovra::bench::processCpuSeconds();
  const auto outcome = client.rank(queries, 3);
  const double cpu = tovra::bench::processCpuSeconds() - cpuStart;
  const auto virtualTime = clock.monoNow() - startVirtual;
  const auto expected = std::chrono::milliseconds{1200} * 1999;

  fmt::print("rank batch: {} queries, {} requests (expected 2000), {} observations\n", queries.size(),
             transport.requests, outcome.observations.size());
  fmt::print("virtual time {} ms, expected 1999 × 1200 ms = {} ms: {}\n",
             std::chrono::duration_cast<std::chrono::milliseconds>(virtualTime).count(), expected.count(),
             virtualTime == expected ? "exact" : "WRONG");
  fmt::print("CPU per request: {:.1f} µs (goal < 50 µs)\n", cpu / static_cast<double>(transport.requests) * 1e6);
  return transport.requests == 2000 && virtualTime == expected ? 0 : 1;
}
