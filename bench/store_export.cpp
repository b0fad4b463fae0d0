// The store's speed targets, measured against a baseline in the same run:
//  - exporting a store of 1,000,000 readings, against the sqlite3 shell writing the same readings as JSON
//    from the same file (goal: at most 1.5 times its time), and the export's peak resident memory
//    (goal: under 100 MB);
//  - opening that store through the bootstrap and producing the footprint and inventory (goal: under
//    100 ms).
// Each measurement runs in a fresh process (this program started again with --child), so peak memory is
// the export's own and the page cache is the only thing shared.
#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "app/store/bootstrap.h"
#include "app/store/export.h"
#include "app/store/footprint.h"
#include "app/store/schema.h"
#include "tools/storegen/storegen.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

struct Measured {
  double seconds = 0;     // wall time
  double cpuSeconds = 0;  // user and system time: steadier than wall time on a shared machine
  double peakMegabytes = 0;
};

// Runs a program to its end with stdout sent to `output`; its wall time and peak resident memory.
Measured runProgram(const std::vector<std::string>& args, const fs::path& output) {
  std::vector<char*> argv;
  for (const auto& arg : args) {
    argv.push_back(const_cast<char*>(arg.c_str()));
  }
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  const auto start = Clock::now();
  pid_t pid = 0;
  if (posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
    std::cerr << "could not start " << args[0] << "\n";
    std::exit(1);
  }
  int status = 0;
  rusage usage{};
  wait4(pid, &status, 0, &usage);
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  posix_spawn_file_actions_destroy(&actions);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    std::cerr << args[0] << " failed\n";
    std::exit(1);
  }
  const auto cpu = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
  };
  return Measured{seconds, cpu(usage.ru_utime) + cpu(usage.ru_stime), static_cast<double>(usage.ru_maxrss) / 1024.0};
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

int childExport(const fs::path& folder, const fs::path& target) {
  auto store = tovra::store::Store::open(folder / "default.store");
  tovra::store::exportStoreToFile(*store, std::chrono::system_clock::now(), target);
  return 0;
}

// Prints the milliseconds from nothing to a shown inventory: bootstrap, footprint, counts.
int childInventory(const fs::path& folder) {
  const auto start = Clock::now();
  tovra::store::SystemFileOperations files;
  asokit::SystemWallClock wall;
  const tovra::store::StoreBootstrap bootstrap(folder, files, wall, tovra::store::LocalTimeFormat("UTC"),
                                               tovra::store::StoreBootstrap::diskContainer());
  auto result = bootstrap.open();
  if (!result.container || result.notice) {
    return 1;
  }
  const auto footprint = tovra::store::StoreFootprint::measure(*result.container);
  const auto inventory = tovra::store::StoreInventory::count(*result.container);
  const auto summary = tovra::store::storeSummary(footprint, inventory);
  const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
  std::printf("%.3f %s\n", ms, summary.c_str());
  return 0;
}

