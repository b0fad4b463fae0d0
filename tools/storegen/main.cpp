// tovra-storegen: writes a generated store into a data folder, for trying the front ends and for
// benchmarks on a store of a given size.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <optional>

#include "app/store/file_operations.h"
#include "app/store/schema.h"
#include "app/store/store_error.h"
#include "tools/storegen/storegen.h"

namespace {

// "2025-01-14" as 10:00 UTC of that day, the generator's default time of day; none for anything else.
std::optional<std::chrono::system_clock::time_point> dayOf(const std::string& text) {
  using namespace std::chrono;
  int y = 0;
  unsigned m = 0;
  unsigned d = 0;
  char rest = 0;
  if (text.size() != 10 || std::sscanf(text.c_str(), "%4d-%2u-%2u%c", &y, &m, &d, &rest) != 3) {
    return std::nullopt;
  }
  const year_month_day day{year{y}, month{m}, std::chrono::day{d}};
  if (!day.ok()) {
    return std::nullopt;
  }
  return sys_days{day} + hours{10};
}

}  // namespace

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  tovra::storegen::GeneratorOptions options;
  std::string folder;
  CLI::App app{"Writes a realistic, deterministic Tovra store into an empty data folder.", "tovra-storegen"};
  app.add_option("folder", folder, "The data folder to create the store in")->required();
  app.add_option("--apps", options.apps, "Tracked apps")->check(CLI::Range(0, 100000));
  app.add_option("--keywords", options.keywordsPerApp, "Keywords per app")->check(CLI::Range(0, 100000));
  app.add_option("--days", options.days, "Days of readings")->check(CLI::Range(1, 100000));
  app.add_option("--seed", options.seed, "Seed of the generator");
  app.add_option("--zone", options.zone, "Time zone of the calendar days");
  app.add_option("--outcome-days", options.outcomeDays, "Write run outcomes for this many recent days (0: all)");
  app.add_option("--ladders", options.laddersPerKeyword, "Saved searches per keyword")->check(CLI::Range(0, 30));
  std::string lastDay;
  app.add_option("--last-day", lastDay,
                 "The last day of readings, YYYY-MM-DD (default 2025-01-14, so that a store is the same any day)");
  CLI11_PARSE(app, argc, argv);
  if (!lastDay.empty()) {
    const auto day = dayOf(lastDay);
    if (!day) {
      std::cerr << "--last-day takes a calendar day as YYYY-MM-DD, such as 2025-01-14; \"" << lastDay
                << "\" is not one.\n";
      return 2;
    }
    options.lastDay = *day;
  }

  const fs::path file = fs::path(folder) / "default.store";
  if (fs::exists(file)) {
    std::cerr << file.string() << " already exists; the generator only writes into a folder without a store.\n";
    return 1;
  }
  try {
    fs::create_directories(folder);
    const auto started = std::chrono::steady_clock::now();
    auto store = tovra::store::Store::open(file);
    const auto counts = tovra::storegen::generateStore(*store, options);
    tovra::store::SystemFileOperations().writeFile(fs::path(folder) / "TovraStore.version",
                                                   tovra::store::CurrentSchema::version.text());
    const auto seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    std::cout << counts.apps << " apps, " << counts.queries << " keywords, " << counts.observations << " readings, "
              << counts.runs << " runs, " << counts.outcomes << " outcomes, " << counts.ladders << " saved searches, "
              << counts.probes << " hint probes in " << seconds << " s\n";
  } catch (const std::exception& error) {
    std::cerr << error.what() << "\n";
    return 1;
  }
  return 0;
}
