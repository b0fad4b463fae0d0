#include "tools/fakestore/fillers.h"

#include <fmt/format.h>

#include <array>
#include <set>
#include <string_view>

namespace tovra::fakestore {
namespace {

std::uint64_t fnv1a(std::string_view text) {
  std::uint64_t hash = 14695981039346656037ull;
  for (const char c : text) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211ull;
  }
  return hash;
}

// An invented app for a padded place in a result list, the same for the same id every time.
App fillerApp(const std::string& id, std::uint64_t hash) {
  static constexpr std::array<std::string_view, 12> kFirst{"Pixel", "Snap",  "Bright", "Clear", "Swift", "Nova",
                                                           "Lumo",  "Vivid", "Mono",   "Echo",  "Tidy",  "Zen"};
  static constexpr std::array<std::string_view, 10> kSecond{"Studio", "Lab", "Pro",   "Editor", "Kit",
                                                            "Box",    "Cam", "Notes", "Flow",   "Go"};
  static constexpr std::array<std::string_view, 6> kMakers{"Northwind Apps", "Bluefin Software", "Quartz Labs",
                                                           "Maple Digital",  "Orbit Works",      "Kestrel Studio"};
  App app;
  app.id = id;
  app.name = fmt::format("{} {}", kFirst[hash % kFirst.size()], kSecond[(hash / 12) % kSecond.size()]);
  app.developer = std::string(kMakers[(hash / 120) % kMakers.size()]);
  app.bundleId = "com.filler.app" + id;
  app.ratingCount = static_cast<std::int64_t>((hash / 720) % 250'000);
  app.averageRating = 3.0 + static_cast<double>((hash / 7) % 20) / 10.0;
  return app;
}

}  // namespace

void padWithInventedApps(std::vector<std::string>& ids, std::size_t padTo, const std::string& seed,
                         Scenario& scenario) {
  std::set<std::string> taken(ids.begin(), ids.end());
  std::uint64_t next = 1'000'000'000ull + fnv1a(seed) % 5'000'000'000ull;
  while (ids.size() < padTo) {
    next += 7919;
    std::string id = std::to_string(next);
    if (!taken.count(id) && !scenario.apps.count(id)) {
      taken.insert(id);
      scenario.apps.emplace(id, fillerApp(id, fnv1a(id)));
      ids.push_back(std::move(id));
    }
  }
}

}  // namespace tovra::fakestore