std::string readFirstLine(const fs::path& file) {
  std::FILE* in = std::fopen(file.c_str(), "r");
  char line[512] = {};
  if (in) {
    if (!std::fgets(line, sizeof line, in)) {
      line[0] = 0;
    }
    std::fclose(in);
  }
  return line;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc >= 4 && std::string(argv[1]) == "--child" && std::string(argv[2]) == "export" && argc == 5) {
    return childExport(argv[3], argv[4]);
  }
  if (argc == 4 && std::string(argv[1]) == "--child" && std::string(argv[2]) == "inventory") {
    return childInventory(argv[3]);
  }
  const bool readingsOnlyOutcomes = argc > 1 && std::string(argv[1]) == "--recent-outcomes";

  char pattern[] = "/tmp/tovra-bench-store-XXXXXX";
  const fs::path work = ::mkdtemp(pattern);
  const fs::path folder = work / "data";
  fs::create_directories(folder);

  tovra::storegen::GeneratorOptions options;
  options.apps = 50;
  options.keywordsPerApp = 40;
  options.days = 545;
  options.seed = 2025;
  options.outcomeDays = readingsOnlyOutcomes ? 30 : 0;
  const auto generated = Clock::now();
  tovra::storegen::GeneratedCounts counts;
  {
    auto store = tovra::store::Store::open(folder / "default.store");
    counts = tovra::storegen::generateStore(*store, options);
  }
  tovra::store::SystemFileOperations().writeFile(folder / "TovraStore.version",
                                                 tovra::store::CurrentSchema::version.text());
  std::printf("generated %lld readings, %lld outcomes, %lld keywords, %lld runs, %lld saved searches in %.1f s\n",
              static_cast<long long>(counts.observations), static_cast<long long>(counts.outcomes),
              static_cast<long long>(counts.queries), static_cast<long long>(counts.runs),
              static_cast<long long>(counts.ladders), std::chrono::duration<double>(Clock::now() - generated).count());
  std::printf("store file: %.1f MB\n", static_cast<double>(fs::file_size(folder / "default.store")) / 1e6);

  const std::string self = fs::canonical("/proc/self/exe").string();
  const std::string file = (folder / "default.store").string();
  const std::string baselineQuery =
      "SELECT o.day, o.measuredAt, o.rank, o.resultCount, o.source FROM ReadingPeriod p "
      "JOIN StoredObservation o ON o.period = p.pk ORDER BY p.query, p.span, o.day";
  // The export gives its connection a 32 MiB page cache; the second baseline gives sqlite3 the same.
  const std::string sameCacheQuery = "PRAGMA cache_size = -32768; " + baselineQuery;
  std::vector<Measured> plain, sameCache, exported;
  for (int round = 0; round < 5; ++round) {
    // Each run writes a new file; removing the last one is not part of any measurement.
    const auto fresh = [&](const char* name) {
      fs::remove(work / name);
      ::sync();
      return work / name;
    };
    plain.push_back(runProgram({"sqlite3", "-json", "-readonly", file, baselineQuery}, fresh("baseline.json")));
    sameCache.push_back(runProgram({"sqlite3", "-json", "-readonly", file, sameCacheQuery}, fresh("baseline.json")));
    exported.push_back(
        runProgram({self, "--child", "export", folder.string(), fresh("export.json").string()}, work / "export.out"));
  }
  const auto wall = [](const std::vector<Measured>& runs) {
    std::vector<double> values;
    for (const auto& run : runs) {
      values.push_back(run.seconds);
    }
    return median(values);
  };
  const auto cpu = [](const std::vector<Measured>& runs) {
    std::vector<double> values;
    for (const auto& run : runs) {
      values.push_back(run.cpuSeconds);
    }
    return median(values);
  };
  double peak = 0;
  for (const auto& run : exported) {
    peak = std::max(peak, run.peakMegabytes);
  }
  std::printf("medians of 5 runs                     wall s   cpu s\n");
  std::printf("sqlite3 -json, the readings alone     %6.3f  %6.3f  (%.1f MB written)\n", wall(plain), cpu(plain),
              static_cast<double>(fs::file_size(work / "baseline.json")) / 1e6);
  std::printf("  the same with a 32 MiB page cache   %6.3f  %6.3f\n", wall(sameCache), cpu(sameCache));
  std::printf("export of the whole store             %6.3f  %6.3f  (%.1f MB written, fsync included)\n", wall(exported),
              cpu(exported), static_cast<double>(fs::file_size(work / "export.json")) / 1e6);
  const double ratio = wall(exported) / wall(plain);
  std::printf("export / sqlite3: %.2f wall, %.2f cpu (goal <= 1.5: %s); against the same cache: %.2f wall, %.2f cpu\n",
              ratio, cpu(exported) / cpu(plain), ratio <= 1.5 ? "met" : "MISSED", wall(exported) / wall(sameCache),
              cpu(exported) / cpu(sameCache));
  std::printf("export peak resident memory: %.1f MB (goal < 100 MB: %s)\n", peak, peak < 100 ? "met" : "MISSED");

  std::vector<double> openTimes;
  std::string summary;
  for (int round = 0; round < 5; ++round) {
    runProgram({self, "--child", "inventory", folder.string()}, work / "inventory.out");
    const std::string line = readFirstLine(work / "inventory.out");
    openTimes.push_back(std::stod(line));
    summary = line.substr(line.find(' ') + 1);
  }
  std::printf("open + footprint + inventory:      %.1f ms median of 5 (goal < 100 ms) %s\n  %s", median(openTimes),
              median(openTimes) < 100 ? "met" : "MISSED", summary.c_str());

  std::error_code error;
  fs::remove_all(work, error);
  return 0;
}
