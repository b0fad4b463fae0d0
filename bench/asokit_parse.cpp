// Parsing a store answer against a bare JSON parse of the same bytes: the reading of the answer should
// cost little beyond the parse itself.
#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "AsoKit/lookup.h"
#include "AsoKit/store_search.h"
#include "bench/timing.h"

namespace {

using nlohmann::json;

// A search answer of 200 ids with a hydrated head, as the store sends for a popular term.
std::string searchAnswer() {
  json results = json::array();
  json hydrated = json::object();
  for (int i = 0; i < 200; ++i) {
    const auto id = std::to_string(1'000'000'000 + i * 7919);
    results.push_back({{"id", id}, {"type", 0}, {"entity", "software"}});
    if (i < 12) {
      hydrated[id] = {{"id", id},
                      {"name", fmt::format("Photo App {}", i)},
                      {"artistName", fmt::format("Studio {}", i)},
                      {"kind", "iosSoftware"},
                      {"artwork", {{{"width", 1024}, {"height", 1024}, {"url", "https://img.example/{w}x{h}bb.{f}"}}}},
                      {"userRating", {{"value", 4.5}, {"ratingCount", 1000 * i}}},
                      {"description", {{"standard", std::string(600, 'd')}}}};
    }
  }
  return json{
      {"bubbles",
       {{{"name", "software"}, {"results", results}}, {{"name", "messagesSoftware"}, {"results", json::array()}}}},
      {"storePlatformData", {{"native-search-lockup-search", {{"results", hydrated}}}}},
      {"pageData", {{"metricsBase", {{"pageType", "Search"}}}}}}
      .dump();
}

// A 50-app lookup answer with the fields the store sends.
std::string lookupAnswer() {
  json results = json::array();
  for (int i = 0; i < 50; ++i) {
    results.push_back({{"trackId", 1'000'000'000 + i},
                       {"trackName", fmt::format("App {}", i)},
                       {"artistName", "Studio"},
                       {"bundleId", fmt::format("com.example.app{}", i)},
                       {"artworkUrl512", "https://img.example/source/512x512bb.jpg"},
                       {"artworkUrl100", "https://img.example/source/100x100bb.jpg"},
                       {"userRatingCount", 12345 + i},
                       {"averageUserRating", 4.66},
                       {"description", std::string(2000, 'x')},
                       {"genres", {"Photo & Video", "Utilities"}},
                       {"screenshotUrls", {"https://img.example/1.jpg", "https://img.example/2.jpg"}},
                       {"fileSizeBytes", "123456789"},
                       {"price", 0.0}});
  }
  return json{{"resultCount", 50}, {"results", results}}.dump();
}

template <class F>
void compare(const char* what, const std::string& bytes, F&& parse) {
  constexpr int kRounds = 401;
  const double bare = tovra::bench::medianSeconds(kRounds, [&] { tovra::bench::keep(json::parse(bytes)); });
  const double ours = tovra::bench::medianSeconds(kRounds, [&] { tovra::bench::keep(parse(bytes)); });
  fmt::print("{:<28} {:>8} bytes  bare parse {:8.1f} µs  ours {:8.1f} µs  ratio {:.2f} (goal ≤ 1.30)\n", what,
             bytes.size(), bare * 1e6, ours * 1e6, ours / bare);
}

}  // namespace

int main() {
  compare("search answer, 200 ids", searchAnswer(),
          [](const std::string& b) { return asokit::store_search::parse(b); });
  compare("lookup answer, 50 apps", lookupAnswer(), [](const std::string& b) { return asokit::lookup::parse(b); });
}
